// The grid kernels, compiled once per instruction set by Highway's foreach_target (this file
// includes itself once per target); the table at the end lists what this build has.
// SSSE3 machines without SSE4 are too rare to carry a kernel of their own.
#define HWY_DISABLED_TARGETS HWY_SSSE3
// AVX-512 with VBMI and the rest of the Ice Lake set gets a kernel of its own (byte permutes).
#define HWY_WANT_AVX3_DL
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "colorlink/native/SimdGridKernel.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <hwy/highway.h>

#include <cstring>
#include <iterator>
#include <utility>

#include "colorlink/native/SimdGridKernel.h"
#include "colorlink/native/SortingNetwork.h"

HWY_BEFORE_NAMESPACE();
namespace kvr_grid_simd {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
// The one-lane fallback target has no kernel: the fast path's own loop serves that case.
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

// The features this target's code is compiled for (the target attribute of its functions).
constexpr char kCompiledFeatures[] = HWY_TARGET_STR;

// The fast path's output table is read by the top 12 bits of a 16-bit grid result.
constexpr unsigned kLutShift = 4;
constexpr unsigned kLutEntries = 4096;

using DU = hn::ScalableTag<uint32_t>;
using DI = hn::RebindToSigned<DU>;
using VU = hn::Vec<DU>;
using VI = hn::Vec<DI>;

// The grid's result for one step of pixels, per output the scalar path's simplex: the axes
// sorted by falling fraction (steps alongside) give the corners and weights; per output
// s = 32767 - wSum * base + sum(weight * corner), wrapping in 32 bits, read as signed and
// divided by 65535 toward zero, added to the base node modulo 65536. `f`, `step` and `base`
// are the fractions, steps to the next node and base node offset per input; they are sorted
// in place. Both kernels share it: they differ only in how they find those and in their
// output stage.
template <unsigned In>
HWY_INLINE void GridResult(const uint16_t* grid, VU base, VI (&f)[In], VU (&step)[In],
                           VU (&result)[4]) {
    const DU du;
    const DI di;
    const hn::Repartition<uint64_t, DU> d64;
    const hn::RebindToSigned<decltype(d64)> di64;
    const hn::Half<DI> dh;
    const uint64_t* grid64 = reinterpret_cast<const uint64_t*>(grid);
    const VU sampleMask = hn::Set(du, 0xFFFFu);
    const VU one = hn::Set(du, 1u), half = hn::Set(du, 32767u);

    // Sort by falling fraction, steps alongside. Ties may fall either way: two orders of
    // equal fractions differ in one corner only, whose weight is their difference, 0.
    auto order = [&](unsigned i, unsigned j) {
        const auto swap = hn::Lt(f[i], f[j]);
        const VI fi = hn::IfThenElse(swap, f[j], f[i]);
        f[j] = hn::IfThenElse(swap, f[i], f[j]);
        f[i] = fi;
        const auto swapU = hn::RebindMask(du, swap);
        const VU si = hn::IfThenElse(swapU, step[j], step[i]);
        step[j] = hn::IfThenElse(swapU, step[i], step[j]);
        step[i] = si;
    };
    // The shared steps expanded here rather than by SortCellFractions, which is compiled for
    // the baseline instruction set and could not inline this target's compare-and-swap.
    [&]<size_t... I>(std::index_sequence<I...>) {
        (order(SCellSortSteps<In>::pairs[I][0], SCellSortSteps<In>::pairs[I][1]), ...);
    }
    (std::make_index_sequence<std::size(SCellSortSteps<In>::pairs)>{});

    // Byte offsets of the base node and of the corners; weights.
    VU node[In + 1], weight[In];
    node[0] = base;
#pragma GCC unroll 4
    for (unsigned k = 0; k < In; ++k) node[k + 1] = hn::Add(node[k], step[k]);
#pragma GCC unroll 4
    for (unsigned k = 0; k + 1 < In; ++k) weight[k] = hn::BitCast(du, hn::Sub(f[k], f[k + 1]));
    weight[In - 1] = hn::BitCast(du, f[In - 1]);
    const VU wSum = hn::BitCast(du, f[0]);

    // The four samples of every node in one 64-bit read (gathers cost per element), split
    // into channels 0/1 and 2/3 of each pixel.
    VU s[4] = {half, half, half, half};
    VU t0[4];
#pragma GCC unroll 5
    for (unsigned j = 0; j <= In; ++j) {
        const VI at = hn::BitCast(di, hn::ShiftLeft<1>(node[j]));
        const VU first = hn::BitCast(
            du, hn::GatherOffset(d64, grid64, hn::PromoteTo(di64, hn::LowerHalf(dh, at))));
        const VU second = hn::BitCast(
            du, hn::GatherOffset(d64, grid64, hn::PromoteTo(di64, hn::UpperHalf(dh, at))));
        const VU lo = hn::ConcatEven(du, second, first);
        const VU hi = hn::ConcatOdd(du, second, first);
        const VU ch[4] = {hn::And(lo, sampleMask), hn::ShiftRight<16>(lo), hn::And(hi, sampleMask),
                          hn::ShiftRight<16>(hi)};
        if (j == 0) {
#pragma GCC unroll 4
            for (unsigned c = 0; c < 4; ++c) {
                t0[c] = ch[c];
                s[c] = hn::Sub(s[c], hn::Mul(wSum, ch[c]));
            }
        } else {
#pragma GCC unroll 4
            for (unsigned c = 0; c < 4; ++c) s[c] = hn::Add(s[c], hn::Mul(weight[j - 1], ch[c]));
        }
    }

#pragma GCC unroll 4
    for (unsigned c = 0; c < 4; ++c) {
        // Signed division by 65535 toward zero on the magnitude m: floor(m / 65535) =
        // (m + (m >> 16) + 1) >> 16 holds for every m up to 2^31.
        const VU sign = hn::BitCast(du, hn::BroadcastSignBit(hn::BitCast(di, s[c])));
        const VU mag = hn::Sub(hn::Xor(s[c], sign), sign);
        VU q = hn::ShiftRight<16>(hn::Add(hn::Add(mag, hn::ShiftRight<16>(mag)), one));
        q = hn::Sub(hn::Xor(q, sign), sign);
        result[c] = hn::And(hn::Add(t0[c], q), sampleMask);
    }
}

// The 16-bit grid results of one step of pixels, each in its own 32-bit lane, once each input
// is placed on its axis (node index and fraction). Per pixel the arithmetic is the scalar
// path's (CGridPath in FastPixelPath.cpp): the simplex of GridResult. Only the order of the
// work differs.
template <unsigned In>
HWY_INLINE void Grid8Values(const SGridKernel8Tables& t, const VU (&index)[In], VI (&f)[In],
                            VU (&v)[4]) {
    const DU du;
    const DI di;

    // Step to the next node (0 where the fraction is 0: every corner taking that step then has
    // weight 0, and no step past the grid's last node is taken) and node offset per input.
    VU step[In];
    VU base = hn::Zero(du);
#pragma GCC unroll 4
    for (unsigned k = 0; k < In; ++k) {
        const VU stride = hn::Set(du, t.stride[k]);
        base = hn::Add(base, hn::Mul(index[k], stride));
        step[k] = hn::IfThenElseZero(hn::RebindMask(du, hn::Gt(f[k], hn::Zero(di))), stride);
    }

    GridResult<In>(t.grid, base, f, step, v);
}

// Grid8Values, then the final byte of each output from its table, as the scalar path reads it.
template <unsigned In>
HWY_INLINE void Grid8Step(const SGridKernel8Tables& t, const VU (&index)[In], VI (&f)[In],
                          uint8_t* dst) {
    const DU du;
    const DI di;
    const VU byteMask = hn::Set(du, 0xFFu);

    VU v[4];
    Grid8Values<In>(t, index, f, v);

    VU out = hn::Zero(du);
#pragma GCC unroll 4
    for (unsigned c = 0; c < 4; ++c) {
        VU byte;
        if (t.highByteOut >> c & 1) { // the table is the high byte: no gather needed
            byte = hn::ShiftRight<8>(v[c]);
        } else {
            const VI at = hn::BitCast(di, hn::ShiftRight<kLutShift>(v[c]));
            byte = hn::And(hn::GatherOffset(
                               du, reinterpret_cast<const uint32_t*>(t.lut + c * kLutEntries), at),
                           byteMask);
        }
        out = hn::Or(out, hn::ShiftLeftSame(byte, int(8 * c)));
    }
    hn::StoreU(out, du, reinterpret_cast<uint32_t*>(dst));
}

#if HWY_TARGET == HWY_AVX3_DL
// The bytes of a 256-byte table at the 64 byte indices `x`: the four vectors of the table
// serve two two-table permutes by the low 7 bits, the top bit (`top`) picks one of the two.
HWY_INLINE __m512i Look256(const uint8_t* plane, __m512i x, __mmask64 top) {
    const __m512i* p = reinterpret_cast<const __m512i*>(plane);
    const __m512i lo =
        _mm512_permutex2var_epi8(_mm512_loadu_si512(p), x, _mm512_loadu_si512(p + 1));
    const __m512i hi =
        _mm512_permutex2var_epi8(_mm512_loadu_si512(p + 2), x, _mm512_loadu_si512(p + 3));
    return _mm512_mask_blend_epi8(top, lo, hi);
}
#endif

// Whole steps of 8-bit pixels: the input bytes of each pixel placed on the axes by the axis
// tables, then Grid8Step. A step of pixels all equal to the last one converted takes over its
// result.
template <unsigned In>
unsigned Grid8(const SGridKernel8Tables& t, const uint8_t* src, uint8_t* dst, unsigned count) {
    const DU du;
    const DI di;
    const unsigned n = unsigned(hn::Lanes(du));

    const hn::Rebind<uint8_t, DU> d8; // one byte per pixel
    const VU byteMask = hn::Set(du, 0xFFu);

    uint32_t lastKey = 0, lastOut = 0; // the last pixel converted and its result
    bool haveLast = false;
    // Whether the step at `src` (its pixels as one number each, `px`, first byte lowest) repeats
    // the last pixel converted; if so its result is stored.
    auto repeated = [&](VU px, uint8_t* out) {
        if (!haveLast || !hn::AllTrue(du, hn::Eq(px, hn::Set(du, lastKey)))) return false;
        hn::StoreU(hn::Set(du, lastOut), du, reinterpret_cast<uint32_t*>(out));
        return true;
    };
    // Remembers the last pixel of a converted step and its result.
    auto remember = [&](const uint8_t* in, const uint8_t* out) {
        lastKey = 0;
        std::memcpy(&lastKey, in + (n - 1) * In, In); // as the lanes hold it: first byte lowest
        std::memcpy(&lastOut, out + (n - 1) * 4, 4);
        haveLast = true;
    };

    unsigned done = 0;
#if HWY_TARGET == HWY_AVX3_DL
    // Four steps at a time, their inputs placed on the axes by byte permutes rather than one
    // gather per input and step (gathers are slow on some CPUs): the 256 entries of a byte
    // plane of an axis table fill four vectors, two two-table permutes look up the 64 bytes of
    // an input by the low 7 bits and its top bit picks one of the two. The final bytes of the
    // 64 pixels are found together as well: an output whose table is a staircase by permutes of
    // its three planes (the high byte of the 16-bit result picks the run, its low byte is
    // compared with the run's steps), the high byte of the result without a table, any other
    // table by gathers.
    {
        const hn::ScalableTag<uint8_t> db;
        const hn::Rebind<uint16_t, DU> d16; // one fraction per pixel
        HWY_ALIGN uint8_t indexPlane[In][4 * 16];
        HWY_ALIGN uint16_t fracPlane[In][4 * 16];
        HWY_ALIGN uint8_t inPlane[In][4 * 16];
        HWY_ALIGN uint16_t result[4][4 * 16];
        uint16_t lastResult[4] = {}; // the 16-bit grid results of the pixel lastKey
        // Byte permutes taking the low or high bytes of 64 16-bit results in two vectors.
        alignas(64) uint8_t evenIdx[64], oddIdx[64];
        for (unsigned j = 0; j < 64; ++j) {
            evenIdx[j] = uint8_t(2 * j);
            oddIdx[j] = uint8_t(2 * j + 1);
        }
        const __m512i evenBytes = _mm512_load_si512(evenIdx), oddBytes = _mm512_load_si512(oddIdx);
        const __m512i minusOne = _mm512_set1_epi8(-1);
        for (; done + 4 * n <= count; done += 4 * n, src += 4 * n * In, dst += 4 * n * 4) {
            hn::Vec<decltype(db)> ch[In];
            if constexpr (In == 3)
                hn::LoadInterleaved3(db, src, ch[0], ch[1], ch[2]);
            else
                hn::LoadInterleaved4(db, src, ch[0], ch[1], ch[2], ch[3]);
#pragma GCC unroll 4
            for (unsigned k = 0; k < In; ++k) {
                const __m512i x = ch[k].raw;
                const __mmask64 top = _mm512_movepi8_mask(x);
                auto look = [&](const uint8_t* plane) {
                    return hn::Vec<decltype(db)>{Look256(plane, x, top)};
                };
                const uint8_t* planes = t.axisBytes[k];
                hn::Store(look(planes), db, indexPlane[k]);
                hn::StoreInterleaved2(look(planes + 256), look(planes + 512), db,
                                      reinterpret_cast<uint8_t*>(fracPlane[k]));
                hn::Store(ch[k], db, inPlane[k]);
            }
            // The 16-bit grid results of the four steps, per output, then the final bytes of
            // all 64 pixels at once.
            for (unsigned q = 0; q < 4; ++q) {
                VU in[In];
#pragma GCC unroll 4
                for (unsigned k = 0; k < In; ++k)
                    in[k] = hn::PromoteTo(du, hn::Load(d8, inPlane[k] + q * n));
                VU px = in[0];
#pragma GCC unroll 4
                for (unsigned k = 1; k < In; ++k)
                    px = hn::Or(px, hn::ShiftLeftSame(in[k], int(8 * k)));
                if (haveLast && hn::AllTrue(du, hn::Eq(px, hn::Set(du, lastKey)))) {
#pragma GCC unroll 4
                    for (unsigned c = 0; c < 4; ++c)
                        hn::Store(hn::Set(d16, lastResult[c]), d16, result[c] + q * n);
                    continue;
                }
                VU index[In];
                VI f[In];
#pragma GCC unroll 4
                for (unsigned k = 0; k < In; ++k) {
                    index[k] = hn::PromoteTo(du, hn::Load(d8, indexPlane[k] + q * n));
                    f[k] = hn::BitCast(di, hn::PromoteTo(du, hn::Load(d16, fracPlane[k] + q * n)));
                }
                VU v[4];
                Grid8Values<In>(t, index, f, v);
#pragma GCC unroll 4
                for (unsigned c = 0; c < 4; ++c) {
                    _mm256_store_si256(reinterpret_cast<__m256i*>(result[c] + q * n),
                                       _mm512_cvtepi32_epi16(v[c].raw));
                    lastResult[c] = result[c][q * n + n - 1];
                }
                lastKey = hn::ExtractLane(px, n - 1);
                haveLast = true;
            }
            hn::Vec<decltype(db)> bytes[4];
#pragma GCC unroll 4
            for (unsigned c = 0; c < 4; ++c) {
                const __m512i* r = reinterpret_cast<const __m512i*>(result[c]);
                const __m512i r0 = _mm512_load_si512(r), r1 = _mm512_load_si512(r + 1);
                const __m512i high = _mm512_permutex2var_epi8(r0, oddBytes, r1);
                if (t.highByteOut >> c & 1) { // the table is the high byte
                    bytes[c].raw = high;
                } else if (t.steppedOut >> c & 1) { // a staircase: a + (n >= t1) + (n >= t2)
                    const __m512i low = _mm512_permutex2var_epi8(r0, evenBytes, r1);
                    const __mmask64 top = _mm512_movepi8_mask(high);
                    const uint8_t* planes = t.steps[c];
                    __m512i a = Look256(planes, high, top);
                    const __mmask64 past1 =
                        _mm512_cmpgt_epu8_mask(low, Look256(planes + 256, high, top));
                    const __mmask64 past2 =
                        _mm512_cmpgt_epu8_mask(low, Look256(planes + 512, high, top));
                    a = _mm512_mask_sub_epi8(a, past1, a, minusOne);
                    bytes[c].raw = _mm512_mask_sub_epi8(a, past2, a, minusOne);
                } else { // any other table: one gather per step
                    HWY_ALIGN uint8_t plane[4 * 16];
                    const uint32_t* lut =
                        reinterpret_cast<const uint32_t*>(t.lut + c * kLutEntries);
                    for (unsigned q = 0; q < 4; ++q) {
                        const VU at = hn::ShiftRight<kLutShift>(
                            hn::PromoteTo(du, hn::Load(d16, result[c] + q * n)));
                        const VU e = hn::GatherOffset(du, lut, hn::BitCast(di, at));
                        _mm_store_si128(reinterpret_cast<__m128i*>(plane + q * n),
                                        _mm512_cvtepi32_epi8(e.raw));
                    }
                    bytes[c] = hn::Load(db, plane);
                }
            }
            hn::StoreInterleaved4(bytes[0], bytes[1], bytes[2], bytes[3], db, dst);
        }
        // The tail below repeats the last pixel with its bytes.
        if (done) remember(src - n * In, dst - n * 4);
    }
#endif
    for (; done + n <= count; done += n, src += n * In, dst += n * 4) {
        // The input bytes of each pixel (`in`) and all of them as one number (`px`).
        VU px, in[In];
        if constexpr (In == 3) {
            hn::Vec<decltype(d8)> r, g, b;
            hn::LoadInterleaved3(d8, src, r, g, b);
            in[0] = hn::PromoteTo(du, r);
            in[1] = hn::PromoteTo(du, g);
            in[2] = hn::PromoteTo(du, b);
            px = hn::Or(in[0], hn::Or(hn::ShiftLeft<8>(in[1]), hn::ShiftLeft<16>(in[2])));
        } else {
            px = hn::LoadU(du, reinterpret_cast<const uint32_t*>(src));
#pragma GCC unroll 4
            for (unsigned k = 0; k < In; ++k)
                in[k] = hn::And(hn::ShiftRightSame(px, int(8 * k)), byteMask);
        }
        if (repeated(px, dst)) continue;

        // Node index and fraction per input.
        VU index[In];
        VI f[In];
#pragma GCC unroll 4
        for (unsigned k = 0; k < In; ++k) {
            const VU e = hn::GatherIndex(du, t.axis[k], hn::BitCast(di, in[k]));
            f[k] = hn::BitCast(di, hn::ShiftRight<8>(e));
            index[k] = hn::And(e, byteMask);
        }
        Grid8Step<In>(t, index, f, dst);
        remember(src, dst);
    }
    return done;
}

// The 16-bit counterpart, one pixel per 32-bit lane as well. Per pixel the arithmetic is the
// scalar path's 16-bit loop: the input curve's 12-bit read-out and the grid's split of the
// result into node index and fraction, p = a * (P - 1), index = p / 65535, fraction
// p % 65535 (read from a table by the top 12 bits when the input has a curve, computed from
// the sample when it has none); the same simplex and sums as Grid8; the output curve read by
// the top 12 bits of the 16-bit grid result, or that result itself when the curve is skipped.
template <unsigned In>
unsigned Grid16(const SGridKernel16Tables& t, const uint16_t* src, uint16_t* dst, unsigned count) {
    const DU du;
    const DI di;
    using MU = hn::Mask<DU>;
    const unsigned n = unsigned(hn::Lanes(du));

    const hn::Rebind<uint16_t, DU> d16; // one sample per pixel
    const VU byteMask = hn::Set(du, 0xFFu), sampleMask = hn::Set(du, 0xFFFFu);
    const VU one = hn::Set(du, 1u), unit = hn::Set(du, 65535u);
    const VU gridMax = hn::Set(du, t.gridMax);

    uint16_t lastIn[In] = {}, lastOut[4] = {}; // the last pixel converted and its result
    bool haveLast = false;
    unsigned done = 0;
    for (; done + n <= count; done += n, src += n * In, dst += n * 4) {
        VU in[In];
        if constexpr (In == 3) {
            hn::Vec<decltype(d16)> a, b, c;
            hn::LoadInterleaved3(d16, src, a, b, c);
            in[0] = hn::PromoteTo(du, a);
            in[1] = hn::PromoteTo(du, b);
            in[2] = hn::PromoteTo(du, c);
        } else {
            hn::Vec<decltype(d16)> a, b, c, d;
            hn::LoadInterleaved4(d16, src, a, b, c, d);
            in[0] = hn::PromoteTo(du, a);
            in[1] = hn::PromoteTo(du, b);
            in[2] = hn::PromoteTo(du, c);
            in[3] = hn::PromoteTo(du, d);
        }
        // A step of pixels all equal to the last one converted takes over its result.
        if (haveLast) {
            MU same = hn::Eq(in[0], hn::Set(du, lastIn[0]));
#pragma GCC unroll 4
            for (unsigned k = 1; k < In; ++k)
                same = hn::And(same, hn::Eq(in[k], hn::Set(du, lastIn[k])));
            if (hn::AllTrue(du, same)) {
                const VU lo = hn::Set(du, uint32_t(lastOut[0]) | uint32_t(lastOut[1]) << 16);
                const VU hi = hn::Set(du, uint32_t(lastOut[2]) | uint32_t(lastOut[3]) << 16);
                hn::StoreInterleaved2(lo, hi, du, reinterpret_cast<uint32_t*>(dst));
                continue;
            }
        }

        VI f[In];
        VU step[In];
        VU base = hn::Zero(du);
#pragma GCC unroll 4
        for (unsigned k = 0; k < In; ++k) {
            VU index, frac;
            if (t.axis[k]) {
                const VU e = hn::GatherIndex(du, t.axis[k],
                                             hn::BitCast(di, hn::ShiftRight<kLutShift>(in[k])));
                frac = hn::ShiftRight<8>(e);
                index = hn::And(e, byteMask);
            } else {
                // p / 65535 for p below 2^24 as in the output division below.
                const VU p = hn::Mul(in[k], gridMax);
                index = hn::ShiftRight<16>(hn::Add(hn::Add(p, hn::ShiftRight<16>(p)), one));
                frac = hn::Sub(p, hn::Mul(index, unit));
            }
            f[k] = hn::BitCast(di, frac);
            const VU stride = hn::Set(du, t.stride[k]);
            base = hn::Add(base, hn::Mul(index, stride));
            step[k] = hn::IfThenElseZero(hn::RebindMask(du, hn::Gt(f[k], hn::Zero(di))), stride);
        }

        VU out[4];
        GridResult<In>(t.grid, base, f, step, out);
#pragma GCC unroll 4
        for (unsigned c = 0; c < 4; ++c) {
            if (t.curve[c]) {
                // Byte offset of entry v >> 4 of 16-bit samples: (v >> 4) * 2.
                const VI at = hn::BitCast(di, hn::ShiftLeft<1>(hn::ShiftRight<kLutShift>(out[c])));
                out[c] =
                    hn::And(hn::GatherOffset(du, reinterpret_cast<const uint32_t*>(t.curve[c]), at),
                            sampleMask);
            }
        }
        const VU lo = hn::Or(out[0], hn::ShiftLeft<16>(out[1]));
        const VU hi = hn::Or(out[2], hn::ShiftLeft<16>(out[3]));
        hn::StoreInterleaved2(lo, hi, du, reinterpret_cast<uint32_t*>(dst));

        std::memcpy(lastIn, src + (n - 1) * In, sizeof lastIn);
        std::memcpy(lastOut, dst + (n - 1) * 4, sizeof lastOut);
        haveLast = true;
    }
    return done;
}

unsigned Grid16In3(const SGridKernel16Tables& t, const uint16_t* src, uint16_t* dst,
                   unsigned count) {
    return Grid16<3>(t, src, dst, count);
}
unsigned Grid16In4(const SGridKernel16Tables& t, const uint16_t* src, uint16_t* dst,
                   unsigned count) {
    return Grid16<4>(t, src, dst, count);
}

unsigned Grid8In3(const SGridKernel8Tables& t, const uint8_t* src, uint8_t* dst, unsigned count) {
    return Grid8<3>(t, src, dst, count);
}
unsigned Grid8In4(const SGridKernel8Tables& t, const uint8_t* src, uint8_t* dst, unsigned count) {
    return Grid8<4>(t, src, dst, count);
}
#endif

} // namespace HWY_NAMESPACE
} // namespace kvr_grid_simd
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace {

struct SLevelKernels {
    SimdLevel level;
    const char* name;
    const char* compiledFor; // the kernels' target features, "" for none
    GridKernel8 in3, in4;
    GridKernel16 in3x16, in4x16;
};

#define KVR_LEVEL_KERNELS(level, name, ns)                                                         \
    {                                                                                              \
        level, name, kvr_grid_simd::ns::kCompiledFeatures, kvr_grid_simd::ns::Grid8In3,            \
            kvr_grid_simd::ns::Grid8In4, kvr_grid_simd::ns::Grid16In3,                             \
            kvr_grid_simd::ns::Grid16In4                                                           \
    }
#define KVR_LEVEL_NONE(level, name)                                                                \
    { level, name, "", nullptr, nullptr, nullptr, nullptr }

// Highway's AVX3 target is AVX-512 F/VL/DQ/BW; its AVX3_DL adds VBMI, VBMI2, VNNI, BITALG,
// VPOPCNTDQ, VAES and VPCLMULQDQ. A level this build has no code for keeps null
// kernels and counts as unavailable.
const SLevelKernels kLevels[] = {
    KVR_LEVEL_NONE(SimdLevel::Scalar, "scalar"),
#if HWY_TARGETS & HWY_SSE4
    KVR_LEVEL_KERNELS(SimdLevel::Sse4, "sse4", N_SSE4),
#else
    KVR_LEVEL_NONE(SimdLevel::Sse4, "sse4"),
#endif
#if HWY_TARGETS & HWY_AVX2
    KVR_LEVEL_KERNELS(SimdLevel::Avx2, "avx2", N_AVX2),
#else
    KVR_LEVEL_NONE(SimdLevel::Avx2, "avx2"),
#endif
#if HWY_TARGETS & HWY_AVX3
    KVR_LEVEL_KERNELS(SimdLevel::Avx512, "avx512", N_AVX3),
#else
    KVR_LEVEL_NONE(SimdLevel::Avx512, "avx512"),
#endif
#if HWY_TARGETS & HWY_AVX3_DL
    KVR_LEVEL_KERNELS(SimdLevel::Avx512Vbmi, "avx512vbmi", N_AVX3_DL),
#else
    KVR_LEVEL_NONE(SimdLevel::Avx512Vbmi, "avx512vbmi"),
#endif
};
#undef KVR_LEVEL_KERNELS
#undef KVR_LEVEL_NONE
constexpr size_t kLevelCount = std::size(kLevels);

// What each level requires of the CPU, in the names of the compiler's __builtin_cpu_supports,
// each level the one before it and more: every feature its kernels are compiled for (a test
// checks the list against the compiled target strings) and whatever else Highway's own
// run-time check asks for that level (LZCNT with AVX2, AVX512-VNNI with AVX3_DL), so that this
// check offers a level no more often than Highway does. Highway 1.0.3 compiles AVX3_DL with
// "avxvnni", the VEX-encoded AVX-VNNI, which its run-time check does not test (it tests
// AVX512-VNNI): required here too, so a CPU with AVX512-VNNI but without AVX-VNNI (Ice Lake,
// Zen 4) runs the AVX-512 level rather than code that may hold an instruction it lacks.
constexpr const char* kRequiredFeatures[] = {
    // sse4
    "sse", "sse2", "sse3", "ssse3", "sse4.1", "sse4.2", "pclmul", "aes",
    // avx2
    "avx", "avx2", "bmi", "bmi2", "fma", "f16c", "lzcnt",
    // avx512
    "avx512f", "avx512vl", "avx512dq", "avx512bw",
    // avx512vbmi
    "vpclmulqdq", "avx512vbmi", "avx512vbmi2", "vaes", "avxvnni", "avx512vnni", "avx512bitalg",
    "avx512vpopcntdq"};
// How many of kRequiredFeatures, from the start, each level requires.
constexpr size_t kRequiredCount[] = {0, 8, 15, 19, std::size(kRequiredFeatures)};
static_assert(std::size(kRequiredCount) == kLevelCount);

struct SCpuFeature {
    const char* name;
    bool present;
};

// The answer of the compiler's run-time CPU detection (libgcc's CPUID reading, which also asks
// XGETBV whether the system saves the AVX and AVX-512 registers, and reports those features
// absent otherwise) for every name of kRequiredFeatures, asked once per process.
// __builtin_cpu_supports takes its name as a literal only, hence one entry per name; a name
// the list holds but this table lacks reads as absent (CpuHasFeature), so its level is off.
#if defined(__x86_64__) || defined(__i386__)
#define KVR_CPU_FEATURE(name)                                                                      \
    SCpuFeature {                                                                                  \
        name, __builtin_cpu_supports(name) != 0                                                    \
    }
const auto& CpuFeatures() {
    static const auto features = [] {
        __builtin_cpu_init();
        return std::array{KVR_CPU_FEATURE("sse"),
                          KVR_CPU_FEATURE("sse2"),
                          KVR_CPU_FEATURE("sse3"),
                          KVR_CPU_FEATURE("ssse3"),
                          KVR_CPU_FEATURE("sse4.1"),
                          KVR_CPU_FEATURE("sse4.2"),
                          KVR_CPU_FEATURE("pclmul"),
                          KVR_CPU_FEATURE("aes"),
                          KVR_CPU_FEATURE("avx"),
                          KVR_CPU_FEATURE("avx2"),
                          KVR_CPU_FEATURE("bmi"),
                          KVR_CPU_FEATURE("bmi2"),
                          KVR_CPU_FEATURE("fma"),
                          KVR_CPU_FEATURE("f16c"),
                          KVR_CPU_FEATURE("lzcnt"),
                          KVR_CPU_FEATURE("avx512f"),
                          KVR_CPU_FEATURE("avx512vl"),
                          KVR_CPU_FEATURE("avx512dq"),
                          KVR_CPU_FEATURE("avx512bw"),
                          KVR_CPU_FEATURE("vpclmulqdq"),
                          KVR_CPU_FEATURE("avx512vbmi"),
                          KVR_CPU_FEATURE("avx512vbmi2"),
                          KVR_CPU_FEATURE("vaes"),
                          KVR_CPU_FEATURE("avxvnni"),
                          KVR_CPU_FEATURE("avx512vnni"),
                          KVR_CPU_FEATURE("avx512bitalg"),
                          KVR_CPU_FEATURE("avx512vpopcntdq")};
    }();
    return features;
}
#undef KVR_CPU_FEATURE
#else
// Not an x86 CPU: none of the levels' features.
std::span<const SCpuFeature> CpuFeatures() {
    return {};
}
#endif

const SLevelKernels& Kernels(SimdLevel level) {
    return kLevels[static_cast<int>(level)];
}

} // namespace

