// TIFF output, written a band of rows at a time, one page or more: chunky samples, the
// photometric interpretation of the output space, the extra channels behind the colour ones,
// the destination profile and the input's metadata (resolution, orientation, description,
// artist, copyright, XMP) embedded. The tool's output, kvrmkimage's generated
// images and the test images of the tool's tests are all written by it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ImageWriter.h"

class TiffWriter : public ImageWriter {
public:
    // Creates `path`; `shownName` is the name used in messages (the final output name).
    TiffWriter(const std::string& path, const OutputSpec& spec, const std::string& shownName);
    // Writes into the open file `fd`, which the writer takes over and closes.
    TiffWriter(int fd, const OutputSpec& spec, const std::string& shownName);
    ~TiffWriter() override;
    TiffWriter(const TiffWriter&) = delete;
    TiffWriter& operator=(const TiffWriter&) = delete;

    // The next `rows` rows, rowBytes() each, 16-bit samples in the machine's byte order.
    void WriteRows(uint32_t rows, const void* buffer) override;
    // Writes the directory of this page and starts the next one.
    void NextPage(const OutputSpec& spec) override;
    // Writes what is buffered and the directory and closes the file.
    void Finish() override;

private:
    void Start(); // the fields of the directory
    void WriteStrip(uint32_t strip, const uint8_t* data, size_t size);
    void FlushStrip(); // the rows of an unfinished strip, uncompressed pages
    struct Impl;
    std::unique_ptr<Impl> m;
};
