// The lcms back-end: what it hands lcms2 for each chain, format and setting, and how it fails.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <vector>

#include "colorlink/LcmsTestUtil.h"
#include "colorlink/lcms/LcmsColorLink.h"
#include "colorlink/lcms/LcmsFlags.h"

using namespace lcmstest;

namespace {

constexpr int kDevToPcs = CMdlColorLink::ProfStepDevToPcs;
constexpr int kPcsToDev = CMdlColorLink::ProfStepPcsToDev;
constexpr int kPreview = CMdlColorLink::ProfStepPreview;
constexpr int kGamut = CMdlColorLink::ProfStepGamut;
constexpr unsigned kFmtRgb = CMdlColorLink::LinkFmtRgb;
constexpr unsigned kFmtCmyk = CMdlColorLink::LinkFmtCmyk;
constexpr unsigned kFmtGamut = CMdlColorLink::LinkFmtGamut;
constexpr unsigned kFmtNColor = CMdlColorLink::LinkFmtNColor;
constexpr unsigned kFmtLab = CMdlColorLink::LinkFmtLab;
constexpr unsigned kFmtGray = CMdlColorLink::LinkFmtGray;

// A CMYK printer with Lab connection space, one with XYZ, and an RGB display.
const std::string kPrinterLab = Corpus("default_cmyk.icc");
const std::string kPrinterXyz = Corpus("ps_cmyk.icc");
const std::string kSrgb = Corpus("sRGB.icc");

// A link of the given steps, each added successfully.
std::unique_ptr<CLcmsColorLink> Link(CUserSettingsMgr* settings,
                                     const std::vector<std::pair<std::string, int>>& steps,
                                     int intent) {
    auto link = std::make_unique<CLcmsColorLink>(settings);
    for (const auto& [path, kind] : steps)
        EXPECT_EQ(link->AddProfile(Wide(path).c_str(), kind, enmRenderingIntent(intent)), 1)
            << path;
    return link;
}

} // namespace

TEST(LcmsBackEnd, CmsValue4GivesTheLcmsBackEndWithGradation) {
    Settings s({{&IniCpCMS, "4"}});
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(s.get()));
    ASSERT_NE(dynamic_cast<CLcmsColorLink*>(link.get()), nullptr);
    EXPECT_EQ(link->SupportsGradation(), 1);
    EXPECT_EQ(link->GetLinkError(), 0u);
}

TEST(LcmsBackEnd, IntentsMapToLcmsIntentsAndBlackPointFlags) {
    const struct {
        int intent;
        cmsUInt32Number lcms;
        cmsBool bpc;
    } table[] = {
        {0, INTENT_PERCEPTUAL, 0},
        {1, INTENT_PERCEPTUAL, 0},
        {2, INTENT_RELATIVE_COLORIMETRIC, 0},
        {3, INTENT_SATURATION, 0},
        {4, INTENT_ABSOLUTE_COLORIMETRIC, 0},
        {5, INTENT_RELATIVE_COLORIMETRIC, 1},
        {6, INTENT_PRESERVE_K_ONLY_PERCEPTUAL, 0},
        {7, INTENT_PRESERVE_K_ONLY_RELATIVE_COLORIMETRIC, 0},
        {8, INTENT_PRESERVE_K_ONLY_SATURATION, 0},
        {9, INTENT_PRESERVE_K_ONLY_RELATIVE_COLORIMETRIC, 1},
        {10, INTENT_PRESERVE_K_PLANE_PERCEPTUAL, 0},
        {11, INTENT_PRESERVE_K_PLANE_RELATIVE_COLORIMETRIC, 0},
        {12, INTENT_PRESERVE_K_PLANE_SATURATION, 0},
        {13, INTENT_PRESERVE_K_PLANE_RELATIVE_COLORIMETRIC, 1},
        {14, INTENT_PERCEPTUAL, 0},
        {-1, INTENT_PERCEPTUAL, 0},
    };
    for (const auto& row : table) {
        EXPECT_EQ(CLcmsColorLink::LcmsIntent(row.intent), row.lcms) << row.intent;
        EXPECT_EQ(CLcmsColorLink::LcmsBlackPoint(row.intent), row.bpc) << row.intent;
    }
}

