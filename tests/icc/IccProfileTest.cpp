// The profile reader: loading from files and memory, digest, shared tags, table maintenance,
// saving, and the failure table.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <thread>

#include "IccTestUtil.h"
#include "base/Digest.h"
#include "icc/IccProfile.h"

using namespace icctest;
namespace fs = std::filesystem;

namespace {

Bytes BlockBytes(CIccProfileRead& r, unsigned index) {
    auto* p = reinterpret_cast<const uint8_t*>(r.GetTagData(index));
    return Bytes(p, p + r.Tag(index).size);
}

// The block of table entry `index` converted back to file order, for comparison with the file.
Bytes FileOrderBlock(CIccProfileRead& r, unsigned index) {
    Bytes b = BlockBytes(r, index);
    std::unique_ptr<uint32_t[]> w(new uint32_t[(b.size() + 3) / 4 + 1]());
    if (!b.empty()) std::memcpy(w.get(), b.data(), b.size());
    SwapTagData(w.get(), uint32_t(b.size()), 0);
    auto* p = reinterpret_cast<const uint8_t*>(w.get());
    return Bytes(p, p + b.size());
}

} // namespace

TEST(IccProfileLoad, FileOf132BytesWithCountZeroLoadsAndDigestsThoseBytes) {
    Bytes file = Profile().Build();
    ASSERT_EQ(132u, file.size());
    TempDir dir;
    WriteFileBytes(dir / "empty.icc", file);
    TestReader r;
    ASSERT_EQ(1, r.Open((dir / "empty.icc").wstring().c_str()));
    EXPECT_EQ(0u, r.GetCount());
    EXPECT_EQ(132u, r.Header().size);
    EXPECT_EQ(Md5Hex(file.data(), file.size()), r.GetProfileMD5String());
    EXPECT_EQ(0, r.m_nError);

    TestReader m;
    ASSERT_EQ(1, m.OpenBytes(file));
    EXPECT_EQ(Md5Hex(file.data(), file.size()), m.GetProfileMD5String());
}

TEST(IccProfileLoad, SmallProfileLoadsWithEveryTagInHostOrder) {
    Profile p = SmallProfile();
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    ASSERT_EQ(p.tags.size(), r.GetCount());
    ASSERT_EQ(p.tags.size(), r.GetTagNodeCount());
    EXPECT_EQ(file.size(), r.Header().size);
    EXPECT_EQ(icSigOutputClass, r.Header().deviceClass);
    for (unsigned i = 0; i < r.GetCount(); ++i) {
        EXPECT_EQ(BeRead32(reinterpret_cast<const uint8_t*>(p.tags[i].sig.c_str())), r.Tag(i).sig);
        EXPECT_EQ(p.tags[i].data, FileOrderBlock(r, i)) << p.tags[i].sig;
    }
    icTag tag{};
    auto* wtpt = reinterpret_cast<icXYZType*>(r.FindTagData(icSigMediaWhitePointTag, &tag));
    ASSERT_NE(nullptr, wtpt);
    EXPECT_EQ(icSigXYZType, wtpt->base);
    EXPECT_EQ(63190, wtpt->data[0].X);
    EXPECT_EQ(54061, wtpt->data[0].Z);
    auto* trc = reinterpret_cast<icCurveType*>(r.FindTagData(icSigRedTRCTag, nullptr));
    ASSERT_NE(nullptr, trc);
    EXPECT_EQ(4u, trc->curve.count);
    EXPECT_EQ(0x4000, trc->curve.data[1]);
    auto* lut = reinterpret_cast<icLut16Type*>(r.FindTagData(icSigAToB0Tag, nullptr));
    ASSERT_NE(nullptr, lut);
    EXPECT_EQ(3, lut->lut.outputChan);
    EXPECT_EQ(65536, lut->lut.e11);
    EXPECT_EQ(2, lut->lut.inputEnt);
    EXPECT_EQ(4000, lut->lut.data[1]);
    auto* tvr = reinterpret_cast<icUInt32ArrayType*>(r.FindTagData(icSigTvr2Tag, nullptr));
    ASSERT_NE(nullptr, tvr);
    EXPECT_EQ(350u, tvr->data[0]);
    EXPECT_EQ(Md5Hex(file.data(), file.size()), r.GetProfileMD5String());
}

TEST(IccProfileLoad, Version4AndUnknownClassLoadAsAnyOther) {
    Profile p = SmallProfile();
    p.version = 0x04300000;
    p.deviceClass = "zzzz";
    p.colorSpace = "????";
    p.pcs = "abcd";
    Bytes file = p.Build();
    TestReader r;
    EXPECT_EQ(1, r.OpenBytes(file));
    EXPECT_EQ(0x04300000u, r.Header().version);
    EXPECT_EQ(Sig("zzzz"), r.Header().deviceClass);
}

