// kvrcolor proof and gamut with --engine: auto keeps the native engine where it does what the
// profiles mean and takes lcms2 otherwise, naming it on the error stream; --engine native
// refuses such a run with one line; each engine gives the same file for one thread and four.
// The gamut answer comes from the native engine alone, and the icm engine makes no soft proof.
#include <gtest/gtest.h>
#include <tiffio.h>

#include "ProofTestUtil.h"
#include "base/WideString.h"

using namespace clitest;
using namespace prooftest;

namespace {

// The value of the settings key CMS that selects lcms2 in the library's factory.
constexpr int kCmsLcms = 4;

class ProofEngineTest : public ProofFixture {
protected:
    // A monitor profile whose tone curves are parametric: the native engine inverts sampled
    // curves only.
    static fs::path ParametricMonitor() { return kvrtest::CorpusProfile("colord-sRGB.icc"); }

    std::vector<uint16_t> Image(const TiffSpec& spec, uint32_t seed = 1) {
        const auto samples = TestSamples(spec.SampleCount(), spec.bits, seed);
        WriteTiff(work / "in.tif", spec, samples);
        return samples;
    }

    // Fails unless the run failed with `code`, one line of message, and no output file.
    void ExpectRefused(const std::vector<std::string>& args, int code, const std::string& out,
                       const std::string& says) {
        const RunResult r = Run(args);
        EXPECT_EQ(r.code, code) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        EXPECT_EQ(r.err.rfind("kvrcolor: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(says), std::string::npos) << r.err;
        EXPECT_FALSE(fs::exists(out));
    }
};

TEST_F(ProofEngineTest, AutoTakesLcmsForAMonitorWithParametricCurvesAndSaysSo) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("colord-sRGB.icc"));
    TiffSpec spec;
    const auto in = Image(spec);
    const std::string out = work / "proof.tif";
    const RunResult r = Run({"proof", work / "in.tif", out, "--monitor", ParametricMonitor()});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err.rfind("kvrcolor: engine lcms (auto: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("parametric"), std::string::npos) << r.err;
    EXPECT_EQ(LineCount(r.err), 1u) << r.err;

    // The same factories with lcms2 chosen in the settings give the same pixels.
    ASSERT_TRUE(usm.PutInt(IniCpCMS, kCmsLcms));
    ASSERT_TRUE(usm.PutString(US_MonitorProfile, ParametricMonitor().wstring().c_str()));
    const size_t pixels = size_t(spec.width) * spec.height;
    LinkPtr toLab(CreateDefaultRGBInputTrans(&usm));
    Printer printer = ConfiguredPrinter();
    LinkPtr preview(CreatePreviewTrans(printer.ctx.get()));
    const auto expected = Apply(preview.get(), Apply(toLab.get(), in, pixels, 8), pixels, 8);
    EXPECT_EQ(ReadTiff(out).samples, expected);
}

TEST_F(ProofEngineTest, AutoKeepsTheNativeEngineForSampledCurvesAndSaysNothing) {
    Image(TiffSpec{});
    const RunResult r = Run({"proof", work / "in.tif", work / "proof.tif"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");
}

TEST_F(ProofEngineTest, NativeEngineRefusesAMonitorWithParametricCurves) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("colord-sRGB.icc"));
    Image(TiffSpec{});
    const std::string out = work / "proof.tif";
    ExpectRefused(
        {"proof", work / "in.tif", out, "--monitor", ParametricMonitor(), "--engine", "native"},
        kExitLink, out, "--engine native refuses this chain");
}

TEST_F(ProofEngineTest, ProofWithLcmsAskedForNamesTheEngine) {
    Image(TiffSpec{}, 3);
    const RunResult r = Run({"proof", work / "in.tif", work / "proof.tif", "--engine", "lcms"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "kvrcolor: engine lcms (asked for (--engine lcms))\n");
}

TEST_F(ProofEngineTest, OneThreadAndFourThreadsGiveIdenticalFilesWithEachEngine) {
    TiffSpec spec;
    spec.width = 256;
    spec.height = 160; // several pieces a thread, more than one band row
    Image(spec, 9);
    struct Case {
        const char* command;
        const char* engine;
    };
    for (const Case run :
         {Case{"proof", "native"}, Case{"proof", "lcms"}, Case{"gamut", "native"}}) {
        std::vector<std::vector<uint8_t>> files;
        for (const char* threads : {"1", "4"}) {
            const std::string out = work / (std::string("t") + threads + ".tif");
            const RunResult r = Run(
                {run.command, work / "in.tif", out, "--engine", run.engine, "--threads", threads});
            ASSERT_EQ(r.code, 0) << run.command << " " << run.engine << ": " << r.err;
            files.push_back(ReadBytes(out));
        }
        EXPECT_FALSE(files[0].empty());
        EXPECT_EQ(files[0], files[1]) << run.command << " " << run.engine;
    }
}

TEST_F(ProofEngineTest, LcmsEngineIsRefusedForTheGamutAnswer) {
    Image(TiffSpec{});
    const std::string out = work / "mask.tif";
    ExpectRefused({"gamut", work / "in.tif", out, "--engine", "lcms"}, kExitLink, out,
                  "the lcms engine gives no gamut answer");
    ExpectRefused({"gamut", work / "in.tif", out, "--overlay", "--engine", "lcms"}, kExitLink, out,
                  "the lcms engine gives no gamut answer");
}

TEST_F(ProofEngineTest, AutoRefusesAGamutRunWithAStepBeyondTheNativeEngine) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("colord-sRGB.icc"));
    Image(TiffSpec{});
    const std::string out = work / "mask.tif";
    // The overlay's proof goes to a monitor of parametric curves, which needs lcms2; its gamut
    // answer needs the native engine.
    ExpectRefused({"gamut", work / "in.tif", out, "--overlay", "--monitor", ParametricMonitor()},
                  kExitLink, out, "only the native engine gives the gamut answer");
    // A black-keeping printer intent is carried out by lcms2 alone.
    ASSERT_TRUE(usm.PutInt(IniCpOutputRi, IntentPerceptualKeepK));
    ExpectRefused({"gamut", work / "in.tif", out}, kExitLink, out, "keeps black");
}

TEST_F(ProofEngineTest, IcmEngineIsRefusedForProofAndGamut) {
    Image(TiffSpec{});
    const std::string out = work / "out.tif";
    ExpectRefused({"proof", work / "in.tif", out, "--engine", "icm"}, kExitLink, out,
                  "the icm engine has no preview or gamut step");
    ExpectRefused({"gamut", work / "in.tif", out, "--engine", "icm"}, kExitLink, out,
                  "the icm engine has no preview or gamut step");
}

TEST_F(ProofEngineTest, UnknownEngineIsAUsageError) {
    Image(TiffSpec{});
    const std::string out = work / "proof.tif";
    const RunResult r = Run({"proof", work / "in.tif", out, "--engine", "fast"});
    EXPECT_EQ(r.code, kExitUsage) << r.err;
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(ProofEngineTest, HelpOfProofAndGamutListsTheEngineOption) {
    for (const char* command : {"proof", "gamut"}) {
        const RunResult r = Run({command, "--help"});
        EXPECT_EQ(r.code, 0);
        EXPECT_NE(r.out.find("--engine"), std::string::npos) << command;
    }
}

} // namespace
