// Real ICC profiles, those of the committed corpus (tests/data/profiles) and any the system
// has in its colour folders (Debian packages icc-profiles-free, colord-data, ghostscript,
// argyll): every one loads, has the MD5 of its bytes, and survives a save and a load.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>

#include "IccTestUtil.h"
#include "icc/IccProfile.h"
#include "support/TestData.h"

using namespace icctest;
namespace fs = std::filesystem;

namespace {

Bytes Block(CIccProfileRead& r, unsigned i) {
    auto* p = reinterpret_cast<const uint8_t*>(r.GetTagData(i));
    return Bytes(p, p + r.GetTagDataSize(i));
}

} // namespace

TEST(IccRealProfiles, EveryInstalledProfileLoadsWithTheMD5OfItsBytes) {
    auto profiles = kvrtest::RealProfiles();
    ASSERT_FALSE(profiles.empty()) << "no profiles in " << kvrtest::CorpusDir();
    for (const fs::path& path : profiles) {
        SCOPED_TRACE(path.string());
        Bytes file = ReadFileBytes(path);
        ASSERT_GE(file.size(), 132u);
        const uint32_t size = BeRead32(file.data());
        ASSERT_LE(size, file.size());
        const std::wstring md5 = Md5Hex(file.data(), size);

        TestReader r;
        ASSERT_EQ(1, r.Open(path.wstring().c_str()));
        EXPECT_EQ(size, r.Header().size);
        EXPECT_EQ(BeRead32(file.data() + 128), r.GetCount());
        EXPECT_EQ(md5, r.GetProfileMD5String());
        EXPECT_EQ(32u, r.GetProfileMD5String().size());

        TestReader m;
        ASSERT_EQ(1, m.OpenBytes(file));
        EXPECT_EQ(md5, m.GetProfileMD5String());
    }
}

TEST(IccRealProfiles, SaveAfterUpdateAndLoadGivesTheSameHeaderAndTagBlocks) {
    auto profiles = kvrtest::RealProfiles();
    ASSERT_FALSE(profiles.empty()) << "no profiles in " << kvrtest::CorpusDir();
    TempDir dir;
    for (const fs::path& path : profiles) {
        SCOPED_TRACE(path.string());
        TestReader r;
        ASSERT_EQ(1, r.Open(path.wstring().c_str()));
        const icHeader original = r.Header();
        std::vector<Bytes> blocks;
        for (unsigned i = 0; i < r.GetCount(); ++i) blocks.push_back(Block(r, i));

        r.UpdateTagTableAndHeader();
        EXPECT_EQ(1, r.bAllOffsetsDwordAligned());
        const fs::path out = dir / "saved.icc";
        ASSERT_NE(0, r.OnSaveDocument(out.wstring().c_str()));
        EXPECT_EQ(r.Header().size, fs::file_size(out));

        TestReader back;
        ASSERT_EQ(1, back.Open(out.wstring().c_str()));
        EXPECT_EQ(0, std::memcmp(&r.Header(), &back.Header(), sizeof(icHeader)));
        icHeader a = original, b = back.Header();
        a.size = b.size = 0;
        EXPECT_EQ(0, std::memcmp(&a, &b, sizeof(icHeader))) << "fields other than size";
        ASSERT_EQ(r.GetCount(), back.GetCount());
        for (unsigned i = 0; i < back.GetCount(); ++i) {
            EXPECT_EQ(r.Tag(i).sig, back.Tag(i).sig);
            EXPECT_EQ(r.Tag(i).size, back.Tag(i).size);
            Bytes got = Block(back, i);
            // A block longer than its table entry (a shared one) is compared as far as the
            // file holds it.
            size_t n = std::min(got.size(), blocks[i].size());
            EXPECT_TRUE(std::equal(got.begin(), got.begin() + n, blocks[i].begin())) << "tag " << i;
            for (unsigned j = 0; j < i; ++j)
                EXPECT_EQ(r.GetTagData(i) == r.GetTagData(j),
                          back.GetTagData(i) == back.GetTagData(j));
        }
    }
}

TEST(IccRealProfiles, ProfilesWithRisingOffsetsAreWrittenBackByteForByte) {
    auto profiles = kvrtest::RealProfiles();
    ASSERT_FALSE(profiles.empty()) << "no profiles in " << kvrtest::CorpusDir();
    int checked = 0, whole = 0;
    for (const fs::path& path : profiles) {
        SCOPED_TRACE(path.string());
        Bytes file = ReadFileBytes(path);
        const uint32_t size = BeRead32(file.data());
        const uint32_t count = BeRead32(file.data() + 128);
        // Offsets rise in table order (a tag at an earlier tag's offset shares it), and the
        // gaps between tags are zero: then the writer reproduces the file.
        uint64_t pos = 132 + 12 * uint64_t(count);
        std::set<uint32_t> seen;
        bool rising = true;
        for (uint32_t i = 0; i < count && rising; ++i) {
            const uint8_t* e = file.data() + 132 + 12 * i;
            uint32_t off = BeRead32(e + 4), sz = BeRead32(e + 8);
            if (seen.count(off)) continue;
            seen.insert(off);
            if (off < pos) {
                rising = false;
                break;
            }
            rising = std::all_of(file.begin() + pos, file.begin() + off,
                                 [](uint8_t c) { return c == 0; });
            pos = uint64_t(off) + sz;
        }
        if (!rising || pos > size) continue;
        TestReader r;
        ASSERT_EQ(1, r.Open(path.wstring().c_str()));
        Bytes saved = r.SaveToMemory();
        // The writer ends behind the last tag; any padding the file has behind it up to size is
        // not written.
        ASSERT_EQ(pos, saved.size());
        EXPECT_TRUE(std::equal(saved.begin(), saved.end(), file.begin()));
        if (pos == size) ++whole;
        ++checked;
    }
    EXPECT_GT(checked, 0) << "no real profile with rising offsets";
    std::cout << "[ INFO     ] " << checked << " of " << profiles.size()
              << " profiles reproduced byte for byte, " << whole
              << " of them up to size with nothing behind the last tag\n";
}

TEST(IccRealProfiles, EveryBlockReadLaterEqualsItsFileBytesConvertedAndTheDigestTheFiles) {
    auto profiles = kvrtest::RealProfiles();
    ASSERT_FALSE(profiles.empty());
    for (const fs::path& path : profiles) {
        SCOPED_TRACE(path.string());
        Bytes file = ReadFileBytes(path);
        const uint32_t size = BeRead32(file.data());
        TestReader r;
        ASSERT_EQ(1, r.Open(path.wstring().c_str()));
        r.Close();
        // Blocks asked for in reverse order, the digest last, after the file is closed.
        for (unsigned i = r.GetCount(); i-- > 0;) {
            const icTag& e = r.Tag(i);
            ASSERT_LE(uint64_t(e.offset) + e.size, file.size());
            std::unique_ptr<uint32_t[]> w(new uint32_t[(uint64_t(e.size) + 3) / 4 + 2]());
            std::memcpy(w.get(), file.data() + e.offset, e.size);
            ASSERT_TRUE(SwapTagDataChecked(w.get(), e.size, 1));
            EXPECT_EQ(0, std::memcmp(w.get(), r.GetTagData(i), e.size)) << "tag " << i;
        }
        EXPECT_EQ(Md5Hex(file.data(), size), r.GetProfileMD5String());
    }
}
