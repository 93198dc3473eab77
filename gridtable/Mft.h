// Grid tables: an n-dimensional regular grid of sample vectors with the same number of points
// along every input axis. CMft_8 and CMft_16 own the grid and its index arithmetic; how a
// point between the nodes is evaluated is left to the three- and four-input children.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/Archive.h"
#include "colorfunc/Func.h"
#include "gridtable/GridMemory.h"

// Common body of CMft_8 and CMft_16. T is the sample type; S (kFullScale) is 255 or 65535.
//
// Grid layout: node (i0, i1, ..., in-1) has the linear number ((i0 * P + i1) * P + i2) ...,
// the first input being the slowest index; the outputChan samples of a node are adjacent.
// This is the order of an ICC CLUT, so a profile's table is copied in as it stands.
template <class T> class TMft : public FuncOf_t<T> {
    using Func = FuncOf_t<T>;
    // Inputs of a node vector that DefineByFuncOnThreads keeps on the stack; more take the
    // single-threaded way.
    static constexpr unsigned kMaxGridInputs = 8;

public:
    static constexpr uint32_t kFullScale = Func::kFullScale;

    // 3-to-3 without a grid: the form that Serialize fills.
    TMft() : Func(3, 3) {}
    // Allocates the grid, leaving its contents undefined until Define, DefineByFunc or
    // DefineIdent. Note the order: the output count comes last.
    TMft(unsigned inputChan, unsigned clutPoints, unsigned outputChan);
    TMft(const TMft&) = default;
    TMft& operator=(const TMft&) = default;

    unsigned TabCount() const { return tabCount; }
    unsigned TabEntries() const { return tabEntries; }
    unsigned clutPoints() const { return m_clutPoints; }
    // The grid, tabEntries samples in the layout above.
    const T* Table() const { return table.data(); }

    // Copies tabEntries samples into the grid.
    void Define(const T* data);
    // Copies n samples into the grid from sample offset `at` on, as a Define of the whole grid
    // with only those samples changed would. The caller keeps at + n within tabEntries.
    void DefineSamples(unsigned at, const T* data, unsigned n) {
        std::copy(data, data + n, table.begin() + at);
        deltaValid = 0;
    }
    // Fills the grid with tabEntries samples of the other width, converted as a pipeline of
    // the other width is (x * 257 up, the high byte down), without a buffer between.
    template <class S> void DefineConverted(const S* from) {
        for (size_t i = 0; i < table.size(); ++i) {
            if constexpr (sizeof(T) > sizeof(S))
                table[i] = static_cast<T>(from[i] * 257u);
            else
                table[i] = static_cast<T>(from[i] >> 8);
        }
        deltaValid = 0;
    }
    // Fills the grid by evaluating f at every node. f may read this very table: the new grid
    // is built aside and copied over at the end. f's result codes are ignored.
    void DefineByFunc(const Func& f);
    // The same grid as DefineByFunc, the nodes split into `threads` consecutive runs that are
    // evaluated at once, the calling thread taking the first. Each node is evaluated alone, so
    // the grid does not depend on the count; f's Trn must be safe to call from several threads,
    // and unlike DefineByFunc f must not read this table: the grid is written in place. An
    // exception thrown by f on any thread reaches the caller, the grid then undefined.
    void DefineByFuncOnThreads(const Func& f, unsigned threads);
    // The grid of rest(head(x)), as the call above makes it, where head has the grid's input
    // count as inputs and outputs and maps every channel from its own input alone (see
    // MapsEachChannelAlone): head is evaluated once per node value of the axes, on the calling
    // thread, and only rest once per node. Each node gets the samples the composition gives it.
    void DefineByFuncOnThreads(const Func& head, const Func& rest, unsigned threads);
    // Passes every node vector through f, if f has our output count (the only test made).
    void AppendFunc(const Func& f);

    // The input value of linear node number `node`.
    void GenPoint(unsigned node, T* point) const;
    // The input value of the node with the axis indices `index`.
    void GenGridPoint(const unsigned* index, T* point) const;
    // Splits a node number into three axis indices, whatever inputChan is.
    void GetIndex(unsigned node, unsigned* index) const;
    // Sample offset (not node number) of the node nearest to `in`, rounding half up.
    unsigned QuantizeToGridPoint(const T* in) const;

    // Prepares the child's precomputed tables: call after the last change of the grid and
    // before the first Trn.
    void InitTrn() { GenDelta(); }

    void Serialize(CArchive& ar) override;

protected:
    // Slot behind Inv: builds the child's precomputed tables. Nothing to do here.
    virtual void GenDelta() {}

    // Node coordinate along one axis: the exact position rounded to nearest, ties as gridHalf
    // decides.
    T NodeValue(uint32_t i) const { return static_cast<T>((i * kFullScale + gridHalf) / gridMax); }

    uint32_t m_clutPoints = 0;      // P, grid points per input axis
    uint32_t gridMax = 0;           // P - 1
    uint32_t gridHalf = 0;          // (P - 1) >> 1, the rounding term of all node arithmetic
    uint32_t tabCount = 0;          // P ^ inputChan nodes
    uint32_t tabEntries = 0;        // tabCount * outputChan samples
    std::vector<uint32_t> dimPower; // P ^ 0 ... P ^ inputChan
    GridVector<T> table;            // kept for reuse when freed: see GridMemory
    int deltaValid = 0;             // 1 while the child's precomputed tables agree with table

private:
    // Both forms of DefineByFuncOnThreads; head may be null.
    void SampleOnThreads(const Func* head, const Func& f, unsigned threads);

    // Derives the counts from clutPoints; allocates the grid only if tabEntries is still 0,
    // so that it keeps a table that was just loaded.
    void Init();
};

class CMft_8 : public TMft<uint8_t> {
    DECLARE_DYNCREATE(CMft_8)
public:
    CMft_8() = default;
    CMft_8(unsigned inputChan, unsigned clutPoints, unsigned outputChan)
        : TMft(inputChan, clutPoints, outputChan) {}

protected:
    // Split of every 8-bit input value into node index and fraction (in 1/255 of a cell),
    // shared by the three- and four-input grids.
    void BuildInputSplit(std::vector<uint8_t>& indexTab, std::vector<uint8_t>& fracTab) const;
};

class CMft_16 : public TMft<uint16_t> {
    DECLARE_DYNCREATE(CMft_16)
public:
    CMft_16() = default;
    CMft_16(unsigned inputChan, unsigned clutPoints, unsigned outputChan)
        : TMft(inputChan, clutPoints, outputChan) {}
};

inline CArchive& operator>>(CArchive& ar, CMft_8*& f) {
    return ReadTypedObject(ar, f);
}
inline CArchive& operator>>(CArchive& ar, CMft_16*& f) {
    return ReadTypedObject(ar, f);
}

extern template class TMft<uint8_t>;
extern template class TMft<uint16_t>;
