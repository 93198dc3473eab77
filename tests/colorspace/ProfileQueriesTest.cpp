// Profile queries: the ink limit measured on a profile's own B2A tables, media white and
// illuminant, and the information text of a profile selection.
#include <gtest/gtest.h>

#include "colorspace/ColorSpaceTestUtil.h"
#include "colorspace/ProfileQueries.h"
#include "support/TestData.h"

using namespace cstest;
using kvrtest::TableSpec;

namespace {

// A B2A table on 3 inputs and `out` outputs whose grid is zero but at the last node (all
// inputs at 1), which holds `peak` as 16-bit samples.
TableSpec Peak(uint32_t sig, int bits, unsigned out, std::vector<uint16_t> peak,
               unsigned points = 2) {
    TableSpec t;
    t.sig = sig;
    t.bits = bits;
    t.out = out;
    t.points = points;
    t.node = [out, peak](const double* x, uint16_t* y) {
        const bool last = x[0] == 1.0 && x[1] == 1.0 && x[2] == 1.0;
        for (unsigned c = 0; c < out; ++c) y[c] = last ? peak[c] : 0;
    };
    return t;
}

std::wstring Write(const TempDir& dir, const std::string& name, std::vector<TableSpec> tables,
                   uint32_t space = icSigCmykData) {
    kvrtest::ProfileSpec spec;
    spec.colorSpace = space;
    spec.tables = std::move(tables);
    return kvrtest::WriteProfile(dir, name, spec);
}

} // namespace

TEST(ProfileQueries, MatrixShaperRgbProfileHasInkLimitZero) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("sRGB.icc"));
    EXPECT_EQ(0, GetProfileInkLimit(nullptr, kvrtest::CorpusProfile("sRGB.icc").wstring().c_str()));
}

TEST(ProfileQueries, InkLimitOfUnreadableFileIsZero) {
    TempDir dir("kvr-q");
    EXPECT_EQ(0, GetProfileInkLimit(nullptr, (dir / "missing.icc").wstring().c_str()));
    EXPECT_EQ(0, GetProfileInkLimit(nullptr, nullptr));
}

TEST(ProfileQueries, EightBitInkSumIsRoundedUp) {
    TempDir dir("kvr-q");
    // 8-bit samples are the 16-bit ones divided by 257.
    const std::wstring p255 =
        Write(dir, "a.icc", {Peak(icSigBToA0Tag, 8, 4, {255 * 257, 0, 0, 0})});
    const std::wstring p256 =
        Write(dir, "b.icc", {Peak(icSigBToA0Tag, 8, 4, {255 * 257, 1 * 257, 0, 0})});
    EXPECT_EQ(100, GetProfileInkLimit(nullptr, p255.c_str()));
    EXPECT_EQ(101, GetProfileInkLimit(nullptr, p256.c_str()));
}

TEST(ProfileQueries, SixteenBitInkSumIsRoundedUp) {
    TempDir dir("kvr-q");
    // The output curves read 16-bit samples at 12 bits: a small excess is taken by them.
    const std::wstring full = Write(dir, "a.icc", {Peak(icSigBToA1Tag, 16, 4, {65535, 0, 0, 0})});
    const std::wstring over = Write(dir, "b.icc", {Peak(icSigBToA1Tag, 16, 4, {65535, 600, 0, 0})});
    EXPECT_EQ(100, GetProfileInkLimit(nullptr, full.c_str()));
    EXPECT_EQ(101, GetProfileInkLimit(nullptr, over.c_str()));
}

TEST(ProfileQueries, AllInksFullAtOneNodeGive400) {
    TempDir dir("kvr-q");
    const std::wstring p =
        Write(dir, "a.icc", {Peak(icSigBToA0Tag, 16, 4, {65535, 65535, 65535, 65535}, 33)});
    EXPECT_EQ(400, GetProfileInkLimit(nullptr, p.c_str()));
}