TEST(LcmsBackEnd, OneProfileChainWithIntent7FallsBackToRelative) {
    Settings s;
    auto link = Link(s.get(), {{kPrinterLab, kDevToPcs}}, IntentRelativeKeepK);
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1) << link->GetLinkError();
    ASSERT_EQ(link->LcmsProfileCount(), 1u);
    EXPECT_EQ(link->LcmsIntents()[0], cmsUInt32Number(INTENT_RELATIVE_COLORIMETRIC));
}

TEST(LcmsBackEnd, OneProfileFallbackReducesEveryBlackPreservingIntent) {
    Settings s;
    const std::pair<int, cmsUInt32Number> expected[] = {
        {6, INTENT_PERCEPTUAL},  {7, INTENT_RELATIVE_COLORIMETRIC},
        {8, INTENT_SATURATION},  {9, INTENT_RELATIVE_COLORIMETRIC},
        {10, INTENT_PERCEPTUAL}, {11, INTENT_RELATIVE_COLORIMETRIC},
        {12, INTENT_SATURATION}, {13, INTENT_RELATIVE_COLORIMETRIC}};
    for (const auto& [intent, lcms] : expected) {
        auto link = Link(s.get(), {{kPrinterLab, kDevToPcs}}, intent);
        ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1) << intent;
        ASSERT_EQ(link->LcmsIntents().size(), 1u);
        EXPECT_EQ(link->LcmsIntents()[0], lcms) << intent;
        EXPECT_EQ(link->LcmsBlackPoints()[0], CLcmsColorLink::LcmsBlackPoint(intent)) << intent;
    }
}

TEST(LcmsBackEnd, WithAnAddedLabProfileThereIsNoFallback) {
    Settings s;
    // An XYZ printer read to Lab gets a Lab profile at the end.
    auto link = Link(s.get(), {{kPrinterXyz, kDevToPcs}}, IntentRelativeKeepK);
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1) << link->GetLinkError();
    ASSERT_EQ(link->LcmsProfileCount(), 2u);
    EXPECT_EQ(link->LcmsIntents(),
              (std::vector<cmsUInt32Number>{INTENT_PRESERVE_K_ONLY_RELATIVE_COLORIMETRIC,
                                            INTENT_PERCEPTUAL}));
    EXPECT_EQ(link->LcmsOutputFormat(), cmsUInt32Number(TYPE_Lab_16));
}

TEST(LcmsBackEnd, ALabToDeviceLinkHasTwoElements) {
    Settings s;
    for (const std::string& printer : {kPrinterLab, kPrinterXyz}) {
        auto link = Link(s.get(), {{printer, kPcsToDev}}, IntentRelative);
        ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1) << printer;
        ASSERT_EQ(link->LcmsProfileCount(), 2u) << printer;
        EXPECT_EQ(link->LcmsIntents(),
                  (std::vector<cmsUInt32Number>{INTENT_PERCEPTUAL, INTENT_RELATIVE_COLORIMETRIC}));
        EXPECT_EQ(link->LcmsInputFormat(), cmsUInt32Number(TYPE_Lab_16));
        EXPECT_EQ(link->LcmsOutputFormat(), cmsUInt32Number(TYPE_CMYK_16));
    }
}

// lcms2 takes the way of linking a chain from the first intent of its arrays. After the added
// Lab profile with intent 0 that is the ordinary one, which knows no black-preserving intent:
// such a chain is refused, and the link fails as a refused transform.
TEST(LcmsBackEnd, ABlackPreservingIntentAfterTheAddedLabProfileIsRefusedWith904) {
    Settings s;
    auto link = Link(s.get(), {{kPrinterLab, kPcsToDev}}, IntentRelativeKeepK);
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 0);
    EXPECT_EQ(link->GetLinkError(), 904u);
    EXPECT_EQ(link->LcmsIntents(),
              (std::vector<cmsUInt32Number>{INTENT_PERCEPTUAL,
                                            INTENT_PRESERVE_K_ONLY_RELATIVE_COLORIMETRIC}));
}

