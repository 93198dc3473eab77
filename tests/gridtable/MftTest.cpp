// The grid base: counts, node coordinates, quantisation, filling operations, copies.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "MftProbe.h"
#include "colorfunc/ConcatFunc.h"
#include "colorfunc/Func16Tab.h"

namespace {

// 3-to-4 function that writes recognisable values built from its input.
class Pack16 : public CFunc_16 {
public:
    Pack16() : CFunc_16(3, 4) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        out[0] = in[0];
        out[1] = in[1];
        out[2] = in[2];
        out[3] = uint16_t(in[0] ^ in[1] ^ in[2]);
        return 1;
    }
};

// n-to-n function that complements every sample.
class Complement16 : public CFunc_16 {
public:
    explicit Complement16(unsigned n) : CFunc_16(n, n) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        for (unsigned c = 0; c < outputChan(); ++c) out[c] = uint16_t(65535 - in[c]);
        return 1;
    }
};

// Writes 7 everywhere and still reports failure.
class FailingWriter8 : public CFunc_8 {
public:
    FailingWriter8(unsigned in, unsigned out) : CFunc_8(in, out) {}
    int Trn(const uint8_t*, uint8_t* out) const override {
        for (unsigned c = 0; c < outputChan(); ++c) out[c] = 7;
        return 0;
    }
};

// Reads the nearest node of the grid it is given and adds 1 to every sample.
class NearestPlusOne16 : public CFunc_16 {
public:
    explicit NearestPlusOne16(const CMft_16& g)
        : CFunc_16(g.inputChan(), g.outputChan()), grid(g) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        const uint16_t* node = grid.Table() + grid.QuantizeToGridPoint(in);
        for (unsigned c = 0; c < outputChan(); ++c) out[c] = uint16_t(node[c] + 1);
        return 1;
    }
    const CMft_16& grid;
};

} // namespace

TEST(MftBase, SizingConstructorDerivesCountsFor17PointsThreeInFourOut) {
    MftProbe<CMft_16> m(3, 17, 4);
    EXPECT_EQ(m.inputChan(), 3u);
    EXPECT_EQ(m.outputChan(), 4u);
    EXPECT_EQ(m.clutPoints(), 17u);
    EXPECT_EQ(m.gridMax, 16u);
    EXPECT_EQ(m.gridHalf, 8u);
    EXPECT_EQ(m.TabCount(), 4913u);
    EXPECT_EQ(m.TabEntries(), 19652u);
    EXPECT_EQ(m.dimPower, (std::vector<uint32_t>{1, 17, 289, 4913}));
    EXPECT_EQ(m.deltaValid, 0);
    EXPECT_NE(m.Table(), nullptr);
}

TEST(MftBase, DefaultObjectIsThreeToThreeWithoutGrid) {
    MftProbe<CMft_8> m;
    EXPECT_EQ(m.inputChan(), 3u);
    EXPECT_EQ(m.outputChan(), 3u);
    EXPECT_EQ(m.clutPoints(), 0u);
    EXPECT_EQ(m.TabCount(), 0u);
    EXPECT_EQ(m.TabEntries(), 0u);
    EXPECT_TRUE(m.dimPower.empty());
}

TEST(MftBase, SrgbToLabSizedGridReportsItsCounts) {
    CMft_16 m(3, 33, 3);
    EXPECT_EQ(m.clutPoints(), 33u);
    EXPECT_EQ(m.TabCount(), 35937u);
    EXPECT_EQ(m.TabEntries(), 107811u);
}

TEST(MftBase, NodeCoordinatesRoundToNearest) {
    CMft_16 m16(3, 17, 1);
    uint16_t p[3];
    m16.GenPoint(1, p); // (65535 + 8) / 16
    EXPECT_EQ(p[0], 0);
    EXPECT_EQ(p[1], 0);
    EXPECT_EQ(p[2], 4096);
    m16.GenPoint(16, p);
    EXPECT_EQ(p[2], 65535);
    m16.GenPoint(17 * 17 + 2 * 17 + 16, p); // last input is the fastest index
    EXPECT_EQ(p[0], 4096);
    EXPECT_EQ(p[1], 8192);
    EXPECT_EQ(p[2], 65535);

    CMft_8 m8(3, 9, 1);
    uint8_t q[3];
    m8.GenPoint(4, q); // (1020 + 4) / 8
    EXPECT_EQ(q[2], 128);
    m8.GenPoint(8, q);
    EXPECT_EQ(q[2], 255);
}

