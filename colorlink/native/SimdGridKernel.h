// Grid kernels of the fast pixel path that convert several 8- or 16-bit pixels at once, one pixel
// per 32-bit vector lane, for three- and four-input grids with four outputs (RGB, Lab and CMYK
// to CMYK, the hot cases of a RIP). They do the fast path's own arithmetic in unsigned lanes,
// wrap-around and rounding included, so their bytes are the scalar path's bytes.
//
// The instruction set is chosen at run time per link: the best the CPU has, or the one the
// environment variable KVR_SIMD asks for (scalar, sse4, avx2, avx512, avx512vbmi or best). An
// environment variable rather than a settings key: it is a per-process diagnostic switch (tests run
// every level, a suspected miscompile is ruled out by scalar) and no installed settings file
// changes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

enum class SimdLevel {
    Scalar, // no kernel: the fast path's one-pixel-at-a-time loop
    Sse4,   // 4 pixels a step, lanes loaded one by one (no gather instruction): tests only
    Avx2,   // 8 pixels a step
    Avx512, // 16 pixels a step
    // 16 pixels a step; AVX-512 with the byte permutes (VBMI) and the rest of the Ice Lake
    // set, which the 8-bit kernels use to place 64 pixels on the axes at once
    Avx512Vbmi,
};

// Name as KVR_SIMD spells it, and the level of such a name (false for an unknown name).
const char* SimdLevelName(SimdLevel level);
bool ParseSimdLevel(const char* name, SimdLevel& level);

// Whether this CPU (and this build) can run the kernels of `level`; Scalar always can. A level
// is available when the build has its kernels and the CPU has every feature of
// SimdLevelRequiredFeatures, asked of the compiler's run-time CPU detection once per process.
bool SimdLevelAvailable(SimdLevel level);
// The instruction-set features the kernels of `level` are compiled for, as the compiler's target
// attribute lists them, comma-separated ("" for Scalar and for a level this build lacks).
const char* SimdLevelCompiledFeatures(SimdLevel level);
// The CPU features, in the compiler's names, that SimdLevelAvailable requires for `level`
// (none for Scalar). They include every feature of SimdLevelCompiledFeatures.
std::span<const char* const> SimdLevelRequiredFeatures(SimdLevel level);
// Whether this CPU has `feature` (a name of SimdLevelRequiredFeatures) with, for AVX and
// AVX-512, its registers enabled by the system; nullopt for a name the detection does not ask.
std::optional<bool> CpuHasFeature(const char* feature);
// The fastest level available (never Sse4, whose kernel is slower than Scalar).
SimdLevel BestSimdLevel();
// The level KVR_SIMD asks for ("best", unset or unknown: BestSimdLevel()), lowered to the best
// available one at or below it.
SimdLevel SimdLevelSetting();

// What a kernel reads, prepared once per link by the fast path. All pointers stay owned by it.
struct SGridKernel8Tables {
    const uint16_t* grid;    // the nodes, four samples each, the last input fastest
    const uint32_t* axis[4]; // per input byte: fraction (1/65535 of a cell) << 8 | node index
    // The same per input as three planes of 256 bytes: node index, fraction's low byte, its
    // high byte (the fraction is below 65535), for kernels that look bytes up by permutes.
    const uint8_t* axisBytes[4];
    uint32_t stride[4]; // sample distance between nodes along each input
    const uint8_t* lut; // 4 x 4096 final bytes by the top 12 bits, 3 bytes of padding after
    // Bit c set: output c's table gives the high byte of the 16-bit grid result (an output
    // without a curve, often the black one), which the kernel then computes with a shift
    // rather than a gather. Set only where the table holds exactly that (OutputTableIsHighByte).
    uint32_t highByteOut;
    // Bit c set: output c's table is a staircase read by permutes (OutputTableSteps) from the
    // three 256-byte planes at steps[c]; the kernels with byte permutes then need no gather
    // for it. Never set together with the same bit of highByteOut.
    uint32_t steppedOut;
    const uint8_t* steps[4];
};

// Whether a 4096-entry output table (read by the top 12 bits of a 16-bit grid result) holds
// that result's high byte at every entry.
bool OutputTableIsHighByte(const uint8_t* table);

// Whether a 4096-entry output table rises by steps of one, at most two of them within each 16
// entries that share the high byte of the index, and by anything between two such runs (a smooth
// rising curve no steeper than twice the identity): each entry is then a[h] + (n >= t1[h]) + (n >=
// t2[h]) for an index of high byte h and low nibble n. If so, fills `planes` (768 bytes) with a,
// then 16 * t1 - 1, then 16 * t2 - 1 (255 for a step that does not occur), which the permute
// kernels compare with the low byte of the 16-bit grid result; every entry has been checked against
// the table.
bool OutputTableSteps(const uint8_t* table, uint8_t* planes);

// Converts whole steps of pixels from the start of the run and answers how many pixels it did;
// the caller converts the rest (less than a step).
using GridKernel8 = unsigned (*)(const SGridKernel8Tables& tables, const uint8_t* src, uint8_t* dst,
                                 unsigned count);

// The kernel for `nIn` inputs (3 or 4) and four outputs at `level`, or null for Scalar, for a
// level this CPU lacks or for another input count.
GridKernel8 FindGridKernel8(unsigned nIn, SimdLevel level);

// What a 16-bit kernel reads, prepared once per link by the fast path like the 8-bit tables.
struct SGridKernel16Tables {
    const uint16_t* grid; // the nodes, four samples each, the last input fastest
    // Per input with a curve, by the top 12 bits of a sample: fraction << 8 | node index; null
    // for an input without a curve, whose split the kernel computes from the sample itself.
    const uint32_t* axis[4];
    uint32_t stride[4]; // sample distance between nodes along each input
    uint32_t gridMax;   // grid points per axis - 1
    // Per output, the curve's 4096 samples by the top 12 bits with one sample of padding after
    // (a kernel reads two at once); null for an output without a curve.
    const uint16_t* curve[4];
};

using GridKernel16 = unsigned (*)(const SGridKernel16Tables& tables, const uint16_t* src,
                                  uint16_t* dst, unsigned count);

// The 16-bit kernel for `nIn` inputs (3 or 4) and four outputs, as FindGridKernel8.
GridKernel16 FindGridKernel16(unsigned nIn, SimdLevel level);
