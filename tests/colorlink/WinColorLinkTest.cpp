// The ICM back-end's conversation with its platform, call by call, through a recording
// stand-in: which profiles are opened, which headers read, which arrays of handles and intents
// reach the transform, what is closed, and what a pixel run passes on.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "colorlink/IcmRecorder.h"
#include "colorlink/LinkTestUtil.h"
#include "colorlink/icm/WinColorLink.h"

namespace {

using namespace linktest;
using icmtest::IcmRecorder;
using Calls = std::vector<std::string>;

constexpr uint32_t kPrtr = icSigOutputClass, kScnr = icSigInputClass, kLink = icSigLinkClass;

// The calls that open the built-in Lab profile, which the recorder names LABn.
Calls OpenLab(int n) {
    return {"FindResourceW(129, 400) -> R", "SizeofResource(R)", "LoadResource(R)",
            "LockResource(G)", "OpenColorProfileW(memory lab, 1, 0, 3) -> LAB" + std::to_string(n)};
}

std::string OpenFile(const std::string& name, int n) {
    return "OpenColorProfileW(file " + name + ", 1, 1, 3) -> P" + std::to_string(n);
}

// Only the requests for a transform, in order.
Calls TransformCalls(const Calls& calls) {
    Calls t;
    for (const std::string& c : calls)
        if (c.rfind("CreateMultiProfileTransform", 0) == 0) t.push_back(c);
    return t;
}

Calls Join(std::initializer_list<Calls> parts) {
    Calls all;
    for (const Calls& p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
}

class WinColorLinkTest : public ::testing::Test {
protected:
    WinColorLinkTest() {
        icm.AddProfile(L"rgb.icc", kScnr, kRgb, kLab);
        icm.AddProfile(L"cmyk.icc", kPrtr, kCmyk, kLab);
        icm.AddProfile(L"cmykxyz.icc", kPrtr, kCmyk, kXyz);
        icm.AddProfile(L"rgbxyz.icc", kScnr, kRgb, kXyz);
        icm.AddProfile(L"gray.icc", kPrtr, kGray, kLab);
        icm.AddProfile(L"6clr.icc", kPrtr, Sig("6CLR"), kLab);
        icm.AddProfile(L"link.icc", kLink, kRgb, kCmyk);
    }

    // A link whose constructor calls are already taken from the record.
    std::unique_ptr<CWinColorLink> NewLink(uint32_t cmm = 0) {
        auto link = std::make_unique<CWinColorLink>(nullptr, cmm, icm);
        icm.Take();
        return link;
    }

    IcmRecorder icm;
};

// ---------------------------------------------------------------------------------------------
// Building: the arrays and intents of every case.

TEST_F(WinColorLinkTest, LabToCmykHoldsTheBuiltInLabProfileAndThePrinterProfile) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(icm.Take(), Join({{OpenFile("cmyk.icc", 1), "GetColorProfileHeader(P1)",
                                 "GetColorProfileHeader(P1)"},
                                OpenLab(1),
                                {"CreateMultiProfileTransform([LAB1 P1], 2, [0 0], 2, 0, 0) -> T1",
                                 "CloseColorProfile(P1)", "CloseColorProfile(LAB1)"}}));
    EXPECT_EQ(link->GetLinkError(), 0u);
    EXPECT_EQ(link->InBmFormat(), icm::BM_LabTRIPLETS);
    EXPECT_EQ(link->OutBmFormat(), icm::BM_KYMCQUADS);
    EXPECT_TRUE(icm.Open().empty());
}

TEST_F(WinColorLinkTest, LabInputOnAnXyzChainPutsTheLabProfileFirstWithTheFirstStepsIntent) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"rgbxyz.icc", kDevToPcs, IntentSaturation), 1);
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentRelative), 1);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(
        icm.Take(),
        Join({{OpenFile("rgbxyz.icc", 1), OpenFile("cmyk.icc", 2), "GetColorProfileHeader(P1)",
               "GetColorProfileHeader(P2)"},
              OpenLab(1),
              {"CreateMultiProfileTransform([LAB1 P1 P2], 3, [2 2 1], 3, 0, 0) -> T1",
               "CloseColorProfile(P1)", "CloseColorProfile(P2)", "CloseColorProfile(LAB1)"}}));
}

