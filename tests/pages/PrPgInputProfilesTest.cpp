#include "pages/PrPgInputProfiles.h"

#include <gtest/gtest.h>

#include "PageTestEnv.h"
#include "colorspace/BaseColorSpace.h"
#include "pages/DlgRIHelper.h"
#include "pages/IccErrorReport.h"
#include "pages/ImportFileDialog.h"
#include "pages/PageStrings.h"
#include "support/Files.h"

namespace {

using namespace pagetest;
using Page1 = CPrPgInputProfilesPage1;

const std::wstring kNone = LoadPageString(IDS_NO_FILE_ENTRY);

// A user's session on the input-profile page: settings and profile folders of its own, a Trash
// of its own, a folder of files to import, and the scripted user.
struct Session {
    PageEnv env;
    TestTrash trash;
    ScriptedServices user;
    kvrtest::TempDir src{"kvr-import-src"};
    std::unique_ptr<CPrPgInputProfiles> page;
    SInputProfilesDialogData1 d1;
    SInputProfilesDialogData2 d2;

    explicit Session(const std::string& extraIni = {}) : env(extraIni) {
        // As the preset gives rows without a profile: the folder alone, written as a folder.
        d1.sRgbProfile = W(env.Folder("InputRgb")) + L'/';
        d1.sCmykProfile = W(env.Folder("InputCmyk")) + L'/';
        d1.sLabProfile = W(env.Folder("InputLab")) + L'/';
        d1.sGrayProfile = W(env.Folder("InputGray")) + L'/';
    }
    void Open(int readOnly = 0, int showSecond = 1) {
        page = std::make_unique<CPrPgInputProfiles>(env.usm.get(), readOnly, L"Test", showSecond);
        page->SetData(d1, d2);
        page->Create(&user);
    }
    Page1& P1() { return page->Page1(); }
    const SPageControl& C(unsigned id) { return *P1().Control(id); }
    // A profile to import.
    std::wstring Source(const std::string& name, Kind kind) { return MakeProfile(src, name, kind); }
    bool Import(unsigned button, const std::wstring& path) {
        user.choices.push_back(path);
        return P1().UserCommand(button);
    }
    SInputProfilesDialogData1 Data() {
        SInputProfilesDialogData1 a;
        SInputProfilesDialogData2 b;
        page->GetData(a, b);
        return a;
    }
};

} // namespace

TEST(CPrPgInputProfiles, ShowsTheGivenProfilesAndGivesBackFullPaths) {
    Session s;
    PutProfile(s.env, "InputRgb", "rgb.icc", Kind::Rgb);
    PutProfile(s.env, "InputGray", "gray.icc", Kind::Gray);
    s.d1.sRgbProfile = s.env.In("InputRgb", "rgb.icc");
    s.d1.sGrayProfile = s.env.In("InputGray", "gray.icc");
    s.d1.nRgbIntent = 3;
    s.d1.bCmykAskOnMissing = 1;
    s.d2.bUseColorimetricRI = 1;
    s.Open();
    EXPECT_EQ(s.C(IDC_IP_RGB_FILE).sText, L"rgb.icc");
    EXPECT_EQ(s.C(IDC_IP_CMYK_FILE).sText, kNone);
    EXPECT_EQ(s.C(IDC_IP_RGB_INTENT).sText, CDlgRIHelper::TrafoRiEnm2Str(3));
    EXPECT_EQ(s.C(IDC_IP_CMYK_ASK_MISSING).nCheck, 1);
    EXPECT_EQ(s.page->Page2().Control(IDC_IP_USE_COLORIMETRIC)->nCheck, 1);

    SInputProfilesDialogData1 a;
    SInputProfilesDialogData2 b;
    s.page->GetData(a, b);
    EXPECT_EQ(a, s.d1);
    EXPECT_EQ(b, s.d2);
    EXPECT_TRUE(s.user.messages.empty());
    EXPECT_EQ(s.P1().GetProfileNameRgb(), s.env.In("InputRgb", "rgb.icc"));
}

