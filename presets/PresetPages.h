// The pages of the preset kinds as far as the presets see them: each page holds its own copy of
// the data it edits, which the preset object fills (DataToPSOPropPg) and takes back
// (DataFromPSOPropPg). The input-profile and simulation target pages are the page models of
// pages/. Temporary limit: the interpreter colour pages below are the data sides only; the
// controls and the rules that tie them together come with their page models.
#pragma once

#include <string>

#include "common/PSOPropPg.h"
#include "common/PreSetPsCs.h"
#include "pages/PrPgInputProfiles.h"
#include "pages/PrPgPresetSimTargetPrinter.h"

class CGlobalContext;
class CPrintUSM;

// Dialog identifiers of the pages.
enum : unsigned int {
    IDD_PRPG_PSCS = 3,
    IDD_PRPG_GHOSTSEPCS = 4,
    IDD_PRPG_PDFAURELONCS = 5,
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
