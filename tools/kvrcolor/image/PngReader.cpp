// PNG input, one row at a time with png_read_row: 8 or 16 bits, RGB and grey, each with or
// without alpha, with the profile, resolution, EXIF and text chunks. Palette images are expanded to
// RGB (with alpha if they carry transparency), grey below 8 bits to 8 bits. Interlaced images are
// refused: their rows come in seven passes, which would need the whole image in memory.
//
// libpng reports errors by longjmp. Every call that can fail runs inside a small function that
// holds nothing but plain data, so that no C++ object is skipped by the jump.
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "CliError.h"
#include "ImageReader.h"
#include "PngErrors.h"

namespace {

bool ReadHead(png_structp png, png_infop info, FILE* file) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_init_io(png, file);
    png_read_info(png, info);
    return true;
}

// Expansions to 8 or 16 bits of grey, grey-alpha, RGB or RGBA, samples in the machine's order.
bool SetTransforms(png_structp png, png_infop info) {
    if (setjmp(png_jmpbuf(png))) return false;
    const int type = png_get_color_type(png, info);
    if (type == PNG_COLOR_TYPE_PALETTE) {
        png_set_palette_to_rgb(png);
        if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
    }
    if (type == PNG_COLOR_TYPE_GRAY && png_get_bit_depth(png, info) < 8)
        png_set_expand_gray_1_2_4_to_8(png);
    if (png_get_bit_depth(png, info) == 16) {
        const uint16_t probe = 1;
        if (*reinterpret_cast<const uint8_t*>(&probe) == 1) png_set_swap(png);
    }
    png_read_update_info(png, info);
    return true;
}

bool ReadRow(png_structp png, png_bytep row) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_row(png, row, nullptr);
    return true;
}

class PngReader : public ImageReader {
public:
    explicit PngReader(const std::string& path);
    ~PngReader() override {
        if (m_png) png_destroy_read_struct(&m_png, &m_pngInfo, nullptr);
        if (m_file) std::fclose(m_file);
    }
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;
    void ReadRows(uint32_t rows, void* buffer) override;

private:
    void TakeMetadata();
    CliError Damaged(const std::string& what) const {
        return CliError(kExitInput, m_info.path + ": " + what + ": " + m_error.message +
                                        " (truncated or damaged file?)");
    }
    FILE* m_file = nullptr;
    png_structp m_png = nullptr;
    png_infop m_pngInfo = nullptr;
    PngError m_error;
    uint32_t m_row = 0;
};

// pHYs, eXIf and the text chunks; gAMA, cHRM and sRGB are left behind, the profile of the
// conversion says what the output's colours are.
void PngReader::TakeMetadata() {
    ImageMetadata& meta = m_info.meta;
    png_uint_32 x = 0, y = 0;
    int unit = 0;
    if (png_get_pHYs(m_png, m_pngInfo, &x, &y, &unit) && x > 0 && y > 0) {
        // Pixels per metre, kept as pixels per inch, the unit people set.
        const double scale = unit == PNG_RESOLUTION_METER ? 0.0254 : 1;
        meta.xResolution = x * scale;
        meta.yResolution = y * scale;
        meta.unit =
            unit == PNG_RESOLUTION_METER ? ImageMetadata::Unit::Inch : ImageMetadata::Unit::None;
    }
    png_uint_32 exifSize = 0;
    png_bytep exif = nullptr;
    if (png_get_eXIf_1(m_png, m_pngInfo, &exifSize, &exif) && exif && exifSize > 0)
        meta.exif.assign(exif, exif + exifSize);
    png_textp texts = nullptr;
    int count = 0;
    png_get_text(m_png, m_pngInfo, &texts, &count);
    for (int i = 0; i < count; ++i) {
        const std::string key = texts[i].key ? texts[i].key : "";
        const size_t length =
            texts[i].compression > 0 ? texts[i].itxt_length : texts[i].text_length;
        std::string value(texts[i].text ? texts[i].text : "", texts[i].text ? length : 0);
        if (key == "XML:com.adobe.xmp")
            meta.xmp.assign(value.begin(), value.end());
        else if (key == "Description")
            meta.description = value;
        else if (key == "Author")
            meta.artist = value;
        else if (key == "Copyright")
            meta.copyright = value;
        else if (key != "Software") // the output names its own program
            meta.text.emplace_back(key, value);
    }
}

