#include "pages/ProfileImport.h"

#include <gtest/gtest.h>

#include "PageTestEnv.h"
#include "pages/ImportFileDialog.h"
#include "pages/PageServicesScope.h"
#include "pages/PageStrings.h"
#include "support/Files.h"

using namespace pagetest;

TEST(CImportFileDialog, AsksWithTitleFilterAndStartFolder) {
    ScriptedServices user;
    kvrtest::TempDir dir;
    kvrtest::WriteText(dir / "p.icc", "x");
    user.choices = {W(dir / "p.icc")};
    const std::wstring filter = BuildImportFilter();
    CImportFileDialog dialog(IDS_IMPORT_TITLE, filter.c_str(), &user);
    dialog.SetInitialDir(L"/start");
    EXPECT_EQ(dialog.GetOptions(), 4096u);
    ASSERT_EQ(dialog.DoModal(), CImportFileDialog::IDOK);
    EXPECT_EQ(dialog.GetPathName(), W(dir / "p.icc"));
    EXPECT_EQ(user.chooserTitles[0], LoadPageString(IDS_IMPORT_TITLE));
    EXPECT_EQ(user.chooserFilters[0], LoadPageString(IDS_IMPORT_FILTER_TEXT) + L"|" +
                                          LoadPageString(IDS_IMPORT_FILTER_PATTERN) + L"|");
    EXPECT_EQ(user.chooserFolders[0], L"/start");
}

TEST(CImportFileDialog, CancelAndAMissingFileEndAsCancelled) {
    ScriptedServices user;
    user.choices = {std::nullopt, std::wstring(L"/no/such/file.icc")};
    CImportFileDialog dialog(IDS_IMPORT_TITLE, L"", &user);
    EXPECT_EQ(dialog.DoModal(), CImportFileDialog::IDCANCEL);
    EXPECT_EQ(dialog.DoModal(), CImportFileDialog::IDCANCEL);
    EXPECT_TRUE(dialog.GetPathName().empty());
    ASSERT_EQ(user.messages.size(), 1u); // the file must exist: the user is told
    EXPECT_NE(user.messages[0].find(L"/no/such/file.icc"), std::wstring::npos);
    // Nobody to ask: cancelled.
    CImportFileDialog alone(IDS_IMPORT_TITLE, L"", nullptr);
    EXPECT_EQ(alone.DoModal(), CImportFileDialog::IDCANCEL);
}

TEST(CImportFileDialog, AnEmptyTitleStringLeavesTheTitleEmpty) {
    CImportFileDialog dialog(1u, L"", nullptr);
    EXPECT_TRUE(dialog.GetTitle().empty());
}

TEST(GetWindowsColorDir, IsTheSystemsIccFolderWhenItExists) {
    std::wstring folder = L"left over";
    const bool found = GetWindowsColorDir(folder);
    EXPECT_EQ(found, std::filesystem::is_directory("/usr/share/color/icc"));
    EXPECT_EQ(folder, found ? L"/usr/share/color/icc" : L"");
}

TEST(ProfileImport, KnownExtensionsIgnoringCase) {
    EXPECT_TRUE(HasProfileExtension(L"/a/b.icc"));
    EXPECT_TRUE(HasProfileExtension(L"/a/b.ICM"));
    EXPECT_FALSE(HasProfileExtension(L"/a/b.pf"));
    EXPECT_FALSE(HasProfileExtension(L"/a/icc"));
    EXPECT_FALSE(HasProfileExtension(L"/a.icc/b"));
}

TEST(ProfileImport, CopiesUnderTheFilesNameOrRenamesToIcm) {
    kvrtest::TempDir src, dst;
    kvrtest::WriteText(src / "a.ICC", "1");
    kvrtest::WriteText(src / "mac.pf", "2");
    kvrtest::WriteText(src / "plain", "3");
    SImportedFile r = CopyProfileIntoFolder(W(src / "a.ICC"), W(dst.path()));
    EXPECT_TRUE(r.bCopied);
    EXPECT_FALSE(r.bRenamed);
    EXPECT_EQ(r.sName, L"a.ICC");
    r = CopyProfileIntoFolder(W(src / "mac.pf"), W(dst.path()));
    EXPECT_TRUE(r.bCopied && r.bRenamed);
    EXPECT_EQ(r.sName, L"mac.icm");
    r = CopyProfileIntoFolder(W(src / "plain"), W(dst.path()));
    EXPECT_EQ(r.sName, L"plain.icm");
    EXPECT_EQ(dst.Files(), (std::vector<std::string>{"a.ICC", "mac.icm", "plain.icm"}));
    EXPECT_EQ(kvrtest::ReadText(dst / "mac.icm"), "2");
}

TEST(ProfileImport, ARenamingOntoAnExistingFileFails) {
    kvrtest::TempDir src, dst;
    kvrtest::WriteText(src / "mac.pf", "new");
    kvrtest::WriteText(dst / "mac.icm", "old");
    const SImportedFile r = CopyProfileIntoFolder(W(src / "mac.pf"), W(dst.path()));
    EXPECT_FALSE(r.bCopied);
    EXPECT_EQ(kvrtest::ReadText(dst / "mac.icm"), "old");
}

TEST(ProfileImport, AFailedCopyEndsTheImport) {
    kvrtest::TempDir dst;
    EXPECT_FALSE(CopyProfileIntoFolder(L"/no/such.icc", W(dst.path())).bCopied);
    EXPECT_TRUE(dst.Files().empty());
}
