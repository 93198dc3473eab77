#include "pages/PsCsPages.h"

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "colorspace/BaseColorSpace.h"
#include "colorspace/IccColorProfile.h"
#include "common/GlobalContext.h"
#include "common/PrintUSM.h"
#include "common/ProfileFolders.h"
#include "pages/DlgRIHelper.h"
#include "pages/IccErrorReport.h"
#include "pages/PageStrings.h"
#include "pages/ProfileImport.h"
#include "presets/PsColorSettings.h"

namespace {

// The intent that the intent lists without the advanced intents cannot show, and the one it
// becomes: relative colorimetric with black-point compensation falls back to plain relative.
constexpr int kIntentRelativeBpc = 5;
constexpr int kIntentRelative = 2;

const wchar_t* const kClassNames[kPsCsClasses] = {L"vector", L"pixel", L"text"};

std::wstring RowLabel(const SPsCsRow& row, int cls, const wchar_t* what) {
    return std::wstring(row.name) + L" " + kClassNames[cls] + L" " + what;
}

} // namespace

// --- common to both sub-pages ------------------------------------------------------------------

CPrPgPsCsSubPage::CPrPgPsCsSubPage(const SPsCsFamily& family, int page,
                                   const SPsCsPageParams& params, SPostscriptColorSettings& data)
    : CPageModel(PsCsDialogResource(params.context, family, params.interpreter, page),
                 params.readOnly),
      m_family(family), m_page(page), m_params(params), m_data(data) {}

const SPsPdfInterpreterDesc* CPrPgPsCsSubPage::DialogDesc() const {
    return PsCsInterpreterDesc(m_params.context, m_family, m_params.interpreter);
}

const SPsPdfInterpreterDesc* CPrPgPsCsSubPage::OptionsDesc() const {
    if (m_params.interpreter == PsPdfAny || !m_params.context) return nullptr;
    return m_params.context->GetInterpreterDesc(m_params.interpreter);
}

void CPrPgPsCsSubPage::AddIfPresent(unsigned int id, EControlKind kind, const std::wstring& label) {
    const SPsPdfInterpreterDesc* desc = DialogDesc();
    if (desc && desc->absentControls[static_cast<size_t>(m_page)].count(id)) return;
    AddControl(id, kind, label);
}

void CPrPgPsCsSubPage::SetData() {
    m_family.prepare(m_data, m_family, m_page);
    if (!HasWindow()) return;
    UpdateControls(0);
    CheckControlsEnabled();
}

void CPrPgPsCsSubPage::GetData() {
    if (HasWindow()) UpdateControls(1);
}

void CPrPgPsCsSubPage::OnOK() {
    if (m_params.readOnly) return;
    UpdateControls(1);
}

void CPrPgPsCsSubPage::OnDataChanged() {
    auto* outer = dynamic_cast<CPrPgPsCsOuter*>(Parent());
    if (outer && &outer->Family() == &m_family)
        outer->OnDataChanged();
    else
        CPageModel::OnDataChanged();
}

void CPrPgPsCsSubPage::OnControlChanged() {
    OnCheckControlsEnabled();
    OnDataChanged();
}

void CPrPgPsCsSubPage::OnCheckControlsEnabled() {
    UpdateControls(1);
    UpdateControls(0);
    CheckControlsEnabled();
}

int CPrPgPsCsSubPage::OnSetActive() {
    CheckControlsEnabled();
    return CPageModel::OnSetActive();
}

std::wstring CPrPgPsCsSubPage::BasePath() const {
    CPrintUSM* usm = m_params.context ? m_params.context->GetPrintUSM() : nullptr;
    return usm ? usm->GetString(IniCpBasePath) : std::wstring();
}

void CPrPgPsCsSubPage::InitIntentCombo(unsigned int id, int noAdvancedIntents, int last) {
    if (!HasControl(id)) return;
    CDlgRIHelper::InitComboBox(Combo(id), noAdvancedIntents, last);
}

void CPrPgPsCsSubPage::IntentToControl(unsigned int id, int intent) {
    SelectString(id, CDlgRIHelper::TrafoRiEnm2Str(intent));
}

void CPrPgPsCsSubPage::IntentFromControl(unsigned int id, int& intent) const {
    if (!HasControl(id)) return;
    const int value = CDlgRIHelper::TrafoRiStr2Enm(GetText(id));
    if (value >= 0) intent = value;
}

