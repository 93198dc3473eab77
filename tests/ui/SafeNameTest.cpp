// The names a browser sends: uploads reduced to a bare file name, paths below the base folder.
#include <gtest/gtest.h>

#include "ui/SafeName.h"

TEST(BareUploadName, APlainNameStaysAsItIs) {
    EXPECT_EQ(BareUploadName("sRGB.icc"), "sRGB.icc");
    EXPECT_EQ(BareUploadName("my profile (2).icm"), "my profile (2).icm");
}

TEST(BareUploadName, AFolderPartInsideIsDropped) {
    EXPECT_EQ(BareUploadName("profiles/sRGB.icc"), "sRGB.icc");
    EXPECT_EQ(BareUploadName("a\\b\\press.icc"), "press.icc");
}

TEST(BareUploadName, ANameThatLeavesItsFolderIsRefused) {
    EXPECT_FALSE(BareUploadName("../x.icc"));
    EXPECT_FALSE(BareUploadName("a/../../x.icc"));
    EXPECT_FALSE(BareUploadName("..\\x.icc"));
    EXPECT_FALSE(BareUploadName("/etc/x"));
    EXPECT_FALSE(BareUploadName("\\x.icc"));
    EXPECT_FALSE(BareUploadName("C:x.icc"));
}

TEST(BareUploadName, EmptyDotAndNulNamesAreRefused) {
    EXPECT_FALSE(BareUploadName(""));
    EXPECT_FALSE(BareUploadName("."));
    EXPECT_FALSE(BareUploadName(".."));
    EXPECT_FALSE(BareUploadName("dir/"));
    EXPECT_FALSE(BareUploadName(std::string("x\0.icc", 6)));
}

TEST(IsSafeRelativePath, APathBelowTheFolderIsTaken) {
    EXPECT_TRUE(IsSafeRelativePath("Printer/press.icc"));
    EXPECT_TRUE(IsSafeRelativePath("Printer/RGB/x.icm"));
}

TEST(IsSafeRelativePath, APathThatLeavesOrIsOddIsRefused) {
    EXPECT_FALSE(IsSafeRelativePath(""));
    EXPECT_FALSE(IsSafeRelativePath("/etc/passwd"));
    EXPECT_FALSE(IsSafeRelativePath("../x.icc"));
    EXPECT_FALSE(IsSafeRelativePath("Printer/../../x.icc"));
    EXPECT_FALSE(IsSafeRelativePath("Printer//x.icc"));
    EXPECT_FALSE(IsSafeRelativePath("./x.icc"));
    EXPECT_FALSE(IsSafeRelativePath("Printer\\x.icc"));
}
