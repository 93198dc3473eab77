// kvrcolor compare: one chain through every engine, dE2000 statistics between each pair.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <memory>
#include <regex>

#include "CliSupport.h"
#include "support/Files.h"
#include "support/TestData.h"

using namespace clitest;

namespace {

struct PairStats {
    bool found = false;
    double mean = -1, p95 = -1, max = -1;
    std::string where;
};

// The statistics line "A vs B: mean M  p95 P  max X at WHERE" of the output.
PairStats Stats(const std::string& out, const std::string& a, const std::string& b) {
    const std::regex line(a + " vs " + b +
                          R"(: mean ([0-9.]+)  p95 ([0-9.]+)  max ([0-9.]+) at ([^\n]+))");
    std::smatch m;
    PairStats s;
    if (!std::regex_search(out, m, line)) return s;
    s.found = true;
    s.mean = std::stod(m[1]);
    s.p95 = std::stod(m[2]);
    s.max = std::stod(m[3]);
    s.where = m[4];
    return s;
}

class CompareTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
};

TEST_F(CompareTest, NativeAndLcmsDifferSlightlyOnTheDefaultProfiles) {
    const fs::path base = fs::path(KVR_BINARY_DIR) / "profiles";
    ASSERT_TRUE(kvrtest::HaveFile(base / "Printer" / "kvr-cmyk.icc",
                                  "made by the build's kvrdefaults target"));
    const std::string ini = work / "settings.ini";
    WriteIniWithBasePath(ini, base.string());
    const RunResult r = RunCli({"compare"}, ini);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("chain: kvr-srgb.icc -> kvr-cmyk.icc, RGB -> CMYK\n"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("sample: 4096 cube (16 levels), 52 grey ramp, 1000 random = 5148 "
                         "colours\n"),
              std::string::npos)
        << r.out;
    for (const auto& [a, b] : {std::pair{"native", "lcms"}, {"native", "icm"}, {"lcms", "icm"}}) {
        const PairStats s = Stats(r.out, a, b);
        ASSERT_TRUE(s.found) << a << " vs " << b << " in " << r.out;
        // Two engines of their own interpolation and grid: a little apart, never far.
        EXPECT_GT(s.mean, 0.0) << a << " vs " << b;
        EXPECT_LT(s.mean, 2.0) << a << " vs " << b;
        EXPECT_LE(s.mean, s.max);
        EXPECT_LE(s.p95, s.max);
        EXPECT_LT(s.max, 15.0);
        EXPECT_NE(s.where.find("(RGB "), std::string::npos) << s.where;
    }
}

TEST_F(CompareTest, AnEngineComparedWithItselfDiffersByNothing) {
    for (const char* engine : {"native", "lcms", "icm"}) {
        const std::string list = std::string(engine) + "," + engine;
        const RunResult r =
            RunCli({"compare", "--from", s_p.rgb, "--to", s_p.cmyk, "--engines", list});
        ASSERT_EQ(r.code, 0) << r.err;
        const PairStats s = Stats(r.out, engine, engine);
        ASSERT_TRUE(s.found) << r.out;
        EXPECT_EQ(s.mean, 0.0);
        EXPECT_EQ(s.p95, 0.0);
        EXPECT_EQ(s.max, 0.0);
    }
}

TEST_F(CompareTest, ChainThatTheNativeEngineDoesNotCarryOutSkipsItWithTheReason) {
    const RunResult r = RunCli({"compare", "--from", s_p.cmyk, "--to", s_p.cmyk, "--intent",
                                "perceptual-keep-k", "--engines", "native,lcms,lcms"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("skipped native: intent perceptual-keep-k keeps black"), std::string::npos)
        << r.out;
    EXPECT_TRUE(Stats(r.out, "lcms", "lcms").found) << r.out;
    EXPECT_FALSE(Stats(r.out, "native", "lcms").found) << r.out;
}

TEST_F(CompareTest, FewerThanTwoEnginesIsAFailure) {
    const RunResult r = RunCli({"compare", "--from", s_p.cmyk, "--to", s_p.cmyk, "--intent",
                                "perceptual-keep-k", "--engines", "native,lcms"});
    EXPECT_EQ(r.code, 5) << r.err;
    EXPECT_NE(r.err.find("fewer than two engines could build the chain"), std::string::npos)
        << r.err;
}

TEST_F(CompareTest, ImagePixelsAreTheSampleAndTheMaximumIsPlaced) {
    TiffSpec spec;
    spec.width = 20;
    spec.height = 10;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 3));
    const RunResult r = RunCli({"compare", "--from", s_p.rgb, "--to", s_p.cmyk, "--image",
                                work / "in.tif", "--engines", "native,lcms"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("sample: 200 pixels of "), std::string::npos) << r.out;
    const PairStats s = Stats(r.out, "native", "lcms");
    ASSERT_TRUE(s.found) << r.out;
    EXPECT_EQ(s.where.rfind("pixel (", 0), 0u) << s.where;
}

TEST_F(CompareTest, SixteenBitImageSkipsTheEightBitEngine) {
    TiffSpec spec;
    spec.bits = 16;
    spec.width = 8;
    spec.height = 8;
    WriteTiff(work / "in16.tif", spec, TestSamples(spec.SampleCount(), 16, 4));
    const RunResult r =
        RunCli({"compare", "--from", s_p.rgb, "--to", s_p.cmyk, "--image", work / "in16.tif"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("skipped icm: 16-bit input; it converts 8-bit pixels only"),
              std::string::npos)
        << r.out;
    EXPECT_TRUE(Stats(r.out, "native", "lcms").found) << r.out;
}

TEST_F(CompareTest, BadEngineListsAreUsageErrors) {
    for (const char* list : {"native", "native,auto", "native,foo"}) {
        const RunResult r =
            RunCli({"compare", "--from", s_p.rgb, "--to", s_p.cmyk, "--engines", list});
        EXPECT_EQ(r.code, 2) << list << ": " << r.err;
        EXPECT_EQ(r.out, "") << list;
    }
}

TEST_F(CompareTest, GamutAnswerIsNotMeasured) {
    const RunResult r =
        RunCli({"compare", "--step", s_p.rgb + ":dev2pcs", "--step", s_p.cmyk + ":gamut"});
    EXPECT_NE(r.code, 0);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
}

} // namespace
