// The output colour space: its factories and the printer rule, the things a job attaches to
// its output (ink-limit parameters, the named-colours dictionary, the recipes flag,
// gradations), and Clone.
#include <gtest/gtest.h>

#include <memory>

#include "colorspace/ColorSpaceTestUtil.h"
#include "colorspace/NamedColorsProfile.h"
#include "colorspace/OutputColorSpace.h"
#include "support/TestData.h"

using namespace cstest;

namespace {

using SpacePtr = std::unique_ptr<IOutputColorSpace>;

SpacePtr Printer(std::vector<int> prims) {
    std::vector<enmDevicePrimColor> p;
    for (int v : prims) p.push_back(enmDevicePrimColor(v));
    return SpacePtr(IOutputColorSpace::CreatePrinter(int(p.size()), p.data()));
}

// A named-colours profile of two CMYK colours, Red and Blue.
std::wstring NamedProfile(const TempDir& dir, const std::string& name) {
    Gen gen(icSigNamedColorClass, icSigCmykData, icSigLabData);
    gen.AddNamedColor2Tag(2, 4, L"", L"", {L"Red", L"Blue"}, {{{100, 200, 300}}, {{400, 500, 600}}},
                          {0, 65535, 65535, 0, 65535, 65535, 0, 0});
    return gen.Save(dir, name);
}

} // namespace

TEST(OutputColorSpace, InkLimitParmsDefaultsAndText) {
    SInkLimitParms p;
    EXPECT_EQ(-1, p.nLimitParm1);
    EXPECT_EQ(262140, p.nLimitParm2);
    EXPECT_EQ(0, p.nLimitParm3);
    EXPECT_EQ(L"-1_262140_0", p.GetColorManagementString());
    p.nLimitParm1 = 7;
    p.nLimitParm3 = -300;
    EXPECT_EQ(L"7_262140_-300", p.GetColorManagementString());
}

TEST(OutputColorSpace, FactoriesGiveTheirKindsAndCounts) {
    struct Row {
        IOutputColorSpace* cs;
        IBaseColorSpace::enmColorSpaceType type;
        int channels, notManaged;
    };
    for (Row r : {Row{IOutputColorSpace::CreateIcc(), IBaseColorSpace::ecsSepar, 0, 0},
                  Row{IOutputColorSpace::CreateCmykIcc(), IBaseColorSpace::ecsCmyk, 0, 0},
                  Row{IOutputColorSpace::CreateCmykPlus(2), IBaseColorSpace::ecsCmyk, 4, 0},
                  Row{IOutputColorSpace::CreateCmykPlus(7), IBaseColorSpace::ecsCmyk, 7, 0},
                  Row{IOutputColorSpace::CreateGray(), IBaseColorSpace::ecsGray, 1, 0},
                  Row{IOutputColorSpace::CreateRgb(), IBaseColorSpace::ecsRgb, 3, 0},
                  Row{IOutputColorSpace::CreateSepar(5), IBaseColorSpace::ecsSepar, 5, 5}}) {
        SpacePtr cs(r.cs);
        EXPECT_EQ(r.type, cs->GetColorSpaceType());
        EXPECT_EQ(r.channels, cs->GetCountChannels());
        EXPECT_EQ(r.notManaged, cs->GetCountNotColorManagedChannels());
        EXPECT_EQ(nullptr, cs->pNamedColorsProfile());
        EXPECT_EQ(0, cs->GetUseRecipesForReplacement());
    }
}

TEST(OutputColorSpace, CmykPlusPrinterCountsItsColourManagedInks) {
    SpacePtr cs = Printer({1, 2, 3, 0, 4, 50});
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, cs->GetColorSpaceType());
    EXPECT_EQ(6, cs->GetCountChannels());
    EXPECT_EQ(1, cs->GetCountNotColorManagedChannels());
    EXPECT_EQ(50, cs->GetDevPrimCol(5));
    EXPECT_EQ(4, cs->GetDevPrimCol(4));
}

TEST(OutputColorSpace, BlackFirstPrinterIsGrayWithPrimariesInTheirOrder) {
    SpacePtr cs = Printer({0, 1, 2, 3});
    EXPECT_EQ(IBaseColorSpace::ecsGray, cs->GetColorSpaceType());
    EXPECT_EQ(4, cs->GetCountChannels());
    EXPECT_EQ(3, cs->GetCountNotColorManagedChannels());
    for (int i = 0; i < 4; ++i) EXPECT_EQ(i, cs->GetDevPrimCol(i));
}

TEST(OutputColorSpace, FewerThanFourPrimariesAreNeverCmyk) {
    SpacePtr cs = Printer({1, 2, 3});
    EXPECT_EQ(IBaseColorSpace::ecsSepar, cs->GetColorSpaceType());
    EXPECT_EQ(3, cs->GetCountChannels());
    EXPECT_EQ(3, cs->GetCountNotColorManagedChannels());
    EXPECT_EQ(3, cs->GetDevPrimCol(2));
}

