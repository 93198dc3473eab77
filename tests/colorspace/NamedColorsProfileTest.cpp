// The named-colour dictionary: loading, lookup with prefix and suffix, channel changes, names,
// copies.
#include "colorspace/NamedColorsProfile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "NamedColorsTestUtil.h"
#include "colorspace/NamedColorsTag.h"
#include "support/TestData.h"

using namespace namedtest;

namespace {

class NamedColorsProfileTest : public ::testing::Test {
protected:
    // A dictionary loaded from a generated profile; fails the test when it does not load.
    void Load(CNamedColorsProfile& dict, const GenSpec& profile,
              const std::string& file = "n.icc") {
        ASSERT_EQ(dict.LoadFromProfile(WriteGenProfile(dir, file, profile).c_str(), &usm), 1);
    }

    static std::vector<uint16_t> Values(const unsigned short* pixel, int n) {
        return std::vector<uint16_t>(pixel, pixel + n);
    }
    static std::vector<std::wstring> NamesOfDict(const CNamedColorsProfile& d) {
        return {d.Names().begin(), d.Names().end()};
    }
    static std::vector<uint16_t> PixelOf(const Colour& c) {
        std::vector<uint16_t> v = c.pcs;
        v.insert(v.end(), c.device.begin(), c.device.end());
        return v;
    }

    kvrtest::TempDir dir{"kvr-named"};
    CUserSettingsMgr usm;
};

Colour Make(const std::wstring& name, std::vector<uint16_t> device) {
    return {name, {100, 200, 300}, std::move(device)};
}

TEST_F(NamedColorsProfileTest, PrefixAndSuffixAreMatchedWithoutRegardToCase) {
    GenSpec s;
    s.prefix = L"Spot-";
    s.suffix = L"-C";
    s.colours = {Make(L"100", {1, 2, 3, 4})};
    CNamedColorsProfile dict;
    Load(dict, s);
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"spot-100-c", pixel), 1);
    EXPECT_EQ(Values(pixel, 7), (std::vector<uint16_t>{100, 200, 300, 1, 2, 3, 4}));
    EXPECT_EQ(dict.LookupColorName(L"SPOT-100-C", pixel), 1);
    EXPECT_EQ(dict.LookupColorName(L"Spot-100-C", pixel), 1);
}

TEST_F(NamedColorsProfileTest, BareNameWithoutPrefixAndSuffixIsNotFound) {
    GenSpec s;
    s.prefix = L"Spot-";
    s.suffix = L"-C";
    s.colours = {Make(L"100", {1, 2, 3, 4})};
    CNamedColorsProfile dict;
    Load(dict, s);
    unsigned short* pixel = nullptr;
    EXPECT_EQ(dict.LookupColorName(L"100", pixel), 0);
    EXPECT_EQ(dict.LookupColorName(L"Spot-100", pixel), 0);
    EXPECT_EQ(dict.LookupColorName(L"100-C", pixel), 0);
    EXPECT_EQ(pixel, nullptr) << "a failed lookup leaves the pixel alone";
}

TEST_F(NamedColorsProfileTest, NameShorterThanThePrefixIsNotFound) {
    GenSpec s;
    s.prefix = L"Spot-";
    s.colours = {Make(L"", {1, 2, 3, 4}), Make(L"S", {5, 6, 7, 8})};
    CNamedColorsProfile dict;
    Load(dict, s);
    unsigned short* pixel = nullptr;
    EXPECT_EQ(dict.LookupColorName(L"Spo", pixel), 0);
    EXPECT_EQ(dict.LookupColorName(L"", pixel), 0);
    EXPECT_EQ(dict.LookupColorName(L"S", pixel), 0);
    EXPECT_EQ(pixel, nullptr);
    // The prefix alone leaves the empty name, which the tag holds.
    EXPECT_EQ(dict.LookupColorName(L"spot-", pixel), 1);
}

TEST_F(NamedColorsProfileTest, NameShorterThanPrefixAndSuffixTogetherIsNotFound) {
    GenSpec s;
    s.prefix = L"AB";
    s.suffix = L"BC";
    s.colours = {Make(L"X", {1, 2, 3, 4})};
    CNamedColorsProfile dict;
    Load(dict, s);
    unsigned short* pixel = nullptr;
    EXPECT_EQ(dict.LookupColorName(L"ABC", pixel), 0) << "prefix and suffix may not overlap";
    EXPECT_EQ(dict.LookupColorName(L"ABXBC", pixel), 1);
}

TEST_F(NamedColorsProfileTest, EmptyPrefixAndSuffixLookUpTheNameAsItStands) {
    GenSpec s;
    s.colours = {Make(L"PANTONE 185 C", {0, 65535, 60000, 0})};
    CNamedColorsProfile dict;
    Load(dict, s);
    unsigned short* pixel = nullptr;
    EXPECT_EQ(dict.LookupColorName(L"pantone 185 c", pixel), 1);
    EXPECT_EQ(dict.LookupColorName(L" PANTONE 185 C", pixel), 0) << "no trimming";
    EXPECT_EQ(dict.LookupColorName(L"PANTONE 185", pixel), 0) << "no nearest match";
    EXPECT_EQ(dict.LookupColorName(nullptr, pixel), 0);
}

