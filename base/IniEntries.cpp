#include "base/IniEntries.h"

#define KVR_WIDEN_(s) L##s
#define KVR_WIDEN(s) KVR_WIDEN_(s)

// Installed layout: profiles and presets side by side in the RIP's shared data folder; a build
// for another layout passes its own folders as narrow string literals.
#ifdef KVR_PROFILE_BASE
#define KVR_PROFILE_BASE_W KVR_WIDEN(KVR_PROFILE_BASE)
#else
#define KVR_PROFILE_BASE_W L"/usr/local/share/kvrcolor/profiles"
#endif
#ifdef KVR_PRESET_FOLDER
#define KVR_PRESET_FOLDER_W KVR_WIDEN(KVR_PRESET_FOLDER)
#else
#define KVR_PRESET_FOLDER_W L"/usr/local/share/kvrcolor/presets"
#endif

const wchar_t IniSectionColorProfiles[] = L"ColorProfiles";
const wchar_t IniSectionColorLink[] = L"ColorLink";
const wchar_t IniSectionCMSOptions[] = L"CMSOptions";
const wchar_t IniPostscriptOptions[] = L"PostscriptOptions";
const wchar_t IniSectionAurelonPDF[] = L"AurelonPDFOptions";
const wchar_t IniSectionUserSettings[] = L"UserSettings";
const wchar_t IniSectionPrinter[] = L"Printer";

// Native engine by default: it is the one back-end that needs nothing beyond this library.
const _INIENTRY IniCpCMS = {IniSectionColorProfiles, L"CMS", L"1"};
const _INIENTRY IniCpSelectCMM = {IniSectionColorProfiles, L"SelectCMM", L"0"}; // 0: default CMM
// Perceptual for output and RGB sources (photographic content); relative colorimetric for CMYK
// sources, which are usually already separated for a press and should keep their colours.
const _INIENTRY IniCpOutputRi = {IniSectionColorProfiles, L"OutputRi", L"1"};
const _INIENTRY IniCpDefaultRiRgb = {IniSectionColorProfiles, L"DefaultRiRgb", L"1"};
const _INIENTRY IniCpDefaultRiCmyk = {IniSectionColorProfiles, L"DefaultRiCmyk", L"2"};
// The folder configured at build time; CIniFile answers DefaultProfileBase() in its place, which
// also finds a moved installation.
const _INIENTRY IniCpBasePath = {IniSectionColorProfiles, L"BasePath", KVR_PROFILE_BASE_W};
const _INIENTRY IniCpInputRgb = {IniSectionColorProfiles, L"InputRgb", L"sRGB.icc"};
// No CMYK profile is free to ship, so none is named: the site configures its own.
const _INIENTRY IniCpInputCmyk = {IniSectionColorProfiles, L"InputCmyk", L""};
// The lcms-only flags default to 0/1 so that lcms2 runs with its stock behaviour.
const _INIENTRY IniCpDisableWhitePointExpansion = {IniSectionColorProfiles,
                                                   L"DisableWhitePointExpansion", L"0"};

// 33 nodes for three inputs and 17 for four: the usual sizes of good printer profiles.
const _INIENTRY IniClpColorLink3 = {IniSectionColorLink, L"ColorLink3", L"33"};
const _INIENTRY IniClpColorLink4 = {IniSectionColorLink, L"ColorLink4", L"17"};

const _INIENTRY IniCustomCMSGridSizes = {IniSectionCMSOptions, L"CustomCMSGridSizes", L""};
const _INIENTRY IniUseIncreasedCMSGrid = {IniSectionCMSOptions, L"UseIncreasedCMSGrid", L"0"};
const _INIENTRY IniUseStandardCMSGridForCMYK = {IniSectionCMSOptions, L"UseStandardCMSGridForCMYK",
                                                L"1"};
const _INIENTRY IniUseOnlyPerceptualBlackForBPC = {IniSectionCMSOptions,
                                                   L"UseOnlyPerceptualBlackForBPC", L"1"};

// Interpreter defaults equal the defaults of the preset structure that they fill.
#define KVR_PS(name, def)                                                                          \
    const _INIENTRY IniPostscript##name = {IniPostscriptOptions, L## #name, def}
const _INIENTRY IniUseIntegratedColormanagement = {IniPostscriptOptions,
                                                   L"UseIntegratedColormanagement", L"0"};
