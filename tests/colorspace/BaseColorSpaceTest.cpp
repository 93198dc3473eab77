// The base colour space: kinds and counts, the channel array, loading and checking a profile
// against the declared channels, the lazy record, and the process-wide profile cache.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "colorspace/BaseColorSpace.h"
#include "colorspace/ColorSpaceTestUtil.h"
#include "support/TestData.h"

using namespace cstest;
namespace fs = std::filesystem;

namespace {

// Profiles of each device kind a test needs, written once per test into its folder.
struct Profiles {
    TempDir dir{"kvr-cs"};
    std::wstring Write(const std::string& name, uint32_t space, unsigned b2aOutputs = 0,
                       const char* tvr3 = nullptr) {
        Gen gen(icSigOutputClass, space, icSigLabData);
        if (b2aOutputs) gen.Table(icSigBToA0Tag, b2aOutputs);
        if (tvr3) gen.AddTextTag(icTagSignature(icSigTvr3Tag), tvr3);
        return gen.Save(dir, name);
    }
    std::wstring Rgb() { return Write("rgb.icc", icSigRgbData); }
    std::wstring Cmyk() { return Write("cmyk.icc", icSigCmykData); }
    std::wstring NColor(unsigned n) {
        return Write(std::to_string(n) + "clr.icc", icSigCmykData, n);
    }
    std::wstring FourClr() { return Write("4clr.icc", icSig4colorData); }
};

} // namespace

TEST(BaseColorSpace, NewSpaceIsOpenWithNoChannelsAndAnEmptyRecord) {
    CBaseColorSpace cs;
    EXPECT_EQ(IBaseColorSpace::ecsSepar, cs.GetColorSpaceType());
    EXPECT_EQ(0, cs.GetCountChannels());
    EXPECT_EQ(L"", cs.GetIccFileName());
    EXPECT_EQ(IntentDefault, cs.RenderingIntent());
    EXPECT_EQ(0, cs.Error());
    EXPECT_EQ(L"", cs.pIccProfile()->FileName());
}

TEST(BaseColorSpace, ChannelInfoDefaults) {
    SPrintChannelInfo c;
    EXPECT_EQ(DpcUnset, c.eDevPrimCol);
    EXPECT_EQ(L"", c.sChannelName);
    EXPECT_EQ(100.0, c.dChannelParm1);
    EXPECT_EQ(0.0, c.dChannelParm2);
    EXPECT_EQ(0.0, c.dChannelParm3);
    EXPECT_EQ(0xFFFFFFu, c.nChannelColor);
    c.sChannelName = L"Orange";
    c.eDevPrimCol = enmDevicePrimColor(40);
    SPrintChannelInfo copy = c;
    EXPECT_EQ(L"Orange", copy.sChannelName);
    EXPECT_EQ(40, copy.eDevPrimCol);
}

TEST(BaseColorSpace, KindsSetTypeAndBothCounts) {
    CBaseColorSpace cs;
    cs.SetGray();
    EXPECT_EQ(IBaseColorSpace::ecsGray, cs.GetColorSpaceType());
    EXPECT_EQ(1, cs.GetCountChannels());
    cs.SetGray(0);
    EXPECT_EQ(1, cs.GetCountChannels());
    cs.SetGray(5);
    EXPECT_EQ(5, cs.GetCountChannels());
    EXPECT_EQ(4, cs.GetCountNotColorManagedChannels());
    cs.SetLab(1);
    EXPECT_EQ(IBaseColorSpace::ecsLab, cs.GetColorSpaceType());
    EXPECT_EQ(3, cs.GetCountChannels());
    EXPECT_EQ(0, cs.GetCountNotColorManagedChannels());
    cs.SetRgb(5);
    EXPECT_EQ(IBaseColorSpace::ecsRgb, cs.GetColorSpaceType());
    EXPECT_EQ(5, cs.GetCountChannels());
    EXPECT_EQ(2, cs.GetCountNotColorManagedChannels());
    cs.SetSepar(3);
    EXPECT_EQ(IBaseColorSpace::ecsSepar, cs.GetColorSpaceType());
    EXPECT_EQ(3, cs.GetCountChannels());
    EXPECT_EQ(3, cs.GetCountNotColorManagedChannels());
    cs.SetCmykPlus(7);
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, cs.GetColorSpaceType());
    EXPECT_EQ(7, cs.GetCountChannels());
    EXPECT_EQ(0, cs.GetCountNotColorManagedChannels());
}

