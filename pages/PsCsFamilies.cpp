#include "pages/PsCsFamilies.h"

#include <iterator>

#include "base/PathUtil.h"
#include "common/GlobalContext.h"
#include "common/ProfileFolders.h"

using S = SPostscriptColorSettings;

// clang-format off
const SPsCsRow kPsCsRowRgb = {
    L"RGB", {1457, 1458, 1459}, {1264, 1265, 1266}, {1455, 1078, 1079}, 1609,
    {&S::sInputProfileRGBVector, &S::sInputProfileRGBPixel, &S::sInputProfileRGBText},
    {&S::nRI_RGBVector, &S::nRI_RGBPixel, &S::nRI_RGBText},
    {&S::nUseEmbedRgbVector, &S::nUseEmbedRgbPixel, &S::nUseEmbedRgbText},
    &S::nRGBUseAllTheSame, kFolderInputRgb, 0};
const SPsCsRow kPsCsRowCmyk = {
    L"CMYK", {1460, 1461, 1462}, {1267, 1268, 1269}, {1456, 1080, 1081}, 1610,
    {&S::sInputProfileCMYKVector, &S::sInputProfileCMYKPixel, &S::sInputProfileCMYKText},
    {&S::nRI_CMYKVector, &S::nRI_CMYKPixel, &S::nRI_CMYKText},
    {&S::nUseEmbedCmykVector, &S::nUseEmbedCmykPixel, &S::nUseEmbedCmykText},
    &S::nCMYKUseAllTheSame, kFolderInputCmyk, 1};
// The gray row's numbers do not run in class order: the dialog has them so.
const SPsCsRow kPsCsRowGray = {
    L"gray", {1464, 1463, 1466}, {1271, 1270, 1272}, {1465, 1082, 1083}, 1611,
    {&S::sInputProfileGrayVector, &S::sInputProfileGrayPixel, &S::sInputProfileGrayText},
    {&S::nRI_GrayVector, &S::nRI_GrayPixel, &S::nRI_GrayText},
    {&S::nUseEmbedGrayVector, &S::nUseEmbedGrayPixel, &S::nUseEmbedGrayText},
    &S::nGrayUseAllTheSame, kFolderInputGray, -1};
const SPsCsRow kPsCsRowLab = {
    L"Lab", {1468, 1467, 1470}, {1274, 1273, 1275}, {1469, 1084, 1085}, 1616,
    {&S::sInputProfileLabVector, &S::sInputProfileLabPixel, &S::sInputProfileLabText},
    {&S::nRI_LabVector, &S::nRI_LabPixel, &S::nRI_LabText},
    {&S::nUseEmbedLabVector, &S::nUseEmbedLabPixel, &S::nUseEmbedLabText},
    &S::nLabUseAllTheSame, kFolderInputLab, -1};

// The check boxes of every family's second sub-page. 1474 reads as 0 where a dialog lacks it
// (see the page); the default outputs and 1533 are combos.
const SPsCsCheck kPsCsChecksAllFamilies[] = {
    {IDC_PSCS_INTERMEDIATE,   &S::nUseIntermediateColorSpace,
                                               L"Convert through an intermediate colour space"},
    {IDC_PSCS_CMYK_DEVICEN,   &S::nUseCMYKColorManagementForDeviceN,
                                                   L"Colour-manage DeviceN colorants as CMYK"},
    {IDC_PSCS_NC_REPLACEMENT, &S::nUseNCReplacement,        L"Replace named colours"},
    {IDC_PSCS_PDFX_DEFAULT,   &S::nUseDefaultPDFXHandling,  L"Default PDF/X handling"},
    {IDC_PSCS_OI_CMYK_VECTOR, &S::nUseEmbeddedOICmykVector, L"Use the output intent for CMYK vector objects"},
    {IDC_PSCS_OI_CMYK_PIXEL,  &S::nUseEmbeddedOICmykPixel,  L"Use the output intent for CMYK pixel objects"},
    {IDC_PSCS_OI_CMYK_TEXT,   &S::nUseEmbeddedOICmykText,   L"Use the output intent for CMYK text"}};

