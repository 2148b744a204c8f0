#include <oxGeom/Ray.h>

#include <oxGeom/OctreeIterators.h>

#include "support/meshes.h"
#include "support/octreeOracle.h"
#include "support/rayQueryScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Ray;
using oxLinear::PointFlt;
using oxLinear::Vector;

TEST(Ray, nearAndFarIndicesFollowTheDirectionSigns)
{
    const PointFlt origin(1, 2, 3);
    const Vector direction(2.0, -4.0, 0.0);
    const Ray ray(origin, direction);
    EXPECT_TRUE(&ray.origin() == &origin && &ray.direction() == &direction);  // not copied
    EXPECT_EQ(ray.reciprocal()[0], 0.5f);
    EXPECT_EQ(ray.reciprocal()[1], -0.25f);
    EXPECT_EQ(ray.reciprocal()[2], std::numeric_limits<float>::infinity());
    const int expected[3][2] = {{0, 3}, {4, 1}, {2, 5}};  // +0 gives +infinity: not negative
    for (int axis = 0; axis < 3; ++axis)
    {
        EXPECT_EQ(ray.nearIndex(axis), expected[axis][0]);
        EXPECT_EQ(ray.farIndex(axis), expected[axis][1]);
    }
    const Vector negativeZero(0.0, 0.0, -0.0);
    const Ray back(origin, negativeZero);
    EXPECT_EQ(back.nearIndex(2), 5);
    EXPECT_EQ(back.farIndex(2), 2);
    EXPECT_EQ(back.nearIndex(7), 5);  // axis clamped
    EXPECT_EQ(ray.triIntersectionRayParam(), 3.4028234663852886e38);
    EXPECT_EQ(ray.triIntersectionBaryU() + ray.triIntersectionBaryV(), 0.0);
}

TEST(Ray, slabTestMatchesAnExactClip)
{
    std::mt19937 rng(121);
    int outcomes[2] = {0, 0};
    for (int i = 0; i < 20000; ++i)
    {
        const float a = testsupport::uniform(rng, -2, 2), b = testsupport::uniform(rng, -2, 2);
        const BoundingBox box = testsupport::makeBox(a, b, -1, a + testsupport::uniform(rng, 0, 2),
                                                     b + testsupport::uniform(rng, 0, 2), 1);
        const PointFlt o(testsupport::uniform(rng, -3, 3), testsupport::uniform(rng, -3, 3),
                         testsupport::uniform(rng, -3, 3));
        Vector d(testsupport::uniform(rng, -1, 1), testsupport::uniform(rng, -1, 1),
                 testsupport::uniform(rng, -1, 1));
        if (i % 2 == 0)  // aim roughly at the box half of the time
            d += Vector(a + 0.5 - o[0], b + 0.5 - o[1], -o[2]);
        if (i % 5 == 0)
            d[i % 3] = 0.0;  // parallel to one pair of faces
        const float tmin = testsupport::uniform(rng, -2, 1);
        const float tmax = tmin + testsupport::uniform(rng, 0, 6);
        // The parameter interval inside the box, in double.
        double tNear = -INFINITY, tFar = INFINITY;
        bool meets = true;
        for (int axis = 0; axis < 3; ++axis)
        {
            if (d[axis] == 0.0)
            {
                meets = meets && o[axis] >= box[axis] && o[axis] <= box[axis + 3];
                continue;
            }
            const double t0 = (box[axis] - double(o[axis])) / d[axis];
            const double t1 = (box[axis + 3] - double(o[axis])) / d[axis];
            tNear = std::max(tNear, std::min(t0, t1));
            tFar = std::min(tFar, std::max(t0, t1));
        }
        meets = meets && tNear <= tFar;
        // Float rounding decides near-ties either way: skip them.
        if (meets &&
            std::min({tFar - tNear, std::fabs(tNear - tmax), std::fabs(tFar - tmin)}) < 1e-4)
            continue;
        const bool expected = meets && tNear < tmax && tFar > tmin;
        ASSERT_EQ(Ray(o, d).intersects(box, tmin, tmax), expected) << "case " << i;
        ++outcomes[expected];
    }
    EXPECT_GT(std::min(outcomes[0], outcomes[1]), 2000);
}