TEST(BaseColorSpace, CmykPlusOfTwoGivesFourChannels) {
    for (int n : {1, 2, 3}) {
        CBaseColorSpace cs;
        cs.SetCmykPlus(n);
        EXPECT_EQ(4, cs.GetCountChannels()) << n;
        EXPECT_EQ(0, cs.GetCountNotColorManagedChannels()) << n;
    }
}

TEST(BaseColorSpace, GrowingACountKeepsTheChannelsSetSoFar) {
    CBaseColorSpace cs;
    cs.SetCmykPlus(4);
    for (int i = 0; i < 4; ++i) cs.SetDevPrimCol(i, enmDevicePrimColor(i + 1));
    cs.SetCountNotColorManagedChannels(2);
    ASSERT_EQ(6, cs.GetCountChannels());
    for (int i = 0; i < 4; ++i) EXPECT_EQ(i + 1, cs.GetDevPrimCol(i));
    EXPECT_EQ(DpcUnset, cs.GetDevPrimCol(4));
    EXPECT_EQ(DpcUnset, cs.GetDevPrimCol(5));
    cs.SetDpc(5, DpcBlack);
    cs.SetCountNotColorManagedChannels(1);
    ASSERT_EQ(5, cs.GetCountChannels());
    EXPECT_EQ(4, cs.GetDevPrimCol(3));
}

TEST(BaseColorSpace, SignatureOfEachTypeAndTypeOfEachSignature) {
    CBaseColorSpace cs;
    EXPECT_EQ(MakeIccSignature("XCLR"), cs.GetDeviceColorSpaceSignature());
    const std::pair<uint32_t, IBaseColorSpace::enmColorSpaceType> table[] = {
        {icSigCmykData, IBaseColorSpace::ecsCmyk},
        {icSigGrayData, IBaseColorSpace::ecsGray},
        {icSigLabData, IBaseColorSpace::ecsLab},
        {icSigRgbData, IBaseColorSpace::ecsRgb},
        {MakeIccSignature("XCLR"), IBaseColorSpace::ecsSepar}};
    for (const auto& [sig, type] : table) {
        cs.SetColorSpaceTypeFromDeviceColorSpaceSignature(sig);
        EXPECT_EQ(type, cs.GetColorSpaceType());
        EXPECT_EQ(sig, cs.GetDeviceColorSpaceSignature());
    }
    cs.SetColorSpaceTypeFromDeviceColorSpaceSignature(icSigRgbData);
    cs.SetColorSpaceTypeFromDeviceColorSpaceSignature(icSig6colorData); // not a kind: no change
    EXPECT_EQ(IBaseColorSpace::ecsRgb, cs.GetColorSpaceType());
}

TEST(BaseColorSpace, EmptyPathOrPathEndingInSeparatorAnswersOneAndKeepsTheError) {
    Profiles p;
    CBaseColorSpace cs;
    cs.SetRgb(3);
    const std::wstring cmyk = p.Cmyk();
    EXPECT_EQ(0, cs.LoadIccFile(cmyk.c_str(), nullptr));
    ASSERT_EQ(ICC_ERR_CHANNEL_MISMATCH, cs.Error());
    cs.SetIccFileName(L"/some/where.icc");
    for (const wchar_t* path : {L"", L"/tmp/profiles/", static_cast<const wchar_t*>(nullptr)}) {
        EXPECT_EQ(1, cs.LoadIccFile(path, nullptr));
        EXPECT_EQ(L"", cs.GetIccFileName());
        EXPECT_EQ(ICC_ERR_CHANNEL_MISMATCH, cs.Error());
        EXPECT_EQ(IBaseColorSpace::ecsRgb, cs.GetColorSpaceType());
    }
}

TEST(BaseColorSpace, CmykPlusZeroTakesItsCountFromTheFirstProfile) {
    Profiles p;
    CBaseColorSpace cs;
    cs.SetCmykPlus(0);
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, cs.GetColorSpaceType());
    EXPECT_EQ(0, cs.GetCountChannels());
    const std::wstring seven = p.NColor(7);
    ASSERT_EQ(1, cs.LoadIccFile(seven.c_str(), nullptr));
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, cs.GetColorSpaceType());
    EXPECT_EQ(7, cs.GetCountChannels());
    EXPECT_EQ(0, cs.GetCountNotColorManagedChannels());
    EXPECT_EQ(seven, cs.GetIccFileName());
}

