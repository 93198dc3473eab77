// Speed of whole native colour links beside lcms2 transforms of the same profiles and intent.
//
// Chains (perceptual intent, installed profiles):
//   RGB_CMYK   sRGB to a CMYK printer (device to PCS, PCS to device)
//   Lab_CMYK   Lab to the same printer (one PCS-to-device step); the native link takes ICC v2
//              16-bit Lab (L 100 at 0xFF00), so lcms2 gets a v2 Lab profile and TYPE_LabV2_16
//   CMYK_CMYK  a CMYK press profile to the printer (device to PCS, PCS to device)
//
// Measured:
//   Build/...    native AddProfile + CreateLink (and deletion) against lcms2 opening the same
//                profiles and cmsCreateTransform with default flags (and deletion), warm: the
//                library has built links before in this process. Timed by wall clock, since
//                the native link samples its chain on several threads; the CPU column is the
//                process's CPU time (all threads).
//   BuildCold/...  the same build as the first and only one of a fresh process (the
//                command-line tool's case): this program runs itself with --cold-build, which
//                times one build from before the first call into the library (settings file,
//                built-in tables, everything a first link reads) and reports wall and process
//                CPU time; the process start itself is not counted.
//   Pixels/...   one call per iteration over a 16-megapixel image, allocated once, of random
//                pixels or of smooth gradients:
//                  Native        the link's TrnPixels8 / TrnPixels16
//                  NativeLoop    the link's straightforward loop restated here (widen by 257,
//                                the table's virtual Trn per pixel, high byte): what TrnPixels
//                                does without its specialised path
//                  Lcms2         cmsDoTransform, one thread
//                  NativeThreads the kvrcolor tool's parallel pixel loop (ParallelTrn) on
//                                every core, its threads made once for all iterations
//                  Lcms2Threads  cmsDoTransform on the same split of the image by hand
// Items are pixels, so the items_per_second column is pixels per second. Single-threaded runs
// are timed by CPU time, threaded runs by wall clock. At the end a table gives the median
// MPixel/s of each case over the repetitions and the ratio native / lcms2: above 1 the native
// link is faster.
//
//   bench_LinkBench --benchmark_repetitions=3
//   bench_LinkBench --warm-builds RGB_CMYK native 50   (least and median of 50 warm builds)
#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

#include "ParallelTrn.h"
#include "colorlink/native/ColorLink.h"

