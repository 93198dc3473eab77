// kvrcolor convert keeps what an image says about itself where the output has a place for it:
// resolution, orientation, description, artist, copyright, XMP and a TIFF input's EXIF and GPS
// directories in TIFF; pHYs, text, XMP and
// EXIF in PNG; density, EXIF, XMP and a comment in JPEG. PNG's colour chunks (gAMA, cHRM, sRGB)
// are dropped: the embedded profile says what the output's colours are.
#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include "CliSupport.h"
#include "image/TiffWriter.h"

using namespace clitest;

namespace {

class MetadataTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    void Convert(const std::string& in, const std::string& out) {
        const RunResult r =
            RunCli({"convert", in, out, "--quiet", "--from", s_p.rgb, "--to", s_p.rgbAlt});
        EXPECT_EQ(r.code, 0) << r.err;
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
};

const std::string kXmp = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF/></x:xmpmeta>";

// A TIFF with every field the tool keeps, written by the tool's own writer.
void WriteTaggedTiff(const std::string& path) {
    OutputSpec spec;
    spec.width = 32;
    spec.height = 16;
    spec.space = RgbSpace();
    spec.meta.xResolution = 300;
    spec.meta.yResolution = 150;
    spec.meta.unit = ImageMetadata::Unit::Centimetre;
    spec.meta.orientation = 6;
    spec.meta.description = "harbour at dusk";
    spec.meta.artist = "A. Painter";
    spec.meta.copyright = "(c) 2026 A. Painter";
    spec.meta.xmp.assign(kXmp.begin(), kXmp.end());
    std::vector<uint8_t> pixels(spec.rowBytes() * spec.height, 128);
    TiffWriter writer(path, spec, path);
    writer.WriteRows(spec.height, pixels.data());
    writer.Finish();
}

std::string TiffText(TIFF* tif, uint32_t tag) {
    const char* value = nullptr;
    return TIFFGetField(tif, tag, &value) && value ? value : "";
}

// The chunks of a PNG file: type -> payloads, in file order.
std::multimap<std::string, std::string> PngChunks(const std::string& path) {
    const auto bytes = ReadBytes(path);
    std::multimap<std::string, std::string> chunks;
    for (size_t at = 8; at + 12 <= bytes.size();) {
        const uint32_t length = uint32_t(bytes[at]) << 24 | uint32_t(bytes[at + 1]) << 16 |
                                uint32_t(bytes[at + 2]) << 8 | bytes[at + 3];
        if (at + 12 + length > bytes.size()) break;
        chunks.emplace(std::string(bytes.begin() + at + 4, bytes.begin() + at + 8),
                       std::string(bytes.begin() + at + 8, bytes.begin() + at + 8 + length));
        at += 12 + length;
    }
    return chunks;
}

// A PNG with colour chunks, a resolution, text, XMP and EXIF, written with libpng.
void WriteTaggedPng(const std::string& path, const std::vector<uint8_t>& exif) {
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, 16, 8, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_gAMA(png, info, 1 / 2.2);
    png_set_cHRM(png, info, 0.3127, 0.329, 0.64, 0.33, 0.3, 0.6, 0.15, 0.06);
    png_set_sRGB(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    png_set_pHYs(png, info, 11811, 11811, PNG_RESOLUTION_METER); // 300 per inch
    std::string xmp = kXmp;
    png_text texts[4] = {};
    const char* keys[3] = {"Description", "Author", "Comment"};
    const char* values[3] = {"harbour at dusk", "A. Painter", "scanned twice"};
    for (int i = 0; i < 3; ++i) {
        texts[i].compression = PNG_TEXT_COMPRESSION_NONE;
        texts[i].key = const_cast<char*>(keys[i]);
        texts[i].text = const_cast<char*>(values[i]);
        texts[i].text_length = std::strlen(values[i]);
    }
    texts[3].compression = PNG_ITXT_COMPRESSION_NONE;
    texts[3].key = const_cast<char*>("XML:com.adobe.xmp");
    texts[3].text = xmp.data();
    texts[3].itxt_length = xmp.size();
    png_set_text(png, info, texts, 4);
    png_set_eXIf_1(png, info, png_uint_32(exif.size()), const_cast<png_bytep>(exif.data()));
    png_write_info(png, info);
    std::vector<uint8_t> row(16 * 3, 90);
    for (int y = 0; y < 8; ++y) png_write_row(png, row.data());
    png_write_end(png, nullptr); // with the info, libpng would write eXIf twice
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

// A small EXIF block: a little-endian TIFF header and one directory holding Orientation 3.
std::vector<uint8_t> SmallExif() {
    return {'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 0x01, 3,
            0,   1,   0,  0, 0, 3, 0, 0, 0, 0, 0,    0,    0};
}

TEST_F(MetadataTest, TiffOutputKeepsResolutionOrientationDescriptionArtistCopyrightAndXmp) {
    WriteTaggedTiff(work / "in.tif");
    Convert(work / "in.tif", work / "out.tif");
    TIFF* tif = TIFFOpen((work / "out.tif").c_str(), "r");
    ASSERT_NE(tif, nullptr);
    float x = 0, y = 0;
    uint16_t unit = 0, orientation = 0;
    EXPECT_TRUE(TIFFGetField(tif, TIFFTAG_XRESOLUTION, &x));
    EXPECT_TRUE(TIFFGetField(tif, TIFFTAG_YRESOLUTION, &y));
    EXPECT_TRUE(TIFFGetField(tif, TIFFTAG_RESOLUTIONUNIT, &unit));
    EXPECT_TRUE(TIFFGetField(tif, TIFFTAG_ORIENTATION, &orientation));
    EXPECT_EQ(x, 300.0f);
    EXPECT_EQ(y, 150.0f);
    EXPECT_EQ(unit, RESUNIT_CENTIMETER);
    EXPECT_EQ(orientation, 6);
    EXPECT_EQ(TiffText(tif, TIFFTAG_IMAGEDESCRIPTION), "harbour at dusk");
    EXPECT_EQ(TiffText(tif, TIFFTAG_ARTIST), "A. Painter");
    EXPECT_EQ(TiffText(tif, TIFFTAG_COPYRIGHT), "(c) 2026 A. Painter");
    uint32_t size = 0;
    void* xmp = nullptr;
    ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_XMLPACKET, &size, &xmp));
    EXPECT_EQ(std::string(static_cast<char*>(xmp), size), kXmp);
    TIFFClose(tif);
}

// A single rational of the current directory, in the width libtiff's description of the tag
// gives it (float or double).
double TiffRational(TIFF* tif, uint32_t tag) {
    const TIFFField* field = TIFFFieldWithTag(tif, tag);
    if (!field) return -1;
    if (TIFFFieldSetGetSize(field) == int(sizeof(float))) {
        float value = -1;
        return TIFFGetField(tif, tag, &value) ? value : -1;
    }
    double value = -1;
    return TIFFGetField(tif, tag, &value) ? value : -1;
}

// A TIFF written with libtiff alone: with an EXIF directory (DateTimeOriginal and LensModel as
// text, ExposureTime and FNumber as rationals) and a GPS directory (GPSLatitudeRef and
// GPSLatitude), or without either.
void WriteExifTiff(const std::string& path, bool withExif) {
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tif, nullptr);
    uint64_t exifAt = 0, gpsAt = 0;
    if (withExif) {
        // The custom directories first, then a fresh image directory that points to them.
        ASSERT_EQ(TIFFCreateEXIFDirectory(tif), 0);
        ASSERT_TRUE(TIFFSetField(tif, EXIFTAG_DATETIMEORIGINAL, "2026:03:14 15:09:26"));
        ASSERT_TRUE(TIFFSetField(tif, EXIFTAG_LENSMODEL, "Harbour 35mm"));
        ASSERT_TRUE(TIFFSetField(tif, EXIFTAG_EXPOSURETIME, 1.0 / 125));
        ASSERT_TRUE(TIFFSetField(tif, EXIFTAG_FNUMBER, 5.6));
        ASSERT_TRUE(TIFFWriteCustomDirectory(tif, &exifAt));
        TIFFFreeDirectory(tif); // the next directory's set-up does not free these values
        ASSERT_EQ(TIFFCreateGPSDirectory(tif), 0);
        ASSERT_TRUE(TIFFSetField(tif, GPSTAG_LATITUDEREF, "N"));
        const double latitude[3] = {54, 19, 30.5};
        ASSERT_TRUE(TIFFSetField(tif, GPSTAG_LATITUDE, latitude));
        ASSERT_TRUE(TIFFWriteCustomDirectory(tif, &gpsAt));
        TIFFFreeDirectory(tif);
        TIFFCreateDirectory(tif);
        ASSERT_TRUE(TIFFSetField(tif, TIFFTAG_EXIFIFD, exifAt));
        ASSERT_TRUE(TIFFSetField(tif, TIFFTAG_GPSIFD, gpsAt));
    }
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 16u);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, 8u);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 8u);
    std::vector<uint8_t> row(16 * 3, 140);
    for (uint32_t y = 0; y < 8; ++y) ASSERT_EQ(TIFFWriteScanline(tif, row.data(), y, 0), 1);
    TIFFClose(tif);
}

