// The ordered list of a named-colours profile: loading in tag order, the MD5 over its content,
// the array operations, copies.
#include "colorspace/NamedColorsArray.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "NamedColorsTestUtil.h"
#include "base/Digest.h"
#include "base/Exception.h"

using namespace namedtest;

namespace {

class NamedColorsArrayTest : public ::testing::Test {
protected:
    kvrtest::TempDir dir{"kvr-named"};
    CUserSettingsMgr usm;
};

Colour Make(const std::wstring& name, std::vector<uint16_t> device) {
    return {name, {100, 200, 300}, std::move(device)};
}

std::vector<uint16_t> PixelOf(const CItemNameDevPixel& item) {
    return std::vector<uint16_t>(item.m_DevPixel.begin(), item.m_DevPixel.end());
}

// The digest as its definition states it, written out byte by byte: little-endian numbers,
// UTF-16 text (ASCII here), pixels of n + 3 values.
std::wstring ExpectedMD5(int n, icXYZNumber white, uint32_t space, const std::string& prefix,
                         const std::string& suffix,
                         const std::vector<std::pair<std::string, std::vector<uint16_t>>>& items) {
    std::vector<uint8_t> b;
    auto u16 = [&](unsigned v) {
        b.push_back(uint8_t(v));
        b.push_back(uint8_t(v >> 8));
    };
    auto u32 = [&](uint32_t v) {
        u16(v & 0xFFFF);
        u16(v >> 16);
    };
    auto text = [&](const std::string& t) {
        for (char c : t) u16(uint8_t(c));
    };
    u32(uint32_t(n));
    u32(uint32_t(white.X));
    u32(uint32_t(white.Y));
    u32(uint32_t(white.Z));
    u32(space);
    text(prefix);
    text(suffix);
    for (const auto& [name, pixel] : items) {
        text(name);
        for (uint16_t v : pixel) u16(v);
    }
    CMD5Digest d;
    d.Update(b.data(), b.size());
    return d.AsString();
}

TEST_F(NamedColorsArrayTest, NamesDifferingOnlyInCaseAreBothKeptInTagOrder) {
    GenSpec s;
    s.colours = {Make(L"Red", {1, 1, 1, 1}), Make(L"RED", {2, 2, 2, 2})};
    CNamedColorsArray a;
    ASSERT_EQ(a.LoadFromProfile(WriteGenProfile(dir, "red.icc", s).c_str(), &usm), 1);
    ASSERT_EQ(a.GetSize(), 2);
    EXPECT_EQ(a[0].m_sName, L"Red");
    EXPECT_EQ(a[1].m_sName, L"RED");
    EXPECT_EQ(PixelOf(a[0]), (std::vector<uint16_t>{100, 200, 300, 1, 1, 1, 1}));
    EXPECT_EQ(PixelOf(a[1]), (std::vector<uint16_t>{100, 200, 300, 2, 2, 2, 2}));
}

TEST_F(NamedColorsArrayTest, ProfileWithoutNamedColorTagGivesZeroAndTheMD5OfAnEmptyList) {
    GenSpec s;
    s.ncl2 = false;
    s.space = icSigRgbData;
    s.white = {63000, 65536, 52000};
    CNamedColorsArray a;
    EXPECT_EQ(a.GetCalculatedMD5String(), L"");
    EXPECT_EQ(a.LoadFromProfile(WriteGenProfile(dir, "none.icc", s).c_str(), &usm), 0);
    EXPECT_TRUE(a.IsEmpty());
    EXPECT_EQ(a.nPrimCols(), 3);
    EXPECT_EQ(a.GetFileName(), L"");
    EXPECT_EQ(a.GetCalculatedMD5String(), ExpectedMD5(3, s.white, icSigRgbData, "", "", {}));
    EXPECT_EQ(a.GetCalculatedMD5String().size(), 32u);
}

TEST_F(NamedColorsArrayTest, MD5CoversCountWhiteSpaceAffixesNamesAndPixels) {
    GenSpec s;
    s.channels = 2;
    s.space = icSig2colorData;
    s.prefix = L"P-";
    s.suffix = L"-S";
    s.colours = {Make(L"one", {7, 8}), Make(L"two", {9, 10})};
    CNamedColorsArray a;
    ASSERT_EQ(a.LoadFromProfile(WriteGenProfile(dir, "md5.icc", s).c_str(), &usm), 1);
    const std::wstring expected =
        ExpectedMD5(2, s.white, icSig2colorData, "P-", "-S",
                    {{"one", {100, 200, 300, 7, 8}}, {"two", {100, 200, 300, 9, 10}}});
    EXPECT_EQ(a.GetCalculatedMD5String(), expected);
    EXPECT_EQ(a.CalcMD5String(), expected);

    a.ElementAt(1).m_DevPixel[4] = 11;
    EXPECT_NE(a.CalcMD5String(), expected) << "a pixel value enters";
    EXPECT_EQ(a.GetCalculatedMD5String(), expected) << "CalcMD5String does not store";
    a.ElementAt(1).m_DevPixel[4] = 10;
    a.ElementAt(0).m_sName = L"One";
    EXPECT_NE(a.CalcMD5String(), expected) << "a name enters, case included";
}

TEST_F(NamedColorsArrayTest, EqualContentUnderDifferentFileNamesGivesEqualMD5) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 4}), Make(L"B", {5, 6, 7, 8})};
    CNamedColorsArray a, b;
    ASSERT_EQ(a.LoadFromProfile(WriteGenProfile(dir, "first.icc", s).c_str(), &usm), 1);
    ASSERT_EQ(b.LoadFromProfile(WriteGenProfile(dir, "second.icc", s).c_str(), &usm), 1);
    EXPECT_EQ(a.GetFileName(), L"first.icc");
    EXPECT_EQ(b.GetFileName(), L"second.icc");
    EXPECT_EQ(a.GetCalculatedMD5String(), b.GetCalculatedMD5String());
    b.SetBasePrinterProfileName(L"Other printer.icc");
    EXPECT_EQ(a.CalcMD5String(), b.CalcMD5String()) << "the base printer name does not enter";
}

