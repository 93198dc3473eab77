// Byte order of the ICC records: header, tag table, tag blocks and curve records.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "IccTestUtil.h"
#include "icc/IccRecords.h"

using namespace icctest;

namespace {

// A heap block of exactly the bytes given, so that AddressSanitizer sees every byte outside it.
struct Block {
    explicit Block(const Bytes& b) : n(b.size()), p(new uint8_t[b.size() ? b.size() : 1]) {
        if (n) std::memcpy(p.get(), b.data(), n);
    }
    uint32_t* words() { return reinterpret_cast<uint32_t*>(p.get()); }
    uint8_t* bytes() { return p.get(); }
    Bytes copy() const { return Bytes(p.get(), p.get() + n); }
    size_t n;
    std::unique_ptr<uint8_t[]> p;
};

// Converts a file-order block to host order, checks that the conversion back restores the
// file bytes, and answers the host-order bytes.
Bytes ToHostAndBack(const Bytes& file, bool expectFits = true) {
    Block blk(file);
    EXPECT_EQ(expectFits, SwapTagDataChecked(blk.words(), uint32_t(blk.n), 1));
    Bytes host = blk.copy();
    EXPECT_EQ(expectFits, SwapTagDataChecked(blk.words(), uint32_t(blk.n), 0));
    EXPECT_EQ(file, blk.copy()) << "conversion back to file order differs";
    return host;
}

} // namespace

TEST(IccRecordsSwap, SwapHeaderTwiceRestoresAll128BytesReservedIncluded) {
    std::mt19937 rng(7);
    for (int round = 0; round < 20; ++round) {
        icHeader h;
        auto* b = reinterpret_cast<uint8_t*>(&h);
        for (size_t i = 0; i < sizeof h; ++i) b[i] = uint8_t(rng());
        Bytes before(b, b + sizeof h);
        SwapHeader(&h);
        EXPECT_NE(before, Bytes(b, b + sizeof h));
        SwapHeader(&h);
        EXPECT_EQ(before, Bytes(b, b + sizeof h));
    }
}

TEST(IccRecordsSwap, SwapHeaderConvertsEachFieldAndKeepsReservedBytes) {
    Profile p;
    Bytes file = p.Build(); // a header and an empty table
    icHeader h;
    std::memcpy(&h, file.data(), sizeof h);
    SwapHeader(&h);
    EXPECT_EQ(132u, h.size);
    EXPECT_EQ(Sig("TCMS"), h.cmmId);
    EXPECT_EQ(0x02100000u, h.version);
    EXPECT_EQ(icSigOutputClass, h.deviceClass);
    EXPECT_EQ(icSigCmykData, h.colorSpace);
    EXPECT_EQ(icSigLabData, h.pcs);
    EXPECT_EQ(2024, h.date.year);
    EXPECT_EQ(5, h.date.month);
    EXPECT_EQ(17, h.date.day);
    EXPECT_EQ(13, h.date.hours);
    EXPECT_EQ(45, h.date.minutes);
    EXPECT_EQ(59, h.date.seconds);
    EXPECT_EQ(icMagicNumber, h.magic);
    EXPECT_EQ(icSigMacintosh, h.platform);
    EXPECT_EQ(0x00010002u, h.flags);
    EXPECT_EQ(Sig("TEST"), h.manufacturer);
    EXPECT_EQ(Sig("MDL1"), h.model);
    // The two attribute words each converted in its own place.
    EXPECT_EQ(0x11223344u, h.attributes[0]);
    EXPECT_EQ(0x55667788u, h.attributes[1]);
    EXPECT_EQ(icRelativeColorimetric, h.renderingIntent);
    EXPECT_EQ(63190, h.illuminant.X);
    EXPECT_EQ(65536, h.illuminant.Y);
    EXPECT_EQ(54061, h.illuminant.Z);
    EXPECT_EQ(Sig("TEST"), h.creator);
    EXPECT_EQ(0, std::memcmp(h.reserved, file.data() + 84, 44));
}

TEST(IccRecordsSwap, SwapTagTableNeedsTheCountInHostOrder) {
    // A table of 256 entries. Read in file order its count is 0x00010000: the conversion then
    // runs over 65536 entries instead of 256, i.e. the wrong number of words.
    const uint32_t realCount = 256, wrongCount = 0x00010000;
    const size_t bytes = 4 + 12 * size_t(wrongCount);
    std::unique_ptr<uint32_t[]> words(new uint32_t[bytes / 4]());
    auto* table = reinterpret_cast<icTagTable*>(words.get());
    Be be;
    be.u32(realCount);
    std::memcpy(&table->count, be.b.data(), 4);
    ASSERT_EQ(wrongCount, table->count); // the file-order count as the host reads it
    for (uint32_t i = 0; i < wrongCount; ++i) table->tags[i] = {0x01020304u, i, 0};
    SwapTagTable(table);
    EXPECT_EQ(0x04030201u, table->tags[realCount].sig) << "entries behind the table swapped";
    EXPECT_EQ(0x04030201u, table->tags[wrongCount - 1].sig);

    // With the count in host order exactly the 3 * count words behind it are converted, and
    // the count itself stays.
    std::unique_ptr<uint32_t[]> w2(new uint32_t[1 + 3 * 3]());
    auto* t2 = reinterpret_cast<icTagTable*>(w2.get());
    t2->count = 2;
    for (int i = 0; i < 3; ++i) t2->tags[i] = {0x01020304u, 0x0A0B0C0Du, 0x11223344u};
    SwapTagTable(t2);
    EXPECT_EQ(2u, t2->count);
    EXPECT_EQ(0x04030201u, t2->tags[0].sig);
    EXPECT_EQ(0x0D0C0B0Au, t2->tags[1].offset);
    EXPECT_EQ(0x44332211u, t2->tags[1].size);
    EXPECT_EQ(0x01020304u, t2->tags[2].sig) << "entry beyond the count untouched";
    SwapTagTable(t2);
    EXPECT_EQ(0x01020304u, t2->tags[0].sig);

    // The bounded form stops at the end of the block.
    t2->count = 1000;
    SwapTagTable(t2, 4 + 12 * 3);
    EXPECT_EQ(0x04030201u, t2->tags[2].sig);
}

