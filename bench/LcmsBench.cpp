// Speed of the lcms back-end and the lcms wrapper.
//
// Pixels/...  sRGB to a CMYK printer, perceptual, one call per iteration over a 1-megapixel
//             image of random pixels:
//               LcmsLink8      the lcms back-end's TrnPixels8, which converts one pixel per
//                              cmsDoTransform call through a 16-bit transform (as designed)
//               LcmsLink16     its TrnPixels16, one cmsDoTransform for the whole run
//               Native8/16     the native link's TrnPixels8 / TrnPixels16
//               Lcms2_8/16     a plain cmsDoTransform of an 8-bit / 16-bit lcms2 transform
// CreateTransform/...  the wrapper's CreateTransform for Lab to the printer:
//               Hit            the pool holds the transform: the profile is opened and hashed
//               Miss           a new, empty pool each time: the transform is built as well
// Items are pixels, or transforms; single-threaded, timed by CPU time.
//
//   bench_LcmsBench --benchmark_repetitions=3
#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "colorlink/lcms/LcmsColorLink.h"
#include "colorlink/lcms/LcmsTransform.h"
#include "colorlink/lcms/LcmsTransformPool.h"
#include "colorlink/native/ColorLink.h"

namespace {

constexpr size_t kPixels = 1u << 20;

const char* const kSrgb = "/usr/share/color/icc/sRGB.icc";
const char* const kPrinter = "/usr/share/color/icc/ghostscript/default_cmyk.icc";

std::wstring Wide(const char* s) {
    return std::wstring(s, s + std::char_traits<char>::length(s));
}

template <class Link> std::unique_ptr<CMdlColorLink> Build() {
    auto link = std::make_unique<Link>(nullptr);
    if (!link->AddProfile(Wide(kSrgb).c_str(), CMdlColorLink::ProfStepDevToPcs, IntentPerceptual) ||
        !link->AddProfile(Wide(kPrinter).c_str(), CMdlColorLink::ProfStepPcsToDev,
                          IntentPerceptual) ||
        !link->CreateLink(CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4))
        return nullptr;
    return link;
}

cmsHTRANSFORM BuildLcms(bool wide) {
    cmsHPROFILE in = cmsOpenProfileFromFile(kSrgb, "r");
    cmsHPROFILE out = cmsOpenProfileFromFile(kPrinter, "r");
    cmsHTRANSFORM t = nullptr;
    if (in && out)
        t = cmsCreateTransform(in, wide ? TYPE_RGB_16 : TYPE_RGB_8, out,
                               wide ? TYPE_CMYK_16 : TYPE_CMYK_8, INTENT_PERCEPTUAL, 0);
    if (in) cmsCloseProfile(in);
    if (out) cmsCloseProfile(out);
    return t;
}

template <class T> const std::vector<T>& Image() {
    static std::vector<T> v = [] {
        std::vector<T> img(kPixels * 3);
        uint64_t s = 0x9E3779B97F4A7C15ull;
        for (auto& x : img) {
            s ^= s << 13;
            s ^= s >> 7;
            s ^= s << 17;
            x = T(s);
        }
        return img;
    }();
    return v;
}

template <class T> std::vector<T>& Output() {
    static std::vector<T> out(kPixels * 4);
    return out;
}

template <class Link, class T> void LinkPixels(benchmark::State& state) {
    static std::unique_ptr<CMdlColorLink> link = Build<Link>();
    if (!link) {
        state.SkipWithError("the link cannot be built from the installed profiles");
        return;
    }
    const auto& in = Image<T>();
    auto& out = Output<T>();
    for (auto _ : state) {
        if constexpr (sizeof(T) == 1)
            link->TrnPixels8(in.data(), out.data(), unsigned(kPixels));
        else
            link->TrnPixels16(in.data(), out.data(), unsigned(kPixels));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kPixels));
}

template <class T> void LcmsPixels(benchmark::State& state) {
    static cmsHTRANSFORM t = BuildLcms(sizeof(T) == 2);
    if (!t) {
        state.SkipWithError("lcms2 cannot build the transform from the installed profiles");
        return;
    }
    const auto& in = Image<T>();
    auto& out = Output<T>();
    for (auto _ : state) {
        cmsDoTransform(t, in.data(), out.data(), cmsUInt32Number(kPixels));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kPixels));
}

void CreateTransformOnce(ILcmsTransformPool& pool) {
    CLcmsTransform t(pool);
    t.AddProfile(Wide(kPrinter), INTENT_PERCEPTUAL, 0);
    t.CreateTransform(2, 3, 4, 4);
    benchmark::DoNotOptimize(t.Transform());
}

void CreateTransformHit(benchmark::State& state) {
    CLcmsTransformPool pool;
    CreateTransformOnce(pool); // fills the pool
    for (auto _ : state) CreateTransformOnce(pool);
    state.SetItemsProcessed(int64_t(state.iterations()));
}

void CreateTransformMiss(benchmark::State& state) {
    for (auto _ : state) {
        CLcmsTransformPool pool;
        CreateTransformOnce(pool);
    }
    state.SetItemsProcessed(int64_t(state.iterations()));
}

} // namespace

BENCHMARK(LinkPixels<CLcmsColorLink, uint8_t>)
    ->Name("Pixels/LcmsLink8")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(LinkPixels<CLcmsColorLink, uint16_t>)
    ->Name("Pixels/LcmsLink16")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(LinkPixels<CColorLink, uint8_t>)->Name("Pixels/Native8")->Unit(benchmark::kMillisecond);
BENCHMARK(LinkPixels<CColorLink, uint16_t>)->Name("Pixels/Native16")->Unit(benchmark::kMillisecond);
BENCHMARK(LcmsPixels<uint8_t>)->Name("Pixels/Lcms2_8")->Unit(benchmark::kMillisecond);
BENCHMARK(LcmsPixels<uint16_t>)->Name("Pixels/Lcms2_16")->Unit(benchmark::kMillisecond);
BENCHMARK(CreateTransformHit)->Name("CreateTransform/Hit")->Unit(benchmark::kMicrosecond);
BENCHMARK(CreateTransformMiss)->Name("CreateTransform/Miss")->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
