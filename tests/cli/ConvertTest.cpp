// kvrcolor convert: every supported input layout, compared pixel by pixel with a native link
// built in the test on the same input; the embedded profile, extra channels, defaults, threads,
// compression and bands.
#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <cstdio>

#include <cmath>
#include <memory>

#include "CliSupport.h"
#include "support/TestData.h"

using namespace clitest;

namespace {

constexpr unsigned kRgb = CMdlColorLink::LinkFmtRgb;
constexpr unsigned kCmyk = CMdlColorLink::LinkFmtCmyk;
constexpr unsigned kLab = CMdlColorLink::LinkFmtLab;
constexpr unsigned kGray = CMdlColorLink::LinkFmtGray;
constexpr unsigned kNColor = CMdlColorLink::LinkFmtNColor;
constexpr unsigned kGamut = CMdlColorLink::LinkFmtGamut;
constexpr int kDev2Pcs = CMdlColorLink::ProfStepDevToPcs;
constexpr int kPcs2Dev = CMdlColorLink::ProfStepPcsToDev;

class ConvertTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    // Runs convert and reads the output; fails the test unless the program succeeded.
    TiffImage Convert(const std::string& in, std::vector<std::string> extra,
                      const std::string& ini = {}) {
        const std::string out = work / "out.tif";
        std::vector<std::string> args = {"convert", in, out, "--quiet"};
        args.insert(args.end(), extra.begin(), extra.end());
        const RunResult r = RunCli(args, ini);
        EXPECT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(r.err, "");
        if (r.code != 0) return {};
        return ReadTiff(out);
    }

    // The colour channels of `out` equal `expected`; its extra channels equal those of the
    // input (`in`, `inSpp` samples a pixel, the colour ones first).
    static void ExpectPixels(const TiffImage& out, unsigned nOut,
                             const std::vector<uint16_t>& expected, const std::vector<uint16_t>& in,
                             unsigned inSpp, unsigned nIn) {
        const unsigned extras = inSpp - nIn;
        ASSERT_EQ(out.spec.samplesPerPixel, nOut + extras);
        ASSERT_EQ(out.samples.size() / (nOut + extras), in.size() / inSpp);
        EXPECT_EQ(Channels(out.samples, nOut + extras, 0, nOut), expected);
        if (extras) {
            EXPECT_EQ(Channels(out.samples, nOut + extras, nOut, extras),
                      Channels(in, inSpp, nIn, extras));
        }
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
};

TEST_F(ConvertTest, Tiff8RgbToCmykEqualsTheLibraryLinkAndEmbedsTheDestination) {
    TiffSpec spec;
    const auto in = TestSamples(spec.SampleCount(), 8, 1);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_SEPARATED);
    EXPECT_EQ(out.spec.inkset, INKSET_CMYK);
    EXPECT_EQ(out.spec.bits, 8);
    EXPECT_EQ(out.spec.width, 64u);
    EXPECT_EQ(out.spec.height, 48u);
    ASSERT_TRUE(out.hasIcc);
    EXPECT_EQ(out.spec.icc, ReadBytes(s_p.cmyk));
    const auto expected =
        LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                   kRgb, 3, kCmyk, 4, in, 8);
    ExpectPixels(out, 4, expected, in, 3, 3);
}

TEST_F(ConvertTest, Tiff16RgbToCmyk) {
    TiffSpec spec;
    spec.bits = 16;
    const auto in = TestSamples(spec.SampleCount(), 16, 2);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(out.spec.bits, 16);
    const auto expected =
        LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                   kRgb, 3, kCmyk, 4, in, 16);
    ExpectPixels(out, 4, expected, in, 3, 3);
}

TEST_F(ConvertTest, Tiff8RgbAlphaIsCopiedUnchanged) {
    TiffSpec spec;
    spec.samplesPerPixel = 4;
    spec.extraKinds = {EXTRASAMPLE_UNASSALPHA};
    const auto in = TestSamples(spec.SampleCount(), 8, 3);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(out.spec.extraKinds, std::vector<uint16_t>{EXTRASAMPLE_UNASSALPHA});
    const auto expected =
        LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                   kRgb, 3, kCmyk, 4, Channels(in, 4, 0, 3), 8);
    ExpectPixels(out, 4, expected, in, 4, 3);
}

