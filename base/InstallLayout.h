// Where an installed library finds its data, so that an installed tree can be moved as a whole.
#pragma once

#include <string>

// The default of the setting BasePath, the root of the profile folders, looked up once:
// 1. $KVR_PROFILE_BASE, when set and not empty;
// 2. the profile folder of the installed layout, found from the library file's own place (the
//    relative path from the library folder to the data folder is fixed at configure time), when
//    that folder exists;
// 3. the absolute folder configured at build time.
std::wstring DefaultProfileBase();

// The folder of the file (shared library or program) that holds this code; empty if unknown.
std::string FolderOfThisModule();