TEST(IccRecordsSwap, TopLevelCurvWithOneEntryHasItsEntrySwapped) {
    Bytes host = ToHostAndBack(Curv({0x0233}, false)); // gamma 2.2 in u8Fixed8
    EXPECT_EQ(icSigCurveType, H32(host.data(), 0));
    EXPECT_EQ(1u, H32(host.data(), 8));
    EXPECT_EQ(0x0233, H16(host.data(), 12));
}

TEST(IccRecordsSwap, CurvWithOneEntryInsideMABKeepsItsGammaInFileOrder) {
    LutAB lut;
    lut.in = 1;
    lut.out = 1;
    lut.B = Curv({0x0233});
    Bytes host = ToHostAndBack(lut.Build());
    uint32_t off = H32(host.data(), 12);
    ASSERT_EQ(lut.offsets[0], off);
    EXPECT_EQ(icSigCurveType, H32(host.data(), off));
    EXPECT_EQ(1u, H32(host.data(), off + 8));
    // The two bytes of the gamma stand as in the file: 0x02, 0x33.
    EXPECT_EQ(0x02, host[off + 12]);
    EXPECT_EQ(0x33, host[off + 13]);

    // Directly: a one-entry curve answers 16 bytes and leaves its entry.
    Block b(Curv({0x0233}));
    EXPECT_EQ(16u, SwapCurveData(1, b.bytes(), false));
    EXPECT_EQ(0x02, b.bytes()[12]);
    EXPECT_EQ(0x33, b.bytes()[13]);
}

TEST(IccRecordsSwap, CurvWithOddCountInASetAdvancesByAMultipleOfFour) {
    Block b(Curv({1, 2, 3}));
    size_t n = SwapCurveData(1, b.bytes(), false);
    EXPECT_EQ(20u, n); // 12 + 2 * (3 + 1)
    EXPECT_EQ(0u, n % 4);
    EXPECT_EQ(3, H16(b.bytes(), 16));

    // In a set the next curve is found behind the padding and converted.
    LutAB lut;
    lut.in = 2;
    lut.out = 2;
    Bytes set = Curv({0x1234, 0x2345, 0x3456});
    Bytes second = Curv({0xABCD, 0x0102});
    set.insert(set.end(), second.begin(), second.end());
    lut.B = set;
    Bytes host = ToHostAndBack(lut.Build());
    uint32_t off = lut.offsets[0];
    EXPECT_EQ(0x3456, H16(host.data(), off + 16));
    EXPECT_EQ(icSigCurveType, H32(host.data(), off + 20));
    EXPECT_EQ(2u, H32(host.data(), off + 28));
    EXPECT_EQ(0xABCD, H16(host.data(), off + 32));
    EXPECT_EQ(0x0102, H16(host.data(), off + 34));
}

TEST(IccRecordsSwap, MABWithMOffsetEqualToBOffsetConvertsThatSetOnce) {
    LutAB lut;
    lut.in = 1;
    lut.out = 1;
    lut.B = Curv({0x1122, 0x3344});
    Bytes built = lut.Build();
    uint32_t offB = lut.offsets[0];
    Be fix;
    fix.b = built;
    fix.put32(20, offB); // M offset = B offset
    Bytes host = ToHostAndBack(fix.b);
    EXPECT_EQ(offB, H32(host.data(), 20));
    EXPECT_EQ(icSigCurveType, H32(host.data(), offB));
    EXPECT_EQ(2u, H32(host.data(), offB + 8));
    EXPECT_EQ(0x1122, H16(host.data(), offB + 12));
    EXPECT_EQ(0x3344, H16(host.data(), offB + 14));

    // A further conversion back and forth stays correct.
    Block blk(host);
    SwapTagData(blk.words(), uint32_t(blk.n), 0);
    EXPECT_EQ(fix.b, blk.copy());
    SwapTagData(blk.words(), uint32_t(blk.n), 1);
    EXPECT_EQ(host, blk.copy());
}

