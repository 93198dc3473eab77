#include "base/PathUtil.h"

namespace {

std::wstring Normalized(const wchar_t* text) {
    std::wstring s = text ? text : L"";
    for (wchar_t& c : s)
        if (c == L'\\') c = L'/';
    return s;
}

// Drops trailing separators but keeps a lone root "/".
void TrimTrailingSeps(std::wstring& s) {
    while (s.size() > 1 && s.back() == L'/') s.pop_back();
}

size_t LastSep(const std::wstring& s) {
    return s.find_last_of(L"/\\");
}

} // namespace

std::wstring BuildFileName(const wchar_t* folder, const wchar_t* name) {
    std::wstring f = Normalized(folder), n = Normalized(name);
    size_t lead = n.find_first_not_of(L'/');
    n.erase(0, lead == std::wstring::npos ? n.size() : lead);
    TrimTrailingSeps(f);
    if (n.empty()) return f;
    if (f.empty()) return n;
    if (f.back() != L'/') f += L'/'; // only the root still ends in '/'
    return f + n;
}

std::wstring SplitFileName(const wchar_t* path) {
    std::wstring p = path ? path : L"";
    size_t sep = LastSep(p);
    return sep == std::wstring::npos ? p : p.substr(sep + 1);
}

std::wstring SplitPathName(const wchar_t* path) {
    std::wstring p = Normalized(path);
    size_t sep = LastSep(p);
    if (sep == std::wstring::npos) return std::wstring();
    p.erase(sep + 1);
    TrimTrailingSeps(p);
    return p;
}

std::wstring SplitExtName(const wchar_t* path) {
    std::wstring name = SplitFileName(path);
    size_t dot = name.rfind(L'.');
    if (dot == std::wstring::npos || dot == 0) return std::wstring();
    return name.substr(dot + 1);
}
