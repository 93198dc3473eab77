// Malformed profiles: each one either fails cleanly with 901 (or, with a broken magic, with 0
// and no error) or loads with the result stated for it. Run under AddressSanitizer and
// UndefinedBehaviorSanitizer these also show that no read or write leaves its buffer and that
// no size computation overflows.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "IccTestUtil.h"
#include "icc/IccProfile.h"
#include "support/TestData.h"

using namespace icctest;
namespace fs = std::filesystem;

namespace {

void Put32(Bytes& b, size_t at, uint32_t v) {
    b[at] = uint8_t(v >> 24);
    b[at + 1] = uint8_t(v >> 16);
    b[at + 2] = uint8_t(v >> 8);
    b[at + 3] = uint8_t(v);
}

size_t EntryAt(unsigned i) {
    return 132 + 12 * size_t(i);
}
uint32_t TagOffset(const Bytes& b, unsigned i) {
    return BeRead32(b.data() + EntryAt(i) + 4);
}
uint32_t TagSize(const Bytes& b, unsigned i) {
    return BeRead32(b.data() + EntryAt(i) + 8);
}

// Tag indices of SmallProfile().
enum : unsigned {
    kDesc,
    kWtpt,
    kRTRC,
    kGTRC,
    kBTRC,
    kCprt,
    kMeas,
    kMft2,
    kMab,
    kNcl2,
    kTvr2,
    kTagCount
};

Bytes Small() {
    return SmallProfile().Build();
}

// The small profile with one change applied to its bytes.
Bytes Mutated(const std::function<void(Bytes&)>& change) {
    Bytes b = Small();
    change(b);
    return b;
}

// The small profile with tag `index` replaced by `data` (the table updated to match).
Bytes WithTag(unsigned index, Bytes data, int64_t sizeOverride = -1) {
    Profile p = SmallProfile();
    p.tags[index].data = std::move(data);
    p.tags[index].size = sizeOverride;
    return p.Build();
}

// An mBA  whose matrix (at 32, 48 bytes) overlaps its three B curves (at 44), as some real
// profiles have it.
Bytes OverlappingMBA() {
    Be w;
    w.head("mBA ").u8(3).u8(1).u16(0).u32(44).u32(32).u32(0).u32(0).u32(0);
    w.zeros(12);
    for (int i = 0; i < 3; ++i) w.bytes(Curv({uint16_t(0x1234 + i), 0x5678}));
    return w.b;
}

struct Case {
    std::string name;
    Bytes data;
    int result; // expected result of Open
    int error;  // expected m_nError afterwards (starting from 0)
};

constexpr int kFails = 901;

void CheckCase(const Case& c, const fs::path& dir) {
    SCOPED_TRACE(c.name);
    Bytes copy = c.data;
    TestReader m;
    EXPECT_EQ(c.result, m.OpenBytes(copy));
    EXPECT_EQ(c.error, m.m_nError);
    if (c.result == 0) {
        EXPECT_EQ(0u, m.GetCount());
        EXPECT_EQ(0u, m.GetTagNodeCount());
        EXPECT_EQ(nullptr, m.m_pFile);
    } else {
        EXPECT_EQ(m.GetCount(), m.GetTagNodeCount());
        for (unsigned i = 0; i < m.GetTagNodeCount(); ++i) {
            if (m.GetTagData(i) && !m.m_Tags[i]->bIsRef()) {
                EXPECT_EQ(m.Tag(i).size, m.GetTagDataSize(i));
            }
        }
    }
    EXPECT_EQ(c.data, copy) << "the caller's block is not changed";

    fs::path file = dir / "case.icc";
    WriteFileBytes(file, c.data);
    TestReader f;
    EXPECT_EQ(c.result, f.Open(file.wstring().c_str()));
    EXPECT_EQ(c.error, f.m_nError);
    if (c.error == kFails) {
        EXPECT_EQ(0u, f.GetCount());
        EXPECT_NE(nullptr, f.m_pFile) << "the path form keeps its file";
    }
}

std::vector<Case> MalformedCases() {
    std::vector<Case> cases;
    auto fails = [&](std::string name, Bytes b) {
        cases.push_back({name, std::move(b), 0, kFails});
    };
    auto loads = [&](std::string name, Bytes b) { cases.push_back({name, std::move(b), 1, 0}); };

    // Header and table
    cases.push_back({"empty file", {}, 0, 0});
    cases.push_back({"ten bytes", Bytes(10, 0xFF), 0, 0});
    cases.push_back({"wrong magic", Mutated([](Bytes& b) { b[39] = 'q'; }), 0, 0});
    cases.push_back({"magic reversed",
                     Mutated([](Bytes& b) { std::reverse(b.begin() + 36, b.begin() + 40); }), 0,
                     0});
    const Bytes small = Small();
    fails("header only, magic right", Bytes(small.begin(), small.begin() + 128));
    fails("count cut short", Bytes(small.begin(), small.begin() + 130));
    fails("table cut short", Bytes(small.begin(), small.begin() + 140));
    fails("size smaller than the table", Mutated([](Bytes& b) { Put32(b, 0, 140); }));
    fails("size zero with tags", Mutated([](Bytes& b) { Put32(b, 0, 0); }));
    fails("size just short of the last tag",
          Mutated([](Bytes& b) { Put32(b, 0, uint32_t(b.size() - 1)); }));
    fails("size beyond the range of int", Mutated([](Bytes& b) { Put32(b, 0, 0x80000200u); }));
    fails("tag beyond the file with a size just inside the range of int", Mutated([](Bytes& b) {
              Put32(b, 0, 0x80000010u);
              Put32(b, EntryAt(kTvr2) + 4, 0x7FFF0000u);
          }));
    fails("size far beyond the file, tag beyond it", Mutated([](Bytes& b) {
              Put32(b, 0, 0x7FFFFFF0u);
              Put32(b, EntryAt(kTvr2) + 4, 0x10000000u);
          }));
    fails("count all ones", Mutated([](Bytes& b) { Put32(b, 128, 0xFFFFFFFFu); }));
    fails("count whose table needs 4 GB", Mutated([](Bytes& b) {
              Put32(b, 128, 0x15555555u);
              Put32(b, 0, 0xFFFFFFFFu);
          }));
    fails("count of 16 million with a large size", Mutated([](Bytes& b) {
              Put32(b, 128, 0x01000000u);
              Put32(b, 0, 0x7FFFFFFFu);
          }));
    fails("count one more than the table", Mutated([](Bytes& b) { Put32(b, 128, kTagCount + 1); }));

    // Tag offsets and sizes
    fails("tag offset beyond the end",
          Mutated([](Bytes& b) { Put32(b, EntryAt(kWtpt) + 4, uint32_t(b.size() + 100)); }));
    fails("tag offset into the header",
          Mutated([](Bytes& b) { Put32(b, EntryAt(kWtpt) + 4, 64); }));
    fails("tag offset zero", Mutated([](Bytes& b) { Put32(b, EntryAt(kRTRC) + 4, 0); }));
    fails("tag offset into the table",
          Mutated([](Bytes& b) { Put32(b, EntryAt(kWtpt) + 4, uint32_t(EntryAt(3))); }));
    fails("tag size all ones",
          Mutated([](Bytes& b) { Put32(b, EntryAt(kWtpt) + 8, 0xFFFFFFFFu); }));
    fails("tag offset plus size wraps 32 bits", Mutated([](Bytes& b) {
              Put32(b, EntryAt(kWtpt) + 4, 0xFFFFFFF0u);
              Put32(b, EntryAt(kWtpt) + 8, 0x20);
          }));
    fails("tag reaches one byte beyond the end",
          Mutated([](Bytes& b) { Put32(b, EntryAt(kTvr2) + 8, TagSize(b, kTvr2) + 1); }));
    fails("overlapping tags", Mutated([](Bytes& b) {
              // gTRC starts inside rTRC.
              Put32(b, EntryAt(kGTRC) + 4, TagOffset(b, kRTRC) + 8);
              Put32(b, EntryAt(kGTRC) + 8, 12);
          }));
    fails("shared tag claiming more than its owner", Mutated([](Bytes& b) {
              Put32(b, EntryAt(kCprt) + 4, TagOffset(b, kWtpt));
              Put32(b, EntryAt(kCprt) + 8, 0xFFFFFFFFu);
          }));
    fails("shared tag claiming less than its owner", Mutated([](Bytes& b) {
              Put32(b, EntryAt(kCprt) + 4, TagOffset(b, kWtpt));
              Put32(b, EntryAt(kCprt) + 8, 4);
          }));
    loads("shared tag of its owner's size", Mutated([](Bytes& b) {
              Put32(b, EntryAt(kCprt) + 4, TagOffset(b, kWtpt));
              Put32(b, EntryAt(kCprt) + 8, TagSize(b, kWtpt));
          }));
    loads("tag of size zero", Mutated([](Bytes& b) { Put32(b, EntryAt(kCprt) + 8, 0); }));
    loads("tag of three bytes", Mutated([](Bytes& b) { Put32(b, EntryAt(kCprt) + 8, 3); }));

    {
        // 64 tags that each cover almost all of the tag data: far more copies than data.
        Profile p;
        Be big;
        big.head("ui08").zeros(4000);
        p.Add("big0", big.b);
        for (int i = 1; i < 64; ++i) p.tags.push_back({"bigN", {}, 132 + 12 * 64 + 4 * i, 3700});
        fails("overlapping tags copying the data many times", p.Build());
        Profile q;
        q.Add("big0", big.b);
        for (int i = 1; i < 4; ++i) q.tags.push_back({"bigN", {}, 132 + 12 * 4 + 4 * i, 3700});
        fails("overlapping tags copying the data three times", q.Build());
    }

    // Curves
    fails("curv count all ones", WithTag(kRTRC, Be().head("curv").u32(0xFFFFFFFFu).u16(1).b));
    fails("curv count one beyond the block",
          WithTag(kRTRC, Be().head("curv").u32(3).u16(1).u16(2).b));
    fails("curv of one entry without the entry", WithTag(kRTRC, Be().head("curv").u32(1).b));
    fails("curv without a count", WithTag(kRTRC, Be().head("curv").b));
    fails("para cut short", WithTag(kBTRC, Be().head("para").u16(4).u16(0).u32(1).u32(2).b));
    loads("para of unknown function type 9", WithTag(kBTRC, Be().head("para").u16(9).u16(0).b));

    // Lookup tables
    auto mft2 = [](uint8_t in, uint8_t out, uint8_t points, uint16_t inEnt, uint16_t outEnt,
                   size_t values) {
        Be w;
        w.head("mft2").u8(in).u8(out).u8(points).u8(0);
        for (int i = 0; i < 9; ++i) w.u32(i % 4 == 0 ? 65536 : 0);
        w.u16(inEnt).u16(outEnt);
        for (size_t i = 0; i < values; ++i) w.u16(uint16_t(i));
        return w.b;
    };
    loads("mft2 with 0 grid points", WithTag(kMft2, mft2(3, 3, 0, 2, 2, 3 * 2 + 3 * 2)));
    loads("mft2 with 1 grid point", WithTag(kMft2, mft2(3, 3, 1, 2, 2, 3 * 2 + (1 + 2) * 3)));
    fails("mft2 with 255 grid points and a small block", WithTag(kMft2, mft2(3, 3, 255, 2, 2, 40)));
    loads("mft2 with 255 grid points on one input", WithTag(kMft2, mft2(1, 1, 255, 2, 2, 2 + 257)));
    fails("mft2 with 255 inputs of 255 points", WithTag(kMft2, mft2(255, 255, 255, 2, 2, 40)));
    fails("mft2 with 65535 input entries", WithTag(kMft2, mft2(1, 1, 2, 65535, 2, 10)));
    fails("mft2 head cut short",
          WithTag(kMft2, Be().head("mft2").u8(1).u8(1).u8(2).u8(0).u32(1).b));
    fails("mft1 tables beyond the block",
          WithTag(kMft2, Be().head("mft1").u8(3).u8(3).u8(17).u8(0).zeros(36 + 768).b));
    fails("mft1 head cut short", WithTag(kMft2, Be().head("mft1").u8(3).u8(3).b));

    // mAB  and mBA
    auto mab = [](const std::vector<uint32_t>& offsets, uint8_t in = 1, uint8_t out = 1) {
        LutAB lut;
        lut.in = in;
        lut.out = out;
        lut.B = Curv({0x0100, 0xFF00});
        lut.clut = Clut({2}, 2, {0x1000, 0xF000});
        lut.offsetsOverride = offsets;
        Bytes b = lut.Build();
        return b;
    };
    // As built: B at 32, CLUT at 48 (B curve of 16 bytes), block of 72 bytes.
    loads("mAB as built", WithTag(kMab, mab({32, 0, 0, 48, 0})));
    fails("mAB B offset beyond the block", WithTag(kMab, mab({4096, 0, 0, 48, 0})));
    fails("mAB B offset all ones", WithTag(kMab, mab({0xFFFFFFFFu, 0, 0, 48, 0})));
    fails("mAB M offset into its head", WithTag(kMab, mab({32, 0, 12, 48, 0})));
    fails("mAB A offset at the block's end", WithTag(kMab, mab({32, 0, 0, 48, 72})));
    fails("mAB CLUT offset beyond the block", WithTag(kMab, mab({32, 0, 0, 70000, 0})));
    fails("mAB CLUT head cut by the block's end", WithTag(kMab, mab({32, 0, 0, 60, 0})));
    fails("mAB matrix beyond the block", WithTag(kMab, mab({32, 52, 0, 48, 0})));
    fails("mAB grid of 17 inputs", WithTag(kMab, mab({0, 0, 0, 48, 0}, 17, 1)));
    fails("mAB grid values beyond the block", WithTag(kMab, mab({0, 0, 0, 48, 0}, 1, 200)));
    loads("mAB with fewer curves than outputs, unknown types behind",
          WithTag(kMab, mab({32, 0, 0, 0, 0}, 1, 255)));
    fails("mAB head cut short", WithTag(kMab, Be().head("mAB ").u8(1).u8(1).u16(0).u32(32).b));
    loads("mAB B curve read twice at one offset", WithTag(kMab, mab({32, 0, 32, 48, 32})));
    loads("mBA with a matrix overlapping its curves", WithTag(kMab, OverlappingMBA()));

    // Counted lists
    {
        Be w;
        w.head("ncl2").u32(0).u32(0xFFFFFFFFu).u32(3).zeros(64).zeros(44);
        fails("ncl2 colour count all ones", WithTag(kNcl2, w.b));
        Be v;
        v.head("ncl2").u32(0).u32(1).u32(0x7FFFFFFFu).zeros(64).zeros(44);
        fails("ncl2 device coordinates huge", WithTag(kNcl2, v.b));
        fails("ncl2 head cut short", WithTag(kNcl2, Be().head("ncl2").u32(0).u32(1).b));
        Be z;
        z.head("ncl2").u32(0).u32(0).u32(0).zeros(64);
        loads("ncl2 without colours", WithTag(kNcl2, z.b));
    }
    fails("clrt count beyond the block",
          WithTag(kCprt, Be().head("clrt").u32(3).text("Cyan", 32).u16(1).u16(2).u16(3).b));
    fails("bfd count beyond the block",
          WithTag(kCprt, Be().head("bfd ").u32(0x40000000u).u16(1).b));
    fails("bfd second count missing", WithTag(kCprt, Be().head("bfd ").u32(2).u16(1).u16(2).b));
    fails("bfd second count beyond the block",
          WithTag(kCprt, Be().head("bfd ").u32(1).u16(1).u32(7).u16(2).b));
    loads("desc whose length claims more than its block",
          WithTag(kDesc, Be().head("desc").u32(0xFFFFFFFFu).text("x", 4).b));
    loads("meas cut short", WithTag(kMeas, Be().head("meas").u32(2).b));
    loads("ui16 of nine bytes", WithTag(kCprt, Be().head("ui16").u8(1).b));
    loads("dtim cut short", WithTag(kCprt, Be().head("dtim").u16(2020).u16(1).b));
    return cases;
}

} // namespace

