#include "TiffErrors.h"

#include <tiffio.h>

#include <cstdarg>
#include <cstdio>

namespace {
thread_local std::string g_lastError;

void OnError(const char* module, const char* format, va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    g_lastError = module && *module ? std::string(module) + ": " + text : text;
}

void OnWarning(const char*, const char*, va_list) {}
} // namespace

void InstallTiffHandlers() {
    TIFFSetErrorHandler(OnError);
    TIFFSetWarningHandler(OnWarning);
}

std::string LastTiffError() {
    return g_lastError;
}
void ClearTiffError() {
    g_lastError.clear();
}
