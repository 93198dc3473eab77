// A built native link saved as an ICC device-link profile, so that other engines (lcms2, ...)
// can apply the same conversion: class 'link', version 2, colour space the link's input, the
// connection-space field its output, one A2B0 of type lut16 ('mft2') with the link table's input
// curves, grid and output curves, a description and a copyright.
#pragma once

#include <string>

#include "PixelSpace.h"

class CFunc_16TabBaseMft;

// Writes the profile to `path` (the caller takes care of temporary names). `headerIntent` is
// the ICC header's 0 to 3. Throws CliError: link (a table of a kind that lut16 can't hold),
// output (cannot be written).
void WriteDeviceLink(const std::string& path, const CFunc_16TabBaseMft& table, const PixelSpace& in,
                     const PixelSpace& out, unsigned headerIntent, const std::string& description);
