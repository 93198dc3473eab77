// kvrcolor proof: the soft proof equals the default-input factory (or the --from step) followed
// by CreatePreviewTrans, applied in the test to the same pixels; side by side, monitor choice,
// threads, and every refusal with one line and no output file.
#include <gtest/gtest.h>
#include <tiffio.h>

#include "ProofTestUtil.h"
#include "base/WideString.h"

using namespace clitest;
using namespace prooftest;

namespace {

class ProofTest : public ProofFixture {
protected:
    // Writes an image of the given layout with samples of seed `seed`; answers the samples.
    std::vector<uint16_t> Image(const std::string& name, const TiffSpec& spec, uint32_t seed = 1) {
        const auto samples = TestSamples(spec.SampleCount(), spec.bits, seed);
        WriteTiff(work / name, spec, samples);
        return samples;
    }

    // Runs proof and reads the output; fails the test unless the program succeeded.
    TiffImage Proof(const std::string& in, std::vector<std::string> extra = {}) {
        const std::string out = work / "proof.tif";
        std::vector<std::string> args = {"proof", in, out};
        args.insert(args.end(), extra.begin(), extra.end());
        const RunResult r = Run(args);
        EXPECT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(r.err, "");
        if (r.code != 0) return {};
        return ReadTiff(out);
    }

    // The default-input factory of RGB or CMYK, then the configured printer's preview.
    std::vector<uint16_t> ByFactories(const std::vector<uint16_t>& in, size_t pixels, bool rgb,
                                      unsigned bits) {
        LinkPtr toLab(rgb ? CreateDefaultRGBInputTrans(&usm) : CreateDefaultCMYKInputTrans(&usm));
        Printer printer = ConfiguredPrinter();
        LinkPtr preview(CreatePreviewTrans(printer.ctx.get()));
        return Apply(preview.get(), Apply(toLab.get(), in, pixels, bits), pixels, bits);
    }

    // Fails unless the run failed with `code`, one line of message, and no output file.
    void ExpectRefused(const std::vector<std::string>& args, int code, const std::string& out) {
        const RunResult r = Run(args);
        EXPECT_EQ(r.code, code) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        EXPECT_EQ(r.err.rfind("kvrcolor: ", 0), 0u) << r.err;
        EXPECT_FALSE(fs::exists(out));
    }
};

TEST_F(ProofTest, RgbProofEqualsDefaultRgbInputThenPreviewFactories) {
    TiffSpec spec;
    const auto in = Image("in.tif", spec);
    const TiffImage out = Proof(work / "in.tif");
    EXPECT_EQ(out.spec.photometric, PHOTOMETRIC_RGB);
    EXPECT_EQ(out.spec.width, spec.width);
    EXPECT_EQ(out.spec.bits, 8);
    EXPECT_TRUE(out.hasIcc); // the monitor's profile
    const size_t pixels = size_t(spec.width) * spec.height;
    EXPECT_EQ(out.samples, ByFactories(in, pixels, true, 8));
}

TEST_F(ProofTest, Cmyk16BitProofEqualsDefaultCmykInputThenPreviewFactories) {
    TiffSpec spec;
    spec.bits = 16;
    spec.photometric = PHOTOMETRIC_SEPARATED;
    spec.samplesPerPixel = 4;
    spec.inkset = INKSET_CMYK;
    const auto in = Image("in.tif", spec, 2);
    const TiffImage out = Proof(work / "in.tif");
    EXPECT_EQ(out.spec.bits, 16);
    EXPECT_EQ(out.spec.samplesPerPixel, 3);
    EXPECT_EQ(out.samples, ByFactories(in, size_t(spec.width) * spec.height, false, 16));
}

TEST_F(ProofTest, LabImageGoesStraightToThePreview) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_ICCLAB; // the link's own 8-bit Lab encoding
    const auto in = Image("in.tif", spec, 3);
    Printer printer = ConfiguredPrinter();
    LinkPtr preview(CreatePreviewTrans(printer.ctx.get()));
    const size_t pixels = size_t(spec.width) * spec.height;
    EXPECT_EQ(Proof(work / "in.tif").samples, Apply(preview.get(), in, pixels, 8));
}

TEST_F(ProofTest, FromProfileReplacesTheDefaultSource) {
    TiffSpec spec;
    const auto in = Image("in.tif", spec, 4);
    const std::string from = Monitor().string();
    const TiffImage out = Proof(work / "in.tif", {"--from", from});
    // The --from step takes the intent of the default RGB source.
    LinkPtr toLab(CreateMdlColorLink(&usm));
    ASSERT_TRUE(toLab->AddProfile(Utf8ToWide(from).c_str(), CMdlColorLink::ProfStepDevToPcs,
                                  enmRenderingIntent(usm.GetInt(IniCpDefaultRiRgb))));
    ASSERT_TRUE(toLab->CreateLink(CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtLab, 3));
    Printer printer = ConfiguredPrinter();
    LinkPtr preview(CreatePreviewTrans(printer.ctx.get()));
    const size_t pixels = size_t(spec.width) * spec.height;
    EXPECT_EQ(out.samples, Apply(preview.get(), Apply(toLab.get(), in, pixels, 8), pixels, 8));
    EXPECT_NE(out.samples, ByFactories(in, pixels, true, 8));
}

