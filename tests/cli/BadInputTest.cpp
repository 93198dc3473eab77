// kvrcolor on bad input: one line on stderr that names the file and the reason, the exit code
// of its class, and no output file (nor a temporary one) left behind.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <memory>

#include "CliSupport.h"

using namespace clitest;

namespace {

class BadInputTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    void SetUp() override {
        WriteTiff(work / "rgb.tif", rgbSpec, TestSamples(rgbSpec.SampleCount(), 8, 1));
        WriteBytes(work / "text.txt", {'h', 'e', 'l', 'l', 'o', '\n', 'x', 'y', 'z', '\n'});
    }

    // Runs the program and checks the failure: exit code, one line on stderr starting with
    // the program's name and holding each of `words`, nothing on stdout, and the work folder
    // holding the same files as before.
    void ExpectFailure(const std::vector<std::string>& args, int code,
                       const std::vector<std::string>& words, const std::string& ini = {}) {
        const auto before = work.Files();
        const RunResult r = RunCli(args, ini);
        EXPECT_EQ(r.code, code) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        EXPECT_EQ(r.err.rfind("kvrcolor: ", 0), 0u) << r.err;
        for (const auto& w : words)
            EXPECT_NE(r.err.find(w), std::string::npos) << w << " in " << r.err;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(work.Files(), before);
    }

    std::vector<std::string> Convert(const std::string& in, std::vector<std::string> extra = {}) {
        std::vector<std::string> args = {"convert", in, work / "out.tif"};
        args.insert(args.end(), extra.begin(), extra.end());
        return args;
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
    TiffSpec rgbSpec;
};

TEST_F(BadInputTest, MissingInputFile) {
    ExpectFailure(Convert(work / "none.tif", {"--from", s_p.rgb, "--to", s_p.cmyk}), 3,
                  {work / "none.tif", "no such file"});
}

TEST_F(BadInputTest, InputThatIsNotAnImage) {
    ExpectFailure(Convert(work / "text.txt", {"--from", s_p.rgb, "--to", s_p.cmyk}), 3,
                  {work / "text.txt", "not a TIFF, PNG or JPEG"});
}

uint32_t Le32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 |
           uint32_t(b[at + 3]) << 24;
}

TEST_F(BadInputTest, TruncatedTiff) {
    TiffSpec spec;
    spec.width = 256;
    spec.height = 64;
    WriteTiff(work / "whole.tif", spec, TestSamples(spec.SampleCount(), 8, 2));
    auto bytes = ReadBytes(work / "whole.tif");
    fs::remove(work / "whole.tif");
    ASSERT_EQ(bytes[0], 'I'); // libtiff writes the machine's order, little-endian here
    ASSERT_GT(Le32(bytes, 4), bytes.size() / 2); // the directory follows the pixels
    bytes.resize(bytes.size() / 3);              // directory and most pixels gone
    WriteBytes(work / "cut.tif", bytes);
    ExpectFailure(Convert(work / "cut.tif", {"--from", s_p.rgb, "--to", s_p.cmyk}), 3,
                  {work / "cut.tif", "cannot read the TIFF"});
}

// The file opens, and a strip in the middle does not decode: the rows fail while converting.
TEST_F(BadInputTest, TiffWithADamagedStrip) {
    TiffSpec spec;
    spec.width = 256;
    spec.height = 64;
    spec.compression = COMPRESSION_LZW;
    WriteTiff(work / "whole.tif", spec, TestSamples(spec.SampleCount(), 8, 3));
    auto bytes = ReadBytes(work / "whole.tif");
    fs::remove(work / "whole.tif");
    const uint32_t directory = Le32(bytes, 4);
    ASSERT_GT(directory, 1000u); // the directory follows the pixels
    std::fill(bytes.begin() + directory / 3, bytes.begin() + directory / 2, uint8_t(0xFF));
    WriteBytes(work / "damaged.tif", bytes);
    ExpectFailure(Convert(work / "damaged.tif", {"--from", s_p.rgb, "--to", s_p.cmyk}), 3,
                  {work / "damaged.tif", "cannot read row"});
}

