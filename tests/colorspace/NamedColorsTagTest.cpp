// Reading the ncl2 tag: texts in both encodings, fields without terminators, and damaged tags
// refused or read within their bounds.
#include "colorspace/NamedColorsTag.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "NamedColorsTestUtil.h"
#include "colorspace/NamedColorsArray.h"
#include "colorspace/NamedColorsProfile.h"
#include "icc/IccProfile.h"

using namespace namedtest;

namespace {

// A tag block in host order, as the reader leaves it, built field by field.
class TagBlock {
public:
    TagBlock(uint32_t flags, uint32_t count, uint32_t coords, size_t entries)
        : m_bytes(84 + entries * (38 + 2 * size_t(coords)), 0) {
        Put32(0, icSigNamedColor2Type);
        Put32(8, flags);
        Put32(12, count);
        Put32(16, coords);
    }
    void Put32(size_t at, uint32_t v) { Put(at, &v, 4); }
    void Put16(size_t at, uint16_t v) { Put(at, &v, 2); }
    void PutText(size_t at, const std::string& t) { Put(at, t.data(), t.size()); }
    // A heap copy of exactly `size` bytes, so that a read past it is a read past an allocation.
    std::unique_ptr<uint8_t[]> Copy(size_t size) const {
        auto p = std::make_unique<uint8_t[]>(size);
        std::memcpy(p.get(), m_bytes.data(), std::min(size, m_bytes.size()));
        return p;
    }
    size_t size() const { return m_bytes.size(); }

private:
    void Put(size_t at, const void* data, size_t n) {
        ASSERT_LE(at + n, m_bytes.size());
        std::memcpy(m_bytes.data() + at, data, n);
    }
    std::vector<uint8_t> m_bytes;
};

TEST(NamedColorsTagTest, Utf8FlagSetReadsTextsAsUtf8) {
    TagBlock t(kNamedColorUtf8Flag, 1, 1, 1);
    t.PutText(20, "Gr\xC3\xBCn ");
    t.PutText(84, "\xE2\x82\xAC Euro");
    CNamedColorsTag tag;
    const auto block = t.Copy(t.size()); // the tag reads it until it goes
    ASSERT_TRUE(tag.Read(block.get(), t.size()));
    EXPECT_TRUE(tag.IsUtf8());
    EXPECT_EQ(tag.Prefix(), L"Gr\u00FCn ");
    EXPECT_EQ(tag.Name(0), L"\u20AC Euro");
}

TEST(NamedColorsTagTest, Utf8FlagClearReadsTextsInTheNarrowCodePage) {
    TagBlock t(0x00000001u, 1, 1, 1); // other vendor bits do not matter
    t.PutText(52, "Gr\xFCn");
    t.PutText(84, "\x80 Euro");
    CNamedColorsTag tag;
    const auto block = t.Copy(t.size()); // the tag reads it until it goes
    ASSERT_TRUE(tag.Read(block.get(), t.size()));
    EXPECT_FALSE(tag.IsUtf8());
    EXPECT_EQ(tag.Suffix(), L"Gr\u00FCn");
    EXPECT_EQ(tag.Name(0), L"\u20AC Euro");
}

TEST(NamedColorsTagTest, PrefixWithoutTerminatorEndsAtItsThirtySecondByte) {
    TagBlock t(0, 1, 2, 1);
    t.PutText(20, std::string(32, 'p'));
    t.PutText(52, "suffix");
    t.PutText(84, std::string(32, 'n'));
    t.Put16(84 + 32, 0x4141); // 'AA' behind the name in either byte order
    CNamedColorsTag tag;
    const auto block = t.Copy(t.size()); // the tag reads it until it goes
    ASSERT_TRUE(tag.Read(block.get(), t.size()));
    EXPECT_EQ(tag.Prefix(), std::wstring(32, L'p'));
    EXPECT_EQ(tag.Suffix(), L"suffix");
    EXPECT_EQ(tag.Name(0), std::wstring(32, L'n')) << "the name stops before the values";
    unsigned short pixel[5] = {};
    tag.Pixel(0, pixel);
    EXPECT_EQ(pixel[0], 0x4141);
}

TEST(NamedColorsTagTest, SuffixWithoutTerminatorEndsBeforeTheEntries) {
    TagBlock t(0, 1, 0, 1);
    t.PutText(52, std::string(32, 's'));
    t.PutText(84, "name");
    CNamedColorsTag tag;
    const auto block = t.Copy(t.size()); // the tag reads it until it goes
    ASSERT_TRUE(tag.Read(block.get(), t.size()));
    EXPECT_EQ(tag.Suffix(), std::wstring(32, L's'));
}

TEST(NamedColorsTagTest, CountRunningPastTheBlockIsRefused) {
    TagBlock t(0, 3, 4, 2); // room for two entries only
    CNamedColorsTag tag;
    EXPECT_FALSE(tag.Read(t.Copy(t.size()).get(), t.size()));
    EXPECT_EQ(tag.Count(), 0u);
    TagBlock huge(0, 0xFFFFFFFFu, 15, 1);
    EXPECT_FALSE(tag.Read(huge.Copy(huge.size()).get(), huge.size()));
}

TEST(NamedColorsTagTest, EveryShorterBlockIsRefused) {
    TagBlock t(0, 2, 3, 2);
    for (size_t size = 0; size < t.size(); ++size) {
        CNamedColorsTag tag;
        EXPECT_FALSE(tag.Read(t.Copy(size).get(), size)) << size;
    }
    CNamedColorsTag tag;
    EXPECT_TRUE(tag.Read(t.Copy(t.size()).get(), t.size()));
    EXPECT_FALSE(tag.Read(nullptr, 100));
}

TEST(NamedColorsTagTest, DeviceCoordinatesAboveFifteenAreRefused) {
    TagBlock ok(0, 1, 15, 1);
    TagBlock bad(0, 1, 16, 1);
    CNamedColorsTag tag;
    const auto block = ok.Copy(ok.size());
    EXPECT_TRUE(tag.Read(block.get(), ok.size()));
    EXPECT_EQ(tag.DeviceChannels(), 15);
    EXPECT_FALSE(tag.Read(bad.Copy(bad.size()).get(), bad.size()));
    TagBlock none(0, 0, 0xFFFFFFFFu, 0); // no entries, so the count fits
    EXPECT_FALSE(tag.Read(none.Copy(none.size()).get(), none.size()));
}

TEST(NamedColorsTagTest, BlockOfAnotherTypeIsRefused) {
    TagBlock t(0, 1, 1, 1);
    t.Put32(0, icSigTextType);
    CNamedColorsTag tag;
    EXPECT_FALSE(tag.Read(t.Copy(t.size()).get(), t.size()));
}

// Profiles whose ncl2 tag is damaged in the file.
class NamedColorsDamagedTagTest : public ::testing::Test {
protected:
    // A generated profile of two colours, then `damage` applied to its bytes (and the tag's
    // place in them), written as damaged.icc.
    template <class Damage> std::wstring Damaged(Damage damage, int channels = 4) {
        GenSpec s;
        s.channels = channels;
        s.colours = {NumberedColour(1, channels), NumberedColour(2, channels)};
        const std::wstring good = WriteGenProfile(dir, "good.icc", s);
        kvrtest::Bytes b = kvrtest::ReadBytes(WideToUtf8(good));
        damage(b, FindTag(b, icSigNamedColor2Tag));
        const std::string path = (dir / "damaged.icc").string();
        EXPECT_TRUE(kvrtest::WriteBytes(path, b));
        return Utf8ToWide(path);
    }

