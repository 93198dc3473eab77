#include "colorlink/FastPixelPath.h"

#include <typeinfo>
#include <vector>

#include "gridtable/TabMftX.h"

namespace {

constexpr unsigned kCurveEntries = CFunc_16Tab::kFastEntries; // 12-bit read-out of a curve
constexpr unsigned kCurveShift = CFunc_16Tab::kFastShift;

// Where one input sample puts the pixel along its grid axis: the sample offset of its node
// index, the offset of the next node along the axis (0 on the last node, whose fraction is
// always 0) and the fraction in 1/65535 of a cell.
struct AxisPos {
    uint32_t offset;
    uint32_t step;
    uint32_t frac;
};

// The grid's own split of a 16-bit value (after the input curve): p = a * (P - 1), node index
// p / 65535, fraction p % 65535. `stride` is the sample distance between nodes on this axis.
inline AxisPos Split(uint32_t a, uint32_t gridMax, uint32_t stride) {
    const uint32_t p = a * gridMax;
    const uint32_t index = p / 65535u;
    return {index * stride, index < gridMax ? stride : 0u, p - index * 65535u};
}

// The simplex of a pixel, as sample offsets from the base node: corner[j] is reached from the
// base by stepping along the j + 1 axes of largest fraction, weight[j] is that axis's fraction
// minus the next smaller one (the last: the smallest fraction itself). The grid's Trn adds
// weight[j] * (corner - base) per corner, which in 32-bit wrap-around is the same as
// sum(weight[j] * corner) - wSum * base with wSum the largest fraction; a corner beyond the
// grid's edge gets weight 0 either way, so stepping 0 there changes nothing.
template <unsigned In> struct Cell {
    uint32_t base;
    uint32_t corner[In];
    uint32_t weight[In];
    uint32_t wSum;
};

// Three inputs: the decisions of CMft3_16's choice of tetrahedron, taken without branches.
// Code bits: 4 for f0 >= f1, 2 for f2 >= f1, 1 for f2 >= f0; the entry is the order of the
// axes by falling fraction that the grid's decision tree reaches for that outcome.
inline Cell<3> Locate(const AxisPos (&p)[3]) {
    static constexpr uint8_t kOrder[8][3] = {
        {1, 0, 2}, // f0 < f1, f2 < f0
        {1, 2, 0}, // f0 < f1, f0 <= f2 < f1
        {1, 0, 2}, // (f2 < f0 < f1 with f2 >= f1 cannot happen)
        {2, 1, 0}, // f0 < f1 <= f2
        {0, 1, 2}, // f1 <= f0, f2 < f1
        {0, 1, 2}, // (idem)
        {0, 2, 1}, // f1 <= f2 < f0
        {2, 0, 1}, // f1 <= f0 <= f2
    };
    const uint32_t f0 = p[0].frac, f1 = p[1].frac, f2 = p[2].frac;
    const unsigned code = (f0 >= f1 ? 4u : 0u) | (f2 >= f1 ? 2u : 0u) | (f2 >= f0 ? 1u : 0u);
    const uint8_t* o = kOrder[code];
    const AxisPos &a = p[o[0]], &b = p[o[1]], &c = p[o[2]];
    Cell<3> cell;
    cell.base = p[0].offset + p[1].offset + p[2].offset;
    cell.corner[0] = a.step;
    cell.corner[1] = a.step + b.step;
    cell.corner[2] = a.step + b.step + c.step;
    cell.weight[0] = a.frac - b.frac;
    cell.weight[1] = b.frac - c.frac;
    cell.weight[2] = c.frac;
    cell.wSum = a.frac;
    return cell;
}

// Four inputs: CMft4_16's simplex. Its order is a stable ascending sort of the fractions
// (equal fractions keep the lower input first), here by the same sorting network on the
// distinct keys fraction * 4 + input.
inline Cell<4> Locate(const AxisPos (&p)[4]) {
    uint32_t k[4] = {p[0].frac << 2 | 0, p[1].frac << 2 | 1, p[2].frac << 2 | 2,
                     p[3].frac << 2 | 3};
    auto exchange = [&k](int i, int j) {
        const uint32_t lo = k[i] < k[j] ? k[i] : k[j], hi = k[i] < k[j] ? k[j] : k[i];
        k[i] = lo;
        k[j] = hi;
    };
    exchange(0, 1);
    exchange(2, 3);
    exchange(0, 2);
    exchange(1, 3);
    exchange(1, 2);
    const AxisPos &a = p[k[3] & 3], &b = p[k[2] & 3], &c = p[k[1] & 3], &d = p[k[0] & 3];
    Cell<4> cell;
    cell.base = p[0].offset + p[1].offset + p[2].offset + p[3].offset;
    cell.corner[0] = a.step;
    cell.corner[1] = a.step + b.step;
    cell.corner[2] = a.step + b.step + c.step;
    cell.corner[3] = a.step + b.step + c.step + d.step;
    cell.weight[0] = a.frac - b.frac;
    cell.weight[1] = b.frac - c.frac;
    cell.weight[2] = c.frac - d.frac;
    cell.weight[3] = d.frac;
    cell.wSum = a.frac;
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

// The path of a three- or four-input pipeline. NOut is the output count, or 0 for one known
// only at run time.
template <unsigned In, unsigned NOut> class CGridPath final : public CFastPixelPath {
public:
    template <class Pipeline> CGridPath(const Pipeline& table) {
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
        lut8.resize(size_t(nOut) * kCurveEntries);
        for (unsigned c = 0; c < nOut; ++c)
            for (uint32_t i = 0; i < kCurveEntries; ++i) {
                const uint32_t v = outCurve[c] ? outCurve[c][i] : i << kCurveShift;
                lut8[c * kCurveEntries + i] = uint8_t(v >> 8);
            }
    }

    bool Trn8(const uint8_t* src, uint8_t* dst, unsigned count) const override {
        const uint32_t n = NOut ? NOut : nOut;
        for (unsigned k = 0; k < count; ++k, src += In, dst += n) {
            AxisPos p[In];
#pragma GCC unroll 4
            for (unsigned a = 0; a < In; ++a) p[a] = axis8[a][src[a]];
            const Cell<In> cell = Locate(p);
            const uint16_t* node = grid + cell.base;
            const uint8_t* lut = lut8.data();
#pragma GCC unroll 16
            for (uint32_t c = 0; c < n; ++c, lut += kCurveEntries)
                dst[c] = lut[Interpolate(node + c, cell) >> kCurveShift];
        }
        return true;
    }

    bool Trn16(const uint16_t* src, uint16_t* dst, unsigned count) const override {
        const uint32_t n = NOut ? NOut : nOut;
        for (unsigned k = 0; k < count; ++k, src += In, dst += n) {
            AxisPos p[In];
#pragma GCC unroll 4
            for (unsigned a = 0; a < In; ++a) p[a] = Axis16(a, src[a]);
            const Cell<In> cell = Locate(p);
            const uint16_t* node = grid + cell.base;
#pragma GCC unroll 16
            for (uint32_t c = 0; c < n; ++c) {
                const uint16_t v = Interpolate(node + c, cell);
                dst[c] = outCurve[c] ? outCurve[c][v >> kCurveShift] : v;
            }
        }
        return true;
    }

private:
    // Input curve (12-bit read-out) and split of one 16-bit sample on axis k.
    AxisPos Axis16(unsigned k, uint32_t x) const {
        const uint32_t a = inCurve[k] ? inCurve[k][x >> kCurveShift] : x;
        return Split(a, gridMax, strides[k]);
    }

    const uint16_t* grid = nullptr; // the table's nodes
    uint32_t nOut = 0;
    uint32_t gridMax = 0;
    uint32_t strides[In] = {};
    const uint16_t* inCurve[In] = {};                         // null: skipped
    const uint16_t* outCurve[CFunc_16Tab::kMaxChannels] = {}; // null: skipped
    AxisPos axis8[In][256];
    std::vector<uint8_t> lut8; // nOut x 4096: final byte by the top 12 bits of the grid's output
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
std::unique_ptr<CFastPixelPath> MakeGridPath(const Pipeline& table) {
    switch (table.outputChan()) {
    case 3:
        return std::make_unique<CGridPath<In, 3>>(table);
    case 4:
        return std::make_unique<CGridPath<In, 4>>(table);
    default:
        return std::make_unique<CGridPath<In, 0>>(table);
    }
}

} // namespace

std::unique_ptr<CFastPixelPath> CFastPixelPath::Make(const CFunc_16TabBaseMft& table, unsigned nIn,
                                                     unsigned nOut) {
    // The pixel layout must be the table's own: no unwritten or skipped channels.
    if (nIn != table.inputChan() || nOut != table.outputChan()) return nullptr;
    if (nOut < 1 || nOut > CFunc_16Tab::kMaxChannels) return nullptr;
    const std::type_info& type = typeid(table);
    if (type == typeid(CFunc_16Tab3Mft) || type == typeid(CFunc_16Tab4Mft)) {
        const bool three = type == typeid(CFunc_16Tab3Mft);
        const CMft_16& mft =
            three ? static_cast<const CMft_16&>(static_cast<const CFunc_16Tab3Mft&>(table).Mft())
                  : static_cast<const CMft_16&>(static_cast<const CFunc_16Tab4Mft&>(table).Mft());
        // A grid of fewer than 2 points per axis cannot be evaluated at all; a grid of another
        // output count than its pipeline is not one this path knows.
        if (mft.clutPoints() < 2 || mft.outputChan() != nOut || mft.Table() == nullptr)
            return nullptr;
        if (three) return MakeGridPath<3>(static_cast<const CFunc_16Tab3Mft&>(table));
        return MakeGridPath<4>(static_cast<const CFunc_16Tab4Mft&>(table));
    }
    if (type == typeid(CFunc_16Tab1Mft)) return std::make_unique<COneInputPath>(table);
    return nullptr;
}
