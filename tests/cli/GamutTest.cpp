// kvrcolor gamut: the mask equals CreateGamutTrans's answer on the Lab of the default-input
// factory, the overlay is the proof with the pixels out of gamut painted, the share printed is
// the count of those pixels; threads, and refusals with one line and no output file.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdio>

#include "ProofTestUtil.h"

using namespace clitest;
using namespace prooftest;

namespace {

class GamutTest : public ProofFixture {
protected:
    // Samples over the whole range: saturated colours that a press cannot print among them.
    std::vector<uint16_t> Image(const TiffSpec& spec, uint32_t seed = 1) {
        const auto samples = TestSamples(spec.SampleCount(), spec.bits, seed);
        WriteTiff(work / "in.tif", spec, samples);
        return samples;
    }

    RunResult Gamut(std::vector<std::string> extra = {}) {
        std::vector<std::string> args = {"gamut", work / "in.tif", work / "out.tif"};
        args.insert(args.end(), extra.begin(), extra.end());
        return Run(args);
    }

    // The gamut answer of the configured printer for RGB pixels, by the factories.
    std::vector<uint16_t> Answer(const std::vector<uint16_t>& rgb, size_t pixels, unsigned bits) {
        LinkPtr toLab(CreateDefaultRGBInputTrans(&usm));
        Printer printer = ConfiguredPrinter();
        LinkPtr gamut(CreateGamutTrans(printer.ctx.get()));
        return Apply(gamut.get(), Apply(toLab.get(), rgb, pixels, bits), pixels, bits);
    }

    // A pixel is out once the answer reaches one unit of its high byte.
    static bool Out(uint16_t answer, unsigned bits) {
        return bits == 8 ? answer != 0 : answer >= 0x100;
    }

    static std::string ShareLine(size_t out, size_t pixels, const std::string& in) {
        char line[200];
        std::snprintf(line, sizeof line, "%s: %.2f%% of the pixels out of gamut (%zu of %zu)\n",
                      in.c_str(), 100.0 * double(out) / double(pixels), out, pixels);
        return line;
    }
};

TEST_F(GamutTest, MaskEqualsCreateGamutTransAndTheShareIsPrinted) {
    TiffSpec spec;
    const auto in = Image(spec);
    const RunResult r = Gamut();
    ASSERT_EQ(r.code, 0) << r.err;
    const TiffImage out = ReadTiff(work / "out.tif");
    EXPECT_EQ(out.spec.samplesPerPixel, 1);
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_MINISBLACK);
    EXPECT_FALSE(out.hasIcc);
    const size_t pixels = size_t(spec.width) * spec.height;
    const auto answer = Answer(in, pixels, 8);
    EXPECT_EQ(out.samples, answer);
    size_t outside = 0;
    for (uint16_t a : answer) outside += Out(a, 8);
    // Random colours: some in, some out, so that the count means something.
    EXPECT_GT(outside, 0u);
    EXPECT_LT(outside, pixels);
    EXPECT_EQ(r.out, ShareLine(outside, pixels, work / "in.tif"));
}

TEST_F(GamutTest, SixteenBitMaskCountsFromOneUnitOfTheHighByte) {
    TiffSpec spec;
    spec.bits = 16;
    const auto in = Image(spec, 2);
    const RunResult r = Gamut();
    ASSERT_EQ(r.code, 0) << r.err;
    const size_t pixels = size_t(spec.width) * spec.height;
    const auto answer = Answer(in, pixels, 16);
    EXPECT_EQ(ReadTiff(work / "out.tif").samples, answer);
    size_t outside = 0, traces = 0;
    for (uint16_t a : answer) {
        outside += Out(a, 16);
        traces += a > 0 && a < 0x100;
    }
    EXPECT_EQ(r.out, ShareLine(outside, pixels, work / "in.tif"));
    // Answers below one unit are not counted; the samples show some.
    EXPECT_GT(traces, 0u);
}

