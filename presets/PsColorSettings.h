// The interpreter colour settings as this library reads and prepares them: the defaults of an
// interpreter from its section of the settings file, and the change between the bare file names
// that presets store and the full paths that everything else uses.
#pragma once

#include "common/PreSetPsCs.h"

class CPrintUSM;

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
