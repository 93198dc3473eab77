// The specialised pixel path of a native link against the straightforward loop, restated here:
// 8 bits widened by 257, the table's own Trn, the high byte kept; 16 bits straight through Trn.
// Every comparison is byte for byte (sample for sample) and must find no difference at all.
//
// Tables: pipelines with random nodes over the whole 16-bit range (so the interpolation's sums
// pass 2^31 and wrap), random curves and every combination of the skip flags, real-looking
// smooth tables, and links built from installed ICC profiles. Inputs: at least a million
// random pixels per case in the plain build (fewer under the sanitizers, which are slow),
// the grid's corners and edges, every value of one channel with the others held fixed, and
// runs of equal pixels (the path reuses the result of a pixel equal to the one before).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "colorlink/DefaultGridSizes.h"
#include "colorlink/native/ColorLink.h"
#include "colorlink/native/FastPixelPath.h"
#include "gridtable/TabMftX.h"
#include "support/TestData.h"

namespace {

// Random pixels for the cases a built link meets (three or four inputs, three or four
// outputs, curves used) and fewer for the variants around them.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
constexpr size_t kRandomPixels = size_t(1) << 16;
constexpr size_t kFewPixels = size_t(1) << 12;
#else
constexpr bool kSanitized = false;
constexpr size_t kRandomPixels = size_t(1) << 20;
constexpr size_t kFewPixels = size_t(1) << 16;
#endif

// ---- the straightforward loops ----

std::vector<uint8_t> Reference8(const CFunc_16& table, const std::vector<uint8_t>& src,
                                unsigned nIn, unsigned nOut) {
    const size_t count = src.size() / nIn;
    std::vector<uint8_t> dst(count * nOut);
    uint16_t in[16] = {}, out[16] = {};
    for (size_t k = 0; k < count; ++k) {
        for (unsigned c = 0; c < nIn; ++c) in[c] = uint16_t(src[k * nIn + c] * 257u);
        table.Trn(in, out);
        for (unsigned c = 0; c < nOut; ++c) dst[k * nOut + c] = uint8_t(out[c] >> 8);
    }
    return dst;
}

std::vector<uint16_t> Reference16(const CFunc_16& table, const std::vector<uint16_t>& src,
                                  unsigned nIn, unsigned nOut) {
    const size_t count = src.size() / nIn;
    std::vector<uint16_t> dst(count * nOut);
    for (size_t k = 0; k < count; ++k) table.Trn(&src[k * nIn], &dst[k * nOut]);
    return dst;
}

// Number of differing samples; the first one is reported with its pixel.
template <class T>
size_t Mismatches(const std::vector<T>& want, const std::vector<T>& got, const std::vector<T>& src,
                  unsigned nIn, unsigned nOut, const std::string& what) {
    EXPECT_EQ(want.size(), got.size()) << what;
    size_t n = 0;
    for (size_t i = 0; i < want.size() && i < got.size(); ++i) {
        if (want[i] == got[i]) continue;
        if (n++ == 0) {
            const size_t px = i / nOut;
            std::string in;
            for (unsigned c = 0; c < nIn; ++c) in += " " + std::to_string(src[px * nIn + c]);
            ADD_FAILURE() << what << ": pixel " << px << " (in" << in << ") channel " << i % nOut
                          << ": straightforward " << unsigned(want[i]) << ", path "
                          << unsigned(got[i]);
        }
    }
    return n;
}

// The path's result on `src` in one call, and in two calls split at an odd place.
template <class T>
std::vector<T> RunPath(const CFastPixelPath& path, const std::vector<T>& src, unsigned nIn,
                       unsigned nOut, bool split = false) {
    const size_t count = src.size() / nIn;
    std::vector<T> dst(count * nOut, T(0x5A));
    auto run = [&](size_t first, size_t n) {
        bool done;
        if constexpr (sizeof(T) == 1)
            done = path.Trn8(&src[first * nIn], &dst[first * nOut], unsigned(n));
        else
            done = path.Trn16(&src[first * nIn], &dst[first * nOut], unsigned(n));
        EXPECT_TRUE(done);
    };
    if (split && count > 1) {
        const size_t half = count / 2 + 1;
        run(0, half);
        run(half, count - half);
    } else {
        run(0, count);
    }
    return dst;
}

// Runs the straightforward loop and the path on the same pixels; answers the mismatch count.
template <class T>
size_t Compare(const CFunc_16& table, const CFastPixelPath& path, const std::vector<T>& src,
               unsigned nIn, unsigned nOut, const std::string& what, bool split = false) {
    std::vector<T> want;
    if constexpr (sizeof(T) == 1)
        want = Reference8(table, src, nIn, nOut);
    else
        want = Reference16(table, src, nIn, nOut);
    return Mismatches(want, RunPath(path, src, nIn, nOut, split), src, nIn, nOut, what);
}

// ---- inputs ----

template <class T> std::vector<T> RandomPixels(size_t count, unsigned nIn, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, sizeof(T) == 1 ? 255 : 65535);
    std::vector<T> v(count * nIn);
    for (auto& x : v) x = T(any(rng));
    return v;
}

