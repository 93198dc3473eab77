// The tool's own answer to which instruction sets the CPU offers: the same as Highway's, for
// every target the pixel kernels are built for, on whatever machine runs the test.
#include <gtest/gtest.h>

#include <hwy/targets.h>

#include "CpuTargets.h"

namespace {

TEST(CpuTargets, SameTargetsAsHighwayOnThisMachine) {
    // This program loads libhwy.so (through the library), so this is Highway's own answer.
    const int64_t highway = hwy::SupportedTargets();
    const int64_t own = CpuSimdTargets();
    for (int64_t target :
         {HWY_SCALAR, HWY_EMU128, HWY_SSSE3, HWY_SSE4, HWY_AVX2, HWY_AVX3, HWY_AVX3_DL})
        EXPECT_EQ(own & target, highway & target) << hwy::TargetName(target);
}

TEST(CpuTargets, BaselineOfTheBuildIsAlwaysThere) {
    // The program runs, so the CPU has every target the compiler was allowed to assume.
    const int64_t baseline = HWY_ENABLED_BASELINE & (HWY_SSSE3 | HWY_SSE4 | HWY_AVX2 | HWY_AVX3);
    EXPECT_EQ(CpuSimdTargets() & baseline, baseline);
}

} // namespace
