// Path helpers. Folder names in settings and presets may come with either separator ("Printer\RGB"
// in stored data, '/' on this system): both are accepted on input, and built paths use '/'.
#pragma once

#include <string>

// folder + '/' + name, with exactly one separator at the joint. An empty name gives the folder
// alone (without a trailing separator), an empty folder the name alone. Backslashes in either
// part become '/'. Null pointers count as empty.
std::wstring BuildFileName(const wchar_t* folder, const wchar_t* name);

// The part after the last separator: the file name. A path without a separator is all name; a
// path ending in a separator has an empty name.
std::wstring SplitFileName(const wchar_t* path);

// The part before the last separator, with '/' separators and without a trailing one; the root
// stays "/". Empty for a path without a separator.
std::wstring SplitPathName(const wchar_t* path);

// The extension of the file-name part, without its dot; empty when the name has no dot, ends in
// a dot, or only starts with one (".profile" is a hidden file, not an extension).
std::wstring SplitExtName(const wchar_t* path);

inline std::wstring BuildFileName(const std::wstring& folder, const std::wstring& name) {
    return BuildFileName(folder.c_str(), name.c_str());
}
inline std::wstring SplitFileName(const std::wstring& path) {
    return SplitFileName(path.c_str());
}
inline std::wstring SplitPathName(const std::wstring& path) {
    return SplitPathName(path.c_str());
}
inline std::wstring SplitExtName(const std::wstring& path) {
    return SplitExtName(path.c_str());
}
