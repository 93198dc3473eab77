// Extended pipelines: the order of their stages, the matrix handling, the grid from an ICC
// grid record, the one-input pipeline and the shadowed skip flag of the four-input class.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "gridtable/TabMftX.h"

namespace {

// The value that a two-entry identity curve answers for x: the 16-bit value of x's 12-bit
// cell, written out from the definition of the read-out.
uint16_t Q(unsigned x) {
    return static_cast<uint16_t>(std::trunc((x >> 4) * 65535.0 / 4095.0 + 0.5));
}

// Host-order ICC curve records, one after the other, as a word-aligned block.
class CurveSet {
public:
    // A curv record with a u8Fixed8 gamma.
    CurveSet& Gamma(double g) {
        Put32(icSigCurveType);
        Put32(0);
        Put32(1);
        Put16(static_cast<uint16_t>(std::lround(g * 256)));
        Put16(0);
        return *this;
    }
    const void* data() const { return words.data(); }

private:
    void Put32(uint32_t v) { words.push_back(v); }
    void Put16(uint16_t v) {
        if (half) {
            std::memcpy(reinterpret_cast<uint8_t*>(&words.back()) + 2, &v, 2);
        } else {
            words.push_back(0);
            std::memcpy(&words.back(), &v, 2);
        }
        half = !half;
    }
    std::vector<uint32_t> words;
    bool half = false;
};

// The expanded value of a gamma curve at x, read at x's 12-bit cell.
double GammaAt(unsigned x, double g) {
    return std::pow((x >> 4) / 4095.0, g) * 65535.0;
}

// An icCLutStruct with `n` values of the given precision, placed `shift` bytes into the
// buffer (icCLutStruct has byte alignment, so any address is a valid one).
std::vector<uint8_t> ClutRecord(unsigned points, unsigned inputs, uint8_t prec,
                                const std::vector<uint16_t>& values, size_t shift = 0) {
    std::vector<uint8_t> b(shift + sizeof(icCLutStruct) + values.size() * 2, 0);
    icCLutStruct* c = reinterpret_cast<icCLutStruct*>(b.data() + shift);
    for (unsigned k = 0; k < inputs; ++k) c->gridPoints[k] = static_cast<uint8_t>(points);
    c->prec = prec;
    for (size_t i = 0; i < values.size(); ++i) {
        if (prec == 1)
            c->data[i] = static_cast<uint8_t>(values[i]);
        else
            std::memcpy(c->data + 2 * i, &values[i], 2);
    }
    return b;
}

const icCLutStruct* AsClut(const std::vector<uint8_t>& b, size_t shift = 0) {
    return reinterpret_cast<const icCLutStruct*>(b.data() + shift);
}

// Exact linear maps for filling grids: a linear map is reproduced by the interpolation within
// one unit.
class Permute3 : public CFunc_16 { // (x0, x1, x2) -> (x1, x2, x0)
public:
    Permute3() : CFunc_16(3, 3) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        out[0] = in[1];
        out[1] = in[2];
        out[2] = in[0];
        return 1;
    }
};

class DropThird4 : public CFunc_16 { // (c, m, y, k) -> (c, m, k, y)
public:
    DropThird4() : CFunc_16(4, 4) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        out[0] = in[0];
        out[1] = in[1];
        out[2] = in[3];
        out[3] = in[2];
        return 1;
    }
};

class Identity1 : public CFunc_16 {
public:
    explicit Identity1(unsigned out) : CFunc_16(1, out) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        for (unsigned c = 0; c < outputChan(); ++c) out[c] = in[0];
        return 1;
    }
};

// 1 -> 3: (x, x / 2, 65535 - x).
class Spread1 : public CFunc_16 {
public:
    Spread1() : CFunc_16(1, 3) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        out[0] = in[0];
        out[1] = static_cast<uint16_t>(in[0] / 2);
        out[2] = static_cast<uint16_t>(65535 - in[0]);
        return 1;
    }
};

