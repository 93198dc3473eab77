// kvrcolor lookup: colour values through a chain give the link's values, in natural units and
// as 16-bit codes, from the arguments and from stdin.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <sstream>

#include "CliSupport.h"

using namespace clitest;

namespace {

constexpr int kDev2Pcs = CMdlColorLink::ProfStepDevToPcs;
constexpr int kPcs2Dev = CMdlColorLink::ProfStepPcsToDev;

class LookupTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    static std::vector<uint16_t> RgbToCmyk(const std::vector<uint16_t>& codes) {
        return LinkPixels(
            {{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
            CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4, codes, 16);
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
};

// Lines of numbers, `perColour` a line, printed with `format` after `scale`.
std::string Lines(const std::vector<uint16_t>& codes, unsigned perColour, const char* format,
                  double scale) {
    std::string text;
    char number[32];
    for (size_t i = 0; i < codes.size(); ++i) {
        std::snprintf(number, sizeof number, format, codes[i] / scale);
        text += number;
        text += (i + 1) % perColour ? " " : "\n";
    }
    return text;
}

TEST_F(LookupTest, KnownRgbColoursGiveTheLinksInkPercentages) {
    const RunResult r = RunCli({"lookup", "--from", s_p.rgb, "--to", s_p.cmyk,
                                "255,0,0; 0 0 0;255, 255, 255", ";", "0,128,255"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const auto cmyk = RgbToCmyk({65535, 0, 0, 0, 0, 0, 65535, 65535, 65535, 0, 128 * 257, 65535});
    EXPECT_EQ(r.out, Lines(cmyk, 4, "%.2f", 655.35));
    EXPECT_EQ(LineCount(r.out), 4u);
}

TEST_F(LookupTest, SixteenBitCodesInAndOut) {
    const RunResult r = RunCli(
        {"lookup", "--from", s_p.rgb, "--to", s_p.cmyk, "--units", "16", "65535 1000 30000"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, Lines(RgbToCmyk({65535, 1000, 30000}), 4, "%.0f", 1));
}

TEST_F(LookupTest, ColoursFromStdinOnePerLine) {
    const RunResult r = RunCli({"lookup", "--from", s_p.rgb, "--to", s_p.cmyk, "--units", "16"}, {},
                               "# comment\n1 2 3\n\n  40000,50000,60000  \n65535 65535 0\n");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out,
              Lines(RgbToCmyk({1, 2, 3, 40000, 50000, 60000, 65535, 65535, 0}), 4, "%.0f", 1));
}

TEST_F(LookupTest, LabInputInNaturalUnitsIsEncodedAsTheProfilesLab) {
    const RunResult r = RunCli({"lookup", "--in-format", "lab", "--to", s_p.cmyk, "--units",
                                "natural", "50 -20 30; 100,0,0"});
    ASSERT_EQ(r.code, 0) << r.err;
    // L * 652.8, (a + 128) * 256: 50 -> 32640, -20 -> 27648, 30 -> 40448.
    const auto cmyk =
        LinkPixels({{s_p.cmyk, kPcs2Dev, IntentPerceptual}}, CMdlColorLink::LinkFmtLab, 3,
                   CMdlColorLink::LinkFmtCmyk, 4, {32640, 27648, 40448, 65280, 32768, 32768}, 16);
    EXPECT_EQ(r.out, Lines(cmyk, 4, "%.2f", 655.35));
}

TEST_F(LookupTest, InputFormatFollowsTheSourceProfile) {
    const RunResult r =
        RunCli({"lookup", "--from", s_p.cmyk, "--to", s_p.rgb, "0,100,100,0; 0 0 0 0"});
    ASSERT_EQ(r.code, 0) << r.err;
    const auto rgb =
        LinkPixels({{s_p.cmyk, kDev2Pcs, IntentPerceptual}, {s_p.rgb, kPcs2Dev, IntentPerceptual}},
                   CMdlColorLink::LinkFmtCmyk, 4, CMdlColorLink::LinkFmtRgb, 3,
                   {0, 65535, 65535, 0, 0, 0, 0, 0}, 16);
    EXPECT_EQ(r.out, Lines(rgb, 3, "%.2f", 257));
}

TEST_F(LookupTest, LabOutputInNaturalUnits) {
    const RunResult r = RunCli({"lookup", "--step", s_p.rgb + ":dev2pcs", "255 255 255;0 0 0"});
    ASSERT_EQ(r.code, 0) << r.err;
    const auto lab =
        LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}}, CMdlColorLink::LinkFmtRgb, 3,
                   CMdlColorLink::LinkFmtLab, 3, {65535, 65535, 65535, 0, 0, 0}, 16);
    std::string expected;
    char line[96];
    for (size_t i = 0; i < lab.size(); i += 3) {
        std::snprintf(line, sizeof line, "%.2f %.2f %.2f\n", lab[i] / 652.8,
                      lab[i + 1] / 256.0 - 128, lab[i + 2] / 256.0 - 128);
        expected += line;
    }
    EXPECT_EQ(r.out, expected);
    // The test RGB profile makes white L 100, a 0, b 0, within the rounding of its grid.
    std::istringstream first(r.out);
    double L, a, b;
    first >> L >> a >> b;
    EXPECT_NEAR(L, 100, 0.1);
    EXPECT_NEAR(a, 0, 0.1);
    EXPECT_NEAR(b, 0, 0.1);
}

TEST_F(LookupTest, BadValuesAreUsageErrors) {
    const std::vector<std::string> chain = {"lookup", "--from", s_p.rgb, "--to", s_p.cmyk};
    for (const auto& [values, words] :
         std::vector<std::pair<std::string, std::string>>{{"255,0", "2 values where RGB has 3"},
                                                          {"256,0,0", "out of range"},
                                                          {"1,x,0", "'x' is not a number"},
                                                          {" ; ", "no colour values"}}) {
        auto args = chain;
        args.push_back(values);
        const RunResult r = RunCli(args);
        EXPECT_EQ(r.code, 2) << values;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        EXPECT_NE(r.err.find(words), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
    const RunResult r = RunCli({"lookup", "--from", s_p.rgb, "--to", s_p.cmyk}, {}, "1 2 3\n4 5\n");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("stdin line 2"), std::string::npos) << r.err;
}

TEST_F(LookupTest, EachArgumentIsOneColour) {
    const RunResult r = RunCli(
        {"lookup", "--from", s_p.rgb, "--to", s_p.cmyk, "--units", "16", "65535,0,0", "0 0 65535"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, Lines(RgbToCmyk({65535, 0, 0, 0, 0, 65535}), 4, "%.0f", 1));
}

TEST_F(LookupTest, SemicolonsSeparateColoursOnStdin) {
    const RunResult r = RunCli({"lookup", "--from", s_p.rgb, "--to", s_p.cmyk, "--units", "16"}, {},
                               "1 2 3; 40000,50000,60000\n65535 65535 0\n");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out,
              Lines(RgbToCmyk({1, 2, 3, 40000, 50000, 60000, 65535, 65535, 0}), 4, "%.0f", 1));
}

TEST_F(LookupTest, ArgumentOfTheWrongCountIsNamed) {
    const RunResult r = RunCli({"lookup", "--from", s_p.rgb, "--to", s_p.cmyk, "255,0,0", "255 0"});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("argument 2"), std::string::npos) << r.err;
}

} // namespace
