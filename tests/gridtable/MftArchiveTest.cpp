// Grid tables in object archives: byte layout, loading through base types, type test,
// truncated and malformed data.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "MftProbe.h"

namespace {

std::vector<uint8_t> Store(const CObject& obj) {
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        ar << &obj;
    }
    return std::vector<uint8_t>(mem.GetBuffer(), mem.GetBuffer() + mem.GetLength());
}

// Loads one object of target type C from the bytes; the archive exception passes through.
template <class C> std::unique_ptr<C> Load(std::vector<uint8_t> bytes) {
    CMemFile mem(bytes.data(), unsigned(bytes.size()));
    CArchive ar(&mem, CArchive::load);
    C* obj = nullptr;
    ar >> obj;
    return std::unique_ptr<C>(obj);
}

template <class C> int LoadCause(const std::vector<uint8_t>& bytes) {
    try {
        Load<C>(bytes);
    } catch (const CArchiveException& e) {
        return e.m_cause;
    }
    return -1;
}

uint32_t U32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 |
           uint32_t(b[at + 3]) << 24;
}

void PutU32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (8 * i));
}

// Checks the class header and the body's counts; answers the offset of the table.
size_t ExpectHeader(const std::vector<uint8_t>& b, const std::string& name, uint32_t in,
                    uint32_t out, uint32_t points, uint32_t entries) {
    EXPECT_EQ(b[0], 0xFF);
    EXPECT_EQ(b[1], 0xFF);
    EXPECT_EQ(b[2], 0x00);
    EXPECT_EQ(b[3], 0x00);
    EXPECT_EQ(b[4], name.size());
    EXPECT_EQ(b[5], 0x00);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&b[6]), name.size()), name);
    const size_t body = 6 + name.size();
    EXPECT_EQ(U32(b, body), in);
    EXPECT_EQ(U32(b, body + 4), out);
    EXPECT_EQ(U32(b, body + 8), points);
    EXPECT_EQ(U32(b, body + 12), entries);
    return body + 16;
}

template <class Mft> Mft FilledGrid(unsigned points, unsigned outputs, uint32_t seed) {
    Mft m(points, outputs);
    auto data = RandomSamples<typename Mft::Sample>(m.TabEntries(), seed);
    m.Define(data.data());
    return m;
}

} // namespace

TEST(MftArchive, StoredCMft4_8HasTheHeaderOfCmykToRgbAnd7232Bytes) {
    CMft4_8 m = FilledGrid<CMft4_8>(7, 3, 51);
    std::vector<uint8_t> data(m.Table(), m.Table() + m.TabEntries());
    data[0] = data[1] = data[2] = 255; // first node white, as in the built-in table
    m.Define(data.data());
    const std::vector<uint8_t> b = Store(m);
    ASSERT_EQ(b.size(), 7232u);
    EXPECT_EQ(b[4], 0x07);
    EXPECT_EQ(b[13], 4);
    EXPECT_EQ(b[17], 3);
    EXPECT_EQ(b[21], 7);
    EXPECT_EQ(b[25], 0x23);
    EXPECT_EQ(b[26], 0x1C);
    const size_t table = ExpectHeader(b, "CMft4_8", 4, 3, 7, 7203);
    EXPECT_EQ(table, 29u);
    EXPECT_EQ(std::memcmp(&b[29], data.data(), 7203), 0);
    EXPECT_EQ(b[29], 255);
    EXPECT_EQ(b[30], 255);
    EXPECT_EQ(b[31], 255);
}

TEST(MftArchive, StoredCMft3_16HasTheHeaderOfSrgbToLabAnd215652Bytes) {
    const CMft3_16 m = FilledGrid<CMft3_16>(33, 3, 52);
    const std::vector<uint8_t> b = Store(m);
    ASSERT_EQ(b.size(), 215652u);
    const size_t table = ExpectHeader(b, "CMft3_16", 3, 3, 33, 0x1A523);
    EXPECT_EQ(table, 30u);
    EXPECT_EQ(b[14], 3);
    EXPECT_EQ(b[18], 3);
    EXPECT_EQ(b[22], 33);
    for (unsigned i = 0; i < m.TabEntries(); ++i) { // little-endian samples
        ASSERT_EQ(b[30 + 2 * i], m.Table()[i] & 0xFF) << i;
        ASSERT_EQ(b[31 + 2 * i], m.Table()[i] >> 8) << i;
    }
}

