// The native link's steps: what AddProfile reads from a profile for each step kind and intent,
// the preview retry, the black point of a step, and what a failed step leaves behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

#include "LinkTestUtil.h"
#include "colorfunc/Func16GrayToXYZ.h"
#include "colorlink/LinkSignatures.h"
#include "support/Files.h"

using namespace linktest;

namespace {

// Black-preserving intents stand for these plain ones.
constexpr std::array<int, 14> kReduced = {0, 1, 2, 3, 4, 5, 1, 2, 3, 5, 1, 2, 3, 5};

enmRenderingIntent Intent(int i) {
    return static_cast<enmRenderingIntent>(i);
}

// The order in which a step looks for its tag, by plain intent: index 0, 1, 2 of the family
// (A2Bx, B2Ax, prex), kTRC last for the first two families.
std::vector<int> TagOrderOf(int plainIntent) {
    switch (plainIntent) {
    case 0:
    case 1:
        return {0, 1, 2};
    case 3:
        return {2, 0, 1};
    default: // 2, 4, 5
        return {1, 0, 2};
    }
}

// Grid points by tag index, so that the table a step took can be told by its size.
constexpr unsigned kPointsOf[3] = {2, 3, 4};

// The black of a grey walk through a preview table: the least lightness that the table gives
// for 200 neutral greys of lightness (100 + 65535 i) / 199, i = 0..199; 0 when nothing came
// below 65535.
uint16_t GreyWalkBlack(const CFunc_16& preview, bool xyz) {
    uint16_t black = 65535;
    for (int64_t i = 0; i < 200; ++i) {
        const uint16_t lab[3] = {uint16_t((100 + 65535 * i) / 199), 32768, 32768};
        uint16_t in[3], out[3], back[3];
        if (xyz)
            LabXYZ16.Trn(lab, in);
        else
            std::copy(lab, lab + 3, in);
        preview.Trn(in, out);
        if (xyz) {
            LabXYZ16.Inv(out, back);
            std::copy(back, back + 3, out);
        }
        black = std::min(black, out[0]);
    }
    return black == 65535 ? 0 : black;
}

// The black of a profile's tables: the connection space's black sent through `toDevice` and
// back through `toPcs`, read as lightness.
uint16_t RoundTripBlack(const std::wstring& path, uint32_t b2a, uint32_t a2b, uint32_t device,
                        uint32_t pcs) {
    StepFunc there = LoadStep(path, b2a, pcs, device);
    StepFunc back = LoadStep(path, a2b, device, pcs);
    if (!there.f || !back.f) return 0;
    uint16_t black[16] = {};
    if (pcs == kLab) black[1] = black[2] = 32768;
    uint16_t dev[16] = {}, out[16] = {};
    there.f->Trn(black, dev);
    back.f->Trn(dev, out);
    if (pcs == kLab) return out[0];
    uint16_t lab[3];
    LabXYZ16.Inv(out, lab);
    return lab[0];
}

// A preview lightness that falls to its least value in the middle of the scale and rises
// again, so that only a walk over the whole scale finds it.
double Valley(double l) {
    return 0.25 + 0.6 * std::abs(l - 0.45);
}

class ProfileChainTest : public ::testing::Test {
protected:
    ResidentLink resident;
    GridSizes grids{-5, -4}; // nothing here depends on the link's grid
    TempDir dir;
};

} // namespace

TEST_F(ProfileChainTest, StepsAreAppendedInOrderWithTheirSpaces) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link.AddProfile(prn.c_str(), kPcsToDev, IntentPerceptual), 1);
    EXPECT_EQ(link.GetLinkError(), 0u);
    ASSERT_EQ(link.Tags().GetCount(), 2u);
    EXPECT_EQ(link.Tags().At(0).InSpace, kRgb);
    EXPECT_EQ(link.Tags().At(0).OutSpace, kLab);
    EXPECT_EQ(link.Tags().At(1).InSpace, kLab);
    EXPECT_EQ(link.Tags().At(1).OutSpace, kCmyk);
    EXPECT_EQ(link.Tags().At(1).clutEntries(), 27u); // B2A0 of 3 points
    EXPECT_EQ(link.Tags().At(0).nError, 0u);
}

