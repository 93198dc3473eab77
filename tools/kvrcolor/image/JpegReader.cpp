// JPEG input through libjpeg: 8-bit grey, RGB (from YCbCr or RGB) and CMYK (from CMYK or YCCK),
// the profile of the APP2 markers, the density of the JFIF header, EXIF and XMP of the APP1
// markers and a comment as the description. CMYK behind an Adobe marker is stored inverted (as
// the programs that write it do) and is turned back on reading.
//
// libjpeg reports errors by longjmp. Every call that can fail runs inside a small function that
// holds nothing but plain data, so that no C++ object is skipped by the jump. Its warnings
// (premature end of data, corrupt data) count as errors: a damaged file is not converted.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>

#include "CliError.h"
#include "ImageReader.h"

namespace {

struct JpegError {
    jpeg_error_mgr mgr;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX] = {};
};

[[noreturn]] void OnJpegError(j_common_ptr c) {
    auto* e = reinterpret_cast<JpegError*>(c->err);
    (*c->err->format_message)(c, e->message);
    std::longjmp(e->jump, 1);
}

void OnJpegMessage(j_common_ptr c, int level) {
    if (level < 0) OnJpegError(c); // a warning: damaged data
}

bool ReadHeader(jpeg_decompress_struct* d, JpegError* e, FILE* file) {
    if (setjmp(e->jump)) return false;
    jpeg_stdio_src(d, file);
    jpeg_save_markers(d, JPEG_APP0 + 1, 0xFFFF); // EXIF and XMP
    jpeg_save_markers(d, JPEG_APP0 + 2, 0xFFFF); // the profile
    jpeg_save_markers(d, JPEG_COM, 0xFFFF);
    jpeg_read_header(d, TRUE);
    return true;
}

bool ReadProfile(jpeg_decompress_struct* d, JpegError* e, JOCTET** data, unsigned* size) {
    if (setjmp(e->jump)) return false;
    if (!jpeg_read_icc_profile(d, data, size)) *data = nullptr;
    return true;
}

bool Start(jpeg_decompress_struct* d, JpegError* e, J_COLOR_SPACE out) {
    if (setjmp(e->jump)) return false;
    d->out_color_space = out;
    jpeg_start_decompress(d);
    return true;
}

bool ReadLine(jpeg_decompress_struct* d, JpegError* e, JSAMPROW row) {
    if (setjmp(e->jump)) return false;
    return jpeg_read_scanlines(d, &row, 1) == 1;
}

bool StartsWith(const jpeg_saved_marker_ptr m, const char* prefix, size_t n) {
    return m->data_length >= n && std::memcmp(m->data, prefix, n) == 0;
}

class JpegReader : public ImageReader {
public:
    explicit JpegReader(const std::string& path);
    ~JpegReader() override { Release(); }
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;
    void ReadRows(uint32_t rows, void* buffer) override;

private:
    void Release() {
        if (m_created) jpeg_destroy_decompress(&m_d);
        if (m_file) std::fclose(m_file);
        m_created = false;
        m_file = nullptr;
    }
    CliError Damaged(const std::string& what) const {
        return CliError(kExitInput, m_info.path + ": " + what + ": " + m_error.message +
                                        " (truncated or damaged file?)");
    }
    void TakeMarkers();

    FILE* m_file = nullptr;
    jpeg_decompress_struct m_d{};
    JpegError m_error;
    bool m_created = false;
    bool m_inverted = false; // Adobe CMYK
    uint32_t m_row = 0;
};

