#include <gtest/gtest.h>

#include <vector>

#include "base/TextUtil.h"

// Text helpers are what lets multi-line text and lists live in one-line settings values.
TEST(SettingsText, EncodeCrLfGivesOneLineAndDecodesBack) {
    const std::wstring text = L"<a>\r\n  <b x=\"c:\\dir\\n\"/>\n</a>\r";
    const std::wstring enc = EncodeCrLf(text);
    EXPECT_EQ(enc.find(L'\n'), std::wstring::npos);
    EXPECT_EQ(enc.find(L'\r'), std::wstring::npos);
    EXPECT_EQ(enc, L"<a>\\r\\n  <b x=\"c:\\\\dir\\\\n\"/>\\n</a>\\r");
    EXPECT_EQ(DecodeCrLf(enc), text);
}

TEST(SettingsText, DecodeCrLfLeavesOtherBackslashesAlone) {
    EXPECT_EQ(DecodeCrLf(L"c:\\temp\\x"), L"c:\\temp\\x");
    EXPECT_EQ(DecodeCrLf(L"end\\"), L"end\\");
    EXPECT_EQ(DecodeCrLf(L""), L"");
}

TEST(SettingsText, SplitNumberStringToIntKeepsOnlyNumbers) {
    std::vector<int> v;
    EXPECT_EQ(SplitNumberStringToInt(L"33,17,11", v), 3);
    EXPECT_EQ(v, (std::vector<int>{33, 17, 11}));
    EXPECT_EQ(SplitNumberStringToInt(L" 33 , -17 ,+11 ", v), 3);
    EXPECT_EQ(v, (std::vector<int>{33, -17, 11}));
    EXPECT_EQ(SplitNumberStringToInt(L"33,,x,11", v), 2);
    EXPECT_EQ(v, (std::vector<int>{33, 11}));
    EXPECT_EQ(SplitNumberStringToInt(L"", v), 0);
    EXPECT_TRUE(v.empty());
    EXPECT_EQ(SplitNumberStringToInt(L"1;2", v, L';'), 2);
}

TEST(SettingsText, ToStringAndFromString) {
    EXPECT_EQ(ToString(-42), L"-42");
    EXPECT_EQ(FromString(L" 123 "), 123);
    EXPECT_EQ(FromString(L"12x"), 0);
    EXPECT_EQ(FromString(ToString(-2147483647 - 1)), -2147483647 - 1);
}