TEST_F(ProfileChainTest, MissingFileFailsWith901AndLeavesTheList) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput());
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    const std::wstring missing = (dir / "no-such.icc").wstring();
    EXPECT_EQ(link.AddProfile(missing.c_str(), kPcsToDev, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 901u);
    EXPECT_EQ(link.Tags().GetCount(), 1u);
    // A file that is no profile at all counts the same.
    const auto junk = dir / "junk.icc";
    kvrtest::WriteBytes(junk, kvrtest::Bytes(300, 0x5A));
    EXPECT_EQ(link.AddProfile(junk.wstring().c_str(), kPcsToDev, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 901u);
    EXPECT_EQ(link.Tags().GetCount(), 1u);
}

// Every intent, reduced first, picks the first present table of its order; with none of the
// three present the step has no table. Checked for A2B, B2A and preview tables on profiles
// holding each subset of the three.
TEST_F(ProfileChainTest, EachIntentTakesTheFirstPresentTagOfItsOrder) {
    const std::vector<std::set<int>> subsets = {{0, 1, 2}, {1, 2}, {0, 2}, {0, 1}, {2}, {1}, {0}};
    const uint32_t a2b[3] = {icSigAToB0Tag, icSigAToB1Tag, icSigAToB2Tag};
    const uint32_t b2a[3] = {icSigBToA0Tag, icSigBToA1Tag, icSigBToA2Tag};
    const uint32_t pre[3] = {icSigPreview0Tag, icSigPreview1Tag, icSigPreview2Tag};
    int n = 0;
    for (const auto& present : subsets) {
        ProfileSpec p;
        for (int i : present) {
            p.tables.push_back(CmykToLab(a2b[i], kPointsOf[i]));
            p.tables.push_back(LabToCmyk(b2a[i], kPointsOf[i]));
            p.tables.push_back(PcsToPcs(pre[i], kPointsOf[i], [](double l) { return l; }));
        }
        const auto path = WriteProfile(dir, "order" + std::to_string(n++) + ".icc", p);
        for (int intent = 0; intent < 14; ++intent) {
            int expected = -1;
            for (int i : TagOrderOf(kReduced[size_t(intent)]))
                if (present.count(i)) {
                    expected = i;
                    break;
                }
            ASSERT_GE(expected, 0);
            const unsigned pts = kPointsOf[expected];
            struct {
                int kind;
                unsigned entries;
                uint32_t in, out;
            } const cases[] = {{kDevToPcs, pts * pts * pts * pts, kCmyk, kLab},
                               {kPcsToDev, pts * pts * pts, kLab, kCmyk},
                               {kPreview, pts * pts * pts, kLab, kLab}};
            for (const auto& c : cases) {
                CColorLink link(nullptr);
                ASSERT_EQ(link.AddProfile(path.c_str(), c.kind, Intent(intent)), 1);
                ASSERT_EQ(link.Tags().GetCount(), 1u);
                const CColorTag& tag = link.Tags().At(0);
                EXPECT_EQ(tag.clutEntries(), c.entries)
                    << "kind " << c.kind << " intent " << intent << " subset " << n - 1;
                EXPECT_EQ(tag.InSpace, c.in);
                EXPECT_EQ(tag.OutSpace, c.out);
            }
        }
    }
}

TEST_F(ProfileChainTest, IntentTwelveOnAPreviewStepLooksForPre2First) {
    ProfileSpec p;
    p.tables = {PcsToPcs(icSigPreview0Tag, 2, [](double l) { return l; }),
                PcsToPcs(icSigPreview1Tag, 3, [](double l) { return l; }),
                PcsToPcs(icSigPreview2Tag, 4, [](double l) { return l; })};
    const auto path = WriteProfile(dir, "pre.icc", p);
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kPreview, IntentSaturationKeepPlane), 1);
    ASSERT_EQ(link.Tags().GetCount(), 1u);
    EXPECT_EQ(link.Tags().At(0).clutEntries(), 64u); // pre2, 4 points
    // Saturation's black-preserving intents do not compensate black.
    EXPECT_FALSE(link.Tags().At(0).bCompensateBlack);
}

