// Points and vectors: the affine algebra in both precisions, clamped indices,
// normalisation of unusable lengths, and the geometric helpers (orthogonal
// vector, parallel test, projection, Rodrigues rotation) on random input.

#include <oxLinear/Angle.h>
#include <oxLinear/Point.h>
#include <oxLinear/Point2.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;
using linearTest::near;

namespace
{
/// Every operator once, with weights that keep a wrong one from cancelling.
template <class P, class V>
void expectAffineAlgebra()
{
    using S = typename V::value_type;
    const P p(1, 2, 3), q(4, 6, 3);
    const V d = q - p;
    EXPECT_EQ(d, V(3, 4, 0));
    EXPECT_NE(p, P(1, 2, 4));
    EXPECT_TRUE(p + d == q && d + p == q && q - d == p);
    EXPECT_EQ(d * S(2) + S(0.5) * d - d / S(4) - -d, V(9.75, 13, 0));
    EXPECT_EQ(distance(p, q), S(5));
    EXPECT_EQ(distance2(p, q), S(25));
    EXPECT_EQ(dot(V(1, 2, 3), V(4, -5, 6)), S(12));
    EXPECT_EQ(cross(V(1, 2, 3), V(4, 5, 7)), V(-1, 5, -3));
    V v(1, 1, 1);
    ((v += V(1, 2, 3)) -= V(0, 0, 1)) *= S(3);
    v /= S(0.5);
    EXPECT_EQ(v.reverse(), V(-12, -18, -18));
    P r(0, 0, 0);
    (r += V(1, 2, 3)) -= V(1, 0, 0);
    EXPECT_EQ(r, P(0, 2, 3));
    EXPECT_TRUE(r.x() == 0 && r.y() == 2 && r.z() == 3);
}
}  // namespace

TEST(Vector, affineAlgebraAndConversionsMatchHandValues)
{
    expectAffineAlgebra<Point, Vector>();
    expectAffineAlgebra<PointFlt, VectorFlt>();
    const Point p(0.1, -2.5, 1e10);
    EXPECT_EQ(PointFlt(p), PointFlt(0.1f, -2.5f, 1e10f));
    EXPECT_EQ(Point(PointFlt(p))[1], -2.5);
    EXPECT_EQ(Point(Vector(p)), p);
    EXPECT_EQ(VectorFlt(Vector(1.0, 2.0, 3.0)), VectorFlt(1.f, 2.f, 3.f));
    const float packed[3] = {7.f, 8.f, 9.f};
    EXPECT_EQ(PointFlt(packed), PointFlt(7, 8, 9));
}

TEST(Vector, outOfRangeIndexIsClampedToNearestComponent)
{
    Vector v(1.0, 2.0, 3.0);
    EXPECT_EQ(v[-1], 1.0);
    v[7] = 9.0;
    EXPECT_EQ(v, Vector(1.0, 2.0, 9.0));
    const Point2 p(4.0, 5.0);
    EXPECT_EQ(p[2], 5.0);
    EXPECT_EQ(p[-3], 4.0);
}

TEST(Vector, normalizeZeroVectorGivesZeroAndNormalCarriesNoDirection)
{
    // Lengths of zero and of infinity are unusable.
    Vector v(3.0, 0.0, 4.0), zero, huge(DBL_MAX, DBL_MAX, 0.0);
    VectorFlt vf(3.0f, 0.0f, 4.0f), zf(FLT_MAX, FLT_MAX, 1.0f);
    EXPECT_EQ(v.normalize(), 5.0);
    EXPECT_TRUE(near(v, Vector(0.6, 0.0, 0.8), 1e-15));
    EXPECT_EQ(vf.normalize(), 5.0f);
    EXPECT_TRUE(near(vf, VectorFlt(0.6f, 0.0f, 0.8f), 1e-7));
    EXPECT_EQ(zero.normalize(), 0.0);
    EXPECT_EQ(huge.normalize(), 0.0);
    EXPECT_EQ(huge, Vector(0, 0, 0));
    EXPECT_EQ(zf.normalize(), 0.0f);
    EXPECT_EQ(zf, VectorFlt(0, 0, 0));

    EXPECT_EQ(Normal(Vector()).length2(), 0.0);
    EXPECT_EQ(Normal(), Normal::z);
    const Normal n(0.0, -2.0, 0.0);
    EXPECT_EQ(n, Vector(0, -1, 0));
    EXPECT_EQ(-n, Vector(0, 1, 0));
}

