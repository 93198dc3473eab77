// The several-pixel kernels of the fast path against its one-pixel-at-a-time loop (the level
// Scalar, itself checked against the table's Trn by FastPixelPathTest): every level this CPU
// has, byte for byte, on RGB8->CMYK8 and CMYK8->CMYK8 (and Lab8->CMYK8, the same kernel), and
// sample for sample on RGB16, Lab16 and CMYK16 to CMYK16.
//
// Tables: pipelines with random nodes over the whole 16-bit range (so the sums pass 2^31 and
// wrap) and random curves, with and without the curves; links built from the default profiles
// and from the profile corpus. Pixels: a million random ones per kernel and level, the ends
// and middle of every channel in every combination, every byte of one channel with the others
// fixed, runs of equal pixels (the path reuses a repeated pixel's result), and every run length
// from 1 to 67 at several starts (the kernel's steps and the loop that finishes a run).
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "colorlink/DefaultGridSizes.h"
#include "colorlink/native/ColorLink.h"
#include "colorlink/native/FastPixelPath.h"
#include "colorlink/native/SimdGridKernel.h"
#include "gridtable/TabMftX.h"
#include "support/TestData.h"

namespace fs = std::filesystem;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
constexpr size_t kVariantPixels = size_t(1) << 14;
#else
constexpr bool kSanitized = false;
constexpr size_t kVariantPixels = size_t(1) << 17;
#endif
// The links of each kernel get a million random pixels per level in every build; the
// synthetic tables as many in the plain build.
constexpr size_t kRandomPixels = 1000000;
constexpr size_t kSyntheticPixels = kSanitized ? kVariantPixels : kRandomPixels;

constexpr SimdLevel kKernelLevels[] = {SimdLevel::Sse4, SimdLevel::Avx2, SimdLevel::Avx512,
                                       SimdLevel::Avx512Vbmi};

// ---- pixels ----

std::vector<uint8_t> RandomPixels(size_t count, unsigned nIn, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, 255);
    std::vector<uint8_t> v(count * nIn);
    for (auto& x : v) x = uint8_t(any(rng));
    return v;
}

// Runs of 1 to 40 equal pixels, some of them the pixel of the run before but one, so that a
// whole kernel step may equal the last pixel converted and the next one differ again.
std::vector<uint8_t> RunsOfEqualPixels(size_t count, unsigned nIn, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, 255), run(1, 40), coin(0, 3);
    std::vector<uint8_t> v, before(nIn, 0), last(nIn, 0);
    while (v.size() < count * nIn) {
        std::vector<uint8_t> px(nIn);
        if (coin(rng) == 0)
            px = before;
        else
            for (auto& x : px) x = uint8_t(any(rng));
        for (unsigned r = run(rng); r > 0 && v.size() < count * nIn; --r)
            v.insert(v.end(), px.begin(), px.end());
        before = last;
        last = px;
    }
    // Flat black and flat white, as page margins give.
    for (uint8_t value : {uint8_t(0), uint8_t(255)}) v.insert(v.end(), size_t(100) * nIn, value);
    return v;
}

// Every combination of the ends and the middle over all channels, then every byte of each
// channel with the others held at 0, at the middle and at 255.
std::vector<uint8_t> EdgePixels(unsigned nIn) {
    const uint8_t special[] = {0, 1, 2, 127, 128, 129, 253, 254, 255};
    std::vector<uint8_t> v;
    std::vector<size_t> idx(nIn, 0);
    for (;;) {
        for (unsigned c = 0; c < nIn; ++c) v.push_back(special[idx[c]]);
        unsigned c = 0;
        while (c < nIn && ++idx[c] == std::size(special)) idx[c++] = 0;
        if (c == nIn) break;
    }
    for (unsigned ch = 0; ch < nIn; ++ch)
        for (uint32_t fixed : {0u, 128u, 255u})
            for (uint32_t x = 0; x <= 255; ++x)
                for (unsigned c = 0; c < nIn; ++c) v.push_back(uint8_t(c == ch ? x : fixed));
    return v;
}

// ---- comparison ----

// Differing samples between the two paths on `src`, 8- or 16-bit pixels; the first is reported
// with its pixel. The two outputs start different, so a sample that one path leaves unwritten
// counts too.
template <class T>
size_t Mismatches(const CFastPixelPath& scalar, const CFastPixelPath& kernel, const T* src,
                  size_t count, unsigned nIn, const std::string& what) {
    std::vector<T> want(count * 4, T(0x5A5A)), got(count * 4, T(0xA5A5));
    if constexpr (sizeof(T) == 1) {
        EXPECT_TRUE(scalar.Trn8(src, want.data(), unsigned(count)));
        EXPECT_TRUE(kernel.Trn8(src, got.data(), unsigned(count)));
    } else {
        EXPECT_TRUE(scalar.Trn16(src, want.data(), unsigned(count)));
        EXPECT_TRUE(kernel.Trn16(src, got.data(), unsigned(count)));
    }
    size_t n = 0;
    for (size_t i = 0; i < want.size(); ++i) {
        if (want[i] == got[i]) continue;
        if (n++ == 0) {
            const size_t px = i / 4;
            std::string in;
            for (unsigned c = 0; c < nIn; ++c) in += " " + std::to_string(src[px * nIn + c]);
            ADD_FAILURE() << what << ": pixel " << px << " of " << count << " (in" << in
                          << ") channel " << i % 4 << ": scalar " << unsigned(want[i])
                          << ", kernel " << unsigned(got[i]);
        }
    }
    return n;
}