KVR_PS(RGBUseAllTheSame, L"1");
KVR_PS(CMYKUseAllTheSame, L"1");
KVR_PS(LabUseAllTheSame, L"1");
KVR_PS(GrayUseAllTheSame, L"1");
KVR_PS(TreatGrayAsRgb, L"0");
KVR_PS(UseNCReplacement, L"0");
KVR_PS(UseNCReplacementForDeviceN, L"0");
KVR_PS(UseOIPAsSimProf, L"0");
KVR_PS(UseOIPAsOutProf, L"0");
KVR_PS(UseEmbedRgbVector, L"1");
KVR_PS(UseEmbedRgbPixel, L"1");
KVR_PS(UseEmbedRgbText, L"1");
KVR_PS(UseEmbedCmykVector, L"1");
KVR_PS(UseEmbedCmykPixel, L"1");
KVR_PS(UseEmbedCmykText, L"1");
KVR_PS(UseEmbedLabVector, L"1");
KVR_PS(UseEmbedLabPixel, L"1");
KVR_PS(UseEmbedLabText, L"1");
KVR_PS(UseEmbedGrayVector, L"1");
KVR_PS(UseEmbedGrayPixel, L"1");
KVR_PS(UseEmbedGrayText, L"1");
KVR_PS(UseEmbeddedOICmykVector, L"1");
KVR_PS(UseEmbeddedOICmykPixel, L"1");
KVR_PS(UseEmbeddedOICmykText, L"1");
KVR_PS(RI_RGBPixel, L"1");
KVR_PS(RI_RGBVector, L"1");
KVR_PS(RI_RGBText, L"1");
KVR_PS(RI_CMYKPixel, L"1");
KVR_PS(RI_CMYKVector, L"1");
KVR_PS(RI_CMYKText, L"1");
KVR_PS(RI_LabPixel, L"1");
KVR_PS(RI_LabVector, L"1");
KVR_PS(RI_LabText, L"1");
KVR_PS(RI_GrayPixel, L"1");
KVR_PS(RI_GrayVector, L"1");
KVR_PS(RI_GrayText, L"1");
KVR_PS(InputProfileRGBVector, L"");
KVR_PS(InputProfileRGBPixel, L"");
KVR_PS(InputProfileRGBText, L"");
KVR_PS(InputProfileCMYKVector, L"");
KVR_PS(InputProfileCMYKPixel, L"");
KVR_PS(InputProfileCMYKText, L"");
KVR_PS(InputProfileLabVector, L"");
KVR_PS(InputProfileLabPixel, L"");
KVR_PS(InputProfileLabText, L"");
KVR_PS(InputProfileGrayVector, L"");
KVR_PS(InputProfileGrayPixel, L"");
KVR_PS(InputProfileGrayText, L"");
KVR_PS(DefaultOutputProfileCMYK, L"");
KVR_PS(DefaultOutputProfileRGB, L"");
KVR_PS(UseCMYKColorManagementForDeviceN, L"1");
KVR_PS(UseAdobeBlackpointCompensation, L"0");
KVR_PS(UseIntermediateColorSpace, L"0");
KVR_PS(AfterIntermediateOutputProfileRI, L"2");
KVR_PS(UseDefaultPDFXHandling, L"0");
KVR_PS(SimulateOverprinting, L"1");
#undef KVR_PS

const _INIENTRY InibAurelonUseRGBPageColorSpaceForColorManagement = {
    IniSectionAurelonPDF, L"AurelonUseRGBPageColorSpaceForColorManagement", L"0"};
const _INIENTRY InibAurelonOnlyColorManageNormalBlendMode = {
    IniSectionAurelonPDF, L"AurelonOnlyColorManageNormalBlendMode", L"0"};

const _INIENTRY US_SettingsFolder = {IniSectionUserSettings, L"SettingsFolder",
                                     KVR_PRESET_FOLDER_W};
const _INIENTRY US_InputProfilesName = {IniSectionUserSettings, L"InputProfilesName", L""};
const _INIENTRY US_PsCsName = {IniSectionUserSettings, L"PsCsName", L""};
const _INIENTRY US_GhostSepCsName = {IniSectionUserSettings, L"GhostSepCsName", L""};
const _INIENTRY US_PDFAurelonCsName = {IniSectionUserSettings, L"PDFAurelonCsName", L""};
const _INIENTRY US_SimTargetPrinterName = {IniSectionUserSettings, L"SimTargetPrinterName", L""};
const _INIENTRY US_SimTargetPrinterXML = {IniSectionUserSettings, L"SimTargetPrinterXML", L""};
const _INIENTRY US_ShowAdvancedRIs = {IniSectionUserSettings, L"ShowAdvancedRIs", L"0"};
const _INIENTRY US_MonitorProfile = {IniSectionUserSettings, L"MonitorProfile", L""};