TEST(OutputColorSpace, OrderOfThePrimariesCounts) {
    SpacePtr cs = Printer({2, 1, 3, 0});
    EXPECT_EQ(IBaseColorSpace::ecsSepar, cs->GetColorSpaceType());
    EXPECT_EQ(4, cs->GetCountNotColorManagedChannels());
    EXPECT_EQ(4, cs->GetCountChannels());
}

TEST(OutputColorSpace, PrinterWithoutPrimariesIsCmykPlusWithUnsetPrimaries) {
    SpacePtr cs(IOutputColorSpace::CreatePrinter(2, nullptr));
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, cs->GetColorSpaceType());
    ASSERT_EQ(4, cs->GetCountChannels());
    for (int i = 0; i < 4; ++i) EXPECT_EQ(DpcUnset, cs->GetDevPrimCol(i));
}

TEST(OutputColorSpace, PrinterOfNoChannelsStaysOpen) {
    const enmDevicePrimColor black = DpcBlack;
    SpacePtr cs(IOutputColorSpace::CreatePrinter(0, &black));
    EXPECT_EQ(IBaseColorSpace::ecsSepar, cs->GetColorSpaceType());
    EXPECT_EQ(0, cs->GetCountChannels());
}

TEST(OutputColorSpace, ColourManagedPrimariesAreUpToSixAnd35To39AndNegatives) {
    SpacePtr cs = Printer({1, 2, 3, 0, 5, 6, 7, 34, 35, 39, 40, 99, -2});
    EXPECT_EQ(13, cs->GetCountChannels());
    // Managed: 1 2 3 0 5 6 35 39 -2; not: 7 34 40 99.
    EXPECT_EQ(4, cs->GetCountNotColorManagedChannels());
    EXPECT_EQ(-2, cs->GetDevPrimCol(12));
}

TEST(OutputColorSpace, SeparationPrinterFailsToLoadAProfileForWantOfManagedChannels) {
    TempDir dir("kvr-ocs");
    Gen gen;
    const std::wstring cmyk = gen.Save(dir, "cmyk.icc");
    SpacePtr cs = Printer({2, 1, 3, 0});
    EXPECT_EQ(0, cs->LoadIccFile(cmyk.c_str(), nullptr));
    EXPECT_EQ(ICC_ERR_CHANNEL_MISMATCH, cs->Error());
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, cs->GetColorSpaceType()); // the profile set the type
}

TEST(OutputColorSpace, GradationsAreAppendedInOrderAndNotCopied) {
    SpacePtr cs(IOutputColorSpace::CreateCmykPlus(4));
    EXPECT_TRUE(cs->GetAppendedGradations().empty());
    unsigned short a[2] = {0, 65535}, b[2] = {0, 1000}, c[2] = {5, 6};
    cs->AppendGradation({a, b});
    cs->AppendGradation({c});
    const auto list = cs->GetAppendedGradations();
    ASSERT_EQ(2u, list.size());
    EXPECT_EQ((std::vector<unsigned short*>{a, b}), list[0]);
    EXPECT_EQ((std::vector<unsigned short*>{c}), list[1]);
    cs->ClearGradation();
    EXPECT_TRUE(cs->GetAppendedGradations().empty());
    EXPECT_EQ(65535, a[1]); // the tables stay the caller's, untouched
}

TEST(OutputColorSpace, NamedColoursLoadAndReplace) {
    TempDir dir("kvr-ocs");
    const std::wstring named = NamedProfile(dir, "named.icc");
    SpacePtr cs(IOutputColorSpace::CreateCmykPlus(4));
    ASSERT_NE(0, cs->LoadNamedColorsProfile(named.c_str(), nullptr));
    const CNamedColorsProfile* dict = cs->pNamedColorsProfile();
    ASSERT_NE(nullptr, dict);
    EXPECT_EQ(4, dict->nPrimCols());
    unsigned short* pixel = nullptr;
    ASSERT_EQ(1, dict->LookupWithPrefixAndSuffix(L"Red", pixel));
    EXPECT_EQ(100, pixel[0]);
    EXPECT_EQ(65535, pixel[4]);
    cs->ClearNamedColorsProfile();
    EXPECT_EQ(nullptr, cs->pNamedColorsProfile());
}

TEST(OutputColorSpace, FailedNamedColoursLoadLeavesNoDictionaryAndError907) {
    TempDir dir("kvr-ocs");
    const std::wstring named = NamedProfile(dir, "named.icc");
    Gen plain;
    const std::wstring cmyk = plain.Save(dir, "cmyk.icc"); // no ncl2 tag
    SpacePtr cs(IOutputColorSpace::CreateCmykPlus(4));
    ASSERT_EQ(1, cs->LoadIccFile(cmyk.c_str(), nullptr));
    ASSERT_NE(0, cs->LoadNamedColorsProfile(named.c_str(), nullptr));
    EXPECT_EQ(0, cs->LoadNamedColorsProfile(cmyk.c_str(), nullptr));
    EXPECT_EQ(nullptr, cs->pNamedColorsProfile());
    EXPECT_EQ(ICC_ERR_NAMED_COLORS, cs->Error());
    EXPECT_EQ(cmyk, cs->GetIccFileName());
    EXPECT_EQ(cmyk, cs->pIccProfile()->FileName());
    EXPECT_EQ(0, cs->LoadNamedColorsProfile((dir / "missing.icc").wstring().c_str(), nullptr));
    EXPECT_EQ(nullptr, cs->pNamedColorsProfile());
    // A later success does not reset the error.
    ASSERT_NE(0, cs->LoadNamedColorsProfile(named.c_str(), nullptr));
    EXPECT_EQ(ICC_ERR_NAMED_COLORS, cs->Error());
}