TEST_F(ProofTest, PrinterOptionReplacesTheConfiguredPrinter) {
    TiffSpec spec;
    const auto in = Image("in.tif", spec, 5);
    const fs::path printerPath = work / "press.icc";
    fs::copy_file(kDefaults / "Printer" / "kvr-cmyk.icc", printerPath);
    ASSERT_TRUE(usm.PutString(IniPrnIccProfile, L"")); // no printer configured
    const TiffImage out = Proof(work / "in.tif", {"--printer", printerPath.string()});
    CPrintEnv env(&usm, printerPath.wstring(), false, {});
    CPrintEnvContext ctx(&env);
    LinkPtr toLab(CreateDefaultRGBInputTrans(&usm));
    LinkPtr preview(CreatePreviewTrans(&ctx));
    const size_t pixels = size_t(spec.width) * spec.height;
    EXPECT_EQ(out.samples, Apply(preview.get(), Apply(toLab.get(), in, pixels, 8), pixels, 8));
}

TEST_F(ProofTest, MonitorDefaultsToTheDefaultRgbProfile) {
    TiffSpec spec;
    const auto in = Image("in.tif", spec, 6);
    ASSERT_TRUE(usm.PutString(US_MonitorProfile, L""));
    const TiffImage byDefault = Proof(work / "in.tif");
    // The same as naming the default RGB profile as the monitor.
    ASSERT_TRUE(usm.PutString(US_MonitorProfile, GetDefaultRGBInputProfile(&usm).c_str()));
    const size_t pixels = size_t(spec.width) * spec.height;
    EXPECT_EQ(byDefault.samples, ByFactories(in, pixels, true, 8));
    // And not the same as the configured sRGB monitor.
    ASSERT_TRUE(usm.PutString(US_MonitorProfile, Monitor().wstring().c_str()));
    EXPECT_NE(byDefault.samples, ByFactories(in, pixels, true, 8));
}

TEST_F(ProofTest, MonitorOptionReplacesTheConfiguredMonitor) {
    TiffSpec spec;
    const auto in = Image("in.tif", spec, 7);
    const std::string monitor = base / "InputRgb" / "kvr-srgb.icc";
    const TiffImage out = Proof(work / "in.tif", {"--monitor", monitor});
    ASSERT_TRUE(usm.PutString(US_MonitorProfile, Utf8ToWide(monitor).c_str()));
    EXPECT_EQ(out.samples, ByFactories(in, size_t(spec.width) * spec.height, true, 8));
}

TEST_F(ProofTest, SideBySideShowsTheOriginalLeftAndTheProofRightWithAlphaKept) {
    TiffSpec spec;
    spec.samplesPerPixel = 4;
    spec.extraKinds = {EXTRASAMPLE_UNASSALPHA};
    const auto in = Image("in.tif", spec, 8);
    const TiffImage out = Proof(work / "in.tif", {"--side-by-side"});
    ASSERT_EQ(out.spec.width, 2 * spec.width);
    ASSERT_EQ(out.spec.samplesPerPixel, 4);
    const size_t pixels = size_t(spec.width) * spec.height;
    const auto rgb = Channels(in, 4, 0, 3), alpha = Channels(in, 4, 3, 1);
    LinkPtr toLab(CreateDefaultRGBInputTrans(&usm));
    const auto lab = Apply(toLab.get(), rgb, pixels, 8);
    LinkPtr monitor(CreateMonitorTrans(&usm));
    const auto original = Apply(monitor.get(), lab, pixels, 8);
    const auto proof = ByFactories(rgb, pixels, true, 8);
    std::vector<uint16_t> expected;
    for (uint32_t y = 0; y < spec.height; ++y)
        for (const auto* half : {&original, &proof})
            for (uint32_t x = 0; x < spec.width; ++x) {
                const size_t p = size_t(y) * spec.width + x;
                expected.insert(expected.end(), half->begin() + long(3 * p),
                                half->begin() + long(3 * p + 3));
                expected.push_back(alpha[p]);
            }
    EXPECT_EQ(out.samples, expected);
    EXPECT_NE(original, proof);
}

TEST_F(ProofTest, OneThreadAndFourThreadsGiveIdenticalFiles) {
    TiffSpec spec;
    spec.width = 256;
    spec.height = 160; // several pieces a thread, more than one band row
    spec.bits = 16;
    Image("in.tif", spec, 9);
    for (const char* mode : {"", "--side-by-side"}) {
        std::vector<std::vector<uint8_t>> files;
        for (const char* threads : {"1", "4"}) {
            const std::string out = work / (std::string("t") + threads + ".tif");
            std::vector<std::string> args = {"proof", work / "in.tif", out, "--threads", threads};
            if (*mode) args.push_back(mode);
            const RunResult r = Run(args);
            ASSERT_EQ(r.code, 0) << r.err;
            files.push_back(ReadBytes(out));
        }
        EXPECT_FALSE(files[0].empty());
        EXPECT_EQ(files[0], files[1]) << mode;
    }
}

