#include <gtest/gtest.h>

#include "base/PathUtil.h"

TEST(PathUtil, BuildFileNameJoinsWithOneSeparator) {
    EXPECT_EQ(BuildFileName(L"/a/b", L"c.icc"), L"/a/b/c.icc");
    EXPECT_EQ(BuildFileName(L"/a/b/", L"c.icc"), L"/a/b/c.icc");
    EXPECT_EQ(BuildFileName(L"/a/b//", L"//c.icc"), L"/a/b/c.icc");
    EXPECT_EQ(BuildFileName(L"/", L"c.icc"), L"/c.icc");
    EXPECT_EQ(BuildFileName(L"rel", L"c.icc"), L"rel/c.icc");
}

TEST(PathUtil, BuildFileNameTurnsBackslashesIntoSlashes) {
    EXPECT_EQ(BuildFileName(L"/base", L"Printer\\RGB"), L"/base/Printer/RGB");
    EXPECT_EQ(BuildFileName(L"C:\\Profiles\\", L"x.icc"), L"C:/Profiles/x.icc");
    EXPECT_EQ(BuildFileName(BuildFileName(L"/base", L"Printer\\RGB"), L"p.icc"),
              L"/base/Printer/RGB/p.icc");
}

TEST(PathUtil, BuildFileNameWithAnEmptyPart) {
    EXPECT_EQ(BuildFileName(L"/base/InputRgb", L""), L"/base/InputRgb");
    EXPECT_EQ(BuildFileName(L"/base/InputRgb/", L""), L"/base/InputRgb");
    EXPECT_EQ(BuildFileName(L"/", L""), L"/");
    EXPECT_EQ(BuildFileName(L"", L"name.icc"), L"name.icc");
    EXPECT_EQ(BuildFileName(L"", L""), L"");
    EXPECT_EQ(BuildFileName(nullptr, L"n"), L"n");
    EXPECT_EQ(BuildFileName(L"/f", nullptr), L"/f");
}

TEST(PathUtil, SplitFileNameTakesThePartAfterTheLastSeparator) {
    EXPECT_EQ(SplitFileName(L"/a/b/c.icc"), L"c.icc");
    EXPECT_EQ(SplitFileName(L"C:\\x\\y.icm"), L"y.icm");
    EXPECT_EQ(SplitFileName(L"/a\\mixed/z"), L"z");
    EXPECT_EQ(SplitFileName(L"bare.icc"), L"bare.icc");
    EXPECT_EQ(SplitFileName(L"/a/b/"), L"");
    EXPECT_EQ(SplitFileName(L""), L"");
    EXPECT_EQ(SplitFileName(static_cast<const wchar_t*>(nullptr)), L"");
}

TEST(PathUtil, SplitPathNameTakesTheFolderWithoutTrailingSeparator) {
    EXPECT_EQ(SplitPathName(L"/a/b/c.icc"), L"/a/b");
    EXPECT_EQ(SplitPathName(L"a\\b\\c"), L"a/b");
    EXPECT_EQ(SplitPathName(L"/a/b/"), L"/a/b");
    EXPECT_EQ(SplitPathName(L"/a//c"), L"/a");
    EXPECT_EQ(SplitPathName(L"/c.icc"), L"/");
    EXPECT_EQ(SplitPathName(L"c.icc"), L"");
    EXPECT_EQ(SplitPathName(L""), L"");
}

TEST(PathUtil, SplitExtNameTakesTheExtensionWithoutDot) {
    EXPECT_EQ(SplitExtName(L"/a/b/c.icc"), L"icc");
    EXPECT_EQ(SplitExtName(L"C:\\x.dir\\Name.ICM"), L"ICM");
    EXPECT_EQ(SplitExtName(L"archive.tar.gz"), L"gz");
    EXPECT_EQ(SplitExtName(L"/a.dir/noext"), L"");
    EXPECT_EQ(SplitExtName(L"/a/.hidden"), L"");
    EXPECT_EQ(SplitExtName(L"trailing."), L"");
    EXPECT_EQ(SplitExtName(L"My Preset.InputProfiles"), L"InputProfiles");
    EXPECT_EQ(SplitExtName(L""), L"");
}

TEST(PathUtil, SplitAndBuildAreInverse) {
    for (const wchar_t* p : {L"/usr/share/x.icc", L"rel/dir/file", L"/top.icc"}) {
        EXPECT_EQ(BuildFileName(SplitPathName(p), SplitFileName(p)), p);
    }
    // A stored path from elsewhere is moved into the standard folder by its file-name part.
    EXPECT_EQ(BuildFileName(BuildFileName(L"/base", L"InputCmyk"),
                            SplitFileName(L"D:\\foreign\\folder\\coated.icc")),
              L"/base/InputCmyk/coated.icc");
}
