#include "pages/PrPgPresetSimTargetPrinter.h"

#include <gtest/gtest.h>

#include "PageTestEnv.h"
#include "pages/DlgRIHelper.h"
#include "pages/PageStrings.h"
#include "presets/PSOSimTargetPrinter.h"
#include "support/Files.h"

namespace {

using namespace pagetest;

const std::wstring kNone = LoadPageString(IDS_NO_FILE_ENTRY);

struct Session {
    PageEnv env;
    TestTrash trash;
    ScriptedServices user;
    kvrtest::TempDir src{"kvr-import-src"};
    std::unique_ptr<CPrPgPresetSimTargetPrinter> page;

    void Open(const std::wstring& profile, int intent = 2, int readOnly = 0) {
        page = std::make_unique<CPrPgPresetSimTargetPrinter>(env.context.get(), readOnly, L"T");
        page->m_sProfileName = profile;
        page->m_nRenderingIntent = intent;
        page->Create(&user);
    }
    const SPageControl& C(unsigned id) { return *page->Control(id); }
    bool Import(const std::wstring& path) {
        user.choices.push_back(path);
        return page->UserCommand(IDC_ST_IMPORT);
    }
};

} // namespace

TEST(CPrPgPresetSimTargetPrinter, ListsTheSimTargetFolderAndShowsTheData) {
    Session s;
    PutProfile(s.env, "SimTarget", "b.icc", Kind::Cmyk);
    PutProfile(s.env, "SimTarget", "a.icm", Kind::Cmyk);
    s.Open(L"b.icc", 4);
    EXPECT_EQ(s.page->DialogId(), 26373u);
    EXPECT_EQ(s.C(IDC_ST_FILE).items, (std::vector<std::wstring>{kNone, L"a.icm", L"b.icc"}));
    EXPECT_EQ(s.C(IDC_ST_FILE).sText, L"b.icc");
    EXPECT_EQ(s.C(IDC_ST_INTENT).sText, CDlgRIHelper::TrafoRiEnm2Str(4));
    EXPECT_EQ(s.C(IDC_ST_INTENT).items.size(), 4u); // no intent 5, no black preservation
    EXPECT_EQ(s.C(IDC_ST_INFO).sText, L"b.icc");
    EXPECT_TRUE(s.C(IDC_ST_DELETE).bEnabled);
    EXPECT_TRUE(s.C(IDC_ST_INTENT).bEnabled);
}

TEST(CPrPgPresetSimTargetPrinter, WithNoFileSelectedDeleteAndIntentAreDisabled) {
    Session s;
    PutProfile(s.env, "SimTarget", "a.icc", Kind::Cmyk);
    s.Open(L"");
    EXPECT_EQ(s.C(IDC_ST_FILE).sText, kNone);
    EXPECT_FALSE(s.C(IDC_ST_DELETE).bEnabled);
    EXPECT_FALSE(s.C(IDC_ST_INTENT).bEnabled);
    ASSERT_TRUE(s.page->UserSelect(IDC_ST_FILE, L"a.icc"));
    ASSERT_TRUE(s.page->UserCommand(IDC_ST_FILE));
    EXPECT_TRUE(s.C(IDC_ST_DELETE).bEnabled);
    EXPECT_TRUE(s.C(IDC_ST_INTENT).bEnabled);
    EXPECT_EQ(s.page->m_sProfileName, L"a.icc"); // the change was read back
    EXPECT_EQ(s.page->Changes(), 1);
    ASSERT_TRUE(s.page->UserSelect(IDC_ST_FILE, kNone));
    ASSERT_TRUE(s.page->UserCommand(IDC_ST_FILE));
    EXPECT_FALSE(s.C(IDC_ST_DELETE).bEnabled);
    EXPECT_FALSE(s.C(IDC_ST_INTENT).bEnabled);
    EXPECT_TRUE(s.C(IDC_ST_INFO).sText.empty());
}