TEST(MftBase, GenGridPointAgreesWithGenPointThroughGetIndex) {
    CMft_8 m(3, 9, 2);
    for (unsigned n = 0; n < m.TabCount(); ++n) {
        unsigned idx[3];
        m.GetIndex(n, idx);
        EXPECT_EQ((idx[0] * 9 + idx[1]) * 9 + idx[2], n);
        uint8_t a[3], b[3];
        m.GenPoint(n, a);
        m.GenGridPoint(idx, b);
        EXPECT_EQ(std::memcmp(a, b, 3), 0) << n;
    }
}

TEST(MftBase, GetIndexWritesThreeAxesWhateverTheInputCount) {
    CMft_16 m(4, 5, 1);
    unsigned idx[3] = {99, 99, 99};
    m.GetIndex(((2 * 5 + 3) * 5 + 1) * 5 + 4, idx); // node (2, 3, 1, 4)
    EXPECT_EQ(idx[0], 3u);                          // the three fastest axes only
    EXPECT_EQ(idx[1], 1u);
    EXPECT_EQ(idx[2], 4u);
}

TEST(MftBase, QuantizeToGridPointGivesSampleOffsetOfCorners) {
    CMft_16 m16(3, 17, 4);
    const uint16_t zero16[3] = {0, 0, 0}, full16[3] = {65535, 65535, 65535};
    EXPECT_EQ(m16.QuantizeToGridPoint(zero16), 0u);
    EXPECT_EQ(m16.QuantizeToGridPoint(full16), (m16.TabCount() - 1) * 4);

    CMft_8 m8(4, 7, 3);
    const uint8_t zero8[4] = {0, 0, 0, 0}, full8[4] = {255, 255, 255, 255};
    EXPECT_EQ(m8.QuantizeToGridPoint(zero8), 0u);
    EXPECT_EQ(m8.QuantizeToGridPoint(full8), (m8.TabCount() - 1) * 3);
}

TEST(MftBase, QuantizeToGridPointRoundsHalfUp) {
    // P = 3: the middle of the first cell is at p = x * 2 = S / 2.
    CMft_16 m16(1, 3, 1);
    const uint16_t below = 16383, half = 16384; // p modulo 65535 = 32766, 32768
    EXPECT_EQ(m16.QuantizeToGridPoint(&below), 0u);
    EXPECT_EQ(m16.QuantizeToGridPoint(&half), 1u);
    CMft_8 m8(1, 3, 2);
    const uint8_t b8 = 63, h8 = 64; // p modulo 255 = 126, 128
    EXPECT_EQ(m8.QuantizeToGridPoint(&b8), 0u);
    EXPECT_EQ(m8.QuantizeToGridPoint(&h8), 2u); // a sample offset: node 1 times 2 outputs
}

TEST(MftBase, DefineCopiesSamplesAndClearsDeltaValid) {
    MftProbe<CMft_8> m(3, 2, 3);
    m.deltaValid = 1;
    const std::vector<uint8_t> data = RandomSamples<uint8_t>(m.TabEntries(), 5);
    m.Define(data.data());
    EXPECT_EQ(std::memcmp(m.Table(), data.data(), data.size()), 0);
    EXPECT_EQ(m.deltaValid, 0);
}

TEST(MftBase, DefineByFuncEvaluatesTheFunctionAtEveryNode) {
    MftProbe<CMft_16> m(3, 5, 4);
    m.deltaValid = 1;
    m.DefineByFunc(Pack16());
    for (unsigned n = 0; n < m.TabCount(); ++n) {
        uint16_t p[3];
        m.GenPoint(n, p);
        const uint16_t* node = m.Table() + n * 4;
        EXPECT_EQ(node[0], p[0]);
        EXPECT_EQ(node[1], p[1]);
        EXPECT_EQ(node[2], p[2]);
        EXPECT_EQ(node[3], uint16_t(p[0] ^ p[1] ^ p[2]));
    }
    EXPECT_EQ(m.deltaValid, 0);
}