TEST(IccMalformed, EachMalformedProfileFailsCleanlyOrLoadsAsStated) {
    TempDir dir;
    auto cases = MalformedCases();
    EXPECT_GE(cases.size(), 40u);
    for (const Case& c : cases) CheckCase(c, dir.path());
}

TEST(IccMalformed, StatedResultsOfLoadedMalformedProfiles) {
    // A tag sharing another's block, with its size, uses the owner's block.
    Bytes shared = Mutated([](Bytes& b) {
        Put32(b, EntryAt(kCprt) + 4, TagOffset(b, kWtpt));
        Put32(b, EntryAt(kCprt) + 8, TagSize(b, kWtpt));
    });
    TestReader s;
    ASSERT_EQ(1, s.OpenBytes(shared));
    EXPECT_EQ(s.GetTagData(kWtpt), s.GetTagData(kCprt));
    EXPECT_EQ(20u, s.Tag(kCprt).size);
    EXPECT_EQ(20u, s.GetTagDataSize(kCprt));
    // Saved, the shared entry writes nothing of its own, and loading the file again shares
    // the block once more.
    Bytes saved = s.SaveToMemory();
    ASSERT_EQ(shared.size(), saved.size());
    TestReader s2;
    ASSERT_EQ(1, s2.OpenBytes(saved));
    EXPECT_EQ(s2.GetTagData(kWtpt), s2.GetTagData(kCprt));
    EXPECT_EQ(63190u, s2.GetTagData(kWtpt)[2]);

    // A tag of size zero has a zeroed type head that can be read.
    Bytes empty = Mutated([](Bytes& b) { Put32(b, EntryAt(kCprt) + 8, 0); });
    TestReader e;
    ASSERT_EQ(1, e.OpenBytes(empty));
    EXPECT_EQ(0u, e.GetTagDataSize(kCprt));
    ASSERT_NE(nullptr, e.GetTagData(kCprt));
    EXPECT_EQ(0u, e.GetTagData(kCprt)[0]);
    EXPECT_EQ(0u, e.GetTagData(kCprt)[1]);

    // meas too short to hold its fields: the measurement counts as absent.
    TestReader m;
    Bytes shortMeas = WithTag(kMeas, Be().head("meas").u32(2).b);
    ASSERT_EQ(1, m.OpenBytes(shortMeas));
    enmIluminant ei = IluminantD50;
    enmObserver eo = Observer2Degree;
    EXPECT_FALSE(m.GetMeasurementInfo(ei, eo));

    // The overlapping mBA converts back to the file's bytes exactly.
    Bytes withLut = WithTag(kMab, OverlappingMBA());
    TestReader l;
    ASSERT_EQ(1, l.OpenBytes(withLut));
    EXPECT_EQ(withLut, l.SaveToMemory());
}