// The pixel sets of one table at one level compared: random pixels, edges, runs of equal
// pixels, and every length from 1 to 67 at starts 0, 1 and 7 of the random pixels and of the
// runs.
template <class T>
void CompareSets(const CFastPixelPath& scalar, const CFastPixelPath& kernel, unsigned nIn,
                 const std::vector<T>& rnd, const std::vector<T>& edge, const std::vector<T>& runs,
                 const std::string& what) {
    EXPECT_EQ(Mismatches(scalar, kernel, rnd.data(), rnd.size() / nIn, nIn, what + ", random"), 0u);
    EXPECT_EQ(Mismatches(scalar, kernel, edge.data(), edge.size() / nIn, nIn, what + ", edges"),
              0u);
    EXPECT_EQ(Mismatches(scalar, kernel, runs.data(), runs.size() / nIn, nIn, what + ", runs"), 0u);
    for (const auto* set : {&rnd, &runs})
        for (size_t start : {0u, 1u, 7u})
            for (size_t count = 1; count <= 67; ++count)
                EXPECT_EQ(Mismatches(scalar, kernel, set->data() + start * nIn, count, nIn,
                                     what + ", " + std::to_string(count) + " pixels from " +
                                         std::to_string(start)),
                          0u);
}

// All pixel sets on one table at one level. `randomPixels` random pixels, the others as above.
void CheckTable(const CFunc_16TabBaseMft& table, unsigned nIn, SimdLevel level,
                const std::string& name, size_t randomPixels, uint32_t seed) {
    ASSERT_NE(FindGridKernel8(nIn, level), nullptr) << SimdLevelName(level);
    const auto scalar = CFastPixelPath::Make(table, nIn, 4, SimdLevel::Scalar);
    const auto kernel = CFastPixelPath::Make(table, nIn, 4, level);
    ASSERT_NE(scalar, nullptr) << name;
    ASSERT_NE(kernel, nullptr) << name;
    EXPECT_EQ(scalar->Kernel8Level(), SimdLevel::Scalar) << name;
    ASSERT_EQ(kernel->Kernel8Level(), level) << name; // the kernel is really the one compared

    CompareSets(*scalar, *kernel, nIn, RandomPixels(randomPixels, nIn, seed), EdgePixels(nIn),
                RunsOfEqualPixels(20000, nIn, seed + 1), name + ", " + SimdLevelName(level));
}

// ---- 16-bit pixels ----

std::vector<uint16_t> RandomPixels16(size_t count, unsigned nIn, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, 65535);
    std::vector<uint16_t> v(count * nIn);
    for (auto& x : v) x = uint16_t(any(rng));
    return v;
}

// Runs of equal pixels as RunsOfEqualPixels, with 16-bit samples; pixels of a run may differ
// from the run before in one sample's low bits only (the kernel must compare whole samples).
std::vector<uint16_t> RunsOfEqualPixels16(size_t count, unsigned nIn, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, 65535), run(1, 40), coin(0, 3), ch(0, nIn - 1);
    std::vector<uint16_t> v, before(nIn, 0), last(nIn, 0);
    while (v.size() < count * nIn) {
        std::vector<uint16_t> px(nIn);
        const uint32_t kind = coin(rng);
        if (kind == 0) {
            px = before;
        } else if (kind == 1) {
            px = last;
            px[ch(rng)] ^= 1;
        } else {
            for (auto& x : px) x = uint16_t(any(rng));
        }
        for (unsigned r = run(rng); r > 0 && v.size() < count * nIn; --r)
            v.insert(v.end(), px.begin(), px.end());
        before = last;
        last = px;
    }
    for (uint16_t value : {uint16_t(0), uint16_t(65535)})
        v.insert(v.end(), size_t(100) * nIn, value);
    return v;
}

// Every combination of the ends, the middle and the 12-bit steps around them over all
// channels, then every sample value of each channel with the others held at 0, at the middle
// and at 65535.
std::vector<uint16_t> EdgePixels16(unsigned nIn) {
    const uint16_t special[] = {0, 1, 15, 16, 4095, 32767, 32768, 32896, 65279, 65534, 65535};
    std::vector<uint16_t> v;
    std::vector<size_t> idx(nIn, 0);
    for (;;) {
        for (unsigned c = 0; c < nIn; ++c) v.push_back(special[idx[c]]);
        unsigned c = 0;
        while (c < nIn && ++idx[c] == std::size(special)) idx[c++] = 0;
        if (c == nIn) break;
    }
    for (unsigned ch = 0; ch < nIn; ++ch)
        for (uint32_t fixed : {0u, 32768u, 65535u})
            for (uint32_t x = 0; x <= 65535; ++x)
                for (unsigned c = 0; c < nIn; ++c) v.push_back(uint16_t(c == ch ? x : fixed));
    return v;
}

