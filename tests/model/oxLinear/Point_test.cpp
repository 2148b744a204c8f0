#include <oxLinear/Point.h>
#include <oxLinear/Point2.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;
using linearTest::nearPoint;
using linearTest::nearVector;

TEST(Vector, affineAlgebraMatchesHandValues)
{
    const Point p(1.0, 2.0, 3.0), q(4.0, 6.0, 3.0);
    const Vector d = q - p;
    EXPECT_EQ(d, Vector(3.0, 4.0, 0.0));
    EXPECT_EQ(p + d, q);
    EXPECT_EQ(q - d, p);
    EXPECT_EQ(d * 2.0, Vector(6.0, 8.0, 0.0));
    EXPECT_EQ(0.5 * d, Vector(1.5, 2.0, 0.0));
    EXPECT_EQ(d / 2.0, Vector(1.5, 2.0, 0.0));
    EXPECT_EQ(-d, Vector(-3.0, -4.0, 0.0));
    EXPECT_EQ(d.length(), 5.0);
    EXPECT_EQ(d.length2(), 25.0);
    EXPECT_EQ(distance(p, q), 5.0);
    EXPECT_EQ(distance2(p, q), 25.0);
    EXPECT_EQ(dot(Vector(1, 2, 3), Vector(4, -5, 6)), 12.0);
    EXPECT_EQ(cross(Vector(1, 0, 0), Vector(0, 1, 0)), Vector(0, 0, 1));
    EXPECT_EQ(cross(Vector(0, 1, 0), Vector(0, 0, 1)), Vector(1, 0, 0));
    EXPECT_EQ(cross(Vector(1, 2, 3), Vector(4, 5, 6)), Vector(-3, 6, -3));

    Vector v(1, 1, 1);
    v += Vector(1, 2, 3);
    v -= Vector(0, 0, 1);
    v *= 3.0;
    EXPECT_EQ(v, Vector(6, 9, 9));
    EXPECT_EQ(v.reverse(), Vector(-6, -9, -9));
    Point r(0, 0, 0);
    r += Vector(1, 2, 3);
    r -= Vector(1, 0, 0);
    EXPECT_EQ(r, Point(0, 2, 3));
    EXPECT_EQ(r.x(), 0.0);
    EXPECT_EQ(r.y(), 2.0);
    EXPECT_EQ(r.z(), 3.0);

    const PointFlt pf(1, 2, 3), qf(4, 6, 3);
    EXPECT_EQ(qf - pf, VectorFlt(3, 4, 0));
    EXPECT_EQ(distance(pf, qf), 5.0f);
    EXPECT_EQ(cross(VectorFlt(1, 0, 0), VectorFlt(0, 1, 0)), VectorFlt(0, 0, 1));
}

TEST(Vector, outOfRangeIndexIsClampedToNearestComponent)
{
    Vector v(1.0, 2.0, 3.0);
    EXPECT_EQ(v[-1], 1.0);
    EXPECT_EQ(v[3], 3.0);
    EXPECT_EQ(v[1000], 3.0);
    v[7] = 9.0;
    EXPECT_EQ(v, Vector(1.0, 2.0, 9.0));
    const Point2 p(4.0, 5.0);
    EXPECT_EQ(p[2], 5.0);
    EXPECT_EQ(p[-3], 4.0);
}

TEST(Vector, normalizeZeroVectorGivesZeroAndNormalCarriesNoDirection)
{
    Vector v(3.0, 0.0, 4.0);
    EXPECT_EQ(v.normalize(), 5.0);
    EXPECT_TRUE(nearVector(v, Vector(0.6, 0.0, 0.8), 1e-15));

    Vector zero;
    EXPECT_EQ(zero.normalize(), 0.0);
    EXPECT_EQ(zero, Vector(0, 0, 0));
    Vector huge(DBL_MAX, DBL_MAX, 0.0);  // length overflows to infinity
    EXPECT_EQ(huge.normalize(), 0.0);
    EXPECT_EQ(huge, Vector(0, 0, 0));
    VectorFlt zf;
    EXPECT_EQ(zf.normalize(), 0.0f);
    EXPECT_EQ(zf, VectorFlt(0, 0, 0));

    EXPECT_EQ(Normal(Vector()).length2(), 0.0);
    EXPECT_EQ(Normal(), Normal::z);
    EXPECT_EQ(Normal::x, Vector(1, 0, 0));
    EXPECT_EQ(Normal::y, Vector(0, 1, 0));
    const Normal n(0.0, -2.0, 0.0);
    EXPECT_EQ(n, Vector(0, -1, 0));
    EXPECT_EQ(-n, Vector(0, 1, 0));
    EXPECT_EQ(n.asVector().y(), -1.0);
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
        EXPECT_EQ(o, v.orthogonalVector());
    }
    EXPECT_EQ(Vector().orthogonalVector(), Vector(1, 0, 0));
}