namespace {

constexpr unsigned kSide = 4096;
constexpr size_t kPixels = size_t(kSide) * kSide; // 16 megapixels

const char* const kSrgb = "/usr/share/color/icc/sRGB.icc";
const char* const kPrinter = "/usr/share/color/icc/ghostscript/default_cmyk.icc";
const char* const kPress = "/usr/share/color/icc/ghostscript/ps_cmyk.icc";

std::wstring Wide(const char* s) {
    return std::wstring(s, s + std::char_traits<char>::length(s));
}

// ---- the chains ----

struct Chain {
    const char* name;
    const char* source; // null: Lab input
    const char* dest;
    unsigned inFormat, nIn, outFormat, nOut;
    cmsUInt32Number lcmsIn8, lcmsOut8, lcmsIn16, lcmsOut16; // 0: width not used
};

const Chain kChains[] = {
    {"RGB_CMYK", kSrgb, kPrinter, CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4,
     TYPE_RGB_8, TYPE_CMYK_8, TYPE_RGB_16, TYPE_CMYK_16},
    {"Lab_CMYK", nullptr, kPrinter, CMdlColorLink::LinkFmtLab, 3, CMdlColorLink::LinkFmtCmyk, 4, 0,
     0, TYPE_LabV2_16, TYPE_CMYK_16},
    {"CMYK_CMYK", kPress, kPrinter, CMdlColorLink::LinkFmtCmyk, 4, CMdlColorLink::LinkFmtCmyk, 4,
     TYPE_CMYK_8, TYPE_CMYK_8, 0, 0},
};

std::unique_ptr<CColorLink> BuildNative(const Chain& c) {
    auto link = std::make_unique<CColorLink>(nullptr);
    if (c.source && !link->AddProfile(Wide(c.source).c_str(), CMdlColorLink::ProfStepDevToPcs,
                                      IntentPerceptual))
        return nullptr;
    if (!link->AddProfile(Wide(c.dest).c_str(), CMdlColorLink::ProfStepPcsToDev, IntentPerceptual))
        return nullptr;
    if (!link->CreateLink(c.inFormat, c.nIn, c.outFormat, c.nOut)) return nullptr;
    return link;
}

cmsHTRANSFORM BuildLcms(const Chain& c, bool wide) {
    cmsHPROFILE in =
        c.source ? cmsOpenProfileFromFile(c.source, "r") : cmsCreateLab2Profile(nullptr);
    cmsHPROFILE out = cmsOpenProfileFromFile(c.dest, "r");
    cmsHTRANSFORM t = nullptr;
    if (in && out)
        t = cmsCreateTransform(in, wide ? c.lcmsIn16 : c.lcmsIn8, out,
                               wide ? c.lcmsOut16 : c.lcmsOut8, INTENT_PERCEPTUAL, 0);
    if (in) cmsCloseProfile(in);
    if (out) cmsCloseProfile(out);
    return t;
}

// Built once per chain and width, outside every timed loop.
struct Built {
    std::unique_ptr<CColorLink> native;
    cmsHTRANSFORM lcms8 = nullptr, lcms16 = nullptr;
};

Built& GetBuilt(const Chain& c) {
    static std::map<std::string, Built> all;
    Built& b = all[c.name];
    if (!b.native) {
        b.native = BuildNative(c);
        if (c.lcmsIn8) b.lcms8 = BuildLcms(c, false);
        if (c.lcmsIn16) b.lcms16 = BuildLcms(c, true);
    }
    return b;
}

// ---- the images ----

// A small fast generator (splitmix64): 16 megapixels of noise in a fraction of a second.
struct SplitMix {
    uint64_t s;
    uint64_t Next() {
        uint64_t z = (s += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
};

template <class T> std::vector<T> RandomImage(unsigned chans, uint64_t seed) {
    std::vector<T> v(kPixels * chans);
    SplitMix rng{seed};
    size_t i = 0;
    while (i < v.size()) {
        uint64_t r = rng.Next();
        for (unsigned k = 0; k < 8 / sizeof(T) && i < v.size(); ++k, r >>= 8 * sizeof(T))
            v[i++] = T(r);
    }
    return v;
}

// Gradients: the first channel along x, the second along y, the third along the diagonal, the
// fourth against x; neighbouring pixels fall into the same or the next grid cell.
template <class T> std::vector<T> SmoothImage(unsigned chans) {
    constexpr uint32_t full = sizeof(T) == 1 ? 255 : 65535;
    std::vector<T> v(kPixels * chans);
    for (uint32_t y = 0; y < kSide; ++y)
        for (uint32_t x = 0; x < kSide; ++x) {
            T* p = &v[(size_t(y) * kSide + x) * chans];
            p[0] = T(uint64_t(x) * full / (kSide - 1));
            p[1] = T(uint64_t(y) * full / (kSide - 1));
            p[2] = T(uint64_t(x + y) * full / (2 * kSide - 2));
            if (chans == 4) p[3] = T(uint64_t(kSide - 1 - x) * full / (kSide - 1) / 2);
        }
    return v;
}

// Inputs by width, channel count and kind; made on first use and kept for the whole run.
template <class T> const std::vector<T>& Image(unsigned chans, bool random) {
    static std::map<unsigned, std::vector<T>> images;
    const unsigned key = chans * 2 + (random ? 1 : 0);
    auto it = images.find(key);
    if (it == images.end())
        it = images.emplace(key, random ? RandomImage<T>(chans, 77 + chans) : SmoothImage<T>(chans))
                 .first;
    return it->second;
}

template <class T> std::vector<T>& Output(unsigned chans) {
    static std::vector<T> out[17];
    if (out[chans].empty()) out[chans].resize(kPixels * chans);
    return out[chans];
}

// ---- the timed bodies ----

enum class Engine { Native, NativeLoop, Lcms2, NativeThreads, Lcms2Threads };
const char* const kEngineNames[] = {"Native", "NativeLoop", "Lcms2", "NativeThreads",
                                    "Lcms2Threads"};

// cmsDoTransform on `threads` contiguous pieces of the run, the last one on this thread.
void LcmsParallel(cmsHTRANSFORM t, const uint8_t* src, size_t inBytes, uint8_t* dst,
                  size_t outBytes, size_t count, unsigned threads) {
    std::vector<std::thread> workers;
    const size_t step = count / threads;
    for (unsigned p = 0; p < threads; ++p) {
        const size_t first = p * step, n = p + 1 == threads ? count - first : step;
        auto run = [=] {
            cmsDoTransform(t, src + first * inBytes, dst + first * outBytes, cmsUInt32Number(n));
        };
        if (p + 1 == threads)
            run();
        else
            workers.emplace_back(run);
    }
    for (auto& w : workers) w.join();
}

// The straightforward 8-bit loop of the link: widen by 257, the table's Trn, high byte.
void Loop8(const CFunc_16& f, const uint8_t* src, uint8_t* dst, size_t count, unsigned nIn,
           unsigned nOut) {
    uint16_t in[16], out[16];
    for (size_t k = 0; k < count; ++k, src += nIn, dst += nOut) {
        for (unsigned c = 0; c < nIn; ++c) in[c] = uint16_t(src[c] * 257u);
        f.Trn(in, out);
        for (unsigned c = 0; c < nOut; ++c) dst[c] = uint8_t(out[c] >> 8);
    }
}

void Loop16(const CFunc_16& f, const uint16_t* src, uint16_t* dst, size_t count, unsigned nIn,
            unsigned nOut) {
    for (size_t k = 0; k < count; ++k, src += nIn, dst += nOut) f.Trn(src, dst);
}

template <class T>
void RunPixels(benchmark::State& state, const Chain& c, Engine engine, bool random) {
    constexpr bool wide = sizeof(T) == 2;
    Built& b = GetBuilt(c);
    cmsHTRANSFORM lcms = wide ? b.lcms16 : b.lcms8;
    if (!b.native || !lcms) {
        state.SkipWithError("link or transform could not be built");
        return;
    }
    const std::vector<T>& src = Image<T>(c.nIn, random);
    std::vector<T>& dst = Output<T>(c.nOut);
    CColorLink& link = *b.native;
    const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    ParallelTrn pool(threads);
    for (auto _ : state) {
        switch (engine) {
        case Engine::Native:
            if constexpr (wide)
                link.TrnPixels16(src.data(), dst.data(), unsigned(kPixels));
            else
                link.TrnPixels8(src.data(), dst.data(), unsigned(kPixels));
            break;
        case Engine::NativeLoop:
            if constexpr (wide)
                Loop16(*link.Table16(), src.data(), dst.data(), kPixels, c.nIn, c.nOut);
            else
                Loop8(*link.Table16(), src.data(), dst.data(), kPixels, c.nIn, c.nOut);
            break;
        case Engine::Lcms2:
            cmsDoTransform(lcms, src.data(), dst.data(), cmsUInt32Number(kPixels));
            break;
        case Engine::NativeThreads:
            if constexpr (wide)
                pool.Pixels16(link, src.data(), dst.data(), kPixels);
            else
                pool.Pixels8(link, src.data(), dst.data(), kPixels);
            break;
        case Engine::Lcms2Threads:
            LcmsParallel(lcms, reinterpret_cast<const uint8_t*>(src.data()), c.nIn * sizeof(T),
                         reinterpret_cast<uint8_t*>(dst.data()), c.nOut * sizeof(T), kPixels,
                         threads);
            break;
        }
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kPixels));
}

void RunBuildNative(benchmark::State& state, const Chain& c) {
    for (auto _ : state) {
        auto link = BuildNative(c);
        if (!link) {
            state.SkipWithError("native link could not be built");
            return;
        }
        benchmark::DoNotOptimize(link.get());
    }
    state.SetItemsProcessed(int64_t(state.iterations()));
}

void RunBuildLcms(benchmark::State& state, const Chain& c) {
    const bool wide = c.lcmsIn8 == 0;
    for (auto _ : state) {
        cmsHTRANSFORM t = BuildLcms(c, wide);
        if (!t) {
            state.SkipWithError("lcms2 transform could not be built");
            return;
        }
        cmsDeleteTransform(t);
    }
    state.SetItemsProcessed(int64_t(state.iterations()));
}

// ---- the cold build: one link in a fresh process ----

double ProcessCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// The child's side: builds one link of chain `name` with `engine` ("native" or "lcms2") and
// prints its wall and process CPU seconds. Answers the exit code.
int ColdBuildChild(const std::string& name, const std::string& engine) {
    for (const Chain& c : kChains) {
        if (name != c.name) continue;
        const auto wall0 = std::chrono::steady_clock::now();
        const double cpu0 = ProcessCpuSeconds();
        bool ok = false;
        if (engine == "native") {
            ok = BuildNative(c) != nullptr;
        } else {
            cmsHTRANSFORM t = BuildLcms(c, c.lcmsIn8 == 0);
            ok = t != nullptr;
            if (t) cmsDeleteTransform(t);
        }
        const double cpu = ProcessCpuSeconds() - cpu0;
        const double wall =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
        if (!ok) return 2;
        std::printf("%.9f %.9f\n", wall, cpu);
        return 0;
    }
    return 3;
}

// Builds of chain `name` with `engine`, one after another in this process (the first one
// untimed): prints the least and the median wall and process CPU milliseconds of one build.
// The least of many is the figure least disturbed by other work on a shared machine.
int WarmBuilds(const std::string& name, const std::string& engine, int count) {
    for (const Chain& c : kChains) {
        if (name != c.name) continue;
        std::vector<double> walls, cpus;
        for (int k = 0; k <= count; ++k) {
            const auto wall0 = std::chrono::steady_clock::now();
            const double cpu0 = ProcessCpuSeconds();
            if (engine == "native") {
                if (!BuildNative(c)) return 2;
            } else {
                cmsHTRANSFORM t = BuildLcms(c, c.lcmsIn8 == 0);
                if (!t) return 2;
                cmsDeleteTransform(t);
            }
            const double cpu = ProcessCpuSeconds() - cpu0;
            const double wall =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
            if (k == 0) continue;
            walls.push_back(wall * 1e3);
            cpus.push_back(cpu * 1e3);
        }
        std::sort(walls.begin(), walls.end());
        std::sort(cpus.begin(), cpus.end());
        std::printf("%s %s: wall least %.2f median %.2f ms, CPU least %.2f median %.2f ms\n",
                    name.c_str(), engine.c_str(), walls.front(), walls[walls.size() / 2],
                    cpus.front(), cpus[cpus.size() / 2]);
        return 0;
    }
    return 3;
}

// The parent's side: runs this program as a cold-build child and reads its two figures.
bool RunColdChild(const Chain& c, const char* engine, double& wall, double& cpu) {
    int fds[2];
    if (pipe(fds) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    std::string flag = "--cold-build", name = c.name, eng = engine;
    char* argv[] = {self.data(), flag.data(), name.data(), eng.data(), nullptr};
    pid_t pid = 0;
    const int rc = posix_spawn(&pid, self.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    if (rc != 0) {
        close(fds[0]);
        return false;
    }
    char text[128] = {};
    size_t got = 0;
    for (ssize_t n;
         got + 1 < sizeof text && (n = read(fds[0], text + got, sizeof text - 1 - got)) > 0;)
        got += size_t(n);
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return false;
    return std::sscanf(text, "%lf %lf", &wall, &cpu) == 2;
}

void RunBuildCold(benchmark::State& state, const Chain& c, const char* engine) {
    double cpuSum = 0;
    for (auto _ : state) {
        double wall = 0, cpu = 0;
        if (!RunColdChild(c, engine, wall, cpu)) {
            state.SkipWithError("cold build failed");
            return;
        }
        state.SetIterationTime(wall);
        cpuSum += cpu;
    }
    state.SetItemsProcessed(int64_t(state.iterations()));
    state.counters["cpu_ms"] = benchmark::Counter(cpuSum * 1e3 / double(state.iterations()));
}

// ---- registration and the closing table ----

std::string PixelName(Engine e, const Chain& c, unsigned bits, bool random) {
    return std::string("Pixels/") + kEngineNames[int(e)] + "/" + c.name + "_" +
           std::to_string(bits) + "/" + (random ? "random" : "smooth");
}

void Register() {
    for (const Chain& c : kChains) {
        benchmark::RegisterBenchmark((std::string("Build/Native/") + c.name).c_str(),
                                     [&c](benchmark::State& s) { RunBuildNative(s, c); })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->MeasureProcessCPUTime();
        benchmark::RegisterBenchmark((std::string("Build/Lcms2/") + c.name).c_str(),
                                     [&c](benchmark::State& s) { RunBuildLcms(s, c); })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->MeasureProcessCPUTime();
    }
    for (const Chain& c : kChains)
        for (const char* engine : {"native", "lcms2"})
            benchmark::RegisterBenchmark(
                (std::string("BuildCold/") + (engine[0] == 'n' ? "Native/" : "Lcms2/") + c.name)
                    .c_str(),
                [&c, engine](benchmark::State& s) { RunBuildCold(s, c, engine); })
                ->Unit(benchmark::kMillisecond)
                ->UseManualTime()
                ->Iterations(10);
    for (const Chain& c : kChains)
        for (unsigned bits : {8u, 16u}) {
            if ((bits == 8 ? c.lcmsIn8 : c.lcmsIn16) == 0) continue;
            for (bool random : {true, false})
                for (Engine e : {Engine::Native, Engine::NativeLoop, Engine::Lcms2,
                                 Engine::NativeThreads, Engine::Lcms2Threads}) {
                    auto fn = [&c, e, random, bits](benchmark::State& s) {
                        if (bits == 8)
                            RunPixels<uint8_t>(s, c, e, random);
                        else
                            RunPixels<uint16_t>(s, c, e, random);
                    };
                    auto* b =
                        benchmark::RegisterBenchmark(PixelName(e, c, bits, random).c_str(), fn);
                    b->Unit(benchmark::kMillisecond);
                    if (e == Engine::NativeThreads || e == Engine::Lcms2Threads) b->UseRealTime();
                }
        }
}

// Keeps the items per second of every run (CPU or real time, as the benchmark asks) for the
// closing table.
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (!r.error_occurred && r.run_type == Run::RT_Iteration) {
                auto it = r.counters.find("items_per_second");
                if (it != r.counters.end())
                    rates[r.run_name.function_name].push_back(it->second.value);
                // Milliseconds of CPU per item: the process's CPU time, or what a cold-build
                // child reported.
                auto cpu = r.counters.find("cpu_ms");
                if (cpu != r.counters.end())
                    cpuMs[r.run_name.function_name].push_back(cpu->second.value);
                else if (r.iterations > 0)
                    cpuMs[r.run_name.function_name].push_back(r.GetAdjustedCPUTime());
            }
        ConsoleReporter::ReportRuns(runs);
    }
    // Median over the repetitions, 0 for a case not run.
    double Median(const std::string& name) const { return MedianOf(rates, name); }
    double MedianCpuMs(const std::string& name) const { return MedianOf(cpuMs, name); }
    static double MedianOf(const std::map<std::string, std::vector<double>>& all,
                           const std::string& name) {
        auto it = all.find(name);
        if (it == all.end() || it->second.empty()) return 0;
        std::vector<double> v = it->second;
        std::sort(v.begin(), v.end());
        const size_t n = v.size();
        return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
    }
    std::map<std::string, std::vector<double>> rates;
    std::map<std::string, std::vector<double>> cpuMs;
};

// The speed the native link is to reach against lcms2 on random pixels (native / lcms2 speed;
// 0: no goal set). Building a link is to take at most half of lcms2's time.
constexpr double kBuildGoal = 2.0;
double PixelGoal(const Chain& c, unsigned bits, bool random) {
    if (!random) return 0;
    const std::string name = c.name;
    if (name == "RGB_CMYK") return bits == 8 ? 6.0 : 3.0;
    if (name == "Lab_CMYK") return bits == 16 ? 3.0 : 0.0;
    if (name == "CMYK_CMYK") return bits == 8 ? 6.0 : 0.0;
    return 0;
}

// The goal as a column: its value, and whether the ratio reaches it.
std::string GoalText(double ratio, double goal) {
    if (goal <= 0) return "      -";
    char text[32];
    std::snprintf(text, sizeof text, ">=%4.1f %s", goal, ratio >= goal ? "met" : "not met");
    return text;
}

void PrintSummary(const SummaryReporter& rep) {
    auto ratio = [](double a, double b) { return a > 0 && b > 0 ? a / b : 0.0; };
    std::printf("\nMedian over the repetitions. Ratios: native / lcms2 speed, above 1 the native "
                "link is faster.\n");
    std::printf("%-27s %10s %10s %10s %10s %7s  %s\n", "link built (ms per link)", "native",
                "nat-cpu", "lcms2", "lcms-cpu", "ratio", "goal");
    for (const char* kind : {"Build", "BuildCold"})
        for (const Chain& c : kChains) {
            const std::string nn = std::string(kind) + "/Native/" + c.name;
            const std::string ln = std::string(kind) + "/Lcms2/" + c.name;
            const double n = rep.Median(nn), l = rep.Median(ln);
            if (n <= 0 && l <= 0) continue;
            const std::string name = std::string(c.name) + (kind[5] ? " cold" : " warm");
            std::printf("%-27s %10.1f %10.1f %10.1f %10.1f %7.2f  %s\n", name.c_str(),
                        n > 0 ? 1e3 / n : 0.0, rep.MedianCpuMs(nn), l > 0 ? 1e3 / l : 0.0,
                        rep.MedianCpuMs(ln), ratio(n, l),
                        GoalText(ratio(n, l), kBuildGoal).c_str());
        }
    std::printf("(native and lcms2: wall clock; the cpu columns: CPU time of all threads; ratio = "
                "lcms2 / native time.)\n");
    std::printf("\nMPixel/s   %-21s %8s %8s %8s %7s %-14s %7s | %8s %8s %7s\n", "case", "native",
                "loop", "lcms2", "ratio", "goal", "path", "nat-thr", "lcms-thr", "ratio");
    for (const Chain& c : kChains)
        for (unsigned bits : {8u, 16u})
            for (bool random : {true, false}) {
                double v[5];
                for (int e = 0; e < 5; ++e)
                    v[e] = rep.Median(PixelName(Engine(e), c, bits, random)) / 1e6;
                if (v[0] <= 0 && v[2] <= 0) continue;
                const std::string name = std::string(c.name) + "_" + std::to_string(bits) + " " +
                                         (random ? "random" : "smooth");
                const double r = ratio(v[0], v[2]);
                std::printf(
                    "           %-21s %8.1f %8.1f %8.1f %7.2f %-14s %7.2f | %8.1f %8.1f %7.2f\n",
                    name.c_str(), v[0], v[1], v[2], r,
                    GoalText(r, PixelGoal(c, bits, random)).c_str(), ratio(v[0], v[1]), v[3], v[4],
                    ratio(v[3], v[4]));
            }
    std::printf("goal = the ratio the native link is to reach on that case; "
                "ratio = native / lcms2 (one thread); path = native / native loop (the gain of "
                "the specialised pixel path); the last three columns use every core (%u).\n",
                std::max(1u, std::thread::hardware_concurrency()));
}

// How far the two engines' results lie apart on the random image: they are different
// engines (own grids, own interpolation), so this only shows that both do the same conversion.
void PrintAgreement() {
    std::printf(
        "\nlargest / mean difference native - lcms2 on the first 1M random pixels, in output "
        "units:\n");
    constexpr size_t n = 1 << 20;
    for (const Chain& c : kChains)
        for (unsigned bits : {8u, 16u}) {
            if ((bits == 8 ? c.lcmsIn8 : c.lcmsIn16) == 0) continue;
            Built& b = GetBuilt(c);
            if (!b.native) continue;
            unsigned maxd = 0;
            double sum = 0;
            auto compare = [&](const auto& a, const auto& l) {
                for (size_t i = 0; i < n * c.nOut; ++i) {
                    const unsigned d = unsigned(std::abs(int(a[i]) - int(l[i])));
                    maxd = std::max(maxd, d);
                    sum += d;
                }
            };
            if (bits == 8) {
                const auto& src = Image<uint8_t>(c.nIn, true);
                std::vector<uint8_t> a(n * c.nOut), l(n * c.nOut);
                b.native->TrnPixels8(src.data(), a.data(), unsigned(n));
                cmsDoTransform(b.lcms8, src.data(), l.data(), cmsUInt32Number(n));
                compare(a, l);
            } else {
                const auto& src = Image<uint16_t>(c.nIn, true);
                std::vector<uint16_t> a(n * c.nOut), l(n * c.nOut);
                b.native->TrnPixels16(src.data(), a.data(), unsigned(n));
                cmsDoTransform(b.lcms16, src.data(), l.data(), cmsUInt32Number(n));
                compare(a, l);
            }
            std::printf("  %-9s %2u bits: %5u / %.2f (of %u)\n", c.name, bits, maxd,
                        sum / double(n * c.nOut), bits == 8 ? 255u : 65535u);
        }
}

} // namespace

int main(int argc, char** argv) {
    // The links read their grid sizes from the library's settings file; without one of the
    // caller's, the file of this source tree.
    if (!std::getenv("KVR_INI")) {
        const auto ini = std::filesystem::path(__FILE__).parent_path().parent_path() / "resources" /
                         "kvrcolor.ini";
        setenv("KVR_INI", ini.c_str(), 0);
    }
    if (argc == 4 && std::string(argv[1]) == "--cold-build")
        return ColdBuildChild(argv[2], argv[3]);
    if (argc == 5 && std::string(argv[1]) == "--warm-builds")
        return WarmBuilds(argv[2], argv[3], std::max(1, std::atoi(argv[4])));
    Register();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    PrintSummary(reporter);
    // The agreement of the pixels is shown where pixels were timed.
    bool pixels = false;
    for (const auto& [name, v] : reporter.rates) pixels = pixels || name.rfind("Pixels/", 0) == 0;
    if (pixels) PrintAgreement();
    benchmark::Shutdown();
    return 0;
}