TEST(CPrPgInputProfiles, WithoutAWindowTheDataPassesThroughAsPaths) {
    Session s;
    s.d1.sRgbProfile = L"/elsewhere/x.icc";
    CPrPgInputProfiles page(s.env.usm.get(), 0, L"", 0);
    page.SetData(s.d1, s.d2);
    EXPECT_EQ(page.Page1().RowName(Page1::RowRgb), L"x.icc");
    EXPECT_EQ(page.Page1().RowCombo(Page1::RowRgb).GetFolder(), L"/elsewhere");
    // The RGB row's check flag starts set, the others clear; the valid-name flags follow.
    EXPECT_EQ(page.Page1().CheckFlag(Page1::RowRgb), 1);
    EXPECT_EQ(page.Page1().ValidNameFlag(Page1::RowRgb), 1);
    EXPECT_EQ(page.Page1().CheckFlag(Page1::RowCmyk), 0);
    SInputProfilesDialogData1 a;
    SInputProfilesDialogData2 b;
    page.GetData(a, b);
    EXPECT_EQ(a, s.d1);
}

TEST(CPrPgInputProfiles, ImportingACmykProfileIntoTheRgbRowDeletesItWithTheEarlierSelectionBack) {
    Session s;
    PutProfile(s.env, "InputRgb", "rgb.icc", Kind::Rgb);
    s.d1.sRgbProfile = s.env.In("InputRgb", "rgb.icc");
    s.Open();
    const std::wstring cmyk = s.Source("press.icc", Kind::Cmyk);
    ASSERT_TRUE(s.Import(IDC_IP_RGB_IMPORT, cmyk));

    EXPECT_EQ(s.env.FilesIn("InputRgb"), std::vector<std::string>{"rgb.icc"});
    EXPECT_EQ(s.C(IDC_IP_RGB_FILE).sText, L"rgb.icc");
    EXPECT_EQ(s.C(IDC_IP_RGB_FILE).items, (std::vector<std::wstring>{kNone, L"rgb.icc"}));
    ASSERT_EQ(s.user.messages.size(), 1u);
    EXPECT_EQ(s.user.messages[0], IccErrorText(903, L"press.icc"));
    EXPECT_TRUE(s.user.questions.empty()); // deleted without asking
    EXPECT_EQ(s.trash.Names(), std::vector<std::string>{"press.icc"});
    EXPECT_EQ(s.Data().sRgbProfile, s.env.In("InputRgb", "rgb.icc"));
    EXPECT_TRUE(fs::exists(fs::path(WideToUtf8(cmyk)))); // the source is untouched
}

TEST(CPrPgInputProfiles, ImportingAFileWithAnUnknownExtensionLeavesItAsIcm) {
    Session s;
    s.Open();
    ASSERT_TRUE(s.Import(IDC_IP_RGB_IMPORT, s.Source("mac.pf", Kind::Rgb)));
    EXPECT_EQ(s.env.FilesIn("InputRgb"), std::vector<std::string>{"mac.icm"});
    EXPECT_EQ(s.C(IDC_IP_RGB_FILE).sText, L"mac.icm");
    EXPECT_EQ(s.P1().CheckFlag(Page1::RowRgb), 1);
    EXPECT_EQ(s.Data().sRgbProfile, s.env.In("InputRgb", "mac.icm"));
    EXPECT_TRUE(s.user.messages.empty());
}

TEST(CPrPgInputProfiles, ImportingANameAlreadyInTheFolderAsksBeforeReplacing) {
    Session s;
    PutProfile(s.env, "InputRgb", "rgb.icc", Kind::Rgb);
    const kvrtest::Bytes old = kvrtest::ReadBytes(s.env.Folder("InputRgb") / "rgb.icc");
    s.Open();
    kvrtest::TempDir other("kvr-import-other");
    const std::wstring newer = MakeProfile(other, "rgb.icc", Kind::RgbLink);
    s.user.answers = {false};
    s.Import(IDC_IP_RGB_IMPORT, newer);
    ASSERT_EQ(s.user.questions.size(), 1u);
    EXPECT_NE(s.user.questions[0].find(L"rgb.icc"), std::wstring::npos);
    EXPECT_EQ(kvrtest::ReadBytes(s.env.Folder("InputRgb") / "rgb.icc"), old);
    EXPECT_EQ(s.C(IDC_IP_RGB_FILE).sText, kNone); // nothing imported, nothing selected

    s.user.answers = {true};
    s.Import(IDC_IP_RGB_IMPORT, newer);
    EXPECT_EQ(s.user.questions.size(), 2u);
    EXPECT_EQ(kvrtest::ReadBytes(s.env.Folder("InputRgb") / "rgb.icc"),
              kvrtest::ReadBytes(fs::path(WideToUtf8(newer))));
    EXPECT_EQ(s.C(IDC_IP_RGB_FILE).sText, L"rgb.icc");
}