const char* SimdLevelName(SimdLevel level) {
    return Kernels(level).name;
}

bool ParseSimdLevel(const char* name, SimdLevel& level) {
    for (const SLevelKernels& k : kLevels)
        if (std::strcmp(name, k.name) == 0) {
            level = k.level;
            return true;
        }
    if (std::strcmp(name, "best") == 0) {
        level = BestSimdLevel();
        return true;
    }
    return false;
}

std::optional<bool> CpuHasFeature(const char* feature) {
    for (const SCpuFeature& f : CpuFeatures())
        if (std::strcmp(f.name, feature) == 0) return f.present;
    return std::nullopt;
}

const char* SimdLevelCompiledFeatures(SimdLevel level) {
    return Kernels(level).compiledFor;
}

std::span<const char* const> SimdLevelRequiredFeatures(SimdLevel level) {
    return {kRequiredFeatures, kRequiredCount[static_cast<int>(level)]};
}

bool SimdLevelAvailable(SimdLevel level) {
    // Decided once per process: the answer does not change, and links are built on any thread.
    static const auto available = [] {
        std::array<bool, kLevelCount> a{};
        for (const SLevelKernels& k : kLevels) {
            const auto required = SimdLevelRequiredFeatures(k.level);
            a[static_cast<int>(k.level)] =
                k.level == SimdLevel::Scalar ||
                (k.in3 && std::all_of(required.begin(), required.end(), [](const char* f) {
                     return CpuHasFeature(f).value_or(false);
                 }));
        }
        return a;
    }();
    return available[static_cast<int>(level)];
}