// All 16-bit pixel sets on one table at one level, as CheckTable.
void CheckTable16(const CFunc_16TabBaseMft& table, unsigned nIn, SimdLevel level,
                  const std::string& name, size_t randomPixels, uint32_t seed) {
    ASSERT_NE(FindGridKernel16(nIn, level), nullptr) << SimdLevelName(level);
    const auto scalar = CFastPixelPath::Make(table, nIn, 4, SimdLevel::Scalar);
    const auto kernel = CFastPixelPath::Make(table, nIn, 4, level);
    ASSERT_NE(scalar, nullptr) << name;
    ASSERT_NE(kernel, nullptr) << name;
    EXPECT_EQ(scalar->Kernel16Level(), SimdLevel::Scalar) << name;
    ASSERT_EQ(kernel->Kernel16Level(), level) << name; // the kernel is really the one compared

    CompareSets(*scalar, *kernel, nIn, RandomPixels16(randomPixels, nIn, seed), EdgePixels16(nIn),
                RunsOfEqualPixels16(20000, nIn, seed + 1),
                name + ", 16 bits, " + SimdLevelName(level));
}

// The tests of the kernels run once per level; a level the CPU lacks is skipped, saying so.
class SimdGridKernelLevel : public ::testing::TestWithParam<SimdLevel> {
protected:
    void SetUp() override {
        if (!SimdLevelAvailable(GetParam()))
            GTEST_SKIP() << "this CPU or build has no " << SimdLevelName(GetParam()) << " kernel";
    }
};

std::string LevelName(const ::testing::TestParamInfo<SimdLevel>& info) {
    return SimdLevelName(info.param);
}

// ---- synthetic tables ----

std::vector<uint16_t> RandomCurves(unsigned channels, unsigned entries, std::mt19937& rng) {
    std::uniform_int_distribution<uint32_t> any(0, 65535);
    std::vector<uint16_t> t(size_t(channels) * entries);
    for (auto& x : t) x = uint16_t(any(rng));
    return t;
}

// Nodes random over the whole 16-bit range; curves random, skipped or not.
template <class Pipeline>
std::unique_ptr<Pipeline> RandomPipeline(unsigned points, bool skipCurves, uint32_t seed) {
    auto p = std::make_unique<Pipeline>(points, 4);
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> any(0, 65535);
    std::vector<uint16_t> nodes(p->Mft().TabEntries());
    for (auto& x : nodes) x = uint16_t(any(rng));
    p->Mft().Define(nodes.data());
    const auto in = RandomCurves(p->inputChan(), 256, rng);
    const auto out = RandomCurves(4, 256, rng);
    p->DefineInputTab(in.data(), 256);
    p->DefineOutputTab(out.data(), 256);
    p->SetSkipInputTab(skipCurves);
    p->SetSkipOutputTab(skipCurves);
    p->InitMftTrn();
    return p;
}

// Random nodes and curves, except the output curves of the channels in `identityOut`, which
// are the identity: the kernels compute those channels' final byte without their table.
template <class Pipeline>
std::unique_ptr<Pipeline> PipelineWithIdentityOutputs(unsigned points, unsigned identityOut,
                                                      uint32_t seed) {
    auto p = RandomPipeline<Pipeline>(points, false, seed);
    std::mt19937 rng(seed + 1);
    auto out = RandomCurves(4, 256, rng);
    for (unsigned c = 0; c < 4; ++c)
        if (identityOut >> c & 1)
            for (uint32_t i = 0; i < 256; ++i) out[c * 256 + i] = uint16_t(i * 257);
    p->DefineOutputTab(out.data(), 256);
    p->InitMftTrn();
    return p;
}

// Random nodes and curves, except rising straight output curves on channels 0 to 2, whose
// final bytes climb by steps of one (slopes 1.8, 0.5 and 1.5 times the identity, the first
// and last clipped): the permute kernels read such tables without a gather. Channel 3 keeps a
// random curve, read by a gather.
template <class Pipeline>
std::unique_ptr<Pipeline> PipelineWithRisingOutputs(unsigned points, uint32_t seed) {
    auto p = RandomPipeline<Pipeline>(points, false, seed);
    std::mt19937 rng(seed + 1);
    auto out = RandomCurves(4, 256, rng);
    const double slope[3] = {1.8, 0.5, 1.5}, start[3] = {0, 20000, -9000};
    for (unsigned c = 0; c < 3; ++c)
        for (uint32_t i = 0; i < 256; ++i)
            out[c * 256 + i] = uint16_t(std::clamp(start[c] + slope[c] * i * 257, 0.0, 65535.0));
    p->DefineOutputTab(out.data(), 256);
    p->InitMftTrn();
    return p;
}