TEST(IccMalformed, LongTableOfSharedTagsLoadsInLinearTime) {
    // 300000 entries at one offset: one owner and sharing nodes, found without searching the
    // table again for each entry.
    Profile p;
    const unsigned n = 300000;
    p.Add("XYZ0", Be().head("XYZ ").u32(1).u32(2).u32(3).b);
    const int64_t offset = 132 + 12 * int64_t(n);
    for (unsigned i = 1; i < n; ++i) p.tags.push_back({"XYZn", {}, offset, 20});
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    EXPECT_EQ(n, r.GetTagNodeCount());
    EXPECT_EQ(r.GetTagData(0), r.GetTagData(n - 1));
    EXPECT_EQ(long(n), r.m_Tags[0]->nRefs());
}

TEST(IccMalformed, SmallProfileCutAtEveryLength) {
    const Bytes full = Small();
    int failed = 0;
    for (size_t n = 0; n < full.size(); ++n) {
        Bytes cut(full.begin(), full.begin() + n);
        TestReader r;
        int result = r.OpenBytes(cut);
        EXPECT_EQ(0, result) << n;
        // Without the whole magic the header is refused as such; from there on the load fails.
        EXPECT_EQ(n < 40 ? 0 : 901, r.m_nError) << n;
        EXPECT_EQ(0u, r.GetTagNodeCount());
        failed += result == 0;
    }
    EXPECT_EQ(int(full.size()), failed);
    TestReader whole;
    Bytes copy = full;
    EXPECT_EQ(1, whole.OpenBytes(copy));
}

