// The profile record: header and device space, descriptions of desc, Tvr3 and Tvr6, version,
// measurement, the colorant table with its second byte swap, copy, and reads kept inside the
// tag blocks.
#include <gtest/gtest.h>

#include <filesystem>

#include "colorspace/ColorSpaceTestUtil.h"
#include "colorspace/IccColorProfile.h"
#include "support/Files.h"
#include "support/TestData.h"

using namespace cstest;

namespace {

std::wstring Load(CIccColorProfile& rec, const std::wstring& path) {
    EXPECT_EQ(1, rec.LoadIccFile(path.c_str(), nullptr));
    return rec.Description();
}

// A clrt block in host order whose count, swapped once more by the record, reads as `n`, with
// room for `room` entries named C0, C1, ... and PCS values (100 e, 200 e, 300 e) as the record
// sees them after its own swap.
std::vector<uint8_t> ClrtBlock(uint32_t n, uint32_t room) {
    std::vector<uint8_t> b = TagHead(icSigColorantTableType);
    Append32(b, __builtin_bswap32(n));
    for (uint32_t e = 0; e < room; ++e) {
        std::vector<uint8_t> entry(38, 0);
        const std::string name = "C" + std::to_string(e);
        std::memcpy(entry.data(), name.data(), name.size());
        for (unsigned c = 0; c < 3; ++c) {
            const uint16_t v = __builtin_bswap16(uint16_t((c + 1) * 100 * (e + 1)));
            std::memcpy(entry.data() + 32 + 2 * c, &v, 2);
        }
        b.insert(b.end(), entry.begin(), entry.end());
    }
    return b;
}

std::vector<uint8_t> Mft2Head(unsigned in, unsigned out) {
    std::vector<uint8_t> b = TagHead(icSigLut16Type);
    b.resize(52, 0);
    b[8] = uint8_t(in);
    b[9] = uint8_t(out);
    b[10] = 2;
    return b;
}

} // namespace

TEST(IccColorProfile, NewRecordIsEmptyWithVersionZero) {
    CIccColorProfile rec;
    EXPECT_EQ(L"", rec.FileName());
    EXPECT_EQ(L"", rec.Description());
    EXPECT_EQ(0u, rec.TarvelinVersion());
    EXPECT_EQ(0u, rec.DeviceColorSpaceSignature());
    enmIluminant ill;
    enmObserver obs;
    rec.GetIlluObserver(ill, obs);
    EXPECT_EQ(IluminantD50, ill);
    EXPECT_EQ(Observer2Degree, obs);
}

TEST(IccColorProfile, Tvr3BeatsDescWhicheverComesFirst) {
    TempDir dir("kvr-rec");
    Gen descFirst;
    descFirst.AddProfileDescriptionTag("from desc");
    descFirst.AddTextTag(icTagSignature(icSigTvr3Tag), "from Tvr3");
    Gen tvrFirst;
    tvrFirst.AddTextTag(icTagSignature(icSigTvr3Tag), "from Tvr3");
    tvrFirst.AddProfileDescriptionTag("from desc");
    CIccColorProfile a, b;
    EXPECT_EQ(L"from Tvr3", Load(a, descFirst.Save(dir, "a.icc")));
    EXPECT_EQ(L"from Tvr3", Load(b, tvrFirst.Save(dir, "b.icc")));
}

TEST(IccColorProfile, Tvr6BeatsDescThatComesAfterIt) {
    TempDir dir("kvr-rec");
    Gen gen;
    gen.AddTextTag(icTagSignature(icSigTvr6Tag), "Dru\xC3\xBF"
                                                 "ck");
    gen.AddProfileDescriptionTag("from desc");
    CIccColorProfile rec;
    EXPECT_EQ(L"Dru\u00FFck", Load(rec, gen.Save(dir, "p.icc")));
}

TEST(IccColorProfile, LaterOfTvr3AndTvr6Wins) {
    TempDir dir("kvr-rec");
    Gen g3then6, g6then3;
    g3then6.AddTextTag(icTagSignature(icSigTvr3Tag), "three");
    g3then6.AddTextTag(icTagSignature(icSigTvr6Tag), "six");
    g6then3.AddTextTag(icTagSignature(icSigTvr6Tag), "six");
    g6then3.AddTextTag(icTagSignature(icSigTvr3Tag), "thr\xE9"
                                                     "e"); // Windows-1252 e acute
    CIccColorProfile a, b;
    EXPECT_EQ(L"six", Load(a, g3then6.Save(dir, "a.icc")));
    EXPECT_EQ(L"thr\u00E9e", Load(b, g6then3.Save(dir, "b.icc")));
}