TEST(Vector, precisionAndKindConversions)
{
    const Point p(0.1, -2.5, 1e10);
    const PointFlt pf(p);
    EXPECT_EQ(pf, PointFlt(0.1f, -2.5f, 1e10f));
    EXPECT_NEAR(Point(pf)[0], 0.1, 1e-8);
    EXPECT_EQ(Point(pf)[1], -2.5);
    EXPECT_EQ(Vector(p), Vector(0.1, -2.5, 1e10));
    EXPECT_EQ(Point(Vector(p)), p);
    EXPECT_EQ(VectorFlt(Vector(1.0, 2.0, 3.0)), VectorFlt(1.f, 2.f, 3.f));
    const float packed[3] = {7.f, 8.f, 9.f};
    EXPECT_EQ(PointFlt(packed), PointFlt(7, 8, 9));
    EXPECT_EQ(PointFlt(packed).data()[2], 9.f);
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
    EXPECT_TRUE(isParallel(a, Vector(5, 0, 0)));
    EXPECT_TRUE(isParallel(a, Vector(-0.1, 0, 0)));
    // Angles just inside and just outside the tolerance, any lengths.
    const double inside = 0.5 * parallelTol, outside = 2.0 * parallelTol;
    EXPECT_TRUE(isParallel(a, Vector(std::cos(inside), std::sin(inside), 0) * 30.0));
    EXPECT_TRUE(isParallel(a, -Vector(std::cos(inside), 0, std::sin(inside))));
    EXPECT_FALSE(isParallel(a, Vector(std::cos(outside), std::sin(outside), 0)));
    EXPECT_FALSE(isParallel(a, Vector(0, 1, 0)));
    EXPECT_TRUE(isParallel(a, Vector(1, 0.09, 0), 0.1));
    EXPECT_FALSE(isParallel(a, Vector(1, 0.11, 0), 0.1));
    EXPECT_TRUE(isParallel(Vector(), Vector(0, 1, 0)));
}

TEST(combine, weightedSumsOfPointsAndVectors)
{
    const Point a(0, 0, 0), b(4, 0, 0), c(0, 8, 2);
    EXPECT_EQ(combine(0.25, a, 0.25, b, 0.5, c), Point(1, 4, 1));
    EXPECT_EQ(combine(0.5, a, 0.5, b), Point(2, 0, 0));
    EXPECT_EQ(combine(2.0, Vector(1, 0, 0), -1.0, Vector(0, 1, 0)), Vector(2, -1, 0));
    EXPECT_EQ(combine(1.0, Vector(1, 0, 0), 1.0, Vector(0, 1, 0), 1.0, Vector(0, 0, 1)),
              Vector(1, 1, 1));
    // The float forms round once from the double sum.
    const VectorFlt fa(0.1f, 0.2f, 0.3f), fb(0.7f, 0.5f, 0.3f), fc(1e-3f, 3.f, -2.f);
    const double w0 = 0.2, w1 = 0.3, w2 = 0.5;
    const VectorFlt f = combine(w0, fa, w1, fb, w2, fc);
    EXPECT_EQ(f, VectorFlt(combine(w0, Vector(fa), w1, Vector(fb), w2, Vector(fc))));
    EXPECT_EQ(combine(0.5, PointFlt(0, 0, 0), 0.5, PointFlt(2, 4, 6)), PointFlt(1, 2, 3));
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
    EXPECT_EQ(project(Vector(1, 2, 3), Vector(0, 0, 5)), Vector(1, 2, 0));
    EXPECT_EQ(project(Vector(1, 2, 3), Vector()), Vector(1, 2, 3));
}