// Random pixels in runs of one to four equal pixels, as flat areas of a picture give.
template <class T> std::vector<T> RepeatedPixels(size_t count, unsigned nIn, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, sizeof(T) == 1 ? 255 : 65535), run(1, 4);
    std::vector<T> v;
    v.reserve(count * nIn);
    while (v.size() < count * nIn) {
        std::vector<T> px(nIn);
        for (auto& x : px) x = T(any(rng));
        for (unsigned r = run(rng); r > 0 && v.size() < count * nIn; --r)
            v.insert(v.end(), px.begin(), px.end());
    }
    return v;
}

// Special values of a channel: the ends, the middle, and at 16 bits every node position of
// the grid with its neighbours and the 12-bit steps of the curves next to them.
template <class T> std::vector<uint32_t> SpecialValues(unsigned gridMax) {
    std::vector<uint32_t> v;
    if constexpr (sizeof(T) == 1) {
        v = {0, 1, 2, 127, 128, 129, 253, 254, 255};
    } else {
        v = {0, 1, 15, 16, 17, 32767, 32768, 65519, 65520, 65521, 65534, 65535};
        for (uint32_t i = 0; i <= gridMax; ++i) {
            const uint32_t node = (i * 65535u + gridMax / 2) / gridMax;
            for (int d : {-16, -1, 0, 1, 16}) {
                const int64_t x = int64_t(node) + d;
                if (x >= 0 && x <= 65535) v.push_back(uint32_t(x));
            }
        }
    }
    return v;
}

// Every combination of special values over all channels (the list thinned to some 24 values
// for three inputs and 12 for four, so that this stays a few tens of thousands of pixels), then
// every value of each channel with the others held at the middle and, with `allFixed`, also at
// 0 and at full scale.
template <class T> std::vector<T> EdgePixels(unsigned nIn, unsigned gridMax, bool allFixed = true) {
    constexpr uint32_t full = sizeof(T) == 1 ? 255 : 65535;
    std::vector<uint32_t> special = SpecialValues<T>(gridMax);
    const size_t most = nIn >= 4 ? 12 : 24;
    if (special.size() > most) {
        std::vector<uint32_t> thin;
        for (size_t i = 0; i < special.size(); i += (special.size() + most - 1) / most)
            thin.push_back(special[i]);
        thin.push_back(full);
        special = thin;
    }
    std::vector<T> v;
    std::vector<size_t> idx(nIn, 0);
    for (;;) {
        for (unsigned c = 0; c < nIn; ++c) v.push_back(T(special[idx[c]]));
        unsigned c = 0;
        while (c < nIn && ++idx[c] == special.size()) idx[c++] = 0;
        if (c == nIn) break;
    }
    for (unsigned ch = 0; ch < nIn; ++ch)
        for (uint32_t fixed : {full / 2 + 1, 0u, full}) {
            for (uint32_t x = 0; x <= full; ++x)
                for (unsigned c = 0; c < nIn; ++c) v.push_back(T(c == ch ? x : fixed));
            if (!allFixed) break;
        }
    return v;
}

