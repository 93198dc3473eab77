#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "TestFuncs.h"
#include "colorfunc/ConcatFunc.h"

using namespace functest;

namespace {

template <class C> struct ConcatOwnership : ::testing::Test {
    using Sample = typename C::Sample;
    using Test = TTestFunc<Sample>;
    Probe pf, pg; // f is applied first, g second
};
using ConcatTypes = ::testing::Types<CConcatFunc_8, CConcatFunc_16>;
TYPED_TEST_SUITE(ConcatOwnership, ConcatTypes);

// The functions given by reference live in an outer scope, so what the concatenation deletes
// is seen before they go.
TYPED_TEST(ConcatOwnership, TwoReferencesDeleteNothing) {
    typename TestFixture::Test f(this->pf, "f", 3, 3), g(this->pg, "g", 3, 3);
    { TypeParam c(g, f); }
    EXPECT_EQ(this->pf.destroyed, 0);
    EXPECT_EQ(this->pg.destroyed, 0);
}

TYPED_TEST(ConcatOwnership, OneReferenceDeletesNothing) {
    typename TestFixture::Test f(this->pf, "f", 3, 3);
    { TypeParam c(f); }
    EXPECT_EQ(this->pf.destroyed, 0);
}

TYPED_TEST(ConcatOwnership, ReferenceThenPointerDeletesOnlyThePointer) {
    typename TestFixture::Test g(this->pg, "g", 3, 3);
    { TypeParam c(g, new typename TestFixture::Test(this->pf, "f", 3, 3)); }
    EXPECT_EQ(this->pf.destroyed, 1);
    EXPECT_EQ(this->pg.destroyed, 0);
}

TYPED_TEST(ConcatOwnership, TwoPointersDeleteBothFirstThenSecond) {
    Probe log;
    {
        TypeParam c(new typename TestFixture::Test(log, "g", 3, 3),
                    new typename TestFixture::Test(log, "f", 3, 3));
    }
    EXPECT_EQ(log.destroyed, 2);
    EXPECT_EQ(log.log, (std::vector<std::string>{"~f", "~g"}));
}

TYPED_TEST(ConcatOwnership, OnePointerDeletesItOnce) {
    { TypeParam c(new typename TestFixture::Test(this->pf, "f", 3, 3)); }
    EXPECT_EQ(this->pf.destroyed, 1);
}

TYPED_TEST(ConcatOwnership, PointerThenReferenceDeletesOnlyThePointer) {
    typename TestFixture::Test f(this->pf, "f", 3, 3);
    { TypeParam c(new typename TestFixture::Test(this->pg, "g", 3, 3), f); }
    EXPECT_EQ(this->pf.destroyed, 0);
    EXPECT_EQ(this->pg.destroyed, 1);
}

TYPED_TEST(ConcatOwnership, DeletingTheOutermostReleasesAWholeChain) {
    using Base = typename TypeParam::Base;
    Probe p;
    Base* chain = new TypeParam(new typename TestFixture::Test(p, "a", 3, 3));
    chain = new TypeParam(new typename TestFixture::Test(p, "b", 3, 3), chain);
    chain = new TypeParam(new typename TestFixture::Test(p, "c", 3, 3), chain);
    delete chain;
    EXPECT_EQ(p.destroyed, 3);
    EXPECT_EQ(p.log, (std::vector<std::string>{"~a", "~b", "~c"}));
}

TYPED_TEST(ConcatOwnership, IsNotCopyable) {
    EXPECT_FALSE(std::is_copy_constructible_v<TypeParam>);
    EXPECT_FALSE(std::is_copy_assignable_v<TypeParam>);
}

} // namespace

TEST(ConcatFunc16, TrnAppliesTheSecondArgumentFirst) {
    Probe p;
    TestFunc16 f(p, "f", 2, 3, 1), g(p, "g", 3, 1, 1000);
    CConcatFunc_16 c(g, f);
    const uint16_t in[2] = {7, 9};
    uint16_t out[1] = {0};
    EXPECT_EQ(c.Trn(in, out), 1);
    EXPECT_EQ(out[0], 7 + 1 + 1000);
    EXPECT_EQ(p.log, (std::vector<std::string>{"f.Trn", "g.Trn"}));
}