TEST(LcmsBackEnd, APreviewStepProducesTwoElementsAndNoFallback) {
    Settings s;
    auto link = Link(s.get(), {{kPrinterLab, kPreview}}, IntentRelativeKeepK);
    // Refused by lcms2 for the reason above; the arrays are filled all the same.
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtLab, 3), 0);
    // The Lab profile in front of a chain that begins in the connection space, then the printer
    // twice: into the device at the intent, back at relative colorimetric.
    ASSERT_EQ(link->LcmsProfileCount(), 3u);
    EXPECT_EQ(link->LcmsIntents(),
              (std::vector<cmsUInt32Number>{INTENT_PERCEPTUAL,
                                            INTENT_PRESERVE_K_ONLY_RELATIVE_COLORIMETRIC,
                                            INTENT_RELATIVE_COLORIMETRIC}));
    EXPECT_NE(link->LinkFlags() & LcmsFlags::kProofChain, 0u);

    auto plain = Link(s.get(), {{kPrinterLab, kPreview}}, IntentSaturation);
    ASSERT_EQ(plain->CreateLink(kFmtLab, 3, kFmtLab, 3), 1) << plain->GetLinkError();
    EXPECT_EQ(plain->LcmsIntents(),
              (std::vector<cmsUInt32Number>{INTENT_PERCEPTUAL, INTENT_SATURATION,
                                            INTENT_RELATIVE_COLORIMETRIC}));
    EXPECT_EQ(plain->LinkFlags(), LcmsFlags::kProofChain);
    EXPECT_EQ(plain->LcmsFlags(), 0u);
}

TEST(LcmsBackEnd, APreviewStepOfAnXyzPrinterEndsInAnAddedLabProfile) {
    Settings s;
    auto link = Link(s.get(), {{kPrinterXyz, kPreview}}, IntentRelativeBpc);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtLab, 3), 1) << link->GetLinkError();
    ASSERT_EQ(link->LcmsProfileCount(), 4u);
    EXPECT_EQ(link->LcmsBlackPoints(), (std::vector<cmsBool>{0, 1, 0, 0}));
}

TEST(LcmsBackEnd, TwoCustomGridSizesHaveNoEffectAndTheOtherKeysApply) {
    {
        Settings s({{&IniCustomCMSGridSizes, "33,17"}, {&IniUseIncreasedCMSGrid, "1"}});
        auto link = Link(s.get(), {{kPrinterLab, kDevToPcs}}, 1);
        ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
        EXPECT_EQ(link->LinkFlags(), cmsUInt32Number(cmsFLAGS_HIGHRESPRECALC));
    }
    {
        Settings s({{&IniCustomCMSGridSizes, "33,17"}, {&IniUseStandardCMSGridForCMYK, "0"}});
        auto link = Link(s.get(), {{kPrinterLab, kDevToPcs}}, 1);
        ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
        EXPECT_EQ(link->LinkFlags(), cmsUInt32Number(cmsFLAGS_GRIDPOINTS(13)));
    }
}

