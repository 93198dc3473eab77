// Three-input grids: difference tables, input split, tetrahedron choice, rounding, nearest
// node, cell volumes, preparation and copies.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "MftProbe.h"

namespace {

template <class Probe> void ExpectDifferenceTablesMatchDefinition(const Probe& m) {
    const unsigned P = m.clutPoints(), out = m.outputChan();
    const struct {
        const int32_t* d;
        unsigned a, b, c;
    } tabs[] = {{m.Delta100(), 1, 0, 0}, {m.Delta010(), 0, 1, 0}, {m.Delta001(), 0, 0, 1},
                {m.Delta110(), 1, 1, 0}, {m.Delta101(), 1, 0, 1}, {m.Delta011(), 0, 1, 1},
                {m.Delta111(), 1, 1, 1}};
    const auto* t = m.Table();
    for (const auto& tab : tabs)
        for (unsigned i = 0; i < P; ++i)
            for (unsigned j = 0; j < P; ++j)
                for (unsigned k = 0; k < P; ++k)
                    for (unsigned ch = 0; ch < out; ++ch) {
                        const unsigned o = ((i * P + j) * P + k) * out + ch;
                        int32_t expect = 0;
                        if (i + tab.a < P && j + tab.b < P && k + tab.c < P) {
                            const unsigned n =
                                (((i + tab.a) * P + j + tab.b) * P + k + tab.c) * out + ch;
                            expect = int32_t(t[n]) - int32_t(t[o]);
                        }
                        ASSERT_EQ(tab.d[o], expect) << tab.a << tab.b << tab.c << " at " << o;
                    }
}

} // namespace

TEST(Mft3, ConstructorFixesThreeInputsAndPointCounts) {
    Mft3Probe16 m(17, 4);
    EXPECT_EQ(m.inputChan(), 3u);
    EXPECT_EQ(m.outputChan(), 4u);
    EXPECT_EQ(m.points, 17u);
    EXPECT_EQ(m.points2, 289u);
    EXPECT_EQ(m.points3, 4913u);
    EXPECT_EQ(m.Delta100(), nullptr); // not prepared yet
    EXPECT_EQ(m.Index(1, 2, 3), ((17u * 1 + 2) * 17 + 3) * 4);
}

TEST(Mft3, DifferenceTablesHoldNeighbourMinusNodeAndZeroOutside) {
    Mft3Probe16 m16(5, 3);
    auto d16 = RandomSamples<uint16_t>(m16.TabEntries(), 11);
    m16.Define(d16.data());
    m16.InitTrn();
    EXPECT_EQ(m16.deltaValid, 1);
    ExpectDifferenceTablesMatchDefinition(m16);

    Mft3Probe8 m8(4, 2);
    auto d8 = RandomSamples<uint8_t>(m8.TabEntries(), 12);
    m8.Define(d8.data());
    m8.InitTrn();
    ExpectDifferenceTablesMatchDefinition(m8);
}

TEST(Mft3, IdentityTable16BitReturnsBlackAndWhiteExactly) {
    CMft3_16 m(17, 3);
    m.DefineIdent();
    m.InitTrn();
    const uint16_t black[3] = {0, 0, 0}, white[3] = {65535, 65535, 65535};
    uint16_t out[3];
    EXPECT_EQ(m.Trn(black, out), 1);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(m.Trn(white, out), 1);
    EXPECT_EQ(out[0], 65535);
    EXPECT_EQ(out[1], 65535);
    EXPECT_EQ(out[2], 65535);
}

TEST(Mft3, DefineIdentWritesNodeCoordinatesAndKeepsFurtherChannels) {
    CMft3_8 m(9, 4);
    std::vector<uint8_t> data(m.TabEntries(), 77);
    m.Define(data.data());
    m.DefineIdent();
    for (unsigned n = 0; n < m.TabCount(); ++n) {
        uint8_t p[3];
        m.GenPoint(n, p);
        const uint8_t* node = m.Table() + n * 4;
        EXPECT_EQ(node[0], p[0]);
        EXPECT_EQ(node[1], p[1]);
        EXPECT_EQ(node[2], p[2]);
        EXPECT_EQ(node[3], 77);
    }
}