TEST_F(ProfileChainTest, PreviewWithoutPreviewTagsBecomesTwoStepsThroughTheDevice) {
    ProfileSpec p;
    p.tables = {CmykToLab(icSigAToB0Tag, 2), CmykToLab(icSigAToB1Tag, 3),
                LabToCmyk(icSigBToA0Tag, 2), LabToCmyk(icSigBToA2Tag, 4)};
    const auto path = WriteProfile(dir, "nopre.icc", p);
    // Into the device with the caller's intent (saturation: B2A2), back always relative
    // colorimetric (A2B1), whatever the caller asked.
    for (int intent : {3, 8, 12}) {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(path.c_str(), kPreview, Intent(intent)), 1) << intent;
        EXPECT_EQ(link.GetLinkError(), 0u);
        ASSERT_EQ(link.Tags().GetCount(), 2u);
        const CColorTag& a = link.Tags().At(0);
        const CColorTag& b = link.Tags().At(1);
        EXPECT_EQ(a.InSpace, kLab);
        EXPECT_EQ(a.OutSpace, kCmyk);
        EXPECT_EQ(a.clutEntries(), 64u);
        EXPECT_EQ(b.InSpace, kCmyk);
        EXPECT_EQ(b.OutSpace, kLab);
        EXPECT_EQ(b.clutEntries(), 81u);
    }
    {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(path.c_str(), kPreview, IntentPerceptual), 1);
        ASSERT_EQ(link.Tags().GetCount(), 2u);
        EXPECT_EQ(link.Tags().At(0).clutEntries(), 8u);  // B2A0
        EXPECT_EQ(link.Tags().At(1).clutEntries(), 81u); // still A2B1
    }
    {
        // Black point compensation and absolute colorimetry belong to the way into the device
        // only.
        CColorLink bpc(nullptr), abs(nullptr);
        ASSERT_EQ(bpc.AddProfile(path.c_str(), kPreview, IntentRelativeBpcKeepK), 1);
        ASSERT_EQ(bpc.Tags().GetCount(), 2u);
        EXPECT_TRUE(bpc.Tags().At(0).bCompensateBlack);
        EXPECT_FALSE(bpc.Tags().At(1).bCompensateBlack);
        ASSERT_EQ(abs.AddProfile(path.c_str(), kPreview, IntentAbsolute), 1);
        ASSERT_EQ(abs.Tags().GetCount(), 2u);
        EXPECT_NE(abs.Tags().At(0).pLabRelAbs, nullptr);
        EXPECT_EQ(abs.Tags().At(1).pLabRelAbs, nullptr);
    }
}

TEST_F(ProfileChainTest, PreviewStepsPlayedThroughTheDeviceJoinAChainAsItsLastSpace) {
    ProfileSpec p;
    p.tables = {CmykToLab(icSigAToB1Tag, 2), LabToCmyk(icSigBToA0Tag, 2)};
    const auto prn = WriteProfile(dir, "nopre.icc", p);
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput(2));
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link.AddProfile(prn.c_str(), kPreview, IntentPerceptual), 1);
    ASSERT_EQ(link.Tags().GetCount(), 3u);
    // The chain still starts in RGB and now ends in Lab.
    EXPECT_EQ(link.CreateLink(CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtLab, 3), 1);
    EXPECT_NE(link.Table16(), nullptr);
}

TEST_F(ProfileChainTest, PreviewWithoutPreviewOrB2ATagsFailsWith904AndLeavesTheList) {
    ProfileSpec p;
    p.tables = {CmykToLab(icSigAToB0Tag, 2), CmykToLab(icSigAToB1Tag, 2)};
    const auto path = WriteProfile(dir, "a2bonly.icc", p);
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput(2));
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    const CColorTag* first = &link.Tags().At(0);
    EXPECT_EQ(link.AddProfile(path.c_str(), kPreview, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 904u);
    ASSERT_EQ(link.Tags().GetCount(), 1u);
    EXPECT_EQ(&link.Tags().At(0), first);
}