TEST(OutputColorSpace, CloneIsIndependentButForTheGradationTables) {
    TempDir dir("kvr-ocs");
    const std::wstring named = NamedProfile(dir, "named.icc");
    Gen plain;
    const std::wstring cmyk = plain.Save(dir, "cmyk.icc");
    SpacePtr src = Printer({1, 2, 3, 0, 60});
    ASSERT_EQ(1, src->LoadIccFile(cmyk.c_str(), nullptr));
    ASSERT_NE(0, src->LoadNamedColorsProfile(named.c_str(), nullptr));
    src->pInkLimitParms()->nLimitParm1 = 250;
    src->SetUseRecipesForReplacement(1);
    src->SetRenderingIntent(IntentRelative);
    unsigned short table[2] = {0, 65535};
    src->AppendGradation({table});

    SpacePtr clone(src->Clone());
    EXPECT_EQ(src->GetColorSpaceType(), clone->GetColorSpaceType());
    EXPECT_EQ(5, clone->GetCountChannels());
    EXPECT_EQ(1, clone->GetCountNotColorManagedChannels());
    EXPECT_EQ(60, clone->GetDevPrimCol(4));
    EXPECT_EQ(cmyk, clone->GetIccFileName());
    EXPECT_EQ(IntentRelative, clone->RenderingIntent());
    EXPECT_NE(src->pIccProfile(), clone->pIccProfile());
    EXPECT_EQ(250, clone->pInkLimitParms()->nLimitParm1);
    EXPECT_NE(src->pInkLimitParms(), clone->pInkLimitParms());
    EXPECT_EQ(1, clone->GetUseRecipesForReplacement());
    EXPECT_EQ(src->GetAppendedGradations(), clone->GetAppendedGradations());
    ASSERT_NE(nullptr, clone->pNamedColorsProfile());
    EXPECT_NE(src->pNamedColorsProfile(), clone->pNamedColorsProfile());

    // Replacing the source's dictionary leaves the clone's.
    EXPECT_EQ(0, src->LoadNamedColorsProfile(cmyk.c_str(), nullptr));
    EXPECT_EQ(nullptr, src->pNamedColorsProfile());
    ASSERT_NE(nullptr, clone->pNamedColorsProfile());
    unsigned short* pixel = nullptr;
    EXPECT_EQ(1, clone->pNamedColorsProfile()->LookupWithPrefixAndSuffix(L"Blue", pixel));
    EXPECT_EQ(400, pixel[0]);
}

TEST(OutputColorSpace, AttachmentsSurviveAChangeOfProfile) {
    TempDir dir("kvr-ocs");
    const std::wstring named = NamedProfile(dir, "named.icc");
    Gen a, b;
    const std::wstring pa = a.Save(dir, "a.icc"), pb = b.Save(dir, "b.icc");
    SpacePtr cs(IOutputColorSpace::CreateCmykPlus(4));
    ASSERT_NE(0, cs->LoadNamedColorsProfile(named.c_str(), nullptr));
    cs->pInkLimitParms()->nLimitParm2 = 1000;
    cs->SetUseRecipesForReplacement(1);
    unsigned short t[2] = {0, 1};
    cs->AppendGradation({t});
    ASSERT_EQ(1, cs->LoadIccFile(pa.c_str(), nullptr));
    ASSERT_EQ(1, cs->LoadIccFile(pb.c_str(), nullptr));
    EXPECT_NE(nullptr, cs->pNamedColorsProfile());
    EXPECT_EQ(1000, cs->pInkLimitParms()->nLimitParm2);
    EXPECT_EQ(1, cs->GetUseRecipesForReplacement());
    EXPECT_EQ(1u, cs->GetAppendedGradations().size());
}

TEST(OutputColorSpace, BothSidesShareOneState) {
    SpacePtr cs(IOutputColorSpace::CreateCmykPlus(4));
    auto* base = dynamic_cast<CBaseColorSpace*>(cs.get());
    ASSERT_NE(nullptr, base);
    base->SetCountNotColorManagedChannels(2);
    EXPECT_EQ(6, cs->GetCountChannels());
    cs->SetDevPrimCol(5, DpcYellow);
    EXPECT_EQ(DpcYellow, base->GetDevPrimCol(5));
    IBaseColorSpace* viaInterface = cs.get();
    viaInterface->SetRenderingIntent(IntentSaturation);
    EXPECT_EQ(IntentSaturation, base->RenderingIntent());
}