// The fast path's final byte per 12-bit read-out of output c: the curve's high byte.
std::vector<uint8_t> OutputBytes(const CFunc_16TabBaseMft& table, unsigned c) {
    std::vector<uint8_t> bytes(CFunc_16Tab::kFastEntries);
    const uint16_t* curve = table.FuncOutputTab().pFastTab(c);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(curve[i] >> 8);
    return bytes;
}

TEST(SimdGridKernel, OutputTableIsHighByteOnlyForTheExactHighByte) {
    std::vector<uint8_t> table(4096);
    for (uint32_t i = 0; i < 4096; ++i) table[i] = uint8_t(i >> 4);
    EXPECT_TRUE(OutputTableIsHighByte(table.data()));
    for (uint32_t at : {0u, 15u, 16u, 2048u, 4095u}) {
        std::vector<uint8_t> off = table;
        off[at] = uint8_t(off[at] + 1);
        EXPECT_FALSE(OutputTableIsHighByte(off.data())) << "entry " << at;
    }
    // Rounded to the nearest instead of cut: a different table.
    for (uint32_t i = 0; i < 4096; ++i) table[i] = uint8_t(std::min(255u, (i + 8) >> 4));
    EXPECT_FALSE(OutputTableIsHighByte(table.data()));
    const std::vector<uint8_t> zeros(4096, 0);
    EXPECT_FALSE(OutputTableIsHighByte(zeros.data()));
}

// The staircase of a table, entry by entry as the permute kernels compute it from the low
// byte of a 16-bit grid result (every low nibble below it).
uint8_t StairEntry(const uint8_t* planes, uint32_t i) {
    const uint32_t h = i >> 4, low = (i & 15) << 4;
    return uint8_t(planes[h] + (low > planes[256 + h]) + (low > planes[512 + h]));
}

TEST(SimdGridKernel, OutputTableStepsRebuildsRisingTablesOnly) {
    std::vector<uint8_t> planes(768);
    // Rising by at most two steps of one per 16 entries: accepted, and rebuilt entry by entry.
    for (double slope : {0.3, 1.0, 1.9, 2.0}) {
        std::vector<uint8_t> table(4096);
        for (uint32_t i = 0; i < 4096; ++i) table[i] = uint8_t(std::min(255.0, 3 + slope * i / 16));
        ASSERT_TRUE(OutputTableSteps(table.data(), planes.data())) << "slope " << slope;
        for (uint32_t i = 0; i < 4096; ++i)
            ASSERT_EQ(StairEntry(planes.data(), i), table[i]) << "slope " << slope << " at " << i;
    }
    std::vector<uint8_t> flat(4096, 77);
    ASSERT_TRUE(OutputTableSteps(flat.data(), planes.data()));
    for (uint32_t i = 0; i < 4096; ++i) ASSERT_EQ(StairEntry(planes.data(), i), 77) << i;
    // A jump or a fall between two runs of 16 entries: kept in the later run's first entry.
    std::vector<uint8_t> jump(4096), falling(4096);
    for (uint32_t i = 0; i < 4096; ++i) {
        jump[i] = i < 2048 ? 10 : 200;
        falling[i] = uint8_t(255 - (i >> 4));
    }
    for (const auto* t : {&jump, &falling}) {
        ASSERT_TRUE(OutputTableSteps(t->data(), planes.data()));
        for (uint32_t i = 0; i < 4096; ++i) ASSERT_EQ(StairEntry(planes.data(), i), (*t)[i]) << i;
    }

    std::vector<uint8_t> table(4096);
    for (uint32_t i = 0; i < 4096; ++i) table[i] = uint8_t(i >> 4);
    auto refused = [&](std::vector<uint8_t> t, const char* what) {
        EXPECT_FALSE(OutputTableSteps(t.data(), planes.data())) << what;
    };
    std::vector<uint8_t> t = table;
    t[100] = uint8_t(t[100] + 2); // a step of two, then a fall, within a run
    refused(t, "step of two");
    t = table;
    t[37] = uint8_t(t[37] + 1), t[38] = uint8_t(t[38] + 2), t[39] = uint8_t(t[39] + 3);
    refused(t, "three steps in a run");
    for (uint32_t i = 0; i < 4096; ++i) t[i] = uint8_t(255 - (i >> 3));
    refused(t, "falling within runs");
    for (uint32_t i = 0; i < 4096; ++i) t[i] = uint8_t(i >> 2);
    refused(t, "four times as steep");
}

