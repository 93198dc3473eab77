#include "CpuTargets.h"

#include <hwy/targets.h>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace {

#if defined(__x86_64__) || defined(__i386__)
// The features, one bit each, in the order of the groups that make the targets: SSSE3 up to
// kSsse3, SSE4 up to kAes, AVX2 up to kBmi2, AVX3 up to kAvx512Bw, AVX3_DL up to kBitalg.
enum Feature : unsigned {
    kSse,
    kSse2,
    kSse3,
    kSsse3,
    kSse41,
    kSse42,
    kClmul,
    kAes,
    kAvx,
    kAvx2,
    kF16c,
    kFma,
    kLzcnt,
    kBmi,
    kBmi2,
    kAvx512F,
    kAvx512Vl,
    kAvx512Dq,
    kAvx512Bw,
    kVnni,
    kVpclmulqdq,
    kVbmi,
    kVbmi2,
    kVaes,
    kPopcntDq,
    kBitalg
};

constexpr uint64_t Below(unsigned feature) {
    return (uint64_t(1) << feature) - 1;
}
constexpr uint64_t kGroupSsse3 = Below(kSsse3 + 1);
constexpr uint64_t kGroupSse4 = Below(kAes + 1);
constexpr uint64_t kGroupAvx2 = Below(kBmi2 + 1);
constexpr uint64_t kGroupAvx3 = Below(kAvx512Bw + 1);
constexpr uint64_t kGroupAvx3Dl = Below(kBitalg + 1);

uint64_t Bit(uint32_t reg, unsigned regBit, Feature feature) {
    return uint64_t((reg >> regBit) & 1u) << feature;
}
#endif

} // namespace

int64_t CpuSimdTargets() {
    int64_t targets = HWY_EMU128 | HWY_SCALAR;
#if defined(__x86_64__) || defined(__i386__)
    unsigned a, b, c, d;
    __cpuid(0, a, b, c, d);
    const unsigned maxLeaf = a;
    __cpuid(1, a, b, c, d);
    uint64_t f = Bit(d, 25, kSse) | Bit(d, 26, kSse2) | Bit(c, 0, kSse3) | Bit(c, 9, kSsse3) |
                 Bit(c, 19, kSse41) | Bit(c, 20, kSse42) | Bit(c, 1, kClmul) | Bit(c, 25, kAes) |
                 Bit(c, 28, kAvx) | Bit(c, 29, kF16c) | Bit(c, 12, kFma);
    const bool osXsave = (c >> 27) & 1u;
    __cpuid(0x80000001u, a, b, c, d);
    f |= Bit(c, 5, kLzcnt);
    if (maxLeaf >= 7) {
        __cpuid_count(7, 0, a, b, c, d);
        f |= Bit(b, 5, kAvx2) | Bit(b, 3, kBmi) | Bit(b, 8, kBmi2) | Bit(b, 16, kAvx512F) |
             Bit(b, 31, kAvx512Vl) | Bit(b, 17, kAvx512Dq) | Bit(b, 30, kAvx512Bw) |
             Bit(c, 11, kVnni) | Bit(c, 10, kVpclmulqdq) | Bit(c, 1, kVbmi) | Bit(c, 6, kVbmi2) |
             Bit(c, 9, kVaes) | Bit(c, 14, kPopcntDq) | Bit(c, 12, kBitalg);
    }
    const auto has = [f](uint64_t group) { return (f & group) == group; };
    if (has(kGroupSsse3)) targets |= HWY_SSSE3;
    if (has(kGroupSse4)) targets |= HWY_SSE4;
    if (has(kGroupAvx2)) targets |= HWY_AVX2;
    if (has(kGroupAvx3)) targets |= HWY_AVX3;
    if (has(kGroupAvx3Dl)) targets |= HWY_AVX3_DL;
    // The wide registers count only where the operating system saves them on a task switch:
    // XMM and YMM state for AVX2, also the opmask and upper ZMM state for AVX-512.
    if (osXsave) {
        uint32_t xcr0Low, xcr0High;
        __asm__ volatile("xgetbv" : "=a"(xcr0Low), "=d"(xcr0High) : "c"(0));
        if (!(xcr0Low & 0x2u)) targets = HWY_EMU128 | HWY_SCALAR;
        if (!(xcr0Low & 0x4u)) targets &= ~(HWY_AVX2 | HWY_AVX3 | HWY_AVX3_DL);
        if ((xcr0Low & 0xE0u) != 0xE0u) targets &= ~(HWY_AVX3 | HWY_AVX3_DL);
    }
#endif
    return targets;
}
