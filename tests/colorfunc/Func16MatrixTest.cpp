// CFunc_16Matrix: the fixed-point matrix stage, its construction from a CMatrix3 and from the
// twelve numbers of an ICC matrix element, and its limits.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "colorfunc/Func16Matrix.h"

namespace {

void ExpectTriple(const uint16_t* v, int a, int b, int c) {
    EXPECT_EQ(v[0], a);
    EXPECT_EQ(v[1], b);
    EXPECT_EQ(v[2], c);
}

} // namespace

TEST(ColorimetricMatrix, DefaultIsExactlyTheIdentity) {
    const CFunc_16Matrix m;
    EXPECT_EQ(m.inputChan(), 3u);
    EXPECT_EQ(m.outputChan(), 3u);
    for (unsigned v = 0; v < 65536; ++v) {
        const uint16_t in[3] = {static_cast<uint16_t>(v), static_cast<uint16_t>(65535 - v),
                                static_cast<uint16_t>(v * 7)};
        uint16_t out[3];
        EXPECT_EQ(m.Trn(in, out), 1);
        ExpectTriple(out, in[0], in[1], in[2]);
    }
    for (int i = 0; i < 9; ++i) EXPECT_EQ(m.matrix()[i], i % 4 == 0 ? 65536 : 0) << i;
    for (int r = 0; r < 3; ++r) EXPECT_EQ(m.offsets()[r], 0);
}

TEST(ColorimetricMatrix, NegativeSumGivesZeroAndSumBeyondRangeGives65535) {
    CFunc_16Matrix m;
    // Row 0: -1 * in0; row 1: 2 * in1; row 2: in0 + in1 + in2.
    const int32_t values[12] = {-65536, 0, 0, 0, 131072, 0, 65536, 65536, 65536, 0, 0, 0};
    m.DefineByArrary(values);
    const uint16_t in[3] = {1000, 40000, 30000};
    uint16_t out[3];
    EXPECT_EQ(m.Trn(in, out), 1);
    EXPECT_EQ(out[0], 0);     // -1000
    EXPECT_EQ(out[1], 65535); // 80000: a sum beyond 0xFFFFFFFF
    EXPECT_EQ(out[2], 65535); // 71000
    // 2 * 32767 = 65534 stays inside the range.
    const uint16_t edge[3] = {0, 32767, 0};
    m.Trn(edge, out);
    EXPECT_EQ(out[1], 65534);
}

TEST(ColorimetricMatrix, ResultIsShiftedWithoutRounding) {
    CFunc_16Matrix m;
    // 0.5 on the diagonal: odd inputs lose their half.
    const int32_t half[12] = {32768, 0, 0, 0, 32768, 0, 0, 0, 32768, 0, 0, 0};
    m.DefineByArrary(half);
    const uint16_t in[3] = {1, 3, 65535};
    uint16_t out[3];
    m.Trn(in, out);
    ExpectTriple(out, 0, 1, 32767);
}

TEST(ColorimetricMatrix, DefineByArraryTakesRowsThenOffsetsOnTheFullScale) {
    CFunc_16Matrix m;
    // Rows (1, 0.5, 0), (0, 1, 0), (0, 0, 0.25); offsets 0.5, -0.25, 0 (as fractions of the
    // full sample range, so 32768 and -16384 units).
    const int32_t values[12] = {65536, 32768, 0, 0, 65536, 0, 0, 0, 16384, 32768, -16384, 0};
    m.DefineByArrary(values);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(m.matrix()[i], values[i]) << i;
    EXPECT_EQ(m.offsets()[0], int64_t{32768} << 16);
    EXPECT_EQ(m.offsets()[1], -(int64_t{16384} << 16));
    EXPECT_EQ(m.offsets()[2], 0);
    const uint16_t in[3] = {1000, 20000, 4000};
    uint16_t out[3];
    m.Trn(in, out);
    // 1000 + 10000 + 32768; 20000 - 16384; 1000.
    ExpectTriple(out, 43768, 3616, 1000);
    const uint16_t dark[3] = {0, 100, 0};
    m.Trn(dark, out);
    EXPECT_EQ(out[1], 0); // 100 - 16384 is negative
}