void CPrPgPsCsSubPage::InitFileCombo(unsigned int id, const wchar_t* folder) {
    if (!HasControl(id)) return;
    CFileComboBox& combo = m_fileCombos[id];
    combo.Attach(Combo(id));
    combo.SetNoFileEntry(LoadPageString(IDS_NO_FILE_ENTRY));
    combo.SetFolder(BuildFileName(BasePath(), folder), LoadPageString(IDS_PROFILE_PATTERNS),
                    kProfileFileMaskFlags);
    combo.Refill();
}

void CPrPgPsCsSubPage::RefillFileCombo(unsigned int id) {
    auto it = m_fileCombos.find(id);
    if (it == m_fileCombos.end()) return;
    const std::wstring selected = it->second.GetFileName();
    it->second.Refill();
    it->second.SelectFileName(selected);
}

void CPrPgPsCsSubPage::FileToControl(unsigned int id, const std::wstring& name) {
    auto it = m_fileCombos.find(id);
    if (it != m_fileCombos.end()) it->second.SelectFileName(name);
}

void CPrPgPsCsSubPage::FileFromControl(unsigned int id, std::wstring& name) const {
    auto it = m_fileCombos.find(id);
    if (it != m_fileCombos.end()) name = it->second.GetFileName();
}

// --- first sub-page ----------------------------------------------------------------------------

CPrPgPsCsPage1Base::CPrPgPsCsPage1Base(const SPsCsFamily& family, const SPsCsPageParams& params,
                                       SPostscriptColorSettings& data)
    : CPrPgPsCsSubPage(family, 0, params, data) {}

// Row and column labels are the captions of the controls themselves, so that they follow the
// controls they name: a colour's caption its row, a class's caption its column.
void CPrPgPsCsPage1Base::AddControls() {
    for (const SPsCsRow* row : m_family.rows) {
        for (int c = 0; c < kPsCsClasses; ++c) {
            AddIfPresent(row->fileIds[c], EControlKind::Combo, RowLabel(*row, c, L"profile"));
            AddIfPresent(row->intentIds[c], EControlKind::Combo, RowLabel(*row, c, L"intent"));
            AddIfPresent(row->embedIds[c], EControlKind::Check,
                         RowLabel(*row, c, L"use embedded profile"));
        }
        AddIfPresent(row->allSameId, EControlKind::Check,
                     std::wstring(L"Same for all ") + row->name + L" objects");
    }
    AddIfPresent(IDC_PSCS_INTEGRATED, EControlKind::Check,
                 L"Colour-manage all object classes (integrated colour management)");
    AddIfPresent(IDC_PSCS_BLACKPOINT_P1, EControlKind::Check, L"Black-point compensation");
}

int CPrPgPsCsPage1Base::OnInitDialog() {
    if (const SPsPdfInterpreterDesc* desc = OptionsDesc())
        m_bAdvancedIntents = desc->bAdvancedIntents;
    m_family.prepare(m_data, m_family, m_page);

    CPrintUSM* usm = m_params.context ? m_params.context->GetPrintUSM() : nullptr;
    const int cmykLast =
        m_family.cmykIntentsByUserSetting ? (usm && usm->GetInt(US_ShowAdvancedRIs) ? 0 : 1) : 1;
    for (const SPsCsRow* row : m_family.rows) {
        const int last = row == &kPsCsRowCmyk ? cmykLast : 1;
        for (int c = 0; c < kPsCsClasses; ++c) {
            InitIntentCombo(row->intentIds[c], !m_bAdvancedIntents, last);
            InitFileCombo(row->fileIds[c], row->folder);
        }
    }
    UpdateControls(0);
    OnControlChanged();
    return 1;
}

