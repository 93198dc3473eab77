// The profile-record cache under threads: eight threads load distinct and repeated paths at
// once, and the counts of loads, hits and entries come out as the cache's rules make them.
// Also built with ThreadSanitizer into test_threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "colorspace/BaseColorSpace.h"
#include "colorspace/ColorSpaceTestUtil.h"

using namespace cstest;

namespace {

constexpr unsigned kThreads = 8;
constexpr unsigned kRounds = 3;

// `count` CMYK profiles, each with its index as description.
std::vector<std::wstring> WriteProfiles(const TempDir& dir, unsigned count) {
    std::vector<std::wstring> paths;
    for (unsigned i = 0; i < count; ++i) {
        Gen gen;
        gen.AddTextTag(icTagSignature(icSigTvr3Tag), ("profile " + std::to_string(i)).c_str());
        paths.push_back(gen.Save(dir, "p" + std::to_string(i) + ".icc"));
    }
    return paths;
}

// Every thread loads every path kRounds times in an order of its own; answers the number of
// loads that failed or delivered the wrong record.
unsigned LoadAtOnce(const std::vector<std::wstring>& paths) {
    std::atomic<unsigned> wrong{0};
    std::atomic<unsigned> ready{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            std::vector<unsigned> order(paths.size());
            for (unsigned i = 0; i < order.size(); ++i) order[i] = i;
            std::mt19937 rng(t + 1);
            ++ready;
            while (ready < kThreads) std::this_thread::yield(); // start together
            for (unsigned r = 0; r < kRounds; ++r) {
                std::shuffle(order.begin(), order.end(), rng);
                for (unsigned i : order) {
                    CBaseColorSpace cs;
                    cs.SetCmykPlus(4);
                    const bool ok =
                        cs.LoadIccFile(paths[i].c_str(), nullptr) == 1 &&
                        cs.pIccProfile()->Description() == L"profile " + std::to_wstring(i);
                    if (!ok) ++wrong;
                }
            }
        });
    }
    for (auto& th : threads) th.join();
    return wrong;
}

} // namespace

TEST(BaseColorSpaceThreads, RepeatedPathsUnderTheLimitAreEachReadOnce) {
    TempDir dir("kvr-cache");
    const std::vector<std::wstring> paths = WriteProfiles(dir, 15);
    CBaseColorSpace::EmptyProfileCache();
    const auto before = CBaseColorSpace::ProfileCacheStats();
    EXPECT_EQ(0u, LoadAtOnce(paths));
    const auto after = CBaseColorSpace::ProfileCacheStats();
    const uint64_t calls = uint64_t(kThreads) * kRounds * paths.size();
    // The lock is held across a miss's load, so no path is read twice.
    EXPECT_EQ(paths.size(), after.loads - before.loads);
    EXPECT_EQ(calls - paths.size(), after.hits - before.hits);
    EXPECT_EQ(paths.size(), after.entries);
}

TEST(BaseColorSpaceThreads, ThirtyDistinctPathsOverflowTheCacheWithoutLoss) {
    TempDir dir("kvr-cache");
    const std::vector<std::wstring> paths = WriteProfiles(dir, 30);
    CBaseColorSpace::EmptyProfileCache();
    const auto before = CBaseColorSpace::ProfileCacheStats();
    EXPECT_EQ(0u, LoadAtOnce(paths));
    const auto after = CBaseColorSpace::ProfileCacheStats();
    const uint64_t calls = uint64_t(kThreads) * kRounds * paths.size();
    const uint64_t loads = after.loads - before.loads;
    // Every call is a load or a hit; every path is read at least once; emptying at the limit
    // means at least one more read than the first twenty, and never more than one per call.
    EXPECT_EQ(calls, loads + (after.hits - before.hits));
    EXPECT_GE(loads, paths.size() + 1);
    EXPECT_LE(loads, calls);
    EXPECT_GE(after.entries, 1u);
    EXPECT_LE(after.entries, CBaseColorSpace::kProfileCacheLimit);
    // After the storm the cache still answers a path it holds without reading it.
    CBaseColorSpace::EmptyProfileCache();
    CBaseColorSpace a, b;
    ASSERT_EQ(1, a.LoadIccFile(paths[7].c_str(), nullptr));
    const auto one = CBaseColorSpace::ProfileCacheStats();
    ASSERT_EQ(1, b.LoadIccFile(paths[7].c_str(), nullptr));
    EXPECT_EQ(one.loads, CBaseColorSpace::ProfileCacheStats().loads);
    EXPECT_EQ(1u, CBaseColorSpace::ProfileCacheStats().entries);
}
