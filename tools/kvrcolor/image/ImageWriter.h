// Image output, written a band of rows at a time: TIFF, PNG or JPEG, chosen by the output's
// format. The writer gets samples of the output's depth, the colour channels first and the
// extra channels (alpha) behind them, and embeds the destination profile.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ImageReader.h"
#include "PixelSpace.h"
#include "SharedBytes.h"

enum class Compression { None, Lzw, Deflate };
enum class ImageFormat { Tiff, Png, Jpeg };

// The JPEG quality when --quality is not given: high enough that a print is not harmed by it.
inline constexpr int kDefaultJpegQuality = 90;

struct OutputSpec {
    ImageFormat format = ImageFormat::Tiff;
    uint32_t width = 0;
    uint32_t height = 0;
    unsigned bits = 8;
    PixelSpace space;                    // colour channels: RGB, CMYK, n-colour, Lab or gamut
    unsigned extras = 0;                 // channels copied from the input behind the colour ones
    std::vector<uint16_t> extraKinds;    // their TIFF EXTRASAMPLES values
    LabEncoding lab = LabEncoding::None; // CIELAB or ICCLAB for Lab output
    SharedBytes icc;                     // profile to embed; none if empty
    Compression compression = Compression::None; // TIFF only
    int quality = kDefaultJpegQuality;           // JPEG only, 1..100
    std::string software = "kvrcolor";           // the program named in the file
    double resolution = 0; // pixels per inch, written when above 0 and meta has none
    ImageMetadata meta;    // kept from the input where the format has a place for it

    size_t rowBytes() const { return size_t(width) * (space.channels + extras) * (bits / 8); }
};

class ImageWriter {
public:
    virtual ~ImageWriter() = default;
    // The next `rows` rows, rowBytes() each, 16-bit samples in the machine's byte order.
    virtual void WriteRows(uint32_t rows, const void* buffer) = 0;
    // Ends the page written so far and starts another one of `spec` (TIFF only).
    virtual void NextPage(const OutputSpec& spec) = 0;
    // Writes what is buffered and closes the file.
    virtual void Finish() = 0;
};

// Why `spec` cannot be written in its format, or empty if it can: PNG holds 8 or 16 bits of
// grey or RGB with at most one alpha; JPEG 8 bits of grey, RGB or CMYK without alpha.
std::string CannotHold(const OutputSpec& spec);
const char* FormatName(ImageFormat format);
// The output's format: `format` ("tiff", "png", "jpeg"; empty: none given), else the extension
// of `out` (TIFF when there is none, or it is not an image format's). A name that promises a
// format the tool does not write, or another one than `format`, is refused (CliError, usage)
// rather than given other contents.
ImageFormat ChooseFormat(const std::string& out, const std::string& format);

// A writer of spec.format into the open file `fd`, which the writer takes over and closes.
// `shownName` is the name used in messages. Throws CliError (output).
std::unique_ptr<ImageWriter> OpenWriter(int fd, const OutputSpec& spec,
                                        const std::string& shownName);
// The PNG and JPEG writers, for OpenWriter.
std::unique_ptr<ImageWriter> OpenPngWriter(int fd, const OutputSpec& spec,
                                           const std::string& shownName);
std::unique_ptr<ImageWriter> OpenJpegWriter(int fd, const OutputSpec& spec,
                                            const std::string& shownName);

// Writers in front of another (which they use, not own), for one page:
// NarrowTo8 takes 16-bit rows of `spec` (spec.bits 8) and hands `writer` their 8-bit form, the
// reverse of WidenTo16.
std::unique_ptr<ImageWriter> NarrowTo8(ImageWriter& writer, const OutputSpec& spec);
// AssociateAlpha takes rows with straight colour and hands `writer` the colour multiplied by
// the first extra channel, for an output whose alpha is associated (premultiplied).
std::unique_ptr<ImageWriter> AssociateAlpha(ImageWriter& writer, const OutputSpec& spec);