void CPrPgPsCsPage1Base::ExchangeRow(const SPsCsRow& row, bool save) {
    if (save) {
        if (HasControl(row.allSameId)) m_data.*row.allSame = GetCheck(row.allSameId);
        // With all-the-same, only the pixel entries count; the others keep their values.
        const bool same = m_data.*row.allSame != 0;
        for (int c = 0; c < kPsCsClasses; ++c) {
            if (same && c != PsCsPixel) continue;
            FileFromControl(row.fileIds[c], m_data.*row.files[c]);
            IntentFromControl(row.intentIds[c], m_data.*row.intents[c]);
            if (HasControl(row.embedIds[c])) m_data.*row.embeds[c] = GetCheck(row.embedIds[c]);
        }
        return;
    }
    const bool same = m_data.*row.allSame != 0;
    if (!m_bAdvancedIntents)
        for (PsCsInt intent : row.intents)
            if (m_data.*intent == kIntentRelativeBpc) m_data.*intent = kIntentRelative;
    SetCheck(row.allSameId, same);
    for (int c = 0; c < kPsCsClasses; ++c) {
        const int from = same ? PsCsPixel : c;
        FileToControl(row.fileIds[c], m_data.*row.files[from]);
        IntentToControl(row.intentIds[c], m_data.*row.intents[from]);
        SetCheck(row.embedIds[c], m_data.*row.embeds[from]);
    }
}

void CPrPgPsCsPage1Base::UpdateControls(int save) {
    for (const SPsCsRow* row : m_family.rows) ExchangeRow(*row, save != 0);
    if (save) {
        if (HasControl(IDC_PSCS_INTEGRATED))
            m_data.nUseIntegratedColormanagement = GetCheck(IDC_PSCS_INTEGRATED);
        if (HasControl(IDC_PSCS_BLACKPOINT_P1))
            m_data.nUseAdobeBlackpointCompensation = GetCheck(IDC_PSCS_BLACKPOINT_P1);
    } else {
        SetCheck(IDC_PSCS_INTEGRATED, m_data.nUseIntegratedColormanagement != 0);
        SetCheck(IDC_PSCS_BLACKPOINT_P1, m_data.nUseAdobeBlackpointCompensation != 0);
    }
    // Without the box there is no way to turn it off: the system manages every class.
    if (!HasControl(IDC_PSCS_INTEGRATED)) m_data.nUseIntegratedColormanagement = 1;
}

bool CPrPgPsCsPage1Base::Integrated() const {
    return m_data.nUseIntegratedColormanagement != 0 || !HasControl(IDC_PSCS_INTEGRATED);
}

void CPrPgPsCsPage1Base::CheckControlsEnabledRow(const SPsCsRow& row) {
    const bool s = Integrated();
    const bool pixelShown =
        s || (row.pixelMaskBit >= 0 && (m_params.channelMask >> row.pixelMaskBit & 1) != 0);
    const bool othersEnabled = m_data.*row.allSame == 0 && IsEditable();
    for (int c = 0; c < kPsCsClasses; ++c) {
        const bool pixel = c == PsCsPixel;
        SafeShowWindow(row.fileIds[c], pixel ? pixelShown : s);
        SafeShowWindow(row.intentIds[c], pixel ? pixelShown : s);
        // Check boxes, the pixel one too, exist only for integrated colour management.
        SafeShowWindow(row.embedIds[c], s);
        if (pixel) continue;
        SafeEnableWindow(row.fileIds[c], othersEnabled);
        SafeEnableWindow(row.intentIds[c], othersEnabled);
        SafeEnableWindow(row.embedIds[c], othersEnabled);
    }
    SafeShowWindow(row.allSameId, s);
}

void CPrPgPsCsPage1Base::CheckControlsEnabled() {
    for (const SPsCsRow* row : m_family.rows) CheckControlsEnabledRow(*row);
}

void CPrPgPsCsPage1Base::OnControlChangedRow(const SPsCsRow& row) {
    UpdateControls(1);
    UpdateControls(0);
    CheckControlsEnabledRow(row);
    OnDataChanged();
}

bool CPrPgPsCsPage1Base::OnCommand(unsigned int id) {
    if (!HasControl(id)) return false;
    if (m_family.pdfRules) {
        for (const SPsCsRow* row : m_family.rows) {
            bool inRow = id == row->allSameId;
            for (int c = 0; c < kPsCsClasses; ++c)
                inRow = inRow || id == row->fileIds[c] || id == row->intentIds[c] ||
                        id == row->embedIds[c];
            if (inRow) {
                OnControlChangedRow(*row);
                return true;
            }
        }
    }
    OnControlChanged();
    return true;
}

// --- second sub-page ---------------------------------------------------------------------------

CPrPgPsCsPage2Base::CPrPgPsCsPage2Base(const SPsCsFamily& family, const SPsCsPageParams& params,
                                       SPostscriptColorSettings& data)
    : CPrPgPsCsSubPage(family, 1, params, data) {}

