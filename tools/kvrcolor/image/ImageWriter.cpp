#include "ImageWriter.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "CliError.h"
#include "SampleCodec.h"
#include "TiffWriter.h"

const char* FormatName(ImageFormat format) {
    switch (format) {
    case ImageFormat::Tiff:
        return "TIFF";
    case ImageFormat::Png:
        return "PNG";
    case ImageFormat::Jpeg:
        return "JPEG";
    }
    return "?";
}

std::string CannotHold(const OutputSpec& spec) {
    const std::string what = std::to_string(spec.bits) + "-bit " + SpaceName(spec.space) +
                             (spec.extras ? " with " + std::to_string(spec.extras) + " extra" : "");
    switch (spec.format) {
    case ImageFormat::Tiff:
        return {};
    case ImageFormat::Png:
        if (spec.space.model != ColourModel::Rgb && spec.space.model != ColourModel::Gray &&
            spec.space.model != ColourModel::Gamut)
            return "PNG cannot hold " + what + " (grey or RGB only)";
        if (spec.extras > 1) return "PNG cannot hold " + what + " (one alpha at most)";
        return {};
    case ImageFormat::Jpeg:
        if (spec.bits != 8) return "JPEG cannot hold " + what + " (8 bits only)";
        if (spec.space.model != ColourModel::Rgb && spec.space.model != ColourModel::Gray &&
            spec.space.model != ColourModel::Gamut && spec.space.model != ColourModel::Cmyk)
            return "JPEG cannot hold " + what + " (grey, RGB or CMYK only)";
        if (spec.extras > 0) return "JPEG cannot hold " + what + " (no alpha)";
        return {};
    }
    return {};
}

std::unique_ptr<ImageWriter> OpenWriter(int fd, const OutputSpec& spec,
                                        const std::string& shownName) {
    switch (spec.format) {
    case ImageFormat::Png:
        return OpenPngWriter(fd, spec, shownName);
    case ImageFormat::Jpeg:
        return OpenJpegWriter(fd, spec, shownName);
    case ImageFormat::Tiff:
        break;
    }
    return std::make_unique<TiffWriter>(fd, spec, shownName);
}

namespace {

// 16-bit rows in, 8-bit rows out to the writer of `spec` (spec.bits 8).
class Narrowing : public ImageWriter {
public:
    Narrowing(ImageWriter& next, const OutputSpec& spec) : m_next(next), m_spec(spec) {}
    void WriteRows(uint32_t rows, const void* buffer) override {
        const size_t spp = m_spec.space.channels + m_spec.extras;
        const size_t n = size_t(rows) * m_spec.width * spp;
        const auto* in = static_cast<const uint16_t*>(buffer);
        m_row.resize(n);
        for (size_t i = 0; i < n; ++i)
            m_row[i] = NarrowSample(in[i], m_spec.lab, unsigned(i % spp));
        m_next.WriteRows(rows, m_row.data());
    }
    void NextPage(const OutputSpec& spec) override {
        m_spec = spec;
        m_next.NextPage(spec);
    }
    void Finish() override { m_next.Finish(); }

private:
    ImageWriter& m_next;
    OutputSpec m_spec;
    std::vector<uint8_t> m_row;
};

// Straight colour in, colour multiplied by the first extra channel (associated alpha) out.
class Associating : public ImageWriter {
public:
    Associating(ImageWriter& next, const OutputSpec& spec) : m_next(next), m_spec(spec) {}
    void WriteRows(uint32_t rows, const void* buffer) override {
        const size_t pixels = size_t(rows) * m_spec.width;
        if (m_spec.bits == 8) {
            const auto* in = static_cast<const uint8_t*>(buffer);
            m_row8.assign(in, in + pixels * (m_spec.space.channels + m_spec.extras));
            Associate(m_spec.space.channels, m_spec.extras, m_row8.data(), pixels);
            m_next.WriteRows(rows, m_row8.data());
        } else {
            const auto* in = static_cast<const uint16_t*>(buffer);
            m_row16.assign(in, in + pixels * (m_spec.space.channels + m_spec.extras));
            Associate(m_spec.space.channels, m_spec.extras, m_row16.data(), pixels);
            m_next.WriteRows(rows, m_row16.data());
        }
    }
    void NextPage(const OutputSpec& spec) override {
        m_spec = spec;
        m_next.NextPage(spec);
    }
    void Finish() override { m_next.Finish(); }

private:
    ImageWriter& m_next;
    OutputSpec m_spec;
    std::vector<uint8_t> m_row8;
    std::vector<uint16_t> m_row16;
};
} // namespace

std::unique_ptr<ImageWriter> NarrowTo8(ImageWriter& writer, const OutputSpec& spec) {
    return std::make_unique<Narrowing>(writer, spec);
}

std::unique_ptr<ImageWriter> AssociateAlpha(ImageWriter& writer, const OutputSpec& spec) {
    return std::make_unique<Associating>(writer, spec);
}

ImageFormat ChooseFormat(const std::string& out, const std::string& format) {
    std::string ext;
    const size_t dot = out.rfind('.');
    if (dot != std::string::npos && out.find('/', dot) == std::string::npos)
        ext = out.substr(dot + 1);
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    std::optional<ImageFormat> named;
    if (ext == "tif" || ext == "tiff") named = ImageFormat::Tiff;
    if (ext == "png") named = ImageFormat::Png;
    if (ext == "jpg" || ext == "jpeg" || ext == "jpe") named = ImageFormat::Jpeg;
    for (const char* other : {"jp2", "jpx", "j2k", "gif", "bmp", "webp", "psd", "pdf", "exr",
                              "heic", "avif", "jxl", "ppm", "pgm"})
        if (ext == other)
            throw CliError(kExitUsage,
                           out + ": the tool writes TIFF, PNG or JPEG; name the output .tif, "
                                 ".png or .jpg");
    if (format.empty()) return named.value_or(ImageFormat::Tiff);
    const ImageFormat asked = format == "png"    ? ImageFormat::Png
                              : format == "jpeg" ? ImageFormat::Jpeg
                                                 : ImageFormat::Tiff;
    if (named && *named != asked)
        throw CliError(kExitUsage, out + ": the name says " + FormatName(*named) +
                                       ", --format says " + FormatName(asked));
    return asked;
}
