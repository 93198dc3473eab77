// Wide strings and code pages. The interface is wide throughout; files and the console speak
// UTF-8; the one narrow code page of the system is Windows-1252, the code page of the Western
// European installations this RIP was made for (profile description ASCII fields and narrow
// file names use it).
#pragma once

#include <string>
#include <string_view>

std::string WideToUtf8(std::wstring_view text);
std::wstring Utf8ToWide(std::string_view text); // invalid sequences become U+FFFD

// Windows-1252. Characters without a code become '?'.
std::string WideToCodePage(std::wstring_view text);
std::wstring CodePageToWide(std::string_view text);

// Wide string with the few helpers the code relies on.
using CMfxStringW = std::wstring;