TEST_F(ConvertTest, Tiff16CmykWithTwoExtraSamplesToRgb) {
    TiffSpec spec;
    spec.bits = 16;
    spec.photometric = PHOTOMETRIC_SEPARATED;
    spec.samplesPerPixel = 6;
    // Straight alpha: copied as it is (associated alpha is undone and redone, see
    // ImageFormatsTest).
    spec.extraKinds = {EXTRASAMPLE_UNASSALPHA, EXTRASAMPLE_UNSPECIFIED};
    spec.inkset = INKSET_CMYK;
    const auto in = TestSamples(spec.SampleCount(), 16, 4);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.cmyk, "--to", s_p.rgb});
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_RGB);
    EXPECT_EQ(out.spec.extraKinds, spec.extraKinds);
    EXPECT_EQ(out.spec.icc, ReadBytes(s_p.rgb));
    const auto expected =
        LinkPixels({{s_p.cmyk, kDev2Pcs, IntentPerceptual}, {s_p.rgb, kPcs2Dev, IntentPerceptual}},
                   kCmyk, 4, kRgb, 3, Channels(in, 6, 0, 4), 16);
    ExpectPixels(out, 3, expected, in, 6, 4);
}

TEST_F(ConvertTest, Tiff8CmykToCmykWithIntentByNameAndNumber) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_SEPARATED;
    spec.samplesPerPixel = 4;
    const auto in = TestSamples(spec.SampleCount(), 8, 5);
    WriteTiff(work / "in.tif", spec, in);
    const auto expected = LinkPixels(
        {{s_p.cmyk, kDev2Pcs, IntentRelativeBpc}, {s_p.cmyk, kPcs2Dev, IntentRelativeBpc}}, kCmyk,
        4, kCmyk, 4, in, 8);
    for (const char* intent : {"relative-bpc", "5"}) {
        const TiffImage out =
            Convert(work / "in.tif", {"--from", s_p.cmyk, "--to", s_p.cmyk, "--intent", intent});
        ExpectPixels(out, 4, expected, in, 4, 4);
    }
}

// CIELAB: a and b are signed; the link takes them with 0 at 128 (8 bits) or 0x8000 (16 bits),
// and 16-bit L with 100 at 0xFF00 instead of 0xFFFF.
TEST_F(ConvertTest, CieLab8ToCmykShiftsSignedAB) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_CIELAB;
    const auto in = TestSamples(spec.SampleCount(), 8, 6);
    WriteTiff(work / "in.tif", spec, in);
    std::vector<uint16_t> link(in.size());
    for (size_t i = 0; i < in.size(); ++i)
        link[i] = i % 3 == 0 ? in[i] : uint16_t(int(int8_t(uint8_t(in[i]))) + 128);
    const TiffImage out = Convert(work / "in.tif", {"--to", s_p.cmyk});
    const auto expected =
        LinkPixels({{s_p.cmyk, kPcs2Dev, IntentPerceptual}}, kLab, 3, kCmyk, 4, link, 8);
    ExpectPixels(out, 4, expected, in, 3, 3);
}

std::vector<uint16_t> Lab16ToLink(const std::vector<uint16_t>& in, bool signedAB) {
    std::vector<uint16_t> link(in.size());
    for (size_t i = 0; i < in.size(); ++i) {
        if (i % 3 == 0)
            link[i] = uint16_t(std::lround(in[i] * 65280.0 / 65535.0));
        else
            link[i] = signedAB ? uint16_t(int(int16_t(in[i])) + 32768) : in[i];
    }
    return link;
}

TEST_F(ConvertTest, CieLab16ToCmykScalesLAndShiftsSignedAB) {
    TiffSpec spec;
    spec.bits = 16;
    spec.photometric = PHOTOMETRIC_CIELAB;
    const auto in = TestSamples(spec.SampleCount(), 16, 7);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--to", s_p.cmyk});
    const auto expected = LinkPixels({{s_p.cmyk, kPcs2Dev, IntentPerceptual}}, kLab, 3, kCmyk, 4,
                                     Lab16ToLink(in, true), 16);
    ExpectPixels(out, 4, expected, in, 3, 3);
}