TEST(BaseColorSpace, CmykSpaceWithTwoBypassedChannelsAcceptsCmykAndRejectsFiveColours) {
    Profiles p;
    const std::wstring cmyk = p.Cmyk(), five = p.NColor(5);
    CBaseColorSpace cs;
    cs.SetCmykPlus(4);
    cs.SetCountNotColorManagedChannels(2);
    ASSERT_EQ(6, cs.GetCountChannels());
    EXPECT_EQ(1, cs.LoadIccFile(cmyk.c_str(), nullptr));
    EXPECT_EQ(0, cs.Error());
    EXPECT_EQ(0, cs.LoadIccFile(five.c_str(), nullptr));
    EXPECT_EQ(ICC_ERR_CHANNEL_MISMATCH, cs.Error());
    EXPECT_EQ(L"", cs.GetIccFileName());

    CBaseColorSpace one;
    one.SetCmykPlus(5);
    one.SetCountNotColorManagedChannels(1);
    ASSERT_EQ(6, one.GetCountChannels());
    EXPECT_EQ(1, one.LoadIccFile(five.c_str(), nullptr));
    EXPECT_EQ(0, one.Error());
}

TEST(BaseColorSpace, ProfileWithFewerChannelsThanTheSpaceIsAccepted) {
    Profiles p;
    const std::wstring cmyk = p.Cmyk();
    CBaseColorSpace cs;
    cs.SetCmykPlus(6);
    EXPECT_EQ(1, cs.LoadIccFile(cmyk.c_str(), nullptr));
    EXPECT_EQ(6, cs.GetCountChannels());
}

TEST(BaseColorSpace, OpenSpaceBecomesRgbAndKeepsItWhenTheNextLoadFails) {
    Profiles p;
    const std::wstring rgb = p.Rgb(), cmyk = p.Cmyk();
    CBaseColorSpace cs;
    ASSERT_EQ(1, cs.LoadIccFile(rgb.c_str(), nullptr));
    EXPECT_EQ(IBaseColorSpace::ecsRgb, cs.GetColorSpaceType());
    EXPECT_EQ(3, cs.GetCountChannels());
    EXPECT_EQ(0, cs.LoadIccFile(cmyk.c_str(), nullptr));
    EXPECT_EQ(ICC_ERR_CHANNEL_MISMATCH, cs.Error());
    EXPECT_EQ(IBaseColorSpace::ecsRgb, cs.GetColorSpaceType());
    // The record keeps what was read, the file name is gone.
    EXPECT_EQ(L"", cs.GetIccFileName());
    EXPECT_EQ(icSigCmykData, cs.pIccProfile()->DeviceColorSpaceSignature());
    const std::wstring missing = (p.dir / "missing.icc").wstring();
    EXPECT_EQ(0, cs.LoadIccFile(missing.c_str(), nullptr));
    EXPECT_EQ(IBaseColorSpace::ecsRgb, cs.GetColorSpaceType());
}

TEST(BaseColorSpace, CmykSpaceRejectsFourClrProfile) {
    Profiles p;
    const std::wstring four = p.FourClr();
    CBaseColorSpace cs;
    cs.SetCmykPlus(4);
    EXPECT_EQ(0, cs.LoadIccFile(four.c_str(), nullptr));
    EXPECT_EQ(ICC_ERR_CHANNEL_MISMATCH, cs.Error());
    // Only an open space takes it, and stays open.
    CBaseColorSpace open;
    EXPECT_EQ(1, open.LoadIccFile(four.c_str(), nullptr));
    EXPECT_EQ(IBaseColorSpace::ecsSepar, open.GetColorSpaceType());
    EXPECT_EQ(4, open.GetCountChannels());
}

