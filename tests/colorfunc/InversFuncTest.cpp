#include <gtest/gtest.h>

#include <type_traits>

#include "TestFuncs.h"
#include "colorfunc/InversFunc.h"

using namespace functest;

TEST(InversFunc16, Around4To3FunctionReports3InputsAnd4Outputs) {
    Probe p;
    TestFunc16 f(p, "f", 4, 3);
    CInversFunc_16 inv(f);
    EXPECT_EQ(inv.inputChan(), 3u);
    EXPECT_EQ(inv.outputChan(), 4u);
}

TEST(InversFunc16, TrnIsTheWrappedInvAndInvTheWrappedTrn) {
    Probe p;
    TestFunc16 f(p, "f", 4, 3, 100, 1, 0);
    CInversFunc_16 inv(f);
    const uint16_t in3[3] = {1000, 2000, 3000};
    uint16_t out4[4] = {};
    EXPECT_EQ(inv.Trn(in3, out4), 0); // f has no inverse, and that answer is passed on
    EXPECT_EQ(out4[0], 900);
    EXPECT_EQ(out4[3], 900); // f's Inv reads its inputs round, so the fourth repeats the first
    EXPECT_EQ(p.invCalls, 1);
    EXPECT_EQ(p.trnCalls, 0);

    const uint16_t in4[4] = {5, 6, 7, 8};
    uint16_t out3[3] = {};
    EXPECT_EQ(inv.Inv(in4, out3), 1);
    EXPECT_EQ(out3[2], 107);
    EXPECT_EQ(p.trnCalls, 1);
}

TEST(InversFunc16, ReferenceIsNotDeleted) {
    Probe p;
    TestFunc16 f(p, "f", 3, 3);
    { CInversFunc_16 inv(f); }
    EXPECT_EQ(p.destroyed, 0);
}

TEST(InversFunc16, PointerIsDeletedOnce) {
    Probe p;
    { CInversFunc_16 inv(new TestFunc16(p, "f", 3, 3)); }
    EXPECT_EQ(p.destroyed, 1);
}

TEST(InversFunc8, PointerIsDeletedAndDirectionsAreSwapped) {
    Probe p;
    {
        CInversFunc_8 inv(new TestFunc8(p, "f", 1, 2, 7));
        EXPECT_EQ(inv.inputChan(), 2u);
        EXPECT_EQ(inv.outputChan(), 1u);
        const uint8_t in[2] = {50, 60};
        uint8_t out[2] = {};
        EXPECT_EQ(inv.Trn(in, out), 1);
        EXPECT_EQ(out[0], 43);
        EXPECT_EQ(inv.Inv(in, out), 1);
        EXPECT_EQ(out[1], 57);
    }
    EXPECT_EQ(p.destroyed, 1);
}

TEST(InversFunc, IsNotCopyable) {
    EXPECT_FALSE(std::is_copy_constructible_v<CInversFunc_16>);
    EXPECT_FALSE(std::is_copy_constructible_v<CInversFunc_8>);
}