TEST_F(ConvertTest, IccLab8ToCmykAsItStands) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_ICCLAB;
    const auto in = TestSamples(spec.SampleCount(), 8, 8);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--to", s_p.cmyk});
    const auto expected =
        LinkPixels({{s_p.cmyk, kPcs2Dev, IntentPerceptual}}, kLab, 3, kCmyk, 4, in, 8);
    ExpectPixels(out, 4, expected, in, 3, 3);
}

TEST_F(ConvertTest, IccLab16ToCmykScalesL) {
    TiffSpec spec;
    spec.bits = 16;
    spec.photometric = PHOTOMETRIC_ICCLAB;
    const auto in = TestSamples(spec.SampleCount(), 16, 9);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--to", s_p.cmyk});
    const auto expected = LinkPixels({{s_p.cmyk, kPcs2Dev, IntentPerceptual}}, kLab, 3, kCmyk, 4,
                                     Lab16ToLink(in, false), 16);
    ExpectPixels(out, 4, expected, in, 3, 3);
}

// Lab out of the link into the file: L back to 100 at 0xFFFF, a and b signed for CIELAB.
std::vector<uint16_t> LinkToLab16(const std::vector<uint16_t>& link, bool signedAB) {
    std::vector<uint16_t> file(link.size());
    for (size_t i = 0; i < link.size(); ++i) {
        if (i % 3 == 0)
            file[i] = uint16_t(std::min(65535L, std::lround(link[i] * 65535.0 / 65280.0)));
        else
            file[i] = signedAB ? uint16_t(int16_t(int(link[i]) - 32768)) : link[i];
    }
    return file;
}

TEST_F(ConvertTest, RgbToCieLab16ThroughOneStep) {
    TiffSpec spec;
    spec.bits = 16;
    const auto in = TestSamples(spec.SampleCount(), 16, 10);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--step", s_p.rgb + ":dev2pcs:perceptual"});
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_CIELAB);
    EXPECT_FALSE(out.hasIcc); // Lab needs no profile
    const auto link = LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}}, kRgb, 3, kLab, 3, in, 16);
    ExpectPixels(out, 3, LinkToLab16(link, true), in, 3, 3);
}

TEST_F(ConvertTest, RgbToCieLab8ThroughOneStep) {
    TiffSpec spec;
    const auto in = TestSamples(spec.SampleCount(), 8, 11);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--step", s_p.rgb + ":dev2pcs"});
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_CIELAB);
    auto expected = LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}}, kRgb, 3, kLab, 3, in, 8);
    for (size_t i = 0; i < expected.size(); ++i)
        if (i % 3) expected[i] = uint16_t(uint8_t(int8_t(int(expected[i]) - 128)));
    ExpectPixels(out, 3, expected, in, 3, 3);
}

TEST_F(ConvertTest, IccLabInStaysIccLabOutThroughTwoSteps) {
    TiffSpec spec;
    spec.bits = 16;
    spec.photometric = PHOTOMETRIC_ICCLAB;
    const auto in = TestSamples(spec.SampleCount(), 16, 12);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--step", s_p.cmyk + ":pcs2dev:relative",
                                                    "--step", s_p.cmyk + ":dev2pcs:relative"});
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_ICCLAB);
    const auto link =
        LinkPixels({{s_p.cmyk, kPcs2Dev, IntentRelative}, {s_p.cmyk, kDev2Pcs, IntentRelative}},
                   kLab, 3, kLab, 3, Lab16ToLink(in, false), 16);
    ExpectPixels(out, 3, LinkToLab16(link, false), in, 3, 3);
}

TEST_F(ConvertTest, LabToGamutAnswerIsOneMinIsBlackChannel) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_ICCLAB;
    const auto in = TestSamples(spec.SampleCount(), 8, 13);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--step", s_p.cmyk + ":gamut"});
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_MINISBLACK);
    const auto expected = LinkPixels({{s_p.cmyk, CMdlColorLink::ProfStepGamut, IntentPerceptual}},
                                     kLab, 3, kGamut, 1, in, 8);
    ExpectPixels(out, 1, expected, in, 3, 3);
}