TEST_F(NamedColorsProfileTest, NamesDifferingOnlyInCaseKeepTheFirstPixel) {
    GenSpec s;
    s.colours = {Make(L"Red", {1, 1, 1, 1}), Make(L"RED", {2, 2, 2, 2}),
                 Make(L"Blue", {3, 3, 3, 3})};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.GetCount(), 2);
    EXPECT_EQ(dict.Names().front(), L"Red") << "the spelling first seen";
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"red", pixel), 1);
    EXPECT_EQ(pixel[3], 1);
}

TEST_F(NamedColorsProfileTest, ProfileWithoutNamedColorTagGivesZero) {
    GenSpec s;
    s.ncl2 = false;
    s.space = icSigRgbData;
    CNamedColorsProfile dict;
    EXPECT_EQ(dict.LoadFromProfile(WriteGenProfile(dir, "none.icc", s).c_str(), &usm), 0);
    EXPECT_TRUE(dict.IsEmpty());
    EXPECT_EQ(dict.nPrimCols(), 3) << "n of the header's colour space";
    EXPECT_EQ(dict.DeviceColorSpaceSignature(), icSigRgbData);
    EXPECT_EQ(dict.GetFileName(), L"");
}

TEST_F(NamedColorsProfileTest, RenderingIntentWithoutTvr4IsSaturation) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 4})};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.GetRenderingIntent(), 3);
    EXPECT_EQ(dict.GetBasePrinterProfileName(), L"");
}

TEST_F(NamedColorsProfileTest, SetPrimColsRefusesToDropAUsedChannel) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 0}), Make(L"B", {1, 2, 3, 9})};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.SetPrimCols(3, 0), 0);
    EXPECT_EQ(dict.nPrimCols(), 4);
    EXPECT_EQ(dict.GetCount(), 2);
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"B", pixel), 1);
    EXPECT_EQ(Values(pixel, 7), (std::vector<uint16_t>{100, 200, 300, 1, 2, 3, 9}));
}

TEST_F(NamedColorsProfileTest, SetPrimColsWithDropRemovesUsersOfTheChannelAndShortensTheRest) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 0}), Make(L"B", {1, 2, 3, 9}), Make(L"C", {4, 5, 6, 0})};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.SetPrimCols(3, 1), 0) << "a colour was lost";
    EXPECT_EQ(dict.nPrimCols(), 3);
    EXPECT_EQ(dict.GetCount(), 2);
    EXPECT_EQ(std::vector<std::wstring>(dict.Names().begin(), dict.Names().end()),
              (std::vector<std::wstring>{L"A", L"C"}));
    unsigned short* pixel = nullptr;
    EXPECT_EQ(dict.LookupColorName(L"B", pixel), 0);
    ASSERT_EQ(dict.LookupColorName(L"C", pixel), 1);
    EXPECT_EQ(Values(pixel, 6), (std::vector<uint16_t>{100, 200, 300, 4, 5, 6}));
}

TEST_F(NamedColorsProfileTest, SetPrimColsShrinkingUnusedChannelsSucceeds) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 0})};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.SetPrimCols(3, 0), 1);
    EXPECT_EQ(dict.CountDevChannels(), 3);
}

TEST_F(NamedColorsProfileTest, SetPrimColsGrowingAddsZeroChannels) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 4}), Make(L"B", {5, 6, 7, 8})};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.SetPrimCols(6, 0), 1);
    EXPECT_EQ(dict.nPrimCols(), 6);
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"A", pixel), 1);
    EXPECT_EQ(Values(pixel, 9), (std::vector<uint16_t>{100, 200, 300, 1, 2, 3, 4, 0, 0}));
    ASSERT_EQ(dict.LookupColorName(L"B", pixel), 1);
    EXPECT_EQ(Values(pixel, 9), (std::vector<uint16_t>{100, 200, 300, 5, 6, 7, 8, 0, 0}));
}

TEST_F(NamedColorsProfileTest, SetPrimColsOnAnEmptyDictionaryOnlyStoresTheCount) {
    CNamedColorsProfile dict;
    EXPECT_EQ(dict.SetPrimCols(5, 0), 1);
    EXPECT_EQ(dict.nPrimCols(), 5);
    EXPECT_EQ(dict.SetPrimCols(2, 0), 1);
    EXPECT_EQ(dict.nPrimCols(), 2);
}

TEST_F(NamedColorsProfileTest, SetPrimColsOutsideTheDeviceRangeIsRefused) {
    CNamedColorsProfile dict;
    EXPECT_EQ(dict.SetPrimCols(-1, 0), 0);
    EXPECT_EQ(dict.SetPrimCols(16, 0), 0);
    EXPECT_EQ(dict.nPrimCols(), 0);
}

TEST_F(NamedColorsProfileTest, SetPrimColsFromZeroChannelsGrowsThePixels) {
    GenSpec s;
    s.channels = 0;
    s.colours = {Make(L"A", {})};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.nPrimCols(), 0);
    EXPECT_EQ(dict.SetPrimCols(2, 0), 1);
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"A", pixel), 1);
    EXPECT_EQ(Values(pixel, 5), (std::vector<uint16_t>{100, 200, 300, 0, 0}));
}

