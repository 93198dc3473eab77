// Building a native link: the chain of the steps' tables, joined, corrected and compensated,
// sampled into one table. Each test builds the table the link must end up with by hand, from
// the profile's own tables and the library's colour functions, and compares it with the built
// one sample for sample.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "DefaultGridSizes.h"
#include "LinkTestUtil.h"
#include "colorfunc/DeviceModels.h"
#include "colorfunc/WidthAdapters.h"
#include "colorlink/LinkSignatures.h"
#include "support/TestData.h"

using namespace linktest;

namespace {

constexpr uint16_t kWhiteRgb[3] = {65535, 65535, 65535};

// The grid sizes the tests below fix (three and four inputs).
constexpr unsigned kGrid3 = 5;
constexpr unsigned kGrid4 = 4;

enmRenderingIntent Intent(int i) {
    return static_cast<enmRenderingIntent>(i);
}

struct Step {
    std::wstring path;
    int kind;
    int intent;
};

// A link with the given steps, each of which must be accepted.
std::unique_ptr<CColorLink> LinkOf(const std::vector<Step>& steps) {
    auto link = std::make_unique<CColorLink>(nullptr);
    for (const Step& s : steps)
        EXPECT_EQ(link->AddProfile(s.path.c_str(), s.kind, Intent(s.intent)), 1)
            << "kind " << s.kind << " intent " << s.intent;
    return link;
}

// Curves that give no ink over the first tenth of their input.
uint16_t FlatStart(double t, unsigned) {
    return U16(std::max(0.0, (t - 0.1) / 0.9));
}

// A profile that links CMYK to CMYK directly.
ProfileSpec CmykDeviceLink() {
    ProfileSpec p;
    p.deviceClass = icSigLinkClass;
    p.colorSpace = icSigCmykData;
    p.pcs = icSigCmykData;
    TableSpec t = DeviceToDevice(icSigAToB0Tag, 4, 4, 3);
    t.inEntries = 256;
    t.inCurve = [](double x, unsigned c) { return U16(0.1 * c / 3 + (1 - 0.1 * c / 3) * x); };
    t.outEntries = 256;
    t.outCurve = [](double x, unsigned) { return U16(x * x * 0.5 + x * 0.5); };
    p.tables = {t};
    return p;
}

// A display profile with only the way from Lab to RGB.
ProfileSpec RgbDisplay() {
    ProfileSpec p;
    p.deviceClass = icSigDisplayClass;
    p.colorSpace = icSigRgbData;
    p.tables = {LabToRgb(icSigBToA0Tag, 3)};
    return p;
}

class LinkBuildTest : public ::testing::Test {
protected:
    ResidentLink resident;
    GridSizes grids{-int(kGrid3), -int(kGrid4)};
    TempDir dir;
};

} // namespace

// ---------------------------------------------------------------------------------------------
// Formats

TEST_F(LinkBuildTest, FormatMismatchFailsWith905AndKeepsTheStepsForAnotherTry) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 0); // the chain starts in RGB
    EXPECT_EQ(link->GetLinkError(), 905u);
    EXPECT_EQ(link->Tags().GetCount(), 2u);
    EXPECT_EQ(link->InFormat(), 0u);
    EXPECT_EQ(link->nInChannels(), 3u); // counts are stored whatever the outcome
    EXPECT_EQ(link->CreateLink(kFmtRgb, 3, kFmtRgb, 3), 0); // and ends in CMYK
    EXPECT_EQ(link->GetLinkError(), 905u);
    EXPECT_EQ(link->Tags().GetCount(), 2u);
    EXPECT_EQ(link->Table16(), nullptr);
    EXPECT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_NE(link->Table16(), nullptr);
    EXPECT_EQ(link->InFormat(), kFmtRgb);
    EXPECT_EQ(link->OutFormat(), kFmtCmyk);
}

TEST_F(LinkBuildTest, NColourOutputIsAcceptedForFiveToTwelveInksOnly) {
    const std::map<std::string, unsigned> spaces = {
        {"2CLR", 2},  {"3CLR", 3},  {"4CLR", 4},  {"5CLR", 5},  {"6CLR", 6},
        {"7CLR", 7},  {"8CLR", 8},  {"9CLR", 9},  {"ACLR", 10}, {"BCLR", 11},
        {"CCLR", 12}, {"DCLR", 13}, {"ECLR", 14}, {"FCLR", 15}};
    for (const auto& [space, inks] : spaces) {
        ProfileSpec p;
        p.colorSpace = SigOf(space.c_str());
        p.tables = {LabToInks(icSigBToA0Tag, 2, inks)};
        const auto path = WriteProfile(dir, space + ".icc", p);
        auto link = LinkOf({{path, kPcsToDev, 1}});
        const bool accepted = inks >= 5 && inks <= 12;
        EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtNColor, inks), accepted ? 1 : 0) << space;
        if (accepted) {
            ASSERT_NE(link->Table16(), nullptr);
            EXPECT_EQ(link->Table16()->outputChan(), inks);
        } else {
            EXPECT_EQ(link->GetLinkError(), 905u) << space;
        }
    }
}

TEST_F(LinkBuildTest, LabOutputOfCmykIsRefusedUnlessTheChainStartsInCmykOrRgb) {
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{prn, kPcsToDev, 1}});
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtLab, 3), 0);
    EXPECT_EQ(link->GetLinkError(), 905u);
    EXPECT_EQ(link->Tags().GetCount(), 1u);
}

// ---------------------------------------------------------------------------------------------
// Grid sizes

class LinkGridSizeTest : public ::testing::Test {
protected:
    ResidentLink resident;
    TempDir dir;
};

TEST_F(LinkGridSizeTest, NegativeSettingFixesTheGridWhateverTheProfiles) {
    GridSizes grids(-17, -4);
    for (unsigned points : {9u, 33u}) {
        const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput(points));
        auto link = LinkOf({{rgb, kDevToPcs, 1}});
        ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtLab, 3), 1);
        EXPECT_EQ(GridPointsOf(link->Table16()), 17u) << points;
    }
}

TEST_F(LinkGridSizeTest, PositiveSettingIsALeastSizeRaisedByAFinerProfile) {
    GridSizes grids(17, -4);
    for (unsigned points : {9u, 33u}) {
        const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput(points));
        auto link = LinkOf({{rgb, kDevToPcs, 1}});
        ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtLab, 3), 1);
        EXPECT_EQ(GridPointsOf(link->Table16()), points == 9 ? 17u : 33u) << points;
    }
}