TEST_F(ProfileChainTest, PreviewWithoutPreviewOrA2BTagsFailsWith904AndLeavesTheList) {
    ProfileSpec p;
    p.tables = {LabToCmyk(icSigBToA0Tag, 2)};
    const auto path = WriteProfile(dir, "b2aonly.icc", p);
    CColorLink link(nullptr);
    EXPECT_EQ(link.AddProfile(path.c_str(), kPreview, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 904u);
    EXPECT_EQ(link.Tags().GetCount(), 0u);
    // The failed step set no space: an empty link is still an identity candidate.
    EXPECT_EQ(link.CreateLink(CMdlColorLink::LinkFmtNColor, 4, CMdlColorLink::LinkFmtNColor, 4), 1);
}

TEST_F(ProfileChainTest, PreviewOfAFileThatCannotBeOpenedIsNotRetried) {
    CColorLink link(nullptr);
    const std::wstring missing = (dir / "none.icc").wstring();
    EXPECT_EQ(link.AddProfile(missing.c_str(), kPreview, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 901u);
    EXPECT_EQ(link.Tags().GetCount(), 0u);
}

TEST_F(ProfileChainTest, GrayTrcServesTheWayIntoTheDeviceWhenThereIsNoB2A) {
    ProfileSpec p;
    p.deviceClass = icSigDisplayClass;
    p.colorSpace = icSigGrayData;
    p.pcs = icSigXYZData;
    p.grayTrc = std::make_pair(int32_t(144179), uint32_t(64)); // gamma 2.2 in 64 entries
    const auto path = WriteProfile(dir, "gray.icc", p);

    // The curve the step must be built from, read independently of the link.
    CIccProfileUse use(nullptr);
    ASSERT_NE(use.Open(path.c_str()), 0);
    icTag tag{};
    const uint32_t* block = use.FindTagData(icSigGrayTRCTag, &tag);
    ASSERT_NE(block, nullptr);
    const CFunc_16GrayToXYZ inverse(block, 1), forward(block, 0);

    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentRelative), 1);
    ASSERT_EQ(link.AddProfile(path.c_str(), kDevToPcs, IntentRelative), 1);
    const CColorTag& toGray = link.Tags().At(0);
    const CColorTag& fromGray = link.Tags().At(1);
    EXPECT_EQ(toGray.InSpace, kXyz);
    EXPECT_EQ(toGray.OutSpace, kGray);
    EXPECT_EQ(fromGray.InSpace, kGray);
    EXPECT_EQ(fromGray.OutSpace, kXyz);
    auto* g2 = dynamic_cast<const CFunc_16GrayToXYZ*>(toGray.pFunc16.get());
    auto* g1 = dynamic_cast<const CFunc_16GrayToXYZ*>(fromGray.pFunc16.get());
    ASSERT_NE(g2, nullptr);
    ASSERT_NE(g1, nullptr);
    // Out of the connection space the curve is read backwards, into it forwards.
    EXPECT_EQ(g2->inverse(), 1);
    EXPECT_EQ(g1->inverse(), 0);
    for (unsigned v = 0; v <= 65535; v += 1111) {
        const uint16_t xyz[3] = {uint16_t(v / 3), uint16_t(v / 2), uint16_t(v / 4)};
        uint16_t a = 1, b = 2;
        g2->Trn(xyz, &a);
        inverse.Trn(xyz, &b);
        EXPECT_EQ(a, b) << v;
        const uint16_t grey = uint16_t(v);
        uint16_t fa[3] = {}, fb[3] = {1, 1, 1};
        g1->Trn(&grey, fa);
        forward.Trn(&grey, fb);
        EXPECT_EQ(std::vector<uint16_t>(fa, fa + 3), std::vector<uint16_t>(fb, fb + 3)) << v;
    }
}

TEST_F(ProfileChainTest, GamutStepWithoutGamtTagFailsWith904) {
    ProfileSpec p;
    p.colorSpace = icSigRgbData;
    p.tables = {RgbToLab(icSigAToB0Tag, 2), LabToRgb(icSigBToA0Tag, 2)};
    const auto path = WriteProfile(dir, "rgbprinter.icc", p);
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput(2));
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    EXPECT_EQ(link.AddProfile(path.c_str(), kGamut, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 904u);
    EXPECT_EQ(link.Tags().GetCount(), 1u);
}