TEST(IccRecordsSwap, ParaWithFunctionType7InASetReturns12AndTheWalkContinues) {
    Block b(Para(7, {}));
    EXPECT_EQ(12u, SwapCurveData(1, b.bytes(), false));
    EXPECT_EQ(icSigParametricCurveType, H32(b.bytes(), 0));
    EXPECT_EQ(7, H16(b.bytes(), 8));

    LutAB lut;
    lut.in = 2;
    lut.out = 2;
    Bytes set = Para(7, {});
    Bytes next = Curv({0x0A0B, 0x0C0D});
    set.insert(set.end(), next.begin(), next.end());
    lut.B = set;
    Bytes host = ToHostAndBack(lut.Build());
    uint32_t off = lut.offsets[0];
    EXPECT_EQ(7, H16(host.data(), off + 8));
    EXPECT_EQ(icSigCurveType, H32(host.data(), off + 12));
    EXPECT_EQ(0x0A0B, H16(host.data(), off + 24));
}

TEST(IccRecordsSwap, ParaParameterCountsFollowTheFunctionType) {
    const unsigned counts[] = {1, 3, 4, 5, 7};
    for (uint16_t type = 0; type < 5; ++type) {
        std::vector<int32_t> params;
        for (unsigned i = 0; i < counts[type]; ++i) params.push_back(0x10000 * int32_t(i + 1) + 5);
        Bytes file = Para(type, params);
        Block b(file);
        EXPECT_EQ(12u + 4 * counts[type], SwapCurveData(1, b.bytes(), false));
        for (unsigned i = 0; i < counts[type]; ++i)
            EXPECT_EQ(uint32_t(params[i]), H32(b.bytes(), 12 + 4 * i));
        EXPECT_EQ(12u + 4 * counts[type], SwapCurveData(0, b.bytes(), false));
        EXPECT_EQ(file, b.copy());
        // The top-level form converts the same.
        Bytes host = ToHostAndBack(file);
        EXPECT_EQ(type, H16(host.data(), 8));
        EXPECT_EQ(uint32_t(params.back()), H32(host.data(), 12 + 4 * (counts[type] - 1)));
    }
}

TEST(IccRecordsSwap, UnknownTypeInACurveSetReturnsZeroAndIsLookedAtAgain) {
    Block b(Be().head("abcd").u32(5).b);
    EXPECT_EQ(0u, SwapCurveData(1, b.bytes(), false));
    EXPECT_EQ(Sig("abcd"), H32(b.bytes(), 0));
    EXPECT_EQ(5u, BeRead32(b.bytes() + 8)) << "nothing behind the signature converted";

    // Three curves at one place: the signature is converted three times, so it ends reversed
    // once; with two curves it ends as it stood.
    for (uint8_t channels : {uint8_t(3), uint8_t(2)}) {
        LutAB lut;
        lut.in = channels;
        lut.out = channels;
        lut.B = Be().head("abcd").u32(5).b;
        Bytes host = ToHostAndBack(lut.Build());
        uint32_t off = lut.offsets[0];
        if (channels == 3)
            EXPECT_EQ(Sig("abcd"), H32(host.data(), off));
        else
            EXPECT_EQ(0, std::memcmp(host.data() + off, "abcd", 4));
        EXPECT_EQ(5u, BeRead32(host.data() + off + 8));
    }
}

TEST(IccRecordsSwap, Ui16OfSize8Or9SwapsNothingAndSize10SwapsOneValue) {
    for (size_t size : {size_t(8), size_t(9)}) {
        Be w;
        w.head("ui16");
        if (size == 9) w.u8(0x77);
        Bytes host = ToHostAndBack(w.b);
        EXPECT_EQ(icSigUInt16ArrayType, H32(host.data(), 0));
        EXPECT_EQ(0, std::memcmp(host.data() + 4, w.b.data() + 4, size - 4));
    }
    Bytes host = ToHostAndBack(Be().head("ui16").u16(0x1234).b);
    EXPECT_EQ(0x1234, H16(host.data(), 8));
    Bytes odd = ToHostAndBack(Be().head("ui16").u16(0x1234).u16(0x5678).u8(0x9A).b);
    EXPECT_EQ(0x5678, H16(odd.data(), 10));
    EXPECT_EQ(0x9A, odd[12]);
}

TEST(IccRecordsSwap, UnknownTagTypeLeavesEveryByteBehindTheSignature) {
    Be w;
    w.head("zzzz");
    for (int i = 0; i < 37; ++i) w.u8(uint8_t(i * 7 + 1));
    for (const char* type : {"zzzz", "text", "ui08", "mluc"}) {
        Bytes file = w.b;
        std::memcpy(file.data(), type, 4);
        Bytes host = ToHostAndBack(file);
        EXPECT_EQ(BeRead32(reinterpret_cast<const uint8_t*>(type)), H32(host.data(), 0));
        EXPECT_TRUE(std::equal(file.begin() + 4, file.end(), host.begin() + 4)) << type;
    }
}

