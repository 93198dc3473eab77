// TIFF input, any page of the file: strips or tiles, chunky or planar samples, 8 or 16 bits of
// unsigned (or CIELAB signed) integers, or 32-bit floating point brought into the 16-bit path.
// Strips are read a scan line at a time, tiles a row of tiles at a time.
//
// Handled: RGB; SEPARATED with 4 inks as CMYK (unless the ink set says multi-ink) and with
// 2 to 15 inks as an n-colour device (the ink count is the samples per pixel minus the extra
// samples); CIELAB and ICCLAB; MINISBLACK and MINISWHITE grey (the latter is inverted on the way
// into the link, see SampleCodec). Extra samples (alpha) ride along behind the colour channels.
// Floating point samples run from 0 to 1 (Lab: L 0 to 100, a and b in units), and come out as
// 16-bit codes, Lab as ICCLAB. Associated alpha is undone on reading (the colour comes out
// straight); the extra sample keeps its kind, so that the output associates it again.
// Refused as layouts: other bit depths and sample formats (16-bit floating point among them),
// and every other photometric interpretation (palette, YCbCr, ...).
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>

#include "CliError.h"
#include "ImageReader.h"
#include "SampleCodec.h"
#include "TiffErrors.h"
#include "TiffExif.h"

namespace {

// The count of the ExtraSamples tag (338) of the directory at `ifd` as the file states it; 0 if
// the tag is absent or the directory can't be read. libtiff does not report this for separated
// images: it takes any sample beyond the fourth as an extra one, which would turn the inks of
// an n-colour image into extra samples.
unsigned StatedExtraSamples(const std::string& path, uint64_t ifd) {
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

// The most memory a row of tiles may take.
constexpr size_t kMaxTileRowBytes = size_t(256) << 20;

class TiffReader : public ImageReader {
public:
    TiffReader(const std::string& path, unsigned page);
    void ReadRows(uint32_t rows, void* buffer) override;

private:
    CliError Layout(const std::string& why) const {
        return CliError(kExitLayout, m_info.path + ": unsupported TIFF layout: " + why);
    }
    CliError Damaged(uint32_t row) const {
        const std::string why = LastTiffError();
        return CliError(kExitInput, m_info.path + ": cannot read row " + std::to_string(row) +
                                        (why.empty() ? "" : ": " + why) +
                                        " (truncated or damaged file?)");
    }
    void ReadMetadata();
    // The file's samples of row `row`, chunky, into m_fileRow.
    void ReadFileRow(uint32_t row);
    void ReadTileRow(uint32_t row); // fills m_tileRows with the row of tiles holding `row`
    // m_fileRow as the samples the reader answers.
    void Deliver(uint8_t* out) const;

    struct Closer {
        void operator()(TIFF* tif) const { TIFFClose(tif); }
    };
    std::unique_ptr<TIFF, Closer> m_tif; // closed also when the constructor throws
    uint32_t m_row = 0;
    unsigned m_fileBytes = 1; // bytes of a sample in the file: 1, 2 or 4 (float)
    bool m_float = false;
    bool m_planar = false;
    bool m_tiled = false;
    bool m_associated = false;
    uint32_t m_tileWidth = 0, m_tileHeight = 0;
    uint32_t m_tileTop = UINT32_MAX; // first row held in m_tileRows
    std::vector<uint8_t> m_fileRow, m_plane, m_tile, m_tileRows;
};

TiffReader::TiffReader(const std::string& path, unsigned page) {
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
    m_info.pages = TIFFNumberOfDirectories(tif);
    m_info.page = page;
    if (page >= m_info.pages)
        throw CliError(kExitInput, path + ": has " + std::to_string(m_info.pages) +
                                       " page(s); page " + std::to_string(page + 1) +
                                       " does not exist");
    if (page > 0 && !TIFFSetDirectory(tif, tdir_t(page)))
        throw CliError(kExitInput, path + ": cannot read page " + std::to_string(page + 1));
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
    m_float = format == SAMPLEFORMAT_IEEEFP;
    if (m_float && bits != 32)
        throw Layout(std::to_string(bits) + "-bit floating point (32-bit is handled)");
    if (!m_float && bits != 8 && bits != 16)
        throw Layout(std::to_string(bits) + " bits per sample");
    if (!m_float && format != SAMPLEFORMAT_UINT &&
        !(photometric == PHOTOMETRIC_CIELAB && format == SAMPLEFORMAT_INT))
        throw Layout("sample format " + std::to_string(format) +
                     " (unsigned integers and 32-bit floating point only)");
    if (!TIFFIsCODECConfigured(compression))
        throw Layout("compression " + std::to_string(compression) + " is not available");
    m_fileBytes = bits / 8;
    m_planar = spp > 1 && planar == PLANARCONFIG_SEPARATE;
    m_tiled = TIFFIsTiled(tif);

    uint16_t extraCount = 0;
    uint16_t* extraKinds = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extraCount, &extraKinds);
    // libtiff keeps the stated kinds at the front of its list, so only the count needs fixing.
    if (photometric == PHOTOMETRIC_SEPARATED)
        extraCount = uint16_t(
            std::min<unsigned>(extraCount, StatedExtraSamples(path, TIFFCurrentDirOffset(tif))));
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
        // Floating point Lab comes out in the unsigned 16-bit encoding.
        if (m_float) m_info.lab = LabEncoding::IccLab;
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
    m_info.bits = m_float ? 16 : bits;
    m_info.extras = extraCount;
    m_info.extraKinds.assign(extraKinds, extraKinds + extraCount);
    m_associated = extraCount > 0 && m_info.extraKinds[0] == EXTRASAMPLE_ASSOCALPHA &&
                   m_info.lab == LabEncoding::None;

    uint32_t iccSize = 0;
    void* icc = nullptr;
    if (TIFFGetField(tif, TIFFTAG_ICCPROFILE, &iccSize, &icc) && icc && iccSize > 0)
        m_info.icc.assign(static_cast<uint8_t*>(icc), static_cast<uint8_t*>(icc) + iccSize);
    ReadMetadata();

    const size_t fileRow = size_t(width) * spp * m_fileBytes;
    m_fileRow.resize(fileRow);
    if (m_tiled) {
        TIFFGetField(tif, TIFFTAG_TILEWIDTH, &m_tileWidth);
        TIFFGetField(tif, TIFFTAG_TILELENGTH, &m_tileHeight);
        if (m_tileWidth == 0 || m_tileHeight == 0) throw Layout("tiles without a size");
        // A row of tiles is held whole: tiles taller than any real image's are refused rather
        // than given the memory they ask for.
        if (double(fileRow) * m_tileHeight > double(kMaxTileRowBytes))
            throw Layout("tiles of " + std::to_string(m_tileWidth) + " x " +
                         std::to_string(m_tileHeight) + " pixels (a row of them over " +
                         std::to_string(kMaxTileRowBytes >> 20) + " MiB)");
        const tmsize_t tile = TIFFTileSize(tif);
        const size_t tilePixels = size_t(m_tileWidth) * m_tileHeight;
        if (tile <= 0 || size_t(tile) != tilePixels * (m_planar ? 1 : spp) * m_fileBytes)
            throw Layout("tiles of " + std::to_string(tile) + " bytes");
        m_tile.resize(size_t(tile));
        m_tileRows.resize(fileRow * m_tileHeight);
    } else {
        const uint64_t line = uint64_t(TIFFScanlineSize64(tif));
        const uint64_t expected = uint64_t(width) * (m_planar ? 1 : spp) * m_fileBytes;
        if (line != expected)
            throw Layout("scan line of " + std::to_string(line) + " bytes where " +
                         std::to_string(expected) + " were expected");
        if (m_planar) m_plane.resize(line);
    }
}

void TiffReader::ReadMetadata() {
    TIFF* tif = m_tif.get();
    ImageMetadata& m = m_info.meta;
    float x = 0, y = 0;
    uint16_t unit = RESUNIT_INCH;
    if (TIFFGetField(tif, TIFFTAG_XRESOLUTION, &x) && TIFFGetField(tif, TIFFTAG_YRESOLUTION, &y) &&
        x > 0 && y > 0) {
        TIFFGetFieldDefaulted(tif, TIFFTAG_RESOLUTIONUNIT, &unit);
        m.xResolution = x;
        m.yResolution = y;
        m.unit = unit == RESUNIT_CENTIMETER ? ImageMetadata::Unit::Centimetre
                 : unit == RESUNIT_NONE     ? ImageMetadata::Unit::None
                                            : ImageMetadata::Unit::Inch;
    }
    uint16_t orientation = 0;
    if (TIFFGetField(tif, TIFFTAG_ORIENTATION, &orientation)) m.orientation = orientation;
    const auto text = [tif](uint32_t tag, std::string& into) {
        const char* value = nullptr;
        if (TIFFGetField(tif, tag, &value) && value) into = value;
    };
    text(TIFFTAG_IMAGEDESCRIPTION, m.description);
    text(TIFFTAG_ARTIST, m.artist);
    text(TIFFTAG_COPYRIGHT, m.copyright);
    uint32_t xmpSize = 0;
    void* xmp = nullptr;
    if (TIFFGetField(tif, TIFFTAG_XMLPACKET, &xmpSize, &xmp) && xmp && xmpSize > 0)
        m.xmp.assign(static_cast<uint8_t*>(xmp), static_cast<uint8_t*>(xmp) + xmpSize);
    if (!ReadTiffExifDirectories(tif, m))
        throw CliError(kExitInput, m_info.path + ": cannot return to page " +
                                       std::to_string(m_info.page + 1) + " after its EXIF data");
}

void TiffReader::ReadTileRow(uint32_t row) {
    TIFF* tif = m_tif.get();
    const uint32_t top = row / m_tileHeight * m_tileHeight;
    const unsigned spp = m_info.samplesPerPixel();
    const size_t fileRow = m_fileRow.size();
    const size_t pixelBytes = size_t(spp) * m_fileBytes;
    const unsigned planes = m_planar ? spp : 1;
    for (uint32_t x = 0; x < m_info.width; x += m_tileWidth) {
        const uint32_t w = std::min(m_tileWidth, m_info.width - x);
        const uint32_t h = std::min(m_tileHeight, m_info.height - top);
        for (unsigned s = 0; s < planes; ++s) {
            ClearTiffError();
            if (TIFFReadTile(tif, m_tile.data(), x, top, 0, uint16_t(s)) < 0) throw Damaged(row);
            for (uint32_t r = 0; r < h; ++r) {
                uint8_t* dst = &m_tileRows[r * fileRow + x * pixelBytes];
                if (!m_planar) {
                    std::memcpy(dst, &m_tile[size_t(r) * m_tileWidth * pixelBytes], w * pixelBytes);
                    continue;
                }
                const uint8_t* src = &m_tile[size_t(r) * m_tileWidth * m_fileBytes];
                for (uint32_t i = 0; i < w; ++i)
                    std::memcpy(dst + i * pixelBytes + s * m_fileBytes, src + i * m_fileBytes,
                                m_fileBytes);
            }
        }
    }
    m_tileTop = top;
}

void TiffReader::ReadFileRow(uint32_t row) {
    TIFF* tif = m_tif.get();
    ClearTiffError();
    if (m_tiled) {
        if (m_tileTop == UINT32_MAX || row < m_tileTop || row >= m_tileTop + m_tileHeight)
            ReadTileRow(row);
        const size_t bytes = m_fileRow.size();
        std::memcpy(m_fileRow.data(), &m_tileRows[(row - m_tileTop) * bytes], bytes);
        return;
    }
    if (!m_planar) {
        if (TIFFReadScanline(tif, m_fileRow.data(), row, 0) < 0) throw Damaged(row);
        return;
    }
    const unsigned spp = m_info.samplesPerPixel();
    const size_t pixelBytes = size_t(spp) * m_fileBytes;
    for (unsigned s = 0; s < spp; ++s) {
        if (TIFFReadScanline(tif, m_plane.data(), row, uint16_t(s)) < 0) throw Damaged(row);
        for (uint32_t i = 0; i < m_info.width; ++i)
            std::memcpy(&m_fileRow[i * pixelBytes + s * m_fileBytes], &m_plane[i * m_fileBytes],
                        m_fileBytes);
    }
}

// Floating point 0..1 to 16-bit codes; Lab L 0..100 and a, b in units to ICCLAB 16-bit.
void TiffReader::Deliver(uint8_t* out) const {
    if (!m_float) {
        std::memcpy(out, m_fileRow.data(), m_fileRow.size());
        return;
    }
    const unsigned spp = m_info.samplesPerPixel();
    const bool lab = m_info.lab != LabEncoding::None;
    const size_t n = size_t(m_info.width) * spp;
    auto* codes = reinterpret_cast<uint16_t*>(out);
    for (size_t i = 0; i < n; ++i) {
        float v;
        std::memcpy(&v, &m_fileRow[i * 4], 4);
        const unsigned c = unsigned(i % spp);
        double code;
        if (std::isnan(v))
            code = 0;
        else if (lab && c == 0)
            code = v / 100.0 * 65535.0;
        else if (lab && c < 3)
            code = v * 256.0 + 32768.0;
        else
            code = v * 65535.0;
        codes[i] = uint16_t(std::clamp(code, 0.0, 65535.0) + 0.5);
    }
}

void TiffReader::ReadRows(uint32_t rows, void* buffer) {
    auto* out = static_cast<uint8_t*>(buffer);
    const size_t bytes = m_info.rowBytes();
    for (uint32_t i = 0; i < rows; ++i, ++m_row) {
        if (m_row >= m_info.height) throw Damaged(m_row);
        uint8_t* row = out + i * bytes;
        if (!m_tiled && !m_planar && !m_float) {
            // The file's row is the row answered: libtiff puts it in place, without a copy.
            ClearTiffError();
            if (TIFFReadScanline(m_tif.get(), row, m_row, 0) < 0) throw Damaged(m_row);
        } else {
            ReadFileRow(m_row);
            Deliver(row);
        }
        if (!m_associated) continue;
        if (m_info.bits == 8)
            Unassociate(m_info.space.channels, m_info.extras, row, m_info.width);
        else
            Unassociate(m_info.space.channels, m_info.extras, reinterpret_cast<uint16_t*>(row),
                        m_info.width);
    }
}
} // namespace

std::unique_ptr<ImageReader> OpenTiff(const std::string& path, unsigned page) {
    return std::make_unique<TiffReader>(path, page);
}