TEST_F(NamedColorsProfileTest, CheckNameCutsThirtyTwoCharactersToThirtyOne) {
    std::wstring name(32, L'x');
    EXPECT_EQ(CNamedColorsProfile::CheckName(name), 0);
    EXPECT_EQ(name, std::wstring(31, L'x'));
}

TEST_F(NamedColorsProfileTest, CheckNameAcceptsThirtyOneCharacters) {
    std::wstring name(31, L'y');
    EXPECT_EQ(CNamedColorsProfile::CheckName(name), 1);
    EXPECT_EQ(name, std::wstring(31, L'y'));
}

TEST_F(NamedColorsProfileTest, CheckNameTrimsBlanksBeforeTheLengthTest) {
    std::wstring name = L"  " + std::wstring(31, L'z') + L" \t ";
    EXPECT_EQ(CNamedColorsProfile::CheckName(name), 1);
    EXPECT_EQ(name, std::wstring(31, L'z'));
    std::wstring blank = L"   ";
    EXPECT_EQ(CNamedColorsProfile::CheckName(blank), 1);
    EXPECT_EQ(blank, L"");
}

} // namespace

namespace {

// The dictionary with its Tvr5 flag in view.
class FlaggedDictionary : public CNamedColorsProfile {
public:
    using CNamedColorsProfile::CNamedColorsProfile;
    using CNamedColorsProfile::HasTvr5;
};

TEST_F(NamedColorsProfileTest, Tvr4GivesBasePrinterProfileAndIntent) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 4})};
    s.tvr4 = "Press \xE9.icc\nRenderingIntent=1";
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.GetBasePrinterProfileName(), L"Press \u00E9.icc") << "narrow code page";
    EXPECT_EQ(dict.GetRenderingIntent(), 1);
}

TEST_F(NamedColorsProfileTest, Tvr4SecondLineThatDoesNotMatchLeavesTheIntent) {
    for (const std::string& text :
         {std::string("P.icc\nIntent=1"), std::string("P.icc\n\nRenderingIntent=1"),
          std::string("P.icc\n RenderingIntent=1"), std::string("P.icc\nRenderingIntent=x"),
          std::string("P.icc\nRenderingIntent=99999999999"), std::string("P.icc")}) {
        GenSpec s;
        s.colours = {Make(L"A", {1, 2, 3, 4})};
        s.tvr4 = text;
        CNamedColorsProfile dict;
        dict.SetRenderingIntent(2);
        Load(dict, s);
        EXPECT_EQ(dict.GetRenderingIntent(), 2) << text;
        EXPECT_EQ(dict.GetBasePrinterProfileName(), L"P.icc") << text;
    }
}

TEST_F(NamedColorsProfileTest, Tvr4IntentAllowsBlanksAndTrailingText) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 4})};
    s.tvr4 = "\nRenderingIntent= 2 (relative)\nmore";
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.GetRenderingIntent(), 2);
    EXPECT_EQ(dict.GetBasePrinterProfileName(), L"") << "an empty first line counts";
}

TEST_F(NamedColorsProfileTest, DescriptionComesFromDesc) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 4})};
    s.desc = "Spot colours";
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.GetDescription(), L"Spot colours");
}

TEST_F(NamedColorsProfileTest, Tvr3BeatsDesc) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 4})};
    s.desc = "Spot colours";
    s.tvr3 = "Sonderfarben f\xFCr Druck";
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.GetDescription(), L"Sonderfarben f\u00FCr Druck");
}

TEST_F(NamedColorsProfileTest, Tvr6BeatsTvr3WhateverTheirOrder) {
    for (bool textsFirst : {true, false}) {
        GenSpec s;
        s.colours = {Make(L"A", {1, 2, 3, 4})};
        s.desc = "Spot colours";
        s.tvr3 = "narrow";
        s.tvr6 = "Sonderfarben f\xC3\xBCr Druck"; // UTF-8
        s.textsFirst = textsFirst;
        CNamedColorsProfile dict;
        Load(dict, s);
        EXPECT_EQ(dict.GetDescription(), L"Sonderfarben f\u00FCr Druck") << textsFirst;
    }
    // Tvr6 ahead of Tvr3 in the tag table.
    CUserSettingsMgr settings;
    CIccProfileGen1 gen(&settings);
    gen.SetHeader(icSigNamedColorClass, icSigCmykData, icSigLabData, 3);
    gen.AddTextTag(icSigTvr6Tag, "six");
    gen.AddTextTag(icSigTvr3Tag, "three");
    gen.AddNamedColor2Tag(1, 4, L"", L"", {L"A"}, {{{1, 2, 3}}}, {4, 5, 6, 7});
    const std::wstring path = Utf8ToWide((dir / "order.icc").string());
    ASSERT_TRUE(gen.OnSaveDocument(path.c_str()));
    CNamedColorsProfile dict;
    ASSERT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 1);
    EXPECT_EQ(dict.GetDescription(), L"six");
}

