// Speed of grid interpolation against lcms2 on grids of the same size and contents.
//
// Ours: Trn of CMft3_16 and CMft3_8 (33 points) and of CMft4_16 and CMft4_8 (17 points), four
// outputs, called per pixel through the base class as a link does. lcms2: a 16-bit CLUT stage
// of the same grid, once through cmsPipelineEval16 on a pipeline holding only that stage (that
// path converts to float and back around the stage), and once through the stage's own 16-bit
// interpolator, the routine an optimised lcms2 transform ends up calling per pixel.
// Inputs: 64K pixels per iteration, uniformly random or a slowly varying gradient.
// At the end a table gives ns per pixel and the ratio lcms2 / ours per case.
#include <benchmark/benchmark.h>
#include <lcms2.h>
#include <lcms2_plugin.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"

namespace {

constexpr unsigned kPixels = 65536;
constexpr unsigned kOutputs = 4;

// Interleaved input pixels of `chans` channels, 16 bits.
std::vector<uint16_t> RandomPixels(unsigned chans, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, 65535);
    std::vector<uint16_t> v(kPixels * chans);
    for (auto& x : v) x = uint16_t(any(rng));
    return v;
}

// A 256 x 256 image of smooth ramps: neighbouring pixels fall into the same or the next cell.
std::vector<uint16_t> SmoothPixels(unsigned chans) {
    std::vector<uint16_t> v(kPixels * chans);
    for (unsigned y = 0; y < 256; ++y)
        for (unsigned x = 0; x < 256; ++x) {
            uint16_t* p = &v[(y * 256 + x) * chans];
            p[0] = uint16_t(x * 257);
            p[1] = uint16_t(y * 257);
            p[2] = uint16_t((x + y) * 65535 / 510);
            if (chans == 4) p[3] = uint16_t((255 - x) * 128 + y * 64);
        }
    return v;
}

std::vector<uint8_t> HighBytes(const std::vector<uint16_t>& v) {
    std::vector<uint8_t> r(v.size());
    for (size_t i = 0; i < v.size(); ++i) r[i] = uint8_t(v[i] >> 8);
    return r;
}

struct Inputs {
    std::vector<uint16_t> random16[5], smooth16[5]; // by channel count 3, 4
    std::vector<uint8_t> random8[5], smooth8[5];
};

const Inputs& GetInputs() {
    static const Inputs in = [] {
        Inputs r;
        for (unsigned c : {3u, 4u}) {
            r.random16[c] = RandomPixels(c, 1000 + c);
            r.smooth16[c] = SmoothPixels(c);
            r.random8[c] = HighBytes(r.random16[c]);
            r.smooth8[c] = HighBytes(r.smooth16[c]);
        }
        return r;
    }();
    return in;
}

// The grids, one set of 16-bit contents per input count; the 8-bit grids take the high bytes.
struct Grids {
    std::vector<uint16_t> data3, data4;
    std::unique_ptr<CMft_16> mft3_16, mft4_16;
    std::unique_ptr<CMft_8> mft3_8, mft4_8;
    cmsPipeline* pipe3 = nullptr;
    cmsPipeline* pipe4 = nullptr;
    cmsInterpParams* interp3 = nullptr;
    cmsInterpParams* interp4 = nullptr;

    static cmsPipeline* Pipeline(unsigned inputs, unsigned points, const uint16_t* table,
                                 cmsInterpParams** interp) {
        cmsStage* stage = cmsStageAllocCLut16bit(nullptr, points, inputs, kOutputs, table);
        cmsPipeline* p = cmsPipelineAlloc(nullptr, inputs, kOutputs);
        cmsPipelineInsertStage(p, cmsAT_END, stage);
        *interp = static_cast<_cmsStageCLutData*>(cmsStageData(stage))->Params;
        return p;
    }

