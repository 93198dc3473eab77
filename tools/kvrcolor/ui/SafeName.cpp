#include "ui/SafeName.h"

#include <vector>

namespace {

std::vector<std::string> Parts(const std::string& name, const char* separators) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        const size_t end = name.find_first_of(separators, start);
        parts.push_back(name.substr(start, end == std::string::npos ? end : end - start));
        if (end == std::string::npos) return parts;
        start = end + 1;
    }
}

bool IsAbsolute(const std::string& name) {
    if (name.empty()) return false;
    if (name[0] == '/' || name[0] == '\\') return true;
    // A drive letter: "C:x" names a folder of its own on the system the name comes from.
    return name.size() >= 2 && name[1] == ':';
}

} // namespace

std::optional<std::string> BareUploadName(const std::string& name) {
    if (name.empty() || IsAbsolute(name) || name.find('\0') != std::string::npos) return {};
    const std::vector<std::string> parts = Parts(name, "/\\");
    for (const std::string& p : parts)
        if (p == "..") return {};
    const std::string& last = parts.back();
    if (last.empty() || last == ".") return {};
    return last;
}

bool IsSafeRelativePath(const std::string& path) {
    if (path.empty() || IsAbsolute(path) || path.find('\0') != std::string::npos ||
        path.find('\\') != std::string::npos)
        return false;
    for (const std::string& p : Parts(path, "/"))
        if (p.empty() || p == "." || p == "..") return false;
    return true;
}
