// The tag table as a map of blocks: entries at one offset with one size share a block, blocks
// lie side by side in any order, and a table whose blocks overlap in any other way fails the
// load with 901 and leaves no tags behind.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "IccTestUtil.h"
#include "icc/IccProfile.h"

using namespace icctest;
namespace fs = std::filesystem;

namespace {

Bytes Xyz(uint32_t x, uint32_t y, uint32_t z) {
    return Be().head("XYZ ").u32(x).u32(y).u32(z).b; // 20 bytes
}

// The first data byte of a profile of `entries` tags.
constexpr int64_t Start(unsigned entries) {
    return 132 + 12 * int64_t(entries);
}

// Three tags of 20 bytes each side by side, wtpt, bkpt and a curv, in a table that will hold
// `entries` entries.
Profile ThreeTags(unsigned entries = 3) {
    const int64_t at = Start(entries);
    Profile p;
    p.tags.push_back({"wtpt", Xyz(63190, 65536, 54061), at, -1});
    p.tags.push_back({"bkpt", Xyz(1, 2, 3), at + 20, -1});
    p.tags.push_back({"rTRC", Curv({0, 0x8000, 0xFFFF}, true), at + 40, -1});
    return p;
}

constexpr int64_t kDataStart = Start(3);

void ExpectRefused(Profile p, const char* what) {
    SCOPED_TRACE(what);
    Bytes file = p.Build();
    TestReader r;
    EXPECT_EQ(0, r.OpenBytes(file));
    EXPECT_EQ(901, r.m_nError);
    EXPECT_EQ(0u, r.GetCount());
    EXPECT_EQ(0u, r.GetTagNodeCount());

    // The path form reports the same.
    TempDir dir;
    WriteFileBytes(dir / "table.icc", file);
    TestReader f;
    EXPECT_EQ(0, f.Open((dir / "table.icc").wstring().c_str()));
    EXPECT_EQ(901, f.m_nError);
    EXPECT_EQ(0u, f.GetTagNodeCount());
}

} // namespace

TEST(IccProfileTagTable, BlockStartingInsideAnotherIsRefused) {
    Profile p = ThreeTags();
    p.tags[1].offset = kDataStart + 8; // bkpt starts inside wtpt
    p.tags[1].data.clear();
    p.tags[1].size = 20;
    ExpectRefused(p, "inside the previous block");

    Profile q = ThreeTags();
    q.tags[0].offset = kDataStart + 20 + 4; // wtpt, listed first, inside bkpt
    q.tags[0].data.clear();
    q.tags[0].size = 12;
    ExpectRefused(q, "inside a block listed later");

    Profile e = ThreeTags();
    e.tags[2].offset = kDataStart + 16; // rTRC's first bytes are wtpt's last four
    e.tags[2].data.clear();
    e.tags[2].size = 4;
    ExpectRefused(e, "sharing a single word");
}

TEST(IccProfileTagTable, OneOffsetWithDifferentSizesIsRefused) {
    for (int64_t size : {int64_t(12), int64_t(24), int64_t(0xFFFFFFFF)}) {
        Profile p = ThreeTags();
        p.tags[1].offset = kDataStart; // bkpt at wtpt's offset
        p.tags[1].data.clear();
        p.tags[1].size = size;
        ExpectRefused(p, ("shared offset, size " + std::to_string(size)).c_str());
    }
    Profile z = ThreeTags();
    z.tags[0].size = 0; // an empty wtpt first, then bkpt with data at the same offset
    z.tags[1].offset = kDataStart;
    z.tags[1].data.clear();
    z.tags[1].size = 20;
    ExpectRefused(z, "empty and full block at one offset");
}

TEST(IccProfileTagTable, OneBlockSharedWithOneSizeLoads) {
    Profile p = ThreeTags(4);
    p.tags[1].offset = Start(4); // bkpt is wtpt's block, of the same size
    p.tags[1].data.clear();
    p.tags[1].size = 20;
    p.tags.push_back({"lumi", {}, Start(4), 20}); // a third entry on it
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    ASSERT_EQ(4u, r.GetTagNodeCount());
    EXPECT_EQ(r.GetTagData(0), r.GetTagData(1));
    EXPECT_EQ(r.GetTagData(0), r.GetTagData(3));
    EXPECT_NE(r.GetTagData(0), r.GetTagData(2));
    EXPECT_EQ(3, r.m_Tags[0]->nRefs());
    EXPECT_EQ(63190u, r.GetTagData(1)[2]);
    EXPECT_EQ(0, r.m_nError);
}

TEST(IccProfileTagTable, BlocksSideBySideInAnyOrderLoad) {
    Profile p = ThreeTags();
    // Listed in falling order of offset, each block ending where the next begins.
    Bytes a = Xyz(7, 8, 9), b = Xyz(4, 5, 6), c = Curv({1, 2, 3}, true);
    p.tags[0] = {"wtpt", a, kDataStart + 40, -1};
    p.tags[1] = {"bkpt", b, kDataStart + 20, -1};
    p.tags[2] = {"rTRC", c, kDataStart, -1};
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    ASSERT_EQ(3u, r.GetTagNodeCount());
    EXPECT_EQ(7u, r.GetTagData(0)[2]);
    EXPECT_EQ(4u, r.GetTagData(1)[2]);
    EXPECT_EQ(3u, r.GetTagData(2)[2]); // the curve's count

    // An empty tag may stand anywhere, even inside another block: it covers no byte.
    Profile e = ThreeTags(4);
    e.tags.push_back({"cprt", {}, Start(4) + 8, 0});
    Bytes withEmpty = e.Build();
    TestReader s;
    EXPECT_EQ(1, s.OpenBytes(withEmpty));
    EXPECT_EQ(4u, s.GetTagNodeCount());
}

TEST(IccProfileTagTable, ProfilesOnThisMachineHaveWellFormedTables) {
    unsigned seen = 0;
    for (const char* root : {"/usr/share/color", KVR_SOURCE_DIR "/tests/data"}) {
        std::error_code ec;
        if (!fs::is_directory(root, ec)) continue;
        for (auto it = fs::recursive_directory_iterator(root, ec);
             !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
            if (!it->is_regular_file(ec)) continue;
            std::string ext = it->path().extension().string();
            for (char& ch : ext) ch = char(std::tolower(static_cast<unsigned char>(ch)));
            if (ext != ".icc" && ext != ".icm") continue;
            Bytes file = ReadFileBytes(it->path());
            if (file.size() < 132 || std::memcmp(file.data() + 36, "acsp", 4) != 0) continue;
            SCOPED_TRACE(it->path().string());
            TestReader r;
            EXPECT_EQ(1, r.OpenBytes(file));
            EXPECT_EQ(0, r.m_nError);
            ++seen;
        }
    }
    if (seen == 0) GTEST_SKIP() << "no profiles installed";
}
