#include "pages/PrPgInputProfiles.h"

#include <filesystem>
#include <system_error>

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "base/Settings.h"
#include "base/TextUtil.h"
#include "base/WideString.h"
#include "colorspace/BaseColorSpace.h"
#include "colorspace/IccColorProfile.h"
#include "pages/DlgRIHelper.h"
#include "pages/IccErrorReport.h"
#include "pages/PageServicesScope.h"
#include "pages/PageStrings.h"
#include "pages/ProfileImport.h"
#include "pages/ShellFileOps.h"

namespace fs = std::filesystem;

// --- first sub-page ----------------------------------------------------------------------------

CPrPgInputProfilesPage1::CPrPgInputProfilesPage1(CUserSettingsMgr* usm, int readOnly)
    : CPageModel(IDD_PRPG_INPUTPROFILES_PAGE1, 0), m_usm(usm), m_readOnly(readOnly),
      m_rows{
          {IDC_IP_RGB_FILE, IDC_IP_RGB_INTENT, IDC_IP_RGB_IMPORT, IDC_IP_RGB_DELETE, icSigRgbData,
           true, &m_data.sRgbProfile, &m_data.nRgbIntent},
          {IDC_IP_CMYK_FILE, IDC_IP_CMYK_INTENT, IDC_IP_CMYK_IMPORT, IDC_IP_CMYK_DELETE,
           icSigCmykData, true, &m_data.sCmykProfile, &m_data.nCmykIntent},
          {IDC_IP_LAB_FILE, IDC_IP_LAB_INTENT, IDC_IP_LAB_IMPORT, IDC_IP_LAB_DELETE, icSigLabData,
           false, &m_data.sLabProfile, &m_data.nLabIntent},
          {IDC_IP_GRAY_FILE, IDC_IP_GRAY_INTENT, IDC_IP_GRAY_IMPORT, IDC_IP_GRAY_DELETE,
           icSigGrayData, false, &m_data.sGrayProfile, &m_data.nGrayIntent},
      },
      m_info(usm) {
    // The RGB row counts as looked at until it is validated: the CMYK row's validation tests
    // this flag (see ValidateRows).
    m_rows[RowRgb].check = 1;
    for (SRow& r : m_rows) r.combo.SetNoFileEntry(LoadPageString(IDS_NO_FILE_ENTRY));
}

void CPrPgInputProfilesPage1::AddControls() {
    static const wchar_t* const kSpace[RowCount] = {L"RGB", L"CMYK", L"Lab", L"Gray"};
    for (int i = 0; i < RowCount; ++i) {
        SRow& r = m_rows[i];
        const std::wstring space = kSpace[i];
        AddControl(r.fileId, EControlKind::Combo, space + L" profile");
        AddControl(r.intentId, EControlKind::Combo, space + L" rendering intent");
        AddControl(r.importId, EControlKind::Button, L"Import " + space + L" profile...");
        AddControl(r.deleteId, EControlKind::Button, L"Delete " + space + L" profile");
        r.combo.Attach(Combo(r.fileId));
    }
    AddControl(IDC_IP_RGB_USE_EMBEDDED, EControlKind::Check, L"Use embedded RGB profile");
    AddControl(IDC_IP_CMYK_USE_EMBEDDED, EControlKind::Check, L"Use embedded CMYK profile");
    AddControl(IDC_IP_GRAY_USE_EMBEDDED, EControlKind::Check, L"Use embedded gray profile");
    AddControl(IDC_IP_RGB_ASK_MISSING, EControlKind::Check, L"Ask when the RGB profile is missing");
    AddControl(IDC_IP_CMYK_ASK_MISSING, EControlKind::Check,
               L"Ask when the CMYK profile is missing");
    AddControl(IDC_IP_INFO, EControlKind::Text, L"Profile information");
}

int CPrPgInputProfilesPage1::OnInitDialog() {
    CPageModel::OnInitDialog();
    // Intent 5 is offered on every row; the black-preserving intents only for CMYK, and there
    // only when the user settings ask for them.
    const int showAdvanced =
        m_usm ? m_usm->GetInt(US_ShowAdvancedRIs) : FromString(US_ShowAdvancedRIs.def);
    for (int i = 0; i < RowCount; ++i) {
        const int noBlackPreserving = i == RowCmyk ? (showAdvanced == 0) : 1;
        CDlgRIHelper::InitComboBox(Combo(m_rows[i].intentId), 0, noBlackPreserving);
        m_rows[i].combo.Refill();
    }
    UpdateData(false);
    CheckControlsEnabled();
    return 1;
}

