// A step's table is used only between the channels of the step's spaces: a table whose input or
// output count does not fit its step is no usable table (904) at AddProfile, the fallbacks of
// the step (matrix/TRC, the preview's two-step retry) still run, and a mismatch that reaches
// CreateLink all the same (a step put into the list directly) is refused there with 905.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <vector>

#include "LinkTestUtil.h"
#include "colorfunc/Func16GrayToXYZ.h"
#include "colorlink/LinkSignatures.h"
#include "icc/IccTestUtil.h"

using namespace linktest;

namespace {

const char* const kGhostscriptCmyk = "/usr/share/color/icc/ghostscript/default_cmyk.icc";
const char* const kGhostscriptPsCmyk = "/usr/share/color/icc/ghostscript/ps_cmyk.icc";

enmRenderingIntent Intent(int i) {
    return static_cast<enmRenderingIntent>(i);
}

std::wstring Wide(const char* s) {
    return std::filesystem::path(s).wstring();
}

class TagChannelTest : public ::testing::Test {
protected:
    // AddProfile refuses the step with 904 and leaves the list as it was.
    static void ExpectNoUsableTable(CColorLink& link, const std::wstring& path, int kind,
                                    int intent) {
        const size_t before = link.Tags().GetCount();
        EXPECT_EQ(link.AddProfile(path.c_str(), kind, Intent(intent)), 0)
            << "kind " << kind << " intent " << intent;
        EXPECT_EQ(link.GetLinkError(), 904u) << "kind " << kind << " intent " << intent;
        EXPECT_EQ(link.Tags().GetCount(), before);
    }

    // What a caller does next: build the link and run `count` pixels through each pixel
    // operation, on buffers of exactly the caller's size, so that a table reading or writing
    // beyond them shows under the sanitizer. The build must be refused.
    static void ExpectRefusedLink(CColorLink& link, unsigned inFormat, unsigned nIn,
                                  unsigned outFormat, unsigned nOut, unsigned count = 4) {
        EXPECT_EQ(link.CreateLink(inFormat, nIn, outFormat, nOut), 0);
        EXPECT_EQ(link.Table16(), nullptr);
        std::vector<uint16_t> src16(size_t(count) * nIn, 0x4000), dst16(size_t(count) * nOut);
        std::vector<uint8_t> src8(size_t(count) * nIn, 0x40), dst8(size_t(count) * nOut);
        link.TrnPixels16(src16.data(), dst16.data(), count);
        link.TrnPixels8(src8.data(), dst8.data(), count);
        if (nIn == 3) link.TrnBgrPixels8(src8.data(), dst8.data(), count);
    }

