#include "colorfunc/Func16Matrix.h"

#include <cmath>

IMPLEMENT_DYNAMIC(CFunc_16Matrix, CFunc_16)

namespace {

// trunc(v * 65536) as a signed 16.16 number. A coefficient outside the 16.16 range saturates,
// where a plain conversion would be undefined.
int32_t ToFixed16(double v) {
    const double f = std::trunc(v * 65536.0);
    if (std::isnan(f)) return 0;
    if (f >= 2147483647.0) return INT32_MAX;
    if (f <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(f);
}

} // namespace

CFunc_16Matrix::CFunc_16Matrix()
    : CFunc_16(3, 3), m_matrix{65536, 0, 0, 0, 65536, 0, 0, 0, 65536}, m_offsets{0, 0, 0} {}

CFunc_16Matrix::CFunc_16Matrix(const CMatrix3& m) : CFunc_16(3, 3), m_offsets{0, 0, 0} {
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) m_matrix[r * 3 + c] = ToFixed16(m[c][r]);
}

void CFunc_16Matrix::DefineByArrary(const int32_t* values) {
    for (int i = 0; i < 9; ++i) m_matrix[i] = values[i];
    // Offsets move from 16.16 to the 32.16 scale of the sums. Multiplying by 2^16 is the shift
    // without the undefined left shift of a negative number before C++20.
    for (int r = 0; r < 3; ++r) m_offsets[r] = static_cast<int64_t>(values[9 + r]) * 65536;
}

int CFunc_16Matrix::Trn(const uint16_t* in, uint16_t* out) const {
    const int64_t x0 = in[0], x1 = in[1], x2 = in[2];
    for (int r = 0; r < 3; ++r) {
        const int32_t* row = m_matrix + r * 3;
        // At most 3 * 2^31 * 2^16 + 2^47 in magnitude: no overflow in 64 bits.
        int64_t sum = row[0] * x0 + row[1] * x1 + row[2] * x2 + m_offsets[r];
        if (sum < 0) sum = 0;
        if (sum > 0xFFFFFFFFll) sum = 0xFFFFFFFFll;
        out[r] = static_cast<uint16_t>(sum >> 16);
    }
    return 1;
}
