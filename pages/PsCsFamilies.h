// The three families of interpreter colour pages (PostScript, Ghostscript separation, PDF) as
// data: which colour rows the first sub-page has and which controls and settings they bind,
// which controls the second sub-page has, and where the families' rules differ. The page
// classes (PsCsPages.h) run one set of rules over these tables.
#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "common/PreSetPsCs.h"

class CGlobalContext;
struct SPsPdfInterpreterDesc;

using PsCsInt = int SPostscriptColorSettings::*;
using PsCsStr = std::wstring SPostscriptColorSettings::*;

// Object classes in the order of the row tables: vector, pixel, text.
enum EPsCsClass : int { PsCsVector = 0, PsCsPixel = 1, PsCsText = 2 };
inline constexpr int kPsCsClasses = 3;

// One colour row of the first sub-page: per object class a file combo, an intent combo and an
// embed check box, and the row's all-the-same check box.
struct SPsCsRow {
    const wchar_t* name;                   // "RGB", "CMYK", "gray", "Lab"
    std::array<unsigned int, 3> fileIds;   // vector, pixel, text
    std::array<unsigned int, 3> intentIds; // vector, pixel, text
    std::array<unsigned int, 3> embedIds;  // vector, pixel, text
    unsigned int allSameId;                //
    std::array<PsCsStr, 3> files;          // vector, pixel, text
    std::array<PsCsInt, 3> intents;        // vector, pixel, text
    std::array<PsCsInt, 3> embeds;         // vector, pixel, text
    PsCsInt allSame;                       //
    const wchar_t* folder;                 // below the base path
    int pixelMaskBit;                      // bit of channelMask; -1: the row has none
};

extern const SPsCsRow kPsCsRowRgb;
extern const SPsCsRow kPsCsRowCmyk;
extern const SPsCsRow kPsCsRowGray;
extern const SPsCsRow kPsCsRowLab;

// Controls of the first sub-page outside the rows.
enum : unsigned int {
    IDC_PSCS_INTEGRATED = 1530,    // integrated colour management
    IDC_PSCS_BLACKPOINT_P1 = 1473, // black-point compensation
};

// Controls of the second sub-page. Some numbers are those of first-page controls: the two
// sub-pages are separate dialogs.
enum : unsigned int {
    IDC_PSCS_INTERMEDIATE = 1531,
    IDC_PSCS_DEFOUT_CMYK = 1463,
    IDC_PSCS_DEFOUT_RGB = 1471,
    IDC_PSCS_IMPORT_CMYK = 1212,
    IDC_PSCS_IMPORT_RGB = 1213,
    IDC_PSCS_AFTER_INTERMEDIATE_RI = 1533,
    IDC_PSCS_CMYK_DEVICEN = 1472,
    IDC_PSCS_NC_REPLACEMENT = 1465,
    IDC_PSCS_PDFX_DEFAULT = 1474,
    IDC_PSCS_OI_CMYK_VECTOR = 1469,
    IDC_PSCS_OI_CMYK_PIXEL = 1082,
    IDC_PSCS_OI_CMYK_TEXT = 1083,
    IDC_PSCS_GRAY_AS_RGB = 1464,
    IDC_PSCS_NC_REPLACEMENT_DEVICEN = 1468,
    IDC_PSCS_BLACKPOINT = 1473,        // PostScript, Ghostscript
    IDC_PSCS_OIP_AS_SIM = 1466,        // PostScript, Ghostscript
    IDC_PSCS_OIP_AS_OUT = 1467,        // PostScript, Ghostscript
    IDC_PSCS_OVERPRINT = 1475,         // Ghostscript, PDF
    IDC_PSCS_INTERPRETER5 = 1466,      // PDF
    IDC_PSCS_RGB_PAGE_SPACE = 1174,    // PDF
    IDC_PSCS_NORMAL_BLEND_ONLY = 1473, // PDF
    // Labels.
    IDC_PSCS_LABEL_DEFOUT_CMYK = 1597,
    IDC_PSCS_LABEL_DEFOUT_RGB = 1598,
    IDC_PSCS_LABEL_AFTER_INTERMEDIATE_RI = 1109,
    IDC_PSCS_LABEL_OI_CMYK = 1612,
};