// Twelve 16.16 numbers: channel 0 scaled by 0.5, the others kept, no offsets.
const int32_t kHalveFirst[12] = {32768, 0, 0, 0, 65536, 0, 0, 0, 65536, 0, 0, 0};

} // namespace

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab3MftX

TEST(TabMftX, Tab3MftXWithoutGridAndDefaultStagesIsIdentityAtTwelveBits) {
    for (bool matrixFirst : {false, true}) {
        CFunc_16Tab3MftX f(0, 3, matrixFirst);
        f.InitMftTrn(); // nothing to prepare on a grid of 0 points, and harmless
        EXPECT_EQ(f.clutEntries(), 0u);
        for (unsigned x = 0; x < 65536; ++x) {
            const uint16_t in[3] = {static_cast<uint16_t>(x), static_cast<uint16_t>(65535 - x),
                                    static_cast<uint16_t>((x * 7) & 0xFFFF)};
            uint16_t out[3];
            ASSERT_EQ(f.Trn(in, out), 1);
            // Three curve stages read at 12 bits; a cell's value lies in the same cell, so the
            // three readings are one.
            for (int c = 0; c < 3; ++c) {
                ASSERT_EQ(out[c], Q(in[c])) << x << " " << c << " " << matrixFirst;
                ASSERT_LE(std::abs(int(out[c]) - int(in[c])), 16);
            }
        }
    }
}

TEST(TabMftX, Tab3MftXAToBOrderIsGridMiddleMatrix) {
    CFunc_16Tab3MftX f(17, 3, false);
    f.Mft().DefineByFunc(Permute3());
    f.DefineMatrix(kHalveFirst);
    f.InitMftTrn();
    f.SetSkipInputTab(true);
    f.SetSkipOutputTab(true);
    const uint16_t in[3] = {8000, 40000, 20000};
    uint16_t out[3];
    EXPECT_EQ(f.Trn(in, out), 1);
    // Grid (40000, 20000, 8000), middle curves, then the matrix halves channel 0.
    EXPECT_NEAR(out[0], Q(40000) / 2, 1);
    EXPECT_NEAR(out[1], Q(20000), 1);
    EXPECT_NEAR(out[2], Q(8000), 1);
    EXPECT_EQ(f.clutEntries(), 17u * 17u * 17u);
}

TEST(TabMftX, Tab3MftXBToAOrderIsMatrixMiddleGrid) {
    CFunc_16Tab3MftX f(17, 3, true);
    f.Mft().DefineByFunc(Permute3());
    f.DefineMatrix(kHalveFirst);
    f.InitMftTrn();
    f.SetSkipInputTab(true);
    f.SetSkipOutputTab(true);
    const uint16_t in[3] = {8000, 40000, 20000};
    uint16_t out[3];
    EXPECT_EQ(f.Trn(in, out), 1);
    // Matrix (4000, 40000, 20000), middle curves, then the grid permutes.
    EXPECT_NEAR(out[0], Q(40000), 1);
    EXPECT_NEAR(out[1], Q(20000), 1);
    EXPECT_NEAR(out[2], Q(4000), 1);
}

TEST(TabMftX, Tab3MftXCurvesGoToTheirOwnStages) {
    CFunc_16Tab3MftX f(0, 3, false);
    CurveSet g2, g05;
    g2.Gamma(2.0).Gamma(2.0).Gamma(2.0);
    g05.Gamma(0.5).Gamma(0.5).Gamma(0.5);
    f.DefineInputTabByIccTag(g2.data());
    EXPECT_EQ(f.FuncInputTab().entries(), 4096u);
    EXPECT_EQ(f.FuncMiddleTab().entries(), 2u);
    EXPECT_EQ(f.FuncOutputTab().entries(), 2u);
    f.DefineMiddleTabByIccTag(g05.data());
    EXPECT_EQ(f.FuncMiddleTab().entries(), 4096u);
    EXPECT_EQ(f.FuncOutputTab().entries(), 2u);
    f.DefineOutputTabByIccTag(g2.data());
    EXPECT_EQ(f.FuncOutputTab().entries(), 4096u);
    f.InitMftTrn();
    // Squared, square-rooted, squared: the square, within the 12-bit readings.
    for (unsigned x = 0; x < 65536; x += 511) {
        const uint16_t in[3] = {static_cast<uint16_t>(x), static_cast<uint16_t>(x),
                                static_cast<uint16_t>(x)};
        uint16_t out[3];
        f.Trn(in, out);
        const double expect = std::pow(x / 65535.0, 2.0) * 65535.0;
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(out[c], expect, 40 + expect * 0.01) << x;
    }
}

