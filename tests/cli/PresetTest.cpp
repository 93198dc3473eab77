// kvrcolor preset: the presets of the five kinds from the shell, and their export to another
// base folder.
#include <gtest/gtest.h>
#include <zip.h>

#include <filesystem>

#include "CliSupport.h"

using namespace clitest;

namespace {

// One machine: a settings file naming its own profile and preset folders.
struct Machine {
    TempDir dir{"kvr-cli-preset"};
    fs::path base = dir.path() / "profiles";
    fs::path presets = dir.path() / "presets";
    std::string ini = (dir.path() / "kvrcolor.ini").string();

    Machine() {
        kvrtest::WriteText(ini, "[ColorProfiles]\nBasePath=" + base.string() +
                                    "\n[UserSettings]\nSettingsFolder=" + presets.string() + "\n");
    }
    RunResult Run(std::vector<std::string> args, const std::string& input = {}) const {
        args.insert(args.begin(), "preset");
        return RunCli(args, ini, input);
    }
    void Profile(const std::string& folderAndName, const std::string& bytes) const {
        fs::create_directories((base / folderAndName).parent_path());
        kvrtest::WriteText(base / folderAndName, bytes);
    }
};

TEST(PresetCli, NewListCopyRenameDeleteForEveryKind) {
    Machine m;
    for (const char* kind :
         {"InputProfiles", "PsCs", "GhostSepCs", "PDFAurelonCs", "SimTargetPrinter"}) {
        SCOPED_TRACE(kind);
        ASSERT_EQ(m.Run({"new", kind, "A"}).code, 0);
        EXPECT_TRUE(fs::exists(m.presets / (std::string("A.") + kind)));
        EXPECT_EQ(m.Run({"new", kind, "A"}).code, 2); // exists already
        ASSERT_EQ(m.Run({"copy", kind, "A", "B"}).code, 0);
        ASSERT_EQ(m.Run({"rename", kind, "B", "C"}).code, 0);
        RunResult list = m.Run({"list", kind});
        ASSERT_EQ(list.code, 0);
        EXPECT_EQ(list.out, std::string(kind) + "\tA\n" + kind + "\tC\n");
        ASSERT_EQ(m.Run({"delete", kind, "C"}).code, 0);
        EXPECT_FALSE(fs::exists(m.presets / (std::string("C.") + kind)));
        EXPECT_EQ(m.Run({"delete", kind, "C"}).code, 3);
    }
    EXPECT_EQ(LineCount(m.Run({"list"}).out), 5u);
}

TEST(PresetCli, SetAndShowWithFullPathsAndWhetherTheFileExists) {
    Machine m;
    m.Profile("InputRgb/mine.icc", "x");
    ASSERT_EQ(m.Run({"new", "InputProfiles", "P"}).code, 0);
    RunResult set = m.Run({"set", "InputProfiles", "P", "RgbProfileName=/elsewhere/mine.icc",
                           "GrayProfileName=gone.icc", "LabRenderingIntent=3"});
    ASSERT_EQ(set.code, 0) << set.err;
    RunResult show = m.Run({"show", "InputProfiles", "P"});
    ASSERT_EQ(show.code, 0);
    EXPECT_NE(
        show.out.find("RgbProfileName=" + (m.base / "InputRgb/mine.icc").string() + "\t(exists)\n"),
        std::string::npos)
        << show.out;
    EXPECT_NE(show.out.find("GrayProfileName=" + (m.base / "InputGray/gone.icc").string() +
                            "\t(missing)\n"),
              std::string::npos);
    EXPECT_NE(show.out.find("LabRenderingIntent=3\n"), std::string::npos);
    EXPECT_NE(show.out.find("UseColorimetricRI=0\n"), std::string::npos);
    // The file holds the bare name.
    EXPECT_NE(kvrtest::ReadText(m.presets / "P.InputProfiles").find(">mine.icc<"),
              std::string::npos);
}

TEST(PresetCli, BadSettingsAreRefusedWithAMessageAndChangeNothing) {
    Machine m;
    ASSERT_EQ(m.Run({"new", "PsCs", "P"}).code, 0);
    const std::string before = kvrtest::ReadText(m.presets / "P.PsCs");
    RunResult r = m.Run({"set", "PsCs", "P", "RI_RGBPixel=3", "Nonsense=1"});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("no setting \"Nonsense\""), std::string::npos);
    r = m.Run({"set", "PsCs", "P", "RI_RGBPixel=three"});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("whole number"), std::string::npos);
    EXPECT_EQ(kvrtest::ReadText(m.presets / "P.PsCs"), before);
    EXPECT_EQ(m.Run({"show", "Nokind", "P"}).code, 2);
    EXPECT_EQ(m.Run({"new", "PsCs", "../up"}).code, 2);
    EXPECT_EQ(m.Run({"frobnicate"}).code, 2);
}