bool CPrPgInputProfilesPage1::OnCommand(unsigned int id) {
    for (int i = 0; i < RowCount; ++i) {
        const SRow& r = m_rows[i];
        if (id == r.fileId) {
            OnSelChange(i);
            return true;
        }
        if (id == r.importId) {
            ImportRow(i);
            return true;
        }
        if (id == r.deleteId) {
            OnDelete(i);
            return true;
        }
    }
    return false;
}

void CPrPgInputProfilesPage1::SetData(const SInputProfilesDialogData1& data) {
    m_data = data;
    SetProfileNames(data.sRgbProfile, data.sCmykProfile, data.sLabProfile, data.sGrayProfile);
    if (HasWindow()) {
        UpdateData(false);
        CheckControlsEnabled();
    }
}

void CPrPgInputProfilesPage1::GetData(SInputProfilesDialogData1& data) {
    if (HasWindow()) UpdateData(true);
    data = m_data;
    std::wstring* paths[RowCount] = {&data.sRgbProfile, &data.sCmykProfile, &data.sLabProfile,
                                     &data.sGrayProfile};
    for (int i = 0; i < RowCount; ++i) *paths[i] = RowPath(i);
}

void CPrPgInputProfilesPage1::SetRowName(int row, const std::wstring& path) {
    SRow& r = m_rows[row];
    // The preset gives a row without a profile as the folder alone: that is the folder with no
    // file, not a file named like the folder.
    std::error_code ec;
    const bool isFolder = !path.empty() && fs::is_directory(fs::path(WideToUtf8(path)), ec);
    r.combo.SetFolder(isFolder ? path : SplitPathName(path), LoadPageString(IDS_PROFILE_PATTERNS),
                      kProfileFileMaskFlags);
    *r.name = isFolder ? std::wstring() : SplitFileName(path);
    r.validName = !r.name->empty() && r.check;
}

void CPrPgInputProfilesPage1::SetProfileNames(const std::wstring& rgb, const std::wstring& cmyk,
                                              const std::wstring& lab, const std::wstring& gray) {
    SetRowName(RowRgb, rgb);
    SetRowName(RowCmyk, cmyk);
    SetRowName(RowLab, lab);
    SetRowName(RowGray, gray);
}

void CPrPgInputProfilesPage1::SetProfileName(const std::wstring& rgb) {
    SetRowName(RowRgb, rgb);
}

std::wstring CPrPgInputProfilesPage1::RowPath(int row) const {
    return m_rows[row].combo.BuildPathName(*m_rows[row].name);
}

bool CPrPgInputProfilesPage1::UpdateData(bool save) {
    CScopedPageServices current(Services());
    if (!save) {
        for (SRow& r : m_rows) {
            r.combo.SelectFileName(*r.name);
            SelectString(r.intentId, CDlgRIHelper::TrafoRiEnm2Str(*r.intent));
        }
        SetCheck(IDC_IP_RGB_USE_EMBEDDED, m_data.bRgbUseEmbedded);
        SetCheck(IDC_IP_CMYK_USE_EMBEDDED, m_data.bCmykUseEmbedded);
        SetCheck(IDC_IP_GRAY_USE_EMBEDDED, m_data.bGrayUseEmbedded);
        SetCheck(IDC_IP_RGB_ASK_MISSING, m_data.bRgbAskOnMissing);
        SetCheck(IDC_IP_CMYK_ASK_MISSING, m_data.bCmykAskOnMissing);
        return true;
    }
    for (SRow& r : m_rows) {
        *r.name = r.combo.GetFileName();
        // An empty combo text leaves the intent as it was.
        const std::wstring text = GetText(r.intentId);
        const int intent = CDlgRIHelper::TrafoRiStr2Enm(text);
        if (!text.empty() && intent >= 0) *r.intent = intent;
    }
    m_data.bRgbUseEmbedded = GetCheck(IDC_IP_RGB_USE_EMBEDDED);
    m_data.bCmykUseEmbedded = GetCheck(IDC_IP_CMYK_USE_EMBEDDED);
    m_data.bGrayUseEmbedded = GetCheck(IDC_IP_GRAY_USE_EMBEDDED);
    m_data.bRgbAskOnMissing = GetCheck(IDC_IP_RGB_ASK_MISSING);
    m_data.bCmykAskOnMissing = GetCheck(IDC_IP_CMYK_ASK_MISSING);
    return ValidateRows();
}