TEST(Mft3, NeutralAB128On17PointGridFallsExactlyOnMiddleNode8Bit) {
    Mft3Probe8 m(17, 3);
    auto data = RandomSamples<uint8_t>(m.TabEntries(), 13);
    m.Define(data.data());
    m.InitTrn();
    EXPECT_EQ(m.indexTab[128], 8);
    EXPECT_EQ(m.fracTab[128], 0);
    for (unsigned iL = 0; iL < 17; ++iL) {
        uint8_t L[3];
        const unsigned idx[3] = {iL, 0, 0};
        m.GenGridPoint(idx, L);
        const uint8_t in[3] = {L[0], 128, 128};
        if (m.fracTab[in[0]] != 0) continue; // only L values that sit on a node
        uint8_t out[3];
        m.Trn(in, out);
        const uint8_t* node = m.Table() + m.Index(iL, 8, 8);
        EXPECT_EQ(out[0], node[0]) << iL;
        EXPECT_EQ(out[1], node[1]) << iL;
        EXPECT_EQ(out[2], node[2]) << iL;
    }
}

TEST(Mft3, Value128KeepsItsFractionOnEvenPointCount8Bit) {
    Mft3Probe8 m(16, 1);
    std::vector<uint8_t> data(m.TabEntries(), 0);
    m.Define(data.data());
    m.InitTrn();
    EXPECT_EQ(m.indexTab[128], 7);  // 128 * 15 / 255
    EXPECT_EQ(m.fracTab[128], 135); // 128 * 15 modulo 255
}

TEST(Mft3, InputSplitAndOffsetTables8Bit) {
    Mft3Probe8 m(9, 2);
    std::vector<uint8_t> data(m.TabEntries(), 0);
    m.Define(data.data());
    m.InitTrn();
    for (unsigned v = 0; v < 256; ++v) {
        if (v == 128) continue; // the neutral correction, tested above
        EXPECT_EQ(m.indexTab[v], v * 8 / 255);
        EXPECT_EQ(m.fracTab[v], v * 8 % 255);
    }
    EXPECT_EQ(m.indexTab[255], 8); // full scale: last node, fraction 0
    EXPECT_EQ(m.fracTab[255], 0);
    for (unsigned i = 0; i < 9; ++i) {
        EXPECT_EQ(m.offset2[i], i * 2);
        EXPECT_EQ(m.offset1[i], i * 9 * 2);
        EXPECT_EQ(m.offset0[i], i * 81 * 2);
    }
}

TEST(Mft3, InputOnANodeReturnsTheNodeValue) {
    // With 16 points the node coordinates 17 * i and 4369 * i split into fraction 0 exactly;
    // then only the constant enters the correction, and it rounds to 0 in both widths.
    CMft3_16 m16(16, 5);
    auto d16 = RandomSamples<uint16_t>(m16.TabEntries(), 14);
    m16.Define(d16.data());
    m16.InitTrn();
    CMft3_8 m8(16, 5);
    auto d8 = RandomSamples<uint8_t>(m8.TabEntries(), 15);
    m8.Define(d8.data());
    m8.InitTrn();
    for (unsigned n = 0; n < m16.TabCount(); ++n) {
        uint16_t p16[3], o16[5];
        m16.GenPoint(n, p16);
        m16.Trn(p16, o16);
        EXPECT_EQ(std::memcmp(o16, d16.data() + n * 5, sizeof o16), 0) << n;
        uint8_t p8[3], o8[5];
        m8.GenPoint(n, p8);
        m8.Trn(p8, o8);
        EXPECT_EQ(std::memcmp(o8, d8.data() + n * 5, sizeof o8), 0) << n;
    }
}

TEST(Mft3, EqualFractionsSelectTheTetrahedronOfTheStatedTestOrder) {
    Mft3Probe16 m(2, 1);
    std::vector<uint16_t> data(m.TabEntries(), 0);
    m.Define(data.data());
    m.InitTrn();
    // f0 == f1 passes "f0 at least f1".
    auto t = m.ChooseTetrahedron(500, 500, 200);
    EXPECT_EQ(t.d1, m.Delta100());
    EXPECT_EQ(t.d2, m.Delta110());
    EXPECT_EQ(t.w1, 0u);
    EXPECT_EQ(t.w2, 300u);
    EXPECT_EQ(t.w3, 200u);
    t = m.ChooseTetrahedron(500, 500, 900); // and then f2 at least f0
    EXPECT_EQ(t.d1, m.Delta001());
    EXPECT_EQ(t.d2, m.Delta101());
    EXPECT_EQ(t.w2, 0u);
    // f1 == f2 with f0 below them: "f2 at least f1".
    t = m.ChooseTetrahedron(100, 500, 500);
    EXPECT_EQ(t.d1, m.Delta001());
    EXPECT_EQ(t.d2, m.Delta011());
    EXPECT_EQ(t.d3, m.Delta111());
    EXPECT_EQ(t.w1, 0u);
    EXPECT_EQ(t.w2, 400u);
    EXPECT_EQ(t.w3, 100u);
}

