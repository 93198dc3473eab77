// Settings entries: each names a section, a key and the default value that stands when the
// settings file or the key is missing. The key texts and defaults live here and nowhere else;
// resources/kvrcolor.ini lists the same keys with the same defaults for the user to edit.
#pragma once

#include <cstddef>
#include <span>

struct _INIENTRY {
    const wchar_t* section;
    const wchar_t* key;
    const wchar_t* def;
};

// Sections of the entries below.
extern const wchar_t IniSectionColorProfiles[]; // profile choice, intents and folders
extern const wchar_t IniSectionColorLink[];     // grid sizes of the native back-end
extern const wchar_t IniSectionCMSOptions[];    // keys read by the lcms back-end alone
extern const wchar_t IniPostscriptOptions[];    // interpreter colour defaults (PostScript)
extern const wchar_t IniSectionAurelonPDF[];    // PDF-only interpreter colour defaults
extern const wchar_t IniSectionUserSettings[];  // per-user state: preset names, folders
extern const wchar_t IniSectionPrinter[];       // the printer the print environment drives

// Colour-link back-end and profiles.
extern const _INIENTRY IniCpCMS;           // back-end: 2 Windows ICM, 4 lcms, all else native
extern const _INIENTRY IniCpSelectCMM;     // ICM colour engine id
extern const _INIENTRY IniCpOutputRi;      // default intent of an output profile
extern const _INIENTRY IniCpDefaultRiRgb;  // intent of the default RGB source
extern const _INIENTRY IniCpDefaultRiCmyk; // intent of the default CMYK source
extern const _INIENTRY IniCpBasePath;      // root of the profile folders
extern const _INIENTRY IniCpInputRgb;      // file name of the default RGB source profile
extern const _INIENTRY IniCpInputCmyk;     // file name of the default CMYK source profile
extern const _INIENTRY IniCpDisableWhitePointExpansion;

// Native back-end grid sizes.
extern const _INIENTRY IniClpColorLink3;
extern const _INIENTRY IniClpColorLink4;

// lcms back-end.
extern const _INIENTRY IniCustomCMSGridSizes; // "n3,n4,n5": grid points by source channels
extern const _INIENTRY IniUseIncreasedCMSGrid;
extern const _INIENTRY IniUseStandardCMSGridForCMYK;
extern const _INIENTRY IniUseOnlyPerceptualBlackForBPC;

