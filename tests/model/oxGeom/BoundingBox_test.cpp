// Float bounding boxes: the empty box meets nothing, doubles are bracketed
// outwards, transforms and distances against the eight corners and a sampled
// box, and closed tests that count touching.

#include "oxGeom/BoundingBox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>

using oxGeom::BoundingBox;
using oxLinear::AffineMatrix;
using oxLinear::AffineMatrixFlt;
using oxLinear::Point;
using oxLinear::PointFlt;
using oxLinear::Vector;

namespace
{
BoundingBox boxOf(double x0, double y0, double z0, double x1, double y1, double z1)
{
    const double values[6] = {x0, y0, z0, x1, y1, z1};
    return BoundingBox(values);
}
}  // namespace

TEST(BoundingBox, emptyBoxHoldsLargestFloatsAndMeetsNothing)
{
    BoundingBox box;
    EXPECT_TRUE(box[2] == FLT_MAX && box[3] == -FLT_MAX);
    EXPECT_EQ(box.diagonalLength(), 0.0f);
    EXPECT_EQ(box.distance2(PointFlt(0, 0, 0)), FLT_MAX);
    // Even a box spanning the whole float range does not meet the empty box.
    const BoundingBox all = boxOf(-FLT_MAX, -FLT_MAX, -FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX);
    EXPECT_FALSE(box.intersects(all) || all.intersects(box) || all.intersects2D(box));
    EXPECT_FALSE(box.contains(all));
    EXPECT_TRUE(all.contains(box));

    // Nothing makes it non-empty but a point or a box.
    box.transform(AffineMatrix::makeTranslation(Vector(1, 2, 3)));
    box.extend(2.0f);
    box.extendToCube();
    EXPECT_EQ(box, BoundingBox());
    const float centre[3] = {1, 2, 3};
    EXPECT_EQ(BoundingBox(centre, -0.5f), BoundingBox());
    EXPECT_EQ(box = oxLinear::Range3d(), BoundingBox());
}

TEST(BoundingBox, extendFromEmptyGivesExactlyThePoint)
{
    BoundingBox box;
    box.extend(PointFlt(1.5f, -2.0f, 3.25f));
    EXPECT_EQ(box.minPt(), PointFlt(1.5f, -2.0f, 3.25f));
    EXPECT_EQ(box.maxPt(), PointFlt(1.5f, -2.0f, 3.25f));
    BoundingBox fromDouble, fromBox;
    fromDouble.extend(Point(1.5, -2.0, 3.25));
    fromBox.extend(box);
    EXPECT_EQ(fromDouble, box);
    EXPECT_EQ(fromBox, box);

    box.extend(PointFlt(2.0f, NAN, 0.0f));  // NaN is ignored on its axis
    EXPECT_EQ(box.minPt(), PointFlt(1.5f, -2.0f, 0.0f));
    EXPECT_EQ(box.maxPt(), PointFlt(2.0f, -2.0f, 3.25f));

    // Doubles that are no floats are bracketed outwards; huge ones are clamped.
    const BoundingBox tenths = boxOf(0.1, -0.1, -1e300, 0.1, 0.2, 1e300);
    EXPECT_LT(static_cast<double>(tenths[0]), 0.1);
    EXPECT_EQ(std::nextafter(tenths[0], 1.0f), tenths[3]);
    EXPECT_GT(static_cast<double>(tenths[4]), 0.2);
    EXPECT_EQ(tenths[2], -FLT_MAX);
    EXPECT_EQ(tenths[5], FLT_MAX);
}

TEST(BoundingBox, transformByRotationMatchesEightCorners)
{
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(-3.0, 3.0);
    const BoundingBox box = boxOf(-1, 0, 2, 0.5, 3, 2.5);
    for (int round = 0; round < 50; ++round)
    {
        AffineMatrix m = AffineMatrix::makeRotation(Vector(u(rng), u(rng), u(rng)), u(rng));
        m.setTranslation(Vector(u(rng), u(rng), u(rng)));
        if (round % 2)
            m.scale(Vector(1.0, -2.0, 0.5));  // mirrored and stretched too
        const bool useFloat = round % 4 >= 2;
        if (useFloat)
            m = AffineMatrix(AffineMatrixFlt(m));
        BoundingBox moved = box;
        useFloat ? moved.transform(AffineMatrixFlt(m)) : moved.transform(m);
        const oxLinear::Range3d corners =
            oxLinear::Range3d(Point(box.minPt()), Point(box.maxPt())).transformed(m);
        for (int axis = 0; axis < 3; ++axis)
        {
            // Holds every corner and is tight up to float rounding.
            EXPECT_LE(moved[axis], corners.min()[axis]);
            EXPECT_GE(moved[axis + 3], corners.max()[axis]);
            EXPECT_NEAR(moved[axis], corners.min()[axis], 1e-5);
            EXPECT_NEAR(moved[axis + 3], corners.max()[axis], 1e-5);
        }
    }
}

