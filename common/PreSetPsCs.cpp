#include "common/PreSetPsCs.h"

#include "base/IniEntries.h"
#include "common/ProfileFolders.h"

using S = SPostscriptColorSettings;

// clang-format off
#define KVR_INT(tag, field, entry) {tag, &S::field, nullptr, entry, nullptr}
#define KVR_PROF(tag, field, entry, folder) {tag, nullptr, &S::field, entry, folder}
// clang-format on

std::span<const SPsCsField> PsCsFields() {
    // Element names are the setting keys that give the defaults, so that a preset file and the
    // settings file can be compared by eye.
    static const SPsCsField fields[] = {
        KVR_INT(L"UseIntegratedColormanagement", nUseIntegratedColormanagement,
                &IniUseIntegratedColormanagement),
        KVR_INT(L"RGBUseAllTheSame", nRGBUseAllTheSame, &IniPostscriptRGBUseAllTheSame),
        KVR_INT(L"CMYKUseAllTheSame", nCMYKUseAllTheSame, &IniPostscriptCMYKUseAllTheSame),
        KVR_INT(L"LabUseAllTheSame", nLabUseAllTheSame, &IniPostscriptLabUseAllTheSame),
        KVR_INT(L"GrayUseAllTheSame", nGrayUseAllTheSame, &IniPostscriptGrayUseAllTheSame),
        KVR_INT(L"TreatGrayAsRgb", nTreatGrayAsRgb, &IniPostscriptTreatGrayAsRgb),
        KVR_INT(L"UseNCReplacement", nUseNCReplacement, &IniPostscriptUseNCReplacement),
        KVR_INT(L"UseNCReplacementForDeviceN", nUseNCReplacementForDeviceN,
                &IniPostscriptUseNCReplacementForDeviceN),
        KVR_INT(L"UseOIPAsSimProf", nUseOIPAsSimProf, &IniPostscriptUseOIPAsSimProf),
        KVR_INT(L"UseOIPAsOutProf", nUseOIPAsOutProf, &IniPostscriptUseOIPAsOutProf),
        KVR_INT(L"UseEmbedRgbVector", nUseEmbedRgbVector, &IniPostscriptUseEmbedRgbVector),
        KVR_INT(L"UseEmbedRgbPixel", nUseEmbedRgbPixel, &IniPostscriptUseEmbedRgbPixel),
        KVR_INT(L"UseEmbedRgbText", nUseEmbedRgbText, &IniPostscriptUseEmbedRgbText),
        KVR_INT(L"UseEmbedCmykVector", nUseEmbedCmykVector, &IniPostscriptUseEmbedCmykVector),
        KVR_INT(L"UseEmbedCmykPixel", nUseEmbedCmykPixel, &IniPostscriptUseEmbedCmykPixel),
        KVR_INT(L"UseEmbedCmykText", nUseEmbedCmykText, &IniPostscriptUseEmbedCmykText),
        KVR_INT(L"UseEmbedLabVector", nUseEmbedLabVector, &IniPostscriptUseEmbedLabVector),
        KVR_INT(L"UseEmbedLabPixel", nUseEmbedLabPixel, &IniPostscriptUseEmbedLabPixel),
        KVR_INT(L"UseEmbedLabText", nUseEmbedLabText, &IniPostscriptUseEmbedLabText),
        KVR_INT(L"UseEmbedGrayVector", nUseEmbedGrayVector, &IniPostscriptUseEmbedGrayVector),
        KVR_INT(L"UseEmbedGrayPixel", nUseEmbedGrayPixel, &IniPostscriptUseEmbedGrayPixel),
        KVR_INT(L"UseEmbedGrayText", nUseEmbedGrayText, &IniPostscriptUseEmbedGrayText),
        KVR_INT(L"UseEmbeddedOICmykVector", nUseEmbeddedOICmykVector,
                &IniPostscriptUseEmbeddedOICmykVector),
        KVR_INT(L"UseEmbeddedOICmykPixel", nUseEmbeddedOICmykPixel,
                &IniPostscriptUseEmbeddedOICmykPixel),
        KVR_INT(L"UseEmbeddedOICmykText", nUseEmbeddedOICmykText,
                &IniPostscriptUseEmbeddedOICmykText),
        KVR_INT(L"RI_RGBPixel", nRI_RGBPixel, &IniPostscriptRI_RGBPixel),
        KVR_INT(L"RI_RGBVector", nRI_RGBVector, &IniPostscriptRI_RGBVector),
        KVR_INT(L"RI_RGBText", nRI_RGBText, &IniPostscriptRI_RGBText),
        KVR_INT(L"RI_CMYKPixel", nRI_CMYKPixel, &IniPostscriptRI_CMYKPixel),
        KVR_INT(L"RI_CMYKVector", nRI_CMYKVector, &IniPostscriptRI_CMYKVector),
        KVR_INT(L"RI_CMYKText", nRI_CMYKText, &IniPostscriptRI_CMYKText),
        KVR_INT(L"RI_LabPixel", nRI_LabPixel, &IniPostscriptRI_LabPixel),
        KVR_INT(L"RI_LabVector", nRI_LabVector, &IniPostscriptRI_LabVector),
        KVR_INT(L"RI_LabText", nRI_LabText, &IniPostscriptRI_LabText),
        KVR_INT(L"RI_GrayPixel", nRI_GrayPixel, &IniPostscriptRI_GrayPixel),
        KVR_INT(L"RI_GrayVector", nRI_GrayVector, &IniPostscriptRI_GrayVector),
        KVR_INT(L"RI_GrayText", nRI_GrayText, &IniPostscriptRI_GrayText),
        KVR_PROF(L"InputProfileRGBVector", sInputProfileRGBVector,
                 &IniPostscriptInputProfileRGBVector, kFolderInputRgb),
        KVR_PROF(L"InputProfileRGBPixel", sInputProfileRGBPixel, &IniPostscriptInputProfileRGBPixel,
                 kFolderInputRgb),
        KVR_PROF(L"InputProfileRGBText", sInputProfileRGBText, &IniPostscriptInputProfileRGBText,
                 kFolderInputRgb),
        KVR_PROF(L"InputProfileCMYKVector", sInputProfileCMYKVector,
                 &IniPostscriptInputProfileCMYKVector, kFolderInputCmyk),
        KVR_PROF(L"InputProfileCMYKPixel", sInputProfileCMYKPixel,
                 &IniPostscriptInputProfileCMYKPixel, kFolderInputCmyk),
        KVR_PROF(L"InputProfileCMYKText", sInputProfileCMYKText, &IniPostscriptInputProfileCMYKText,
                 kFolderInputCmyk),
        KVR_PROF(L"InputProfileLabVector", sInputProfileLabVector,
                 &IniPostscriptInputProfileLabVector, kFolderInputLab),
        KVR_PROF(L"InputProfileLabPixel", sInputProfileLabPixel, &IniPostscriptInputProfileLabPixel,
                 kFolderInputLab),
        KVR_PROF(L"InputProfileLabText", sInputProfileLabText, &IniPostscriptInputProfileLabText,
                 kFolderInputLab),
        KVR_PROF(L"InputProfileGrayVector", sInputProfileGrayVector,
                 &IniPostscriptInputProfileGrayVector, kFolderInputGray),
        KVR_PROF(L"InputProfileGrayPixel", sInputProfileGrayPixel,
                 &IniPostscriptInputProfileGrayPixel, kFolderInputGray),
        KVR_PROF(L"InputProfileGrayText", sInputProfileGrayText, &IniPostscriptInputProfileGrayText,
                 kFolderInputGray),
        KVR_PROF(L"DefaultOutputProfileCMYK", sDefaultOutputProfileCMYK,
                 &IniPostscriptDefaultOutputProfileCMYK, kFolderPrinter),
        KVR_PROF(L"DefaultOutputProfileRGB", sDefaultOutputProfileRGB,
                 &IniPostscriptDefaultOutputProfileRGB, kFolderPrinterRgb),
        KVR_INT(L"UseCMYKColorManagementForDeviceN", nUseCMYKColorManagementForDeviceN,
                &IniPostscriptUseCMYKColorManagementForDeviceN),
        KVR_INT(L"UseAdobeBlackpointCompensation", nUseAdobeBlackpointCompensation,
                &IniPostscriptUseAdobeBlackpointCompensation),
        KVR_INT(L"UseIntermediateColorSpace", nUseIntermediateColorSpace,
                &IniPostscriptUseIntermediateColorSpace),
        KVR_INT(L"Interpreter5Option", nInterpreter5Option, nullptr),
        KVR_INT(L"AfterIntermediateOutputProfileRI", nAfterIntermediateOutputProfileRI,
                &IniPostscriptAfterIntermediateOutputProfileRI),
        KVR_INT(L"UseDefaultPDFXHandling", nUseDefaultPDFXHandling,
                &IniPostscriptUseDefaultPDFXHandling),
        KVR_INT(L"SimulateOverprinting", nSimulateOverprinting, &IniPostscriptSimulateOverprinting),
        KVR_INT(L"AurelonUseRGBPageColorSpaceForColorManagement",
                nUseRGBPageColorSpaceForColorManagement,
                &InibAurelonUseRGBPageColorSpaceForColorManagement),
        KVR_INT(L"AurelonOnlyColorManageNormalBlendMode", nOnlyColorManageNormalBlendMode,
                &InibAurelonOnlyColorManageNormalBlendMode),
    };
    return fields;
}

void CPreSetPsCs::XmlMapFields(CFieldMap& map) {
    SPostscriptColorSettings& s = *this;
    for (const SPsCsField& f : PsCsFields()) {
        if (f.intField)
            map.Int(f.tag, s.*f.intField);
        else
            map.Text(f.tag, s.*f.textField);
    }
}
