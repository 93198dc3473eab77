// A combo box that lists the files of one folder matching a list of patterns, headed by an entry
// for "no file", over one combo control of a page model. The combo's items are file names; the
// folder turns a name into a path (BuildPathName).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pages/PageModel.h"

// File-mask flags: what the folder's listing takes.
enum : unsigned int {
    FM_FILES_ONLY = 2,   // regular files only, no folders
    FM_IGNORE_CASE = 4,  // patterns match ignoring case ("*.icc" takes "A.ICC")
    FM_SKIP_HIDDEN = 16, // no names starting with '.', the hidden files of this system
};
// The flags of every profile combo of the pages.
inline constexpr unsigned int kProfileFileMaskFlags =
    FM_FILES_ONLY | FM_IGNORE_CASE | FM_SKIP_HIDDEN;

// Whether `name` matches the pattern ('*' any run, '?' one character).
bool MatchFilePattern(const std::wstring& pattern, const std::wstring& name, bool ignoreCase);
// The patterns of a list separated by ';', trimmed, empty ones dropped.
std::vector<std::wstring> SplitPatterns(const std::wstring& patterns);

class CFileComboBox {
public:
    CFileComboBox() = default;

    // Binds the model to the combo control of a page; until then the calls that touch the
    // control do nothing.
    void Attach(const CComboHandle& combo) { m_combo = combo; }
    bool IsAttached() const { return m_combo.has_value(); }

    // The text of the first entry, standing for "no file"; empty: the list has no such entry.
    void SetNoFileEntry(const std::wstring& text) { m_noFileEntry = text; }
    // The folder listed, the patterns (separated by ';') and the file-mask flags. The list is
    // not read until Refill.
    void SetFolder(const std::wstring& folder, const std::wstring& patterns, unsigned int flags);
    const std::wstring& GetFolder() const { return m_folder; }
    const std::wstring& GetMask() const { return m_mask; }
    unsigned int GetFlags() const { return m_flags; }

    // The names of the folder's files that the patterns and flags take, sorted ignoring case
    // and, among names equal but for case, by their exact text: the order does not depend on
    // the order in which the system lists the folder.
    std::vector<std::wstring> ListFiles() const;
    // Lists the folder into the combo again, after the no-file entry. The entry selected before
    // stays selected when it is still listed; otherwise nothing is selected. Answers the number
    // of files listed.
    int Refill();
    // The index of file name `name` in the combo, -1 when it is not listed; selects nothing.
    int FindFileName(const std::wstring& name) const;
    // Whether an entry of a file (not the no-file entry) is selected.
    bool HasFileSelected() const;

    // The selected file name: empty for the no-file entry. With nothing selected, the name last
    // given to SelectFileName that was not in the list (a file that has gone keeps its name
    // until the user picks another), else empty.
    std::wstring GetFileName() const;
    // Selects the entry of file name `name`, the no-file entry for an empty name. A name that is
    // not listed leaves nothing selected and is remembered (GetFileName). The index, or -1.
    int SelectFileName(const std::wstring& name);
    // The full path of a file name of this combo: the folder joined with the name; an empty name
    // gives the folder.
    std::wstring BuildPathName(const std::wstring& name) const;
    std::wstring GetPathName() const { return BuildPathName(GetFileName()); }

    int GetCurSel() const { return m_combo ? m_combo->GetCurSel() : -1; }
    void SetCurSel(int sel) const {
        if (m_combo) m_combo->SetCurSel(sel);
    }
    // The combo's control identifier, 0 when not attached.
    unsigned int Id() const { return m_combo ? m_combo->Id() : 0; }

private:
    std::optional<CComboHandle> m_combo;
    std::wstring m_noFileEntry;
    std::wstring m_folder;
    std::wstring m_mask;
    unsigned int m_flags = 0;
    std::wstring m_unlistedName;
};
