// The EXIF and GPS directories of a TIFF, carried from a TIFF input to a TIFF output. TIFF keeps
// them as directories of their own, pointed to from the image's directory, so they are read and
// written entry by entry through libtiff's field descriptions.
#pragma once

#include <tiffio.h>

#include <cstdint>
#include <vector>

#include "ImageReader.h"

// Reads the EXIF and GPS directories that the current image directory of `tif` points to into
// `meta`, and makes that image directory current again. Entries libtiff does not know are left
// behind. Answers false only when the image directory cannot be made current again.
bool ReadTiffExifDirectories(TIFF* tif, ImageMetadata& meta);

// Writes the EXIF and GPS directories of `meta` (when there are any) at the end of the file and
// sets up a fresh image directory that points to them. To be called before any field of the
// image directory is set. Answers false when libtiff fails.
bool WriteTiffExifDirectories(TIFF* tif, const ImageMetadata& meta);