TEST(IccColorProfile, DescAloneIsTheDescription) {
    TempDir dir("kvr-rec");
    Gen gen;
    gen.AddProfileDescriptionTag("plain");
    CIccColorProfile rec;
    EXPECT_EQ(L"plain", Load(rec, gen.Save(dir, "p.icc")));
}

TEST(IccColorProfile, SixOutputB2A0Reports6CLRAndKeepsTheRestOfTheHeader) {
    TempDir dir("kvr-rec");
    Gen gen;
    gen.Table(icSigBToA0Tag, 6);
    CIccColorProfile rec;
    Load(rec, gen.Save(dir, "p.icc"));
    EXPECT_EQ(icSig6colorData, rec.DeviceColorSpaceSignature());
    EXPECT_EQ(icSigOutputClass, rec.ProfileClass());
    EXPECT_EQ(icSigLabData, rec.ProfileConnectionSpaceSignature());
    EXPECT_EQ(icPerceptual, rec.RenderingIntent());
    EXPECT_EQ(icMagicNumber, rec.Header().magic);
}

TEST(IccColorProfile, FourOutputB2A0KeepsCmyk) {
    TempDir dir("kvr-rec");
    Gen gen;
    gen.Table(icSigBToA0Tag, 4);
    CIccColorProfile rec;
    Load(rec, gen.Save(dir, "p.icc"));
    EXPECT_EQ(icSigCmykData, rec.DeviceColorSpaceSignature());
}

TEST(IccColorProfile, LastNColorB2ATagWins) {
    TempDir dir("kvr-rec");
    Gen gen;
    gen.Table(icSigBToA1Tag, 7);
    gen.Table(icSigBToA0Tag, 5);
    gen.Table(icSigBToA2Tag, 3); // under 5: no change
    CIccColorProfile rec;
    Load(rec, gen.Save(dir, "p.icc"));
    EXPECT_EQ(icSig5colorData, rec.DeviceColorSpaceSignature());
}

TEST(IccColorProfile, B2AOutputCountZeroOrAbove15ChangesNothing) {
    for (unsigned out : {0u, 16u, 255u}) {
        MemReader r;
        r.Head().colorSpace = icSigCmykData;
        r.Add(icSigBToA0Tag, Mft2Head(3, out));
        RecordProbe rec;
        EXPECT_EQ(1, rec.LoadFrom(r));
        EXPECT_EQ(icSigCmykData, rec.DeviceColorSpaceSignature()) << out;
    }
    MemReader r;
    r.Head().colorSpace = icSigCmykData;
    r.Add(icSigBToA0Tag, Mft2Head(3, 15));
    RecordProbe rec;
    rec.LoadFrom(r);
    EXPECT_EQ(icSig15colorData, rec.DeviceColorSpaceSignature());
}

TEST(IccColorProfile, B2ATagTooShortForItsCountIsPassedOver) {
    MemReader r;
    r.Head().colorSpace = icSigCmykData;
    std::vector<uint8_t> shortTag = TagHead(icSigLut16Type);
    shortTag.push_back(3); // byte 8 only: the output count at byte 9 is not there
    r.Add(icSigBToA0Tag, shortTag);
    RecordProbe rec;
    EXPECT_EQ(1, rec.LoadFrom(r));
    EXPECT_EQ(icSigCmykData, rec.DeviceColorSpaceSignature());
}

TEST(IccColorProfile, OrdinaryColorantTableLeavesBothVectorsEmpty) {
    TempDir dir("kvr-rec");
    Gen gen;
    gen.AddColorantTableTag({L"Cyan", L"Magenta"}, {{{1, 2, 3}}, {{4, 5, 6}}});
    CIccColorProfile rec;
    Load(rec, gen.Save(dir, "p.icc"));
    EXPECT_TRUE(rec.ChannelNames().empty());
    EXPECT_TRUE(rec.ColorantPcs().empty());
}

