#include "pages/FileComboBox.h"

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <system_error>

#include "base/PathUtil.h"
#include "base/WideString.h"

namespace fs = std::filesystem;

namespace {

wchar_t Fold(wchar_t c, bool ignoreCase) {
    return ignoreCase ? static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c))) : c;
}

std::wstring Lower(const std::wstring& s) {
    std::wstring out = s;
    for (wchar_t& c : out) c = Fold(c, true);
    return out;
}

} // namespace

bool MatchFilePattern(const std::wstring& pattern, const std::wstring& name, bool ignoreCase) {
    // Iterative glob with one backtracking point, the last '*'.
    size_t p = 0, n = 0, star = std::wstring::npos, mark = 0;
    while (n < name.size()) {
        if (p < pattern.size() &&
            (pattern[p] == L'?' ||
             (pattern[p] != L'*' && Fold(pattern[p], ignoreCase) == Fold(name[n], ignoreCase)))) {
            ++p, ++n;
        } else if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            mark = n;
        } else if (star != std::wstring::npos) {
            p = star + 1;
            n = ++mark;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == L'*') ++p;
    return p == pattern.size();
}

std::vector<std::wstring> SplitPatterns(const std::wstring& patterns) {
    std::vector<std::wstring> out;
    size_t start = 0;
    while (start <= patterns.size()) {
        size_t end = patterns.find(L';', start);
        if (end == std::wstring::npos) end = patterns.size();
        std::wstring item = patterns.substr(start, end - start);
        const size_t first = item.find_first_not_of(L" \t");
        const size_t last = item.find_last_not_of(L" \t");
        if (first != std::wstring::npos) out.push_back(item.substr(first, last - first + 1));
        start = end + 1;
    }
    return out;
}

void CFileComboBox::SetFolder(const std::wstring& folder, const std::wstring& patterns,
                              unsigned int flags) {
    m_folder = folder;
    m_mask = patterns;
    m_flags = flags;
}

std::vector<std::wstring> CFileComboBox::ListFiles() const {
    std::vector<std::wstring> names;
    if (m_folder.empty()) return names;
    const std::vector<std::wstring> patterns = SplitPatterns(m_mask);
    const bool ignoreCase = (m_flags & FM_IGNORE_CASE) != 0;
    std::error_code ec;
    fs::directory_iterator it(fs::path(WideToUtf8(m_folder)), ec);
    for (; !ec && it != fs::directory_iterator(); it.increment(ec)) {
        std::error_code sec;
        if ((m_flags & FM_FILES_ONLY) && !it->is_regular_file(sec)) continue;
        const std::wstring name = Utf8ToWide(it->path().filename().string());
        if ((m_flags & FM_SKIP_HIDDEN) && !name.empty() && name[0] == L'.') continue;
        const bool match =
            std::any_of(patterns.begin(), patterns.end(), [&](const std::wstring& p) {
                return MatchFilePattern(p, name, ignoreCase);
            });
        if (match) names.push_back(name);
    }
    std::sort(names.begin(), names.end(), [](const std::wstring& a, const std::wstring& b) {
        const std::wstring la = Lower(a), lb = Lower(b);
        return la != lb ? la < lb : a < b;
    });
    return names;
}

int CFileComboBox::Refill() {
    std::vector<std::wstring> files = ListFiles();
    const int count = static_cast<int>(files.size());
    if (!m_combo) return count;
    const int oldSel = m_combo->GetCurSel();
    const std::wstring oldText = m_combo->GetText();
    std::vector<std::wstring> items;
    if (!m_noFileEntry.empty()) items.push_back(m_noFileEntry);
    items.insert(items.end(), files.begin(), files.end());
    m_combo->ResetItems(std::move(items));
    if (oldSel >= 0) m_combo->SelectString(oldText);
    return count;
}

int CFileComboBox::FindFileName(const std::wstring& name) const {
    if (!m_combo || name.empty()) return -1;
    const std::vector<std::wstring> items = m_combo->GetItems();
    for (size_t i = m_noFileEntry.empty() ? 0 : 1; i < items.size(); ++i)
        if (items[i] == name) return static_cast<int>(i);
    return -1;
}

bool CFileComboBox::HasFileSelected() const {
    if (!m_combo) return false;
    const int sel = m_combo->GetCurSel();
    return sel >= (m_noFileEntry.empty() ? 0 : 1);
}

std::wstring CFileComboBox::GetFileName() const {
    if (!m_combo) return m_unlistedName;
    const int sel = m_combo->GetCurSel();
    if (sel < 0) return m_unlistedName;
    if (sel == 0 && !m_noFileEntry.empty()) return std::wstring();
    return m_combo->GetText();
}

int CFileComboBox::SelectFileName(const std::wstring& name) {
    m_unlistedName.clear();
    if (!m_combo) {
        m_unlistedName = name;
        return -1;
    }
    if (name.empty()) {
        const int sel = m_noFileEntry.empty() ? -1 : 0;
        m_combo->SetCurSel(sel);
        return sel;
    }
    const int index = FindFileName(name);
    m_combo->SetCurSel(index);
    if (index >= 0) return index;
    m_unlistedName = name;
    return -1;
}

std::wstring CFileComboBox::BuildPathName(const std::wstring& name) const {
    // No name: the folder, written as a folder, so that its file-name part is empty again and a
    // row without a profile is stored without one.
    if (name.empty())
        return m_folder.empty() ? std::wstring() : BuildFileName(m_folder, L"") + L'/';
    return BuildFileName(m_folder, name);
}
