// Four-input grids (CMYK in), evaluated by simplex interpolation: the four-dimensional cell is
// cut into the 24 simplexes that share its corners (0,0,0,0) and (1,1,1,1), and the one that
// holds the input is found by sorting the four fractions. All four axes are handled alike.
// As in the three-input grid, the 8-bit grid computes the differences once when it is prepared;
// the 16-bit grid, never prepared, takes them from the grid in Trn.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "gridtable/Mft.h"

// Common body of CMft4_8 and CMft4_16; Base is CMft_8 or CMft_16.
//
// Difference tables: a neighbour direction is a vector (a, b, c, d) of 0 and 1 for inputs 0
// to 3, its code 8a + 4b + 2c + d (1 to 15); deltaTabs[code - 1] holds, indexed like the
// grid, the neighbour's value minus the node's, 0 where the neighbour lies outside the grid.
// Table 14 is thus the step along the main diagonal.
template <class Base> class TMft4 : public Base {
public:
    using T = typename Base::Sample;
    static constexpr unsigned deltaCount = 15;

    TMft4() = default;
    TMft4(unsigned clutPoints, unsigned outputChan) : Base(4, clutPoints, outputChan) { Init(); }
    TMft4(const TMft4&) = default;
    TMft4& operator=(const TMft4&) = default;

    void Serialize(CArchive& ar) override;

protected:
    using Base::deltaValid;
    using Base::dimPower;
    using Base::tabEntries;
    using Base::table;

    // The simplex of one input: inputs by ascending fraction, the four weights and the
    // numbers of the four difference tables E0 (main diagonal) to E3 (largest fraction only).
    struct Simplex {
        unsigned order[4];
        uint32_t w[4];
        unsigned tableNo[4];
    };

    static Simplex ChooseSimplex(const uint32_t* f) {
        // Stable sort by a network of five compare-exchanges on keys fraction * 4 + input: the
        // keys are distinct, and equal fractions order by input, lower first. min and max
        // compile without branches: no mispredictions when the order changes from pixel to pixel.
        uint32_t k[4] = {f[0] << 2 | 0, f[1] << 2 | 1, f[2] << 2 | 2, f[3] << 2 | 3};
        auto exchange = [&k](int a, int b) {
            const uint32_t lo = std::min(k[a], k[b]), hi = std::max(k[a], k[b]);
            k[a] = lo;
            k[b] = hi;
        };
        exchange(0, 1);
        exchange(2, 3);
        exchange(0, 2);
        exchange(1, 3);
        exchange(1, 2);
        Simplex s{{k[0] & 3, k[1] & 3, k[2] & 3, k[3] & 3}, {}, {}};
        const unsigned* o = s.order;
        s.w[0] = k[0] >> 2;
        s.w[1] = (k[1] >> 2) - (k[0] >> 2);
        s.w[2] = (k[2] >> 2) - (k[1] >> 2);
        s.w[3] = (k[3] >> 2) - (k[2] >> 2);
        // bit(k) = 8 >> k is the code bit of input k; each step drops the axis of the next
        // smallest fraction from the direction set.
        const unsigned code1 = 15 - (8u >> o[0]);
        const unsigned code2 = code1 - (8u >> o[1]);
        const unsigned code3 = code2 - (8u >> o[2]);
        s.tableNo[0] = 14;
        s.tableNo[1] = code1 - 1;
        s.tableNo[2] = code2 - 1;
        s.tableNo[3] = code3 - 1;
        return s;
    }

    // Recursion over the direction vectors, the last input changing fastest; answers the next
    // table number.
    unsigned LoopGenDelta(unsigned level, unsigned* vector, unsigned tableNo);
    // Fills one difference table for the direction `vector`.
    void GenOneDelta(int32_t* delta, const unsigned* vector);
    // Recursion over the grid axes for one direction.
    void LoopGenOneDelta(unsigned level, unsigned* position, const unsigned* vector, int32_t* delta,
                         const T* grid, unsigned offset);
    // Allocates the tables on first need and refills all of them; the part of GenDelta common
    // to both widths. Unlike the three-input grid there is no early return: every call
    // regenerates, reusing the memory.
    void GenDeltaTables();

    std::array<std::vector<int32_t>, deltaCount> deltaTabs;
    // Sample distance from a node to its neighbour in the direction of each difference table.
    std::array<uint32_t, deltaCount> stepOffsets{};

private:
    // Drops the difference tables, whose size follows the grid.
    void Init();
};

class CMft4_8 : public TMft4<CMft_8> {
    DECLARE_DYNCREATE(CMft4_8)
public:
    CMft4_8() = default;
    CMft4_8(unsigned clutPoints, unsigned outputChan) : TMft4(clutPoints, outputChan) {}

    int Trn(const uint8_t* in, uint8_t* out) const override;

protected:
    void GenDelta() override;

    // Split of every input value into node index and fraction, and the sample offset of each
    // node index along inputs 0 to 3.
    std::vector<uint8_t> indexTab;
    std::vector<uint8_t> fracTab;
    std::array<std::vector<uint32_t>, 4> offsetTabs;
};

// The 16-bit class splits its input per call and has no lookup tables; never prepared, its Trn
// takes the differences from the grid itself, so it may run without InitTrn.
class CMft4_16 : public TMft4<CMft_16> {
    DECLARE_DYNCREATE(CMft4_16)
public:
    CMft4_16() = default;
    CMft4_16(unsigned clutPoints, unsigned outputChan) : TMft4(clutPoints, outputChan) {}

    int Trn(const uint16_t* in, uint16_t* out) const override;

protected:
    void GenDelta() override;
};

inline CArchive& operator>>(CArchive& ar, CMft4_8*& f) {
    return ReadTypedObject(ar, f);
}
inline CArchive& operator>>(CArchive& ar, CMft4_16*& f) {
    return ReadTypedObject(ar, f);
}

extern template class TMft4<CMft_8>;
extern template class TMft4<CMft_16>;