TEST(Mft3, EqualFractionsGiveTheValueOfEitherNeighbouringTetrahedron) {
    // On the face f0 == f1 (> f2) both candidate tetrahedra reduce to
    // base + (f1 - f2) * d110 + f2 * d111; compute that from the corners directly.
    CMft3_16 m(2, 1);
    auto data = RandomSamples<uint16_t>(m.TabEntries(), 16);
    m.Define(data.data());
    m.InitTrn();
    const int64_t c000 = data[0], c110 = data[6], c111 = data[7];
    for (uint16_t x : {1000, 20000, 40000, 65000}) {
        const uint16_t in[3] = {x, x, uint16_t(x / 3)};
        const int64_t f01 = x, f2 = x / 3;
        const uint32_t s = uint32_t(int64_t(f01 - f2) * (c110 - c000) + f2 * (c111 - c000) + 32767);
        const int64_t expect = (c000 + int32_t(s) / 65535) & 0xFFFF;
        uint16_t out;
        m.Trn(in, &out);
        EXPECT_EQ(out, expect) << x;
    }
}

TEST(Mft3, DescendingChannelTakesTheNegativeRoundingBranch8Bit) {
    // Two points per axis, output 255 on the i = 0 side and 0 on the i = 1 side (and the
    // mirror image in a second channel). Input (100, 0, 0): f0 = 100, weights 100, 0, 0.
    // Descending: s = 100 * -255 + 127 = -25373; q = -((128 + 25373 * 257) >> 16) = -99,
    // so 255 - 99 = 156, where the exact value is 155: the half unit pulls toward zero.
    // Ascending: s = 100 * 255 + 127; q = (25627 * 257 + 128) >> 16 = 100.
    CMft3_8 m(2, 2);
    std::vector<uint8_t> data(m.TabEntries());
    for (unsigned n = 0; n < 8; ++n) {
        const bool i1 = n >= 4;
        data[n * 2] = i1 ? 0 : 255;
        data[n * 2 + 1] = i1 ? 255 : 0;
    }
    m.Define(data.data());
    m.InitTrn();
    const uint8_t in[3] = {100, 0, 0};
    uint8_t out[2];
    m.Trn(in, out);
    EXPECT_EQ(out[0], 156);
    EXPECT_EQ(out[1], 100);
}

TEST(Mft3, NegativeCorrectionIsTruncatedTowardZero16Bit) {
    // Same ramps in 16 bits with input 1000 (f0 = 1000): descending s = 1000 * -65535 + 32767,
    // q = s / 65535 truncated = -999 (exact -1000 + 0.5); ascending q = 1000.
    CMft3_16 m(2, 2);
    std::vector<uint16_t> data(m.TabEntries());
    for (unsigned n = 0; n < 8; ++n) {
        const bool i1 = n >= 4;
        data[n * 2] = i1 ? 0 : 65535;
        data[n * 2 + 1] = i1 ? 65535 : 0;
    }
    m.Define(data.data());
    m.InitTrn();
    const uint16_t in[3] = {1000, 0, 0};
    uint16_t out[2];
    m.Trn(in, out);
    EXPECT_EQ(out[0], 65535 - 999);
    EXPECT_EQ(out[1], 1000);
}