TEST(BoundingBox, distance2MatchesSampledBox)
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> u(-2.0f, 2.0f);
    const int steps = 20;
    for (int round = 0; round < 40; ++round)
    {
        BoundingBox box;
        box.extend(PointFlt(u(rng), u(rng), u(rng)));
        box.extend(PointFlt(u(rng), u(rng), u(rng)));
        const PointFlt p(2 * u(rng), 2 * u(rng), 2 * u(rng));
        double best = 1e300;  // over a grid of points in the box
        for (int i = 0; i < (steps + 1) * (steps + 1) * (steps + 1); ++i)
        {
            double d2 = 0.0;
            for (int axis = 0, rest = i; axis < 3; ++axis, rest /= steps + 1)
                d2 += std::pow(box[axis] +
                                   (box[axis + 3] - box[axis]) * (rest % (steps + 1)) / steps -
                                   p[axis],
                               2);
            best = std::min(best, d2);
        }
        const double d = box.distance(p);
        EXPECT_NEAR(box.distance2(p), d * d, 1e-4);
        EXPECT_LE(d, std::sqrt(best) + 1e-5);
        EXPECT_GE(d, std::sqrt(best) - box.diagonalLength() / steps);
        EXPECT_EQ(box.distance2(p) == 0.0f, box.contains(p));
    }
}

TEST(BoundingBox, touchingBoxesIntersectAndContain)
{
    const BoundingBox unit = boxOf(0, 0, 0, 1, 1, 1);
    const double past = std::nextafter(1.0f, 2.0f);
    EXPECT_TRUE(unit.intersects(boxOf(1, 0, 0, 2, 1, 1)));  // shared face
    EXPECT_TRUE(boxOf(1, 0, 0, 2, 1, 1).intersects(unit));
    EXPECT_TRUE(unit.intersects(boxOf(1, 1, 1, 2, 2, 2)));  // shared corner
    EXPECT_FALSE(unit.intersects(boxOf(past, 0, 0, 2, 1, 1)));
    EXPECT_FALSE(unit.intersects(boxOf(0, 0, 5, 1, 1, 6)));
    EXPECT_TRUE(unit.intersects2D(boxOf(0, 0, 5, 1, 1, 6)));  // z is ignored
    EXPECT_FALSE(unit.intersects2D(boxOf(0, past, 5, 1, 2, 6)));
    EXPECT_TRUE(unit.contains(boxOf(0, 0.5, 0, 1, 1, 0.5)));
    EXPECT_FALSE(unit.contains(boxOf(0, 0, 0, past, 1, 1)));
    EXPECT_TRUE(unit.contains(PointFlt(1, 1, 1)));
}

TEST(BoundingBox, marginCubeAndCorners)
{
    BoundingBox box = boxOf(0, 0, 1, 4, 1, 2);
    box.extendToCube();
    EXPECT_EQ(box, boxOf(0, -1.5, -0.5, 4, 2.5, 3.5));
    box.extend(-1.75f);
    EXPECT_EQ(box, boxOf(1.75, 0.25, 1.25, 2.25, 0.75, 1.75));
    box.extend(-0.5f);  // turns inside out
    EXPECT_EQ(box, BoundingBox());
    BoundingBox flat = boxOf(0, 0, 0, 4, 4, 0.5);
    flat.extend(-1.0f);  // inside out on z only
    EXPECT_EQ(flat, BoundingBox());

    const BoundingBox corners = boxOf(1, 2, 3, 4, 5, 6);
    float p[3];
    corners.getPoint(1, p);  // bit 0: max x
    EXPECT_EQ(PointFlt(p[0], p[1], p[2]), PointFlt(4, 2, 3));
    corners.getPoint(6, p);  // bits 1 and 2: max y, max z
    EXPECT_EQ(PointFlt(p[0], p[1], p[2]), PointFlt(1, 5, 6));
    EXPECT_FLOAT_EQ(corners.diagonalLength(), std::sqrt(27.0f));
    EXPECT_EQ(corners[9], 6.0f);  // clamped index
}