TEST(IccMalformed, RealProfilesCutShort) {
    std::vector<fs::path> picks;
    for (const char* p : {"sRGB.icc", "default_cmyk.icc", "Crayons.icc", "LCMSLABI.ICM"}) {
        ASSERT_TRUE(kvrtest::HaveCorpusProfile(p));
        picks.push_back(kvrtest::CorpusProfile(p));
    }
    for (const fs::path& path : picks) {
        SCOPED_TRACE(path.string());
        const Bytes file = ReadFileBytes(path);
        const uint32_t count = BeRead32(file.data() + 128);
        // The load needs the data up to the end of the last tag.
        uint64_t needed = 132 + 12 * uint64_t(count);
        for (uint32_t i = 0; i < count; ++i)
            needed = std::max<uint64_t>(needed, uint64_t(TagOffset(file, i)) + TagSize(file, i));
        const size_t step = std::max<size_t>(1, file.size() / 97);
        for (size_t n = 0; n < file.size(); n += step) {
            Bytes cut(file.begin(), file.begin() + n);
            TestReader r;
            int result = r.OpenBytes(cut);
            EXPECT_EQ(n >= needed ? 1 : 0, result) << n;
            EXPECT_EQ(n < 40 || n >= needed ? 0 : 901, r.m_nError) << n;
        }
    }
}

