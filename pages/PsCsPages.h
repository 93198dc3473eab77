// The interpreter colour pages: for each of the three families an outer page holding one
// SPostscriptColorSettings and a sheet of two sub-pages that edit it by reference. The first
// sub-page has the input profiles, intents and embed flags per colour row and object class; the
// second the output side and the options. One set of rules serves the three families, driven by
// their tables (PsCsFamilies.h); where a family differs, the table says so.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/PreSetPsCs.h"
#include "pages/FileComboBox.h"
#include "pages/PageModel.h"
#include "pages/PsCsFamilies.h"

class CGlobalContext;
struct SPsPdfInterpreterDesc;

// What the preset hands the page and the page hands each sub-page.
struct SPsCsPageParams {
    // 1 for the page of a preset; 0 shows the output-intent options on the second sub-page.
    int first = 1;
    int channelMask = 3; // bit 0: the device has RGB, bit 1: CMYK
    int readOnly = 0;
    int noReplacement = 0;             // takes away the named-colour replacement options
    CGlobalContext* context = nullptr; // not owned
    ePsPdfInterpreter interpreter = PsPdfPostScript;
};

// What the two sub-pages share: the family, the parameters, the structure they edit, the
// interpreter's description, and the way up to the outer page.
class CPrPgPsCsSubPage : public CPageModel {
public:
    const SPsCsFamily& Family() const { return m_family; }
    const SPsCsPageParams& Params() const { return m_params; }
    const SPostscriptColorSettings& Settings() const { return m_data; }

    // Runs the prepare operation; with the window open refreshes the controls and their state.
    void SetData();
    // Reads the controls into the structure, if the window exists.
    void GetData();
    // Nothing with readOnly; otherwise reads the controls back.
    void OnOK() override;
    // Goes to the outer page when this sub-page sits in one of its own family, else to itself.
    void OnDataChanged() override;
    // Reads the controls back, refreshes them, runs CheckControlsEnabled, then OnDataChanged.
    void OnControlChanged();
    // The same without OnDataChanged.
    void OnCheckControlsEnabled();
    int OnSetActive() override;

protected:
    CPrPgPsCsSubPage(const SPsCsFamily& family, int page, const SPsCsPageParams& params,
                     SPostscriptColorSettings& data);

    // The interpreter's description, null when the application has none for it. For the rules
    // that read its options, "any" (6) has none; the dialogs are those of the family's own.
    const SPsPdfInterpreterDesc* DialogDesc() const;
    const SPsPdfInterpreterDesc* OptionsDesc() const;
    // Adds a control unless this interpreter's dialog lacks it.
    void AddIfPresent(unsigned int id, EControlKind kind, const std::wstring& label);

    // Intent combos: the list, and an intent to and from the combo's text. An empty text
    // leaves the intent as it was.
    void InitIntentCombo(unsigned int id, int noAdvancedIntents, int last);
    void IntentToControl(unsigned int id, int intent);
    void IntentFromControl(unsigned int id, int& intent) const;
    // File combos: the entry for no file and the profiles of a folder below the base path.
    void InitFileCombo(unsigned int id, const wchar_t* folder);
    void RefillFileCombo(unsigned int id);
    void FileToControl(unsigned int id, const std::wstring& name);
    void FileFromControl(unsigned int id, std::wstring& name) const;
    std::wstring BasePath() const;

    const SPsCsFamily& m_family;
    const int m_page;
    const SPsCsPageParams m_params;
    SPostscriptColorSettings& m_data; // the outer page's

private:
    std::map<unsigned int, CFileComboBox> m_fileCombos; // by control
};

// The first sub-page: one row of controls per colour space of the family.
class CPrPgPsCsPage1Base : public CPrPgPsCsSubPage {
public:
    void UpdateControls(int save) override;
    void CheckControlsEnabled() override;
    int OnInitDialog() override;
    std::wstring GetTabText() override { return L"Input profiles"; }
    int AdvancedIntents() const { return m_bAdvancedIntents; }

protected:
    CPrPgPsCsPage1Base(const SPsCsFamily& family, const SPsCsPageParams& params,
                       SPostscriptColorSettings& data);
    void AddControls() override;
    bool OnCommand(unsigned int id) override;

    // The rules of one row; the PDF page runs them one row at a time.
    void CheckControlsEnabledRow(const SPsCsRow& row);
    void OnControlChangedRow(const SPsCsRow& row);

private:
    void ExchangeRow(const SPsCsRow& row, bool save);
    // The integrated flag as the rules see it: set, or no control to clear it.
    bool Integrated() const;

    int m_bAdvancedIntents = 1;
};

// The second sub-page: default outputs, intermediate space and the options.
class CPrPgPsCsPage2Base : public CPrPgPsCsSubPage {
public:
    void UpdateControls(int save) override;
    void CheckControlsEnabled() override;
    int OnInitDialog() override;
    std::wstring GetTabText() override { return L"Output and options"; }