TEST(LcmsBackEnd, OfTheGridSizes33_17_11ACmykSourceTakes17) {
    Settings s({{&IniCustomCMSGridSizes, "33, 17, 11"}, {&IniUseIncreasedCMSGrid, "1"}});
    auto cmyk = Link(s.get(), {{kPrinterLab, kDevToPcs}}, 1);
    ASSERT_EQ(cmyk->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    // Three sizes win over the other keys.
    EXPECT_EQ(cmyk->LinkFlags(), cmsUInt32Number(cmsFLAGS_GRIDPOINTS(17)));
    auto rgb = Link(s.get(), {{kSrgb, kDevToPcs}, {kPrinterLab, kPcsToDev}}, 1);
    ASSERT_EQ(rgb->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(rgb->LinkFlags(), cmsUInt32Number(cmsFLAGS_GRIDPOINTS(33)));
}

TEST(LcmsBackEnd, ThirteenGridPointsOnlyForCmykToRgbOrLab) {
    Settings s({{&IniUseStandardCMSGridForCMYK, "0"}});
    auto toRgb = Link(s.get(), {{kPrinterLab, kDevToPcs}, {kSrgb, kPcsToDev}}, 1);
    ASSERT_EQ(toRgb->CreateLink(kFmtCmyk, 4, kFmtRgb, 3), 1);
    EXPECT_EQ(toRgb->LinkFlags(), cmsUInt32Number(cmsFLAGS_GRIDPOINTS(13)));
    auto toCmyk = Link(s.get(), {{kPrinterLab, kDevToPcs}, {kPrinterXyz, kPcsToDev}}, 1);
    ASSERT_EQ(toCmyk->CreateLink(kFmtCmyk, 4, kFmtCmyk, 4), 1);
    EXPECT_EQ(toCmyk->LinkFlags(), 0u);
}

TEST(LcmsBackEnd, CmykFormatPassesForA5ClrProfileWithFiveChannels) {
    kvrtest::TempDir dir("kvr-lcms");
    const std::string path = dir.File("five.icc");
    {
        Curves c(5);
        std::vector<cmsToneCurve*> tones;
        for (auto* p : c.get()) tones.push_back(cmsBuildTabulatedToneCurve16(nullptr, 256, p));
        Profile p(cmsCreateLinearizationDeviceLink(cmsSigMCH5Data, tones.data()));
        for (auto* t : tones) cmsFreeToneCurve(t);
        ASSERT_TRUE(p);
        ASSERT_TRUE(cmsSaveProfileToFile(p.get(), path.c_str()));
    }
    Settings s;
    auto five = Link(s.get(), {{path, kDevToPcs}}, 1);
    EXPECT_EQ(five->CreateLink(kFmtCmyk, 5, kFmtNColor, 5), 1) << five->GetLinkError();
    auto four = Link(s.get(), {{path, kDevToPcs}}, 1);
    EXPECT_EQ(four->CreateLink(kFmtCmyk, 4, kFmtNColor, 5), 0);
    EXPECT_EQ(four->GetLinkError(), 904u);
}

TEST(LcmsBackEnd, NColorOutputPassesOnTheInputSideSpace) {
    // CMYK in, RGB out: the n-colour output check looks at the input side and lets it pass.
    Settings s;
    auto link = Link(s.get(), {{kPrinterLab, kDevToPcs}, {kSrgb, kPcsToDev}}, 1);
    EXPECT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtNColor, 3), 1) << link->GetLinkError();
    // RGB in, RGB out: it doesn't.
    auto rgb = Link(s.get(), {{kSrgb, kDevToPcs}, {kSrgb, kPcsToDev}}, 1);
    EXPECT_EQ(rgb->CreateLink(kFmtRgb, 3, kFmtNColor, 3), 0);
    EXPECT_EQ(rgb->GetLinkError(), 904u);
}

TEST(LcmsBackEnd, FormatsThatDoNotFitTheEndsGive904) {
    Settings s;
    struct {
        unsigned in, nIn, out, nOut;
    } cases[] = {
        {kFmtRgb, 3, kFmtCmyk, 4},   // the source is CMYK
        {kFmtGamut, 1, kFmtCmyk, 4}, // gamut is no input
        {kFmtCmyk, 3, kFmtCmyk, 4},  // three channels of CMYK
        {kFmtGray, 1, kFmtCmyk, 4},  // not grey
        {kFmtLab, 3, kFmtCmyk, 4},   // device, not the connection space
        {kFmtCmyk, 4, kFmtRgb, 3},   // the destination is CMYK
        {kFmtCmyk, 4, kFmtGray, 1},  {kFmtCmyk, 4, kFmtGamut, 1}, {kFmtCmyk, 4, 0, 4}, // no format
    };
    for (const auto& c : cases) {
        auto link = Link(s.get(), {{kPrinterLab, kDevToPcs}, {kPrinterXyz, kPcsToDev}}, 1);
        EXPECT_EQ(link->CreateLink(c.in, c.nIn, c.out, c.nOut), 0) << c.in << " " << c.out;
        EXPECT_EQ(link->GetLinkError(), 904u) << c.in << " " << c.out;
        EXPECT_EQ(link->InFormat(), 0u);
    }
}

TEST(LcmsBackEnd, GreyInAndOut) {
    Settings s;
    const std::string gray = Corpus("Gray.icc");
    auto link = Link(s.get(), {{gray, kDevToPcs}, {gray, kPcsToDev}}, 1);
    ASSERT_EQ(link->CreateLink(kFmtGray, 1, kFmtGray, 1), 1) << link->GetLinkError();
    const unsigned short in[3] = {0, 0x8000, 0xFFFF};
    unsigned short out[3] = {1, 1, 1};
    link->TrnPixels16(in, out, 3);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[2], 0xFFFF);
}