// The finest table of the chain counts by its node count, as if it had three inputs for a
// three-input link and four for a four-input one: 33^3 nodes give 33 and 14 points, 17^4 nodes
// 44 and 17.
TEST_F(LinkGridSizeTest, FinestTableCountsAsIfItHadTheLinksInputs) {
    GridSizes grids(1, 1);
    ProfileSpec fine3 = CmykPrinter();
    fine3.tables = {CmykToLab(icSigAToB0Tag, 2), LabToCmyk(icSigBToA0Tag, 33)};
    ProfileSpec fine4 = CmykPrinter();
    fine4.tables = {CmykToLab(icSigAToB0Tag, 17), LabToCmyk(icSigBToA0Tag, 2)};
    const auto p33 = WriteProfile(dir, "b2a33.icc", fine3);
    const auto p17 = WriteProfile(dir, "a2b17.icc", fine4);
    const auto rgb33 = WriteProfile(dir, "rgb33.icc", RgbInput(33));
    {
        auto link = LinkOf({{rgb33, kDevToPcs, 1}});
        ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtLab, 3), 1);
        EXPECT_EQ(GridPointsOf(link->Table16()), 33u);
    }
    {
        auto link = LinkOf({{p33, kDevToPcs, 1}, {p33, kPcsToDev, 1}});
        ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtCmyk, 4), 1);
        EXPECT_EQ(link->Table16()->inputChan(), 4u);
        EXPECT_EQ(GridPointsOf(link->Table16()), 14u);
    }
    {
        auto link = LinkOf({{p17, kPcsToDev, 1}, {p17, kDevToPcs, 1}});
        ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtLab, 3), 1);
        EXPECT_EQ(link->Table16()->inputChan(), 3u);
        EXPECT_EQ(GridPointsOf(link->Table16()), 44u);
    }
    {
        auto link = LinkOf({{p17, kDevToPcs, 1}, {p17, kPcsToDev, 1}});
        ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtCmyk, 4), 1);
        EXPECT_EQ(GridPointsOf(link->Table16()), 17u);
    }
}

// ---------------------------------------------------------------------------------------------
// Chains

TEST_F(LinkBuildTest, RgbToCmykLinkPrintsNoInkAtWhite) {
    ProfileSpec prnSpec = CmykPrinter();
    for (auto& t : prnSpec.tables)
        if (t.out == 4) {
            t.outEntries = 256;
            t.outCurve = FlatStart;
        }
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", prnSpec);
    auto link = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);

    StepFunc f1 = LoadStep(rgb, icSigAToB0Tag, kRgb, kLab);
    StepFunc f2 = LoadStep(prn, icSigBToA0Tag, kLab, kCmyk);
    ASSERT_TRUE(f1.f && f2.f);
    Chain c(f1.f->FuncInputTab());
    c.Then(Bypassed(*f1.f, true, false)).Then(Bypassed(*f2.f, false, true));
    auto expected = Sample3(c.Func(), kGrid3);
    const auto sampled = GridOf(expected.get());
    EXPECT_EQ(expected->Mft().QuantizeToGridPoint(kWhiteRgb), (kGrid3 * kGrid3 * kGrid3 - 1) * 4);
    ZeroInkNode(expected->Mft(), kWhiteRgb, &f2.f->FuncOutputTab(), 4);
    ASSERT_NE(GridOf(expected.get()), sampled) << "the chain alone already gives no ink at white";
    CopyCurves(*expected, nullptr, &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));

    uint16_t out16[4] = {1, 1, 1, 1};
    link->TrnPixels16(kWhiteRgb, out16, 1);
    EXPECT_EQ(std::vector<uint16_t>(out16, out16 + 4), std::vector<uint16_t>(4, 0));
    const uint8_t white8[3] = {255, 255, 255};
    uint8_t out8[4] = {1, 1, 1, 1};
    link->TrnPixels8(white8, out8, 1);
    EXPECT_EQ(std::vector<uint8_t>(out8, out8 + 4), std::vector<uint8_t>(4, 0));
}

TEST_F(LinkBuildTest, RgbToCmykLinkWithAnAbsoluteStepKeepsTheInkAtWhite) {
    ProfileSpec rgbSpec = RgbInput();
    rgbSpec.mediaWhite = icXYZNumber{62000, 65536, 52000};
    ProfileSpec prnSpec = CmykPrinter();
    prnSpec.mediaWhite = icXYZNumber{60000, 63000, 50000};
    const auto rgb = WriteProfile(dir, "rgb.icc", rgbSpec);
    const auto prn = WriteProfile(dir, "cmyk.icc", prnSpec);
    auto link = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 4}});
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);

    // Both whites are applied between the tables, the previous profile's first.
    StepFunc f1 = LoadStep(rgb, icSigAToB0Tag, kRgb, kLab);
    StepFunc f2 = LoadStep(prn, icSigBToA1Tag, kLab, kCmyk);
    Chain c(f1.f->FuncInputTab());
    c.Then(Bypassed(*f1.f, true, false))
        .Then(std::make_unique<CLabAbsRel>(*rgbSpec.mediaWhite))
        .Then(std::make_unique<CLabRelAbs>(*prnSpec.mediaWhite))
        .Then(Bypassed(*f2.f, false, true));
    auto expected = Sample3(c.Func(), kGrid3);
    CopyCurves(*expected, nullptr, &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));

    uint16_t out[4] = {};
    link->TrnPixels16(kWhiteRgb, out, 1);
    EXPECT_GT(out[0] + out[1] + out[2] + out[3], 0) << "white prints ink";
}

// The paper of a CMYK source is 0, 0, 0, 0 after the source's input curves: here the curves
// move it to the second node of every axis, and that node is the one that gets no ink.
TEST_F(LinkBuildTest, CmykToCmykLinkPrintsNoInkAtTheNodeOfThePaper) {
    ProfileSpec srcSpec = CmykPrinter();
    for (auto& t : srcSpec.tables)
        if (t.in == 4) {
            t.inEntries = 256;
            t.inCurve = [](double x, unsigned) { return U16(0.3 + 0.7 * x); };
        }
    const auto src = WriteProfile(dir, "src.icc", srcSpec);
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{src, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtCmyk, 4), 1);

    StepFunc f1 = LoadStep(src, icSigAToB0Tag, kCmyk, kLab);
    StepFunc f2 = LoadStep(prn, icSigBToA0Tag, kLab, kCmyk);
    Chain c(Bypassed(*f1.f, true, false));
    c.Then(Bypassed(*f2.f, false, true));
    auto expected = Sample4(c.Func(), kGrid4);
    const uint16_t paper[4] = {0, 0, 0, 0};
    uint16_t white[4];
    f1.f->FuncInputTab().Trn(paper, white);
    const unsigned node = ((1 * kGrid4 + 1) * kGrid4 + 1) * kGrid4 + 1;
    EXPECT_EQ(expected->Mft().QuantizeToGridPoint(white), node * 4);
    const auto sampled = GridOf(expected.get());
    ZeroInkNode(expected->Mft(), white, &f2.f->FuncOutputTab(), 4);
    ASSERT_NE(GridOf(expected.get()), sampled);
    CopyCurves(*expected, &f1.f->FuncInputTab(), &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
    // The first node is not touched.
    const auto built = GridOf(link->Table16());
    ASSERT_EQ(built.size(), sampled.size());
    EXPECT_EQ(std::vector<uint16_t>(built.begin(), built.begin() + 4),
              std::vector<uint16_t>(sampled.begin(), sampled.begin() + 4));
    for (unsigned c2 = 0; c2 < 4; ++c2) EXPECT_EQ(built[node * 4 + c2], 0) << c2;
}

