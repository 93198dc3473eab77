// JPEG output through libjpeg: 8-bit grey, RGB or CMYK at the quality asked for, the profile in
// APP2 "ICC_PROFILE" markers (split as the profile needs), the resolution in the JFIF header,
// EXIF and XMP in APP1 markers and the description as a comment. CMYK is written inverted
// behind an Adobe marker, the form the programs that read CMYK JPEG expect.
//
// libjpeg reports errors by longjmp; see JpegReader.cpp for how the calls are wrapped.
#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>

#include <jpeglib.h>

#include "CliError.h"
#include "ImageWriter.h"

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

void OnJpegMessage(j_common_ptr, int) {}

// A marker's payload is at most this long (its length field counts itself).
constexpr size_t kMarkerMax = 65533;

bool Begin(jpeg_compress_struct* c, JpegError* e, FILE* file, const OutputSpec* spec) {
    if (setjmp(e->jump)) return false;
    jpeg_stdio_dest(c, file);
    c->image_width = spec->width;
    c->image_height = spec->height;
    c->input_components = int(spec->space.channels);
    c->in_color_space = spec->space.channels == 1   ? JCS_GRAYSCALE
                        : spec->space.channels == 3 ? JCS_RGB
                                                    : JCS_CMYK;
    jpeg_set_defaults(c);
    jpeg_set_quality(c, spec->quality, TRUE);
    const ImageMetadata& m = spec->meta;
    double x = m.xResolution, y = m.yResolution;
    UINT8 unit = m.unit == ImageMetadata::Unit::Centimetre ? 2 : 1;
    bool known = x > 0 && y > 0 && m.unit != ImageMetadata::Unit::None;
    if (!known && spec->resolution > 0) {
        x = y = spec->resolution;
        unit = 1;
        known = true;
    }
    if (known && x < 65535.5 && y < 65535.5) { // the header's fields are 16 bits
        c->density_unit = unit;
        c->X_density = UINT16(x + 0.5);
        c->Y_density = UINT16(y + 0.5);
    }
    jpeg_start_compress(c, TRUE);
    return true;
}

bool Marker(jpeg_compress_struct* c, JpegError* e, int code, const JOCTET* data, size_t size) {
    if (setjmp(e->jump)) return false;
    jpeg_write_marker(c, code, data, unsigned(size));
    return true;
}

bool Profile(jpeg_compress_struct* c, JpegError* e, const JOCTET* data, size_t size) {
    if (setjmp(e->jump)) return false;
    jpeg_write_icc_profile(c, data, unsigned(size));
    return true;
}

bool Line(jpeg_compress_struct* c, JpegError* e, JSAMPROW row) {
    if (setjmp(e->jump)) return false;
    return jpeg_write_scanlines(c, &row, 1) == 1;
}

bool End(jpeg_compress_struct* c, JpegError* e) {
    if (setjmp(e->jump)) return false;
    jpeg_finish_compress(c);
    return true;
}

class JpegWriter : public ImageWriter {
public:
    JpegWriter(int fd, const OutputSpec& spec, const std::string& shownName);
    ~JpegWriter() override { Release(); }
    JpegWriter(const JpegWriter&) = delete;
    JpegWriter& operator=(const JpegWriter&) = delete;
    void WriteRows(uint32_t rows, const void* buffer) override;
    void NextPage(const OutputSpec&) override {
        throw CliError(kExitOutput, m_shown + ": a JPEG holds one page");
    }
    void Finish() override;

private:
    void Release() {
        if (m_created) jpeg_destroy_compress(&m_c);
        if (m_file) std::fclose(m_file);
        m_created = false;
        m_file = nullptr;
    }
    CliError Failed(const std::string& what) const {
        return CliError(kExitOutput,
                        m_shown + ": cannot be written: " + what + ": " + m_error.message);
    }
    void WriteMarkers();

    OutputSpec m_spec;
    std::string m_shown;
    FILE* m_file = nullptr;
    jpeg_compress_struct m_c{};
    JpegError m_error;
    bool m_created = false;
    std::vector<JSAMPLE> m_row;
};

void JpegWriter::WriteMarkers() {
    const ImageMetadata& m = m_spec.meta;
    std::vector<JOCTET> block;
    const auto app1 = [&](const char* prefix, size_t prefixSize, const std::vector<uint8_t>& body) {
        if (body.empty() || prefixSize + body.size() > kMarkerMax) return; // no room: not kept
        block.assign(prefix, prefix + prefixSize);
        block.insert(block.end(), body.begin(), body.end());
        if (!Marker(&m_c, &m_error, JPEG_APP0 + 1, block.data(), block.size()))
            throw Failed("metadata");
    };
    app1("Exif\0", 6, m.exif);
    static const char kXmp[] = "http://ns.adobe.com/xap/1.0/";
    app1(kXmp, sizeof kXmp, m.xmp);
    if (!m.description.empty() && m.description.size() <= kMarkerMax &&
        !Marker(&m_c, &m_error, JPEG_COM, reinterpret_cast<const JOCTET*>(m.description.data()),
                m.description.size()))
        throw Failed("comment");
    if (!m_spec.icc.empty() && !Profile(&m_c, &m_error, m_spec.icc.data(), m_spec.icc.size()))
        throw Failed("profile");
}

JpegWriter::JpegWriter(int fd, const OutputSpec& spec, const std::string& shownName)
    : m_spec(spec), m_shown(shownName) {
    try {
        m_file = ::fdopen(fd, "wb");
        if (!m_file) {
            ::close(fd);
            throw CliError(kExitOutput, shownName + ": cannot be written");
        }
        m_c.err = jpeg_std_error(&m_error.mgr);
        m_error.mgr.error_exit = OnJpegError;
        m_error.mgr.emit_message = OnJpegMessage;
        jpeg_create_compress(&m_c);
        m_created = true;
        if (!Begin(&m_c, &m_error, m_file, &m_spec)) throw Failed("cannot start the JPEG");
        WriteMarkers();
    } catch (...) {
        Release();
        throw;
    }
}

void JpegWriter::WriteRows(uint32_t rows, const void* buffer) {
    const auto* in = static_cast<const JSAMPLE*>(buffer);
    const size_t bytes = m_spec.rowBytes();
    const bool invert = m_spec.space.channels == 4;
    for (uint32_t i = 0; i < rows; ++i) {
        m_row.assign(in + i * bytes, in + (i + 1) * bytes);
        if (invert)
            for (JSAMPLE& s : m_row) s = JSAMPLE(255 - s);
        if (!Line(&m_c, &m_error, m_row.data())) throw Failed("row");
    }
}

void JpegWriter::Finish() {
    if (!End(&m_c, &m_error)) throw Failed("cannot finish the file");
    const bool ok = std::fflush(m_file) == 0 && !std::ferror(m_file);
    jpeg_destroy_compress(&m_c);
    m_created = false;
    const bool closed = std::fclose(m_file) == 0;
    m_file = nullptr;
    if (!ok || !closed) throw CliError(kExitOutput, m_shown + ": cannot be written");
}
} // namespace

std::unique_ptr<ImageWriter> OpenJpegWriter(int fd, const OutputSpec& spec,
                                            const std::string& shownName) {
    return std::make_unique<JpegWriter>(fd, spec, shownName);
}