TEST_F(ProfileChainTest, GamutStepGoesFromTheConnectionSpaceToTheGamutAnswer) {
    ProfileSpec p;
    p.tables = {CmykToLab(icSigAToB0Tag, 2), LabToCmyk(icSigBToA0Tag, 2), GamutTable(3)};
    const auto path = WriteProfile(dir, "gamt.icc", p);
    for (int intent : {0, 1, 2, 3, 5, 13}) {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(path.c_str(), kGamut, Intent(intent)), 1);
        EXPECT_EQ(link.Tags().At(0).InSpace, kLab);
        EXPECT_EQ(link.Tags().At(0).OutSpace, Sig("gamt"));
        EXPECT_EQ(link.Tags().At(0).clutEntries(), 27u);
        EXPECT_EQ(link.Tags().At(0).pLabRelAbs, nullptr);
    }
}

TEST_F(ProfileChainTest, AbstractStepTakesA2B0OverTheConnectionSpaceWhateverTheIntent) {
    ProfileSpec p;
    p.deviceClass = icSigAbstractClass;
    p.colorSpace = icSigLabData;
    p.tables = {PcsToPcs(icSigAToB0Tag, 2, [](double l) { return l; }),
                PcsToPcs(icSigAToB1Tag, 3, [](double l) { return l; }),
                PcsToPcs(icSigAToB2Tag, 4, [](double l) { return l; })};
    const auto path = WriteProfile(dir, "abst.icc", p);
    for (int intent = 0; intent < 14; ++intent) {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(path.c_str(), kAbstract, Intent(intent)), 1);
        EXPECT_EQ(link.Tags().At(0).clutEntries(), 8u) << intent;
        EXPECT_EQ(link.Tags().At(0).InSpace, kLab);
        EXPECT_EQ(link.Tags().At(0).OutSpace, kLab);
        // Not a step out of the connection space in the sense of absolute colorimetry.
        EXPECT_EQ(link.Tags().At(0).pLabRelAbs, nullptr);
    }
}

