#include <oxGeom/QuadRay.h>

#include <oxGeom/ArrayOfSets.h>
#include <oxGeom/RayTracer.h>

#include "support/meshes.h"
#include "support/rayTraceOracle.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::QuadRay;
using oxGeom::QuadRayTracer;
using oxGeom::RayTracer;
using oxLinear::PointFlt;
using oxLinear::Vector;
using oxLinear::VectorFlt;
using testsupport::TraceScene;

namespace
{
class StampedQuadRayTracer : public QuadRayTracer
{
public:
    using QuadRayTracer::QuadRayTracer;
    using QuadRayTracer::setStamp;
    using QuadRayTracer::stamp;
};
}  // namespace

// The key property: per lane, the packet's nearest hit is the single ray's and brute force's
// (10^5 rays: random rays and ambient-occlusion packets from surface points).
TEST(QuadRayTracer, lanesMatchSingleRaysAndBruteForce)
{
    srand48(803);
    std::mt19937 rng(804);
    int lanes = 0, agree = 0, hits = 0;
    for (const auto& scene : testsupport::traceScenes())
    {
        QuadRayTracer tracer(scene->octree, scene->tris, &scene->mesh);
        RayTracer single(scene->octree, scene->tris, &scene->mesh);
        single.setFindNearestHit(true);
        const testsupport::BruteForce bruteForce(scene->mesh);
        const oxGeom::MeshVertex* v = scene->mesh.getVertices();
        for (int p = 0; p < 6250 / testsupport::sanitizerRayDivisor; ++p)
        {
            PointFlt origin;
            VectorFlt d[4];
            testsupport::makePacket(*scene, p, rng, origin, d);
            QuadRay packet(origin, d[0], d[1], d[2], d[3], false);
            tracer.intersect(packet);
            for (int lane = 0; lane < 4; ++lane, ++lanes)
            {
                const Vector direction = testsupport::widen(d[lane]);
                single.intersect(origin, direction);
                const int triangle = tracer.triangleIndex(packet, lane);
                const float t = packet.triIntersectionRayParam(lane);
                const std::string where =
                    std::string(scene->name) + " packet " + std::to_string(p) + " lane " +
                    std::to_string(lane) +
                    ", single ray: " + std::to_string(single.intersectionTriangle());
                ASSERT_EQ(triangle >= 0, packet.triHit(lane)) << where;
                const auto candidates = bruteForce.classify(origin, direction, 1e-6);
                EXPECT_EQ(testsupport::judge(candidates, triangle, t, true, 1e-5), "") << where;
                EXPECT_EQ(testsupport::judge(candidates, single.intersectionTriangle(),
                                             single.intersectionDist(), true, 1e-9),
                          "")
                    << where;
                agree += triangle == single.intersectionTriangle() ? 1 : 0;
                if (triangle < 0)
                    continue;
                ++hits;
                // The barycentrics put the hit where the ray does.
                const oxGeom::MeshTriangle& tri = scene->mesh.getTriangles()[triangle];
                const float u = packet.triIntersectionBaryU(lane);
                const float w = packet.triIntersectionBaryV(lane);
                for (int k = 0; k < 3; ++k)
                    EXPECT_NEAR((1 - u - w) * v[tri[0]][k] + u * v[tri[1]][k] + w * v[tri[2]][k],
                                origin[k] + t * d[lane][k], 1e-3 * std::max(1.0f, t))
                        << where;
            }
        }
    }
    // Answers may differ only where float rounding decides: rarely.
    EXPECT_GE(agree, lanes - lanes / 200);
    EXPECT_GT(hits, lanes / 3);
}

