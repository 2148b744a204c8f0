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
BoundingBox boxOf(float x0, float y0, float z0, float x1, float y1, float z1)
{
    const double values[6] = {x0, y0, z0, x1, y1, z1};
    return BoundingBox(values);
}

void expectBox(const BoundingBox& box, float x0, float y0, float z0, float x1, float y1, float z1)
{
    const float expected[6] = {x0, y0, z0, x1, y1, z1};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(box[i], expected[i]) << "value " << i;
}

// Min and max over the eight transformed corners, in double.
void cornerBounds(const BoundingBox& box, const AffineMatrix& m, double low[3], double high[3])
{
    std::fill(low, low + 3, 1e300);
    std::fill(high, high + 3, -1e300);
    for (int i = 0; i < 8; ++i)
    {
        float corner[3];
        box.getPoint(i, corner);
        const Point p = Point(corner[0], corner[1], corner[2]) * m;
        for (int axis = 0; axis < 3; ++axis)
        {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }
}
}  // namespace

TEST(BoundingBox, emptyBoxHoldsLargestFloatsAndMeetsNothing)
{
    BoundingBox box;
    expectBox(box, 3.4028235e38f, 3.4028235e38f, 3.4028235e38f, -3.4028235e38f, -3.4028235e38f,
              -3.4028235e38f);
    EXPECT_FALSE(box.isValid());
    EXPECT_EQ(box.diagonalLength(), 0.0f);
    EXPECT_EQ(box.distance2(PointFlt(0, 0, 0)), FLT_MAX);
    EXPECT_FALSE(box.contains(PointFlt(0, 0, 0)));

    // Even a box spanning the whole float range does not meet the empty box.
    const BoundingBox everything = boxOf(-FLT_MAX, -FLT_MAX, -FLT_MAX, FLT_MAX, FLT_MAX, FLT_MAX);
    EXPECT_FALSE(box.intersects(everything));
    EXPECT_FALSE(everything.intersects(box));
    EXPECT_FALSE(everything.intersects2D(box));
    EXPECT_FALSE(box.contains(everything));
    EXPECT_TRUE(everything.contains(box));

    box.zero();
    EXPECT_TRUE(box.isValid());
    box.setInvalid();
    EXPECT_EQ(box, BoundingBox());
    box.transform(AffineMatrix::makeTranslation(Vector(1, 2, 3)));
    box.extend(2.0f);
    box.extendToCube();
    EXPECT_EQ(box, BoundingBox());
}

TEST(BoundingBox, extendFromEmptyGivesExactlyThePoint)
{
    BoundingBox box;
    box.extend(PointFlt(1.5f, -2.0f, 3.25f));
    expectBox(box, 1.5f, -2.0f, 3.25f, 1.5f, -2.0f, 3.25f);

    BoundingBox fromArray;
    const float xyz[3] = {-1.0f, 0.0f, 7.0f};
    fromArray.extend(xyz);
    expectBox(fromArray, -1.0f, 0.0f, 7.0f, -1.0f, 0.0f, 7.0f);

    BoundingBox fromDouble;
    fromDouble.extend(Point(0.5, 2.0, -4.0));
    expectBox(fromDouble, 0.5f, 2.0f, -4.0f, 0.5f, 2.0f, -4.0f);

    BoundingBox fromBox;
    fromBox.extend(box);
    EXPECT_EQ(fromBox, box);
    fromBox.extend(BoundingBox());
    EXPECT_EQ(fromBox, box);

    // A second point widens per axis; a NaN coordinate is ignored.
    box.extend(PointFlt(2.0f, NAN, 0.0f));
    expectBox(box, 1.5f, -2.0f, 0.0f, 2.0f, -2.0f, 3.25f);

    // A double that is no float is bracketed by adjacent floats.
    BoundingBox tenth;
    tenth.extend(Point(0.1, 0.1, 0.1));
    EXPECT_LE(static_cast<double>(tenth[0]), 0.1);
    EXPECT_GE(static_cast<double>(tenth[3]), 0.1);
    EXPECT_EQ(std::nextafter(tenth[0], 1.0f), tenth[3]);
}

TEST(BoundingBox, constructorsRoundDoublesOutwards)
{
    const double values[6] = {0.1, -0.1, 1e300, 0.3, 0.2, 1e300};
    const BoundingBox box(values);
    EXPECT_LE(static_cast<double>(box[0]), 0.1);
    EXPECT_LE(static_cast<double>(box[1]), -0.1);
    EXPECT_GE(static_cast<double>(box[3]), 0.3);
    EXPECT_GE(static_cast<double>(box[4]), 0.2);
    EXPECT_EQ(box[2], FLT_MAX);  // clamped into the float range
    EXPECT_EQ(box[5], FLT_MAX);

    const float centre[3] = {1, 2, 3};
    expectBox(BoundingBox(centre, 0.5f), 0.5f, 1.5f, 2.5f, 1.5f, 2.5f, 3.5f);
    EXPECT_FALSE(BoundingBox(centre, -0.5f).isValid());

    BoundingBox fromRange;
    fromRange = oxLinear::Range3d(Point(-1, -2, -3), Point(1, 2, 3));
    expectBox(fromRange, -1, -2, -3, 1, 2, 3);
    fromRange = oxLinear::Range3d();
    EXPECT_EQ(fromRange, BoundingBox());
}