TEST(MftBase, DefineByFuncMayReadTheTableItReplaces) {
    CMft_16 m(3, 4, 2);
    const std::vector<uint16_t> data = RandomSamples<uint16_t>(m.TabEntries(), 6);
    m.Define(data.data());
    m.DefineByFunc(NearestPlusOne16(m));
    // Every node sees the old grid, so each sample grows by exactly 1.
    for (unsigned i = 0; i < m.TabEntries(); ++i)
        EXPECT_EQ(m.Table()[i], uint16_t(data[i] + 1)) << i;
}

TEST(MftBase, DefineByFuncStoresWhatAFailingFunctionLeft) {
    CMft_8 m(3, 3, 2);
    m.DefineByFunc(FailingWriter8(3, 2));
    for (unsigned i = 0; i < m.TabEntries(); ++i) EXPECT_EQ(m.Table()[i], 7) << i;
}

TEST(MftBase, AppendFuncPassesEveryNodeVectorThroughTheFunction) {
    MftProbe<CMft_16> m(4, 3, 3);
    const std::vector<uint16_t> data = RandomSamples<uint16_t>(m.TabEntries(), 7);
    m.Define(data.data());
    m.deltaValid = 1;
    m.AppendFunc(Complement16(3));
    for (unsigned i = 0; i < m.TabEntries(); ++i)
        EXPECT_EQ(m.Table()[i], uint16_t(65535 - data[i])) << i;
    EXPECT_EQ(m.deltaValid, 0);
}

TEST(MftBase, AppendFuncWithOtherOutputCountLeavesGridAndClearsDeltaValid) {
    MftProbe<CMft_16> m(3, 3, 3);
    const std::vector<uint16_t> data = RandomSamples<uint16_t>(m.TabEntries(), 8);
    m.Define(data.data());
    m.deltaValid = 1;
    m.AppendFunc(Complement16(4));
    EXPECT_EQ(std::memcmp(m.Table(), data.data(), data.size() * 2), 0);
    EXPECT_EQ(m.deltaValid, 0);
}

TEST(MftBase, BareGridDoesNotEvaluateInEitherDirection) {
    CMft_16 m(3, 2, 3);
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out[3] = {11, 22, 33};
    EXPECT_EQ(m.Trn(in, out), 0);
    EXPECT_EQ(m.Inv(in, out), 0);
    EXPECT_EQ(out[0], 11);
    EXPECT_EQ(out[1], 22);
    EXPECT_EQ(out[2], 33);
}

TEST(MftBase, CopyAndAssignmentAreDeep) {
    CMft_8 a(3, 3, 2);
    const std::vector<uint8_t> data = RandomSamples<uint8_t>(a.TabEntries(), 9);
    a.Define(data.data());
    CMft_8 b(a);
    CMft_8 c;
    c = a;
    const std::vector<uint8_t> other = RandomSamples<uint8_t>(a.TabEntries(), 10);
    a.Define(other.data());
    for (const CMft_8* m : {&b, &c}) {
        EXPECT_EQ(m->clutPoints(), 3u);
        EXPECT_EQ(m->TabEntries(), a.TabEntries());
        EXPECT_NE(m->Table(), a.Table());
        EXPECT_EQ(std::memcmp(m->Table(), data.data(), data.size()), 0);
    }
    CMft_8& self = c;
    c = self;
    EXPECT_EQ(std::memcmp(c.Table(), data.data(), data.size()), 0);
}

TEST(MftBase, RuntimeClassesCarryTheArchiveNamesAndCreateObjects) {
    struct Expect {
        const CRuntimeClass* cls;
        const char* name;
        const CRuntimeClass* base;
    };
    const Expect all[] = {
        {RUNTIME_CLASS(CMft_8), "CMft_8", RUNTIME_CLASS(CFunc_8)},
        {RUNTIME_CLASS(CMft_16), "CMft_16", RUNTIME_CLASS(CFunc_16)},
        {RUNTIME_CLASS(CMft3_8), "CMft3_8", RUNTIME_CLASS(CMft_8)},
        {RUNTIME_CLASS(CMft3_16), "CMft3_16", RUNTIME_CLASS(CMft_16)},
        {RUNTIME_CLASS(CMft4_8), "CMft4_8", RUNTIME_CLASS(CMft_8)},
        {RUNTIME_CLASS(CMft4_16), "CMft4_16", RUNTIME_CLASS(CMft_16)},
    };
    for (const Expect& e : all) {
        EXPECT_STREQ(e.cls->m_lpszClassName, e.name);
        EXPECT_EQ(e.cls->m_pBaseClass, e.base);
        EXPECT_EQ(CRuntimeClass::FromName(e.name), e.cls);
        std::unique_ptr<CObject> obj(e.cls->CreateObject());
        ASSERT_NE(obj, nullptr);
        EXPECT_EQ(obj->GetRuntimeClass(), e.cls);
    }
    CMft3_16 m3;
    EXPECT_TRUE(m3.IsKindOf(RUNTIME_CLASS(CMft_16)));
    EXPECT_TRUE(m3.IsKindOf(RUNTIME_CLASS(CFunc_16)));
    EXPECT_FALSE(m3.IsKindOf(RUNTIME_CLASS(CMft_8)));
    EXPECT_EQ(m3.inputChan(), 3u);
    CMft4_8 m4;
    EXPECT_EQ(m4.clutPoints(), 0u); // a created object has no grid until it is loaded
}