TEST_F(LinkBuildTest, CmykToCmykLinkPrintsNoInkOnPaper) {
    const auto src = WriteProfile(dir, "src.icc", CmykPrinter());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{src, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtCmyk, 4), 1);
    StepFunc f1 = LoadStep(src, icSigAToB0Tag, kCmyk, kLab);
    StepFunc f2 = LoadStep(prn, icSigBToA0Tag, kLab, kCmyk);
    Chain c(Bypassed(*f1.f, true, false));
    c.Then(Bypassed(*f2.f, false, true));
    auto expected = Sample4(c.Func(), kGrid4);
    const uint16_t paper[4] = {0, 0, 0, 0};
    EXPECT_GT(expected->Mft().Table()[0], 0) << "the chain alone already gives no ink on paper";
    ZeroInkNode(expected->Mft(), paper, &f2.f->FuncOutputTab(), 4);
    CopyCurves(*expected, &f1.f->FuncInputTab(), &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));

    uint16_t out16[4] = {1, 1, 1, 1};
    link->TrnPixels16(paper, out16, 1);
    EXPECT_EQ(std::vector<uint16_t>(out16, out16 + 4), std::vector<uint16_t>(4, 0));
    const uint8_t paper8[4] = {0, 0, 0, 0};
    uint8_t out8[4] = {1, 1, 1, 1};
    link->TrnPixels8(paper8, out8, 1);
    EXPECT_EQ(std::vector<uint8_t>(out8, out8 + 4), std::vector<uint8_t>(4, 0));
}

TEST_F(LinkBuildTest, CmykToCmykLinkWithAnAbsoluteStepKeepsTheInkOnPaper) {
    ProfileSpec srcSpec = CmykPrinter();
    srcSpec.mediaWhite = icXYZNumber{61000, 64000, 52000};
    ProfileSpec prnSpec = CmykPrinter();
    prnSpec.mediaWhite = icXYZNumber{60000, 63000, 50000};
    const auto src = WriteProfile(dir, "src.icc", srcSpec);
    const auto prn = WriteProfile(dir, "cmyk.icc", prnSpec);
    auto link = LinkOf({{src, kDevToPcs, 1}, {prn, kPcsToDev, 4}});
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtCmyk, 4), 1);
    StepFunc f1 = LoadStep(src, icSigAToB0Tag, kCmyk, kLab);
    StepFunc f2 = LoadStep(prn, icSigBToA1Tag, kLab, kCmyk);
    Chain c(Bypassed(*f1.f, true, false));
    c.Then(std::make_unique<CLabAbsRel>(*srcSpec.mediaWhite))
        .Then(std::make_unique<CLabRelAbs>(*prnSpec.mediaWhite))
        .Then(Bypassed(*f2.f, false, true));
    auto expected = Sample4(c.Func(), kGrid4);
    CopyCurves(*expected, &f1.f->FuncInputTab(), &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
    const uint16_t paper[4] = {0, 0, 0, 0};
    uint16_t out[4] = {};
    link->TrnPixels16(paper, out, 1);
    EXPECT_GT(out[0] + out[1] + out[2] + out[3], 0) << "paper prints ink";
}

TEST_F(LinkBuildTest, LabOutputOfAnRgbToCmykChainIsTheBuiltInSRgbTable) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtLab, 3), 1);
    ASSERT_NE(CColorLink::s_pRgbToLab, nullptr);
    StepFunc f1 = LoadStep(rgb, icSigAToB0Tag, kRgb, kLab);
    StepFunc f2 = LoadStep(prn, icSigBToA0Tag, kLab, kCmyk);
    Chain c(f1.f->FuncInputTab());
    c.ThenRef(*CColorLink::s_pRgbToLab);
    auto expected = Sample3(c.Func(), kGrid3);
    CopyCurves(*expected, nullptr, &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
    // Not what the RGB profile itself says.
    Chain own(f1.f->FuncInputTab());
    own.Then(Bypassed(*f1.f, true, false));
    EXPECT_NE(GridOf(Sample3(own.Func(), kGrid3).get()), GridOf(link->Table16()));
}

