// A 16-bit pipeline widened from an 8-bit one, applied to x * 257, against the 8-bit result
// times 257. The two differ by the 12-bit read-out of the 16-bit curves and by the rounding of
// the 8-bit grid to whole bytes; the bound of each comparison is derived from those two
// sources and the slopes of the pipeline's own curves and grid, never from the results.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "gridtable/TabMft.h"

namespace {

// A smooth, non-linear map from `in` to `out` bytes for filling the grid.
class SmoothFunc8 : public CFunc_8 {
public:
    SmoothFunc8(unsigned in, unsigned out) : CFunc_8(in, out) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        for (unsigned k = 0; k < outputChan(); ++k) {
            double y = 0;
            for (unsigned j = 0; j < inputChan(); ++j) {
                const double x = in[j] / 255.0;
                const double shaped = (j + k) % 2 ? x * x : std::sqrt(x);
                y += (k == j ? 2.0 : 0.5 + 0.25 * ((j + 2 * k) % 3)) * shaped;
            }
            y /= inputChan() + 1.5;
            out[k] = static_cast<uint8_t>(std::min(y, 1.0) * 255.0 + 0.5);
        }
        return 1;
    }
};

// Curves of several shapes: steep at the start, steep at the end, falling, and compressed.
std::vector<uint8_t> Curves(unsigned channels, unsigned seed) {
    std::vector<uint8_t> t(channels * 256);
    for (unsigned c = 0; c < channels; ++c)
        for (unsigned i = 0; i < 256; ++i) {
            const double x = i / 255.0;
            double y = 0;
            switch ((c + seed) % 4) {
            case 0:
                y = std::pow(x, 0.8);
                break;
            case 1:
                y = std::pow(x, 1.7);
                break;
            case 2:
                y = 1.0 - std::pow(x, 1.2);
                break;
            case 3:
                y = 0.1 + 0.75 * x;
                break;
            }
            t[c * 256 + i] = static_cast<uint8_t>(y * 255.0 + 0.5);
        }
    return t;
}