TEST(IccProfileLoad, BytesBeyondSizeAreNeitherReadNorDigested) {
    Bytes file = SmallProfile().Build();
    const size_t size = file.size();
    Bytes longer = file;
    for (int i = 0; i < 300; ++i) longer.push_back(uint8_t(i));
    TempDir dir;
    WriteFileBytes(dir / "long.icc", longer);
    TestReader r;
    ASSERT_EQ(1, r.Open((dir / "long.icc").wstring().c_str()));
    EXPECT_EQ(Md5Hex(file.data(), size), r.GetProfileMD5String());
    ASSERT_NE(nullptr, r.m_pFile);
    EXPECT_EQ(size, r.m_pFile->GetPosition()) << "nothing read behind size";
}

TEST(IccProfileLoad, SizeSmallerThanTheTableEndFailsWith901) {
    Profile p = SmallProfile();
    p.sizeOverride = 132 + 12 * 2; // ends inside the table
    Bytes file = p.Build();
    TestReader r;
    EXPECT_EQ(0, r.OpenBytes(file));
    EXPECT_EQ(901, r.m_nError);
    EXPECT_EQ(0u, r.GetCount());
    EXPECT_EQ(0u, r.GetTagNodeCount());
    EXPECT_EQ(nullptr, r.m_pFile);
}

TEST(IccProfileLoad, TwoTagsAtOneOffsetWithDifferentSizesAreRefused) {
    Profile p;
    p.Add("wtpt", Be().head("XYZ ").u32(1).u32(2).u32(3).b); // 20 bytes
    p.tags.push_back({"bkpt", {}, 132 + 12 * 3, 20});        // same offset, same size: shared
    p.tags.push_back({"lumi", {}, 132 + 12 * 3, 40});        // same offset, claims more
    Bytes file = p.Build();
    TestReader r;
    EXPECT_EQ(0, r.OpenBytes(file));
    EXPECT_EQ(901, r.m_nError);
    EXPECT_EQ(0u, r.GetCount());
    EXPECT_EQ(0u, r.GetTagNodeCount());

    // Without the entry that claims more, the other two share one block.
    Profile q;
    q.Add("wtpt", Be().head("XYZ ").u32(1).u32(2).u32(3).b);
    q.tags.push_back({"bkpt", {}, 132 + 12 * 2, 20});
    Bytes shared = q.Build();
    TestReader s;
    ASSERT_EQ(1, s.OpenBytes(shared));
    ASSERT_EQ(2u, s.GetTagNodeCount());
    EXPECT_EQ(s.GetTagData(0), s.GetTagData(1));
    EXPECT_TRUE(s.m_Tags[1]->bIsRef());
    EXPECT_EQ(s.m_Tags[0].get(), s.m_Tags[1]->pRef);
    EXPECT_EQ(0u, s.m_Tags[1]->offset);
    EXPECT_EQ(2, s.m_Tags[0]->nRefs());
    uint32_t blockSize = 0;
    icTag tag{};
    EXPECT_EQ(s.GetTagData(0), s.FindTagData(icSigMediaBlackPointTag, &tag, &blockSize));
    EXPECT_EQ(20u, tag.size);
    EXPECT_EQ(20u, blockSize);
    EXPECT_EQ(2u, H32(s.GetTagData(1), 12)) << "converted once, through the owner";
}

TEST(IccProfileSave, SharedTagsAreWrittenOnceWithTheTableAsLoaded) {
    Profile p;
    p.Add("wtpt", Be().head("XYZ ").u32(1).u32(2).u32(3).b);
    p.tags.push_back({"bkpt", {}, 132 + 12 * 3, 20});
    p.Add("rTRC", Curv({1, 2, 3}, false));
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    Bytes saved = r.SaveToMemory();
    EXPECT_EQ(file, saved);
    // The memory stays in host order after the save.
    EXPECT_EQ(2u, H32(r.GetTagData(0), 12));
    EXPECT_EQ(3u, H32(r.GetTagData(2), 8));
}

TEST(IccProfileSave, NonRisingOffsetsLoadCorrectlyButSaveWrongUnlessTheTableIsRebuilt) {
    Profile p;
    const int64_t start = 132 + 12 * 2;
    Bytes a = Be().head("XYZ ").u32(11).u32(12).u32(13).b;
    Bytes b = Be().head("XYZ ").u32(21).u32(22).u32(23).b;
    p.tags.push_back({"bXYZ", b, start + 20, -1}); // table order: the later offset first
    p.tags.push_back({"aXYZ", a, start, -1});
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    EXPECT_EQ(b, FileOrderBlock(r, 0));
    EXPECT_EQ(a, FileOrderBlock(r, 1));

    // Saved as it stands the second tag lands behind the first, away from its offset.
    Bytes saved = r.SaveToMemory();
    EXPECT_NE(file, saved);
    TestReader back;
    ASSERT_EQ(1, back.OpenBytes(saved));
    EXPECT_EQ(b, FileOrderBlock(back, 0));
    EXPECT_NE(a, FileOrderBlock(back, 1)) << "silently wrong";

    // After UpdateTagTableAndHeader the file is right.
    r.UpdateTagTableAndHeader();
    Bytes fixed = r.SaveToMemory();
    TestReader good;
    ASSERT_EQ(1, good.OpenBytes(fixed));
    EXPECT_EQ(b, FileOrderBlock(good, 0));
    EXPECT_EQ(a, FileOrderBlock(good, 1));
    EXPECT_EQ(fixed.size(), good.Header().size);
}

