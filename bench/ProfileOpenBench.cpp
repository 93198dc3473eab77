// Opening a profile: the reader's load of the default printer profile (2.5 MB, A2B, B2A, gamut
// and preview tables), alone, with its MD5, and with the one table a link step reads, beside
// lcms2 opening the same file and reading the same table.
#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <string>

#include "icc/IccProfile.h"

namespace {

const std::string kPath = std::string(KVR_PROFILE_DIR) + "/Printer/kvr-cmyk.icc";
const std::wstring kWidePath(kPath.begin(), kPath.end());

void OpenOnly(benchmark::State& state) {
    for (auto _ : state) {
        CIccProfileRead profile(nullptr);
        if (!profile.Open(kWidePath.c_str())) state.SkipWithError("profile does not load");
        benchmark::DoNotOptimize(profile.Header().size);
    }
}

void OpenAndDigest(benchmark::State& state) {
    for (auto _ : state) {
        CIccProfileRead profile(nullptr);
        if (!profile.Open(kWidePath.c_str())) state.SkipWithError("profile does not load");
        benchmark::DoNotOptimize(profile.GetProfileMD5String());
    }
}

void OpenAndReadTable(benchmark::State& state) {
    for (auto _ : state) {
        CIccProfileRead profile(nullptr);
        if (!profile.Open(kWidePath.c_str())) state.SkipWithError("profile does not load");
        benchmark::DoNotOptimize(profile.FindTagData(icSigBToA1Tag, nullptr));
    }
}

void LcmsOpenAndReadTable(benchmark::State& state) {
    for (auto _ : state) {
        cmsHPROFILE profile = cmsOpenProfileFromFile(kPath.c_str(), "r");
        if (!profile) state.SkipWithError("lcms2 cannot open the profile");
        benchmark::DoNotOptimize(cmsReadTag(profile, cmsSigBToA1Tag));
        cmsCloseProfile(profile);
    }
}

} // namespace

BENCHMARK(OpenOnly)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenAndDigest)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenAndReadTable)->Unit(benchmark::kMicrosecond);
BENCHMARK(LcmsOpenAndReadTable)->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
