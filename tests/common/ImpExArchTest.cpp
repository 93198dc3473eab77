#include "common/ImpExArch.h"

#include <gtest/gtest.h>
#include <zip.h>

#include <filesystem>
#include <map>

#include "base/WideString.h"
#include "support/Files.h"
#include "support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using kvrtest::TempDir;

std::wstring W(const fs::path& p) {
    return Utf8ToWide(p.string());
}

// Writes a file, making its folder first.
bool Put(const fs::path& p, const std::string& text) {
    fs::create_directories(p.parent_path());
    return kvrtest::WriteText(p, text);
}

// Writes a zip with exactly these entries (name -> content), bypassing the exporter.
void WriteZip(const fs::path& path,
              const std::vector<std::pair<std::string, std::string>>& entries) {
    int err = 0;
    zip_t* z = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &err);
    ASSERT_NE(z, nullptr);
    for (const auto& [name, bytes] : entries) {
        zip_source_t* s = zip_source_buffer(z, bytes.data(), bytes.size(), 0);
        ASSERT_GE(zip_file_add(z, name.c_str(), s, ZIP_FL_ENC_UTF_8), 0) << name;
    }
    ASSERT_EQ(zip_close(z), 0);
}

const std::string kHeader = "KVRCOLOR preset archive 1\n";
const std::string kPresetLine = "preset\tPsCs\tMine\tpreset/Mine.PsCs\n";
const std::string kPresetXml = "<PostscriptColorSettings/>";

struct ArchiveFixture : ::testing::Test {
    TempDir dir{"kvr-arch"};
    fs::path base = dir / "base";
    fs::path target = dir / "target";
    fs::path zip = dir / "a.zip";

    void ExpectRefused(const std::string& why) {
        CKvZipImport imp;
        EXPECT_EQ(imp.Open(W(zip).c_str()), 0);
        EXPECT_NE(WideToUtf8(imp.GetLastError()).find(why), std::string::npos)
            << WideToUtf8(imp.GetLastError());
        EXPECT_FALSE(fs::exists(target));
        EXPECT_EQ(imp.Import(W(target), W(target / "presets"), nullptr), 0);
        EXPECT_FALSE(fs::exists(target)); // nothing written
    }
};

TEST_F(ArchiveFixture, ExportedFilesReturnToTheirFoldersBelowAnotherBase) {
    ASSERT_TRUE(Put(base / "InputRgb" / "rgb.icc", "RGB"));
    ASSERT_TRUE(Put(base / "Printer" / "RGB" / "out.icc", "OUT"));
    ASSERT_TRUE(Put(base / "InputLab" / "lab.icc", "LAB"));
    CKvZipExport exp(W(base));
    exp.SetPreset(L"PsCs", L"Mine", Utf8ToWide(kPresetXml));
    EXPECT_EQ(exp.AddFile(IKvImpExArch::ImpDestInputRgb, W(base / "InputRgb" / "rgb.icc").c_str()),
              1);
    EXPECT_EQ(exp.AddFile(IKvImpExArch::ImpDestPrinterRgb, W(base / "Printer/RGB/out.icc").c_str()),
              1);
    EXPECT_EQ(exp.AddFile(IKvImpExArch::ImpDestInputLab, L"lab.icc"), 1); // bare: its own folder
    EXPECT_EQ(exp.AddFile(IKvImpExArch::ImpDestInputGray, L"absent.icc"), 0);
    EXPECT_EQ(exp.Missing().size(), 1u);
    ASSERT_EQ(exp.Write(W(zip).c_str()), 1) << WideToUtf8(exp.GetLastError());

    CKvZipImport imp;
    ASSERT_EQ(imp.Open(W(zip).c_str()), 1) << WideToUtf8(imp.GetLastError());
    EXPECT_EQ(imp.PresetName(), L"Mine");
    EXPECT_EQ(imp.PresetExtension(), L"PsCs");
    ASSERT_EQ(imp.Import(W(target), W(target / "presets"), nullptr), 1);
    EXPECT_EQ(kvrtest::ReadText(target / "InputRgb" / "rgb.icc"), "RGB");
    EXPECT_EQ(kvrtest::ReadText(target / "Printer" / "RGB" / "out.icc"), "OUT");
    EXPECT_EQ(kvrtest::ReadText(target / "InputLab" / "lab.icc"), "LAB");
    EXPECT_EQ(kvrtest::ReadText(target / "presets" / "Mine.PsCs"), kPresetXml);
    EXPECT_EQ(imp.Written().size(), 4u);
}

TEST_F(ArchiveFixture, ReplacingOtherContentAsksAndEqualContentIsLeftAlone) {
    ASSERT_TRUE(Put(base / "InputRgb" / "a.icc", "new"));
    ASSERT_TRUE(Put(base / "InputRgb" / "b.icc", "same"));
    CKvZipExport exp(W(base));
    exp.SetPreset(L"PsCs", L"Mine", Utf8ToWide(kPresetXml));
    exp.AddFile(IKvImpExArch::ImpDestInputRgb, L"a.icc");
    exp.AddFile(IKvImpExArch::ImpDestInputRgb, L"b.icc");
    ASSERT_EQ(exp.Write(W(zip).c_str()), 1);
    ASSERT_TRUE(Put(target / "InputRgb" / "a.icc", "old"));
    ASSERT_TRUE(Put(target / "InputRgb" / "b.icc", "same"));

    CKvZipImport imp;
    ASSERT_EQ(imp.Open(W(zip).c_str()), 1);
    std::vector<std::wstring> asked;
    auto no = [&](const std::wstring& p) {
        asked.push_back(p);
        return false;
    };
    ASSERT_EQ(imp.Import(W(target), W(target / "presets"), no), 1);
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0], W(target / "InputRgb" / "a.icc"));
    EXPECT_EQ(kvrtest::ReadText(target / "InputRgb" / "a.icc"), "old");
    EXPECT_EQ(imp.Kept().size(), 1u);
    auto yes = [](const std::wstring&) { return true; };
    ASSERT_EQ(imp.Import(W(target), W(target / "presets"), yes), 1);
    EXPECT_EQ(kvrtest::ReadText(target / "InputRgb" / "a.icc"), "new");
}