TEST(TabMftX, DefineMatrixPassesTwelveNumbersToTheMatrix) {
    const int32_t values[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, -11, 12};
    CFunc_16Tab3MftX f3(2, 3, false);
    CFunc_16Tab4MftX f4(2, 3);
    f3.DefineMatrix(values);
    f4.DefineMatrix(values);
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(f3.MatrixX().matrix()[i], values[i]);
        EXPECT_EQ(f4.MatrixX().matrix()[i], values[i]);
    }
    EXPECT_EQ(f3.MatrixX().offsets()[1], -11 * 65536);
    EXPECT_EQ(f4.MatrixX().offsets()[2], 12 * 65536);
}

TEST(TabMftX, DefineClutPrecisionOneTurns255Into65535) {
    CFunc_16Tab3MftX f(2, 3, false);
    std::vector<uint16_t> bytes(8 * 3);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint16_t>(i * 11 % 256);
    bytes[0] = 255;
    bytes[23] = 255;
    const auto rec = ClutRecord(2, 3, 1, bytes);
    f.DefineClut(AsClut(rec));
    const uint16_t* t = f.Mft().Table();
    EXPECT_EQ(t[0], 65535);
    EXPECT_EQ(t[23], 65535);
    for (size_t i = 0; i < bytes.size(); ++i) EXPECT_EQ(t[i], bytes[i] * 257) << i;
    // The same on the four-input class.
    CFunc_16Tab4MftX g(2, 1);
    const auto rec4 = ClutRecord(2, 4, 1, std::vector<uint16_t>(16, 255));
    g.DefineClut(AsClut(rec4));
    for (int i = 0; i < 16; ++i) EXPECT_EQ(g.Mft().Table()[i], 65535);
}

TEST(TabMftX, DefineClutPrecisionTwoTakesTheSamplesAsTheyStand) {
    std::vector<uint16_t> samples(8 * 3);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<uint16_t>(i * 2741 + 5);
    for (size_t shift : {0u, 1u, 3u}) { // the record need not be aligned in its tag block
        CFunc_16Tab3MftX f(2, 3, true);
        const auto rec = ClutRecord(2, 3, 2, samples, shift);
        f.DefineClut(AsClut(rec, shift));
        for (size_t i = 0; i < samples.size(); ++i) EXPECT_EQ(f.Mft().Table()[i], samples[i]);
    }
}

TEST(TabMftX, DefineClutWithUnknownPrecisionLeavesTheGrid) {
    CFunc_16Tab3MftX f(2, 3, false);
    const auto good = ClutRecord(2, 3, 2, std::vector<uint16_t>(24, 1234));
    f.DefineClut(AsClut(good));
    for (uint8_t prec : {0, 3, 255}) {
        const auto bad = ClutRecord(2, 3, prec, std::vector<uint16_t>(24, 99));
        f.DefineClut(AsClut(bad));
        for (int i = 0; i < 24; ++i) EXPECT_EQ(f.Mft().Table()[i], 1234);
    }
}

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab4MftX

TEST(TabMftX, Tab4MftXClutEntriesAnswersZero) {
    CFunc_16Tab4MftX f(9, 4);
    EXPECT_EQ(f.Mft().clutPoints(), 9u);
    EXPECT_EQ(f.Mft().TabCount(), 9u * 9 * 9 * 9);
    EXPECT_EQ(f.clutEntries(), 0u);
    const CFunc_16TabBaseMft& base = f;
    EXPECT_EQ(base.clutEntries(), 0u);
}