TEST(Mft3, GridTrnUsesItsOwnShiftRule) {
    CMft3_16 m16(16, 2);
    auto d16 = RandomSamples<uint16_t>(m16.TabEntries(), 17);
    m16.Define(d16.data());
    // 37137 * 15 = 557055: GridTrn (557055 + 32768) >> 16 = 8, while QuantizeToGridPoint
    // rounds 557055 / 65535 = 8 rest 32775 up to 9.
    const uint16_t in[3] = {37137, 0, 65535};
    uint16_t out[2];
    EXPECT_EQ(m16.GridTrn(in, out), 1);
    EXPECT_EQ(std::memcmp(out, d16.data() + m16.Index(8, 0, 15), sizeof out), 0);
    EXPECT_EQ(m16.QuantizeToGridPoint(in), m16.Index(9, 0, 15));

    CMft3_8 m8(16, 2);
    auto d8 = RandomSamples<uint8_t>(m8.TabEntries(), 18);
    m8.Define(d8.data());
    // 145 * 15 = 2175: (2175 + 128) >> 8 = 8, while 2175 / 255 = 8 rest 135 rounds up to 9.
    const uint8_t in8[3] = {145, 255, 0};
    uint8_t out8[2];
    m8.GridTrn(in8, out8);
    EXPECT_EQ(std::memcmp(out8, d8.data() + m8.Index(8, 15, 0), sizeof out8), 0);
    EXPECT_EQ(m8.QuantizeToGridPoint(in8), m8.Index(9, 15, 0));
}

TEST(Mft3, IdentityCellsAreUnfoldedAndFillTheWholeVolume) {
    CMft3_16 m16(9, 3);
    m16.DefineIdent();
    m16.InitTrn();
    CMft3_8 m8(5, 3);
    m8.DefineIdent();
    m8.InitTrn();
    double total = 0;
    for (unsigned i = 0; i < 8; ++i)
        for (unsigned j = 0; j < 8; ++j)
            for (unsigned k = 0; k < 8; ++k) {
                double v = -1;
                EXPECT_EQ(m16.GetVolume(i, j, k, &v), 1);
                EXPECT_NEAR(v, 1.0 / 512, 1e-3 / 512);
                total += v;
            }
    EXPECT_NEAR(total, 1.0, 1e-12);
    total = 0;
    for (unsigned i = 0; i < 4; ++i)
        for (unsigned j = 0; j < 4; ++j)
            for (unsigned k = 0; k < 4; ++k) {
                double v = -1;
                EXPECT_EQ(m8.GetVolume(i, j, k, &v), 1);
                total += v;
            }
    EXPECT_NEAR(total, 1.0, 1e-12);
    EXPECT_EQ(m8.GetVolume(0, 0, 0, nullptr), 1);
}

TEST(Mft3, SwappedOutputChannelsFoldEveryCell) {
    CMft3_16 m(5, 3);
    m.DefineIdent();
    std::vector<uint16_t> data(m.Table(), m.Table() + m.TabEntries());
    for (unsigned n = 0; n < m.TabCount(); ++n) std::swap(data[n * 3], data[n * 3 + 1]);
    m.Define(data.data());
    m.InitTrn();
    for (unsigned i = 0; i < 4; ++i)
        for (unsigned j = 0; j < 4; ++j)
            for (unsigned k = 0; k < 4; ++k) {
                double v = 0;
                EXPECT_EQ(m.GetVolume(i, j, k, &v), 0);
                EXPECT_LT(v, 0);
            }
}

TEST(Mft3, DefineWithoutInitTrnKeepsEvaluatingWithOldDifferences) {
    CMft3_16 m(3, 3);
    m.DefineIdent();
    m.InitTrn();
    const uint16_t in[3] = {10000, 20000, 30000}; // inside the cell at node (0, 0, 0)
    uint16_t ident[3], out[3];
    m.Trn(in, ident);
    std::vector<uint16_t> zero(m.TabEntries(), 0);
    m.Define(zero.data());
    // The node value is read from the new grid (0 at node (0, 0, 0), as before), the
    // differences are still those of the identity.
    m.Trn(in, out);
    EXPECT_EQ(std::memcmp(out, ident, sizeof out), 0);
    m.InitTrn();
    m.Trn(in, out);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(out[2], 0);
}

TEST(Mft3, InitTrnDoesNothingWhileTheTablesAreValid) {
    Mft3Probe16 m(3, 1);
    auto data = RandomSamples<uint16_t>(m.TabEntries(), 19);
    m.Define(data.data());
    m.InitTrn();
    m.delta111[0] = 12345; // a marker that only a rebuild would remove
    m.InitTrn();
    EXPECT_EQ(m.delta111[0], 12345);
    m.Define(data.data());
    m.InitTrn();
    EXPECT_EQ(m.delta111[0], int32_t(data[13]) - int32_t(data[0])); // node (1, 1, 1)
}