TEST(IccRecordsSwap, WordRuleTypesConvertWholeWordsFromOffset8) {
    for (const char* type : {"XYZ ", "sf32", "uf32", "ui32", "meas"}) {
        Be w;
        w.head(type).u32(0x01020304).u32(0xF0E0D0C0).u32(7).u16(0xBEEF); // size 22
        Bytes host = ToHostAndBack(w.b);
        EXPECT_EQ(0x01020304u, H32(host.data(), 8)) << type;
        EXPECT_EQ(0xF0E0D0C0u, H32(host.data(), 12));
        EXPECT_EQ(7u, H32(host.data(), 16));
        EXPECT_EQ(0xBE, host[20]) << "a trailing part word stays";
        EXPECT_EQ(0xEF, host[21]);
    }
    // Below 12 bytes nothing but the signature.
    Bytes small = ToHostAndBack(Be().head("XYZ ").u16(0x0102).b);
    EXPECT_EQ(0x01, small[8]);
}

TEST(IccRecordsSwap, Ui64HalvesAreSwappedSeparatelyAndKeepTheirPlaces) {
    Bytes host = ToHostAndBack(Be().head("ui64").u32(0x00000001).u32(0x80000002).b);
    EXPECT_EQ(0x00000001u, H32(host.data(), 8)); // high word first, as in the file
    EXPECT_EQ(0x80000002u, H32(host.data(), 12));
}

TEST(IccRecordsSwap, SigDataAndDescConvertOnlyTheWordAt8) {
    Bytes sig = ToHostAndBack(Be().head("sig ").sig("CMYK").b);
    EXPECT_EQ(icSigCmykData, H32(sig.data(), 8));

    Bytes data = ToHostAndBack(Be().head("data").u32(1).u32(0xA1B2C3D4).u8(9).b);
    EXPECT_EQ(1u, H32(data.data(), 8));
    EXPECT_EQ(0xA1B2C3D4u, BeRead32(data.data() + 12)) << "payload as in the file";

    Be d;
    d.head("desc").u32(4).text("abc", 4).u32(0x00000001).u32(0x00000002).u16(0x0041);
    Bytes desc = ToHostAndBack(d.b);
    EXPECT_EQ(4u, H32(desc.data(), 8));
    EXPECT_EQ(0, std::memcmp(desc.data() + 12, "abc", 4));
    EXPECT_TRUE(std::equal(d.b.begin() + 16, d.b.end(), desc.begin() + 16))
        << "Unicode and ScriptCode parts stay as stored";
}

TEST(IccRecordsSwap, DateTimeConvertsSixValues) {
    Bytes host =
        ToHostAndBack(Be().head("dtim").u16(2023).u16(12).u16(31).u16(23).u16(59).u16(58).b);
    const uint16_t expect[6] = {2023, 12, 31, 23, 59, 58};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(expect[i], H16(host.data(), 8 + 2 * i));
}

TEST(IccRecordsSwap, TopLevelCurvConvertsCountAndEntries) {
    Bytes host = ToHostAndBack(Curv({0, 0x1234, 0xFFFF}, false));
    EXPECT_EQ(3u, H32(host.data(), 8));
    EXPECT_EQ(0x1234, H16(host.data(), 14));
    EXPECT_EQ(0xFFFF, H16(host.data(), 16));
    Bytes identity = ToHostAndBack(Curv({}, false));
    EXPECT_EQ(0u, H32(identity.data(), 8));
}

TEST(IccRecordsSwap, UcrBgWithOddCountFindsItsSecondCountOnATwoByteBoundary) {
    Be w;
    w.head("bfd ").u32(3).u16(0x0102).u16(0x0304).u16(0x0506); // m at 18
    w.u32(2).u16(0xA0A1).u16(0xB0B1);
    w.text("ucr text", 9);
    Bytes host = ToHostAndBack(w.b);
    EXPECT_EQ(3u, H32(host.data(), 8));
    EXPECT_EQ(0x0506, H16(host.data(), 16));
    EXPECT_EQ(2u, H32(host.data(), 18));
    EXPECT_EQ(0xA0A1, H16(host.data(), 22));
    EXPECT_EQ(0xB0B1, H16(host.data(), 24));
    EXPECT_EQ(0, std::memcmp(host.data() + 26, "ucr text", 9));
}

TEST(IccRecordsSwap, ColorantTableConvertsCountAndThePcsValuesOfEachEntry) {
    Be w;
    w.head("clrt").u32(2);
    w.text("Cyan", 32).u16(0x1111).u16(0x2222).u16(0x3333);
    w.text("Magenta", 32).u16(0x4444).u16(0x5555).u16(0x6667);
    Bytes host = ToHostAndBack(w.b);
    EXPECT_EQ(2u, H32(host.data(), 8));
    EXPECT_EQ(0, std::memcmp(host.data() + 12, "Cyan", 5));
    EXPECT_EQ(0x1111, H16(host.data(), 12 + 32));
    EXPECT_EQ(0x3333, H16(host.data(), 12 + 36));
    EXPECT_EQ(0x6667, H16(host.data(), 12 + 38 + 36));
}

