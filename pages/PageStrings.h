// The texts of the pages, by number, in one table (PageStrings.cpp), looked up the way a
// resource string is loaded. The numbers are those the dialogs and the pages' code use; the
// messages of the colour errors are the strings with the error's own number (901 to 909).
#pragma once

#include <initializer_list>
#include <string>

// String numbers used by more than one page.
enum : unsigned int {
    IDS_PROFILE_PATTERNS = 12925,      // file patterns of profiles, separated by ';'
    IDS_IMPORT_FILTER_TEXT = 13392,    // file dialog filter: the text the user sees
    IDS_IMPORT_FILTER_PATTERN = 13393, // file dialog filter: its patterns
    IDS_IMPORT_TITLE = 13394,          // title of the import file dialog
    IDS_NO_FILE_ENTRY = 13395,         // the entry for "no file" in a file combo box
    IDS_CONFIRM_REPLACE = 13396,       // question before a copy replaces a file; %1 the file
    IDS_CONFIRM_TRASH = 13397,         // question before a file goes to the Trash; %1 the file
    IDS_FILE_MUST_EXIST = 13398,       // the chosen file does not exist; %1 the file
    IDS_ICC_ERROR_OTHER = 900,         // a colour error without a text of its own; %1, %2
};

// The text of string `id`; false (and `text` cleared) when the table has no such string.
bool LoadPageString(unsigned int id, std::wstring& text);
// The text of string `id`, empty when there is none.
std::wstring LoadPageString(unsigned int id);
// String `id` with "%1", "%2", ... replaced by the arguments in order; a placeholder without an
// argument stays as it is.
std::wstring FormatPageString(unsigned int id, std::initializer_list<std::wstring> args);
