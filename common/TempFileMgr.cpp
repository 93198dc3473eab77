#include "common/TempFileMgr.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "base/PathUtil.h"
#include "base/WideString.h"

std::wstring CTempFileMgr::TempFolder() {
    const char* tmp = std::getenv("TMPDIR");
    std::string base = tmp && *tmp == '/' ? tmp : "/tmp";
    while (base.size() > 1 && base.back() == '/') base.pop_back();
    return Utf8ToWide(base + "/kvrcolor-tmp");
}

std::wstring CTempFileMgr::CreateTempFileName(const wchar_t* extension) {
    const std::wstring folder = TempFolder();
    std::error_code ec;
    std::filesystem::create_directories(WideToUtf8(folder), ec);
    std::string pattern = WideToUtf8(BuildFileName(folder, std::wstring(kPrefix) + L"XXXXXX"));
    std::string ext = extension && *extension ? "." + WideToUtf8(extension) : "";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.insert(name.end(), ext.begin(), ext.end());
    name.push_back('\0');
    int fd = mkstemps(name.data(), static_cast<int>(ext.size()));
    if (fd < 0) return std::wstring();
    close(fd);
    return Utf8ToWide(name.data());
}

bool CTempFileMgr::IsTempFileName(const wchar_t* path) {
    if (!path || !*path) return false;
    const std::wstring folder = SplitPathName(path);
    if (folder.empty() || folder != TempFolder()) return false;
    return SplitFileName(path).starts_with(kPrefix);
}