TEST(IccRecordsSwap, NamedColor2ConvertsHeadWordsAndPcsPlusDeviceValues) {
    Be w;
    w.head("ncl2").u32(0x80000000).u32(2).u32(4);
    w.text("pre", 32).text("suf", 32);
    for (int c = 0; c < 2; ++c) {
        w.text(c ? "Blue" : "Red", 32);
        for (int v = 0; v < 7; ++v) w.u16(uint16_t(0x0100 * (c + 1) + v));
    }
    Bytes host = ToHostAndBack(w.b);
    EXPECT_EQ(0x80000000u, H32(host.data(), 8));
    EXPECT_EQ(2u, H32(host.data(), 12));
    EXPECT_EQ(4u, H32(host.data(), 16));
    EXPECT_EQ(0, std::memcmp(host.data() + 20, "pre", 4));
    size_t stride = 38 + 2 * 4;
    for (int c = 0; c < 2; ++c)
        for (int v = 0; v < 7; ++v)
            EXPECT_EQ(0x0100 * (c + 1) + v, H16(host.data(), 84 + c * stride + 32 + 2 * v));
}

TEST(IccRecordsSwap, Lut8ConvertsTheMatrixOnly) {
    Be w;
    w.head("mft1").u8(1).u8(1).u8(2).u8(0);
    for (int i = 0; i < 9; ++i) w.u32(uint32_t(i == 0 || i == 4 || i == 8 ? 65536 : -i));
    for (int i = 0; i < 256 + 2 + 256; ++i) w.u8(uint8_t(i));
    Bytes host = ToHostAndBack(w.b);
    EXPECT_EQ(65536, int32_t(H32(host.data(), 12)));
    EXPECT_EQ(-1, int32_t(H32(host.data(), 16)));
    EXPECT_EQ(65536, int32_t(H32(host.data(), 44)));
    EXPECT_TRUE(std::equal(w.b.begin() + 48, w.b.end(), host.begin() + 48));
}

TEST(IccRecordsSwap, Lut16ConvertsMatrixCountsAndAllTables) {
    // 2 inputs, 3 outputs, 3 grid points, 4 input and 5 output entries.
    Be w;
    w.head("mft2").u8(2).u8(3).u8(3).u8(0);
    for (int i = 0; i < 9; ++i) w.u32(uint32_t(0x10000 * i + 1));
    w.u16(4).u16(5);
    const size_t values = 2 * 4 + (9 + 5) * 3;
    for (size_t i = 0; i < values; ++i) w.u16(uint16_t(0x0101 * i + 0x8000));
    w.u16(0xDEAD); // padding behind the tables stays
    Bytes host = ToHostAndBack(w.b);
    EXPECT_EQ(uint32_t(0x10000 * 8 + 1), H32(host.data(), 44));
    EXPECT_EQ(4, H16(host.data(), 48));
    EXPECT_EQ(5, H16(host.data(), 50));
    for (size_t i = 0; i < values; ++i)
        EXPECT_EQ(uint16_t(0x0101 * i + 0x8000), H16(host.data(), 52 + 2 * i));
    EXPECT_EQ(0xDE, host[52 + 2 * values]);
}

TEST(IccRecordsSwap, LutAToBConvertsCurveSetsGridAndMatrix) {
    LutAB lut;
    lut.in = 2;
    lut.out = 3;
    Bytes b;
    for (int i = 0; i < 3; ++i) {
        Bytes c = Curv({uint16_t(0x1000 + i), uint16_t(0x2000 + i)});
        b.insert(b.end(), c.begin(), c.end());
    }
    lut.B = b;
    Be m;
    for (int i = 0; i < 12; ++i) m.u32(uint32_t(0x00010000 + i));
    lut.matrix = m.b;
    Bytes mc;
    for (int i = 0; i < 3; ++i) {
        Bytes c = Para(0, {0x00024000 + i});
        mc.insert(mc.end(), c.begin(), c.end());
    }
    lut.M = mc;
    std::vector<uint16_t> grid;
    for (int i = 0; i < 2 * 3 * 3; ++i) grid.push_back(uint16_t(0x0A00 + i));
    lut.clut = Clut({2, 3}, 2, grid);
    lut.A = Curv({0x3344, 0x5566});
    Bytes a2 = Curv({0x7788, 0x99AA});
    lut.A.insert(lut.A.end(), a2.begin(), a2.end());
    Bytes host = ToHostAndBack(lut.Build());

    for (int i = 0; i < 5; ++i) EXPECT_EQ(lut.offsets[i], H32(host.data(), 12 + 4 * i));
    EXPECT_EQ(2, host[8]);
    EXPECT_EQ(3, host[9]);
    uint32_t offB = lut.offsets[0];
    for (int i = 0; i < 3; ++i) EXPECT_EQ(0x2000 + i, H16(host.data(), offB + 16 * i + 14));
    uint32_t offMat = lut.offsets[1];
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(uint32_t(0x00010000 + i), H32(host.data(), offMat + 4 * i));
    uint32_t offM = lut.offsets[2];
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(uint32_t(0x00024000 + i), H32(host.data(), offM + 16 * i + 12));
    uint32_t offC = lut.offsets[3];
    EXPECT_EQ(2, host[offC]);
    EXPECT_EQ(3, host[offC + 1]);
    for (size_t i = 0; i < grid.size(); ++i)
        EXPECT_EQ(grid[i], H16(host.data(), offC + 20 + 2 * i));
    uint32_t offA = lut.offsets[4];
    EXPECT_EQ(0x5566, H16(host.data(), offA + 14));
    EXPECT_EQ(0x99AA, H16(host.data(), offA + 16 + 14));
}