TEST(IccProfileLoad, TagInsideHeaderOrTableFailsAlthoughTheFileIsComplete) {
    for (int64_t offset :
         {int64_t(0), int64_t(100), int64_t(128), int64_t(132 + 12), int64_t(132 + 12 * 2 - 1)}) {
        Profile p;
        p.Add("wtpt", Be().head("XYZ ").u32(1).u32(2).u32(3).b);
        p.tags.push_back({"bkpt", {}, offset, 8});
        Bytes file = p.Build();
        TestReader r;
        EXPECT_EQ(0, r.OpenBytes(file)) << offset;
        EXPECT_EQ(901, r.m_nError);
        EXPECT_EQ(0u, r.GetCount());
    }
}

TEST(IccProfileLoad, WrongMagicInPathFormKeepsEarlierContentsAndCanBeClosed) {
    TempDir dir;
    Bytes good = SmallProfile().Build();
    Profile badP = SmallProfile();
    badP.magic = "acsq";
    Bytes bad = badP.Build();
    WriteFileBytes(dir / "good.icc", good);
    WriteFileBytes(dir / "bad.icc", bad);

    TestReader r;
    ASSERT_EQ(1, r.Open((dir / "good.icc").wstring().c_str()));
    const unsigned count = r.GetCount();
    ASSERT_GT(count, 0u);
    EXPECT_EQ(0, r.Open((dir / "bad.icc").wstring().c_str()));
    EXPECT_EQ(0, r.m_nError);
    EXPECT_EQ(Sig("acsq"), r.Header().magic) << "header as read";
    EXPECT_EQ(Md5Hex(bad.data(), 128), r.GetProfileMD5String()) << "digest of the 128 bytes";
    EXPECT_EQ(count, r.GetCount()) << "table untouched";
    EXPECT_NE(nullptr, r.m_pFile) << "file still open";
    r.Close();
    EXPECT_EQ(nullptr, r.m_pFile);
    EXPECT_EQ(count, r.GetCount());
    EXPECT_NE(nullptr, r.GetTagData(0));
}

TEST(IccProfileLoad, WrongMagicInMemoryFormDeletesTagsAndDropsTheFile) {
    Bytes good = SmallProfile().Build();
    Profile badP = SmallProfile();
    badP.magic = "ACSP";
    Bytes bad = badP.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(good));
    r.DeleteContents();
    EXPECT_EQ(0, r.OpenBytes(bad));
    EXPECT_EQ(0, r.m_nError);
    EXPECT_EQ(0u, r.GetCount());
    EXPECT_EQ(0u, r.GetTagNodeCount());
    EXPECT_EQ(nullptr, r.m_pFile);
    EXPECT_EQ(Sig("ACSP"), r.Header().magic);
}

TEST(IccProfileLoad, FailedLoadKeepsTheEarlierDigestAndThePathFormKeepsItsFile) {
    TempDir dir;
    Bytes good = SmallProfile().Build();
    Profile badP = SmallProfile();
    badP.sizeOverride = 500; // tags beyond the announced size
    Bytes bad = badP.Build();
    WriteFileBytes(dir / "good.icc", good);
    WriteFileBytes(dir / "bad.icc", bad);
    TestReader r;
    ASSERT_EQ(1, r.Open((dir / "good.icc").wstring().c_str()));
    std::wstring digest = r.GetProfileMD5String();
    r.DeleteContents();
    EXPECT_EQ(0, r.Open((dir / "bad.icc").wstring().c_str()));
    EXPECT_EQ(901, r.m_nError);
    EXPECT_EQ(digest, r.GetProfileMD5String());
    EXPECT_EQ(0u, r.GetCount());
    EXPECT_NE(nullptr, r.m_pFile);
    // The error is never reset, not even by a later success.
    r.DeleteContents();
    EXPECT_EQ(1, r.Open((dir / "good.icc").wstring().c_str()));
    EXPECT_EQ(901, r.m_nError);
}

TEST(IccProfileLoad, AccessDeniedGives909AndOtherOpenFailuresKeepTheError) {
    TempDir dir;
    TestReader r;
    Bytes good = SmallProfile().Build();
    ASSERT_EQ(1, r.OpenBytes(good));
    // A file that does not exist: result 0, error unchanged, tags deleted.
    EXPECT_EQ(0, r.Open((dir / "missing.icc").wstring().c_str()));
    EXPECT_EQ(0, r.m_nError);
    EXPECT_EQ(0u, r.GetCount());
    EXPECT_EQ(0u, r.GetTagNodeCount());
    EXPECT_EQ(nullptr, r.m_pFile);
    // A folder cannot be opened as a file; the file layer reports it as access denied.
    EXPECT_EQ(0, r.Open(dir.path().wstring().c_str()));
    EXPECT_EQ(909, r.m_nError);
    // A file without read permission, where permissions apply (not for the superuser).
    if (::geteuid() != 0) {
        TestReader s;
        WriteFileBytes(dir / "locked.icc", good);
        ::chmod((dir / "locked.icc").c_str(), 0);
        EXPECT_EQ(0, s.Open((dir / "locked.icc").wstring().c_str()));
        EXPECT_EQ(909, s.m_nError);
    }
}