TEST_F(WinColorLinkTest, LabOutputPutsTheLabProfileLastWithTheLastStepsIntent) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kDevToPcs, IntentAbsolute), 1);
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    EXPECT_EQ(icm.Take(), Join({{OpenFile("cmyk.icc", 1), "GetColorProfileHeader(P1)",
                                 "GetColorProfileHeader(P1)"},
                                OpenLab(1),
                                {"CreateMultiProfileTransform([P1 LAB1], 2, [3 3], 2, 0, 0) -> T1",
                                 "CloseColorProfile(P1)", "CloseColorProfile(LAB1)"}}));
    EXPECT_EQ(link->InBmFormat(), icm::BM_KYMCQUADS);
    EXPECT_EQ(link->OutBmFormat(), icm::BM_LabTRIPLETS);
}

TEST_F(WinColorLinkTest, LabOnBothSidesOfOneStepOpensTheLabProfileTwice) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPreview, IntentRelative), 1);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtLab, 3), 1);
    EXPECT_EQ(
        icm.Take(),
        Join({{OpenFile("cmyk.icc", 1), "GetColorProfileHeader(P1)", "GetColorProfileHeader(P1)"},
              OpenLab(1),
              OpenLab(2),
              {"CreateMultiProfileTransform([LAB1 P1 LAB2], 3, [1 1 1], 3, 0, 0) -> T1",
               "CloseColorProfile(P1)", "CloseColorProfile(LAB1)", "CloseColorProfile(LAB2)"}}));
    EXPECT_TRUE(icm.Open().empty());
}

TEST_F(WinColorLinkTest, ADeviceLinkAtTheHeadMakesTheRestOfTheListIgnored) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"link.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->AddProfile(L"gray.icc", kPcsToDev, IntentRelative), 1);
    ASSERT_EQ(link->AddProfile(L"rgb.icc", kPcsToDev, IntentSaturation), 1);
    // The output side asks the link's own connection space, CMYK, and not the last profile.
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(icm.Take(),
              (Calls{OpenFile("link.icc", 1), OpenFile("gray.icc", 2), OpenFile("rgb.icc", 3),
                     "GetColorProfileHeader(P1)",
                     "CreateMultiProfileTransform([P1], 1, [0], 1, 0, 0) -> T1",
                     "CloseColorProfile(P1)", "CloseColorProfile(P2)", "CloseColorProfile(P3)"}));
    EXPECT_EQ(link->InBmFormat(), icm::BM_BGRTRIPLETS);
    EXPECT_EQ(link->OutBmFormat(), icm::BM_KYMCQUADS);
}

TEST_F(WinColorLinkTest, ADeviceLinkAtTheHeadIsCheckedOnItsDataSpaceInAndConnectionSpaceOut) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"link.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->AddProfile(L"rgb.icc", kPcsToDev, IntentPerceptual), 1);
    // The last profile is RGB, but the link ends in CMYK.
    EXPECT_EQ(link->CreateLink(kFmtRgb, 3, kFmtRgb, 3), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
    EXPECT_TRUE(icm.Open().empty());
}

TEST_F(WinColorLinkTest, IntentZeroTriesTheFourIcmIntentsInOrderAndUsesTheFirstThatWorks) {
    icm.refusedIntents = {0, 1};
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"rgb.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentDefault), 1);
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(icm.Take(), (Calls{OpenFile("rgb.icc", 1), OpenFile("cmyk.icc", 2),
                                 "GetColorProfileHeader(P1)", "GetColorProfileHeader(P2)",
                                 "CreateMultiProfileTransform([P1 P2], 2, [0], 1, 0, 0) -> null",
                                 "CreateMultiProfileTransform([P1 P2], 2, [1], 1, 0, 0) -> null",
                                 "CreateMultiProfileTransform([P1 P2], 2, [2], 1, 0, 0) -> T1",
                                 "CloseColorProfile(P1)", "CloseColorProfile(P2)"}));
    EXPECT_NE(link->Transform(), nullptr);
}

TEST_F(WinColorLinkTest, IntentZeroFailsWith904WhenNoneOfTheFourWorks) {
    icm.refusedIntents = {0, 1, 2, 3};
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kDevToPcs, IntentDefault), 1);
    EXPECT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
    EXPECT_EQ(TransformCalls(icm.Take()),
              (Calls{"CreateMultiProfileTransform([P1 LAB1], 2, [0], 1, 0, 0) -> null",
                     "CreateMultiProfileTransform([P1 LAB1], 2, [1], 1, 0, 0) -> null",
                     "CreateMultiProfileTransform([P1 LAB1], 2, [2], 1, 0, 0) -> null",
                     "CreateMultiProfileTransform([P1 LAB1], 2, [3], 1, 0, 0) -> null"}));
    EXPECT_EQ(link->Transform(), nullptr);
    EXPECT_TRUE(icm.Open().empty());
}

