// kvrcolor convert on associated alpha (undone before converting, redone after) and on the
// pages of a multi-page TIFF (every page into a multi-page TIFF, or the one of --page).
#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "CliSupport.h"

using namespace clitest;

namespace {

constexpr unsigned kRgb = CMdlColorLink::LinkFmtRgb;
constexpr unsigned kCmyk = CMdlColorLink::LinkFmtCmyk;
constexpr int kDev2Pcs = CMdlColorLink::ProfStepDevToPcs;
constexpr int kPcs2Dev = CMdlColorLink::ProfStepPcsToDev;

class AlphaAndPagesTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    std::vector<Step> RgbToCmyk() const {
        return {{s_p.rgb, kDev2Pcs, IntentPerceptual}, {s_p.cmyk, kPcs2Dev, IntentPerceptual}};
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
};

struct Page {
    uint32_t width, height;
    uint16_t bits;
    std::vector<uint16_t> rgb;
};

// An RGB TIFF of several pages, written field by field with libtiff.
void WritePages(const std::string& path, const std::vector<Page>& pages) {
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tif, nullptr);
    for (const Page& p : pages) {
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, p.width);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, p.height);
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, p.bits);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, uint16_t(3));
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 8u);
        const size_t n = size_t(p.width) * 3;
        std::vector<uint8_t> row(n * (p.bits / 8));
        for (uint32_t y = 0; y < p.height; ++y) {
            for (size_t i = 0; i < n; ++i) {
                const uint16_t v = p.rgb[y * n + i];
                if (p.bits == 8)
                    row[i] = uint8_t(v);
                else
                    std::memcpy(&row[2 * i], &v, 2);
            }
            ASSERT_GE(TIFFWriteScanline(tif, row.data(), y, 0), 0);
        }
        ASSERT_TRUE(TIFFWriteDirectory(tif));
    }
    TIFFClose(tif);
}

std::vector<Page> TwoPages() {
    return {{64, 48, 8, TestSamples(size_t(64) * 48 * 3, 8, 201)},
            {40, 30, 16, TestSamples(size_t(40) * 30 * 3, 16, 202)}};
}

TEST_F(AlphaAndPagesTest, AssociatedAlphaIsUndoneBeforeConvertingAndRedoneAfter) {
    TiffSpec spec;
    spec.samplesPerPixel = 4;
    spec.extraKinds = {EXTRASAMPLE_ASSOCALPHA};
    // Premultiplied pixels: no colour above its alpha.
    auto in = TestSamples(spec.SampleCount(), 8, 203);
    for (size_t p = 0; p < in.size() / 4; ++p)
        for (unsigned c = 0; c < 3; ++c)
            in[p * 4 + c] = uint16_t(in[p * 4 + c] * in[p * 4 + 3] / 255);
    WriteTiff(work / "in.tif", spec, in);
    const RunResult r = RunCli({"convert", work / "in.tif", work / "out.tif", "--quiet", "--from",
                                s_p.rgb, "--to", s_p.cmyk});
    ASSERT_EQ(r.code, 0) << r.err;

    std::vector<uint16_t> straight = Channels(in, 4, 0, 3);
    for (size_t p = 0; p < straight.size() / 3; ++p) {
        const unsigned a = in[p * 4 + 3];
        if (a == 0) continue;
        for (unsigned c = 0; c < 3; ++c)
            straight[p * 3 + c] =
                uint16_t(std::min(255u, (straight[p * 3 + c] * 255u + a / 2) / a));
    }
    auto expected = LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, straight, 8);
    for (size_t p = 0; p < expected.size() / 4; ++p)
        for (unsigned c = 0; c < 4; ++c)
            expected[p * 4 + c] = uint16_t((expected[p * 4 + c] * in[p * 4 + 3] + 127u) / 255u);
    const TiffImage out = ReadTiff(work / "out.tif");
    EXPECT_EQ(out.spec.extraKinds, spec.extraKinds);
    EXPECT_EQ(Channels(out.samples, 5, 0, 4), expected);
    EXPECT_EQ(Channels(out.samples, 5, 4, 1), Channels(in, 4, 3, 1));
}

TEST_F(AlphaAndPagesTest, EveryPageOfAMultiPageTiffGoesIntoAMultiPageOutput) {
    const auto pages = TwoPages();
    WritePages(work / "in.tif", pages);
    const RunResult r =
        RunCli({"convert", work / "in.tif", work / "out.tif", "--from", s_p.rgb, "--to", s_p.cmyk});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("2 pages"), std::string::npos) << r.out;
    for (unsigned n = 0; n < 2; ++n) {
        const AnyImage out = ReadAnyImage(work / "out.tif", n);
        EXPECT_EQ(out.info.pages, 2u);
        EXPECT_EQ(out.info.width, pages[n].width);
        EXPECT_EQ(out.info.bits, pages[n].bits);
        EXPECT_EQ(out.samples,
                  LinkPixels(RgbToCmyk(), kRgb, 3, kCmyk, 4, pages[n].rgb, pages[n].bits))
            << "page " << n + 1;
    }
}

TEST_F(AlphaAndPagesTest, PageOptionConvertsThatPageAlone) {
    const auto pages = TwoPages();
    WritePages(work / "in.tif", pages);
    const RunResult r = RunCli({"convert", work / "in.tif", work / "out.png", "--quiet", "--page",
                                "2", "--from", s_p.rgb, "--to", s_p.rgbAlt});
    ASSERT_EQ(r.code, 0) << r.err;
    const AnyImage out = ReadAnyImage(work / "out.png");
    EXPECT_EQ(out.info.pages, 1u);
    EXPECT_EQ(out.info.width, 40u);
    EXPECT_EQ(out.samples, LinkPixels({{s_p.rgb, kDev2Pcs, IntentPerceptual},
                                       {s_p.rgbAlt, kPcs2Dev, IntentPerceptual}},
                                      kRgb, 3, kRgb, 3, pages[1].rgb, 16));
}

TEST_F(AlphaAndPagesTest, SeveralPagesIntoAOnePageFormatAreRefusedWithoutPage) {
    WritePages(work / "in.tif", TwoPages());
    const RunResult r = RunCli(
        {"convert", work / "in.tif", work / "out.png", "--from", s_p.rgb, "--to", s_p.rgbAlt});
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(LineCount(r.err), 1u);
    EXPECT_NE(r.err.find("has 2 pages and a PNG holds one"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(work / "out.png"));
}

TEST_F(AlphaAndPagesTest, PageBeyondTheLastIsAnInputError) {
    WritePages(work / "in.tif", TwoPages());
    const RunResult r = RunCli({"convert", work / "in.tif", work / "out.tif", "--page", "3",
                                "--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(r.code, 3);
    EXPECT_NE(r.err.find("has 2 page(s); page 3 does not exist"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(work / "out.tif"));
}

} // namespace