TEST(SimdGridKernel, RisingStraightOutputCurvesGiveStaircaseTables) {
    const auto p = PipelineWithRisingOutputs<CFunc_16Tab3Mft>(9, 302);
    std::vector<uint8_t> planes(768);
    for (unsigned c = 0; c < 4; ++c)
        EXPECT_EQ(OutputTableSteps(OutputBytes(*p, c).data(), planes.data()), c < 3)
            << "channel " << c;
}

TEST(SimdGridKernel, IdentityOutputCurveGivesTheHighByteTable) {
    const auto p = PipelineWithIdentityOutputs<CFunc_16Tab3Mft>(9, 0b1010, 301);
    for (unsigned c = 0; c < 4; ++c)
        EXPECT_EQ(OutputTableIsHighByte(OutputBytes(*p, c).data()), (0b1010 >> c & 1) != 0)
            << "channel " << c;
}

TEST(SimdGridKernel, ScalarLevelHasNoKernelAndIsAlwaysAvailable) {
    EXPECT_TRUE(SimdLevelAvailable(SimdLevel::Scalar));
    EXPECT_EQ(FindGridKernel8(3, SimdLevel::Scalar), nullptr);
    EXPECT_EQ(FindGridKernel8(4, SimdLevel::Scalar), nullptr);
    EXPECT_EQ(FindGridKernel16(3, SimdLevel::Scalar), nullptr);
    EXPECT_EQ(FindGridKernel16(4, SimdLevel::Scalar), nullptr);
    for (SimdLevel level : kKernelLevels) {
        EXPECT_EQ(FindGridKernel8(5, level), nullptr);
        EXPECT_EQ(FindGridKernel16(5, level), nullptr);
    }
}

TEST(SimdGridKernel, LevelNamesRoundTrip) {
    for (SimdLevel level : {SimdLevel::Scalar, SimdLevel::Sse4, SimdLevel::Avx2, SimdLevel::Avx512,
                            SimdLevel::Avx512Vbmi}) {
        SimdLevel parsed = SimdLevel::Scalar;
        ASSERT_TRUE(ParseSimdLevel(SimdLevelName(level), parsed));
        EXPECT_EQ(parsed, level);
    }
    SimdLevel best = SimdLevel::Scalar;
    ASSERT_TRUE(ParseSimdLevel("best", best));
    EXPECT_EQ(best, BestSimdLevel());
    EXPECT_FALSE(ParseSimdLevel("avx9", best));
    EXPECT_TRUE(SimdLevelAvailable(SimdLevelSetting()));
}

// The comma-separated features of a target attribute string.
std::vector<std::string> SplitFeatures(const std::string& list) {
    std::vector<std::string> features;
    size_t start = 0;
    while (start <= list.size()) {
        const size_t end = std::min(list.find(',', start), list.size());
        features.push_back(list.substr(start, end - start));
        start = end + 1;
    }
    return features;
}

bool Requires(SimdLevel level, const std::string& feature) {
    const auto required = SimdLevelRequiredFeatures(level);
    return std::any_of(required.begin(), required.end(),
                       [&](const char* f) { return feature == f; });
}

#if defined(__x86_64__)
// A newer Highway that compiles a level's kernels for one more feature fails here until the
// detection asks for that feature too; until then the level could run on a CPU without it.
TEST(SimdGridKernel, EveryCompiledFeatureIsRequiredByItsLevel) {
    for (SimdLevel level : kKernelLevels) {
        const std::string compiled = SimdLevelCompiledFeatures(level);
        ASSERT_FALSE(compiled.empty()) << "this x86-64 build has kernels for every level, "
                                       << SimdLevelName(level) << " has none";
        const auto features = SplitFeatures(compiled);
        EXPECT_GE(features.size(), 6u) << compiled;
        for (const std::string& feature : features) {
            EXPECT_FALSE(feature.empty()) << compiled;
            EXPECT_TRUE(Requires(level, feature))
                << SimdLevelName(level) << " is compiled for " << feature << " (" << compiled
                << ") but its detection does not ask for it";
        }
    }
    EXPECT_STREQ(SimdLevelCompiledFeatures(SimdLevel::Scalar), "");
    EXPECT_TRUE(SimdLevelRequiredFeatures(SimdLevel::Scalar).empty());
}

// A required name the detection does not ask the CPU about would leave its level off for good.
TEST(SimdGridKernel, EveryRequiredFeatureIsAskedOfTheCpu) {
    for (SimdLevel level : kKernelLevels)
        for (const char* feature : SimdLevelRequiredFeatures(level))
            EXPECT_TRUE(CpuHasFeature(feature).has_value())
                << SimdLevelName(level) << " requires " << feature;
    EXPECT_FALSE(CpuHasFeature("no such feature").has_value());
    // Every x86-64 CPU has SSE2.
    EXPECT_EQ(CpuHasFeature("sse2"), std::optional<bool>(true));
}