TEST(IccRecordsSwap, LutBToACountsBCurvesByInputsAndACurvesByOutputs) {
    LutAB lut;
    lut.type = "mBA ";
    lut.in = 3;
    lut.out = 1;
    Bytes b;
    for (int i = 0; i < 3; ++i) {
        Bytes c = Curv({uint16_t(0x0100 + i), uint16_t(0x0200 + i)});
        b.insert(b.end(), c.begin(), c.end());
    }
    lut.B = b;
    lut.A = Curv({0x0A0B, 0x0C0D});
    Bytes second = Curv({0x0E0F, 0x1011}); // not walked: one output channel
    lut.A.insert(lut.A.end(), second.begin(), second.end());
    Bytes host = ToHostAndBack(lut.Build());
    uint32_t offB = lut.offsets[0], offA = lut.offsets[4];
    EXPECT_EQ(0x0202, H16(host.data(), offB + 32 + 14));
    EXPECT_EQ(0x0C0D, H16(host.data(), offA + 14));
    EXPECT_EQ(0, std::memcmp(host.data() + offA + 16, "curv", 4)) << "second A curve untouched";
}

TEST(IccRecordsSwap, EightBitGridNeedsNoConversion) {
    LutAB lut;
    lut.in = 1;
    lut.out = 2;
    lut.clut = Clut({3}, 1, {1, 2, 3, 4, 5, 6});
    Bytes file = lut.Build();
    Bytes host = ToHostAndBack(file);
    EXPECT_TRUE(std::equal(file.begin() + 32, file.end(), host.begin() + 32));
}

TEST(IccRecordsSwap, ChecksStopConversionsAtTheEndOfTheBlock) {
    // Each of these claims more than its block holds: the checked form says so and the
    // conversion touches nothing outside (AddressSanitizer watches the exact-size blocks).
    std::vector<Bytes> bad;
    bad.push_back(Be().head("curv").u32(0xFFFFFFFF).u16(1).b);
    bad.push_back(Be().head("curv").b);
    bad.push_back(Be().head("para").u16(4).u16(0).u32(1).b);
    bad.push_back(Be().head("bfd ").u32(0x7FFFFFFF).u16(1).b);
    bad.push_back(Be().head("bfd ").u32(1).u16(1).u32(0xFFFFFFFF).u16(2).b);
    bad.push_back(Be().head("bfd ").u32(1).u16(1).b);
    bad.push_back(Be().head("clrt").u32(0xFFFFFFFF).text("x", 38).b);
    {
        Be w;
        w.head("ncl2").u32(0).u32(2).u32(0xFFFFFFFF).zeros(64).zeros(40);
        bad.push_back(w.b);
        Be v;
        v.head("ncl2").u32(0).u32(0xFFFFFFFF).u32(3).zeros(64).zeros(44);
        bad.push_back(v.b);
        bad.push_back(Be().head("ncl2").u32(0).u32(1).b);
    }
    bad.push_back(Be().head("mft1").u8(3).u8(3).u8(255).u8(0).zeros(36 + 256).b);
    bad.push_back(
        Be().head("mft2").u8(15).u8(15).u8(255).u8(0).zeros(36).u16(2).u16(2).zeros(64).b);
    bad.push_back(Be().head("mft2").u8(1).u8(1).u8(2).u8(0).zeros(36).u16(0xFFFF).u16(2).b);
    bad.push_back(Be().head("mft2").u8(1).u8(1).u8(2).u8(0).zeros(20).b);
    bad.push_back(Be().head("mAB ").u8(1).u8(1).u16(0).u32(36).b);
    {
        LutAB lut; // B offset beyond the end
        lut.in = lut.out = 1;
        lut.offsetsOverride = {4096, 0, 0, 0, 0};
        lut.B = Curv({1, 2});
        bad.push_back(lut.Build());
        LutAB into; // B offset inside the head
        into.in = into.out = 1;
        into.B = Curv({1, 2});
        into.offsetsOverride = {8, 0, 0, 0, 0};
        bad.push_back(into.Build());
        LutAB curveCut; // a curve count beyond the end
        curveCut.in = curveCut.out = 1;
        curveCut.B = Be().head("curv").u32(1000).u16(1).u16(2).b;
        bad.push_back(curveCut.Build());
        LutAB grid; // grid values beyond the end
        grid.in = 3;
        grid.out = 3;
        grid.clut = Clut({255, 255, 255}, 2, {1, 2, 3});
        bad.push_back(grid.Build());
        LutAB grid8;
        grid8.in = 2;
        grid8.out = 1;
        grid8.clut = Clut({9, 9}, 1, {1, 2, 3});
        bad.push_back(grid8.Build());
        LutAB many; // more than 16 grid inputs
        many.in = 17;
        many.out = 1;
        many.clut = Clut({2, 2}, 2, {1, 2, 3, 4});
        bad.push_back(many.Build());
        LutAB matrix; // matrix cut short
        matrix.in = matrix.out = 3;
        matrix.matrix = Be().u32(1).u32(2).b;
        bad.push_back(matrix.Build());
        LutAB cutHead;
        cutHead.in = cutHead.out = 1;
        cutHead.B = Curv({1, 2});
        cutHead.offsetsOverride = {40, 0, 0, 4000, 0};
        bad.push_back(cutHead.Build());
    }
    for (size_t i = 0; i < bad.size(); ++i) {
        Block blk(bad[i]);
        EXPECT_FALSE(SwapTagDataChecked(blk.words(), uint32_t(blk.n), 1)) << "case " << i;
        Block blk2(bad[i]);
        SwapTagData(blk2.words(), uint32_t(blk2.n), 1); // the plain form is bounded too
        SwapTagData(blk2.words(), uint32_t(blk2.n), 0);
    }
    // The bounded curve routine reports a record cut short.
    Bytes cut = Be().head("curv").u32(5).u16(1).b;
    Block c(cut);
    bool fits = true;
    SwapCurveData(1, c.bytes(), false, c.n, &fits);
    EXPECT_FALSE(fits);
    Block whole(Curv({1, 2}));
    fits = false;
    EXPECT_EQ(16u, SwapCurveData(1, whole.bytes(), false, whole.n, &fits));
    EXPECT_TRUE(fits);
}