    Grids() {
        auto c3 = std::make_unique<CMft3_16>(33, kOutputs);
        auto c4 = std::make_unique<CMft4_16>(17, kOutputs);
        // Smooth contents with some random detail, as a real colour table has.
        std::mt19937 rng(7);
        std::uniform_int_distribution<int> noise(-800, 800);
        auto fill = [&](CMft_16& m, std::vector<uint16_t>& data) {
            data.resize(m.TabEntries());
            std::vector<uint16_t> p(m.inputChan());
            for (unsigned n = 0; n < m.TabCount(); ++n) {
                m.GenPoint(n, p.data());
                for (unsigned c = 0; c < kOutputs; ++c) {
                    int v = p[c % p.size()] / 2 + p[(c + 1) % p.size()] / 3 + noise(rng);
                    data[n * kOutputs + c] = uint16_t(std::clamp(v, 0, 65535));
                }
            }
            m.Define(data.data());
            m.InitTrn();
        };
        fill(*c3, data3);
        fill(*c4, data4);
        auto e3 = std::make_unique<CMft3_8>(33, kOutputs);
        auto e4 = std::make_unique<CMft4_8>(17, kOutputs);
        std::vector<uint8_t> h3(data3.size()), h4(data4.size());
        for (size_t i = 0; i < h3.size(); ++i) h3[i] = uint8_t(data3[i] >> 8);
        for (size_t i = 0; i < h4.size(); ++i) h4[i] = uint8_t(data4[i] >> 8);
        e3->Define(h3.data());
        e3->InitTrn();
        e4->Define(h4.data());
        e4->InitTrn();
        mft3_16 = std::move(c3);
        mft4_16 = std::move(c4);
        mft3_8 = std::move(e3);
        mft4_8 = std::move(e4);
        pipe3 = Pipeline(3, 33, data3.data(), &interp3);
        pipe4 = Pipeline(4, 17, data4.data(), &interp4);
    }
    ~Grids() {
        cmsPipelineFree(pipe3);
        cmsPipelineFree(pipe4);
    }
};

const Grids& GetGrids() {
    static const Grids g;
    return g;
}