TEST(SimdGridKernel, EachLevelRequiresWhatTheLevelBelowDoes) {
    for (size_t i = 1; i < std::size(kKernelLevels); ++i)
        for (const char* feature : SimdLevelRequiredFeatures(kKernelLevels[i - 1]))
            EXPECT_TRUE(Requires(kKernelLevels[i], feature))
                << SimdLevelName(kKernelLevels[i]) << " lacks " << feature;
}

// The library decides without libhwy.so; this program links it to compare with Highway's own
// run-time check. Highway 1.0.3 compiles AVX3_DL with AVX-VNNI, which its check does not test:
// on a CPU without AVX-VNNI the library, which requires it, refuses that level where Highway
// offers it.
TEST(SimdGridKernel, AvailabilityIsHighwaysOnThisCpu) {
    const int64_t supported = hwy::SupportedTargets();
    const std::pair<SimdLevel, int64_t> targets[] = {{SimdLevel::Sse4, HWY_SSE4},
                                                     {SimdLevel::Avx2, HWY_AVX2},
                                                     {SimdLevel::Avx512, HWY_AVX3},
                                                     {SimdLevel::Avx512Vbmi, HWY_AVX3_DL}};
    for (const auto& [level, target] : targets) {
        bool expected = (supported & target) != 0;
        if (level == SimdLevel::Avx512Vbmi) expected = expected && *CpuHasFeature("avxvnni");
        EXPECT_EQ(SimdLevelAvailable(level), expected) << SimdLevelName(level);
    }
}
#endif

// KVR_SIMD, restored when the test ends.
class SimdSetting {
public:
    SimdSetting() {
        if (const char* old = std::getenv("KVR_SIMD")) saved = old;
    }
    ~SimdSetting() {
        if (saved.empty())
            unsetenv("KVR_SIMD");
        else
            setenv("KVR_SIMD", saved.c_str(), 1);
    }
    void Set(const char* level) { setenv("KVR_SIMD", level, 1); }

private:
    std::string saved;
};

TEST(SimdGridKernel, SettingForcesTheLevelOfANewPath) {
    const auto table = RandomPipeline<CFunc_16Tab3Mft>(5, false, 11);
    SimdSetting setting;
    setting.Set("scalar");
    EXPECT_EQ(SimdLevelSetting(), SimdLevel::Scalar);
    EXPECT_EQ(CFastPixelPath::Make(*table, 3, 4)->Kernel8Level(), SimdLevel::Scalar);
    setting.Set("best");
    EXPECT_EQ(CFastPixelPath::Make(*table, 3, 4)->Kernel8Level(), BestSimdLevel());
    setting.Set("no such level");
    EXPECT_EQ(SimdLevelSetting(), BestSimdLevel());
    for (SimdLevel level : kKernelLevels) {
        setting.Set(SimdLevelName(level));
        // A level the CPU lacks falls to the next one below that it has.
        SimdLevel expected = level;
        while (!SimdLevelAvailable(expected)) expected = SimdLevel(int(expected) - 1);
        EXPECT_EQ(SimdLevelSetting(), expected) << SimdLevelName(level);
        EXPECT_EQ(CFastPixelPath::Make(*table, 3, 4)->Kernel8Level(), expected)
            << SimdLevelName(level);
        EXPECT_EQ(CFastPixelPath::Make(*table, 3, 4)->Kernel16Level(), expected)
            << SimdLevelName(level);
    }
}

TEST_P(SimdGridKernelLevel, ThreeInputsRandomTableWrapsLikeScalar) {
    const auto table = RandomPipeline<CFunc_16Tab3Mft>(33, false, 101);
    CheckTable(*table, 3, GetParam(), "3 in random 33", kSyntheticPixels, 102);
}

TEST_P(SimdGridKernelLevel, ThreeInputsWithoutCurvesAndSmallGrid) {
    const auto plain = RandomPipeline<CFunc_16Tab3Mft>(9, true, 103);
    CheckTable(*plain, 3, GetParam(), "3 in random 9 no curves", kVariantPixels, 105);
    const auto two = RandomPipeline<CFunc_16Tab3Mft>(2, false, 104);
    CheckTable(*two, 3, GetParam(), "3 in random 2", kVariantPixels, 106);
}

TEST_P(SimdGridKernelLevel, ThreeInputsSomeOutputsWithoutTableLikeScalar) {
    for (unsigned identityOut : {0b1000u, 0b0101u, 0b1111u}) {
        const auto table = PipelineWithIdentityOutputs<CFunc_16Tab3Mft>(17, identityOut, 107);
        CheckTable(*table, 3, GetParam(), "3 in identity outputs " + std::to_string(identityOut),
                   kVariantPixels, 108);
    }
}

TEST_P(SimdGridKernelLevel, FourInputsSomeOutputsWithoutTableLikeScalar) {
    for (unsigned identityOut : {0b1000u, 0b0110u, 0b1111u}) {
        const auto table = PipelineWithIdentityOutputs<CFunc_16Tab4Mft>(9, identityOut, 207);
        CheckTable(*table, 4, GetParam(), "4 in identity outputs " + std::to_string(identityOut),
                   kVariantPixels, 208);
    }
}