TEST(ConcatFunc16, InvRunsTheSecondArgumentFirst) {
    Probe p;
    TestFunc16 f(p, "f", 3, 3, 1), g(p, "g", 3, 3, 1000);
    CConcatFunc_16 c(g, f);
    const uint16_t in[3] = {5000, 6000, 7000};
    uint16_t out[3] = {};
    EXPECT_EQ(c.Inv(in, out), 1);
    EXPECT_EQ(out[0], 5000 - 1001);
    EXPECT_EQ(out[1], 6000 - 1001);
    EXPECT_EQ(out[2], 7000 - 1001);
    EXPECT_EQ(p.log, (std::vector<std::string>{"g.Inv", "f.Inv"}));
}

TEST(ConcatFunc16, InvFailsWhenTheSecondPartHasNoInverseAndStillCallsTheFirst) {
    Probe pf, pg;
    TestFunc16 f(pf, "f", 3, 3, 1), g(pg, "g", 3, 3, 10, 1, 0);
    CConcatFunc_16 c(g, f);
    const uint16_t in[3] = {100, 200, 300};
    uint16_t out[3] = {};
    EXPECT_EQ(c.Inv(in, out), 0);
    EXPECT_EQ(pg.invCalls, 1);
    EXPECT_EQ(pf.invCalls, 1);
    // The part that failed still wrote; what reached out is its result through f.
    EXPECT_EQ(out[0], 100 - 11);
}

TEST(ConcatFunc16, InvFailsWhenTheFirstPartHasNoInverseAndTheOtherIsStillCalled) {
    Probe pf, pg;
    TestFunc16 f(pf, "f", 3, 3, 1, 1, 0), g(pg, "g", 3, 3, 10);
    CConcatFunc_16 c(g, f);
    const uint16_t in[3] = {100, 200, 300};
    uint16_t out[3] = {};
    EXPECT_EQ(c.Inv(in, out), 0);
    EXPECT_EQ(pg.invCalls, 1);
    EXPECT_EQ(pf.invCalls, 1);
}

TEST(ConcatFunc16, InvFailsWhenABaseFunctionWithoutInverseIsPartOfIt) {
    Probe pf;
    TestFunc16 f(pf, "f", 3, 3);
    CFunc_16 g(3, 3);
    CConcatFunc_16 c(g, f);
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out[3] = {};
    EXPECT_EQ(c.Inv(in, out), 0);
    EXPECT_EQ(pf.invCalls, 1);
}

TEST(ConcatFunc16, TrnCallsTheSecondPartAfterTheFirstFailed) {
    Probe pf, pg;
    TestFunc16 f(pf, "f", 3, 3, 1, 0), g(pg, "g", 3, 3, 10);
    CConcatFunc_16 c(g, f);
    const uint16_t in[3] = {100, 200, 300};
    uint16_t out[3] = {};
    EXPECT_EQ(c.Trn(in, out), 0);
    EXPECT_EQ(pf.trnCalls, 1);
    EXPECT_EQ(pg.trnCalls, 1);
    EXPECT_EQ(out[2], 300 + 11); // the output is not cleared on failure
}

TEST(ConcatFunc16, TrnFailsWhenTheSecondPartFails) {
    Probe pf, pg;
    TestFunc16 f(pf, "f", 3, 3, 1), g(pg, "g", 3, 3, 10, 0);
    CConcatFunc_16 c(g, f);
    const uint16_t in[3] = {100, 200, 300};
    uint16_t out[3] = {};
    EXPECT_EQ(c.Trn(in, out), 0);
    EXPECT_EQ(pf.trnCalls, 1);
    EXPECT_EQ(pg.trnCalls, 1);
}