// ---- tables ----

enum class Contents { Random, Smooth };

// Curves of `channels` x `entries` samples: random values (any shape, falling parts included)
// or gentle gamma shapes.
std::vector<uint16_t> Curves(unsigned channels, unsigned entries, Contents kind,
                             std::mt19937& rng) {
    std::vector<uint16_t> t(size_t(channels) * entries);
    std::uniform_int_distribution<uint32_t> any(0, 65535);
    for (unsigned c = 0; c < channels; ++c)
        for (unsigned i = 0; i < entries; ++i) {
            const double x = i / double(entries - 1);
            t[c * entries + i] = kind == Contents::Random
                                     ? uint16_t(any(rng))
                                     : uint16_t(std::pow(x, 0.6 + 0.3 * c) * 65535.0 + 0.5);
        }
    return t;
}

// A prepared pipeline: nodes random over the whole range, or a smooth map with some noise.
template <class Pipeline>
std::unique_ptr<Pipeline> MakePipeline(unsigned points, unsigned nOut, Contents kind, bool skipIn,
                                       bool skipOut, uint32_t seed) {
    auto p = std::make_unique<Pipeline>(points, nOut);
    const unsigned nIn = p->inputChan();
    std::mt19937 rng(seed);
    auto& mft = p->Mft();
    std::vector<uint16_t> nodes(mft.TabEntries());
    std::uniform_int_distribution<uint32_t> any(0, 65535);
    std::uniform_int_distribution<int> noise(-600, 600);
    std::vector<uint16_t> at(nIn);
    for (unsigned n = 0; n < mft.TabCount(); ++n) {
        mft.GenPoint(n, at.data());
        for (unsigned c = 0; c < nOut; ++c) {
            if (kind == Contents::Random) {
                nodes[n * nOut + c] = uint16_t(any(rng));
            } else {
                const int v = at[c % nIn] / 2 + at[(c + 1) % nIn] / 3 + noise(rng) + 4000;
                nodes[n * nOut + c] = uint16_t(std::clamp(v, 0, 65535));
            }
        }
    }
    mft.Define(nodes.data());
    const unsigned entries = kind == Contents::Random ? 200 : 1024;
    const auto in = Curves(nIn, entries, kind, rng);
    const auto out = Curves(nOut, entries, kind, rng);
    p->DefineInputTab(in.data(), entries);
    p->DefineOutputTab(out.data(), entries);
    p->SetSkipInputTab(skipIn);
    p->SetSkipOutputTab(skipOut);
    p->InitMftTrn();
    return p;
}

struct Case {
    unsigned points;
    unsigned nOut;
    Contents kind;
    bool skipIn, skipOut;
};

std::string Name(const Case& c, unsigned nIn) {
    return std::to_string(nIn) + " in, " + std::to_string(c.nOut) + " out, " +
           std::to_string(c.points) + " points, " +
           (c.kind == Contents::Random ? "random" : "smooth") + (c.skipIn ? ", skip in" : "") +
           (c.skipOut ? ", skip out" : "");
}