SimdLevel BestSimdLevel() {
    // SSE4 has no gather instruction: its kernel loads the lanes one by one and is slower
    // than the one-pixel SSE2 loop, so it runs only when asked for (it keeps the four-lane
    // code tested).
    for (SimdLevel level : {SimdLevel::Avx512Vbmi, SimdLevel::Avx512, SimdLevel::Avx2})
        if (SimdLevelAvailable(level)) return level;
    return SimdLevel::Scalar;
}

SimdLevel SimdLevelSetting() {
    SimdLevel level = SimdLevel::Scalar;
    const char* name = std::getenv("KVR_SIMD");
    if (!name || !ParseSimdLevel(name, level)) return BestSimdLevel();
    while (!SimdLevelAvailable(level)) level = static_cast<SimdLevel>(static_cast<int>(level) - 1);
    return level;
}

GridKernel8 FindGridKernel8(unsigned nIn, SimdLevel level) {
    if (!SimdLevelAvailable(level)) return nullptr;
    const SLevelKernels& k = Kernels(level);
    return nIn == 3 ? k.in3 : nIn == 4 ? k.in4 : nullptr;
}

bool OutputTableIsHighByte(const uint8_t* table) {
    for (uint32_t i = 0; i < 4096; ++i)
        if (table[i] != uint8_t(i >> 4)) return false;
    return true;
}

