// The page of the input-profile preset: an outer page with two sub-pages. The first selects,
// imports and deletes one profile per colour space (RGB, CMYK, Lab, gray) with its rendering
// intent, and holds the embedded-profile options; the second holds two options that the host
// may hide.
//
// While the page is open its data holds bare file names; each row's file combo knows the
// folder. SetData takes full paths and GetData gives them back.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "colorspace/ProfileQueries.h"
#include "icc/IccRecords.h"
#include "pages/FileComboBox.h"
#include "pages/PageModel.h"
#include "presets/InputProfilesDialogData.h"

class CUserSettingsMgr;

// Dialog identifiers.
enum : unsigned int {
    IDD_PRPG_INPUTPROFILES = 13338,
    IDD_PRPG_INPUTPROFILES_PAGE1 = 13327,
    IDD_PRPG_INPUTPROFILES_PAGE2 = 13546,
};

// Controls of the first sub-page.
enum : unsigned int {
    IDC_IP_RGB_FILE = 1111,
    IDC_IP_CMYK_FILE = 1113,
    IDC_IP_LAB_FILE = 1114,
    IDC_IP_GRAY_FILE = 1118,
    IDC_IP_RGB_INTENT = 1115,
    IDC_IP_CMYK_INTENT = 1116,
    IDC_IP_LAB_INTENT = 1117,
    IDC_IP_GRAY_INTENT = 1119,
    IDC_IP_RGB_IMPORT = 1131,
    IDC_IP_CMYK_IMPORT = 1134,
    IDC_IP_LAB_IMPORT = 1136,
    IDC_IP_GRAY_IMPORT = 1137,
    IDC_IP_RGB_DELETE = 1036,
    IDC_IP_CMYK_DELETE = 1038,
    IDC_IP_LAB_DELETE = 1135,
    IDC_IP_GRAY_DELETE = 1039,
    IDC_IP_RGB_USE_EMBEDDED = 1037,
    IDC_IP_CMYK_USE_EMBEDDED = 1072,
    IDC_IP_GRAY_USE_EMBEDDED = 1076,
    IDC_IP_RGB_ASK_MISSING = 1074,
    IDC_IP_CMYK_ASK_MISSING = 1075,
    IDC_IP_INFO = 1035,
};

// Controls of the second sub-page.
enum : unsigned int {
    IDC_IP_USE_COLORIMETRIC = 1073,
    IDC_IP_NO_WHITEPOINT_EXPANSION = 1074,
};

class CPrPgInputProfilesPage1 : public CPageModel {
public:
    enum ERow : int { RowRgb = 0, RowCmyk = 1, RowLab = 2, RowGray = 3, RowCount = 4 };

    CPrPgInputProfilesPage1(CUserSettingsMgr* usm, int readOnly);
    // The rows point into the page's own data.
    CPrPgInputProfilesPage1(const CPrPgInputProfilesPage1&) = delete;
    CPrPgInputProfilesPage1& operator=(const CPrPgInputProfilesPage1&) = delete;

    // Takes full paths: the rows' folders and names follow from them.
    void SetData(const SInputProfilesDialogData1& data);
    // Gives full paths; reads the controls first when the window exists.
    void GetData(SInputProfilesDialogData1& data);

    // Per row: the combo's folder and mask become the path's folder and the profile patterns,
    // the row's name its file-name part.
    void SetProfileNames(const std::wstring& rgb, const std::wstring& cmyk, const std::wstring& lab,
                         const std::wstring& gray);
    void SetProfileName(const std::wstring& rgb);
    std::wstring GetProfileNameRgb() const { return RowPath(RowRgb); }
    std::wstring GetProfileNameCmyk() const { return RowPath(RowCmyk); }
    std::wstring GetProfileNameLab() const { return RowPath(RowLab); }
    std::wstring GetProfileNameGray() const { return RowPath(RowGray); }

    // The data exchange: fill the controls from the data (false), or read them back (true),
    // which validates the rows while the validate switch is on. False when a row failed: the
    // error was reported and the page stays open.
    bool UpdateData(bool save);
    // The accept command of the sheet: reads the controls back.
    bool Accept() { return UpdateData(true); }