bool CPrPgInputProfilesPage1::ValidateRows() {
    for (int i = 0; i < RowCount; ++i) {
        SRow& r = m_rows[i];
        if (r.name->empty() || !m_validate) continue;
        r.check = 0;
        const std::wstring path = RowPath(i);
        int code = 0;
        CIccColorProfile profile;
        if (!profile.LoadIccFile(path.c_str(), m_usm)) {
            code = ICC_ERR_LOAD_FAILED;
        } else if (profile.DeviceColorSpaceSignature() != r.allowed) {
            code = ICC_ERR_CHANNEL_MISMATCH; // no n-colour space passes for CMYK here
        } else {
            r.check = 1;
            if (r.hasLinkFlag) r.isLink = profile.ProfileClass() == icSigLinkClass;
        }
        // The CMYK row tests the RGB row's flag, not its own: a bad CMYK profile is reported
        // only while the RGB flag is clear. DeleteIfNotOkCmyk still tests the CMYK row's own
        // flag, so a bad CMYK import is removed without a message.
        const int tested = i == RowCmyk ? m_rows[RowRgb].check : r.check;
        if (!tested) {
            ReportIccError(code, r.name->c_str());
            return false;
        }
    }
    for (SRow& r : m_rows) {
        r.validName = !r.name->empty() && r.check;
        if (r.name->empty()) r.isLink = 0;
    }
    return true;
}

void CPrPgInputProfilesPage1::OnSelChange(int row) {
    SRow& r = m_rows[row];
    *r.name = r.combo.GetFileName();
    const SProfileInfo info = m_info.UpdateInfoText(RowPath(row).c_str());
    if (info.bUpdate) SetText(IDC_IP_INFO, info.sText);
    // The information text has the row's intent combo as its rendering combo: a device link
    // closes the rendering choice. A file that does not load leaves the note as it was.
    if (r.hasLinkFlag) {
        if (r.name->empty())
            r.isLink = 0;
        else if (info.bRenderingChoiceOpen)
            r.isLink = !*info.bRenderingChoiceOpen;
    }
    CheckControlsEnabled();
}

void CPrPgInputProfilesPage1::CheckControlsEnabled() {
    const bool editable = IsEditable();
    for (int i = 0; i < RowCount; ++i) {
        const SRow& r = m_rows[i];
        const bool named = !r.name->empty();
        SafeEnableWindow(r.importId, editable && !m_readOnly);
        SafeEnableWindow(r.deleteId, named && !m_readOnly);
        bool intent = editable;
        if (i == RowRgb || i == RowCmyk) intent = editable && named && !r.isLink;
        if (i == RowGray) intent = editable && named;
        SafeEnableWindow(r.intentId, intent);
    }
}

int CPrPgInputProfilesPage1::OnImport(int row, int& previousSelection) {
    CScopedPageServices current(Services());
    CFileComboBox& combo = m_rows[row].combo;
    const std::wstring path = ChooseProfileToImport(Services());
    if (path.empty()) return 0;
    const SImportedFile imported = CopyProfileIntoFolder(path, combo.GetFolder());
    if (!imported.bCopied) return 0;
    previousSelection = combo.GetCurSel();
    combo.Refill();
    const int index = combo.FindFileName(imported.sName);
    if (index < 0) return 0;
    combo.SetCurSel(index);
    UpdateData(true);
    return 1;
}

int CPrPgInputProfilesPage1::ImportRow(int row) {
    int previousSelection = -1;
    if (!OnImport(row, previousSelection)) return 0;
    DeleteIfNotOk(row, previousSelection);
    return 1;
}

