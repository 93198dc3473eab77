// Speed of the native link's 8-bit fast pixel path at each instruction-set level this CPU has,
// beside lcms2 on the same profiles and intent (perceptual, installed profiles):
//   RGB8_CMYK8    sRGB to the ghostscript default CMYK printer
//   CMYK8_CMYK8   the ghostscript press CMYK to that printer
// Each level converts the same random image (4 megapixels) through a path made for it from the
// link's table (what TrnPixels8 calls); lcms2 runs cmsDoTransform, one thread. Timed by the
// thread's CPU time, the median of the repetitions (the machine may be busy with other work);
// printed as MPixel/s with the ratio to lcms2 and the goal beside it.
//
//   bench_SimdBench [repetitions]     (default 7)
#include <lcms2.h>
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "colorlink/native/ColorLink.h"
#include "colorlink/native/FastPixelPath.h"
#include "colorlink/native/SimdGridKernel.h"

namespace {

constexpr size_t kPixels = size_t(2048) * 2048;
constexpr double kGoal = 6.0; // the native path should be at least this much faster than lcms2

const char* const kSrgb = "/usr/share/color/icc/sRGB.icc";
const char* const kPrinter = "/usr/share/color/icc/ghostscript/default_cmyk.icc";
const char* const kPress = "/usr/share/color/icc/ghostscript/ps_cmyk.icc";

struct Chain {
    const char* name;
    const char* source;
    unsigned inFormat, nIn;
    cmsUInt32Number lcmsIn;
};

const Chain kChains[] = {
    {"RGB8_CMYK8", kSrgb, CMdlColorLink::LinkFmtRgb, 3, TYPE_RGB_8},
    {"CMYK8_CMYK8", kPress, CMdlColorLink::LinkFmtCmyk, 4, TYPE_CMYK_8},
};

std::wstring Wide(const char* s) {
    return std::wstring(s, s + std::char_traits<char>::length(s));
}

double ThreadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Median MPixel/s of `run` over `reps` repetitions, by thread CPU time.
double MedianMpix(const std::function<void()>& run, int reps) {
    std::vector<double> speeds;
    run(); // warm the caches and the tables
    for (int r = 0; r < reps; ++r) {
        const double t0 = ThreadSeconds();
        run();
        speeds.push_back(double(kPixels) / (ThreadSeconds() - t0) / 1e6);
    }
    std::sort(speeds.begin(), speeds.end());
    return speeds[speeds.size() / 2];
}

std::vector<uint8_t> RandomImage(unsigned chans) {
    std::vector<uint8_t> v(kPixels * chans);
    uint64_t s = 0x243F6A8885A308D3ull;
    for (auto& x : v) {
        s = s * 6364136223846793005ull + 1442695040888963407ull;
        x = uint8_t(s >> 56);
    }
    return v;
}

} // namespace

int main(int argc, char** argv) {
    const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 7;
    for (const char* p : {kSrgb, kPrinter, kPress})
        if (!std::filesystem::is_regular_file(p)) {
            std::fprintf(stderr, "missing profile %s\n", p);
            return 1;
        }
    std::printf("%-12s %-8s %10s %10s %7s %6s\n", "case", "level", "MPix/s", "lcms2", "ratio",
                "goal");
    for (const Chain& c : kChains) {
        CColorLink link(nullptr);
        if (!link.AddProfile(Wide(c.source).c_str(), CMdlColorLink::ProfStepDevToPcs,
                             IntentPerceptual) ||
            !link.AddProfile(Wide(kPrinter).c_str(), CMdlColorLink::ProfStepPcsToDev,
                             IntentPerceptual) ||
            !link.CreateLink(c.inFormat, c.nIn, CMdlColorLink::LinkFmtCmyk, 4) || !link.Table16()) {
            std::fprintf(stderr, "%s: the native link could not be built\n", c.name);
            return 1;
        }
        cmsHPROFILE in = cmsOpenProfileFromFile(c.source, "r");
        cmsHPROFILE out = cmsOpenProfileFromFile(kPrinter, "r");
        cmsHTRANSFORM lcms =
            cmsCreateTransform(in, c.lcmsIn, out, TYPE_CMYK_8, INTENT_PERCEPTUAL, 0);
        cmsCloseProfile(in);
        cmsCloseProfile(out);
        if (!lcms) {
            std::fprintf(stderr, "%s: lcms2 could not build the transform\n", c.name);
            return 1;
        }

        const std::vector<uint8_t> src = RandomImage(c.nIn);
        std::vector<uint8_t> dst(kPixels * 4), first(kPixels * 4);
        const double lcmsSpeed = MedianMpix(
            [&] { cmsDoTransform(lcms, src.data(), dst.data(), cmsUInt32Number(kPixels)); }, reps);
        cmsDeleteTransform(lcms);

        bool firstLevel = true;
        for (SimdLevel level :
             {SimdLevel::Scalar, SimdLevel::Sse4, SimdLevel::Avx2, SimdLevel::Avx512}) {
            if (!SimdLevelAvailable(level)) {
                std::printf("%-12s %-8s %10s\n", c.name, SimdLevelName(level), "(not here)");
                continue;
            }
            const auto path = CFastPixelPath::Make(*link.Table16(), c.nIn, 4, level);
            if (!path) {
                std::fprintf(stderr, "%s: no fast path\n", c.name);
                return 1;
            }
            const double speed =
                MedianMpix([&] { path->Trn8(src.data(), dst.data(), unsigned(kPixels)); }, reps);
            // Every level must give the scalar level's bytes; a benchmark of wrong output is void.
            if (firstLevel) first = dst;
            const bool same = dst == first;
            firstLevel = false;
            std::printf("%-12s %-8s %10.1f %10.1f %6.2fx %5.1fx%s\n", c.name, SimdLevelName(level),
                        speed, lcmsSpeed, speed / lcmsSpeed, kGoal,
                        same ? "" : "  OUTPUT DIFFERS FROM SCALAR");
            if (!same) return 1;
        }
    }
    return 0;
}