// A CMYK printer on the default printer profile that the library installs, so that a fresh
// installation converts without any configuration. The inks are primaries by number: 1 cyan,
// 2 magenta, 3 yellow, 0 black.
const _INIENTRY IniPrnIccProfile = {IniSectionPrinter, L"IccProfile", L"kvr-cmyk.icc"};
const _INIENTRY IniPrnRgbPrinter = {IniSectionPrinter, L"RgbPrinter", L"0"};
const _INIENTRY IniPrnInks = {IniSectionPrinter, L"Inks", L"1,2,3,0"};

std::span<const _INIENTRY* const> AllIniEntries() {
    static const _INIENTRY* const all[] = {
        &IniCpCMS,
        &IniCpSelectCMM,
        &IniCpOutputRi,
        &IniCpDefaultRiRgb,
        &IniCpDefaultRiCmyk,
        &IniCpBasePath,
        &IniCpInputRgb,
        &IniCpInputCmyk,
        &IniCpDisableWhitePointExpansion,
        &IniClpColorLink3,
        &IniClpColorLink4,
        &IniCustomCMSGridSizes,
        &IniUseIncreasedCMSGrid,
        &IniUseStandardCMSGridForCMYK,
        &IniUseOnlyPerceptualBlackForBPC,
        &IniUseIntegratedColormanagement,
        &IniPostscriptRGBUseAllTheSame,
        &IniPostscriptCMYKUseAllTheSame,
        &IniPostscriptLabUseAllTheSame,
        &IniPostscriptGrayUseAllTheSame,
        &IniPostscriptTreatGrayAsRgb,
        &IniPostscriptUseNCReplacement,
        &IniPostscriptUseNCReplacementForDeviceN,
        &IniPostscriptUseOIPAsSimProf,
        &IniPostscriptUseOIPAsOutProf,
        &IniPostscriptUseEmbedRgbVector,
        &IniPostscriptUseEmbedRgbPixel,
        &IniPostscriptUseEmbedRgbText,
        &IniPostscriptUseEmbedCmykVector,
        &IniPostscriptUseEmbedCmykPixel,
        &IniPostscriptUseEmbedCmykText,
        &IniPostscriptUseEmbedLabVector,
        &IniPostscriptUseEmbedLabPixel,
        &IniPostscriptUseEmbedLabText,
        &IniPostscriptUseEmbedGrayVector,
        &IniPostscriptUseEmbedGrayPixel,
        &IniPostscriptUseEmbedGrayText,
        &IniPostscriptUseEmbeddedOICmykVector,
        &IniPostscriptUseEmbeddedOICmykPixel,
        &IniPostscriptUseEmbeddedOICmykText,
        &IniPostscriptRI_RGBPixel,
        &IniPostscriptRI_RGBVector,
        &IniPostscriptRI_RGBText,
        &IniPostscriptRI_CMYKPixel,
        &IniPostscriptRI_CMYKVector,
        &IniPostscriptRI_CMYKText,
        &IniPostscriptRI_LabPixel,
        &IniPostscriptRI_LabVector,
        &IniPostscriptRI_LabText,
        &IniPostscriptRI_GrayPixel,
        &IniPostscriptRI_GrayVector,
        &IniPostscriptRI_GrayText,
        &IniPostscriptInputProfileRGBVector,
        &IniPostscriptInputProfileRGBPixel,
        &IniPostscriptInputProfileRGBText,
        &IniPostscriptInputProfileCMYKVector,
        &IniPostscriptInputProfileCMYKPixel,
        &IniPostscriptInputProfileCMYKText,
        &IniPostscriptInputProfileLabVector,
        &IniPostscriptInputProfileLabPixel,
        &IniPostscriptInputProfileLabText,
        &IniPostscriptInputProfileGrayVector,
        &IniPostscriptInputProfileGrayPixel,
        &IniPostscriptInputProfileGrayText,
        &IniPostscriptDefaultOutputProfileCMYK,
        &IniPostscriptDefaultOutputProfileRGB,
        &IniPostscriptUseCMYKColorManagementForDeviceN,
        &IniPostscriptUseAdobeBlackpointCompensation,
        &IniPostscriptUseIntermediateColorSpace,
        &IniPostscriptAfterIntermediateOutputProfileRI,
        &IniPostscriptUseDefaultPDFXHandling,
        &IniPostscriptSimulateOverprinting,
        &InibAurelonUseRGBPageColorSpaceForColorManagement,
        &InibAurelonOnlyColorManageNormalBlendMode,
        &US_SettingsFolder,
        &US_InputProfilesName,
        &US_PsCsName,
        &US_GhostSepCsName,
        &US_PDFAurelonCsName,
        &US_SimTargetPrinterName,
        &US_SimTargetPrinterXML,
        &US_ShowAdvancedRIs,
        &US_MonitorProfile,
        &IniPrnIccProfile,
        &IniPrnRgbPrinter,
        &IniPrnInks,
    };
    return all;
}