TEST_P(SimdGridKernelLevel, StaircaseOutputTablesLikeScalar) {
    const auto three = PipelineWithRisingOutputs<CFunc_16Tab3Mft>(33, 121);
    CheckTable(*three, 3, GetParam(), "3 in rising outputs", kVariantPixels, 122);
    const auto four = PipelineWithRisingOutputs<CFunc_16Tab4Mft>(9, 221);
    CheckTable(*four, 4, GetParam(), "4 in rising outputs", kVariantPixels, 222);
}

TEST_P(SimdGridKernelLevel, FourInputsRandomTableWrapsLikeScalar) {
    const auto table = RandomPipeline<CFunc_16Tab4Mft>(17, false, 201);
    CheckTable(*table, 4, GetParam(), "4 in random 17", kSyntheticPixels, 202);
}

TEST_P(SimdGridKernelLevel, FourInputsWithoutCurvesAndSmallGrid) {
    const auto plain = RandomPipeline<CFunc_16Tab4Mft>(5, true, 203);
    CheckTable(*plain, 4, GetParam(), "4 in random 5 no curves", kVariantPixels, 205);
    const auto two = RandomPipeline<CFunc_16Tab4Mft>(2, false, 204);
    CheckTable(*two, 4, GetParam(), "4 in random 2", kVariantPixels, 206);
}

TEST_P(SimdGridKernelLevel, SixteenBitThreeInputsRandomTableWrapsLikeScalar) {
    const auto table = RandomPipeline<CFunc_16Tab3Mft>(33, false, 111);
    CheckTable16(*table, 3, GetParam(), "3 in random 33", kSyntheticPixels, 112);
}

TEST_P(SimdGridKernelLevel, SixteenBitThreeInputsWithoutCurvesAndSmallGrid) {
    const auto plain = RandomPipeline<CFunc_16Tab3Mft>(9, true, 113);
    CheckTable16(*plain, 3, GetParam(), "3 in random 9 no curves", kSyntheticPixels, 115);
    const auto two = RandomPipeline<CFunc_16Tab3Mft>(2, false, 114);
    CheckTable16(*two, 3, GetParam(), "3 in random 2", kVariantPixels, 116);
}

TEST_P(SimdGridKernelLevel, SixteenBitFourInputsRandomTableWrapsLikeScalar) {
    const auto table = RandomPipeline<CFunc_16Tab4Mft>(17, false, 211);
    CheckTable16(*table, 4, GetParam(), "4 in random 17", kSyntheticPixels, 212);
}

TEST_P(SimdGridKernelLevel, SixteenBitFourInputsWithoutCurvesAndSmallGrid) {
    const auto plain = RandomPipeline<CFunc_16Tab4Mft>(5, true, 213);
    CheckTable16(*plain, 4, GetParam(), "4 in random 5 no curves", kSyntheticPixels, 215);
    const auto two = RandomPipeline<CFunc_16Tab4Mft>(2, false, 214);
    CheckTable16(*two, 4, GetParam(), "4 in random 2", kVariantPixels, 216);
}

// ---- links from the default profiles and the corpus ----

fs::path DefaultProfile(const char* name) {
    return fs::path(KVR_BINARY_DIR) / "profiles" / name;
}

// The link from `source` (empty: Lab) to `dest`, built once for all levels; null if it cannot
// be built (a failure is then recorded).
const CColorLink* SharedLink(const fs::path& source, const fs::path& dest, unsigned inFmt,
                             unsigned nIn, enmRenderingIntent intent) {
    static std::map<std::string, std::unique_ptr<CColorLink>> links;
    const std::string key = source.string() + "|" + dest.string() + "|" + std::to_string(intent);
    if (auto found = links.find(key); found != links.end()) return found->second.get();
    for (const fs::path& p : {source, dest})
        if (!p.empty() &&
            !kvrtest::HaveFile(p, "a corpus profile or built by the target kvrdefaults")) {
            ADD_FAILURE() << "missing " << p;
            return nullptr;
        }
    DefaultGridSizes grids;
    auto link = std::make_unique<CColorLink>(nullptr);
    const bool built =
        (source.empty() || link->AddProfile(source.wstring().c_str(),
                                            CMdlColorLink::ProfStepDevToPcs, intent) == 1) &&
        link->AddProfile(dest.wstring().c_str(), CMdlColorLink::ProfStepPcsToDev, intent) == 1 &&
        link->CreateLink(inFmt, nIn, CMdlColorLink::LinkFmtCmyk, 4) == 1 && link->Table16();
    if (!built) {
        ADD_FAILURE() << "link " << key << " not built";
        return nullptr;
    }
    return (links[key] = std::move(link)).get();
}

