// Four-input grids: difference-table numbering, simplex choice, rounding, preparation, copies.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "MftProbe.h"

namespace {

template <class Probe> void ExpectDifferenceTablesFollowCodeNumbering(const Probe& m) {
    const unsigned P = m.clutPoints(), out = m.outputChan();
    const auto* t = m.Table();
    ASSERT_EQ(m.deltaCount, 15u);
    for (unsigned code = 1; code <= 15; ++code) {
        const unsigned dir[4] = {code >> 3 & 1, code >> 2 & 1, code >> 1 & 1, code & 1};
        const std::vector<int32_t>& d = m.deltaTabs[code - 1];
        ASSERT_EQ(d.size(), m.TabEntries());
        for (unsigned n = 0; n < m.TabCount(); ++n) {
            unsigned idx[4], rest = n;
            for (unsigned k = 4; k-- > 0;) {
                idx[k] = rest % P;
                rest /= P;
            }
            bool inside = true;
            unsigned nb = 0;
            for (unsigned k = 0; k < 4; ++k) {
                inside = inside && idx[k] + dir[k] < P;
                nb = nb * P + idx[k] + dir[k];
            }
            for (unsigned ch = 0; ch < out; ++ch) {
                const int32_t expect =
                    inside ? int32_t(t[nb * out + ch]) - int32_t(t[n * out + ch]) : 0;
                ASSERT_EQ(d[n * out + ch], expect) << "code " << code << " node " << n;
            }
        }
    }
}

// Result of the 16-bit rounding for one correction term, from the sum s (wrapped to 32 bits).
uint16_t Round16(int64_t base, int64_t weightedSum) {
    const uint32_t s = uint32_t(weightedSum + 32767);
    return uint16_t((base + int32_t(s) / 65535) & 0xFFFF);
}

} // namespace

TEST(Mft4, ConstructorFixesFourInputs) {
    Mft4Probe16 m(7, 3);
    EXPECT_EQ(m.inputChan(), 4u);
    EXPECT_EQ(m.outputChan(), 3u);
    EXPECT_EQ(m.TabCount(), 2401u);
    EXPECT_EQ(m.TabEntries(), 7203u);
    for (const auto& d : m.deltaTabs) EXPECT_TRUE(d.empty()); // allocated on first need
}

TEST(Mft4, DifferenceTablesFollowTheDirectionCodes) {
    Mft4Probe16 m16(3, 2);
    auto d16 = RandomSamples<uint16_t>(m16.TabEntries(), 31);
    m16.Define(d16.data());
    m16.InitTrn();
    EXPECT_EQ(m16.deltaValid, 1);
    ExpectDifferenceTablesFollowCodeNumbering(m16);

    Mft4Probe8 m8(4, 3);
    auto d8 = RandomSamples<uint8_t>(m8.TabEntries(), 32);
    m8.Define(d8.data());
    m8.InitTrn();
    ExpectDifferenceTablesFollowCodeNumbering(m8);
}

TEST(Mft4, SimplexOfEqualFractionsIsTheMainDiagonal) {
    const uint32_t f[4] = {5, 5, 5, 5};
    const auto s = Mft4Probe16::ChooseSimplex(f);
    EXPECT_EQ(std::vector<unsigned>(s.order, s.order + 4), (std::vector<unsigned>{0, 1, 2, 3}));
    EXPECT_EQ(std::vector<uint32_t>(s.w, s.w + 4), (std::vector<uint32_t>{5, 0, 0, 0}));
    EXPECT_EQ(s.tableNo[0], 14u);
}

TEST(Mft4, AllFractionsEqualInterpolateAlongTheMainDiagonal) {
    CMft4_16 m(3, 2);
    auto data = RandomSamples<uint16_t>(m.TabEntries(), 33);
    m.Define(data.data());
    m.InitTrn();
    const unsigned far = ((1 * 3 + 1) * 3 + 1) * 3 + 1; // node (1, 1, 1, 1)
    for (uint16_t x : {1, 9999, 20000, 32767}) {
        const uint16_t in[4] = {x, x, x, x};
        const int64_t f = int64_t(x) * 2; // fraction in the first cell
        uint16_t out[2];
        EXPECT_EQ(m.Trn(in, out), 1);
        for (unsigned c = 0; c < 2; ++c) {
            const int64_t e0 = int64_t(data[far * 2 + c]) - data[c];
            EXPECT_EQ(out[c], Round16(data[c], f * e0)) << x;
        }
    }
}