TEST_F(MetadataTest, TiffOutputKeepsTheExifAndGpsDirectoriesOfATiffInput) {
    WriteExifTiff(work / "in.tif", true);
    Convert(work / "in.tif", work / "out.tif");
    TIFF* tif = TIFFOpen((work / "out.tif").c_str(), "r");
    ASSERT_NE(tif, nullptr);
    EXPECT_EQ(TIFFNumberOfDirectories(tif), 1); // the custom directories are not pages
    uint64_t exifAt = 0, gpsAt = 0;
    ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_EXIFIFD, &exifAt));
    ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_GPSIFD, &gpsAt));
    ASSERT_TRUE(TIFFReadEXIFDirectory(tif, exifAt));
    EXPECT_EQ(TiffText(tif, EXIFTAG_DATETIMEORIGINAL), "2026:03:14 15:09:26");
    EXPECT_EQ(TiffText(tif, EXIFTAG_LENSMODEL), "Harbour 35mm");
    EXPECT_NEAR(TiffRational(tif, EXIFTAG_EXPOSURETIME), 1.0 / 125, 1e-9);
    EXPECT_NEAR(TiffRational(tif, EXIFTAG_FNUMBER), 5.6, 1e-6);
    ASSERT_TRUE(TIFFReadGPSDirectory(tif, gpsAt));
    EXPECT_EQ(TiffText(tif, GPSTAG_LATITUDEREF), "N");
    double* latitude = nullptr;
    ASSERT_TRUE(TIFFGetField(tif, GPSTAG_LATITUDE, &latitude));
    ASSERT_NE(latitude, nullptr);
    EXPECT_NEAR(latitude[0], 54, 1e-6);
    EXPECT_NEAR(latitude[1], 19, 1e-6);
    EXPECT_NEAR(latitude[2], 30.5, 1e-6);
    TIFFClose(tif);
}