    kvrtest::TempDir dir{"kvr-named"};
    CUserSettingsMgr usm;
};

TEST_F(NamedColorsDamagedTagTest, CountRunningPastTheTagFailsTheLoad) {
    const std::wstring path =
        Damaged([](kvrtest::Bytes& b, TagPlace t) { PutBe32(b, t.offset + 12, 3); });
    CNamedColorsProfile dict;
    EXPECT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 0);
    EXPECT_TRUE(dict.IsEmpty());
    CNamedColorsArray array;
    EXPECT_EQ(array.LoadFromProfile(path.c_str(), &usm), 0);
    EXPECT_TRUE(array.IsEmpty());
}

TEST_F(NamedColorsDamagedTagTest, TagTableSizeShorterThanTheEntriesFailsTheLoad) {
    const std::wstring path =
        Damaged([](kvrtest::Bytes& b, TagPlace t) { PutBe32(b, t.entry + 8, t.size - 1); });
    CNamedColorsProfile dict;
    EXPECT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 0);
    EXPECT_TRUE(dict.IsEmpty());
}

TEST_F(NamedColorsDamagedTagTest, DeviceCoordinatesAboveFifteenCountAsNoTag) {
    // 16 device values: the entries are built for that many, so the tag fits its block.
    const std::wstring path = Damaged([](kvrtest::Bytes&, TagPlace) {}, 16);
    CNamedColorsProfile dict;
    EXPECT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 0);
    EXPECT_TRUE(dict.IsEmpty());
    EXPECT_EQ(dict.nPrimCols(), 4) << "n of the header's CMYK";
    EXPECT_EQ(dict.GetFileName(), L"");
    CNamedColorsArray array;
    EXPECT_EQ(array.LoadFromProfile(path.c_str(), &usm), 0);
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.nPrimCols(), 4);
}

TEST_F(NamedColorsDamagedTagTest, NameWithoutTerminatorIsReadAsThirtyTwoBytes) {
    const std::wstring path = Damaged([](kvrtest::Bytes& b, TagPlace t) {
        std::memset(&b.at(t.offset + 84), 'Q', 32); // the first name fills its field
        std::memset(&b.at(t.offset + 20), 'R', 32); // and so does the prefix
    });
    CNamedColorsArray array;
    ASSERT_EQ(array.LoadFromProfile(path.c_str(), &usm), 1);
    EXPECT_EQ(array.GetPrefix(), std::wstring(32, L'R'));
    EXPECT_EQ(array[0].m_sName, std::wstring(32, L'Q'));
    EXPECT_EQ(array[0].m_DevPixel[0], NumberedColour(1, 4).pcs[0]) << "values untouched";
    CNamedColorsProfile dict;
    ASSERT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 1);
    unsigned short* pixel = nullptr;
    EXPECT_EQ(
        dict.LookupColorName((std::wstring(32, L'r') + std::wstring(32, L'q')).c_str(), pixel), 1);
}

} // namespace
