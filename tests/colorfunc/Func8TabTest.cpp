// 8-bit curves: exact lookup, the inversion with its fill values, the archive body, and the
// byte gamma table.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

#include "base/Archive.h"
#include "base/File.h"
#include "colorfunc/Func8Tab.h"
#include "colorfunc/GammaTab.h"

namespace {

using Curve = std::array<uint8_t, 256>;

uint8_t Trn1(const CFunc_8Tab& f, uint8_t v) {
    uint8_t out = 0;
    EXPECT_EQ(f.Trn(&v, &out), 1);
    return out;
}

uint8_t Inv1(const CFunc_8Tab& f, uint8_t v) {
    uint8_t out = 0;
    EXPECT_EQ(f.Inv(&v, &out), 1);
    return out;
}

TEST(CurveTab8, IdentityTrnAndInvAreIdentityWithInv255FromTheFillValue) {
    const CFunc_8Tab f(1, nullptr);
    for (int v = 0; v < 256; ++v) {
        EXPECT_EQ(Trn1(f, uint8_t(v)), v);
        EXPECT_EQ(Inv1(f, uint8_t(v)), v);
    }
    // t[255] takes no part in the inversion: a curve that differs from the identity only
    // there still answers 255 for 255, which can only come from the upper fill value.
    Curve t;
    for (int i = 0; i < 256; ++i) t[i] = uint8_t(i);
    t[255] = 17;
    const CFunc_8Tab g(1, t.data());
    EXPECT_EQ(Inv1(g, 255), 255);
    EXPECT_EQ(Inv1(g, 17), 17);
}

TEST(CurveTab8, ConstantCurveInvertsToHighestIndexAndFillValues) {
    Curve t;
    t.fill(200);
    const CFunc_8Tab f(1, t.data());
    EXPECT_EQ(Inv1(f, 200), 254); // the plateau's highest scattered index
    EXPECT_EQ(Inv1(f, 0), 0);
    EXPECT_EQ(Inv1(f, 255), 255);
    EXPECT_EQ(Inv1(f, 199), 0);
    EXPECT_EQ(Inv1(f, 201), 255);
}

TEST(CurveTab8, FallingCurveInvertsToMirrorAlsoAtTheEnds) {
    Curve t;
    for (int i = 0; i < 256; ++i) t[i] = uint8_t(255 - i);
    const CFunc_8Tab f(1, t.data());
    for (int v = 0; v < 256; ++v) EXPECT_EQ(Inv1(f, uint8_t(v)), 255 - v) << v;
}

TEST(CurveTab8, GapsAreInterpolatedTruncatingTowardZero) {
    // t = 2i up to 254, then 255: every odd value is a gap between i and i + 1.
    Curve t;
    for (int i = 0; i < 256; ++i) t[i] = uint8_t(i < 128 ? 2 * i : 255);
    const CFunc_8Tab f(1, t.data());
    for (int j = 0; j < 127; ++j) {
        EXPECT_EQ(Inv1(f, uint8_t(2 * j)), j);
        EXPECT_EQ(Inv1(f, uint8_t(2 * j + 1)), j); // (j + 1 - j) * 1 / 2 + j
    }
    EXPECT_EQ(Inv1(f, 254), 127);
    EXPECT_EQ(Inv1(f, 255), 254); // the plateau at 255, up to index 254
}

TEST(CurveTab8, FallingCurveGapsInterpolateDownward) {
    // Falling by two per step from 254: gaps at odd values, ends filled the falling way.
    Curve t;
    for (int i = 0; i < 256; ++i) t[i] = uint8_t(i < 128 ? 254 - 2 * i : 0);
    const CFunc_8Tab f(1, t.data());
    EXPECT_EQ(Inv1(f, 0), 254); // plateau at 0, highest scattered index
    EXPECT_EQ(Inv1(f, 254), 0);
    EXPECT_EQ(Inv1(f, 255), 0); // above the last filled value: the falling upper fill, 0
    // Between w[252] = 1 and w[254] = 0: (0 - 1) * 1 / 2 + 1 = 1 (truncation toward zero).
    EXPECT_EQ(Inv1(f, 253), 1);
    // Between w[0] = 254 and w[2] = 126: (126 - 254) * 1 / 2 + 254 = 190.
    EXPECT_EQ(Inv1(f, 1), 190);
}

TEST(CurveTab8, RisingCurveBelowItsStartGetsZeroAndAboveItsTopGets255) {
    Curve t;
    for (int i = 0; i < 256; ++i) t[i] = uint8_t(50 + i * 100 / 255);
    const CFunc_8Tab f(1, t.data());
    EXPECT_EQ(Inv1(f, 10), 0);
    EXPECT_EQ(Inv1(f, 49), 0);
    EXPECT_EQ(Inv1(f, 151), 255);
    EXPECT_EQ(Inv1(f, 255), 255);
    // t[254] = 149 and only t[255] reaches 150; t[255] is not scattered, so the curve's own
    // top is answered by the upper fill value.
    ASSERT_EQ(t[254], 149);
    EXPECT_EQ(Inv1(f, 150), 255);
    EXPECT_EQ(Inv1(f, 149), 254);
}

TEST(CurveTab8, ChannelsAreIndependent) {
    std::vector<uint8_t> t(3 * 256);
    for (int i = 0; i < 256; ++i) {
        t[i] = uint8_t(i);
        t[256 + i] = uint8_t(255 - i);
        t[512 + i] = uint8_t(i / 2);
    }
    const CFunc_8Tab f(3, t.data());
    EXPECT_EQ(f.inputChan(), 3u);
    EXPECT_EQ(f.outputChan(), 3u);
    const uint8_t in[3] = {10, 10, 10};
    uint8_t out[3] = {};
    EXPECT_EQ(f.Trn(in, out), 1);
    EXPECT_EQ(out[0], 10);
    EXPECT_EQ(out[1], 245);
    EXPECT_EQ(out[2], 5);
    EXPECT_EQ(f.Inv(out, out), 1);
    EXPECT_EQ(out[0], 10);
    EXPECT_EQ(out[1], 10);
    EXPECT_EQ(out[2], 11); // 5 is the value of indices 10 and 11: the higher one wins
}

TEST(CurveTab8, UndefinedCurveAnswersZeroAndLeavesOutput) {
    const CFunc_8Tab f;
    EXPECT_EQ(f.inputChan(), 3u);
    EXPECT_EQ(f.pTab(), nullptr);
    const uint8_t in[3] = {1, 2, 3};
    uint8_t out[3] = {7, 7, 7};
    EXPECT_EQ(f.Trn(in, out), 0);
    EXPECT_EQ(f.Inv(in, out), 0);
    EXPECT_EQ(out[0], 7);
}

TEST(CurveTab8, DefineAgainReusesAndRecomputesInverse) {
    CFunc_8Tab f(1, nullptr);
    Curve t;
    for (int i = 0; i < 256; ++i) t[i] = uint8_t(255 - i);
    f.Define(t.data());
    EXPECT_EQ(Trn1(f, 0), 255);
    EXPECT_EQ(Inv1(f, 0), 255);
}

TEST(CurveTab8, CopyIsDeep) {
    CFunc_8Tab f(1, nullptr);
    const CFunc_8Tab copy(f);
    Curve t;
    t.fill(9);
    f.Define(t.data());
    EXPECT_EQ(Trn1(copy, 100), 100);
    CFunc_8Tab assigned;
    assigned = copy;
    f.Define(nullptr);
    EXPECT_EQ(Trn1(assigned, 100), 100);
    EXPECT_NE(assigned.pTab(), copy.pTab());
}

// Stores an object into a memory file and returns the bytes.
std::vector<uint8_t> Store(const CObject& obj) {
    CMemFile file;
    {
        CArchive ar(&file, CArchive::store);
        ar << &obj;
        ar.Close();
    }
    const uint8_t* b = file.GetBuffer();
    return std::vector<uint8_t>(b, b + file.GetLength());
}

TEST(CurveTab8, ArchiveBodyHoldsCountsForwardAndInverseTables) {
    Curve t;
    for (int i = 0; i < 256; ++i) t[i] = uint8_t(i < 128 ? 2 * i : 255);
    std::vector<uint8_t> two(512);
    std::copy(t.begin(), t.end(), two.begin());
    for (int i = 0; i < 256; ++i) two[256 + i] = uint8_t(255 - i);
    const CFunc_8Tab f(2, two.data());
    const std::vector<uint8_t> bytes = Store(f);
    // Header: tag, schema, name length, "CFunc_8Tab" (10 letters); body from 16.
    ASSERT_EQ(bytes.size(), 16u + 8 + 512 + 512);
    EXPECT_EQ(bytes[4], 10);
    EXPECT_EQ(std::string(bytes.begin() + 6, bytes.begin() + 16), "CFunc_8Tab");
    EXPECT_EQ(bytes[16], 2); // inputChan
    EXPECT_EQ(bytes[20], 2); // outputChan
    EXPECT_TRUE(std::equal(two.begin(), two.end(), bytes.begin() + 24));
    EXPECT_TRUE(std::equal(f.pInvTab(), f.pInvTab() + 512, bytes.begin() + 24 + 512));
}

TEST(CurveTab8, LoadTakesTheStoredInverseWithoutRecomputing) {
    const CFunc_8Tab f(1, nullptr);
    std::vector<uint8_t> bytes = Store(f);
    const size_t invStart = 16 + 8 + 256;
    bytes[invStart + 40] = 99; // an inverse that no forward table would give
    CMemFile file(bytes.data(), unsigned(bytes.size()));
    CArchive ar(&file, CArchive::load);
    CFunc_8Tab* loaded = nullptr;
    ar >> loaded;
    ASSERT_NE(loaded, nullptr);
    std::unique_ptr<CFunc_8Tab> owner(loaded);
    EXPECT_EQ(loaded->inputChan(), 1u);
    EXPECT_EQ(Trn1(*loaded, 40), 40);
    EXPECT_EQ(Inv1(*loaded, 40), 99);
}

TEST(CurveTab8, LoadRefusesDifferentInputAndOutputCounts) {
    const CFunc_8Tab f(1, nullptr);
    std::vector<uint8_t> bytes = Store(f);
    bytes[20] = 2; // outputChan
    CMemFile file(bytes.data(), unsigned(bytes.size()));
    CArchive ar(&file, CArchive::load);
    CFunc_8Tab* loaded = nullptr;
    EXPECT_THROW(ar >> loaded, CArchiveException);
}

TEST(CurveTab8, CreatedByClassName) {
    const CRuntimeClass* cls = CRuntimeClass::FromName("CFunc_8Tab");
    ASSERT_NE(cls, nullptr);
    std::unique_ptr<CObject> obj(cls->CreateObject());
    ASSERT_NE(obj, nullptr);
    EXPECT_TRUE(obj->IsKindOf(RUNTIME_CLASS(CFunc_8)));
    EXPECT_EQ(static_cast<CFunc_8*>(obj.get())->inputChan(), 3u);
}

TEST(CurveTabGamma, GammaOneIsIdentityOnBytes) {
    const CGammaTab g(1.0);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(g.pTab()[i], i);
}

TEST(CurveTabGamma, GammaTwoAt128TruncatesTo64) {
    const CGammaTab g(2.0);
    EXPECT_EQ(g.pTab()[128], 64); // 128^2 / 255 = 64.25, truncated
}

} // namespace