TEST(ConcatFunc16, ResultIsTheBitwiseAndOfBothResults) {
    // Non-zero answers other than 1 are combined bit by bit, not as truth values.
    Probe p;
    TestFunc16 f(p, "f", 1, 1, 0, 2), g(p, "g", 1, 1, 0, 1);
    CConcatFunc_16 c(g, f);
    const uint16_t in[1] = {1};
    uint16_t out[1] = {};
    EXPECT_EQ(c.Trn(in, out), 2 & 1);
}

TEST(ConcatFunc16, ReportsInputCountOfFirstAndOutputCountOfLastEvenWhenTheyDoNotFit) {
    Probe p;
    TestFunc16 f(p, "f", 3, 5), g(p, "g", 4, 2);
    CConcatFunc_16 c(g, f);
    EXPECT_EQ(c.inputChan(), 3u);
    EXPECT_EQ(c.outputChan(), 2u);
    // The intermediate vector holds f's five outputs; g reads four of them.
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out[2] = {};
    EXPECT_EQ(c.Trn(in, out), 1);
    EXPECT_EQ(out[0], 1);
    EXPECT_EQ(out[1], 2);
}

TEST(ConcatFunc16, SamePointerTwiceBehavesAsTheOneFunctionFormAndDeletesOnce) {
    Probe p;
    {
        auto* f = new TestFunc16(p, "p", 3, 3, 5);
        CConcatFunc_16 c(f, f);
        EXPECT_EQ(c.firstFunc(), c.secondFunc());
        const uint16_t in[3] = {1, 2, 3};
        uint16_t out[3] = {};
        EXPECT_EQ(c.Trn(in, out), 1);
        EXPECT_EQ(out[0], 6);
        EXPECT_EQ(p.trnCalls, 1);
        EXPECT_EQ(c.Inv(in, out), 1);
        EXPECT_EQ(out[0], static_cast<uint16_t>(1 - 5));
        EXPECT_EQ(p.invCalls, 1);
    }
    EXPECT_EQ(p.destroyed, 1);
}

TEST(ConcatFunc16, SameReferenceTwiceCallsTheFunctionOnce) {
    Probe p;
    TestFunc16 f(p, "p", 3, 3, 5);
    CConcatFunc_16 c(f, f);
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out[3] = {};
    EXPECT_EQ(c.Trn(in, out), 1);
    EXPECT_EQ(p.trnCalls, 1);
    EXPECT_EQ(out[2], 8);
}

TEST(ConcatFunc16, OneFunctionFormPassesResultsAndCountsOn) {
    Probe p;
    TestFunc16 f(p, "f", 4, 2, 3, 0, 1);
    CConcatFunc_16 c(f);
    EXPECT_EQ(c.inputChan(), 4u);
    EXPECT_EQ(c.outputChan(), 2u);
    const uint16_t in[4] = {10, 20, 30, 40};
    uint16_t out[4] = {};
    EXPECT_EQ(c.Trn(in, out), 0);
    EXPECT_EQ(out[1], 23);
    EXPECT_EQ(c.Inv(in, out), 1);
    EXPECT_EQ(out[3], 20 - 3);
    EXPECT_EQ(p.trnCalls, 1);
    EXPECT_EQ(p.invCalls, 1);
}

TEST(ConcatFunc8, TrnAndInvComposeLikeThe16BitTwin) {
    Probe p;
    TestFunc8 f(p, "f", 3, 3, 1), g(p, "g", 3, 3, 20, 1, 0);
    CConcatFunc_8 c(g, f);
    const uint8_t in[3] = {250, 0, 100};
    uint8_t out[3] = {};
    EXPECT_EQ(c.Trn(in, out), 1);
    EXPECT_EQ(out[0], static_cast<uint8_t>(250 + 21)); // wraps modulo 256 in the test function
    EXPECT_EQ(out[2], 121);
    EXPECT_EQ(c.Inv(in, out), 0);
    EXPECT_EQ(out[2], 100 - 21);
    EXPECT_EQ(p.log, (std::vector<std::string>{"f.Trn", "g.Trn", "g.Inv", "f.Inv"}));
}