TEST(QuadRayTracer, firstHitLanesTerminateAtARealHit)
{
    srand48(805);
    std::mt19937 rng(806);
    for (const auto& scene : testsupport::traceScenes())
    {
        QuadRayTracer tracer(scene->octree, scene->tris, &scene->mesh);
        const testsupport::BruteForce bruteForce(scene->mesh);
        int terminated = 0, finished = 0;
        const int packets = 1500 / testsupport::sanitizerRayDivisor;
        for (int p = 0; p < packets; ++p)
        {
            PointFlt origin;
            VectorFlt d[4];
            testsupport::makePacket(*scene, p, rng, origin, d);
            QuadRay packet(origin, d[0], d[1], d[2], d[3], true);
            tracer.intersect(packet);
            for (int lane = 0; lane < 4; ++lane)
            {
                const int triangle = tracer.triangleIndex(packet, lane);
                const auto candidates =
                    bruteForce.classify(origin, testsupport::widen(d[lane]), 1e-6);
                EXPECT_EQ(testsupport::judge(candidates, triangle, 0.0, false), "")
                    << scene->name << " packet " << p << " lane " << lane;
                EXPECT_EQ(packet.terminatedLanes().test(lane), triangle >= 0);
                terminated += triangle >= 0 ? 1 : 0;
            }
            finished += packet.allRaysTerminated() ? 1 : 0;
        }
        EXPECT_GT(terminated, packets) << scene->name;
        EXPECT_GT(finished, 0) << scene->name;
    }
}

// Two overlapping spheres traced in turn: the packet ends with the nearer hit of the two, and
// each tracer recognises only its own mesh's triangles.
TEST(QuadRayTracer, packetKeepsTheNearestHitOverSeveralMeshes)
{
    const TraceScene first("sphere", fixtures::icosphere(2, 1.0f), 8);
    CompactMesh shiftedMesh = fixtures::icosphere(2, 1.0f);
    for (int i = 0; i < shiftedMesh.getNumVertices(); ++i)
        shiftedMesh.getVertices()[i][0] += 0.7f;
    const TraceScene second("shifted sphere", shiftedMesh, 8);
    QuadRayTracer tracerA(first.octree, first.tris, &first.mesh);
    QuadRayTracer tracerB(second.octree, second.tris, &second.mesh);
    std::mt19937 rng(807);
    std::uniform_real_distribution<float> spread(-0.8f, 0.8f);
    int fromEach[2] = {0, 0};
    for (int p = 0; p < 300; ++p)
    {
        // From the left the first sphere is mostly nearer, from the right the second.
        const float side = p % 2 == 0 ? -1.0f : 1.0f;
        const PointFlt origin(0.35f + 3.5f * side, spread(rng), spread(rng));
        VectorFlt d[4];
        for (VectorFlt& lane : d)
            lane = VectorFlt(0.35f + 0.7f * spread(rng) - origin[0], spread(rng) - origin[1],
                             spread(rng) - origin[2]);
        QuadRay both(origin, d[0], d[1], d[2], d[3], false);
        QuadRay onlyA = both, onlyB = both;
        tracerA.intersect(both);
        tracerB.intersect(both);
        tracerA.intersect(onlyA);
        tracerB.intersect(onlyB);
        for (int lane = 0; lane < 4; ++lane)
        {
            const float tA = onlyA.triIntersectionRayParam(lane);
            const float tB = onlyB.triIntersectionRayParam(lane);
            EXPECT_EQ(both.triIntersectionRayParam(lane), std::min(tA, tB));
            const bool fromA = tA <= tB;  // equal: the first mesh keeps it
            if (!both.triHit(lane))
                continue;
            EXPECT_EQ(tracerA.triangleIndex(both, lane),
                      fromA ? tracerA.triangleIndex(onlyA, lane) : -1);
            EXPECT_EQ(tracerB.triangleIndex(both, lane),
                      fromA ? -1 : tracerB.triangleIndex(onlyB, lane));
            ++fromEach[fromA ? 0 : 1];
        }
    }
    EXPECT_GT(fromEach[0], 100);
    EXPECT_GT(fromEach[1], 100);
}

