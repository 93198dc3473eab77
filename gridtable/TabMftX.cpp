#include "gridtable/TabMftX.h"

#include <algorithm>
#include <cstring>
#include <vector>

IMPLEMENT_DYNAMIC(CFunc_16Tab1Mft, CFunc_16TabBaseMft)
IMPLEMENT_DYNAMIC(CFunc_16Tab3LUTMft, CFunc_16Tab3Mft)
IMPLEMENT_DYNAMIC(CFunc_16Tab3MatrixMft, CFunc_16Tab3Mft)
IMPLEMENT_DYNAMIC(CFunc_16Tab3MftX, CFunc_16TabBaseMft)
IMPLEMENT_DYNAMIC(CFunc_16Tab4MftX, CFunc_16TabBaseMft)

namespace {

constexpr unsigned kMaxOutputs = CFunc_16TabBaseMft::kMaxOutputs;

// Entries of the middle curve that CFunc_16Tab1Mft::DefineByFunc samples.
constexpr unsigned kTab1Entries = 4096;

std::unique_ptr<CFunc_16Matrix> CopyMatrix(const std::unique_ptr<CFunc_16Matrix>& m) {
    return m ? std::make_unique<CFunc_16Matrix>(*m) : nullptr;
}

// The grid of an ICC grid record into `mft`, by the record's precision byte. The record sits
// inside a tag block that need not be aligned for 16-bit reads, hence the byte copy.
template <class Grid> void DefineClutOf(Grid& mft, const icCLutStruct* clut) {
    const size_t n = mft.TabEntries();
    std::vector<uint16_t> samples(n);
    if (clut->prec == 2) {
        std::memcpy(samples.data(), clut->data, n * sizeof(uint16_t));
    } else if (clut->prec == 1) {
        for (size_t i = 0; i < n; ++i) samples[i] = static_cast<uint16_t>(clut->data[i] * 257u);
    } else {
        return; // unknown precision: the grid stays as it was
    }
    mft.Define(samples.data());
}

void DefineMatrixOf(CFunc_16Matrix& matrix, const void* values) {
    int32_t v[12];
    std::memcpy(v, values, sizeof v);
    matrix.DefineByArrary(v);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab1Mft

CFunc_16Tab1Mft::CFunc_16Tab1Mft(unsigned outputChan)
    : CFunc_16TabBaseMft(1, outputChan), middleTab(outputChan, nullptr, 0) {}

void CFunc_16Tab1Mft::DefineByFunc(const CFunc_16& f) {
    const unsigned outputChan = this->outputChan();
    std::vector<uint16_t> table(size_t(outputChan) * kTab1Entries);
    std::vector<uint16_t> result(std::max(outputChan, f.outputChan()));
    for (unsigned i = 0; i < kTab1Entries; ++i) {
        const uint16_t x = static_cast<uint16_t>(i * 16);
        f.Trn(&x, result.data());
        for (unsigned c = 0; c < outputChan; ++c) table[c * kTab1Entries + i] = result[c];
    }
    middleTab.DefineTab(table.data(), kTab1Entries);
}

int CFunc_16Tab1Mft::Trn(const uint16_t* in, uint16_t* out) const {
    uint16_t a = in[0];
    if (!m_skipInputTab) inputTab.Trn(in, &a);
    uint16_t v[kMaxOutputs];
    uint16_t b[kMaxOutputs];
    std::fill_n(v, m_outputChan, a);
    const int r = middleTab.Trn(v, b);
    if (m_skipOutputTab)
        std::copy(b, b + m_outputChan, out);
    else
        outputTab.Trn(b, out);
    return r;
}

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab3LUTMft

CFunc_16Tab3LUTMft::CFunc_16Tab3LUTMft(const CFunc_16Tab3LUTMft& o)
    : CFunc_16Tab3Mft(o), m_matrixFunc(CopyMatrix(o.m_matrixFunc)) {}

CFunc_16Tab3LUTMft& CFunc_16Tab3LUTMft::operator=(const CFunc_16Tab3LUTMft& o) {
    if (this != &o) {
        CFunc_16Tab3Mft::operator=(o);
        m_matrixFunc = CopyMatrix(o.m_matrixFunc);
    }
    return *this;
}

void CFunc_16Tab3LUTMft::DefineMatrix(const CMatrix3& m) {
    m_matrixFunc.reset();
    if (!m.IsIdentity()) m_matrixFunc = std::make_unique<CFunc_16Matrix>(m);
}

int CFunc_16Tab3LUTMft::Trn(const uint16_t* in, uint16_t* out) const {
    uint16_t a[3];
    if (m_matrixFunc)
        m_matrixFunc->Trn(in, a);
    else
        std::copy(in, in + 3, a);
    return TrnThrough(mft, a, out); // input curves, grid, output curves; answers 1
}

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab3MatrixMft

CFunc_16Tab3MatrixMft::CFunc_16Tab3MatrixMft(const CMatrix3& m, unsigned outputChan,
                                             unsigned clutPoints)
    : CFunc_16Tab3Mft(clutPoints, outputChan), m_matrixFunc(std::make_unique<CFunc_16Matrix>(m)) {}

CFunc_16Tab3MatrixMft::CFunc_16Tab3MatrixMft(const CFunc_16Tab3MatrixMft& o)
    : CFunc_16Tab3Mft(o), m_matrixFunc(CopyMatrix(o.m_matrixFunc)) {}

CFunc_16Tab3MatrixMft& CFunc_16Tab3MatrixMft::operator=(const CFunc_16Tab3MatrixMft& o) {
    if (this != &o) {
        CFunc_16Tab3Mft::operator=(o);
        m_matrixFunc = CopyMatrix(o.m_matrixFunc);
    }
    return *this;
}

int CFunc_16Tab3MatrixMft::Trn(const uint16_t* in, uint16_t* out) const {
    uint16_t a[3], b[3];
    // Zeroed so that the outputs behind a grid-less copy of three samples are defined.
    uint16_t c[kMaxOutputs] = {};
    if (m_skipInputTab)
        std::copy(in, in + 3, a);
    else
        inputTab.Trn(in, a);
    if (m_matrixFunc)
        m_matrixFunc->Trn(a, b);
    else
        std::copy(a, a + 3, b);
    if (mft.clutPoints() != 0)
        mft.Trn(b, c);
    else
        std::copy(b, b + 3, c);
    if (m_skipOutputTab)
        std::copy(c, c + m_outputChan, out);
    else
        outputTab.Trn(c, out);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab3MftX

CFunc_16Tab3MftX::CFunc_16Tab3MftX(unsigned clutPoints, unsigned outputChan, bool matrixFirst)
    : CFunc_16TabBaseMft(3, outputChan), m_matrixFirst(matrixFirst), mft(clutPoints, outputChan),
      middleTab(3, nullptr, 0) {}

void CFunc_16Tab3MftX::DefineClut(const icCLutStruct* clut) {
    DefineClutOf(mft, clut);
}

void CFunc_16Tab3MftX::DefineMatrix(const void* values) {
    DefineMatrixOf(matrixX, values);
}

unsigned CFunc_16Tab3MftX::clutEntries() const {
    const unsigned p = mft.clutPoints();
    return p * p * p;
}

int CFunc_16Tab3MftX::Trn(const uint16_t* in, uint16_t* out) const {
    // Stage vectors, zeroed so that samples a grid-less copy does not reach are defined.
    uint16_t a[kMaxOutputs] = {}, b[kMaxOutputs] = {}, c[kMaxOutputs] = {};
    if (m_skipInputTab)
        std::copy(in, in + 3, a);
    else
        inputTab.Trn(in, a);
    if (m_matrixFirst) {
        matrixX.Trn(a, b);
        middleTab.Trn(b, c);
        if (mft.clutPoints() != 0)
            mft.Trn(c, a);
        else
            std::copy(c, c + 3, a);
    } else {
        if (mft.clutPoints() != 0)
            mft.Trn(a, b);
        else
            std::copy(a, a + 3, b);
        // The middle curves and the matrix have three channels; grid outputs behind them
        // pass unchanged.
        std::copy(b, b + m_outputChan, c);
        middleTab.Trn(b, c);
        std::copy(c, c + m_outputChan, a);
        matrixX.Trn(c, a);
    }
    if (m_skipOutputTab)
        std::copy(a, a + m_outputChan, out);
    else
        outputTab.Trn(a, out);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// CFunc_16Tab4MftX

CFunc_16Tab4MftX::CFunc_16Tab4MftX(unsigned clutPoints, unsigned outputChan)
    : CFunc_16TabBaseMft(4, outputChan), mft(clutPoints, outputChan),
      middleTab(outputChan, nullptr, 0) {}

void CFunc_16Tab4MftX::DefineClut(const icCLutStruct* clut) {
    DefineClutOf(mft, clut);
}

void CFunc_16Tab4MftX::DefineMatrix(const void* values) {
    DefineMatrixOf(matrixX, values);
}

int CFunc_16Tab4MftX::Trn(const uint16_t* in, uint16_t* out) const {
    uint16_t a[kMaxOutputs] = {}, b[kMaxOutputs] = {}, c[kMaxOutputs] = {};
    if (skipInputTabX)
        std::copy(in, in + 4, a);
    else
        inputTab.Trn(in, a);
    if (mft.clutPoints() != 0)
        mft.Trn(a, b);
    else
        std::copy(a, a + 4, b);
    middleTab.Trn(b, c);
    // The matrix has three channels; outputs behind them pass unchanged.
    std::copy(c, c + m_outputChan, a);
    matrixX.Trn(c, a);
    if (m_skipOutputTab)
        std::copy(a, a + m_outputChan, out);
    else
        outputTab.Trn(a, out);
    return 1;
}
