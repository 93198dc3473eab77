// The built-in grid tables: object archives of grid tables carried as resources of type "MFT"
// (see base/Resource.h), and the loader that the colour link uses for the 16-bit ones.
//
// Resources of type "MFT", by name (names match regardless of case):
//   RGBTOCMYK    CMft3_8          3 -> 4, 17 points   (not loaded by the library)
//   LABTOCMYK    CFunc_8Tab3Mft   3 -> 4, 9 points    (not loaded by the library)
//   LABTORGB     CFunc_8Tab3Mft   3 -> 3, 9 points    (not loaded by the library)
//   CMYKTORGB    CMft4_8          4 -> 3, 7 points    (not loaded by the library)
//   CMYKV2TORGB  CMft4_16         4 -> 3, 18 points   16-bit RGB
//   CMYKV2TOLAB  CMft4_16         4 -> 3, 16 points   legacy 16-bit Lab (L 100 at 0xFF00)
//   SRGBTOLAB    CMft3_16         3 -> 3, 33 points   full-range 16-bit Lab (L 100 at 0xFFFF)
// and the Lab identity profile, type "#400", name "#129".
#pragma once

#include "gridtable/Mft.h"

// Names of the built-in tables and of their resource type.
inline constexpr const wchar_t* kBuiltInMftType = L"MFT";
inline constexpr const wchar_t* kRgbToCmykName = L"RGBTOCMYK";
inline constexpr const wchar_t* kLabToCmykName = L"LABTOCMYK";
inline constexpr const wchar_t* kLabToRgbName = L"LABTORGB";
inline constexpr const wchar_t* kCmykToRgbName = L"CMYKTORGB";
inline constexpr const wchar_t* kCmykV2ToRgbName = L"CMYKV2TORGB";
inline constexpr const wchar_t* kCmykV2ToLabName = L"CMYKV2TOLAB";
inline constexpr const wchar_t* kSRgbToLabName = L"SRGBTOLAB";
// The Lab identity profile: resource type 400, identifier 129.
inline constexpr unsigned kLabProfileResourceType = 400;
inline constexpr unsigned kLabProfileResourceId = 129;

// Reads the built-in table `name` and prepares it for Trn. A missing resource leaves `mft` as
// it was; a table of a class outside the CMft_16 family is deleted and `mft` set to null; on
// success `mft` receives a new object that the caller owns (delete through the virtual
// destructor). A malformed archive raises CArchiveException out of the call.
void LoadBuiltInMft(const wchar_t* name, CMft_16*& mft);