// The comparison of one input, stage by stage and as a whole. Sources of difference:
//
// 1. Input curve c: the 16-bit curve is read at the 12-bit node nearest below x * 257, which
//    lies within 15 units of it, and interpolates the widened table there with truncation
//    (1 unit) and wrap-around on falling segments (1 unit):
//    |A16 - 257 * a8| <= e1 = 15 * local slope + 2, in 16-bit units, the slope in bytes per
//    byte. This is the 12-bit reading of the input curves.
// 2. Grid at equal positions: both grids interpolate the same nodes (the 16-bit nodes are the
//    8-bit ones times 257), so their exact values agree; the 8-bit result is rounded to a whole
//    byte (less than 257 units), the 16-bit one lies within 2 units: |G16(257 * a8) - 257 * b8|
//    <= 258. One stated oddity adds to it: the three-input 8-bit grid puts the input 128 on
//    its middle node when gridMax is even, while the 16-bit grid sees 128 * 257 half a byte
//    above it: 129 units of input more for every such channel.
// 3. Grid at the two positions: a tetrahedral or simplex interpolation moves by at most its
//    steepest edge per unit along each axis, so |G16(A16) - G16(257 * a8)| <= 2 + slope *
//    sum of |A16 - 257 * a8|, the slope of output k among the cells both positions lie in.
// 4. Output curve: read at the 12-bit node within 15 units below B16 = G16(A16), between the
//    byte curve's values at the bytes around that place, times 257, within 2 units.
// 5. As a whole: out16 lies between 257 times the byte curve's values around 257 * b8 give or
//    take the sum of the bounds of 1 to 3 and the 15 of the output reading; out8 lies there
//    too, so the width of that interval bounds |out16 - 257 * out8|.
template <class P8, class P16> class WidthCheck {
public:
    static constexpr unsigned In = P8::kInputs;

    WidthCheck(const P8& p8, const P16& p16) : m_p8(p8), m_p16(p16) {
        const uint8_t* tin = p8.FuncInputTab().pTab();
        for (unsigned c = 0; c < In; ++c)
            for (int x = 0; x < 256; ++x) {
                const uint8_t* t = tin + c * 256;
                int slope = 0;
                if (x > 0) slope = std::max(slope, std::abs(t[x] - t[x - 1]));
                if (x < 255) slope = std::max(slope, std::abs(t[x + 1] - t[x]));
                m_e1[c][x] = 15 * slope + 2;
            }
        const unsigned gridMax = p8.Mft().clutPoints() - 1;
        m_middleNodeOddity = In == 3 && gridMax % 2 == 0;
        BuildCellSlopes();
    }

    // Compares one input; answers false (and reports) when a bound is broken.
    bool Check(const uint8_t* x) {
        uint8_t a8[4], b8[16], out8[16];
        uint16_t x16[4], a16[4], wide[4], exact16[16], b16[16], out16[16];
        m_p8.Trn(x, out8);
        m_p8.FuncInputTab().Trn(x, a8);
        m_p8.Mft().Trn(a8, b8);
        for (unsigned c = 0; c < In; ++c) x16[c] = static_cast<uint16_t>(x[c] * 257);
        m_p16.Trn(x16, out16);
        m_p16.FuncInputTab().Trn(x16, a16);
        for (unsigned c = 0; c < In; ++c) wide[c] = static_cast<uint16_t>(a8[c] * 257);
        m_p16.Mft().Trn(wide, exact16);
        m_p16.Mft().Trn(a16, b16);

        // 1. Input curves.
        double inputShift = 0, e1Sum = 0, oddity = 0;
        unsigned first[4], last[4], firstAll[4], lastAll[4];
        for (unsigned c = 0; c < In; ++c) {
            const int d = std::abs(int(a16[c]) - int(wide[c]));
            if (d > m_e1[c][x[c]]) return Fail(x, "input curve", c, d, m_e1[c][x[c]]);
            inputShift += d;
            e1Sum += m_e1[c][x[c]];
            if (m_middleNodeOddity && a8[c] == 128) oddity += 129;
            first[c] = CellOf(std::min(a16[c], wide[c]));
            last[c] = CellOf(std::max(a16[c], wide[c]));
            firstAll[c] = CellOf(wide[c] - m_e1[c][x[c]] - 129);
            lastAll[c] = CellOf(wide[c] + m_e1[c][x[c]] + 129);
        }
        const uint8_t* to = m_p8.FuncOutputTab().pTab();
        for (unsigned k = 0; k < m_p8.outputChan(); ++k) {
            // 2. The grids at equal positions.
            const double e2 = 258 + SteepestEdge(firstAll, lastAll, k) * oddity;
            const int d2 = std::abs(int(exact16[k]) - 257 * int(b8[k]));
            if (d2 > e2) return Fail(x, "grid widths", k, d2, e2);
            // 3. The 16-bit grid at the two positions.
            const double e3 = 2 + SteepestEdge(first, last, k) * inputShift;
            const int d3 = std::abs(int(b16[k]) - int(exact16[k]));
            if (d3 > e3) return Fail(x, "grid positions", k, d3, e3);
            // 4. Output curve around B16.
            const Range r4 = CurveRange(to + k * 256, b16[k] - 15.0, b16[k] + 15.0);
            if (out16[k] + 2 < 257 * r4.lo || out16[k] > 257 * r4.hi + 2)
                return Fail(x, "output curve", k, out16[k], 257 * r4.hi + 2);
            // 5. As a whole, against the 8-bit result.
            const double e = 258 + SteepestEdge(firstAll, lastAll, k) * (oddity + e1Sum) + 2 + 15;
            const Range r5 = CurveRange(to + k * 256, 257.0 * b8[k] - e, 257.0 * b8[k] + e);
            const int diff = std::abs(int(out16[k]) - 257 * int(out8[k]));
            const int bound = 257 * (r5.hi - r5.lo) + 2;
            if (out16[k] + 2 < 257 * r5.lo || out16[k] > 257 * r5.hi + 2 || diff > bound)
                return Fail(x, "whole pipeline", k, diff, bound);
            m_largest = std::max(m_largest, diff);
            m_largestBound = std::max(m_largestBound, bound);
            m_sumBound += bound;
            m_sumDiff += diff;
            m_largestGridWidth = std::max(m_largestGridWidth, d2);
        }
        ++m_count;
        return true;
    }

    void Report(const char* what) const {
        const double samples = double(m_count) * m_p8.outputChan();
        std::printf("%s: %ld inputs, |out16 - 257 * out8| largest %d mean %.1f, bound largest "
                    "%d mean %.1f; grids alone differ by at most %d\n",
                    what, m_count, m_largest, m_sumDiff / samples, m_largestBound,
                    m_sumBound / samples, m_largestGridWidth);
    }

private:
    struct Range {
        int lo, hi;
    };

    // Smallest and largest byte curve value over the bytes that a 16-bit interval reaches,
    // including the bytes on both sides of each end, between which the widened curve
    // interpolates.
    static Range CurveRange(const uint8_t* t, double from, double to) {
        const int first = std::max(0, int(std::floor(std::max(from, 0.0) / 257)));
        const int last = std::min(255, int(std::ceil(std::min(to, 65535.0) / 257)));
        Range r{255, 0};
        for (int j = first; j <= last; ++j) {
            r.lo = std::min<int>(r.lo, t[j]);
            r.hi = std::max<int>(r.hi, t[j]);
        }
        return r;
    }

    bool Fail(const uint8_t* x, const char* stage, unsigned channel, double value,
              double bound) const {
        std::string in;
        for (unsigned c = 0; c < In; ++c) in += std::to_string(x[c]) + " ";
        ADD_FAILURE() << stage << ", input " << in << "channel " << channel << ": " << value
                      << " beyond " << bound;
        return false;
    }

    // The cell along one axis that a 16-bit position lies in.
    unsigned CellOf(double u) const {
        const unsigned gridMax = m_p8.Mft().clutPoints() - 1;
        const double cell = std::floor(std::clamp(u, 0.0, 65535.0) * gridMax / 65535.0);
        return std::min(unsigned(cell), gridMax - 1);
    }

    // For every cell and output, the largest difference between two corners of the cell that
    // are adjacent along one axis: the steepest edge any simplex of the cell can have.
    void BuildCellSlopes() {
        const auto& mft = m_p8.Mft();
        const unsigned p = mft.clutPoints(), out = m_p8.outputChan();
        unsigned cells = 1;
        for (unsigned c = 0; c < In; ++c) cells *= p - 1;
        m_cellEdge.assign(size_t(cells) * out, 0);
        for (unsigned cell = 0; cell < cells; ++cell) {
            unsigned base = 0, rest = cell, stride[4];
            // Node number of the cell's lowest corner; the last input is the fastest.
            unsigned idx[4];
            for (unsigned c = In; c-- > 0;) {
                idx[c] = rest % (p - 1);
                rest /= p - 1;
            }
            for (unsigned c = 0; c < In; ++c) base = base * p + idx[c];
            for (unsigned c = In, s = 1; c-- > 0; s *= p) stride[c] = s;
            for (unsigned corner = 0; corner < (1u << In); ++corner) {
                unsigned node = base;
                for (unsigned c = 0; c < In; ++c)
                    if (corner & (1u << c)) node += stride[c];
                for (unsigned c = 0; c < In; ++c) {
                    if (corner & (1u << c)) continue;
                    for (unsigned k = 0; k < out; ++k) {
                        const int d = std::abs(mft.Table()[(node + stride[c]) * out + k] -
                                               mft.Table()[node * out + k]);
                        int& e = m_cellEdge[size_t(cell) * out + k];
                        e = std::max(e, d);
                    }
                }
            }
        }
    }

    // Steepest edge of output k over the box of cells, in output bytes per input byte.
    double SteepestEdge(const unsigned* first, const unsigned* last, unsigned k) const {
        const unsigned cellsPerAxis = m_p8.Mft().clutPoints() - 1;
        const unsigned out = m_p8.outputChan();
        int largest = 0;
        unsigned idx[4];
        std::copy(first, first + In, idx);
        for (;;) {
            unsigned cell = 0;
            for (unsigned c = 0; c < In; ++c) cell = cell * cellsPerAxis + idx[c];
            largest = std::max(largest, m_cellEdge[size_t(cell) * out + k]);
            unsigned c = In;
            while (c-- > 0 && idx[c] == last[c]) idx[c] = first[c];
            if (c == unsigned(-1)) break;
            ++idx[c];
        }
        return largest * double(cellsPerAxis) / 255.0;
    }

    const P8& m_p8;
    const P16& m_p16;
    double m_e1[4][256];
    bool m_middleNodeOddity = false;
    int m_largestGridWidth = 0;
    std::vector<int> m_cellEdge; // per cell and output
    long m_count = 0;
    int m_largest = 0;
    int m_largestBound = 0;
    double m_sumBound = 0;
    double m_sumDiff = 0;
};