TEST_F(ConvertTest, Gray8MinIsBlackToCmyk) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_MINISBLACK;
    spec.samplesPerPixel = 1;
    const auto in = TestSamples(spec.SampleCount(), 8, 14);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.gray, "--to", s_p.cmyk});
    const auto expected =
        LinkPixels({{s_p.gray, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                   kGray, 1, kCmyk, 4, in, 8);
    ExpectPixels(out, 4, expected, in, 1, 1);
}

TEST_F(ConvertTest, Gray16MinIsWhiteIsInvertedOnReading) {
    TiffSpec spec;
    spec.bits = 16;
    spec.photometric = PHOTOMETRIC_MINISWHITE;
    spec.samplesPerPixel = 1;
    const auto in = TestSamples(spec.SampleCount(), 16, 15);
    WriteTiff(work / "in.tif", spec, in);
    std::vector<uint16_t> inverted(in.size());
    for (size_t i = 0; i < in.size(); ++i) inverted[i] = uint16_t(65535 - in[i]);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.gray, "--to", s_p.cmyk});
    const auto expected =
        LinkPixels({{s_p.gray, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                   kGray, 1, kCmyk, 4, inverted, 16);
    ExpectPixels(out, 4, expected, in, 1, 1);
}

TEST_F(ConvertTest, RgbToSixColourPrinterWritesSeparatedWithNumberOfInks) {
    TiffSpec spec;
    const auto in = TestSamples(spec.SampleCount(), 8, 16);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.six});
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_SEPARATED);
    EXPECT_EQ(out.spec.inkset, INKSET_MULTIINK);
    EXPECT_EQ(out.spec.numberOfInks, 6);
    EXPECT_EQ(out.spec.icc, ReadBytes(s_p.six));
    const auto expected =
        LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.six, kPcs2Dev, IntentPerceptual}},
                   kRgb, 3, kNColor, 6, in, 8);
    ExpectPixels(out, 6, expected, in, 3, 3);
}

// The native engine has no tables of more than four inputs: an n-colour image that already is
// in the destination's space goes through the library's copying link (the empty chain).
TEST_F(ConvertTest, SixColourImageInItsOwnSpaceGoesThroughTheCopyingLink) {
    TiffSpec spec;
    spec.bits = 16;
    spec.photometric = PHOTOMETRIC_SEPARATED;
    spec.samplesPerPixel = 6;
    spec.inkset = INKSET_MULTIINK;
    spec.numberOfInks = 6;
    spec.icc = ReadBytes(s_p.six);
    const auto in = TestSamples(spec.SampleCount(), 16, 17);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--to", s_p.six});
    EXPECT_EQ(out.spec.numberOfInks, 6);
    EXPECT_EQ(out.spec.icc, ReadBytes(s_p.six));
    const auto expected = LinkPixels({}, kNColor, 6, kNColor, 6, in, 16);
    ASSERT_EQ(expected, in); // the copying link
    ExpectPixels(out, 6, expected, in, 6, 6);
}

TEST_F(ConvertTest, FiveColourImageWithAlphaFromAndToItsOwnProfile) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_SEPARATED;
    spec.samplesPerPixel = 6;
    spec.extraKinds = {EXTRASAMPLE_UNASSALPHA};
    const auto in = TestSamples(spec.SampleCount(), 8, 18);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.five, "--to", s_p.five});
    EXPECT_EQ(out.spec.numberOfInks, 5);
    const auto colour = Channels(in, 6, 0, 5);
    ExpectPixels(out, 5, LinkPixels({}, kNColor, 5, kNColor, 5, colour, 8), in, 6, 5);
}

struct PngCase {
    unsigned bits;
    int colorType;
};

class ConvertPngTest : public ConvertTest, public ::testing::WithParamInterface<PngCase> {};

