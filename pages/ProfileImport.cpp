#include "pages/ProfileImport.h"

#include <filesystem>
#include <system_error>

#include "base/PathUtil.h"
#include "base/WideString.h"
#include "pages/FileComboBox.h"
#include "pages/ImportFileDialog.h"
#include "pages/PageStrings.h"
#include "pages/ShellFileOps.h"

namespace fs = std::filesystem;

namespace {
// The extension an imported profile with an unknown one gets.
constexpr const wchar_t* kImportedExtension = L"icm";
} // namespace

std::wstring BuildImportFilter() {
    return LoadPageString(IDS_IMPORT_FILTER_TEXT) + L"|" +
           LoadPageString(IDS_IMPORT_FILTER_PATTERN) + L"|";
}

std::wstring ChooseProfileToImport(IPageServices* services) {
    const std::wstring filter = BuildImportFilter();
    CImportFileDialog dialog(IDS_IMPORT_TITLE, filter.c_str(), services);
    std::wstring colorDir;
    if (GetWindowsColorDir(colorDir)) dialog.SetInitialDir(colorDir);
    if (dialog.DoModal() != CImportFileDialog::IDOK) return std::wstring();
    return dialog.GetPathName();
}

bool HasProfileExtension(const std::wstring& path) {
    const std::wstring ext = SplitExtName(path);
    if (ext.empty()) return false;
    for (const std::wstring& pattern : SplitPatterns(LoadPageString(IDS_PROFILE_PATTERNS))) {
        const std::wstring patternExt = SplitExtName(pattern);
        if (!patternExt.empty() && MatchFilePattern(patternExt, ext, true)) return true;
    }
    return false;
}

SImportedFile CopyProfileIntoFolder(const std::wstring& source, const std::wstring& folder) {
    SImportedFile result;
    if (!ShCopyFile(source.c_str(), folder.c_str(), 0)) return result;
    result.sName = SplitFileName(source);
    if (HasProfileExtension(source)) {
        result.bCopied = true;
        return result;
    }
    // The name without its extension, then the profile extension.
    std::wstring renamed = result.sName;
    const std::wstring ext = SplitExtName(renamed);
    if (!ext.empty()) renamed.resize(renamed.size() - ext.size() - 1);
    renamed += L".";
    renamed += kImportedExtension;
    const fs::path from(WideToUtf8(BuildFileName(folder, result.sName)));
    const fs::path to(WideToUtf8(BuildFileName(folder, renamed)));
    std::error_code ec;
    if (fs::exists(fs::symlink_status(to, ec))) return result;
    fs::rename(from, to, ec);
    if (ec) return result;
    result.bCopied = true;
    result.bRenamed = true;
    result.sName = renamed;
    return result;
}
