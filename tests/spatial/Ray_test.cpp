#include <oxGeom/Ray.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

using oxGeom::BoundingBox;
using oxGeom::Ray;
using oxLinear::PointFlt;
using oxLinear::Vector;

namespace
{
BoundingBox unitBox()
{
    const double values[6] = {0, 0, 0, 1, 1, 1};
    return BoundingBox(values);
}

/// The parameter interval of the ray inside the closed box, in double; false
/// when the line misses the box.
bool exactClip(const PointFlt& o, const Vector& d, const BoundingBox& box, double& tNear,
               double& tFar)
{
    tNear = -std::numeric_limits<double>::infinity();
    tFar = std::numeric_limits<double>::infinity();
    for (int axis = 0; axis < 3; ++axis)
    {
        if (d[axis] == 0.0)
        {
            if (o[axis] < box[axis] || o[axis] > box[axis + 3])
                return false;
            continue;
        }
        double t0 = (box[axis] - static_cast<double>(o[axis])) / d[axis];
        double t1 = (box[axis + 3] - static_cast<double>(o[axis])) / d[axis];
        if (t0 > t1)
            std::swap(t0, t1);
        tNear = std::max(tNear, t0);
        tFar = std::min(tFar, t1);
    }
    return tNear <= tFar;
}
}  // namespace

TEST(Ray, nearAndFarIndicesFollowTheDirectionSigns)
{
    const PointFlt origin(1, 2, 3);
    const Vector direction(2.0, -4.0, 0.0);
    const Ray ray(origin, direction);
    EXPECT_EQ(&ray.origin(), &origin);
    EXPECT_EQ(&ray.direction(), &direction);
    EXPECT_EQ(ray.reciprocal()[0], 0.5f);
    EXPECT_EQ(ray.reciprocal()[1], -0.25f);
    EXPECT_EQ(ray.reciprocal()[2], std::numeric_limits<float>::infinity());
    EXPECT_EQ(ray.nearIndex(0), 0);
    EXPECT_EQ(ray.farIndex(0), 3);
    EXPECT_EQ(ray.nearIndex(1), 4);
    EXPECT_EQ(ray.farIndex(1), 1);
    EXPECT_EQ(ray.nearIndex(2), 2);  // +0 gives +infinity: not negative
    EXPECT_EQ(ray.farIndex(2), 5);

    const Vector negativeZero(0.0, 0.0, -0.0);
    const Ray back(origin, negativeZero);
    EXPECT_EQ(back.nearIndex(2), 5);
    EXPECT_EQ(back.farIndex(2), 2);
    EXPECT_EQ(back.nearIndex(7), back.nearIndex(2));  // axis clamped

    EXPECT_EQ(ray.triIntersectionRayParam(), 3.4028234663852886e38);
    EXPECT_EQ(ray.triIntersectionBaryU(), 0.0);
    EXPECT_EQ(ray.triIntersectionBaryV(), 0.0);
}

TEST(Ray, slabTestMatchesAnExactClip)
{
    std::mt19937 rng(121);
    int hits = 0, misses = 0;
    for (int i = 0; i < 20000; ++i)
    {
        const float a = testsupport::uniform(rng, -2, 2), b = testsupport::uniform(rng, -2, 2);
        const double values[6] = {
            a, b, -1, a + testsupport::uniform(rng, 0, 2), b + testsupport::uniform(rng, 0, 2), 1};
        const BoundingBox box(values);
        const PointFlt origin(testsupport::uniform(rng, -3, 3), testsupport::uniform(rng, -3, 3),
                              testsupport::uniform(rng, -3, 3));
        Vector direction(testsupport::uniform(rng, -1, 1), testsupport::uniform(rng, -1, 1),
                         testsupport::uniform(rng, -1, 1));
        if (i % 2 == 0)  // aim roughly at the box half of the time
            direction += Vector(a + 0.5 - origin[0], b + 0.5 - origin[1], -origin[2]);
        if (i % 5 == 0)
            direction[i % 3] = 0.0;  // parallel to one pair of faces
        const float tmin = testsupport::uniform(rng, -2, 1);
        const float tmax = tmin + testsupport::uniform(rng, 0, 6);
        double tNear, tFar;
        const bool meets = exactClip(origin, direction, box, tNear, tFar);
        // Float rounding decides near-ties either way: skip them.
        const double slack = 1e-4;
        if (meets && (tFar - tNear < slack || std::fabs(tNear - tmax) < slack ||
                      std::fabs(tFar - tmin) < slack))
            continue;
        const bool expected = meets && tNear < tmax && tFar > tmin;
        const Ray ray(origin, direction);
        ASSERT_EQ(ray.intersects(box, tmin, tmax), expected) << "case " << i;
        (expected ? hits : misses) += 1;
    }
    EXPECT_GT(hits, 2000);
    EXPECT_GT(misses, 2000);
}