TEST_F(NamedColorsProfileTest, Tvr5FlagIsSetAndNeverClearedByALoad) {
    GenSpec with;
    with.colours = {Make(L"A", {1, 2, 3, 4})};
    with.hasTvr5 = true;
    GenSpec without = with;
    without.hasTvr5 = false;
    FlaggedDictionary dict;
    EXPECT_EQ(dict.HasTvr5(), 0);
    Load(dict, without, "without.icc");
    EXPECT_EQ(dict.HasTvr5(), 0);
    Load(dict, with, "with.icc");
    EXPECT_EQ(dict.HasTvr5(), 1);
    Load(dict, without, "without.icc");
    EXPECT_EQ(dict.HasTvr5(), 1);
    CNamedColorsArray array;
    FlaggedDictionary fromArray(array, 3, L"");
    EXPECT_EQ(fromArray.HasTvr5(), 0);
}

TEST_F(NamedColorsProfileTest, LoadReadsWhiteSpaceAffixesAndFileName) {
    GenSpec s;
    s.space = icSig6colorData;
    s.channels = 6;
    s.white = {61000, 65536, 51000};
    s.prefix = L"PANTONE ";
    s.suffix = L" C";
    s.colours = {NumberedColour(1, 6)};
    CNamedColorsProfile dict;
    Load(dict, s, "spots.icc");
    EXPECT_EQ(dict.nPrimCols(), 6);
    EXPECT_EQ(dict.CountDevChannels(), 6);
    EXPECT_EQ(dict.DeviceColorSpaceSignature(), icSig6colorData);
    EXPECT_EQ(dict.GetMediaWhite().X, 61000);
    EXPECT_EQ(dict.GetMediaWhite().Z, 51000);
    EXPECT_EQ(dict.GetPrefix(), L"PANTONE ");
    EXPECT_EQ(dict.GetSuffix(), L" C");
    EXPECT_EQ(dict.GetFileName(), L"spots.icc");
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"PANTONE Colour 1 C", pixel), 1);
    EXPECT_EQ(Values(pixel, 9), PixelOf(NumberedColour(1, 6)));
}

TEST_F(NamedColorsProfileTest, TagChannelCountReplacesTheHeaders) {
    GenSpec s;
    s.space = icSigCmykData;
    s.channels = 2;
    s.colours = {NumberedColour(1, 2)};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.nPrimCols(), 2);
}

TEST_F(NamedColorsProfileTest, WithoutWhitePointTheMediaWhiteStaysD50) {
    GenSpec s;
    s.whitePoint = false;
    s.colours = {NumberedColour(1, 4)};
    CNamedColorsProfile dict;
    Load(dict, s);
    EXPECT_EQ(dict.GetMediaWhite().X, 63189);
    EXPECT_EQ(dict.GetMediaWhite().Y, 65536);
    EXPECT_EQ(dict.GetMediaWhite().Z, 54060);
}

TEST_F(NamedColorsProfileTest, FailedLoadKeepsTheColoursButClearsTheFileName) {
    GenSpec s;
    s.colours = {NumberedColour(1, 4)};
    CNamedColorsProfile dict;
    Load(dict, s, "a.icc");
    EXPECT_EQ(dict.LoadFromProfile(Utf8ToWide((dir / "missing.icc").string()).c_str(), &usm), 0);
    EXPECT_EQ(dict.GetCount(), 1);
    EXPECT_EQ(dict.GetFileName(), L"");
    const std::string notProfile = (dir / "text.icc").string();
    ASSERT_TRUE(kvrtest::WriteText(notProfile, std::string(200, 'x')));
    EXPECT_EQ(dict.LoadFromProfile(Utf8ToWide(notProfile).c_str(), &usm), 0);
    EXPECT_EQ(dict.GetCount(), 1);
}

TEST_F(NamedColorsProfileTest, LoadReplacesTheColoursOfAnEarlierLoad) {
    GenSpec first;
    first.colours = {Make(L"A", {1, 2, 3, 4})};
    GenSpec second;
    second.colours = {Make(L"B", {5, 6, 7, 8})};
    CNamedColorsProfile dict;
    Load(dict, first, "first.icc");
    Load(dict, second, "second.icc");
    EXPECT_EQ(NamesOfDict(dict), std::vector<std::wstring>{L"B"});
    GenSpec none;
    none.ncl2 = false;
    EXPECT_EQ(dict.LoadFromProfile(WriteGenProfile(dir, "none.icc", none).c_str(), &usm), 0);
    EXPECT_TRUE(dict.IsEmpty()) << "a profile that loads removes the colours, tag or no tag";
}

TEST_F(NamedColorsProfileTest, LookupThroughTheNarrowInterface) {
    GenSpec s;
    s.channels = 1;
    s.space = icSigGrayData;
    s.colours = {Make(L"Ink", {4242})};
    auto dict = std::make_unique<CNamedColorsProfile>();
    Load(*dict, s);
    std::unique_ptr<INamedColorsLookup> lookup = std::move(dict);
    EXPECT_EQ(lookup->CountDevChannels(), 1);
    unsigned short* pixel = nullptr;
    ASSERT_EQ(lookup->LookupColorName(L"ink", pixel), 1);
    EXPECT_EQ(pixel[3], 4242);
}