namespace {

const SPsCsRow* const kRowsPostScript[] = {&kPsCsRowRgb, &kPsCsRowCmyk};
const SPsCsRow* const kRowsGhostSep[] = {&kPsCsRowRgb, &kPsCsRowCmyk, &kPsCsRowGray};
const SPsCsRow* const kRowsPDF[] = {&kPsCsRowRgb, &kPsCsRowCmyk, &kPsCsRowLab, &kPsCsRowGray};

// Labels of the check boxes that more than one family has.
constexpr const wchar_t* kLabelGrayAsRgb = L"Treat gray as RGB";
constexpr const wchar_t* kLabelNcDeviceN = L"Replace named colours of DeviceN";
constexpr const wchar_t* kLabelBlackpoint = L"Black-point compensation";
constexpr const wchar_t* kLabelOipAsSim = L"Use the output intent profile as simulation profile";
constexpr const wchar_t* kLabelOipAsOut = L"Use the output intent profile as output profile";
constexpr const wchar_t* kLabelOverprint = L"Simulate overprinting";

// The check boxes of each family's second sub-page beside those of kPsCsChecksAllFamilies.
const SPsCsCheck kChecksPostScript[] = {
    {IDC_PSCS_GRAY_AS_RGB,            &S::nTreatGrayAsRgb,                 kLabelGrayAsRgb},
    {IDC_PSCS_NC_REPLACEMENT_DEVICEN, &S::nUseNCReplacementForDeviceN,     kLabelNcDeviceN},
    {IDC_PSCS_BLACKPOINT,             &S::nUseAdobeBlackpointCompensation, kLabelBlackpoint},
    {IDC_PSCS_OIP_AS_SIM,             &S::nUseOIPAsSimProf,                kLabelOipAsSim},
    {IDC_PSCS_OIP_AS_OUT,             &S::nUseOIPAsOutProf,                kLabelOipAsOut}};
const SPsCsCheck kChecksGhostSep[] = {
    {IDC_PSCS_GRAY_AS_RGB,            &S::nTreatGrayAsRgb,                 kLabelGrayAsRgb},
    {IDC_PSCS_NC_REPLACEMENT_DEVICEN, &S::nUseNCReplacementForDeviceN,     kLabelNcDeviceN},
    {IDC_PSCS_BLACKPOINT,             &S::nUseAdobeBlackpointCompensation, kLabelBlackpoint},
    {IDC_PSCS_OIP_AS_SIM,             &S::nUseOIPAsSimProf,                kLabelOipAsSim},
    {IDC_PSCS_OIP_AS_OUT,             &S::nUseOIPAsOutProf,                kLabelOipAsOut},
    {IDC_PSCS_OVERPRINT,              &S::nSimulateOverprinting,           kLabelOverprint}};
const SPsCsCheck kChecksPDF[] = {
    {IDC_PSCS_OVERPRINT,         &S::nSimulateOverprinting,                  kLabelOverprint},
    {IDC_PSCS_INTERPRETER5,      &S::nInterpreter5Option,                    L"Interpreter option"},
    {IDC_PSCS_RGB_PAGE_SPACE,    &S::nUseRGBPageColorSpaceForColorManagement,
                                                         L"Use RGB as the page's colour space"},
    {IDC_PSCS_NORMAL_BLEND_ONLY, &S::nOnlyColorManageNormalBlendMode,
                                            L"Colour-manage only objects in normal blend mode"}};

const SPsCsAltText kAltPostScriptGhostSep[] = {
    {IDC_PSCS_LABEL_DEFOUT_CMYK, IDS_PSCS_INTERMEDIATE_CMYK},
    {IDC_PSCS_LABEL_DEFOUT_RGB, IDS_PSCS_INTERMEDIATE_RGB},
    {IDC_PSCS_OIP_AS_OUT, IDS_PSCS_OIP_AS_INTERMEDIATE}};
const SPsCsAltText kAltPDF[] = {{IDC_PSCS_LABEL_DEFOUT_CMYK, IDS_PSCS_INTERMEDIATE_CMYK}};

} // namespace

//                                           name           outer  defaults            rows
const SPsCsFamily kPsCsFamilyPostScript = {L"PostScript",   13335, PsPdfPostScript,    kRowsPostScript,
    PreparePsCsOnIn,         kChecksPostScript, kAltPostScriptGhostSep, true,  false, false};
const SPsCsFamily kPsCsFamilyGhostSep   = {L"Ghostscript",  26406, PsPdfGhostscriptSep, kRowsGhostSep,
    PreparePsCsOnIn,         kChecksGhostSep,   kAltPostScriptGhostSep, true,  false, true};
const SPsCsFamily kPsCsFamilyPDF        = {L"PDF",          13337, PsPdfPDF,           kRowsPDF,
    PreparePDFAurelonCsOnIn, kChecksPDF,        kAltPDF,                false, true,  true};
// clang-format on

namespace {

void Reduce(std::wstring& field) {
    field = SplitFileName(field);
}

void ReduceRows(SPostscriptColorSettings& s, const SPsCsFamily& family) {
    for (const SPsCsRow* row : family.rows)
        for (PsCsStr f : row->files) Reduce(s.*f);
}

void ReduceDefaultOutputs(SPostscriptColorSettings& s) {
    Reduce(s.sDefaultOutputProfileCMYK);
    Reduce(s.sDefaultOutputProfileRGB);
}

} // namespace

void PreparePsCsOnIn(SPostscriptColorSettings& settings, const SPsCsFamily& family, int page) {
    if (page == 0) ReduceRows(settings, family);
    ReduceDefaultOutputs(settings);
}

void PreparePDFAurelonCsOnIn(SPostscriptColorSettings& settings, const SPsCsFamily& family,
                             int page) {
    if (page == 0)
        ReduceRows(settings, family);
    else
        ReduceDefaultOutputs(settings);
}

std::vector<SPsCsCheck> PsCsPage2Checks(const SPsCsFamily& family) {
    std::vector<SPsCsCheck> checks(std::begin(kPsCsChecksAllFamilies),
                                   std::end(kPsCsChecksAllFamilies));
    checks.insert(checks.end(), family.page2Checks.begin(), family.page2Checks.end());
    return checks;
}

ePsPdfInterpreter PsCsDialogInterpreter(const SPsCsFamily& family, ePsPdfInterpreter interpreter) {
    return interpreter == PsPdfAny ? family.defaultsInterpreter : interpreter;
}

const SPsPdfInterpreterDesc* PsCsInterpreterDesc(CGlobalContext* context, const SPsCsFamily& family,
                                                 ePsPdfInterpreter interpreter) {
    if (!context) return nullptr;
    return context->GetInterpreterDesc(PsCsDialogInterpreter(family, interpreter));
}

unsigned int PsCsDialogResource(CGlobalContext* context, const SPsCsFamily& family,
                                ePsPdfInterpreter interpreter, int page) {
    const SPsPdfInterpreterDesc* desc = PsCsInterpreterDesc(context, family, interpreter);
    return desc && (page == 0 || page == 1) ? desc->nPageDialog[static_cast<size_t>(page)] : 0;
}