TEST_F(WinColorLinkTest, AHeadWithoutIntentGivesTheLastStepsIntentAlone) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"rgb.icc", kDevToPcs, IntentDefault), 1);
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentSaturation), 1);
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(TransformCalls(icm.Take()),
              (Calls{"CreateMultiProfileTransform([P1 P2], 2, [2], 1, 0, 0) -> T1"}));
}

TEST_F(WinColorLinkTest, AMiddleStepWithoutIntentIsPassedOnAsAllBitsSet) {
    icm.refusedIntents = {CWinColorLink::kNoIntent};
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"rgb.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPreview, IntentDefault), 1);
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentRelative), 1);
    EXPECT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
    EXPECT_EQ(
        TransformCalls(icm.Take()),
        (Calls{"CreateMultiProfileTransform([P1 P2 P3], 3, [0 4294967295 1], 3, 0, 0) -> null"}));
}

TEST_F(WinColorLinkTest, EachRenderingIntentMapsToItsIcmIntent) {
    // enmRenderingIntent 1 to 13 after reduction: 5 and its black-preserving forms act as 2.
    const std::pair<enmRenderingIntent, uint32_t> cases[] = {
        {IntentPerceptual, 0},           {IntentRelative, 1},
        {IntentSaturation, 2},           {IntentAbsolute, 3},
        {IntentRelativeBpc, 1},          {IntentPerceptualKeepK, 0},
        {IntentRelativeKeepK, 1},        {IntentSaturationKeepK, 2},
        {IntentRelativeBpcKeepK, 1},     {IntentPerceptualKeepPlane, 0},
        {IntentRelativeKeepPlane, 1},    {IntentSaturationKeepPlane, 2},
        {IntentRelativeBpcKeepPlane, 1},
    };
    for (auto [intent, expected] : cases) {
        IcmRecorder fresh;
        fresh.AddProfile(L"rgb.icc", kScnr, kRgb, kLab);
        fresh.AddProfile(L"cmyk.icc", kPrtr, kCmyk, kLab);
        CWinColorLink link(nullptr, 0, fresh);
        ASSERT_EQ(link.AddProfile(L"rgb.icc", kDevToPcs, IntentPerceptual), 1);
        ASSERT_EQ(link.AddProfile(L"cmyk.icc", kPcsToDev, intent), 1);
        ASSERT_EQ(link.CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
        EXPECT_EQ(TransformCalls(fresh.Take()),
                  (Calls{"CreateMultiProfileTransform([P1 P2], 2, [0 " + std::to_string(expected) +
                         "], 2, 0, 0) -> T1"}))
            << "intent " << intent;
    }
    EXPECT_EQ(CWinColorLink::IcmIntent(IntentDefault), CWinColorLink::kNoIntent);
}

TEST_F(WinColorLinkTest, ABlackPreservingIntentActsExactlyAsItsReducedValue) {
    for (int keep = IntentPerceptualKeepK; keep <= IntentRelativeBpcKeepPlane; ++keep) {
        const auto intent = enmRenderingIntent(keep);
        Calls record[2];
        for (int pass = 0; pass < 2; ++pass) {
            IcmRecorder fresh;
            fresh.AddProfile(L"rgb.icc", kScnr, kRgb, kLab);
            fresh.AddProfile(L"cmyk.icc", kPrtr, kCmyk, kLab);
            CWinColorLink link(nullptr, 0, fresh);
            const enmRenderingIntent i = pass ? TranslateBlackPreservingRI(intent) : intent;
            link.AddProfile(L"rgb.icc", kDevToPcs, i);
            link.AddProfile(L"cmyk.icc", kPcsToDev, i);
            link.CreateLink(kFmtRgb, 3, kFmtCmyk, 4);
            record[pass] = fresh.Take();
        }
        EXPECT_EQ(record[0], record[1]) << "intent " << keep;
    }
}

// ---------------------------------------------------------------------------------------------
// Formats.

TEST_F(WinColorLinkTest, FormatsBecomeTheirBitmapFormatsOnEachSide) {
    struct Case {
        const wchar_t* profile;
        unsigned in, nIn, out, nOut;
        icm::BMFORMAT bmIn, bmOut;
    };
    const Case cases[] = {
        {L"rgb.icc", kFmtRgb, 3, kFmtRgb, 3, icm::BM_BGRTRIPLETS, icm::BM_BGRTRIPLETS},
        {L"cmyk.icc", kFmtCmyk, 4, kFmtCmyk, 4, icm::BM_KYMCQUADS, icm::BM_KYMCQUADS},
        {L"gray.icc", kFmtGray, 1, kFmtGray, 1, icm::BM_G3CHTRIPLETS, icm::BM_G3CHTRIPLETS},
        {L"cmyk.icc", kFmtNColor, 4, kFmtNColor, 4, icm::BM_CMYKQUADS, icm::BM_KYMCQUADS},
        {L"6clr.icc", kFmtNColor, 5, kFmtNColor, 5, icm::BM_5CHANNEL, icm::BM_5CHANNEL},
        {L"6clr.icc", kFmtNColor, 6, kFmtNColor, 6, icm::BM_6CHANNEL, icm::BM_6CHANNEL},
        {L"6clr.icc", kFmtNColor, 7, kFmtNColor, 7, icm::BM_7CHANNEL, icm::BM_7CHANNEL},
        {L"6clr.icc", kFmtNColor, 8, kFmtNColor, 8, icm::BM_8CHANNEL, icm::BM_8CHANNEL},
        {L"cmyk.icc", kFmtNColor, 4, kFmtGamut, 1, icm::BM_CMYKQUADS, icm::BM_G3CHTRIPLETS},
        {L"cmyk.icc", kFmtLab, 3, kFmtLab, 3, icm::BM_LabTRIPLETS, icm::BM_LabTRIPLETS},
    };
    for (const Case& c : cases) {
        auto link = NewLink();
        ASSERT_EQ(link->AddProfile(c.profile, kPcsToDev, IntentPerceptual), 1);
        ASSERT_EQ(link->CreateLink(c.in, c.nIn, c.out, c.nOut), 1)
            << c.in << "/" << c.nIn << " to " << c.out << "/" << c.nOut;
        EXPECT_EQ(link->InBmFormat(), c.bmIn) << c.in << "/" << c.nIn;
        EXPECT_EQ(link->OutBmFormat(), c.bmOut) << c.out << "/" << c.nOut;
        EXPECT_EQ(link->InFormat(), c.in);
        EXPECT_EQ(link->OutFormat(), c.out);
        EXPECT_EQ(link->nInChannels(), c.nIn);
        EXPECT_EQ(link->nOutChannels(), c.nOut);
    }
}

TEST_F(WinColorLinkTest, NColorWithNineChannelsIsRefusedWith904) {
    for (bool input : {true, false}) {
        auto link = NewLink();
        ASSERT_EQ(link->AddProfile(L"6clr.icc", kPcsToDev, IntentPerceptual), 1);
        const int ok = input ? link->CreateLink(kFmtNColor, 9, kFmtNColor, 6)
                             : link->CreateLink(kFmtNColor, 6, kFmtNColor, 9);
        EXPECT_EQ(ok, 0);
        EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
        for (const std::string& c : icm.Take())
            EXPECT_EQ(c.rfind("CreateMultiProfileTransform", 0), std::string::npos) << c;
        EXPECT_TRUE(icm.Open().empty());
        // The counts are stored as given; the formats only by a link that was built.
        EXPECT_EQ(link->nInChannels(), input ? 9u : 6u);
        EXPECT_EQ(link->InFormat(), 0u);
        EXPECT_EQ(link->OutFormat(), 0u);
    }
}

TEST_F(WinColorLinkTest, NColorOutsideFourToEightChannelsIsRefused) {
    for (unsigned n : {0u, 1u, 2u, 3u, 9u, 15u}) {
        auto link = NewLink();
        ASSERT_EQ(link->AddProfile(L"6clr.icc", kPcsToDev, IntentPerceptual), 1);
        EXPECT_EQ(link->CreateLink(kFmtNColor, n, kFmtNColor, 6), 0) << n;
        EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
    }
}

TEST_F(WinColorLinkTest, LabInputOnALabConnectionSpaceWithTwoStepsFailsWith904) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"rgb.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
    // Refused on the headers alone: no Lab profile is opened, no transform asked for.
    EXPECT_EQ(icm.Take(), (Calls{OpenFile("rgb.icc", 1), OpenFile("cmyk.icc", 2),
                                 "GetColorProfileHeader(P1)", "GetColorProfileHeader(P2)",
                                 "CloseColorProfile(P1)", "CloseColorProfile(P2)"}));
}