TEST(Mft4, CornerInputsGiveTheNodeValue) {
    CMft4_16 m16(5, 3);
    auto d16 = RandomSamples<uint16_t>(m16.TabEntries(), 34);
    m16.Define(d16.data());
    m16.InitTrn();
    CMft4_8 m8(5, 3);
    auto d8 = RandomSamples<uint8_t>(m8.TabEntries(), 35);
    m8.Define(d8.data());
    m8.InitTrn();
    const uint16_t zero16[4] = {0, 0, 0, 0}, full16[4] = {65535, 65535, 65535, 65535};
    const uint8_t zero8[4] = {0, 0, 0, 0}, full8[4] = {255, 255, 255, 255};
    uint16_t o16[3];
    uint8_t o8[3];
    const unsigned last = (m16.TabCount() - 1) * 3;
    m16.Trn(zero16, o16);
    EXPECT_EQ(std::memcmp(o16, d16.data(), sizeof o16), 0);
    m16.Trn(full16, o16);
    EXPECT_EQ(std::memcmp(o16, d16.data() + last, sizeof o16), 0);
    m8.Trn(zero8, o8);
    EXPECT_EQ(std::memcmp(o8, d8.data(), sizeof o8), 0);
    m8.Trn(full8, o8);
    EXPECT_EQ(std::memcmp(o8, d8.data() + last, sizeof o8), 0);
}

TEST(Mft4, InputsOnNodesGiveTheNodeValue) {
    // With 16 points every node coordinate splits into fraction 0.
    CMft4_16 m16(16, 1);
    auto d16 = RandomSamples<uint16_t>(m16.TabEntries(), 36);
    m16.Define(d16.data());
    m16.InitTrn();
    CMft4_8 m8(16, 1);
    auto d8 = RandomSamples<uint8_t>(m8.TabEntries(), 37);
    m8.Define(d8.data());
    m8.InitTrn();
    for (unsigned n = 0; n < m16.TabCount(); n += 7) {
        uint16_t p16[4], o16;
        m16.GenPoint(n, p16);
        m16.Trn(p16, &o16);
        ASSERT_EQ(o16, d16[n]) << n;
        uint8_t p8[4], o8;
        m8.GenPoint(n, p8);
        m8.Trn(p8, &o8);
        ASSERT_EQ(o8, d8[n]) << n;
    }
}

TEST(Mft4, OnlyInput3OffNodeUsesTableZeroForTheLastStep) {
    const uint32_t f[4] = {0, 0, 0, 700};
    const auto s = Mft4Probe16::ChooseSimplex(f);
    EXPECT_EQ(std::vector<unsigned>(s.order, s.order + 4), (std::vector<unsigned>{0, 1, 2, 3}));
    EXPECT_EQ(std::vector<uint32_t>(s.w, s.w + 4), (std::vector<uint32_t>{0, 0, 0, 700}));
    EXPECT_EQ(s.tableNo[3], 0u); // code 1

    CMft4_16 m(3, 1);
    auto data = RandomSamples<uint16_t>(m.TabEntries(), 38);
    m.Define(data.data());
    m.InitTrn();
    const uint16_t in[4] = {0, 0, 0, 350}; // fraction 700 in the first cell of input 3
    uint16_t out;
    m.Trn(in, &out);
    EXPECT_EQ(out, Round16(data[0], 700 * (int64_t(data[1]) - data[0])));
}