TEST(IccColorProfile, ColorantTableCountOf16IsIgnoredWhole) {
    MemReader r;
    r.Add(icSigColorantTableTag, ClrtBlock(16, 16));
    RecordProbe rec;
    EXPECT_EQ(1, rec.LoadFrom(r));
    EXPECT_TRUE(rec.ChannelNames().empty());
    EXPECT_TRUE(rec.ColorantPcs().empty());
}

TEST(IccColorProfile, ColorantTableReadAfterTheSecondSwap) {
    MemReader r;
    r.Add(icSigColorantTableTag, ClrtBlock(2, 2));
    RecordProbe rec;
    rec.LoadFrom(r);
    ASSERT_EQ(2u, rec.ChannelNames().size());
    EXPECT_EQ(L"C0", rec.ChannelNames()[0]);
    EXPECT_EQ(L"C1", rec.ChannelNames()[1]);
    ASSERT_EQ(2u, rec.ColorantPcs().size());
    EXPECT_EQ((std::array<uint16_t, 3>{100, 200, 300}), rec.ColorantPcs()[0]);
    EXPECT_EQ((std::array<uint16_t, 3>{200, 400, 600}), rec.ColorantPcs()[1]);
}

TEST(IccColorProfile, ColorantCountReachingPastTheTagIsRefused) {
    for (uint32_t room : {0u, 1u, 14u}) {
        MemReader r;
        r.Add(icSigColorantTableTag, ClrtBlock(15, room));
        RecordProbe rec;
        EXPECT_EQ(1, rec.LoadFrom(r));
        EXPECT_TRUE(rec.ChannelNames().empty()) << room;
        EXPECT_TRUE(rec.ColorantPcs().empty()) << room;
    }
    MemReader headOnly;
    headOnly.Add(icSigColorantTableTag, TagHead(icSigColorantTableType)); // no count at all
    RecordProbe rec;
    EXPECT_EQ(1, rec.LoadFrom(headOnly));
    EXPECT_TRUE(rec.ChannelNames().empty());
}

TEST(IccColorProfile, ColorantNameOf32BytesWithoutTerminatorStaysInItsField) {
    std::vector<uint8_t> b = ClrtBlock(1, 1);
    std::memset(b.data() + 12, 'N', 32); // the whole name field, no NUL
    MemReader r;
    r.Add(icSigColorantTableTag, b);
    RecordProbe rec;
    rec.LoadFrom(r);
    ASSERT_EQ(1u, rec.ChannelNames().size());
    EXPECT_EQ(std::wstring(32, L'N'), rec.ChannelNames()[0]);
}

TEST(IccColorProfile, Tvr3AndTvr6TextsWithoutTerminatorAreReadToTheEndOfTheTag) {
    TempDir dir("kvr-rec");
    for (uint32_t sig : {icSigTvr3Tag, icSigTvr6Tag}) {
        Gen gen;
        std::vector<uint8_t> tag = TagHead(icSigTextType);
        AppendText(tag, "ABCDE", false); // 13 bytes, no terminator
        gen.Raw(sig, tag);
        CIccColorProfile rec;
        EXPECT_EQ(L"ABCDE", Load(rec, gen.Save(dir, "p.icc")));
    }
    // The same in memory, where the block is exactly as long as the tag.
    for (uint32_t sig : {icSigTvr3Tag, icSigTvr6Tag}) {
        MemReader r;
        std::vector<uint8_t> tag = TagHead(icSigTextType);
        AppendText(tag, "XYZ", false);
        r.Add(sig, tag);
        RecordProbe rec;
        rec.LoadFrom(r);
        EXPECT_EQ(L"XYZ", rec.Description());
    }
    // A tag of nothing but its head gives an empty overriding text.
    MemReader r;
    std::vector<uint8_t> desc = TagHead(icSigTextDescriptionType);
    Append32(desc, 5);
    AppendText(desc, "desc", true);
    r.Add(icSigProfileDescriptionTag, desc);
    r.Add(icSigTvr3Tag, TagHead(icSigTextType));
    RecordProbe rec;
    rec.LoadFrom(r);
    EXPECT_EQ(L"", rec.Description());
}

