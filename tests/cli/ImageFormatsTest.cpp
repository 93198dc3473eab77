// kvrcolor convert across image formats: tiled, planar and floating point TIFF in; PNG and JPEG
// out (and JPEG in); the output's format, depth and profile as asked; outputs that cannot hold
// the result refused before any work.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cmath>
#include <memory>

#include "CliSupport.h"

using namespace clitest;

namespace {

constexpr unsigned kRgb = CMdlColorLink::LinkFmtRgb;
constexpr unsigned kCmyk = CMdlColorLink::LinkFmtCmyk;
constexpr unsigned kLab = CMdlColorLink::LinkFmtLab;
constexpr unsigned kGamut = CMdlColorLink::LinkFmtGamut;
constexpr int kDev2Pcs = CMdlColorLink::ProfStepDevToPcs;
constexpr int kPcs2Dev = CMdlColorLink::ProfStepPcsToDev;

class ImageFormatsTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    // Runs convert quietly; fails the test unless the program succeeded.
    void Convert(const std::string& in, const std::string& out, std::vector<std::string> extra) {
        std::vector<std::string> args = {"convert", in, out, "--quiet"};
        args.insert(args.end(), extra.begin(), extra.end());
        const RunResult r = RunCli(args);
        EXPECT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(r.err, "");
    }

    // The refusal of a command line: exit code 2, one line naming `words`, no output file.
    void ExpectRefused(const std::vector<std::string>& args, const std::string& out,
                       const std::vector<std::string>& words) {
        const RunResult r = RunCli(args);
        EXPECT_EQ(r.code, 2) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        for (const auto& w : words) EXPECT_NE(r.err.find(w), std::string::npos) << w << r.err;
        EXPECT_FALSE(fs::exists(out));
    }

    std::vector<Step> RgbToCmyk() const {
        return {{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}};
    }
    std::vector<Step> RgbToRgbAlt() const {
        return {{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.rgbAlt, kPcs2Dev, IntentPerceptual}};
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
};

// Smooth samples (JPEG's losses stay small on them): ramps across and down the image.
std::vector<uint16_t> Smooth(uint32_t width, uint32_t height, unsigned spp) {
    std::vector<uint16_t> s(size_t(width) * height * spp);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            for (unsigned c = 0; c < spp; ++c)
                s[(size_t(y) * width + x) * spp + c] = uint16_t(
                    (x * 255 / width * (c + 1) + y * 255 / height * (3 - c % 3)) / 4 % 256);
    return s;
}

// ---------------------------------------------------------------------------------------------
// TIFF layouts read

TEST_F(ImageFormatsTest, TiledTiffConvertsLikeTheLibraryLinkIncludingThePartTilesAtTheEdges) {
    TiffSpec spec;
    spec.width = 70; // not a multiple of the 16 x 16 tiles
    spec.height = 50;
    spec.tiled = true;
    const auto in = TestSamples(spec.SampleCount(), 8, 101);
    WriteTiff(work / "tiled.tif", spec, in);
    Convert(work / "tiled.tif", work / "out.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    const TiffImage out = ReadTiff(work / "out.tif");
    EXPECT_EQ(out.samples, LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, in, 8));
}

TEST_F(ImageFormatsTest, TiledPlanarSixteenBitTiffWithAlphaConverts) {
    TiffSpec spec;
    spec.width = 40;
    spec.height = 20;
    spec.bits = 16;
    spec.samplesPerPixel = 4;
    spec.extraKinds = {EXTRASAMPLE_UNASSALPHA};
    spec.planar = PLANARCONFIG_SEPARATE;
    spec.tiled = true;
    const auto in = TestSamples(spec.SampleCount(), 16, 102);
    WriteTiff(work / "tiled.tif", spec, in);
    Convert(work / "tiled.tif", work / "out.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    const TiffImage out = ReadTiff(work / "out.tif");
    EXPECT_EQ(out.spec.planar, PLANARCONFIG_CONTIG);
    EXPECT_EQ(Channels(out.samples, 5, 0, 4),
              LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, Channels(in, 4, 0, 3), 16));
    EXPECT_EQ(Channels(out.samples, 5, 4, 1), Channels(in, 4, 3, 1));
}

TEST_F(ImageFormatsTest, PlanarSeparateStripTiffConvertsLikeTheLibraryLink) {
    TiffSpec spec;
    spec.planar = PLANARCONFIG_SEPARATE;
    const auto in = TestSamples(spec.SampleCount(), 8, 103);
    WriteTiff(work / "planar.tif", spec, in);
    Convert(work / "planar.tif", work / "out.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(ReadTiff(work / "out.tif").samples,
              LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, in, 8));
}