TEST(IccProfileRead, ProfileBuiltInMemoryAndNeverLoadedHasAnEmptyMD5String) {
    TestReader r;
    EXPECT_EQ(L"", r.GetProfileMD5String());
    uint32_t* block = r.AddTag(icSigMediaWhitePointTag, 20, 0);
    block[0] = icSigXYZType;
    r.UpdateTagTableAndHeader();
    EXPECT_EQ(L"", r.GetProfileMD5String());
    for (unsigned char c : std::vector<unsigned char>(r.GetDigest(), r.GetDigest() + 16))
        EXPECT_EQ(0, c);
}

TEST(IccProfileRead, FindTagDataFillsSigAndSizeButNotOffset) {
    Bytes file = SmallProfile().Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    icTag tag{0x11111111u, 0x22222222u, 0x33333333u};
    uint32_t* block = r.FindTagData(icSigRedTRCTag, &tag);
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(icSigRedTRCTag, tag.sig);
    EXPECT_EQ(20u, tag.size);
    EXPECT_EQ(0x22222222u, tag.offset);
    EXPECT_EQ(nullptr, r.FindTagData(Sig("none"), &tag));
    EXPECT_EQ(icSigRedTRCTag, tag.sig) << "untouched when not found";
    EXPECT_EQ(block, r.FindTagData(icSigRedTRCTag, nullptr));
}

TEST(IccProfileRead, GetTagDataBeyondTheNodesThrowsInvalidArgument) {
    Bytes file = SmallProfile().Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    EXPECT_NO_THROW(r.GetTagData(r.GetCount() - 1));
    EXPECT_THROW(r.GetTagData(r.GetCount()), CInvalidArgException);
    EXPECT_THROW(r.GetTagDataSize(1000), CInvalidArgException);
    EXPECT_THROW(r.RemoveTag(1000), CInvalidArgException);
    // A CException, so that framework-style handlers see it.
    try {
        r.GetTagData(5000);
        FAIL();
    } catch (const CException&) {
    }
}

TEST(IccProfileRead, MeasurementInfoMapsIlluminantAndObserver) {
    struct Row {
        uint32_t observer, illuminant;
        enmObserver eo;
        enmIluminant ei;
    };
    const Row rows[] = {{2, 2, Observer10Degree, IluminantD65},
                        {1, 1, Observer2Degree, IluminantD50},
                        {0, 3, Observer2Degree, IluminantD50},
                        {7, 0, Observer2Degree, IluminantD50}};
    for (const Row& row : rows) {
        Profile p;
        p.Add("meas", Be().head("meas").u32(row.observer).zeros(16).u32(0).u32(row.illuminant).b);
        Bytes file = p.Build();
        TestReader r;
        ASSERT_EQ(1, r.OpenBytes(file));
        enmIluminant ei = enmIluminant(77);
        enmObserver eo = enmObserver(77);
        ASSERT_TRUE(r.GetMeasurementInfo(ei, eo));
        EXPECT_EQ(row.ei, ei);
        EXPECT_EQ(row.eo, eo);
    }
    // Absent, or too short to hold the fields: false, nothing written.
    for (int variant = 0; variant < 2; ++variant) {
        Profile p;
        if (variant == 1)
            p.Add("meas", Be().head("meas").u32(2).b);
        else
            p.Add("wtpt", Be().head("XYZ ").u32(1).u32(2).u32(3).b);
        Bytes file = p.Build();
        TestReader r;
        ASSERT_EQ(1, r.OpenBytes(file));
        enmIluminant ei = enmIluminant(77);
        enmObserver eo = enmObserver(77);
        EXPECT_FALSE(r.GetMeasurementInfo(ei, eo));
        EXPECT_EQ(77, int(ei));
        EXPECT_EQ(77, int(eo));
    }
}

TEST(IccProfileRead, AllOffsetsDwordAligned) {
    TestReader empty;
    EXPECT_EQ(1, empty.bAllOffsetsDwordAligned());
    Profile p;
    p.Add("aaaa", Be().head("text").u8('x').b); // 9 bytes
    p.tags.push_back({"bbbb", Be().head("text").u8('y').b, 132 + 24 + 9, -1});
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    EXPECT_EQ(0, r.bAllOffsetsDwordAligned());
    r.UpdateTagTableAndHeader();
    EXPECT_EQ(1, r.bAllOffsetsDwordAligned());
    Bytes aligned = SmallProfile().Build();
    TestReader s;
    ASSERT_EQ(1, s.OpenBytes(aligned));
    EXPECT_EQ(1, s.bAllOffsetsDwordAligned());
}