TEST_P(ConvertPngTest, PngToCmykEqualsTheLibraryLinkAndKeepsAlpha) {
    const auto [bits, colorType] = GetParam();
    const bool gray = colorType == 0 || colorType == 4;
    const unsigned nIn = gray ? 1 : 3;
    const unsigned spp = nIn + ((colorType & 4) ? 1 : 0);
    const auto in = TestSamples(size_t(64) * 48 * spp, bits, 19 + colorType + bits);
    WritePng(work / "in.png", 64, 48, bits, colorType, in);
    const std::string& source = gray ? s_p.gray : s_p.rgb;
    const TiffImage out = Convert(work / "in.png", {"--from", source, "--to", s_p.cmyk});
    EXPECT_EQ(out.spec.bits, bits);
    if (spp > nIn) {
        EXPECT_EQ(out.spec.extraKinds, std::vector<uint16_t>{EXTRASAMPLE_UNASSALPHA});
    }
    const auto expected =
        LinkPixels({{source, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                   gray ? kGray : kRgb, nIn, kCmyk, 4, Channels(in, spp, 0, nIn), bits);
    ExpectPixels(out, 4, expected, in, spp, nIn);
}

std::string PngCaseName(const ::testing::TestParamInfo<PngCase>& info) {
    const int type = info.param.colorType;
    const char* name = type == 0 ? "Gray" : type == 2 ? "Rgb" : type == 4 ? "GrayAlpha" : "Rgba";
    return name + std::to_string(info.param.bits);
}

INSTANTIATE_TEST_SUITE_P(Layouts, ConvertPngTest,
                         ::testing::Values(PngCase{8, 2}, PngCase{16, 2}, PngCase{8, 6},
                                           PngCase{16, 6}, PngCase{8, 0}, PngCase{16, 0},
                                           PngCase{8, 4}, PngCase{16, 4}),
                         PngCaseName);

// A palette PNG is expanded to RGB on reading.
TEST_F(ConvertTest, PalettePngIsConvertedAsItsRgbColours) {
    const uint32_t w = 64, h = 48;
    std::vector<png_color> palette(256);
    for (unsigned i = 0; i < 256; ++i)
        palette[i] = {png_byte(i), png_byte(255 - i), png_byte(i * 7)};
    const auto index = TestSamples(size_t(w) * h, 8, 35);
    {
        FILE* f = std::fopen((work / "palette.png").c_str(), "wb");
        ASSERT_NE(f, nullptr);
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png_create_info_struct(png);
        ASSERT_EQ(setjmp(png_jmpbuf(png)), 0);
        png_init_io(png, f);
        png_set_IHDR(png, info, w, h, 8, PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_PLTE(png, info, palette.data(), 256);
        png_write_info(png, info);
        std::vector<png_byte> row(w);
        for (uint32_t y = 0; y < h; ++y) {
            for (uint32_t x = 0; x < w; ++x) row[x] = png_byte(index[y * w + x]);
            png_write_row(png, row.data());
        }
        png_write_end(png, info);
        png_destroy_write_struct(&png, &info);
        std::fclose(f);
    }
    std::vector<uint16_t> rgb;
    for (const uint16_t i : index)
        rgb.insert(rgb.end(), {palette[i].red, palette[i].green, palette[i].blue});
    const TiffImage out = Convert(work / "palette.png", {"--from", s_p.rgb, "--to", s_p.cmyk});
    const auto expected =
        LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                   kRgb, 3, kCmyk, 4, rgb, 8);
    ExpectPixels(out, 4, expected, rgb, 3, 3);
}

TEST_F(ConvertTest, EmbeddedProfileIsTheSourceWithoutFrom) {
    TiffSpec spec;
    spec.icc = ReadBytes(s_p.rgbAlt);
    const auto in = TestSamples(spec.SampleCount(), 8, 30);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--to", s_p.cmyk});
    const auto expected = LinkPixels(
        {{s_p.rgbAlt, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}}, kRgb, 3,
        kCmyk, 4, in, 8);
    ExpectPixels(out, 4, expected, in, 3, 3);
    // --from wins over the embedded profile.
    const TiffImage other = Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_NE(Channels(other.samples, 4, 0, 4), expected);
}

TEST_F(ConvertTest, EmbeddedProfileOfAPngIsTheSource) {
    const auto in = TestSamples(size_t(64) * 48 * 3, 8, 31);
    WritePng(work / "in.png", 64, 48, 8, 2, in, ReadBytes(s_p.rgbAlt));
    const TiffImage out = Convert(work / "in.png", {"--to", s_p.cmyk});
    const auto expected = LinkPixels(
        {{s_p.rgbAlt, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}}, kRgb, 3,
        kCmyk, 4, in, 8);
    ExpectPixels(out, 4, expected, in, 3, 3);
}

// The default profiles below BasePath of the settings: InputRgb for RGB, the first printer
// profile as destination and, for CMYK, as source; InputGray for grey.
TEST_F(ConvertTest, DefaultProfilesComeFromTheProfileFolders) {
    TempDir base;
    fs::create_directories(base.path() / "InputRgb");
    fs::create_directories(base.path() / "Printer");
    fs::create_directories(base.path() / "InputGray");
    fs::copy_file(s_p.rgbAlt, base.path() / "InputRgb" / "b.icc");
    fs::copy_file(s_p.rgb, base.path() / "InputRgb" / "c.icm");
    WriteBytes((base.path() / "InputRgb" / "a.txt").string(), {'x'}); // not a profile name
    fs::copy_file(s_p.cmyk, base.path() / "Printer" / "a.icc");
    fs::copy_file(s_p.rgb, base.path() / "Printer" / "b.icc");
    fs::copy_file(s_p.gray, base.path() / "InputGray" / "g.icc");
    const std::string ini = work / "settings.ini";
    WriteIniWithBasePath(ini, base.path().string());
    const std::string printer = (base.path() / "Printer" / "a.icc").string();

    TiffSpec rgb;
    const auto rgbIn = TestSamples(rgb.SampleCount(), 8, 32);
    WriteTiff(work / "rgb.tif", rgb, rgbIn);
    TiffImage out = Convert(work / "rgb.tif", {}, ini);
    EXPECT_EQ(out.spec.icc, ReadBytes(s_p.cmyk));
    ExpectPixels(
        out, 4,
        LinkPixels({{(base.path() / "InputRgb" / "b.icc").string(), kDev2Pcs, IntentPerceptual},
                    {printer, kPcs2Dev, IntentPerceptual}},
                   kRgb, 3, kCmyk, 4, rgbIn, 8),
        rgbIn, 3, 3);
    // The file named by InputRgb in the settings (sRGB.icc by default) wins over the first.
    fs::copy_file(s_p.rgb, base.path() / "InputRgb" / "sRGB.icc");
    out = Convert(work / "rgb.tif", {}, ini);
    ExpectPixels(
        out, 4,
        LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}, {printer, kPcs2Dev, IntentPerceptual}},
                   kRgb, 3, kCmyk, 4, rgbIn, 8),
        rgbIn, 3, 3);

    TiffSpec cmyk;
    cmyk.photometric = PHOTOMETRIC_SEPARATED;
    cmyk.samplesPerPixel = 4;
    const auto cmykIn = TestSamples(cmyk.SampleCount(), 8, 33);
    WriteTiff(work / "cmyk.tif", cmyk, cmykIn);
    out = Convert(work / "cmyk.tif", {}, ini);
    ExpectPixels(
        out, 4,
        LinkPixels({{printer, kDev2Pcs, IntentPerceptual}, {printer, kPcs2Dev, IntentPerceptual}},
                   kCmyk, 4, kCmyk, 4, cmykIn, 8),
        cmykIn, 4, 4);

    TiffSpec gray;
    gray.photometric = PHOTOMETRIC_MINISBLACK;
    gray.samplesPerPixel = 1;
    const auto grayIn = TestSamples(gray.SampleCount(), 8, 34);
    WriteTiff(work / "gray.tif", gray, grayIn);
    out = Convert(work / "gray.tif", {}, ini);
    ExpectPixels(
        out, 4,
        LinkPixels({{(base.path() / "InputGray" / "g.icc").string(), kDev2Pcs, IntentPerceptual},
                    {printer, kPcs2Dev, IntentPerceptual}},
                   kGray, 1, kCmyk, 4, grayIn, 8),
        grayIn, 1, 1);
}