template <class P8> P8 MakePipeline(unsigned points, unsigned outputs, unsigned seed) {
    P8 p(points, outputs);
    p.DefineInputTab(Curves(P8::kInputs, seed).data());
    p.DefineOutputTab(Curves(outputs, seed + 1).data());
    p.DefineByFunc(SmoothFunc8(P8::kInputs, outputs));
    p.InitMftTrn();
    return p;
}

// Inputs for n axes: the whole diagonal, where all fractions are equal, and every value of
// every axis combined with the other axes on a lattice of `step` from 0 to 255. Every value
// on one axis reaches every curve entry, every fraction and the middle node of that axis; with
// a step below the width of a cell (31.9 bytes at 9 points, 15.9 at 17) the lattice puts
// every such value into every cell of the other axes, at more than one place where the step
// allows. The plain build checks all 256^3 three-input values instead; under the sanitizers
// that would take minutes for little more evidence than this set.
template <class Check> void ForEachInput(unsigned axes, int step, Check&& check) {
    uint8_t x[4];
    for (int v = 0; v < 256; ++v) {
        std::fill(x, x + axes, uint8_t(v));
        if (!check(x)) return;
    }
    const int n = 255 / step + 1;
    int others = 1;
    for (unsigned c = 1; c < axes; ++c) others *= n;
    for (unsigned axis = 0; axis < axes; ++axis)
        for (int v = 0; v < 256; ++v)
            for (int o = 0; o < others; ++o) {
                for (unsigned c = 0, rest = unsigned(o); c < axes; ++c) {
                    if (c == axis) {
                        x[c] = uint8_t(v);
                    } else {
                        x[c] = uint8_t(step * int(rest % n));
                        rest /= n;
                    }
                }
                if (!check(x)) return;
            }
}

