#include "base/WideString.h"

#include <cstdint>

namespace {
// Windows-1252 bytes 0x80..0x9F; 0 marks the five unassigned codes.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}
} // namespace

std::string WideToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t w : text) {
        auto c = static_cast<char32_t>(w);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
        AppendUtf8(out, c);
    }
    return out;
}

std::wstring Utf8ToWide(std::string_view text) {
    static constexpr char32_t kMin[4] = {0, 0x80, 0x800, 0x10000}; // shortest form per length
    std::wstring out;
    out.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        auto b = static_cast<uint8_t>(text[i]);
        int extra = b < 0x80 ? 0 : (b >> 5) == 6 ? 1 : (b >> 4) == 14 ? 2 : (b >> 3) == 30 ? 3 : -1;
        bool ok = extra >= 0 && i + extra < text.size();
        char32_t c = 0;
        if (ok) {
            c = b & (0x7F >> extra);
            for (int k = 1; ok && k <= extra; ++k) {
                auto cb = static_cast<uint8_t>(text[i + k]);
                ok = (cb & 0xC0) == 0x80;
                c = (c << 6) | (cb & 0x3F);
            }
            ok = ok && c >= kMin[extra] && c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF);
        }
        if (!ok) {
            out += L'\uFFFD';
            ++i;
            continue;
        }
        out += static_cast<wchar_t>(c);
        i += extra + 1;
    }
    return out;
}

std::string WideToCodePage(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t w : text) {
        auto c = static_cast<char32_t>(w);
        if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) {
            out += static_cast<char>(c);
            continue;
        }
        char mapped = '?';
        for (int k = 0; k < 32; ++k)
            if (kCp1252High[k] && kCp1252High[k] == c) mapped = static_cast<char>(0x80 + k);
        out += mapped;
    }
    return out;
}

std::wstring CodePageToWide(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    for (char ch : text) {
        auto b = static_cast<uint8_t>(ch);
        if (b >= 0x80 && b < 0xA0)
            out += static_cast<wchar_t>(kCp1252High[b - 0x80] ? kCp1252High[b - 0x80] : 0xFFFD);
        else
            out += static_cast<wchar_t>(b);
    }
    return out;
}
