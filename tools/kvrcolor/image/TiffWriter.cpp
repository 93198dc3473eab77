#include "TiffWriter.h"

#include <tiffio.h>
#include <unistd.h>

#include <algorithm>

#include "CliError.h"
#include "TiffErrors.h"
#include "TiffExif.h"

struct TiffWriter::Impl {
    TIFF* tif = nullptr;
    OutputSpec spec;
    std::string shown;
    uint32_t row = 0;
    std::vector<uint8_t> scratch; // a row for libtiff to change (the predictor works in place)
    // Uncompressed pages are written a strip at a time, straight from the caller's rows where a
    // whole strip is there, else gathered here first.
    uint32_t rowsPerStrip = 0;
    std::vector<uint8_t> strip;

    CliError Failed(const std::string& what) const {
        const std::string why = LastTiffError();
        return CliError(kExitOutput,
                        shown + ": cannot be written: " + what + (why.empty() ? "" : ": " + why));
    }
};

namespace {
uint16_t PhotometricOf(const OutputSpec& s) {
    switch (s.space.model) {
    case ColourModel::Rgb:
        return PHOTOMETRIC_RGB;
    case ColourModel::Cmyk:
    case ColourModel::NColor:
        return PHOTOMETRIC_SEPARATED;
    case ColourModel::Lab:
        return s.lab == LabEncoding::IccLab ? PHOTOMETRIC_ICCLAB : PHOTOMETRIC_CIELAB;
    case ColourModel::Gray:
    case ColourModel::Gamut:
        return PHOTOMETRIC_MINISBLACK;
    }
    return PHOTOMETRIC_MINISBLACK;
}
uint16_t TiffUnit(ImageMetadata::Unit unit) {
    switch (unit) {
    case ImageMetadata::Unit::None:
        return RESUNIT_NONE;
    case ImageMetadata::Unit::Inch:
        return RESUNIT_INCH;
    case ImageMetadata::Unit::Centimetre:
        return RESUNIT_CENTIMETER;
    }
    return RESUNIT_INCH;
}

bool SetText(TIFF* tif, uint32_t tag, const std::string& text) {
    return text.empty() || TIFFSetField(tif, tag, text.c_str());
}

// The input's metadata that TIFF has tags for. The EXIF and GPS directories of a TIFF input are
// written before this, by WriteTiffExifDirectories; an EXIF block of a PNG or JPEG input is not
// taken apart into one.
bool SetMetadata(TIFF* tif, const OutputSpec& spec) {
    const ImageMetadata& m = spec.meta;
    bool ok = true;
    if (m.xResolution > 0 && m.yResolution > 0)
        ok = TIFFSetField(tif, TIFFTAG_XRESOLUTION, float(m.xResolution)) &&
             TIFFSetField(tif, TIFFTAG_YRESOLUTION, float(m.yResolution)) &&
             TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, TiffUnit(m.unit));
    else if (spec.resolution > 0)
        ok = TIFFSetField(tif, TIFFTAG_XRESOLUTION, float(spec.resolution)) &&
             TIFFSetField(tif, TIFFTAG_YRESOLUTION, float(spec.resolution)) &&
             TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    if (m.orientation >= 1 && m.orientation <= 8)
        ok = ok && TIFFSetField(tif, TIFFTAG_ORIENTATION, m.orientation);
    ok = ok && SetText(tif, TIFFTAG_IMAGEDESCRIPTION, m.description) &&
         SetText(tif, TIFFTAG_ARTIST, m.artist) && SetText(tif, TIFFTAG_COPYRIGHT, m.copyright);
    if (!m.xmp.empty())
        ok = ok && TIFFSetField(tif, TIFFTAG_XMLPACKET, uint32_t(m.xmp.size()), m.xmp.data());
    return ok;
}
} // namespace

TiffWriter::TiffWriter(const std::string& path, const OutputSpec& spec,
                       const std::string& shownName)
    : m(std::make_unique<Impl>()) {
    InstallTiffHandlers();
    ClearTiffError();
    m->spec = spec;
    m->shown = shownName;
    // Big TIFF ("w8") only where the classic format's 4 GiB would not hold the pixels.
    const double bytes = double(spec.rowBytes()) * spec.height;
    m->tif = TIFFOpen(path.c_str(), bytes > 3.9e9 ? "w8" : "w");
    if (!m->tif) throw m->Failed("cannot create the file");
    Start();
}

TiffWriter::TiffWriter(int fd, const OutputSpec& spec, const std::string& shownName)
    : m(std::make_unique<Impl>()) {
    InstallTiffHandlers();
    ClearTiffError();
    m->spec = spec;
    m->shown = shownName;
    const double bytes = double(spec.rowBytes()) * spec.height;
    m->tif = TIFFFdOpen(fd, shownName.c_str(), bytes > 3.9e9 ? "w8" : "w");
    if (!m->tif) {
        ::close(fd);
        throw m->Failed("cannot create the file");
    }
    Start();
}