// Counts above the cores, up to absurd ones, are taken as the cores and give the same file.
TEST_F(ConvertTest, EveryThreadCountGivesIdenticalFiles) {
    TiffSpec spec;
    spec.width = 256;
    spec.height = 96; // 24576 pixels: enough for the pixel loop to use three threads
    spec.bits = 16;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 16, 40));
    for (const char* threads : {"1", "3", "0", "1000000"}) {
        const RunResult r =
            RunCli({"convert", work / "in.tif", work / ("t" + std::string(threads) + ".tif"),
                    "--from", s_p.rgb, "--to", s_p.cmyk, "--threads", threads, "--quiet"});
        ASSERT_EQ(r.code, 0) << r.err;
    }
    const auto one = ReadBytes(work / "t1.tif");
    ASSERT_FALSE(one.empty());
    EXPECT_EQ(one, ReadBytes(work / "t3.tif"));
    EXPECT_EQ(one, ReadBytes(work / "t0.tif"));
    EXPECT_EQ(one, ReadBytes(work / "t1000000.tif"));
}

TEST_F(ConvertTest, CompressedOutputHoldsTheSamePixels) {
    TiffSpec spec;
    spec.samplesPerPixel = 4;
    spec.extraKinds = {EXTRASAMPLE_UNASSALPHA};
    const auto in = TestSamples(spec.SampleCount(), 8, 41);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage plain = Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(plain.spec.compression, COMPRESSION_NONE);
    for (const auto& [name, tag] : {std::pair<std::string, uint16_t>{"lzw", COMPRESSION_LZW},
                                    {"deflate", COMPRESSION_ADOBE_DEFLATE}}) {
        const TiffImage packed =
            Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.cmyk, "--compress", name});
        EXPECT_EQ(packed.spec.compression, tag) << name;
        EXPECT_EQ(packed.samples, plain.samples) << name;
    }
}