// The destructor does not run when a constructor throws: `release` closes what was opened.
PngReader::PngReader(const std::string& path) {
    m_info.path = path;
    m_info.format = "PNG";
    const auto release = [this] {
        if (m_png) png_destroy_read_struct(&m_png, &m_pngInfo, nullptr);
        if (m_file) std::fclose(m_file);
        m_png = nullptr;
        m_file = nullptr;
    };
    try {
        m_file = std::fopen(path.c_str(), "rb");
        if (!m_file) throw CliError(kExitInput, path + ": cannot be opened");
        m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &m_error, OnPngError, OnPngWarning);
        if (m_png) m_pngInfo = png_create_info_struct(m_png);
        if (!m_png || !m_pngInfo) throw CliError(kExitInternal, path + ": out of memory");
        if (!ReadHead(m_png, m_pngInfo, m_file)) throw Damaged("cannot read the PNG header");
        if (png_get_interlace_type(m_png, m_pngInfo) != PNG_INTERLACE_NONE)
            throw CliError(kExitLayout, path + ": unsupported PNG layout: interlaced (save it "
                                               "without interlacing)");
        png_charp name = nullptr;
        int compression = 0;
        png_bytep profile = nullptr;
        png_uint_32 profileSize = 0;
        if (png_get_iCCP(m_png, m_pngInfo, &name, &compression, &profile, &profileSize) &&
            profile && profileSize > 0)
            m_info.icc.assign(profile, profile + profileSize);
        TakeMetadata();
        if (!SetTransforms(m_png, m_pngInfo)) throw Damaged("cannot read the PNG");

        m_info.width = png_get_image_width(m_png, m_pngInfo);
        m_info.height = png_get_image_height(m_png, m_pngInfo);
        m_info.bits = png_get_bit_depth(m_png, m_pngInfo);
        switch (png_get_color_type(m_png, m_pngInfo)) {
        case PNG_COLOR_TYPE_GRAY:
            m_info.space = GraySpace();
            break;
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            m_info.space = GraySpace();
            m_info.extras = 1;
            break;
        case PNG_COLOR_TYPE_RGB:
            m_info.space = RgbSpace();
            break;
        case PNG_COLOR_TYPE_RGB_ALPHA:
            m_info.space = RgbSpace();
            m_info.extras = 1;
            break;
        default:
            throw CliError(kExitLayout, path + ": unsupported PNG colour type");
        }
        // PNG alpha is straight (unassociated) alpha.
        if (m_info.extras) m_info.extraKinds.assign(1, 2);
        if (m_info.bits != 8 && m_info.bits != 16)
            throw CliError(kExitLayout, path + ": unsupported PNG layout: " +
                                            std::to_string(m_info.bits) + " bits per sample");
        if (m_info.width == 0 || m_info.height == 0)
            throw CliError(kExitInput, path + ": image without pixels");
        if (png_get_rowbytes(m_png, m_pngInfo) != m_info.rowBytes())
            throw CliError(kExitLayout, path + ": unsupported PNG layout: unexpected row size");
    } catch (...) {
        release();
        throw;
    }
}

void PngReader::ReadRows(uint32_t rows, void* buffer) {
    auto* out = static_cast<png_bytep>(buffer);
    const size_t bytes = m_info.rowBytes();
    for (uint32_t i = 0; i < rows; ++i, ++m_row) {
        if (m_row >= m_info.height) {
            std::snprintf(m_error.message, sizeof m_error.message, "no more rows");
            throw Damaged("cannot read row " + std::to_string(m_row));
        }
        if (!ReadRow(m_png, out + i * bytes))
            throw Damaged("cannot read row " + std::to_string(m_row));
    }
}
} // namespace

std::unique_ptr<ImageReader> OpenPng(const std::string& path) {
    return std::make_unique<PngReader>(path);
}
