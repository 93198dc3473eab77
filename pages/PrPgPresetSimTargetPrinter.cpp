#include "pages/PrPgPresetSimTargetPrinter.h"

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "common/GlobalContext.h"
#include "common/PrintUSM.h"
#include "common/ProfileFolders.h"
#include "pages/DlgRIHelper.h"
#include "pages/PageServicesScope.h"
#include "pages/PageStrings.h"
#include "pages/ProfileImport.h"
#include "pages/ShellFileOps.h"

namespace {

CPrintUSM* Usm(CGlobalContext* context) {
    return context ? context->GetPrintUSM() : CPrintUSM::GetInstance();
}

} // namespace

CPrPgPresetSimTargetPrinter::CPrPgPresetSimTargetPrinter(CGlobalContext* context, int readOnly,
                                                         const wchar_t* name)
    : CPageModel(IDD_PRPG_SIMTARGETPRINTER, readOnly), m_context(context),
      m_name(name ? name : L""), m_readOnly(readOnly), m_info(CPrintUSM::GetInstance()) {
    m_combo.SetNoFileEntry(LoadPageString(IDS_NO_FILE_ENTRY));
}

void CPrPgPresetSimTargetPrinter::AddControls() {
    AddControl(IDC_ST_FILE, EControlKind::Combo, L"Simulation target profile");
    AddControl(IDC_ST_IMPORT, EControlKind::Button, L"Import simulation target profile...");
    AddControl(IDC_ST_INFO, EControlKind::Text, L"Profile information");
    AddControl(IDC_ST_DELETE, EControlKind::Button, L"Delete simulation target profile");
    AddControl(IDC_ST_INTENT, EControlKind::Combo, L"Rendering intent");
    m_combo.Attach(Combo(IDC_ST_FILE));
}

int CPrPgPresetSimTargetPrinter::OnInitDialog() {
    CPageModel::OnInitDialog();
    CDlgRIHelper::InitComboBox(Combo(IDC_ST_INTENT), 1, 1);
    const std::wstring base = Usm(m_context)->GetString(IniCpBasePath);
    m_combo.SetFolder(BuildFileName(base.c_str(), kFolderSimTarget),
                      LoadPageString(IDS_PROFILE_PATTERNS), kProfileFileMaskFlags);
    m_combo.Refill();
    UpdateData(false);
    OnSelchangeComboSimTarget();
    return 1;
}

bool CPrPgPresetSimTargetPrinter::OnCommand(unsigned int id) {
    switch (id) {
    case IDC_ST_FILE:
        OnSelchangeComboSimTarget();
        OnChanged();
        return true;
    case IDC_ST_INTENT:
        OnChanged();
        return true;
    case IDC_ST_IMPORT:
        OnImportSimTarget();
        return true;
    case IDC_ST_DELETE:
        OnDeleteSimTarget();
        return true;
    default:
        return false;
    }
}

void CPrPgPresetSimTargetPrinter::UpdateData(bool save) {
    if (save) {
        m_sProfileName = m_combo.GetFileName();
        // An empty combo text leaves the intent as it was.
        const std::wstring text = GetText(IDC_ST_INTENT);
        const int intent = CDlgRIHelper::TrafoRiStr2Enm(text);
        if (!text.empty() && intent >= 0) m_nRenderingIntent = intent;
    } else {
        m_combo.SelectFileName(m_sProfileName);
        SelectString(IDC_ST_INTENT, CDlgRIHelper::TrafoRiEnm2Str(m_nRenderingIntent));
    }
}

int CPrPgPresetSimTargetPrinter::DoImport(CFileComboBox& combo, int& previousSelection,
                                          std::wstring& name, IPageServices* parent) {
    CScopedPageServices current(parent);
    const std::wstring path = ChooseProfileToImport(parent);
    if (path.empty()) return 0;
    const SImportedFile imported = CopyProfileIntoFolder(path, combo.GetFolder());
    if (!imported.bCopied) return 0;
    // Only the renaming gives a bare name; otherwise the name stays the source's full path,
    // which is no entry of the combo.
    name = imported.bRenamed ? imported.sName : path;
    previousSelection = combo.GetCurSel();
    combo.Refill();
    const int index = combo.FindFileName(name);
    if (index < 0) return 0;
    combo.SetCurSel(index);
    return 1;
}

void CPrPgPresetSimTargetPrinter::OnImportSimTarget() {
    IPageServices* parent = Parent() ? Parent()->Services() : Services();
    int previousSelection = -1;
    std::wstring name;
    if (!DoImport(m_combo, previousSelection, name, parent)) return;
    UpdateData(true);
    DeleteIfNotOk(name, m_combo, previousSelection, IDC_ST_DELETE);
}

void CPrPgPresetSimTargetPrinter::DeleteIfNotOk(const std::wstring& path, CFileComboBox& combo,
                                                int previousSelection,
                                                unsigned int deleteButtonId) {
    CScopedPageServices current(Services());
    ShDeleteFile(path.c_str(), 1);
    combo.Refill();
    combo.SetCurSel(previousSelection);
    OnSelchangeCombo(combo, deleteButtonId);
}

void CPrPgPresetSimTargetPrinter::OnDeleteSimTarget() {
    CScopedPageServices current(Services());
    UpdateData(true);
    if (m_sProfileName.empty()) return;
    const std::wstring path = m_combo.BuildPathName(m_sProfileName);
    if (!ShDeleteFile(path.c_str(), 0)) return;
    // The file is gone at the user's wish: the page goes back to the entry for no file.
    m_sProfileName.clear();
    m_combo.Refill();
    UpdateData(false);
    OnSelchangeComboSimTarget();
}

void CPrPgPresetSimTargetPrinter::OnSelchangeCombo(CFileComboBox& combo,
                                                   unsigned int deleteButtonId) {
    SafeEnableWindow(deleteButtonId, combo.HasFileSelected() && !m_readOnly);
    const SProfileInfo info = m_info.UpdateInfoText(combo.GetPathName().c_str());
    if (info.bUpdate) SetText(IDC_ST_INFO, combo.HasFileSelected() ? info.sText : L"");
}

void CPrPgPresetSimTargetPrinter::OnSelchangeComboSimTarget() {
    OnSelchangeCombo(m_combo, IDC_ST_DELETE);
    SafeEnableWindow(IDC_ST_INTENT, m_combo.HasFileSelected());
}

void CPrPgPresetSimTargetPrinter::OnChanged() {
    OnCheckControls();
    CPSOPropPg::OnDataChanged();
}

void CPrPgPresetSimTargetPrinter::OnCheckControls() {
    UpdateData(true);
    UpdateData(false);
    CheckControlsEnabled();
}

int CPrPgPresetSimTargetPrinter::OnSetActive() {
    CheckControlsEnabled();
    return CPageModel::OnSetActive();
}

int CPrPgPresetSimTargetPrinter::OnKillActive() {
    if (HasWindow()) UpdateData(true);
    return CPageModel::OnKillActive();
}
