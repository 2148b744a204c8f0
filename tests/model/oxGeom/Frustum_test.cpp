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
/// A view volume looking down -z from the origin: near face at z = -n with half
/// sizes w, h; far face at z = -f, scaled by f / n. Under a random rotation
/// (mirrored when asked) and shift when `rng` is given.
Frustum perspective(double w, double h, double n, double f, std::mt19937* rng = nullptr,
                    bool mirror = false)
{
    const double s = f / n;
    Point corners[8] = {Point(-w, -h, -n),         Point(w, -h, -n),
                        Point(w, h, -n),           Point(-w, h, -n),
                        Point(-w * s, -h * s, -f), Point(w * s, -h * s, -f),
                        Point(w * s, h * s, -f),   Point(-w * s, h * s, -f)};
    if (rng)
    {
        auto r = [&] { return double(testsupport::uniform(*rng, -1.0f, 1.0f)); };
        const Vector a = Vector(r(), r(), r()).normalized();
        const Vector b =
            oxLinear::cross(a, a.orthogonalVector() + Vector(r(), r(), r()) * 0.3).normalized();
        const Vector c = oxLinear::cross(a, b) * (mirror ? -1.0 : 1.0);
        const Vector shift(3 * r(), 3 * r(), 3 * r());
        for (Point& p : corners)
            p = Point(a * p[0] + b * p[1] + c * p[2] + shift);
    }
    return Frustum(corners);
}

/// A random point of the frustum: a trilinear blend of its corners.
Point blend(const Frustum& f, std::mt19937& rng)
{
    auto mix = [](const Point& p, const Point& q, double t) { return p + (q - p) * t; };
    const double u = testsupport::uniform(rng, 0, 1), v = testsupport::uniform(rng, 0, 1);
    const Point nearPoint =
        mix(mix(f.getCorner(0), f.getCorner(1), u), mix(f.getCorner(3), f.getCorner(2), u), v);
    const Point farPoint =
        mix(mix(f.getCorner(4), f.getCorner(5), u), mix(f.getCorner(7), f.getCorner(6), u), v);
    return mix(nearPoint, farPoint, testsupport::uniform(rng, 0, 1));
}

bool inside(const Frustum& frustum, const Point& p)
{
    for (int i = 0; i < 6; ++i)
        if (frustum.getPlane(i).signedDistance(p) > 0.0)
            return false;
    return true;
}
}  // namespace

