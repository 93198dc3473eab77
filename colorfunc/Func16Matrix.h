// A 3x3 matrix with offsets in integer fixed point, for the matrix stages inside pipelines,
// where floating point would cost too much per pixel.
#pragma once

#include <cstdint>

#include "base/Matrix3.h"
#include "colorfunc/Func.h"

class CFunc_16Matrix : public CFunc_16 {
    DECLARE_DYNAMIC(CFunc_16Matrix)
public:
    // The identity with zero offsets.
    CFunc_16Matrix();
    // Coefficient (r, c) is m[c][r], truncated to 16.16: the vector that operator[] returns is
    // taken as a column, so this applies the transpose of m as CMatrix3 multiplies. Callers
    // rely on exactly this index use. Offsets 0.
    explicit CFunc_16Matrix(const CMatrix3& m);
    CFunc_16Matrix(const CFunc_16Matrix&) = default;
    CFunc_16Matrix& operator=(const CFunc_16Matrix&) = default;

    // Twelve 32-bit 16.16 numbers, the layout of the matrix element of an ICC lookup tag:
    // nine coefficients row after row, then the three offsets.
    void DefineByArrary(const int32_t* values);

    // out_r = (sum_c matrix[r][c] * in_c + offsets[r]) limited to 0..0xFFFFFFFF, >> 16 without
    // rounding. Answers 1. Inv stays the base's and answers 0.
    int Trn(const uint16_t* in, uint16_t* out) const override;

    // Nine 16.16 coefficients, row after row.
    const int32_t* matrix() const { return m_matrix; }
    // Three offsets on the 32.16 scale of the sums.
    const int64_t* offsets() const { return m_offsets; }

private:
    int32_t m_matrix[9];
    int64_t m_offsets[3];
};