void CPrPgInputProfilesPage1::DeleteIfNotOk(int row, int previousSelection) {
    SRow& r = m_rows[row];
    if (r.check) return;
    CScopedPageServices current(Services());
    // The imported file is unusable: it leaves no trace in the folder.
    ShDeleteFile(RowPath(row).c_str(), 1);
    r.combo.Refill();
    r.combo.SetCurSel(previousSelection);
    OnSelChange(row);
}

void CPrPgInputProfilesPage1::OnDelete(int row) {
    CScopedPageServices current(Services());
    SRow& r = m_rows[row];
    m_validate = false;
    UpdateData(true);
    m_validate = true;
    if (r.name->empty()) return;
    if (!ShDeleteFile(RowPath(row).c_str(), 0)) return;
    // The file is gone at the user's wish: the row goes back to the entry for no file.
    r.name->clear();
    r.combo.Refill();
    UpdateData(false);
    OnSelChange(row);
}

// --- second sub-page ---------------------------------------------------------------------------

CPrPgInputProfilesPage2::CPrPgInputProfilesPage2(int showOptions)
    : CPageModel(IDD_PRPG_INPUTPROFILES_PAGE2, 0), m_showOptions(showOptions) {}

void CPrPgInputProfilesPage2::AddControls() {
    AddControl(IDC_IP_USE_COLORIMETRIC, EControlKind::Check, L"Use colorimetric intent");
    AddControl(IDC_IP_NO_WHITEPOINT_EXPANSION, EControlKind::Check,
               L"Disable white point expansion");
}

int CPrPgInputProfilesPage2::OnInitDialog() {
    CPageModel::OnInitDialog();
    SafeShowWindow(IDC_IP_USE_COLORIMETRIC, m_showOptions != 0);
    SafeShowWindow(IDC_IP_NO_WHITEPOINT_EXPANSION, m_showOptions != 0);
    UpdateData(false);
    return 1;
}

void CPrPgInputProfilesPage2::SetData(const SInputProfilesDialogData2& data) {
    m_data = data;
    if (HasWindow()) UpdateData(false);
}

void CPrPgInputProfilesPage2::GetData(SInputProfilesDialogData2& data) {
    if (HasWindow()) UpdateData(true);
    data = m_data;
}

bool CPrPgInputProfilesPage2::UpdateData(bool save) {
    if (save) {
        m_data.bUseColorimetricRI = GetCheck(IDC_IP_USE_COLORIMETRIC);
        m_data.bDisableWhitePointExpansion = GetCheck(IDC_IP_NO_WHITEPOINT_EXPANSION);
    } else {
        SetCheck(IDC_IP_USE_COLORIMETRIC, m_data.bUseColorimetricRI);
        SetCheck(IDC_IP_NO_WHITEPOINT_EXPANSION, m_data.bDisableWhitePointExpansion);
    }
    return true;
}

// --- outer page --------------------------------------------------------------------------------

CPrPgInputProfiles::CPrPgInputProfiles(CUserSettingsMgr* usm, int readOnly, const wchar_t* name,
                                       int showSecondPageOptions)
    : CPageModel(IDD_PRPG_INPUTPROFILES, readOnly), m_usm(usm), m_name(name ? name : L""),
      m_readOnly(readOnly), m_showSecondPageOptions(showSecondPageOptions), m_page1(usm, readOnly),
      m_page2(showSecondPageOptions) {}

void CPrPgInputProfiles::SetData(const SInputProfilesDialogData1& d1,
                                 const SInputProfilesDialogData2& d2) {
    m_page1.SetData(d1);
    m_page2.SetData(d2);
}

void CPrPgInputProfiles::GetData(SInputProfilesDialogData1& d1, SInputProfilesDialogData2& d2) {
    m_page1.GetData(d1);
    m_page2.GetData(d2);
}

void CPrPgInputProfiles::OnOK() {
    if (m_readOnly) return;
    CScopedPageServices current(Services());
    bool accepted = true;
    if (m_page1.HasWindow()) accepted = m_page1.Accept() && accepted;
    if (m_page2.HasWindow()) accepted = m_page2.Accept() && accepted;
    if (accepted) m_closed = true;
}
