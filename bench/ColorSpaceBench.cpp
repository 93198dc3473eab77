// Speed of the profile queries and the transform factories.
//
// InkLimit: GetProfileInkLimit on a printer profile of 33 grid points per axis and four
// outputs in B2A0, B2A1 and B2A2 (mft2): three tables read and walked node by node.
// Factory/LabToDev: CreateLabToDevTrans end to end on that printer, beside Hand/LabToDev, the
// same link built by hand (CreateMdlColorLink, AddProfile, CreateLink); the difference is what
// the factory adds, chiefly the colour space's check of the profile through the record cache.
// At the end the figures are printed as milliseconds per call.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "base/IniEntries.h"
#include "colorlink/Factories.h"
#include "colorspace/ProfileQueries.h"
#include "common/PrintEnv.h"
#include "common/PrintUSM.h"
#include "icc/IccProfileGen.h"

namespace {

constexpr unsigned kGridPoints = 33;
constexpr unsigned kInks = 4;

// A smooth Lab-to-CMYK-like table: inks fall with lightness and rise with chroma.
class CPrinterTab : public CMTab {
public:
    CPrinterTab() {
        inputChan = 3;
        outputChan = kInks;
        clutPoints = kGridPoints;
        inputEnt = 2;
        outputEnt = 2;
    }
    unsigned short InputValue(unsigned entry, unsigned) const override { return entry ? 65535 : 0; }
    unsigned short OutputValue(unsigned entry, unsigned) const override {
        return entry ? 65535 : 0;
    }
    int NodeValues16(unsigned node, unsigned short* values) const override {
        const unsigned n = kGridPoints;
        if (node >= n * n * n) return 0;
        const double l = double(node / (n * n)) / (n - 1);
        const double a = double(node / n % n) / (n - 1) - 0.5;
        const double b = double(node % n) / (n - 1) - 0.5;
        const double c = std::hypot(a, b);
        const double ink[kInks] = {1 - l + a, 1 - l - a + b, 1 - l - b, (1 - l) * (1 - c)};
        for (unsigned k = 0; k < kInks; ++k)
            values[k] = (unsigned short)(std::lround(std::fmin(std::fmax(ink[k], 0), 1) * 65535));
        return 1;
    }
    int NodeValues8(unsigned node, unsigned char* values) const override {
        unsigned short v[kInks];
        if (!NodeValues16(node, v)) return 0;
        for (unsigned k = 0; k < kInks; ++k) values[k] = (unsigned char)(v[k] / 257);
        return 1;
    }
};

// The profile and a settings file of its own, in a temporary folder removed at exit.
struct Fixture {
    Fixture() {
        dir = std::filesystem::temp_directory_path() /
              ("kvr-colorspace-bench-" + std::to_string(::getpid()));
        std::filesystem::create_directories(dir);
        profile = (dir / "printer.icc").wstring();
        CIccProfileGen1 gen(nullptr);
        gen.SetHeader(icSigOutputClass, icSigCmykData, icSigLabData, icPerceptual);
        gen.AddProfileDescriptionTag("bench printer");
        const CPrinterTab tab;
        for (uint32_t sig : {icSigBToA0Tag, icSigBToA1Tag, icSigBToA2Tag})
            gen.AddLut16Tag(icTagSignature(sig), tab);
        ok = gen.OnSaveDocument(profile.c_str()) != 0;
        usm = std::make_unique<CPrintUSM>((dir / "kvrcolor.ini").wstring());
        env = std::make_unique<CPrintEnv>(
            usm.get(), profile, false,
            std::vector<enmDevicePrimColor>{DpcCyan, DpcMagenta, DpcYellow, DpcBlack});
        ctx = std::make_unique<CPrintEnvContext>(env.get());
        if (!ok) std::fprintf(stderr, "cannot write the bench profile\n");
    }
    ~Fixture() {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    std::filesystem::path dir;
    std::wstring profile;
    bool ok = false;
    std::unique_ptr<CPrintUSM> usm;
    std::unique_ptr<CPrintEnv> env;
    std::unique_ptr<CPrintEnvContext> ctx;
};

Fixture& F() {
    static Fixture f;
    return f;
}

void InkLimit(benchmark::State& state) {
    if (!F().ok) return state.SkipWithError("no profile");
    int limit = 0;
    for (auto _ : state) {
        limit = GetProfileInkLimit(nullptr, F().profile.c_str());
        benchmark::DoNotOptimize(limit);
    }
    state.counters["limit_percent"] = limit;
}

void FactoryLabToDev(benchmark::State& state) {
    if (!F().ok) return state.SkipWithError("no profile");
    for (auto _ : state) {
        std::unique_ptr<CMdlColorLink> link(CreateLabToDevTrans(F().ctx.get(), IntentPerceptual));
        if (!link) return state.SkipWithError("the factory gave no link");
        benchmark::DoNotOptimize(link.get());
    }
}

void HandLabToDev(benchmark::State& state) {
    if (!F().ok) return state.SkipWithError("no profile");
    for (auto _ : state) {
        std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(F().usm.get()));
        if (!link->AddProfile(F().profile.c_str(), CMdlColorLink::ProfStepPcsToDev,
                              IntentPerceptual) ||
            !link->CreateLink(CMdlColorLink::LinkFmtLab, 3, CMdlColorLink::LinkFmtCmyk, 4))
            return state.SkipWithError("the link by hand could not be built");
        benchmark::DoNotOptimize(link.get());
    }
}

class MillisecondReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (!r.error_occurred && r.run_type == Run::RT_Iteration && r.iterations > 0)
                perCall[r.benchmark_name()] = r.real_accumulated_time * 1000.0 / r.iterations;
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> perCall;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark("InkLimit/33pt_4out", InkLimit)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("Factory/LabToDev", FactoryLabToDev)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("Hand/LabToDev", HandLabToDev)->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    MillisecondReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nmilliseconds per call (wall time):\n");
    for (const auto& [name, ms] : reporter.perCall)
        std::printf("  %-20s %10.3f\n", name.c_str(), ms);
    benchmark::Shutdown();
    return 0;
}