TEST(IccRecordsSwap, SizeArgumentBoundsTheConversion) {
    // A block converted with a smaller size leaves everything behind that size.
    Bytes file = Be().head("XYZ ").u32(1).u32(2).u32(3).b;
    Block blk(file);
    SwapTagData(blk.words(), 16, 1);
    EXPECT_EQ(1u, H32(blk.bytes(), 8));
    EXPECT_EQ(2u, H32(blk.bytes(), 12));
    EXPECT_EQ(3u, BeRead32(blk.bytes() + 16));
    // Blocks of fewer than 4 bytes are left alone.
    Block tiny(Bytes{'c', 'u', 'r'});
    EXPECT_TRUE(SwapTagDataChecked(tiny.words(), 3, 1));
    EXPECT_EQ('c', tiny.bytes()[0]);
}

TEST(IccRecordsChannels, ChannelCountOfEverySignatureInBothForms) {
    struct Row {
        const char* sig;
        unsigned n;
    };
    const Row rows[] = {{"GRAY", 1},  {"2CLR", 2},  {"3CLR", 3},  {"Lab ", 3},  {"Luv ", 3},
                        {"RGB ", 3},  {"XYZ ", 3},  {"YCbr", 3},  {"Yxy ", 3},  {"HLS ", 3},
                        {"HSV ", 3},  {"CMY ", 3},  {"4CLR", 4},  {"CMYK", 4},  {"5CLR", 5},
                        {"6CLR", 6},  {"7CLR", 7},  {"8CLR", 8},  {"9CLR", 9},  {"ACLR", 10},
                        {"BCLR", 11}, {"CCLR", 12}, {"DCLR", 13}, {"ECLR", 14}, {"FCLR", 15},
                        {"1CLR", 0},  {"XCLR", 0},  {"GCLR", 0},  {"cmyk", 0},  {"nmcl", 0}};
    for (const Row& r : rows) {
        uint32_t s = BeRead32(reinterpret_cast<const uint8_t*>(r.sig));
        EXPECT_EQ(r.n, GetChannelCountOfSignature(s)) << r.sig;
        EXPECT_EQ(r.n, GetChannelCountOfSignature(s, false)) << r.sig;
    }
    EXPECT_EQ(0u, GetChannelCountOfSignature(0xFFFFFFFFu));
    EXPECT_EQ(1u, GetChannelCountOfSignature(Sig("gamt")));
    EXPECT_EQ(1u, GetChannelCountOfSignature(Sig("gamt"), true));
    EXPECT_EQ(0u, GetChannelCountOfSignature(Sig("gamt"), false));
}

