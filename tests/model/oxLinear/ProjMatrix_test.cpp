#include <oxLinear/ProjMatrix.h>

#include <gtest/gtest.h>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;
using linearTest::nearPoint;

namespace
{
ProjMatrix randomProjMatrix(linearTest::Random& random)
{
    double values[16];
    for (double& v : values)
        v = random.scalar(2.0);
    return ProjMatrix(values);
}

/// Independent determinant by cofactor expansion along the first row.
double laplaceDet(const double* m, int n)
{
    if (n == 1)
        return m[0];
    double sum = 0.0, sign = 1.0;
    double minor[16];
    for (int col = 0; col < n; ++col, sign = -sign)
    {
        int k = 0;
        for (int r = 1; r < n; ++r)
        {
            for (int c = 0; c < n; ++c)
            {
                if (c != col)
                    minor[k++] = m[r * n + c];
            }
        }
        sum += sign * m[col] * laplaceDet(minor, n - 1);
    }
    return sum;
}

/// A symmetric perspective projection looking down -Z (near 1, far 10).
ProjMatrix perspective()
{
    ProjMatrix m(0.0);
    const double n = 1.0, f = 10.0;
    m[0][0] = 1.0;
    m[1][1] = 1.0;
    m[2][2] = (n + f) / (n - f);
    m[2][3] = -1.0;
    m[3][2] = 2.0 * n * f / (n - f);
    return m;
}
}  // namespace

TEST(ProjMatrix, inverseOfRandomMatricesGivesIdentityAndSingularIsReported)
{
    linearTest::Random random(41);
    for (int i = 0; i < 20; ++i)
    {
        const ProjMatrix m = randomProjMatrix(random);
        if (std::fabs(m.det()) < 0.1)
            continue;
        ProjMatrix inv;
        ASSERT_TRUE(m.inverse(inv));
        EXPECT_TRUE(equivalent(m * inv, ProjMatrix(), 1e-12));
        EXPECT_TRUE(equivalent(inv * m, ProjMatrix(), 1e-12));
        ProjMatrix inPlace = m;
        EXPECT_TRUE(inPlace.invert());
        EXPECT_EQ(inPlace, inv);
    }
    ProjMatrix singular = perspective();
    singular[3][3] = 0.0;
    singular[2][3] = 0.0;  // no row or column carries w any more
    ProjMatrix out(5.0);
    EXPECT_FALSE(singular.inverse(out));
    EXPECT_EQ(out, ProjMatrix());
    ProjMatrix unchanged = singular;
    EXPECT_FALSE(unchanged.invert());
    EXPECT_EQ(unchanged, singular);
}

TEST(ProjMatrix, determinantMatchesCofactorExpansion)
{
    linearTest::Random random(43);
    for (int i = 0; i < 20; ++i)
    {
        const ProjMatrix m = randomProjMatrix(random);
        EXPECT_NEAR(m.det(), laplaceDet(m.data(), 4), 1e-12);
    }
    EXPECT_EQ(ProjMatrix(2.0).det(), 16.0);
}

TEST(ProjMatrix, homogeneousDivideWithZeroWLeftUndivided)
{
    const ProjMatrix m = perspective();
    // A point on the near plane maps to depth -1, one on the far plane to +1.
    EXPECT_TRUE(nearPoint(Point(0.5, -0.5, -1.0) * m, Point(0.5, -0.5, -1.0), 1e-15));
    EXPECT_TRUE(nearPoint(Point(5.0, 2.0, -10.0) * m, Point(0.5, 0.2, 1.0), 1e-15));
    double h[4];
    m.transformHomogeneous(Point(5.0, 2.0, -10.0), h);
    EXPECT_EQ(h[3], 10.0);
    EXPECT_EQ(h[0], 5.0);

    // z = 0 is the eye plane: w = 0, no division.
    Point out;
    EXPECT_FALSE(m.transform(Point(3.0, 4.0, 0.0), out));
    EXPECT_EQ(out, Point(3.0, 4.0, m[3][2]));
    EXPECT_EQ(Point(3.0, 4.0, 0.0) * m, out);
    EXPECT_TRUE(m.transform(Point(3.0, 4.0, -2.0), out));

    // Unprojecting through the inverse returns the original point.
    ProjMatrix inv;
    ASSERT_TRUE(m.inverse(inv));
    const Point p(0.3, -0.7, -4.0);
    EXPECT_TRUE(nearPoint((p * m) * inv, p, 1e-14));
}

TEST(ProjMatrix, embedsAffineMatricesAndComposesLeftFirst)
{
    linearTest::Random random(47);
    const AffineMatrix a = random.matrix(), b = random.matrix();
    const ProjMatrix pa(a), pb(b);
    EXPECT_EQ(pa[0][3], 0.0);
    EXPECT_EQ(pa[3][3], 1.0);
    const Point p = random.point(3.0);
    EXPECT_TRUE(nearPoint(p * pa, p * a, 1e-13));
    EXPECT_TRUE(equivalent(pa * pb, ProjMatrix(a * b), 1e-12));
    const ProjMatrix persp = perspective();
    EXPECT_TRUE(nearPoint(p * (pa * persp), (p * pa) * persp, 1e-12));
    EXPECT_EQ(persp.transposed()[3][2], -1.0);
    EXPECT_EQ(persp.transposed().transposed(), persp);
    EXPECT_EQ(ProjMatrix()[-1][9], 0.0);  // clamped to [0][3]
    EXPECT_EQ(ProjMatrix()[9][9], 1.0);   // clamped to [3][3]
}

TEST(ProjMatrixFlt, singlePrecisionFollowsDoubleForm)
{
    const ProjMatrix m = perspective();
    const ProjMatrixFlt f(m);
    EXPECT_EQ(ProjMatrix(f)[2][3], -1.0);
    const PointFlt p(5.0f, 2.0f, -10.0f);
    EXPECT_TRUE(equivalent(p * f, PointFlt(Point(p) * m), 1e-6));
    float h[4];
    f.transformHomogeneous(p, h);
    EXPECT_EQ(h[3], 10.0f);
    PointFlt out;
    EXPECT_FALSE(f.transform(PointFlt(1, 1, 0), out));
    ProjMatrixFlt inv;
    ASSERT_TRUE(f.inverse(inv));
    EXPECT_TRUE(equivalent(f * inv, ProjMatrixFlt(), 1e-5));
    EXPECT_FALSE(ProjMatrixFlt(0.0f).inverse(inv));
    EXPECT_EQ(inv, ProjMatrixFlt());
}
