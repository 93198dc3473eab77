// Profiles embedded in images: TIFF (the ICC profile tag of every image of the file), PNG (the
// iCCP chunk) and JPEG (the APP2 "ICC_PROFILE" markers, joined in the order of their numbers).
//
// libpng and libjpeg report errors by longjmp. Every call that can fail runs inside a small
// function that holds nothing but plain data, so that no C++ object is skipped by the jump.
#include <png.h>
#include <tiffio.h>
// libjpeg's header needs FILE and size_t declared first.
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include <jpeglib.h>

#include "CliError.h"
#include "EmbeddedProfiles.h"
#include "icc/IccRecords.h"
#include "icc/PdfProfile.h"
#include "image/PngErrors.h"
#include "image/TiffErrors.h"

namespace {

// Channels of the colour space named in a profile's header; 0 when the bytes are too few.
unsigned ChannelsOfProfile(const std::vector<uint8_t>& icc) {
    if (icc.size() < 20) return 0;
    const uint32_t space =
        (uint32_t(icc[16]) << 24) | (uint32_t(icc[17]) << 16) | (uint32_t(icc[18]) << 8) | icc[19];
    return GetChannelCountOfSignature(icColorSpaceSignature(space));
}

// Profiles read whole when the file is opened.
class ImageProfiles : public EmbeddedProfiles {
public:
    explicit ImageProfiles(std::string path) : EmbeddedProfiles(std::move(path)) {}
    void Add(std::string where, std::vector<uint8_t> bytes) {
        m_entries.push_back({std::move(where), ChannelsOfProfile(bytes), "copied"});
        m_profiles.push_back(std::move(bytes));
    }
    std::vector<uint8_t> Bytes(size_t index) override { return m_profiles.at(index); }

private:
    std::vector<std::vector<uint8_t>> m_profiles;
};

// ---------------------------------------------------------------------------------------------
// TIFF

struct TiffCloser {
    void operator()(TIFF* tif) const { TIFFClose(tif); }
};

// ---------------------------------------------------------------------------------------------
// PNG

bool ReadPngInfo(png_structp png, png_infop info, FILE* file) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_init_io(png, file);
    // The profile is inflated by libpng: allow it the same room as a PDF's profile stream.
    png_set_chunk_malloc_max(png, png_alloc_size_t(kPdfProfileMaxDecodedBytes));
    png_read_info(png, info);
    return true;
}

// ---------------------------------------------------------------------------------------------
// JPEG

struct JpegError {
    jpeg_error_mgr mgr;
    jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

void OnJpegError(j_common_ptr cinfo) {
    auto* error = reinterpret_cast<JpegError*>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, error->message);
    std::longjmp(error->jump, 1);
}

void OnJpegMessage(j_common_ptr, int) {}

// Reads the markers up to the first scan, keeping every APP2 marker whole.
bool ReadJpegHeader(jpeg_decompress_struct* cinfo, JpegError* error, FILE* file) {
    if (setjmp(error->jump)) return false;
    jpeg_create_decompress(cinfo);
    jpeg_stdio_src(cinfo, file);
    jpeg_save_markers(cinfo, JPEG_APP0 + 2, 0xFFFF);
    jpeg_read_header(cinfo, TRUE);
    return true;
}

// An APP2 marker of a profile: "ICC_PROFILE", a zero, the chunk's number (from 1) and the
// number of chunks, then the chunk's bytes.
constexpr char kIccMarkerName[] = "ICC_PROFILE";
constexpr size_t kIccMarkerHead = sizeof kIccMarkerName + 2;

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};

} // namespace

std::unique_ptr<EmbeddedProfiles> OpenTiffProfiles(const std::string& path) {
    InstallTiffHandlers();
    ClearTiffError();
    std::unique_ptr<TIFF, TiffCloser> tif(TIFFOpen(path.c_str(), "r"));
    if (!tif) throw CliError(kExitInput, path + ": not a readable TIFF: " + LastTiffError());
    auto found = std::make_unique<ImageProfiles>(path);
    unsigned image = 1;
    do {
        uint32_t size = 0;
        void* icc = nullptr;
        if (TIFFGetField(tif.get(), TIFFTAG_ICCPROFILE, &size, &icc) && icc && size > 0) {
            const auto* bytes = static_cast<const uint8_t*>(icc);
            found->Add("TIFF image " + std::to_string(image), {bytes, bytes + size});
        }
        ++image;
    } while (TIFFReadDirectory(tif.get()));
    if (!LastTiffError().empty())
        throw CliError(kExitInput, path + ": damaged TIFF: " + LastTiffError());
    return found;
}