TEST(CPrPgInputProfiles, ADeviceLinkRgbProfileDisablesTheRgbIntentUntilAnotherIsChosen) {
    Session s;
    PutProfile(s.env, "InputRgb", "rgb.icc", Kind::Rgb);
    PutProfile(s.env, "InputRgb", "link.icc", Kind::RgbLink);
    s.d1.sRgbProfile = s.env.In("InputRgb", "rgb.icc");
    s.Open();
    EXPECT_TRUE(s.C(IDC_IP_RGB_INTENT).bEnabled);

    ASSERT_TRUE(s.P1().UserSelect(IDC_IP_RGB_FILE, L"link.icc"));
    ASSERT_TRUE(s.P1().UserCommand(IDC_IP_RGB_FILE));
    EXPECT_FALSE(s.C(IDC_IP_RGB_INTENT).bEnabled);
    EXPECT_EQ(s.C(IDC_IP_INFO).sText, L"link.icc"); // the profile's description
    EXPECT_EQ(s.P1().DeviceLinkFlag(Page1::RowRgb), 1);
    // Reading back confirms it from the profile's class.
    EXPECT_EQ(s.Data().sRgbProfile, s.env.In("InputRgb", "link.icc"));
    EXPECT_EQ(s.P1().DeviceLinkFlag(Page1::RowRgb), 1);

    ASSERT_TRUE(s.P1().UserSelect(IDC_IP_RGB_FILE, L"rgb.icc"));
    ASSERT_TRUE(s.P1().UserCommand(IDC_IP_RGB_FILE));
    EXPECT_TRUE(s.C(IDC_IP_RGB_INTENT).bEnabled);
    EXPECT_EQ(s.C(IDC_IP_INFO).sText, L"rgb.icc");
}

TEST(CPrPgInputProfiles, DeletingTheSelectedProfileLeavesTheNoFileEntryAndDisablesDelete) {
    Session s;
    PutProfile(s.env, "InputRgb", "rgb.icc", Kind::Rgb);
    s.d1.sRgbProfile = s.env.In("InputRgb", "rgb.icc");
    s.Open();
    EXPECT_TRUE(s.C(IDC_IP_RGB_DELETE).bEnabled);
    s.user.answers = {true};
    ASSERT_TRUE(s.P1().UserCommand(IDC_IP_RGB_DELETE));
    EXPECT_EQ(s.user.questions.size(), 1u); // the shell asks
    EXPECT_EQ(s.C(IDC_IP_RGB_FILE).sText, kNone);
    EXPECT_FALSE(s.C(IDC_IP_RGB_DELETE).bEnabled);
    EXPECT_FALSE(s.C(IDC_IP_RGB_INTENT).bEnabled);
    EXPECT_TRUE(s.env.FilesIn("InputRgb").empty());
    EXPECT_EQ(s.Data().sRgbProfile, W(s.env.Folder("InputRgb")) + L'/');

    // The file is in the Trash, from which it comes back to where it was.
    const std::string info = kvrtest::ReadText(s.trash.Info() / "rgb.icc.trashinfo");
    EXPECT_EQ(UrlUnescape(TrashInfoValue(info, "Path")),
              (s.env.Folder("InputRgb") / "rgb.icc").string());
    EXPECT_FALSE(TrashInfoValue(info, "DeletionDate").empty());
    EXPECT_EQ(RestoreFromTrash(s.trash, "rgb.icc"), s.env.Folder("InputRgb") / "rgb.icc");
}