TEST(Mft4, OnlyInput0OffNodeUsesTableSevenForTheLastStep) {
    const uint32_t f[4] = {700, 0, 0, 0};
    const auto s = Mft4Probe16::ChooseSimplex(f);
    EXPECT_EQ(std::vector<unsigned>(s.order, s.order + 4), (std::vector<unsigned>{1, 2, 3, 0}));
    EXPECT_EQ(std::vector<uint32_t>(s.w, s.w + 4), (std::vector<uint32_t>{0, 0, 0, 700}));
    EXPECT_EQ(s.tableNo[3], 7u); // code 8

    CMft4_16 m(3, 1);
    auto data = RandomSamples<uint16_t>(m.TabEntries(), 39);
    m.Define(data.data());
    m.InitTrn();
    const uint16_t in[4] = {350, 0, 0, 0};
    uint16_t out;
    m.Trn(in, &out);
    EXPECT_EQ(out, Round16(data[0], 700 * (int64_t(data[27]) - data[0]))); // node (1, 0, 0, 0)
}

TEST(Mft4, EqualFractionsKeepTheLowerInputFirst) {
    const uint32_t f[4] = {7, 3, 3, 1};
    const auto s = Mft4Probe16::ChooseSimplex(f);
    EXPECT_EQ(std::vector<unsigned>(s.order, s.order + 4), (std::vector<unsigned>{3, 1, 2, 0}));
    EXPECT_EQ(std::vector<uint32_t>(s.w, s.w + 4), (std::vector<uint32_t>{1, 2, 0, 4}));
    // E1: all but input 3 (code 14), E2: inputs 0 and 2 (code 10), E3: input 0 (code 8).
    EXPECT_EQ(std::vector<unsigned>(s.tableNo, s.tableNo + 4),
              (std::vector<unsigned>{14, 13, 9, 7}));
}

TEST(Mft4, Value128KeepsItsFractionOn17PointGrid8Bit) {
    Mft4Probe8 m(17, 1);
    auto data = RandomSamples<uint8_t>(m.TabEntries(), 40);
    m.Define(data.data());
    m.InitTrn();
    EXPECT_EQ(m.indexTab[128], 8);
    EXPECT_EQ(m.fracTab[128], 8); // no neutral-axis correction in four-input grids
    // Input (128, 0, 0, 0): node (8, 0, 0, 0) plus 8/255 of the step to node (9, 0, 0, 0).
    const unsigned base = 8 * 17 * 17 * 17, next = 9 * 17 * 17 * 17;
    const int32_t s = 8 * (int32_t(data[next]) - int32_t(data[base])) + 127;
    const int32_t q = s >= 0 ? (s * 257 + 128) >> 16 : -((128 - s * 257) >> 16);
    const uint8_t in[4] = {128, 0, 0, 0};
    uint8_t out;
    m.Trn(in, &out);
    EXPECT_EQ(out, uint8_t(data[base] + q));
}

TEST(Mft4, OffsetTablesGiveTheSampleOffsetPerAxis8Bit) {
    Mft4Probe8 m(7, 3);
    std::vector<uint8_t> data(m.TabEntries(), 0);
    m.Define(data.data());
    m.InitTrn();
    for (unsigned i = 0; i < 7; ++i) {
        EXPECT_EQ(m.offsetTabs[0][i], i * 343 * 3);
        EXPECT_EQ(m.offsetTabs[1][i], i * 49 * 3);
        EXPECT_EQ(m.offsetTabs[2][i], i * 7 * 3);
        EXPECT_EQ(m.offsetTabs[3][i], i * 3);
    }
}

TEST(Mft4, EveryInitTrnRebuildsTheTables) {
    Mft4Probe16 m(3, 1);
    auto data = RandomSamples<uint16_t>(m.TabEntries(), 41);
    m.Define(data.data());
    m.InitTrn();
    const int32_t* before = m.deltaTabs[14].data();
    m.deltaTabs[14][0] = 12345; // a marker that only a rebuild removes
    m.InitTrn();                // no change to the grid at all
    EXPECT_EQ(m.deltaTabs[14][0], int32_t(data[40]) - int32_t(data[0])); // node (1, 1, 1, 1)
    EXPECT_EQ(m.deltaTabs[14].data(), before);                           // memory reused

    // After Define, the second InitTrn evaluates the new grid.
    auto other = RandomSamples<uint16_t>(m.TabEntries(), 42);
    m.Define(other.data());
    m.InitTrn();
    CMft4_16 fresh(3, 1);
    fresh.Define(other.data());
    fresh.InitTrn();
    std::mt19937 rng(43);
    std::uniform_int_distribution<unsigned> any(0, 65535);
    for (int n = 0; n < 1000; ++n) {
        const uint16_t in[4] = {uint16_t(any(rng)), uint16_t(any(rng)), uint16_t(any(rng)),
                                uint16_t(any(rng))};
        uint16_t a, b;
        m.Trn(in, &a);
        fresh.Trn(in, &b);
        ASSERT_EQ(a, b);
    }
}