// Random pixels, edge pixels, and a run split in two calls, at 8 and at 16 bits.
template <class Pipeline>
void CheckPipeline(const Case& c, uint32_t seed, size_t pixels = kRandomPixels) {
    const auto table = MakePipeline<Pipeline>(c.points, c.nOut, c.kind, c.skipIn, c.skipOut, seed);
    const unsigned nIn = table->inputChan();
    const auto path = CFastPixelPath::Make(*table, nIn, c.nOut);
    ASSERT_NE(path, nullptr) << Name(c, nIn);
    const std::string name = Name(c, nIn);
    const unsigned gridMax = c.points - 1;

    const auto rnd8 = RandomPixels<uint8_t>(pixels, nIn, seed + 1);
    EXPECT_EQ(Compare(*table, *path, rnd8, nIn, c.nOut, name + ", 8 bits random"), 0u);
    const auto edge8 = EdgePixels<uint8_t>(nIn, gridMax);
    EXPECT_EQ(Compare(*table, *path, edge8, nIn, c.nOut, name + ", 8 bits edges", true), 0u);

    const auto rep8 = RepeatedPixels<uint8_t>(kFewPixels, nIn, seed + 3);
    EXPECT_EQ(Compare(*table, *path, rep8, nIn, c.nOut, name + ", 8 bits repeated", true), 0u);

    const auto rnd16 = RandomPixels<uint16_t>(pixels, nIn, seed + 2);
    EXPECT_EQ(Compare(*table, *path, rnd16, nIn, c.nOut, name + ", 16 bits random"), 0u);
    // The 16-bit sweeps are long: the variants around the main cases, and every case under the
    // sanitizers, hold the other channels at the middle only.
    const auto edge16 = EdgePixels<uint16_t>(nIn, gridMax, pixels == kRandomPixels && !kSanitized);
    EXPECT_EQ(Compare(*table, *path, edge16, nIn, c.nOut, name + ", 16 bits edges", true), 0u);
    const auto rep16 = RepeatedPixels<uint16_t>(kFewPixels, nIn, seed + 4);
    EXPECT_EQ(Compare(*table, *path, rep16, nIn, c.nOut, name + ", 16 bits repeated", true), 0u);
}

// ---- tests ----

TEST(FastPixelPath, ThreeInputsThreeAndFourOutputsRandomTables) {
    CheckPipeline<CFunc_16Tab3Mft>({33, 3, Contents::Random, false, false}, 11);
    CheckPipeline<CFunc_16Tab3Mft>({33, 4, Contents::Random, false, false}, 12);
}

TEST(FastPixelPath, ThreeInputsSmoothTables) {
    CheckPipeline<CFunc_16Tab3Mft>({33, 4, Contents::Smooth, false, false}, 13, kFewPixels);
    CheckPipeline<CFunc_16Tab3Mft>({17, 3, Contents::Smooth, false, false}, 14, kFewPixels);
}

TEST(FastPixelPath, ThreeInputsSkipFlagsAndOtherOutputCounts) {
    CheckPipeline<CFunc_16Tab3Mft>({9, 4, Contents::Random, true, false}, 21, kFewPixels);
    CheckPipeline<CFunc_16Tab3Mft>({9, 3, Contents::Random, false, true}, 22, kFewPixels);
    CheckPipeline<CFunc_16Tab3Mft>({2, 4, Contents::Random, true, true}, 23, kFewPixels);
    CheckPipeline<CFunc_16Tab3Mft>({5, 1, Contents::Random, false, false}, 24, kFewPixels);
    CheckPipeline<CFunc_16Tab3Mft>({6, 7, Contents::Random, false, false}, 25, kFewPixels);
    CheckPipeline<CFunc_16Tab3Mft>({3, 16, Contents::Random, false, false}, 26, kFewPixels);
}

TEST(FastPixelPath, FourInputsThreeAndFourOutputsRandomTables) {
    CheckPipeline<CFunc_16Tab4Mft>({17, 3, Contents::Random, false, false}, 31);
    CheckPipeline<CFunc_16Tab4Mft>({17, 4, Contents::Random, false, false}, 32);
}

TEST(FastPixelPath, FourInputsSmoothTables) {
    CheckPipeline<CFunc_16Tab4Mft>({17, 4, Contents::Smooth, false, false}, 33, kFewPixels);
    CheckPipeline<CFunc_16Tab4Mft>({9, 3, Contents::Smooth, false, false}, 34, kFewPixels);
}