// The gamut step asks for lcms2's gamut check, but its transform ends in the printer's CMYK
// while the gamut answer is one grey channel: stock lcms2 refuses the pair, so a gamut link of
// this back-end fails as a refused transform.
TEST(LcmsBackEnd, AGamutLinkIsRefusedByStockLcms2With904) {
    Settings s;
    auto link = Link(s.get(), {{Corpus("FOGRA39L_low.icc"), kGamut}}, 2);
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtGamut, 1), 0);
    EXPECT_EQ(link->GetLinkError(), 904u);
    ASSERT_EQ(link->LcmsProfileCount(), 2u);
    EXPECT_EQ(link->GamutPosition(), 1);
    EXPECT_EQ(link->LinkFlags(), LcmsFlags::kProofChain | cmsFLAGS_GAMUTCHECK);
    EXPECT_EQ(link->LcmsFlags(), cmsUInt32Number(cmsFLAGS_GAMUTCHECK));
}

TEST(LcmsBackEnd, AGradationOfThreeCurvesGivesANullSpaceAndFailsWith901) {
    Settings s;
    auto link = Link(s.get(), {{kSrgb, kPcsToDev}}, 1);
    ASSERT_EQ(link->CurveChannels(), 3);
    Curves c(3);
    // lcms2 makes no device link for the null space.
    EXPECT_EQ(link->AddGradation(c.get()), 0);
    EXPECT_EQ(link->GetLinkError(), 901u);
}

TEST(LcmsBackEnd, AGradationWithoutAStepBeforeItFailsWith901) {
    Settings s;
    CLcmsColorLink link(s.get());
    Curves c(4);
    EXPECT_EQ(link.AddGradation(c.get()), 0);
    EXPECT_EQ(link.GetLinkError(), 901u);
}

TEST(LcmsBackEnd, AGradationTakesTheChannelsOfTheStepBeforeIt) {
    Settings s;
    auto link = Link(s.get(), {{kPrinterLab, kPcsToDev}}, 1);
    ASSERT_EQ(link->CurveChannels(), 4);
    Curves c(6); // two more than the printer has inks: they are not used
    ASSERT_EQ(link->AddGradation(c.get()), 1) << link->GetLinkError();
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1) << link->GetLinkError();
    ASSERT_EQ(link->LcmsProfileCount(), 3u); // Lab, printer, curves
    EXPECT_EQ(link->LcmsIntents()[2], cmsUInt32Number(INTENT_PERCEPTUAL));

    // The same chain made here: Lab, printer, the linearisation of the first four curves.
    Profile lab(cmsCreateLab4Profile(nullptr)), printer = Open(kPrinterLab);
    std::vector<cmsToneCurve*> tones;
    for (unsigned i = 0; i < 4; ++i)
        tones.push_back(cmsBuildTabulatedToneCurve16(nullptr, 256, c.get()[i]));
    Profile curves(cmsCreateLinearizationDeviceLink(cmsSigCmykData, tones.data()));
    for (auto* t : tones) cmsFreeToneCurve(t);
    cmsHPROFILE chain[] = {lab.get(), printer.get(), curves.get()};
    cmsUInt32Number intents[] = {0, 0, 0};
    cmsBool bpc[] = {0, 0, 0};
    cmsFloat64Number adapt[] = {1, 1, 1};
    Transform ref(cmsCreateExtendedTransform(nullptr, 3, chain, bpc, intents, adapt, nullptr, 0,
                                             TYPE_Lab_16, TYPE_CMYK_16, 0));
    ASSERT_TRUE(ref);
    std::vector<unsigned short> in;
    for (unsigned i = 0; i < 300; ++i)
        in.insert(in.end(), {(unsigned short)(i * 218), (unsigned short)(0x8000 + i * 37),
                             (unsigned short)(0x8000 - i * 41)});
    std::vector<unsigned short> a(300 * 4, 1), b(300 * 4, 2);
    link->TrnPixels16(in.data(), a.data(), 300);
    cmsDoTransform(ref.get(), in.data(), b.data(), 300);
    EXPECT_EQ(a, b);
}