    ResidentLink resident;
    GridSizes grids{-5, -4};
    TempDir dir;
};

// A printer profile whose header says CMYK and whose A2B0 (or `sig`) is the record `a2b0`,
// written byte by byte.
std::wstring CmykProfileWithA2B0(const TempDir& dir, const std::string& name,
                                 const icctest::Bytes& a2b0, const char* sig = "A2B0",
                                 const char* pcs = "Lab ") {
    icctest::Profile p;
    p.colorSpace = "CMYK";
    p.pcs = pcs;
    p.Add("wtpt", icctest::Be().head("XYZ ").u32(63190).u32(65536).u32(54061).b);
    p.Add(sig, a2b0);
    const auto path = dir / name;
    icctest::WriteFileBytes(path, p.Build());
    return path.wstring();
}

// An mft2 of one input to three outputs, two grid points, two-entry curves.
icctest::Bytes OneInputMft2() {
    icctest::Be w;
    w.head("mft2").u8(1).u8(3).u8(2).u8(0);
    for (int i = 0; i < 9; ++i) w.u32(i % 4 == 0 ? 65536 : 0);
    w.u16(2).u16(2);
    w.u16(0).u16(65535);                                                // input curve
    for (uint16_t v : {0, 32768, 32768, 65535, 32768, 32768}) w.u16(v); // grid
    for (int c = 0; c < 3; ++c) w.u16(0).u16(65535);                    // output curves
    return w.b;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Tables of the wrong input count

TEST_F(TagChannelTest, AbstractStepOnAFourInputA2B0OfALabPrinterIsRefused) {
    if (!std::filesystem::exists(kGhostscriptCmyk)) GTEST_SKIP() << kGhostscriptCmyk;
    const std::wstring path = Wide(kGhostscriptCmyk);
    {
        CColorLink link(nullptr);
        ExpectNoUsableTable(link, path, kAbstract, 2);
        ExpectRefusedLink(link, kFmtLab, 3, kFmtLab, 3);
    }
    for (int intent : {0, 1, 3}) {
        CColorLink link(nullptr);
        ExpectNoUsableTable(link, path, kAbstract, intent);
        // The printer's own steps are not affected.
        EXPECT_EQ(link.AddProfile(path.c_str(), kDevToPcs, Intent(intent)), 1);
        EXPECT_EQ(link.AddProfile(path.c_str(), kPcsToDev, Intent(intent)), 1);
        EXPECT_EQ(link.GetLinkError(), 0u);
    }
}

TEST_F(TagChannelTest, AbstractStepOnAFourInputA2B0OfAnXyzPrinterIsRefused) {
    if (!std::filesystem::exists(kGhostscriptPsCmyk)) GTEST_SKIP() << kGhostscriptPsCmyk;
    const std::wstring path = Wide(kGhostscriptPsCmyk);
    {
        CColorLink link(nullptr);
        ExpectNoUsableTable(link, path, kAbstract, 2);
        ExpectRefusedLink(link, kFmtLab, 3, kFmtLab, 3);
    }
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kDevToPcs, IntentPerceptual), 1);
    ExpectNoUsableTable(link, path, kAbstract, 2);
    // What is left builds: CMYK through the printer into the connection space.
    EXPECT_EQ(link.CreateLink(kFmtCmyk, 4, kFmtLab, 3), 1);
    ASSERT_NE(link.Table16(), nullptr);
    EXPECT_EQ(link.Table16()->inputChan(), 4u);
    EXPECT_EQ(link.Table16()->outputChan(), 3u);
}

TEST_F(TagChannelTest, ThreeInputTableOfACmykProfileIsRefused) {
    ProfileSpec p;
    p.tables = {RgbToLab(icSigAToB0Tag, 3), LabToCmyk(icSigBToA0Tag, 3)};
    const auto path = WriteProfile(dir, "cmyk-a2b-rgb.icc", p);
    {
        CColorLink link(nullptr);
        ExpectNoUsableTable(link, path, kDevToPcs, 0);
        ExpectRefusedLink(link, kFmtCmyk, 4, kFmtLab, 3);
    }
    CColorLink link(nullptr);
    ExpectNoUsableTable(link, path, kDevToPcs, 0);
    // The same in 8 bits.
    p.tables[0].bits = 8;
    const auto path8 = WriteProfile(dir, "cmyk-a2b-rgb8.icc", p);
    ExpectNoUsableTable(link, path8, kDevToPcs, 0);
    // The B2A0 of the same profile fits and is taken.
    EXPECT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentPerceptual), 1);
}

TEST_F(TagChannelTest, B2AOfFourInputsIsRefused) {
    ProfileSpec p;
    p.deviceClass = icSigDisplayClass;
    p.colorSpace = icSigRgbData;
    p.tables = {RgbToLab(icSigAToB0Tag, 2), CmykToLab(icSigBToA0Tag, 3)};
    const auto path = WriteProfile(dir, "rgb-b2a-cmyk.icc", p);
    CColorLink link(nullptr);
    ExpectNoUsableTable(link, path, kPcsToDev, 0);
    ExpectRefusedLink(link, kFmtLab, 3, kFmtRgb, 3);
}

TEST_F(TagChannelTest, LabSpaceProfileWithAB2AOfFourInputsIsRefused) {
    ProfileSpec p;
    p.deviceClass = icSigColorSpaceClass;
    p.colorSpace = icSigLabData;
    p.tables = {PcsToPcs(icSigAToB0Tag, 2, [](double l) { return l; }),
                CmykToLab(icSigBToA0Tag, 2)};
    const auto path = WriteProfile(dir, "lab-b2a-cmyk.icc", p);
    CColorLink link(nullptr);
    ExpectNoUsableTable(link, path, kPcsToDev, 0);
    ExpectRefusedLink(link, kFmtLab, 3, kFmtLab, 3);
    EXPECT_EQ(link.AddProfile(path.c_str(), kDevToPcs, IntentPerceptual), 1);
}

