// Links without a table: the copying link of an empty chain, and a link whose build failed.
// Their pixel operations copy or do nothing, in every width and byte order; none of them
// reaches for a table that is not there.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "LinkTestUtil.h"
#include "colorlink/LinkSignatures.h"

using namespace linktest;

TEST(NativeLinkEmptyChain, BgrPixelsOnTheCopyingLinkLeaveTheDestination) {
    CColorLink link(nullptr);
    ASSERT_EQ(link.CreateLink(kFmtNColor, 3, kFmtNColor, 3), 1);
    ASSERT_EQ(link.Table16(), nullptr);
    const std::array<uint8_t, 9> src = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    std::array<uint8_t, 9> dst;
    dst.fill(0x3C);
    link.TrnBgrPixels8(src.data(), dst.data(), 3);
    for (auto v : dst) EXPECT_EQ(v, 0x3C);
}

TEST(NativeLinkEmptyChain, BgrPixelsOnALinkWhoseBuildFailedLeaveTheDestination) {
    CColorLink link(nullptr);
    ASSERT_EQ(link.CreateLink(kFmtNColor, 3, kFmtNColor, 4), 0);
    const std::array<uint8_t, 6> src = {1, 2, 3, 4, 5, 6};
    std::array<uint8_t, 8> dst;
    dst.fill(0xC3);
    link.TrnBgrPixels8(src.data(), dst.data(), 2);
    for (auto v : dst) EXPECT_EQ(v, 0xC3);
}

TEST(NativeLinkEmptyChain, CopyingLinkStillCopiesInBothWidths) {
    for (unsigned n : {1u, 3u, 4u, 6u}) {
        CColorLink link(nullptr);
        const unsigned fmt = n == 1 ? kFmtGamut : kFmtNColor;
        ASSERT_EQ(link.CreateLink(fmt, n, fmt, n), 1) << n;
        std::vector<uint16_t> src16(n * 5), dst16(n * 5, 0xA5A5);
        std::vector<uint8_t> src8(n * 5), dst8(n * 5, 0xA5), bgr(n * 5, 0x5A);
        for (size_t i = 0; i < src16.size(); ++i) {
            src16[i] = uint16_t(1000 * i + 7);
            src8[i] = uint8_t(11 * i + 3);
        }
        link.TrnPixels16(src16.data(), dst16.data(), 5);
        link.TrnPixels8(src8.data(), dst8.data(), 5);
        EXPECT_EQ(dst16, src16) << n;
        EXPECT_EQ(dst8, src8) << n;
        // The byte-order operation has no effect in this back-end, with or without a table.
        if (n == 3) {
            link.TrnBgrPixels8(src8.data(), bgr.data(), 5);
            EXPECT_EQ(bgr, std::vector<uint8_t>(n * 5, 0x5A));
        }
    }
}

TEST(NativeLinkEmptyChain, BgrPixelsOnAFourInputLinkStayWithinTheirWorkBuffer) {
    TempDir dir;
    GridSizes grids(-5, -4);
    const auto prn = WriteProfile(dir, "cmyk.icc", CmykPrinter());
    CColorLink link(nullptr);
    ASSERT_EQ(link.AddProfile(prn.c_str(), CMdlColorLink::ProfStepDevToPcs, IntentPerceptual), 1);
    ASSERT_EQ(link.CreateLink(CMdlColorLink::LinkFmtCmyk, 4, CMdlColorLink::LinkFmtLab, 3), 1);
    ASSERT_NE(link.Table16(), nullptr);
    ASSERT_EQ(link.Table16()->inputChan(), 4u);
    const std::array<uint8_t, 6> src = {10, 20, 30, 40, 50, 60};
    std::array<uint8_t, 6> dst;
    dst.fill(0x99);
    link.TrnBgrPixels8(src.data(), dst.data(), 2);
    for (auto v : dst) EXPECT_EQ(v, 0x99);
}