TEST(LcmsBackEnd, AddProfileWithoutAPathReturns0) {
    CLcmsColorLink link(nullptr);
    EXPECT_EQ(link.AddProfile(nullptr, kDevToPcs, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 0u);
}

TEST(LcmsBackEnd, MissingAndMalformedProfilesGive901) {
    kvrtest::TempDir dir("kvr-lcms");
    const std::string bad = dir.File("bad.icc");
    kvrtest::WriteText(bad, std::string(300, 'x'));
    auto trunc = kvrtest::ReadBytes(kPrinterLab);
    trunc.resize(200);
    const std::string shortFile = dir.File("short.icc");
    kvrtest::WriteBytes(shortFile, trunc);
    for (const std::string& path : {dir.File("missing.icc"), bad, shortFile}) {
        CLcmsColorLink link(nullptr);
        EXPECT_EQ(link.AddProfile(Wide(path).c_str(), kDevToPcs, IntentPerceptual), 0) << path;
        EXPECT_EQ(link.GetLinkError(), 901u) << path;
        EXPECT_EQ(link.CreateLink(kFmtCmyk, 4, kFmtLab, 3), 0);
        EXPECT_EQ(link.GetLinkError(), 901u) << "CreateLink without steps leaves the number";
    }
}

TEST(LcmsBackEnd, AProfileWithANonAsciiNameOpens) {
    kvrtest::TempDir dir("kvr-lcms");
    const auto path = dir / "Drucker \xC3\xA4\xE2\x82\xAC.icc"; // "Drucker ä€.icc"
    ASSERT_TRUE(kvrtest::WriteBytes(path, kvrtest::ReadBytes(kPrinterLab)));
    CLcmsColorLink link(nullptr);
    EXPECT_EQ(link.AddProfile(Utf8ToWide(path.string()).c_str(), kDevToPcs, IntentPerceptual), 1);
    EXPECT_EQ(link.CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1) << link.GetLinkError();
}

TEST(LcmsBackEnd, CreateLinkOnAnEmptyChainReturns0) {
    CLcmsColorLink link(nullptr);
    EXPECT_EQ(link.CreateLink(kFmtNColor, 4, kFmtNColor, 4), 0);
    EXPECT_EQ(link.GetLinkError(), 0u);
    EXPECT_EQ(link.nInChannels(), 4u);
    EXPECT_EQ(link.nOutChannels(), 4u);
}

TEST(LcmsBackEnd, ASecondCreateLinkFindsTheStepsSpent) {
    Settings s;
    auto link = Link(s.get(), {{kPrinterLab, kDevToPcs}}, 1);
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    EXPECT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 0);
    // The first transform still stands.
    const unsigned short in[4] = {0, 0, 0, 0};
    unsigned short out[3] = {0, 0, 0};
    link->TrnPixels16(in, out, 1);
    EXPECT_GT(out[0], 0xF000);
}

TEST(LcmsBackEnd, PixelOperationsOfAnUnbuiltLinkLeaveTheDestination) {
    CLcmsColorLink link(nullptr);
    const unsigned short in16[4] = {1, 2, 3, 4};
    unsigned short out16[4] = {9, 9, 9, 9};
    link.TrnPixels16(in16, out16, 1);
    EXPECT_EQ(out16[0], 9);
    const unsigned char in8[4] = {1, 2, 3, 4};
    unsigned char out8[4] = {9, 9, 9, 9};
    link.TrnPixels8(in8, out8, 1);
    EXPECT_EQ(out8[0], 9);
}

TEST(LcmsBackEnd, BgrPixelsAndTheReservedOperationsDoNothing) {
    Settings s;
    auto link = Link(s.get(), {{kSrgb, kDevToPcs}, {kPrinterLab, kPcsToDev}}, 1);
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    const unsigned char in[3] = {10, 20, 30};
    unsigned char out[4] = {7, 7, 7, 7};
    link->TrnBgrPixels8(in, out, 1);
    link->Reserved1();
    link->Reserved2();
    EXPECT_EQ(std::count(out, out + 4, 7), 4);
    link->TrnPixels8(in, out, 1);
    EXPECT_NE(std::count(out, out + 4, 7), 4);
}

TEST(LcmsBackEnd, TrnPixels8WithMoreChannelsThanItsBufferStaysInside) {
    Settings s;
    auto link = Link(s.get(), {{kSrgb, kDevToPcs}, {kPrinterLab, kPcsToDev}}, 1);
    // Channel counts are the caller's; a wrong one must not run past the pixel buffers.
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 20), 1);
    const unsigned char in[6] = {10, 20, 30, 40, 50, 60};
    std::vector<unsigned char> out(40, 7);
    link->TrnPixels8(in, out.data(), 2);
    EXPECT_EQ(out[16], 7); // samples beyond the buffer of 16 are not written
}

// Flag bits beyond stock lcms2: the link composes them as designed and translates them.

