// The interpreter colour settings as this library reads and prepares them: the defaults of an
// interpreter from its section of the settings file, and the change between the bare file names
// that presets store and the full paths that everything else uses.
#pragma once

#include "common/PreSetPsCs.h"

class CPrintUSM;
class IKvImpExArch;

// The section of the settings file that holds an interpreter's defaults.
const wchar_t* PsColorDefaultsSection(ePsPdfInterpreter interpreter);

// Every field that has a setting, from the interpreter's section (the entry's default where the
// key is missing); the profile fields are expanded once read. Nothing without `usm`.
void LoadPsColorDefaults(SPostscriptColorSettings& settings, ePsPdfInterpreter interpreter,
                         CPrintUSM* usm);

// Each non-empty profile field that is not a temporary file becomes base path / folder / its
// file name: a path in a foreign folder moves to the standard one.
void ExpandPsColorProfilePaths(SPostscriptColorSettings& settings, CPrintUSM* usm);

// Each profile field becomes its file name, temporary file or not.
void ReducePsColorProfilePaths(SPostscriptColorSettings& settings);

// Adds the profile of `field` to the archive, from the standard folder of `destination`. Only the
// destinations 2, 3, 7 and 8 have a folder here; for the others (Lab 4, gray 9) the archive gets
// the bare file name. The input-profile preset builds all four folders itself: the difference is
// kept as the host expects it.
void ExpProf(const std::wstring& field, int destination, IKvImpExArch* archive, CPrintUSM* usm);