TEST_F(ImageFormatsTest, FloatTiffConvertsThroughTheSixteenBitPath) {
    TiffSpec spec;
    spec.bits = 32;
    spec.sampleFormat = SAMPLEFORMAT_IEEEFP;
    const auto codes = TestSamples(spec.SampleCount(), 16, 104); // written as code / 65535
    WriteTiff(work / "float.tif", spec, codes);
    Convert(work / "float.tif", work / "out.tif", {"--from", s_p.rgb, "--to", s_p.cmyk});
    const TiffImage out = ReadTiff(work / "out.tif");
    EXPECT_EQ(out.spec.bits, 16);
    EXPECT_EQ(out.samples, LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, codes, 16));
}

// ---------------------------------------------------------------------------------------------
// PNG out

TEST_F(ImageFormatsTest, PngOutputOfEightAndSixteenBitRgbHoldsTheLinkResultAndTheProfile) {
    for (unsigned bits : {8u, 16u}) {
        TiffSpec spec;
        spec.bits = uint16_t(bits);
        const auto in = TestSamples(spec.SampleCount(), bits, 105);
        WriteTiff(work / "in.tif", spec, in);
        Convert(work / "in.tif", work / "out.png", {"--from", s_p.rgb, "--to", s_p.rgbAlt});
        const AnyImage out = ReadAnyImage(work / "out.png");
        EXPECT_EQ(out.info.format, "PNG");
        EXPECT_EQ(out.info.bits, bits);
        EXPECT_EQ(out.info.space, RgbSpace());
        EXPECT_EQ(out.info.icc, ReadBytes(s_p.rgbAlt));
        EXPECT_EQ(out.samples, LinkPixels(RgbToRgbAlt(), kRgb, 3, kRgb, 3, in, bits));
    }
}

TEST_F(ImageFormatsTest, PngOutputKeepsTheAlphaOfAPngInput) {
    const auto in = TestSamples(size_t(32) * 16 * 4, 8, 106);
    WritePng(work / "in.png", 32, 16, 8, 6, in);
    Convert(work / "in.png", work / "out.png", {"--from", s_p.rgb, "--to", s_p.rgbAlt});
    const AnyImage out = ReadAnyImage(work / "out.png");
    EXPECT_EQ(out.info.extras, 1u);
    EXPECT_EQ(Channels(out.samples, 4, 0, 3),
              LinkPixels(RgbToRgbAlt(), kRgb, 3, kRgb, 3, Channels(in, 4, 0, 3), 8));
    EXPECT_EQ(Channels(out.samples, 4, 3, 1), Channels(in, 4, 3, 1));
}

TEST_F(ImageFormatsTest, GreyPngOutputOfTheGamutAnswer) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_ICCLAB;
    const auto in = TestSamples(spec.SampleCount(), 8, 107);
    WriteTiff(work / "in.tif", spec, in);
    Convert(work / "in.tif", work / "out.png", {"--step", s_p.cmyk + ":gamut"});
    const AnyImage out = ReadAnyImage(work / "out.png");
    EXPECT_EQ(out.info.space, GraySpace());
    EXPECT_EQ(out.samples, LinkPixels({{s_p.cmyk, CMdlColorLink::ProfStepGamut, IntentPerceptual}},
                                      kLab, 3, kGamut, 1, in, 8));
}

// ---------------------------------------------------------------------------------------------
// JPEG out and in