TEST(BaseColorSpace, OpenSpaceTakesEachKindOfProfile) {
    Profiles p;
    const std::pair<uint32_t, IBaseColorSpace::enmColorSpaceType> table[] = {
        {icSigLabData, IBaseColorSpace::ecsLab},   {icSigGrayData, IBaseColorSpace::ecsGray},
        {icSigCmykData, IBaseColorSpace::ecsCmyk}, {icSigRgbData, IBaseColorSpace::ecsRgb},
        {icSigCmyData, IBaseColorSpace::ecsSepar}, {icSig2colorData, IBaseColorSpace::ecsSepar}};
    int i = 0;
    for (const auto& [sig, type] : table) {
        const std::wstring path = p.Write("k" + std::to_string(i++) + ".icc", sig);
        CBaseColorSpace cs;
        EXPECT_EQ(1, cs.LoadIccFile(path.c_str(), nullptr));
        EXPECT_EQ(type, cs.GetColorSpaceType());
        EXPECT_EQ(int(GetChannelCountOfSignature(sig)), cs.GetCountChannels());
    }
}

TEST(BaseColorSpace, UnreadableFileGivesTheLoadErrorAndAnEmptyFileName) {
    Profiles p;
    const std::wstring missing = (p.dir / "missing.icc").wstring();
    CBaseColorSpace cs;
    EXPECT_EQ(0, cs.LoadIccFile(missing.c_str(), nullptr));
    EXPECT_EQ(ICC_ERR_LOAD_FAILED, cs.Error());
    EXPECT_EQ(L"", cs.GetIccFileName());
}

TEST(BaseColorSpace, SetIccFileNameThenRecordLoadsLazily) {
    Profiles p;
    const std::wstring cmyk = p.Cmyk();
    CBaseColorSpace cs;
    cs.SetRgb(3);
    cs.SetIccFileName(cmyk.c_str()); // no check: the record is loaded as it is
    EXPECT_EQ(cmyk, cs.GetIccFileName());
    EXPECT_EQ(icSigCmykData, cs.pIccProfile()->DeviceColorSpaceSignature());
    EXPECT_EQ(cmyk, cs.pIccProfile()->FileName());
    EXPECT_EQ(IBaseColorSpace::ecsRgb, cs.GetColorSpaceType());
}

TEST(BaseColorSpace, CopyGivesTheCopyARecordOfItsOwn) {
    Profiles p;
    const std::wstring cmyk = p.Cmyk(), rgb = p.Rgb();
    CBaseColorSpace a;
    a.SetCmykPlus(4);
    a.SetDevPrimCol(2, DpcMagenta);
    a.SetRenderingIntent(IntentSaturation);
    ASSERT_EQ(1, a.LoadIccFile(cmyk.c_str(), nullptr));
    CBaseColorSpace b;
    b.Copy(&a);
    EXPECT_NE(a.pIccProfile(), b.pIccProfile());
    EXPECT_EQ(IBaseColorSpace::ecsCmyk, b.GetColorSpaceType());
    EXPECT_EQ(4, b.GetCountChannels());
    EXPECT_EQ(DpcMagenta, b.GetDevPrimCol(2));
    EXPECT_EQ(IntentSaturation, b.RenderingIntent());
    EXPECT_EQ(cmyk, b.GetIccFileName());
    EXPECT_EQ(a.pIccProfile()->GetProfileMD5String(), b.pIccProfile()->GetProfileMD5String());
    // Changing one leaves the other.
    CBaseColorSpace open;
    ASSERT_EQ(1, open.LoadIccFile(rgb.c_str(), nullptr));
    a.Copy(&open);
    EXPECT_EQ(icSigCmykData, b.pIccProfile()->DeviceColorSpaceSignature());
}

TEST(BaseColorSpace, SameUnchangedFileIsReadOnceAndAgainAfterItChanges) {
    Profiles p;
    const std::wstring path = p.Write("cached.icc", icSigCmykData, 0, "first");
    CBaseColorSpace::EmptyProfileCache();
    const auto before = CBaseColorSpace::ProfileCacheStats();
    CBaseColorSpace a, b;
    ASSERT_EQ(1, a.LoadIccFile(path.c_str(), nullptr));
    ASSERT_EQ(1, b.LoadIccFile(path.c_str(), nullptr));
    auto now = CBaseColorSpace::ProfileCacheStats();
    EXPECT_EQ(before.loads + 1, now.loads);
    EXPECT_EQ(before.hits + 1, now.hits);
    EXPECT_EQ(1u, now.entries);
    EXPECT_EQ(L"first", b.pIccProfile()->Description());

    // New content, and a modification time that differs for sure.
    p.Write("cached.icc", icSigCmykData, 0, "second");
    const fs::path file(path);
    fs::last_write_time(file, fs::last_write_time(file) + std::chrono::seconds(5));
    CBaseColorSpace c;
    ASSERT_EQ(1, c.LoadIccFile(path.c_str(), nullptr));
    EXPECT_EQ(L"second", c.pIccProfile()->Description());
    const auto after = CBaseColorSpace::ProfileCacheStats();
    EXPECT_EQ(now.loads + 1, after.loads);
    EXPECT_EQ(1u, after.entries);
    CBaseColorSpace d;
    ASSERT_EQ(1, d.LoadIccFile(path.c_str(), nullptr));
    EXPECT_EQ(L"second", d.pIccProfile()->Description());
    EXPECT_EQ(after.loads, CBaseColorSpace::ProfileCacheStats().loads);
}