void CheckThreeInputs(unsigned points) {
    const CFunc_8Tab3Mft p8 = MakePipeline<CFunc_8Tab3Mft>(points, 4, 0);
    CFunc_16Tab3Mft p16(p8);
    p16.InitMftTrn();
    WidthCheck check(p8, p16);
#if defined(__SANITIZE_ADDRESS__)
    // Under the sanitizers: 52 lattice values per other axis, about 2 million inputs.
    ForEachInput(3, 5, [&](const uint8_t* x) { return check.Check(x); });
#else
    // Every 8-bit input.
    uint8_t x[3];
    for (int r = 0; r < 256; ++r)
        for (int g = 0; g < 256; ++g)
            for (int b = 0; b < 256; ++b) {
                x[0] = uint8_t(r), x[1] = uint8_t(g), x[2] = uint8_t(b);
                if (!check.Check(x)) break;
            }
#endif
    check.Report(points == 9 ? "3 inputs, 9 points" : "3 inputs, 17 points");
}

TEST(TabMftWidth, WidenedThreeInputPipelineAgreesWithin12BitReadingAt9Points) {
    CheckThreeInputs(9);
}

TEST(TabMftWidth, WidenedThreeInputPipelineAgreesWithin12BitReadingAt17Points) {
    CheckThreeInputs(17);
}

void CheckFourInputs(unsigned points) {
    const CFunc_8Tab4Mft p8 = MakePipeline<CFunc_8Tab4Mft>(points, 3, 1);
    CFunc_16Tab4Mft p16(p8);
    p16.InitMftTrn();
    WidthCheck check(p8, p16);
    // Step 31, below the width of a 9-point cell: 9 lattice values per other axis, some
    // 750000 inputs. At 9 points every cell of the other axes is met; at 17 points every other
    // cell, the full lattice of step 15 there (6 million inputs) being too slow for what it
    // adds under the sanitizers.
    const int step = 31;
    ForEachInput(4, step, [&](const uint8_t* x) { return check.Check(x); });
    check.Report(points == 9 ? "4 inputs, 9 points" : "4 inputs, 17 points");
}

TEST(TabMftWidth, WidenedFourInputPipelineAgreesWithin12BitReadingAt9Points) {
    CheckFourInputs(9);
}

TEST(TabMftWidth, WidenedFourInputPipelineAgreesWithin12BitReadingAt17Points) {
    CheckFourInputs(17);
}

} // namespace