TEST(Mft4, CopyAndAssignmentCarryThePreparedTables) {
    Mft4Probe8 a(5, 2);
    auto data = RandomSamples<uint8_t>(a.TabEntries(), 44);
    a.Define(data.data());
    a.InitTrn();
    Mft4Probe8 b(a);
    Mft4Probe8 c(7, 3); // a different, prepared grid, then overwritten
    std::vector<uint8_t> zero(c.TabEntries(), 0);
    c.Define(zero.data());
    c.InitTrn();
    c = a;
    EXPECT_EQ(c.clutPoints(), 5u);
    EXPECT_EQ(c.outputChan(), 2u);
    for (unsigned t = 0; t < 15; ++t) {
        EXPECT_EQ(b.deltaTabs[t], a.deltaTabs[t]);
        EXPECT_EQ(c.deltaTabs[t], a.deltaTabs[t]);
        EXPECT_NE(b.deltaTabs[t].data(), a.deltaTabs[t].data());
    }
    std::mt19937 rng(45);
    std::uniform_int_distribution<unsigned> any(0, 255);
    for (int n = 0; n < 2000; ++n) {
        const uint8_t in[4] = {uint8_t(any(rng)), uint8_t(any(rng)), uint8_t(any(rng)),
                               uint8_t(any(rng))};
        uint8_t oa[2], ob[2], oc[2];
        a.Trn(in, oa);
        b.Trn(in, ob);
        c.Trn(in, oc);
        ASSERT_EQ(std::memcmp(oa, ob, 2), 0);
        ASSERT_EQ(std::memcmp(oa, oc, 2), 0);
    }
    // An unprepared source gives an unprepared copy: its tables stay unallocated.
    CMft4_16 raw(3, 1);
    Mft4Probe16 copy;
    static_cast<CMft4_16&>(copy) = raw;
    for (const auto& d : copy.deltaTabs) EXPECT_TRUE(d.empty());
}

TEST(Mft4, PreparingAGridWithoutPointsDoesNothing) {
    CMft4_16 g16;
    CMft4_8 g8;
    g16.InitTrn();
    g8.InitTrn();
    EXPECT_EQ(g16.clutPoints(), 0u);
    EXPECT_EQ(g8.TabEntries(), 0u);
}

// A 16-bit grid that was never prepared takes its differences from the grid: the same values
// as the prepared tables, on random inputs and on the edges, where a corner lies outside.
TEST(Mft4, UnpreparedSixteenBitGridEvaluatesAsThePreparedOne) {
    for (const unsigned points : {2u, 5u, 9u}) {
        CMft4_16 prepared(points, 3), unprepared(points, 3);
        DefinePreparedAndUnprepared(prepared, unprepared, 51 + points);
        std::mt19937 rng(points);
        std::uniform_int_distribution<int> any(0, 65535);
        const uint16_t edges[] = {0, 1, 32768, 65534, 65535};
        for (int n = 0; n < 200000; ++n) {
            uint16_t in[4];
            for (auto& v : in) v = n % 4 == 0 ? edges[any(rng) % 5] : uint16_t(any(rng));
            uint16_t a[3], b[3];
            prepared.Trn(in, a);
            unprepared.Trn(in, b);
            ASSERT_EQ(std::memcmp(a, b, sizeof a), 0)
                << points << ": " << in[0] << " " << in[1] << " " << in[2] << " " << in[3];
        }
    }
}
