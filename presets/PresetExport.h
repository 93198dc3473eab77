// Export of presets with their profiles: which files each kind adds to the archive, and with
// which destination folder. The input-profile preset does its own (CPSOInputProfiles); the
// interpreter presets share what is here.
#pragma once

#include <functional>
#include <string>

#include "common/PreSetPsCs.h"

class CPrintUSM;
class IKvImpExArch;
class IPSOExportDialog;

// Adds the profile of `field` to the archive, from the standard folder of `destination`. Only the
// destinations 2, 3, 7 and 8 have a folder here; for the others (Lab 4, gray 9) the archive gets
// the bare file name. The input-profile preset builds all four folders itself: the difference is
// kept as the host expects it.
void ExpProf(const std::wstring& field, int destination, IKvImpExArch* archive, CPrintUSM* usm);

// The interpreter presets: the dialog hears 1 at the first non-empty profile field, else 0.
void PsColorCheckExportOptions(const SPostscriptColorSettings& s, IPSOExportDialog* dialog);
// The interpreter presets: if the archive wants profiles, ExpProf for the RGB fields (2), the
// CMYK fields (3), the default output CMYK (7) and RGB (8), the Lab fields (4), the gray fields
// (9), in that order.
void PsColorExportTo(const SPostscriptColorSettings& s, IKvImpExArch* archive, CPrintUSM* usm);

class IPreSetObj;
class CKvZipExport;
class CKvZipImport;

// One preset into an archive: its XML under `name` with the kind's `extension`, and the profiles
// it names when the archive's options ask for them. 0 if the preset cannot be written.
int ExportPreset(IPreSetObj& pso, const std::wstring& extension, const std::wstring& name,
                 CKvZipExport& archive);

// The preset of an opened archive back into place: `probe` (a preset object of the kind the
// archive's extension names) must load its XML, else nothing is written and the answer is 0 with
// `error` set; then the archive's files go below `basePath` and into `presetFolder`.
int ImportPreset(CKvZipImport& archive, IPreSetObj& probe, const std::wstring& basePath,
                 const std::wstring& presetFolder,
                 const std::function<bool(const std::wstring&)>& confirm, std::wstring& error);