TEST(BoundingBox, transformByRotationMatchesEightCorners)
{
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(-3.0, 3.0);
    for (int round = 0; round < 50; ++round)
    {
        const BoundingBox box = boxOf(-1.0f, 0.0f, 2.0f, 0.5f, 3.0f, 2.5f);
        AffineMatrix m = AffineMatrix::makeRotation(Vector(u(rng), u(rng), u(rng)), u(rng));
        m.setTranslation(Vector(u(rng), u(rng), u(rng)));
        if (round % 2)
            m.scale(Vector(1.0, -2.0, 0.5));  // mirrored and stretched too

        double low[3], high[3];
        cornerBounds(box, m, low, high);
        BoundingBox moved = box;
        moved.transform(m);
        BoundingBox movedFlt = box;
        movedFlt.transform(AffineMatrixFlt(m));
        double lowFlt[3], highFlt[3];
        cornerBounds(box, AffineMatrix(AffineMatrixFlt(m)), lowFlt, highFlt);
        for (int axis = 0; axis < 3; ++axis)
        {
            // Holds every corner and is tight to float rounding.
            EXPECT_LE(moved[axis], low[axis]);
            EXPECT_GE(moved[axis + 3], high[axis]);
            EXPECT_NEAR(moved[axis], low[axis], 1e-5);
            EXPECT_NEAR(moved[axis + 3], high[axis], 1e-5);
            EXPECT_LE(movedFlt[axis], lowFlt[axis]);
            EXPECT_GE(movedFlt[axis + 3], highFlt[axis]);
            EXPECT_NEAR(movedFlt[axis + 3], highFlt[axis], 1e-5);
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
        double best = 1e300;
        for (int i = 0; i <= steps; ++i)
            for (int j = 0; j <= steps; ++j)
                for (int k = 0; k <= steps; ++k)
                {
                    const int step[3] = {i, j, k};
                    double d2 = 0.0;
                    for (int axis = 0; axis < 3; ++axis)
                    {
                        const double x =
                            box[axis] + (box[axis + 3] - box[axis]) * step[axis] / steps;
                        d2 += (x - p[axis]) * (x - p[axis]);
                    }
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
    EXPECT_TRUE(unit.intersects(boxOf(1, 0, 0, 2, 1, 1)));  // shared face
    EXPECT_TRUE(unit.intersects(boxOf(1, 1, 1, 2, 2, 2)));  // shared corner
    const float past = std::nextafter(1.0f, 2.0f);
    EXPECT_FALSE(unit.intersects(boxOf(past, 0, 0, 2, 1, 1)));
    EXPECT_FALSE(unit.intersects(boxOf(0, 0, 5, 1, 1, 6)));
    EXPECT_TRUE(unit.intersects2D(boxOf(0, 0, 5, 1, 1, 6)));  // z is ignored
    EXPECT_FALSE(unit.intersects2D(boxOf(0, past, 5, 1, 2, 6)));

    EXPECT_TRUE(unit.contains(unit));
    EXPECT_TRUE(unit.contains(boxOf(0, 0.5f, 0, 1, 1, 0.5f)));
    EXPECT_FALSE(unit.contains(boxOf(0, 0, 0, past, 1, 1)));
    EXPECT_TRUE(unit.contains(PointFlt(1, 1, 1)));
    EXPECT_FALSE(unit.contains(PointFlt(1, past, 1)));
}

TEST(BoundingBox, marginCubeAndCorners)
{
    BoundingBox box = boxOf(0, 0, 1, 4, 1, 2);
    box.extendToCube();
    expectBox(box, 0, -1.5f, -0.5f, 4, 2.5f, 3.5f);
    box.extend(0.5f);
    expectBox(box, -0.5f, -2, -1, 4.5f, 3, 4);
    box.extend(-2.5f);
    expectBox(box, 2, 0.5f, 1.5f, 2, 0.5f, 1.5f);
    box.extend(-0.25f);  // turns inside out
    EXPECT_EQ(box, BoundingBox());

    const BoundingBox corners = boxOf(1, 2, 3, 4, 5, 6);
    float p[3];
    corners.getPoint(5, p);  // bits 0 and 2: max x, min y, max z
    EXPECT_EQ(PointFlt(p[0], p[1], p[2]), PointFlt(4, 2, 6));
    corners.getPoint(2, p);
    EXPECT_EQ(PointFlt(p[0], p[1], p[2]), PointFlt(1, 5, 3));
    EXPECT_EQ(corners.minPt(), PointFlt(1, 2, 3));
    EXPECT_EQ(corners.maxPt(), PointFlt(4, 5, 6));
    EXPECT_FLOAT_EQ(corners.diagonalLength(), std::sqrt(27.0f));
    EXPECT_EQ(corners[-3], 1.0f);  // clamped index
    EXPECT_EQ(corners[9], 6.0f);
}