TEST_F(WinColorLinkTest, LabOutputOnALabConnectionSpaceWithTwoStepsFailsWith904) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"rgb.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    EXPECT_EQ(link->CreateLink(kFmtRgb, 3, kFmtLab, 3), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
}

TEST_F(WinColorLinkTest, LabOutputAfterTwoStepsEndingInXyzAppendsTheLabProfile) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->AddProfile(L"cmykxyz.icc", kPreview, IntentAbsolute), 1);
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    EXPECT_EQ(TransformCalls(icm.Take()),
              (Calls{"CreateMultiProfileTransform([P1 P2 LAB1], 3, [0 3 3], 3, 0, 0) -> T1"}));
}

TEST_F(WinColorLinkTest, ADeviceSideOfTheWrongColourSpaceFailsWith904) {
    struct Case {
        const wchar_t* profile;
        unsigned in, nIn, out, nOut;
    };
    const Case cases[] = {
        {L"cmyk.icc", kFmtRgb, 3, kFmtCmyk, 4},   // RGB pixels into a CMYK profile
        {L"rgb.icc", kFmtCmyk, 4, kFmtRgb, 3},    // CMYK pixels into an RGB profile
        {L"rgb.icc", kFmtRgb, 3, kFmtCmyk, 4},    // CMYK pixels out of an RGB profile
        {L"cmyk.icc", kFmtCmyk, 4, kFmtRgb, 3},   // RGB pixels out of a CMYK profile
        {L"cmyk.icc", kFmtGamut, 1, kFmtCmyk, 4}, // the gamut answer is no input
        {L"cmyk.icc", 0, 4, kFmtCmyk, 4},         // no format
        {L"cmyk.icc", kFmtCmyk, 4, 0, 4},
        {L"cmyk.icc", kFmtCmyk | kFmtRgb, 4, kFmtCmyk, 4}, // formats are never combined
        {L"cmyk.icc", kFmtCmyk, 4, 64, 4},
    };
    for (const Case& c : cases) {
        auto link = NewLink();
        ASSERT_EQ(link->AddProfile(c.profile, kPcsToDev, IntentPerceptual), 1);
        EXPECT_EQ(link->CreateLink(c.in, c.nIn, c.out, c.nOut), 0) << c.in << " to " << c.out;
        EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
        EXPECT_EQ(link->Transform(), nullptr);
        EXPECT_TRUE(icm.Open().empty());
    }
}

