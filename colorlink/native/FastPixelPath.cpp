#include "colorlink/native/FastPixelPath.h"

#include <cstring>
#include <limits>
#include <typeinfo>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "colorlink/native/SimdGridKernel.h"
#include "colorlink/native/SortingNetwork.h"
#include "gridtable/TabMftX.h"

namespace {

constexpr unsigned kCurveEntries = CFunc_16Tab::kFastEntries; // 12-bit read-out of a curve
constexpr unsigned kCurveShift = CFunc_16Tab::kFastShift;

// Where one input sample puts the pixel along its grid axis: `offset` is the sample offset of
// its node index; `key` holds in its high half the fraction, in 1/65535 of a cell, and in its
// low half the sample distance to the next node along the axis (0 on the last node, whose
// fraction is always 0). Sorting the keys sorts the axes by fraction and carries their steps.
struct AxisPos {
    uint64_t key;
    uint32_t offset;
};

// The grid's own split of a 16-bit value (after the input curve): p = a * (P - 1), node index
// p / 65535, fraction p % 65535. `stride` is the sample distance between nodes on this axis.
inline AxisPos Split(uint32_t a, uint32_t gridMax, uint32_t stride) {
    const uint32_t p = a * gridMax;
    const uint32_t index = p / 65535u;
    const uint64_t frac = p - index * 65535u;
    return {frac << 32 | (index < gridMax ? stride : 0u), index * stride};
}

// The simplex of a pixel, as sample offsets from the base node: corner[j] is reached from the
// base by stepping along the j + 1 axes of largest fraction; weight[j] is the (j+1)-th largest
// fraction minus the next smaller one (the last: the smallest fraction itself). These are the
// tetrahedra of CMft3_16 and the simplexes of CMft4_16 with their weights. The grids add
// weight[j] * (corner - base) per corner, which in 32-bit wrap-around is the same as
// sum(weight[j] * corner) - wSum * base, wSum being the largest fraction. A corner beyond the
// grid's edge has weight 0, so stepping 0 there instead changes nothing.
template <unsigned In> struct Cell {
    uint32_t base;
    uint32_t corner[In];
    uint32_t weight[In];
    uint32_t wSum;
};

// Sorts the axes by falling fraction with a network of compare-exchanges (no branches, so no
// mispredictions on random pixels). The grids' decision trees break ties by input order; here
// ties fall either way. That gives the same value: two orders of equal fractions differ in one
// corner only, and its weight is the difference of the equal fractions, 0.
template <unsigned In> inline Cell<In> Locate(const AxisPos (&p)[In]) {
    uint64_t k[In];
#pragma GCC unroll 4
    for (unsigned i = 0; i < In; ++i) k[i] = p[i].key;
    auto order = [&k](unsigned i, unsigned j) {
        const uint64_t a = k[i], b = k[j];
        k[i] = a > b ? a : b;
        k[j] = a > b ? b : a;
    };
    SortCellFractions<In>(order);
    Cell<In> cell;
    cell.base = 0;
    uint32_t corner = 0;
#pragma GCC unroll 4
    for (unsigned i = 0; i < In; ++i) {
        cell.base += p[i].offset;
        corner += uint32_t(k[i]);
        cell.corner[i] = corner;
        const uint32_t next = i + 1 < In ? uint32_t(k[i + 1] >> 32) : 0u;
        cell.weight[i] = uint32_t(k[i] >> 32) - next;
    }
    cell.wSum = uint32_t(k[0] >> 32);
    return cell;
}

// One output sample of the grid, exactly as CMft3_16 and CMft4_16 compute it: the weighted
// differences plus half a unit (32767), wrapping in 32 bits, read as signed and divided by
// 65535 toward zero, added to the base node modulo 65536.
template <unsigned In> inline uint16_t Interpolate(const uint16_t* node, const Cell<In>& cell) {
    const uint32_t t0 = node[0];
    uint32_t s = 32767u - cell.wSum * t0;
#pragma GCC unroll 4
    for (unsigned j = 0; j < In; ++j) s += cell.weight[j] * node[cell.corner[j]];
    const int32_t q = int32_t(s) / 65535;
    return uint16_t(t0 + uint32_t(q));
}

#if defined(__SSE2__)
// The same arithmetic for three or four output channels at once, one 32-bit lane each.
// Weights and samples are below 65536, so each product is put together from the low and high
// halves of 16 x 16-bit products (pmullw, pmulhuw), two corners per register. The signed
// division by 65535 toward zero divides the magnitude m with floor(m / 65535) =
// (m + (m >> 16) + 1) >> 16, true for every m up to 2^31 (checked over the whole range), and
// gives the quotient the sign back.

template <unsigned NOut> inline __m128i LoadNode(const uint16_t* p) {
    if constexpr (NOut == 4) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    } else { // three samples: no read beyond the node, which may be the grid's last
        uint32_t lo;
        std::memcpy(&lo, p, sizeof lo);
        return _mm_insert_epi16(_mm_cvtsi32_si128(int(lo)), p[2], 2);
    }
}