// Strings of these pages: the texts that labels take while the intermediate space is on (and,
// on the PDF page, 1531's text while default PDF/X handling is on).
enum : unsigned int {
    IDS_PSCS_INTERMEDIATE_CMYK = 13531,
    IDS_PSCS_INTERMEDIATE_RGB = 13532,
    IDS_PSCS_OIP_AS_INTERMEDIATE = 13533,
    IDS_PDFCS_INTERMEDIATE_PDFX = 26368,
};

// A check box of the second sub-page bound to one setting.
struct SPsCsCheck {
    unsigned int id;
    PsCsInt field;
    const wchar_t* label;
};

// A label whose text changes: its own text, and the string it shows instead.
struct SPsCsAltText {
    unsigned int id;
    unsigned int altStringId;
};

struct SPsCsFamily;
using PsCsPrepare = void (*)(SPostscriptColorSettings&, const SPsCsFamily&, int page);

struct SPsCsFamily {
    const wchar_t* name;
    unsigned int outerDialog;
    // Whose defaults the outer page loads, and which interpreter's dialogs "any" (6) stands for.
    ePsPdfInterpreter defaultsInterpreter;
    std::span<const SPsCsRow* const> rows;   // colour rows of the first sub-page, in order
    PsCsPrepare prepare;                     // PreparePsCsOnIn or PreparePDFAurelonCsOnIn
    std::span<const SPsCsCheck> page2Checks; // beside kPsCsChecksAllFamilies
    // Labels that take another text while the intermediate space is on.
    std::span<const SPsCsAltText> intermediateTexts;
    // The PostScript and Ghostscript pages limit their CMYK intent lists by US_ShowAdvancedRIs.
    bool cmykIntentsByUserSetting;
    // The PDF page: the second sub-page's rules do not depend on the integrated flag, 1531's
    // text follows default PDF/X handling, and the first sub-page's rules run per row.
    bool pdfRules;
    // The output-intent CMYK boxes are enabled only without default PDF/X handling.
    bool outputIntentByPdfx;
};

// The check boxes that the second sub-page of every family has.
extern const SPsCsCheck kPsCsChecksAllFamilies[7];
// All check boxes of a family's second sub-page: those of every family, then its own.
std::vector<SPsCsCheck> PsCsPage2Checks(const SPsCsFamily& family);

extern const SPsCsFamily kPsCsFamilyPostScript;
extern const SPsCsFamily kPsCsFamilyGhostSep;
extern const SPsCsFamily kPsCsFamilyPDF;

// The prepare operations: the profile fields that a sub-page shows become their file names.
// PostScript and Ghostscript: the first sub-page's rows and the two default outputs on the first
// (page 0), the two default outputs on the second (page 1).
void PreparePsCsOnIn(SPostscriptColorSettings& settings, const SPsCsFamily& family, int page);
// PDF: the twelve input fields on the first, the two default outputs on the second.
void PreparePDFAurelonCsOnIn(SPostscriptColorSettings& settings, const SPsCsFamily& family,
                             int page);

// The interpreter whose dialogs a family's page uses: "any" stands for the family's own.
ePsPdfInterpreter PsCsDialogInterpreter(const SPsCsFamily& family, ePsPdfInterpreter interpreter);
// The application's description of the family's dialogs for an interpreter, or null.
const SPsPdfInterpreterDesc* PsCsInterpreterDesc(CGlobalContext* context, const SPsCsFamily& family,
                                                 ePsPdfInterpreter interpreter);
// The dialog of sub-page `page` (0 or 1): the description's, 0 without one.
unsigned int PsCsDialogResource(CGlobalContext* context, const SPsCsFamily& family,
                                ePsPdfInterpreter interpreter, int page);
