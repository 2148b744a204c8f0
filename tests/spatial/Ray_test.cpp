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
    // Copies of one triangle (front faces seen from above) stacked along a ray
    // cast down from z = 5, plus one off to the side:
    //
    //   z=6  ----      behind the origin: not counted
    //   z=5  ----      through the origin (t = 0): not counted
    //   z=3  ----      t = 2, the nearest
    //   z=2  ----      t = 3
    //   z=1  ----      t = 4
    const oxGeom::MeshVertex vertices[] = {
        {{0, 0, 3}}, {{1, 0, 3}}, {{0, 1, 3}}, {{0, 0, 1}}, {{1, 0, 1}}, {{0, 1, 1}},
        {{0, 0, 2}}, {{1, 0, 2}}, {{0, 1, 2}}, {{0, 0, 6}}, {{1, 0, 6}}, {{0, 1, 6}},
        {{5, 0, 2}}, {{6, 0, 2}}, {{5, 1, 2}}, {{0, 0, 5}}, {{1, 0, 5}}, {{0, 1, 5}}};
    const oxGeom::MeshTriangle z3{{0, 1, 2}}, z1{{3, 4, 5}}, z2{{6, 7, 8}}, z6{{9, 10, 11}},
        aside{{12, 13, 14}}, atOrigin{{15, 16, 17}};
    const PointFlt origin(0.25f, 0.5f, 5.0f);
    const Vector down(0, 0, -1);
    const Ray ray(origin, down);
    EXPECT_TRUE(ray.intersects(z1, vertices));
    EXPECT_EQ(ray.triIntersectionRayParam(), 4.0);
    EXPECT_TRUE(ray.intersects(z3, vertices));
    EXPECT_EQ(ray.triIntersectionRayParam(), 2.0);
    EXPECT_TRUE(ray.intersects(z2, vertices));  // farther: counted, record kept
    EXPECT_EQ(ray.triIntersectionRayParam(), 2.0);
    EXPECT_EQ(ray.triIntersectionBaryU(), 0.25);
    EXPECT_EQ(ray.triIntersectionBaryV(), 0.5);
    // A front face behind the origin is reported by the raw test with t < 0,
    // and a face through the origin at t = 0: neither counts for the ray.
    EXPECT_FALSE(ray.intersects(z6, vertices));
    EXPECT_FALSE(ray.intersects(atOrigin, vertices));
    EXPECT_FALSE(ray.intersects(aside, vertices));
    EXPECT_EQ(ray.triIntersectionRayParam(), 2.0);
    // Cast up from below, every face is a back face: counted from t >= 1e-6 on.
    const PointFlt low(0.25f, 0.5f, 0.0f);
    const Vector up(0, 0, 1);
    const Ray upRay(low, up);
    EXPECT_TRUE(upRay.intersects(z2, vertices));
    EXPECT_TRUE(upRay.intersects(z1, vertices));
    EXPECT_EQ(upRay.triIntersectionRayParam(), 1.0);
}

TEST(Ray, octreeWalkFindsTheBruteForceNearestHit)
{
    // Every leaf the ray meets, every triangle listed there: the recorded hit
    // must be the nearest over all triangles, although each is tried in
    // several leaves and the leaves come in walk order.
    struct Case
    {
        const char* name;
        oxGeom::CompactMesh mesh;
        float low, high;  // origins are drawn in this cube
    };
    Case cases[] = {{"icosphere", fixtures::icosphere(3, 1.0f), -1.5f, 1.5f},
                    {"soup", fixtures::randomMesh(5, 300, 600), -0.5f, 1.5f}};
    std::mt19937 rng(99);
    for (Case& c : cases)
    {
        const testsupport::RayQueryScene scene(std::move(c.mesh));
        const oxGeom::MeshVertex* vertices = scene.mesh.getVertices();
        const oxGeom::MeshTriangle* triangles = scene.mesh.getTriangles();
        int hits = 0;
        for (int i = 0; i < 300; ++i)
        {
            const PointFlt origin(testsupport::uniform(rng, c.low, c.high),
                                  testsupport::uniform(rng, c.low, c.high),
                                  testsupport::uniform(rng, c.low, c.high));
            Vector direction(testsupport::uniform(rng, -1, 1), testsupport::uniform(rng, -1, 1),
                             testsupport::uniform(rng, -1, 1));
            if (i % 3 != 0)  // aimed at the middle of the mesh, otherwise any way
                direction =
                    Vector(0.5 * (c.low + c.high) - origin[0], 0.5 * (c.low + c.high) - origin[1],
                           0.5 * (c.low + c.high) - origin[2]) +
                    0.3 * direction;
            double bestT = 3.4028234663852886e38;
            for (int t = 0; t < scene.mesh.getNumTriangles(); ++t)
            {
                double hitT, u, v;
                const oxGeom::MeshTriangle& tri = triangles[t];
                if (oxGeom::intersectRayTriangle(direction.data(), origin.data(),
                                                 vertices[tri[0]].v, vertices[tri[1]].v,
                                                 vertices[tri[2]].v, hitT, u, v) &&
                    hitT > 1e-6 && hitT < bestT)
                    bestT = hitT;
            }
            const Ray ray(origin, direction);
            for (oxGeom::OctreeRayIntersectIt it(scene.octree, ray); it.valid(); it.next())
            {
                const int leaf = it.get().getLeafNumber();
                for (int k = 0; k < scene.tris.numTris(leaf); ++k)
                    ray.intersects(triangles[scene.tris.firstTri(leaf)[k]], vertices);
            }
            ASSERT_EQ(ray.triIntersectionRayParam(), bestT) << c.name << " ray " << i;
            hits += bestT < 1e30;
        }
        EXPECT_GT(hits, 100) << c.name;
    }
}