TEST(ColorimetricMatrix, ConstructorReadsOperatorIndexAsColumn) {
    // CMatrix3's operator[] gives rows; the stage takes m[c] element r as coefficient (r, c),
    // so it applies the transpose of the matrix as written here.
    const CMatrix3 m(1.0, 0.0, 0.0, //
                     0.5, 1.0, 0.0, //
                     0.0, 0.25, 2.0);
    const CFunc_16Matrix f(m);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(f.matrix()[r * 3 + c], static_cast<int32_t>(m[c][r] * 65536)) << r << c;
    EXPECT_EQ(f.matrix()[1], 32768); // row 0, column 1 is m[1][0] = 0.5
    EXPECT_EQ(f.matrix()[3], 0);     // row 1, column 0 is m[0][1] = 0
    const uint16_t in[3] = {1000, 2000, 3000};
    uint16_t out[3];
    EXPECT_EQ(f.Trn(in, out), 1);
    // out0 = 1000 + 0.5 * 2000; out1 = 2000 + 0.25 * 3000; out2 = 2 * 3000.
    ExpectTriple(out, 2000, 2750, 6000);
    for (int r = 0; r < 3; ++r) EXPECT_EQ(f.offsets()[r], 0);
}

TEST(ColorimetricMatrix, ConstructorTruncatesCoefficients) {
    // 1/3 * 65536 = 21845.33 and -1/3 * 65536 = -21845.33: truncation toward zero.
    const CMatrix3 m(1.0 / 3, -1.0 / 3, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0);
    const CFunc_16Matrix f(m);
    EXPECT_EQ(f.matrix()[0], 21845);
    EXPECT_EQ(f.matrix()[3], -21845); // m[0][1], read as row 1 column 0
}

TEST(ColorimetricMatrix, InverseIsNotDefined) {
    const CFunc_16Matrix m;
    const uint16_t in[3] = {1, 2, 3};
    uint16_t out[3] = {7, 8, 9};
    EXPECT_EQ(m.Inv(in, out), 0);
    ExpectTriple(out, 7, 8, 9);
}

TEST(ColorimetricMatrix, AgreesWithWideArithmeticOnRandomMatrices) {
    // Any 16.16 matrix with offsets against the sum formed in 128 bits.
    std::mt19937 rng(31);
    std::uniform_int_distribution<int32_t> coef(-4 * 65536, 4 * 65536);
    std::uniform_int_distribution<int> sample(0, 65535);
    for (int n = 0; n < 2000; ++n) {
        int32_t v[12];
        for (int32_t& x : v) x = coef(rng);
        CFunc_16Matrix m;
        m.DefineByArrary(v);
        const uint16_t in[3] = {static_cast<uint16_t>(sample(rng)),
                                static_cast<uint16_t>(sample(rng)),
                                static_cast<uint16_t>(sample(rng))};
        uint16_t out[3];
        m.Trn(in, out);
        for (int r = 0; r < 3; ++r) {
            __int128 s = static_cast<__int128>(v[9 + r]) * 65536;
            for (int c = 0; c < 3; ++c) s += static_cast<__int128>(v[r * 3 + c]) * in[c];
            const long long clamped = s < 0 ? 0 : s > 0xFFFFFFFF ? 0xFFFFFFFF : (long long)s;
            EXPECT_EQ(out[r], clamped / 65536) << n << " row " << r;
        }
    }
}

TEST(ColorimetricMatrix, RuntimeClassWithoutCreateObject) {
    const CFunc_16Matrix m;
    EXPECT_STREQ(m.GetRuntimeClass()->m_lpszClassName, "CFunc_16Matrix");
    EXPECT_EQ(m.GetRuntimeClass()->m_pBaseClass, RUNTIME_CLASS(CFunc_16));
    EXPECT_EQ(m.GetRuntimeClass()->CreateObject(), nullptr);
}
