// The open-file dialog of the import buttons, as a call on the page's services, and the folder
// where the system keeps its colour profiles, where the dialog starts.
#pragma once

#include <string>

class IPageServices;

// Option of the dialog: the chosen file must exist.
inline constexpr unsigned int OFN_FILEMUSTEXIST = 4096;

class CImportFileDialog {
public:
    enum : int { IDOK = 1, IDCANCEL = 2 };

    // `titleStringId`: the string of the title; an empty or missing string leaves the
    // dialog's own title (empty here). `filter`: "text|patterns|...|". `services`: those of the
    // page that opens the dialog (the parent window's); null: the current ones.
    CImportFileDialog(unsigned int titleStringId, const wchar_t* filter, IPageServices* services);

    // The folder the dialog starts in.
    void SetInitialDir(const std::wstring& folder) { m_initialDir = folder; }
    // Shows the dialog. IDOK with the chosen path in GetPathName; IDCANCEL when the user cancels
    // or there is nobody to ask. With OFN_FILEMUSTEXIST a path that is not an existing file is
    // told to the user and ends the dialog as cancelled.
    int DoModal();
    const std::wstring& GetPathName() const { return m_path; }
    const std::wstring& GetTitle() const { return m_title; }
    const std::wstring& GetFilter() const { return m_filter; }
    unsigned int GetOptions() const { return m_options; }

private:
    IPageServices* m_services; // not owned
    std::wstring m_title;
    std::wstring m_filter;
    std::wstring m_initialDir;
    std::wstring m_path;
    unsigned int m_options = OFN_FILEMUSTEXIST;
};

// The system's folder of colour profiles: /usr/share/color/icc, where the distributions and
// colord install them (the shared ICC folder of the OpenICC directory layout). False, with
// `folder` cleared, when it does not exist.
bool GetWindowsColorDir(std::wstring& folder);
