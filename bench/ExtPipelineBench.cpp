// The extended 16-bit pipelines beside lcms2 pipelines of the same shape: the five-stage
// A-to-B form (curves, grid, curves, matrix, curves) on three and four inputs, and the
// matrix/shaper form (curves, matrix, curves) without a grid. Time per pixel on random inputs.
#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <cmath>
#include <memory>
#include <random>
#include <type_traits>
#include <vector>

#include "gridtable/TabMftX.h"

namespace {

constexpr unsigned kPixels = 1 << 16;

// A smooth, non-linear map to fill the grids.
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

// Host-order curv records of gamma g, one per channel.
std::vector<uint32_t> GammaCurves(unsigned channels, double g) {
    std::vector<uint32_t> w;
    for (unsigned c = 0; c < channels; ++c) {
        w.push_back(icSigCurveType);
        w.push_back(0);
        w.push_back(1);
        w.push_back(static_cast<uint32_t>(std::lround((g + 0.1 * c) * 256))); // gamma, pad
    }
    return w;
}

cmsStage* LcmsGammaCurves(unsigned channels, double g) {
    std::vector<cmsToneCurve*> curves(channels);
    for (unsigned c = 0; c < channels; ++c)
        curves[c] = cmsBuildGamma(nullptr, std::lround((g + 0.1 * c) * 256) / 256.0);
    cmsStage* stage = cmsStageAllocToneCurves(nullptr, channels, curves.data());
    for (cmsToneCurve* curve : curves) cmsFreeToneCurve(curve);
    return stage;
}

// A mild colour matrix with small offsets, as 16.16 numbers and as doubles.
const double kMatrix[9] = {0.9, 0.05, 0.05, 0.1, 0.8, 0.1, 0.0, 0.1, 0.9};
const double kOffsets[3] = {0.01, 0.0, -0.01};

std::vector<int32_t> MatrixValues() {
    std::vector<int32_t> v(12);
    for (int i = 0; i < 9; ++i) v[i] = static_cast<int32_t>(std::lround(kMatrix[i] * 65536));
    for (int i = 0; i < 3; ++i) v[9 + i] = static_cast<int32_t>(std::lround(kOffsets[i] * 65536));
    return v;
}

std::vector<uint16_t> RandomInputs(unsigned channels) {
    std::vector<uint16_t> v(size_t(kPixels) * channels);
    std::mt19937 gen(12345);
    std::uniform_int_distribution<int> dist(0, 65535);
    for (uint16_t& s : v) s = static_cast<uint16_t>(dist(gen));
    return v;
}

template <class F> void Run(benchmark::State& state, unsigned inputs, F&& apply) {
    const std::vector<uint16_t> in = RandomInputs(inputs);
    std::vector<uint16_t> out(size_t(kPixels) * 3);
    for (auto _ : state) {
        for (unsigned p = 0; p < kPixels; ++p)
            apply(in.data() + size_t(p) * inputs, out.data() + size_t(p) * 3);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kPixels);
}

// Our five-stage pipeline on `inputs` inputs and lcms2's of the same stages and contents.
template <class X> std::unique_ptr<X> MakeOurs(unsigned points, unsigned inputs) {
    std::unique_ptr<X> f;
    if constexpr (std::is_same_v<X, CFunc_16Tab3MftX>)
        f = std::make_unique<X>(points, 3, false);
    else
        f = std::make_unique<X>(points, 3);
    const auto a = GammaCurves(inputs, 1.8), m = GammaCurves(3, 1.2), b = GammaCurves(3, 0.9);
    f->DefineInputTabByIccTag(a.data());
    f->Mft().DefineByFunc(SmoothFunc16(inputs, 3));
    f->DefineMiddleTabByIccTag(m.data());
    f->DefineMatrix(MatrixValues().data());
    f->DefineOutputTabByIccTag(b.data());
    f->InitMftTrn();
    return f;
}

cmsPipeline* MakeLcms(const CMft_16& grid, unsigned points, unsigned inputs) {
    cmsPipeline* p = cmsPipelineAlloc(nullptr, inputs, 3);
    cmsPipelineInsertStage(p, cmsAT_END, LcmsGammaCurves(inputs, 1.8));
    cmsPipelineInsertStage(p, cmsAT_END,
                           cmsStageAllocCLut16bit(nullptr, points, inputs, 3, grid.Table()));
    cmsPipelineInsertStage(p, cmsAT_END, LcmsGammaCurves(3, 1.2));
    cmsPipelineInsertStage(p, cmsAT_END, cmsStageAllocMatrix(nullptr, 3, 3, kMatrix, kOffsets));
    cmsPipelineInsertStage(p, cmsAT_END, LcmsGammaCurves(3, 0.9));
    return p;
}

void Tab3MftX33_Ours(benchmark::State& s) {
    const auto f = MakeOurs<CFunc_16Tab3MftX>(33, 3);
    Run(s, 3, [&](const uint16_t* i, uint16_t* o) { f->Trn(i, o); });
}
void Tab3MftX33_Lcms(benchmark::State& s) {
    const auto f = MakeOurs<CFunc_16Tab3MftX>(33, 3);
    cmsPipeline* p = MakeLcms(f->Mft(), 33, 3);
    Run(s, 3, [&](const uint16_t* i, uint16_t* o) { cmsPipelineEval16(i, o, p); });
    cmsPipelineFree(p);
}
void Tab4MftX17_Ours(benchmark::State& s) {
    const auto f = MakeOurs<CFunc_16Tab4MftX>(17, 4);
    Run(s, 4, [&](const uint16_t* i, uint16_t* o) { f->Trn(i, o); });
}
void Tab4MftX17_Lcms(benchmark::State& s) {
    const auto f = MakeOurs<CFunc_16Tab4MftX>(17, 4);
    cmsPipeline* p = MakeLcms(f->Mft(), 17, 4);
    Run(s, 4, [&](const uint16_t* i, uint16_t* o) { cmsPipelineEval16(i, o, p); });
    cmsPipelineFree(p);
}

// Matrix/shaper: curves, matrix, output curves; no grid.
void MatrixShaper_Ours(benchmark::State& s) {
    CMatrix3 m;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) m[c][r] = kMatrix[r * 3 + c]; // the stage reads m[c] as column
    CFunc_16Tab3MatrixMft f(m, 3, 0);
    const auto a = GammaCurves(3, 2.2);
    CFunc_16Tab curves(3, nullptr, 0);
    curves.DefineByIccCurves(a.data());
    f.DefineInputTab(curves.pRawTab(), curves.entries());
    f.InitMftTrn();
    Run(s, 3, [&](const uint16_t* i, uint16_t* o) { f.Trn(i, o); });
}
void MatrixShaper_Lcms(benchmark::State& s) {
    cmsPipeline* p = cmsPipelineAlloc(nullptr, 3, 3);
    cmsPipelineInsertStage(p, cmsAT_END, LcmsGammaCurves(3, 2.2));
    cmsPipelineInsertStage(p, cmsAT_END, cmsStageAllocMatrix(nullptr, 3, 3, kMatrix, nullptr));
    cmsPipelineInsertStage(p, cmsAT_END, LcmsGammaCurves(3, 1.0));
    Run(s, 3, [&](const uint16_t* i, uint16_t* o) { cmsPipelineEval16(i, o, p); });
    cmsPipelineFree(p);
}

BENCHMARK(Tab3MftX33_Ours);
BENCHMARK(Tab3MftX33_Lcms);
BENCHMARK(Tab4MftX17_Ours);
BENCHMARK(Tab4MftX17_Lcms);
BENCHMARK(MatrixShaper_Ours);
BENCHMARK(MatrixShaper_Lcms);

} // namespace

BENCHMARK_MAIN();
