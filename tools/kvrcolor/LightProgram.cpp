// In `kvrcolor` only: the two entry points whose libraries this program does not load. Each
// sends the command to kvrcolor-full (FullProgram.h); `kvrcolor-full` links the real ones
// (ui/UiServer.cpp, extract/PdfProfiles.cpp) instead of this file.
#include "FullProgram.h"
#include "extract/EmbeddedProfiles.h"
#include "ui/UiServer.h"

int RunUiServer(const SUiServerOptions&) {
    throw NeedsFullProgram("the web server");
}

std::unique_ptr<EmbeddedProfiles> OpenPdfProfiles(const std::string& path) {
    throw NeedsFullProgram("the PDF reader, for " + path);
}
