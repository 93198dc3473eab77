#include "pages/IccErrorReport.h"

#include <gtest/gtest.h>

#include <set>

#include "PageTestEnv.h"
#include "pages/PageServicesScope.h"

TEST(ReportIccError, EveryNumberOfTheFamilyHasItsOwnTextNamingTheFile) {
    std::set<std::wstring> texts;
    for (int code : {901, 903, 904, 905, 907, 909}) {
        const std::wstring text = IccErrorText(code, L"/p/x.icc");
        EXPECT_NE(text.find(L"/p/x.icc"), std::wstring::npos) << code;
        EXPECT_EQ(text.find(L"%"), std::wstring::npos) << code;
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), 6u);
}

TEST(ReportIccError, AnotherNumberGetsTheGeneralTextWithTheNumber) {
    const std::wstring text = IccErrorText(42, L"x.icc");
    EXPECT_NE(text.find(L"42"), std::wstring::npos);
    EXPECT_NE(text.find(L"x.icc"), std::wstring::npos);
    EXPECT_EQ(IccErrorText(901, nullptr).find(L"%"), std::wstring::npos);
}

TEST(ReportIccError, ShowsTheTextThroughTheCurrentServices) {
    pagetest::ScriptedServices user;
    ReportIccError(903, L"nobody.icc"); // no services: dropped
    {
        CScopedPageServices scope(&user);
        ReportIccError(903, L"a.icc");
    }
    ReportIccError(901, L"b.icc");
    ASSERT_EQ(user.messages.size(), 1u);
    EXPECT_EQ(user.messages[0], IccErrorText(903, L"a.icc"));
}
