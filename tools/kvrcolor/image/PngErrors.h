// libpng's failures as the tool takes them: the error handler keeps libpng's message and jumps
// back to the setjmp of the call that failed; warnings are dropped (a damaged file shows as an
// error where it matters). Register with png_create_*_struct(..., &error, OnPngError,
// OnPngWarning).
#pragma once

#include <png.h>

#include <cstdio>

struct PngError {
    char message[256] = {};
};

inline void OnPngError(png_structp png, png_const_charp message) {
    auto* error = static_cast<PngError*>(png_get_error_ptr(png));
    std::snprintf(error->message, sizeof error->message, "%s", message ? message : "error");
    png_longjmp(png, 1);
}

inline void OnPngWarning(png_structp, png_const_charp) {}