TEST_F(WinColorLinkTest, AFailureOnTheOutputSideClosesTheLabProfileOpenedForTheInput) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtRgb, 3), 0);
    EXPECT_EQ(icm.Take(), Join({{OpenFile("cmyk.icc", 1), "GetColorProfileHeader(P1)",
                                 "GetColorProfileHeader(P1)"},
                                OpenLab(1),
                                {"CloseColorProfile(P1)", "CloseColorProfile(LAB1)"}}));
    EXPECT_TRUE(icm.Open().empty());
}

TEST_F(WinColorLinkTest, AMissingLabResourceFailsWith904) {
    icm.noLabResource = true;
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
    EXPECT_TRUE(icm.Open().empty());
}

// ---------------------------------------------------------------------------------------------
// Steps, errors and the life of a link.

TEST_F(WinColorLinkTest, TheConstructorSelectsTheConfiguredEngine) {
    CWinColorLink link(nullptr, Sig("Win "), icm);
    EXPECT_EQ(icm.Take(), (Calls{"SelectCMM(" + std::to_string(Sig("Win ")) + ") -> 1"}));
}

TEST_F(WinColorLinkTest, AnEngineThatCannotBeSelectedFallsBackToTheDefault) {
    icm.refusedCmms = {77};
    CWinColorLink link(nullptr, 77, icm);
    EXPECT_EQ(icm.Take(), (Calls{"SelectCMM(77) -> 0", "SelectCMM(0) -> 1"}));
}

