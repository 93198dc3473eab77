// Table pipelines: curves, grid, curves; skip flags, the V13 mode, GridTrn, clones, width
// conversion of the parts, and the archive body of the persistent 8-bit pipelines.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "base/Archive.h"
#include "base/Exception.h"
#include "base/File.h"
#include "gridtable/TabMft.h"

namespace {

// A smooth map from n inputs to m outputs on either width, for filling grids: output k is a
// blend of powers of the inputs, within the full scale.
template <class T> class TSmoothFunc : public FuncOf_t<T> {
public:
    TSmoothFunc(unsigned in, unsigned out) : FuncOf_t<T>(in, out) {}
    int Trn(const T* in, T* out) const override {
        constexpr double S = FuncOf_t<T>::kFullScale;
        for (unsigned k = 0; k < this->outputChan(); ++k) {
            double y = 0;
            for (unsigned j = 0; j < this->inputChan(); ++j) {
                const double x = in[j] / S;
                y += std::pow(x, 0.7 + 0.3 * ((j + k) % 3)) * (1.0 + ((j * 3 + k) % 4));
            }
            y /= this->inputChan() * 2.5;
            out[k] = static_cast<T>(std::min(y, 1.0) * S + 0.5);
        }
        return 1;
    }
};

// 8-bit curves for `channels` channels, each of its own shape.
std::vector<uint8_t> Curves8(unsigned channels, unsigned seed) {
    std::vector<uint8_t> t(channels * 256);
    for (unsigned c = 0; c < channels; ++c) {
        const double g = 0.6 + 0.25 * ((c + seed) % 4);
        for (unsigned i = 0; i < 256; ++i) {
            double y = std::pow(i / 255.0, g);
            if ((c + seed) % 3 == 2) y = 1.0 - y; // a falling curve as well
            t[c * 256 + i] = static_cast<uint8_t>(y * 255.0 + 0.5);
        }
    }
    return t;
}

std::vector<uint16_t> Curves16(unsigned channels, unsigned entries, unsigned seed) {
    std::vector<uint16_t> t(channels * entries);
    for (unsigned c = 0; c < channels; ++c) {
        const double g = 0.6 + 0.25 * ((c + seed) % 4);
        for (unsigned i = 0; i < entries; ++i)
            t[c * entries + i] =
                static_cast<uint16_t>(std::pow(i / double(entries - 1), g) * 65535.0 + 0.5);
    }
    return t;
}

template <class P>
std::vector<typename P::Sample> Apply(const P& p, const std::vector<typename P::Sample>& in) {
    std::vector<typename P::Sample> out(p.outputChan());
    EXPECT_EQ(p.Trn(in.data(), out.data()), 1);
    return out;
}

TEST(TabMft, FreshPipelineWithIdentityGridIsIdentity8) {
    CFunc_8Tab3Mft p(17, 3);
    p.Mft().DefineIdent();
    p.InitMftTrn();
    for (unsigned v = 0; v < 256; v += 3)
        for (unsigned w = 0; w < 256; w += 5) {
            const std::vector<uint8_t> in = {uint8_t(v), uint8_t(w), uint8_t(255 - v)};
            const auto out = Apply(p, in);
            for (int c = 0; c < 3; ++c) EXPECT_LE(std::abs(int(out[c]) - int(in[c])), 1) << v;
        }
}

TEST(TabMft, FreshPipelineWithIdentityGridIsIdentity16) {
    CFunc_16Tab3Mft p(17, 3);
    p.Mft().DefineIdent();
    p.InitMftTrn();
    // Within rounding: each identity curve reads its input at 12 bits (up to 15 units off),
    // and the grid's rounded nodes add one unit.
    for (uint32_t v = 0; v < 65536; v += 251) {
        const std::vector<uint16_t> in = {uint16_t(v), uint16_t(65535 - v), uint16_t(v * 7)};
        const auto out = Apply(p, in);
        for (int c = 0; c < 3; ++c) EXPECT_LE(std::abs(int(out[c]) - int(in[c])), 31) << v;
    }
    EXPECT_EQ(Apply(p, {0, 0, 0}), (std::vector<uint16_t>{0, 0, 0}));
    EXPECT_EQ(Apply(p, {65535, 65535, 65535}), (std::vector<uint16_t>{65535, 65535, 65535}));
}

TEST(TabMft, V13ModeTrnIsTheBareGridWhileGridTrnStillAppliesTheCurves) {
    CFunc_8Tab3Mft p(9, 4);
    p.DefineInputTab(Curves8(3, 0).data());
    p.DefineOutputTab(Curves8(4, 1).data());
    p.DefineByFunc(TSmoothFunc<uint8_t>(3, 4));
    p.InitMftTrn();
    CFunc_8Tab3Mft plain(p);
    p.SetDefaultTransV13Mode();
    EXPECT_TRUE(p.skipInputTab());
    EXPECT_TRUE(p.skipOutputTab());
    int differs = 0;
    for (unsigned v = 0; v < 256; v += 15) {
        const std::vector<uint8_t> in = {uint8_t(v), uint8_t(255 - v), uint8_t(v / 2)};
        std::vector<uint8_t> grid(4), viaGridTrn(4), expected(4), a(3), b(4);
        p.Mft().Trn(in.data(), grid.data());
        EXPECT_EQ(Apply(p, in), grid);
        differs += Apply(plain, in) != grid;
        // GridTrn: curves around the nearest node, flags or not.
        EXPECT_EQ(p.GridTrn(in.data(), viaGridTrn.data()), 1);
        p.FuncInputTab().Trn(in.data(), a.data());
        p.Mft().GridTrn(a.data(), b.data());
        p.FuncOutputTab().Trn(b.data(), expected.data());
        EXPECT_EQ(viaGridTrn, expected);
        std::vector<uint8_t> plainGridTrn(4);
        plain.GridTrn(in.data(), plainGridTrn.data());
        EXPECT_EQ(plainGridTrn, viaGridTrn);
    }
    EXPECT_GT(differs, 0); // the curves do matter when they are used
}

TEST(TabMft, SkipFlagsEachBypassOneSide16) {
    CFunc_16Tab3Mft p(9, 3);
    const auto in16 = Curves16(3, 100, 0);
    const auto out16 = Curves16(3, 50, 1);
    p.DefineInputTab(in16.data(), 100);
    p.DefineOutputTab(out16.data(), 50);
    p.DefineByFunc(TSmoothFunc<uint16_t>(3, 3));
    p.InitMftTrn();
    const std::vector<uint16_t> in = {0x1237, 0x8ABC, 0xF00F};
    std::vector<uint16_t> a(3), b(3), c(3);
    p.SetSkipInputTab(true);
    // The grid gets the unquantised input, the output curves its result.
    p.Mft().Trn(in.data(), b.data());
    p.FuncOutputTab().Trn(b.data(), c.data());
    EXPECT_EQ(Apply(p, in), c);
    p.SetSkipInputTab(false);
    p.SetSkipOutputTab(true);
    p.FuncInputTab().Trn(in.data(), a.data());
    p.Mft().Trn(a.data(), b.data());
    EXPECT_EQ(Apply(p, in), b);
}

// Every combination of the skip flags, evaluated into another vector and in place (the
// output written over the input), gives the stages applied one after another by hand.
template <class P> void ExpectSkipCombinationsByHandAndInPlace(P& p, unsigned seed) {
    using T = typename P::Sample;
    constexpr unsigned n = P::kInputs;
    std::mt19937 rng(seed);
    for (int flags = 0; flags < 4; ++flags) {
        p.SetSkipInputTab(flags & 1);
        p.SetSkipOutputTab(flags & 2);
        for (int k = 0; k < 2000; ++k) {
            std::vector<T> in(n), a(n), b(n), expected(n);
            for (auto& v : in) v = static_cast<T>(rng());
            if (flags & 1)
                a = in;
            else
                p.FuncInputTab().Trn(in.data(), a.data());
            p.Mft().Trn(a.data(), b.data());
            if (flags & 2)
                expected = b;
            else
                p.FuncOutputTab().Trn(b.data(), expected.data());
            ASSERT_EQ(Apply(p, in), expected) << flags;
            std::vector<T> inPlace = in;
            p.Trn(inPlace.data(), inPlace.data());
            ASSERT_EQ(inPlace, expected) << flags;
        }
    }
}

TEST(TabMft, SkippedCurvesGiveTheStagesByHandAlsoInPlace) {
    CFunc_16Tab3Mft p3(9, 3);
    p3.DefineInputTab(Curves16(3, 100, 0).data(), 100);
    p3.DefineOutputTab(Curves16(3, 50, 1).data(), 50);
    p3.DefineByFunc(TSmoothFunc<uint16_t>(3, 3));
    ExpectSkipCombinationsByHandAndInPlace(p3, 1); // unprepared
    p3.InitMftTrn();
    ExpectSkipCombinationsByHandAndInPlace(p3, 2);
    CFunc_16Tab4Mft p4(5, 4);
    p4.DefineInputTab(Curves16(4, 64, 2).data(), 64);
    p4.DefineOutputTab(Curves16(4, 30, 3).data(), 30);
    p4.DefineByFunc(TSmoothFunc<uint16_t>(4, 4));
    ExpectSkipCombinationsByHandAndInPlace(p4, 3);
    p4.InitMftTrn();
    ExpectSkipCombinationsByHandAndInPlace(p4, 4);
    CFunc_8Tab3Mft q3(9, 3);
    q3.DefineInputTab(Curves8(3, 0).data());
    q3.DefineOutputTab(Curves8(3, 1).data());
    q3.DefineByFunc(TSmoothFunc<uint8_t>(3, 3));
    q3.InitMftTrn();
    ExpectSkipCombinationsByHandAndInPlace(q3, 5);
    CFunc_8Tab4Mft q4(5, 4);
    q4.DefineInputTab(Curves8(4, 2).data());
    q4.DefineOutputTab(Curves8(4, 3).data());
    q4.DefineByFunc(TSmoothFunc<uint8_t>(4, 4));
    q4.InitMftTrn();
    ExpectSkipCombinationsByHandAndInPlace(q4, 6);
}

TEST(TabMft, PipelineFromSixteenBitsHasFalseSkipFlags) {
    CFunc_16Tab3Mft s(5, 3);
    s.SetSkipInputTab(true);
    s.SetSkipOutputTab(true);
    const CFunc_8Tab3Mft p(s);
    EXPECT_FALSE(p.skipInputTab());
    EXPECT_FALSE(p.skipOutputTab());
    CFunc_16Tab4Mft s4(5, 2);
    s4.SetSkipInputTab(true);
    const CFunc_8Tab4Mft p4(s4);
    EXPECT_FALSE(p4.skipInputTab());
    // And the other way.
    CFunc_8Tab3Mft e(5, 3);
    e.SetDefaultTransV13Mode();
    const CFunc_16Tab3Mft w(e);
    EXPECT_FALSE(w.skipInputTab());
    EXPECT_FALSE(w.skipOutputTab());
}

// The bases are abstract; a minimal complete class shows what the base answers.
class BareBase8 : public CFunc_8TabBaseMft {
public:
    void InitMftTrn() override {}
    CFunc_8TabBaseMft* CreateClone() const override { return new BareBase8(*this); }
};
class BareBase16 : public CFunc_16TabBaseMft {
public:
    BareBase16() : CFunc_16TabBaseMft(3, 3) {}
    void InitMftTrn() override {}
    CFunc_16TabBaseMft* CreateClone() const override { return new BareBase16(*this); }
};

TEST(TabMft, ClutEntriesOnTheBaseAnswersZero) {
    const BareBase8 b8;
    const BareBase16 b16;
    EXPECT_EQ(b8.clutEntries(), 0u);
    EXPECT_EQ(b16.clutEntries(), 0u);
    EXPECT_EQ(b8.inputChan(), 3u); // the default base is 3 to 3
    EXPECT_EQ(b8.outputChan(), 3u);
    const uint8_t in[3] = {1, 2, 3};
    uint8_t out[3] = {9, 9, 9};
    EXPECT_EQ(b8.Trn(in, out), 0);
    EXPECT_EQ(out[0], 9);
}

TEST(TabMft, ClutEntriesIsPointsToThePowerOfTheInputs) {
    EXPECT_EQ(CFunc_8Tab3Mft(9, 4).clutEntries(), 729u);
    EXPECT_EQ(CFunc_8Tab4Mft(9, 3).clutEntries(), 6561u);
    EXPECT_EQ(CFunc_16Tab3Mft(33, 4).clutEntries(), 35937u);
    EXPECT_EQ(CFunc_16Tab4Mft(17, 4).clutEntries(), 83521u);
}

TEST(TabMft, DefineByFuncLeavesTheCurvesUntouched) {
    CFunc_16Tab4Mft p(5, 3);
    const auto in16 = Curves16(4, 300, 2);
    const auto out16 = Curves16(3, 7, 3);
    p.DefineInputTab(in16.data(), 300);
    p.DefineOutputTab(out16.data(), 7);
    p.DefineByFunc(TSmoothFunc<uint16_t>(4, 3));
    EXPECT_EQ(p.FuncInputTab().entries(), 300u);
    EXPECT_TRUE(std::equal(in16.begin(), in16.end(), p.FuncInputTab().pRawTab()));
    EXPECT_EQ(p.FuncOutputTab().entries(), 7u);
    EXPECT_TRUE(std::equal(out16.begin(), out16.end(), p.FuncOutputTab().pRawTab()));

    CFunc_8Tab3Mft q(5, 3);
    const auto c8 = Curves8(3, 1);
    q.DefineInputTab(c8.data());
    q.DefineOutputTab(c8.data());
    q.DefineByFunc(TSmoothFunc<uint8_t>(3, 3));
    EXPECT_TRUE(std::equal(c8.begin(), c8.end(), q.FuncInputTab().pTab()));
    EXPECT_TRUE(std::equal(c8.begin(), c8.end(), q.FuncOutputTab().pTab()));
    // The grid holds f at the nodes, not the curves around it.
    std::vector<uint8_t> node(3), fAtNode(3), point(3);
    q.Mft().GenPoint(37, point.data());
    TSmoothFunc<uint8_t>(3, 3).Trn(point.data(), fAtNode.data());
    std::copy(q.Mft().Table() + 37 * 3, q.Mft().Table() + 38 * 3, node.begin());
    EXPECT_EQ(node, fAtNode);
}

TEST(TabMft, TrnIsCurvesGridCurves) {
    CFunc_8Tab4Mft p(7, 4);
    p.DefineInputTab(Curves8(4, 2).data());
    p.DefineOutputTab(Curves8(4, 3).data());
    p.DefineByFunc(TSmoothFunc<uint8_t>(4, 4));
    p.InitMftTrn();
    for (unsigned v = 0; v < 256; v += 17) {
        const std::vector<uint8_t> in = {uint8_t(v), uint8_t(255 - v), uint8_t(v / 3), 200};
        std::vector<uint8_t> a(4), b(4), c(4);
        p.FuncInputTab().Trn(in.data(), a.data());
        p.Mft().Trn(a.data(), b.data());
        p.FuncOutputTab().Trn(b.data(), c.data());
        EXPECT_EQ(Apply(p, in), c);
    }
}

TEST(TabMft, PipelineHasNoInverse) {
    CFunc_16Tab3Mft p(3, 3);
    p.Mft().DefineIdent();
    p.InitMftTrn();
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out[3] = {5, 5, 5};
    EXPECT_EQ(p.Inv(in, out), 0);
    EXPECT_EQ(out[0], 5);
}

TEST(TabMft, CloneIsOfTheSameClassDeepAndPrepared) {
    CFunc_16Tab3Mft p(9, 4);
    p.DefineByFunc(TSmoothFunc<uint16_t>(3, 4));
    p.InitMftTrn();
    p.SetSkipOutputTab(true);
    std::unique_ptr<CFunc_16TabBaseMft> clone(p.CreateClone());
    ASSERT_TRUE(clone->IsKindOf(RUNTIME_CLASS(CFunc_16Tab3Mft)));
    EXPECT_TRUE(clone->skipOutputTab());
    const std::vector<uint16_t> in = {100, 30000, 60000};
    std::vector<uint16_t> a(4), b(4);
    p.Trn(in.data(), a.data());
    clone->Trn(in.data(), b.data());
    EXPECT_EQ(a, b);
    p.Mft().DefineIdent(); // a change of the source does not reach the clone
    p.InitMftTrn();
    clone->Trn(in.data(), b.data());
    EXPECT_EQ(a, b);

    CFunc_8Tab4Mft q(5, 2);
    q.DefineByFunc(TSmoothFunc<uint8_t>(4, 2));
    q.InitMftTrn();
    std::unique_ptr<CFunc_8TabBaseMft> qc(q.CreateClone());
    EXPECT_TRUE(qc->IsKindOf(RUNTIME_CLASS(CFunc_8Tab4Mft)));
    EXPECT_EQ(qc->clutEntries(), 625u);
    const uint8_t in8[4] = {10, 20, 130, 250};
    uint8_t x[2], y[2];
    q.Trn(in8, x);
    qc->Trn(in8, y);
    EXPECT_EQ(x[0], y[0]);
    EXPECT_EQ(x[1], y[1]);
}

TEST(TabMft, AssignmentCopiesCurvesGridAndFlags) {
    CFunc_8Tab3Mft p(5, 3);
    p.DefineInputTab(Curves8(3, 1).data());
    p.DefineByFunc(TSmoothFunc<uint8_t>(3, 3));
    p.InitMftTrn();
    p.SetSkipOutputTab(true);
    CFunc_8Tab3Mft q(9, 3);
    q = p;
    EXPECT_EQ(q.clutEntries(), 125u);
    EXPECT_TRUE(q.skipOutputTab());
    const std::vector<uint8_t> in = {3, 140, 250};
    EXPECT_EQ(Apply(q, in), Apply(p, in));
}

TEST(TabMft, WideningMultipliesCurvesAndGridBy257) {
    CFunc_8Tab3Mft p(9, 4);
    p.DefineInputTab(Curves8(3, 0).data());
    p.DefineOutputTab(Curves8(4, 2).data());
    p.DefineByFunc(TSmoothFunc<uint8_t>(3, 4));
    const CFunc_16Tab3Mft w(p);
    EXPECT_EQ(w.inputChan(), 3u);
    EXPECT_EQ(w.outputChan(), 4u);
    EXPECT_EQ(w.Mft().clutPoints(), 9u);
    EXPECT_EQ(w.FuncInputTab().entries(), 256u);
    EXPECT_EQ(w.FuncOutputTab().entries(), 256u);
    for (unsigned i = 0; i < 3 * 256; ++i)
        EXPECT_EQ(w.FuncInputTab().pRawTab()[i], p.FuncInputTab().pTab()[i] * 257);
    for (unsigned i = 0; i < 4 * 256; ++i)
        EXPECT_EQ(w.FuncOutputTab().pRawTab()[i], p.FuncOutputTab().pTab()[i] * 257);
    for (unsigned i = 0; i < p.Mft().TabEntries(); ++i)
        EXPECT_EQ(w.Mft().Table()[i], p.Mft().Table()[i] * 257);
}

TEST(TabMft, NarrowingSamplesTheTwelveBitReadOut) {
    CFunc_16Tab4Mft s(5, 3);
    const auto in16 = Curves16(4, 1000, 1);
    const auto out16 = Curves16(3, 9, 2);
    s.DefineInputTab(in16.data(), 1000);
    s.DefineOutputTab(out16.data(), 9);
    s.DefineByFunc(TSmoothFunc<uint16_t>(4, 3));
    const CFunc_8Tab4Mft p(s);
    EXPECT_EQ(p.inputChan(), 4u);
    EXPECT_EQ(p.outputChan(), 3u);
    for (unsigned c = 0; c < 4; ++c)
        for (unsigned v = 0; v < 256; ++v)
            EXPECT_EQ(p.FuncInputTab().pTab()[c * 256 + v],
                      s.FuncInputTab().pFastTab(c)[(v * 257) >> 4] >> 8);
    for (unsigned c = 0; c < 3; ++c)
        for (unsigned v = 0; v < 256; ++v)
            EXPECT_EQ(p.FuncOutputTab().pTab()[c * 256 + v],
                      s.FuncOutputTab().pFastTab(c)[(v * 257) >> 4] >> 8);
    for (unsigned i = 0; i < s.Mft().TabEntries(); ++i)
        EXPECT_EQ(p.Mft().Table()[i], s.Mft().Table()[i] >> 8);
    // The inverse of the narrowed curves is derived anew.
    const CFunc_8Tab direct(4, p.FuncInputTab().pTab());
    EXPECT_TRUE(std::equal(direct.pInvTab(), direct.pInvTab() + 1024, p.FuncInputTab().pInvTab()));
}

TEST(TabMft, MoreThanSixteenOutputsIsRefused) {
    EXPECT_THROW(CFunc_16Tab3Mft(3, 17), CInvalidArgException);
    EXPECT_THROW(CFunc_8Tab4Mft(3, 17), CInvalidArgException);
    EXPECT_NO_THROW(CFunc_8Tab3Mft(3, 16));
}

// ---- Archives

std::vector<uint8_t> Store(const CObject& obj) {
    CMemFile file;
    {
        CArchive ar(&file, CArchive::store);
        ar << &obj;
    }
    const uint8_t* b = file.GetBuffer();
    return std::vector<uint8_t>(b, b + file.GetLength());
}

uint32_t Le32(const std::vector<uint8_t>& b, size_t at) {
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (uint32_t(b[at + 3]) << 24);
}

template <class P> P* Load(std::vector<uint8_t>& bytes) {
    CMemFile file(bytes.data(), unsigned(bytes.size()));
    CArchive ar(&file, CArchive::load);
    P* p = nullptr;
    ar >> p;
    return p;
}

TEST(TabMft, ArchiveBodyIsCountsInputCurvesGridOutputCurves) {
    // The shape of a Lab to CMYK table: 3 in, 4 out, 9 points.
    CFunc_8Tab3Mft p(9, 4);
    const auto ci = Curves8(3, 0), co = Curves8(4, 1);
    p.DefineInputTab(ci.data());
    p.DefineOutputTab(co.data());
    p.DefineByFunc(TSmoothFunc<uint8_t>(3, 4));
    p.SetDefaultTransV13Mode(); // flags never reach the stream
    const std::vector<uint8_t> b = Store(p);
    ASSERT_EQ(b.size(), 6560u);
    EXPECT_EQ(b[4], 14);
    EXPECT_EQ(std::string(b.begin() + 6, b.begin() + 20), "CFunc_8Tab3Mft");
    EXPECT_EQ(Le32(b, 20), 3u);
    EXPECT_EQ(Le32(b, 24), 4u);
    EXPECT_EQ(Le32(b, 28), 3u);
    EXPECT_EQ(Le32(b, 32), 3u);
    EXPECT_TRUE(std::equal(ci.begin(), ci.end(), b.begin() + 36));
    EXPECT_TRUE(
        std::equal(p.FuncInputTab().pInvTab(), p.FuncInputTab().pInvTab() + 768, b.begin() + 804));
    EXPECT_EQ(Le32(b, 1572), 3u);
    EXPECT_EQ(Le32(b, 1576), 4u);
    EXPECT_EQ(Le32(b, 1580), 9u);
    EXPECT_EQ(Le32(b, 1584), 2916u);
    EXPECT_TRUE(std::equal(p.Mft().Table(), p.Mft().Table() + 2916, b.begin() + 1588));
    EXPECT_EQ(Le32(b, 4504), 4u);
    EXPECT_EQ(Le32(b, 4508), 4u);
    EXPECT_TRUE(std::equal(co.begin(), co.end(), b.begin() + 4512));
    EXPECT_TRUE(std::equal(p.FuncOutputTab().pInvTab(), p.FuncOutputTab().pInvTab() + 1024,
                           b.begin() + 5536));
}

TEST(TabMft, LoadedPipelineNeedsInitAndThenAgrees) {
    CFunc_8Tab4Mft p(5, 3);
    p.DefineInputTab(Curves8(4, 0).data());
    p.DefineOutputTab(Curves8(3, 1).data());
    p.DefineByFunc(TSmoothFunc<uint8_t>(4, 3));
    p.InitMftTrn();
    std::vector<uint8_t> bytes = Store(p);
    std::unique_ptr<CFunc_8Tab4Mft> q(Load<CFunc_8Tab4Mft>(bytes));
    ASSERT_NE(q, nullptr);
    EXPECT_FALSE(q->skipInputTab());
    q->InitMftTrn();
    for (unsigned v = 0; v < 256; v += 5) {
        const std::vector<uint8_t> in = {uint8_t(v), uint8_t(v * 3), 17, uint8_t(255 - v)};
        EXPECT_EQ(Apply(*q, in), Apply(p, in));
    }
    EXPECT_EQ(Store(*q), bytes);
}

TEST(TabMft, PersistentPipelinesAreCreatedByNameAndSixteenBitOnesAreNot) {
    for (const char* name : {"CFunc_8Tab3Mft", "CFunc_8Tab4Mft"}) {
        const CRuntimeClass* cls = CRuntimeClass::FromName(name);
        ASSERT_NE(cls, nullptr) << name;
        std::unique_ptr<CObject> obj(cls->CreateObject());
        ASSERT_NE(obj, nullptr);
        EXPECT_TRUE(obj->IsKindOf(RUNTIME_CLASS(CFunc_8TabBaseMft)));
        EXPECT_EQ(static_cast<CFunc_8*>(obj.get())->inputChan(), 3u); // until loaded
    }
    EXPECT_EQ(CRuntimeClass::FromName("CFunc_16Tab3Mft"), nullptr);
    EXPECT_EQ(CRuntimeClass::FromName("CFunc_16Tab4Mft"), nullptr);
    EXPECT_STREQ(CFunc_16Tab3Mft(3, 3).GetRuntimeClass()->m_lpszClassName, "CFunc_16Tab3Mft");
}

TEST(TabMft, SixteenBitPipelineStoresOnlyItsCounts) {
    CFunc_16Tab4Mft p(3, 2);
    const std::vector<uint8_t> b = Store(p);
    ASSERT_EQ(b.size(), 6u + 15 + 8);
    EXPECT_EQ(Le32(b, 21), 4u);
    EXPECT_EQ(Le32(b, 25), 2u);
}

TEST(TabMft, LoadAsAnotherPipelineFailsTheTypeTest) {
    CFunc_8Tab3Mft p(3, 3);
    p.Mft().DefineIdent();
    std::vector<uint8_t> bytes = Store(p);
    EXPECT_THROW(Load<CFunc_8Tab4Mft>(bytes), CArchiveException);
    std::unique_ptr<CFunc_8Tab3Mft> ok(Load<CFunc_8Tab3Mft>(bytes));
    EXPECT_NE(ok, nullptr);
}

TEST(TabMft, LoadRefusesPartsThatDoNotFit) {
    CFunc_8Tab3Mft p(3, 3);
    p.Mft().DefineIdent();
    std::vector<uint8_t> bytes = Store(p);
    std::vector<uint8_t> wrongOut = bytes;
    wrongOut[24] = 2; // the pipeline claims 2 outputs, its grid and curves have 3
    EXPECT_THROW(Load<CFunc_8Tab3Mft>(wrongOut), CArchiveException);
    std::vector<uint8_t> wrongIn = bytes;
    wrongIn[20] = 4; // a three-input pipeline claiming 4 inputs
    EXPECT_THROW(Load<CFunc_8Tab3Mft>(wrongIn), CArchiveException);
}

} // namespace
