// Axis-aligned ranges: the empty range is neutral and meets nothing, closed
// containment counts touching, and a transformed box is the box of its
// transformed corners.

#include <oxLinear/Range.h>

#include <gtest/gtest.h>

#include <cfloat>

#include "model/oxLinear/linearTestUtil.h"

using namespace oxLinear;

TEST(Range3d, emptyByDefaultContainsNothingAndIsNeutralForExtend)
{
    Range3d r;
    EXPECT_TRUE(r.isEmpty());
    EXPECT_FALSE(r.contains(Point(0, 0, 0)));
    EXPECT_FALSE(r.intersects(
        Range3d(Point(-DBL_MAX, -DBL_MAX, -DBL_MAX), Point(DBL_MAX, DBL_MAX, DBL_MAX))));
    EXPECT_EQ(r.size(), Vector());
    EXPECT_EQ(r.center(), Point());
    EXPECT_EQ(r.diagonalLength(), 0.0);
    EXPECT_EQ(r.distance2(Point()), DBL_MAX);
    EXPECT_TRUE(r.transformed(AffineMatrix::makeScale(-1.0)).isEmpty());

    r.extend(Point(1, -2, 3));
    r.extend(Range3d());
    EXPECT_EQ(r.min(), Point(1, -2, 3));
    EXPECT_EQ(r.max(), Point(1, -2, 3));
    EXPECT_TRUE(r.contains(Point(1, -2, 3)));
    r.include(Point(-1, 0, 5));
    EXPECT_EQ(r.min(), Point(-1, -2, 3));
    EXPECT_EQ(r.max(), Point(1, 0, 5));
    EXPECT_EQ(r.size(), Vector(2, 2, 2));
    EXPECT_EQ(r.center(), Point(0, -1, 4));
    EXPECT_EQ(r.corner(5), Point(1, -2, 5));
    EXPECT_EQ(r.corner(99), r.max());
    r.setEmpty();
    EXPECT_TRUE(r.isEmpty());
    EXPECT_TRUE(Range3d(Point(0, 0, 1), Point(1, 1, 0)).isEmpty());  // inverted corners
}

TEST(Range3d, closedContainmentAndIntersectionCountTouching)
{
    const Range3d box(Point(0, 0, 0), Point(1, 1, 1));
    EXPECT_TRUE(box.contains(Point(1, 1, 1)));
    EXPECT_TRUE(box.contains(Point(0, 0.5, 0)));
    EXPECT_FALSE(box.contains(Point(1.0000001, 0.5, 0.5)));
    EXPECT_TRUE(box.intersects(Range3d(Point(1, 1, 1), Point(2, 2, 2))));
    EXPECT_TRUE(box.intersects(Range3d(Point(-1, -1, -1), Point(0, 0.5, 0))));
    EXPECT_FALSE(box.intersects(Range3d(Point(1, 1, 1.5), Point(2, 2, 2))));
    EXPECT_FALSE(box.intersects(Range3d(Point(-1, -1, -1), Point(0.5, -0.1, 0.5))));
    EXPECT_TRUE(box.contains(Range3d(Point(0, 0, 0), Point(1, 0.5, 1))));
    EXPECT_FALSE(box.contains(Range3d(Point(0, 0, 0), Point(1, 1.5, 1))));
    EXPECT_TRUE(box.contains(Range3d()));
    EXPECT_EQ(box.distance2(Point(0.5, 0.5, 0.5)), 0.0);
    EXPECT_EQ(box.distance2(Point(3, 0.5, -2)), 8.0);
}

TEST(Range3d, transformedBoxIsTheBoxOfTheTransformedCorners)
{
    linearTest::Random random(53);
    const Range3d box(Point(-1, 0, 2), Point(3, 1, 5));
    for (int i = 0; i < 10; ++i)
    {
        const AffineMatrix m = random.matrix();
        const Range3d t = box.transformed(m);
        Range3d corners;
        for (int c = 0; c < 8; ++c)
            corners.extend(box.corner(c) * m);
        EXPECT_EQ(t.min(), corners.min());
        EXPECT_EQ(t.max(), corners.max());
    }
}

TEST(Range2d, unitSquareSizeCenterAndInclude)
{
    const Range2d unit = Range2d::unitSquare();
    EXPECT_EQ(unit.size(), Tuple2(1, 1));
    EXPECT_EQ(unit.center(), Point2(0.5, 0.5));

    Range2d r;
    EXPECT_TRUE(r.isEmpty());
    EXPECT_EQ(r.size(), Tuple2(0, 0));
    EXPECT_FALSE(r.contains(Point2(0, 0)));
    EXPECT_FALSE(r.intersects(unit));
    EXPECT_FALSE(r.contains(Range2d()));
    r.include(Range2d(Point2(2, 3), Point2(4, 4)));
    r.include(Point2(-1, 3.5));
    EXPECT_EQ(r.min(), Point2(-1, 3));
    EXPECT_EQ(r.size(), Tuple2(5, 1));
    EXPECT_TRUE(r.contains(Point2(4, 4)));
    EXPECT_FALSE(r.contains(Point2(4, 4.5)));
    EXPECT_TRUE(r.intersects(Range2d(Point2(4, 0), Point2(5, 3))));  // corner touch
    EXPECT_FALSE(r.intersects(unit));
    EXPECT_TRUE(unit.contains(Range2d(Point2(0.25, 0), Point2(1, 0.5))));
    r.setEmpty();
    EXPECT_TRUE(r.isEmpty());
}