// Wider than one band of rows (about 4 MiB): the image streams through in several bands.
TEST_F(ConvertTest, ImageOfSeveralBandsEqualsTheLibraryLink) {
    TiffSpec spec;
    spec.width = 2048;
    spec.height = 700;
    spec.samplesPerPixel = 4;
    spec.extraKinds = {EXTRASAMPLE_UNASSALPHA};
    spec.compression = COMPRESSION_LZW;
    const auto in = TestSamples(spec.SampleCount(), 8, 42);
    WriteTiff(work / "in.tif", spec, in);
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    const auto expected =
        LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                   kRgb, 3, kCmyk, 4, Channels(in, 4, 0, 3), 8);
    ExpectPixels(out, 4, expected, in, 4, 3);
}

// The file's bytes are the same whatever the threads and the rows of a band: one band of one
// row, bands that do not divide the height, one band for the whole image.
TEST_F(ConvertTest, OutputBytesDoNotDependOnThreadsNorBandRows) {
    for (const bool alpha : {false, true}) {
        TiffSpec spec;
        spec.width = 300;
        spec.height = 123;
        if (alpha) {
            spec.samplesPerPixel = 4;
            spec.extraKinds = {EXTRASAMPLE_UNASSALPHA};
        }
        WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, alpha ? 46 : 45));
        const std::string out = work / "out.tif";
        const std::vector<std::string> base = {"convert", work / "in.tif", out,      "--from",
                                               s_p.rgb,   "--to",          s_p.cmyk, "-q"};
        auto run = [&](const std::vector<std::string>& extra) {
            std::vector<std::string> args = base;
            args.insert(args.end(), extra.begin(), extra.end());
            const RunResult r = RunCli(args);
            EXPECT_EQ(r.code, 0) << r.err;
            return ReadBytes(out);
        };
        const auto reference = run({"--threads", "1"});
        ASSERT_GT(reference.size(), size_t(spec.width) * spec.height * 4);
        for (const std::vector<std::string>& extra :
             std::vector<std::vector<std::string>>{{"--threads", "1", "--band-rows", "1"},
                                                   {"--threads", "1", "--band-rows", "10"},
                                                   {"--threads", "4", "--band-rows", "1"},
                                                   {"--threads", "4", "--band-rows", "7"},
                                                   {"--threads", "4", "--band-rows", "123"},
                                                   {"--threads", "4"},
                                                   {}}) {
            std::string what = alpha ? "alpha" : "no alpha";
            for (const auto& e : extra) what += " " + e;
            EXPECT_EQ(run(extra), reference) << what;
        }
    }
}