TEST(TabMftX, Tab4MftXSkipInputTabPassesTheInputCurvesBy) {
    CFunc_16Tab4MftX f(0, 4);
    CurveSet g2;
    g2.Gamma(2.0).Gamma(2.0).Gamma(2.0).Gamma(2.0);
    f.DefineInputTabByIccTag(g2.data());
    f.InitMftTrn();
    const uint16_t in[4] = {30000, 40000, 50000, 60000};
    uint16_t curved[4], skipped[4];
    f.Trn(in, curved);
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(curved[c], GammaAt(in[c], 2.0), 40) << c;
    f.SetSkipInputTab(true);
    EXPECT_TRUE(f.skipInputTab());
    f.Trn(in, skipped);
    for (int c = 0; c < 4; ++c) EXPECT_EQ(skipped[c], Q(in[c])) << c;
}

TEST(TabMftX, Tab4MftXSkipInputTabThroughTheBaseChangesNothing) {
    CFunc_16Tab4MftX f(0, 4);
    CurveSet g2;
    g2.Gamma(2.0).Gamma(2.0).Gamma(2.0).Gamma(2.0);
    f.DefineInputTabByIccTag(g2.data());
    f.InitMftTrn();
    const uint16_t in[4] = {30000, 40000, 50000, 60000};
    uint16_t before[4], after[4];
    f.Trn(in, before);
    CFunc_16TabBaseMft& base = f;
    base.SetSkipInputTab(true);
    EXPECT_TRUE(base.skipInputTab()); // the base's flag is set ...
    EXPECT_FALSE(f.skipInputTab());   // ... but not the one this class reads
    f.Trn(in, after);
    for (int c = 0; c < 4; ++c) EXPECT_EQ(after[c], before[c]) << c;
    // The output flag is the base's own and does act.
    CurveSet g05;
    g05.Gamma(0.5).Gamma(0.5).Gamma(0.5).Gamma(0.5);
    f.DefineOutputTabByIccTag(g05.data());
    f.Trn(in, after);
    base.SetSkipOutputTab(true);
    f.Trn(in, before);
    EXPECT_GT(after[0], before[0] + 1000); // the square root lifts mid-tones
}

TEST(TabMftX, Tab4MftXOrderIsGridMiddleMatrix) {
    CFunc_16Tab4MftX f(5, 4);
    f.Mft().DefineByFunc(DropThird4());
    f.DefineMatrix(kHalveFirst);
    f.InitMftTrn();
    f.SetSkipInputTab(true);
    f.SetSkipOutputTab(true);
    const uint16_t in[4] = {40000, 30000, 20000, 10000};
    uint16_t out[4];
    EXPECT_EQ(f.Trn(in, out), 1);
    // Grid (40000, 30000, 10000, 20000), middle curves, matrix halves channel 0; the fourth
    // output is not a matrix channel and passes.
    EXPECT_NEAR(out[0], Q(40000) / 2, 1);
    EXPECT_NEAR(out[1], Q(30000), 1);
    EXPECT_NEAR(out[2], Q(10000), 1);
    EXPECT_NEAR(out[3], Q(20000), 1);
}

TEST(TabMftX, Tab4MftXWithoutGridPassesAllFourChannels) {
    CFunc_16Tab4MftX f(0, 4);
    f.InitMftTrn();
    for (unsigned x = 0; x < 65536; x += 3) {
        const uint16_t in[4] = {static_cast<uint16_t>(x), static_cast<uint16_t>(65535 - x),
                                static_cast<uint16_t>((x * 5) & 0xFFFF),
                                static_cast<uint16_t>((x * 3) & 0xFFFF)};
        uint16_t out[4];
        ASSERT_EQ(f.Trn(in, out), 1);
        for (int c = 0; c < 4; ++c) ASSERT_EQ(out[c], Q(in[c])) << x << " " << c;
    }
}

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab3LUTMft and CFunc_16Tab3MatrixMft