TEST(FastPixelPath, FourInputsSkipFlagsAndOtherOutputCounts) {
    CheckPipeline<CFunc_16Tab4Mft>({5, 4, Contents::Random, true, false}, 41, kFewPixels);
    CheckPipeline<CFunc_16Tab4Mft>({5, 3, Contents::Random, false, true}, 42, kFewPixels);
    CheckPipeline<CFunc_16Tab4Mft>({2, 4, Contents::Random, true, true}, 43, kFewPixels);
    CheckPipeline<CFunc_16Tab4Mft>({4, 1, Contents::Random, false, false}, 44, kFewPixels);
    CheckPipeline<CFunc_16Tab4Mft>({3, 6, Contents::Random, false, false}, 45, kFewPixels);
}

// A smooth map from one input to `nOut` outputs, to fill the one-input pipeline.
class Spread : public CFunc_16 {
public:
    explicit Spread(unsigned nOut) : CFunc_16(1, nOut) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        for (unsigned c = 0; c < outputChan(); ++c)
            out[c] = uint16_t(std::pow(in[0] / 65535.0, 0.5 + 0.4 * c) * 65535.0);
        return 1;
    }
};

TEST(FastPixelPath, OneInputEveryValue) {
    std::mt19937 rng(51);
    for (bool skipIn : {false, true})
        for (bool skipOut : {false, true})
            for (unsigned nOut : {1u, 4u}) {
                CFunc_16Tab1Mft table(nOut);
                table.DefineByFunc(Spread(nOut));
                const auto in = Curves(1, 300, Contents::Random, rng);
                const auto out = Curves(nOut, 300, Contents::Random, rng);
                table.DefineInputTab(in.data(), 300);
                table.DefineOutputTab(out.data(), 300);
                table.SetSkipInputTab(skipIn);
                table.SetSkipOutputTab(skipOut);
                const auto path = CFastPixelPath::Make(table, 1, nOut);
                ASSERT_NE(path, nullptr);
                const std::string name = "1 in, " + std::to_string(nOut) + " out" +
                                         (skipIn ? ", skip in" : "") +
                                         (skipOut ? ", skip out" : "");
                std::vector<uint8_t> all8(256);
                for (unsigned v = 0; v < 256; ++v) all8[v] = uint8_t(v);
                std::vector<uint16_t> all16(65536);
                for (unsigned v = 0; v < 65536; ++v) all16[v] = uint16_t(v);
                EXPECT_EQ(Compare(table, *path, all8, 1, nOut, name + ", 8 bits", true), 0u);
                EXPECT_EQ(Compare(table, *path, all16, 1, nOut, name + ", 16 bits", true), 0u);
            }
}

TEST(FastPixelPath, NoPathForOtherLayoutsOrClasses) {
    const auto t3 = MakePipeline<CFunc_16Tab3Mft>(5, 4, Contents::Smooth, false, false, 61);
    EXPECT_NE(CFastPixelPath::Make(*t3, 3, 4), nullptr);
    EXPECT_EQ(CFastPixelPath::Make(*t3, 3, 5), nullptr); // more channels than the table writes
    EXPECT_EQ(CFastPixelPath::Make(*t3, 3, 3), nullptr); // fewer
    EXPECT_EQ(CFastPixelPath::Make(*t3, 4, 4), nullptr); // input layout of another table
    const auto t4 = MakePipeline<CFunc_16Tab4Mft>(3, 4, Contents::Smooth, false, false, 62);
    EXPECT_NE(CFastPixelPath::Make(*t4, 4, 4), nullptr);
    EXPECT_EQ(CFastPixelPath::Make(*t4, 3, 4), nullptr);
    // A derived pipeline with a stage of its own (here a matrix ahead of the curves) has its
    // own Trn, which a path of the base class would bypass.
    CFunc_16Tab3LUTMft lut(5, 4);
    lut.Mft().Define(std::vector<uint16_t>(lut.Mft().TabEntries(), 1000).data());
    lut.InitMftTrn();
    EXPECT_EQ(CFastPixelPath::Make(lut, 3, 4), nullptr);
}

// ---- links from real profiles of the corpus ----

const std::string kSrgbPath = kvrtest::CorpusProfile("sRGB.icc").string();
const std::string kPrinterPath = kvrtest::CorpusProfile("default_cmyk.icc").string();
const std::string kPressPath = kvrtest::CorpusProfile("ps_cmyk.icc").string();
const char* const kSrgb = kSrgbPath.c_str();
const char* const kPrinter = kPrinterPath.c_str();
const char* const kPress = kPressPath.c_str();

