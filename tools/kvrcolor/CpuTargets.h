// The instruction sets this CPU and its operating system offer, as Highway's target bits
// (HWY_SSSE3, HWY_SSE4, HWY_AVX2, HWY_AVX3, HWY_AVX3_DL, and HWY_EMU128 | HWY_SCALAR always).
//
// The answer of Highway's own SupportedTargets(), found with the same CPUID and XGETBV tests,
// so that the tool need not load libhwy.so: that library times its clock in a static
// initializer (for its benchmarking helpers) whenever it is loaded, some milliseconds at
// every start, and the pixel kernels ask it nothing else at run time. The tool's programs
// define hwy::SupportedTargets() with this (HwyTargets.cpp); the tests compare the two.
#pragma once

#include <cstdint>

int64_t CpuSimdTargets();
