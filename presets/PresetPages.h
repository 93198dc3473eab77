// The pages of the preset kinds as far as the presets see them: each page holds its own copy of
// the data it edits, which the preset object fills (DataToPSOPropPg) and takes back
// (DataFromPSOPropPg). Temporary limit: these are the data sides only; the controls and the
// rules that tie them together come with the page models, which extend these classes.
#pragma once

#include <string>

#include "common/PSOPropPg.h"
#include "common/PreSetPsCs.h"
#include "pages/PsCsPages.h" // the interpreter colour pages
#include "presets/PresetSimTargetPrinter.h"

class CGlobalContext;
class CPrintUSM;

// Dialog identifiers of the pages.
enum : unsigned int {
    IDD_PRPG_SIMTARGETPRINTER = 1,
    IDD_PRPG_INPUTPROFILES = 2,
};

class CPrPgPresetSimTargetPrinter : public CPSOPropPg {
public:
    CPrPgPresetSimTargetPrinter(CGlobalContext* context, int n, const wchar_t* name)
        : CPSOPropPg(IDD_PRPG_SIMTARGETPRINTER, n), m_context(context), m_name(name ? name : L"") {}

    CPresetSimTargetPrinter& Data() { return m_data; }
    CGlobalContext* Context() const { return m_context; }
    const std::wstring& Name() const { return m_name; }

private:
    CGlobalContext* m_context;
    std::wstring m_name;
    CPresetSimTargetPrinter m_data;
};

// The first page of the input profiles: full paths, intents and flags per colour space.
struct SInputProfilesDialogData1 {
    std::wstring sRgbProfile, sCmykProfile, sLabProfile, sGrayProfile;
    int nRgbIntent = 1, nCmykIntent = 1, nLabIntent = 1, nGrayIntent = 1;
    int bRgbAskOnMissing = 0, bCmykAskOnMissing = 0;
    int bRgbUseEmbedded = 1, bCmykUseEmbedded = 1, bGrayUseEmbedded = 1;
    bool operator==(const SInputProfilesDialogData1&) const = default;
};

// The second page: the two options of colorimetric intent and white-point expansion.
struct SInputProfilesDialogData2 {
    int bUseColorimetricRI = 0;
    int bDisableWhitePointExpansion = 0;
    bool operator==(const SInputProfilesDialogData2&) const = default;
};

class CPrPgInputProfiles : public CPSOPropPg {
public:
    CPrPgInputProfiles(CPrintUSM* usm, int n, const wchar_t* name, int flag)
        : CPSOPropPg(IDD_PRPG_INPUTPROFILES, n), m_usm(usm), m_name(name ? name : L""),
          m_flag(flag) {}

    void SetData(const SInputProfilesDialogData1& d1, const SInputProfilesDialogData2& d2) {
        m_data1 = d1;
        m_data2 = d2;
    }
    void GetData(SInputProfilesDialogData1& d1, SInputProfilesDialogData2& d2) const {
        d1 = m_data1;
        d2 = m_data2;
    }
    CPrintUSM* Usm() const { return m_usm; }
    const std::wstring& Name() const { return m_name; }
    int Flag() const { return m_flag; }

private:
    CPrintUSM* m_usm;
    std::wstring m_name;
    int m_flag;
    SInputProfilesDialogData1 m_data1;
    SInputProfilesDialogData2 m_data2;
};