TEST_F(GamutTest, OverlayIsTheProofWithOutOfGamutPixelsPaintedMidGrey) {
    TiffSpec spec;
    const auto in = Image(spec, 3);
    const RunResult r = Gamut({"--overlay"});
    ASSERT_EQ(r.code, 0) << r.err;
    const TiffImage out = ReadTiff(work / "out.tif");
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_RGB);
    EXPECT_TRUE(out.hasIcc);
    const size_t pixels = size_t(spec.width) * spec.height;
    LinkPtr toLab(CreateDefaultRGBInputTrans(&usm));
    Printer printer = ConfiguredPrinter();
    LinkPtr preview(CreatePreviewTrans(printer.ctx.get()));
    const auto lab = Apply(toLab.get(), in, pixels, 8);
    auto expected = Apply(preview.get(), lab, pixels, 8);
    const auto answer = Answer(in, pixels, 8);
    size_t outside = 0;
    for (size_t p = 0; p < pixels; ++p) {
        if (!Out(answer[p], 8)) continue;
        ++outside;
        for (unsigned c = 0; c < 3; ++c) expected[3 * p + c] = 128;
    }
    EXPECT_EQ(out.samples, expected);
    EXPECT_EQ(r.out, ShareLine(outside, pixels, work / "in.tif"));
}

TEST_F(GamutTest, OneThreadAndFourThreadsGiveIdenticalFiles) {
    TiffSpec spec;
    spec.width = 256;
    spec.height = 160;
    Image(spec, 4);
    for (const char* mode : {"", "--overlay"}) {
        std::vector<std::vector<uint8_t>> files;
        std::vector<std::string> lines;
        for (const char* threads : {"1", "4"}) {
            std::vector<std::string> extra = {"--threads", threads};
            if (*mode) extra.push_back(mode);
            const RunResult r = Gamut(extra);
            ASSERT_EQ(r.code, 0) << r.err;
            files.push_back(ReadBytes(work / "out.tif"));
            lines.push_back(r.out);
        }
        EXPECT_FALSE(files[0].empty());
        EXPECT_EQ(files[0], files[1]) << mode;
        EXPECT_EQ(lines[0], lines[1]) << mode;
    }
}

TEST_F(GamutTest, ShareGoesToTheErrorStreamWhenTheMaskGoesToStandardOutput) {
    TiffSpec spec;
    Image(spec, 5);
    const RunResult file = Gamut();
    ASSERT_EQ(file.code, 0) << file.err;
    const RunResult piped = Run({"gamut", work / "in.tif", "-"});
    ASSERT_EQ(piped.code, 0) << piped.err;
    EXPECT_EQ(piped.err, file.out);
    const auto bytes = ReadBytes(work / "out.tif");
    EXPECT_EQ(piped.out, std::string(bytes.begin(), bytes.end()));
}

TEST_F(GamutTest, RgbPrinterProfileWithoutGamutOrOutputTableIsRefusedWithoutOutput) {
    Image(TiffSpec{});
    const Profiles made = MakeProfiles(work.path().string());
    const RunResult r = Gamut({"--printer", made.rgbInput}); // A2B0 only
    EXPECT_EQ(r.code, kExitProfile) << r.err;
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_FALSE(fs::exists(work / "out.tif"));
}

TEST_F(GamutTest, DamagedInputIsRefusedWithoutOutput) {
    WriteBytes(work / "in.tif", std::vector<uint8_t>{'I', 'I', 42, 0, 8, 0});
    const RunResult r = Gamut();
    EXPECT_EQ(r.code, kExitInput) << r.err;
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_FALSE(fs::exists(work / "out.tif"));
}

TEST_F(GamutTest, OutputOfAFormatTheToolDoesNotWriteIsRefusedWithoutOutput) {
    Image(TiffSpec{});
    const RunResult r = Run({"gamut", work / "in.tif", work / "mask.bmp"});
    EXPECT_EQ(r.code, kExitUsage) << r.err;
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_FALSE(fs::exists(work / "mask.bmp"));
}

} // namespace