TEST_F(NamedColorsArrayTest, FailedLoadKeepsTheContentButClearsTheFileName) {
    GenSpec s;
    s.colours = {Make(L"A", {1, 2, 3, 4})};
    CNamedColorsArray a;
    ASSERT_EQ(a.LoadFromProfile(WriteGenProfile(dir, "a.icc", s).c_str(), &usm), 1);
    const std::wstring md5 = a.GetCalculatedMD5String();
    EXPECT_EQ(a.LoadFromProfile(Utf8ToWide((dir / "missing.icc").string()).c_str(), &usm), 0);
    EXPECT_EQ(a.GetSize(), 1);
    EXPECT_EQ(a.GetFileName(), L"");
    EXPECT_EQ(a.GetCalculatedMD5String(), md5);
    EXPECT_EQ(a.LoadFromProfile(nullptr, &usm), 0);
}

TEST_F(NamedColorsArrayTest, LoadReadsWhiteSpacePrefixAndSuffix) {
    GenSpec s;
    s.prefix = L"Pre ";
    s.suffix = L" Suf";
    s.white = {60000, 65536, 50000};
    s.colours = {Make(L"A", {1, 2, 3, 4})};
    CNamedColorsArray a;
    ASSERT_EQ(a.LoadFromProfile(WriteGenProfile(dir, "a.icc", s).c_str(), &usm), 1);
    EXPECT_EQ(a.GetPrefix(), L"Pre ");
    EXPECT_EQ(a.GetSuffix(), L" Suf");
    EXPECT_EQ(a.GetMediaWhite().X, 60000);
    EXPECT_EQ(a.GetMediaWhite().Z, 50000);
    EXPECT_EQ(a.DeviceColorSpaceSignature(), icSigCmykData);
}

TEST_F(NamedColorsArrayTest, FreshArrayHasTheDefaults) {
    CNamedColorsArray a;
    EXPECT_EQ(a.nPrimCols(), 0);
    EXPECT_EQ(a.DeviceColorSpaceSignature(), 0xFFFFFFFFu);
    EXPECT_EQ(a.GetMediaWhite().X, 63189);
    EXPECT_EQ(a.GetMediaWhite().Y, 65536);
    EXPECT_EQ(a.GetMediaWhite().Z, 54060);
    EXPECT_EQ(a.GetBasePrinterProfileName(), L"");
}