TEST_F(ConvertTest, SummaryLineNamesOutputPixelsTimeAndRate) {
    TiffSpec spec;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 43));
    const std::string out = work / "out.tif";
    RunResult r = RunCli({"convert", work / "in.tif", out, "--from", s_p.rgb, "--to", s_p.cmyk});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(LineCount(r.out), 1u);
    EXPECT_EQ(r.out.rfind(out + ": 64x48 RGB 8-bit -> CMYK, 0.0 MPixel in ", 0), 0u) << r.out;
    EXPECT_NE(r.out.find(" s, "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find(" MPixel/s"), std::string::npos) << r.out;

    r = RunCli({"convert", work / "in.tif", out, "--from", s_p.rgb, "--to", s_p.cmyk, "-q"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "");
}

TEST_F(ConvertTest, ExistingOutputIsReplacedAndNoTemporaryStays) {
    TiffSpec spec;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 44));
    WriteBytes(work / "out.tif", {'o', 'l', 'd'});
    const TiffImage out = Convert(work / "in.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(out.spec.samplesPerPixel, 4);
    EXPECT_EQ(work.Files(), (std::vector<std::string>{"in.tif", "out.tif"}));
}

} // namespace

namespace {

// The profiles that the build computes (target kvrdefaults) in the folder layout below
// BasePath: an RGB photo without a profile goes to the default printer through the default
// RGB profile, and grey through the default grey profile.
TEST(ConvertWithBuiltDefaults, PhotoAndGreyImageWithoutProfilesGoToTheDefaultPrinter) {
    const fs::path base = fs::path(KVR_BINARY_DIR) / "profiles";
    const fs::path srgb = base / "InputRgb" / "kvr-srgb.icc";
    const fs::path gray = base / "InputGray" / "kvr-gray.icc";
    const fs::path printer = base / "Printer" / "kvr-cmyk.icc";
    for (const fs::path& p : {srgb, gray, printer})
        ASSERT_TRUE(kvrtest::HaveFile(p, "made by the build's kvrdefaults target"));
    TempDir work;
    const std::string ini = work / "settings.ini";
    WriteIniWithBasePath(ini, base.string());

    TiffSpec rgb;
    auto rgbIn = TestSamples(rgb.SampleCount(), 8, 50);
    rgbIn[0] = rgbIn[1] = rgbIn[2] = 255; // white first
    WriteTiff(work / "photo.tif", rgb, rgbIn);
    RunResult r = RunCli({"convert", work / "photo.tif", work / "print.tif", "-q"}, ini);
    ASSERT_EQ(r.code, 0) << r.err;
    TiffImage out = ReadTiff(work / "print.tif");
    EXPECT_EQ(out.spec.icc, ReadBytes(printer.string()));
    EXPECT_EQ(out.samples, LinkPixels({{srgb.string(), kDev2Pcs, IntentPerceptual},
                                       {printer.string(), kPcs2Dev, IntentPerceptual}},
                                      kRgb, 3, kCmyk, 4, rgbIn, 8));
    // Paper white prints no ink.
    EXPECT_EQ(std::vector<uint16_t>(out.samples.begin(), out.samples.begin() + 4),
              (std::vector<uint16_t>{0, 0, 0, 0}));

    TiffSpec grey;
    grey.photometric = PHOTOMETRIC_MINISBLACK;
    grey.samplesPerPixel = 1;
    grey.bits = 16;
    const auto greyIn = TestSamples(grey.SampleCount(), 16, 51);
    WriteTiff(work / "grey.tif", grey, greyIn);
    r = RunCli({"convert", work / "grey.tif", work / "grey-print.tif", "-q"}, ini);
    ASSERT_EQ(r.code, 0) << r.err;
    out = ReadTiff(work / "grey-print.tif");
    EXPECT_EQ(out.samples, LinkPixels({{gray.string(), kDev2Pcs, IntentPerceptual},
                                       {printer.string(), kPcs2Dev, IntentPerceptual}},
                                      kGray, 1, kCmyk, 4, greyIn, 16));
}

} // namespace
