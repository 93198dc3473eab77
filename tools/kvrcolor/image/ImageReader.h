// Reading images band by band: TIFF and PNG, 8 or 16 bits a sample, the colour channels first
// and any extra channels (alpha) behind them in each pixel. Only a band of rows is ever held,
// so that the memory of a conversion does not grow with the image.
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

struct ImageInfo {
    std::string path;
    std::string format; // "TIFF" or "PNG"
    uint32_t width = 0;
    uint32_t height = 0;
    unsigned bits = 8;                // 8 or 16
    PixelSpace space;                 // the colour channels
    unsigned extras = 0;              // channels behind the colour ones (alpha and the like)
    std::vector<uint16_t> extraKinds; // TIFF EXTRASAMPLES values, one per extra channel
    LabEncoding lab = LabEncoding::None;
    bool minIsWhite = false;  // grey with 0 as white
    std::vector<uint8_t> icc; // embedded profile, empty if none

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

// Opens a TIFF or PNG file, telling them apart by their first bytes. Throws CliError: input
// (missing, unreadable, neither format) or layout (a form of the format not handled here).
std::unique_ptr<ImageReader> OpenImage(const std::string& path);

// The two readers, for OpenImage.
std::unique_ptr<ImageReader> OpenTiff(const std::string& path);
std::unique_ptr<ImageReader> OpenPng(const std::string& path);