TEST_F(ImageFormatsTest, JpegOutputOfCmykHoldsTheProfileInApp2AndPixelsCloseToTheLink) {
    TiffSpec spec;
    spec.width = 96;
    spec.height = 64;
    const auto in = Smooth(spec.width, spec.height, 3);
    WriteTiff(work / "in.tif", spec, in);
    Convert(work / "in.tif", work / "out.jpg",
            {"--from", s_p.rgb, "--to", s_p.cmyk, "--quality", "100"});
    const AnyImage out = ReadAnyImage(work / "out.jpg");
    EXPECT_EQ(out.info.format, "JPEG");
    EXPECT_EQ(out.info.space, CmykSpace());
    EXPECT_EQ(out.info.icc, ReadBytes(s_p.cmyk)); // joined from its APP2 markers
    const auto expected = LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, in, 8);
    ASSERT_EQ(out.samples.size(), expected.size());
    double sum = 0;
    int worst = 0;
    for (size_t i = 0; i < expected.size(); ++i) {
        const int d = std::abs(int(out.samples[i]) - int(expected[i]));
        sum += d;
        worst = std::max(worst, d);
    }
    EXPECT_LT(sum / double(expected.size()), 2.0); // JPEG at quality 100 loses little
    EXPECT_LT(worst, 24);
}

TEST_F(ImageFormatsTest, LowerJpegQualityGivesASmallerFile) {
    TiffSpec spec;
    spec.width = 128;
    spec.height = 96;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 108));
    Convert(work / "in.tif", work / "low.jpg",
            {"--from", s_p.rgb, "--to", s_p.rgbAlt, "--quality", "20"});
    Convert(work / "in.tif", work / "high.jpg",
            {"--from", s_p.rgb, "--to", s_p.rgbAlt, "--quality", "95"});
    EXPECT_LT(fs::file_size(work / "low.jpg") * 4, fs::file_size(work / "high.jpg") * 3);
}

TEST_F(ImageFormatsTest, JpegInputConvertsItsDecodedPixelsLikeTheLibraryLink) {
    TiffSpec spec;
    spec.width = 80;
    spec.height = 40;
    WriteTiff(work / "in.tif", spec, Smooth(spec.width, spec.height, 3));
    Convert(work / "in.tif", work / "photo.jpg", {"--from", s_p.rgb, "--to", s_p.rgbAlt});
    const AnyImage photo = ReadAnyImage(work / "photo.jpg");
    ASSERT_EQ(photo.info.space, RgbSpace());
    // The JPEG's embedded profile is its source.
    Convert(work / "photo.jpg", work / "out.tif", {"--to", s_p.cmyk});
    EXPECT_EQ(ReadTiff(work / "out.tif").samples,
              LinkPixels({{s_p.rgbAlt, kDev2Pcs, IntentPerceptual},
                          {s_p.cmyk, kPcs2Dev, IntentPerceptual}},
                         kRgb, 3, kCmyk, 4, photo.samples, 8));
}

TEST_F(ImageFormatsTest, CmykJpegInputIsReadAsTheCmykItWasWritten) {
    TiffSpec spec;
    spec.width = 48;
    spec.height = 32;
    WriteTiff(work / "in.tif", spec, Smooth(spec.width, spec.height, 3));
    Convert(work / "in.tif", work / "press.jpg", {"--from", s_p.rgb, "--to", s_p.cmyk});
    const AnyImage press = ReadAnyImage(work / "press.jpg");
    Convert(work / "press.jpg", work / "back.tif", {"--to", s_p.rgb});
    EXPECT_EQ(
        ReadTiff(work / "back.tif").samples,
        LinkPixels({{s_p.cmyk, kDev2Pcs, IntentPerceptual}, {s_p.rgb, kPcs2Dev, IntentPerceptual}},
                   kCmyk, 4, kRgb, 3, press.samples, 8));
}

// ---------------------------------------------------------------------------------------------
// The output's format, depth and profile

