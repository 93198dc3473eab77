// TIFF input: strips of chunky (contiguous) samples, 8 or 16 bits, read a scan line at a time.
//
// Handled: RGB; SEPARATED with 4 inks as CMYK (unless the ink set says multi-ink) and with
// 2 to 15 inks as an n-colour device (the ink count is the samples per pixel minus the extra
// samples); CIELAB and ICCLAB; MINISBLACK and MINISWHITE grey (the latter is inverted on the way
// into the link, see SampleCodec). Extra samples (alpha) ride along behind the colour channels.
// Refused as layouts: tiled images, planar configuration separate, other bit depths, floating
// point samples, and every other photometric interpretation (palette, YCbCr, ...). Only the
// first image of a multi-page file is read.
#include <tiffio.h>

#include <algorithm>
#include <fstream>

#include "CliError.h"
#include "ImageReader.h"
#include "TiffErrors.h"

namespace {

// The count of the ExtraSamples tag (338) of the first directory as the file states it; 0 if
// the tag is absent or the directory can't be read. libtiff does not report this for separated
// images: it takes any sample beyond the fourth as an extra one, which would turn the inks of
// an n-colour image into extra samples.
unsigned StatedExtraSamples(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    uint8_t head[16] = {};
    if (!in.read(reinterpret_cast<char*>(head), 16)) return 0;
    const bool little = head[0] == 'I';
    const auto number = [little](const uint8_t* p, int bytes) {
        uint64_t v = 0;
        for (int i = 0; i < bytes; ++i) v |= uint64_t(p[little ? i : bytes - 1 - i]) << (8 * i);
        return v;
    };
    const bool big = number(head + 2, 2) == 43; // BigTIFF: 8-byte counts and offsets
    const uint64_t ifd = big ? number(head + 8, 8) : number(head + 4, 4);
    const int countBytes = big ? 8 : 2, entryBytes = big ? 20 : 12, fieldBytes = big ? 8 : 4;
    uint8_t buffer[20];
    if (!in.seekg(std::streamoff(ifd)) || !in.read(reinterpret_cast<char*>(buffer), countBytes))
        return 0;
    const uint64_t entries = number(buffer, countBytes);
    for (uint64_t i = 0; i < entries && i < 4096; ++i) {
        if (!in.read(reinterpret_cast<char*>(buffer), entryBytes)) return 0;
        if (number(buffer, 2) == TIFFTAG_EXTRASAMPLES)
            return unsigned(number(buffer + 4, fieldBytes));
    }
    return 0;
}

class TiffReader : public ImageReader {
public:
    explicit TiffReader(const std::string& path);
    void ReadRows(uint32_t rows, void* buffer) override;

private:
    CliError Layout(const std::string& why) const {
        return CliError(kExitLayout, m_info.path + ": unsupported TIFF layout: " + why);
    }
    struct Closer {
        void operator()(TIFF* tif) const { TIFFClose(tif); }
    };
    std::unique_ptr<TIFF, Closer> m_tif; // closed also when the constructor throws
    uint32_t m_row = 0;
};

TiffReader::TiffReader(const std::string& path) {
    InstallTiffHandlers();
    ClearTiffError();
    m_info.path = path;
    m_info.format = "TIFF";
    // "m": no memory mapping, whose pages would count against the bounded memory of a run.
    TIFF* tif = TIFFOpen(path.c_str(), "rm");
    m_tif.reset(tif);
    if (!tif) {
        const std::string why = LastTiffError();
        throw CliError(kExitInput,
                       path + ": cannot read the TIFF" + (why.empty() ? "" : ": " + why));
    }
    uint32_t width = 0, height = 0;
    uint16_t bits = 0, spp = 0, planar = 0, format = 0, photometric = 0, inkset = 0;
    uint16_t compression = COMPRESSION_NONE;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
    if (width == 0 || height == 0) throw CliError(kExitInput, path + ": image without pixels");
    if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric))
        throw Layout("no photometric interpretation");
    if (TIFFIsTiled(tif)) throw Layout("tiled (write it in strips, e.g. tiffcp -s)");
    if (bits != 8 && bits != 16) throw Layout(std::to_string(bits) + " bits per sample");
    if (format != SAMPLEFORMAT_UINT &&
        !(photometric == PHOTOMETRIC_CIELAB && format == SAMPLEFORMAT_INT))
        throw Layout("sample format " + std::to_string(format) + " (unsigned integers only)");
    if (spp > 1 && planar != PLANARCONFIG_CONTIG)
        throw Layout("planar configuration separate (write it chunky, e.g. tiffcp -p contig)");
    if (!TIFFIsCODECConfigured(compression))
        throw Layout("compression " + std::to_string(compression) + " is not available");

    uint16_t extraCount = 0;
    uint16_t* extraKinds = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extraCount, &extraKinds);
    // libtiff keeps the stated kinds at the front of its list, so only the count needs fixing.
    if (photometric == PHOTOMETRIC_SEPARATED)
        extraCount = uint16_t(std::min<unsigned>(extraCount, StatedExtraSamples(path)));
    if (extraCount >= spp) throw Layout("no colour samples besides the extra samples");
    const unsigned colours = spp - extraCount;

    const auto need = [&](unsigned n, const char* what) {
        if (colours != n)
            throw Layout(std::string(what) + " with " + std::to_string(colours) +
                         " colour samples per pixel");
    };
    switch (photometric) {
    case PHOTOMETRIC_RGB:
        need(3, "RGB");
        m_info.space = RgbSpace();
        break;
    case PHOTOMETRIC_SEPARATED:
        TIFFGetFieldDefaulted(tif, TIFFTAG_INKSET, &inkset);
        if (colours == 4 && inkset != INKSET_MULTIINK)
            m_info.space = CmykSpace();
        else if (colours >= 2 && colours <= 15)
            m_info.space = NColorSpace(colours);
        else
            throw Layout("separated with " + std::to_string(colours) + " inks (2 to 15 handled)");
        break;
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
        need(3, "Lab");
        m_info.space = LabSpace();
        m_info.lab = photometric == PHOTOMETRIC_CIELAB ? LabEncoding::CieLab : LabEncoding::IccLab;
        break;
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
        need(1, "grey");
        m_info.space = GraySpace();
        m_info.minIsWhite = photometric == PHOTOMETRIC_MINISWHITE;
        break;
    default:
        throw Layout("photometric interpretation " + std::to_string(photometric) +
                     " (RGB, separated, CIELAB, ICCLAB and grey are handled)");
    }
    m_info.width = width;
    m_info.height = height;
    m_info.bits = bits;
    m_info.extras = extraCount;
    m_info.extraKinds.assign(extraKinds, extraKinds + extraCount);

    uint32_t iccSize = 0;
    void* icc = nullptr;
    if (TIFFGetField(tif, TIFFTAG_ICCPROFILE, &iccSize, &icc) && icc && iccSize > 0)
        m_info.icc.assign(static_cast<uint8_t*>(icc), static_cast<uint8_t*>(icc) + iccSize);

    if (uint64_t(TIFFScanlineSize64(tif)) != m_info.rowBytes())
        throw Layout("scan line of " + std::to_string(TIFFScanlineSize64(tif)) + " bytes where " +
                     std::to_string(m_info.rowBytes()) + " were expected");
}

void TiffReader::ReadRows(uint32_t rows, void* buffer) {
    auto* out = static_cast<uint8_t*>(buffer);
    const size_t bytes = m_info.rowBytes();
    for (uint32_t i = 0; i < rows; ++i, ++m_row) {
        ClearTiffError();
        if (m_row >= m_info.height ||
            TIFFReadScanline(m_tif.get(), out + i * bytes, m_row, 0) < 0) {
            const std::string why = LastTiffError();
            throw CliError(kExitInput, m_info.path + ": cannot read row " + std::to_string(m_row) +
                                           (why.empty() ? "" : ": " + why) +
                                           " (truncated or damaged file?)");
        }
    }
}
} // namespace

std::unique_ptr<ImageReader> OpenTiff(const std::string& path) {
    return std::make_unique<TiffReader>(path);
}
