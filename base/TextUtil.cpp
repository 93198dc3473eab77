#include "base/TextUtil.h"

#include "base/Settings.h"

std::wstring EncodeCrLf(const std::wstring& text) {
    std::wstring out;
    out.reserve(text.size());
    for (wchar_t c : text) {
        switch (c) {
        case L'\\':
            out += L"\\\\";
            break;
        case L'\r':
            out += L"\\r";
            break;
        case L'\n':
            out += L"\\n";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::wstring DecodeCrLf(const std::wstring& text) {
    std::wstring out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        wchar_t c = text[i];
        if (c == L'\\' && i + 1 < text.size()) {
            wchar_t next = text[i + 1];
            if (next == L'\\' || next == L'r' || next == L'n') {
                out += next == L'r' ? L'\r' : next == L'n' ? L'\n' : L'\\';
                ++i;
                continue;
            }
        }
        out += c;
    }
    return out;
}

int SplitNumberStringToInt(const std::wstring& text, std::vector<int>& values, wchar_t separator) {
    values.clear();
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(separator, start);
        if (end == std::wstring::npos) end = text.size();
        int v;
        if (CIniFile::ParseInt(text.substr(start, end - start), v)) values.push_back(v);
        start = end + 1;
    }
    return static_cast<int>(values.size());
}

std::wstring ToString(int value) {
    return std::to_wstring(value);
}

int FromString(const std::wstring& text) {
    int v = 0;
    return CIniFile::ParseInt(text, v) ? v : 0;
}