// Runs `apply(in, out)` once per pixel of `pixels`, kPixels pixels per iteration.
template <class Sample, class Apply>
void RunPixels(benchmark::State& state, const std::vector<Sample>& pixels, unsigned chans,
               Apply apply) {
    std::vector<Sample> out(kPixels * kOutputs);
    for (auto _ : state) {
        const Sample* in = pixels.data();
        Sample* o = out.data();
        for (unsigned n = 0; n < kPixels; ++n, in += chans, o += kOutputs) apply(in, o);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kPixels);
    // Seconds per pixel, shown with its SI prefix (e.g. "21.8ns").
    state.counters["per_px"] =
        benchmark::Counter(double(state.iterations()) * kPixels,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Collects the CPU time per pixel of every run, for the closing table. CPU time rather than
// real time, so that other work on a shared machine disturbs the ratios less.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (!r.error_occurred && r.run_type == Run::RT_Iteration && r.iterations > 0)
                nsPerPixel[r.benchmark_name()] =
                    r.cpu_accumulated_time * 1e9 / double(r.iterations) / kPixels;
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> nsPerPixel;
};

void PrintRatios(const RatioReporter& rep) {
    auto get = [&](const std::string& name) {
        auto it = rep.nsPerPixel.find(name);
        return it == rep.nsPerPixel.end() ? 0.0 : it->second;
    };
    std::printf(
        "\nns per pixel (CPU time), 4 outputs, %u pixels per iteration; ratio = lcms2 / ours\n",
        kPixels);
    std::printf("%-26s %9s %14s %7s %14s %7s\n", "case", "ours", "lcms2 pipeline", "ratio",
                "lcms2 interp", "ratio");
    const struct {
        const char* ours;
        const char* lcms;
    } cases[] = {{"CMft3_16", "3in_33pt"},
                 {"CMft3_8", "3in_33pt"},
                 {"CMft4_16", "4in_17pt"},
                 {"CMft4_8", "4in_17pt"}};
    for (const char* input : {"random", "smooth"})
        for (const auto& c : cases) {
            const double ours = get(std::string("Ours/") + c.ours + "/" + input);
            const double pipe = get(std::string("Lcms2Pipeline/") + c.lcms + "/" + input);
            const double interp = get(std::string("Lcms2Interp/") + c.lcms + "/" + input);
            if (ours <= 0) continue; // filtered out
            const std::string name = std::string(c.ours) + " " + input;
            std::printf("%-26s %9.2f %14.2f %7.2f %14.2f %7.2f\n", name.c_str(), ours, pipe,
                        pipe > 0 ? pipe / ours : 0.0, interp, interp > 0 ? interp / ours : 0.0);
        }
    std::printf("(the 8-bit classes are set beside lcms2's 16-bit evaluation of the same grid)\n");
}

// How far our 16-bit results lie from lcms2's on the same grid: both interpolate the same
// nodes, with their own schemes and rounding.
void PrintAgreement() {
    const Grids& g = GetGrids();
    const Inputs& in = GetInputs();
    unsigned max3 = 0, max4 = 0;
    uint16_t a[kOutputs], b[kOutputs];
    for (unsigned n = 0; n < kPixels; ++n) {
        g.mft3_16->Trn(&in.random16[3][n * 3], a);
        g.interp3->Interpolation.Lerp16(&in.random16[3][n * 3], b, g.interp3);
        for (unsigned c = 0; c < kOutputs; ++c)
            max3 = std::max(max3, unsigned(std::abs(a[c] - b[c])));
        g.mft4_16->Trn(&in.random16[4][n * 4], a);
        g.interp4->Interpolation.Lerp16(&in.random16[4][n * 4], b, g.interp4);
        for (unsigned c = 0; c < kOutputs; ++c)
            max4 = std::max(max4, unsigned(std::abs(a[c] - b[c])));
    }
    // Three inputs: the same six tetrahedra, so only rounding differs. Four inputs: lcms2 blends
    // two three-input results along the first input instead of using the 4-D simplex, so the
    // two differ inside a cell by up to the grid's own node-to-node detail.
    std::printf("largest difference to lcms2 on the random inputs, 16 bits: 3 inputs %u units, "
                "4 inputs %u units (other scheme)\n",
                max3, max4);
}

void Register() {
    for (const char* input : {"random", "smooth"}) {
        const bool rnd = std::string(input) == "random";
        auto px16 = [rnd](unsigned c) -> const std::vector<uint16_t>& {
            return rnd ? GetInputs().random16[c] : GetInputs().smooth16[c];
        };
        auto px8 = [rnd](unsigned c) -> const std::vector<uint8_t>& {
            return rnd ? GetInputs().random8[c] : GetInputs().smooth8[c];
        };
        const std::string tail = std::string("/") + input;
        benchmark::RegisterBenchmark(("Ours/CMft3_16" + tail).c_str(), [=](benchmark::State& s) {
            const CFunc_16& f = *GetGrids().mft3_16;
            RunPixels(s, px16(3), 3, [&](const uint16_t* i, uint16_t* o) { f.Trn(i, o); });
        });
        benchmark::RegisterBenchmark(("Ours/CMft4_16" + tail).c_str(), [=](benchmark::State& s) {
            const CFunc_16& f = *GetGrids().mft4_16;
            RunPixels(s, px16(4), 4, [&](const uint16_t* i, uint16_t* o) { f.Trn(i, o); });
        });
        benchmark::RegisterBenchmark(("Ours/CMft3_8" + tail).c_str(), [=](benchmark::State& s) {
            const CFunc_8& f = *GetGrids().mft3_8;
            RunPixels(s, px8(3), 3, [&](const uint8_t* i, uint8_t* o) { f.Trn(i, o); });
        });
        benchmark::RegisterBenchmark(("Ours/CMft4_8" + tail).c_str(), [=](benchmark::State& s) {
            const CFunc_8& f = *GetGrids().mft4_8;
            RunPixels(s, px8(4), 4, [&](const uint8_t* i, uint8_t* o) { f.Trn(i, o); });
        });
        benchmark::RegisterBenchmark(
            ("Lcms2Pipeline/3in_33pt" + tail).c_str(), [=](benchmark::State& s) {
                const cmsPipeline* p = GetGrids().pipe3;
                RunPixels(s, px16(3), 3,
                          [&](const uint16_t* i, uint16_t* o) { cmsPipelineEval16(i, o, p); });
            });
        benchmark::RegisterBenchmark(
            ("Lcms2Pipeline/4in_17pt" + tail).c_str(), [=](benchmark::State& s) {
                const cmsPipeline* p = GetGrids().pipe4;
                RunPixels(s, px16(4), 4,
                          [&](const uint16_t* i, uint16_t* o) { cmsPipelineEval16(i, o, p); });
            });
        benchmark::RegisterBenchmark(
            ("Lcms2Interp/3in_33pt" + tail).c_str(), [=](benchmark::State& s) {
                const cmsInterpParams* p = GetGrids().interp3;
                RunPixels(s, px16(3), 3, [&](const uint16_t* i, uint16_t* o) {
                    p->Interpolation.Lerp16(i, o, p);
                });
            });
        benchmark::RegisterBenchmark(
            ("Lcms2Interp/4in_17pt" + tail).c_str(), [=](benchmark::State& s) {
                const cmsInterpParams* p = GetGrids().interp4;
                RunPixels(s, px16(4), 4, [&](const uint16_t* i, uint16_t* o) {
                    p->Interpolation.Lerp16(i, o, p);
                });
            });
    }
}

} // namespace

int main(int argc, char** argv) {
    Register();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    PrintRatios(reporter);
    PrintAgreement();
    benchmark::Shutdown();
    return 0;
}
