// kvrcolor's help and its first word: an unknown command is named, and a command's --help is
// its own options, not the whole manual.
#include <gtest/gtest.h>

#include <cmath>

#include <sys/wait.h>

#include <cstdlib>
#include <sstream>

#include "CliSupport.h"
#include "ExtractTestUtil.h"
#include "base/WideString.h"
#include "colorspace/NamedColorsTestUtil.h"

using namespace clitest;

namespace {

TEST(HelpTest, UnknownSubcommandSaysSo) {
    const RunResult r = RunCli({"frobnicate", "x.tif"});
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(LineCount(r.err), 1u);
    EXPECT_NE(r.err.find("unknown subcommand 'frobnicate'"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("convert, lookup"), std::string::npos) << r.err;
}

TEST(HelpTest, SubcommandHelpIsItsOwnOptionsNotTheManual) {
    const RunResult manual = RunCli({"--help"});
    ASSERT_EQ(manual.code, 0);
    EXPECT_NE(manual.out.find("Exit codes:"), std::string::npos);
    EXPECT_NE(manual.out.find("Examples:"), std::string::npos);
    for (const char* command : {"convert", "lookup", "link", "info", "dump", "extract", "named"}) {
        const RunResult r = RunCli({command, "--help"});
        EXPECT_EQ(r.code, 0) << command;
        EXPECT_NE(r.out.find(std::string("kvrcolor ") + command), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("Exit codes:"), std::string::npos) << command;
        EXPECT_EQ(r.out.find("Examples:"), std::string::npos) << command;
        EXPECT_LT(r.out.size(), manual.out.size() / 2) << command;
    }
    EXPECT_NE(RunCli({"convert", "--help"}).out.find("--quality"), std::string::npos);
}

} // namespace

namespace {

// The command lines under "Examples:" in the manual, continuation lines joined.
std::vector<std::string> Examples(const std::string& manual) {
    std::vector<std::string> commands;
    std::istringstream lines(manual.substr(manual.find("Examples:")));
    std::string line;
    std::getline(lines, line); // the heading
    while (std::getline(lines, line) && !line.empty()) {
        const std::string text = line.substr(std::min(line.find_first_not_of(' '), line.size()));
        if (text.rfind("kvrcolor ", 0) != 0 && text.rfind("printf ", 0) != 0) continue;
        std::string command = text;
        while (!command.empty() && command.back() == '\\' && std::getline(lines, line))
            command.back() = ' ', command += line.substr(line.find_first_not_of(' '));
        commands.push_back(command);
    }
    return commands;
}

class HelpExamplesTest : public ::testing::Test {
protected:
    // The files the examples name, in `dir`, and a settings file whose profile folder has a
    // printer and an RGB input profile.
    void SetUp() override {
        const Profiles p = MakeProfiles(profiles.path().string());
        const auto copy = [&](const std::string& from, const fs::path& to) {
            fs::create_directories(to.parent_path());
            fs::copy_file(from, to, fs::copy_options::overwrite_existing);
        };
        copy(p.rgb, dir / "sRGB.icc");
        copy(p.rgbAlt, dir / "AdobeRGB1998.icc");
        copy(p.cmyk, dir / "press.icc");
        copy(p.cmyk, dir / "proof.icc");
        copy(p.cmyk, base / "Printer" / "press.icc");
        copy(p.cmyk, base / "Printer" / "kvr-cmyk.icc"); // the printer the settings name
        copy(p.rgb, base / "InputRgb" / "sRGB.icc");
        TiffSpec photo;
        photo.icc = ReadBytes(p.rgb);
        WriteTiff(dir / "photo.tif", photo, TestSamples(photo.SampleCount(), 8, 401));
        WriteTiff(dir / "in.tif", TiffSpec{}, TestSamples(TiffSpec{}.SampleCount(), 8, 402));
        WritePng(dir / "scan.png", 32, 16, 8, 2, TestSamples(32 * 16 * 3, 8, 403));
        // A document with two profiles: an RGB and a CMYK colour space of its page.
        extracttest::MiniPdf pdf;
        const int rgb = pdf.AddStream("/N 3", ReadBytes(p.rgb));
        const int cmyk = pdf.AddStream("/N 4", ReadBytes(p.cmyk));
        const int root =
            extracttest::OnePage(pdf, "[/ICCBased " + extracttest::Ref(rgb) + "] /CS1 [/ICCBased " +
                                          extracttest::Ref(cmyk) + "]");
        WriteBytes(dir / "document.pdf", pdf.Build(root));
        namedtest::GenSpec spots;
        spots.prefix = L"PANTONE ";
        spots.suffix = L" C";
        spots.colours = {{L"185", {0x7F80, 0x9400, 0x6C00}, {0, 65535, 60000, 1000}}};
        fs::rename(WideToUtf8(namedtest::WriteGenProfile(work, "spots.icc", spots)),
                   dir / "spots.icc");
        // A gradation of four inks: each a slight lift of the middle tones.
        std::string cal;
        for (int c = 0; c < 4; ++c) {
            for (int i = 0; i < 256; ++i)
                cal += std::to_string(unsigned(65535.0 * std::pow(i / 255.0, 0.9) + 0.5)) +
                       (i < 255 ? " " : "\n");
        }
        WriteBytes(dir / "cal.txt", std::vector<uint8_t>(cal.begin(), cal.end()));
        WriteIniWithBasePath(ini, base.string());
        fs::create_directories(bin);
        fs::create_symlink(KVR_CLI_PATH, bin / "kvrcolor");
    }

    // Runs `command` with sh in `dir`, the program found as `kvrcolor` on the PATH; answers its
    // exit status and its output.
    std::pair<int, std::string> Shell(const std::string& command) {
        WriteBytes(work / "example.sh", std::vector<uint8_t>(command.begin(), command.end()));
        const std::string line = "cd '" + dir.string() + "' && PATH='" + bin.string() +
                                 "':\"$PATH\" KVR_INI='" + ini + "' sh '" +
                                 (work / "example.sh").string() + "' > '" +
                                 (work / "log").string() + "' 2>&1";
        const int status = std::system(line.c_str());
        const auto log = ReadBytes(work / "log");
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, std::string(log.begin(), log.end())};
    }

    TempDir profiles, work;
    fs::path dir = work / "examples", base = work / "base", bin = work / "bin";
    std::string ini = work / "kvrcolor.ini";
};

TEST_F(HelpExamplesTest, EveryExampleOfTheHelpWorksAsPrinted) {
    const RunResult manual = RunCli({"--help"});
    ASSERT_EQ(manual.code, 0);
    const auto examples = Examples(manual.out);
    ASSERT_GE(examples.size(), 10u) << manual.out;
    for (const std::string& example : examples) {
        const auto [code, output] = Shell(example);
        EXPECT_EQ(code, 0) << example << "\n" << output;
    }
    // What the examples made.
    EXPECT_TRUE(fs::exists(dir / "print.tif"));
    EXPECT_TRUE(fs::exists(dir / "rgb2press.icc"));
    EXPECT_TRUE(fs::exists(dir / "intent.icc"));
    EXPECT_GT(fs::file_size(dir / "press.txt"), 0u);
}

} // namespace
