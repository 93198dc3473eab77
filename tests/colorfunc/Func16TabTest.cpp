// 16-bit curves: the 4096-entry read-out in both directions, its stated oddities, and the
// expansion of ICC curve records.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "colorfunc/Func16Tab.h"
#include "icc/IccRecords.h"

namespace {

uint16_t Trn1(const CFunc_16Tab& f, uint16_t v) {
    uint16_t out = 0;
    EXPECT_EQ(f.Trn(&v, &out), 1);
    return out;
}

uint16_t Inv1(const CFunc_16Tab& f, uint16_t v) {
    uint16_t out = 0;
    EXPECT_EQ(f.Inv(&v, &out), 1);
    return out;
}

// The 16-bit value that fast entry i stands for, written out from its definition.
uint32_t NodeValue(unsigned i) {
    return uint32_t(std::trunc(i * 65535.0 / 4095.0 + 0.5));
}

// Host-order ICC curve records, built field by field.
struct RecordWriter {
    std::vector<uint8_t> bytes;
    template <class V> void Put(V v) {
        const size_t at = bytes.size();
        bytes.resize(at + sizeof(V));
        std::memcpy(bytes.data() + at, &v, sizeof(V));
    }
    void Curve(const std::vector<uint16_t>& entries) {
        Put<uint32_t>(icSigCurveType);
        Put<uint32_t>(0);
        Put<uint32_t>(uint32_t(entries.size()));
        for (uint16_t e : entries) Put(e);
        if (entries.size() % 2) Put<uint16_t>(0); // padding to four bytes
    }
    void Para(uint16_t type, const std::vector<double>& params) {
        Put<uint32_t>(icSigParametricCurveType);
        Put<uint32_t>(0);
        Put<uint16_t>(type);
        Put<uint16_t>(0);
        for (double p : params) Put<int32_t>(int32_t(std::lround(p * 65536.0)));
    }
};

// The 4096 samples of one record, through a one-channel curve.
std::vector<uint16_t> Expand(const RecordWriter& w) {
    CFunc_16Tab f(1, nullptr, 0);
    f.DefineByIccCurves(w.bytes.data());
    EXPECT_EQ(f.entries(), 4096u);
    return std::vector<uint16_t>(f.pRawTab(), f.pRawTab() + 4096);
}

TEST(CurveTab16, NullTableIsIdentityReadAtTwelveBits) {
    const CFunc_16Tab f(1, nullptr, 0);
    EXPECT_EQ(f.entries(), 2u);
    EXPECT_EQ(Trn1(f, 0), 0);
    EXPECT_EQ(Trn1(f, 65535), 65535);
    EXPECT_EQ(Trn1(f, 65535), Trn1(f, 65520)); // only the upper 12 bits count
    // In between, every input answers the value its 12-bit cell stands for.
    for (uint32_t v = 0; v < 65536; v += 37)
        EXPECT_EQ(Trn1(f, uint16_t(v)), NodeValue(v >> 4)) << v;
    EXPECT_EQ(Inv1(f, 0), 0);
    EXPECT_EQ(Inv1(f, 65535), 65535);
}

TEST(CurveTab16, ZeroEntriesWithATableIsIdentity) {
    const uint16_t t[3] = {9, 9, 9};
    const CFunc_16Tab f(1, t, 0);
    EXPECT_EQ(f.entries(), 2u);
    EXPECT_EQ(Trn1(f, 65535), 65535);
}

TEST(CurveTab16, TwoEntryFallingTableDescendsAndInvOfTopIsTheClippedEnd) {
    const uint16_t t[2] = {65535, 0};
    const CFunc_16Tab f(1, t, 2);
    EXPECT_EQ(Trn1(f, 0), 65535);
    EXPECT_EQ(Trn1(f, 65535), 0);
    uint16_t prev = 65535;
    for (uint32_t v = 0; v < 65536; v += 16) {
        const uint16_t y = Trn1(f, uint16_t(v));
        EXPECT_LE(y, prev) << v;
        // Wrap-around arithmetic of a falling segment: within one unit of the true value.
        EXPECT_LE(std::abs(int(y) - int(65535 - NodeValue(v >> 4))), 1) << v;
        prev = y;
    }
    EXPECT_EQ(Inv1(f, 65535), 65535);   // above the highest entry: not 0
    EXPECT_EQ(Inv1(f, 0), 65535);       // 0 lies on the far end of the segment: u = 1
    EXPECT_EQ(Inv1(f, 16), 65535 - 16); // x = 16 between the ends: u = (16 - 65535) / -65535
}

TEST(CurveTab16, FallingTableAnswersZeroBelowItsLowestEntry) {
    const uint16_t t[3] = {60000, 30000, 5000};
    const CFunc_16Tab f(1, t, 3);
    EXPECT_EQ(Inv1(f, 0), 0);         // below the lowest entry
    EXPECT_EQ(Inv1(f, 4000), 0);      // still below
    EXPECT_EQ(Inv1(f, 65535), 65535); // above the highest
    EXPECT_EQ(Inv1(f, 61000), 65535);
    // In between the inverse falls: x = NodeValue(1875) = 30007 lies between 60000 and 30000,
    // u = 0 + (30007 - 60000) / (30000 - 60000), scaled by 65535 / 2.
    const uint32_t x = NodeValue(1875);
    const double u = (double(x) - 60000.0) / (30000.0 - 60000.0);
    EXPECT_EQ(Inv1(f, uint16_t(1875 << 4)), uint16_t(u * 65535.0 / 2 + 0.5));
}

TEST(CurveTab16, RisingTableInverseInterpolatesAndClips) {
    const uint16_t t[3] = {1000, 20000, 50000};
    const CFunc_16Tab f(1, t, 3);
    EXPECT_EQ(Inv1(f, 0), 0);         // below the first entry
    EXPECT_EQ(Inv1(f, 65535), 65535); // above the last
    for (unsigned i : {100u, 1000u, 2000u, 3000u}) {
        const uint32_t x = NodeValue(i);
        const unsigned k = x < 20000 ? 1 : 2;
        const double lo = t[k - 1], hi = t[k];
        const double u = (k - 1) + (x - lo) / (hi - lo);
        EXPECT_EQ(Inv1(f, uint16_t(i << 4)), uint16_t(u * 65535.0 / 2 + 0.5)) << i;
    }
}

TEST(CurveTab16, ForwardInterpolatesBetweenEntries) {
    const uint16_t t[5] = {0, 1000, 5000, 20000, 65535};
    const CFunc_16Tab f(1, t, 5);
    for (unsigned i = 0; i < 4096; i += 13) {
        const uint32_t p = NodeValue(i) * 4;
        const uint32_t a = p / 65535, r = p % 65535;
        const uint32_t expected = r ? t[a] + (uint32_t(t[a + 1] - t[a]) * r) / 65535 : t[a];
        EXPECT_EQ(Trn1(f, uint16_t(i << 4)), expected) << i;
        EXPECT_EQ(Trn1(f, uint16_t((i << 4) | 15)), expected) << i;
    }
}

TEST(CurveTab16, OneEntryTableIsConstant) {
    const uint16_t t[1] = {1234};
    const CFunc_16Tab f(1, t, 1);
    EXPECT_EQ(Trn1(f, 0), 1234);
    EXPECT_EQ(Trn1(f, 65535), 1234);
    EXPECT_EQ(Inv1(f, 0), 0);         // below it
    EXPECT_EQ(Inv1(f, 65535), 65535); // at and above it
}

TEST(CurveTab16, ChannelsAtAndAboveSixteenHaveNoFastTable) {
    const CFunc_16Tab f(17, nullptr, 0);
    EXPECT_NE(f.pFastTab(15), nullptr);
    EXPECT_EQ(f.pFastTab(16), nullptr);
    EXPECT_EQ(f.pFastInvTab(16), nullptr);
    std::vector<uint16_t> in(17, 65535), out(17, 7);
    EXPECT_EQ(f.Trn(in.data(), out.data()), 1);
    EXPECT_EQ(out[15], 65535);
    EXPECT_EQ(out[16], 7); // left as it was
}

TEST(CurveTab16, CopyAndAssignmentAreDeep) {
    const uint16_t t[2] = {65535, 0};
    CFunc_16Tab f(1, nullptr, 0);
    const CFunc_16Tab copy(f);
    CFunc_16Tab assigned(2, nullptr, 0);
    assigned = f;
    f.DefineTab(t, 2);
    EXPECT_EQ(Trn1(copy, 0), 0);
    EXPECT_EQ(Trn1(assigned, 0), 0);
    EXPECT_EQ(assigned.inputChan(), 1u);
    EXPECT_EQ(Trn1(f, 0), 65535);
    EXPECT_NE(copy.pFastTab(0), f.pFastTab(0));
}

TEST(CurveTab16, CurvWithGammaOneIsIdentityWithinRounding) {
    RecordWriter w;
    w.Curve({0x0100});
    const std::vector<uint16_t> s = Expand(w);
    for (unsigned i = 0; i < 4096; ++i) EXPECT_LE(std::abs(int(s[i]) - int(NodeValue(i))), 1) << i;
}

TEST(CurveTab16, CurvWithGammaFollowsThePower) {
    RecordWriter w;
    w.Curve({0x0233}); // 2.19921875
    const std::vector<uint16_t> s = Expand(w);
    for (unsigned i = 0; i < 4096; i += 7)
        EXPECT_EQ(s[i], uint16_t(std::pow(i / 4095.0, 563 / 256.0) * 65535.0 + 0.5)) << i;
}

TEST(CurveTab16, CurvWithZeroEntriesIsIdentity) {
    RecordWriter w;
    w.Curve({});
    const std::vector<uint16_t> s = Expand(w);
    for (unsigned i = 0; i < 4096; ++i) EXPECT_EQ(s[i], NodeValue(i)) << i;
}

TEST(CurveTab16, CurvWithEntriesIsReadThroughATableOfItsOwn) {
    const std::vector<uint16_t> entries = {0, 4000, 30000, 65535, 40000};
    RecordWriter w;
    w.Curve(entries);
    const std::vector<uint16_t> s = Expand(w);
    const CFunc_16Tab direct(1, entries.data(), unsigned(entries.size()));
    for (unsigned i = 0; i < 4096; ++i) EXPECT_EQ(s[i], Trn1(direct, uint16_t(NodeValue(i))));
}

TEST(CurveTab16, ParaType0IsThePower) {
    RecordWriter w;
    w.Para(0, {2.4});
    const std::vector<uint16_t> s = Expand(w);
    const double g = std::lround(2.4 * 65536.0) / 65536.0;
    for (unsigned i = 0; i < 4096; i += 5)
        EXPECT_EQ(s[i], uint16_t(std::pow(i / 4095.0, g) * 65535.0 + 0.5)) << i;
}

TEST(CurveTab16, ParaType1BelowMinusBOverAGivesZero) {
    RecordWriter w;
    w.Para(1, {2.0, 2.0, -0.5}); // zero below x = 0.25, (2x - 0.5)^2 above
    const std::vector<uint16_t> s = Expand(w);
    for (unsigned i = 0; i <= 1023; ++i) EXPECT_EQ(s[i], 0) << i; // i / 4095 < 0.25
    EXPECT_EQ(s[2047], uint16_t(std::pow(2 * 2047 / 4095.0 - 0.5, 2.0) * 65535.0 + 0.5));
    EXPECT_EQ(s[4095], 65535); // 1.5^2 is limited to 1
}

TEST(CurveTab16, ParaType2AddsCAndLimitsToOne) {
    RecordWriter w;
    w.Para(2, {1.0, 1.0, -0.5, 0.25}); // 0.25 below 0.5, x - 0.25 above
    const std::vector<uint16_t> s = Expand(w);
    EXPECT_EQ(s[0], 16384);                             // 0.25
    EXPECT_EQ(s[2000], 16384);                          // still below 0.5
    EXPECT_EQ(s[4095], uint16_t(0.75 * 65535.0 + 0.5)); // 1 - 0.5 + 0.25
    EXPECT_EQ(s[3000], uint16_t((3000 / 4095.0 - 0.25) * 65535.0 + 0.5));
}

TEST(CurveTab16, ParaType3HasALinearFoot) {
    // The sRGB curve: linear below d = 0.04045 with slope c = 1 / 12.92.
    const std::vector<double> p = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    RecordWriter w;
    w.Para(3, p);
    const std::vector<uint16_t> s = Expand(w);
    double q[5];
    for (int k = 0; k < 5; ++k) q[k] = std::lround(p[k] * 65536.0) / 65536.0;
    for (unsigned i = 0; i < 4096; i += 3) {
        const double x = i / 4095.0;
        const double y = x < q[4] ? q[3] * x : std::pow(q[1] * x + q[2], q[0]);
        EXPECT_EQ(s[i], uint16_t(std::min(y, 1.0) * 65535.0 + 0.5)) << i;
    }
}

TEST(CurveTab16, ParaType4HasOffsetsOnBothSegments) {
    const std::vector<double> p = {2.0, 0.5, 0.25, 0.5, 0.5, 0.125, 0.0625};
    RecordWriter w;
    w.Para(4, p);
    const std::vector<uint16_t> s = Expand(w);
    for (unsigned i = 0; i < 4096; i += 3) {
        const double x = i / 4095.0;
        const double y = x < 0.5 ? 0.5 * x + 0.0625 : std::pow(0.5 * x + 0.25, 2.0) + 0.125;
        EXPECT_EQ(s[i], uint16_t(y * 65535.0 + 0.5)) << i;
    }
}

TEST(CurveTab16, RecordLengths) {
    std::vector<uint16_t> out(4096);
    const auto lengthOf = [&](const RecordWriter& w) {
        return CFunc_16Tab::ExpandIccCurve(w.bytes.data(), out.data());
    };
    for (unsigned n : {0u, 1u, 2u, 3u, 4u, 255u, 256u}) {
        RecordWriter w;
        w.Curve(std::vector<uint16_t>(n, n == 1 ? 0x100 : 7));
        EXPECT_EQ(lengthOf(w), 12 + 2 * (n + n % 2)) << n;
        EXPECT_EQ(lengthOf(w), w.bytes.size()) << n;
    }
    const unsigned params[] = {1, 3, 4, 5, 7};
    const unsigned lengths[] = {16, 24, 28, 32, 40};
    for (uint16_t type = 0; type < 5; ++type) {
        RecordWriter w;
        w.Para(type, std::vector<double>(params[type], 1.0));
        EXPECT_EQ(lengthOf(w), lengths[type]) << type;
    }
    RecordWriter unknownType;
    unknownType.Para(5, {1.0});
    EXPECT_EQ(lengthOf(unknownType), 0u);
    RecordWriter unknownSig;
    unknownSig.Put<uint32_t>(MakeIccSignature("sf32"));
    unknownSig.Put<uint32_t>(0);
    EXPECT_EQ(lengthOf(unknownSig), 0u);
}

TEST(CurveTab16, ConsecutiveRecordsGoToConsecutiveChannels) {
    RecordWriter w;
    w.Curve({0, 30000, 65535}); // odd count: padded
    w.Para(2, {1.0, 1.0, -0.5, 0.25});
    w.Curve({0x01CD});
    RecordWriter c0, c1, c2;
    c0.Curve({0, 30000, 65535});
    c1.Para(2, {1.0, 1.0, -0.5, 0.25});
    c2.Curve({0x01CD});
    CFunc_16Tab f(3, nullptr, 0);
    f.DefineByIccCurves(w.bytes.data());
    const std::vector<uint16_t> e0 = Expand(c0), e1 = Expand(c1), e2 = Expand(c2);
    const uint16_t* raw = f.pRawTab();
    EXPECT_TRUE(std::equal(e0.begin(), e0.end(), raw));
    EXPECT_TRUE(std::equal(e1.begin(), e1.end(), raw + 4096));
    EXPECT_TRUE(std::equal(e2.begin(), e2.end(), raw + 8192));
    // The fast tables are built from the expanded samples.
    const uint16_t in[3] = {0x8000, 0x8000, 0x8000};
    uint16_t out[3];
    f.Trn(in, out);
    const CFunc_16Tab t2(1, e2.data(), 4096);
    EXPECT_EQ(out[2], Trn1(t2, 0x8000));
}

TEST(CurveTab16, UnknownRecordIsIdentityAndIsReadAgainForTheNextChannel) {
    RecordWriter w;
    w.Para(7, {2.0}); // no such function type: length 0
    w.Para(0, {2.0}); // never reached
    CFunc_16Tab f(2, nullptr, 0);
    f.DefineByIccCurves(w.bytes.data());
    const uint16_t* raw = f.pRawTab();
    for (unsigned i = 0; i < 4096; ++i) {
        EXPECT_EQ(raw[i], NodeValue(i));
        EXPECT_EQ(raw[4096 + i], NodeValue(i));
    }
}

TEST(CurveTab16, InverseOfReadsTheCounterUnscaled) {
    RecordWriter w;
    w.Para(0, {2.0});
    CFunc_16Tab other(1, nullptr, 0);
    other.DefineByIccCurves(w.bytes.data());
    CFunc_16Tab f(1, nullptr, 0);
    EXPECT_EQ(f.DefineByInverseOf(other), 1);
    EXPECT_EQ(f.entries(), 4096u);
    // Entry n is other.Inv(n) for the 16-bit number n itself: the first 256 fast inverse
    // entries, each 16 times.
    for (unsigned n = 0; n < 4096; ++n)
        EXPECT_EQ(f.pRawTab()[n], other.pFastInvTab(0)[n >> 4]) << n;
}

TEST(CurveTab16, InverseOfNeedsOneChannelOnBothSides) {
    const CFunc_16Tab three(3, nullptr, 0);
    CFunc_16Tab f(1, nullptr, 0);
    EXPECT_EQ(f.DefineByInverseOf(three), 0);
    EXPECT_EQ(f.entries(), 2u);
    EXPECT_EQ(Trn1(f, 65535), 65535);
    CFunc_16Tab g(2, nullptr, 0);
    const CFunc_16Tab one(1, nullptr, 0);
    const uint16_t in[2] = {65535, 0};
    uint16_t out[2];
    EXPECT_EQ(g.DefineByInverseOf(one), 0);
    g.Trn(in, out);
    EXPECT_EQ(out[0], 65535);
    EXPECT_EQ(out[1], 0);
}

TEST(CurveTab16, InverseOfNeedsMoreThanOneEntry) {
    const uint16_t t[1] = {500};
    const CFunc_16Tab single(1, t, 1);
    CFunc_16Tab f(1, t, 1);
    EXPECT_EQ(f.DefineByInverseOf(single), 0);
    EXPECT_EQ(f.entries(), 2u);
    EXPECT_EQ(Trn1(f, 0), 0);
    EXPECT_EQ(Trn1(f, 65535), 65535);
}

} // namespace