void CPrPgPsCsPage2Base::AddControls() {
    for (const SPsCsCheck& check : PsCsPage2Checks(m_family))
        AddIfPresent(check.id, EControlKind::Check, check.label);
    AddIfPresent(IDC_PSCS_LABEL_DEFOUT_CMYK, EControlKind::Text, L"Default CMYK output profile");
    AddIfPresent(IDC_PSCS_DEFOUT_CMYK, EControlKind::Combo, L"CMYK output profile");
    AddIfPresent(IDC_PSCS_IMPORT_CMYK, EControlKind::Button, L"Import CMYK profile...");
    AddIfPresent(IDC_PSCS_LABEL_DEFOUT_RGB, EControlKind::Text, L"Default RGB output profile");
    AddIfPresent(IDC_PSCS_DEFOUT_RGB, EControlKind::Combo, L"RGB output profile");
    AddIfPresent(IDC_PSCS_IMPORT_RGB, EControlKind::Button, L"Import RGB profile...");
    AddIfPresent(IDC_PSCS_LABEL_AFTER_INTERMEDIATE_RI, EControlKind::Text,
                 L"Intent after the intermediate space");
    AddIfPresent(IDC_PSCS_AFTER_INTERMEDIATE_RI, EControlKind::Combo, L"Intent");
    AddIfPresent(IDC_PSCS_LABEL_OI_CMYK, EControlKind::Text, L"Output intent for CMYK objects");
}

int CPrPgPsCsPage2Base::OnInitDialog() {
    for (const SPsCsAltText& alt : m_family.intermediateTexts)
        m_texts[alt.id] = {GetLabel(alt.id), LoadPageString(alt.altStringId)};
    if (m_family.pdfRules)
        m_texts[IDC_PSCS_INTERMEDIATE] = {GetLabel(IDC_PSCS_INTERMEDIATE),
                                          LoadPageString(IDS_PDFCS_INTERMEDIATE_PDFX)};
    if (const SPsPdfInterpreterDesc* desc = OptionsDesc())
        m_bDefaultOutputOptional = desc->bDefaultOutputOptional;

    m_family.prepare(m_data, m_family, m_page);
    InitIntentCombo(IDC_PSCS_AFTER_INTERMEDIATE_RI, 1, 1);
    InitFileCombo(IDC_PSCS_DEFOUT_CMYK, kFolderPrinter);
    InitFileCombo(IDC_PSCS_DEFOUT_RGB, kFolderPrinterRgb);

    if (m_params.noReplacement) {
        SafeShowWindow(IDC_PSCS_NC_REPLACEMENT, false);
        // The PDF page has no box for DeviceN replacement; its setting goes all the same.
        if (!m_family.pdfRules) SafeShowWindow(IDC_PSCS_NC_REPLACEMENT_DEVICEN, false);
        m_data.nUseNCReplacement = 0;
        m_data.nUseNCReplacementForDeviceN = 0;
    }
    if (m_family.pdfRules && m_params.interpreter != PsPdfPDFVariant) {
        SafeShowWindow(IDC_PSCS_INTERPRETER5, false);
        m_data.nInterpreter5Option = 0;
    }
    UpdateControls(0);
    CheckUseOipAsOutProf();
    return 1;
}

void CPrPgPsCsPage2Base::UpdateControls(int save) {
    for (const SPsCsCheck& check : PsCsPage2Checks(m_family)) {
        if (!HasControl(check.id)) continue;
        if (save)
            m_data.*check.field = GetCheck(check.id);
        else
            SetCheck(check.id, m_data.*check.field != 0);
    }
    if (save) {
        FileFromControl(IDC_PSCS_DEFOUT_CMYK, m_data.sDefaultOutputProfileCMYK);
        FileFromControl(IDC_PSCS_DEFOUT_RGB, m_data.sDefaultOutputProfileRGB);
        IntentFromControl(IDC_PSCS_AFTER_INTERMEDIATE_RI, m_data.nAfterIntermediateOutputProfileRI);
    } else {
        FileToControl(IDC_PSCS_DEFOUT_CMYK, m_data.sDefaultOutputProfileCMYK);
        FileToControl(IDC_PSCS_DEFOUT_RGB, m_data.sDefaultOutputProfileRGB);
        IntentToControl(IDC_PSCS_AFTER_INTERMEDIATE_RI, m_data.nAfterIntermediateOutputProfileRI);
    }
    // A dialog without the box offers no default PDF/X handling.
    if (!HasControl(IDC_PSCS_PDFX_DEFAULT)) m_data.nUseDefaultPDFXHandling = 0;
}