    // Behind 1467 and at start: OIP as output clears OIP as simulation.
    void CheckUseOipAsOutProf();
    void OnBnClickedUseOipAsOutProf() { CheckUseOipAsOutProf(); }
    // Checks the chosen profile, then copies it into the default-output folder and refills the
    // combo, without selecting the new file. 1 when a file was copied.
    int ImportProfile(int isRgb);
    int OnImportProfileCMYK() { return ImportProfile(0); }
    int OnImportProfileRGB() { return ImportProfile(1); }
    int DefaultOutputOptional() const { return m_bDefaultOutputOptional; }

protected:
    CPrPgPsCsPage2Base(const SPsCsFamily& family, const SPsCsPageParams& params,
                       SPostscriptColorSettings& data);
    void AddControls() override;
    bool OnCommand(unsigned int id) override;

private:
    void CheckControlsPostScriptGhostSep(bool intermediate);
    void CheckControlsPDF(bool intermediate);
    void SetAltText(unsigned int id, bool alternative);

    int m_bDefaultOutputOptional = 1;
    // Labels whose text changes: the dialog's own text and the other one.
    struct STexts {
        std::wstring own, alternative;
    };
    std::map<unsigned int, STexts> m_texts;
};

// The outer page: holds the structure and the two sub-pages, in order.
class CPrPgPsCsOuter : public CPageModel {
public:
    const SPsCsFamily& Family() const { return m_family; }
    // Reads the family's defaults from the configuration, sets the given settings over them and
    // hands them to both sub-pages.
    void SetData(const SPostscriptColorSettings& settings);
    // Lets the open sub-pages read their controls, and gives the structure.
    void GetData(SPostscriptColorSettings& settings);
    // Nothing with readOnly; otherwise the accept command to each open sub-page.
    void OnOK() override;
    std::vector<CPageModel*> SubPages() override { return {m_page1.get(), m_page2.get()}; }
    // The structure as the sub-pages left it, without reading their controls.
    const SPostscriptColorSettings& Settings() const { return m_settings; }

    int First() const { return m_params.first; }
    int ChannelMask() const { return m_params.channelMask; }
    int ReadOnly() const { return m_params.readOnly; }
    int NoReplacement() const { return m_params.noReplacement; }
    const std::wstring& Name() const { return m_name; }
    CGlobalContext* Context() const { return m_params.context; }
    ePsPdfInterpreter Interpreter() const { return m_params.interpreter; }

protected:
    CPrPgPsCsOuter(const SPsCsFamily& family, const SPsCsPageParams& params, const wchar_t* name);
    void AddControls() override {}
    bool OnCommand(unsigned int) override { return false; }

    const SPsCsFamily& m_family;
    const SPsCsPageParams m_params;
    const std::wstring m_name;
    SPostscriptColorSettings m_settings;
    // Made by the family's class, after the structure they refer to.
    std::unique_ptr<CPrPgPsCsPage1Base> m_page1;
    std::unique_ptr<CPrPgPsCsPage2Base> m_page2;
};

// One family's three classes over the common rules; TPage1 and TPage2 are the family's sub-page
// classes, constructed on the outer page's structure.
template <class TPage1, class TPage2> class TPrPgPsCsOuter : public CPrPgPsCsOuter {
public:
    TPage1& Page1() { return static_cast<TPage1&>(*m_page1); }
    TPage2& Page2() { return static_cast<TPage2&>(*m_page2); }

protected:
    TPrPgPsCsOuter(const SPsCsFamily& family, const SPsCsPageParams& params, const wchar_t* name)
        : CPrPgPsCsOuter(family, params, name) {
        m_page1 = std::make_unique<TPage1>(m_params, m_settings);
        m_page2 = std::make_unique<TPage2>(m_params, m_settings);
    }
};

// --- PostScript ----------------------------------------------------------------------------

class CPrPgPsCsPage1 : public CPrPgPsCsPage1Base {
public:
    CPrPgPsCsPage1(const SPsCsPageParams& params, SPostscriptColorSettings& data)
        : CPrPgPsCsPage1Base(kPsCsFamilyPostScript, params, data) {}
    static unsigned int GetDialogResource(CGlobalContext* context, ePsPdfInterpreter interpreter) {
        return PsCsDialogResource(context, kPsCsFamilyPostScript, interpreter, 0);
    }
};

class CPrPgPsCsPage2 : public CPrPgPsCsPage2Base {
public:
    CPrPgPsCsPage2(const SPsCsPageParams& params, SPostscriptColorSettings& data)
        : CPrPgPsCsPage2Base(kPsCsFamilyPostScript, params, data) {}
    static unsigned int GetDialogResource(CGlobalContext* context, ePsPdfInterpreter interpreter) {
        return PsCsDialogResource(context, kPsCsFamilyPostScript, interpreter, 1);
    }
};