std::wstring Wide(const char* s) {
    return std::wstring(s, s + std::char_traits<char>::length(s));
}

// A built link: its TrnPixels8 and TrnPixels16 (which take the path) against the
// straightforward loop on its table, and the path made from the table directly.
void CheckLink(const char* source, const char* dest, unsigned inFmt, unsigned nIn, unsigned outFmt,
               unsigned nOut, uint32_t seed) {
    for (const char* p : {source, dest}) {
        if (p) {
            ASSERT_TRUE(kvrtest::HaveFile(p, "part of the repository's profile corpus"));
        }
    }
    DefaultGridSizes grids;
    CColorLink link(nullptr);
    if (source) {
        ASSERT_EQ(link.AddProfile(Wide(source).c_str(), CMdlColorLink::ProfStepDevToPcs,
                                  IntentPerceptual),
                  1);
    }
    ASSERT_EQ(
        link.AddProfile(Wide(dest).c_str(), CMdlColorLink::ProfStepPcsToDev, IntentPerceptual), 1);
    ASSERT_EQ(link.CreateLink(inFmt, nIn, outFmt, nOut), 1);
    const CFunc_16TabBaseMft* table = link.Table16();
    ASSERT_NE(table, nullptr);
    const auto path = CFastPixelPath::Make(*table, nIn, nOut);
    ASSERT_NE(path, nullptr);
    const std::string name = std::string(source ? source : "Lab") + " to " + dest;
    unsigned points = 2; // the grid size the link chose, from its node count
    while (std::pow(double(points), double(nIn)) < double(table->clutEntries())) ++points;

    for (bool random : {true, false}) {
        const auto src8 = random ? RandomPixels<uint8_t>(kRandomPixels, nIn, seed)
                                 : EdgePixels<uint8_t>(nIn, points - 1);
        const auto want8 = Reference8(*table, src8, nIn, nOut);
        std::vector<uint8_t> got8(want8.size(), 0x5A);
        link.TrnPixels8(src8.data(), got8.data(), unsigned(src8.size() / nIn));
        EXPECT_EQ(Mismatches(want8, got8, src8, nIn, nOut, name + ", link, 8 bits"), 0u);
        EXPECT_EQ(Mismatches(want8, RunPath(*path, src8, nIn, nOut), src8, nIn, nOut,
                             name + ", path, 8 bits"),
                  0u);

        const auto src16 = random ? RandomPixels<uint16_t>(kRandomPixels, nIn, seed + 1)
                                  : EdgePixels<uint16_t>(nIn, points - 1);
        const auto want16 = Reference16(*table, src16, nIn, nOut);
        std::vector<uint16_t> got16(want16.size(), 0x5A5A);
        link.TrnPixels16(src16.data(), got16.data(), unsigned(src16.size() / nIn));
        EXPECT_EQ(Mismatches(want16, got16, src16, nIn, nOut, name + ", link, 16 bits"), 0u);
    }
}

TEST(FastPixelPathLink, SrgbToPrinter) {
    CheckLink(kSrgb, kPrinter, CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4, 71);
}

TEST(FastPixelPathLink, LabToPrinter) {
    CheckLink(nullptr, kPrinter, CMdlColorLink::LinkFmtLab, 3, CMdlColorLink::LinkFmtCmyk, 4, 72);
}

TEST(FastPixelPathLink, PressToPrinter) {
    CheckLink(kPress, kPrinter, CMdlColorLink::LinkFmtCmyk, 4, CMdlColorLink::LinkFmtCmyk, 4, 73);
}

TEST(FastPixelPathLink, PrinterToSrgb) {
    CheckLink(kPrinter, kSrgb, CMdlColorLink::LinkFmtCmyk, 4, CMdlColorLink::LinkFmtRgb, 3, 74);
}

} // namespace