bool OutputTableSteps(const uint8_t* table, uint8_t* planes) {
    uint8_t a[256], t1[256], t2[256];
    for (uint32_t h = 0; h < 256; ++h) {
        const uint8_t* run = table + 16 * h;
        uint32_t rises[2] = {16, 16}, count = 0;
        for (uint32_t n = 1; n < 16; ++n) {
            const uint32_t rise = uint32_t(run[n] - run[n - 1]) & 0xFFu;
            if (rise == 0) continue;
            if (rise != 1 || count == 2) return false;
            rises[count++] = n;
        }
        a[h] = run[0];
        t1[h] = uint8_t(16 * rises[0] - 1);
        t2[h] = uint8_t(16 * rises[1] - 1);
    }
    // Every entry as the kernels compute it, from the grid result's low byte l = n << 4 | x.
    for (uint32_t i = 0; i < 4096; ++i) {
        const uint32_t h = i >> 4, low = (i & 15) << 4;
        const uint32_t v = a[h] + uint32_t(low > t1[h]) + uint32_t(low > t2[h]);
        if (uint8_t(v) != table[i]) return false;
    }
    std::memcpy(planes, a, 256);
    std::memcpy(planes + 256, t1, 256);
    std::memcpy(planes + 512, t2, 256);
    return true;
}

GridKernel16 FindGridKernel16(unsigned nIn, SimdLevel level) {
    if (!SimdLevelAvailable(level)) return nullptr;
    const SLevelKernels& k = Kernels(level);
    return nIn == 3 ? k.in3x16 : nIn == 4 ? k.in4x16 : nullptr;
}
#endif // HWY_ONCE
