#include <gtest/gtest.h>

#include "base/Matrix3.h"

namespace {
void ExpectNearIdentity(const CMatrix3& m, double tol) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(m[i][j], i == j ? 1.0 : 0.0, tol) << i << j;
}
} // namespace

TEST(Matrix3, VectorOperations) {
    CVect3 x(1, 0, 0), y(0, 1, 0);
    EXPECT_EQ(x.Cross(y), CVect3(0, 0, 1));
    EXPECT_EQ(Cross(y, x), CVect3(0, 0, -1));
    EXPECT_DOUBLE_EQ(CVect3(1, 2, 3).Dot(CVect3(4, -5, 6)), 12.0);
    EXPECT_DOUBLE_EQ(CVect3(3, 4, 0).Length(), 5.0);
    EXPECT_EQ(CVect3(1, 2, 3) * 2.0, CVect3(2, 4, 6));
    EXPECT_EQ(0.5 * CVect3(2, 4, 6), CVect3(1, 2, 3));
    EXPECT_EQ(CVect3(1, 2, 3) + CVect3(1, 1, 1), CVect3(2, 3, 4));
    EXPECT_EQ(CVect3(1, 2, 3) - CVect3(1, 1, 1), CVect3(0, 1, 2));
    CVect3 v;
    v[1] = 7;
    EXPECT_EQ(v, CVect3(0, 7, 0));
}

TEST(Matrix3, DefaultIsIdentityAndRowsAreIndexed) {
    CMatrix3 m;
    EXPECT_TRUE(m.IsIdentity());
    CMatrix3 r(1, 2, 3, 4, 5, 6, 7, 8, 10);
    EXPECT_EQ(r[1], CVect3(4, 5, 6));
    EXPECT_DOUBLE_EQ(r[2][1], 8.0);
    r[0][2] = 9;
    EXPECT_DOUBLE_EQ(r[0][2], 9.0);
    EXPECT_FALSE(r.IsIdentity());
}

TEST(Matrix3, IsIdentityIsExact) {
    CMatrix m;
    m[1][1] = 1.0 + 1e-15;
    EXPECT_FALSE(m.IsIdentity());
    m[1][1] = 1.0;
    m[0][2] = 1e-300;
    EXPECT_FALSE(m.IsIdentity());
}

TEST(Matrix3, MatrixTimesVectorUsesRows) {
    const CMatrix3 m(1, 2, 3, 4, 5, 6, 7, 8, 10);
    EXPECT_EQ(m * CVect3(1, 0, 0), CVect3(1, 4, 7));
    EXPECT_EQ(m * CVect3(0, 0, 1), CVect3(3, 6, 10));
    EXPECT_EQ(m * CVect3(1, 1, 1), CVect3(6, 15, 25));
}

TEST(Matrix3, MatrixProductAndScaling) {
    const CMatrix3 a(1, 2, 0, 0, 1, 0, 0, 0, 2);
    const CMatrix3 b(1, 0, 0, 3, 1, 0, 0, 0, 1);
    EXPECT_EQ(a * b, CMatrix3(7, 2, 0, 3, 1, 0, 0, 0, 2));
    EXPECT_EQ(b * a, CMatrix3(1, 2, 0, 3, 7, 0, 0, 0, 2));
    CMatrix3 c = a;
    c *= b;
    EXPECT_EQ(c, a * b);
    c = a;
    c *= 2.0;
    EXPECT_EQ(c, CMatrix3(2, 4, 0, 0, 2, 0, 0, 0, 4));
    EXPECT_EQ(a.Transposed(), CMatrix3(1, 0, 0, 2, 1, 0, 0, 0, 2));
    EXPECT_DOUBLE_EQ(CMatrix3(1, 2, 3, 4, 5, 6, 7, 8, 10).Determinant(), -3.0);
}

TEST(Matrix3, InversOfARegularMatrix) {
    // Colorants of an RGB profile, one row each.
    const CMatrix3 m(0.4361, 0.2225, 0.0139, 0.3851, 0.7169, 0.0971, 0.1431, 0.0606, 0.7141);
    CMatrix3 inv;
    ASSERT_TRUE(m.Invers(inv));
    ExpectNearIdentity(m * inv, 1e-12);
    ExpectNearIdentity(inv * m, 1e-12);

    CMatrix3 inPlace = m;
    ASSERT_TRUE(inPlace.Invers());
    EXPECT_EQ(inPlace, inv);

    const CMatrix3 known(2, 0, 0, 0, 4, 0, 0, 0, 0.5);
    ASSERT_TRUE(known.Invers(inv));
    EXPECT_EQ(inv, CMatrix3(0.5, 0, 0, 0, 0.25, 0, 0, 0, 2));
}

TEST(Matrix3, InversOfSmallButRegularMatrix) {
    CMatrix3 m;
    m *= 1e-8;
    ASSERT_TRUE(m.Invers());
    ExpectNearIdentity(m * 1e-8, 1e-12);
}

TEST(Matrix3, InversFailsOnSingularMatricesAndLeavesThemAlone) {
    CMatrix3 singular(1, 2, 3, 2, 4, 6, 0, 1, 1); // row 1 is twice row 0
    const CMatrix3 before = singular;
    CMatrix3 result(9, 9, 9, 9, 9, 9, 9, 9, 9);
    const CMatrix3 resultBefore = result;
    EXPECT_FALSE(singular.Invers(result));
    EXPECT_EQ(result, resultBefore);
    EXPECT_FALSE(singular.Invers());
    EXPECT_EQ(singular, before);

    CMatrix3 zero = CMatrix3::Zero();
    EXPECT_FALSE(zero.Invers());
    CMatrix3 bigSingular(1e10, 2e10, 3e10, 4e10, 5e10, 6e10, 7e10, 8e10, 9e10);
    EXPECT_FALSE(bigSingular.Invers());
}
