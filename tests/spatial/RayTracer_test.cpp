#include <oxGeom/RayTracer.h>

#include <oxGeom/ArrayOfSets.h>

#include "support/meshes.h"
#include "support/rayTraceOracle.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::RayTracer;
using oxLinear::PointFlt;
using oxLinear::Vector;
using testsupport::TraceScene;

namespace
{
/// Exposes the stamp for the wrap test.
class StampedRayTracer : public RayTracer
{
public:
    using RayTracer::RayTracer;
    using RayTracer::setStamp;
    using RayTracer::stamp;
};

/// The nearest counted hit over all triangles, by Ray::intersects itself: what the tracer must
/// reproduce exactly (same arithmetic), whatever leaves it walks.
struct Nearest
{
    int triangle = -1;
    double t = DBL_MAX;
};

Nearest bruteForceNearest(const CompactMesh& mesh, const PointFlt& origin, const Vector& direction)
{
    const oxGeom::Ray ray(origin, direction);
    Nearest best;
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
        if (ray.intersects(mesh.getTriangles()[i], mesh.getVertices()) &&
            ray.triIntersectionRayParam() < best.t)
        {
            best.t = ray.triIntersectionRayParam();
            best.triangle = i;
        }
    return best;
}

std::vector<std::unique_ptr<TraceScene>> scenes()
{
    std::vector<std::unique_ptr<TraceScene>> list;
    list.emplace_back(new TraceScene("icosphere", fixtures::icosphere(2, 1.0f), 16));
    list.emplace_back(new TraceScene("icosphere leaf 2", fixtures::icosphere(2, 1.0f), 2));
    list.emplace_back(new TraceScene("soup", fixtures::randomMesh(41, 150, 250), 8));
    list.emplace_back(new TraceScene("scan grid", testsupport::scanGrid(14, 42), 4));
    return list;
}

/// A ray from in and around the scene's box towards a point of its box, so most rays hit.
void randomRay(const oxGeom::BoundingBox& box, std::mt19937& rng, PointFlt& origin, Vector& d)
{
    for (int axis = 0; axis < 3; ++axis)
    {
        const float side = std::max(box[axis + 3] - box[axis], 1e-3f);
        std::uniform_real_distribution<float> around(box[axis] - side, box[axis + 3] + side);
        std::uniform_real_distribution<float> inside(box[axis], box[axis + 3]);
        origin[axis] = around(rng);
        d[axis] = double(inside(rng)) - origin[axis];
    }
}
}  // namespace

TEST(RayTracer, nearestModeMatchesBruteForceOverAllTriangles)
{
    std::mt19937 rng(501);
    for (const auto& scene : scenes())
    {
        RayTracer tracer(scene->octree, scene->tris, &scene->mesh);
        tracer.setFindNearestHit(true);
        const testsupport::BruteForce bruteForce(scene->mesh);
        int hits = 0;
        const int rays = 1500 / testsupport::sanitizerRayDivisor;
        for (int r = 0; r < rays; ++r)
        {
            PointFlt origin;
            Vector d;
            randomRay(scene->bounds, rng, origin, d);
            if (r % 5 == 0)
                d[r % 3] = 0.0;  // axis-parallel rays take the infinite reciprocals
            const bool hit = tracer.intersect(origin, d);
            const Nearest expected = bruteForceNearest(scene->mesh, origin, d);
            ASSERT_EQ(hit, expected.triangle >= 0) << scene->name << " ray " << r;
            // Same arithmetic: the parameter is bit for bit the brute-force one; of two
            // triangles at the same parameter either may come first.
            EXPECT_EQ(tracer.intersectionDist(), hit ? expected.t : double(FLT_MAX))
                << scene->name << " ray " << r;
            if (hit && tracer.intersectionTriangle() != expected.triangle)
            {
                const oxGeom::Ray single(origin, d);
                single.intersects(scene->mesh.getTriangles()[tracer.intersectionTriangle()],
                                  scene->mesh.getVertices());
                EXPECT_EQ(single.triIntersectionRayParam(), expected.t);
            }
            // And an independent double-precision oracle agrees.
            const auto candidates = bruteForce.classify(origin, d, 1e-6);
            EXPECT_EQ(testsupport::judgeNearest(candidates, tracer.intersectionTriangle(),
                                                tracer.intersectionDist(), 1e-9),
                      "")
                << scene->name << " ray " << r;
            hits += hit ? 1 : 0;
        }
        EXPECT_GT(hits, rays / 3) << scene->name;
    }
}

