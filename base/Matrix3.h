// Three-vectors and 3x3 matrices of doubles. A matrix is stored as three rows: m[i] is row i and
// m[i][j] the element in row i, column j; matrix times vector takes the dot product of each row.
#pragma once

class CVect3 {
public:
    CVect3() : v{0.0, 0.0, 0.0} {}
    CVect3(double x, double y, double z) : v{x, y, z} {}

    double& operator[](int i) { return v[i]; }
    const double& operator[](int i) const { return v[i]; }

    double Dot(const CVect3& o) const { return v[0] * o.v[0] + v[1] * o.v[1] + v[2] * o.v[2]; }
    CVect3 Cross(const CVect3& o) const {
        return {v[1] * o.v[2] - v[2] * o.v[1], v[2] * o.v[0] - v[0] * o.v[2],
                v[0] * o.v[1] - v[1] * o.v[0]};
    }
    double Length() const;

    CVect3& operator*=(double f) {
        for (double& x : v) x *= f;
        return *this;
    }
    CVect3& operator+=(const CVect3& o) {
        for (int i = 0; i < 3; ++i) v[i] += o.v[i];
        return *this;
    }
    CVect3& operator-=(const CVect3& o) {
        for (int i = 0; i < 3; ++i) v[i] -= o.v[i];
        return *this;
    }
    friend CVect3 operator*(CVect3 a, double f) { return a *= f; }
    friend CVect3 operator*(double f, CVect3 a) { return a *= f; }
    friend CVect3 operator+(CVect3 a, const CVect3& b) { return a += b; }
    friend CVect3 operator-(CVect3 a, const CVect3& b) { return a -= b; }
    bool operator==(const CVect3& o) const = default;

private:
    double v[3];
};

inline double Dot(const CVect3& a, const CVect3& b) {
    return a.Dot(b);
}
inline CVect3 Cross(const CVect3& a, const CVect3& b) {
    return a.Cross(b);
}

class CMatrix3 {
public:
    // The identity, so that a matrix that was never set changes nothing.
    CMatrix3();
    // Elements in row order.
    CMatrix3(double m00, double m01, double m02, double m10, double m11, double m12, double m20,
             double m21, double m22);
    CMatrix3(const CVect3& row0, const CVect3& row1, const CVect3& row2)
        : m_row{row0, row1, row2} {}

    static CMatrix3 Identity() { return CMatrix3(); }
    static CMatrix3 Zero() { return CMatrix3(0, 0, 0, 0, 0, 0, 0, 0, 0); }

    CVect3& operator[](int i) { return m_row[i]; }
    const CVect3& operator[](int i) const { return m_row[i]; }

    // Exactly the identity: a difference in any bit still changes colours in fixed-point stages.
    bool IsIdentity() const;
    double Determinant() const;
    CMatrix3 Transposed() const;

    // Replaces the matrix by its inverse. A singular matrix answers false and stays as it was.
    bool Invers();
    // The inverse into result; false, with result untouched, for a singular matrix.
    bool Invers(CMatrix3& result) const;

    CMatrix3& operator*=(double f);
    CMatrix3& operator*=(const CMatrix3& o) { return *this = *this * o; }
    friend CMatrix3 operator*(const CMatrix3& a, const CMatrix3& b);
    friend CVect3 operator*(const CMatrix3& m, const CVect3& v) {
        return {m[0].Dot(v), m[1].Dot(v), m[2].Dot(v)};
    }
    friend CMatrix3 operator*(CMatrix3 m, double f) { return m *= f; }
    bool operator==(const CMatrix3& o) const = default;

private:
    CVect3 m_row[3];
};

// The name under which the matrix operations are also known.
using CMatrix = CMatrix3;
