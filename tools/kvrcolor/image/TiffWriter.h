// TIFF output, written a band of rows at a time: chunky samples of the input's bit depth, the
// photometric interpretation of the output space, the extra channels of the input behind the
// colour ones, the destination profile embedded. The tool's output, kvrmkimage's generated
// images and the test images of the tool's tests are all written by it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ImageReader.h"
#include "PixelSpace.h"

enum class Compression { None, Lzw, Deflate };

struct OutputSpec {
    uint32_t width = 0;
    uint32_t height = 0;
    unsigned bits = 8;
    PixelSpace space;                    // colour channels: RGB, CMYK, n-colour, Lab or gamut
    unsigned extras = 0;                 // channels copied from the input behind the colour ones
    std::vector<uint16_t> extraKinds;    // their TIFF EXTRASAMPLES values
    LabEncoding lab = LabEncoding::None; // CIELAB or ICCLAB for Lab output
    std::vector<uint8_t> icc;            // profile to embed; none if empty
    Compression compression = Compression::None;
    std::string software = "kvrcolor"; // the program named in the file
    double resolution = 0;             // pixels per inch, written when above 0

    size_t rowBytes() const { return size_t(width) * (space.channels + extras) * (bits / 8); }
};

class TiffWriter {
public:
    // Creates `path`; `shownName` is the name used in messages (the final output name).
    TiffWriter(const std::string& path, const OutputSpec& spec, const std::string& shownName);
    // Writes into the open file `fd`, which the writer takes over and closes.
    TiffWriter(int fd, const OutputSpec& spec, const std::string& shownName);
    ~TiffWriter();
    TiffWriter(const TiffWriter&) = delete;
    TiffWriter& operator=(const TiffWriter&) = delete;

    // The next `rows` rows, rowBytes() each, 16-bit samples in the machine's byte order.
    void WriteRows(uint32_t rows, const void* buffer);
    // Writes what is buffered and the directory and closes the file.
    void Finish();

private:
    void Start(); // the fields of the directory
    struct Impl;
    std::unique_ptr<Impl> m;
};