TEST(Frustum, planesPointOutwardsAndTheViewRunsFromNearToFar)
{
    std::mt19937 rng(91);
    const int faces[6][4] = {{0, 1, 2, 3}, {4, 5, 6, 7}, {0, 1, 5, 4},
                             {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};
    for (int round = 0; round < 20; ++round)
    {
        const Frustum frustum = perspective(0.5, 0.3, 1.0, 8.0, &rng, round % 2 == 1);
        Vector centre;
        for (int i = 0; i < 8; ++i)
            centre += Vector(frustum.getCorner(i)) / 8.0;
        for (int f = 0; f < 6; ++f)
        {
            const oxLinear::Plane& plane = frustum.getPlane(f);
            for (int k = 0; k < 4; ++k)
                EXPECT_NEAR(plane.signedDistance(frustum.getCorner(faces[f][k])), 0.0, 1e-12);
            EXPECT_LT(plane.signedDistance(Point(centre)), -0.1) << "plane " << f;
        }
    }
    const Frustum unit;  // [-1, 1]^3, near face at z = -1
    EXPECT_EQ(unit.getCorner(6), Point(1, 1, 1));
    EXPECT_EQ(unit.getCorner(9), unit.getCorner(7));  // index clamped
    EXPECT_EQ(unit.getPlane(1).normal().asVector(), Vector(0, 0, 1));
    EXPECT_EQ(unit.getVector(), Vector(0, 0, 1));
    const Frustum frustum = perspective(0.5, 0.3, 2.0, 20.0);
    EXPECT_TRUE(oxLinear::equivalent(frustum.getVector(), Vector(0, 0, -1), 1e-15));
    EXPECT_TRUE(oxLinear::equivalent(frustum.getRay().origin(), Point(0, 0, -2), 1e-15));
    EXPECT_TRUE(oxLinear::equivalent(frustum.getRay().direction(), Vector(0, 0, -1), 1e-15));

    // A pyramid with its apex at the eye: the collapsed near face gets no
    // normal and culls nothing; the other planes still cull.
    Point corners[8];
    for (int i = 0; i < 8; ++i)
        corners[i] = i < 4 ? Point() : perspective(1, 1, 1, 5).getCorner(i);
    const Frustum apex(corners);
    EXPECT_FALSE(apex.getPlane(0).isValid());
    EXPECT_TRUE(oxGeom::intersects(testsupport::makeBox(-.1, -.1, -1.1, .1, .1, -.9), apex));
    EXPECT_FALSE(oxGeom::intersects(testsupport::makeBox(-.1, -.1, .9, .1, .1, 1.1), apex));
}

TEST(Frustum, boxTestNeverRejectsABoxThatOverlaps)
{
    std::mt19937 rng(92);
    int rejected = 0;
    for (int round = 0; round < 24; ++round)
    {
        const Frustum frustum = perspective(0.6, 0.4, 0.5, 4.0, &rng, round % 3 == 0);
        for (int b = 0; b < 50; ++b)
        {
            const Point c(testsupport::uniform(rng, -8, 8), testsupport::uniform(rng, -8, 8),
                          testsupport::uniform(rng, -8, 8));
            const double half = testsupport::uniform(rng, 0.01f, 1.5f);
            const BoundingBox box = testsupport::makeBox(c[0] - half, c[1] - half, c[2] - half,
                                                         c[0] + half, c[1] + half, c[2] + half);
            // Sample the box for a point inside the frustum, and the frustum (a
            // blend of its corners) for a point inside the box.
            bool overlaps = false;
            for (int s = 0; s < 120 && !overlaps; ++s)
            {
                const Point p(testsupport::uniform(rng, box[0], box[3]),
                              testsupport::uniform(rng, box[1], box[4]),
                              testsupport::uniform(rng, box[2], box[5]));
                overlaps =
                    inside(frustum, p) || box.contains(oxLinear::PointFlt(blend(frustum, rng)));
            }
            const bool accepted = oxGeom::intersects(box, frustum);
            EXPECT_TRUE(accepted || !overlaps) << "round " << round << " box " << b;
            rejected += accepted ? 0 : 1;
        }
    }
    EXPECT_GT(rejected, 600);  // it culls, not just accepts
}

TEST(Frustum, eachStageRejectsWhatTheOtherCannot)
{
    // The unit cube turned 45 degrees about z: a diamond with tips at (+-sqrt2, 0).
    Point corners[8];
    const Frustum cube;
    const double c = std::sqrt(0.5);
    for (int i = 0; i < 8; ++i)
    {
        const Point& p = cube.getCorner(i);
        corners[i] = Point(c * (p[0] - p[1]), c * (p[0] + p[1]), p[2]);
    }
    const Frustum diamond(corners);
    // Right of the tip: no plane has the whole slab outside, but all eight
    // corners lie below its minimum x.
    EXPECT_FALSE(oxGeom::intersects(testsupport::makeBox(1.5, -2, -2, 2, 2, 2), diamond));
    // Past a diagonal side: the corners straddle the box on every axis, the
    // side's plane has the whole box above it.
    EXPECT_FALSE(oxGeom::intersects(testsupport::makeBox(1, 1, -.1, 1.2, 1.2, .1), diamond));
    EXPECT_TRUE(oxGeom::intersects(testsupport::makeBox(-5, -5, -5, 5, 5, 5), diamond));
    EXPECT_TRUE(oxGeom::intersects(testsupport::makeBox(-.1, -.1, -.1, .1, .1, .1), diamond));
    EXPECT_TRUE(oxGeom::intersects(testsupport::makeBox(std::sqrt(2.0), 0, 0, 2, 0, 0), diamond));
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(), diamond));
}
