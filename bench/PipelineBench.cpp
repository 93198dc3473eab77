// The 16-bit table pipelines (curves, grid, curves) beside an lcms2 pipeline of the same
// shape and contents: tone curves from the same tables, a 16-bit CLUT with the same nodes,
// tone curves, evaluated by cmsPipelineEval16. Random inputs jump through the whole grid;
// smooth inputs (a ramp image) walk through neighbouring cells, as most pictures do.
// Reported: time per pixel, and at the end the CPU nanoseconds per pixel of both and the ratio
// of ours to lcms2's.
#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "gridtable/TabMft.h"

namespace {

constexpr unsigned kPixels = 1 << 16;
constexpr unsigned kCurveEntries = 1024;

// A smooth, non-linear map used to fill both grids.
class SmoothFunc16 : public CFunc_16 {
public:
    SmoothFunc16(unsigned in, unsigned out) : CFunc_16(in, out) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        for (unsigned k = 0; k < outputChan(); ++k) {
            double y = 0;
            for (unsigned j = 0; j < inputChan(); ++j) {
                const double x = in[j] / 65535.0;
                y += ((j + k) % 2 ? x * x : std::sqrt(x)) * (k == j ? 2.0 : 0.5);
            }
            out[k] = static_cast<uint16_t>(std::min(y / (inputChan() + 1.5), 1.0) * 65535.0);
        }
        return 1;
    }
};

// Curves of a few gamma shapes, kCurveEntries per channel.
std::vector<uint16_t> Curves(unsigned channels, double base) {
    std::vector<uint16_t> t(channels * kCurveEntries);
    for (unsigned c = 0; c < channels; ++c)
        for (unsigned i = 0; i < kCurveEntries; ++i)
            t[c * kCurveEntries + i] = static_cast<uint16_t>(
                std::pow(i / double(kCurveEntries - 1), base + 0.2 * c) * 65535.0 + 0.5);
    return t;
}

// Our pipeline and lcms2's, built from the same curves and the same grid.
template <class Pipeline> struct Pair {
    std::unique_ptr<Pipeline> ours;
    cmsPipeline* lcms = nullptr;

    Pair(unsigned points, unsigned inputs, unsigned outputs) {
        ours = std::make_unique<Pipeline>(points, outputs);
        const auto in = Curves(inputs, 0.8), out = Curves(outputs, 1.1);
        ours->DefineInputTab(in.data(), kCurveEntries);
        ours->DefineOutputTab(out.data(), kCurveEntries);
        ours->DefineByFunc(SmoothFunc16(inputs, outputs));
        ours->InitMftTrn();

        lcms = cmsPipelineAlloc(nullptr, inputs, outputs);
        cmsPipelineInsertStage(lcms, cmsAT_END, ToneCurves(in, inputs));
        cmsPipelineInsertStage(
            lcms, cmsAT_END,
            cmsStageAllocCLut16bit(nullptr, points, inputs, outputs, ours->Mft().Table()));
        cmsPipelineInsertStage(lcms, cmsAT_END, ToneCurves(out, outputs));
    }
    ~Pair() { cmsPipelineFree(lcms); }

    static cmsStage* ToneCurves(const std::vector<uint16_t>& t, unsigned channels) {
        std::vector<cmsToneCurve*> curves(channels);
        for (unsigned c = 0; c < channels; ++c)
            curves[c] =
                cmsBuildTabulatedToneCurve16(nullptr, kCurveEntries, t.data() + c * kCurveEntries);
        cmsStage* stage = cmsStageAllocToneCurves(nullptr, channels, curves.data());
        for (cmsToneCurve* curve : curves) cmsFreeToneCurve(curve); // the stage copied them
        return stage;
    }
};

// Interleaved inputs: random, or a ramp image of 256 x 256 pixels.
std::vector<uint16_t> Inputs(unsigned channels, bool random) {
    std::vector<uint16_t> v(size_t(kPixels) * channels);
    std::mt19937 gen(12345);
    std::uniform_int_distribution<int> dist(0, 65535);
    for (unsigned p = 0; p < kPixels; ++p) {
        const unsigned x = p % 256, y = p / 256;
        for (unsigned c = 0; c < channels; ++c) {
            uint16_t s;
            if (random)
                s = static_cast<uint16_t>(dist(gen));
            else if (c == 0)
                s = static_cast<uint16_t>(x * 257);
            else if (c == 1)
                s = static_cast<uint16_t>(y * 257);
            else
                s = static_cast<uint16_t>((x + y) * 128 + c * 1000);
            v[size_t(p) * channels + c] = s;
        }
    }
    return v;
}