TEST_F(NamedColorsProfileTest, RuntimeClassIsTheDictionarys) {
    CNamedColorsProfile dict;
    EXPECT_TRUE(dict.IsKindOf(RUNTIME_CLASS(CNamedColorsProfile)));
    EXPECT_TRUE(dict.IsKindOf(RUNTIME_CLASS(CMapNameToDevPixel)));
    EXPECT_TRUE(dict.IsKindOf(RUNTIME_CLASS(CObject)));
}

TEST_F(NamedColorsProfileTest, CopyTakesEveryFieldAndNewPixels) {
    GenSpec s;
    s.prefix = L"P";
    s.suffix = L"S";
    s.desc = "Described";
    s.tvr4 = "Base.icc\nRenderingIntent=2";
    s.colours = {NumberedColour(1, 4), NumberedColour(2, 4)};
    FlaggedDictionary dict;
    s.hasTvr5 = true;
    Load(dict, s, "orig.icc");
    FlaggedDictionary copy(dict);
    EXPECT_EQ(copy.nPrimCols(), 4);
    EXPECT_EQ(copy.GetPrefix(), L"P");
    EXPECT_EQ(copy.GetSuffix(), L"S");
    EXPECT_EQ(copy.GetDescription(), L"Described");
    EXPECT_EQ(copy.GetBasePrinterProfileName(), L"Base.icc");
    EXPECT_EQ(copy.GetRenderingIntent(), 2);
    EXPECT_EQ(copy.GetFileName(), L"orig.icc");
    EXPECT_EQ(copy.GetMediaWhite().X, s.white.X);
    EXPECT_EQ(copy.DeviceColorSpaceSignature(), icSigCmykData);
    EXPECT_EQ(copy.HasTvr5(), 1);
    EXPECT_EQ(NamesOfDict(copy), NamesOfDict(dict));
    unsigned short *a = nullptr, *b = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"PColour 2S", a), 1);
    ASSERT_EQ(copy.LookupColorName(L"PColour 2S", b), 1);
    EXPECT_NE(a, b);
    EXPECT_EQ(Values(a, 7), Values(b, 7));
}

TEST_F(NamedColorsProfileTest, AssignmentKeepsTheTargetsWhiteDescriptionAndFileName) {
    GenSpec src;
    src.prefix = L"P";
    src.desc = "Source";
    src.white = {60000, 65536, 50000};
    src.tvr4 = "Base.icc\nRenderingIntent=0";
    src.hasTvr5 = true;
    src.colours = {NumberedColour(1, 4)};
    GenSpec dst;
    dst.space = icSigRgbData;
    dst.channels = 3;
    dst.desc = "Target";
    dst.white = {62000, 65536, 52000};
    dst.colours = {NumberedColour(7, 3), NumberedColour(8, 3)};
    FlaggedDictionary source, target;
    Load(source, src, "source.icc");
    Load(target, dst, "target.icc");
    target = source;
    EXPECT_EQ(target.nPrimCols(), 4);
    EXPECT_EQ(target.GetPrefix(), L"P");
    EXPECT_EQ(target.GetBasePrinterProfileName(), L"Base.icc");
    EXPECT_EQ(target.GetRenderingIntent(), 0);
    EXPECT_EQ(target.HasTvr5(), 1);
    EXPECT_EQ(target.DeviceColorSpaceSignature(), icSigCmykData);
    EXPECT_EQ(NamesOfDict(target), std::vector<std::wstring>{L"Colour 1"});
    // The asymmetry of the assignment:
    EXPECT_EQ(target.GetMediaWhite().X, 62000);
    EXPECT_EQ(target.GetDescription(), L"Target");
    EXPECT_EQ(target.GetFileName(), L"target.icc");
    unsigned short* pixel = nullptr;
    ASSERT_EQ(target.LookupColorName(L"PColour 1", pixel), 1);
    EXPECT_EQ(Values(pixel, 7), PixelOf(NumberedColour(1, 4)));
    const FlaggedDictionary& self = target;
    target = self;
    EXPECT_EQ(target.GetCount(), 1);
}

TEST_F(NamedColorsProfileTest, DictionaryFromArrayTakesTheLastPixelOfDuplicates) {
    GenSpec s;
    s.prefix = L"P";
    s.suffix = L"S";
    s.colours = {Make(L"Red", {1, 1, 1, 1}), Make(L"Blue", {2, 2, 2, 2}),
                 Make(L"RED", {3, 3, 3, 3})};
    CNamedColorsArray array;
    ASSERT_EQ(array.LoadFromProfile(WriteGenProfile(dir, "arr.icc", s).c_str(), &usm), 1);
    array.SetBasePrinterProfileName(L"Base.icc");
    CNamedColorsProfile dict(array, 1, L"From the array");
    EXPECT_EQ(dict.GetCount(), 2);
    EXPECT_EQ(NamesOfDict(dict), (std::vector<std::wstring>{L"Red", L"Blue"}));
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"PredS", pixel), 1);
    EXPECT_EQ(pixel[3], 3) << "the last pixel under the first spelling";
    EXPECT_NE(pixel, array[2].pDevPixel()) << "a copy";
    EXPECT_EQ(dict.GetRenderingIntent(), 1);
    EXPECT_EQ(dict.GetDescription(), L"From the array");
    EXPECT_EQ(dict.GetBasePrinterProfileName(), L"Base.icc");
    EXPECT_EQ(dict.GetFileName(), L"arr.icc");
    EXPECT_EQ(dict.GetMediaWhite().X, s.white.X);
    EXPECT_EQ(dict.DeviceColorSpaceSignature(), icSigCmykData);
    EXPECT_EQ(dict.nPrimCols(), 4);
}