TEST(TabMftX, LUTDefineMatrixIdentityLeavesNoMatrixAndAnotherReplacesIt) {
    CFunc_16Tab3LUTMft f(2, 3);
    EXPECT_EQ(f.matrixFunc(), nullptr);
    f.DefineMatrix(CMatrix3());
    EXPECT_EQ(f.matrixFunc(), nullptr);
    f.DefineMatrix(CMatrix3(0.5, 0, 0, 0, 1, 0, 0, 0, 1));
    ASSERT_NE(f.matrixFunc(), nullptr);
    EXPECT_EQ(f.matrixFunc()->matrix()[0], 32768);
    f.DefineMatrix(CMatrix3(2, 0, 0, 0, 1, 0, 0, 0, 1));
    ASSERT_NE(f.matrixFunc(), nullptr);
    EXPECT_EQ(f.matrixFunc()->matrix()[0], 131072); // the second call's matrix
    f.DefineMatrix(CMatrix3());
    EXPECT_EQ(f.matrixFunc(), nullptr); // and the identity drops it again
}

TEST(TabMftX, LUTAppliesTheMatrixBeforeTheInputCurves) {
    CFunc_16Tab3LUTMft f(17, 3);
    f.Mft().DefineIdent();
    std::vector<uint16_t> square(3 * 256);
    for (unsigned c = 0; c < 3; ++c)
        for (unsigned i = 0; i < 256; ++i)
            square[c * 256 + i] = static_cast<uint16_t>(std::lround(i * i * 65535.0 / 65025.0));
    f.DefineInputTab(square.data(), 256);
    f.DefineMatrix(CMatrix3(0.5, 0, 0, 0, 1, 0, 0, 0, 1));
    f.InitMftTrn();
    f.SetSkipOutputTab(true);
    const uint16_t in[3] = {60000, 60000, 60000};
    uint16_t out[3];
    EXPECT_EQ(f.Trn(in, out), 1);
    const double sq = [](double x) { return x * x / 65535.0; }(30000);
    EXPECT_NEAR(out[0], sq, 300);                        // (x / 2)^2
    EXPECT_NEAR(out[1], 60000.0 * 60000.0 / 65535, 300); // x^2, untouched by the matrix
    EXPECT_EQ(f.clutEntries(), 17u * 17u * 17u);
}

TEST(TabMftX, MatrixMftAppliesTheMatrixAfterTheInputCurvesWithoutGrid) {
    // A matrix profile: three outputs and no grid; note the order of the arguments.
    CFunc_16Tab3MatrixMft f(CMatrix3(0.5, 0, 0, 0, 1, 0, 0, 0, 1), 3, 0);
    ASSERT_NE(f.matrixFunc(), nullptr);
    EXPECT_EQ(f.Mft().clutPoints(), 0u);
    EXPECT_EQ(f.clutEntries(), 0u);
    std::vector<uint16_t> square(3 * 256);
    for (unsigned c = 0; c < 3; ++c)
        for (unsigned i = 0; i < 256; ++i)
            square[c * 256 + i] = static_cast<uint16_t>(std::lround(i * i * 65535.0 / 65025.0));
    f.DefineInputTab(square.data(), 256);
    f.InitMftTrn();
    f.SetSkipOutputTab(true);
    const uint16_t in[3] = {60000, 60000, 60000};
    uint16_t out[3];
    EXPECT_EQ(f.Trn(in, out), 1);
    const double x2 = 60000.0 * 60000.0 / 65535;
    EXPECT_NEAR(out[0], x2 / 2, 300); // x^2 / 2: curve first
    EXPECT_NEAR(out[1], x2, 300);
}