// A strip fails to decode after several bands have been read, converted and written: the
// reader's failure stops the converting and writing threads, and the partly written output goes.
TEST_F(BadInputTest, TiffDamagedAfterSeveralBandsLeavesNoOutput) {
    TiffSpec spec;
    spec.width = 256;
    spec.height = 64;
    spec.compression = COMPRESSION_LZW;
    WriteTiff(work / "whole.tif", spec, TestSamples(spec.SampleCount(), 8, 5));
    auto bytes = ReadBytes(work / "whole.tif");
    fs::remove(work / "whole.tif");
    const uint32_t directory = Le32(bytes, 4);
    ASSERT_GT(directory, 1000u); // the directory follows the pixels
    std::fill(bytes.begin() + directory * 2 / 3, bytes.begin() + directory * 3 / 4, uint8_t(0xFF));
    WriteBytes(work / "damaged.tif", bytes);
    for (const char* threads : {"1", "2"}) {
        const auto args = Convert(work / "damaged.tif", {"--from", s_p.rgb, "--to", s_p.cmyk,
                                                         "--threads", threads, "--band-rows", "2"});
        ExpectFailure(args, 3, {work / "damaged.tif", "cannot read row"});
        // The failing row lies several bands into the image.
        const RunResult r = RunCli(args);
        const size_t at = r.err.find("cannot read row ");
        ASSERT_NE(at, std::string::npos) << r.err;
        EXPECT_GE(std::stoul(r.err.substr(at + 16)), 8u) << r.err;
    }
}

TEST_F(BadInputTest, TruncatedPng) {
    const auto samples = TestSamples(size_t(256) * 64 * 3, 8, 4);
    WritePng(work / "whole.png", 256, 64, 8, 2, samples);
    auto bytes = ReadBytes(work / "whole.png");
    fs::remove(work / "whole.png");
    bytes.resize(bytes.size() / 2);
    WriteBytes(work / "cut.png", bytes);
    ExpectFailure(Convert(work / "cut.png", {"--from", s_p.rgb, "--to", s_p.cmyk}), 3,
                  {work / "cut.png", "cannot read row"});
}

TEST_F(BadInputTest, TruncatedJpeg) {
    TiffSpec spec;
    spec.width = 256;
    spec.height = 64;
    WriteTiff(work / "in.tif", spec, TestSamples(spec.SampleCount(), 8, 4));
    const RunResult made = RunCli({"convert", work / "in.tif", work / "whole.jpg", "--quiet",
                                   "--from", s_p.rgb, "--to", s_p.rgbAlt});
    ASSERT_EQ(made.code, 0) << made.err;
    auto bytes = ReadBytes(work / "whole.jpg");
    fs::remove(work / "whole.jpg");
    fs::remove(work / "in.tif");
    bytes.resize(bytes.size() / 2);
    WriteBytes(work / "cut.jpg", bytes);
    ExpectFailure(Convert(work / "cut.jpg", {"--from", s_p.rgb, "--to", s_p.cmyk}), 3,
                  {work / "cut.jpg", "cannot read row"});
}

TEST_F(BadInputTest, MissingProfile) {
    ExpectFailure(Convert(work / "rgb.tif", {"--from", s_p.rgb, "--to", work / "none.icc"}), 4,
                  {work / "none.icc", "no such profile file"});
}

TEST_F(BadInputTest, FileThatIsNotAProfile) {
    ExpectFailure(Convert(work / "rgb.tif", {"--from", work / "text.txt", "--to", s_p.cmyk}), 4,
                  {work / "text.txt", "not an ICC profile"});
}

uint32_t Be32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) << 24 | uint32_t(b[at + 1]) << 16 | uint32_t(b[at + 2]) << 8 | b[at + 3];
}

// The printer profile with a sound header and tag table but a grid of its 'B2A0' table larger
// than the tag: only a reading of the table itself finds the damage.
std::vector<uint8_t> WithDamagedTable(std::vector<uint8_t> bytes) {
    const uint32_t b2a0 = 0x42324130;
    for (uint32_t i = 0, n = Be32(bytes, 128); i < n; ++i)
        if (Be32(bytes, 132 + 12 * i) == b2a0) {
            const uint32_t offset = Be32(bytes, 132 + 12 * i + 4);
            EXPECT_EQ(Be32(bytes, offset), 0x6D667432u); // 'mft2'
            bytes[offset + 10] = 60;                     // grid points
            return bytes;
        }
    ADD_FAILURE() << "no tag B2A0";
    return bytes;
}