// ---------------------------------------------------------------------------------------------
// Tables of the wrong output count

TEST_F(TagChannelTest, LabSpaceProfileWithAnA2BOfFourOutputsIsRefused) {
    ProfileSpec p;
    p.deviceClass = icSigColorSpaceClass;
    p.colorSpace = icSigLabData;
    p.tables = {LabToCmyk(icSigAToB0Tag, 2)};
    const auto path = WriteProfile(dir, "lab-a2b-four.icc", p);
    CColorLink link(nullptr);
    ExpectNoUsableTable(link, path, kDevToPcs, 0);
    ExpectRefusedLink(link, kFmtLab, 3, kFmtLab, 3);
}

TEST_F(TagChannelTest, GamutTableOfThreeOutputsIsRefused) {
    ProfileSpec p = CmykPrinter();
    TableSpec gamut = PcsToPcs(icSigGamutTag, 2, [](double l) { return l; });
    p.tables.push_back(gamut);
    const auto path = WriteProfile(dir, "gamt3.icc", p);
    CColorLink link(nullptr);
    ExpectNoUsableTable(link, path, kGamut, 0);
    // One output is the gamut answer.
    p.tables.back() = GamutTable(2);
    const auto good = WriteProfile(dir, "gamt1.icc", p);
    EXPECT_EQ(link.AddProfile(good.c_str(), kGamut, IntentPerceptual), 1);
}

// ---------------------------------------------------------------------------------------------
// One-channel grey curves and tables

TEST_F(TagChannelTest, GreyCurveAsA2B0OfACmykProfileIsRefused) {
    for (const char* pcs : {"Lab ", "XYZ "}) {
        const auto curv = CmykProfileWithA2B0(dir, std::string(pcs, 3) + "-curv.icc",
                                              icctest::Curv({0, 65535}, false), "A2B0", pcs);
        CColorLink link(nullptr);
        ExpectNoUsableTable(link, curv, kDevToPcs, 2);
        ExpectRefusedLink(link, kFmtCmyk, 4, kFmtLab, 3);
    }
    const auto path = CmykProfileWithA2B0(dir, "curv-a2b0.icc", icctest::Curv({0, 65535}, false));
    CColorLink link(nullptr);
    for (int intent : {0, 1, 2, 3, 5}) ExpectNoUsableTable(link, path, kDevToPcs, intent);
    ExpectNoUsableTable(link, path, kAbstract, 0);
}

TEST_F(TagChannelTest, GreyTrcOfACmykProfileIsRefused) {
    const auto path =
        CmykProfileWithA2B0(dir, "ktrc.icc", icctest::Curv({0, 65535}, false), "kTRC");
    CColorLink link(nullptr);
    ExpectNoUsableTable(link, path, kDevToPcs, 0);
    ExpectNoUsableTable(link, path, kPcsToDev, 0);
}

TEST_F(TagChannelTest, OneInputTableAsA2B0OfACmykProfileIsRefused) {
    const auto path = CmykProfileWithA2B0(dir, "mft2-one.icc", OneInputMft2());
    CColorLink link(nullptr);
    ExpectNoUsableTable(link, path, kDevToPcs, 0);
}

TEST_F(TagChannelTest, GreyTrcOfAGreyProfileServesBothWaysWithEitherConnectionSpace) {
    for (uint32_t pcs : {kXyz, kLab}) {
        ProfileSpec p;
        p.deviceClass = icSigDisplayClass;
        p.colorSpace = icSigGrayData;
        p.pcs = pcs;
        p.grayTrc = std::make_pair(int32_t(144179), uint32_t(32));
        const auto path = WriteProfile(dir, pcs == kXyz ? "gray-xyz.icc" : "gray-lab.icc", p);
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(path.c_str(), kDevToPcs, IntentPerceptual), 1);
        ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentRelative), 1);
        EXPECT_EQ(link.Tags().At(0).pFunc16->inputChan(), 1u);
        EXPECT_EQ(link.Tags().At(0).pFunc16->outputChan(), 3u);
        EXPECT_EQ(link.Tags().At(1).pFunc16->inputChan(), 3u);
        EXPECT_EQ(link.Tags().At(1).pFunc16->outputChan(), 1u);
    }
}