// Weight a in the low four 16-bit lanes, b in the high four.
inline __m128i WeightPair(uint32_t a, uint32_t b) {
    const __m128i x = _mm_cvtsi32_si128(int(a | b << 16));
    const __m128i y = _mm_unpacklo_epi16(x, x);
    return _mm_unpacklo_epi32(y, y);
}

// The products of the corner in the low half of `t` and of the one in its high half with
// their weights, as 32-bit lanes.
inline void MulPair(__m128i t, __m128i w, __m128i& lo, __m128i& hi) {
    const __m128i l = _mm_mullo_epi16(t, w), h = _mm_mulhi_epu16(t, w);
    lo = _mm_unpacklo_epi16(l, h);
    hi = _mm_unpackhi_epi16(l, h);
}

// The grid's output for channels 0 to NOut - 1, in the low 16 bits of the 32-bit lanes.
template <unsigned In, unsigned NOut>
inline __m128i InterpolateLanes(const uint16_t* node, const Cell<In>& cell) {
    const __m128i t0 = LoadNode<NOut>(node);
    __m128i s = _mm_set1_epi32(32767), a, b;
    MulPair(_mm_unpacklo_epi64(LoadNode<NOut>(node + cell.corner[0]),
                               LoadNode<NOut>(node + cell.corner[1])),
            WeightPair(cell.weight[0], cell.weight[1]), a, b);
    s = _mm_add_epi32(s, _mm_add_epi32(a, b));
    if constexpr (In == 3) {
        MulPair(_mm_unpacklo_epi64(LoadNode<NOut>(node + cell.corner[2]), t0),
                WeightPair(cell.weight[2], cell.wSum), a, b);
        s = _mm_add_epi32(s, _mm_sub_epi32(a, b));
    } else {
        MulPair(_mm_unpacklo_epi64(LoadNode<NOut>(node + cell.corner[2]),
                                   LoadNode<NOut>(node + cell.corner[3])),
                WeightPair(cell.weight[2], cell.weight[3]), a, b);
        s = _mm_add_epi32(s, _mm_add_epi32(a, b));
        MulPair(t0, WeightPair(cell.wSum, 0), a, b);
        s = _mm_sub_epi32(s, a);
    }
    const __m128i sign = _mm_srai_epi32(s, 31);
    const __m128i mag = _mm_sub_epi32(_mm_xor_si128(s, sign), sign);
    __m128i q = _mm_add_epi32(_mm_add_epi32(mag, _mm_srli_epi32(mag, 16)), _mm_set1_epi32(1));
    q = _mm_srli_epi32(q, 16);
    q = _mm_sub_epi32(_mm_xor_si128(q, sign), sign);
    return _mm_add_epi32(_mm_unpacklo_epi16(t0, _mm_setzero_si128()), q);
}

// The 16-bit result of lane c.
template <int C> inline uint32_t Lane(__m128i v) {
    return uint32_t(_mm_extract_epi16(v, 2 * C));
}

constexpr bool kHaveLanes = true;
#else
constexpr bool kHaveLanes = false;
#endif

// The input samples of a pixel as one number, to recognise a repeated pixel.
template <unsigned In, class T> inline uint64_t PixelKey(const T* src) {
    uint64_t key = 0;
#pragma GCC unroll 4
    for (unsigned a = 0; a < In; ++a) key = key << (8 * sizeof(T)) | src[a];
    return key;
}

