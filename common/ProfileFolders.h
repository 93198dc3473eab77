// The folders of the profiles below the base path (setting IniCpBasePath). Written as stored
// data has them; BuildFileName turns the backslash into this system's separator.
#pragma once

inline constexpr const wchar_t* kFolderInputRgb = L"InputRgb";
inline constexpr const wchar_t* kFolderInputCmyk = L"InputCmyk";
inline constexpr const wchar_t* kFolderInputLab = L"InputLab";
inline constexpr const wchar_t* kFolderInputGray = L"InputGray";
inline constexpr const wchar_t* kFolderPrinter = L"Printer";
inline constexpr const wchar_t* kFolderPrinterRgb = L"Printer\\RGB";
inline constexpr const wchar_t* kFolderSimTarget = L"SimTarget";
