#include "pages/PageStrings.h"

#include <gtest/gtest.h>

#include "pages/FileComboBox.h"

TEST(PageStrings, TheProfilePatternsAreIccAndIcm) {
    EXPECT_EQ(LoadPageString(IDS_PROFILE_PATTERNS), L"*.icc;*.icm");
    EXPECT_EQ(SplitPatterns(LoadPageString(IDS_PROFILE_PATTERNS)),
              (std::vector<std::wstring>{L"*.icc", L"*.icm"}));
}

TEST(PageStrings, TheImportDialogsStringsExist) {
    for (unsigned id :
         {IDS_IMPORT_FILTER_TEXT, IDS_IMPORT_FILTER_PATTERN, IDS_IMPORT_TITLE, IDS_NO_FILE_ENTRY})
        EXPECT_FALSE(LoadPageString(id).empty()) << id;
    // The filter's patterns take every extension of the profile patterns.
    const std::wstring filter = LoadPageString(IDS_IMPORT_FILTER_PATTERN);
    for (const std::wstring& p : SplitPatterns(LoadPageString(IDS_PROFILE_PATTERNS)))
        EXPECT_NE(filter.find(p), std::wstring::npos);
}

TEST(PageStrings, AnUnknownNumberGivesFalseAndAnEmptyText) {
    std::wstring text = L"left over";
    EXPECT_FALSE(LoadPageString(1u, text));
    EXPECT_TRUE(text.empty());
    EXPECT_TRUE(LoadPageString(99999u).empty());
}

TEST(PageStrings, FormatFillsNumberedPlaceholders) {
    EXPECT_EQ(FormatPageString(IDS_CONFIRM_TRASH, {L"x.icc"}).find(L"%1"), std::wstring::npos);
    EXPECT_NE(FormatPageString(IDS_CONFIRM_TRASH, {L"x.icc"}).find(L"\"x.icc\""),
              std::wstring::npos);
    // A placeholder without an argument stays; an argument's own "%1" is not expanded again.
    EXPECT_NE(FormatPageString(IDS_ICC_ERROR_OTHER, {L"%1"}).find(L"%2"), std::wstring::npos);
    EXPECT_NE(FormatPageString(IDS_ICC_ERROR_OTHER, {L"%1"}).find(L"\"%1\""), std::wstring::npos);
}
