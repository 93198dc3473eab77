// The pages of the preset kinds as far as the presets see them: each page holds its own copy of
// the data it edits, which the preset object fills (DataToPSOPropPg) and takes back
// (DataFromPSOPropPg). Temporary limit: these are the data sides only; the controls and the
// rules that tie them together come with the page models, which extend these classes.
#pragma once

#include <string>

#include "common/PSOPropPg.h"
#include "common/PreSetPsCs.h"
#include "presets/PresetSimTargetPrinter.h"

class CGlobalContext;
class CPrintUSM;

// Dialog identifiers of the pages.
enum : unsigned int {
    IDD_PRPG_SIMTARGETPRINTER = 1,
    IDD_PRPG_INPUTPROFILES = 2,
    IDD_PRPG_PSCS = 3,
    IDD_PRPG_GHOSTSEPCS = 4,
    IDD_PRPG_PDFAURELONCS = 5,
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

// The interpreter colour pages: one layout, three classes, so that a preset of one kind does not
// take the page of another.
class CPrPgPsCsBase : public CPSOPropPg {
public:
    CPrPgPsCsBase(unsigned int dialogId, int channelMask, int n, int noReplacement,
                  const wchar_t* name, CGlobalContext* context, ePsPdfInterpreter interpreter)
        : CPSOPropPg(dialogId, n), m_channelMask(channelMask), m_noReplacement(noReplacement),
          m_name(name ? name : L""), m_context(context), m_interpreter(interpreter) {}

    void SetData(const SPostscriptColorSettings& s) { m_data = s; }
    void GetData(SPostscriptColorSettings& s) const { s = m_data; }

    int ChannelMask() const { return m_channelMask; }
    int NoReplacement() const { return m_noReplacement; }
    const std::wstring& Name() const { return m_name; }
    CGlobalContext* Context() const { return m_context; }
    ePsPdfInterpreter Interpreter() const { return m_interpreter; }

private:
    int m_channelMask;
    int m_noReplacement;
    std::wstring m_name;
    CGlobalContext* m_context;
    ePsPdfInterpreter m_interpreter;
    SPostscriptColorSettings m_data;
};

class CPrPgPsCs : public CPrPgPsCsBase {
public:
    // `one` is always 1 from the presets: the page of a preset, not of a job.
    CPrPgPsCs(int one, int channelMask, int n, int noReplacement, const wchar_t* name,
              CGlobalContext* context, ePsPdfInterpreter interpreter)
        : CPrPgPsCsBase(IDD_PRPG_PSCS, channelMask, n, noReplacement, name, context, interpreter),
          m_one(one) {}
    int PresetMode() const { return m_one; }

private:
    int m_one;
};

class CPrPgGhostSepCs : public CPrPgPsCsBase {
public:
    CPrPgGhostSepCs(int one, int channelMask, int n, int noReplacement, const wchar_t* name,
                    CGlobalContext* context, ePsPdfInterpreter interpreter)
        : CPrPgPsCsBase(IDD_PRPG_GHOSTSEPCS, channelMask, n, noReplacement, name, context,
                        interpreter),
          m_one(one) {}
    int PresetMode() const { return m_one; }

private:
    int m_one;
};

class CPrPgPDFAurelonCs : public CPrPgPsCsBase {
public:
    CPrPgPDFAurelonCs(int channelMask, int n, int noReplacement, const wchar_t* name,
                      CGlobalContext* context, ePsPdfInterpreter interpreter)
        : CPrPgPsCsBase(IDD_PRPG_PDFAURELONCS, channelMask, n, noReplacement, name, context,
                        interpreter) {}
};
