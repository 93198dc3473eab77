// Speed of named-colour lookups in a dictionary of 10,000 names, beside lcms2.
//
// Ours: CNamedColorsProfile::LookupColorName with the full name (prefix and suffix included) in
// mixed case, for names that are there and for names that are not. lcms2: cmsNamedColorIndex on
// the same profile's list, with the bare name (lcms2 knows no prefix or suffix in a lookup); it
// searches the list from the start, comparing without regard to case. The queries are 4096
// names chosen at random, the same for both. At the end the figures are printed as lookups per
// second.
#include <benchmark/benchmark.h>
#include <lcms2.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "base/Settings.h"
#include "base/WideString.h"
#include "colorspace/NamedColorsProfile.h"
#include "icc/IccProfileGen.h"

namespace {

constexpr int kNames = 10000;
constexpr int kQueries = 4096;
constexpr int kChannels = 4;
const std::wstring kPrefix = L"PANTONE ";
const std::wstring kSuffix = L" C";

std::wstring BareName(int i) {
    return L"Spot " + std::to_wstring(100000 + i);
}

// Upper-cases every other letter, so that lookups do not get equal spelling for free.
std::wstring MixedCase(std::wstring s) {
    for (size_t k = 0; k < s.size(); k += 2)
        if (s[k] >= L'a' && s[k] <= L'z') s[k] = wchar_t(s[k] - L'a' + L'A');
    return s;
}

// The profile of kNames colours, written once to a temporary file and removed at exit.
struct Fixture {
    Fixture() {
        path = (std::filesystem::temp_directory_path() /
                ("kvr-named-bench-" + std::to_string(::getpid()) + ".icc"))
                   .string();
        CUserSettingsMgr usm;
        CIccProfileGen1 gen(&usm);
        gen.SetHeader(icSigNamedColorClass, icSigCmykData, icSigLabData, 3);
        std::vector<std::wstring> names;
        std::vector<ICC_threecolors> pcs;
        std::vector<unsigned short> device;
        for (int i = 0; i < kNames; ++i) {
            names.push_back(BareName(i));
            pcs.push_back({{uint16_t(i), uint16_t(2 * i), uint16_t(3 * i)}});
            for (int k = 0; k < kChannels; ++k) device.push_back(uint16_t(i + k));
        }
        gen.AddNamedColor2Tag(kNames, kChannels, kPrefix, kSuffix, names, pcs, device);
        if (!gen.OnSaveDocument(Utf8ToWide(path).c_str()) ||
            dict.LoadFromProfile(Utf8ToWide(path).c_str(), &usm) != 1 ||
            dict.GetCount() != kNames) {
            std::fprintf(stderr, "cannot make the dictionary of %d names\n", kNames);
            std::exit(1);
        }
        lcmsProfile = cmsOpenProfileFromFile(path.c_str(), "r");
        lcmsList =
            lcmsProfile
                ? static_cast<cmsNAMEDCOLORLIST*>(cmsReadTag(lcmsProfile, cmsSigNamedColor2Tag))
                : nullptr;
        if (!lcmsList) {
            std::fprintf(stderr, "lcms2 cannot read the dictionary\n");
            std::exit(1);
        }
        std::mt19937 rng(7);
        std::uniform_int_distribution<int> any(0, kNames - 1);
        for (int q = 0; q < kQueries; ++q) {
            const int i = any(rng);
            hits.push_back(MixedCase(kPrefix + BareName(i) + kSuffix));
            misses.push_back(MixedCase(kPrefix + BareName(kNames + i) + kSuffix));
            lcmsHits.push_back(WideToUtf8(MixedCase(BareName(i))));
            lcmsMisses.push_back(WideToUtf8(MixedCase(BareName(kNames + i))));
        }
    }
    ~Fixture() {
        if (lcmsProfile) cmsCloseProfile(lcmsProfile);
        std::error_code ec;
        std::filesystem::remove(path, ec);
    }

    std::string path;
    CNamedColorsProfile dict;
    cmsHPROFILE lcmsProfile = nullptr;
    cmsNAMEDCOLORLIST* lcmsList = nullptr;
    std::vector<std::wstring> hits, misses;
    std::vector<std::string> lcmsHits, lcmsMisses;
};

Fixture& Get() {
    static Fixture f;
    return f;
}

void Ours(benchmark::State& state, bool hit) {
    Fixture& f = Get();
    const std::vector<std::wstring>& queries = hit ? f.hits : f.misses;
    int found = 0;
    for (auto _ : state) {
        for (const std::wstring& q : queries) {
            unsigned short* pixel = nullptr;
            found += f.dict.LookupColorName(q.c_str(), pixel);
            benchmark::DoNotOptimize(pixel);
        }
    }
    if (found != (hit ? int(state.iterations()) * kQueries : 0))
        state.SkipWithError("wrong number of names found");
    state.SetItemsProcessed(int64_t(state.iterations()) * kQueries);
}

void Lcms2(benchmark::State& state, bool hit) {
    Fixture& f = Get();
    const std::vector<std::string>& queries = hit ? f.lcmsHits : f.lcmsMisses;
    int found = 0;
    for (auto _ : state) {
        for (const std::string& q : queries)
            found += cmsNamedColorIndex(f.lcmsList, q.c_str()) >= 0 ? 1 : 0;
    }
    if (found != (hit ? int(state.iterations()) * kQueries : 0))
        state.SkipWithError("wrong number of names found");
    state.SetItemsProcessed(int64_t(state.iterations()) * kQueries);
}

// Collects lookups per second (CPU time) of every run, for the closing lines.
class RateReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (!r.error_occurred && r.run_type == Run::RT_Iteration && r.iterations > 0 &&
                r.cpu_accumulated_time > 0)
                perSecond[r.benchmark_name()] =
                    double(r.iterations) * kQueries / r.cpu_accumulated_time;
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> perSecond;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark("Ours/found", Ours, true);
    benchmark::RegisterBenchmark("Ours/not_found", Ours, false);
    benchmark::RegisterBenchmark("Lcms2/found", Lcms2, true);
    benchmark::RegisterBenchmark("Lcms2/not_found", Lcms2, false);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RateReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nlookups per second (CPU time) in a dictionary of %d names:\n", kNames);
    for (const auto& [name, rate] : reporter.perSecond)
        std::printf("  %-18s %14.0f\n", name.c_str(), rate);
    benchmark::Shutdown();
    return 0;
}