TEST(IccColorProfile, DescTextWithoutTerminatorIsReadToTheEndOfTheTag) {
    MemReader r;
    std::vector<uint8_t> desc = TagHead(icSigTextDescriptionType);
    Append32(desc, 100); // a length beyond the tag is not trusted
    AppendText(desc, "abc", false);
    r.Add(icSigProfileDescriptionTag, desc);
    RecordProbe rec;
    rec.LoadFrom(r);
    EXPECT_EQ(L"abc", rec.Description());
}

TEST(IccColorProfile, WithoutMeasTagIlluminantIsD50AndObserver2Degrees) {
    TempDir dir("kvr-rec");
    Gen plain, measured;
    measured.AddMeasurementInfoTag(IluminantD65, Observer10Degree);
    CIccColorProfile a, b;
    Load(a, plain.Save(dir, "a.icc"));
    Load(b, measured.Save(dir, "b.icc"));
    enmIluminant ill;
    enmObserver obs;
    a.GetIlluObserver(ill, obs);
    EXPECT_EQ(IluminantD50, ill);
    EXPECT_EQ(Observer2Degree, obs);
    b.GetIlluObserver(ill, obs);
    EXPECT_EQ(IluminantD65, ill);
    EXPECT_EQ(Observer10Degree, obs);
    // A later load without meas goes back to the default.
    Load(b, (dir / "a.icc").wstring());
    b.GetIlluObserver(ill, obs);
    EXPECT_EQ(IluminantD50, ill);
    EXPECT_EQ(Observer2Degree, obs);
}

TEST(IccColorProfile, VersionIsOneWithoutTvr2AndTheTagsValueWithIt) {
    TempDir dir("kvr-rec");
    Gen plain, stamped;
    stamped.AddTarvelinVersionTag();
    CIccColorProfile a, b;
    Load(a, plain.Save(dir, "a.icc"));
    Load(b, stamped.Save(dir, "b.icc"));
    EXPECT_EQ(1u, a.TarvelinVersion());
    EXPECT_EQ(350u, b.TarvelinVersion());
}

TEST(IccColorProfile, DeviceLinkIsToldByTheConnectionSpaceAlone) {
    TempDir dir("kvr-rec");
    Gen link(icSigLinkClass, icSigRgbData, icSigCmykData);
    Gen lab(icSigOutputClass, icSigCmykData, icSigLabData);
    Gen xyz(icSigLinkClass, icSigRgbData, icSigXYZData); // class link, yet an XYZ PCS
    Gen none(icSigOutputClass, icSigCmykData, 0);
    CIccColorProfile r;
    Load(r, link.Save(dir, "link.icc"));
    EXPECT_EQ(1, r.IsDeviceLinkProfile());
    Load(r, lab.Save(dir, "lab.icc"));
    EXPECT_EQ(0, r.IsDeviceLinkProfile());
    Load(r, xyz.Save(dir, "xyz.icc"));
    EXPECT_EQ(0, r.IsDeviceLinkProfile());
    Load(r, none.Save(dir, "none.icc"));
    EXPECT_EQ(0, r.IsDeviceLinkProfile());
}

TEST(IccColorProfile, CopyTakesTheDeviceSpaceAndKeepsTheTargetsChannelNames) {
    TempDir dir("kvr-rec");
    Gen gen;
    gen.Table(icSigBToA0Tag, 6);
    gen.AddTextTag(icTagSignature(icSigTvr3Tag), "source");
    CIccColorProfile source;
    Load(source, gen.Save(dir, "p.icc"));

    MemReader r;
    r.Add(icSigColorantTableTag, ClrtBlock(3, 3));
    RecordProbe target;
    target.LoadFrom(r);
    ASSERT_EQ(3u, target.ChannelNames().size());

    target.copy(source);
    EXPECT_EQ(source.DeviceColorSpaceSignature(), target.DeviceColorSpaceSignature());
    EXPECT_EQ(icSig6colorData, target.DeviceColorSpaceSignature());
    EXPECT_EQ(source.FileName(), target.FileName());
    EXPECT_EQ(L"source", target.Description());
    EXPECT_EQ(source.GetProfileMD5String(), target.GetProfileMD5String());
    EXPECT_EQ(3u, target.ChannelNames().size());
    EXPECT_EQ(3u, target.ColorantPcs().size());
}