TEST_F(LinkBuildTest, LabOutputOfACmykToCmykChainIsTheBuiltInCmykTable) {
    const auto src = WriteProfile(dir, "src.icc", CmykPrinter());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{src, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    ASSERT_NE(CColorLink::s_pCmykToLab, nullptr);
    StepFunc f1 = LoadStep(src, icSigAToB0Tag, kCmyk, kLab);
    StepFunc f2 = LoadStep(prn, icSigBToA0Tag, kLab, kCmyk);
    Chain c(*CColorLink::s_pCmykToLab);
    auto expected = Sample4(c.Func(), kGrid4);
    CopyCurves(*expected, &f1.f->FuncInputTab(), &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
}

TEST_F(LinkBuildTest, GamutOutputOfALabToRgbChainIsTheGamutFlagOfTheRgb) {
    const auto disp = WriteProfile(dir, "disp.icc", RgbDisplay());
    auto link = LinkOf({{disp, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtGamut, 1), 1);
    StepFunc f = LoadStep(disp, icSigBToA0Tag, kLab, kRgb);
    Chain c(f.f->FuncInputTab());
    c.Then(Bypassed(*f.f, true, true)).Then(std::make_unique<CRGBToGamut>(3, 1));
    auto expected = Sample3(c.Func(), kGrid3);
    CopyCurves(*expected, nullptr, &f.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
    ASSERT_NE(link->Table16(), nullptr);
    EXPECT_EQ(link->Table16()->outputChan(), 1u);
    // Every node holds one of the two answers, and both occur.
    std::set<uint16_t> values;
    for (uint16_t v : GridOf(link->Table16())) values.insert(v);
    EXPECT_EQ(values, (std::set<uint16_t>{0, 65535}));
}

TEST_F(LinkBuildTest, GamutOutputOfAGamutStepIsItsGamtTable) {
    ProfileSpec p = CmykPrinter();
    p.tables.push_back(GamutTable(3));
    const auto path = WriteProfile(dir, "gamt.icc", p);
    auto link = LinkOf({{path, kGamut, 1}});
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtGamut, 1), 1);
    StepFunc f = LoadStep(path, icSigGamutTag, kLab, Sig("gamt"));
    Chain c(f.f->FuncInputTab());
    c.Then(Bypassed(*f.f, true, true));
    auto expected = Sample3(c.Func(), kGrid3);
    CopyCurves(*expected, nullptr, &f.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
}

TEST_F(LinkBuildTest, DeviceLinkFirstMakesTheOtherStepsDisappear) {
    const auto dl = WriteProfile(dir, "link.icc", CmykDeviceLink());
    const auto prnA = WriteProfile(dir, "a.icc", CmykPrinter());
    ProfileSpec other = CmykPrinter();
    other.tables = {CmykToLab(icSigAToB0Tag, 3, 0.8), LabToCmyk(icSigBToA0Tag, 3, 1.2)};
    const auto prnB = WriteProfile(dir, "b.icc", other);

    StepFunc f = LoadStep(dl, icSigAToB0Tag, kCmyk, kCmyk);
    ASSERT_TRUE(f.f);
    Chain c(Bypassed(*f.f, true, true));
    auto expected = Sample4(c.Func(), kGrid4);
    const uint16_t paper[4] = {0, 0, 0, 0};
    uint16_t white[4];
    f.f->FuncInputTab().Trn(paper, white);
    ZeroInkNode(expected->Mft(), white, &f.f->FuncOutputTab(), 4);
    CopyCurves(*expected, &f.f->FuncInputTab(), &f.f->FuncOutputTab());

    const std::vector<std::vector<Step>> chains = {
        {{dl, kDevToPcs, 1}, {prnA, kPcsToDev, 1}},
        {{dl, kDevToPcs, 1}, {prnB, kPcsToDev, 3}},
        {{dl, kDevToPcs, 1}, {prnA, kDevToPcs, 1}, {prnB, kPcsToDev, 5}}};
    for (const auto& steps : chains) {
        auto link = LinkOf(steps);
        ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtCmyk, 4), 1);
        EXPECT_TRUE(SameTable(link->Table16(), *expected)) << steps.size() << " steps";
    }
}

TEST_F(LinkBuildTest, CmykToAFiveInkStepIsBridgedByCopyingChannels) {
    ProfileSpec fiveSpec;
    fiveSpec.colorSpace = icSig5colorData;
    fiveSpec.tables = {LabToInks(icSigBToA0Tag, 3, 5)};
    fiveSpec.tables[0].outEntries = 256;
    fiveSpec.tables[0].outCurve = FlatStart;
    const auto dl = WriteProfile(dir, "link.icc", CmykDeviceLink());
    const auto five = WriteProfile(dir, "five.icc", fiveSpec);
    auto link = LinkOf({{dl, kDevToPcs, 1}, {five, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtNColor, 5), 1);

    StepFunc f1 = LoadStep(dl, icSigAToB0Tag, kCmyk, kCmyk);
    StepFunc f2 = LoadStep(five, icSigBToA0Tag, kLab, icSig5colorData);
    Chain c(Bypassed(*f1.f, true, false));
    c.Then(std::make_unique<CFunc16CopyInOut>(4, 5));
    auto expected = Sample4(c.Func(), kGrid4);
    const uint16_t paper[4] = {0, 0, 0, 0};
    uint16_t white[4];
    f1.f->FuncInputTab().Trn(paper, white);
    ZeroInkNode(expected->Mft(), white, &f2.f->FuncOutputTab(), 5);
    CopyCurves(*expected, &f1.f->FuncInputTab(), &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));

    // The five-ink table gives every ink at least 1/8; none of it reaches the link. (The
    // paper's node holds what the output curves need for no ink.)
    const auto grid = GridOf(link->Table16());
    ASSERT_EQ(grid.size(), kGrid4 * kGrid4 * kGrid4 * kGrid4 * 5);
    const unsigned paperNode = expected->Mft().QuantizeToGridPoint(white) / 5;
    for (size_t n = 0; n < grid.size() / 5; ++n) {
        if (n != paperNode) {
            ASSERT_EQ(grid[n * 5 + 4], 0) << "node " << n;
        }
    }
}

TEST_F(LinkBuildTest, CmykToAnRgbStepIsBridgedByTheBuiltInCmykToRgbTable) {
    const auto dl = WriteProfile(dir, "link.icc", CmykDeviceLink());
    const auto disp = WriteProfile(dir, "disp.icc", RgbDisplay());
    auto link = LinkOf({{dl, kDevToPcs, 1}, {disp, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtRgb, 3), 1);
    ASSERT_NE(CColorLink::s_pCmykToRgb, nullptr);
    StepFunc f1 = LoadStep(dl, icSigAToB0Tag, kCmyk, kCmyk);
    StepFunc f2 = LoadStep(disp, icSigBToA0Tag, kLab, kRgb);
    Chain c(Bypassed(*f1.f, true, false));
    c.ThenRef(*CColorLink::s_pCmykToRgb);
    auto expected = Sample4(c.Func(), kGrid4);
    CopyCurves(*expected, &f1.f->FuncInputTab(), &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
}

TEST_F(LinkBuildTest, StepsThatCannotBeJoinedFailWith905AndAreDropped) {
    const auto disp = WriteProfile(dir, "disp.icc", RgbDisplay());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{disp, kPcsToDev, 1}, {prn, kPcsToDev, 1}}); // RGB, then from Lab
    EXPECT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 0);
    EXPECT_EQ(link->GetLinkError(), 905u);
    EXPECT_EQ(link->Tags().GetCount(), 0u);
    EXPECT_EQ(link->Table16(), nullptr);
    EXPECT_EQ(link->InFormat(), 0u);
}

namespace {
// A two-input table: no profile gives one (the reader makes tables of three and four inputs
// only), so a step holding it is put into a link's list directly.
class TwoInputTable : public CFunc_16TabBaseMft {
public:
    TwoInputTable() : CFunc_16TabBaseMft(2, 2) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        out[0] = in[1];
        out[1] = in[0];
        return 1;
    }
    void InitMftTrn() override {}
    CFunc_16TabBaseMft* CreateClone() const override { return new TwoInputTable(*this); }
};
} // namespace

TEST_F(LinkBuildTest, ChainOfTwoInputsIsRefusedWith905) {
    CColorLink link(nullptr);
    const std::wstring none = (dir / "none.icc").wstring();
    auto tag = std::make_unique<CColorTag>(none.c_str(), kDevToPcs, IntentPerceptual, nullptr);
    ASSERT_EQ(tag->nError, 901u);
    tag->nError = 0;
    tag->InSpace = tag->OutSpace = Sig("2CLR");
    tag->pFunc16 = std::make_unique<TwoInputTable>();
    const_cast<CColorLink::CColorTagList&>(link.Tags()).AddTail(std::move(tag));
    EXPECT_EQ(link.CreateLink(kFmtNColor, 2, kFmtNColor, 2), 0);
    EXPECT_EQ(link.GetLinkError(), 905u);
    EXPECT_EQ(link.Table16(), nullptr);
}