TEST(Mft3, ZeroOutputsWriteNothingAndAnswerOne) {
    CMft3_16 m(3, 0);
    m.InitTrn();
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out = 4242;
    EXPECT_EQ(m.Trn(in, &out), 1);
    EXPECT_EQ(out, 4242);
}

TEST(Mft3, CopyOfAPreparedGridIsPreparedAndIndependent) {
    CMft3_8 a(9, 4);
    auto data = RandomSamples<uint8_t>(a.TabEntries(), 20);
    a.Define(data.data());
    a.InitTrn();
    CMft3_8 b(a);
    CMft3_8 c;
    c = a;
    CMft3_16 a16(5, 2);
    auto d16 = RandomSamples<uint16_t>(a16.TabEntries(), 21);
    a16.Define(d16.data());
    a16.InitTrn();
    CMft3_16 b16(a16);
    std::mt19937 rng(22);
    std::uniform_int_distribution<unsigned> any(0, 65535);
    for (int n = 0; n < 2000; ++n) {
        const uint8_t in[3] = {uint8_t(any(rng)), uint8_t(any(rng)), uint8_t(any(rng))};
        uint8_t oa[4], ob[4], oc[4];
        a.Trn(in, oa);
        b.Trn(in, ob);
        c.Trn(in, oc);
        ASSERT_EQ(std::memcmp(oa, ob, 4), 0);
        ASSERT_EQ(std::memcmp(oa, oc, 4), 0);
        const uint16_t in16[3] = {uint16_t(any(rng)), uint16_t(any(rng)), uint16_t(any(rng))};
        uint16_t pa[2], pb[2];
        a16.Trn(in16, pa);
        b16.Trn(in16, pb);
        ASSERT_EQ(std::memcmp(pa, pb, sizeof pa), 0);
    }
    // Changing the source does not reach the copy.
    std::vector<uint8_t> zero(a.TabEntries(), 0);
    a.Define(zero.data());
    a.InitTrn();
    EXPECT_EQ(std::memcmp(b.Table(), data.data(), data.size()), 0);
    EXPECT_NE(b.Delta100(), a.Delta100());
}

// A 16-bit grid that was never prepared takes its differences from the grid: the same values
// as the prepared tables, on random inputs and on the edges, where a corner lies outside.
TEST(Mft3, UnpreparedSixteenBitGridEvaluatesAsThePreparedOne) {
    for (const unsigned points : {2u, 5u, 17u}) {
        CMft3_16 prepared(points, 4), unprepared(points, 4);
        DefinePreparedAndUnprepared(prepared, unprepared, 41 + points);
        std::mt19937 rng(points);
        std::uniform_int_distribution<int> any(0, 65535);
        const uint16_t edges[] = {0, 1, 32768, 65534, 65535};
        for (int n = 0; n < 200000; ++n) {
            uint16_t in[3];
            for (auto& v : in) v = n % 4 == 0 ? edges[any(rng) % 5] : uint16_t(any(rng));
            uint16_t a[4], b[4];
            prepared.Trn(in, a);
            unprepared.Trn(in, b);
            ASSERT_EQ(std::memcmp(a, b, sizeof a), 0)
                << points << ": " << in[0] << " " << in[1] << " " << in[2];
        }
    }
}

TEST(Mft3, UnpreparedSixteenBitGridAgreesWithThePreparedOneOnEveryOrderOfTiedFractions) {
    // With 65535 a multiple of P - 1, input k * step + t has fraction t * (P - 1) in cell k: t
    // drawn from three values gives every order of the fractions and every kind of tie.
    for (const unsigned points : {2u, 4u, 16u}) {
        CMft3_16 prepared(points, 3), unprepared(points, 3);
        DefinePreparedAndUnprepared(prepared, unprepared, 7 + points);
        const uint32_t step = 65535 / (points - 1);
        std::mt19937 rng(points + 100);
        for (int n = 0; n < 300000; ++n) {
            const uint32_t ts[3] = {uint32_t(rng() % step), uint32_t(rng() % step),
                                    uint32_t(rng() % 3)};
            uint16_t in[3];
            for (auto& v : in) v = uint16_t((rng() % (points - 1)) * step + ts[rng() % 3]);
            uint16_t a[3], b[3];
            prepared.Trn(in, a);
            unprepared.Trn(in, b);
            ASSERT_EQ(std::memcmp(a, b, sizeof a), 0)
                << points << ": " << in[0] << " " << in[1] << " " << in[2];
        }
    }
}