TEST(IccProfileTable, UpdateTagTableAndHeaderLaysOutNodesOnFourByteBoundaries) {
    TestReader none;
    none.UpdateTagTableAndHeader();
    EXPECT_EQ(132u, none.Header().size);
    EXPECT_EQ(0u, none.GetCount());

    TestReader r;
    r.AddTag(Sig("aaaa"), 13, 999);
    r.m_Tags.push_back(std::make_unique<CIccProfileRead::CTagNode>(
        Sig("bbbb"), 20, 0, r.m_Tags[0]->pBuffer, r.m_Tags[0].get()));
    r.AddTag(Sig("cccc"), 7, 999);
    r.UpdateTagTableAndHeader();
    ASSERT_EQ(3u, r.GetCount());
    const uint32_t t = 132 + 36;
    EXPECT_EQ(t, r.Tag(0).offset);
    EXPECT_EQ(t, r.Tag(1).offset) << "a sharing node takes its owner's offset";
    EXPECT_EQ(t + 16, r.Tag(2).offset);
    EXPECT_EQ(13u, r.Tag(0).size);
    EXPECT_EQ(20u, r.Tag(1).size);
    EXPECT_EQ(Sig("cccc"), r.Tag(2).sig);
    EXPECT_EQ(t + 16 + 7, r.Header().size) << "ends right behind the last tag";
    EXPECT_EQ(0u, r.m_Tags[0]->offset);
    EXPECT_EQ(16u, r.m_Tags[2]->offset) << "node offsets count from behind the table";

    // Saved and loaded again: the same blocks, the same table. A table whose entries at one
    // offset differ in size does not load back, so the sharing node takes its owner's size.
    std::memcpy(r.GetTagData(0), "abcdefghijklm", 13);
    std::memcpy(r.GetTagData(2), "uvwxyz!", 7);
    r.MutableHeader().magic = icMagicNumber;
    Bytes uneven = r.SaveToMemory();
    TestReader refused;
    EXPECT_EQ(0, refused.OpenBytes(uneven));
    EXPECT_EQ(901, refused.m_nError);
    r.m_Tags[1]->size = 13;
    r.UpdateTagTableAndHeader();
    Bytes saved = r.SaveToMemory();
    EXPECT_EQ(r.Header().size, saved.size());
    TestReader back;
    ASSERT_EQ(1, back.OpenBytes(saved));
    ASSERT_EQ(3u, back.GetCount());
    EXPECT_EQ(back.GetTagData(0), back.GetTagData(1));
    EXPECT_EQ(0, std::memcmp(back.GetTagData(2), "uvwxyz!", 7));
    // The first 13 bytes hold an unknown type: only its signature is converted.
    EXPECT_EQ(0, std::memcmp(reinterpret_cast<uint8_t*>(back.GetTagData(0)) + 4, "efghijklm", 9));
}

TEST(IccProfileTable, RemoveTagMovesEntriesDownAndKeepsOffsets) {
    Bytes file = SmallProfile().Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    const unsigned count = r.GetCount();
    const icTag third = r.Tag(2);
    const uint32_t size = r.Header().size;
    r.RemoveTag(1);
    EXPECT_EQ(count - 1, r.GetCount());
    EXPECT_EQ(count - 1, r.GetTagNodeCount());
    EXPECT_EQ(third.sig, r.Tag(1).sig);
    EXPECT_EQ(third.offset, r.Tag(1).offset) << "offsets are not recomputed";
    EXPECT_EQ(size, r.Header().size);
    r.UpdateTagTableAndHeader();
    EXPECT_LT(r.Header().size, size);
    Bytes saved = r.SaveToMemory();
    TestReader back;
    ASSERT_EQ(1, back.OpenBytes(saved));
    EXPECT_EQ(count - 1, back.GetCount());
    EXPECT_EQ(third.sig, back.Tag(1).sig);
}

TEST(IccProfileTable, RemovingAnOwnerHandsItsBlockToTheFirstSharingNode) {
    Profile p;
    p.Add("wtpt", Be().head("XYZ ").u32(1).u32(2).u32(3).b);
    p.tags.push_back({"bkpt", {}, 132 + 36, 20});
    p.tags.push_back({"lumi", {}, 132 + 36, 20});
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    uint32_t* block = r.GetTagData(0);
    r.RemoveTag(0);
    ASSERT_EQ(2u, r.GetTagNodeCount());
    EXPECT_FALSE(r.m_Tags[0]->bIsRef());
    EXPECT_EQ(r.m_Tags[0].get(), r.m_Tags[1]->pRef);
    EXPECT_EQ(block, r.GetTagData(0));
    EXPECT_EQ(2, r.m_Tags[0]->nRefs());
    r.UpdateTagTableAndHeader();
    Bytes saved = r.SaveToMemory();
    TestReader back;
    ASSERT_EQ(1, back.OpenBytes(saved));
    EXPECT_EQ(2u, H32(back.GetTagData(1), 12));
    EXPECT_EQ(back.Tag(0).offset, back.Tag(1).offset);
}

