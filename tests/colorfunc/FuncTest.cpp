#include <gtest/gtest.h>

#include "colorfunc/Func.h"

TEST(Func16, BaseAnswersZeroToTrnAndInvAndLeavesTheOutputUnchanged) {
    CFunc_16 f(3, 4);
    const uint16_t in[4] = {1, 2, 3, 4};
    uint16_t out[4] = {0xAAAA, 0xBBBB, 0xCCCC, 0xDDDD};
    EXPECT_EQ(f.Trn(in, out), 0);
    EXPECT_EQ(f.Inv(in, out), 0);
    EXPECT_EQ(out[0], 0xAAAA);
    EXPECT_EQ(out[1], 0xBBBB);
    EXPECT_EQ(out[2], 0xCCCC);
    EXPECT_EQ(out[3], 0xDDDD);
}

TEST(Func8, BaseAnswersZeroToTrnAndInvAndLeavesTheOutputUnchanged) {
    CFunc_8 f(2, 2);
    const uint8_t in[2] = {1, 2};
    uint8_t out[2] = {0x55, 0x66};
    EXPECT_EQ(f.Trn(in, out), 0);
    EXPECT_EQ(f.Inv(in, out), 0);
    EXPECT_EQ(out[0], 0x55);
    EXPECT_EQ(out[1], 0x66);
}