TEST_F(NamedColorsProfileTest, DictionaryFromArrayGivesEveryPixelItsFullLength) {
    CNamedColorsArray array;
    const unsigned short shortPixel[2] = {9, 8};
    array.Add(CItemNameDevPixel(L"Short", shortPixel, 2));
    array.Add(CItemNameDevPixel(L"None", nullptr, 0));
    CNamedColorsProfile dict(array, 3, L"");
    EXPECT_EQ(dict.nPrimCols(), 0);
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"short", pixel), 1);
    EXPECT_EQ(Values(pixel, 3), (std::vector<uint16_t>{9, 8, 0}));
    ASSERT_EQ(dict.LookupColorName(L"none", pixel), 1);
    EXPECT_EQ(Values(pixel, 3), (std::vector<uint16_t>{0, 0, 0}));
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Profiles written by lcms2 and the installed ones of colord

namespace {

cmsColorSpaceSignature SpaceOfChannels(int n) {
    static const cmsColorSpaceSignature kSpaces[] = {
        cmsSigGrayData,    cmsSig2colorData,  cmsSigRgbData,     cmsSigCmykData,
        cmsSig5colorData,  cmsSig6colorData,  cmsSig7colorData,  cmsSig8colorData,
        cmsSig9colorData,  cmsSig10colorData, cmsSig11colorData, cmsSig12colorData,
        cmsSig13colorData, cmsSig14colorData, cmsSig15colorData};
    return kSpaces[n - 1];
}

class NamedColorsFromLcmsTest : public NamedColorsProfileTest {};

TEST_F(NamedColorsFromLcmsTest, VersionTwoAndFourProfilesLoadAlike) {
    for (double version : {2.1, 4.3}) {
        LcmsSpec s;
        s.version = version;
        s.prefix = "Spot-";
        s.suffix = "-C";
        s.names = {"100", "Gr\xFCn"}; // the vendor flag is clear: the narrow code page
        s.values = {NumberedColour(1, 4), NumberedColour(2, 4)};
        const std::wstring path =
            WriteLcmsProfile(dir, "v" + std::to_string(int(version)) + ".icc", s);
        CNamedColorsProfile dict;
        ASSERT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 1) << version;
        EXPECT_EQ(dict.nPrimCols(), 4);
        EXPECT_EQ(dict.GetPrefix(), L"Spot-");
        EXPECT_EQ(dict.GetSuffix(), L"-C");
        unsigned short* pixel = nullptr;
        ASSERT_EQ(dict.LookupColorName(L"SPOT-100-c", pixel), 1) << version;
        EXPECT_EQ(Values(pixel, 7), PixelOf(NumberedColour(1, 4)));
        ASSERT_EQ(dict.LookupColorName(L"Spot-GR\u00DCN-C", pixel), 1) << version;
        EXPECT_EQ(Values(pixel, 7), PixelOf(NumberedColour(2, 4)));
        EXPECT_EQ(dict.LookupColorName(L"100", pixel), 0);
        CNamedColorsArray array;
        ASSERT_EQ(array.LoadFromProfile(path.c_str(), &usm), 1);
        ASSERT_EQ(array.GetSize(), 2);
        EXPECT_EQ(array[1].m_sName, L"Gr\u00FCn");
    }
}

TEST_F(NamedColorsFromLcmsTest, OneToFifteenDeviceChannels) {
    for (int n = 1; n <= kMaxNamedColorDeviceChannels; ++n) {
        LcmsSpec s;
        s.version = n % 2 ? 2.1 : 4.3;
        s.space = SpaceOfChannels(n);
        s.channels = n;
        for (int i = 0; i < 3; ++i) {
            s.names.push_back("Ink " + std::to_string(i));
            s.values.push_back(NumberedColour(i, n, L"Ink "));
        }
        const std::wstring path = WriteLcmsProfile(dir, "n" + std::to_string(n) + ".icc", s);
        CNamedColorsProfile dict;
        ASSERT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 1) << n;
        EXPECT_EQ(dict.CountDevChannels(), n);
        EXPECT_EQ(dict.GetCount(), 3);
        for (int i = 0; i < 3; ++i) {
            unsigned short* pixel = nullptr;
            ASSERT_EQ(dict.LookupColorName((L"ink " + std::to_wstring(i)).c_str(), pixel), 1);
            EXPECT_EQ(Values(pixel, n + 3), PixelOf(NumberedColour(i, n, L"Ink "))) << n;
        }
        CNamedColorsArray array;
        ASSERT_EQ(array.LoadFromProfile(path.c_str(), &usm), 1);
        EXPECT_EQ(array.nPrimCols(), n);
        EXPECT_EQ(array[2].PixelLength(), n + 3);
    }
}

