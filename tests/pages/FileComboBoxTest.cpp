#include "pages/FileComboBox.h"

#include <gtest/gtest.h>

#include "PageTestEnv.h"
#include "pages/PageStrings.h"
#include "support/Files.h"

namespace {

using namespace pagetest;

class CComboPage : public CPageModel {
public:
    CComboPage() : CPageModel(1, 0) {}
    CFileComboBox combo;

protected:
    void AddControls() override {
        AddControl(5, EControlKind::Combo);
        combo.Attach(Combo(5));
    }
    bool OnCommand(unsigned int) override { return false; }
};

struct Folder {
    kvrtest::TempDir dir{"kvr-combo"};
    CComboPage page;
    Folder(std::initializer_list<const char*> files) {
        for (const char* f : files) kvrtest::WriteText(dir / f, "x");
        page.Create(nullptr);
        page.combo.SetNoFileEntry(L"(none)");
        page.combo.SetFolder(W(dir.path()), L"*.icc;*.icm", kProfileFileMaskFlags);
    }
};

} // namespace

TEST(MatchFilePattern, StarsQuestionMarksAndCase) {
    EXPECT_TRUE(MatchFilePattern(L"*.icc", L"a.icc", false));
    EXPECT_FALSE(MatchFilePattern(L"*.icc", L"a.ICC", false));
    EXPECT_TRUE(MatchFilePattern(L"*.icc", L"a.ICC", true));
    EXPECT_TRUE(MatchFilePattern(L"*.icc", L".icc", false));
    EXPECT_FALSE(MatchFilePattern(L"*.icc", L"a.icc.bak", false));
    EXPECT_TRUE(MatchFilePattern(L"a?c*", L"abc", false));
    EXPECT_TRUE(MatchFilePattern(L"*a*b*", L"xxaxxbxx", false));
    EXPECT_FALSE(MatchFilePattern(L"*a*b*", L"xxbxxaxx", false));
}

TEST(CFileComboBox, ListsMatchingFilesSortedAfterTheNoFileEntry) {
    Folder f{"b.icc", "A.ICM", "a.icc", "notes.txt", ".hidden.icc"};
    std::filesystem::create_directory(f.dir / "folder.icc");
    EXPECT_EQ(f.page.combo.Refill(), 3);
    EXPECT_EQ(f.page.Control(5)->items,
              (std::vector<std::wstring>{L"(none)", L"a.icc", L"A.ICM", L"b.icc"}));
}

TEST(CFileComboBox, SortingIsStableForNamesEqualButForCase) {
    Folder f{"x.icc", "X.icc", "x.ICC"};
    f.page.combo.Refill();
    EXPECT_EQ(f.page.Control(5)->items,
              (std::vector<std::wstring>{L"(none)", L"X.icc", L"x.ICC", L"x.icc"}));
}

TEST(CFileComboBox, SelectsByFileNameAndBuildsPaths) {
    Folder f{"a.icc", "b.icc"};
    f.page.combo.Refill();
    EXPECT_EQ(f.page.combo.SelectFileName(L"b.icc"), 2);
    EXPECT_EQ(f.page.combo.GetFileName(), L"b.icc");
    EXPECT_TRUE(f.page.combo.HasFileSelected());
    EXPECT_EQ(f.page.combo.GetPathName(), W(f.dir / "b.icc"));
    EXPECT_EQ(f.page.combo.BuildPathName(L""), W(f.dir.path()) + L'/'); // the folder, as a folder

    EXPECT_EQ(f.page.combo.SelectFileName(L""), 0);
    EXPECT_EQ(f.page.combo.GetFileName(), L"");
    EXPECT_FALSE(f.page.combo.HasFileSelected());
}

TEST(CFileComboBox, AnUnlistedNameShowsNoSelectionButKeepsTheName) {
    Folder f{"a.icc"};
    f.page.combo.Refill();
    EXPECT_EQ(f.page.combo.SelectFileName(L"gone.icc"), -1);
    EXPECT_EQ(f.page.Control(5)->nSel, -1);
    EXPECT_EQ(f.page.combo.GetFileName(), L"gone.icc");
    // The user's pick replaces it.
    f.page.UserSelect(5, L"a.icc");
    EXPECT_EQ(f.page.combo.GetFileName(), L"a.icc");
}

TEST(CFileComboBox, RefillKeepsTheSelectedEntryWhileItIsListed) {
    Folder f{"b.icc", "c.icc"};
    f.page.combo.Refill();
    f.page.combo.SelectFileName(L"c.icc");
    kvrtest::WriteText(f.dir / "a.icc", "x");
    f.page.combo.Refill();
    EXPECT_EQ(f.page.combo.GetFileName(), L"c.icc");
    EXPECT_EQ(f.page.combo.GetCurSel(), 3);
    std::filesystem::remove(f.dir / "c.icc");
    f.page.combo.Refill();
    EXPECT_EQ(f.page.combo.GetCurSel(), -1);
    EXPECT_EQ(f.page.combo.FindFileName(L"b.icc"), 2);
    EXPECT_EQ(f.page.combo.FindFileName(L"c.icc"), -1);
    EXPECT_EQ(f.page.combo.GetCurSel(), -1); // finding selects nothing
}

TEST(CFileComboBox, AMissingFolderListsNothing) {
    CComboPage page;
    page.Create(nullptr);
    page.combo.SetNoFileEntry(L"(none)");
    page.combo.SetFolder(L"/nonexistent/folder", L"*.icc", kProfileFileMaskFlags);
    EXPECT_EQ(page.combo.Refill(), 0);
    EXPECT_EQ(page.Control(5)->items, std::vector<std::wstring>{L"(none)"});
}
