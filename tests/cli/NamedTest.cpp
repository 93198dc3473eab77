// kvrcolor named: the listing of a dictionary, lookups, and the refusals.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <string>

#include "CliSupport.h"
#include "colorspace/NamedColorsTestUtil.h"
#include "support/TestData.h"

using namespace clitest;
using namespace namedtest;

namespace {

class NamedCommandTest : public ::testing::Test {
protected:
    // Two colours with round Lab values (legacy 16-bit encoding: L 100 at 0xFF00, a and b 0
    // at 0x8000) under prefix "Spot-" and suffix " C".
    std::string TwoSpots(icColorSpaceSignature pcs = icSigLabData) {
        GenSpec s;
        s.prefix = L"Spot-";
        s.suffix = L" C";
        s.colours = {{L"White", {0xFF00, 0x8000, 0x8000}, {0, 0, 0, 0}},
                     {L"Deep Red", {0x7F80, 0x9400, 0x6C00}, {0, 65535, 60000, 1000}}};
        std::wstring path = WriteGenProfile(work, "spots.icc", s);
        if (pcs != icSigLabData) { // the generator writes Lab: patch the header's PCS
            kvrtest::Bytes b = kvrtest::ReadBytes(WideToUtf8(path));
            PutBe32(b, 20, pcs);
            EXPECT_TRUE(kvrtest::WriteBytes(WideToUtf8(path), b));
        }
        return WideToUtf8(path);
    }

    TempDir work;
};

TEST_F(NamedCommandTest, ListingShowsAffixesCountChannelsAndEveryColour) {
    const std::string path = TwoSpots();
    const RunResult r = RunCli({"named", path});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, "profile          spots.icc\n"
                     "prefix           \"Spot-\"\n"
                     "suffix           \" C\"\n"
                     "colours          2\n"
                     "device channels  4 (CMYK)\n"
                     "\"White\"  Lab 100.00 0.00 0.00  device 0 0 0 0\n"
                     "\"Deep Red\"  Lab 50.00 20.00 -20.00  device 0 65535 60000 1000\n");
}

TEST_F(NamedCommandTest, ListingOfAnXyzProfileShowsXyz) {
    const std::string path = TwoSpots(icSigXYZData);
    const RunResult r = RunCli({"named", path, "spot-white c"});
    ASSERT_EQ(r.code, 0) << r.err;
    // 0xFF00 / 32768 and 0x8000 / 32768.
    EXPECT_EQ(r.out, "\"spot-white c\"  XYZ 1.9922 1.0000 1.0000  device 0 0 0 0\n");
}

TEST_F(NamedCommandTest, LookupPrintsOneLinePerNameInTheOrderGiven) {
    const std::string path = TwoSpots();
    const RunResult r = RunCli({"named", path, "SPOT-deep red c", "Spot-White C"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, "\"SPOT-deep red c\"  Lab 50.00 20.00 -20.00  device 0 65535 60000 1000\n"
                     "\"Spot-White C\"  Lab 100.00 0.00 0.00  device 0 0 0 0\n");
}

TEST_F(NamedCommandTest, NameNotFoundIsOneLineAndStatusOne) {
    const std::string path = TwoSpots();
    const RunResult r = RunCli({"named", path, "White", "Spot-White C"});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_NE(r.err.find("\"White\": not found"), std::string::npos) << r.err;
    EXPECT_EQ(r.out, "\"Spot-White C\"  Lab 100.00 0.00 0.00  device 0 0 0 0\n")
        << "the names found are still printed";
}

TEST_F(NamedCommandTest, ProfileWithoutNamedColoursIsRefused) {
    GenSpec s;
    s.ncl2 = false;
    const std::string path = WideToUtf8(WriteGenProfile(work, "plain.icc", s));
    const RunResult r = RunCli({"named", path});
    EXPECT_EQ(r.code, 4);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_NE(r.err.find("no named colours"), std::string::npos) << r.err;
    EXPECT_EQ(r.out, "");
}

TEST_F(NamedCommandTest, MissingFileIsRefused) {
    const RunResult r = RunCli({"named", work.File("missing.icc"), "White"});
    EXPECT_EQ(r.code, 4);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_NE(r.err.find("no such profile file"), std::string::npos) << r.err;
}

TEST_F(NamedCommandTest, FileThatIsNoProfileIsRefused) {
    const std::string path = work.File("text.icc");
    ASSERT_TRUE(kvrtest::WriteText(path, std::string(300, 't')));
    const RunResult r = RunCli({"named", path});
    EXPECT_EQ(r.code, 4);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
}

TEST_F(NamedCommandTest, TagWhoseCountRunsPastItIsRefused) {
    const std::string path = TwoSpots();
    kvrtest::Bytes b = kvrtest::ReadBytes(path);
    PutBe32(b, FindTag(b, icSigNamedColor2Tag).offset + 12, 1000000);
    ASSERT_TRUE(kvrtest::WriteBytes(path, b));
    const RunResult r = RunCli({"named", path});
    EXPECT_EQ(r.code, 4);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_EQ(r.out, "");
}

TEST_F(NamedCommandTest, WithoutProfileIsAUsageError) {
    const RunResult r = RunCli({"named"});
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
}

TEST_F(NamedCommandTest, ListingOfColordX11ColoursHasEveryColour) {
    const fs::path file = kvrtest::TestDataDir() / "named" / "x11-colors.icc";
    ASSERT_TRUE(kvrtest::HaveFile(file, "restore tests/data with git"));
    cmsHPROFILE h = cmsOpenProfileFromFile(file.string().c_str(), "r");
    ASSERT_NE(h, nullptr);
    auto* list = static_cast<cmsNAMEDCOLORLIST*>(cmsReadTag(h, cmsSigNamedColor2Tag));
    ASSERT_NE(list, nullptr);
    const size_t count = cmsNamedColorCount(list);
    cmsCloseProfile(h);

    const RunResult r = RunCli({"named", file.string()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("profile          x11-colors.icc\n"), std::string::npos);
    // Five lines of head (six with a description), then one per distinct name; names that
    // differ only in case count once.
    const size_t head = r.out.find("\ndescription ") != std::string::npos ? 6 : 5;
    const size_t colourLines = LineCount(r.out) - head;
    EXPECT_GT(colourLines, 100u);
    EXPECT_LE(colourLines, count);
    EXPECT_NE(r.out.find("colours          " + std::to_string(colourLines) + "\n"),
              std::string::npos)
        << r.out.substr(0, 300);

    const RunResult one = RunCli({"named", file.string(), "ALICE BLUE"});
    ASSERT_EQ(one.code, 0) << one.err;
    EXPECT_EQ(one.out.rfind("\"ALICE BLUE\"  Lab 97.", 0), 0u) << one.out;
}

} // namespace