TEST(CPrPgPresetSimTargetPrinter, WithReadOnlyDeleteStaysDisabledAndTheIntentFollowsTheFile) {
    Session s;
    PutProfile(s.env, "SimTarget", "a.icc", Kind::Cmyk);
    s.Open(L"a.icc", 2, 1);
    EXPECT_FALSE(s.C(IDC_ST_DELETE).bEnabled);
    EXPECT_TRUE(s.C(IDC_ST_INTENT).bEnabled);
    s.page->UserSelect(IDC_ST_FILE, kNone);
    s.page->UserCommand(IDC_ST_FILE);
    EXPECT_FALSE(s.C(IDC_ST_DELETE).bEnabled);
    EXPECT_FALSE(s.C(IDC_ST_INTENT).bEnabled);
}

TEST(CPrPgPresetSimTargetPrinter, ImportingAProfileExtensionCopiesRefillsAndChangesNoSelection) {
    Session s;
    PutProfile(s.env, "SimTarget", "b.icc", Kind::Cmyk);
    s.Open(L"b.icc");
    ASSERT_TRUE(s.Import(MakeProfile(s.src, "a.icc", Kind::Cmyk)));
    EXPECT_EQ(s.env.FilesIn("SimTarget"), (std::vector<std::string>{"a.icc", "b.icc"}));
    EXPECT_EQ(s.C(IDC_ST_FILE).items, (std::vector<std::wstring>{kNone, L"a.icc", L"b.icc"}));
    EXPECT_EQ(s.C(IDC_ST_FILE).sText, L"b.icc");
    EXPECT_TRUE(s.trash.Names().empty());
    s.page->OnKillActive();
    EXPECT_EQ(s.page->m_sProfileName, L"b.icc");
}

TEST(CPrPgPresetSimTargetPrinter, DoImportAnswersZeroInTheUsualCaseWithTheSourcePathAsName) {
    Session s;
    s.Open(L"");
    const std::wstring source = MakeProfile(s.src, "a.icc", Kind::Cmyk);
    s.user.choices = {source};
    int previous = -7;
    std::wstring name;
    EXPECT_EQ(CPrPgPresetSimTargetPrinter::DoImport(s.page->FileCombo(), previous, name, &s.user),
              0);
    EXPECT_EQ(name, source);
    EXPECT_EQ(previous, 0);
    EXPECT_EQ(s.env.FilesIn("SimTarget"), std::vector<std::string>{"a.icc"});
    EXPECT_EQ(s.page->FileCombo().FindFileName(L"a.icc"), 1);

    // The renaming branch gives the bare name, which is found and selected.
    s.user.choices = {MakeProfile(s.src, "b.pf", Kind::Cmyk)};
    EXPECT_EQ(CPrPgPresetSimTargetPrinter::DoImport(s.page->FileCombo(), previous, name, &s.user),
              1);
    EXPECT_EQ(name, L"b.icm");
    EXPECT_EQ(s.C(IDC_ST_FILE).sText, L"b.icm");
}

TEST(CPrPgPresetSimTargetPrinter, ImportingAnotherExtensionLeavesAnIcmAndTheEarlierSelection) {
    Session s;
    PutProfile(s.env, "SimTarget", "b.icc", Kind::Cmyk);
    s.Open(L"b.icc");
    // The bare name is deleted relative to the current folder: a file of that name there goes
    // to the Trash, and the copy in the profile folder stays.
    kvrtest::TempDir cwd("kvr-cwd");
    kvrtest::WriteText(cwd / "mac.icm", "bystander");
    ScopedChdir cd(cwd.path());
    ASSERT_TRUE(s.Import(MakeProfile(s.src, "mac.pf", Kind::Cmyk)));
    EXPECT_EQ(s.env.FilesIn("SimTarget"), (std::vector<std::string>{"b.icc", "mac.icm"}));
    EXPECT_EQ(s.C(IDC_ST_FILE).sText, L"b.icc");
    EXPECT_FALSE(fs::exists(cwd / "mac.icm"));
    EXPECT_EQ(s.trash.Names(), std::vector<std::string>{"mac.icm"});
    EXPECT_EQ(kvrtest::ReadText(s.trash.Files() / "mac.icm"), "bystander");
    EXPECT_TRUE(s.user.questions.empty());
    EXPECT_TRUE(s.user.messages.empty());
}

