// The gray-profile stage: gray through the tone curve to XYZ 1.15 on the D50 neutral axis,
// and back through the inverted curve.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "colorfunc/Func16GrayToXYZ.h"
#include "icc/IccRecords.h"

namespace {

// One host-order curv record with the given entries (0 entries: identity; 1: a u8Fixed8 gamma).
std::vector<uint32_t> CurveRecord(const std::vector<uint16_t>& entries) {
    std::vector<uint8_t> bytes(12 + 2 * (entries.size() + entries.size() % 2), 0);
    const uint32_t sig = icSigCurveType, count = uint32_t(entries.size());
    std::memcpy(bytes.data(), &sig, 4);
    std::memcpy(bytes.data() + 8, &count, 4);
    if (!entries.empty()) std::memcpy(bytes.data() + 12, entries.data(), 2 * entries.size());
    std::vector<uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), bytes.size());
    return words;
}

uint16_t Gray(const CFunc_16GrayToXYZ& f, uint16_t y) {
    const uint16_t in[3] = {0, y, 0};
    uint16_t out = 0;
    EXPECT_EQ(f.Trn(in, &out), 1);
    return out;
}

} // namespace

TEST(ColorimetricGray, LinearCurveFullGrayGivesTheD50WhiteFromY32767) {
    const auto linear = CurveRecord({});
    const CFunc_16GrayToXYZ f(linear.data(), 0);
    const uint16_t in = 65535;
    uint16_t out[3];
    EXPECT_EQ(f.Trn(&in, out), 1);
    EXPECT_EQ(out[0], 31594);
    EXPECT_EQ(out[1], 32767);
    EXPECT_EQ(out[2], 27029);
    // The same with a gamma of 1.0 (0x0100) and with a two-entry table.
    for (const auto& rec : {CurveRecord({0x0100}), CurveRecord({0, 65535})}) {
        const CFunc_16GrayToXYZ g(rec.data(), 0);
        g.Trn(&in, out);
        EXPECT_EQ(out[0], 31594);
        EXPECT_EQ(out[1], 32767);
        EXPECT_EQ(out[2], 27029);
    }
}

TEST(ColorimetricGray, XAndZComeFromTheHalvedValueBeforeTruncation) {
    const auto linear = CurveRecord({});
    CFunc_16GrayToXYZ f(linear.data(), 0);
    f.SetSkipInputTab(true); // y is the input itself
    const uint16_t in = 1001;
    uint16_t out[3];
    f.Trn(&in, out);
    EXPECT_EQ(out[1], 500); // 1001 >> 1
    EXPECT_EQ(out[0], 482); // 500.5 * 0.9642 = 482.58
    EXPECT_EQ(out[2], 412); // 500.5 * 0.8249 = 412.86
    const uint16_t black = 0;
    f.Trn(&black, out);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(out[2], 0);
}

TEST(ColorimetricGray, ForwardFollowsTheCurveAtTwelveBits) {
    // Gamma 2.0 (0x0200): Y = (g / 65535)^2 on the 16-bit scale, then halved.
    const auto gamma2 = CurveRecord({0x0200});
    const CFunc_16GrayToXYZ f(gamma2.data(), 0);
    for (unsigned g = 0; g < 65536; g += 97) {
        const uint16_t in = static_cast<uint16_t>(g);
        uint16_t out[3];
        f.Trn(&in, out);
        // Exactly the stage's arithmetic on what the input curve answers.
        uint16_t y = 0;
        f.FuncInputTab().Trn(&in, &y);
        EXPECT_EQ(out[1], y >> 1) << g;
        EXPECT_EQ(out[0], static_cast<uint16_t>(y / 2.0 * 0.9642)) << g;
        EXPECT_EQ(out[2], static_cast<uint16_t>(y / 2.0 * 0.8249)) << g;
        // And the curve is the gamma, read at the 12-bit cell of g: within the rounding of
        // the curve's samples, its resampling and the truncation of the stage.
        const double s = (g >> 4) / 4095.0;
        const double yRef = s * s * 65535.0;
        EXPECT_NEAR(out[1], yRef / 2, 2.0) << g;
        EXPECT_NEAR(out[0], yRef / 2 * 0.9642, 2.0) << g;
        EXPECT_NEAR(out[2], yRef / 2 * 0.8249, 2.0) << g;
    }
}