TEST(MftArchive, StoredCMft3_8AndCMft4_16HaveTheSizesOfTheirBuiltInTables) {
    const std::vector<uint8_t> b3 = Store(FilledGrid<CMft3_8>(17, 4, 53));
    EXPECT_EQ(b3.size(), 19681u);
    EXPECT_EQ(ExpectHeader(b3, "CMft3_8", 3, 4, 17, 0x4CC4), 29u);
    const std::vector<uint8_t> b4 = Store(FilledGrid<CMft4_16>(16, 3, 54));
    EXPECT_EQ(b4.size(), 393246u);
    EXPECT_EQ(ExpectHeader(b4, "CMft4_16", 4, 3, 16, 0x30000), 30u);
}

TEST(MftArchive, BodyStartsAtSixPlusTheNameLength) {
    const std::vector<uint8_t> b8 = Store(FilledGrid<CMft3_8>(2, 1, 55));   // 7 letters
    const std::vector<uint8_t> b16 = Store(FilledGrid<CMft4_16>(2, 5, 56)); // 8 letters
    EXPECT_EQ(U32(b8, 13), 3u);
    EXPECT_EQ(U32(b16, 14), 4u);
    EXPECT_EQ(U32(b16, 18), 5u);
    CMft_16 base(2, 2, 2); // the base class stores the same body under its own 7-letter name
    const std::vector<uint8_t> bb = Store(base);
    EXPECT_EQ(ExpectHeader(bb, "CMft_16", 2, 2, 2, 8), 29u);
    EXPECT_EQ(bb.size(), 29u + 16);
}

TEST(MftArchive, DifferenceTablesAreNotStored) {
    CMft4_16 m = FilledGrid<CMft4_16>(5, 2, 57);
    const std::vector<uint8_t> before = Store(m);
    m.InitTrn();
    EXPECT_EQ(Store(m), before);
}

TEST(MftArchive, CMft4_8LoadsThroughItsBaseTypeToAnIdenticalGrid) {
    CMft4_8 m = FilledGrid<CMft4_8>(7, 3, 58);
    const std::vector<uint8_t> b = Store(m);
    std::unique_ptr<CMft_8> loaded = Load<CMft_8>(b);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->GetRuntimeClass(), RUNTIME_CLASS(CMft4_8));
    EXPECT_EQ(loaded->inputChan(), 4u);
    EXPECT_EQ(loaded->outputChan(), 3u);
    EXPECT_EQ(loaded->clutPoints(), 7u);
    EXPECT_EQ(loaded->TabCount(), 2401u);
    ASSERT_EQ(loaded->TabEntries(), 7203u);
    EXPECT_EQ(std::memcmp(loaded->Table(), m.Table(), 7203), 0);

    // Prepared through the virtual slot, it evaluates like the original.
    loaded->InitTrn();
    m.InitTrn();
    std::mt19937 rng(59);
    std::uniform_int_distribution<unsigned> any(0, 255);
    for (int n = 0; n < 2000; ++n) {
        const uint8_t in[4] = {uint8_t(any(rng)), uint8_t(any(rng)), uint8_t(any(rng)),
                               uint8_t(any(rng))};
        uint8_t a[3], c[3];
        m.Trn(in, a);
        EXPECT_EQ(loaded->Trn(in, c), 1);
        ASSERT_EQ(std::memcmp(a, c, 3), 0);
    }
}

TEST(MftArchive, CMft3_16LoadsThroughItsBaseTypeWithSrgbToLabCounts) {
    CMft3_16 m = FilledGrid<CMft3_16>(33, 3, 60);
    std::unique_ptr<CMft_16> loaded = Load<CMft_16>(Store(m));
    ASSERT_NE(loaded, nullptr);
    EXPECT_TRUE(loaded->IsKindOf(RUNTIME_CLASS(CMft3_16)));
    EXPECT_EQ(loaded->clutPoints(), 33u);
    EXPECT_EQ(loaded->TabCount(), 35937u);
    ASSERT_EQ(loaded->TabEntries(), 107811u);
    EXPECT_EQ(std::memcmp(loaded->Table(), m.Table(), 107811 * 2), 0);
    loaded->InitTrn();
    m.InitTrn();
    const uint16_t in[3] = {12345, 54321, 33333};
    uint16_t a[3], c[3];
    m.Trn(in, a);
    loaded->Trn(in, c);
    EXPECT_EQ(std::memcmp(a, c, sizeof a), 0);
}

TEST(MftArchive, StoringALoadedCMft4_8GivesTheSameBytes) {
    const std::vector<uint8_t> first = Store(FilledGrid<CMft4_8>(7, 3, 61));
    std::unique_ptr<CMft4_8> loaded = Load<CMft4_8>(first);
    loaded->InitTrn();
    EXPECT_EQ(Store(*loaded), first);
}

