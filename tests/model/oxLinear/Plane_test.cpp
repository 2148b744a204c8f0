// Planes: orientation from three points, signed distances and projections on
// random planes, and the orthonormal frame of a parameterised plane.

#include <oxLinear/Plane.h>

#include <gtest/gtest.h>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;
using linearTest::near;

TEST(Plane, threePointsGiveCounterClockwiseNormalSignedDistanceAndProjection)
{
    const Plane plane(Point(0, 0, 2), Point(1, 0, 2), Point(0, 1, 2));
    EXPECT_TRUE(plane.isValid());
    EXPECT_EQ(plane.normal(), Vector(0, 0, 1));
    EXPECT_EQ(plane.signedDistance(Point(5, 5, -1)), -3.0);
    EXPECT_EQ(project(Point(5, -5, 7), plane), Point(5, -5, 2));
    EXPECT_EQ(plane.flipped().signedDistance(Point(5, 5, 7)), -5.0);
    EXPECT_TRUE(isAbove(Point(0, 0, 2.5), plane));
    EXPECT_FALSE(isAbove(Point(0, 0, 2.5), plane, 0.5));  // strictly above the tolerance

    linearTest::Random random(61);
    for (int i = 0; i < 10; ++i)
    {
        const Plane p(random.point(5), random.direction() * 3.0);
        EXPECT_NEAR(p.normal().length(), 1.0, 1e-15);
        const Point q = random.point(5);
        const Point foot = p.project(q);
        EXPECT_NEAR(p.signedDistance(foot), 0.0, 1e-14);
        EXPECT_NEAR(distance(q, foot), p.distance(q), 1e-14);
    }

    const Plane collinear(Point(0, 0, 0), Point(1, 1, 1), Point(2, 2, 2));
    EXPECT_FALSE(collinear.isValid());
    EXPECT_FALSE(isAbove(Point(3, 0, 0), collinear));
    EXPECT_EQ(Plane().normal(), Normal::z);
}

TEST(ParamPlane, parametersAndEvalRoundTripOnAnOrthonormalFrame)
{
    linearTest::Random random(67);
    for (int i = 0; i < 10; ++i)
    {
        const ParamPlane pp(random.point(5), random.direction(), random.direction());
        EXPECT_NEAR(pp.uAxis().length(), 1.0, 1e-15);
        EXPECT_NEAR(pp.vAxis().length(), 1.0, 1e-15);
        EXPECT_NEAR(dot(pp.uAxis(), pp.vAxis()), 0.0, 1e-15);
        const Point2 st(random.scalar(4), random.scalar(4));
        EXPECT_TRUE(equivalent(pp.parameters(pp.eval(st)), st, 1e-13));
        // Points off the plane parameterise as their orthogonal projection.
        const Point q = random.point(5);
        EXPECT_TRUE(near(pp.eval(pp.parameters(q)), pp.plane().project(q), 1e-13));
    }
    // Eye-space window plane at depth 3: u = +X, v = +Y, normal towards the eye.
    ParamPlane window(Point(0, 0, -3), Vector(1, 0, 0), Vector(0, 1, 0), 2.0, 1.0);
    EXPECT_TRUE(window.halfWidth() == 2.0 && window.halfHeight() == 1.0);
    window.setExtents(1.5, 0.75);
    EXPECT_EQ(window.eval(window.halfWidth(), window.halfHeight()), Point(1.5, 0.75, -3));
    EXPECT_EQ(window.normal(), Vector(0, 0, 1));

    const ParamPlane byNormal(Point(1, 1, 1), Vector(0, 2, 0));
    EXPECT_TRUE(near(byNormal.normal().asVector(), Vector(0, 1, 0), 1e-15));
    EXPECT_EQ(byNormal.parameters(Point(1, 7, 1)), Point2(0, 0));

    const ParamPlane degenerate(Point(), Vector(), Vector(3, 0, 0));
    EXPECT_EQ(degenerate.uAxis(), Vector(1, 0, 0));
    EXPECT_NEAR(dot(degenerate.uAxis(), degenerate.vAxis()), 0.0, 1e-15);
    EXPECT_NEAR(degenerate.vAxis().length(), 1.0, 1e-15);
}