TEST(ColorimetricGray, ChannelCountsFollowTheDirection) {
    const auto linear = CurveRecord({});
    const CFunc_16GrayToXYZ forward(linear.data(), 0);
    const CFunc_16GrayToXYZ inverse(linear.data(), 1);
    EXPECT_EQ(forward.inputChan(), 1u);
    EXPECT_EQ(forward.outputChan(), 3u);
    EXPECT_EQ(forward.inverse(), 0);
    EXPECT_EQ(inverse.inputChan(), 3u);
    EXPECT_EQ(inverse.outputChan(), 1u);
    EXPECT_NE(inverse.inverse(), 0);
    EXPECT_EQ(forward.clutEntries(), 0u);
    EXPECT_EQ(inverse.clutEntries(), 0u);
}

TEST(ColorimetricGray, InverseDoublesYAndLimitsFrom32768) {
    const auto linear = CurveRecord({});
    CFunc_16GrayToXYZ f(linear.data(), 1);
    f.SetSkipOutputTab(true); // o is Y itself
    EXPECT_EQ(Gray(f, 0), 0);
    EXPECT_EQ(Gray(f, 1000), 2000);
    EXPECT_EQ(Gray(f, 32767), 65534);
    EXPECT_EQ(Gray(f, 32768), 65535);
    EXPECT_EQ(Gray(f, 65535), 65535);
    // X and Z play no part.
    const uint16_t in[3] = {65535, 1000, 65535};
    uint16_t out = 0;
    f.Trn(in, &out);
    EXPECT_EQ(out, 2000);
}

TEST(ColorimetricGray, InverseReadsOnlyTheStartOfTheInvertedCurve) {
    // The inverted curve holds the forward curve's Inv of the raw numbers 0..4095, so with a
    // linear curve its values end near 4095: every Y beyond that lies above the curve and
    // reads as 65535, and smaller Y are stretched by about 16 before the doubling.
    const auto linear = CurveRecord({});
    const CFunc_16GrayToXYZ f(linear.data(), 1);
    EXPECT_EQ(f.FuncOutputTab().entries(), 4096u);
    // The raw numbers 0..15 share the forward curve's first 12-bit cell, so the inverted
    // curve starts with 16 zeros; reading it backward, 0 answers the last of them: 15, on the
    // 16-bit scale 15 * 65535 / 4095 = 240, doubled.
    EXPECT_EQ(Gray(f, 0), 480);
    EXPECT_EQ(Gray(f, 5000), 65535);
    EXPECT_EQ(Gray(f, 32767), 65535);
    EXPECT_NEAR(Gray(f, 1000), 1000 * 16 * 2, 600);
    EXPECT_NEAR(Gray(f, 500), 500 * 16 * 2, 600);
}

TEST(ColorimetricGray, CloneIsADeepCopyOfTheSameClass) {
    const auto gamma = CurveRecord({0x01C0}); // 1.75
    const CFunc_16GrayToXYZ f(gamma.data(), 0);
    std::unique_ptr<CFunc_16TabBaseMft> clone(f.CreateClone());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetRuntimeClass(), RUNTIME_CLASS(CFunc_16GrayToXYZ));
    for (unsigned g = 0; g < 65536; g += 101) {
        const uint16_t in = static_cast<uint16_t>(g);
        uint16_t a[3], b[3];
        f.Trn(&in, a);
        clone->Trn(&in, b);
        EXPECT_EQ(a[0], b[0]);
        EXPECT_EQ(a[1], b[1]);
        EXPECT_EQ(a[2], b[2]);
    }
}

TEST(ColorimetricGray, NoInverseAndNoCreateObject) {
    const auto linear = CurveRecord({});
    CFunc_16GrayToXYZ f(linear.data(), 0);
    f.InitMftTrn(); // nothing to prepare
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out[3] = {7, 8, 9};
    EXPECT_EQ(f.Inv(in, out), 0);
    EXPECT_EQ(out[0], 7);
    const CRuntimeClass* cls = f.GetRuntimeClass();
    EXPECT_STREQ(cls->m_lpszClassName, "CFunc_16GrayToXYZ");
    EXPECT_EQ(cls->m_pBaseClass, RUNTIME_CLASS(CFunc_16TabBaseMft));
    EXPECT_EQ(cls->CreateObject(), nullptr);
    EXPECT_EQ(CRuntimeClass::FromName("CFunc_16GrayToXYZ"), nullptr);
}
