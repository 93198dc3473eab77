// Text helpers for values that pass through the one-line-per-key settings files.
#pragma once

#include <string>
#include <vector>

// Makes multi-line text fit on one settings line: '\\' becomes "\\\\", CR "\\r", LF "\\n".
std::wstring EncodeCrLf(const std::wstring& text);
// The inverse of EncodeCrLf. A backslash before any other character, or at the end, stays as it
// stands, so that text that was never encoded mostly survives.
std::wstring DecodeCrLf(const std::wstring& text);

// Splits a list such as "33, 17, 11" at the separator into integers. Items that are empty or not
// decimal integers are dropped, so a malformed list comes out shorter rather than with invented
// zeros. Answers the number of integers stored in values (which is cleared first).
int SplitNumberStringToInt(const std::wstring& text, std::vector<int>& values,
                           wchar_t separator = L',');

std::wstring ToString(int value);
// A decimal integer with optional sign and surrounding whitespace; anything else gives 0.
int FromString(const std::wstring& text);