TEST(CPrPgInputProfiles, DeleteThatTheUserRefusesKeepsTheFileAndTheSelection) {
    Session s;
    PutProfile(s.env, "InputRgb", "rgb.icc", Kind::Rgb);
    s.d1.sRgbProfile = s.env.In("InputRgb", "rgb.icc");
    s.Open();
    s.user.answers = {false};
    s.P1().UserCommand(IDC_IP_RGB_DELETE);
    EXPECT_EQ(s.env.FilesIn("InputRgb"), std::vector<std::string>{"rgb.icc"});
    EXPECT_EQ(s.C(IDC_IP_RGB_FILE).sText, L"rgb.icc");
    EXPECT_TRUE(s.trash.Names().empty());
}

TEST(CPrPgInputProfiles, WithReadOnlyImportAndDeleteAreDisabledEvenOnAnEditablePage) {
    Session s;
    PutProfile(s.env, "InputRgb", "rgb.icc", Kind::Rgb);
    s.d1.sRgbProfile = s.env.In("InputRgb", "rgb.icc");
    s.Open(1);
    ASSERT_TRUE(s.P1().IsEditable());
    for (unsigned id :
         {IDC_IP_RGB_IMPORT, IDC_IP_CMYK_IMPORT, IDC_IP_LAB_IMPORT, IDC_IP_GRAY_IMPORT,
          IDC_IP_RGB_DELETE, IDC_IP_CMYK_DELETE, IDC_IP_LAB_DELETE, IDC_IP_GRAY_DELETE})
        EXPECT_FALSE(s.C(id).bEnabled) << id;
    EXPECT_TRUE(s.C(IDC_IP_RGB_INTENT).bEnabled);
    EXPECT_FALSE(s.Import(IDC_IP_RGB_IMPORT, s.Source("x.icc", Kind::Rgb)));
    EXPECT_FALSE(s.P1().UserCommand(IDC_IP_RGB_DELETE));
    EXPECT_EQ(s.env.FilesIn("InputRgb"), std::vector<std::string>{"rgb.icc"});
    // OnOK of a read-only page takes nothing and does not close.
    s.P1().UserSelect(IDC_IP_RGB_INTENT, CDlgRIHelper::TrafoRiEnm2Str(4));
    s.page->OnOK();
    EXPECT_FALSE(s.page->IsClosed());
}

TEST(CPrPgInputProfiles, AFiveColourProfileIsRejectedInTheCmykRow) {
    Session s;
    s.Open();
    ASSERT_TRUE(s.Import(IDC_IP_CMYK_IMPORT, s.Source("five.icc", Kind::Cmyk5)));
    EXPECT_TRUE(s.env.FilesIn("InputCmyk").empty());
    EXPECT_EQ(s.trash.Names(), std::vector<std::string>{"five.icc"});
    EXPECT_EQ(s.C(IDC_IP_CMYK_FILE).sText, kNone);
    EXPECT_EQ(s.P1().CheckFlag(Page1::RowCmyk), 0);
    // A CMYK profile is taken.
    ASSERT_TRUE(s.Import(IDC_IP_CMYK_IMPORT, s.Source("press.icc", Kind::Cmyk)));
    EXPECT_EQ(s.env.FilesIn("InputCmyk"), std::vector<std::string>{"press.icc"});
    EXPECT_EQ(s.P1().CheckFlag(Page1::RowCmyk), 1);
    EXPECT_EQ(s.P1().ValidNameFlag(Page1::RowCmyk), 1);
}

