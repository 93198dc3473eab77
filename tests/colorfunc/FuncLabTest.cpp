#include <gtest/gtest.h>

#include "colorfunc/FuncLab.h"

namespace {
// What the stated arithmetic gives for a or b with a positive factor: values at or above 128
// scale about 128, values below wrap in the unsigned product and end at 255.
int ExpectedAB(int v, int factor) {
    if (v < 128) return 255;
    const long long scaled = 128 + static_cast<long long>(v - 128) * factor / 65535;
    return scaled > 255 ? 255 : static_cast<int>(scaled);
}
} // namespace

TEST(FuncLab, Factor65535Keeps200And127Gives255) {
    CFuncLab f;
    EXPECT_EQ(f.chromaFactor(), 65535);
    const uint8_t in[3] = {50, 200, 127};
    uint8_t out[3] = {};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[0], 50);
    EXPECT_EQ(out[1], 200);
    EXPECT_EQ(out[2], 255);
    const uint8_t in2[3] = {50, 127, 200};
    EXPECT_EQ(f.Trn(in2, out), 1);
    EXPECT_EQ(out[1], 255);
    EXPECT_EQ(out[2], 200);
}

TEST(FuncLab, IsThreeToThreeWithDefaults) {
    CFuncLab f;
    EXPECT_EQ(f.inputChan(), 3u);
    EXPECT_EQ(f.outputChan(), 3u);
    EXPECT_EQ(f.gamma(), 1.0);
    EXPECT_EQ(f.chroma(), 1.0);
    EXPECT_EQ(f.gammaTab(), nullptr);
}

TEST(FuncLab, ValuesBelow128EndAt255ForAnyPositiveFactor) {
    for (double c : {1.0, 0.5, 0.25, 2.0}) {
        CFuncLab f;
        f.SetChroma(c);
        for (int v = 0; v < 256; ++v) {
            const uint8_t in[3] = {0, static_cast<uint8_t>(v), static_cast<uint8_t>(v)};
            uint8_t out[3] = {};
            ASSERT_EQ(f.Trn(in, out), 1);
            EXPECT_EQ(out[1], ExpectedAB(v, f.chromaFactor())) << c << " " << v;
            EXPECT_EQ(out[2], out[1]);
        }
    }
}

TEST(FuncLab, FactorZeroMakesEveryAandBNeutral) {
    CFuncLab f;
    f.SetChroma(0.0);
    EXPECT_EQ(f.chromaFactor(), 0);
    for (int v = 0; v < 256; ++v) {
        const uint8_t in[3] = {0, static_cast<uint8_t>(v), static_cast<uint8_t>(v)};
        uint8_t out[3] = {};
        f.Trn(in, out);
        EXPECT_EQ(out[1], 128);
        EXPECT_EQ(out[2], 128);
    }
}

TEST(FuncLab, SetChromaTruncatesTheFactor) {
    CFuncLab f;
    f.SetChroma(0.5);
    EXPECT_EQ(f.chroma(), 0.5);
    EXPECT_EQ(f.chromaFactor(), 32767); // 32767.5 truncated
    const uint8_t in[3] = {0, 200, 255};
    uint8_t out[3] = {};
    f.Trn(in, out);
    EXPECT_EQ(out[1], 128 + 72 * 32767 / 65535);  // 163
    EXPECT_EQ(out[2], 128 + 127 * 32767 / 65535); // 191
}

TEST(FuncLab, SetGammaAppliesATableToL) {
    CFuncLab f;
    f.SetGamma(1.0); // the current gamma: nothing happens
    EXPECT_EQ(f.gammaTab(), nullptr);
    f.SetGamma(2.0);
    ASSERT_NE(f.gammaTab(), nullptr);
    EXPECT_EQ(f.gamma(), 2.0);
    const uint8_t in[3] = {128, 128, 128};
    uint8_t out[3] = {};
    f.Trn(in, out);
    EXPECT_EQ(out[0], 64);
    EXPECT_EQ(out[1], 128);

    const CGammaTab* before = f.gammaTab();
    f.SetGamma(2.0);
    EXPECT_EQ(f.gammaTab(), before);

    f.SetGamma(1.0); // a change back still makes a table, the identity
    ASSERT_NE(f.gammaTab(), nullptr);
    f.Trn(in, out);
    EXPECT_EQ(out[0], 128);
}

TEST(FuncLab, InvIsNotDefined) {
    CFuncLab f;
    const uint8_t in[3] = {1, 2, 3};
    uint8_t out[3] = {9, 9, 9};
    EXPECT_EQ(f.Inv(in, out), 0);
    EXPECT_EQ(out[0], 9);
}

TEST(FuncLab, CopyBuildsItsOwnTable) {
    CFuncLab f;
    f.SetGamma(2.0);
    f.SetChroma(0.5);
    CFuncLab copy(f);
    ASSERT_NE(copy.gammaTab(), nullptr);
    EXPECT_NE(copy.gammaTab(), f.gammaTab());
    EXPECT_EQ(copy.gamma(), 2.0);
    EXPECT_EQ(copy.chromaFactor(), 32767);
    const uint8_t in[3] = {128, 200, 100};
    uint8_t a[3] = {}, b[3] = {};
    f.Trn(in, a);
    copy.Trn(in, b);
    EXPECT_EQ(a[0], b[0]);
    EXPECT_EQ(a[1], b[1]);
    EXPECT_EQ(a[2], b[2]);

    CFuncLab plain;
    CFuncLab plainCopy(plain);
    EXPECT_EQ(plainCopy.gammaTab(), nullptr);
}

TEST(FuncLab, AssignmentReplacesTheTableByTheSourcesState) {
    CFuncLab withTab;
    withTab.SetGamma(2.0);
    CFuncLab plain;
    CFuncLab target;
    target.SetGamma(0.5);
    target = plain;
    EXPECT_EQ(target.gammaTab(), nullptr);
    EXPECT_EQ(target.gamma(), 1.0);
    target = withTab;
    ASSERT_NE(target.gammaTab(), nullptr);
    EXPECT_NE(target.gammaTab(), withTab.gammaTab());
    EXPECT_EQ(target.gammaTab()->pTab()[128], 64);
    CFuncLab& self = target;
    target = self;
    ASSERT_NE(target.gammaTab(), nullptr);
    EXPECT_EQ(target.gammaTab()->pTab()[128], 64);
}