TEST_F(NamedColorsArrayTest, CopyAndAssignmentTakeFieldsAndOwnTheirPixels) {
    GenSpec s;
    s.prefix = L"X";
    s.colours = {Make(L"A", {1, 2, 3, 4})};
    CNamedColorsArray a;
    ASSERT_EQ(a.LoadFromProfile(WriteGenProfile(dir, "a.icc", s).c_str(), &usm), 1);
    a.SetBasePrinterProfileName(L"Printer.icc");
    CNamedColorsArray copy(a);
    CNamedColorsArray assigned;
    assigned = a;
    for (const CNamedColorsArray* c : {&copy, &assigned}) {
        EXPECT_EQ(c->GetPrefix(), L"X");
        EXPECT_EQ(c->GetFileName(), L"a.icc");
        EXPECT_EQ(c->GetBasePrinterProfileName(), L"Printer.icc");
        EXPECT_EQ(c->GetCalculatedMD5String(), a.GetCalculatedMD5String());
        ASSERT_EQ(c->GetSize(), 1);
        EXPECT_NE(c->GetAt(0).pDevPixel(), a[0].pDevPixel()) << "a buffer of its own";
        EXPECT_EQ(PixelOf(c->GetAt(0)), PixelOf(a[0]));
    }
    a.ElementAt(0).m_DevPixel[3] = 99;
    EXPECT_EQ(copy[0].m_DevPixel[3], 1);
}

TEST_F(NamedColorsArrayTest, ElementCopyMakesANewBufferOfTheSameLength) {
    const unsigned short values[5] = {1, 2, 3, 4, 5};
    CItemNameDevPixel item(L"N", values, 5);
    CItemNameDevPixel copy = item;
    EXPECT_EQ(copy.PixelLength(), 5);
    EXPECT_NE(copy.pDevPixel(), item.pDevPixel());
    CItemNameDevPixel empty(L"E", nullptr, 3);
    EXPECT_EQ(empty.pDevPixel(), nullptr);
    EXPECT_EQ(empty.PixelLength(), 0);
}

TEST_F(NamedColorsArrayTest, IndexOutsideTheArrayThrowsInvalidArgument) {
    CNamedColorsArray a;
    EXPECT_THROW(a.GetAt(0), CInvalidArgException);
    a.Add(CItemNameDevPixel(L"A", nullptr, 0));
    EXPECT_NO_THROW(a.GetAt(0));
    EXPECT_THROW(a.GetAt(1), CInvalidArgException);
    EXPECT_THROW(a.GetAt(-1), CInvalidArgException);
    EXPECT_THROW(a.SetAt(1, CItemNameDevPixel()), CInvalidArgException);
    EXPECT_THROW(a.RemoveAt(0, 2), CInvalidArgException);
    EXPECT_THROW(a.InsertAt(2, CItemNameDevPixel()), CInvalidArgException);
    EXPECT_THROW(a.SetSize(-1), CInvalidArgException);
    EXPECT_EQ(a.GetSize(), 1);
}

TEST_F(NamedColorsArrayTest, ArrayOperationsKeepTheOrder) {
    CNamedColorsArray a;
    EXPECT_EQ(a.Add(CItemNameDevPixel(L"B", nullptr, 0)), 0);
    a.InsertAt(0, CItemNameDevPixel(L"A", nullptr, 0));
    a.SetAtGrow(3, CItemNameDevPixel(L"D", nullptr, 0));
    ASSERT_EQ(a.GetSize(), 4);
    EXPECT_EQ(a[2].m_sName, L"") << "grown with empty elements";
    a.SetAt(2, CItemNameDevPixel(L"C", nullptr, 0));
    CNamedColorsArray b;
    b.Add(CItemNameDevPixel(L"E", nullptr, 0));
    EXPECT_EQ(a.Append(b), 4);
    std::wstring names;
    for (int i = 0; i < a.GetSize(); ++i) names += a[i].m_sName;
    EXPECT_EQ(names, L"ABCDE");
    a.RemoveAt(1, 2);
    EXPECT_EQ(a[1].m_sName, L"D");
    EXPECT_EQ(a.GetUpperBound(), 2);
    b.Copy(a);
    EXPECT_EQ(b.GetSize(), 3);
    a.InsertAt(0, a[2], 2); // an element of the array itself
    EXPECT_EQ(a[0].m_sName, L"E");
    EXPECT_EQ(a[1].m_sName, L"E");
    a.RemoveAll();
    EXPECT_TRUE(a.IsEmpty());
}

} // namespace
