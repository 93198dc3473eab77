// Speed of the native link's fast pixel path at each instruction-set level this CPU has,
// beside lcms2 on the same profiles and intent (perceptual, installed profiles):
//   RGB8_CMYK8     sRGB to the ghostscript default CMYK printer
//   CMYK8_CMYK8    the ghostscript press CMYK to that printer
//   RGB16_CMYK16   sRGB to that printer, 16 bits
//   Lab16_CMYK16   Lab to that printer, 16 bits; the native link takes ICC v2 16-bit Lab, so
//                  lcms2 gets a v2 Lab profile and TYPE_LabV2_16
//   CMYK16_CMYK16  the press to that printer, 16 bits
// Each level converts the same random image (4 megapixels) through a path made for it from the
// link's table (what TrnPixels8 and TrnPixels16 call); lcms2 runs cmsDoTransform, one thread. Timed
// by the thread's CPU time; each repetition runs all contenders in turn. Printed: the median
// MPixel/s, lcms2's, the median of the per-repetition ratios to lcms2 (robust when the machine's
// load changes during the run) and the goal.
//
//   bench_SimdBench [repetitions [case]]     (default 7, every case)
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

const char* const kSrgb = "/usr/share/color/icc/sRGB.icc";
const char* const kPrinter = "/usr/share/color/icc/ghostscript/default_cmyk.icc";
const char* const kPress = "/usr/share/color/icc/ghostscript/ps_cmyk.icc";

struct Chain {
    const char* name;
    const char* source; // null: Lab input
    unsigned inFormat, nIn, bits;
    cmsUInt32Number lcmsIn, lcmsOut;
    double goal; // the native path should be at least this much faster than lcms2
};

const Chain kChains[] = {
    {"RGB8_CMYK8", kSrgb, CMdlColorLink::LinkFmtRgb, 3, 8, TYPE_RGB_8, TYPE_CMYK_8, 6.0},
    {"CMYK8_CMYK8", kPress, CMdlColorLink::LinkFmtCmyk, 4, 8, TYPE_CMYK_8, TYPE_CMYK_8, 6.0},
    {"RGB16_CMYK16", kSrgb, CMdlColorLink::LinkFmtRgb, 3, 16, TYPE_RGB_16, TYPE_CMYK_16, 3.0},
    {"Lab16_CMYK16", nullptr, CMdlColorLink::LinkFmtLab, 3, 16, TYPE_LabV2_16, TYPE_CMYK_16, 3.0},
    {"CMYK16_CMYK16", kPress, CMdlColorLink::LinkFmtCmyk, 4, 16, TYPE_CMYK_16, TYPE_CMYK_16, 3.0},
};

std::wstring Wide(const char* s) {
    return std::wstring(s, s + std::char_traits<char>::length(s));
}

double ThreadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Thread CPU seconds of one run.
double Seconds(const std::function<void()>& run) {
    const double t0 = ThreadSeconds();
    run();
    return ThreadSeconds() - t0;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Random bytes for `chans` samples of `bits` per pixel.
std::vector<uint8_t> RandomImage(unsigned chans, unsigned bits) {
    std::vector<uint8_t> v(kPixels * chans * (bits / 8));
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
    const std::string only = argc > 2 ? argv[2] : "";
    for (const char* p : {kSrgb, kPrinter, kPress})
        if (!std::filesystem::is_regular_file(p)) {
            std::fprintf(stderr, "missing profile %s\n", p);
            return 1;
        }
    std::printf("%-14s %-10s %10s %10s %7s %6s\n", "case", "level", "MPix/s", "lcms2", "ratio",
                "goal");
    for (const Chain& c : kChains) {
        if (!only.empty() && only != c.name) continue;
        CColorLink link(nullptr);
        if ((c.source && !link.AddProfile(Wide(c.source).c_str(), CMdlColorLink::ProfStepDevToPcs,
                                          IntentPerceptual)) ||
            !link.AddProfile(Wide(kPrinter).c_str(), CMdlColorLink::ProfStepPcsToDev,
                             IntentPerceptual) ||
            !link.CreateLink(c.inFormat, c.nIn, CMdlColorLink::LinkFmtCmyk, 4) || !link.Table16()) {
            std::fprintf(stderr, "%s: the native link could not be built\n", c.name);
            return 1;
        }
        cmsHPROFILE in =
            c.source ? cmsOpenProfileFromFile(c.source, "r") : cmsCreateLab2Profile(nullptr);
        cmsHPROFILE out = cmsOpenProfileFromFile(kPrinter, "r");
        cmsHTRANSFORM lcms = cmsCreateTransform(in, c.lcmsIn, out, c.lcmsOut, INTENT_PERCEPTUAL, 0);
        cmsCloseProfile(in);
        cmsCloseProfile(out);
        if (!lcms) {
            std::fprintf(stderr, "%s: lcms2 could not build the transform\n", c.name);
            return 1;
        }

        const std::vector<uint8_t> src = RandomImage(c.nIn, c.bits);
        std::vector<uint8_t> dst(kPixels * 4 * (c.bits / 8)), first;

        // The contenders: lcms2 first, then every level the CPU has.
        struct Contender {
            std::string name;
            std::function<void()> run;
        };
        std::vector<Contender> all;
        all.push_back({"lcms2", [&] {
                           cmsDoTransform(lcms, src.data(), dst.data(), cmsUInt32Number(kPixels));
                       }});
        std::vector<std::unique_ptr<CFastPixelPath>> paths;
        for (SimdLevel level : {SimdLevel::Scalar, SimdLevel::Sse4, SimdLevel::Avx2,
                                SimdLevel::Avx512, SimdLevel::Avx512Vbmi}) {
            if (!SimdLevelAvailable(level)) {
                std::printf("%-14s %-10s %10s\n", c.name, SimdLevelName(level), "(not here)");
                continue;
            }
            paths.push_back(CFastPixelPath::Make(*link.Table16(), c.nIn, 4, level));
            if (!paths.back()) {
                std::fprintf(stderr, "%s: no fast path\n", c.name);
                return 1;
            }
            const CFastPixelPath* path = paths.back().get();
            if (c.bits == 8)
                all.push_back({SimdLevelName(level), [&, path] {
                                   path->Trn8(src.data(), dst.data(), unsigned(kPixels));
                               }});
            else
                all.push_back({SimdLevelName(level), [&, path] {
                                   path->Trn16(reinterpret_cast<const uint16_t*>(src.data()),
                                               reinterpret_cast<uint16_t*>(dst.data()),
                                               unsigned(kPixels));
                               }});
            // Every level must give the scalar level's bytes; a benchmark of wrong output is void.
            all.back().run();
            if (first.empty()) first = dst;
            if (dst != first) {
                std::fprintf(stderr, "%s %s: output differs from scalar\n", c.name,
                             SimdLevelName(level));
                return 1;
            }
        }

        // Each repetition runs every contender once, in turn, so that all of them meet the same
        // load of the machine; a contender's ratio is taken against lcms2 of its repetition.
        std::vector<std::vector<double>> speed(all.size()), ratio(all.size());
        all[0].run(); // warm lcms2's caches
        for (int r = 0; r < reps; ++r) {
            std::vector<double> mpix;
            for (const Contender& k : all) mpix.push_back(double(kPixels) / Seconds(k.run) / 1e6);
            for (size_t i = 0; i < all.size(); ++i) {
                speed[i].push_back(mpix[i]);
                ratio[i].push_back(mpix[i] / mpix[0]);
            }
        }
        cmsDeleteTransform(lcms);
        const double lcmsSpeed = Median(speed[0]);
        for (size_t i = 1; i < all.size(); ++i)
            std::printf("%-14s %-10s %10.1f %10.1f %6.2fx %5.1fx\n", c.name, all[i].name.c_str(),
                        Median(speed[i]), lcmsSpeed, Median(ratio[i]), c.goal);
    }
    return 0;
}