void SetCounters(benchmark::State& state) {
    state.SetItemsProcessed(int64_t(state.iterations()) * kPixels);
    // Seconds per pixel, printed with its SI prefix (n for nanoseconds).
    state.counters["per_pixel"] =
        benchmark::Counter(double(kPixels), benchmark::Counter::kIsIterationInvariantRate |
                                                benchmark::Counter::kInvert);
}

template <class Pipeline>
void RunOurs(benchmark::State& state, unsigned points, unsigned inputs, bool random) {
    const Pair<Pipeline> pair(points, inputs, 4);
    const std::vector<uint16_t> in = Inputs(inputs, random);
    std::vector<uint16_t> out(size_t(kPixels) * 4);
    for (auto _ : state) {
        for (unsigned p = 0; p < kPixels; ++p)
            pair.ours->Trn(in.data() + size_t(p) * inputs, out.data() + size_t(p) * 4);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    SetCounters(state);
}

template <class Pipeline>
void RunLcms(benchmark::State& state, unsigned points, unsigned inputs, bool random) {
    const Pair<Pipeline> pair(points, inputs, 4);
    const std::vector<uint16_t> in = Inputs(inputs, random);
    std::vector<uint16_t> out(size_t(kPixels) * 4);
    for (auto _ : state) {
        for (unsigned p = 0; p < kPixels; ++p)
            cmsPipelineEval16(in.data() + size_t(p) * inputs, out.data() + size_t(p) * 4,
                              pair.lcms);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    SetCounters(state);
}

void Tab3Mft33_Ours_Random(benchmark::State& s) {
    RunOurs<CFunc_16Tab3Mft>(s, 33, 3, true);
}
void Tab3Mft33_Lcms_Random(benchmark::State& s) {
    RunLcms<CFunc_16Tab3Mft>(s, 33, 3, true);
}
void Tab3Mft33_Ours_Smooth(benchmark::State& s) {
    RunOurs<CFunc_16Tab3Mft>(s, 33, 3, false);
}
void Tab3Mft33_Lcms_Smooth(benchmark::State& s) {
    RunLcms<CFunc_16Tab3Mft>(s, 33, 3, false);
}
void Tab4Mft17_Ours_Random(benchmark::State& s) {
    RunOurs<CFunc_16Tab4Mft>(s, 17, 4, true);
}
void Tab4Mft17_Lcms_Random(benchmark::State& s) {
    RunLcms<CFunc_16Tab4Mft>(s, 17, 4, true);
}
void Tab4Mft17_Ours_Smooth(benchmark::State& s) {
    RunOurs<CFunc_16Tab4Mft>(s, 17, 4, false);
}
void Tab4Mft17_Lcms_Smooth(benchmark::State& s) {
    RunLcms<CFunc_16Tab4Mft>(s, 17, 4, false);
}

BENCHMARK(Tab3Mft33_Ours_Random);
BENCHMARK(Tab3Mft33_Lcms_Random);
BENCHMARK(Tab3Mft33_Ours_Smooth);
BENCHMARK(Tab3Mft33_Lcms_Smooth);
BENCHMARK(Tab4Mft17_Ours_Random);
BENCHMARK(Tab4Mft17_Lcms_Random);
BENCHMARK(Tab4Mft17_Ours_Smooth);
BENCHMARK(Tab4Mft17_Lcms_Smooth);

// Console output as usual, plus the CPU time per pixel of every run, kept for the ratios. CPU
// time, not wall time: on a shared machine it is the one that does not count other programs.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                nsPerPixel[run.benchmark_name()] =
                    run.cpu_accumulated_time * 1e9 / double(run.iterations) / kPixels;
    }
    std::map<std::string, double> nsPerPixel;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\n%-20s %12s %12s %14s\n", "shape and input", "ours ns/px", "lcms2 ns/px",
                "ours / lcms2");
    for (const char* shape : {"Tab3Mft33", "Tab4Mft17"})
        for (const char* kind : {"Random", "Smooth"}) {
            const std::string ours = std::string(shape) + "_Ours_" + kind;
            const std::string lcms = std::string(shape) + "_Lcms_" + kind;
            const auto o = reporter.nsPerPixel.find(ours), l = reporter.nsPerPixel.find(lcms);
            if (o == reporter.nsPerPixel.end() || l == reporter.nsPerPixel.end()) continue;
            std::printf("%-20s %12.1f %12.1f %14.3f\n", (std::string(shape) + " " + kind).c_str(),
                        o->second, l->second, o->second / l->second);
        }
    benchmark::Shutdown();
    return 0;
}