TEST(BaseColorSpace, PathsCompareExactlyInTheCache) {
    Profiles p;
    const std::wstring path = p.Cmyk();
    const std::wstring dotted = (p.dir / "." / "cmyk.icc").wstring();
    CBaseColorSpace::EmptyProfileCache();
    CBaseColorSpace a, b;
    ASSERT_EQ(1, a.LoadIccFile(path.c_str(), nullptr));
    ASSERT_EQ(1, b.LoadIccFile(dotted.c_str(), nullptr));
    EXPECT_EQ(2u, CBaseColorSpace::ProfileCacheStats().entries);
}

TEST(BaseColorSpace, TwentyFirstDistinctPathEmptiesTheCache) {
    Profiles p;
    std::vector<std::wstring> paths;
    for (int i = 0; i < 21; ++i)
        paths.push_back(p.Write("p" + std::to_string(i) + ".icc", icSigCmykData));
    CBaseColorSpace::EmptyProfileCache();
    for (int i = 0; i < 20; ++i) {
        CBaseColorSpace cs;
        ASSERT_EQ(1, cs.LoadIccFile(paths[size_t(i)].c_str(), nullptr));
    }
    EXPECT_EQ(20u, CBaseColorSpace::ProfileCacheStats().entries);
    // A path already held at the limit is a hit and changes nothing.
    CBaseColorSpace again;
    ASSERT_EQ(1, again.LoadIccFile(paths[3].c_str(), nullptr));
    EXPECT_EQ(20u, CBaseColorSpace::ProfileCacheStats().entries);
    CBaseColorSpace last;
    ASSERT_EQ(1, last.LoadIccFile(paths[20].c_str(), nullptr));
    EXPECT_EQ(1u, CBaseColorSpace::ProfileCacheStats().entries);
}

TEST(BaseColorSpace, RejectedProfileHasEnteredTheCache) {
    Profiles p;
    const std::wstring cmyk = p.Cmyk();
    CBaseColorSpace::EmptyProfileCache();
    CBaseColorSpace rgb;
    rgb.SetRgb(3);
    EXPECT_EQ(0, rgb.LoadIccFile(cmyk.c_str(), nullptr));
    EXPECT_EQ(1u, CBaseColorSpace::ProfileCacheStats().entries);
    const auto loads = CBaseColorSpace::ProfileCacheStats().loads;
    CBaseColorSpace cs;
    EXPECT_EQ(1, cs.LoadIccFile(cmyk.c_str(), nullptr));
    EXPECT_EQ(loads, CBaseColorSpace::ProfileCacheStats().loads);
}

TEST(BaseColorSpace, RecordFromTheCacheLacksTheColorantTableAsTheCachedOneDoes) {
    // A loaded record never has channel names from an ordinary clrt (see the record's tests);
    // what is checked here is that a cached delivery equals a fresh load but for them.
    Profiles p;
    const std::wstring path = p.NColor(6);
    CBaseColorSpace::EmptyProfileCache();
    CBaseColorSpace a, b;
    ASSERT_EQ(1, a.LoadIccFile(path.c_str(), nullptr));
    ASSERT_EQ(1, b.LoadIccFile(path.c_str(), nullptr));
    EXPECT_EQ(icSig6colorData, b.pIccProfile()->DeviceColorSpaceSignature());
    EXPECT_TRUE(b.pIccProfile()->ChannelNames().empty());
    EXPECT_EQ(a.pIccProfile()->GetProfileMD5String(), b.pIccProfile()->GetProfileMD5String());
    EXPECT_EQ(a.pIccProfile()->TarvelinVersion(), b.pIccProfile()->TarvelinVersion());
}