TEST(LcmsBackEnd, DisabledWhitePointExpansionBecomesNoWhiteOnWhiteFixup) {
    // A printer whose tables give paper white a trace of ink, which the fixup removes.
    const std::string fogra = Corpus("FOGRA39L_low.icc");
    Settings s({{&IniCpDisableWhitePointExpansion, "1"}});
    auto link = Link(s.get(), {{kSrgb, kDevToPcs}, {fogra, kPcsToDev}}, 1);
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(link->LinkFlags(), LcmsFlags::kNoWhitePointExpansion);
    EXPECT_EQ(link->LcmsFlags(), cmsUInt32Number(cmsFLAGS_NOWHITEONWHITEFIXUP));

    Profile rgb = Open(kSrgb), printer = Open(fogra);
    cmsHPROFILE chain[] = {rgb.get(), printer.get()};
    cmsUInt32Number intents[] = {0, 0};
    cmsBool bpc[] = {0, 0};
    cmsFloat64Number adapt[] = {1, 1};
    Transform noFix(cmsCreateExtendedTransform(nullptr, 2, chain, bpc, intents, adapt, nullptr, 0,
                                               TYPE_RGB_16, TYPE_CMYK_16,
                                               cmsFLAGS_NOWHITEONWHITEFIXUP));
    Transform fix(cmsCreateExtendedTransform(nullptr, 2, chain, bpc, intents, adapt, nullptr, 0,
                                             TYPE_RGB_16, TYPE_CMYK_16, 0));
    ASSERT_TRUE(noFix && fix);
    const unsigned short white[3] = {0xFFFF, 0xFFFF, 0xFFFF};
    unsigned short a[4], b[4], c[4];
    link->TrnPixels16(white, a, 1);
    cmsDoTransform(noFix.get(), white, b, 1);
    cmsDoTransform(fix.get(), white, c, 1);
    EXPECT_EQ(std::vector<unsigned short>(a, a + 4), std::vector<unsigned short>(b, b + 4));
    // With the fixup, white is no ink at all; without it, what the tables say, as in the link.
    EXPECT_EQ(std::vector<unsigned short>(c, c + 4), std::vector<unsigned short>(4, 0));
    EXPECT_NE(std::vector<unsigned short>(b, b + 4), std::vector<unsigned short>(c, c + 4));
}

TEST(LcmsBackEnd, BlackPointFromAnyTableIsComposedButLcmsKeepsItsOwnDetection) {
    Settings any({{&IniUseOnlyPerceptualBlackForBPC, "0"}});
    Settings onlyPerceptual({{&IniUseOnlyPerceptualBlackForBPC, "1"}});
    auto a = Link(any.get(), {{kSrgb, kDevToPcs}, {kPrinterLab, kPcsToDev}}, IntentRelativeBpc);
    auto b = Link(onlyPerceptual.get(), {{kSrgb, kDevToPcs}, {kPrinterLab, kPcsToDev}},
                  IntentRelativeBpc);
    ASSERT_EQ(a->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    ASSERT_EQ(b->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(a->LinkFlags(), LcmsFlags::kAnyBlackForBpc);
    EXPECT_EQ(b->LinkFlags(), 0u);
    EXPECT_EQ(a->LcmsFlags(), 0u);
    std::vector<unsigned short> in;
    for (unsigned i = 0; i < 512; ++i)
        in.insert(in.end(), {(unsigned short)(i * 128), (unsigned short)(i * 97 % 65536),
                             (unsigned short)(65535 - i * 128)});
    std::vector<unsigned short> outA(512 * 4), outB(512 * 4);
    a->TrnPixels16(in.data(), outA.data(), 512);
    b->TrnPixels16(in.data(), outB.data(), 512);
    EXPECT_EQ(outA, outB);
}

TEST(LcmsBackEnd, OwnBitsNeverReachLcms2) {
    for (cmsUInt32Number bit : {LcmsFlags::kNoWhitePointExpansion, LcmsFlags::kProofChain,
                                LcmsFlags::kWrapper, LcmsFlags::kAnyBlackForBpc}) {
        EXPECT_EQ(LcmsFlags::ToLcms2(bit | cmsFLAGS_HIGHRESPRECALC) & LcmsFlags::kOwnBits, 0u);
        EXPECT_NE(LcmsFlags::ToLcms2(bit | cmsFLAGS_HIGHRESPRECALC) & cmsFLAGS_HIGHRESPRECALC, 0u);
    }
}