TEST(IccProfileTable, DeleteContentsAndCloseKeepWhatTheyShould) {
    TempDir dir;
    Bytes file = SmallProfile().Build();
    WriteFileBytes(dir / "p.icc", file);
    TestReader r;
    ASSERT_EQ(1, r.Open((dir / "p.icc").wstring().c_str()));
    r.m_nError = 42;
    std::wstring digest = r.GetProfileMD5String();
    r.Close();
    EXPECT_EQ(nullptr, r.m_pFile);
    EXPECT_GT(r.GetCount(), 0u) << "tags stay after Close";
    r.DeleteContents();
    ASSERT_EQ(1, r.Open((dir / "p.icc").wstring().c_str()));
    const icHeader header = r.Header();
    r.DeleteContents();
    EXPECT_EQ(0u, r.GetCount());
    EXPECT_EQ(0u, r.GetTagNodeCount());
    EXPECT_EQ(0, std::memcmp(&header, &r.Header(), sizeof header));
    EXPECT_EQ(digest, r.GetProfileMD5String());
    EXPECT_EQ(42, r.m_nError);
    EXPECT_NE(nullptr, r.m_pFile);
}

TEST(IccProfileSave, UnknownTagTypeIsWrittenBackAsItCame) {
    Profile p;
    Be w;
    w.head("qqqq");
    for (int i = 0; i < 29; ++i) w.u8(uint8_t(0xF0 ^ i));
    p.Add("priv", w.b);
    p.Add("Tvr5", Be().head("zzzz").u32(0xCAFEBABE).b);
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    EXPECT_EQ(Sig("qqqq"), H32(r.GetTagData(0), 0));
    EXPECT_EQ(0xCA, reinterpret_cast<uint8_t*>(r.GetTagData(1))[8]);
    EXPECT_EQ(file, r.SaveToMemory());
}

TEST(IccProfileSave, SaveWithFewerNodesThanTableEntriesThrowsInvalidArgument) {
    Bytes file = SmallProfile().Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    r.m_Tags.pop_back();
    EXPECT_THROW(r.SaveToMemory(), CInvalidArgException);
    // The blocks that were written are back in host order.
    EXPECT_EQ(icSigTextDescriptionType, H32(r.GetTagData(0), 0));
}

namespace {

// A document whose Serialize fails after writing part of its data.
class FailingDoc : public CProtectedDocument {
public:
    FailingDoc() : CProtectedDocument(nullptr) {}
    bool fail = true;
    void Serialize(CArchive& ar) override {
        ar.Write("partial data", 12);
        if (fail) throw CArchiveException(CArchiveException::genericException);
        ar.Write(" and the rest", 13);
    }
};

size_t FilesIn(const fs::path& dir) {
    size_t n = 0;
    for ([[maybe_unused]] auto& e : fs::directory_iterator(dir)) ++n;
    return n;
}

} // namespace

TEST(IccProfileSave, OnSaveDocumentReplacesTheFileOnlyWhenEverythingIsWritten) {
    TempDir dir;
    fs::path target = dir / "doc.bin";
    WriteFileBytes(target, Bytes{'o', 'l', 'd'});
    FailingDoc doc;
    EXPECT_EQ(0, doc.OnSaveDocument(target.wstring().c_str()));
    EXPECT_EQ((Bytes{'o', 'l', 'd'}), ReadFileBytes(target)) << "old file intact";
    EXPECT_EQ(1u, FilesIn(dir.path())) << "no temporary file left";
    doc.fail = false;
    EXPECT_NE(0, doc.OnSaveDocument(target.wstring().c_str()));
    Bytes expect;
    for (char c : std::string("partial data and the rest")) expect.push_back(uint8_t(c));
    EXPECT_EQ(expect, ReadFileBytes(target));
    EXPECT_EQ(1u, FilesIn(dir.path()));
    // A folder that does not exist: failure, nothing created.
    EXPECT_EQ(0, doc.OnSaveDocument((dir / "no" / "such.bin").wstring().c_str()));
    EXPECT_EQ(1u, FilesIn(dir.path()));
}

TEST(IccProfileSave, ProfileSavedThroughOnSaveDocumentLoadsAgain) {
    TempDir dir;
    Bytes file = SmallProfile().Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    ASSERT_NE(0, r.OnSaveDocument((dir / "copy.icc").wstring().c_str()));
    EXPECT_EQ(file, ReadFileBytes(dir / "copy.icc"));
    TestReader back;
    ASSERT_EQ(1, back.Open((dir / "copy.icc").wstring().c_str()));
    EXPECT_EQ(r.GetProfileMD5String(), back.GetProfileMD5String());
}

