// The colour settings of a page-description interpreter (PostScript, Ghostscript separation,
// PDF): profiles, intents and embed flags per colour space and object class, and the handling of
// named colours, output intents and overprinting. SPostscriptColorSettings is the plain record;
// CPreSetPsCs is its preset form, written to XML field by field as PsCsFields() lists them.
#pragma once

#include <span>
#include <string>

#include "common/XmlCtxt.h"

struct _INIENTRY;

// The interpreters whose colour defaults and pages differ.
enum ePsPdfInterpreter : int {
    PsPdfPostScript = 0,
    PsPdfAdobePPE = 2,
    PsPdfGhostscriptSep = 3,
    PsPdfPDF = 4,
    PsPdfPDFVariant = 5,
    PsPdfAny = 6,
};

struct SPostscriptColorSettings {
    int nUseIntegratedColormanagement = 0;
    int nRGBUseAllTheSame = 1;
    int nCMYKUseAllTheSame = 1;
    int nLabUseAllTheSame = 1;
    int nGrayUseAllTheSame = 1;
    int nTreatGrayAsRgb = 0;
    int nUseNCReplacement = 0;
    int nUseNCReplacementForDeviceN = 0;
    int nUseOIPAsSimProf = 0;
    int nUseOIPAsOutProf = 0;
    int nUseEmbedRgbVector = 1, nUseEmbedRgbPixel = 1, nUseEmbedRgbText = 1;
    int nUseEmbedCmykVector = 1, nUseEmbedCmykPixel = 1, nUseEmbedCmykText = 1;
    int nUseEmbedLabVector = 1, nUseEmbedLabPixel = 1, nUseEmbedLabText = 1;
    int nUseEmbedGrayVector = 1, nUseEmbedGrayPixel = 1, nUseEmbedGrayText = 1;
    int nUseEmbeddedOICmykVector = 1, nUseEmbeddedOICmykPixel = 1, nUseEmbeddedOICmykText = 1;
    // Pixel first in the intents, unlike the other groups.
    int nRI_RGBPixel = 1, nRI_RGBVector = 1, nRI_RGBText = 1;
    int nRI_CMYKPixel = 1, nRI_CMYKVector = 1, nRI_CMYKText = 1;
    int nRI_LabPixel = 1, nRI_LabVector = 1, nRI_LabText = 1;
    int nRI_GrayPixel = 1, nRI_GrayVector = 1, nRI_GrayText = 1;
    std::wstring sInputProfileRGBVector, sInputProfileRGBPixel, sInputProfileRGBText;
    std::wstring sInputProfileCMYKVector, sInputProfileCMYKPixel, sInputProfileCMYKText;
    std::wstring sInputProfileLabVector, sInputProfileLabPixel, sInputProfileLabText;
    std::wstring sInputProfileGrayVector, sInputProfileGrayPixel, sInputProfileGrayText;
    std::wstring sDefaultOutputProfileCMYK;
    std::wstring sDefaultOutputProfileRGB;
    int nUseCMYKColorManagementForDeviceN = 1;
    int nUseAdobeBlackpointCompensation = 0;
    int nUseIntermediateColorSpace = 0;
    // Shown only on the page of interpreter 5; copied with the record, never compared and never
    // read from the interpreter defaults.
    int nInterpreter5Option = 0;
    int nAfterIntermediateOutputProfileRI = 2;
    int nUseDefaultPDFXHandling = 0;
    int nSimulateOverprinting = 1;
    int nUseRGBPageColorSpaceForColorManagement = 0; // PDF only
    int nOnlyColorManageNormalBlendMode = 0;         // PDF only

    bool operator==(const SPostscriptColorSettings&) const = default;
};

// One field of the record: its element in the preset file, the setting that gives the
// interpreter's default, and for a profile field the folder below the base path.
struct SPsCsField {
    const wchar_t* tag;
    int SPostscriptColorSettings::*intField;           // null for a profile field
    std::wstring SPostscriptColorSettings::*textField; // null for a flag or intent
    const _INIENTRY* entry;                            // null: no interpreter default
    const wchar_t* folder;                             // profile fields only
};

// Every field, in the order of the record.
std::span<const SPsCsField> PsCsFields();

class CPreSetPsCs : public CXmlMapped, public SPostscriptColorSettings {
public:
    static constexpr const wchar_t* kRootTag = L"PostscriptColorSettings";

    CPreSetPsCs() = default;
    CPreSetPsCs(const CPreSetPsCs&) = default;
    CPreSetPsCs& operator=(const CPreSetPsCs&) = default;
    CPreSetPsCs& operator=(const SPostscriptColorSettings& s) {
        SPostscriptColorSettings::operator=(s);
        return *this;
    }

protected:
    const wchar_t* XmlRootTag() const override { return kRootTag; }
    void XmlMapFields(CFieldMap& map) override;
};