TEST(TabMftX, MatrixMftTakesEvenTheIdentity) {
    const CFunc_16Tab3MatrixMft f(CMatrix3(), 3, 0);
    ASSERT_NE(f.matrixFunc(), nullptr);
    EXPECT_EQ(f.matrixFunc()->matrix()[0], 65536);
    const CFunc_16Tab3MatrixMft g(9, 3);
    EXPECT_EQ(g.matrixFunc(), nullptr);
    EXPECT_EQ(g.clutEntries(), 729u);
}

TEST(TabMftX, CopiesAndClonesAreDeep) {
    CFunc_16Tab3LUTMft f(3, 3);
    f.DefineMatrix(CMatrix3(0.5, 0, 0, 0, 1, 0, 0, 0, 1));
    std::unique_ptr<CFunc_16TabBaseMft> clone(f.CreateClone());
    auto* lut = dynamic_cast<CFunc_16Tab3LUTMft*>(clone.get());
    ASSERT_NE(lut, nullptr);
    ASSERT_NE(lut->matrixFunc(), nullptr);
    EXPECT_NE(lut->matrixFunc(), f.matrixFunc());
    EXPECT_EQ(lut->matrixFunc()->matrix()[0], 32768);
    f.DefineMatrix(CMatrix3(2, 0, 0, 0, 1, 0, 0, 0, 1));
    EXPECT_EQ(lut->matrixFunc()->matrix()[0], 32768); // the clone keeps its own

    CFunc_16Tab3LUTMft g(3, 3);
    g = f;
    ASSERT_NE(g.matrixFunc(), nullptr);
    EXPECT_NE(g.matrixFunc(), f.matrixFunc());
    EXPECT_EQ(g.matrixFunc()->matrix()[0], 131072);

    const CFunc_16Tab3MatrixMft m(CMatrix3(0.25, 0, 0, 0, 1, 0, 0, 0, 1), 3, 0);
    const CFunc_16Tab3MatrixMft mc(m);
    ASSERT_NE(mc.matrixFunc(), nullptr);
    EXPECT_NE(mc.matrixFunc(), m.matrixFunc());
    EXPECT_EQ(mc.matrixFunc()->matrix()[0], 16384);

    CFunc_16Tab3MftX x(2, 3, true);
    x.DefineMatrix(kHalveFirst);
    std::unique_ptr<CFunc_16TabBaseMft> xc(x.CreateClone());
    EXPECT_EQ(xc->GetRuntimeClass(), RUNTIME_CLASS(CFunc_16Tab3MftX));
    EXPECT_TRUE(static_cast<CFunc_16Tab3MftX*>(xc.get())->matrixFirst());
    std::unique_ptr<CFunc_16TabBaseMft> yc(CFunc_16Tab4MftX(2, 3).CreateClone());
    EXPECT_EQ(yc->GetRuntimeClass(), RUNTIME_CLASS(CFunc_16Tab4MftX));
    std::unique_ptr<CFunc_16TabBaseMft> zc(CFunc_16Tab1Mft(2).CreateClone());
    EXPECT_EQ(zc->GetRuntimeClass(), RUNTIME_CLASS(CFunc_16Tab1Mft));
}

TEST(TabMftX, Tab4MftXCopyKeepsItsOwnSkipFlag) {
    CFunc_16Tab4MftX f(0, 4);
    f.SetSkipInputTab(true);
    const CFunc_16Tab4MftX g(f);
    EXPECT_TRUE(g.skipInputTab());
    std::unique_ptr<CFunc_16TabBaseMft> c(f.CreateClone());
    EXPECT_TRUE(static_cast<CFunc_16Tab4MftX*>(c.get())->skipInputTab());
}

TEST(TabMftX, WidenedLUTHasNoMatrixAndTheBasesConversion) {
    CFunc_8Tab3Mft s(3, 3);
    s.Mft().DefineIdent();
    s.SetSkipInputTab(true);
    const CFunc_16Tab3LUTMft f(s);
    EXPECT_EQ(f.matrixFunc(), nullptr);
    EXPECT_FALSE(f.skipInputTab());
    for (unsigned i = 0; i < f.Mft().TabEntries(); ++i)
        EXPECT_EQ(f.Mft().Table()[i], s.Mft().Table()[i] * 257);
    const CFunc_16Tab3MatrixMft g(s);
    EXPECT_EQ(g.matrixFunc(), nullptr);
}

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab1Mft