TEST(ProfileQueries, InkLimitIsTheGreatestOverTheThreeTablesAndBothWidths) {
    TempDir dir("kvr-q");
    const std::wstring p = Write(dir, "a.icc",
                                 {Peak(icSigBToA0Tag, 16, 4, {65535, 0, 0, 0}),
                                  Peak(icSigBToA1Tag, 8, 4, {255 * 257, 255 * 257, 128 * 257, 0}),
                                  Peak(icSigBToA2Tag, 16, 4, {65535, 65535, 0, 0})});
    // 255 + 255 + 128 = 638 of 255: 250.2 %, rounded up.
    EXPECT_EQ(251, GetProfileInkLimit(nullptr, p.c_str()));
}

TEST(ProfileQueries, OutputCurvesApplyToTheNodes) {
    TempDir dir("kvr-q");
    TableSpec t = Peak(icSigBToA0Tag, 16, 4, {65535, 65535, 0, 0});
    // Output curves halving every channel.
    t.outCurve = [](double v, unsigned) { return kvrtest::U16(v / 2); };
    t.outEntries = 256;
    const std::wstring p = Write(dir, "a.icc", {t});
    const int limit = GetProfileInkLimit(nullptr, p.c_str());
    EXPECT_GE(limit, 100);
    EXPECT_LE(limit, 101);
}

TEST(ProfileQueries, CorpusPrinterProfileInkLimitIsPlausible) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("default_cmyk.icc"));
    const int limit =
        GetProfileInkLimit(nullptr, kvrtest::CorpusProfile("default_cmyk.icc").wstring().c_str());
    EXPECT_GT(limit, 100);
    EXPECT_LE(limit, 400);
}

TEST(ProfileQueries, MediaWhiteWithBothPointersNullIsOneForAReadableFile) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("sRGB.icc"));
    const std::wstring p = kvrtest::CorpusProfile("sRGB.icc").wstring();
    EXPECT_EQ(1, GetProfileMediaWhite(nullptr, p.c_str(), nullptr, nullptr));
    TempDir dir("kvr-q");
    EXPECT_EQ(0, GetProfileMediaWhite(nullptr, (dir / "missing.icc").wstring().c_str(), nullptr,
                                      nullptr));
}

TEST(ProfileQueries, MediaWhiteOfYOne65536IsReportedAs100) {
    TempDir dir("kvr-q");
    kvrtest::ProfileSpec spec;
    spec.mediaWhite = icXYZNumber{63189, 65536, 54060};
    const std::wstring p = kvrtest::WriteProfile(dir, "w.icc", spec);
    double white[3] = {-1, -1, -1}, ill[3] = {-1, -1, -1};
    ASSERT_EQ(1, GetProfileMediaWhite(nullptr, p.c_str(), white, ill));
    EXPECT_DOUBLE_EQ(100.0, white[1]);
    EXPECT_DOUBLE_EQ(63189 * 100.0 / 65536, white[0]);
    EXPECT_DOUBLE_EQ(54060 * 100.0 / 65536, white[2]);
    // The generator writes the D50 illuminant into the header.
    EXPECT_NEAR(96.42, ill[0], 0.01);
    EXPECT_NEAR(100.0, ill[1], 0.01);
    EXPECT_NEAR(82.49, ill[2], 0.01);
}

TEST(ProfileQueries, MissingMediaWhiteFailsButTheIlluminantIsStillWritten) {
    TempDir dir("kvr-q");
    const std::wstring p = kvrtest::WriteProfile(dir, "n.icc", kvrtest::ProfileSpec{});
    double white[3] = {-1, -1, -1}, ill[3] = {-1, -1, -1};
    EXPECT_EQ(0, GetProfileMediaWhite(nullptr, p.c_str(), white, ill));
    EXPECT_EQ(-1, white[0]);
    EXPECT_NEAR(100.0, ill[1], 0.01);
    EXPECT_EQ(1, GetProfileMediaWhite(nullptr, p.c_str(), nullptr, ill));
}

