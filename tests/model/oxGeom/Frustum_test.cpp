#include "oxGeom/Frustum.h"

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Frustum;
using oxLinear::Point;
using oxLinear::Vector;

namespace
{
/// A perspective view volume looking down -z from the origin: near face at
/// z = -n with half sizes w, h, far face at z = -f scaled by f / n.
std::vector<Point> perspectiveCorners(double w, double h, double n, double f)
{
    const double s = f / n;
    return {Point(-w, -h, -n),       Point(w, -h, -n),          Point(w, h, -n),
            Point(-w, h, -n),        Point(-w * s, -h * s, -f), Point(w * s, -h * s, -f),
            Point(w * s, h * s, -f), Point(-w * s, h * s, -f)};
}

/// The corners under a random rotation (optionally mirrored) and translation.
std::vector<Point> placed(std::vector<Point> corners, std::mt19937& rng, bool mirror)
{
    auto random = [&] { return static_cast<double>(testsupport::uniform(rng, -1.0f, 1.0f)); };
    Vector a(random(), random(), random());
    Vector b(random(), random(), random());
    a.normalize();
    b = (b - a * oxLinear::dot(a, b)).normalized();
    Vector c = oxLinear::cross(a, b);
    if (mirror)
        c = -c;
    const Vector shift(3 * random(), 3 * random(), 3 * random());
    for (Point& p : corners)
        p = Point(a * p[0] + b * p[1] + c * p[2] + shift);
    return corners;
}

bool insideFrustum(const Frustum& frustum, const Point& p)
{
    for (int i = 0; i < 6; ++i)
        if (frustum.getPlane(i).signedDistance(p) > 0.0)
            return false;
    return true;
}

/// A point of the hexahedron: trilinear blend of the corners (inside for a
/// frustum, whose faces are planar).
Point blend(const Frustum& frustum, double u, double v, double w)
{
    auto mix = [](const Point& p, const Point& q, double t) { return p + (q - p) * t; };
    const Point nearPoint = mix(mix(frustum.getCorner(0), frustum.getCorner(1), u),
                                mix(frustum.getCorner(3), frustum.getCorner(2), u), v);
    const Point farPoint = mix(mix(frustum.getCorner(4), frustum.getCorner(5), u),
                               mix(frustum.getCorner(7), frustum.getCorner(6), u), v);
    return mix(nearPoint, farPoint, w);
}

BoundingBox boxAround(const Point& centre, double half)
{
    const double values[6] = {centre[0] - half, centre[1] - half, centre[2] - half,
                              centre[0] + half, centre[1] + half, centre[2] + half};
    return BoundingBox(values);
}
}  // namespace