TEST(MftArchive, LoadingIntoAnExistingGridReplacesItAndItsPreparation) {
    CMft3_8 a = FilledGrid<CMft3_8>(5, 2, 62);
    CMft3_8 b = FilledGrid<CMft3_8>(9, 4, 63);
    b.InitTrn();
    std::vector<uint8_t> bytes = Store(a);
    CMemFile mem(bytes.data(), unsigned(bytes.size()));
    CArchive ar(&mem, CArchive::load);
    uint8_t header[13];
    ar.ReadExact(header, sizeof header); // skip the class header, then load the body
    b.Serialize(ar);
    EXPECT_EQ(b.clutPoints(), 5u);
    EXPECT_EQ(b.outputChan(), 2u);
    EXPECT_EQ(Store(b), Store(a));
    b.InitTrn(); // the old tables were marked stale by the load
    a.InitTrn();
    const uint8_t in[3] = {10, 200, 128};
    uint8_t oa[2], ob[2];
    a.Trn(in, oa);
    b.Trn(in, ob);
    EXPECT_EQ(std::memcmp(oa, ob, 2), 0);
}

TEST(MftArchive, WrongTargetClassFailsTheTypeTest) {
    const std::vector<uint8_t> b48 = Store(FilledGrid<CMft4_8>(3, 3, 64));
    EXPECT_EQ(LoadCause<CMft_16>(b48), CArchiveException::badClass);
    EXPECT_EQ(LoadCause<CMft3_8>(b48), CArchiveException::badClass);
    EXPECT_EQ(LoadCause<CMft4_16>(b48), CArchiveException::badClass);
    const std::vector<uint8_t> b316 = Store(FilledGrid<CMft3_16>(3, 3, 65));
    EXPECT_EQ(LoadCause<CMft_8>(b316), CArchiveException::badClass);
    const std::vector<uint8_t> base = Store(CMft_16(3, 3, 3));
    EXPECT_EQ(LoadCause<CMft3_16>(base), CArchiveException::badClass);
    EXPECT_NE(Load<CFunc_16>(base), nullptr); // any kind of the required class passes
}

TEST(MftArchive, TruncatedArchivesThrowEndOfFile) {
    const std::vector<uint8_t> b8 = Store(FilledGrid<CMft4_8>(3, 2, 66));
    const std::vector<uint8_t> b16 = Store(FilledGrid<CMft3_16>(3, 2, 67));
    for (const auto* full : {&b8, &b16}) {
        for (size_t cut = 0; cut < full->size(); ++cut) {
            // Every cut in the header and counts, and a spread of cuts in the table.
            if (cut > 40 && cut % 7 != 0 && cut != full->size() - 1) continue;
            std::vector<uint8_t> part(full->begin(), full->begin() + cut);
            const int cause = full == &b8 ? LoadCause<CMft_8>(part) : LoadCause<CMft_16>(part);
            EXPECT_EQ(cause, CArchiveException::endOfFile) << "cut at " << cut;
        }
    }
}

TEST(MftArchive, InconsistentOrAbsurdSizesAreRefused) {
    const std::vector<uint8_t> good = Store(FilledGrid<CMft4_8>(3, 2, 68)); // body at 13
    ASSERT_NE(Load<CMft_8>(good), nullptr);
    auto refused = [&](size_t at, uint32_t value) {
        std::vector<uint8_t> b = good;
        PutU32(b, at, value);
        return LoadCause<CMft_8>(b) == CArchiveException::genericException;
    };
    EXPECT_TRUE(refused(25, 161));         // tabEntries one less than 3^4 * 2
    EXPECT_TRUE(refused(25, 0xFFFFFFFFu)); // tabEntries beyond any grid
    EXPECT_TRUE(refused(21, 1));           // one point per axis: no cell at all
    EXPECT_TRUE(refused(21, 0));
    EXPECT_TRUE(refused(21, 0x10000));     // 65536^4 overflows
    EXPECT_TRUE(refused(17, 0));           // no outputs
    EXPECT_TRUE(refused(17, 0x80000000u)); // absurd output count
    EXPECT_TRUE(refused(13, 0));           // no inputs
    EXPECT_TRUE(refused(13, 0xFFFFFFFFu)); // absurd input count

    // Consistent counts but not four inputs: cannot be a four-input grid.
    std::vector<uint8_t> three = good;
    PutU32(three, 13, 3);
    PutU32(three, 25, 27 * 2);
    three.resize(29 + 27 * 2);
    EXPECT_EQ(LoadCause<CMft_8>(three), CArchiveException::genericException);

    // A sane size with too little data behind it ends early instead.
    std::vector<uint8_t> big = good;
    PutU32(big, 21, 9);
    PutU32(big, 25, 6561 * 2);
    EXPECT_EQ(LoadCause<CMft_8>(big), CArchiveException::endOfFile);
}
