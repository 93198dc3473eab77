// kvrcolor's choice of colour engine: --engine auto converts with lcms2 exactly the chains the
// native engine does not carry out as their profiles mean, and then agrees with lcms2's own
// transform; --engine native refuses them; --engine icm converts 8-bit images only; the intents
// by name; gradation files.
#include <gtest/gtest.h>
#include <lcms2.h>
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "CliSupport.h"
#include "support/TestData.h"

using namespace clitest;

namespace {

// lcms2 objects closed at the end of a scope.
struct Profile {
    explicit Profile(cmsHPROFILE h) : h(h) { EXPECT_TRUE(h); }
    explicit Profile(const std::string& path)
        : Profile(cmsOpenProfileFromFile(path.c_str(), "r")) {}
    ~Profile() {
        if (h) cmsCloseProfile(h);
    }
    Profile(const Profile&) = delete;
    Profile& operator=(const Profile&) = delete;
    cmsHPROFILE h;
};

// `colours` (16-bit codes) through lcms2's own transform of `profiles`, in the 16-bit formats of
// the first profile's and the last profile's device spaces.
std::vector<uint16_t> LcmsPixels(const std::vector<cmsHPROFILE>& profiles, cmsUInt32Number intent,
                                 const std::vector<uint16_t>& colours, unsigned nIn) {
    const cmsUInt32Number inFormat = cmsFormatterForColorspaceOfProfile(profiles.front(), 2, 0);
    const cmsUInt32Number outFormat = cmsFormatterForColorspaceOfProfile(profiles.back(), 2, 0);
    std::vector<cmsHPROFILE> list = profiles;
    cmsHTRANSFORM t = cmsCreateMultiprofileTransform(list.data(), cmsUInt32Number(list.size()),
                                                     inFormat, outFormat, intent, 0);
    EXPECT_TRUE(t);
    if (!t) return {};
    const size_t count = colours.size() / nIn;
    std::vector<uint16_t> out(count * T_CHANNELS(outFormat));
    cmsDoTransform(t, colours.data(), out.data(), cmsUInt32Number(count));
    cmsDeleteTransform(t);
    return out;
}

// The numbers of the tool's lookup output, all lines.
std::vector<uint16_t> Codes(const std::string& text) {
    std::vector<uint16_t> codes;
    std::istringstream in(text);
    for (long v; in >> v;) codes.push_back(uint16_t(v));
    return codes;
}

// "a,b,c; d,e,f" of 16-bit codes, `n` a colour.
std::string ColourText(const std::vector<uint16_t>& codes, unsigned n) {
    std::string text;
    for (size_t i = 0; i < codes.size(); ++i) {
        if (i && i % n == 0)
            text += "; ";
        else if (i)
            text += ",";
        text += std::to_string(codes[i]);
    }
    return text;
}

// A CMYK printer profile of version 4 made by lcms2, its tables written as mAB /mBA , with
// smooth made-up contents; `grid` gives the grid points of each input of the A2B0 table.
std::string WriteV4Printer(const std::string& path, cmsColorSpaceSignature pcs,
                           std::vector<cmsUInt32Number> grid) {
    const auto a2bSampler = [](const cmsUInt16Number in[], cmsUInt16Number out[], void*) -> int {
        const double ink = (in[0] + in[1] + in[2]) / 3.0 / 65535.0, k = in[3] / 65535.0;
        const double light = (1 - 0.8 * ink) * (1 - 0.9 * k);
        out[0] = cmsUInt16Number(light * 0xFF00);
        out[1] = cmsUInt16Number(0x8000 + (in[1] - in[0]) / 8);
        out[2] = cmsUInt16Number(0x8000 + (in[2] - in[1]) / 8);
        return 1;
    };
    const auto b2aSampler = [](const cmsUInt16Number in[], cmsUInt16Number out[], void*) -> int {
        const double dark = 1 - std::min(1.0, in[0] / 65280.0);
        for (int c = 0; c < 3; ++c) out[c] = cmsUInt16Number(dark * 0.7 * 65535);
        out[3] = cmsUInt16Number(dark * dark * 0.5 * 65535);
        return 1;
    };
    cmsHPROFILE h = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(h, 4.3);
    cmsSetDeviceClass(h, cmsSigOutputClass);
    cmsSetColorSpace(h, cmsSigCmykData);
    cmsSetPCS(h, pcs);
    cmsWriteTag(h, cmsSigMediaWhitePointTag, cmsD50_XYZ());
    cmsPipeline* a2b = cmsPipelineAlloc(nullptr, 4, 3);
    cmsStage* clut = cmsStageAllocCLut16bitGranular(nullptr, grid.data(), 4, 3, nullptr);
    if (pcs == cmsSigLabData) cmsStageSampleCLut16bit(clut, a2bSampler, nullptr, 0);
    cmsPipelineInsertStage(a2b, cmsAT_END, cmsStageAllocToneCurves(nullptr, 4, nullptr));
    cmsPipelineInsertStage(a2b, cmsAT_END, clut);
    cmsPipelineInsertStage(a2b, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    EXPECT_TRUE(cmsWriteTag(h, cmsSigAToB0Tag, a2b));
    cmsPipeline* b2a = cmsPipelineAlloc(nullptr, 3, 4);
    cmsStage* back = cmsStageAllocCLut16bit(nullptr, 9, 3, 4, nullptr);
    cmsStageSampleCLut16bit(back, b2aSampler, nullptr, 0);
    cmsPipelineInsertStage(b2a, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    cmsPipelineInsertStage(b2a, cmsAT_END, back);
    cmsPipelineInsertStage(b2a, cmsAT_END, cmsStageAllocToneCurves(nullptr, 4, nullptr));
    EXPECT_TRUE(cmsWriteTag(h, cmsSigBToA0Tag, b2a));
    EXPECT_TRUE(cmsSaveProfileToFile(h, path.c_str()));
    cmsPipelineFree(a2b);
    cmsPipelineFree(b2a);
    cmsCloseProfile(h);
    return path;
}

std::string WriteGreyLab(const std::string& path) {
    cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.2);
    cmsHPROFILE h = cmsCreateGrayProfile(cmsD50_xyY(), gamma);
    cmsSetPCS(h, cmsSigLabData);
    EXPECT_TRUE(cmsSaveProfileToFile(h, path.c_str()));
    cmsCloseProfile(h);
    cmsFreeToneCurve(gamma);
    return path;
}

// A gradation file of `channels` curves: curve c is x^(1 + c/4), written as the tool reads it.
std::vector<std::vector<uint16_t>> WriteGradation(const std::string& path, unsigned channels) {
    std::vector<std::vector<uint16_t>> curves(channels, std::vector<uint16_t>(256));
    std::string text = "# test curves\n";
    for (unsigned c = 0; c < channels; ++c) {
        for (unsigned i = 0; i < 256; ++i) {
            curves[c][i] = uint16_t(std::lround(std::pow(i / 255.0, 1 + c / 4.0) * 65535));
            text += (i ? (i % 2 ? "," : " ") : "") + std::to_string(curves[c][i]);
        }
        text += "\n";
    }
    WriteBytes(path, std::vector<uint8_t>(text.begin(), text.end()));
    return curves;
}

// Codes of the tool and of lcms2 agree within `tolerance` codes of 65535 each: the two build
// the same lcms2 transform, perhaps with other grid sizes.
void ExpectClose(const std::vector<uint16_t>& tool, const std::vector<uint16_t>& lcms,
                 int tolerance) {
    ASSERT_EQ(tool.size(), lcms.size());
    for (size_t i = 0; i < tool.size(); ++i)
        EXPECT_NEAR(int(tool[i]), int(lcms[i]), tolerance) << "sample " << i;
}

class EngineTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    static RunResult Lookup(const std::vector<std::string>& chain, const std::string& colours) {
        std::vector<std::string> args{"lookup", "--units", "16"};
        args.insert(args.end(), chain.begin(), chain.end());
        args.push_back(colours);
        return RunCli(args);
    }

    // With --engine auto (the default) the chain goes to lcms2, says so and why, and gives what
    // lcms2 gives; with --engine native it is refused with the same reason.
    static void ExpectLcmsChosen(const std::vector<std::string>& chain,
                                 const std::vector<uint16_t>& colours, unsigned nIn,
                                 const std::vector<uint16_t>& lcms, const std::string& reason,
                                 int tolerance = 2) {
        const RunResult r = Lookup(chain, ColourText(colours, nIn));
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(r.err.rfind("kvrcolor: engine lcms (auto: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        ExpectClose(Codes(r.out), lcms, tolerance);

        std::vector<std::string> native = chain;
        native.insert(native.end(), {"--engine", "native"});
        const RunResult refused = Lookup(native, ColourText(colours, nIn));
        EXPECT_EQ(refused.code, 5) << refused.err;
        EXPECT_EQ(LineCount(refused.err), 1u) << refused.err;
        EXPECT_NE(refused.err.find(reason), std::string::npos) << refused.err;
        EXPECT_NE(refused.err.find("--engine native refuses"), std::string::npos) << refused.err;
        EXPECT_EQ(refused.out, "");
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
};

const std::vector<uint16_t> kRgbColours{65535, 0,     0,     0,     32768, 65535, 10000, 20000,
                                        30000, 65535, 65535, 65535, 0,     0,     0};
const std::vector<uint16_t> kCmykColours{0, 0,     0, 32768, 65535, 0, 0,     0,     20000, 40000,
                                         0, 10000, 0, 0,     0,     0, 65535, 65535, 65535, 65535};

TEST_F(EngineTest, AutoChoosesLcmsForBlackPreservingIntentAndAgreesWithLcms) {
    const Profile cmyk(s_p.cmyk);
    ExpectLcmsChosen(
        {"--from", s_p.cmyk, "--to", s_p.cmyk, "--intent", "perceptual-keep-k"}, kCmykColours, 4,
        LcmsPixels({cmyk.h, cmyk.h}, INTENT_PRESERVE_K_ONLY_PERCEPTUAL, kCmykColours, 4),
        "keeps black");
    ExpectLcmsChosen({"--from", s_p.cmyk, "--to", s_p.cmyk, "--intent", "11"}, kCmykColours, 4,
                     LcmsPixels({cmyk.h, cmyk.h}, INTENT_PRESERVE_K_PLANE_RELATIVE_COLORIMETRIC,
                                kCmykColours, 4),
                     "relative-keep-plane keeps black");
}

TEST_F(EngineTest, AutoChoosesLcmsForGradationAndAppliesItAfterThePrinter) {
    const auto curves = WriteGradation(work / "cal.txt", 4);
    const Profile rgb(s_p.rgb), cmyk(s_p.cmyk);
    std::vector<cmsToneCurve*> tones;
    for (const auto& c : curves)
        tones.push_back(cmsBuildTabulatedToneCurve16(nullptr, 256, c.data()));
    const Profile curvesLink(cmsCreateLinearizationDeviceLink(cmsSigCmykData, tones.data()));
    for (cmsToneCurve* t : tones) cmsFreeToneCurve(t);
    ExpectLcmsChosen(
        {"--from", s_p.rgb, "--to", s_p.cmyk, "--gradation", work / "cal.txt"}, kRgbColours, 3,
        LcmsPixels({rgb.h, cmyk.h, curvesLink.h}, INTENT_PERCEPTUAL, kRgbColours, 3), "gradation");
}

TEST_F(EngineTest, AutoChoosesLcmsForParametricDestinationCurves) {
    const std::string para = kvrtest::CorpusProfile("colord-sRGB.icc").string();
    const Profile rgb(s_p.rgb), dst(para);
    ExpectLcmsChosen({"--from", s_p.rgb, "--to", para}, kRgbColours, 3,
                     LcmsPixels({rgb.h, dst.h}, INTENT_PERCEPTUAL, kRgbColours, 3), "parametric");
}

TEST_F(EngineTest, AutoChoosesLcmsForGreyProfileWithLabConnectionSpace) {
    const std::string grey = WriteGreyLab(work / "grey-lab.icc");
    const Profile src(grey), cmyk(s_p.cmyk);
    const std::vector<uint16_t> greys{0, 16384, 32768, 50000, 65535};
    ExpectLcmsChosen({"--from", grey, "--to", s_p.cmyk}, greys, 1,
                     LcmsPixels({src.h, cmyk.h}, INTENT_PERCEPTUAL, greys, 1),
                     "grey profile with a Lab connection space");
}

TEST_F(EngineTest, AutoChoosesLcmsForTableWithDifferentGridSizePerInput) {
    const Profile rgb(s_p.rgb);
    // The Lab table of version 4 is a reason of its own; the grid reason comes with XYZ.
    const std::string unevenXyz =
        WriteV4Printer(work / "uneven-xyz.icc", cmsSigXYZData, {9, 5, 5, 3});
    const Profile srcXyz(unevenXyz);
    ExpectLcmsChosen({"--from", unevenXyz, "--to", s_p.rgb}, kCmykColours, 4,
                     LcmsPixels({srcXyz.h, rgb.h}, INTENT_PERCEPTUAL, kCmykColours, 4),
                     "different grid size per input");
}

TEST_F(EngineTest, AutoChoosesLcmsForMoreThanFourInputs) {
    const Profile five(s_p.five), cmyk(s_p.cmyk);
    const std::vector<uint16_t> inks{0, 0,     0,    0,    0,    65535, 0,   0,
                                     0, 30000, 1000, 2000, 3000, 4000,  5000};
    ExpectLcmsChosen({"--from", s_p.five, "--to", s_p.cmyk}, inks, 5,
                     LcmsPixels({five.h, cmyk.h}, INTENT_PERCEPTUAL, inks, 5), "5 input channels");
}

TEST_F(EngineTest, FiveInkImageConvertsWithLcmsUnderAuto) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_SEPARATED;
    spec.samplesPerPixel = 5;
    const auto in = TestSamples(spec.SampleCount(), 8, 6);
    WriteTiff(work / "five.tif", spec, in);
    const RunResult r = RunCli(
        {"convert", work / "five.tif", work / "out.tif", "--from", s_p.five, "--to", s_p.cmyk});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("engine lcms (auto: "), std::string::npos) << r.out;
    // lcms2's 16-bit answer for the widened 8-bit inks, narrowed again.
    std::vector<uint16_t> wide(in.size());
    for (size_t i = 0; i < in.size(); ++i) wide[i] = uint16_t(in[i] * 257);
    const Profile five(s_p.five), cmyk(s_p.cmyk);
    std::vector<uint16_t> expected = LcmsPixels({five.h, cmyk.h}, INTENT_PERCEPTUAL, wide, 5);
    for (auto& v : expected) v = uint16_t((v * 255u + 32767u) / 65535u);
    ExpectClose(ReadTiff(work / "out.tif").samples, expected, 1);
}

TEST_F(EngineTest, CopyingChainIsNativeOnly) {
    // Six inks into the profile they are in already: nothing to convert, the inks pass.
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_SEPARATED;
    spec.samplesPerPixel = 6;
    const auto in = TestSamples(spec.SampleCount(), 8, 10);
    WriteTiff(work / "six.tif", spec, in);
    RunResult r =
        RunCli({"convert", work / "six.tif", work / "out.tif", "--from", s_p.six, "--to", s_p.six});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ReadTiff(work / "out.tif").samples, in);
    r = RunCli({"convert", work / "six.tif", work / "out2.tif", "--from", s_p.six, "--to", s_p.six,
                "--engine", "lcms"});
    EXPECT_EQ(r.code, 5) << r.err;
    EXPECT_NE(r.err.find("only the native engine makes a copying link"), std::string::npos)
        << r.err;
    EXPECT_FALSE(fs::exists(work / "out2.tif"));
}

TEST_F(EngineTest, AutoChoosesLcmsForVersionFourTableWithLabConnectionSpace) {
    const std::string v4 = WriteV4Printer(work / "v4lab.icc", cmsSigLabData, {9, 9, 9, 9});
    const Profile rgb(s_p.rgb), dst(v4);
    ExpectLcmsChosen({"--from", s_p.rgb, "--to", v4}, kRgbColours, 3,
                     LcmsPixels({rgb.h, dst.h}, INTENT_PERCEPTUAL, kRgbColours, 3),
                     "version-2 Lab encoding");
}

TEST_F(EngineTest, AutoKeepsTheNativeEngineWhereItDoesWhatTheProfilesMean) {
    const RunResult r = Lookup({"--from", s_p.rgb, "--to", s_p.cmyk}, ColourText(kRgbColours, 3));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(Codes(r.out),
              LinkPixels({{s_p.rgb, CMdlColorLink::ProfStepDevToPcs, IntentPerceptual},
                          {s_p.cmyk, CMdlColorLink::ProfStepPcsToDev, IntentPerceptual}},
                         CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4, kRgbColours,
                         16));
}

TEST_F(EngineTest, SummaryLineNamesTheEngineAndWhy) {
    TiffSpec spec;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 7));
    RunResult r =
        RunCli({"convert", work / "in.tif", work / "out.tif", "--from", s_p.rgb, "--to", s_p.cmyk});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find(", engine native (auto: the native engine carries out this chain)\n"),
              std::string::npos)
        << r.out;
    r = RunCli({"convert", work / "in.tif", work / "out.tif", "--from", s_p.rgb, "--to", s_p.cmyk,
                "--intent", "perceptual-keep-k"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find(", engine lcms (auto: intent perceptual-keep-k keeps black"),
              std::string::npos)
        << r.out;
    r = RunCli({"convert", work / "in.tif", work / "out.tif", "--from", s_p.rgb, "--to", s_p.cmyk,
                "--engine", "lcms"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find(", engine lcms (asked for (--engine lcms))"), std::string::npos) << r.out;
}

TEST_F(EngineTest, IcmConvertsAnEightBitRgbImageToCmyk) {
    TiffSpec spec;
    const auto in = TestSamples(spec.SampleCount(), 8, 8);
    WriteTiff(work / "in.tif", spec, in);
    const RunResult r = RunCli({"convert", work / "in.tif", work / "out.tif", "--from", s_p.rgb,
                                "--to", s_p.cmyk, "--engine", "icm"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find(", engine icm (asked for (--engine icm))"), std::string::npos) << r.out;
    const TiffImage out = ReadTiff(work / "out.tif");
    ASSERT_EQ(out.spec.samplesPerPixel, 4);
    // The ICM engine over lcms2 gives lcms2's 8-bit answer; red stays red (the engine's own
    // blue-green-red order is undone by the tool).
    const Profile rgb(s_p.rgb), cmyk(s_p.cmyk);
    cmsHPROFILE chain[] = {rgb.h, cmyk.h};
    cmsHTRANSFORM t =
        cmsCreateMultiprofileTransform(chain, 2, TYPE_RGB_8, TYPE_CMYK_8, INTENT_PERCEPTUAL, 0);
    ASSERT_TRUE(t);
    std::vector<uint8_t> in8(in.begin(), in.end()), expected(out.samples.size());
    cmsDoTransform(t, in8.data(), expected.data(), cmsUInt32Number(in.size() / 3));
    cmsDeleteTransform(t);
    ExpectClose(out.samples, std::vector<uint16_t>(expected.begin(), expected.end()), 2);
}

TEST_F(EngineTest, IcmRefusesSixteenBitInputWithAClearMessage) {
    TiffSpec spec;
    spec.bits = 16;
    WriteTiff(work / "in16.tif", spec, TestSamples(spec.SampleCount(), 16, 9));
    RunResult r = RunCli({"convert", work / "in16.tif", work / "out.tif", "--from", s_p.rgb, "--to",
                          s_p.cmyk, "--engine", "icm"});
    EXPECT_EQ(r.code, 6) << r.err;
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_NE(r.err.find("16-bit pixels; the icm engine converts 8-bit pixels only"),
              std::string::npos)
        << r.err;
    EXPECT_FALSE(fs::exists(work / "out.tif"));
    // Lookup works in 16 bits and is refused as well.
    r = Lookup({"--from", s_p.rgb, "--to", s_p.cmyk, "--engine", "icm"}, "255,0,0");
    EXPECT_EQ(r.code, 5) << r.err;
    EXPECT_NE(r.err.find("8-bit pixels only"), std::string::npos) << r.err;
}

TEST_F(EngineTest, IcmRefusesBlackPreservingIntentAndGradation) {
    WriteGradation(work / "cal.txt", 4);
    RunResult r = Lookup(
        {"--from", s_p.rgb, "--to", s_p.cmyk, "--engine", "icm", "--intent", "relative-keep-k"},
        "255,0,0");
    EXPECT_EQ(r.code, 5) << r.err;
    EXPECT_NE(r.err.find("does not keep black"), std::string::npos) << r.err;
    r = Lookup(
        {"--from", s_p.rgb, "--to", s_p.cmyk, "--engine", "icm", "--gradation", work / "cal.txt"},
        "255,0,0");
    EXPECT_EQ(r.code, 5) << r.err;
    EXPECT_NE(r.err.find("applies no gradation"), std::string::npos) << r.err;
}

TEST_F(EngineTest, UnknownEngineIsAUsageError) {
    const RunResult r =
        Lookup({"--from", s_p.rgb, "--to", s_p.cmyk, "--engine", "argyll"}, "1,2,3");
    EXPECT_EQ(r.code, 2) << r.err;
    EXPECT_EQ(r.out, "");
}

TEST_F(EngineTest, LinkStaysNativeOnlyAndSaysSo) {
    RunResult r =
        RunCli({"link", work / "l.icc", "--from", s_p.rgb, "--to", s_p.cmyk, "--engine", "lcms"});
    EXPECT_EQ(r.code, 5) << r.err;
    EXPECT_NE(r.err.find("native-only"), std::string::npos) << r.err;
    r = RunCli({"link", work / "l.icc", "--from", s_p.rgb, "--to", s_p.cmyk, "--intent",
                "perceptual-keep-k"});
    EXPECT_EQ(r.code, 5) << r.err;
    EXPECT_NE(r.err.find("native-only"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("keeps black"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(work / "l.icc"));
    r = RunCli({"link", work / "l.icc", "--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(fs::exists(work / "l.icc"));
}

TEST_F(EngineTest, EveryIntentNameIsAcceptedAndHelpNamesItsEngines) {
    const std::vector<std::string> names{"default",
                                         "perceptual",
                                         "relative",
                                         "saturation",
                                         "absolute",
                                         "relative-bpc",
                                         "perceptual-keep-k",
                                         "relative-keep-k",
                                         "saturation-keep-k",
                                         "relative-bpc-keep-k",
                                         "perceptual-keep-plane",
                                         "relative-keep-plane",
                                         "saturation-keep-plane",
                                         "relative-bpc-keep-plane"};
    const RunResult help = RunCli({"--help"});
    ASSERT_EQ(help.code, 0);
    for (size_t i = 0; i < names.size(); ++i) {
        const RunResult r =
            Lookup({"--from", s_p.cmyk, "--to", s_p.cmyk, "--engine", "lcms", "--intent", names[i]},
                   "0,0,0,65535");
        EXPECT_EQ(r.code, 0) << names[i] << ": " << r.err;
        // Its line in --help: number, name, meaning and the engines that carry it out.
        const std::string key = (i < 10 ? "   " : "  ") + std::to_string(i) + "  " + names[i] + " ";
        const size_t at = help.out.find(key);
        ASSERT_NE(at, std::string::npos) << names[i];
        const std::string line = help.out.substr(at, help.out.find('\n', at) - at);
        EXPECT_NE(line.find(i >= 6   ? "lcms"
                            : i == 5 ? "icm: as relative"
                                     : "all"),
                  std::string::npos)
            << line;
        if (i >= 6) {
            EXPECT_EQ(line.find("native"), std::string::npos) << line;
        }
    }
}

TEST_F(EngineTest, GradationFileWithWrongCurveCountIsRefusedNamingTheFile) {
    WriteGradation(work / "three.txt", 3);
    const RunResult r =
        Lookup({"--from", s_p.rgb, "--to", s_p.cmyk, "--gradation", work / "three.txt"}, "1,2,3");
    EXPECT_EQ(r.code, 3) << r.err;
    EXPECT_NE(r.err.find("three.txt: 3 curves; the output has 4 channels"), std::string::npos)
        << r.err;
}

TEST_F(EngineTest, GradationFileWithBadNumberIsRefusedNamingTheLine) {
    std::string text = "# curves\n";
    for (int c = 0; c < 4; ++c) {
        for (int i = 0; i < 256; ++i) text += std::to_string(i * 257) + " ";
        text += "\n";
    }
    text.replace(text.find(" 514 "), 5, " 70000 "); // second line: out of range
    WriteBytes(work / "bad.txt", std::vector<uint8_t>(text.begin(), text.end()));
    RunResult r =
        Lookup({"--from", s_p.rgb, "--to", s_p.cmyk, "--gradation", work / "bad.txt"}, "1,2,3");
    EXPECT_EQ(r.code, 3) << r.err;
    EXPECT_NE(r.err.find("bad.txt line 2: not a number 0-65535"), std::string::npos) << r.err;

    std::string shortLine = "1 2 3\n";
    WriteBytes(work / "short.txt", std::vector<uint8_t>(shortLine.begin(), shortLine.end()));
    r = Lookup({"--from", s_p.rgb, "--to", s_p.cmyk, "--gradation", work / "short.txt"}, "1,2,3");
    EXPECT_EQ(r.code, 3) << r.err;
    EXPECT_NE(r.err.find("short.txt line 1: 3 numbers; a curve has 256"), std::string::npos)
        << r.err;

    r = Lookup({"--from", s_p.rgb, "--to", s_p.cmyk, "--gradation", work / "missing.txt"}, "1,2,3");
    EXPECT_EQ(r.code, 3) << r.err;
    EXPECT_NE(r.err.find("missing.txt: gradation file cannot be read"), std::string::npos) << r.err;
}

TEST_F(EngineTest, GradationOfThreeCurvesForRgbOutputIsRefusedByLcmsWithTheReason) {
    // lcms2 has no device space of three curves to make the curves' link in.
    WriteGradation(work / "rgb.txt", 3);
    const RunResult r =
        Lookup({"--from", s_p.rgb, "--to", s_p.rgbAlt, "--gradation", work / "rgb.txt"}, "1,2,3");
    EXPECT_EQ(r.code, 5) << r.err;
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_NE(r.err.find("the lcms engine refused the gradation: error 901 (3 curves for RGB"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(r.out, "");
}

TEST_F(EngineTest, GradationNeedsAChainEndingInDeviceValues) {
    WriteGradation(work / "cal.txt", 3);
    const RunResult r =
        Lookup({"--step", s_p.rgb + ":dev2pcs", "--gradation", work / "cal.txt"}, "1,2,3");
    EXPECT_EQ(r.code, 2) << r.err;
    EXPECT_NE(r.err.find("--gradation follows the printer step"), std::string::npos) << r.err;
}

} // namespace