TEST(CPrPgInputProfiles, CmykValidationReportsOnlyWhileTheRgbRowsFlagIsClear) {
    Session s;
    PutProfile(s.env, "InputCmyk", "lab-in-cmyk.icc", Kind::Lab);
    s.d1.sCmykProfile = s.env.In("InputCmyk", "lab-in-cmyk.icc");
    s.Open();
    // The RGB row's flag is set: the bad CMYK profile passes the exchange without a message,
    // with its own flags clear.
    s.page->OnOK();
    EXPECT_TRUE(s.user.messages.empty());
    EXPECT_TRUE(s.page->IsClosed());
    EXPECT_EQ(s.P1().CheckFlag(Page1::RowCmyk), 0);
    EXPECT_EQ(s.P1().ValidNameFlag(Page1::RowCmyk), 0);

    // A failed RGB import clears the RGB row's flag, and the RGB row, back on no file, is not
    // validated again: now the CMYK row's failure is reported and the exchange fails.
    ASSERT_TRUE(s.Import(IDC_IP_RGB_IMPORT, s.Source("gray.icc", Kind::Gray)));
    ASSERT_EQ(s.P1().CheckFlag(Page1::RowRgb), 0);
    s.user.messages.clear();
    CPrPgInputProfiles& page = *s.page;
    SInputProfilesDialogData1 a;
    SInputProfilesDialogData2 b;
    page.GetData(a, b);
    ASSERT_EQ(s.user.messages.size(), 1u);
    EXPECT_EQ(s.user.messages[0], IccErrorText(903, L"lab-in-cmyk.icc"));
}

TEST(CPrPgInputProfiles, AProfileWhoseFileIsGoneFailsValidationWhenThePageIsLeft) {
    Session s;
    s.d1.sLabProfile = s.env.In("InputLab", "gone.icc");
    s.Open();
    EXPECT_EQ(s.C(IDC_IP_LAB_FILE).nSel, -1);
    s.page->OnOK();
    ASSERT_EQ(s.user.messages.size(), 1u);
    EXPECT_EQ(s.user.messages[0], IccErrorText(901, L"gone.icc"));
    EXPECT_FALSE(s.page->IsClosed());
    EXPECT_EQ(s.P1().CheckFlag(Page1::RowLab), 0);
}

TEST(CPrPgInputProfiles, OnOkReadsTheControlsBackAndCloses) {
    Session s;
    PutProfile(s.env, "InputLab", "lab.icc", Kind::Lab);
    s.Open();
    ASSERT_TRUE(s.P1().UserSelect(IDC_IP_LAB_FILE, L"lab.icc"));
    ASSERT_TRUE(s.P1().UserCommand(IDC_IP_LAB_FILE));
    ASSERT_TRUE(s.P1().UserSelect(IDC_IP_LAB_INTENT, CDlgRIHelper::TrafoRiEnm2Str(4)));
    ASSERT_TRUE(s.P1().UserSetCheck(IDC_IP_RGB_USE_EMBEDDED, 0));
    ASSERT_TRUE(s.page->Page2().UserSetCheck(IDC_IP_NO_WHITEPOINT_EXPANSION, 1));
    s.page->OnOK();
    EXPECT_TRUE(s.page->IsClosed());
    SInputProfilesDialogData1 a;
    SInputProfilesDialogData2 b;
    s.page->GetData(a, b);
    EXPECT_EQ(a.sLabProfile, s.env.In("InputLab", "lab.icc"));
    EXPECT_EQ(a.nLabIntent, 4);
    EXPECT_EQ(a.bRgbUseEmbedded, 0);
    EXPECT_EQ(b.bDisableWhitePointExpansion, 1);
    EXPECT_EQ(s.P1().CheckFlag(Page1::RowLab), 1);
}

TEST(CPrPgInputProfiles, AnIntentNotInTheListStaysAsItWas) {
    Session s;
    s.d1.nGrayIntent = 7; // black-preserving: not offered for gray
    s.Open();
    EXPECT_EQ(s.C(IDC_IP_GRAY_INTENT).sText, L"");
    EXPECT_EQ(s.Data().nGrayIntent, 7);
}