TEST(Frustum, planesPassThroughTheirFacesAndPointOutwards)
{
    std::mt19937 rng(91);
    for (int round = 0; round < 20; ++round)
    {
        const std::vector<Point> corners =
            placed(perspectiveCorners(0.5, 0.3, 1.0, 8.0), rng, round % 2 == 1);
        const Frustum frustum(corners.data());
        const int faces[6][4] = {{0, 1, 2, 3}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                 {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};
        Vector centre;
        for (const Point& p : corners)
            centre += Vector(p) / 8.0;
        for (int f = 0; f < 6; ++f)
        {
            const oxLinear::Plane& plane = frustum.getPlane(f);
            for (int k = 0; k < 4; ++k)
                EXPECT_NEAR(plane.signedDistance(corners[faces[f][k]]), 0.0, 1e-12);
            for (int i = 0; i < 8; ++i)
                EXPECT_LE(plane.signedDistance(corners[i]), 1e-12);
            EXPECT_LT(plane.signedDistance(Point(centre)), -0.1) << "plane " << f;
        }
        EXPECT_EQ(frustum.getCorner(9), frustum.getCorner(7));
        EXPECT_EQ(frustum.getPlane(-1).point(), frustum.getPlane(0).point());
    }
}

TEST(Frustum, viewVectorRunsFromTheNearFaceToTheFarFace)
{
    const std::vector<Point> corners = perspectiveCorners(0.5, 0.3, 2.0, 20.0);
    const Frustum frustum(corners.data());
    EXPECT_TRUE(oxLinear::equivalent(frustum.getVector(), Vector(0, 0, -1), 1e-15));
    const oxLinear::Line ray = frustum.getRay();
    EXPECT_TRUE(oxLinear::equivalent(ray.origin(), Point(0, 0, -2), 1e-15));
    EXPECT_TRUE(oxLinear::equivalent(ray.direction(), Vector(0, 0, -1), 1e-15));

    const Frustum unit;
    EXPECT_EQ(unit.getVector(), Vector(0, 0, 1));
    EXPECT_EQ(unit.getCorner(0), Point(-1, -1, -1));
    EXPECT_EQ(unit.getCorner(6), Point(1, 1, 1));
    EXPECT_EQ(unit.getPlane(1).normal().asVector(), Vector(0, 0, 1));

    // A pyramid with its apex at the eye: the near face has no normal and
    // rejects nothing, the other planes still cull.
    std::vector<Point> pyramid = perspectiveCorners(0.0, 0.0, 1.0, 5.0);
    for (int i = 4; i < 8; ++i)
        pyramid[i] = perspectiveCorners(1.0, 1.0, 1.0, 5.0)[i];
    const Frustum apex(pyramid.data());
    EXPECT_FALSE(apex.getPlane(0).isValid());
    EXPECT_TRUE(oxGeom::intersects(boxAround(Point(0, 0, -1), 0.1), apex));
    EXPECT_FALSE(oxGeom::intersects(boxAround(Point(0, 0, 1), 0.1), apex));
    EXPECT_FALSE(oxGeom::intersects(boxAround(Point(3, 0, -2), 0.1), apex));
}

TEST(Frustum, boxTestNeverRejectsABoxThatOverlaps)
{
    std::mt19937 rng(92);
    int rejected = 0;
    for (int round = 0; round < 24; ++round)
    {
        const std::vector<Point> corners =
            placed(perspectiveCorners(0.6, 0.4, 0.5, 4.0), rng, round % 3 == 0);
        const Frustum frustum(corners.data());
        for (int b = 0; b < 50; ++b)
        {
            const Point centre(4 * testsupport::uniform(rng, -2, 2),
                               4 * testsupport::uniform(rng, -2, 2),
                               4 * testsupport::uniform(rng, -2, 2));
            const BoundingBox box = boxAround(centre, testsupport::uniform(rng, 0.01f, 1.5f));
            bool overlaps = false;
            // Points of the box inside the frustum, and points of the frustum inside the box.
            for (int s = 0; s < 120 && !overlaps; ++s)
            {
                const Point inBox(testsupport::uniform(rng, box[0], box[3]),
                                  testsupport::uniform(rng, box[1], box[4]),
                                  testsupport::uniform(rng, box[2], box[5]));
                const Point inFrustum =
                    blend(frustum, testsupport::uniform(rng, 0, 1), testsupport::uniform(rng, 0, 1),
                          testsupport::uniform(rng, 0, 1));
                overlaps =
                    insideFrustum(frustum, inBox) || box.contains(oxLinear::PointFlt(inFrustum));
            }
            const bool accepted = oxGeom::intersects(box, frustum);
            if (overlaps)
            {
                EXPECT_TRUE(accepted) << "round " << round << " box " << b;
            }
            rejected += accepted ? 0 : 1;
        }
    }
    EXPECT_GT(rejected, 600);  // the test culls, not just accepts
}

TEST(Frustum, eachStageRejectsWhatTheOtherCannot)
{
    // The unit cube turned 45 degrees about z: a diamond in x, y with vertices at
    // (+-sqrt2, 0) and (0, +-sqrt2).
    std::vector<Point> corners(8);
    const Frustum cube;
    const double c = std::sqrt(0.5);
    for (int i = 0; i < 8; ++i)
    {
        const Point& p = cube.getCorner(i);
        corners[i] = Point(c * (p[0] - p[1]), c * (p[0] + p[1]), p[2]);
    }
    const Frustum diamond(corners.data());

    // A slab right of the diamond's tip: no diamond plane has all its corners
    // outside, but all eight diamond corners lie below its minimum x.
    const double slab[6] = {1.5, -2.0, -2.0, 2.0, 2.0, 2.0};
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(slab), diamond));
    // A small box past a diagonal side: the corners straddle it on every axis,
    // but the side's plane has the whole box above it.
    const double corner[6] = {1.0, 1.0, -0.1, 1.2, 1.2, 0.1};
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(corner), diamond));
    // Touching the tip counts; so does holding the whole frustum, and lying inside it.
    const double tip[6] = {std::sqrt(2.0), -0.1, -0.1, 2.0, 0.1, 0.1};
    EXPECT_TRUE(oxGeom::intersects(BoundingBox(tip), diamond));
    const double all[6] = {-5, -5, -5, 5, 5, 5};
    EXPECT_TRUE(oxGeom::intersects(BoundingBox(all), diamond));
    const double inner[6] = {-0.1, -0.1, -0.1, 0.1, 0.1, 0.1};
    EXPECT_TRUE(oxGeom::intersects(BoundingBox(inner), diamond));
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(), diamond));
}
