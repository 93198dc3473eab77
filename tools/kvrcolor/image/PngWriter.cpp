// PNG output through libpng: 8 or 16 bits of grey or RGB, with one alpha or none, the profile in
// an iCCP chunk, the resolution in pHYs, EXIF in eXIf, XMP in the iTXt chunk named for it, and
// the description, artist, copyright and other text of the input as text chunks. No gAMA, cHRM
// or sRGB: the embedded profile says what the colours are.
//
// libpng reports errors by longjmp; every call that can fail runs inside a small function that
// holds nothing but plain data, so that no C++ object is skipped by the jump.
#include <png.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdio>

#include "CliError.h"
#include "ImageWriter.h"
#include "PngErrors.h"

namespace {

// The text chunks, as plain data for the jump-safe call below.
struct TextChunks {
    std::vector<png_text> chunks;
    std::vector<std::string> keep; // keys and values the chunks point into
};

bool WriteHead(png_structp png, png_infop info, FILE* file, const OutputSpec* spec, png_text* texts,
               int textCount) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_init_io(png, file);
    const bool grey = spec->space.channels == 1;
    const int type = grey ? (spec->extras ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_GRAY)
                          : (spec->extras ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB);
    png_set_IHDR(png, info, spec->width, spec->height, int(spec->bits), type, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!spec->icc.empty())
        png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, spec->icc.data(),
                     png_uint_32(spec->icc.size()));
    const ImageMetadata& m = spec->meta;
    if (m.xResolution > 0 && m.yResolution > 0) {
        // PNG counts pixels per metre, or states only the aspect ratio.
        const double perMetre = m.unit == ImageMetadata::Unit::Inch         ? 1 / 0.0254
                                : m.unit == ImageMetadata::Unit::Centimetre ? 100
                                                                            : 1;
        png_set_pHYs(png, info, png_uint_32(m.xResolution * perMetre + 0.5),
                     png_uint_32(m.yResolution * perMetre + 0.5),
                     m.unit == ImageMetadata::Unit::None ? PNG_RESOLUTION_UNKNOWN
                                                         : PNG_RESOLUTION_METER);
    } else if (spec->resolution > 0) {
        const auto ppm = png_uint_32(spec->resolution / 0.0254 + 0.5);
        png_set_pHYs(png, info, ppm, ppm, PNG_RESOLUTION_METER);
    }
    if (!m.exif.empty())
        png_set_eXIf_1(png, info, png_uint_32(m.exif.size()), const_cast<png_bytep>(m.exif.data()));
    if (textCount > 0) png_set_text(png, info, texts, textCount);
    png_write_info(png, info);
    if (spec->bits == 16) {
        const uint16_t probe = 1;
        if (*reinterpret_cast<const uint8_t*>(&probe) == 1) png_set_swap(png);
    }
    return true;
}

bool WriteRow(png_structp png, png_const_bytep row) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_write_row(png, row);
    return true;
}

// Every chunk went before the pixels; libpng would write eXIf a second time if it had the info.
bool WriteEnd(png_structp png) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_write_end(png, nullptr);
    return true;
}

class PngWriter : public ImageWriter {
public:
    PngWriter(int fd, const OutputSpec& spec, const std::string& shownName);
    ~PngWriter() override { Release(); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;
    void WriteRows(uint32_t rows, const void* buffer) override;
    void NextPage(const OutputSpec&) override {
        throw CliError(kExitOutput, m_shown + ": a PNG holds one page");
    }
    void Finish() override;

private:
    void Release() {
        if (m_png) png_destroy_write_struct(&m_png, &m_pngInfo);
        if (m_file) std::fclose(m_file);
        m_png = nullptr;
        m_file = nullptr;
    }
    CliError Failed(const std::string& what) const {
        return CliError(kExitOutput,
                        m_shown + ": cannot be written: " + what + ": " + m_error.message);
    }

    OutputSpec m_spec;
    std::string m_shown;
    FILE* m_file = nullptr;
    png_structp m_png = nullptr;
    png_infop m_pngInfo = nullptr;
    PngError m_error;
};

PngWriter::PngWriter(int fd, const OutputSpec& spec, const std::string& shownName)
    : m_spec(spec), m_shown(shownName) {
    try {
        m_file = ::fdopen(fd, "wb");
        if (!m_file) {
            ::close(fd);
            throw CliError(kExitOutput, shownName + ": cannot be written");
        }
        m_png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &m_error, OnPngError, OnPngWarning);
        if (m_png) m_pngInfo = png_create_info_struct(m_png);
        if (!m_png || !m_pngInfo) throw CliError(kExitInternal, shownName + ": out of memory");

        // Keys as the PNG specification's registered keywords name them.
        const ImageMetadata& m = m_spec.meta;
        std::vector<std::pair<std::string, std::string>> text = m.text;
        if (!m.description.empty()) text.emplace_back("Description", m.description);
        if (!m.artist.empty()) text.emplace_back("Author", m.artist);
        if (!m.copyright.empty()) text.emplace_back("Copyright", m.copyright);
        text.emplace_back("Software", m_spec.software);
        std::vector<png_text> chunks;
        for (auto& [key, value] : text) {
            png_text t{};
            t.compression = PNG_TEXT_COMPRESSION_NONE;
            t.key = key.data();
            t.text = value.data();
            t.text_length = value.size();
            chunks.push_back(t);
        }
        std::string xmp(m.xmp.begin(), m.xmp.end());
        if (!xmp.empty()) {
            png_text t{};
            t.compression = PNG_ITXT_COMPRESSION_NONE;
            t.key = const_cast<png_charp>("XML:com.adobe.xmp");
            t.text = xmp.data();
            t.itxt_length = xmp.size();
            chunks.push_back(t);
        }
        if (!WriteHead(m_png, m_pngInfo, m_file, &m_spec, chunks.data(), int(chunks.size())))
            throw Failed("cannot start the PNG");
    } catch (...) {
        Release();
        throw;
    }
}

void PngWriter::WriteRows(uint32_t rows, const void* buffer) {
    const auto* in = static_cast<const uint8_t*>(buffer);
    const size_t bytes = m_spec.rowBytes();
    for (uint32_t i = 0; i < rows; ++i)
        if (!WriteRow(m_png, in + i * bytes)) throw Failed("row");
}

void PngWriter::Finish() {
    if (!WriteEnd(m_png)) throw Failed("cannot finish the file");
    const bool ok = std::fflush(m_file) == 0 && !std::ferror(m_file);
    png_destroy_write_struct(&m_png, &m_pngInfo);
    m_png = nullptr;
    const bool closed = std::fclose(m_file) == 0;
    m_file = nullptr;
    if (!ok || !closed) throw CliError(kExitOutput, m_shown + ": cannot be written");
}
} // namespace

std::unique_ptr<ImageWriter> OpenPngWriter(int fd, const OutputSpec& spec,
                                           const std::string& shownName) {
    return std::make_unique<PngWriter>(fd, spec, shownName);
}