// ---------------------------------------------------------------------------------------------
// The fallbacks of a step still run after a refused table

TEST_F(TagChannelTest, PreviewTableOfFourInputsFallsBackToTheWayThroughTheDevice) {
    ProfileSpec p = CmykPrinter();
    p.tables.push_back(CmykToLab(icSigPreview0Tag, 2));
    const auto path = WriteProfile(dir, "pre0-four.icc", p);
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kPreview, IntentPerceptual), 1);
    EXPECT_EQ(link.GetLinkError(), 0u);
    ASSERT_EQ(link.Tags().GetCount(), 2u);
    EXPECT_EQ(link.Tags().At(0).InSpace, kLab);
    EXPECT_EQ(link.Tags().At(0).OutSpace, kCmyk);
    EXPECT_EQ(link.Tags().At(1).InSpace, kCmyk);
    EXPECT_EQ(link.Tags().At(1).OutSpace, kLab);
}

TEST_F(TagChannelTest, RgbProfileFallsBackToItsMatrixWhenItsA2BDoesNotFit) {
    // An RGB display on XYZ with colorants and curves, and an A2B0 of four inputs.
    CIccProfileGen1 gen(nullptr);
    gen.SetHeader(icSigDisplayClass, icSigRgbData, icSigXYZData, icPerceptual);
    gen.AddProfileDescriptionTag("matrix");
    gen.AddXYZTag(icSigRedColorantTag, 28547, 14555, 911);
    gen.AddXYZTag(icSigGreenColorantTag, 25245, 46945, 6307);
    gen.AddXYZTag(icSigBlueColorantTag, 9393, 4036, 46841);
    for (auto sig : {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag})
        gen.AddCurveTag(sig, 144179, 64);
    const TableSpec wrong = CmykToLab(icSigAToB0Tag, 2);
    const kvrtest::FuncTab tab = SpecTab(wrong);
    gen.AddLut16Tag(icSigAToB0Tag, tab);
    const std::wstring path = (dir / "matrix.icc").wstring();
    ASSERT_NE(gen.OnSaveDocument(path.c_str()), 0);

    CIccProfileUse use(nullptr);
    ASSERT_NE(use.Open(path.c_str()), 0);
    std::unique_ptr<CFunc_16Tab3Mft> model(use.CreateFromMatrixTRC());
    ASSERT_NE(model, nullptr);

    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kDevToPcs, IntentPerceptual), 1);
    const CColorTag& tag = link.Tags().At(0);
    EXPECT_EQ(tag.InSpace, kRgb);
    EXPECT_EQ(tag.OutSpace, kXyz);
    ASSERT_NE(tag.pFunc16, nullptr);
    ASSERT_EQ(tag.pFunc16->inputChan(), 3u);
    ASSERT_EQ(tag.pFunc16->outputChan(), 3u);
    for (uint16_t v : {0, 12345, 40000, 65535}) {
        const uint16_t rgb[3] = {v, uint16_t(65535 - v), uint16_t(v / 2)};
        uint16_t a[3] = {}, b[3] = {1, 1, 1};
        tag.pFunc16->Trn(rgb, a);
        model->Trn(rgb, b);
        EXPECT_EQ(std::vector<uint16_t>(a, a + 3), std::vector<uint16_t>(b, b + 3)) << v;
    }
}

// A colour space of which the library does not know the channel count cannot be matched
// against any table: such a step is refused too.
TEST_F(TagChannelTest, DeviceSpaceOfUnknownChannelCountIsRefused) {
    ProfileSpec p;
    p.deviceClass = icSigLinkClass;
    p.colorSpace = Sig("MCH4");
    p.pcs = icSigLabData;
    p.tables = {CmykToLab(icSigAToB0Tag, 2)};
    const auto path = WriteProfile(dir, "mch4.icc", p);
    CColorLink link(nullptr);
    ExpectNoUsableTable(link, path, kDevToPcs, 0);
}