TEST(IccMalformed, MemoryFormWithoutDataOrWithNegativeSize) {
    TestReader r;
    EXPECT_EQ(0, r.Open(nullptr, 500));
    EXPECT_EQ(0, r.m_nError);
    Bytes b = Small();
    EXPECT_EQ(0, r.Open(b.data(), -5));
    EXPECT_EQ(0, r.m_nError);
    EXPECT_EQ(0, r.Open(b.data(), 0));
    EXPECT_EQ(nullptr, r.m_pFile);
}

TEST(IccMalformed, CorruptedBytesNeverBreakTheReader) {
    // Random damage to the small profile: each result is a clean failure or a load, and a load
    // can be saved and loaded again.
    const Bytes full = Small();
    uint32_t seed = 12345;
    auto next = [&] {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    int loaded = 0;
    for (int round = 0; round < 600; ++round) {
        Bytes b = full;
        int hits = 1 + int(next() % 4);
        for (int h = 0; h < hits; ++h) {
            size_t at = next() % b.size();
            switch (next() % 3) {
            case 0:
                b[at] = uint8_t(next());
                break;
            case 1:
                b[at] ^= uint8_t(1u << (next() % 8));
                break;
            default:
                if (at + 4 <= b.size()) Put32(b, at, next() % 2 ? 0xFFFFFFFFu : next());
            }
        }
        TestReader r;
        int result = r.OpenBytes(b);
        if (result) {
            ++loaded;
            EXPECT_EQ(0, r.m_nError);
            r.UpdateTagTableAndHeader();
            Bytes saved = r.SaveToMemory();
            TestReader back;
            EXPECT_EQ(1, back.OpenBytes(saved)) << round;
        } else {
            EXPECT_TRUE(r.m_nError == 0 || r.m_nError == 901);
        }
    }
    EXPECT_GT(loaded, 0);
}
