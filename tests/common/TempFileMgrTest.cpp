#include "common/TempFileMgr.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/PathUtil.h"
#include "base/WideString.h"

namespace {

TEST(TempFileMgr, MadeFilesAreTemporaryAndExist) {
    const std::wstring path = CTempFileMgr::CreateTempFileName(L"icc");
    ASSERT_FALSE(path.empty());
    EXPECT_TRUE(std::filesystem::exists(WideToUtf8(path)));
    EXPECT_TRUE(CTempFileMgr::IsTempFileName(path));
    EXPECT_EQ(SplitExtName(path), L"icc");
    EXPECT_NE(CTempFileMgr::CreateTempFileName(L"icc"), path);
    std::filesystem::remove(WideToUtf8(path));
}

TEST(TempFileMgr, OtherPathsAreNotTemporary) {
    const std::wstring folder = CTempFileMgr::TempFolder();
    EXPECT_FALSE(CTempFileMgr::IsTempFileName(L""));
    EXPECT_FALSE(CTempFileMgr::IsTempFileName(L"~kvrabc.icc")); // a bare name
    EXPECT_FALSE(CTempFileMgr::IsTempFileName(L"/profiles/InputRgb/~kvrabc.icc"));
    EXPECT_FALSE(CTempFileMgr::IsTempFileName(BuildFileName(folder, L"sRGB.icc")));
    EXPECT_FALSE(CTempFileMgr::IsTempFileName(BuildFileName(folder, L"sub/~kvrabc.icc")));
    EXPECT_TRUE(CTempFileMgr::IsTempFileName(BuildFileName(folder, L"~kvrabc.icc")));
}

} // namespace