TEST_F(ProfileChainTest, AbsoluteIntentUndoesTheMediaWhiteOnlyOnStepsOutOfTheConnectionSpace) {
    const icXYZNumber white = {60000, 62000, 50000};
    ProfileSpec lab = CmykPrinter();
    lab.mediaWhite = white;
    lab.tables.push_back(GamutTable(2));
    lab.tables.push_back(PcsToPcs(icSigPreview1Tag, 2, [](double l) { return l; }));
    ProfileSpec xyz = CmykPrinter();
    xyz.pcs = icSigXYZData;
    xyz.mediaWhite = white;
    const auto labPath = WriteProfile(dir, "lab.icc", lab);
    const auto xyzPath = WriteProfile(dir, "xyz.icc", xyz);

    const uint16_t probe[3] = {30000, 20000, 40000};
    auto sameAs = [&](const CFunc_16* f, const CFunc_16& expected) {
        ASSERT_NE(f, nullptr);
        uint16_t a[3], b[3];
        f->Trn(probe, a);
        expected.Trn(probe, b);
        EXPECT_EQ(std::vector<uint16_t>(a, a + 3), std::vector<uint16_t>(b, b + 3));
    };
    for (int kind : {kPcsToDev, kPreview, kGamut}) {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(labPath.c_str(), kind, IntentAbsolute), 1) << kind;
        const CColorTag& t = link.Tags().At(0);
        EXPECT_EQ(t.MediaWhite.X, white.X);
        EXPECT_EQ(t.MediaWhite.Y, white.Y);
        EXPECT_EQ(t.MediaWhite.Z, white.Z);
        EXPECT_NE(dynamic_cast<const CLabRelAbs*>(t.pLabRelAbs.get()), nullptr) << kind;
        EXPECT_EQ(t.pXYZRelAbs, nullptr);
        sameAs(t.pLabRelAbs.get(), CLabRelAbs(white));
    }
    {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(xyzPath.c_str(), kPcsToDev, IntentAbsolute), 1);
        const CColorTag& t = link.Tags().At(0);
        EXPECT_EQ(t.pLabRelAbs, nullptr);
        EXPECT_NE(dynamic_cast<const CXYZRelAbs*>(t.pXYZRelAbs.get()), nullptr);
        sameAs(t.pXYZRelAbs.get(), CXYZRelAbs(white));
    }
    // Into the connection space never, not even from a Lab or XYZ colour space.
    ProfileSpec labSpace;
    labSpace.deviceClass = icSigColorSpaceClass;
    labSpace.colorSpace = icSigLabData;
    labSpace.pcs = icSigXYZData;
    labSpace.mediaWhite = white;
    labSpace.tables = {PcsToPcs(icSigAToB0Tag, 2, [](double l) { return l; })};
    ProfileSpec xyzSpace = labSpace;
    xyzSpace.colorSpace = icSigXYZData;
    xyzSpace.pcs = icSigLabData;
    const auto labSpacePath = WriteProfile(dir, "labspace.icc", labSpace);
    const auto xyzSpacePath = WriteProfile(dir, "xyzspace.icc", xyzSpace);
    for (const auto* path : {&labSpacePath, &xyzSpacePath, &xyzPath}) {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(path->c_str(), kDevToPcs, IntentAbsolute), 1);
        EXPECT_TRUE(IsPcsSpace(link.Tags().At(0).InSpace) || path == &xyzPath);
        EXPECT_EQ(link.Tags().At(0).pLabRelAbs, nullptr);
        EXPECT_EQ(link.Tags().At(0).pXYZRelAbs, nullptr);
    }
    // Nor an abstract step.
    {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(labSpacePath.c_str(), kAbstract, IntentAbsolute), 1);
        EXPECT_EQ(link.Tags().At(0).pLabRelAbs, nullptr);
        EXPECT_EQ(link.Tags().At(0).pXYZRelAbs, nullptr);
    }
    // Other intents never.
    for (int intent : {0, 1, 2, 3, 5}) {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(labPath.c_str(), kPcsToDev, Intent(intent)), 1);
        EXPECT_EQ(link.Tags().At(0).pLabRelAbs, nullptr) << intent;
    }
}

TEST_F(ProfileChainTest, MediaWhiteIsD50WithoutAWhitePointTag) {
    const auto path = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentAbsolute), 1);
    const CColorTag& t = link.Tags().At(0);
    EXPECT_EQ(t.MediaWhite.X, 63189);
    EXPECT_EQ(t.MediaWhite.Y, 65536);
    EXPECT_EQ(t.MediaWhite.Z, 54060);
}

TEST_F(ProfileChainTest, OnlyTheRelativeIntentWithCompensationCompensatesBlack) {
    const auto path = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    for (int intent = 0; intent < 14; ++intent) {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, Intent(intent)), 1);
        EXPECT_EQ(link.Tags().At(0).bCompensateBlack, kReduced[size_t(intent)] == 5) << intent;
    }
}

TEST_F(ProfileChainTest, AnEightBitTableIsKeptAsItIsUntilTheBuild) {
    const auto path = WriteProfile(dir, "rgb8.icc", RgbInput(5, 8));
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kDevToPcs, IntentPerceptual), 1);
    const CColorTag& t = link.Tags().At(0);
    EXPECT_NE(dynamic_cast<const CFunc_8Tab3Mft*>(t.pFunc8.get()), nullptr);
    EXPECT_EQ(t.pFunc16, nullptr);
    EXPECT_EQ(t.bFrom8Bit, 0);
    EXPECT_EQ(t.clutEntries(), 125u);
}

