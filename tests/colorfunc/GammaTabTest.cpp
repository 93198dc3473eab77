#include <gtest/gtest.h>

#include "colorfunc/GammaTab.h"

TEST(GammaTab, Gamma2At128Gives64TruncatedFrom64Point25) {
    CGammaTab tab(2.0);
    EXPECT_EQ(tab.pTab()[128], 64);
}

TEST(GammaTab, Gamma1IsTheIdentityOnBytes) {
    CGammaTab tab(1.0);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(tab.pTab()[i], i);
}

TEST(GammaTab, Gamma2IsTheTruncatedSquareForEveryEntry) {
    // i^2 / 255 is never within rounding distance of an integer except at 0 and 255, so the
    // integer quotient is the truncated value.
    CGammaTab tab(2.0);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(tab.pTab()[i], i * i / 255) << i;
}

TEST(GammaTab, Gamma05At64IsTruncatedNotRounded) {
    CGammaTab tab(0.5);
    EXPECT_EQ(tab.pTab()[64], 127); // sqrt(64 * 255) = 127.75
    EXPECT_EQ(tab.pTab()[0], 0);
    EXPECT_EQ(tab.pTab()[255], 255);
}