    // Import buttons: 1 when a file was imported and selected.
    int OnImport(int row, int& previousSelection);
    int OnImportRgb() { return ImportRow(RowRgb); }
    int OnImportCmyk() { return ImportRow(RowCmyk); }
    int OnImportLab() { return ImportRow(RowLab); }
    int OnImportGray() { return ImportRow(RowGray); }
    void DeleteIfNotOkRgb(int previousSelection) { DeleteIfNotOk(RowRgb, previousSelection); }
    void DeleteIfNotOkCmyk(int previousSelection) { DeleteIfNotOk(RowCmyk, previousSelection); }
    void DeleteIfNotOkLab(int previousSelection) { DeleteIfNotOk(RowLab, previousSelection); }
    void DeleteIfNotOkGray(int previousSelection) { DeleteIfNotOk(RowGray, previousSelection); }
    void OnDeleteRgb() { OnDelete(RowRgb); }
    void OnDeleteCmyk() { OnDelete(RowCmyk); }
    void OnDeleteLab() { OnDelete(RowLab); }
    void OnDeleteGray() { OnDelete(RowGray); }
    void OnSelChange(int row);
    void CheckControlsEnabled() override;
    int OnSetActive() override {
        CheckControlsEnabled();
        return CPageModel::OnSetActive();
    }

    // Row state, for the page's owner and its tests.
    int CheckFlag(int row) const { return m_rows[row].check; }
    int ValidNameFlag(int row) const { return m_rows[row].validName; }
    int DeviceLinkFlag(int row) const { return m_rows[row].isLink; }
    const std::wstring& RowName(int row) const { return *m_rows[row].name; }
    CFileComboBox& RowCombo(int row) { return m_rows[row].combo; }
    void SetValidate(bool validate) { m_validate = validate; }

protected:
    void AddControls() override;
    int OnInitDialog() override;
    std::wstring GetTabText() override { return L"Profiles"; }
    bool OnCommand(unsigned int id) override;

private:
    struct SRow {
        unsigned int fileId, intentId, importId, deleteId;
        icColorSpaceSignature allowed;
        bool hasLinkFlag;
        std::wstring* name; // into m_data
        int* intent;        // into m_data
        CFileComboBox combo = {};
        int check = 0;     // the file was looked at and is valid
        int validName = 0; // the name is set and valid
        int isLink = 0;    // RGB, CMYK: the profile is a device link
    };

    std::wstring RowPath(int row) const;
    void SetRowName(int row, const std::wstring& path);
    bool ValidateRows();
    int ImportRow(int row);
    void DeleteIfNotOk(int row, int previousSelection);
    void OnDelete(int row);

    CUserSettingsMgr* m_usm; // not owned
    int m_readOnly;
    bool m_validate = true;
    SInputProfilesDialogData1 m_data;
    SRow m_rows[RowCount];
    CProfileInfoText m_info;
};

class CPrPgInputProfilesPage2 : public CPageModel {
public:
    CPrPgInputProfilesPage2(int showOptions);

    void SetData(const SInputProfilesDialogData2& data);
    void GetData(SInputProfilesDialogData2& data);
    bool UpdateData(bool save);
    bool Accept() { return UpdateData(true); }

protected:
    void AddControls() override;
    int OnInitDialog() override;
    std::wstring GetTabText() override { return L"Options"; }
    bool OnCommand(unsigned int) override { return false; }

private:
    int m_showOptions;
    SInputProfilesDialogData2 m_data;
};

class CPrPgInputProfiles : public CPageModel {
public:
    CPrPgInputProfiles(CUserSettingsMgr* usm, int readOnly, const wchar_t* name,
                       int showSecondPageOptions);

    void SetData(const SInputProfilesDialogData1& d1, const SInputProfilesDialogData2& d2);
    void GetData(SInputProfilesDialogData1& d1, SInputProfilesDialogData2& d2);

    // The sheet's accept button: with readOnly nothing happens; otherwise each open sub-page
    // reads its controls back, and the page closes when all of them succeeded (a failed
    // validation keeps it open).
    void OnOK() override;
    bool IsClosed() const { return m_closed; }

    std::vector<CPageModel*> SubPages() override { return {&m_page1, &m_page2}; }
    CPrPgInputProfilesPage1& Page1() { return m_page1; }
    CPrPgInputProfilesPage2& Page2() { return m_page2; }

    CUserSettingsMgr* Usm() const { return m_usm; }
    const std::wstring& Name() const { return m_name; }
    int ReadOnly() const { return m_readOnly; }
    // The preset's flag: whether the second sub-page shows its options.
    int Flag() const { return m_showSecondPageOptions; }

protected:
    void AddControls() override {}
    bool OnCommand(unsigned int) override { return false; }

private:
    CUserSettingsMgr* m_usm; // not owned
    std::wstring m_name;
    int m_readOnly;
    int m_showSecondPageOptions;
    bool m_closed = false;
    CPrPgInputProfilesPage1 m_page1;
    CPrPgInputProfilesPage2 m_page2;
};