void CPrPgPsCsPage2Base::SetAltText(unsigned int id, bool alternative) {
    auto it = m_texts.find(id);
    if (it != m_texts.end()) SetLabel(id, alternative ? it->second.alternative : it->second.own);
}

void CPrPgPsCsPage2Base::CheckControlsEnabled() {
    const bool intermediate = m_data.nUseIntermediateColorSpace != 0;
    for (const SPsCsAltText& alt : m_family.intermediateTexts) SetAltText(alt.id, intermediate);
    if (m_family.pdfRules)
        CheckControlsPDF(intermediate);
    else
        CheckControlsPostScriptGhostSep(intermediate);
}

void CPrPgPsCsPage2Base::CheckControlsPostScriptGhostSep(bool x) {
    const bool s = m_data.nUseIntegratedColormanagement != 0;
    const bool rgb = (m_params.channelMask & 1) != 0;
    const bool cmyk = (m_params.channelMask & 2) != 0;

    const bool cmykOut = (s && cmyk) || (x && !m_bDefaultOutputOptional);
    for (unsigned int id : {IDC_PSCS_DEFOUT_CMYK, IDC_PSCS_IMPORT_CMYK, IDC_PSCS_LABEL_DEFOUT_CMYK})
        SafeShowWindow(id, cmykOut);
    for (unsigned int id : {IDC_PSCS_DEFOUT_RGB, IDC_PSCS_IMPORT_RGB, IDC_PSCS_LABEL_DEFOUT_RGB})
        SafeShowWindow(id, s && rgb);
    SafeShowWindow(IDC_PSCS_AFTER_INTERMEDIATE_RI, s && x);
    SafeShowWindow(IDC_PSCS_LABEL_AFTER_INTERMEDIATE_RI, s && x);

    // The output-intent options belong to the page of a job, not of a preset.
    const bool outputIntent = m_params.first == 0 && s;
    for (unsigned int id : {IDC_PSCS_OIP_AS_SIM, IDC_PSCS_OI_CMYK_VECTOR, IDC_PSCS_OI_CMYK_PIXEL,
                            IDC_PSCS_OI_CMYK_TEXT, IDC_PSCS_LABEL_OI_CMYK})
        SafeShowWindow(id, outputIntent);
    SafeShowWindow(IDC_PSCS_OIP_AS_OUT, outputIntent && cmyk);

    for (unsigned int id : {IDC_PSCS_GRAY_AS_RGB, IDC_PSCS_CMYK_DEVICEN, IDC_PSCS_INTERMEDIATE})
        SafeShowWindow(id, s);
    SafeShowWindow(IDC_PSCS_NC_REPLACEMENT_DEVICEN, s && !m_params.noReplacement);

    SafeEnableWindow(IDC_PSCS_OIP_AS_SIM, m_data.nUseOIPAsOutProf == 0 && IsEditable());
    if (m_family.outputIntentByPdfx) {
        const bool noPdfx = m_data.nUseDefaultPDFXHandling == 0;
        for (unsigned int id : {IDC_PSCS_OI_CMYK_VECTOR, IDC_PSCS_OI_CMYK_PIXEL,
                                IDC_PSCS_OI_CMYK_TEXT, IDC_PSCS_LABEL_OI_CMYK})
            SafeEnableWindow(id, noPdfx);
    }
}

