// kvrcolor with --engine native refuses, with the reason, the chains that the native engine as
// designed would not convert as their profiles mean, instead of writing wrong colours with exit
// status 0; and a missing table is explained by what is actually the matter with the profile.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <memory>

#include "CliSupport.h"
#include "support/TestData.h"

using namespace clitest;

namespace {

// A CMYK printer profile of version 4 made by lcms2: its tables are written as mAB /mBA .
// `grid` gives the grid points of each input of the A2B0 table.
std::string WriteV4Printer(const std::string& path, cmsColorSpaceSignature pcs,
                           std::vector<cmsUInt32Number> grid) {
    cmsHPROFILE h = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(h, 4.3);
    cmsSetDeviceClass(h, cmsSigOutputClass);
    cmsSetColorSpace(h, cmsSigCmykData);
    cmsSetPCS(h, pcs);
    cmsWriteTag(h, cmsSigMediaWhitePointTag, cmsD50_XYZ());
    // A2B0: any smooth table; the tests only need the tool to look at its type and grid.
    // lcms2 writes a table as mAB /mBA  only with curves on both sides of the grid.
    cmsPipeline* a2b = cmsPipelineAlloc(nullptr, 4, 3);
    cmsPipelineInsertStage(a2b, cmsAT_END, cmsStageAllocToneCurves(nullptr, 4, nullptr));
    cmsPipelineInsertStage(a2b, cmsAT_END,
                           cmsStageAllocCLut16bitGranular(nullptr, grid.data(), 4, 3, nullptr));
    cmsPipelineInsertStage(a2b, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    EXPECT_TRUE(cmsWriteTag(h, cmsSigAToB0Tag, a2b));
    cmsPipeline* b2a = cmsPipelineAlloc(nullptr, 3, 4);
    cmsPipelineInsertStage(b2a, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    cmsPipelineInsertStage(b2a, cmsAT_END, cmsStageAllocCLut16bit(nullptr, 9, 3, 4, nullptr));
    cmsPipelineInsertStage(b2a, cmsAT_END, cmsStageAllocToneCurves(nullptr, 4, nullptr));
    EXPECT_TRUE(cmsWriteTag(h, cmsSigBToA0Tag, b2a));
    EXPECT_TRUE(cmsSaveProfileToFile(h, path.c_str()));
    cmsPipelineFree(a2b);
    cmsPipelineFree(b2a);
    cmsCloseProfile(h);
    return path;
}

class NativeLimitsTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    // With the native engine chosen: the refusals are its own.
    static RunResult Lookup(const std::vector<std::string>& chain, const std::string& colour) {
        std::vector<std::string> args{"lookup", "--engine", "native"};
        args.insert(args.end(), chain.begin(), chain.end());
        args.push_back(colour);
        return RunCli(args);
    }
    // The refusal: the given exit code, one line holding each of `words`, nothing on stdout.
    static void ExpectRefused(const RunResult& r, int code, const std::vector<std::string>& words) {
        EXPECT_EQ(r.code, code) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        for (const auto& w : words)
            EXPECT_NE(r.err.find(w), std::string::npos) << w << " in " << r.err;
        EXPECT_EQ(r.out, "");
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
};

TEST_F(NativeLimitsTest, BlackPreservingIntentIsRefusedNamingTheEngineThatHasIt) {
    for (const char* intent : {"perceptual-keep-k", "6", "relative-bpc-keep-plane", "13"})
        ExpectRefused(Lookup({"--from", s_p.rgb, "--to", s_p.cmyk, "--intent", intent}, "255,0,0"),
                      5, {"keeps black", "lcms"});
    // The plain intents still convert.
    EXPECT_EQ(
        Lookup({"--from", s_p.rgb, "--to", s_p.cmyk, "--intent", "perceptual"}, "255,0,0").code, 0);
}

TEST_F(NativeLimitsTest, DestinationWithParametricCurvesIsRefused) {
    const std::string para = kvrtest::CorpusProfile("colord-sRGB.icc").string();
    ExpectRefused(Lookup({"--from", s_p.rgb, "--to", para}, "10,20,30"), 5,
                  {"colord-sRGB.icc", "parametric", "rTRC"});
    // As a source its curves run forward, which the native engine does.
    EXPECT_EQ(Lookup({"--from", para, "--to", s_p.cmyk}, "10,20,30").code, 0);
}

TEST_F(NativeLimitsTest, GreyProfileWithLabConnectionSpaceIsRefused) {
    cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.2);
    cmsHPROFILE h = cmsCreateGrayProfile(cmsD50_xyY(), gamma);
    cmsSetPCS(h, cmsSigLabData);
    const std::string path = work / "grey-lab.icc";
    ASSERT_TRUE(cmsSaveProfileToFile(h, path.c_str()));
    cmsCloseProfile(h);
    cmsFreeToneCurve(gamma);
    ExpectRefused(Lookup({"--from", path, "--to", s_p.cmyk}, "128"), 5,
                  {"grey-lab.icc", "grey profile with a Lab connection space"});
}

TEST_F(NativeLimitsTest, VersionFourTableWithLabConnectionSpaceIsRefused) {
    const std::string v4 = WriteV4Printer(work / "v4lab.icc", cmsSigLabData, {9, 9, 9, 9});
    ExpectRefused(Lookup({"--from", s_p.rgb, "--to", v4}, "10,20,30"), 5,
                  {"v4lab.icc", "'B2A0'", "'mBA '", "version-2 Lab encoding"});
    ExpectRefused(Lookup({"--from", v4, "--to", s_p.rgb}, "0,0,0,0"), 5,
                  {"v4lab.icc", "'A2B0'", "'mAB '"});
}

TEST_F(NativeLimitsTest, TableWithADifferentGridSizePerInputIsRefused) {
    const std::string uneven = WriteV4Printer(work / "uneven.icc", cmsSigXYZData, {9, 5, 5, 3});
    ExpectRefused(Lookup({"--from", uneven, "--to", s_p.rgb}, "0,0,0,0"), 5,
                  {"uneven.icc", "different grid size per input"});
}

TEST_F(NativeLimitsTest, SourceOfMoreThanFourInputsIsRefusedWithTheReason) {
    ExpectRefused(Lookup({"--from", s_p.five, "--to", s_p.cmyk}, "0,0,0,0,0"), 5,
                  {"5 input channels", "at most four inputs"});
}

TEST_F(NativeLimitsTest, DeviceLinkAsSourceConvertsAloneAndTakesNoDestination) {
    cmsHPROFILE rgb = cmsOpenProfileFromFile(s_p.rgb.c_str(), "r");
    cmsHPROFILE cmyk = cmsOpenProfileFromFile(s_p.cmyk.c_str(), "r");
    ASSERT_TRUE(rgb && cmyk);
    cmsHTRANSFORM t =
        cmsCreateTransform(rgb, TYPE_RGB_16, cmyk, TYPE_CMYK_16, INTENT_PERCEPTUAL, 0);
    ASSERT_TRUE(t);
    cmsHPROFILE link = cmsTransform2DeviceLink(t, 3.4, 0);
    const std::string path = work / "rgb2cmyk-link.icc";
    ASSERT_TRUE(cmsSaveProfileToFile(link, path.c_str()));
    cmsCloseProfile(link);
    cmsDeleteTransform(t);
    cmsCloseProfile(rgb);
    cmsCloseProfile(cmyk);

    ExpectRefused(Lookup({"--from", path, "--to", s_p.cmyk}, "255,0,0"), 2,
                  {"device link converts on its own", "no --to"});
    const RunResult alone = Lookup({"--from", path}, "255,0,0");
    EXPECT_EQ(alone.code, 0) << alone.err;
    EXPECT_EQ(LineCount(alone.out), 1u) << alone.out;
    // A device link given as the destination is explained, not reported as a missing table.
    ExpectRefused(Lookup({"--from", s_p.rgb, "--to", path}, "255,0,0"), 4,
                  {"device link works only as the source"});
}

TEST_F(NativeLimitsTest, AbstractAndNamedColourDestinationsAreExplained) {
    ExpectRefused(Lookup({"--in-format", "lab", "--to", kvrtest::CorpusProfile("CineLogCurve.icc")},
                         "50,0,0"),
                  4, {"abstract profile", ":abstract"});
    ExpectRefused(
        Lookup({"--from", s_p.rgb, "--to", kvrtest::CorpusProfile("Crayons.icc")}, "255,0,0"), 4,
        {"named-colour profile has no colour tables"});
}

TEST_F(NativeLimitsTest, MissingTableIsNamedForTheStep) {
    ExpectRefused(Lookup({"--from", s_p.rgb, "--to", s_p.rgbInput}, "255,0,0"), 5,
                  {"error 904", "no table from the connection space to the device", "'B2A0'"});
}

} // namespace
