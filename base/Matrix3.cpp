#include "base/Matrix3.h"

#include <algorithm>
#include <cmath>

double CVect3::Length() const {
    return std::sqrt(Dot(*this));
}

CMatrix3::CMatrix3() : m_row{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}} {}

CMatrix3::CMatrix3(double m00, double m01, double m02, double m10, double m11, double m12,
                   double m20, double m21, double m22)
    : m_row{{m00, m01, m02}, {m10, m11, m12}, {m20, m21, m22}} {}

bool CMatrix3::IsIdentity() const {
    return *this == CMatrix3();
}

double CMatrix3::Determinant() const {
    return m_row[0].Dot(m_row[1].Cross(m_row[2]));
}

CMatrix3 CMatrix3::Transposed() const {
    CMatrix3 t;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) t[i][j] = m_row[j][i];
    return t;
}

bool CMatrix3::Invers(CMatrix3& result) const {
    // Columns of the inverse are the cross products of the rows, divided by the determinant.
    const CVect3 c0 = m_row[1].Cross(m_row[2]);
    const CVect3 c1 = m_row[2].Cross(m_row[0]);
    const CVect3 c2 = m_row[0].Cross(m_row[1]);
    const double det = m_row[0].Dot(c0);
    // Singular when the determinant is lost in rounding against the size of the elements: a
    // fixed threshold would refuse small well-conditioned matrices and pass large singular ones.
    double scale = 0.0;
    for (const CVect3& r : m_row)
        for (int j = 0; j < 3; ++j) scale = std::max(scale, std::fabs(r[j]));
    if (!std::isfinite(det) || std::fabs(det) <= 1e-12 * scale * scale * scale) return false;
    const double inv = 1.0 / det;
    for (int i = 0; i < 3; ++i) {
        result[i][0] = c0[i] * inv;
        result[i][1] = c1[i] * inv;
        result[i][2] = c2[i] * inv;
    }
    return true;
}

bool CMatrix3::Invers() {
    return Invers(*this);
}

CMatrix3& CMatrix3::operator*=(double f) {
    for (CVect3& r : m_row) r *= f;
    return *this;
}

CMatrix3 operator*(const CMatrix3& a, const CMatrix3& b) {
    CMatrix3 r = CMatrix3::Zero();
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) r[i][j] += a[i][k] * b[k][j];
    return r;
}