// Interpreter colour defaults, section IniPostscriptOptions (other interpreters read the same
// keys from their own sections).
extern const _INIENTRY IniUseIntegratedColormanagement;
extern const _INIENTRY IniPostscriptRGBUseAllTheSame;
extern const _INIENTRY IniPostscriptCMYKUseAllTheSame;
extern const _INIENTRY IniPostscriptLabUseAllTheSame;
extern const _INIENTRY IniPostscriptGrayUseAllTheSame;
extern const _INIENTRY IniPostscriptTreatGrayAsRgb;
extern const _INIENTRY IniPostscriptUseNCReplacement;
extern const _INIENTRY IniPostscriptUseNCReplacementForDeviceN;
extern const _INIENTRY IniPostscriptUseOIPAsSimProf;
extern const _INIENTRY IniPostscriptUseOIPAsOutProf;
extern const _INIENTRY IniPostscriptUseEmbedRgbVector;
extern const _INIENTRY IniPostscriptUseEmbedRgbPixel;
extern const _INIENTRY IniPostscriptUseEmbedRgbText;
extern const _INIENTRY IniPostscriptUseEmbedCmykVector;
extern const _INIENTRY IniPostscriptUseEmbedCmykPixel;
extern const _INIENTRY IniPostscriptUseEmbedCmykText;
extern const _INIENTRY IniPostscriptUseEmbedLabVector;
extern const _INIENTRY IniPostscriptUseEmbedLabPixel;
extern const _INIENTRY IniPostscriptUseEmbedLabText;
extern const _INIENTRY IniPostscriptUseEmbedGrayVector;
extern const _INIENTRY IniPostscriptUseEmbedGrayPixel;
extern const _INIENTRY IniPostscriptUseEmbedGrayText;
extern const _INIENTRY IniPostscriptUseEmbeddedOICmykVector;
extern const _INIENTRY IniPostscriptUseEmbeddedOICmykPixel;
extern const _INIENTRY IniPostscriptUseEmbeddedOICmykText;
extern const _INIENTRY IniPostscriptRI_RGBPixel;
extern const _INIENTRY IniPostscriptRI_RGBVector;
extern const _INIENTRY IniPostscriptRI_RGBText;
extern const _INIENTRY IniPostscriptRI_CMYKPixel;
extern const _INIENTRY IniPostscriptRI_CMYKVector;
extern const _INIENTRY IniPostscriptRI_CMYKText;
extern const _INIENTRY IniPostscriptRI_LabPixel;
extern const _INIENTRY IniPostscriptRI_LabVector;
extern const _INIENTRY IniPostscriptRI_LabText;
extern const _INIENTRY IniPostscriptRI_GrayPixel;
extern const _INIENTRY IniPostscriptRI_GrayVector;
extern const _INIENTRY IniPostscriptRI_GrayText;
extern const _INIENTRY IniPostscriptInputProfileRGBVector;
extern const _INIENTRY IniPostscriptInputProfileRGBPixel;
extern const _INIENTRY IniPostscriptInputProfileRGBText;
extern const _INIENTRY IniPostscriptInputProfileCMYKVector;
extern const _INIENTRY IniPostscriptInputProfileCMYKPixel;
extern const _INIENTRY IniPostscriptInputProfileCMYKText;
extern const _INIENTRY IniPostscriptInputProfileLabVector;
extern const _INIENTRY IniPostscriptInputProfileLabPixel;
extern const _INIENTRY IniPostscriptInputProfileLabText;
extern const _INIENTRY IniPostscriptInputProfileGrayVector;
extern const _INIENTRY IniPostscriptInputProfileGrayPixel;
extern const _INIENTRY IniPostscriptInputProfileGrayText;
extern const _INIENTRY IniPostscriptDefaultOutputProfileCMYK;
extern const _INIENTRY IniPostscriptDefaultOutputProfileRGB;
extern const _INIENTRY IniPostscriptUseCMYKColorManagementForDeviceN;
extern const _INIENTRY IniPostscriptUseAdobeBlackpointCompensation;
extern const _INIENTRY IniPostscriptUseIntermediateColorSpace;
extern const _INIENTRY IniPostscriptAfterIntermediateOutputProfileRI;
extern const _INIENTRY IniPostscriptUseDefaultPDFXHandling;
extern const _INIENTRY IniPostscriptSimulateOverprinting;

// PDF interpreter only.
extern const _INIENTRY InibAurelonUseRGBPageColorSpaceForColorManagement;
extern const _INIENTRY InibAurelonOnlyColorManageNormalBlendMode;

// User settings.
extern const _INIENTRY US_SettingsFolder;       // folder of the preset files
extern const _INIENTRY US_InputProfilesName;    // current input-profile preset
extern const _INIENTRY US_PsCsName;             // current PostScript colour preset
extern const _INIENTRY US_GhostSepCsName;       // current Ghostscript separation preset
extern const _INIENTRY US_PDFAurelonCsName;     // current PDF colour preset
extern const _INIENTRY US_SimTargetPrinterName; // current simulation-target preset
extern const _INIENTRY US_SimTargetPrinterXML;  // default simulation target, XML one line
extern const _INIENTRY US_ShowAdvancedRIs;      // 1 offers the black-preserving intents
extern const _INIENTRY US_MonitorProfile;       // full path of the monitor profile

// The printer of the print environment (common/PrintEnv.h).
extern const _INIENTRY IniPrnIccProfile; // its ICC profile: a file name or a full path
extern const _INIENTRY IniPrnRgbPrinter; // 1: an RGB printer, driven through RGB profiles
extern const _INIENTRY IniPrnInks;       // primaries of its channels, "1,2,3,0" for CMYK

// Every entry above, in the order of resources/kvrcolor.ini.
std::span<const _INIENTRY* const> AllIniEntries();