TEST_F(ProfileChainTest, AFailedStepInTheMiddleLeavesTheChainGoingOn) {
    const auto rgb = WriteProfile(dir, "rgb.icc", RgbInput(3));
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    const std::wstring missing = (dir / "missing.icc").wstring();

    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    EXPECT_EQ(link.AddProfile(missing.c_str(), kPcsToDev, IntentPerceptual), 0);
    EXPECT_EQ(link.GetLinkError(), 901u);
    EXPECT_EQ(link.AddProfile(prn.c_str(), kGamut, IntentPerceptual), 0); // no gamt tag
    EXPECT_EQ(link.GetLinkError(), 904u);
    EXPECT_EQ(link.Tags().GetCount(), 1u);
    ASSERT_EQ(link.AddProfile(prn.c_str(), kPcsToDev, IntentPerceptual), 1);
    EXPECT_EQ(link.GetLinkError(), 0u);
    ASSERT_EQ(link.Tags().GetCount(), 2u);
    ASSERT_EQ(link.CreateLink(CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4), 1);

    CColorLink clean(nullptr);
    ASSERT_EQ(clean.AddProfile(rgb.c_str(), kDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(clean.AddProfile(prn.c_str(), kPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(clean.CreateLink(CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4), 1);
    ASSERT_NE(clean.Table16(), nullptr);
    EXPECT_TRUE(SameTable(link.Table16(), *clean.Table16()));
}

// ---------------------------------------------------------------------------------------------
// Black point

TEST_F(ProfileChainTest, BlackPointSendsTheConnectionSpaceBlackIntoTheDeviceAndBack) {
    const auto path = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    // B2A0 is the perceptual way in, A2B1 the relative way back.
    const uint16_t expected = RoundTripBlack(path, icSigBToA0Tag, icSigAToB1Tag, kCmyk, kLab);
    // 0.97 * (1 - 0.1 * (0.85 + 0.85 + 0.74) - 0.62) of full scale, give or take the curves.
    EXPECT_NEAR(expected, 0.97 * 0.136 * 65535, 40);
    for (int kind : {kDevToPcs, kPcsToDev, kPreview}) {
        CColorLink link(nullptr);
        ASSERT_EQ(link.AddProfile(path.c_str(), kind, IntentRelative), 1);
        EXPECT_EQ(link.Tags().At(0).BlackPoint(), expected) << kind;
    }
}

TEST_F(ProfileChainTest, BlackPointOfAnXyzProfileIsReadBackAsLightness) {
    ProfileSpec p = CmykPrinter();
    p.pcs = icSigXYZData;
    const auto path = WriteProfile(dir, "xyz.icc", p);
    const uint16_t expected = RoundTripBlack(path, icSigBToA0Tag, icSigAToB1Tag, kCmyk, kXyz);
    EXPECT_GT(expected, 0);
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentRelative), 1);
    EXPECT_EQ(link.Tags().At(0).BlackPoint(), expected);
}

TEST_F(ProfileChainTest, BlackPointIsComputedEvenWhenTheStepHasNoTable) {
    const auto path = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    const CColorTag tag(path.c_str(), kGamut, IntentRelative, nullptr);
    EXPECT_EQ(tag.nError, 904u);
    EXPECT_EQ(tag.InSpace, icSigNone);
    EXPECT_EQ(tag.OutSpace, icSigNone);
    EXPECT_EQ(tag.BlackPoint(), RoundTripBlack(path, icSigBToA0Tag, icSigAToB1Tag, kCmyk, kLab));
    EXPECT_GT(tag.BlackPoint(), 0);
}

// A "5CLR" profile whose tables are those of a CMYK printer: the round trip would give a black,
// but n-colour device spaces take their black only from a preview table.
TEST_F(ProfileChainTest, NColourDeviceSpaceWithoutPreviewTagsHasNoBlackPoint) {
    ProfileSpec p = CmykPrinter();
    p.colorSpace = icSigCmykData;
    const auto cmyk = WriteProfile(dir, "cmyk.icc", p);
    const uint16_t roundTrip = RoundTripBlack(cmyk, icSigBToA0Tag, icSigAToB1Tag, kCmyk, kLab);
    ASSERT_GT(roundTrip, 0);
    for (const char* space : {"5CLR", "6CLR", "7CLR", "8CLR", "9CLR", "ACLR", "BCLR", "CCLR",
                              "DCLR", "ECLR", "FCLR", "XCLR"}) {
        p.colorSpace = SigOf(space);
        const auto path = WriteProfile(dir, std::string(space) + ".icc", p);
        // The CMYK tables don't fit the space, so the step itself has no table; its black
        // point is computed all the same.
        const CColorTag tag(path.c_str(), kPcsToDev, IntentRelative, nullptr);
        EXPECT_EQ(tag.BlackPoint(), 0) << space;
    }
    // The spaces of two to four colours are not among them.
    for (const char* space : {"2CLR", "3CLR", "4CLR"}) {
        p.colorSpace = SigOf(space);
        const auto path = WriteProfile(dir, std::string(space) + ".icc", p);
        const CColorTag tag(path.c_str(), kPcsToDev, IntentRelative, nullptr);
        EXPECT_EQ(tag.BlackPoint(), roundTrip) << space;
    }
}

TEST_F(ProfileChainTest, NColourDeviceSpaceTakesItsBlackFromTheGreyWalkOfPre1) {
    ProfileSpec p = CmykPrinter(); // the round trip would give a black of about 0.13
    p.colorSpace = icSig6colorData;
    p.tables.push_back(PcsToPcs(icSigPreview0Tag, 2, [](double) { return 0.9; }));
    p.tables.push_back(PcsToPcs(icSigPreview1Tag, 3, Valley));
    const auto path = WriteProfile(dir, "6clr.icc", p);
    StepFunc pre1 = LoadStep(path, icSigPreview1Tag, kLab, kLab);
    ASSERT_NE(pre1.f, nullptr);
    const uint16_t expected = GreyWalkBlack(*pre1.f, false);
    // The table's nodes at 0, 1/2 and 1 hold 0.52, 0.28 and 0.58: the walk's least value lies
    // near the middle node.
    EXPECT_GT(expected, 0.28 * 65535 - 40);
    EXPECT_LT(expected, 0.31 * 65535);
    // The step itself has no table (the CMYK B2A doesn't fit six inks); the black point is
    // computed all the same.
    const CColorTag tag(path.c_str(), kPcsToDev, IntentRelative, nullptr);
    EXPECT_EQ(tag.BlackPoint(), expected);
}

TEST_F(ProfileChainTest, GreyWalkOnAnXyzPreviewGoesThroughLab) {
    ProfileSpec p;
    p.colorSpace = icSig5colorData;
    p.pcs = icSigXYZData;
    p.tables = {LabToInks(icSigBToA0Tag, 2, 5),
                PcsToPcs(icSigPreview1Tag, 3, [](double l) { return 0.05 + 0.3 * l; })};
    const auto path = WriteProfile(dir, "5clrxyz.icc", p);
    StepFunc pre1 = LoadStep(path, icSigPreview1Tag, kXyz, kXyz);
    ASSERT_NE(pre1.f, nullptr);
    const uint16_t expected = GreyWalkBlack(*pre1.f, true);
    EXPECT_GT(expected, 0);
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentRelative), 1);
    EXPECT_EQ(link.Tags().At(0).BlackPoint(), expected);
}