TEST(IccProfileLoad, GetFileAnswersAnOpenFileOrTheCause) {
    TempDir dir;
    WriteFileBytes(dir / "x", Bytes{1, 2, 3});
    CProtectedDocument doc(nullptr);
    CFileException error;
    std::unique_ptr<CFile> f(doc.GetFile((dir / "x").wstring().c_str(), 32800, &error));
    ASSERT_NE(nullptr, f);
    EXPECT_EQ(3u, f->GetLength());
    std::unique_ptr<CFile> g(doc.GetFile((dir / "y").wstring().c_str(), 32800, &error));
    EXPECT_EQ(nullptr, g);
    EXPECT_EQ(CFileException::fileNotFound, error.m_cause);
}

TEST(IccProfileLoad, DigestNotAskedBeforeAFailedLoadIsStillThatOfTheEarlierLoad) {
    TempDir dir;
    Bytes good = SmallProfile().Build();
    Profile badP = SmallProfile();
    badP.sizeOverride = 500;
    Bytes bad = badP.Build();
    WriteFileBytes(dir / "good.icc", good);
    WriteFileBytes(dir / "bad.icc", bad);
    TestReader r;
    ASSERT_EQ(1, r.Open((dir / "good.icc").wstring().c_str()));
    r.DeleteContents();
    // The file changes on disk after the load: the digest is of the bytes that load read.
    WriteFileBytes(dir / "good.icc", bad);
    EXPECT_EQ(0, r.Open((dir / "bad.icc").wstring().c_str()));
    EXPECT_EQ(Md5Hex(good.data(), good.size()), r.GetProfileMD5String());
}

TEST(IccProfileLoad, DigestIsOfTheLoadNotOfTagsChangedAfterIt) {
    Bytes file = SmallProfile().Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    const Bytes before = file;
    // Every block changed in memory, and the caller's bytes overwritten, before the digest is
    // first asked for.
    for (unsigned i = 0; i < r.GetTagNodeCount(); ++i) {
        auto* p = reinterpret_cast<uint8_t*>(r.GetTagData(i));
        if (p && r.GetTagDataSize(i) > 8) p[8] ^= 0xFF;
    }
    std::fill(file.begin(), file.end(), uint8_t(0));
    EXPECT_EQ(Md5Hex(before.data(), before.size()), r.GetProfileMD5String());
    const unsigned char* digest = r.GetDigest();
    EXPECT_EQ(r.GetProfileMD5String(), MD5DigestToString(digest));
}

TEST(IccProfileLoad, MalformedTagFailsTheLoadThoughNobodyReadsIt) {
    // Each profile holds one good tag and one whose counts reach beyond its block; the load
    // fails with 901 before any tag is asked for, as a conversion at load would have it.
    std::vector<Bytes> badTags = {
        Be().head("curv").u32(1000).u16(1).b,
        Be().head("mft2").u8(1).u8(1).u8(2).u8(0).zeros(36).u16(0xFFFF).u16(2).b,
        Be().head("bfd ").u32(1).u16(1).u32(0xFFFFFFFF).u16(2).b,
    };
    for (size_t i = 0; i < badTags.size(); ++i) {
        Profile p;
        p.Add("wtpt", Be().head("XYZ ").u32(1).u32(2).u32(3).b);
        p.Add("A2B0", badTags[i]);
        Bytes file = p.Build();
        TestReader r;
        EXPECT_EQ(0, r.OpenBytes(file)) << "case " << i;
        EXPECT_EQ(901, r.m_nError) << "case " << i;
        EXPECT_EQ(0u, r.GetTagNodeCount()) << "case " << i;
    }
    // Elements of an mAB  over one another: the conversion reads bytes it has converted
    // itself. The load answers as a conversion of the block would, either way.
    for (uint8_t points : {uint8_t(255), uint8_t(1)}) {
        LutAB lut;
        lut.in = lut.out = 1;
        lut.A = Curv({1, 2});
        lut.clut = Clut({points}, 2, {1, 2});
        lut.Build();
        lut.offsetsOverride = {0, 0, 0, lut.offsets[3], lut.offsets[3]};
        Bytes block = lut.Build();
        std::unique_ptr<uint32_t[]> w(new uint32_t[block.size() / 4 + 1]);
        std::memcpy(w.get(), block.data(), block.size());
        const bool fits = SwapTagDataChecked(w.get(), uint32_t(block.size()), 1);
        Profile p;
        p.Add("A2B0", block);
        Bytes file = p.Build();
        TestReader r;
        EXPECT_EQ(fits ? 1 : 0, r.OpenBytes(file)) << int(points);
    }
}

TEST(IccProfileRead, BlockReadOnFirstAccessEqualsTheFileBlockConverted) {
    Profile p = SmallProfile();
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    for (unsigned i = 0; i < r.GetCount(); ++i) {
        const icTag& e = r.Tag(i);
        std::unique_ptr<uint32_t[]> w(new uint32_t[(e.size + 3) / 4 + 2]());
        std::memcpy(w.get(), file.data() + e.offset, e.size);
        ASSERT_TRUE(SwapTagDataChecked(w.get(), e.size, 1));
        ASSERT_GE(r.GetTagDataSize(i), e.size);
        EXPECT_EQ(0, std::memcmp(w.get(), r.GetTagData(i), e.size)) << "tag " << i;
        // Asked again, the same block, converted once only.
        EXPECT_EQ(r.GetTagData(i), r.GetTagData(i));
        EXPECT_EQ(0, std::memcmp(w.get(), r.GetTagData(i), e.size)) << "tag " << i;
    }
}