TEST_F(ProofTest, MissingInputIsRefusedWithoutOutput) {
    const std::string out = work / "out.tif";
    ExpectRefused({"proof", work / "none.tif", out}, kExitInput, out);
}

TEST_F(ProofTest, PngProofHoldsTheSamePixelsAsTheTiffProof) {
    Image("in.tif", TiffSpec{});
    ASSERT_EQ(Run({"proof", work / "in.tif", work / "out.tif"}).code, 0);
    const RunResult png = Run({"proof", work / "in.tif", work / "out.png"});
    ASSERT_EQ(png.code, 0) << png.err;
    const AnyImage a = ReadAnyImage(work / "out.tif"), b = ReadAnyImage(work / "out.png");
    EXPECT_EQ(b.info.space.channels, 3u);
    EXPECT_EQ(a.samples, b.samples);
}

TEST_F(ProofTest, OutputOfAFormatTheToolDoesNotWriteIsRefusedWithoutOutput) {
    Image("in.tif", TiffSpec{});
    const std::string out = work / "out.gif";
    ExpectRefused({"proof", work / "in.tif", out}, kExitUsage, out);
}

TEST_F(ProofTest, MissingPrinterProfileIsRefusedWithoutOutput) {
    Image("in.tif", TiffSpec{});
    const std::string out = work / "out.tif";
    ExpectRefused({"proof", work / "in.tif", out, "--printer", work / "none.icc"}, kExitProfile,
                  out);
}

TEST_F(ProofTest, NoConfiguredPrinterIsRefusedWithoutOutput) {
    Image("in.tif", TiffSpec{});
    ASSERT_TRUE(usm.PutString(IniPrnIccProfile, L""));
    const std::string out = work / "out.tif";
    ExpectRefused({"proof", work / "in.tif", out}, kExitProfile, out);
}

TEST_F(ProofTest, GreyPrinterProfileIsRefusedWithoutOutput) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("Gray.icc"));
    Image("in.tif", TiffSpec{});
    const std::string out = work / "out.tif";
    // A printer that is not RGB is a CMYK-plus space, which a grey profile does not fit.
    ExpectRefused(
        {"proof", work / "in.tif", out, "--printer", kvrtest::CorpusProfile("Gray.icc").string()},
        kExitProfile, out);
}

TEST_F(ProofTest, CmykMonitorIsRefusedWithoutOutput) {
    Image("in.tif", TiffSpec{});
    const std::string out = work / "out.tif";
    ExpectRefused({"proof", work / "in.tif", out, "--monitor", base / "Printer" / "kvr-cmyk.icc"},
                  kExitProfile, out);
}

TEST_F(ProofTest, GreyImageWithoutFromIsRefusedWithoutOutput) {
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_MINISBLACK;
    spec.samplesPerPixel = 1;
    Image("in.tif", spec);
    const std::string out = work / "out.tif";
    ExpectRefused({"proof", work / "in.tif", out}, kExitProfile, out);
}

TEST_F(ProofTest, NoDefaultRgbSourceIsRefusedWithoutOutput) {
    Image("in.tif", TiffSpec{});
    ASSERT_TRUE(usm.PutString(IniCpInputRgb, L"missing.icc"));
    fs::remove(base / "InputRgb" / "kvr-srgb.icc"); // nothing else to fall back on
    const std::string out = work / "out.tif";
    ExpectRefused({"proof", work / "in.tif", out}, kExitProfile, out);
}

// An installation without the configured file, as the default one (settings name sRGB.icc,
// the folder holds kvr-srgb.icc): the first profile of the folder, as convert takes it, both as
// the source and as the monitor.
TEST_F(ProofTest, MissingConfiguredRgbSourceFallsBackToTheFirstProfileOfItsFolder) {
    TiffSpec spec;
    const auto in = Image("in.tif", spec);
    ASSERT_TRUE(usm.PutString(IniCpInputRgb, L"sRGB.icc"));
    ASSERT_TRUE(usm.PutString(US_MonitorProfile, L""));
    const TiffImage out = Proof(work / "in.tif");
    ASSERT_TRUE(usm.PutString(IniCpInputRgb, L"kvr-srgb.icc"));
    ASSERT_TRUE(
        usm.PutString(US_MonitorProfile, (base / "InputRgb" / "kvr-srgb.icc").wstring().c_str()));
    const size_t pixels = size_t(spec.width) * spec.height;
    EXPECT_EQ(out.samples, ByFactories(in, pixels, true, 8));
}

TEST_F(ProofTest, InputAsOutputIsRefusedAndKept) {
    const auto in = Image("in.tif", TiffSpec{});
    const auto before = ReadBytes(work / "in.tif");
    const RunResult r = Run({"proof", work / "in.tif", work / "in.tif"});
    EXPECT_EQ(r.code, kExitOutput) << r.err;
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;
    EXPECT_EQ(ReadBytes(work / "in.tif"), before);
}

} // namespace