// The path of a three- or four-input pipeline. NOut is the output count, or 0 for one known
// only at run time. With three or four outputs the channels are computed together in vector
// registers, and a pixel equal to the one before it takes over that pixel's result.
template <unsigned In, unsigned NOut> class CGridPath final : public CFastPixelPath {
    static constexpr bool kLanes = kHaveLanes && (NOut == 3 || NOut == 4);

public:
    template <class Pipeline> CGridPath(const Pipeline& table, SimdLevel level) {
        const auto& mft = table.Mft();
        grid = mft.Table();
        nOut = table.outputChan();
        gridMax = mft.clutPoints() - 1;
        // Sample distance between nodes along each axis: the last input changes fastest.
        uint32_t stride = nOut;
        for (unsigned k = In; k-- > 0; stride *= mft.clutPoints()) strides[k] = stride;

        const CFunc_16Tab& inTab = table.FuncInputTab();
        const CFunc_16Tab& outTab = table.FuncOutputTab();
        for (unsigned k = 0; k < In; ++k)
            inCurve[k] = table.skipInputTab() ? nullptr : inTab.pFastTab(k);
        for (unsigned c = 0; c < nOut; ++c)
            outCurve[c] = table.skipOutputTab() ? nullptr : outTab.pFastTab(c);

        // 8 bits: each byte value once through the input curve and the split.
        for (unsigned k = 0; k < In; ++k)
            for (uint32_t v = 0; v < 256; ++v) axis8[k][v] = Axis16(k, v * 257u);
        // 8 bits: the output curve's 12-bit read-out and the high byte, in one table.
        // (Three bytes more: a kernel reads each entry as four.)
        lut8.assign(size_t(nOut) * kCurveEntries + 3, 0);
        for (unsigned c = 0; c < nOut; ++c)
            for (uint32_t i = 0; i < kCurveEntries; ++i) {
                const uint32_t v = outCurve[c] ? outCurve[c][i] : i << kCurveShift;
                lut8[c * kCurveEntries + i] = uint8_t(v >> 8);
            }
        PrepareKernel(level);
    }

    bool Trn8(const uint8_t* src, uint8_t* dst, unsigned count) const override {
        if constexpr (kLanes) {
#if defined(__SSE2__)
            const uint8_t* lut = lut8.data();
            if (kernel) { // whole steps of pixels at once, the rest below
                const unsigned done = kernel(kernelTables, src, dst, count);
                src += size_t(done) * In;
                dst += size_t(done) * NOut;
                count -= done;
            }
            uint64_t lastKey = 0;
            uint32_t last = 0; // the bytes of the last result, channel 0 lowest
            for (unsigned k = 0; k < count; ++k, src += In, dst += NOut) {
                const uint64_t key = PixelKey<In>(src);
                if (k == 0 || key != lastKey) {
                    lastKey = key;
                    const Cell<In> cell = Locate(Axes8(src).p);
                    const __m128i v = InterpolateLanes<In, NOut>(grid + cell.base, cell);
                    // Top 12 bits of each 16-bit result: the index of the output table.
                    const __m128i i = _mm_srli_epi32(_mm_slli_epi32(v, 16), 16 + kCurveShift);
                    last = uint32_t(lut[Lane<0>(i)]) |
                           uint32_t(lut[kCurveEntries + Lane<1>(i)]) << 8 |
                           uint32_t(lut[2 * kCurveEntries + Lane<2>(i)]) << 16;
                    if constexpr (NOut == 4)
                        last |= uint32_t(lut[3 * kCurveEntries + Lane<3>(i)]) << 24;
                }
                for (unsigned c = 0; c < NOut; ++c) dst[c] = uint8_t(last >> 8 * c);
            }
#endif
        } else {
            const uint32_t n = NOut ? NOut : nOut;
            for (unsigned k = 0; k < count; ++k, src += In, dst += n) {
                const Cell<In> cell = Locate(Axes8(src).p);
                const uint16_t* node = grid + cell.base;
                const uint8_t* lut = lut8.data();
#pragma GCC unroll 16
                for (uint32_t c = 0; c < n; ++c, lut += kCurveEntries)
                    dst[c] = lut[Interpolate(node + c, cell) >> kCurveShift];
            }
        }
        return true;
    }

    bool Trn16(const uint16_t* src, uint16_t* dst, unsigned count) const override {
        if constexpr (kLanes) {
#if defined(__SSE2__)
            if (kernel16) { // whole steps of pixels at once, the rest below
                const unsigned done = kernel16(kernel16Tables, src, dst, count);
                src += size_t(done) * In;
                dst += size_t(done) * NOut;
                count -= done;
            }
            uint64_t lastKey = 0;
            uint64_t last = 0; // the samples of the last result, channel 0 lowest
            for (unsigned k = 0; k < count; ++k, src += In, dst += NOut) {
                const uint64_t key = PixelKey<In>(src);
                if (k == 0 || key != lastKey) {
                    lastKey = key;
                    const Cell<In> cell = Locate(Axes16(src).p);
                    const __m128i v = InterpolateLanes<In, NOut>(grid + cell.base, cell);
                    last = uint64_t(OutputCurve(0, Lane<0>(v))) |
                           uint64_t(OutputCurve(1, Lane<1>(v))) << 16 |
                           uint64_t(OutputCurve(2, Lane<2>(v))) << 32;
                    if constexpr (NOut == 4) last |= uint64_t(OutputCurve(3, Lane<3>(v))) << 48;
                }
                for (unsigned c = 0; c < NOut; ++c) dst[c] = uint16_t(last >> 16 * c);
            }
#endif
        } else {
            const uint32_t n = NOut ? NOut : nOut;
            for (unsigned k = 0; k < count; ++k, src += In, dst += n) {
                const Cell<In> cell = Locate(Axes16(src).p);
                const uint16_t* node = grid + cell.base;
#pragma GCC unroll 16
                for (uint32_t c = 0; c < n; ++c)
                    dst[c] = OutputCurve(c, Interpolate(node + c, cell));
            }
        }
        return true;
    }

    SimdLevel Kernel8Level() const override {
        return kernel ? kernelLevel : SimdLevel::Scalar;
    }
    SimdLevel Kernel16Level() const override {
        return kernel16 ? kernelLevel : SimdLevel::Scalar;
    }

private:
    // The several-pixel kernel of `level` for four outputs, if there is one and the grid fits
    // its tables: node index in a byte, byte offsets of the samples in a signed 32-bit lane.
    void PrepareKernel(SimdLevel level) {
        if constexpr (NOut == 4) {
            const uint64_t samples = uint64_t(strides[0]) * (gridMax + 1);
            if (gridMax > 255 || 2 * samples + 8 > uint64_t(std::numeric_limits<int32_t>::max()))
                return;
            kernelLevel = level;
            PrepareKernel16(level);
            kernel = FindGridKernel8(In, level);
            if (!kernel) return;
            kernelTables.grid = grid;
            for (unsigned k = 0; k < In; ++k) {
                for (uint32_t v = 0; v < 256; ++v) {
                    const AxisPos& a = axis8[k][v];
                    const uint32_t frac = uint32_t(a.key >> 32);
                    axisPacked[k][v] = frac << 8 | a.offset / strides[k];
                    axisBytes[k][v] = uint8_t(a.offset / strides[k]);
                    axisBytes[k][256 + v] = uint8_t(frac);
                    axisBytes[k][512 + v] = uint8_t(frac >> 8);
                }
                kernelTables.axis[k] = axisPacked[k];
                kernelTables.axisBytes[k] = axisBytes[k];
                kernelTables.stride[k] = strides[k];
            }
            kernelTables.lut = lut8.data();
            kernelTables.highByteOut = 0;
            kernelTables.steppedOut = 0;
            for (unsigned c = 0; c < 4; ++c) {
                const uint8_t* table = lut8.data() + c * kCurveEntries;
                kernelTables.steps[c] = outSteps[c];
                if (OutputTableIsHighByte(table))
                    kernelTables.highByteOut |= 1u << c;
                else if (OutputTableSteps(table, outSteps[c]))
                    kernelTables.steppedOut |= 1u << c;
            }
        } else {
            (void)level;
        }
    }

    // The 16-bit kernel's tables: the split of each 12-bit read-out of an input curve, and
    // the output curves with a sample of padding. The grid's size was checked by the caller.
    void PrepareKernel16(SimdLevel level) {
        kernel16 = FindGridKernel16(In, level);
        if (!kernel16) return;
        kernel16Tables.grid = grid;
        kernel16Tables.gridMax = gridMax;
        for (unsigned k = 0; k < In; ++k) {
            kernel16Tables.stride[k] = strides[k];
            kernel16Tables.axis[k] = nullptr;
            if (!inCurve[k]) continue;
            axis16[k].resize(kCurveEntries);
            for (uint32_t i = 0; i < kCurveEntries; ++i) {
                const AxisPos a = Split(inCurve[k][i], gridMax, strides[k]);
                axis16[k][i] = uint32_t(a.key >> 32) << 8 | a.offset / strides[k];
            }
            kernel16Tables.axis[k] = axis16[k].data();
        }
        curve16.assign(4 * size_t(kCurveEntries) + 1, 0);
        for (unsigned c = 0; c < 4; ++c) {
            kernel16Tables.curve[c] = nullptr;
            if (!outCurve[c]) continue;
            std::memcpy(&curve16[c * kCurveEntries], outCurve[c], kCurveEntries * sizeof(uint16_t));
            kernel16Tables.curve[c] = &curve16[c * kCurveEntries];
        }
    }

    // Input curve (12-bit read-out) and split of one 16-bit sample on axis k.
    AxisPos Axis16(unsigned k, uint32_t x) const {
        const uint32_t a = inCurve[k] ? inCurve[k][x >> kCurveShift] : x;
        return Split(a, gridMax, strides[k]);
    }

    // The positions of a pixel on all axes.
    struct Axes {
        AxisPos p[In];
    };
    Axes Axes8(const uint8_t* src) const {
        Axes a;
#pragma GCC unroll 4
        for (unsigned k = 0; k < In; ++k) a.p[k] = axis8[k][src[k]];
        return a;
    }
    Axes Axes16(const uint16_t* src) const {
        Axes a;
#pragma GCC unroll 4
        for (unsigned k = 0; k < In; ++k) a.p[k] = Axis16(k, src[k]);
        return a;
    }

    // Output curve of channel c on a 16-bit grid result, or the result itself when skipped.
    uint16_t OutputCurve(unsigned c, uint32_t v) const {
        return outCurve[c] ? outCurve[c][v >> kCurveShift] : uint16_t(v);
    }

    const uint16_t* grid = nullptr; // the table's nodes
    uint32_t nOut = 0;
    uint32_t gridMax = 0;
    uint32_t strides[In] = {};
    const uint16_t* inCurve[In] = {};                         // null: skipped
    const uint16_t* outCurve[CFunc_16Tab::kMaxChannels] = {}; // null: skipped
    AxisPos axis8[In][256];
    std::vector<uint8_t> lut8;    // nOut x 4096: final byte by the top 12 bits of the grid's output
    GridKernel8 kernel = nullptr; // null: one pixel at a time
    SimdLevel kernelLevel = SimdLevel::Scalar;
    SGridKernel8Tables kernelTables = {};
    uint32_t axisPacked[In][256] = {};               // the kernel's axis tables
    alignas(64) uint8_t axisBytes[In][3 * 256] = {}; // the same as byte planes
    alignas(64) uint8_t outSteps[4][3 * 256] = {};   // output tables as staircases, if they are
    GridKernel16 kernel16 = nullptr;                 // null: one pixel at a time
    SGridKernel16Tables kernel16Tables = {};
    std::vector<uint32_t> axis16[In]; // the 16-bit kernel's axis tables (inputs with a curve)
    std::vector<uint16_t> curve16;    // the 16-bit kernel's output curves, padded
};

