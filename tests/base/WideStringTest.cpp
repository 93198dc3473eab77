#include <gtest/gtest.h>

#include <string>

#include "base/WideString.h"

TEST(WideString, Utf8RoundTrip) {
    const std::wstring text = L"Gr\u00FC\u00DFe \u20AC \u4E2D \U0001F600";
    const std::string utf8 = WideToUtf8(text);
    EXPECT_EQ(utf8, "Gr\xC3\xBC\xC3\x9F\x65 \xE2\x82\xAC \xE4\xB8\xAD \xF0\x9F\x98\x80");
    EXPECT_EQ(Utf8ToWide(utf8), text);
}

TEST(WideString, InvalidUtf8BecomesReplacementCharacter) {
    EXPECT_EQ(Utf8ToWide("a\xFF"
                         "b"),
              L"a\uFFFDb");
    EXPECT_EQ(Utf8ToWide("\xC0\xAF"), L"\uFFFD\uFFFD"); // overlong form of '/'
    EXPECT_EQ(Utf8ToWide("\xE2\x82"), L"\uFFFD\uFFFD"); // cut short
}

TEST(WideString, Cp1252EuroSign) {
    EXPECT_EQ(WideToCodePage(L"\u20AC"), "\x80");
    EXPECT_EQ(CodePageToWide("\x80"), L"\u20AC");
}

TEST(WideString, Cp1252RoundTripOfEveryAssignedByte) {
    std::string bytes;
    for (int b = 1; b < 256; ++b) {
        if (b == 0x81 || b == 0x8D || b == 0x8F || b == 0x90 || b == 0x9D) continue; // unassigned
        bytes += static_cast<char>(b);
    }
    const std::wstring wide = CodePageToWide(bytes);
    EXPECT_EQ(wide.size(), bytes.size());
    EXPECT_EQ(WideToCodePage(wide), bytes);
    // Latin-1 range is the identity; 0x80..0x9F are the typographic extras.
    EXPECT_EQ(CodePageToWide("\xE9\xFF\x9F\x8A"), L"\u00E9\u00FF\u0178\u0160");
}

TEST(WideString, CharactersWithoutACode) {
    EXPECT_EQ(WideToCodePage(L"a\u4E2Db\u0100"), "a?b?");
    EXPECT_EQ(WideToCodePage(L"\u0081"), "?"); // a C1 control has no code in Windows-1252
    EXPECT_EQ(CodePageToWide("\x81"), L"\uFFFD");
}