TEST_F(ProfileChainTest, DeviceProfileWithoutTheWayBackTakesItsBlackFromThePreview) {
    ProfileSpec p;
    p.tables = {LabToCmyk(icSigBToA0Tag, 2), PcsToPcs(icSigPreview1Tag, 3, Valley)};
    const auto path = WriteProfile(dir, "noa2b.icc", p);
    StepFunc pre1 = LoadStep(path, icSigPreview1Tag, kLab, kLab);
    ASSERT_NE(pre1.f, nullptr);
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentPerceptual), 1);
    EXPECT_EQ(link.Tags().At(0).BlackPoint(), GreyWalkBlack(*pre1.f, false));
    EXPECT_GT(link.Tags().At(0).BlackPoint(), 0);
}

TEST_F(ProfileChainTest, GreyWalkThatNeverComesBelowWhiteGivesNoBlackPoint) {
    ProfileSpec p;
    p.colorSpace = icSig5colorData;
    p.tables = {LabToInks(icSigBToA0Tag, 2, 5),
                PcsToPcs(icSigPreview1Tag, 2, [](double) { return 1.0; })};
    const auto path = WriteProfile(dir, "white.icc", p);
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(path.c_str(), kPcsToDev, IntentPerceptual), 1);
    EXPECT_EQ(link.Tags().At(0).BlackPoint(), 0);
}
