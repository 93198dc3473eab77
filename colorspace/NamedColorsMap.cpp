#include "colorspace/NamedColorsMap.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>

IMPLEMENT_DYNAMIC(CMapNameToDevPixel, CObject)

namespace {

// The locale whose case mapping is used: C.UTF-8 covers all of Unicode and does not depend on
// the process's own locale. Null if the system has none; only ASCII is then folded.
locale_t CaseLocale() {
    static const locale_t loc = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(0));
    return loc;
}

} // namespace

wchar_t FoldCaseChar(wchar_t c) {
    if (c < 0x80) return (c >= L'A' && c <= L'Z') ? wchar_t(c + (L'a' - L'A')) : c;
    const locale_t loc = CaseLocale();
    return loc ? static_cast<wchar_t>(towlower_l(static_cast<wint_t>(c), loc)) : c;
}

bool EqualsNoCase(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] && FoldCaseChar(a[i]) != FoldCaseChar(b[i])) return false;
    return true;
}

bool CaseBlindLess::operator()(std::wstring_view a, std::wstring_view b) const {
    const size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        if (a[i] == b[i]) continue;
        const wchar_t fa = FoldCaseChar(a[i]), fb = FoldCaseChar(b[i]);
        if (fa != fb) return fa < fb;
    }
    return a.size() < b.size();
}

CMapNameToDevPixel::~CMapNameToDevPixel() = default;

unsigned short* CMapNameToDevPixel::Find(std::wstring_view name) const {
    const auto it = m_map.find(name);
    return it == m_map.end() ? nullptr : it->second.pixel.get();
}

bool CMapNameToDevPixel::Add(const std::wstring& name, Pixel pixel) {
    if (Contains(name)) return false;
    m_names.push_back(name);
    m_map.emplace(name, Entry{std::move(pixel), std::prev(m_names.end())});
    return true;
}

void CMapNameToDevPixel::SetAt(const std::wstring& name, Pixel pixel) {
    const auto it = m_map.find(std::wstring_view(name));
    if (it != m_map.end())
        it->second.pixel = std::move(pixel);
    else
        Add(name, std::move(pixel));
}

bool CMapNameToDevPixel::RemoveKey(std::wstring_view name) {
    const auto it = m_map.find(name);
    if (it == m_map.end()) return false;
    m_names.erase(it->second.name);
    m_map.erase(it);
    return true;
}

void CMapNameToDevPixel::RemoveAll() {
    m_map.clear();
    m_names.clear();
}