TEST(CPrPgPresetSimTargetPrinter, ImportsWithoutLookingIntoTheFile) {
    Session s;
    s.Open(L"");
    ASSERT_TRUE(s.Import(MakeProfile(s.src, "rgb.icc", Kind::Rgb)));
    EXPECT_EQ(s.env.FilesIn("SimTarget"), std::vector<std::string>{"rgb.icc"});
    EXPECT_TRUE(s.user.messages.empty());
}

TEST(CPrPgPresetSimTargetPrinter, DeleteAsksMovesTheFileToTheTrashAndReturnsToNoFile) {
    Session s;
    PutProfile(s.env, "SimTarget", "a.icc", Kind::Cmyk);
    s.Open(L"a.icc");
    s.user.answers = {true};
    ASSERT_TRUE(s.page->UserCommand(IDC_ST_DELETE));
    EXPECT_EQ(s.user.questions.size(), 1u);
    EXPECT_TRUE(s.env.FilesIn("SimTarget").empty());
    EXPECT_EQ(s.C(IDC_ST_FILE).sText, kNone);
    EXPECT_FALSE(s.C(IDC_ST_DELETE).bEnabled);
    EXPECT_FALSE(s.C(IDC_ST_INTENT).bEnabled);
    EXPECT_EQ(s.page->m_sProfileName, L"");
    EXPECT_EQ(RestoreFromTrash(s.trash, "a.icc"), s.env.Folder("SimTarget") / "a.icc");
}

TEST(CPrPgPresetSimTargetPrinter, TheIntentGoesThroughItsNameAndAnEmptyComboKeepsIt) {
    Session s;
    PutProfile(s.env, "SimTarget", "a.icc", Kind::Cmyk);
    s.Open(L"a.icc", 5); // not offered on this page
    EXPECT_EQ(s.C(IDC_ST_INTENT).sText, L"");
    s.page->OnKillActive();
    EXPECT_EQ(s.page->m_nRenderingIntent, 5);
    ASSERT_TRUE(s.page->UserSelect(IDC_ST_INTENT, CDlgRIHelper::TrafoRiEnm2Str(3)));
    ASSERT_TRUE(s.page->UserCommand(IDC_ST_INTENT));
    EXPECT_EQ(s.page->m_nRenderingIntent, 3);
}

TEST(CPrPgPresetSimTargetPrinter, ThePresetObjectCopiesItsDataInAndOut) {
    Session s;
    PutProfile(s.env, "SimTarget", "a.icc", Kind::Cmyk);
    PutProfile(s.env, "SimTarget", "b.icc", Kind::Cmyk);
    CPSOSimTargetPrinter pso(s.env.context.get());
    pso.Data().m_sProfileName = L"a.icc";
    pso.Data().m_nRenderingIntent = 1;
    std::unique_ptr<CPSOPropPg> holder(pso.CreatePSOPropPg(0, L"T"));
    auto* page = dynamic_cast<CPrPgPresetSimTargetPrinter*>(holder.get());
    ASSERT_NE(page, nullptr);
    pso.DataToPSOPropPg(page);
    page->Create(&s.user);
    EXPECT_EQ(page->Control(IDC_ST_FILE)->sText, L"a.icc");
    page->UserSelect(IDC_ST_FILE, L"b.icc");
    page->UserCommand(IDC_ST_FILE);
    page->OnOK(); // does nothing
    page->OnKillActive();
    pso.DataFromPSOPropPg(page);
    EXPECT_EQ(pso.Data().m_sProfileName, L"b.icc");
    EXPECT_EQ(pso.Data().m_nRenderingIntent, 1);
}
