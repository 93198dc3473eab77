// The steps that every import button of the pages shares: ask for a profile file, copy it into
// a profile folder, and give it a name the folder's combo lists.
#pragma once

#include <string>

class IPageServices;

// The filter of the import dialog: the two filter strings, each followed by '|'.
std::wstring BuildImportFilter();

// Asks for the file to import: the import dialog with its title string, starting in the
// system's colour folder when there is one. Empty when the user cancels or chooses nothing.
std::wstring ChooseProfileToImport(IPageServices* services);

// Whether the extension of `path` is that of one of the profile patterns (string 12925),
// ignoring case.
bool HasProfileExtension(const std::wstring& path);

struct SImportedFile {
    bool bCopied = false;  // the copy (and a needed renaming) succeeded
    bool bRenamed = false; // the extension was unknown and the copy now ends in ".icm"
    std::wstring sName;    // the file name of the copy in the folder
};

// Copies `source` into `folder` with ShCopyFile(source, folder, 0), so that the user is asked
// before a file of the same name is replaced. A file whose extension is none of the profile
// patterns is then renamed to its name with the extension ".icm" (replaced, or added when it has
// none); a file of that name already in the folder makes the renaming fail, as the shell's does.
// On a failed renaming the copy stays under its own name and bCopied is false.
SImportedFile CopyProfileIntoFolder(const std::wstring& source, const std::wstring& folder);