// The one-input pipeline: the result is a function of the top 12 bits of the input (every
// stage reads 12 bits), and, at 8 bits, of the byte. Both tables come from the table's Trn.
class COneInputPath final : public CFastPixelPath {
public:
    explicit COneInputPath(const CFunc_16TabBaseMft& table) : nOut(table.outputChan()) {
        uint16_t out[CFunc_16Tab::kMaxChannels] = {};
        tab16.resize(size_t(kCurveEntries) * nOut);
        for (uint32_t i = 0; i < kCurveEntries; ++i) {
            const uint16_t x = uint16_t(i << kCurveShift);
            table.Trn(&x, out);
            for (unsigned c = 0; c < nOut; ++c) tab16[i * nOut + c] = out[c];
        }
        tab8.resize(256 * size_t(nOut));
        for (uint32_t v = 0; v < 256; ++v) {
            const uint16_t x = uint16_t(v * 257u);
            table.Trn(&x, out);
            for (unsigned c = 0; c < nOut; ++c) tab8[v * nOut + c] = uint8_t(out[c] >> 8);
        }
    }

    bool Trn8(const uint8_t* src, uint8_t* dst, unsigned count) const override {
        for (unsigned k = 0; k < count; ++k, dst += nOut) {
            const uint8_t* r = &tab8[src[k] * nOut];
            for (unsigned c = 0; c < nOut; ++c) dst[c] = r[c];
        }
        return true;
    }