TEST_F(BadInputTest, ProfileWithADamagedTableIsNamedWhateverTheEngine) {
    WriteBytes(work / "damaged.icc", WithDamagedTable(ReadBytes(s_p.cmyk)));
    for (const char* engine : {"native", "lcms"}) {
        SCOPED_TRACE(engine);
        ExpectFailure(Convert(work / "rgb.tif", {"--from", s_p.rgb, "--to", work / "damaged.icc",
                                                 "--engine", engine}),
                      4, {work / "damaged.icc", "damaged ICC profile", "'B2A0'", "grid of 60"});
    }
}

TEST_F(BadInputTest, ProfileWithADamagedTableIsNamedBeforeAChainThatDoesNotFit) {
    // The source takes CMYK, the image is RGB: the damaged destination is still named first.
    WriteBytes(work / "damaged.icc", WithDamagedTable(ReadBytes(s_p.cmyk)));
    ExpectFailure(Convert(work / "rgb.tif", {"--from", s_p.cmyk, "--to", work / "damaged.icc"}), 4,
                  {work / "damaged.icc", "damaged ICC profile", "'B2A0'"});
}

TEST_F(BadInputTest, SourceProfileOfTheWrongColourSpace) {
    ExpectFailure(Convert(work / "rgb.tif", {"--from", s_p.cmyk, "--to", s_p.cmyk}), 4,
                  {s_p.cmyk, "takes CMYK", "rgb.tif is RGB"});
}

TEST_F(BadInputTest, EmbeddedProfileOfTheWrongColourSpace) {
    TiffSpec spec;
    spec.icc = ReadBytes(s_p.cmyk);
    WriteTiff(work / "tagged.tif", spec, TestSamples(spec.SampleCount(), 8, 5));
    ExpectFailure(Convert(work / "tagged.tif", {"--to", s_p.cmyk}), 4,
                  {work / "tagged.tif", "embedded profile is CMYK"});
}

TEST_F(BadInputTest, FirstStepThatTakesTheConnectionSpaceFromAnRgbImage) {
    ExpectFailure(Convert(work / "rgb.tif", {"--step", s_p.cmyk + ":pcs2dev"}), 4,
                  {s_p.cmyk, "pcs2dev takes Lab"});
}

TEST_F(BadInputTest, GreyOutputIsRefused) {
    ExpectFailure(Convert(work / "rgb.tif", {"--from", s_p.rgb, "--to", s_p.gray}), 4,
                  {s_p.gray, "grey output is not supported"});
}

TEST_F(BadInputTest, DestinationWithoutATableForItsStepGivesTheLibraryError) {
    ExpectFailure(Convert(work / "rgb.tif", {"--from", s_p.rgb, "--to", s_p.rgbInput}), 5,
                  {s_p.rgbInput, "link failed: error 904"});
}

TEST_F(BadInputTest, ChainThatCannotBeJoinedGivesTheLibraryError) {
    // Lab out of the first step, CMYK into the second: nothing joins them.
    ExpectFailure(Convert(work / "rgb.tif",
                          {"--step", s_p.rgb + ":dev2pcs", "--step", s_p.cmyk + ":dev2pcs"}),
                  5, {"TestRgb.icc -> TestCmyk.icc", "link failed: error 905"});
}

TEST_F(BadInputTest, FiveInkImageThroughAFiveInputTableIsRefusedByTheNativeEngineWithTheReason) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_SEPARATED;
    spec.samplesPerPixel = 5;
    WriteTiff(work / "five.tif", spec, TestSamples(spec.SampleCount(), 8, 6));
    ExpectFailure(
        Convert(work / "five.tif", {"--from", s_p.five, "--to", s_p.cmyk, "--engine", "native"}), 5,
        {s_p.five, "at most four inputs"});
}