void TiffWriter::Start() {
    const OutputSpec& spec = m->spec;
    TIFF* tif = m->tif;
    const uint16_t spp = uint16_t(spec.space.channels + spec.extras);
    // The EXIF and GPS directories go first: writing them replaces the current directory.
    bool ok = WriteTiffExifDirectories(tif, spec.meta);
    ok = ok && TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, spec.width) &&
         TIFFSetField(tif, TIFFTAG_IMAGELENGTH, spec.height) &&
         TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, uint16_t(spec.bits)) &&
         TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, spp) &&
         TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
         TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PhotometricOf(spec)) &&
         TIFFSetField(tif, TIFFTAG_SOFTWARE, spec.software.c_str());
    ok = ok && SetMetadata(tif, spec);
    // CMYK is told by the ink set alone; libtiff warns about NumberOfInks whenever extra
    // samples make it differ from the samples per pixel, so it is written only where it says
    // something the ink set does not.
    if (spec.space.model == ColourModel::Cmyk)
        ok = ok && TIFFSetField(tif, TIFFTAG_INKSET, INKSET_CMYK);
    if (spec.space.model == ColourModel::NColor)
        ok = ok && TIFFSetField(tif, TIFFTAG_INKSET, INKSET_MULTIINK) &&
             TIFFSetField(tif, TIFFTAG_NUMBEROFINKS, uint16_t(spec.space.channels));
    if (spec.extras > 0)
        ok = ok &&
             TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, uint16_t(spec.extras), spec.extraKinds.data());
    if (!spec.icc.empty())
        ok =
            ok && TIFFSetField(tif, TIFFTAG_ICCPROFILE, uint32_t(spec.icc.size()), spec.icc.data());
    switch (spec.compression) {
    case Compression::None:
        ok = ok && TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        break;
    case Compression::Lzw:
    case Compression::Deflate:
        // Differences of neighbouring samples compress far better than the samples.
        ok = ok &&
             TIFFSetField(tif, TIFFTAG_COMPRESSION,
                          spec.compression == Compression::Lzw ? COMPRESSION_LZW
                                                               : COMPRESSION_ADOBE_DEFLATE) &&
             TIFFSetField(tif, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
        break;
    }
    // Strips of about 256 KiB: small enough to stream, large enough to compress well.
    const uint32_t wanted =
        uint32_t(std::max<size_t>(1, (256u << 10) / std::max<size_t>(1, spec.rowBytes())));
    m->rowsPerStrip = TIFFDefaultStripSize(tif, wanted);
    ok = ok && TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, m->rowsPerStrip);
    m->strip.clear();
    if (!ok) {
        TIFFClose(tif);
        m->tif = nullptr;
        throw m->Failed("cannot set up the TIFF");
    }
}

TiffWriter::~TiffWriter() {
    if (m->tif) TIFFClose(m->tif);
}

void TiffWriter::WriteRows(uint32_t rows, const void* buffer) {
    const auto* in = static_cast<const uint8_t*>(buffer);
    const size_t bytes = m->spec.rowBytes();
    if (m->spec.compression == Compression::None) {
        // libtiff appends an uncompressed strip as it is given (samples in the machine's order
        // need no swapping), which saves copying each row into its own strip buffer.
        while (rows > 0) {
            if (m->row >= m->spec.height)
                throw m->Failed("row " + std::to_string(m->row) + " is below the last row");
            const uint32_t strip = m->row / m->rowsPerStrip;
            const uint32_t inStrip =
                std::min(m->rowsPerStrip, m->spec.height - strip * m->rowsPerStrip);
            const uint32_t done = uint32_t(m->strip.size() / bytes);
            const uint32_t take = std::min(rows, inStrip - done);
            if (done == 0 && take == inStrip) {
                WriteStrip(strip, in, size_t(take) * bytes);
            } else {
                m->strip.insert(m->strip.end(), in, in + size_t(take) * bytes);
                if (done + take == inStrip) {
                    WriteStrip(strip, m->strip.data(), m->strip.size());
                    m->strip.clear();
                }
            }
            in += size_t(take) * bytes;
            rows -= take;
            m->row += take;
        }
        return;
    }
    for (uint32_t i = 0; i < rows; ++i, ++m->row) {
        // With a predictor libtiff works in place, so it gets a copy of the row.
        ClearTiffError();
        m->scratch.assign(in + i * bytes, in + (i + 1) * bytes);
        if (TIFFWriteScanline(m->tif, m->scratch.data(), m->row, 0) < 0)
            throw m->Failed("row " + std::to_string(m->row));
    }
}

void TiffWriter::WriteStrip(uint32_t strip, const uint8_t* data, size_t size) {
    ClearTiffError();
    if (TIFFWriteEncodedStrip(m->tif, strip, const_cast<uint8_t*>(data), tmsize_t(size)) < 0)
        throw m->Failed("row " + std::to_string(strip * m->rowsPerStrip));
}

void TiffWriter::FlushStrip() {
    // A page left short (its writer stopped early): its last rows as the scanline writer left
    // them, a strip that ends where they end.
    if (m->strip.empty()) return;
    const uint32_t rows = uint32_t(m->strip.size() / m->spec.rowBytes());
    WriteStrip((m->row - rows) / m->rowsPerStrip, m->strip.data(), m->strip.size());
    m->strip.clear();
}

void TiffWriter::NextPage(const OutputSpec& spec) {
    FlushStrip();
    ClearTiffError();
    if (!TIFFWriteDirectory(m->tif)) throw m->Failed("cannot finish page");
    m->spec = spec;
    m->row = 0;
    Start();
}

void TiffWriter::Finish() {
    FlushStrip();
    ClearTiffError();
    const bool ok = TIFFFlush(m->tif) == 1;
    TIFFClose(m->tif);
    m->tif = nullptr;
    if (!ok) throw m->Failed("cannot finish the file");
}