    bool Trn16(const uint16_t* src, uint16_t* dst, unsigned count) const override {
        for (unsigned k = 0; k < count; ++k, dst += nOut) {
            const uint16_t* r = &tab16[(src[k] >> kCurveShift) * nOut];
            for (unsigned c = 0; c < nOut; ++c) dst[c] = r[c];
        }
        return true;
    }

private:
    unsigned nOut;
    std::vector<uint16_t> tab16; // 4096 x nOut
    std::vector<uint8_t> tab8;   // 256 x nOut
};

template <unsigned In, class Pipeline>
std::unique_ptr<CFastPixelPath> MakeGridPath(const Pipeline& table, SimdLevel level) {
    switch (table.outputChan()) {
    case 3:
        return std::make_unique<CGridPath<In, 3>>(table, level);
    case 4:
        return std::make_unique<CGridPath<In, 4>>(table, level);
    default:
        return std::make_unique<CGridPath<In, 0>>(table, level);
    }
}

// One specialised path: whether it serves a table (whose pixel layout is already known to be
// the table's own, with `nOut` outputs), and how it is made for one it serves. A class is
// matched exactly, since a derived class may change Trn.
struct SPathCandidate {
    bool (*serves)(const CFunc_16TabBaseMft& table, unsigned nOut);
    std::unique_ptr<CFastPixelPath> (*make)(const CFunc_16TabBaseMft& table, SimdLevel level);
};