TEST(PresetCli, BrokenPresetFileIsReportedNotShown) {
    Machine m;
    fs::create_directories(m.presets);
    kvrtest::WriteText(m.presets / "Bad.PsCs", "<PostscriptColorSettings><RI_RGBPixel>");
    RunResult r = m.Run({"show", "PsCs", "Bad"});
    EXPECT_EQ(r.code, 3);
    EXPECT_NE(r.err.find("not well formed"), std::string::npos) << r.err;
    kvrtest::WriteText(m.presets / "Other.PsCs", "<SimTargetPrinter/>");
    r = m.Run({"show", "PsCs", "Other"});
    EXPECT_EQ(r.code, 3);
    EXPECT_NE(r.err.find("another kind"), std::string::npos) << r.err;
}

TEST(PresetCli, ExportAndImportOnAnotherBaseFolder) {
    Machine a, b;
    a.Profile("InputCmyk/press.icc", "PRESS");
    a.Profile("Printer/printer.icc", "PRINTER");
    ASSERT_EQ(a.Run({"new", "GhostSepCs", "Shop"}).code, 0);
    ASSERT_EQ(a.Run({"set", "GhostSepCs", "Shop", "InputProfileCMYKPixel=press.icc",
                     "DefaultOutputProfileCMYK=printer.icc", "InputProfileLabText=absent.icc",
                     "TreatGrayAsRgb=1"})
                  .code,
              0);
    const std::string zip = (a.dir.path() / "shop.zip").string();
    RunResult exp = a.Run({"export", "GhostSepCs", "Shop", zip});
    ASSERT_EQ(exp.code, 0) << exp.err;
    EXPECT_NE(exp.err.find("absent.icc is named by the preset but does not exist"),
              std::string::npos);
    RunResult imp = b.Run({"import", zip});
    ASSERT_EQ(imp.code, 0) << imp.err;
    EXPECT_EQ(kvrtest::ReadText(b.base / "InputCmyk/press.icc"), "PRESS");
    EXPECT_EQ(kvrtest::ReadText(b.base / "Printer/printer.icc"), "PRINTER");
    RunResult showA = a.Run({"show", "GhostSepCs", "Shop"});
    RunResult showB = b.Run({"show", "GhostSepCs", "Shop"});
    ASSERT_EQ(showB.code, 0);
    // Equal but for where the profiles lie.
    auto strip = [](std::string text, const Machine& m) {
        for (size_t at; (at = text.find(m.base.string())) != std::string::npos;)
            text.replace(at, m.base.string().size(), "BASE");
        return text.substr(text.find('\n'));
    };
    EXPECT_EQ(strip(showA.out, a), strip(showB.out, b));

    // Importing again over a changed profile: --keep keeps it, --yes replaces it.
    kvrtest::WriteText(b.base / "InputCmyk/press.icc", "CHANGED");
    ASSERT_EQ(b.Run({"import", zip, "--keep"}).code, 0);
    EXPECT_EQ(kvrtest::ReadText(b.base / "InputCmyk/press.icc"), "CHANGED");
    ASSERT_EQ(b.Run({"import", zip}, "y\n").code, 0); // not a terminal: kept
    EXPECT_EQ(kvrtest::ReadText(b.base / "InputCmyk/press.icc"), "CHANGED");
    ASSERT_EQ(b.Run({"import", zip, "--yes"}).code, 0);
    EXPECT_EQ(kvrtest::ReadText(b.base / "InputCmyk/press.icc"), "PRESS");
}

TEST(PresetCli, BadArchivesAreRefusedAndNothingIsWritten) {
    Machine a, b;
    const fs::path zip = a.dir.path() / "bad.zip";
    int err = 0;
    zip_t* z = zip_open(zip.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &err);
    ASSERT_NE(z, nullptr);
    const std::string manifest = "KVRCOLOR preset archive 1\npreset\tPsCs\tX\tpreset/X.PsCs\n"
                                 "profile\t2\t../evil.icc\n";
    const std::string xml = "<PostscriptColorSettings/>";
    zip_file_add(z, "manifest.txt", zip_source_buffer(z, manifest.data(), manifest.size(), 0), 0);
    zip_file_add(z, "preset/X.PsCs", zip_source_buffer(z, xml.data(), xml.size(), 0), 0);
    zip_file_add(z, "../evil.icc", zip_source_buffer(z, xml.data(), xml.size(), 0), 0);
    ASSERT_EQ(zip_close(z), 0);
    RunResult r = b.Run({"import", zip.string()});
    EXPECT_EQ(r.code, 3);
    EXPECT_NE(r.err.find("would leave its folder"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(b.base));
    EXPECT_FALSE(fs::exists(b.presets));
    kvrtest::WriteText(zip, "PK\x03\x04 truncated");
    r = b.Run({"import", zip.string()});
    EXPECT_EQ(r.code, 3);
    EXPECT_NE(r.err.find("not a readable zip"), std::string::npos) << r.err;
}

} // namespace
