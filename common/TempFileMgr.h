// Temporary files of the print system: profiles taken out of a job, for instance, that live in
// one folder of their own until the job is done. Settings that name such a file keep its full
// path, since it lies in no profile folder.
#pragma once

#include <string>

class CTempFileMgr {
public:
    // $TMPDIR (else /tmp) with the folder "kvrcolor-tmp" below it; evaluated on every call.
    static std::wstring TempFolder();
    // Creates a new empty file in TempFolder() with the given extension (without dot) and
    // answers its path; empty if the folder cannot be written.
    static std::wstring CreateTempFileName(const wchar_t* extension);
    // Whether `path` names a file made by CreateTempFileName: directly in TempFolder(), with the
    // name prefix of those files. Bare names are never temporary files.
    static bool IsTempFileName(const wchar_t* path);
    static bool IsTempFileName(const std::wstring& path) { return IsTempFileName(path.c_str()); }

    // The start of every temporary file's name.
    static constexpr const wchar_t* kPrefix = L"~kvr";
};