TEST(Vector, orthogonalVectorIsUnitAndPerpendicular)
{
    linearTest::Random random(11);
    Vector samples[40] = {Vector(1, 0, 0), Vector(0, 0, -5), Vector(1e-200, 0, 0), Vector(1, 1, 1),
                          Vector(0, 1e-30, 1)};
    for (int i = 5; i < 40; ++i)
        samples[i] = random.vector(100.0);
    for (const Vector& v : samples)
    {
        const Vector o = v.orthogonalVector();
        EXPECT_NEAR(o.length(), 1.0, 1e-15);
        EXPECT_NEAR(dot(o, v.normalized()), 0.0, 1e-15);
    }
    EXPECT_EQ(Vector().orthogonalVector(), Vector(1, 0, 0));
}

TEST(equivalent, componentsWithinToleranceInclusiveAndNaNNever)
{
    EXPECT_TRUE(equivalent(Point(1, 2, 3), Point(1.5, 2, 2.5), 0.5));
    EXPECT_FALSE(equivalent(Point(1, 2, 3), Point(1, 2, 3.5001), 0.5));
    EXPECT_FALSE(equivalent(Vector(0, 0, 0), Vector(0, 0.2, 0), 0.1));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(equivalent(Vector(nan, 0, 0), Vector(nan, 0, 0), 1.0));
    EXPECT_TRUE(equivalent(PointFlt(1, 1, 1), PointFlt(1.0000001f, 1, 1), epsilonTolFlt));
    EXPECT_FALSE(equivalent(VectorFlt(1, 1, 1), VectorFlt(1.00001f, 1, 1), epsilonTolFlt));
}

TEST(isParallel, sineOfAngleAgainstToleranceInBothSenses)
{
    const Vector a(2.0, 0.0, 0.0);
    // Angles just inside and just outside the tolerance, any lengths.
    const double inside = 0.5 * parallelTol, outside = 2.0 * parallelTol;
    EXPECT_TRUE(isParallel(a, Vector(std::cos(inside), std::sin(inside), 0) * 30.0));
    EXPECT_TRUE(isParallel(a, -Vector(std::cos(inside), 0, std::sin(inside))));
    EXPECT_FALSE(isParallel(a, Vector(std::cos(outside), std::sin(outside), 0)));
    EXPECT_TRUE(isParallel(a, Vector(1, 0.09, 0), 0.1));
    EXPECT_FALSE(isParallel(a, Vector(1, 0.11, 0), 0.1));
    EXPECT_TRUE(isParallel(Vector(), Vector(0, 1, 0)));
}

TEST(combine, weightedSumsOfPointsAndVectors)
{
    const Point a(1, 2, 3), b(4, 0, 0), c(0, 8, 2);
    EXPECT_EQ(combine(0.25, a, 0.25, b, 0.5, c), Point(1.25, 4.5, 1.75));
    EXPECT_EQ(combine(0.5, a, 0.25, c), Point(0.5, 3, 2));
    EXPECT_EQ(combine(2.0, Vector(1, 0, 0), -1.0, Vector(0, 1, 0)), Vector(2, -1, 0));
    // The float forms round once from the double sum.
    const VectorFlt fa(0.1f, 0.2f, 0.3f), fb(0.7f, 0.5f, 0.3f), fc(1e-3f, 3.f, -2.f);
    EXPECT_EQ(combine(0.2, fa, 0.3, fb, 0.5, fc),
              VectorFlt(combine(0.2, Vector(fa), 0.3, Vector(fb), 0.5, Vector(fc))));
    EXPECT_EQ(combine(0.2, fa, 0.3, fb), VectorFlt(combine(0.2, Vector(fa), 0.3, Vector(fb))));
    const PointFlt o(0, 0, 0), x(2, 4, 6), y(2, 0, 2);
    EXPECT_EQ(combine(0.5, o, 0.5, x), PointFlt(1, 2, 3));
    EXPECT_EQ(combine(0.5, o, 0.25, x, 0.25, y), PointFlt(1, 1, 2));
    EXPECT_EQ(combine(0.5, Point2(0, 0), 0.25, Point2(4, 8), 0.25, Point2(0, 4)), Point2(1, 3));
}