TEST(TabMftX, Tab1MftDefineByFuncOfIdentityGives65520For65535) {
    CFunc_16Tab1Mft f(1);
    f.DefineByFunc(Identity1(1));
    f.InitMftTrn();
    EXPECT_EQ(f.FuncMiddleTab().entries(), 4096u);
    EXPECT_EQ(f.FuncMiddleTab().pRawTab()[4095], 65520); // sampled at 4095 * 16
    // The middle curve is the pipeline's result once the output curves are passed by.
    f.SetSkipOutputTab(true);
    const uint16_t top = 65535;
    uint16_t out = 0;
    EXPECT_EQ(f.Trn(&top, &out), 1);
    EXPECT_EQ(out, 65520);
    // With the identity output curve, read at 12 bits, 65520 falls in the top cell again.
    f.SetSkipOutputTab(false);
    f.Trn(&top, &out);
    EXPECT_EQ(out, 65535);
}

TEST(TabMftX, Tab1MftSpreadsTheInputToEveryChannel) {
    CFunc_16Tab1Mft f(3);
    EXPECT_EQ(f.inputChan(), 1u);
    EXPECT_EQ(f.outputChan(), 3u);
    EXPECT_EQ(f.clutEntries(), 0u);
    f.DefineByFunc(Spread1());
    f.SetSkipInputTab(true);
    f.SetSkipOutputTab(true);
    for (unsigned i = 0; i < 4096; i += 13) {
        // Inputs on the sample grid i * 16 read back the sampled values of f.
        const uint16_t in = static_cast<uint16_t>(i * 16);
        uint16_t out[3];
        EXPECT_EQ(f.Trn(&in, out), 1);
        EXPECT_NEAR(out[0], in, 1);
        EXPECT_NEAR(out[1], in / 2, 1);
        EXPECT_NEAR(out[2], 65535 - in, 1);
    }
}

TEST(TabMftX, RuntimeClassesWithoutCreateObject) {
    struct Expect {
        const CRuntimeClass* cls;
        const char* name;
        const CRuntimeClass* base;
    };
    const Expect all[] = {
        {RUNTIME_CLASS(CFunc_16Tab1Mft), "CFunc_16Tab1Mft", RUNTIME_CLASS(CFunc_16TabBaseMft)},
        {RUNTIME_CLASS(CFunc_16Tab3LUTMft), "CFunc_16Tab3LUTMft", RUNTIME_CLASS(CFunc_16Tab3Mft)},
        {RUNTIME_CLASS(CFunc_16Tab3MatrixMft), "CFunc_16Tab3MatrixMft",
         RUNTIME_CLASS(CFunc_16Tab3Mft)},
        {RUNTIME_CLASS(CFunc_16Tab3MftX), "CFunc_16Tab3MftX", RUNTIME_CLASS(CFunc_16TabBaseMft)},
        {RUNTIME_CLASS(CFunc_16Tab4MftX), "CFunc_16Tab4MftX", RUNTIME_CLASS(CFunc_16TabBaseMft)},
    };
    for (const Expect& e : all) {
        EXPECT_STREQ(e.cls->m_lpszClassName, e.name);
        EXPECT_EQ(e.cls->m_pBaseClass, e.base) << e.name;
        EXPECT_EQ(e.cls->CreateObject(), nullptr) << e.name;
        EXPECT_EQ(CRuntimeClass::FromName(e.name), nullptr) << e.name;
    }
    const CFunc_16Tab3MftX x(2, 3, false);
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out[3] = {4, 5, 6};
    EXPECT_EQ(x.Inv(in, out), 0); // no inverse
    EXPECT_EQ(out[0], 4);
}