TEST(Ray, raysAlongAFaceAndDegenerateBoxes)
{
    // Parallel to the x slabs with the origin exactly on the plane x = 0 or x = 1:
    // 0 * infinity must not poison the test; the ray runs along the face.
    const Vector up(0.0, 1.0, 0.0);
    for (float x : {0.0f, 1.0f})
    {
        const PointFlt onFace(x, -1.0f, 0.5f);
        EXPECT_TRUE(Ray(onFace, up).intersects(unitBox(), 0.0f, FLT_MAX)) << x;
    }
    const PointFlt beside(1.5f, -1.0f, 0.5f);
    EXPECT_FALSE(Ray(beside, up).intersects(unitBox(), 0.0f, FLT_MAX));
    // Origin on the plane and inside the box in the other axes.
    const PointFlt inFace(0.0f, 0.5f, 0.5f);
    EXPECT_TRUE(Ray(inFace, up).intersects(unitBox(), 0.0f, FLT_MAX));

    // Behind the origin, and beyond tmax.
    const PointFlt above(0.5f, 3.0f, 0.5f);
    EXPECT_FALSE(Ray(above, up).intersects(unitBox(), 0.0f, FLT_MAX));
    EXPECT_TRUE(Ray(above, up).intersects(unitBox(), -5.0f, 0.0f));
    const PointFlt below(0.5f, -3.0f, 0.5f);
    EXPECT_FALSE(Ray(below, up).intersects(unitBox(), 0.0f, 2.5f));
    EXPECT_TRUE(Ray(below, up).intersects(unitBox(), 0.0f, 3.5f));

    // The empty box is never hit; a zero-volume box is hit when the ray passes it.
    EXPECT_FALSE(Ray(below, up).intersects(BoundingBox(), -FLT_MAX, FLT_MAX));
    const float point[3] = {0.5f, 0.0f, 0.5f};
    EXPECT_TRUE(Ray(below, up).intersects(BoundingBox(point, 0.0f), 0.0f, FLT_MAX));
    // A zero direction meets only boxes holding the origin.
    const Vector zero;
    EXPECT_TRUE(Ray(inFace, zero).intersects(unitBox(), 0.0f, FLT_MAX));
    EXPECT_FALSE(Ray(beside, zero).intersects(unitBox(), 0.0f, FLT_MAX));
}

TEST(Ray, recordIntersectionKeepsTheNearest)
{
    const PointFlt origin;
    const Vector direction(0, 0, 1);
    const Ray ray(origin, direction);
    EXPECT_TRUE(ray.recordIntersection(5.0, 0.1, 0.2));
    EXPECT_FALSE(ray.recordIntersection(7.0, 0.3, 0.3));
    EXPECT_FALSE(ray.recordIntersection(5.0, 0.4, 0.4));  // equal is not nearer
    EXPECT_FALSE(ray.recordIntersection(std::nan(""), 0.4, 0.4));
    EXPECT_EQ(ray.triIntersectionRayParam(), 5.0);
    EXPECT_EQ(ray.triIntersectionBaryU(), 0.1);
    EXPECT_TRUE(ray.recordIntersection(-1.0, 0.5, 0.25));
    EXPECT_EQ(ray.triIntersectionBaryV(), 0.25);

    const Ray copy = ray;  // a copy carries the record
    EXPECT_EQ(copy.triIntersectionRayParam(), -1.0);
    ray.resetIntersection();
    EXPECT_EQ(ray.triIntersectionRayParam(), 3.4028234663852886e38);
    EXPECT_EQ(ray.triIntersectionBaryU(), 0.0);
    EXPECT_EQ(copy.triIntersectionRayParam(), -1.0);
}