TEST_F(ArchiveFixture, EntryLeavingItsFolderIsRefused) {
    WriteZip(zip, {{"manifest.txt", kHeader + kPresetLine + "profile\t2\t../x.icc\n"},
                   {"preset/Mine.PsCs", kPresetXml},
                   {"../x.icc", "evil"}});
    ExpectRefused("would leave its folder");
    EXPECT_FALSE(fs::exists(dir / "x.icc"));
}

TEST_F(ArchiveFixture, AbsoluteEntryIsRefused) {
    WriteZip(zip, {{"manifest.txt", kHeader + kPresetLine + "profile\t2\t/tmp/x.icc\n"},
                   {"preset/Mine.PsCs", kPresetXml},
                   {"/tmp/x.icc", "evil"}});
    ExpectRefused("would leave its folder");
}

TEST_F(ArchiveFixture, TruncatedZipIsRefused) {
    ASSERT_TRUE(Put(base / "InputRgb" / "a.icc", std::string(5000, 'a')));
    CKvZipExport exp(W(base));
    exp.SetPreset(L"PsCs", L"Mine", Utf8ToWide(kPresetXml));
    exp.AddFile(IKvImpExArch::ImpDestInputRgb, L"a.icc");
    ASSERT_EQ(exp.Write(W(zip).c_str()), 1);
    kvrtest::Bytes bytes = kvrtest::ReadBytes(zip);
    bytes.resize(bytes.size() / 2);
    ASSERT_TRUE(kvrtest::WriteBytes(zip, bytes));
    ExpectRefused("not a readable zip");
}

TEST_F(ArchiveFixture, ZipBombIsRefused) {
    // 100 MB of zeros packs into about 100 kB.
    WriteZip(zip, {{"manifest.txt", kHeader + kPresetLine + "profile\t2\tprofiles/2/big.icc\n"},
                   {"preset/Mine.PsCs", kPresetXml},
                   {"profiles/2/big.icc", std::string(100u << 20, '\0')}});
    ASSERT_LT(fs::file_size(zip), 1u << 20);
    ExpectRefused("more than allowed");
}

TEST_F(ArchiveFixture, ManifestNamingAMissingFileIsRefused) {
    WriteZip(zip, {{"manifest.txt", kHeader + kPresetLine + "profile\t2\tprofiles/2/gone.icc\n"},
                   {"preset/Mine.PsCs", kPresetXml}});
    ExpectRefused("which the archive does not hold");
}

TEST_F(ArchiveFixture, ArchivesThatAreNotOursAreRefused) {
    WriteZip(zip, {{"readme.txt", "hello"}});
    ExpectRefused("no manifest");
    WriteZip(zip, {{"manifest.txt", "something else\n"}});
    ExpectRefused("does not start with");
    WriteZip(zip, {{"manifest.txt", kHeader}});
    ExpectRefused("names no preset");
    WriteZip(zip, {{"manifest.txt", kHeader + kPresetLine + "profile\t5\tp/x.icc\n"},
                   {"preset/Mine.PsCs", kPresetXml},
                   {"p/x.icc", "x"}});
    ExpectRefused("unknown destination");
    kvrtest::WriteText(zip, "not a zip at all");
    ExpectRefused("not a readable zip");
}

TEST(ImpExArch, SafeEntryNames) {
    EXPECT_TRUE(CKvZipImport::IsSafeEntryName("profiles/2/sRGB.icc"));
    EXPECT_FALSE(CKvZipImport::IsSafeEntryName("../x.icc"));
    EXPECT_FALSE(CKvZipImport::IsSafeEntryName("a/../../x.icc"));
    EXPECT_FALSE(CKvZipImport::IsSafeEntryName("/etc/passwd"));
    EXPECT_FALSE(CKvZipImport::IsSafeEntryName("a\\..\\x"));
    EXPECT_FALSE(CKvZipImport::IsSafeEntryName("C:x.icc"));
    EXPECT_FALSE(CKvZipImport::IsSafeEntryName("a//b"));
    EXPECT_FALSE(CKvZipImport::IsSafeEntryName(""));
}

TEST(ImpExArch, DestinationFolders) {
    EXPECT_STREQ(IKvImpExArch::DestFolder(2), L"InputRgb");
    EXPECT_STREQ(IKvImpExArch::DestFolder(3), L"InputCmyk");
    EXPECT_STREQ(IKvImpExArch::DestFolder(4), L"InputLab");
    EXPECT_STREQ(IKvImpExArch::DestFolder(7), L"Printer");
    EXPECT_STREQ(IKvImpExArch::DestFolder(8), L"Printer\\RGB");
    EXPECT_STREQ(IKvImpExArch::DestFolder(9), L"InputGray");
    EXPECT_EQ(IKvImpExArch::DestFolder(5), nullptr);
}

} // namespace