TEST_F(MetadataTest, TiffInputWithoutExifGivesOutputWithoutExifDirectory) {
    WriteExifTiff(work / "in.tif", false);
    Convert(work / "in.tif", work / "out.tif");
    TIFF* tif = TIFFOpen((work / "out.tif").c_str(), "r");
    ASSERT_NE(tif, nullptr);
    uint64_t at = 0;
    EXPECT_FALSE(TIFFGetField(tif, TIFFTAG_EXIFIFD, &at));
    EXPECT_FALSE(TIFFGetField(tif, TIFFTAG_GPSIFD, &at));
    TIFFClose(tif);
}

TEST_F(MetadataTest, PngOutputDropsTheColourChunksAndKeepsResolutionTextXmpAndExif) {
    WriteTaggedPng(work / "in.png", SmallExif());
    Convert(work / "in.png", work / "out.png");
    const auto chunks = PngChunks(work / "out.png");
    EXPECT_EQ(chunks.count("gAMA"), 0u);
    EXPECT_EQ(chunks.count("cHRM"), 0u);
    EXPECT_EQ(chunks.count("sRGB"), 0u);
    EXPECT_EQ(chunks.count("iCCP"), 1u);
    ASSERT_EQ(chunks.count("pHYs"), 1u);
    const std::string phys = chunks.find("pHYs")->second;
    EXPECT_EQ(phys, std::string("\0\0\x2E\x23\0\0\x2E\x23\x01", 9)); // 11811 per metre
    ASSERT_EQ(chunks.count("eXIf"), 1u);
    const auto exif = SmallExif();
    EXPECT_EQ(chunks.find("eXIf")->second, std::string(exif.begin(), exif.end()));
    std::string text;
    for (auto [it, end] = chunks.equal_range("tEXt"); it != end; ++it) text += it->second + "|";
    EXPECT_NE(text.find(std::string("Description\0harbour at dusk", 27)), std::string::npos);
    EXPECT_NE(text.find(std::string("Author\0A. Painter", 17)), std::string::npos);
    EXPECT_NE(text.find(std::string("Comment\0scanned twice", 21)), std::string::npos);
    ASSERT_EQ(chunks.count("iTXt"), 1u);
    EXPECT_NE(chunks.find("iTXt")->second.find(kXmp), std::string::npos);
}

TEST_F(MetadataTest, PngInputGivesTiffItsResolutionDescriptionAuthorAndXmp) {
    WriteTaggedPng(work / "in.png", SmallExif());
    Convert(work / "in.png", work / "out.tif");
    TIFF* tif = TIFFOpen((work / "out.tif").c_str(), "r");
    ASSERT_NE(tif, nullptr);
    float x = 0;
    EXPECT_TRUE(TIFFGetField(tif, TIFFTAG_XRESOLUTION, &x));
    EXPECT_NEAR(x, 300.0, 0.01);
    EXPECT_EQ(TiffText(tif, TIFFTAG_IMAGEDESCRIPTION), "harbour at dusk");
    EXPECT_EQ(TiffText(tif, TIFFTAG_ARTIST), "A. Painter");
    uint32_t size = 0;
    void* xmp = nullptr;
    ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_XMLPACKET, &size, &xmp));
    EXPECT_EQ(std::string(static_cast<char*>(xmp), size), kXmp);
    TIFFClose(tif);
}

TEST_F(MetadataTest, JpegOutputKeepsDensityExifXmpAndTheDescriptionAndReadsThemBack) {
    WriteTaggedPng(work / "in.png", SmallExif());
    Convert(work / "in.png", work / "out.jpg");
    const AnyImage out = ReadAnyImage(work / "out.jpg");
    EXPECT_EQ(out.info.meta.xResolution, 300);
    EXPECT_EQ(out.info.meta.yResolution, 300);
    EXPECT_EQ(out.info.meta.unit, ImageMetadata::Unit::Inch);
    EXPECT_EQ(out.info.meta.exif, SmallExif());
    EXPECT_EQ(std::string(out.info.meta.xmp.begin(), out.info.meta.xmp.end()), kXmp);
    EXPECT_EQ(out.info.meta.description, "harbour at dusk");
}

} // namespace