TEST(QuadRayTracer, stampWrapZeroesTheMarks)
{
    const TraceScene scene("icosphere", fixtures::icosphere(1, 1.0f), 4);
    StampedQuadRayTracer tracer(scene.octree, scene.tris, &scene.mesh);
    const VectorFlt towardsX(-1.0f, 0.0f, 0.0f), towardsY(0.0f, -1.0f, 0.0f);
    QuadRay alongX(PointFlt(3.0f, 0.1f, 0.2f), towardsX, towardsX, towardsX, towardsX, false);
    QuadRay alongY(PointFlt(0.1f, 3.0f, 0.2f), towardsY, towardsY, towardsY, towardsY, false);
    EXPECT_EQ(tracer.stamp(), 1u);
    tracer.intersect(alongX);  // marks its triangles with 1
    ASSERT_TRUE(alongX.triHit(0));
    const float t = alongX.triIntersectionRayParam(0);
    EXPECT_EQ(tracer.stamp(), 2u);

    tracer.setStamp(4294967294u);
    tracer.intersect(alongY);  // other triangles; then the wrap
    EXPECT_EQ(tracer.stamp(), 1u);
    // Without the zeroing, the triangles along x would still carry mark 1 and be skipped.
    alongX.clearHits();
    tracer.intersect(alongX);
    EXPECT_EQ(alongX.triIntersectionRayParam(0), t);
    tracer.setStamp(0);
    EXPECT_EQ(tracer.stamp(), 1u);
}

TEST(QuadRayTracer, degenerateInputsLeaveThePacketAsItWas)
{
    const TraceScene scene("icosphere", fixtures::icosphere(1, 1.0f), 4);
    const VectorFlt towards(-1.0f, 0.0f, 0.0f);
    QuadRay packet(PointFlt(3.0f, 0.1f, 0.2f), towards, towards, towards, towards, false);
    QuadRayTracer tracer(scene.octree, scene.tris, &scene.mesh);
    tracer.intersect(packet);
    ASSERT_TRUE(packet.triHit(2));
    const float t = packet.triIntersectionRayParam(2);
    const oxGeom::MeshTriangle* hit = packet.triIntersectionTriangle(2);
    EXPECT_EQ(tracer.triangleIndex(packet, 2), hit - scene.mesh.getTriangles());
    EXPECT_EQ(tracer.triangleIndex(packet, 5), -1);

    QuadRayTracer noMesh(scene.octree, scene.tris, nullptr);
    const CompactMesh empty = fixtures::emptyMesh();
    QuadRayTracer emptyMesh(scene.octree, scene.tris, &empty);
    const oxGeom::Octree noNodes;
    QuadRayTracer noOctree(noNodes, scene.tris, &scene.mesh);
    for (QuadRayTracer* other : {&noMesh, &emptyMesh, &noOctree})
    {
        other->intersect(packet);
        EXPECT_EQ(packet.triIntersectionRayParam(2), t);
        EXPECT_EQ(packet.triIntersectionTriangle(2), hit);
    }
    EXPECT_EQ(noMesh.triangleIndex(packet, 2), -1);
    EXPECT_EQ(emptyMesh.triangleIndex(packet, 2), -1);

    // Lists naming triangles outside the mesh, and triangles naming vertices outside it, are
    // skipped: a packet aimed at triangle 0, the only valid entry, hits it only while its
    // vertex indices are valid.
    const int leaves = scene.octree.getNumLeaves();
    std::vector<int> pairs;
    for (int leaf = 0; leaf < leaves; ++leaf)
        pairs.insert(pairs.end(), {leaf, -1, leaf, 1 << 20, leaf, 0});
    oxGeom::ArrayOfSets sets;
    sets.assignFromPairs(leaves, static_cast<int>(pairs.size() / 2), pairs.data());
    const oxGeom::OctreeTris bogus(sets);
    const oxGeom::MeshVertex* v = scene.mesh.getVertices();
    const oxGeom::MeshTriangle& t0 = scene.mesh.getTriangles()[0];
    VectorFlt inwards;
    for (int k = 0; k < 3; ++k)
        inwards[k] = -(v[t0[0]][k] + v[t0[1]][k] + v[t0[2]][k]);
    const PointFlt above(-inwards[0], -inwards[1], -inwards[2]);
    QuadRay aimed(above, inwards, inwards, inwards, inwards, false);
    QuadRayTracer control(scene.octree, bogus, &scene.mesh);
    control.intersect(aimed);
    EXPECT_EQ(control.triangleIndex(aimed, 0), 0);
    CompactMesh broken = scene.mesh;
    broken.getTriangles()[0][1] = 1 << 24;
    QuadRayTracer stale(scene.octree, bogus, &broken);
    aimed.clearHits();
    stale.intersect(aimed);
    EXPECT_FALSE(aimed.triHit(0));
}