TEST(IccProfileRead, ShortLoadedBlockReadsZerosBehindItsData) {
    Profile p;
    p.Add("Tvr5", Bytes{'a', 'b', 'c', 'd', 'e'});
    Bytes file = p.Build();
    file.push_back(0xEE); // bytes behind the tag in the file are not part of it
    file.push_back(0xEE);
    file.push_back(0xEE);
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    const auto* b = reinterpret_cast<const uint8_t*>(r.GetTagData(0));
    EXPECT_EQ(5u, r.GetTagDataSize(0));
    EXPECT_EQ(0, b[5]);
    EXPECT_EQ(0, b[6]);
    EXPECT_EQ(0, b[7]);
}

TEST(IccProfileRead, LutChannelsAreReadWithoutTheTableAndAsTheConvertedBlockHoldsThem) {
    Profile p;
    p.Add("B2A0", Be().head("mft2")
                      .u8(3)
                      .u8(6)
                      .u8(2)
                      .u8(0)
                      .zeros(36)
                      .u16(2)
                      .u16(2)
                      .zeros(2 * (3 * 2 + 6 * 8 + 6 * 2))
                      .b);
    p.Add("A2B0",
          Be().head("mft1").u8(4).u8(3).u8(2).u8(0).zeros(36 + 4 * 256 + 3 * 16 + 3 * 256).b);
    p.Add("wtpt", Be().head("XYZ ").u32(1).u32(2).u32(3).b);
    Bytes file = p.Build();
    TestReader r;
    ASSERT_EQ(1, r.OpenBytes(file));
    unsigned in = 0, out = 0;
    ASSERT_TRUE(r.GetLutChannels(0, &in, &out));
    EXPECT_EQ(3u, in);
    EXPECT_EQ(6u, out);
    ASSERT_TRUE(r.GetLutChannels(1, &in, &out));
    EXPECT_EQ(4u, in);
    EXPECT_EQ(3u, out);
    EXPECT_FALSE(r.GetLutChannels(2, &in, &out)) << "not a table";
    // The same after the blocks are converted.
    const auto* b = reinterpret_cast<const uint8_t*>(r.GetTagData(0));
    EXPECT_EQ(6, b[9]);
    ASSERT_TRUE(r.GetLutChannels(0, &in, &out));
    EXPECT_EQ(6u, out);
    EXPECT_THROW(r.GetLutChannels(3, &in, &out), CInvalidArgException);
    // A block made in memory is read as it stands.
    TestReader m;
    auto* block = reinterpret_cast<uint8_t*>(m.AddTag(Sig("B2A1"), 12, 0));
    const uint32_t type = icSigLut8Type;
    std::memcpy(block, &type, 4);
    block[8] = 3;
    block[9] = 7;
    ASSERT_TRUE(m.GetLutChannels(0, &in, &out));
    EXPECT_EQ(7u, out);
    auto* cut = reinterpret_cast<uint8_t*>(m.AddTag(Sig("B2A2"), 9, 0));
    std::memcpy(cut, &type, 4);
    EXPECT_FALSE(m.GetLutChannels(1, &in, &out)) << "shorter than 10 bytes";
}

TEST(IccProfileRead, BlocksAndDigestAskedOnSeveralThreadsAtOnceAreTheSame) {
    Profile p = SmallProfile();
    Bytes file = p.Build();
    TestReader eager;
    ASSERT_EQ(1, eager.OpenBytes(file));
    std::vector<Bytes> expected;
    for (unsigned i = 0; i < eager.GetTagNodeCount(); ++i) {
        auto* b = reinterpret_cast<const uint8_t*>(eager.GetTagData(i));
        expected.emplace_back(b, b + eager.GetTagDataSize(i));
    }
    for (int round = 0; round < 20; ++round) {
        TestReader r;
        ASSERT_EQ(1, r.OpenBytes(file));
        std::vector<std::vector<Bytes>> seen(4);
        std::vector<std::wstring> digests(4);
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                for (unsigned k = 0; k < r.GetTagNodeCount(); ++k) {
                    // Each thread walks the tags in another order.
                    const unsigned i = (k + unsigned(t)) % r.GetTagNodeCount();
                    auto* b = reinterpret_cast<const uint8_t*>(r.GetTagData(i));
                    seen[t].emplace_back(b, b + r.GetTagDataSize(i));
                    if (k == 1) digests[t] = r.GetProfileMD5String();
                }
            });
        for (auto& th : threads) th.join();
        for (int t = 0; t < 4; ++t) {
            EXPECT_EQ(Md5Hex(file.data(), file.size()), digests[t]);
            for (unsigned k = 0; k < seen[t].size(); ++k)
                EXPECT_EQ(expected[(k + unsigned(t)) % expected.size()], seen[t][k]);
        }
    }
}