TEST(project, removesOnlyTheNormalComponent)
{
    linearTest::Random random(5);
    for (int i = 0; i < 20; ++i)
    {
        const Vector v = random.vector(10.0), n = random.direction() * 7.0;
        const Vector inPlane = project(v, n);
        EXPECT_NEAR(dot(inPlane, n), 0.0, 1e-12);
        EXPECT_TRUE(isParallel(v - inPlane, n, 1e-9) || (v - inPlane).length() < 1e-12);
    }
    EXPECT_EQ(project(Vector(1, 2, 3), Vector()), Vector(1, 2, 3));
}

TEST(rotate, rodriguesTurnsCounterClockwiseAndKeepsAxisComponent)
{
    EXPECT_EQ(rotate(Vector(1, 2, 3), Vector(), 1.0), Vector(1, 2, 3));
    linearTest::Random random(3);
    for (int i = 0; i < 20; ++i)
    {
        const Vector v = random.vector(), axis = random.direction();
        const double angle = random.scalar(pi);
        const Vector r = rotate(v, axis, angle), k = axis.normalized();
        EXPECT_NEAR(r.length(), v.length(), 1e-14);
        EXPECT_NEAR(dot(r, k), dot(v, k), 1e-14);
        // The in-plane parts turn by exactly `angle`, counter-clockwise about k.
        const Vector pv = project(v, k), pr = project(r, k);
        EXPECT_NEAR(std::atan2(dot(cross(pv, pr), k), dot(pv, pr)), angle, 1e-12);
    }
    EXPECT_DOUBLE_EQ(toRadians(270.0), 1.5 * pi);
    EXPECT_DOUBLE_EQ(toDegrees(pi / 4), 45.0);
}

TEST(det3x3, tripleProductSignFollowsHandedness)
{
    EXPECT_EQ(det3x3(Vector(0, 1, 0), Vector(1, 0, 0), Vector(0, 0, 1)), -1.0);
    EXPECT_EQ(det3x3(Vector(2, 0, 0), Vector(0, 3, 0), Vector(1, 1, 4)), 24.0);
}

TEST(Point2, planarAlgebraAndCrossSign)
{
    const Point2 a(1, 1), b(4, 5);
    const Tuple2 d = b - a;
    EXPECT_EQ(d, Tuple2(3, 4));
    EXPECT_TRUE(a + d == b && d + a == b && b - d == a);
    EXPECT_TRUE(b * 2.0 == Point2(8, 10) && 0.5 * b == Point2(2, 2.5));
    EXPECT_EQ(d * 2.0 + 0.5 * d - d / 4.0 - -d, Tuple2(9.75, 13.0));
    Tuple2 t = d;
    ((t += Tuple2(1, 1)) -= Tuple2(0, 3)) *= 2.0;
    EXPECT_EQ(t, Tuple2(8, 4));
    Point2 p = a;
    (p += Tuple2(1, 2)) -= Tuple2(0, 1);
    EXPECT_EQ(p, Point2(2, 2));
    EXPECT_EQ(dot(Tuple2(1, 2), Tuple2(3, 4)), 11.0);
    EXPECT_EQ(cross(Tuple2(2, 1), Tuple2(1, 3)),
              5.0);  // counter-clockwise is positive
    EXPECT_EQ(cross(Point2(2, 0), Point2(2, 3)), 6.0);
    EXPECT_EQ(distance(a, b), 5.0);
    Tuple2 down(0, -2), zero;
    EXPECT_EQ(down.normalize(), 2.0);
    EXPECT_EQ(down, Tuple2(0, -1));
    EXPECT_EQ(zero.normalize(), 0.0);
    EXPECT_EQ(zero, Tuple2(0, 0));
    EXPECT_TRUE(equivalent(Tuple2(1, 1), Tuple2(1 + 1e-11, 1), epsilonTol));
    EXPECT_FALSE(equivalent(Point2(1, 1), Point2(1, 1 + 1e-9), epsilonTol));
}