TEST(Ray, raysAlongAFaceAndDegenerateBoxes)
{
    const BoundingBox unit = testsupport::makeBox(0, 0, 0, 1, 1, 1);
    const Vector up(0.0, 1.0, 0.0);
    const Vector zero;
    // Parallel to the x slabs with the origin on the plane x = 0 or x = 1:
    // 0 * infinity must not poison the test; the ray runs along the face.
    const PointFlt onLow(0.0f, -1.0f, 0.5f), onHigh(1.0f, -1.0f, 0.5f), inFace(0, 0.5f, 0.5f);
    EXPECT_TRUE(Ray(onLow, up).intersects(unit, 0.0f, FLT_MAX));
    EXPECT_TRUE(Ray(onHigh, up).intersects(unit, 0.0f, FLT_MAX));
    EXPECT_TRUE(Ray(inFace, up).intersects(unit, 0.0f, FLT_MAX));
    const PointFlt beside(1.5f, -1.0f, 0.5f);
    EXPECT_FALSE(Ray(beside, up).intersects(unit, 0.0f, FLT_MAX));
    // Behind the origin; before and after tmax.
    const PointFlt above(0.5f, 3.0f, 0.5f), below(0.5f, -3.0f, 0.5f);
    EXPECT_FALSE(Ray(above, up).intersects(unit, 0.0f, FLT_MAX));
    EXPECT_TRUE(Ray(above, up).intersects(unit, -5.0f, 0.0f));
    EXPECT_FALSE(Ray(below, up).intersects(unit, 0.0f, 2.5f));
    EXPECT_TRUE(Ray(below, up).intersects(unit, 0.0f, 3.5f));
    // The empty box is never hit; a point box on the ray is.
    EXPECT_FALSE(Ray(below, up).intersects(BoundingBox(), -FLT_MAX, FLT_MAX));
    const float point[3] = {0.5f, 0.0f, 0.5f};
    EXPECT_TRUE(Ray(below, up).intersects(BoundingBox(point, 0.0f), 0.0f, FLT_MAX));
    // A zero direction meets only boxes holding the origin.
    EXPECT_TRUE(Ray(inFace, zero).intersects(unit, 0.0f, FLT_MAX));
    EXPECT_FALSE(Ray(beside, zero).intersects(unit, 0.0f, FLT_MAX));
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
    const Ray copy = ray;  // a copy carries the record and keeps it
    ray.resetIntersection();
    EXPECT_EQ(ray.triIntersectionRayParam(), 3.4028234663852886e38);
    EXPECT_EQ(ray.triIntersectionBaryU(), 0.0);
    EXPECT_EQ(copy.triIntersectionRayParam(), -1.0);
}

TEST(Ray, triangleTestKeepsTheNearestAndCountsEveryHit)
{
    // One triangle copied to the heights z below, a ray cast down from z = 5:
    // t = 4, 2, 3 are counted (nearest t = 2 kept); z = 6 lies behind the
    // origin and z = 5 at t = 0, neither counts. Cast up from z = 0 the faces
    // are back faces, counted ahead of the origin.
    const float heights[] = {1, 3, 2, 6, 5};
    std::vector<oxGeom::MeshVertex> vertices;
    for (float z : heights)
        vertices.insert(vertices.end(), {{{0, 0, z}}, {{1, 0, z}}, {{0, 1, z}}});
    auto tri = [](int i) { return oxGeom::MeshTriangle{{3 * i, 3 * i + 1, 3 * i + 2}}; };
    const PointFlt top(0.25f, 0.5f, 5.0f), bottom(0.25f, 0.5f, 0.0f);
    const Vector down(0, 0, -1), up(0, 0, 1);
    const Ray ray(top, down), upRay(bottom, up);
    const bool counted[] = {true, true, true, false, false};
    const double nearest[] = {4, 2, 2, 2, 2};
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(ray.intersects(tri(i), vertices.data()), counted[i]) << i;
        EXPECT_EQ(ray.triIntersectionRayParam(), nearest[i]) << i;
    }
    EXPECT_TRUE(ray.triIntersectionBaryU() == 0.25 && ray.triIntersectionBaryV() == 0.5);
    EXPECT_TRUE(upRay.intersects(tri(2), vertices.data()) &&
                upRay.intersects(tri(0), vertices.data()));
    EXPECT_EQ(upRay.triIntersectionRayParam(), 1.0);
}

TEST(Ray, octreeWalkFindsTheBruteForceNearestHit)
{
    // Every triangle listed in every leaf the ray meets: the record must be
    // the nearest hit over all triangles (icosphere, random soup).
    oxGeom::CompactMesh meshes[] = {fixtures::icosphere(3, 1.0f),
                                    fixtures::randomMesh(5, 300, 600)};
    std::mt19937 rng(99);
    for (oxGeom::CompactMesh& mesh : meshes)
    {
        const testsupport::RayQueryScene scene(std::move(mesh));
        const oxGeom::MeshVertex* vertices = scene.mesh.getVertices();
        const oxGeom::MeshTriangle* triangles = scene.mesh.getTriangles();
        const float* box = scene.bounds.data();
        int hits = 0;
        for (int i = 0; i < 300; ++i)
        {
            PointFlt origin;
            Vector direction;
            for (int k = 0; k < 3; ++k)  // origins round the mesh, two thirds aimed at its middle
            {
                const float middle = 0.5f * (box[k] + box[k + 3]), size = box[k + 3] - box[k];
                origin[k] = testsupport::uniform(rng, middle - size, middle + size);
                direction[k] = testsupport::uniform(rng, -1, 1) + (i % 3 ? middle - origin[k] : 0);
            }
            double bestT = 3.4028234663852886e38, t, u, v;
            for (int k = 0; k < scene.mesh.getNumTriangles(); ++k)
                if (oxGeom::intersectRayTriangle(
                        direction.data(), origin.data(), vertices[triangles[k][0]].v,
                        vertices[triangles[k][1]].v, vertices[triangles[k][2]].v, t, u, v) &&
                    t > 1e-6 && t < bestT)
                    bestT = t;
            const Ray ray(origin, direction);
            for (oxGeom::OctreeRayIntersectIt it(scene.octree, ray); it.valid(); it.next())
            {
                const int leaf = it.get().getLeafNumber();
                for (int k = 0; k < scene.tris.numTris(leaf); ++k)
                    ray.intersects(triangles[scene.tris.firstTri(leaf)[k]], vertices);
            }
            ASSERT_EQ(ray.triIntersectionRayParam(), bestT) << i;
            hits += bestT < 1e30;
        }
        EXPECT_GT(hits, 100);
    }
}