TEST_F(NamedColorsProfileTest, GeneratorProfilesOfOneToFifteenDeviceChannels) {
    for (int n = 1; n <= kMaxNamedColorDeviceChannels; ++n) {
        GenSpec s;
        s.space = SpaceOfChannels(n);
        s.channels = n;
        s.prefix = L"G";
        s.colours = {NumberedColour(1, n), NumberedColour(2, n)};
        std::wstring path = WriteGenProfile(dir, "g" + std::to_string(n) + ".icc", s);
        if (n % 2 == 0) { // the generator writes version 2; make every other one version 4.3
            kvrtest::Bytes b = kvrtest::ReadBytes(WideToUtf8(path));
            PutBe32(b, 8, 0x04300000u);
            ASSERT_TRUE(kvrtest::WriteBytes(WideToUtf8(path), b));
        }
        CNamedColorsProfile dict;
        ASSERT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 1) << n;
        EXPECT_EQ(dict.CountDevChannels(), n);
        unsigned short* pixel = nullptr;
        ASSERT_EQ(dict.LookupColorName(L"gcolour 2", pixel), 1) << n;
        EXPECT_EQ(Values(pixel, n + 3), PixelOf(NumberedColour(2, n))) << n;
        CNamedColorsArray array;
        ASSERT_EQ(array.LoadFromProfile(path.c_str(), &usm), 1);
        ASSERT_EQ(array.GetSize(), 2);
        EXPECT_EQ(array[0].m_DevPixel, PixelOf(NumberedColour(1, n))) << n;
    }
}

TEST_F(NamedColorsFromLcmsTest, NamesOfThirtyOneAndThirtyTwoBytes) {
    LcmsSpec s;
    const std::string n31(31, 'a');
    std::string n32(32, 'b');
    n32.back() = 'Z';
    s.names = {n31, n32};
    s.values = {NumberedColour(1, 4), NumberedColour(2, 4)};
    const std::wstring path = WriteLcmsProfile(dir, "long.icc", s);
    CNamedColorsArray array;
    ASSERT_EQ(array.LoadFromProfile(path.c_str(), &usm), 1);
    ASSERT_EQ(array.GetSize(), 2);
    EXPECT_EQ(array[0].m_sName, Utf8ToWide(n31));
    EXPECT_EQ(array[1].m_sName, Utf8ToWide(n32)) << "32 bytes without a terminator";
    EXPECT_EQ(array[1].m_DevPixel, PixelOf(NumberedColour(2, 4)));
    CNamedColorsProfile dict;
    ASSERT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 1);
    unsigned short* pixel = nullptr;
    EXPECT_EQ(dict.LookupColorName(Utf8ToWide(n32).c_str(), pixel), 1);
    EXPECT_EQ(dict.LookupColorName(Utf8ToWide(n32.substr(0, 31)).c_str(), pixel), 0);
}

TEST_F(NamedColorsFromLcmsTest, NamesDifferingOnlyInCase) {
    LcmsSpec s;
    s.names = {"Red", "RED", "red"};
    s.values = {NumberedColour(1, 4), NumberedColour(2, 4), NumberedColour(3, 4)};
    const std::wstring path = WriteLcmsProfile(dir, "case.icc", s);
    CNamedColorsArray array;
    ASSERT_EQ(array.LoadFromProfile(path.c_str(), &usm), 1);
    EXPECT_EQ(array.GetSize(), 3);
    CNamedColorsProfile dict;
    ASSERT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 1);
    EXPECT_EQ(dict.GetCount(), 1);
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName(L"rEd", pixel), 1);
    EXPECT_EQ(Values(pixel, 7), PixelOf(NumberedColour(1, 4)));
}

TEST_F(NamedColorsFromLcmsTest, Utf8FlagDecidesHowTheSameBytesRead) {
    LcmsSpec s;
    s.prefix = "\xC3\x9C-"; // "Ü-" in UTF-8
    s.names = {"Gr\xC3\xBCn"};
    s.values = {NumberedColour(1, 4)};
    const std::wstring path = WriteLcmsProfile(dir, "clear.icc", s);
    CNamedColorsArray clear;
    ASSERT_EQ(clear.LoadFromProfile(path.c_str(), &usm), 1);
    EXPECT_EQ(clear[0].m_sName, L"Gr\u00C3\u00BCn") << "flag clear: each byte a character";
    EXPECT_EQ(clear.GetPrefix(), L"\u00C3\u0153-");

    kvrtest::Bytes b = kvrtest::ReadBytes(WideToUtf8(path));
    const TagPlace t = FindTag(b, icSigNamedColor2Tag);
    PutBe32(b, t.offset + 8, kNamedColorUtf8Flag);
    const std::string flagged = (dir / "set.icc").string();
    ASSERT_TRUE(kvrtest::WriteBytes(flagged, b));
    CNamedColorsArray set;
    ASSERT_EQ(set.LoadFromProfile(Utf8ToWide(flagged).c_str(), &usm), 1);
    EXPECT_EQ(set[0].m_sName, L"Gr\u00FCn");
    EXPECT_EQ(set.GetPrefix(), L"\u00DC-");
    CNamedColorsProfile dict;
    ASSERT_EQ(dict.LoadFromProfile(Utf8ToWide(flagged).c_str(), &usm), 1);
    unsigned short* pixel = nullptr;
    EXPECT_EQ(dict.LookupColorName(L"\u00FC-GR\u00DCN", pixel), 1);
}

