#include <oxLinear/Line.h>

#include <gtest/gtest.h>

#include <cfloat>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;
using linearTest::nearPoint;

namespace
{
/// Minimises f over [lo, hi] by golden-section search (f unimodal there).
template <class F>
double goldenMinimum(F f, double lo, double hi)
{
    const double g = 0.6180339887498949;
    for (int i = 0; i < 90; ++i)
    {
        const double a = hi - g * (hi - lo), b = lo + g * (hi - lo);
        if (f(a) < f(b))
            hi = b;
        else
            lo = a;
    }
    return 0.5 * (lo + hi);
}

/// Brute-force squared distance from p to line l (minimised over its parameter).
double bruteDistance2(const Line& l, const Point& p)
{
    const auto f = [&](double t) { return distance2(l.eval(t), p); };
    return f(goldenMinimum(f, -1e3, 1e3));
}
}  // namespace

TEST(Line, evalAndClosestParameterMatchBruteForce)
{
    const Line line(Point(1, 2, 3), Vector(0, 2, 0));
    EXPECT_EQ(line.eval(0.0), Point(1, 2, 3));
    EXPECT_EQ(line.eval(1.5), Point(1, 5, 3));
    EXPECT_EQ(line.closestParameter(Point(7, 6, -1)), 2.0);
    EXPECT_EQ(line.distance2(Point(7, 6, -1)), 52.0);
    EXPECT_EQ(Line::throughPoints(Point(1, 1, 1), Point(2, 3, 4)).eval(1.0), Point(2, 3, 4));

    linearTest::Random random(71);
    for (int i = 0; i < 10; ++i)
    {
        const Line l(random.point(5), random.direction());
        const Point p = random.point(5);
        EXPECT_NEAR(l.distance2(p), bruteDistance2(l, p), 1e-9);
    }
    const Line point(Point(1, 1, 1), Vector());
    EXPECT_EQ(point.closestParameter(Point(5, 5, 5)), 0.0);
    EXPECT_EQ(point.distance2(Point(1, 1, 3)), 4.0);
}

TEST(intersect, skewLinesGiveClosestApproachPointOnFirstLine)
{
    // The x axis and the line through (2, 0, 5) along y: nearest at (2, 0, 0).
    bool parallel = true;
    const Line xAxis(Point(0, 0, 0), Vector(3, 0, 0));
    const Line skew(Point(2, 7, 5), Vector(0, -1, 0));
    EXPECT_TRUE(
        nearPoint(intersect(xAxis, skew, parallel, perpendicular2Tol), Point(2, 0, 0), 1e-15));
    EXPECT_FALSE(parallel);
    EXPECT_TRUE(
        nearPoint(intersect(skew, xAxis, parallel, perpendicular2Tol), Point(2, 0, 5), 1e-15));

    // Random skew lines against a brute-force minimisation of the distance to b.
    linearTest::Random random(73);
    for (int i = 0; i < 20; ++i)
    {
        const Line a(random.point(5), random.direction()), b(random.point(5), random.direction());
        const Point q = intersect(a, b, parallel, perpendicular2Tol);
        ASSERT_FALSE(parallel);
        EXPECT_NEAR(a.distance2(q), 0.0, 1e-20);  // on a
        const double s =
            goldenMinimum([&](double t) { return bruteDistance2(b, a.eval(t)); }, -1e3, 1e3);
        EXPECT_TRUE(nearPoint(q, a.eval(s), 1e-5));
        EXPECT_NEAR(b.distance2(q), bruteDistance2(b, a.eval(s)), 1e-9);
    }
}

TEST(intersect, parallelAndDegenerateLinesAreFlaggedAndReturnFirstOrigin)
{
    bool parallel = false;
    const Line a(Point(1, 2, 3), Vector(1, 1, 0));
    // The closest-point-on-ray use: a second line through p with a's direction.
    EXPECT_EQ(intersect(a, Line(Point(9, 9, 9), Vector(1, 1, 0)), parallel, perpendicular2Tol),
              a.origin());
    EXPECT_TRUE(parallel);
    parallel = false;
    EXPECT_EQ(intersect(a, Line(Point(0, 0, 0), Vector(-2, -2, 0)), parallel, perpendicular2Tol),
              a.origin());
    EXPECT_TRUE(parallel);
    parallel = false;
    EXPECT_EQ(intersect(a, Line(Point(0, 5, 0), Vector()), parallel, perpendicular2Tol),
              a.origin());
    EXPECT_TRUE(parallel);

    // The tolerance is on the squared sine, whatever the direction lengths:
    // 1e-4 rad gives sin^2 = 1e-8.
    const Line tilted(Point(0, 0, 1), Vector(10, 1e-3, 0));
    intersect(Line(Point(), Vector(3, 0, 0)), tilted, parallel, 2e-8);
    EXPECT_TRUE(parallel);
    intersect(Line(Point(), Vector(3, 0, 0)), tilted, parallel, 0.5e-8);
    EXPECT_FALSE(parallel);
}
