// `kvrcolor extract` on images: TIFF (libtiff's ICC profile tag, in every image of the file),
// PNG (libpng's iCCP chunk) and JPEG (libjpeg's APP2 markers, one profile split over several
// of them). Every profile taken out equals the one embedded.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdio>

#include <jpeglib.h>

#include "CliSupport.h"
#include "ExtractTestUtil.h"
#include "support/TestData.h"

using namespace clitest;
using namespace extracttest;

namespace {

Bytes Profile(const std::string& name) {
    Bytes b = ReadBytes(kvrtest::CorpusProfile(name));
    EXPECT_FALSE(b.empty()) << name;
    return b;
}

// A 16 x 16 JPEG with `profile` embedded by libjpeg's own writer, which splits it over as many
// APP2 markers as it needs (at most 65519 bytes each).
void WriteJpeg(const fs::path& path, const Bytes& profile, bool cmyk) {
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_TRUE(f);
    jpeg_compress_struct c;
    jpeg_error_mgr err;
    c.err = jpeg_std_error(&err);
    jpeg_create_compress(&c);
    jpeg_stdio_dest(&c, f);
    c.image_width = 16;
    c.image_height = 16;
    c.input_components = cmyk ? 4 : 3;
    c.in_color_space = cmyk ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&c);
    jpeg_start_compress(&c, TRUE);
    if (!profile.empty()) jpeg_write_icc_profile(&c, profile.data(), unsigned(profile.size()));
    const std::vector<uint16_t> samples = TestSamples(16 * 16 * c.input_components, 8, 5);
    std::vector<uint8_t> row(16 * size_t(c.input_components));
    while (c.next_scanline < 16) {
        for (size_t i = 0; i < row.size(); ++i)
            row[i] = uint8_t(samples[c.next_scanline * row.size() + i]);
        JSAMPROW r = row.data();
        jpeg_write_scanlines(&c, &r, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    std::fclose(f);
}

void ExpectExtracted(const fs::path& in, const Bytes& profile, const std::string& where,
                     const TempDir& dir) {
    const RunResult list = RunCli({"extract", "--list", in.string()});
    ASSERT_EQ(list.code, 0) << list.err;
    EXPECT_EQ(LineCount(list.out), 1u) << list.out;
    EXPECT_NE(list.out.find(where), std::string::npos) << list.out;
    EXPECT_NE(list.out.find(Md5(profile)), std::string::npos) << list.out;
    const fs::path out = dir / (in.filename().string() + ".icc");
    const RunResult r = RunCli({"extract", in.string(), out.string()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ReadBytes(out), profile);
}

} // namespace

TEST(ExtractImage, TiffProfileComesOutByteForByte) {
    TempDir dir("kvr-extract-image");
    TiffSpec spec;
    spec.icc = Profile("sRGB.icc");
    WriteTiff(dir.File("rgb.tif"), spec, TestSamples(spec.SampleCount(), 8, 1));
    ExpectExtracted(dir / "rgb.tif", spec.icc, "TIFF image 1", dir);
}

// A file of three images, the second without a profile: the profiles of the first and third.
TEST(ExtractImage, TiffOfSeveralImagesGivesEachImagesProfile) {
    TempDir dir("kvr-extract-image");
    const fs::path path = dir / "pages.tif";
    const std::vector<Bytes> profiles = {Profile("sRGB.icc"), {}, Profile("FOGRA39L_low.icc")};
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_TRUE(tif);
    for (const Bytes& icc : profiles) {
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 4);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, 4);
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 4);
        if (!icc.empty()) TIFFSetField(tif, TIFFTAG_ICCPROFILE, uint32_t(icc.size()), icc.data());
        uint8_t pixels[16] = {};
        TIFFWriteEncodedStrip(tif, 0, pixels, sizeof pixels);
        TIFFWriteDirectory(tif);
    }
    TIFFClose(tif);
    const RunResult list = RunCli({"extract", "--list", path.string()});
    ASSERT_EQ(list.code, 0) << list.err;
    EXPECT_EQ(LineCount(list.out), 2u) << list.out;
    EXPECT_NE(list.out.find("TIFF image 1"), std::string::npos);
    EXPECT_NE(list.out.find("TIFF image 3"), std::string::npos);
    const RunResult all = RunCli({"extract", path.string(), "--all", dir.File("all")});
    ASSERT_EQ(all.code, 0) << all.err;
    EXPECT_EQ(ReadBytes(dir / "all" / "pages-1.icc"), profiles[0]);
    EXPECT_EQ(ReadBytes(dir / "all" / "pages-2.icc"), profiles[2]);
}

TEST(ExtractImage, PngProfileComesOutByteForByte) {
    TempDir dir("kvr-extract-image");
    const Bytes icc = Profile("compatibleWithAdobeRGB1998.icc");
    WritePng(dir.File("rgb.png"), 8, 8, 8, 2, TestSamples(8 * 8 * 3, 8, 2), icc);
    ExpectExtracted(dir / "rgb.png", icc, "PNG iCCP", dir);
}

TEST(ExtractImage, JpegProfileInOneChunkComesOutByteForByte) {
    TempDir dir("kvr-extract-image");
    const Bytes icc = Profile("sRGB.icc");
    WriteJpeg(dir / "rgb.jpg", icc, false);
    ExpectExtracted(dir / "rgb.jpg", icc, "JPEG APP2 (1 chunk)", dir);
}

TEST(ExtractImage, JpegProfileOverSeveralChunksComesOutByteForByte) {
    TempDir dir("kvr-extract-image");
    const Bytes icc = Profile("default_cmyk.icc"); // 187484 bytes: three markers
    WriteJpeg(dir / "cmyk.jpg", icc, true);
    ExpectExtracted(dir / "cmyk.jpg", icc, "JPEG APP2 (3 chunks)", dir);
}

TEST(ExtractImage, ImagesWithoutAProfileSaySo) {
    TempDir dir("kvr-extract-image");
    TiffSpec spec;
    WriteTiff(dir.File("plain.tif"), spec, TestSamples(spec.SampleCount(), 8, 3));
    WritePng(dir.File("plain.png"), 4, 4, 8, 0, TestSamples(16, 8, 4));
    WriteJpeg(dir / "plain.jpg", {}, false);
    for (const char* name : {"plain.tif", "plain.png", "plain.jpg"}) {
        const RunResult r = RunCli({"extract", dir.File(name), dir.File("o.icc")});
        EXPECT_EQ(r.code, 4) << name;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        EXPECT_NE(r.err.find("carries no ICC profile"), std::string::npos) << r.err;
    }
    EXPECT_FALSE(fs::exists(dir / "o.icc"));
}