TEST_F(ImageFormatsTest, OutputFormatThatCannotHoldTheResultIsRefusedBeforeAnyWork) {
    TiffSpec spec;
    WriteTiff(work / "rgb.tif", spec, TestSamples(spec.SampleCount(), 8, 109));
    TiffSpec alpha;
    alpha.samplesPerPixel = 4;
    alpha.extraKinds = {EXTRASAMPLE_UNASSALPHA};
    WriteTiff(work / "rgba.tif", alpha, TestSamples(alpha.SampleCount(), 8, 110));
    const std::string png = work / "out.png", jpg = work / "out.jpg";
    ExpectRefused({"convert", work / "rgb.tif", png, "--from", s_p.rgb, "--to", s_p.cmyk}, png,
                  {png, "PNG cannot hold 8-bit CMYK"});
    ExpectRefused(
        {"convert", work / "rgb.tif", jpg, "--from", s_p.rgb, "--to", s_p.cmyk, "--depth", "16"},
        jpg, {jpg, "JPEG cannot hold 16-bit CMYK"});
    ExpectRefused({"convert", work / "rgba.tif", jpg, "--from", s_p.rgb, "--to", s_p.rgbAlt}, jpg,
                  {jpg, "no alpha"});
}

TEST_F(ImageFormatsTest, FormatOptionChoosesTheFormatOfANameWithoutExtension) {
    TiffSpec spec;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 111));
    Convert(work / "in.tif", work / "out",
            {"--from", s_p.rgb, "--to", s_p.rgbAlt, "--format", "png"});
    EXPECT_EQ(ReadAnyImage(work / "out").info.format, "PNG");
}

TEST_F(ImageFormatsTest, FormatOptionThatContradictsTheNameIsRefused) {
    TiffSpec spec;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 112));
    const std::string out = work / "out.png";
    ExpectRefused({"convert", work / "in.tif", out, "--from", s_p.rgb, "--to", s_p.rgbAlt,
                   "--format", "jpeg"},
                  out, {out, "the name says PNG, --format says JPEG"});
}

TEST_F(ImageFormatsTest, DepthSixteenOfAnEightBitImageConvertsTheWidenedSamples) {
    TiffSpec spec;
    const auto in = TestSamples(spec.SampleCount(), 8, 113);
    WriteTiff(work / "in.tif", spec, in);
    Convert(work / "in.tif", work / "out.tif",
            {"--from", s_p.rgb, "--to", s_p.cmyk, "--depth", "16"});
    std::vector<uint16_t> wide(in.size());
    for (size_t i = 0; i < in.size(); ++i) wide[i] = uint16_t(in[i] * 257);
    const TiffImage out = ReadTiff(work / "out.tif");
    EXPECT_EQ(out.spec.bits, 16);
    EXPECT_EQ(out.samples, LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, wide, 16));
}

TEST_F(ImageFormatsTest, DepthEightOfASixteenBitImageRoundsTheSixteenBitResult) {
    TiffSpec spec;
    spec.bits = 16;
    const auto in = TestSamples(spec.SampleCount(), 16, 114);
    WriteTiff(work / "in.tif", spec, in);
    Convert(work / "in.tif", work / "out.tif",
            {"--from", s_p.rgb, "--to", s_p.cmyk, "--depth", "8"});
    auto expected = LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, in, 16);
    for (auto& v : expected) v = uint16_t((v * 255u + 32767u) / 65535u);
    const TiffImage out = ReadTiff(work / "out.tif");
    EXPECT_EQ(out.spec.bits, 8);
    EXPECT_EQ(out.samples, expected);
}

TEST_F(ImageFormatsTest, NoEmbedLeavesTheProfileOutOfEveryFormat) {
    TiffSpec spec;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 115));
    for (const char* name : {"out.tif", "out.png", "out.jpg"}) {
        Convert(work / "in.tif", work / name,
                {"--from", s_p.rgb, "--to", s_p.rgbAlt, "--no-embed"});
        EXPECT_TRUE(ReadAnyImage(work / name).info.icc.empty()) << name;
    }
}

} // namespace