std::unique_ptr<EmbeddedProfiles> OpenPngProfiles(const std::string& path) {
    std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
    if (!file) throw CliError(kExitInput, path + ": cannot be opened");
    PngError error;
    png_structp png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, &error, OnPngError, OnPngWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        throw CliError(kExitInternal, path + ": out of memory");
    }
    const bool read = ReadPngInfo(png, info, file.get());
    auto found = std::make_unique<ImageProfiles>(path);
    png_charp name = nullptr;
    int compression = 0;
    png_bytep profile = nullptr;
    png_uint_32 size = 0;
    if (read && png_get_iCCP(png, info, &name, &compression, &profile, &size) && profile &&
        size > 0)
        found->Add(std::string("PNG iCCP \"") + (name ? name : "") + "\"",
                   {profile, profile + size});
    png_destroy_read_struct(&png, &info, nullptr);
    if (!read) throw CliError(kExitInput, path + ": damaged PNG: " + error.message);
    return found;
}

std::unique_ptr<EmbeddedProfiles> OpenJpegProfiles(const std::string& path) {
    std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
    if (!file) throw CliError(kExitInput, path + ": cannot be opened");
    jpeg_decompress_struct cinfo;
    JpegError error{};
    cinfo.err = jpeg_std_error(&error.mgr);
    error.mgr.error_exit = OnJpegError;
    error.mgr.emit_message = OnJpegMessage;
    const bool read = ReadJpegHeader(&cinfo, &error, file.get());
    // The chunks by their numbers; all must give the same count, each number once.
    std::vector<std::vector<uint8_t>> chunks;
    std::vector<bool> seen;
    std::string wrong;
    unsigned markers = 0;
    for (jpeg_saved_marker_ptr m = read ? cinfo.marker_list : nullptr; m; m = m->next) {
        if (m->marker != JPEG_APP0 + 2 || m->data_length < kIccMarkerHead ||
            std::memcmp(m->data, kIccMarkerName, sizeof kIccMarkerName) != 0)
            continue;
        ++markers;
        const unsigned number = m->data[kIccMarkerHead - 2], count = m->data[kIccMarkerHead - 1];
        if (chunks.empty()) {
            chunks.resize(count);
            seen.resize(count);
        }
        if (count == 0 || count != chunks.size())
            wrong = "the markers disagree on the number of chunks";
        else if (number == 0 || number > count)
            wrong = "chunk " + std::to_string(number) + " of " + std::to_string(count);
        else if (seen[number - 1])
            wrong = "chunk " + std::to_string(number) + " appears twice";
        else {
            seen[number - 1] = true;
            chunks[number - 1].assign(m->data + kIccMarkerHead, m->data + m->data_length);
        }
        if (!wrong.empty()) break;
    }
    jpeg_destroy_decompress(&cinfo);
    if (!read) throw CliError(kExitInput, path + ": damaged JPEG: " + error.message);
    if (wrong.empty() && markers > 0 && markers != chunks.size())
        wrong =
            std::to_string(markers) + " of " + std::to_string(chunks.size()) + " chunks present";
    if (!wrong.empty())
        throw CliError(kExitInput,
                       path + ": the ICC_PROFILE markers are numbered wrongly (" + wrong + ")");
    auto found = std::make_unique<ImageProfiles>(path);
    if (markers > 0) {
        std::vector<uint8_t> profile;
        for (const auto& c : chunks) profile.insert(profile.end(), c.begin(), c.end());
        found->Add("JPEG APP2 (" + std::to_string(markers) +
                       (markers == 1 ? " chunk)" : " chunks)"),
                   std::move(profile));
    }
    return found;
}