class CPrPgPsCs : public TPrPgPsCsOuter<CPrPgPsCsPage1, CPrPgPsCsPage2> {
public:
    CPrPgPsCs(int first, int channelMask, int readOnly, int noReplacement, const wchar_t* name,
              CGlobalContext* context, ePsPdfInterpreter interpreter)
        : TPrPgPsCsOuter(kPsCsFamilyPostScript,
                         {first, channelMask, readOnly, noReplacement, context, interpreter},
                         name) {}
};

// --- Ghostscript separation ----------------------------------------------------------------

class CPrPgGhostSepCsPage1 : public CPrPgPsCsPage1Base {
public:
    CPrPgGhostSepCsPage1(const SPsCsPageParams& params, SPostscriptColorSettings& data)
        : CPrPgPsCsPage1Base(kPsCsFamilyGhostSep, params, data) {}
    static unsigned int GetDialogResource(CGlobalContext* context, ePsPdfInterpreter interpreter) {
        return PsCsDialogResource(context, kPsCsFamilyGhostSep, interpreter, 0);
    }
};

class CPrPgGhostSepCsPage2 : public CPrPgPsCsPage2Base {
public:
    CPrPgGhostSepCsPage2(const SPsCsPageParams& params, SPostscriptColorSettings& data)
        : CPrPgPsCsPage2Base(kPsCsFamilyGhostSep, params, data) {}
    static unsigned int GetDialogResource(CGlobalContext* context, ePsPdfInterpreter interpreter) {
        return PsCsDialogResource(context, kPsCsFamilyGhostSep, interpreter, 1);
    }
};

class CPrPgGhostSepCs : public TPrPgPsCsOuter<CPrPgGhostSepCsPage1, CPrPgGhostSepCsPage2> {
public:
    CPrPgGhostSepCs(int first, int channelMask, int readOnly, int noReplacement,
                    const wchar_t* name, CGlobalContext* context, ePsPdfInterpreter interpreter)
        : TPrPgPsCsOuter(kPsCsFamilyGhostSep,
                         {first, channelMask, readOnly, noReplacement, context, interpreter},
                         name) {}
};

// --- PDF -------------------------------------------------------------------------------------

// The PDF page's first sub-page runs its rules one row at a time: a change in a row checks only
// that row.
class CPrPgPDFAurelonCsPage1 : public CPrPgPsCsPage1Base {
public:
    CPrPgPDFAurelonCsPage1(const SPsCsPageParams& params, SPostscriptColorSettings& data)
        : CPrPgPsCsPage1Base(kPsCsFamilyPDF, params, data) {}
    static unsigned int GetDialogResource(CGlobalContext* context, ePsPdfInterpreter interpreter) {
        return PsCsDialogResource(context, kPsCsFamilyPDF, interpreter, 0);
    }
    void CheckControlsEnabledRGB() { CheckControlsEnabledRow(kPsCsRowRgb); }
    void CheckControlsEnabledCMYK() { CheckControlsEnabledRow(kPsCsRowCmyk); }
    void CheckControlsEnabledLab() { CheckControlsEnabledRow(kPsCsRowLab); }
    void CheckControlsEnabledGray() { CheckControlsEnabledRow(kPsCsRowGray); }
    void OnControlChangedRGB() { OnControlChangedRow(kPsCsRowRgb); }
    void OnControlChangedCMYK() { OnControlChangedRow(kPsCsRowCmyk); }
    void OnControlChangedLab() { OnControlChangedRow(kPsCsRowLab); }
    void OnControlChangedGray() { OnControlChangedRow(kPsCsRowGray); }
};

class CPrPgPDFAurelonCsPage2 : public CPrPgPsCsPage2Base {
public:
    CPrPgPDFAurelonCsPage2(const SPsCsPageParams& params, SPostscriptColorSettings& data)
        : CPrPgPsCsPage2Base(kPsCsFamilyPDF, params, data) {}
    static unsigned int GetDialogResource(CGlobalContext* context, ePsPdfInterpreter interpreter) {
        return PsCsDialogResource(context, kPsCsFamilyPDF, interpreter, 1);
    }
};

// The PDF page has no `first`: its second sub-page shows the output-intent options always.
class CPrPgPDFAurelonCs : public TPrPgPsCsOuter<CPrPgPDFAurelonCsPage1, CPrPgPDFAurelonCsPage2> {
public:
    CPrPgPDFAurelonCs(int channelMask, int readOnly, int noReplacement, const wchar_t* name,
                      CGlobalContext* context, ePsPdfInterpreter interpreter)
        : TPrPgPsCsOuter(kPsCsFamilyPDF,
                         {1, channelMask, readOnly, noReplacement, context, interpreter}, name) {}
};