// ---------------------------------------------------------------------------------------------
// CreateLink: what reaches it without AddProfile's check

namespace {
// A step as a caller could put it into the list: the table of `path`'s `sig`, declared to go
// between `in` and `out`.
std::unique_ptr<CColorTag> HandMadeTag(const TempDir& dir, const std::wstring& path, uint32_t sig,
                                       uint32_t in, uint32_t out) {
    const std::wstring none = (dir / "none.icc").wstring();
    auto tag = std::make_unique<CColorTag>(none.c_str(), kDevToPcs, IntentPerceptual, nullptr);
    EXPECT_EQ(tag->nError, 901u);
    StepFunc f = LoadStep(path, sig, in, out);
    EXPECT_NE(f.f, nullptr);
    tag->nError = 0;
    tag->InSpace = in;
    tag->OutSpace = out;
    tag->pFunc16 = std::move(f.f);
    return tag;
}
} // namespace

TEST_F(TagChannelTest, StepWhoseTableDoesNotFitItsSpacesIsRefusedByCreateLink) {
    ProfileSpec abst;
    abst.deviceClass = icSigAbstractClass;
    abst.colorSpace = icSigLabData;
    abst.tables = {PcsToPcs(icSigAToB0Tag, 2, [](double l) { return l; })};
    const auto lab = WriteProfile(dir, "abst.icc", abst);
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(lab.c_str(), kAbstract, IntentPerceptual), 1);
    // The step replaced by one that claims Lab to Lab but holds the printer's four-input A2B0.
    auto& list = const_cast<CColorLink::CColorTagList&>(link.Tags());
    list.RemoveAll();
    list.AddTail(HandMadeTag(dir, prn, icSigAToB0Tag, kLab, kLab));
    ExpectRefusedLink(link, kFmtLab, 3, kFmtLab, 3);
    EXPECT_EQ(link.GetLinkError(), 905u);
    EXPECT_EQ(link.Table16(), nullptr);
    EXPECT_EQ(link.Tags().GetCount(), 0u);
}

TEST_F(TagChannelTest, NeighbouringStepsWhoseTablesDoNotMeetAreRefusedByCreateLink) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link.AddProfile(prn.c_str(), kPcsToDev, IntentPerceptual), 1);
    // The printer's step replaced by one that claims Lab to CMYK but holds the four-input A2B0.
    auto& list = const_cast<CColorLink::CColorTagList&>(link.Tags());
    list.TruncateTo(1);
    list.AddTail(HandMadeTag(dir, prn, icSigAToB0Tag, kLab, kCmyk));
    ExpectRefusedLink(link, kFmtRgb, 3, kFmtCmyk, 4);
    EXPECT_EQ(link.GetLinkError(), 905u);
    EXPECT_EQ(link.Table16(), nullptr);
    EXPECT_EQ(link.Tags().GetCount(), 0u);
}

TEST_F(TagChannelTest, HandMadeStepsThatFitBuildTheSameTableAsTheProfiles) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    CColorLink byProfiles(nullptr);
    ASSERT_EQ(byProfiles.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(byProfiles.AddProfile(prn.c_str(), kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(byProfiles.CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);

    CColorLink byHand(nullptr);
    ASSERT_EQ(byHand.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(byHand.AddProfile(prn.c_str(), kPcsToDev, IntentPerceptual), 1);
    auto& list = const_cast<CColorLink::CColorTagList&>(byHand.Tags());
    const uint16_t black = list.At(1).BlackPoint();
    list.TruncateTo(1);
    list.AddTail(HandMadeTag(dir, prn, icSigBToA0Tag, kLab, kCmyk));
    list.At(1).SetBlackPoint(black);
    ASSERT_EQ(byHand.CreateLink(kFmtRgb, 3, kFmtCmyk, 4), 1);
    ASSERT_NE(byHand.Table16(), nullptr);
    EXPECT_TRUE(SameTable(byHand.Table16(), *byProfiles.Table16()));
}