// A link from `source` (empty: Lab) to `dest`, checked at `level`.
void CheckLink(SimdLevel level, const fs::path& source, const fs::path& dest, unsigned inFmt,
               unsigned nIn, enmRenderingIntent intent, size_t randomPixels, uint32_t seed) {
    const CColorLink* link = SharedLink(source, dest, inFmt, nIn, intent);
    ASSERT_NE(link, nullptr);
    const std::string name = (source.empty() ? std::string("Lab") : source.filename().string()) +
                             " to " + dest.filename().string();
    CheckTable(*link->Table16(), nIn, level, name, randomPixels, seed);
}

TEST_P(SimdGridKernelLevel, LinkDefaultRgbToDefaultCmyk) {
    CheckLink(GetParam(), DefaultProfile("InputRgb/kvr-srgb.icc"),
              DefaultProfile("Printer/kvr-cmyk.icc"), CMdlColorLink::LinkFmtRgb, 3,
              IntentPerceptual, kRandomPixels, 301);
}

TEST_P(SimdGridKernelLevel, LinkCorpusRgbToCmyk) {
    CheckLink(GetParam(), kvrtest::CorpusProfile("sRGB.icc"),
              kvrtest::CorpusProfile("default_cmyk.icc"), CMdlColorLink::LinkFmtRgb, 3,
              IntentRelative, kVariantPixels, 302);
    CheckLink(GetParam(), kvrtest::CorpusProfile("compatibleWithAdobeRGB1998.icc"),
              kvrtest::CorpusProfile("FOGRA39L_low.icc"), CMdlColorLink::LinkFmtRgb, 3,
              IntentPerceptual, kVariantPixels, 303);
}

TEST_P(SimdGridKernelLevel, LinkLabToDefaultCmyk) {
    CheckLink(GetParam(), {}, DefaultProfile("Printer/kvr-cmyk.icc"), CMdlColorLink::LinkFmtLab, 3,
              IntentPerceptual, kVariantPixels, 304);
}

TEST_P(SimdGridKernelLevel, LinkCorpusCmykToDefaultCmyk) {
    CheckLink(GetParam(), kvrtest::CorpusProfile("default_cmyk.icc"),
              DefaultProfile("Printer/kvr-cmyk.icc"), CMdlColorLink::LinkFmtCmyk, 4,
              IntentPerceptual, kRandomPixels, 305);
}

TEST_P(SimdGridKernelLevel, LinkCorpusCmykToCorpusCmyk) {
    CheckLink(GetParam(), kvrtest::CorpusProfile("ps_cmyk.icc"),
              kvrtest::CorpusProfile("FOGRA39L_low.icc"), CMdlColorLink::LinkFmtCmyk, 4,
              IntentRelative, kVariantPixels, 306);
}

// A link from `source` (empty: Lab) to `dest`, 16 bits, checked at `level`.
void CheckLink16(SimdLevel level, const fs::path& source, const fs::path& dest, unsigned inFmt,
                 unsigned nIn, enmRenderingIntent intent, size_t randomPixels, uint32_t seed) {
    const CColorLink* link = SharedLink(source, dest, inFmt, nIn, intent);
    ASSERT_NE(link, nullptr);
    const std::string name = (source.empty() ? std::string("Lab") : source.filename().string()) +
                             " to " + dest.filename().string();
    CheckTable16(*link->Table16(), nIn, level, name, randomPixels, seed);
}

TEST_P(SimdGridKernelLevel, SixteenBitLinkDefaultRgbToDefaultCmyk) {
    CheckLink16(GetParam(), DefaultProfile("InputRgb/kvr-srgb.icc"),
                DefaultProfile("Printer/kvr-cmyk.icc"), CMdlColorLink::LinkFmtRgb, 3,
                IntentPerceptual, kRandomPixels, 311);
}

TEST_P(SimdGridKernelLevel, SixteenBitLinkCorpusRgbToCmyk) {
    CheckLink16(GetParam(), kvrtest::CorpusProfile("sRGB.icc"),
                kvrtest::CorpusProfile("default_cmyk.icc"), CMdlColorLink::LinkFmtRgb, 3,
                IntentRelative, kVariantPixels, 312);
}

TEST_P(SimdGridKernelLevel, SixteenBitLinkLabToDefaultCmyk) {
    CheckLink16(GetParam(), {}, DefaultProfile("Printer/kvr-cmyk.icc"), CMdlColorLink::LinkFmtLab,
                3, IntentPerceptual, kRandomPixels, 314);
}

TEST_P(SimdGridKernelLevel, SixteenBitLinkCorpusCmykToDefaultCmyk) {
    CheckLink16(GetParam(), kvrtest::CorpusProfile("default_cmyk.icc"),
                DefaultProfile("Printer/kvr-cmyk.icc"), CMdlColorLink::LinkFmtCmyk, 4,
                IntentPerceptual, kRandomPixels, 315);
}

INSTANTIATE_TEST_SUITE_P(Levels, SimdGridKernelLevel, ::testing::ValuesIn(kKernelLevels),
                         LevelName);

} // namespace