// A grid of fewer than 2 points per axis cannot be evaluated at all; a grid of another output
// count than its pipeline is not one the grid path knows.
template <class Pipeline> bool ServesGrid(const CFunc_16TabBaseMft& table, unsigned nOut) {
    if (typeid(table) != typeid(Pipeline)) return false;
    const CMft_16& mft = static_cast<const Pipeline&>(table).Mft();
    return mft.clutPoints() >= 2 && mft.outputChan() == nOut && mft.Table() != nullptr;
}
template <unsigned In, class Pipeline>
std::unique_ptr<CFastPixelPath> MakeGrid(const CFunc_16TabBaseMft& table, SimdLevel level) {
    return MakeGridPath<In>(static_cast<const Pipeline&>(table), level);
}

bool ServesOneInput(const CFunc_16TabBaseMft& table, unsigned) {
    return typeid(table) == typeid(CFunc_16Tab1Mft);
}
std::unique_ptr<CFastPixelPath> MakeOneInput(const CFunc_16TabBaseMft& table, SimdLevel) {
    return std::make_unique<COneInputPath>(table);
}

// Tried in order; the first that serves the table makes its path. A new specialised path is
// one more entry here.
constexpr SPathCandidate kCandidates[] = {
    {ServesGrid<CFunc_16Tab3Mft>, MakeGrid<3, CFunc_16Tab3Mft>},
    {ServesGrid<CFunc_16Tab4Mft>, MakeGrid<4, CFunc_16Tab4Mft>},
    {ServesOneInput, MakeOneInput},
};

} // namespace

std::unique_ptr<CFastPixelPath> CFastPixelPath::Make(const CFunc_16TabBaseMft& table, unsigned nIn,
                                                     unsigned nOut) {
    return Make(table, nIn, nOut, SimdLevelSetting());
}

std::unique_ptr<CFastPixelPath> CFastPixelPath::Make(const CFunc_16TabBaseMft& table, unsigned nIn,
                                                     unsigned nOut, SimdLevel level) {
    // The pixel layout must be the table's own: no unwritten or skipped channels.
    if (nIn != table.inputChan() || nOut != table.outputChan()) return nullptr;
    if (nOut < 1 || nOut > CFunc_16Tab::kMaxChannels) return nullptr;
    for (const SPathCandidate& candidate : kCandidates)
        if (candidate.serves(table, nOut)) return candidate.make(table, level);
    return nullptr;
}