TEST(rotate, rodriguesMatchesHandValuesAndKeepsAxisComponent)
{
    EXPECT_TRUE(
        nearVector(rotate(Vector(1, 0, 0), Vector(0, 0, 1), pi / 2), Vector(0, 1, 0), 1e-15));
    EXPECT_TRUE(
        nearVector(rotate(Vector(0, 1, 0), Vector(0, 0, 2), pi / 2), Vector(-1, 0, 0), 1e-15));
    EXPECT_TRUE(
        nearVector(rotate(Vector(1, 0, 0), Vector(1, 1, 1), 2 * pi / 3), Vector(0, 1, 0), 1e-15));
    EXPECT_EQ(rotate(Vector(1, 2, 3), Vector(), 1.0), Vector(1, 2, 3));

    linearTest::Random random(3);
    for (int i = 0; i < 20; ++i)
    {
        const Vector v = random.vector(), axis = random.direction();
        const double angle = random.scalar(pi);
        const Vector r = rotate(v, axis, angle);
        const Vector k = axis.normalized();
        EXPECT_NEAR(r.length(), v.length(), 1e-14);
        EXPECT_NEAR(dot(r, k), dot(v, k), 1e-14);
        // The in-plane parts turn by exactly `angle`, counter-clockwise about k.
        const Vector pv = project(v, k), pr = project(r, k);
        const double turned = std::atan2(dot(cross(pv, pr), k), dot(pv, pr));
        EXPECT_NEAR(turned, angle, 1e-12);
    }
}

TEST(det3x3, tripleProductSignFollowsHandedness)
{
    EXPECT_EQ(det3x3(Vector(1, 0, 0), Vector(0, 1, 0), Vector(0, 0, 1)), 1.0);
    EXPECT_EQ(det3x3(Vector(0, 1, 0), Vector(1, 0, 0), Vector(0, 0, 1)), -1.0);
    EXPECT_EQ(det3x3(Vector(2, 0, 0), Vector(0, 3, 0), Vector(1, 1, 4)), 24.0);
    EXPECT_EQ(det3x3(Vector(1, 2, 3), Vector(2, 4, 6), Vector(0, 0, 1)), 0.0);
}

TEST(Point2, planarAlgebraAndCrossSign)
{
    const Point2 a(1, 1), b(4, 5);
    const Tuple2 d = b - a;
    EXPECT_EQ(d, Tuple2(3, 4));
    EXPECT_EQ(d.length(), 5.0);
    EXPECT_EQ(a + d, b);
    EXPECT_EQ(b - d, a);
    EXPECT_EQ(b * 2.0, Point2(8, 10));
    EXPECT_EQ(-d * 0.5, Tuple2(-1.5, -2));
    EXPECT_EQ(dot(Tuple2(1, 2), Tuple2(3, 4)), 11.0);
    EXPECT_EQ(cross(Tuple2(1, 0), Tuple2(0, 1)), 1.0);   // counter-clockwise
    EXPECT_EQ(cross(Tuple2(0, 1), Tuple2(1, 0)), -1.0);  // clockwise
    EXPECT_EQ(cross(Point2(2, 0), Point2(2, 3)), 6.0);
    EXPECT_EQ(distance(a, b), 5.0);
    Tuple2 t(0, -2);
    EXPECT_EQ(t.normalize(), 2.0);
    EXPECT_EQ(t, Tuple2(0, -1));
    Tuple2 zero;
    EXPECT_EQ(zero.normalize(), 0.0);
    EXPECT_EQ(zero, Tuple2(0, 0));
    EXPECT_TRUE(equivalent(Tuple2(1, 1), Tuple2(1 + 1e-11, 1), epsilonTol));
    EXPECT_FALSE(equivalent(Point2(1, 1), Point2(1, 1 + 1e-9), epsilonTol));
    EXPECT_EQ(Point2(Tuple2(3, 4)), Point2(3, 4));
}