// 32-bit floating point converts (see ImageFormatsTest); half floats have no reader here.
TEST_F(BadInputTest, SixteenBitFloatingPointTiffIsRefused) {
    TiffSpec spec;
    spec.bits = 16;
    spec.sampleFormat = SAMPLEFORMAT_IEEEFP;
    WriteTiff(work / "half.tif", spec, TestSamples(spec.SampleCount(), 16, 8));
    ExpectFailure(Convert(work / "half.tif", {"--from", s_p.rgb, "--to", s_p.cmyk}), 6,
                  {work / "half.tif", "16-bit floating point"});
}

TEST_F(BadInputTest, PaletteTiff) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_PALETTE;
    spec.samplesPerPixel = 1;
    WriteTiff(work / "palette.tif", spec, TestSamples(spec.SampleCount(), 8, 9));
    ExpectFailure(Convert(work / "palette.tif", {"--from", s_p.rgb, "--to", s_p.cmyk}), 6,
                  {work / "palette.tif", "photometric interpretation 3"});
}

TEST_F(BadInputTest, InterlacedPng) {
    WritePng(work / "adam7.png", 64, 48, 8, 2, TestSamples(size_t(64) * 48 * 3, 8, 10), {}, true);
    ExpectFailure(Convert(work / "adam7.png", {"--from", s_p.rgb, "--to", s_p.cmyk}), 6,
                  {work / "adam7.png", "interlaced"});
}

TEST_F(BadInputTest, GreyImageWithoutAnyGreyProfile) {
    TempDir base; // no InputGray folder
    const std::string ini = work / "settings.ini";
    WriteIniWithBasePath(ini, base.path().string());
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_MINISBLACK;
    spec.samplesPerPixel = 1;
    WriteTiff(work / "gray.tif", spec, TestSamples(spec.SampleCount(), 8, 11));
    ExpectFailure(Convert(work / "gray.tif", {"--to", s_p.cmyk}), 4,
                  {work / "gray.tif", "no grey source profile", "InputGray", "--from"}, ini);
}

TEST_F(BadInputTest, NoDestinationInAnEmptyPrinterFolder) {
    TempDir base;
    const std::string ini = work / "settings.ini";
    WriteIniWithBasePath(ini, base.path().string());
    ExpectFailure(Convert(work / "rgb.tif", {"--from", s_p.rgb}), 4,
                  {"no destination profile", "Printer", "--to"}, ini);
}

TEST_F(BadInputTest, FailureLeavesAnExistingOutputAsItWas) {
    WriteBytes(work / "out.tif", {'k', 'e', 'e', 'p'});
    ExpectFailure(Convert(work / "rgb.tif", {"--from", s_p.rgb, "--to", s_p.rgbInput}), 5,
                  {"error 904"});
    EXPECT_EQ(ReadBytes(work / "out.tif"), (std::vector<uint8_t>{'k', 'e', 'e', 'p'}));
}

TEST_F(BadInputTest, OutputFolderThatDoesNotExist) {
    const std::string out = work / "no/such/folder/out.tif";
    ExpectFailure({"convert", work / "rgb.tif", out, "--from", s_p.rgb, "--to", s_p.cmyk}, 7,
                  {out, "cannot be written"});
}

TEST_F(BadInputTest, UsageErrors) {
    ExpectFailure({"convert", work / "rgb.tif"}, 2, {"OUT"});
    ExpectFailure({"convert", work / "rgb.tif", work / "out.tif", "--intent", "vivid"}, 2,
                  {"vivid"});
    ExpectFailure({"convert", work / "rgb.tif", work / "out.tif", "--step", s_p.rgb + ":sideways"},
                  2, {"sideways"});
    ExpectFailure({"convert", work / "rgb.tif", work / "out.tif", "--step", s_p.rgb + ":dev2pcs",
                   "--to", s_p.cmyk},
                  2, {"--step cannot be combined"});
    ExpectFailure({"convert", work / "rgb.tif", work / "out.tif", "--compress", "zip"}, 2, {"zip"});
    ExpectFailure({"frobnicate"}, 2, {"subcommand"});
    ExpectFailure({}, 2, {"subcommand"});
}

} // namespace
