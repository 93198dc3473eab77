// The layout module: checked reads over a span in both byte orders, the grid sample count and
// the record readers, on blocks built byte by byte.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "IccTestUtil.h"
#include "icc/IccLayout.h"
#include "icc/IccRecords.h"

namespace {

using namespace icctest;
using IccLayout::Order;
using IccLayout::Span;

// A copy of a big-endian block converted to host order the way a loaded profile holds it.
Bytes ToHost(Bytes b) {
    EXPECT_TRUE(SwapTagDataChecked(reinterpret_cast<uint32_t*>(b.data()), uint32_t(b.size()), 1));
    return b;
}

TEST(IccLayout, SpanReadsBigEndianAndHostOrder) {
    const Bytes be = Be().u16(0x1234).u32(0x89ABCDEF).b;
    const Span file(be.data(), be.size(), Order::File);
    uint16_t v16 = 0;
    uint32_t v32 = 0;
    ASSERT_TRUE(file.U16(0, v16));
    ASSERT_TRUE(file.U32(2, v32)); // unaligned
    EXPECT_EQ(0x1234, v16);
    EXPECT_EQ(0x89ABCDEFu, v32);
    int32_t s32 = 0;
    ASSERT_TRUE(file.S32(2, s32));
    EXPECT_EQ(int32_t(0x89ABCDEFu), s32);

    uint8_t host[6];
    const uint16_t h16 = 0x1234;
    const uint32_t h32 = 0x89ABCDEF;
    std::memcpy(host, &h16, 2);
    std::memcpy(host + 2, &h32, 4);
    const Span span(host, sizeof host, Order::Host);
    ASSERT_TRUE(span.U16(0, v16));
    ASSERT_TRUE(span.U32(2, v32));
    EXPECT_EQ(0x1234, v16);
    EXPECT_EQ(0x89ABCDEFu, v32);
}

TEST(IccLayout, ReadsPastTheEndFailAndLeaveTheValue) {
    const Bytes b = Be().u32(7).u16(9).b; // 6 bytes
    const Span s(b.data(), b.size(), Order::File);
    uint32_t v32 = 42;
    uint16_t v16 = 43;
    uint8_t v8 = 44;
    EXPECT_FALSE(s.U32(3, v32));
    EXPECT_FALSE(s.U16(5, v16));
    EXPECT_FALSE(s.U8(6, v8));
    EXPECT_EQ(42u, v32);
    EXPECT_EQ(43, v16);
    EXPECT_EQ(44, v8);
    EXPECT_TRUE(s.U16(4, v16));
    EXPECT_EQ(9, v16);
    // Offsets and lengths near the top of the range do not wrap into a pass.
    EXPECT_FALSE(s.Has(UINT64_MAX, 1));
    EXPECT_FALSE(s.Has(1, UINT64_MAX));
    EXPECT_FALSE(s.U32(UINT64_MAX - 1, v32));
    uint16_t run[3];
    EXPECT_FALSE(s.U16Run(2, 3, run));
    EXPECT_FALSE(s.U16Run(0, UINT64_MAX / 2 + 1, run));
    EXPECT_TRUE(s.U16Run(0, 3, run));
    EXPECT_EQ(0, run[0]);
    EXPECT_EQ(7, run[1]);
    EXPECT_EQ(9, run[2]);
    // A null span has no bytes whatever size it is given.
    EXPECT_FALSE(Span(nullptr, 100, Order::File).Has(0, 1));
}

TEST(IccLayout, GridSampleCountIsTheProductUpToTheLimit) {
    uint64_t n = 0;
    ASSERT_TRUE(IccLayout::GridSampleCount(17u, 3, 4, n));
    EXPECT_EQ(17u * 17 * 17 * 4, n);
    const uint8_t points[4] = {2, 3, 5, 7};
    ASSERT_TRUE(IccLayout::GridSampleCount(points, 4, 3, n));
    EXPECT_EQ(2u * 3 * 5 * 7 * 3, n);
    ASSERT_TRUE(IccLayout::GridSampleCount(9u, 0, 5, n)); // no axes: one node
    EXPECT_EQ(5u, n);

    // 2^32 exactly is accepted, one factor more is refused and leaves the count alone.
    ASSERT_TRUE(IccLayout::GridSampleCount(256u, 4, 1, n));
    EXPECT_EQ(IccLayout::kMaxGridSamples, n);
    n = 123;
    EXPECT_FALSE(IccLayout::GridSampleCount(256u, 4, 2, n));
    EXPECT_FALSE(IccLayout::GridSampleCount(255u, 255, 255, n));
    EXPECT_FALSE(IccLayout::GridSampleCount(UINT64_MAX, 2, 1, n)); // would wrap in 64 bits
    EXPECT_EQ(123u, n);

    // A zero factor anywhere makes an empty grid, however large the others are.
    const uint8_t withZero[16] = {255, 255, 255, 255, 255, 0};
    ASSERT_TRUE(IccLayout::GridSampleCount(withZero, 6, 255, n));
    EXPECT_EQ(0u, n);
    ASSERT_TRUE(IccLayout::GridSampleCount(255u, 8, 0, n));
    EXPECT_EQ(0u, n);
}

TEST(IccLayout, CurvRecord) {
    const Bytes be = Curv({0, 1000, 65535}); // padded to 20 bytes
    for (Order order : {Order::File, Order::Host}) {
        const Bytes b = order == Order::File ? be : ToHost(be);
        const Span s(b.data(), b.size(), order);
        IccLayout::CurveRecord rec;
        ASSERT_TRUE(IccLayout::ReadCurveRecord(s, 0, rec));
        EXPECT_EQ(IccLayout::CurveKind::Curv, rec.kind);
        EXPECT_EQ(3u, rec.count);
        EXPECT_EQ(12u, rec.entriesAt);
        EXPECT_EQ(20u, rec.length); // 12 + 3 entries + padding
        uint16_t e[3];
        ASSERT_TRUE(s.U16Run(rec.entriesAt, 3, e));
        EXPECT_EQ(1000, e[1]);
        EXPECT_EQ(65535, e[2]);
    }
    const Span file(be.data(), be.size(), Order::File);
    IccLayout::CurveRecord rec;
    // The padding need not be there; the entries must.
    EXPECT_TRUE(IccLayout::ReadCurveRecord(Span(be.data(), 18, Order::File), 0, rec));
    EXPECT_FALSE(IccLayout::ReadCurveRecord(Span(be.data(), 17, Order::File), 0, rec));
    EXPECT_FALSE(IccLayout::ReadCurveRecord(Span(be.data(), 11, Order::File), 0, rec));
    EXPECT_FALSE(IccLayout::ReadCurveRecord(Span(be.data(), 3, Order::File), 0, rec));
    const Bytes huge = Be().head("curv").u32(0xFFFFFFFFu).u16(1).b;
    EXPECT_FALSE(IccLayout::ReadCurveRecord(Span(huge.data(), huge.size(), Order::File), 0, rec));
    EXPECT_FALSE(IccLayout::ReadCurveRecord(file, 20, rec)); // nothing behind the record
}

TEST(IccLayout, ParaRecordByFunctionType) {
    const unsigned kCounts[5] = {1, 3, 4, 5, 7};
    for (uint16_t type = 0; type < 5; ++type) {
        std::vector<int32_t> prm;
        for (unsigned k = 0; k < kCounts[type]; ++k) prm.push_back(int32_t(k + 1) * -65536);
        const Bytes b = Para(type, prm);
        IccLayout::CurveRecord rec;
        ASSERT_TRUE(IccLayout::ReadCurveRecord(Span(b.data(), b.size(), Order::File), 0, rec));
        EXPECT_EQ(IccLayout::CurveKind::Para, rec.kind);
        EXPECT_EQ(type, rec.function);
        EXPECT_EQ(kCounts[type], rec.parameters);
        EXPECT_EQ(12u + 4 * kCounts[type], rec.length);
        EXPECT_EQ(-65536 * int32_t(kCounts[type]), rec.parameter[kCounts[type] - 1]);
        EXPECT_FALSE(IccLayout::ReadCurveRecord(Span(b.data(), b.size() - 1, Order::File), 0, rec));
    }
    // An unknown function type and an unknown record type: identities without a length.
    const Bytes odd = Para(9, {});
    IccLayout::CurveRecord rec;
    ASSERT_TRUE(IccLayout::ReadCurveRecord(Span(odd.data(), odd.size(), Order::File), 0, rec));
    EXPECT_EQ(IccLayout::CurveKind::Other, rec.kind);
    EXPECT_EQ(0u, rec.length);
    const Bytes other = Be().head("abcd").b;
    ASSERT_TRUE(IccLayout::ReadCurveRecord(Span(other.data(), 4, Order::File), 0, rec));
    EXPECT_EQ(IccLayout::CurveKind::Other, rec.kind);
    EXPECT_EQ(0u, rec.length);
}

TEST(IccLayout, CurveSetWalksByRecordLength) {
    Be w;
    w.bytes(Curv({1, 2, 3})).bytes(Para(0, {2 * 65536})).bytes(Curv({}));
    const Span s(w.b.data(), w.b.size(), Order::File);
    EXPECT_TRUE(IccLayout::CurveSetFits(s, 0, 3));
    EXPECT_FALSE(IccLayout::CurveSetFits(s, 0, 4)); // a fourth record would start at the end
    EXPECT_FALSE(IccLayout::CurveSetFits(Span(w.b.data(), w.b.size() - 1, Order::File), 0, 3));
    // A record without a length is read again for every curve.
    const Bytes other = Be().head("abcd").b;
    EXPECT_TRUE(IccLayout::CurveSetFits(Span(other.data(), other.size(), Order::File), 0, 16));
}

TEST(IccLayout, Lut16Record) {
    Be w;
    w.head("mft2").u8(3).u8(2).u8(2).u8(0);
    for (int k = 0; k < 9; ++k) w.u32(uint32_t(k == 0 || k == 4 || k == 8 ? 65536 : k));
    w.u16(2).u16(3); // input and output entries
    for (int k = 0; k < 3 * 2 + 8 * 2 + 2 * 3; ++k) w.u16(uint16_t(k));
    for (Order order : {Order::File, Order::Host}) {
        const Bytes b = order == Order::File ? w.b : ToHost(w.b);
        const Span s(b.data(), b.size(), order);
        IccLayout::LutRecord lut;
        ASSERT_TRUE(IccLayout::ReadLut16(s, lut));
        EXPECT_EQ(3u, lut.inputChan);
        EXPECT_EQ(2u, lut.outputChan);
        EXPECT_EQ(2u, lut.clutPoints);
        EXPECT_EQ(2u, lut.inputEntries);
        EXPECT_EQ(3u, lut.outputEntries);
        EXPECT_EQ(65536, lut.matrix[4]);
        EXPECT_EQ(7, lut.matrix[7]);
        EXPECT_EQ(6u, lut.inputValues);
        EXPECT_EQ(16u, lut.gridValues);
        EXPECT_EQ(6u, lut.outputValues);
        EXPECT_EQ(52u, lut.inputAt);
        EXPECT_EQ(52u + 12, lut.gridAt);
        EXPECT_EQ(52u + 12 + 32, lut.outputAt);
        uint16_t first = 0;
        ASSERT_TRUE(s.U16(lut.outputAt, first));
        EXPECT_EQ(22, first);
        EXPECT_FALSE(IccLayout::ReadLut16(Span(b.data(), b.size() - 1, order), lut));
        EXPECT_FALSE(IccLayout::ReadLut16(Span(b.data(), 51, order), lut));
    }
    // A grid beyond the limit is refused before any size is computed from it.
    Bytes big = w.b;
    big[8] = 255;
    big[10] = 255;
    IccLayout::LutRecord lut;
    EXPECT_FALSE(IccLayout::ReadLut16(Span::Trusted(big.data(), Order::File), lut));
}

TEST(IccLayout, Lut8Record) {
    Be w;
    w.head("mft1").u8(3).u8(1).u8(2).u8(0).zeros(36);
    w.zeros(3 * 256 + 8 + 256);
    const Span s(w.b.data(), w.b.size(), Order::File);
    IccLayout::LutRecord lut;
    ASSERT_TRUE(IccLayout::ReadLut8(s, lut));
    EXPECT_EQ(48u, lut.inputAt);
    EXPECT_EQ(48u + 768, lut.gridAt);
    EXPECT_EQ(8u, lut.gridValues);
    EXPECT_EQ(48u + 768 + 8, lut.outputAt);
    EXPECT_EQ(256u, lut.outputValues);
    EXPECT_FALSE(IccLayout::ReadLut8(Span(w.b.data(), w.b.size() - 1, Order::File), lut));
}

TEST(IccLayout, LutABHeadAndGrid) {
    LutAB ab;
    ab.in = 3;
    ab.out = 2;
    ab.B = Curv({});
    ab.B.insert(ab.B.end(), ab.B.begin(), ab.B.end());
    ab.clut = Clut({2, 3, 4}, 2, std::vector<uint16_t>(2 * 3 * 4 * 2, 7));
    const Bytes be = ab.Build();
    for (Order order : {Order::File, Order::Host}) {
        const Bytes b = order == Order::File ? be : ToHost(be);
        const Span s(b.data(), b.size(), order);
        IccLayout::LutABRecord rec;
        ASSERT_TRUE(IccLayout::ReadLutAB(s, rec));
        EXPECT_EQ(3u, rec.inputChan);
        EXPECT_EQ(2u, rec.outputChan);
        EXPECT_EQ(ab.offsets[0], rec.offsetB);
        EXPECT_EQ(ab.offsets[3], rec.offsetCLUT);
        EXPECT_EQ(0u, rec.offsetA);
        EXPECT_EQ(0u, rec.offsetMatrix);
        IccLayout::ClutRecord clut;
        ASSERT_TRUE(IccLayout::ReadClutHead(s, rec.offsetCLUT, clut));
        EXPECT_EQ(3, clut.gridPoints[1]);
        EXPECT_EQ(0, clut.gridPoints[3]);
        EXPECT_EQ(2u, clut.precision);
        EXPECT_EQ(rec.offsetCLUT + 20u, clut.samplesAt);
        uint64_t samples = 0;
        ASSERT_TRUE(
            IccLayout::GridSampleCount(clut.gridPoints, rec.inputChan, rec.outputChan, samples));
        EXPECT_TRUE(s.Has(clut.samplesAt, 2 * samples));
        EXPECT_FALSE(IccLayout::ReadClutHead(s, b.size() - 19, clut));
        EXPECT_FALSE(IccLayout::ReadLutAB(Span(b.data(), 31, order), rec));
    }
}

TEST(IccLayout, XYZNumbers) {
    const Bytes be = Be().head("XYZ ").u32(1).u32(2).u32(0xFFFFFFFFu).u32(4).b;
    const Span s(be.data(), be.size(), Order::File);
    icXYZNumber xyz{};
    ASSERT_TRUE(IccLayout::ReadXYZNumber(s, 0, xyz));
    EXPECT_EQ(1, xyz.X);
    EXPECT_EQ(2, xyz.Y);
    EXPECT_EQ(-1, xyz.Z);
    EXPECT_FALSE(IccLayout::ReadXYZNumber(s, 1, xyz)); // 4 of 12 bytes
    EXPECT_FALSE(IccLayout::ReadXYZNumber(s, UINT64_MAX / 8, xyz));
}

TEST(IccLayout, NamedColor2HeadAndEntries) {
    Be w;
    w.head("ncl2").u32(5).u32(2).u32(4).text("pre", 32).text("suf", 32);
    for (int e = 0; e < 2; ++e) w.text("name", 32).zeros(2 * (3 + 4));
    for (Order order : {Order::File, Order::Host}) {
        const Bytes b = order == Order::File ? w.b : ToHost(w.b);
        IccLayout::NamedColor2Record rec;
        ASSERT_TRUE(IccLayout::ReadNamedColor2(Span(b.data(), b.size(), order), rec));
        EXPECT_EQ(5u, rec.vendorFlag);
        EXPECT_EQ(2u, rec.count);
        EXPECT_EQ(4u, rec.deviceCoords);
        EXPECT_EQ(84u, rec.entriesAt);
        EXPECT_EQ(32u + 14, rec.entryBytes);
        EXPECT_EQ(b.size(), rec.entriesAt + rec.count * rec.entryBytes);
        EXPECT_FALSE(IccLayout::ReadNamedColor2(Span(b.data(), b.size() - 1, order), rec));
        EXPECT_FALSE(IccLayout::ReadNamedColor2(Span(b.data(), 83, order), rec));
    }
    // Counts whose product passes 64 bits are refused, not wrapped.
    Be huge;
    huge.head("ncl2").u32(0).u32(0xFFFFFFFFu).u32(0xFFFFFFFFu).zeros(64);
    IccLayout::NamedColor2Record rec;
    EXPECT_FALSE(IccLayout::ReadNamedColor2(Span(huge.b.data(), huge.b.size(), Order::File), rec));
}

TEST(IccLayout, ParaParameterCounts) {
    EXPECT_EQ(1u, IccLayout::ParaParameterCount(0));
    EXPECT_EQ(7u, IccLayout::ParaParameterCount(4));
    EXPECT_EQ(0u, IccLayout::ParaParameterCount(5));
    EXPECT_EQ(0u, IccLayout::ParaParameterCount(0xFFFF));
}

TEST(IccRecords, NoneAndSignatureHelpers) {
    static_assert(icSigNone == 0xFFFFFFFFu && icTagIndexNone == icSigNone);
    static_assert(MakeIccSignature("curv") == 0x63757276u);
    static_assert(icFixed16Unit * 65536.0 == 1.0);
    EXPECT_EQ(icSigCurveType, MakeIccSignature("curv"));
}

} // namespace