TEST(IccColorProfile, EmptyPathOrPathEndingInSeparatorClearsTheFileNameOnly) {
    CIccColorProfile rec;
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("sRGB.icc"));
    Load(rec, kvrtest::CorpusProfile("sRGB.icc").wstring());
    const std::wstring description = rec.Description();
    ASSERT_FALSE(description.empty());
    for (const wchar_t* path : {L"", L"/tmp/", static_cast<const wchar_t*>(nullptr)}) {
        EXPECT_EQ(1, rec.LoadIccFile(path, nullptr));
        EXPECT_EQ(L"", rec.FileName());
        EXPECT_EQ(description, rec.Description());
        EXPECT_EQ(icSigRgbData, rec.DeviceColorSpaceSignature());
    }
}

TEST(IccColorProfile, FailedOpenKeepsTheContentButTheFileNameAndSetsTheError) {
    TempDir dir("kvr-rec");
    CIccColorProfile rec;
    Load(rec, kvrtest::CorpusProfile("sRGB.icc").wstring());
    const std::wstring md5 = rec.GetProfileMD5String();
    EXPECT_EQ(0, rec.Error());

    // A profile cut short: its header announces more than the file holds.
    kvrtest::Bytes cut = kvrtest::ReadBytes(kvrtest::CorpusProfile("sRGB.icc"));
    ASSERT_GT(cut.size(), 300u);
    cut.resize(300);
    ASSERT_TRUE(kvrtest::WriteBytes(dir / "cut.icc", cut));
    const std::wstring bad = (dir / "cut.icc").wstring();
    EXPECT_EQ(0, rec.LoadIccFile(bad.c_str(), nullptr));
    EXPECT_EQ(L"", rec.FileName());
    EXPECT_EQ(kIccErrorCannotLoad, rec.Error());
    EXPECT_EQ(md5, rec.GetProfileMD5String());
    EXPECT_EQ(icSigRgbData, rec.DeviceColorSpaceSignature());

    // The error is not reset by a successful load.
    Load(rec, kvrtest::CorpusProfile("sRGB.icc").wstring());
    EXPECT_EQ(kIccErrorCannotLoad, rec.Error());
}

TEST(IccColorProfile, CorpusProfilesLoadWithTheReadersDigest) {
    for (const auto& path : kvrtest::CorpusProfiles()) {
        CIccColorProfile rec;
        ASSERT_EQ(1, rec.LoadIccFile(path.wstring().c_str(), nullptr)) << path;
        CIccProfileRead reader(nullptr);
        ASSERT_NE(0, reader.Open(path.wstring().c_str()));
        EXPECT_EQ(reader.GetProfileMD5String(), rec.GetProfileMD5String()) << path;
        EXPECT_EQ(32u, rec.GetProfileMD5String().size()) << path;
        EXPECT_EQ(path.wstring(), rec.FileName());
        EXPECT_EQ(1u, rec.TarvelinVersion()) << path;
    }
}

TEST(IccColorProfile, DigestAskedAfterTheFileChangedIsThatOfTheLoadAndCopiesKeepIt) {
    TempDir dir("kvr-rec");
    const kvrtest::Bytes original = kvrtest::ReadBytes(kvrtest::CorpusProfile("sRGB.icc"));
    ASSERT_GT(original.size(), 132u);
    CIccProfileRead reader(nullptr);
    ASSERT_NE(0, reader.Open(kvrtest::CorpusProfile("sRGB.icc").wstring().c_str()));
    const std::wstring expected = reader.GetProfileMD5String();
    ASSERT_EQ(32u, expected.size());

    const std::filesystem::path path = dir / "p.icc";
    ASSERT_TRUE(kvrtest::WriteBytes(path, original));
    CIccColorProfile rec;
    ASSERT_EQ(1, rec.LoadIccFile(path.wstring().c_str(), nullptr));
    CIccColorProfile copy;
    copy.copy(rec);
    // The file is replaced by another before anybody asks for the digest.
    kvrtest::Bytes changed = original;
    changed[changed.size() - 1] ^= 0x5A;
    ASSERT_TRUE(kvrtest::WriteBytes(path, changed));
    EXPECT_EQ(expected, copy.GetProfileMD5String());
    EXPECT_EQ(expected, rec.GetProfileMD5String());
    // A record never loaded has none.
    EXPECT_EQ(L"", CIccColorProfile().GetProfileMD5String());
}
