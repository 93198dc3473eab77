#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "TestFuncs.h"
#include "colorfunc/WidthAdapters.h"

using namespace functest;

TEST(Func16To8, AroundIdentityMapsEvery8BitValueToItself) {
    Probe p;
    TestFunc16 identity(p, "id", 1, 1);
    CFunc16To8 f(identity);
    for (unsigned v = 0; v < 256; ++v) {
        const uint8_t in[1] = {static_cast<uint8_t>(v)};
        uint8_t out[1] = {0};
        ASSERT_EQ(f.Trn(in, out), 1);
        EXPECT_EQ(out[0], v);
        out[0] = 0;
        ASSERT_EQ(f.Inv(in, out), 1);
        EXPECT_EQ(out[0], v);
    }
}

TEST(Func16To8, WidensBy257BeforeTheWrappedFunction) {
    Probe p;
    TestFunc16 shift(p, "shift", 1, 1, 0x100); // one step of the high byte
    CFunc16To8 f(shift);
    const uint8_t in[1] = {0x12};
    uint8_t out[1] = {0};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[0], 0x13);
    // 0x12 * 257 = 0x1212; a shift of 0xED reaches 0x12FF, whose low byte is truncated away.
    TestFunc16 small(p, "small", 1, 1, 0xED);
    CFunc16To8 g(small);
    EXPECT_EQ(g.Trn(in, out), 1);
    EXPECT_EQ(out[0], 0x12);
}

TEST(Func8To16, AroundIdentityMaps0x12FFTo0x1212NotToItself) {
    Probe p;
    TestFunc8 identity(p, "id", 1, 1);
    CFunc8To16 f(identity);
    const uint16_t in[1] = {0x12FF};
    uint16_t out[1] = {0};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[0], 0x1212);
    out[0] = 0;
    EXPECT_EQ(f.Inv(in, out), 1);
    EXPECT_EQ(out[0], 0x1212);
}

TEST(Func8To16, CountsAreThoseOfTheWrappedFunctionAndResultsArePassedOn) {
    Probe p;
    TestFunc8 wrapped(p, "w", 2, 4, 1, 0, 1);
    CFunc8To16 f(wrapped);
    EXPECT_EQ(f.inputChan(), 2u);
    EXPECT_EQ(f.outputChan(), 4u);
    const uint16_t in4[4] = {0x0100, 0x0200, 0x0300, 0x04FF};
    uint16_t out4[4] = {};
    EXPECT_EQ(f.Trn(in4, out4), 0); // the wrapped Trn answers 0
    EXPECT_EQ(out4[0], 0x0202);
    EXPECT_EQ(out4[1], 0x0303);
    EXPECT_EQ(out4[2], 0x0202);
    uint16_t out2[2] = {};
    EXPECT_EQ(f.Inv(in4, out2), 1); // Inv narrows four samples and widens two
    EXPECT_EQ(out2[0], 0x0000);
    EXPECT_EQ(out2[1], 0x0101);
    EXPECT_EQ(p.trnCalls, 1);
    EXPECT_EQ(p.invCalls, 1);
}

TEST(Func8To16, CopySharesTheWrappedFunctionAndWorksAlone) {
    Probe p;
    TestFunc8 wrapped(p, "w", 1, 1, 2);
    CFunc8To16 f(wrapped);
    CFunc8To16 copy(f);
    EXPECT_EQ(copy.func(), &wrapped);
    const uint16_t in[1] = {0x1000};
    uint16_t out[1] = {};
    EXPECT_EQ(copy.Trn(in, out), 1);
    EXPECT_EQ(out[0], 0x1212);
}

TEST(FuncLab8ToLab16, NeutralAandBStayNeutralNeverUsingTimes257) {
    Probe p;
    TestFunc8 identity(p, "id", 3, 3);
    CFuncLab8ToLab16 f(identity);
    EXPECT_EQ(f.inputChan(), 3u);
    EXPECT_EQ(f.outputChan(), 3u);
    const uint16_t in[3] = {0xFF00, 0x8000, 0x8000};
    uint16_t out[3] = {};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[1], 0x8000);
    EXPECT_EQ(out[2], 0x8000);
    EXPECT_NE(out[1], 128 * 257);
    EXPECT_EQ(out[0], 0xFF00); // 255 << 8, not 255 * 257
    out[1] = out[2] = 0;
    EXPECT_EQ(f.Inv(in, out), 1);
    EXPECT_EQ(out[1], 0x8000);
    EXPECT_EQ(out[2], 0x8000);
}

