// Lines: distances against the cross-product form, and the closest approach of
// two lines characterised independently (the joining segment is perpendicular
// to both lines).

#include <oxLinear/Line.h>

#include <gtest/gtest.h>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;

TEST(Line, closestParameterAndDistanceMatchCrossProductForm)
{
    EXPECT_EQ(Line(Point(1, 2, 3), Vector(0, 2, 0)).closestParameter(Point(7, 6, -1)), 2.0);
    EXPECT_EQ(Line::throughPoints(Point(1, 1, 1), Point(2, 3, 4)).eval(1.0), Point(2, 3, 4));
    linearTest::Random random(71);
    for (int i = 0; i < 10; ++i)
    {
        const Line l(random.point(5), random.direction());
        const Point p = random.point(5);
        const Vector d = l.direction();
        EXPECT_NEAR(l.distance2(p), cross(p - l.origin(), d).length2() / d.length2(), 1e-9);
    }
    const Line point(Point(1, 1, 1), Vector());  // no direction: the origin alone
    EXPECT_EQ(point.closestParameter(Point(5, 5, 5)), 0.0);
    EXPECT_EQ(point.distance2(Point(1, 1, 3)), 4.0);
}

TEST(intersect, skewLinesGiveClosestApproachPointOnFirstLine)
{
    bool parallel = true;
    linearTest::Random random(73);
    for (int i = 0; i < 20; ++i)
    {
        const Line a(random.point(5), random.direction()), b(random.point(5), random.direction());
        const Point q = intersect(a, b, parallel, perpendicular2Tol);
        ASSERT_FALSE(parallel);
        EXPECT_NEAR(a.distance2(q), 0.0, 1e-20);
        const Vector gap = q - b.closestPoint(q);
        EXPECT_NEAR(dot(gap, a.direction().normalized()), 0.0, 1e-9);
        EXPECT_NEAR(dot(gap, b.direction().normalized()), 0.0, 1e-9);
    }
}

TEST(intersect, parallelAndDegenerateLinesAreFlaggedAndReturnFirstOrigin)
{
    const Line a(Point(1, 2, 3), Vector(1, 1, 0));
    for (const Line& b : {Line(Point(9, 9, 9), Vector(1, 1, 0)),
                          Line(Point(0, 0, 0), Vector(-2, -2, 0)), Line(Point(0, 5, 0), Vector())})
    {
        bool parallel = false;
        EXPECT_EQ(intersect(a, b, parallel, perpendicular2Tol), a.origin());
        EXPECT_TRUE(parallel);
    }
    // The tolerance is on the squared sine, whatever the direction lengths:
    // 1e-4 rad gives sin^2 = 1e-8.
    bool parallel = false;
    const Line tilted(Point(0, 0, 1), Vector(10, 1e-3, 0));
    intersect(Line(Point(), Vector(3, 0, 0)), tilted, parallel, 2e-8);
    EXPECT_TRUE(parallel);
    intersect(Line(Point(), Vector(3, 0, 0)), tilted, parallel, 0.5e-8);
    EXPECT_FALSE(parallel);
}
