#include <oxGeom/RayTracer.h>

#include <oxGeom/ArrayOfSets.h>

#include "support/meshes.h"
#include "support/rayTraceOracle.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::RayTracer;
using oxLinear::PointFlt;
using oxLinear::Vector;
using testsupport::TraceScene;

namespace
{
class StampedRayTracer : public RayTracer
{
public:
    using RayTracer::RayTracer;
    using RayTracer::setStamp;
    using RayTracer::stamp;
};

/// Ray::intersects over every triangle, keeping the first of the smallest parameter: the
/// tracer uses the same arithmetic, so it must find this parameter bit for bit.
struct Nearest
{
    int triangle = -1;
    double t = FLT_MAX;
};
Nearest bruteForceNearest(const CompactMesh& mesh, const PointFlt& origin, const Vector& d)
{
    const oxGeom::Ray ray(origin, d);
    Nearest best;
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
        if (ray.intersects(mesh.getTriangles()[i], mesh.getVertices()) &&
            ray.triIntersectionRayParam() < best.t)
            best = {i, ray.triIntersectionRayParam()};
    return best;
}
}  // namespace

TEST(RayTracer, bothModesMatchBruteForceOverAllTriangles)
{
    srand48(501);
    std::mt19937 rng(502);
    for (const auto& scene : testsupport::traceScenes())
    {
        RayTracer nearest(scene->octree, scene->tris, &scene->mesh),
            first(scene->octree, scene->tris, &scene->mesh);
        nearest.setFindNearestHit(true);
        EXPECT_FALSE(first.getFindNearestHit());
        const testsupport::BruteForce bruteForce(scene->mesh);
        int hits = 0, rays = 0;
        for (int p = 0; p < 500 / testsupport::sanitizerRayDivisor; ++p)
        {
            PointFlt origin;
            oxLinear::VectorFlt lanes[4];
            testsupport::makePacket(*scene, p, rng, origin, lanes);
            for (int lane = 0; lane < 4; ++lane, ++rays)
            {
                Vector d = testsupport::widen(lanes[lane]);
                if (p % 5 == 0)
                    d[lane % 3] = 0.0;  // axis-parallel rays meet infinite reciprocals
                const Nearest expected = bruteForceNearest(scene->mesh, origin, d);
                const std::string where = std::string(scene->name) + " packet " +
                                          std::to_string(p) + " lane " + std::to_string(lane);
                ASSERT_EQ(nearest.intersect(origin, d), expected.triangle >= 0) << where;
                EXPECT_EQ(nearest.intersectionDist(), expected.t) << where;
                const auto candidates = bruteForce.classify(origin, d, 1e-6);
                EXPECT_EQ(testsupport::judge(candidates, nearest.intersectionTriangle(),
                                             nearest.intersectionDist(), true, 1e-9),
                          "")
                    << where;

                // First-hit mode: a real hit, with its own barycentrics, and no distance.
                ASSERT_EQ(first.intersect(origin, d), expected.triangle >= 0) << where;
                EXPECT_EQ(first.intersectionDist(), 3.4028234663852886e38);
                hits += expected.triangle >= 0 ? 1 : 0;
                if (expected.triangle < 0)
                {
                    EXPECT_EQ(first.intersectionTriangle(), -1);
                    continue;
                }
                const oxGeom::Ray single(origin, d);
                ASSERT_TRUE(
                    single.intersects(scene->mesh.getTriangles()[first.intersectionTriangle()],
                                      scene->mesh.getVertices()));
                EXPECT_EQ(first.intersectionBaryU(), single.triIntersectionBaryU());
                EXPECT_EQ(first.intersectionBaryV(), single.triIntersectionBaryV());
                // The walk stopped on a leaf; going on from there stays safe (the ray it
                // refers to is the tracer's own copy).
                if (first.valid())
                    first.next();
            }
        }
        EXPECT_GT(hits, rays / 3) << scene->name;
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
    tracer.setStamp(0);
    EXPECT_EQ(tracer.stamp(), 1u);
}

TEST(RayTracer, degenerateInputsGiveNoHit)
{
    const TraceScene scene("icosphere", fixtures::icosphere(1, 1.0f), 4);
    const PointFlt outside(3.0f, 0.1f, 0.2f);
    const Vector towards(-1.0, 0.0, 0.0);
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
    EXPECT_FALSE(tracer.intersect(PointFlt(std::nanf(""), 0.1f, 0.2f), towards));

    // Lists naming triangles that are not in the mesh, and triangles naming vertices outside
    // it, are skipped.
    std::vector<int> pairs;
    for (int leaf = 0; leaf < scene.octree.getNumLeaves(); ++leaf)
        pairs.insert(pairs.end(), {leaf, -1, leaf, 1 << 20, leaf, 0});
    oxGeom::ArrayOfSets sets;
    sets.assignFromPairs(scene.octree.getNumLeaves(), static_cast<int>(pairs.size() / 2),
                         pairs.data());
    const oxGeom::OctreeTris bogus(sets);
    const oxGeom::MeshVertex* v = scene.mesh.getVertices();
    const oxGeom::MeshTriangle& t0 = scene.mesh.getTriangles()[0];
    const Vector centre(v[t0[0]][0] + v[t0[1]][0] + v[t0[2]][0],
                        v[t0[0]][1] + v[t0[1]][1] + v[t0[2]][1],
                        v[t0[0]][2] + v[t0[1]][2] + v[t0[2]][2]);
    const PointFlt above{float(centre[0]), float(centre[1]), float(centre[2])};
    RayTracer control(scene.octree, bogus, &scene.mesh);
    EXPECT_TRUE(control.intersect(above, -centre));  // triangle 0 alone is listed
    CompactMesh broken = scene.mesh;
    broken.getTriangles()[0][1] = 1 << 24;
    RayTracer stale(scene.octree, bogus, &broken);
    EXPECT_FALSE(stale.intersect(above, -centre));
}