TEST(CPrPgInputProfiles, OnlyTheCmykIntentsOfferBlackPreservationAndOnlyWhenTheSettingsSaySo) {
    Session plain;
    plain.Open();
    EXPECT_EQ(plain.C(IDC_IP_CMYK_INTENT).items.size(), 5u);
    Session advanced("ShowAdvancedRIs=1\n");
    advanced.Open();
    EXPECT_EQ(advanced.C(IDC_IP_CMYK_INTENT).items.size(), 13u);
    for (unsigned id : {IDC_IP_RGB_INTENT, IDC_IP_LAB_INTENT, IDC_IP_GRAY_INTENT})
        EXPECT_EQ(advanced.C(id).items.size(), 5u) << id;
}

TEST(CPrPgInputProfiles, EnablingFollowsTheEnableStatesAndTheNames) {
    Session s;
    PutProfile(s.env, "InputGray", "gray.icc", Kind::Gray);
    s.Open();
    // No names: delete buttons off, RGB, CMYK and gray intents off, the Lab intent on.
    EXPECT_FALSE(s.C(IDC_IP_GRAY_DELETE).bEnabled);
    EXPECT_FALSE(s.C(IDC_IP_GRAY_INTENT).bEnabled);
    EXPECT_FALSE(s.C(IDC_IP_CMYK_INTENT).bEnabled);
    EXPECT_TRUE(s.C(IDC_IP_LAB_INTENT).bEnabled);
    EXPECT_TRUE(s.C(IDC_IP_GRAY_IMPORT).bEnabled);
    s.P1().UserSelect(IDC_IP_GRAY_FILE, L"gray.icc");
    s.P1().UserCommand(IDC_IP_GRAY_FILE);
    EXPECT_TRUE(s.C(IDC_IP_GRAY_DELETE).bEnabled);
    EXPECT_TRUE(s.C(IDC_IP_GRAY_INTENT).bEnabled);

    s.P1().SetEnableStates(true, false);
    s.P1().OnSetActive();
    EXPECT_FALSE(s.C(IDC_IP_GRAY_IMPORT).bEnabled);
    EXPECT_FALSE(s.C(IDC_IP_LAB_INTENT).bEnabled);
    EXPECT_FALSE(s.C(IDC_IP_GRAY_INTENT).bEnabled);
    EXPECT_TRUE(s.C(IDC_IP_GRAY_DELETE).bEnabled); // delete follows the name and readOnly only
}

TEST(CPrPgInputProfiles, ImportStartsInTheSystemsColourFolderAndACancelChangesNothing) {
    Session s;
    s.Open();
    EXPECT_FALSE(s.P1().OnImportGray() != 0);
    ASSERT_EQ(s.user.chooserFolders.size(), 1u);
    std::wstring colorDir;
    GetWindowsColorDir(colorDir);
    EXPECT_EQ(s.user.chooserFolders[0], colorDir);
    EXPECT_EQ(s.user.chooserTitles[0], LoadPageString(IDS_IMPORT_TITLE));
    EXPECT_TRUE(s.env.FilesIn("InputGray").empty());
}

TEST(CPrPgInputProfiles, WithShowSecondPageOptionsZeroBothCheckBoxesOfTheSecondPageAreHidden) {
    Session hidden;
    hidden.Open(0, 0);
    EXPECT_FALSE(hidden.page->Page2().Control(IDC_IP_USE_COLORIMETRIC)->bShown);
    EXPECT_FALSE(hidden.page->Page2().Control(IDC_IP_NO_WHITEPOINT_EXPANSION)->bShown);
    EXPECT_FALSE(hidden.page->Page2().UserSetCheck(IDC_IP_USE_COLORIMETRIC, 1));
    Session shown;
    shown.Open(0, 1);
    EXPECT_TRUE(shown.page->Page2().Control(IDC_IP_USE_COLORIMETRIC)->bShown);
    EXPECT_TRUE(shown.page->Page2().Control(IDC_IP_NO_WHITEPOINT_EXPANSION)->bShown);
}

TEST(CPrPgInputProfiles, DialogIdentifiers) {
    Session s;
    s.Open();
    EXPECT_EQ(s.page->DialogId(), 13338u);
    EXPECT_EQ(s.page->Page1().DialogId(), 13327u);
    EXPECT_EQ(s.page->Page2().DialogId(), 13546u);
    EXPECT_EQ(s.page->Page1().Parent(), s.page.get());
}