TEST_F(NamedColorsProfileTest, GeneratorNamesOfThirtyOneAndThirtyTwoBytesInUtf8) {
    GenSpec s;
    const std::wstring n31(31, L'c');
    const std::wstring n32 = std::wstring(30, L'd') + L"\u00E9"; // 30 + 2 bytes
    s.colours = {Make(n31, {1, 2, 3, 4}), Make(n32, {5, 6, 7, 8})};
    CNamedColorsArray array;
    ASSERT_EQ(array.LoadFromProfile(WriteGenProfile(dir, "g.icc", s).c_str(), &usm), 1);
    EXPECT_EQ(array[0].m_sName, n31);
    EXPECT_EQ(array[1].m_sName, n32);
    CNamedColorsProfile dict;
    ASSERT_EQ(dict.LoadFromProfile(WriteGenProfile(dir, "g.icc", s).c_str(), &usm), 1);
    unsigned short* pixel = nullptr;
    ASSERT_EQ(dict.LookupColorName((std::wstring(30, L'D') + L"\u00C9").c_str(), pixel), 1);
    EXPECT_EQ(pixel[3], 5);
}

// The named-colour profiles of colord, read by the library and by lcms2, agree.
class NamedColorsColordTest : public ::testing::TestWithParam<std::string> {
protected:
    CUserSettingsMgr usm;
};

std::filesystem::path ColordProfile(const std::string& name) {
    return name == "Crayons.icc" ? kvrtest::CorpusProfile(name)
                                 : kvrtest::TestDataDir() / "named" / name;
}

TEST_P(NamedColorsColordTest, LibraryAndLcmsReadTheSameColours) {
    const std::filesystem::path file = ColordProfile(GetParam());
    ASSERT_TRUE(kvrtest::HaveFile(file, "restore tests/data with git"));
    const std::wstring path = Utf8ToWide(file.string());

    cmsHPROFILE h = cmsOpenProfileFromFile(file.string().c_str(), "r");
    ASSERT_NE(h, nullptr);
    auto* list = static_cast<cmsNAMEDCOLORLIST*>(cmsReadTag(h, cmsSigNamedColor2Tag));
    ASSERT_NE(list, nullptr);
    const int count = int(cmsNamedColorCount(list));
    ASSERT_GT(count, 0);

    CNamedColorsArray array;
    ASSERT_EQ(array.LoadFromProfile(path.c_str(), &usm), 1);
    CNamedColorsProfile dict;
    ASSERT_EQ(dict.LoadFromProfile(path.c_str(), &usm), 1);
    ASSERT_EQ(array.GetSize(), count);
    EXPECT_EQ(array.GetFileName(), Utf8ToWide(GetParam()));
    const int n = array.nPrimCols();
    EXPECT_EQ(dict.nPrimCols(), n);
    EXPECT_LE(dict.GetCount(), count);

    for (int i = 0; i < count; ++i) {
        char name[256] = {}, prefix[33] = {}, suffix[33] = {};
        cmsUInt16Number pcs[3] = {}, colorant[cmsMAXCHANNELS] = {};
        ASSERT_TRUE(
            cmsNamedColorInfo(list, cmsUInt32Number(i), name, prefix, suffix, pcs, colorant));
        std::vector<uint16_t> expected(pcs, pcs + 3);
        expected.insert(expected.end(), colorant, colorant + n);
        // colord's texts are ASCII, the same in UTF-8 and in the narrow code page.
        EXPECT_EQ(array[i].m_sName, Utf8ToWide(name)) << i;
        EXPECT_EQ(array[i].m_DevPixel, expected) << name;
        if (i == 0) {
            EXPECT_EQ(array.GetPrefix(), Utf8ToWide(prefix));
            EXPECT_EQ(array.GetSuffix(), Utf8ToWide(suffix));
        }
        // The full name finds the first colour of that name in any case.
        unsigned short* pixel = nullptr;
        const std::wstring full = array.GetPrefix() + array[i].m_sName + array.GetSuffix();
        ASSERT_EQ(dict.LookupColorName(full.c_str(), pixel), 1) << name;
        int first = 0;
        while (!EqualsNoCase(array[first].m_sName, array[i].m_sName)) ++first;
        EXPECT_EQ(std::vector<uint16_t>(pixel, pixel + n + 3), array[first].m_DevPixel) << name;
    }
    cmsCloseProfile(h);
}

INSTANTIATE_TEST_SUITE_P(Installed, NamedColorsColordTest,
                         ::testing::Values("Crayons.icc", "x11-colors.icc"), [](const auto& info) {
                             return info.param.substr(0, info.param.find_first_of(".-"));
                         });

} // namespace