TEST(ProfileQueries, InfoTextWithEmptyPathClearsTheTextAndLeavesTheRenderingChoice) {
    CProfileInfoText info(nullptr);
    for (const wchar_t* path : {L"", static_cast<const wchar_t*>(nullptr)}) {
        const SProfileInfo r = info.UpdateInfoText(path);
        EXPECT_TRUE(r.bUpdate);
        EXPECT_EQ(L"", r.sText);
        EXPECT_FALSE(r.bRenderingChoiceOpen.has_value());
    }
}

TEST(ProfileQueries, InfoTextShowsTheDescriptionAndClosesTheChoiceForADeviceLink) {
    TempDir dir("kvr-q");
    Gen printer(icSigOutputClass, icSigCmykData, icSigLabData);
    printer.AddProfileDescriptionTag("My printer");
    Gen link(icSigLinkClass, icSigRgbData, icSigCmykData);
    link.AddTextTag(icTagSignature(icSigTvr6Tag), "My link");
    CProfileInfoText info(nullptr);
    SProfileInfo r = info.UpdateInfoText(printer.Save(dir, "p.icc").c_str());
    EXPECT_EQ(L"My printer", r.sText);
    ASSERT_TRUE(r.bRenderingChoiceOpen.has_value());
    EXPECT_TRUE(*r.bRenderingChoiceOpen);
    r = info.UpdateInfoText(link.Save(dir, "l.icc").c_str());
    EXPECT_EQ(L"My link", r.sText);
    ASSERT_TRUE(r.bRenderingChoiceOpen.has_value());
    EXPECT_FALSE(*r.bRenderingChoiceOpen);
}

TEST(ProfileQueries, InfoTextOfAFileThatDoesNotLoadIsEmptyAndLeavesTheChoice) {
    TempDir dir("kvr-q");
    CProfileInfoText info(nullptr);
    const SProfileInfo r = info.UpdateInfoText((dir / "missing.icc").wstring().c_str());
    EXPECT_TRUE(r.bUpdate);
    EXPECT_EQ(L"", r.sText);
    EXPECT_FALSE(r.bRenderingChoiceOpen.has_value());
}

TEST(ProfileQueries, InfoTextSwitchedOffChangesNothing) {
    CProfileInfoText info(nullptr);
    EXPECT_TRUE(info.GetShowInfo());
    info.SetShowInfo(false);
    const SProfileInfo r =
        info.UpdateInfoText(kvrtest::CorpusProfile("sRGB.icc").wstring().c_str());
    EXPECT_FALSE(r.bUpdate);
    EXPECT_EQ(L"", r.sText);
    EXPECT_FALSE(r.bRenderingChoiceOpen.has_value());
}

TEST(ProfileQueries, B2AWithNoOutputsOrMoreThanFifteenCountsZero) {
    TempDir dir("kvr-q");
    for (unsigned out : {0u, 16u, 17u, 40u}) {
        // An mft2 record in host order: 3 inputs, 2 grid points, 2-entry curves, grid of 0.
        std::vector<uint8_t> tag = TagHead(icSigLut16Type);
        tag.resize(52, 0);
        tag[8] = 3;
        tag[9] = uint8_t(out);
        tag[10] = 2;
        for (int i = 0; i < 3; ++i) { // identity matrix
            const int32_t one = 65536;
            std::memcpy(tag.data() + 12 + 4 * (4 * i), &one, 4);
        }
        const uint16_t entries = 2;
        std::memcpy(tag.data() + 48, &entries, 2);
        std::memcpy(tag.data() + 50, &entries, 2);
        tag.resize(52 + 3 * 2 * 2 + 8 * out * 2 + out * 2 * 2, 0);
        Gen gen;
        gen.Raw(icSigBToA0Tag, tag);
        const std::wstring p = gen.Save(dir, "o" + std::to_string(out) + ".icc");
        EXPECT_EQ(0, GetProfileInkLimit(nullptr, p.c_str())) << out;
        CIccColorProfile rec;
        ASSERT_EQ(1, rec.LoadIccFile(p.c_str(), nullptr)) << out;
        EXPECT_EQ(icSigCmykData, rec.DeviceColorSpaceSignature()) << out;
    }
}
