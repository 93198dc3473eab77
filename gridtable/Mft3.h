// Three-input grids (Lab, XYZ, RGB in; any number of outputs), evaluated by tetrahedral
// interpolation. For 8-bit grids the subtractions of the interpolation are done once, when the
// grid is prepared: seven tables of signed differences sit beside the grid, all indexed like it, so
// that Trn needs per output sample one grid read, three difference reads and three products.
#pragma once

#include <cstdint>
#include <vector>

#include "gridtable/Mft.h"

// Common body of CMft3_8 and CMft3_16; Base is CMft_8 or CMft_16. What differs between the
// widths (position of the input, rounding of the result) lives in the two classes below.
template <class Base> class TMft3 : public Base {
public:
    using T = typename Base::Sample;

    TMft3() = default;
    TMft3(unsigned clutPoints, unsigned outputChan) : Base(3, clutPoints, outputChan) { Init(); }
    TMft3(const TMft3&) = default;
    TMft3& operator=(const TMft3&) = default;

    // Difference table deltaABC: at node (i, j, k), channel c, the value of node
    // (i + A, j + B, k + C) minus that of node (i, j, k); 0 where the neighbour lies outside
    // the grid. Empty until the grid is prepared.
    const int32_t* Delta100() const { return delta100.data(); }
    const int32_t* Delta010() const { return delta010.data(); }
    const int32_t* Delta001() const { return delta001.data(); }
    const int32_t* Delta110() const { return delta110.data(); }
    const int32_t* Delta101() const { return delta101.data(); }
    const int32_t* Delta011() const { return delta011.data(); }
    const int32_t* Delta111() const { return delta111.data(); }

    // Sample offset of node (i, j, k).
    unsigned Index(unsigned i, unsigned j, unsigned k) const {
        return ((points * i + j) * points + k) * this->m_outputChan;
    }

    // The value of the nearest node, without interpolation and without preparation. Its own
    // rounding rule divides by 2^bits, not by the full scale. Answers 1.
    int GridTrn(const T* in, T* out) const;

    // Tests the cell at node (i, j, k) for folding: 1 if none of its six tetrahedra has a
    // negative volume in the space of the first three outputs. `volume`, if given, receives
    // the cell's volume as a part of the whole output cube. Needs the prepared tables.
    int GetVolume(unsigned i, unsigned j, unsigned k, double* volume) const;

    // Fills output channels 0, 1, 2 with the node coordinates of inputs 0, 1, 2.
    void DefineIdent();

    // Diagnostic hooks.
    void Trace(const char*) {}
    void Trace() const {}

    void Serialize(CArchive& ar) override;

protected:
    using Base::deltaValid;
    using Base::gridMax;
    using Base::table;

    // One tetrahedron of the cell: three difference tables and their weights.
    struct Tetrahedron {
        const int32_t* d1;
        const int32_t* d2;
        const int32_t* d3;
        uint32_t w1, w2, w3;
    };

    // The cell is cut along its main diagonal into the six tetrahedra that share the corners
    // (0,0,0) and (1,1,1); at most three comparisons pick one. On a tie of two fractions the
    // table that tells the two candidate tetrahedra apart gets weight 0: same value either way.
    Tetrahedron ChooseTetrahedron(uint32_t f0, uint32_t f1, uint32_t f2) const {
        if (f0 >= f1) {
            if (f2 < f1)
                return {delta100.data(), delta110.data(), delta111.data(), f0 - f1, f1 - f2, f2};
            if (f2 < f0)
                return {delta100.data(), delta101.data(), delta111.data(), f0 - f2, f2 - f1, f1};
            return {delta001.data(), delta101.data(), delta111.data(), f2 - f0, f0 - f1, f1};
        }
        if (f2 < f0)
            return {delta010.data(), delta110.data(), delta111.data(), f1 - f0, f0 - f2, f2};
        if (f2 < f1)
            return {delta010.data(), delta011.data(), delta111.data(), f1 - f2, f2 - f0, f0};
        return {delta001.data(), delta011.data(), delta111.data(), f2 - f1, f1 - f0, f0};
    }

    // Fills one difference table for the neighbour step (a, b, c).
    void GenOneDelta(int32_t* delta, unsigned a, unsigned b, unsigned c);
    // Reallocates and fills the seven difference tables; the part of GenDelta common to both
    // widths.
    void GenDeltaTables();

    uint32_t points = 0;  // P
    uint32_t points2 = 0; // P * P
    uint32_t points3 = 0; // P * P * P
    std::vector<int32_t> delta100, delta010, delta001, delta110, delta101, delta011, delta111;

private:
    void Init();
};

class CMft3_8 : public TMft3<CMft_8> {
    DECLARE_DYNCREATE(CMft3_8)
public:
    CMft3_8() = default;
    CMft3_8(unsigned clutPoints, unsigned outputChan) : TMft3(clutPoints, outputChan) {}

    int Trn(const uint8_t* in, uint8_t* out) const override;

protected:
    void GenDelta() override;

    // Split of every input value into node index and fraction (0 to 254, in 1/255 of a
    // cell), and the sample offset of each node index along inputs 0, 1, 2: Trn does no
    // division at all.
    std::vector<uint8_t> indexTab;
    std::vector<uint8_t> fracTab;
    std::vector<uint32_t> offset0, offset1, offset2;
};

// The 16-bit class splits its input per call (65536 entries per table would cost more in
// cache than the division by a constant); it has no lookup tables at all. Once prepared, its
// Trn reads the difference tables; never prepared, it takes the same differences from the
// grid itself, so it may run without InitTrn.
class CMft3_16 : public TMft3<CMft_16> {
    DECLARE_DYNCREATE(CMft3_16)
public:
    CMft3_16() = default;
    CMft3_16(unsigned clutPoints, unsigned outputChan) : TMft3(clutPoints, outputChan) {}

    int Trn(const uint16_t* in, uint16_t* out) const override;

protected:
    void GenDelta() override;
};

inline CArchive& operator>>(CArchive& ar, CMft3_8*& f) {
    return ReadTypedObject(ar, f);
}
inline CArchive& operator>>(CArchive& ar, CMft3_16*& f) {
    return ReadTypedObject(ar, f);
}

extern template class TMft3<CMft_8>;
extern template class TMft3<CMft_16>;
