// The collection of lcms2's error texts per object of the lcms wrapper.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <memory>
#include <string>

#include "base/Exception.h"
#include "colorlink/lcms/LcmsColorLink.h"
#include "colorlink/lcms/LcmsWrapper.h"

namespace {

// A wrapper object that opens a file through lcms2 with itself as the context.
class Opener : public CLcmsWrapper {
public:
    bool Open(const char* path) {
        cmsHPROFILE p = cmsOpenProfileFromFileTHR(Context(), path, "r");
        if (p) cmsCloseProfile(p);
        return p != nullptr;
    }
    [[noreturn]] void Throw() { ThrowError(42); }
};

} // namespace

TEST(LcmsWrapper, ErrorsLandInTheObjectThatCausedThem) {
    Opener a, b;
    EXPECT_FALSE(a.Open("/nonexistent/first.icc"));
    EXPECT_NE(a.ErrorText().find(L"first.icc"), std::wstring::npos);
    EXPECT_EQ(a.ErrorText().back(), L'\n');
    EXPECT_TRUE(b.ErrorText().empty());
    EXPECT_FALSE(b.Open("/nonexistent/second.icc"));
    EXPECT_EQ(a.ErrorText().find(L"second.icc"), std::wstring::npos);
    EXPECT_NE(b.ErrorText().find(L"second.icc"), std::wstring::npos);
}

TEST(LcmsWrapper, ALinkSilencesLcmsUntilTheNextWrapperObject) {
    Opener a;
    auto link = std::make_unique<CLcmsColorLink>(nullptr);
    EXPECT_FALSE(a.Open("/nonexistent/silenced.icc"));
    EXPECT_TRUE(a.ErrorText().empty());
    Opener b; // registers the collecting handler again
    EXPECT_FALSE(a.Open("/nonexistent/heard.icc"));
    EXPECT_NE(a.ErrorText().find(L"heard.icc"), std::wstring::npos);
}

TEST(LcmsWrapper, ThrowsTheCollectedTextWithLineAndModule) {
    Opener a;
    a.Open("/nonexistent/thrown.icc");
    try {
        a.Throw();
    } catch (const CStringException& e) {
        EXPECT_NE(std::string(e.what()).find("thrown.icc"), std::string::npos);
        EXPECT_EQ(e.m_line, 42);
        EXPECT_EQ(e.m_file, L"LcmsTransform");
        return;
    }
    ADD_FAILURE() << "no exception";
}
