// The page of the simulation target preset: one profile of the folder "SimTarget", with import
// and delete, and the rendering intent of the simulation. The page holds the preset's data
// itself (it is a CPresetSimTargetPrinter), which the preset object copies in and out.
//
// Two ways of the import are kept as this page has always had them: after a copy of a file
// whose extension is a profile extension DoImport answers 0 (the new file is listed but not
// selected; the user picks it), and DeleteIfNotOk deletes the bare name it is given, relative
// to the process's current folder, not the profile folder.
#pragma once

#include <string>

#include "colorspace/ProfileQueries.h"
#include "pages/FileComboBox.h"
#include "pages/PageModel.h"
#include "presets/PresetSimTargetPrinter.h"

class CGlobalContext;
class IPageServices;

enum : unsigned int { IDD_PRPG_SIMTARGETPRINTER = 26373 };

enum : unsigned int {
    IDC_ST_FILE = 1213,
    IDC_ST_IMPORT = 1218, // the import button; its number is this page's own choice
    IDC_ST_INFO = 1217,
    IDC_ST_DELETE = 1220,
    IDC_ST_INTENT = 1221,
};

class CPrPgPresetSimTargetPrinter : public CPageModel, public CPresetSimTargetPrinter {
public:
    CPrPgPresetSimTargetPrinter(CGlobalContext* context, int readOnly, const wchar_t* name);

    // The preset's data on this page.
    CPresetSimTargetPrinter& Data() { return *this; }
    CGlobalContext* Context() const { return m_context; }
    const std::wstring& Name() const { return m_name; }
    int ReadOnly() const { return m_readOnly; }

    // Data exchange: fill the controls (false) or read them back (true).
    void UpdateData(bool save);

    // Copies a chosen profile into the combo's folder, as the import button of the input
    // profile pages does; `name` gets the full path of the source, or the bare name of the copy
    // when its extension had to be changed to ".icm". 1 only when that name is listed and
    // selected, which happens only after such a renaming.
    static int DoImport(CFileComboBox& combo, int& previousSelection, std::wstring& name,
                        IPageServices* parent);
    void OnImportSimTarget();
    // Deletes `path` without asking, lists the folder again, selects the previous selection.
    void DeleteIfNotOk(const std::wstring& path, CFileComboBox& combo, int previousSelection,
                       unsigned int deleteButtonId);
    void OnDeleteSimTarget();
    void OnSelchangeComboSimTarget();
    // The delete button follows a file being selected (and readOnly being 0); the buddy shows
    // the selected profile's description.
    void OnSelchangeCombo(CFileComboBox& combo, unsigned int deleteButtonId);
    void OnChanged();
    void OnCheckControls();

    int OnSetActive() override;
    // Leaving the page reads its controls back.
    int OnKillActive() override;
    void OnOK() override {}

    CFileComboBox& FileCombo() { return m_combo; }

protected:
    void AddControls() override;
    int OnInitDialog() override;
    bool OnCommand(unsigned int id) override;

private:
    CGlobalContext* m_context; // not owned
    std::wstring m_name;
    int m_readOnly;
    CFileComboBox m_combo;
    CProfileInfoText m_info;
};