TEST(RayTracer, firstHitModeStopsAtAHitAndLeavesTheDistanceAtTheLargestFloat)
{
    std::mt19937 rng(502);
    for (const auto& scene : scenes())
    {
        RayTracer tracer(scene->octree, scene->tris, &scene->mesh);
        EXPECT_FALSE(tracer.getFindNearestHit());
        const int rays = 800 / testsupport::sanitizerRayDivisor;
        for (int r = 0; r < rays; ++r)
        {
            PointFlt origin;
            Vector d;
            randomRay(scene->bounds, rng, origin, d);
            const bool hit = tracer.intersect(origin, d);
            const Nearest nearest = bruteForceNearest(scene->mesh, origin, d);
            ASSERT_EQ(hit, nearest.triangle >= 0) << scene->name << " ray " << r;
            EXPECT_EQ(tracer.intersectionDist(), 3.4028234663852886e38);
            if (!hit)
            {
                EXPECT_EQ(tracer.intersectionTriangle(), -1);
                continue;
            }
            // The reported triangle is a real hit, with its own barycentrics.
            const int t = tracer.intersectionTriangle();
            ASSERT_GE(t, 0);
            const oxGeom::Ray single(origin, d);
            ASSERT_TRUE(
                single.intersects(scene->mesh.getTriangles()[t], scene->mesh.getVertices()));
            EXPECT_EQ(tracer.intersectionBaryU(), single.triIntersectionBaryU());
            EXPECT_EQ(tracer.intersectionBaryV(), single.triIntersectionBaryV());
            // The walk stopped on a leaf; going on from there must stay safe (the ray it
            // refers to is the tracer's own copy).
            if (tracer.valid())
                tracer.next();
        }
    }
}