TEST(FuncLab8ToLab16, WrappedFunctionSeesRoundedHighBytesAndResultShiftedBy8) {
    // An 8-bit function that moves a by one step: the 16-bit result moves by 256.
    Probe p;
    TestFunc8 shift(p, "shift", 3, 3, 1, 1, 0);
    CFuncLab8ToLab16 f(shift);
    const uint16_t in[3] = {0x1080, 0x807F, 0x0000};
    uint16_t out[3] = {};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[0], (0x11 + 1) << 8); // 0x1080 + 128 rounds up to 0x11
    EXPECT_EQ(out[1], (0x80 + 1) << 8); // 0x807F + 128 stays at 0x80
    EXPECT_EQ(out[2], 1 << 8);
    EXPECT_EQ(f.Inv(in, out), 0); // the wrapped Inv answers 0 and that is passed on
    EXPECT_EQ(out[0], (0x11 - 1) << 8);
}

TEST(L8To16, TrnMaps65280To65535AndClipsAbove) {
    CL8To16 f;
    const uint16_t in[3] = {65280, 65281, 65535};
    uint16_t out[3] = {};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[0], 65535);
    EXPECT_EQ(out[1], 65535);
    EXPECT_EQ(out[2], 65535);
}

TEST(L8To16, IsThreeToThree) {
    CL8To16 f;
    EXPECT_EQ(f.inputChan(), 3u);
    EXPECT_EQ(f.outputChan(), 3u);
}

TEST(L8To16, TrnIsTimes257Over256RoundedHalfUpForEveryValue) {
    CL8To16 f;
    for (uint32_t v = 0; v < 65536; ++v) {
        const uint16_t in[3] = {static_cast<uint16_t>(v), 0, 0};
        uint16_t out[3] = {};
        ASSERT_EQ(f.Trn(in, out), 1);
        // floor(v * 257 / 256 + 1/2) in integers: (2 * 257 * v + 256) / 512.
        uint32_t expected = (2u * 257u * v + 256u) / 512u;
        if (expected > 65535u) expected = 65535u;
        ASSERT_EQ(out[0], expected) << v;
    }
}

TEST(L8To16, InvIsTimes256Over257RoundedHalfUpForEveryValue) {
    CL8To16 f;
    for (uint32_t v = 0; v < 65536; ++v) {
        const uint16_t in[3] = {0, static_cast<uint16_t>(v), 0};
        uint16_t out[3] = {};
        ASSERT_EQ(f.Inv(in, out), 1);
        // floor(v * 256 / 257 + 1/2) in integers: (2 * 256 * v + 257) / 514.
        ASSERT_EQ(out[1], (512u * v + 257u) / 514u) << v;
    }
    const uint16_t in[3] = {65535, 32768, 257};
    uint16_t out[3] = {};
    f.Inv(in, out);
    EXPECT_EQ(out[0], 65280);
    EXPECT_EQ(out[1], 32640); // 32640.498...
    EXPECT_EQ(out[2], 256);
}

TEST(L8To16, IntegerRoundingsEqualTheFloorOfTheDoubleQuotientsForEveryValue) {
    for (uint32_t v = 0; v < 65536; ++v) {
        const double up = std::floor(v * 257.0 * 0.00390625 + 0.5);
        const uint16_t upExpected = up > 65535.0 ? 65535 : static_cast<uint16_t>(up);
        ASSERT_EQ(L8ScaleToFull(static_cast<uint16_t>(v)), upExpected) << v;
        const auto down = static_cast<uint16_t>(std::floor(v * 256.0 / 257 + 0.5));
        ASSERT_EQ(FullToL8Scale(static_cast<uint16_t>(v)), down) << v;
    }
}

TEST(Func16CopyInOut, ThreeToFourGivesAZeroFourthSample) {
    CFunc16CopyInOut f(3, 4);
    const uint16_t in[3] = {11, 22, 33};
    uint16_t out[4] = {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[0], 11);
    EXPECT_EQ(out[1], 22);
    EXPECT_EQ(out[2], 33);
    EXPECT_EQ(out[3], 0);
}

TEST(Func16CopyInOut, FourToThreeDropsTheFourth) {
    CFunc16CopyInOut f(4, 3);
    const uint16_t in[4] = {11, 22, 33, 44};
    uint16_t out[4] = {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[0], 11);
    EXPECT_EQ(out[1], 22);
    EXPECT_EQ(out[2], 33);
    EXPECT_EQ(out[3], 0xFFFF); // only three samples are written
}

TEST(Func16CopyInOut, InvPadsAndDropsTheOtherWay) {
    CFunc16CopyInOut f(4, 3);
    const uint16_t in[3] = {11, 22, 33};
    uint16_t out[4] = {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
    EXPECT_EQ(f.Inv(in, out), 1);
    EXPECT_EQ(out[2], 33);
    EXPECT_EQ(out[3], 0);

    CFunc16CopyInOut g(3, 4);
    const uint16_t in4[4] = {11, 22, 33, 44};
    out[3] = 0xFFFF;
    EXPECT_EQ(g.Inv(in4, out), 1);
    EXPECT_EQ(out[2], 33);
    EXPECT_EQ(out[3], 0xFFFF);
}