TEST_F(WinColorLinkTest, AProfileThatCannotBeOpenedFailsWith901) {
    auto link = NewLink();
    EXPECT_EQ(link->AddProfile(L"missing.icc", kDevToPcs, IntentPerceptual), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrOpenProfile);
    EXPECT_EQ(icm.Take(), (Calls{"OpenColorProfileW(file missing.icc, 1, 1, 3) -> null"}));
    EXPECT_EQ(link->AddProfile(nullptr, kDevToPcs, IntentPerceptual), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrOpenProfile);
    // A later success leaves the number: only CreateLink clears it.
    EXPECT_EQ(link->AddProfile(L"cmyk.icc", kDevToPcs, IntentPerceptual), 1);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrOpenProfile);
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    EXPECT_EQ(link->GetLinkError(), 0u);
}

TEST_F(WinColorLinkTest, CreateLinkWithoutStepsFailsWith904AndCallsNothing) {
    auto link = NewLink();
    EXPECT_EQ(link->CreateLink(kFmtNColor, 4, kFmtNColor, 4), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
    EXPECT_TRUE(icm.Take().empty());
    EXPECT_EQ(link->nInChannels(), 4u);
}

TEST_F(WinColorLinkTest, CreateLinkConsumesTheSteps) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    icm.Take();
    EXPECT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 0);
    EXPECT_EQ(link->GetLinkError(), CMdlColorLink::LinkErrNoTable);
    EXPECT_TRUE(icm.Take().empty());
}

TEST_F(WinColorLinkTest, DeletingALinkThatWasNeverBuiltClosesItsProfiles) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"rgb.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    icm.Take();
    link.reset();
    EXPECT_EQ(icm.Take(), (Calls{"CloseColorProfile(P1)", "CloseColorProfile(P2)"}));
    EXPECT_TRUE(icm.Open().empty());
}

TEST_F(WinColorLinkTest, DeletingABuiltLinkCallsNothing) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    icm.Take();
    link.reset();
    EXPECT_TRUE(icm.Take().empty());
}

// ---------------------------------------------------------------------------------------------
// Pixels.

TEST_F(WinColorLinkTest, TrnPixels8IsOneCallForTheWholeRun) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    icm.Take();
    unsigned char src[3 * 1000] = {}, dst[4 * 1000] = {};
    link->TrnPixels8(src, dst, 1000);
    EXPECT_EQ(icm.Take(),
              (Calls{"TranslateBitmapBits(T1, src, 515, 1000, 1, 0, dst, 773, 0, null, 0)"}));
    EXPECT_EQ(icm.lastSrc, src);
    EXPECT_EQ(icm.lastDst, dst);
}

TEST_F(WinColorLinkTest, TrnBgrPixels8PassesBlueGreenRedOnBothSidesWhateverTheFormats) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    icm.Take();
    unsigned char src[30] = {}, dst[30] = {};
    link->TrnBgrPixels8(src, dst, 10);
    EXPECT_EQ(icm.Take(), (Calls{"TranslateBitmapBits(T1, src, 4, 10, 1, 0, dst, 4, 0, null, 0)"}));
}

TEST_F(WinColorLinkTest, TrnPixels8OnALinkThatFailedPassesTheNullTransform) {
    auto link = NewLink();
    unsigned char src[4] = {}, dst[4] = {9, 9, 9, 9};
    link->TrnPixels8(src, dst, 1);
    EXPECT_EQ(icm.Take(),
              (Calls{"TranslateBitmapBits(null, src, 0, 1, 1, 0, dst, 0, 0, null, 0)"}));
}

TEST_F(WinColorLinkTest, TrnPixels16LeavesTheDestinationUnchanged) {
    auto link = NewLink();
    ASSERT_EQ(link->AddProfile(L"cmyk.icc", kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    icm.Take();
    const unsigned short src[6] = {1, 2, 3, 4, 5, 6};
    unsigned short dst[8] = {11, 12, 13, 14, 15, 16, 17, 18};
    const std::vector<unsigned short> before(dst, dst + 8);
    link->TrnPixels16(src, dst, 2);
    EXPECT_EQ(std::vector<unsigned short>(dst, dst + 8), before);
    EXPECT_TRUE(icm.Take().empty());
}

TEST_F(WinColorLinkTest, ReservedOperationsAndGradationDoNothing) {
    auto link = NewLink();
    link->Reserved1();
    link->Reserved2();
    unsigned short curve[256] = {};
    EXPECT_EQ(link->AddGradation({curve, curve, curve}), 0);
    EXPECT_EQ(link->SupportsGradation(), 0);
    EXPECT_TRUE(icm.Take().empty());
    EXPECT_EQ(link->GetLinkError(), 0u);
}

} // namespace
