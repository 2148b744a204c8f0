// Projective matrices: inverses of random matrices (which also pins the
// determinant the adjugate is divided by), the perspective divide with its
// w == 0 case, the affine embedding and the float form.

#include <oxLinear/ProjMatrix.h>

#include <gtest/gtest.h>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;
using linearTest::near;

namespace
{
ProjMatrix randomProjMatrix(linearTest::Random& random)
{
    double values[16];
    for (double& v : values)
        v = random.scalar(2.0);
    return ProjMatrix(values);
}

/// A symmetric perspective projection looking down -Z (near 1, far 10).
ProjMatrix perspective()
{
    const double n = 1.0, f = 10.0;
    const double values[16] = {
        1, 0, 0, 0, 0, 1, 0, 0, 0, 0, (n + f) / (n - f), -1, 0, 0, 2 * n * f / (n - f), 0};
    return ProjMatrix(values);
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
        ProjMatrix inv, inPlace = m;
        ASSERT_TRUE(m.inverse(inv));
        EXPECT_TRUE(near(m * inv, ProjMatrix(), 1e-12));
        EXPECT_TRUE(near(inv * m, ProjMatrix(), 1e-12));
        EXPECT_TRUE(inPlace.invert());
        EXPECT_EQ(inPlace, inv);
    }
    EXPECT_EQ(ProjMatrix(2.0).det(), 16.0);
    ProjMatrix singular = perspective();
    singular[3][3] = 0.0;
    singular[2][3] = 0.0;  // no row or column carries w any more
    ProjMatrix out(5.0), unchanged = singular;
    EXPECT_FALSE(singular.inverse(out));
    EXPECT_EQ(out, ProjMatrix());
    EXPECT_FALSE(unchanged.invert());
    EXPECT_EQ(unchanged, singular);
}

TEST(ProjMatrix, homogeneousDivideWithZeroWLeftUndivided)
{
    const ProjMatrix m = perspective();
    // A point on the near plane maps to depth -1, one on the far plane to +1.
    EXPECT_TRUE(near(Point(0.5, -0.5, -1.0) * m, Point(0.5, -0.5, -1.0), 1e-15));
    EXPECT_TRUE(near(Point(5.0, 2.0, -10.0) * m, Point(0.5, 0.2, 1.0), 1e-15));
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

    ProjMatrix inv;
    ASSERT_TRUE(m.inverse(inv));
    const Point p(0.3, -0.7, -4.0);
    EXPECT_TRUE(near((p * m) * inv, p, 1e-14));
}

TEST(ProjMatrix, embedsAffineMatricesAndComposesLeftFirst)
{
    linearTest::Random random(47);
    const AffineMatrix a = random.matrix(), b = random.matrix();
    const ProjMatrix pa(a), pb(b);
    EXPECT_EQ(pa[0][3], 0.0);
    EXPECT_EQ(pa[3][3], 1.0);
    const Point p = random.point(3.0);
    EXPECT_TRUE(near(p * pa, p * a, 1e-13));
    EXPECT_TRUE(near(pa * pb, ProjMatrix(a * b), 1e-12));
    const ProjMatrix persp = perspective();
    EXPECT_TRUE(near(p * (pa * persp), (p * pa) * persp, 1e-12));
    EXPECT_EQ(persp.transposed()[3][2], -1.0);
    EXPECT_EQ(persp.transposed().transposed(), persp);
    EXPECT_NE(persp.transposed(), persp);
    EXPECT_EQ(ProjMatrix()[-1][9], 0.0);  // clamped to [0][3]
    EXPECT_EQ(ProjMatrix()[9][9], 1.0);   // clamped to [3][3]
}

TEST(ProjMatrixFlt, singlePrecisionFollowsDoubleForm)
{
    const ProjMatrix m = perspective();
    const ProjMatrixFlt f(m);
    EXPECT_EQ(ProjMatrix(f)[2][3], -1.0);
    const PointFlt p(5.0f, 2.0f, -10.0f);
    EXPECT_TRUE(near(p * f, PointFlt(Point(p) * m), 1e-6));
    float h[4];
    f.transformHomogeneous(p, h);
    EXPECT_EQ(h[3], 10.0f);
    PointFlt out;
    EXPECT_FALSE(f.transform(PointFlt(1, 1, 0), out));
    ProjMatrixFlt inv;
    ASSERT_TRUE(f.inverse(inv));
    EXPECT_TRUE(near(f * inv, ProjMatrixFlt(), 1e-5));
    EXPECT_FALSE(ProjMatrixFlt(0.0f).inverse(inv));
    EXPECT_EQ(inv, ProjMatrixFlt());
}
