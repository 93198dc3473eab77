#include "pages/ImportFileDialog.h"

#include <filesystem>
#include <system_error>

#include "base/WideString.h"
#include "pages/PageModel.h"
#include "pages/PageServicesScope.h"
#include "pages/PageStrings.h"

namespace {
constexpr const char* kSystemColorDir = "/usr/share/color/icc";
}

CImportFileDialog::CImportFileDialog(unsigned int titleStringId, const wchar_t* filter,
                                     IPageServices* services)
    : m_services(services), m_title(LoadPageString(titleStringId)),
      m_filter(filter ? filter : L"") {}

int CImportFileDialog::DoModal() {
    m_path.clear();
    IPageServices* services = m_services ? m_services : CurrentPageServices();
    if (!services) return IDCANCEL;
    std::optional<std::wstring> chosen = services->ChooseFile(m_title, m_filter, m_initialDir);
    if (!chosen) return IDCANCEL;
    if ((m_options & OFN_FILEMUSTEXIST) && !chosen->empty()) {
        std::error_code ec;
        if (!std::filesystem::is_regular_file(std::filesystem::path(WideToUtf8(*chosen)), ec)) {
            services->Message(FormatPageString(IDS_FILE_MUST_EXIST, {*chosen}));
            return IDCANCEL;
        }
    }
    m_path = *chosen;
    return IDOK;
}

bool GetWindowsColorDir(std::wstring& folder) {
    std::error_code ec;
    if (std::filesystem::is_directory(kSystemColorDir, ec)) {
        folder = Utf8ToWide(kSystemColorDir);
        return true;
    }
    folder.clear();
    return false;
}