namespace {

// Whether the checked conversion towards the host accepts a copy of `file`.
bool ConversionFits(const Bytes& file) {
    Block blk(file);
    return SwapTagDataChecked(blk.words(), uint32_t(blk.n), 1);
}

// Blocks of every type the conversion walks, well-formed, and with elements that share bytes.
std::vector<Bytes> SampleBlocks() {
    std::vector<Bytes> blocks;
    blocks.push_back(Curv({1, 2, 3}));
    blocks.push_back(Curv({0x0100}));
    blocks.push_back(Para(3, {1, 2, 3, 4, 5}));
    blocks.push_back(Be().head("bfd ").u32(2).u16(1).u16(2).u32(1).u16(7).zeros(2).b);
    blocks.push_back(Be().head("clrt").u32(1).text("cyan", 32).u16(1).u16(2).u16(3).b);
    blocks.push_back(Be().head("ncl2").u32(0).u32(1).u32(4).zeros(64).text("one", 32).zeros(14).b);
    blocks.push_back(Be().head("mft1").u8(1).u8(1).u8(2).u8(0).zeros(36 + 256 + 2 + 256).b);
    blocks.push_back(Be().head("mft2").u8(1).u8(1).u8(2).u8(0).zeros(36).u16(2).u16(2).zeros(12).b);
    blocks.push_back(Be().head("XYZ ").u32(1).u32(2).u32(3).b);
    blocks.push_back(Be().head("desc").u32(3).text("abc", 3).b);
    for (const char* type : {"mAB ", "mBA "}) {
        LutAB lut;
        lut.type = type;
        lut.in = 2;
        lut.out = 2;
        lut.B = Curv({1, 2});
        Bytes more = Para(0, {65536});
        lut.B.insert(lut.B.end(), more.begin(), more.end());
        lut.M = lut.B;
        lut.A = lut.B;
        lut.matrix = Be().u32(1)
                         .u32(2)
                         .u32(3)
                         .u32(4)
                         .u32(5)
                         .u32(6)
                         .u32(7)
                         .u32(8)
                         .u32(9)
                         .u32(10)
                         .u32(11)
                         .u32(12)
                         .b;
        lut.clut = Clut({2, 2}, 2, {1, 2, 3, 4, 5, 6, 7, 8});
        Bytes whole = lut.Build();
        blocks.push_back(whole);
        // The same elements placed over one another: B at M, the grid over the A curves, the
        // matrix inside the grid.
        const uint32_t* o = lut.offsets;
        const std::vector<std::vector<uint32_t>> moved = {{o[0], o[1], o[0] + 4, o[3], o[4]},
                                                          {o[0], o[1], o[2], o[4], o[4]},
                                                          {o[0], o[3] + 8, o[2], o[3], o[4]},
                                                          {o[2], o[1], o[0], o[3] - 2, o[4]},
                                                          {o[0], o[0], o[0], o[0], o[0]}};
        for (const auto& offsets : moved) {
            lut.offsetsOverride = offsets;
            blocks.push_back(lut.Build());
        }
        lut.offsetsOverride.clear();
        // A curve of unknown type, "vruc": the walk stays on it, and the next curve reads its
        // signature as converted, "curv", with a count beyond the block.
        LutAB unknown;
        unknown.type = type;
        unknown.in = unknown.out = 2;
        unknown.B = Be().sig("vruc").u32(0).u32(1000).u16(1).u16(2).b;
        blocks.push_back(unknown.Build());
        unknown.B = Be().sig("vruc").u32(0).u32(1).u16(1).u16(2).b;
        blocks.push_back(unknown.Build());
    }
    return blocks;
}

} // namespace

TEST(IccRecordsCheck, TagDataFitsAnswersAsTheCheckedConversionAndLeavesTheBlock) {
    std::vector<Bytes> blocks = SampleBlocks();
    ASSERT_GT(blocks.size(), 15u);
    std::mt19937 rng(19);
    size_t fits = 0, refused = 0;
    for (size_t b = 0; b < blocks.size(); ++b) {
        // The block itself, every cut of it, and blocks with bytes changed at random: counts,
        // offsets and grids that reach anywhere.
        std::vector<Bytes> cases = {blocks[b]};
        for (size_t n = 0; n < blocks[b].size(); ++n)
            cases.emplace_back(blocks[b].begin(), blocks[b].begin() + n);
        for (int round = 0; round < 400; ++round) {
            Bytes changed = blocks[b];
            const int edits = 1 + int(rng() % 4);
            for (int e = 0; e < edits; ++e) {
                size_t at = 4 + rng() % (changed.size() - 4);
                changed[at] = uint8_t(rng() % 3 == 0 ? rng() : rng() % 64);
            }
            cases.push_back(changed);
        }
        for (const Bytes& c : cases) {
            Block blk(c);
            const bool expected = ConversionFits(c);
            EXPECT_EQ(expected, TagDataFits(blk.bytes(), uint32_t(blk.n)))
                << "block " << b << " of " << c.size() << " bytes";
            EXPECT_EQ(c, blk.copy()) << "the check changed the block";
            (expected ? fits : refused)++;
        }
    }
    // Both answers occur often: the comparison is not one of blocks that all pass.
    EXPECT_GT(fits, 1000u);
    EXPECT_GT(refused, 1000u);
}

TEST(IccRecordsCheck, TagDataFitsAnswersAsTheConversionWhereItReadsWhatItConverted) {
    std::vector<Bytes> blocks = SampleBlocks();
    size_t refused = 0;
    for (const Bytes& b : blocks) {
        Block blk(b);
        EXPECT_EQ(ConversionFits(b), TagDataFits(blk.bytes(), uint32_t(blk.n)));
        refused += ConversionFits(b) ? 0 : 1;
    }
    EXPECT_GE(refused, 2u) << "the unknown curve read again as curv reaches beyond the block";
    EXPECT_TRUE(TagDataFits(nullptr, 0));
    const Bytes tiny{'c', 'u', 'r'};
    EXPECT_TRUE(TagDataFits(tiny.data(), 3));
    const Bytes curveCut = Be().head("curv").u32(1000).u16(1).b;
    EXPECT_FALSE(TagDataFits(curveCut.data(), uint32_t(curveCut.size())));
}
