// The dictionary's storage: names in insertion order and a map that ignores case.
#include "colorspace/NamedColorsMap.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

CMapNameToDevPixel::Pixel PixelOf(unsigned short first) {
    auto p = std::make_unique<unsigned short[]>(3);
    p[0] = first;
    return p;
}

std::vector<std::wstring> NamesOf(const CMapNameToDevPixel& m) {
    return {m.Names().begin(), m.Names().end()};
}

TEST(NamedColorsMapTest, NamesKeepInsertionOrderAndFirstSpelling) {
    CMapNameToDevPixel m;
    EXPECT_TRUE(m.Add(L"Zeta", PixelOf(1)));
    EXPECT_TRUE(m.Add(L"alpha", PixelOf(2)));
    EXPECT_FALSE(m.Add(L"ZETA", PixelOf(3))) << "present in another case";
    EXPECT_EQ(m.GetCount(), 2);
    EXPECT_EQ(NamesOf(m), (std::vector<std::wstring>{L"Zeta", L"alpha"}));
    EXPECT_EQ(m.Find(L"zeta")[0], 1) << "Add keeps the first pixel";
}

TEST(NamedColorsMapTest, SetAtReplacesThePixelAndKeepsTheSpelling) {
    CMapNameToDevPixel m;
    m.SetAt(L"Red", PixelOf(1));
    m.SetAt(L"RED", PixelOf(2));
    EXPECT_EQ(m.GetCount(), 1);
    EXPECT_EQ(NamesOf(m), (std::vector<std::wstring>{L"Red"}));
    EXPECT_EQ(m.Find(L"red")[0], 2);
}

TEST(NamedColorsMapTest, RemoveKeyTakesNameAndPixelInAnyCase) {
    CMapNameToDevPixel m;
    m.Add(L"A", PixelOf(1));
    m.Add(L"B", PixelOf(2));
    m.Add(L"C", PixelOf(3));
    EXPECT_TRUE(m.RemoveKey(L"b"));
    EXPECT_FALSE(m.RemoveKey(L"b"));
    EXPECT_EQ(NamesOf(m), (std::vector<std::wstring>{L"A", L"C"}));
    EXPECT_EQ(m.Find(L"B"), nullptr);
    m.RemoveAll();
    EXPECT_TRUE(m.IsEmpty());
    EXPECT_TRUE(m.Names().empty());
}

TEST(NamedColorsMapTest, CaseIsIgnoredBeyondAscii) {
    EXPECT_TRUE(EqualsNoCase(L"GR\u00DCN", L"gr\u00FCn"));       // Ü ü
    EXPECT_TRUE(EqualsNoCase(L"\u0391\u0392", L"\u03B1\u03B2")); // Greek
    EXPECT_TRUE(EqualsNoCase(L"\u0416", L"\u0436"));             // Cyrillic
    EXPECT_FALSE(EqualsNoCase(L"A", L"B"));
    EXPECT_FALSE(EqualsNoCase(L"A", L"AA"));
    CMapNameToDevPixel m;
    m.Add(L"Gr\u00FCn", PixelOf(7));
    ASSERT_NE(m.Find(L"GR\u00DCN"), nullptr);
    EXPECT_EQ(m.Find(L"GR\u00DCN")[0], 7);
}

TEST(NamedColorsMapTest, OrderIsCaseBlindAndStrict) {
    const CaseBlindLess less;
    EXPECT_FALSE(less(L"abc", L"ABC"));
    EXPECT_FALSE(less(L"ABC", L"abc"));
    EXPECT_TRUE(less(L"abc", L"ABD"));
    EXPECT_TRUE(less(L"AB", L"abc"));
    EXPECT_FALSE(less(L"abc", L"AB"));
    // '_' lies between the upper and the lower case letters; folding puts it before both.
    EXPECT_TRUE(less(L"_", L"a"));
    EXPECT_TRUE(less(L"_", L"A"));
}

TEST(NamedColorsMapTest, ManyNamesAreAllFound) {
    CMapNameToDevPixel m;
    for (unsigned short i = 0; i < 1000; ++i)
        ASSERT_TRUE(m.Add(L"Name " + std::to_wstring(i), PixelOf(i)));
    for (unsigned short i = 0; i < 1000; ++i) {
        const unsigned short* p = m.Find(L"NAME " + std::to_wstring(i));
        ASSERT_NE(p, nullptr) << i;
        EXPECT_EQ(p[0], i);
    }
    EXPECT_EQ(m.Find(L"Name 1000"), nullptr);
}

} // namespace