TEST_F(LinkBuildTest, SourceTableOfFiveInksIsRefusedAtAddProfileWith904) {
    ProfileSpec p;
    p.colorSpace = icSig5colorData;
    p.tables = {DeviceToDevice(icSigAToB0Tag, 5, 3, 2)};
    const auto path = WriteProfile(dir, "five-in.icc", p);
    CColorLink link(nullptr);
    EXPECT_EQ(link.AddProfile(path.c_str(), kDevToPcs, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 904u);
    EXPECT_EQ(link.Tags().GetCount(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Intents, black point compensation, absolute colorimetry

TEST_F(LinkBuildTest, IntentsSixToThirteenBuildExactlyTheTableOfTheirReducedIntent) {
    ProfileSpec rgbSpec = RgbInput();
    rgbSpec.tables = {RgbToLab(icSigAToB0Tag, 3), RgbToLab(icSigAToB1Tag, 3, 0.95),
                      RgbToLab(icSigAToB2Tag, 2, 0.9)};
    ProfileSpec prnSpec = CmykPrinter();
    prnSpec.tables.push_back(LabToCmyk(icSigBToA2Tag, 3, 1.1));
    const auto rgb = WriteProfile(dir, "rgb.icc", rgbSpec);
    const auto prn = WriteProfile(dir, "cmyk.icc", prnSpec);
    const std::array<int, 14> reduced = {0, 1, 2, 3, 4, 5, 1, 2, 3, 5, 1, 2, 3, 5};
    std::map<int, std::unique_ptr<CColorLink>> links;
    for (int intent : {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13}) {
        links[intent] = LinkOf({{rgb, kDevToPcs, intent}, {prn, kPcsToDev, intent}});
        ASSERT_EQ(links[intent]->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1) << intent;
    }
    for (int intent = 6; intent < 14; ++intent)
        EXPECT_TRUE(SameTable(links[intent]->Table16(), *links[reduced[size_t(intent)]]->Table16()))
            << "intent " << intent;
    // The four plain intents give four different tables, so the comparison above tells them
    // apart.
    for (int a : {1, 2, 3, 5})
        for (int b : {1, 2, 3, 5})
            if (a < b) {
                EXPECT_NE(GridOf(links[a]->Table16()), GridOf(links[b]->Table16()))
                    << a << " and " << b;
            }
}

TEST_F(LinkBuildTest, SingleLabToCmykStepWithCompensationScalesItsBlackAheadOfTheTable) {
    ProfileSpec prnSpec = CmykPrinter();
    for (auto& t : prnSpec.tables)
        if (t.in == 3) {
            t.inEntries = 256;
            t.inCurve = [](double x, unsigned) { return U16(std::pow(x, 1.2)); };
        }
    const auto prn = WriteProfile(dir, "cmyk.icc", prnSpec);
    auto link = LinkOf({{prn, kPcsToDev, 5}});
    const uint16_t black = link->Tags().At(0).BlackPoint();
    ASSERT_GT(black, 0);
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    StepFunc f = LoadStep(prn, icSigBToA1Tag, kLab, kCmyk);
    Chain c(f.f->FuncInputTab());
    c.Then(std::make_unique<CBPScalingLab>(0, black)).Then(Bypassed(*f.f, true, true));
    auto expected = Sample3(c.Func(), kGrid3);
    CopyCurves(*expected, nullptr, &f.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));

    auto plain = LinkOf({{prn, kPcsToDev, 2}});
    ASSERT_EQ(plain->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    EXPECT_NE(GridOf(plain->Table16()), GridOf(link->Table16()));
}

TEST_F(LinkBuildTest, CompensationStandsBetweenItsStepAndThePreviousOne) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    StepFunc f1 = LoadStep(rgb, icSigAToB0Tag, kRgb, kLab);
    for (int rgbIntent : {2, 5}) {
        for (int prnIntent : {2, 5}) {
            auto link = LinkOf({{rgb, kDevToPcs, rgbIntent}, {prn, kPcsToDev, prnIntent}});
            const uint16_t black1 = link->Tags().At(0).BlackPoint();
            const uint16_t black2 = link->Tags().At(1).BlackPoint();
            EXPECT_EQ(black1, 0); // the input profile has no way back from Lab
            ASSERT_GT(black2, 0);
            ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
            StepFunc f2 = LoadStep(prn, icSigBToA1Tag, kLab, kCmyk);
            Chain c(f1.f->FuncInputTab());
            c.Then(Bypassed(*f1.f, true, false));
            // Only the later step's intent counts.
            if (prnIntent == 5) c.Then(std::make_unique<CBPScalingLab>(black1, black2));
            c.Then(Bypassed(*f2.f, false, true));
            auto expected = Sample3(c.Func(), kGrid3);
            ZeroInkNode(expected->Mft(), kWhiteRgb, &f2.f->FuncOutputTab(), 4);
            CopyCurves(*expected, nullptr, &f2.f->FuncOutputTab());
            EXPECT_TRUE(SameTable(link->Table16(), *expected))
                << "intents " << rgbIntent << ", " << prnIntent;
        }
    }
}

TEST_F(LinkBuildTest, CompensationTakesThePreviousBlackWhenTheStepHasNone) {
    const auto src = WriteProfile(dir, "src.icc", CmykPrinter());
    const auto disp = WriteProfile(dir, "disp.icc", RgbDisplay());
    auto link = LinkOf({{src, kDevToPcs, 1}, {disp, kPcsToDev, 5}});
    const uint16_t black1 = link->Tags().At(0).BlackPoint();
    ASSERT_GT(black1, 0);
    ASSERT_EQ(link->Tags().At(1).BlackPoint(), 0); // a display without the way back to Lab
    ASSERT_EQ(link->CreateLink(kFmtCmyk, 4, kFmtRgb, 3), 1);
    StepFunc f1 = LoadStep(src, icSigAToB0Tag, kCmyk, kLab);
    StepFunc f2 = LoadStep(disp, icSigBToA0Tag, kLab, kRgb);
    Chain c(Bypassed(*f1.f, true, false));
    c.Then(std::make_unique<CBPScalingLab>(black1, 0)).Then(Bypassed(*f2.f, false, true));
    auto expected = Sample4(c.Func(), kGrid4);
    CopyCurves(*expected, &f1.f->FuncInputTab(), &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
}

TEST_F(LinkBuildTest, AbsoluteFirstStepMakesTheCallersLabAbsoluteBeforeTheInputCurves) {
    ProfileSpec prnSpec = CmykPrinter();
    prnSpec.mediaWhite = icXYZNumber{60000, 63000, 50000};
    for (auto& t : prnSpec.tables)
        if (t.in == 3) {
            t.inEntries = 256;
            t.inCurve = [](double x, unsigned) { return U16(std::pow(x, 1.2)); };
        }
    const auto prn = WriteProfile(dir, "cmyk.icc", prnSpec);
    auto link = LinkOf({{prn, kPcsToDev, 4}});
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
    StepFunc f = LoadStep(prn, icSigBToA1Tag, kLab, kCmyk);
    Chain c(std::make_unique<CLabRelAbs>(*prnSpec.mediaWhite));
    c.ThenRef(f.f->FuncInputTab()).Then(Bypassed(*f.f, true, true));
    auto expected = Sample3(c.Func(), kGrid3);
    CopyCurves(*expected, nullptr, &f.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
}

// ---------------------------------------------------------------------------------------------
// Tables widened from 8 bits

TEST_F(LinkBuildTest, EightBitTablesAreWidenedWithTheirLabEncodingCorrected) {
    ProfileSpec prn8 = CmykPrinter();
    for (auto& t : prn8.tables) t.bits = 8;
    const auto rgb8 = WriteProfile(dir, "rgb8.icc", RgbInput(3, 8));
    const auto prn = WriteProfile(dir, "cmyk8.icc", prn8);
    const auto rgb16 = WriteProfile(dir, "rgb16.icc", RgbInput(3, 16));
    StepFunc f2 = LoadStep(prn, icSigBToA0Tag, kLab, kCmyk);
    ASSERT_TRUE(f2.from8);
    for (const auto& rgb : {rgb8, rgb16}) {
        auto link = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
        ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
        StepFunc f1 = LoadStep(rgb, icSigAToB0Tag, kRgb, kLab);
        Chain c(f1.f->FuncInputTab());
        c.Then(Bypassed(*f1.f, true, false));
        // The head's 8-bit Lab goes to the 16-bit encoding, the tail's comes from it.
        if (f1.from8) c.Then(std::make_unique<CInversFunc_16>(static_cast<CFunc_16*>(new CL8To16)));
        c.Then(std::make_unique<CL8To16>()).Then(Bypassed(*f2.f, false, true));
        auto expected = Sample3(c.Func(), kGrid3);
        ZeroInkNode(expected->Mft(), kWhiteRgb, &f2.f->FuncOutputTab(), 4);
        CopyCurves(*expected, nullptr, &f2.f->FuncOutputTab());
        EXPECT_TRUE(SameTable(link->Table16(), *expected)) << (f1.from8 ? "8-bit" : "16-bit");
    }
}

TEST_F(LinkBuildTest, EightBitMiddleStepGetsBothCorrectionsAndKeepsItsCurves) {
    ProfileSpec prn8 = CmykPrinter();
    for (auto& t : prn8.tables) t.bits = 8;
    ProfileSpec abst;
    abst.deviceClass = icSigAbstractClass;
    abst.colorSpace = icSigLabData;
    abst.tables = {PcsToPcs(
        icSigAToB0Tag, 3, [](double l) { return 0.1 + 0.85 * l; }, 8)};
    abst.tables[0].inCurve = [](double x, unsigned) { return U16(std::pow(x, 0.9)); };
    abst.tables[0].outCurve = [](double x, unsigned) { return U16(std::pow(x, 1.1)); };
    const auto rgb = WriteProfile(dir, "rgb8.icc", RgbInput(3, 8));
    const auto mid = WriteProfile(dir, "abst8.icc", abst);
    const auto prn = WriteProfile(dir, "cmyk8.icc", prn8);
    auto link = LinkOf({{rgb, kDevToPcs, 1}, {mid, kAbstract, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    StepFunc f1 = LoadStep(rgb, icSigAToB0Tag, kRgb, kLab);
    StepFunc fm = LoadStep(mid, icSigAToB0Tag, kLab, kLab);
    StepFunc f2 = LoadStep(prn, icSigBToA0Tag, kLab, kCmyk);
    ASSERT_TRUE(f1.from8 && fm.from8 && f2.from8);
    auto toL16 = [] { return std::make_unique<CL8To16>(); };
    auto toL8 = [] {
        return std::make_unique<CInversFunc_16>(static_cast<CFunc_16*>(new CL8To16));
    };
    Chain c(f1.f->FuncInputTab());
    c.Then(Bypassed(*f1.f, true, false))
        .Then(toL8())
        .Then(toL16())
        .ThenRef(*fm.f)
        .Then(toL8())
        .Then(toL16())
        .Then(Bypassed(*f2.f, false, true));
    auto expected = Sample3(c.Func(), kGrid3);
    ZeroInkNode(expected->Mft(), kWhiteRgb, &f2.f->FuncOutputTab(), 4);
    CopyCurves(*expected, nullptr, &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
}

// ---------------------------------------------------------------------------------------------
// XYZ connection space

TEST_F(LinkBuildTest, LabAndXyzStepsAreJoinedByTheIccXyzConversion) {
    ProfileSpec rgbXyz = RgbInput();
    rgbXyz.pcs = icSigXYZData;
    ProfileSpec prnXyz = CmykPrinter();
    prnXyz.pcs = icSigXYZData;
    const auto rgbL = WriteProfile(dir, "rgbL.icc", RgbInput());
    const auto rgbX = WriteProfile(dir, "rgbX.icc", rgbXyz);
    const auto prnL = WriteProfile(dir, "prnL.icc", CmykPrinter());
    const auto prnX = WriteProfile(dir, "prnX.icc", prnXyz);
    struct Case {
        std::wstring rgb, prn;
        uint32_t rgbPcs, prnPcs;
    } const cases[] = {{rgbL, prnX, kLab, kXyz}, {rgbX, prnL, kXyz, kLab}};
    for (const Case& k : cases) {
        auto link = LinkOf({{k.rgb, kDevToPcs, 1}, {k.prn, kPcsToDev, 1}});
        ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
        StepFunc f1 = LoadStep(k.rgb, icSigAToB0Tag, kRgb, k.rgbPcs);
        StepFunc f2 = LoadStep(k.prn, icSigBToA0Tag, k.prnPcs, kCmyk);
        Chain c(f1.f->FuncInputTab());
        c.Then(Bypassed(*f1.f, true, false));
        c.Then(k.rgbPcs == kLab ? LabToIccXYZ() : IccXYZToLab());
        c.Then(Bypassed(*f2.f, false, true));
        auto expected = Sample3(c.Func(), kGrid3);
        ZeroInkNode(expected->Mft(), kWhiteRgb, &f2.f->FuncOutputTab(), 4);
        CopyCurves(*expected, nullptr, &f2.f->FuncOutputTab());
        EXPECT_TRUE(SameTable(link->Table16(), *expected)) << (k.rgbPcs == kLab ? "Lab" : "XYZ");
    }
}

TEST_F(LinkBuildTest, LabOutputOfAnXyzChainSamplesTheOutputCurvesAndTheWayBackToLab) {
    ProfileSpec rgbXyz = RgbInput();
    rgbXyz.pcs = icSigXYZData;
    rgbXyz.tables[0].outEntries = 256;
    rgbXyz.tables[0].outCurve = [](double x, unsigned c) {
        return U16(std::pow(x, 0.8 + 0.1 * c));
    };
    const auto rgb = WriteProfile(dir, "rgbX.icc", rgbXyz);
    auto link = LinkOf({{rgb, kDevToPcs, 1}});
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtLab, 3), 1);
    StepFunc f = LoadStep(rgb, icSigAToB0Tag, kRgb, kXyz);
    Chain c(f.f->FuncInputTab());
    c.Then(Bypassed(*f.f, true, true)).ThenRef(f.f->FuncOutputTab()).Then(IccXYZToLab());
    auto expected = Sample3(c.Func(), kGrid3);
    EXPECT_TRUE(SameTable(link->Table16(), *expected));
}

TEST_F(LinkBuildTest, LabInputOfAnXyzStepGoesToXyzAndToAbsoluteBeforeTheInputCurves) {
    ProfileSpec prnXyz = CmykPrinter();
    prnXyz.pcs = icSigXYZData;
    prnXyz.mediaWhite = icXYZNumber{60000, 63000, 50000};
    for (auto& t : prnXyz.tables)
        if (t.in == 3) {
            t.inEntries = 256;
            t.inCurve = [](double x, unsigned) { return U16(std::pow(x, 0.85)); };
        }
    const auto prn = WriteProfile(dir, "prnX.icc", prnXyz);
    for (int intent : {1, 4}) {
        auto link = LinkOf({{prn, kPcsToDev, intent}});
        ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtCmyk, 4), 1);
        StepFunc f = LoadStep(prn, intent == 4 ? icSigBToA1Tag : icSigBToA0Tag, kXyz, kCmyk);
        Chain c(LabToIccXYZ());
        if (intent == 4) c.Then(std::make_unique<CXYZRelAbs>(*prnXyz.mediaWhite));
        c.ThenRef(f.f->FuncInputTab()).Then(Bypassed(*f.f, true, true));
        auto expected = Sample3(c.Func(), kGrid3);
        CopyCurves(*expected, nullptr, &f.f->FuncOutputTab());
        EXPECT_TRUE(SameTable(link->Table16(), *expected)) << "intent " << intent;
    }
}

// ---------------------------------------------------------------------------------------------
// One input

TEST_F(LinkBuildTest, GrayInputMakesAOneInputTable) {
    ProfileSpec gray;
    gray.deviceClass = icSigDisplayClass;
    gray.colorSpace = icSigGrayData;
    gray.pcs = icSigXYZData;
    gray.grayTrc = std::make_pair(int32_t(117965), uint32_t(64)); // gamma 1.8
    const auto g = WriteProfile(dir, "gray.icc", gray);
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{g, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtGray, 1, kFmtCmyk, 4), 1);
    StepFunc fg = LoadStep(g, icSigGrayTRCTag, kGray, kXyz);
    StepFunc f2 = LoadStep(prn, icSigBToA0Tag, kLab, kCmyk);
    ASSERT_TRUE(fg.f && f2.f);
    Chain c(Bypassed(*fg.f, true, false));
    c.Then(IccXYZToLab()).Then(Bypassed(*f2.f, false, true));
    CFunc_16Tab1Mft expected(4);
    expected.DefineByFunc(c.Func());
    CopyCurves(expected, &fg.f->FuncInputTab(), &f2.f->FuncOutputTab());
    EXPECT_TRUE(SameTable(link->Table16(), expected));
}

// ---------------------------------------------------------------------------------------------
// After the build

TEST_F(LinkBuildTest, BuildDropsTheStepsAndKeepsTheErrorOfTheLastAddProfile) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto link = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    const std::wstring missing = (dir / "missing.icc").wstring();
    EXPECT_EQ(link->AddProfile(missing.c_str(), kPcsToDev, IntentPerceptual), 0);
    ASSERT_EQ(link->GetLinkError(), 901u);
    ASSERT_EQ(link->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(link->GetLinkError(), 901u);
    EXPECT_EQ(link->Tags().GetCount(), 0u);
    EXPECT_EQ(link->InFormat(), kFmtRgb);
    EXPECT_EQ(link->OutFormat(), kFmtCmyk);
    EXPECT_EQ(link->nInChannels(), 3u);
    EXPECT_EQ(link->nOutChannels(), 4u);
}

// ---------------------------------------------------------------------------------------------
// Pixels through built links

TEST_F(LinkBuildTest, PixelsOfBuiltLinksAreTheTablesResultsInBothWidths) {
    GridSizes finer(-9, -6);
    ProfileSpec gray;
    gray.deviceClass = icSigDisplayClass;
    gray.colorSpace = icSigGrayData;
    gray.pcs = icSigXYZData;
    gray.grayTrc = std::make_pair(int32_t(144179), uint32_t(0));
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    const auto disp = WriteProfile(dir, "disp.icc", RgbDisplay());
    const auto g = WriteProfile(dir, "gray.icc", gray);
    struct Case {
        const char* name;
        std::vector<Step> steps;
        unsigned inFmt, nIn, outFmt, nOut;
    } const cases[] = {
        {"RGB to CMYK", {{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}}, kFmtRgb, 3, kFmtCmyk, 4},
        {"CMYK to RGB", {{prn, kDevToPcs, 1}, {disp, kPcsToDev, 1}}, kFmtCmyk, 4, kFmtRgb, 3},
        {"Lab to gamut", {{disp, kPcsToDev, 1}}, kFmtLab, 3, kFmtGamut, 1},
        {"gray to CMYK", {{g, kDevToPcs, 1}, {prn, kPcsToDev, 1}}, kFmtGray, 1, kFmtCmyk, 4},
    };
    std::mt19937 rng(7);
    for (const Case& k : cases) {
        auto link = LinkOf(k.steps);
        ASSERT_EQ(link->CreateLink(k.inFmt, k.nIn, k.outFmt, k.nOut), 1) << k.name;
        const CFunc_16TabBaseMft* table = link->Table16();
        ASSERT_NE(table, nullptr);
        const unsigned count = 3000;
        std::vector<uint8_t> src8(count * k.nIn);
        std::vector<uint16_t> src16(count * k.nIn);
        for (unsigned i = 0; i < src8.size(); ++i) {
            // Every byte value on every channel at least once, then random ones.
            src8[i] = i < 256 * k.nIn ? uint8_t(i / k.nIn) : uint8_t(rng());
            src16[i] = i < 256 * k.nIn ? uint16_t(i / k.nIn * 257) : uint16_t(rng());
        }
        std::vector<uint8_t> dst8(count * k.nOut, 0xAB);
        std::vector<uint16_t> dst16(count * k.nOut, 0xABCD);
        link->TrnPixels8(src8.data(), dst8.data(), count);
        link->TrnPixels16(src16.data(), dst16.data(), count);
        size_t bad8 = 0, bad16 = 0;
        std::string first8, first16; // the first pixel that differs, for the message
        auto describe = [&](unsigned p, const auto* src, const auto* got, const uint16_t* want,
                            int shift) {
            std::ostringstream s;
            s << "pixel " << p << " (";
            for (unsigned c = 0; c < k.nIn; ++c) s << (c ? ", " : "") << +src[p * k.nIn + c];
            s << "): got";
            for (unsigned c = 0; c < k.nOut; ++c) s << " " << +got[p * k.nOut + c];
            s << ", table gives";
            for (unsigned c = 0; c < k.nOut; ++c) s << " " << (want[c] >> shift);
            return s.str();
        };
        std::set<uint16_t> seen;
        for (unsigned p = 0; p < count; ++p) {
            uint16_t wide[4], out[16];
            for (unsigned c = 0; c < k.nIn; ++c) wide[c] = uint16_t(src8[p * k.nIn + c] * 257);
            table->Trn(wide, out);
            for (unsigned c = 0; c < k.nOut; ++c) {
                if (dst8[p * k.nOut + c] != (out[c] >> 8) && !bad8++)
                    first8 = describe(p, src8.data(), dst8.data(), out, 8);
            }
            table->Trn(&src16[p * k.nIn], out);
            for (unsigned c = 0; c < k.nOut; ++c) {
                if (dst16[p * k.nOut + c] != out[c] && !bad16++)
                    first16 = describe(p, src16.data(), dst16.data(), out, 0);
                seen.insert(out[c]);
            }
        }
        EXPECT_EQ(bad8, 0u) << k.name << ", first " << first8;
        EXPECT_EQ(bad16, 0u) << k.name << ", first " << first16;
        EXPECT_GT(seen.size(), 1u) << k.name << " gives one value only";
    }
}

TEST_F(LinkBuildTest, OutputChannelsBeyondTheTableAreZeroIn8BitsAndUntouchedIn16) {
    const auto disp = WriteProfile(dir, "disp.icc", RgbDisplay());
    auto link = LinkOf({{disp, kPcsToDev, 1}});
    ASSERT_EQ(link->CreateLink(kFmtLab, 3, kFmtGamut, 2), 1);
    ASSERT_EQ(link->Table16()->outputChan(), 1u);
    const uint16_t src16[6] = {0, 0, 0, 30000, 32768, 32768};
    uint16_t dst16[4] = {7, 7, 7, 7};
    link->TrnPixels16(src16, dst16, 2);
    uint16_t expected[2];
    link->Table16()->Trn(src16, &expected[0]);
    link->Table16()->Trn(src16 + 3, &expected[1]);
    EXPECT_EQ(dst16[0], expected[0]);
    EXPECT_EQ(dst16[1], 7);
    EXPECT_EQ(dst16[2], expected[1]);
    EXPECT_EQ(dst16[3], 7);
    const uint8_t src8[6] = {0, 0, 0, 117, 128, 128};
    uint8_t dst8[4] = {7, 7, 7, 7};
    link->TrnPixels8(src8, dst8, 2);
    EXPECT_EQ(dst8[1], 0);
    EXPECT_EQ(dst8[3], 0);
}

// Without the fixture's resident link: this test follows the built-in tables from the first
// link of the process to the last.
TEST(LinkBuiltIns, AreReadWhenAChainFirstUsesThemAndFreedWithTheLastLink) {
    ASSERT_EQ(CColorLink::s_nLinkCount, 0) << "another native link is alive in this process";
    TempDir dir;
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto cmyk = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(cmyk->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    EXPECT_EQ(CColorLink::s_pRgbToLab, nullptr); // no chain has needed one yet
    EXPECT_EQ(CColorLink::s_pCmykToLab, nullptr);
    EXPECT_EQ(CColorLink::s_pCmykToRgb, nullptr);
    auto lab = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(lab->CreateLink(kFmtRgb, 3, kFmtLab, 3), 1);
    EXPECT_NE(CColorLink::s_pRgbToLab, nullptr);
    EXPECT_EQ(CColorLink::s_pCmykToLab, nullptr);
    lab.reset();
    EXPECT_NE(CColorLink::s_pRgbToLab, nullptr); // another link is still alive
    cmyk.reset();
    EXPECT_EQ(CColorLink::s_pRgbToLab, nullptr);
}

// A pixel layout wider than the table has no specialised path: every thread goes through the
// table's own Trn, whose preparation runs once, on whichever thread comes first. The results
// agree with those of the specialised path of the same table.
TEST_F(LinkBuildTest, TableIsPreparedOnceForThreadsThatTakeTheStraightforwardLoop) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    auto fast = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(fast->CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    // Four samples a pixel in: the table reads the first three.
    auto wide = LinkOf({{rgb, kDevToPcs, 1}, {prn, kPcsToDev, 1}});
    ASSERT_EQ(wide->CreateLink(kFmtRgb, 4, kFmtCmyk, 4), 1);

    constexpr unsigned kPixels = 20000;
    std::mt19937 rng(20261124);
    std::vector<uint16_t> src(3 * kPixels), src4(4 * kPixels);
    for (unsigned i = 0; i < kPixels; ++i)
        for (unsigned c = 0; c < 4; ++c)
            src4[4 * i + c] = c < 3 ? (src[3 * i + c] = uint16_t(rng() >> 16)) : 4321;
    std::vector<uint16_t> expected(4 * kPixels);
    fast->TrnPixels16(src.data(), expected.data(), kPixels);

    constexpr unsigned kThreads = 4;
    std::vector<std::vector<uint16_t>> out(kThreads, std::vector<uint16_t>(4 * kPixels, 0));
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] { wide->TrnPixels16(src4.data(), out[t].data(), kPixels); });
    for (auto& th : threads) th.join();
    for (unsigned t = 0; t < kThreads; ++t) EXPECT_EQ(out[t], expected) << "thread " << t;
}

namespace {

// Sets KVR_BUILD_THREADS for the life of the object and puts the old value back.
class ScopedBuildThreads {
public:
    explicit ScopedBuildThreads(const char* count) {
        if (const char* old = std::getenv("KVR_BUILD_THREADS")) saved = old, had = true;
        setenv("KVR_BUILD_THREADS", count, 1);
    }
    ~ScopedBuildThreads() {
        if (had)
            setenv("KVR_BUILD_THREADS", saved.c_str(), 1);
        else
            unsetenv("KVR_BUILD_THREADS");
    }
    ScopedBuildThreads(const ScopedBuildThreads&) = delete;
    ScopedBuildThreads& operator=(const ScopedBuildThreads&) = delete;

private:
    std::string saved;
    bool had = false;
};

// The grid and curves of a built link's table as bytes.
std::vector<uint16_t> TableSamples(const CColorLink& link) {
    const CFunc_16TabBaseMft* t = link.Table16();
    std::vector<uint16_t> v;
    if (const auto* t3 = dynamic_cast<const CFunc_16Tab3Mft*>(t))
        v.assign(t3->Mft().Table(), t3->Mft().Table() + t3->Mft().TabEntries());
    else if (const auto* t4 = dynamic_cast<const CFunc_16Tab4Mft*>(t))
        v.assign(t4->Mft().Table(), t4->Mft().Table() + t4->Mft().TabEntries());
    return v;
}

} // namespace

// The chain's nodes are sampled on several threads: the table is the same, byte for byte, for
// any number of them, with the configured grid sizes (33 and 17 points), 3 and 4 inputs, every
// intent.
TEST(ColorLinkBuild, TableIsTheSameForAnyNumberOfSamplingThreads) {
    if (!kvrtest::HaveCorpusProfile("sRGB.icc") || !kvrtest::HaveCorpusProfile("default_cmyk.icc"))
        GTEST_SKIP() << "corpus profiles missing";
    const DefaultGridSizes sizes;
    const std::wstring rgb = kvrtest::CorpusProfile("sRGB.icc").wstring();
    const std::wstring cmyk = kvrtest::CorpusProfile("default_cmyk.icc").wstring();
    struct Case {
        std::vector<Step> steps;
        unsigned inFormat, nIn;
    };
    const int D = CMdlColorLink::ProfStepDevToPcs, P = CMdlColorLink::ProfStepPcsToDev;
    for (int intent : {0, 1, 2, 3, 4, 5}) {
        const Case cases[] = {
            {{{rgb, D, intent}, {cmyk, P, intent}}, CMdlColorLink::LinkFmtRgb, 3},
            {{{cmyk, P, intent}}, CMdlColorLink::LinkFmtLab, 3},
            {{{cmyk, D, intent}, {cmyk, P, intent}}, CMdlColorLink::LinkFmtCmyk, 4}};
        for (const Case& c : cases) {
            std::vector<uint16_t> reference;
            for (const char* threads : {"1", "2", "3", "7"}) {
                const ScopedBuildThreads forced(threads);
                CColorLink link(nullptr);
                for (const Step& s : c.steps)
                    ASSERT_TRUE(link.AddProfile(s.path.c_str(), s.kind, Intent(s.intent)));
                ASSERT_TRUE(link.CreateLink(c.inFormat, c.nIn, CMdlColorLink::LinkFmtCmyk, 4));
                const std::vector<uint16_t> table = TableSamples(link);
                ASSERT_FALSE(table.empty());
                if (reference.empty())
                    reference = table;
                else
                    ASSERT_EQ(table, reference) << "intent " << intent << ", " << c.nIn
                                                << " inputs, " << threads << " threads";
            }
        }
    }
}
