// libtiff reports through global handlers. These keep the last error text, so that a failure
// becomes one line of ours instead of libtiff's own output on stderr; warnings are dropped.
#pragma once

#include <string>

// Installs the handlers; harmless to call more than once.
void InstallTiffHandlers();
// The last error text since the last Clear, empty if none.
std::string LastTiffError();
void ClearTiffError();