// A slanted triangle A listed in the first leaf the ray enters is hit far down the ray, and a
// small triangle B in a later leaf is hit nearer. Unreferenced vertices split the octree.
//
//   origin --> . . . . . B(x=5) . . . A(x=9)
//              \______ A spans from the first leaf to x = 9 ______/
TEST(RayTracer, nearestModeKeepsSearchingAfterAFartherHitInAnEarlierLeaf)
{
    std::vector<oxGeom::MeshVertex> vertices = {
        {{0.5f, -1.0f, -1.0f}}, {{9.0f, -1.0f, 3.0f}}, {{9.0f, 2.0f, -1.0f}},   // A
        {{5.0f, -0.2f, -0.2f}}, {{5.0f, 0.4f, -0.2f}}, {{5.0f, -0.2f, 0.4f}}};  // B
    std::mt19937 rng(503);
    std::uniform_real_distribution<float> spread(-1.0f, 10.0f);
    for (int i = 0; i < 400; ++i)
        vertices.push_back({{spread(rng), spread(rng) * 0.3f, spread(rng) * 0.3f}});
    CompactMesh mesh(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    const int triangles[6] = {0, 1, 2, 3, 4, 5};
    mesh.copyTriangles(2, triangles);
    const TraceScene scene("slanted", mesh, 8);
    ASSERT_GT(scene.octree.getNumLeaves(), 8);
    RayTracer tracer(scene.octree, scene.tris, &scene.mesh);
    const PointFlt origin(-0.5f, 0.0f, 0.0f);
    const Vector along(1.0, 0.0, 0.0);

    ASSERT_TRUE(tracer.intersect(origin, along));
    EXPECT_EQ(tracer.intersectionTriangle(), 0);  // first-hit mode: A comes first

    tracer.setFindNearestHit(true);
    ASSERT_TRUE(tracer.intersect(origin, along));
    EXPECT_EQ(tracer.intersectionTriangle(), 1);
    EXPECT_NEAR(tracer.intersectionDist(), 5.5, 1e-12);
    EXPECT_NEAR(tracer.intersectionBaryU(), 1.0 / 3.0, 1e-6);
    EXPECT_NEAR(tracer.intersectionBaryV(), 1.0 / 3.0, 1e-6);
}

TEST(RayTracer, stampWrapZeroesTheMarks)
{
    const TraceScene scene("icosphere", fixtures::icosphere(1, 1.0f), 4);
    StampedRayTracer tracer(scene.octree, scene.tris, &scene.mesh);
    tracer.setFindNearestHit(true);
    const PointFlt outsideX(3.0f, 0.1f, 0.2f), outsideY(0.1f, 3.0f, 0.2f);
    const Vector towardsX(-1.0, 0.0, 0.0), towardsY(0.0, -1.0, 0.0);
    EXPECT_EQ(tracer.stamp(), 1u);
    ASSERT_TRUE(tracer.intersect(outsideX, towardsX));  // marks its triangles with 1
    const double dist = tracer.intersectionDist();
    EXPECT_EQ(tracer.stamp(), 2u);

    tracer.setStamp(4294967294u);
    ASSERT_TRUE(tracer.intersect(outsideY, towardsY));  // other triangles; then the wrap
    EXPECT_EQ(tracer.stamp(), 1u);
    // Without the zeroing, the triangles along x would still carry mark 1 and be skipped.
    ASSERT_TRUE(tracer.intersect(outsideX, towardsX));
    EXPECT_EQ(tracer.intersectionDist(), dist);
    EXPECT_EQ(tracer.stamp(), 2u);

    tracer.setStamp(0);
    EXPECT_EQ(tracer.stamp(), 1u);
}

TEST(RayTracer, degenerateInputsGiveNoHit)
{
    const TraceScene scene("icosphere", fixtures::icosphere(1, 1.0f), 4);
    const PointFlt outside(3.0f, 0.1f, 0.2f);
    const Vector towards(-1.0, 0.0, 0.0);
    const float nan = std::numeric_limits<float>::quiet_NaN();

    RayTracer noMesh(scene.octree, scene.tris, nullptr);
    EXPECT_FALSE(noMesh.intersect(outside, towards));
    const CompactMesh empty = fixtures::emptyMesh();
    RayTracer emptyMesh(scene.octree, scene.tris, &empty);
    EXPECT_FALSE(emptyMesh.intersect(outside, towards));
    const oxGeom::Octree noNodes;
    RayTracer noOctree(noNodes, scene.tris, &scene.mesh);
    EXPECT_FALSE(noOctree.intersect(outside, towards));

    RayTracer tracer(scene.octree, scene.tris, &scene.mesh);
    tracer.setFindNearestHit(true);
    ASSERT_TRUE(tracer.intersect(outside, towards));
    EXPECT_FALSE(tracer.intersect(outside, Vector(0.0, 0.0, 0.0)));
    EXPECT_EQ(tracer.intersectionTriangle(), -1);  // the previous hit is forgotten
    EXPECT_EQ(tracer.intersectionDist(), 3.4028234663852886e38);
    EXPECT_FALSE(tracer.intersect(outside, Vector(-1.0, std::nan(""), 0.0)));
    EXPECT_FALSE(tracer.intersect(PointFlt(nan, 0.1f, 0.2f), towards));
    EXPECT_TRUE(tracer.intersect(outside, towards));

    // Lists naming triangles that are not in the mesh (another mesh's lists, say) are skipped.
    const int leaves = scene.octree.getNumLeaves();
    std::vector<int> pairs;
    for (int leaf = 0; leaf < leaves; ++leaf)
        pairs.insert(pairs.end(), {leaf, -1, leaf, 1 << 20});
    oxGeom::ArrayOfSets sets;
    sets.assignFromPairs(leaves, static_cast<int>(pairs.size() / 2), pairs.data());
    const oxGeom::OctreeTris bogus(sets);
    RayTracer stale(scene.octree, bogus, &scene.mesh);
    stale.setFindNearestHit(true);
    EXPECT_FALSE(stale.intersect(outside, towards));
}
