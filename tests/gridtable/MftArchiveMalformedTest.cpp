// Grid tables read from archives that announce more samples than they hold: the load fails
// with end-of-file and allocates no more than the bytes that arrived would need. The
// allocation probe of this test program records the largest single request.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "base/Archive.h"
#include "gridtable/Mft.h"
#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"
#include "gridtable/TabMft.h"
#include "support/AllocProbe.h"

namespace {

constexpr size_t kSmallRequest = size_t(1) << 20;
constexpr size_t kProbeCap = size_t(512) << 20; // larger requests fail at once

using Bytes = std::vector<uint8_t>;

Bytes Store(const CObject& obj) {
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        ar << &obj;
    }
    return Bytes(mem.GetBuffer(), mem.GetBuffer() + mem.GetLength());
}

void PutU32(Bytes& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (8 * i));
}

// The archive of `obj` cut behind the grid's two counts (points, entries), which are set to
// the given values: the class header, the channel counts, and no samples at all.
Bytes WithoutSamples(const CObject& obj, const std::string& name, uint32_t in, uint32_t out,
                     uint32_t points, uint32_t entries, size_t keep = 0) {
    Bytes b = Store(obj);
    const size_t counts = 6 + name.size() + 8; // header, then inputChan and outputChan
    b.resize(counts + 8 + keep);
    PutU32(b, 6 + name.size(), in);
    PutU32(b, 6 + name.size() + 4, out);
    PutU32(b, counts, points);
    PutU32(b, counts + 4, entries);
    return b;
}

struct Outcome {
    bool loaded = false;
    int cause = -1; // CArchiveException cause, -1 for none
    bool outOfMemory = false;
    size_t largest = 0;
};

Outcome LoadProbed(Bytes bytes) {
    Outcome o;
    CMemFile mem(bytes.data(), unsigned(bytes.size()));
    CArchive ar(&mem, CArchive::load);
    AllocProbe::Armed probe(kProbeCap);
    try {
        std::unique_ptr<CObject> obj(ar.ReadObject(nullptr));
        o.loaded = obj != nullptr;
    } catch (const CArchiveException& e) {
        o.cause = e.m_cause;
    } catch (const std::bad_alloc&) {
        o.outOfMemory = true;
    }
    o.largest = probe.largest();
    return o;
}

} // namespace

TEST(MftArchiveMalformed, TwentyNineBytesAnnouncingTheLargestGridAllocateLittle) {
    // One input, one output, 2^26 points: the largest grid a load accepts, and 29 bytes.
    const uint32_t n = uint32_t(1) << 26;
    Bytes b = WithoutSamples(CMft_16(1, 2, 1), "CMft_16", 1, 1, n, n);
    ASSERT_EQ(b.size(), 29u);
    Outcome o = LoadProbed(b);
    EXPECT_FALSE(o.loaded);
    EXPECT_FALSE(o.outOfMemory);
    EXPECT_EQ(o.cause, CArchiveException::endOfFile);
    EXPECT_LT(o.largest, kSmallRequest) << "asked for " << o.largest << " bytes at once";
}

TEST(MftArchiveMalformed, GridsCutShortAllocateLittle) {
    struct Case {
        std::string name;
        std::unique_ptr<CObject> obj;
        uint32_t in, out, points, entries;
        size_t keep; // sample bytes left behind the counts
    };
    std::vector<Case> cases;
    cases.push_back({"CMft_8", std::make_unique<CMft_8>(1, 2, 1), 1, 1, 1u << 26, 1u << 26, 0});
    cases.push_back(
        {"CMft3_16", std::make_unique<CMft3_16>(2, 3), 3, 16, 161, 161u * 161 * 161 * 16, 1000});
    cases.push_back(
        {"CMft4_16", std::make_unique<CMft4_16>(2, 3), 4, 4, 64, 64u * 64 * 64 * 64 * 4, 4096});
    cases.push_back(
        {"CMft3_8", std::make_unique<CMft3_8>(2, 3), 3, 3, 255, 255u * 255 * 255 * 3, 3});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Outcome o =
            LoadProbed(WithoutSamples(*c.obj, c.name, c.in, c.out, c.points, c.entries, c.keep));
        EXPECT_FALSE(o.loaded);
        EXPECT_FALSE(o.outOfMemory);
        EXPECT_EQ(o.cause, CArchiveException::endOfFile);
        EXPECT_LT(o.largest, kSmallRequest) << "asked for " << o.largest << " bytes at once";
    }
}

TEST(MftArchiveMalformed, CompleteGridsStillLoadSampleForSample) {
    // Grids larger than the first read of the loader, so that it grows several times.
    CMft3_16 grid(33, 5);
    std::vector<uint16_t> samples(33 * 33 * 33 * 5);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = uint16_t(i * 40503u);
    grid.Define(samples.data());
    Bytes b = Store(grid);
    Outcome o = LoadProbed(b);
    EXPECT_TRUE(o.loaded);

    CMemFile mem(b.data(), unsigned(b.size()));
    CArchive ar(&mem, CArchive::load);
    std::unique_ptr<CObject> obj(ar.ReadObject(nullptr));
    auto* loaded = dynamic_cast<CMft3_16*>(obj.get());
    ASSERT_NE(loaded, nullptr);
    ASSERT_EQ(loaded->TabEntries(), samples.size());
    EXPECT_TRUE(std::equal(samples.begin(), samples.end(), loaded->Table()));

    // One sample short of the grid fails as the grid without samples does.
    b.resize(b.size() - 2);
    Outcome cut = LoadProbed(b);
    EXPECT_FALSE(cut.loaded);
    EXPECT_EQ(cut.cause, CArchiveException::endOfFile);
}
