// Reading images band by band: TIFF, PNG and JPEG, 8 or 16 bits a sample, the colour channels
// first and any extra channels (alpha) behind them in each pixel. Only a band of rows is ever
// held (a row of tiles for tiled TIFF), so that the memory of a conversion does not grow with
// the image.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "PixelSpace.h"

// How Lab samples are encoded in the file.
enum class LabEncoding {
    None,   // not Lab
    CieLab, // TIFF CIELAB: L unsigned, a and b signed
    IccLab, // TIFF ICCLAB: L unsigned, a and b unsigned with 0 at the middle code
};

// What an image says about itself besides its pixels, handed from the input to the output
// where the output format has a place for it. Empty strings and blobs are absent.
// One entry of a TIFF's EXIF or GPS directory: its tag, the number of values and the values in
// the form libtiff hands them over and takes them back (a rational as a float or double, as the
// tag's description says).
struct TiffDirEntry {
    uint32_t tag = 0;
    uint32_t count = 0;
    std::vector<uint8_t> value;
};

struct ImageMetadata {
    double xResolution = 0, yResolution = 0; // pixels per unit; 0 if not stated
    enum class Unit { None, Inch, Centimetre } unit = Unit::Inch;
    uint16_t orientation = 0; // TIFF/EXIF orientation 1..8; 0 if not stated
    std::string description, artist, copyright;
    std::vector<uint8_t> xmp;  // the XMP packet
    std::vector<uint8_t> exif; // a TIFF-structured EXIF block ("II*\0..." or "MM\0*...")
    // The EXIF and GPS directories of a TIFF input, for a TIFF output.
    std::vector<TiffDirEntry> tiffExif, tiffGps;
    // Other text: PNG tEXt/iTXt keywords and their values.
    std::vector<std::pair<std::string, std::string>> text;
};

struct ImageInfo {
    std::string path;
    std::string format; // "TIFF", "PNG" or "JPEG"
    uint32_t width = 0;
    uint32_t height = 0;
    unsigned bits = 8;                // 8 or 16
    PixelSpace space;                 // the colour channels
    unsigned extras = 0;              // channels behind the colour ones (alpha and the like)
    std::vector<uint16_t> extraKinds; // TIFF EXTRASAMPLES values, one per extra channel
    LabEncoding lab = LabEncoding::None;
    bool minIsWhite = false;  // grey with 0 as white
    std::vector<uint8_t> icc; // embedded profile, empty if none
    ImageMetadata meta;
    unsigned page = 0, pages = 1; // this page (from 0) and the pages of the file

    unsigned samplesPerPixel() const { return space.channels + extras; }
    size_t rowBytes() const { return size_t(width) * samplesPerPixel() * (bits / 8); }
};

class ImageReader {
public:
    virtual ~ImageReader() = default;
    const ImageInfo& Info() const { return m_info; }
    // The next `rows` rows, interleaved samples as in the file (16-bit in the machine's byte
    // order), rowBytes() each. Throws CliError (input) for a damaged or truncated file.
    virtual void ReadRows(uint32_t rows, void* buffer) = 0;

protected:
    ImageInfo m_info;
};

// Opens page `page` (from 0) of a TIFF, PNG or JPEG file, telling them apart by their first
// bytes. Throws CliError: input (missing, unreadable, no such format or page) or layout (a form
// of the format not handled here).
std::unique_ptr<ImageReader> OpenImage(const std::string& path, unsigned page = 0);

// The readers, for OpenImage.
std::unique_ptr<ImageReader> OpenTiff(const std::string& path, unsigned page);
std::unique_ptr<ImageReader> OpenPng(const std::string& path);
std::unique_ptr<ImageReader> OpenJpeg(const std::string& path);

// Samples of 8 bits widened to 16 (or the reverse) around another reader or writer, so that
// --depth can differ from the input's. Lab a and b move by whole units (x 256), everything else
// spans the full range (x 257).
std::unique_ptr<ImageReader> WidenTo16(std::unique_ptr<ImageReader> reader);