namespace {

// n-to-(n + 1) function whose every output depends on all inputs and on their order.
template <class F> class Mix : public F {
public:
    using T = typename F::Sample;
    explicit Mix(unsigned n) : F(n, n + 1) {}
    int Trn(const T* in, T* out) const override {
        uint32_t h = 17;
        for (unsigned c = 0; c < this->inputChan(); ++c) {
            h = h * 31u + in[c];
            out[c] = static_cast<T>(in[c] ^ (h >> 3));
        }
        out[this->inputChan()] = static_cast<T>(h);
        return 1;
    }
};

template <class M, class F> void ExpectThreadedEqualsPlain(unsigned inputs, unsigned points) {
    Mix<F> f(inputs);
    M plain(inputs, points, inputs + 1);
    plain.DefineByFunc(f);
    for (unsigned threads : {1u, 2u, 3u}) {
        M threaded(inputs, points, inputs + 1);
        threaded.DefineByFuncOnThreads(f, threads);
        ASSERT_EQ(std::memcmp(threaded.Table(), plain.Table(),
                              plain.TabEntries() * sizeof(*plain.Table())),
                  0)
            << inputs << " inputs, " << points << " points, " << threads << " threads";
    }
}

} // namespace

TEST(MftBase, DefineByFuncOnThreadsGivesTheGridOfDefineByFuncForEveryShape) {
    for (unsigned inputs : {1u, 2u, 3u, 4u})
        for (unsigned points : {2u, 3u, 9u, 17u, 33u}) {
            if (inputs == 4 && points == 33) continue; // 1.2 million nodes: 17 suffices
            ExpectThreadedEqualsPlain<CMft_16, CFunc_16>(inputs, points);
            ExpectThreadedEqualsPlain<CMft_8, CFunc_8>(inputs, points);
        }
    // More than one run of nodes per thread, the runs ending inside an axis.
    ExpectThreadedEqualsPlain<CMft_16, CFunc_16>(3, 65);
    ExpectThreadedEqualsPlain<CMft_16, CFunc_16>(5, 7);
    // More inputs than the threaded way keeps on the stack: evaluated node by node.
    ExpectThreadedEqualsPlain<CMft_16, CFunc_16>(9, 3);
}

TEST(MftBase, HeadEvaluatedPerAxisGivesTheGridOfTheWholeComposition) {
    // Curves that differ per channel: the head of the composition.
    std::vector<uint16_t> raw(9 * 256);
    for (unsigned i = 0; i < raw.size(); ++i) raw[i] = static_cast<uint16_t>(i * 40503u);
    for (unsigned inputs : {1u, 3u, 4u, 9u})
        for (unsigned points : {2u, 17u, 33u}) {
            if ((inputs == 4 && points == 33) || (inputs == 9 && points > 2)) continue;
            const CFunc_16Tab head(inputs, raw.data(), 256);
            Mix<CFunc_16> rest(inputs);
            const CConcatFunc_16 whole(rest, head);
            CMft_16 plain(inputs, points, inputs + 1);
            plain.DefineByFunc(whole);
            for (unsigned threads : {1u, 2u}) {
                CMft_16 split(inputs, points, inputs + 1);
                split.DefineByFuncOnThreads(head, rest, threads);
                ASSERT_EQ(std::memcmp(split.Table(), plain.Table(),
                                      plain.TabEntries() * sizeof(uint16_t)),
                          0)
                    << inputs << " inputs, " << points << " points, " << threads << " threads";
            }
        }
}