void JpegReader::TakeMarkers() {
    static const char kExif[] = "Exif\0";                      // and a second 0
    static const char kXmp[] = "http://ns.adobe.com/xap/1.0/"; // and a 0
    for (jpeg_saved_marker_ptr m = m_d.marker_list; m; m = m->next) {
        if (m->marker == JPEG_APP0 + 1 && StartsWith(m, kExif, 6))
            m_info.meta.exif.assign(m->data + 6, m->data + m->data_length);
        else if (m->marker == JPEG_APP0 + 1 && StartsWith(m, kXmp, sizeof kXmp))
            m_info.meta.xmp.assign(m->data + sizeof kXmp, m->data + m->data_length);
        else if (m->marker == JPEG_COM && m_info.meta.description.empty())
            m_info.meta.description.assign(reinterpret_cast<const char*>(m->data), m->data_length);
    }
    if (m_d.saw_JFIF_marker && (m_d.density_unit == 1 || m_d.density_unit == 2) &&
        m_d.X_density > 0 && m_d.Y_density > 0) {
        m_info.meta.xResolution = m_d.X_density;
        m_info.meta.yResolution = m_d.Y_density;
        m_info.meta.unit =
            m_d.density_unit == 1 ? ImageMetadata::Unit::Inch : ImageMetadata::Unit::Centimetre;
    }
}

// The destructor does not run when a constructor throws: Release closes what was opened.
JpegReader::JpegReader(const std::string& path) {
    m_info.path = path;
    m_info.format = "JPEG";
    try {
        m_file = std::fopen(path.c_str(), "rb");
        if (!m_file) throw CliError(kExitInput, path + ": cannot be opened");
        m_d.err = jpeg_std_error(&m_error.mgr);
        m_error.mgr.error_exit = OnJpegError;
        m_error.mgr.emit_message = OnJpegMessage;
        jpeg_create_decompress(&m_d);
        m_created = true;
        if (!ReadHeader(&m_d, &m_error, m_file)) throw Damaged("cannot read the JPEG header");
        JOCTET* icc = nullptr;
        unsigned iccSize = 0;
        if (!ReadProfile(&m_d, &m_error, &icc, &iccSize)) throw Damaged("cannot read the profile");
        if (icc) {
            m_info.icc.assign(icc, icc + iccSize);
            std::free(icc);
        }
        TakeMarkers();
        J_COLOR_SPACE out = JCS_UNKNOWN;
        switch (m_d.jpeg_color_space) {
        case JCS_GRAYSCALE:
            out = JCS_GRAYSCALE;
            m_info.space = GraySpace();
            break;
        case JCS_RGB:
        case JCS_YCbCr:
            out = JCS_RGB;
            m_info.space = RgbSpace();
            break;
        case JCS_CMYK:
        case JCS_YCCK:
            out = JCS_CMYK;
            m_info.space = CmykSpace();
            m_inverted = m_d.saw_Adobe_marker;
            break;
        default:
            throw CliError(kExitLayout, path + ": unsupported JPEG layout: colour space " +
                                            std::to_string(int(m_d.jpeg_color_space)));
        }
        if (m_d.data_precision != 8)
            throw CliError(kExitLayout, path + ": unsupported JPEG layout: " +
                                            std::to_string(m_d.data_precision) + " bits");
        if (!Start(&m_d, &m_error, out)) throw Damaged("cannot decode the JPEG");
        m_info.width = m_d.output_width;
        m_info.height = m_d.output_height;
        m_info.bits = 8;
        if (m_info.width == 0 || m_info.height == 0)
            throw CliError(kExitInput, path + ": image without pixels");
        if (unsigned(m_d.output_components) != m_info.space.channels)
            throw CliError(kExitLayout, path + ": unsupported JPEG layout: " +
                                            std::to_string(m_d.output_components) + " components");
    } catch (...) {
        Release();
        throw;
    }
}

void JpegReader::ReadRows(uint32_t rows, void* buffer) {
    auto* out = static_cast<JSAMPLE*>(buffer);
    const size_t bytes = m_info.rowBytes();
    for (uint32_t i = 0; i < rows; ++i, ++m_row) {
        JSAMPROW row = out + i * bytes;
        if (m_row >= m_info.height) {
            std::snprintf(m_error.message, sizeof m_error.message, "no more rows");
            throw Damaged("cannot read row " + std::to_string(m_row));
        }
        if (!ReadLine(&m_d, &m_error, row))
            throw Damaged("cannot read row " + std::to_string(m_row));
        if (m_inverted)
            for (size_t k = 0; k < bytes; ++k) row[k] = JSAMPLE(255 - row[k]);
    }
}
} // namespace

std::unique_ptr<ImageReader> OpenJpeg(const std::string& path) {
    return std::make_unique<JpegReader>(path);
}