void CPrPgPsCsPage2Base::CheckControlsPDF(bool x) {
    const bool rgb = (m_params.channelMask & 1) != 0;
    const bool cmyk = (m_params.channelMask & 2) != 0;
    const bool pdfx = m_data.nUseDefaultPDFXHandling != 0;

    const bool cmykOut = cmyk || (x && !m_bDefaultOutputOptional);
    for (unsigned int id : {IDC_PSCS_DEFOUT_CMYK, IDC_PSCS_IMPORT_CMYK, IDC_PSCS_LABEL_DEFOUT_CMYK})
        SafeShowWindow(id, cmykOut);
    for (unsigned int id : {IDC_PSCS_DEFOUT_RGB, IDC_PSCS_IMPORT_RGB, IDC_PSCS_LABEL_DEFOUT_RGB})
        SafeShowWindow(id, rgb);
    SafeShowWindow(IDC_PSCS_AFTER_INTERMEDIATE_RI, x);
    SafeShowWindow(IDC_PSCS_LABEL_AFTER_INTERMEDIATE_RI, x);

    for (unsigned int id : {IDC_PSCS_OI_CMYK_VECTOR, IDC_PSCS_OI_CMYK_PIXEL, IDC_PSCS_OI_CMYK_TEXT,
                            IDC_PSCS_LABEL_OI_CMYK, IDC_PSCS_INTERMEDIATE, IDC_PSCS_CMYK_DEVICEN})
        SafeShowWindow(id, true);
    for (unsigned int id : {IDC_PSCS_OI_CMYK_VECTOR, IDC_PSCS_OI_CMYK_PIXEL, IDC_PSCS_OI_CMYK_TEXT,
                            IDC_PSCS_LABEL_OI_CMYK})
        SafeEnableWindow(id, !pdfx);
    SetAltText(IDC_PSCS_INTERMEDIATE, pdfx);
}

void CPrPgPsCsPage2Base::CheckUseOipAsOutProf() {
    UpdateControls(1);
    if (m_data.nUseOIPAsOutProf) m_data.nUseOIPAsSimProf = 0;
    UpdateControls(0);
    CheckControlsEnabled();
}

bool CPrPgPsCsPage2Base::OnCommand(unsigned int id) {
    if (!HasControl(id)) return false;
    switch (id) {
    case IDC_PSCS_IMPORT_CMYK:
        OnImportProfileCMYK();
        return true;
    case IDC_PSCS_IMPORT_RGB:
        OnImportProfileRGB();
        return true;
    case IDC_PSCS_OIP_AS_OUT: // PostScript and Ghostscript only
        OnBnClickedUseOipAsOutProf();
        OnDataChanged();
        return true;
    default:
        break;
    }
    OnControlChanged();
    return true;
}

int CPrPgPsCsPage2Base::ImportProfile(int isRgb) {
    const std::wstring source = ChooseProfileToImport(Services());
    if (source.empty()) return 0;

    // Look into the file before anything is copied: a wrong file leaves no trace.
    CIccColorProfile profile;
    CPrintUSM* usm = m_params.context ? m_params.context->GetPrintUSM() : nullptr;
    const icColorSpaceSignature wanted = isRgb ? icSigRgbData : icSigCmykData;
    int error = 0;
    if (!profile.LoadIccFile(source.c_str(), usm))
        error = ICC_ERR_LOAD_FAILED;
    else if (profile.DeviceColorSpaceSignature() != wanted)
        error = ICC_ERR_CHANNEL_MISMATCH;
    if (error) {
        ReportIccError(error, SplitFileName(source).c_str());
        return 0;
    }

    const unsigned int comboId = isRgb ? IDC_PSCS_DEFOUT_RGB : IDC_PSCS_DEFOUT_CMYK;
    const std::wstring folder =
        BuildFileName(BasePath(), isRgb ? kFolderPrinterRgb : kFolderPrinter);
    const SImportedFile copied = CopyProfileIntoFolder(source, folder);
    if (!copied.bCopied) return 0;
    // The list shows the new file; the selection stays the user's.
    RefillFileCombo(comboId);
    return 1;
}

// --- outer page --------------------------------------------------------------------------------

CPrPgPsCsOuter::CPrPgPsCsOuter(const SPsCsFamily& family, const SPsCsPageParams& params,
                               const wchar_t* name)
    : CPageModel(family.outerDialog, params.readOnly), m_family(family), m_params(params),
      m_name(name ? name : L"") {}

void CPrPgPsCsOuter::SetData(const SPostscriptColorSettings& settings) {
    // The configuration first, then every given field over it: the given settings win.
    CPrintUSM* usm = m_params.context ? m_params.context->GetPrintUSM() : nullptr;
    LoadPsColorDefaults(m_settings, m_family.defaultsInterpreter, usm);
    m_settings = settings;
    m_page1->SetData();
    m_page2->SetData();
}

void CPrPgPsCsOuter::GetData(SPostscriptColorSettings& settings) {
    m_page1->GetData();
    m_page2->GetData();
    settings = m_settings;
}

void CPrPgPsCsOuter::OnOK() {
    if (m_params.readOnly) return;
    for (CPageModel* page : SubPages())
        if (page->HasWindow()) page->OnOK();
}
