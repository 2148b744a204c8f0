#include <oxGeom/QuadRay.h>

#include <oxGeom/Ray.h>

#include "support/octreeOracle.h"
#include "support/rayTraceOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeQuadRayIntersectIt;
using oxGeom::QuadRay;
using oxLinear::PointFlt;
using oxLinear::Vector;
using oxLinear::VectorFlt;

namespace
{
/// A packet from in and around the root box towards points of it. Variant 1 gives two lanes a
/// zero component; variant 2 also puts the origin on the root's split plane of that axis, so
/// those lanes run along the faces of the children.
QuadRay randomPacket(const BoundingBox& root, std::mt19937& rng, bool firstHit, int variant = 0)
{
    PointFlt origin;
    VectorFlt d[4];
    for (int axis = 0; axis < 3; ++axis)
    {
        const float side = root[axis + 3] - root[axis];
        origin[axis] = testsupport::uniform(rng, root[axis] - side, root[axis + 3] + side);
    }
    const int flat = static_cast<int>(rng() % 3);
    if (variant == 2)
        origin[flat] = Octree::splitValue(root[flat], root[flat + 3]);
    for (VectorFlt& lane : d)
        for (int axis = 0; axis < 3; ++axis)
            lane[axis] = testsupport::uniform(rng, root[axis], root[axis + 3]) - origin[axis];
    if (variant > 0)
        d[0][flat] = d[1][flat] = 0.0f;
    return QuadRay(origin, d[0], d[1], d[2], d[3], firstHit);
}

/// Whether a single ray meets a box, by the library's own single-ray slab test.
bool rayMeets(const QuadRay& packet, int lane, const BoundingBox& box)
{
    const VectorFlt d = packet.direction(lane);
    const Vector wide(d[0], d[1], d[2]);
    const oxGeom::Ray ray(packet.origin(), wide);
    return ray.intersects(box, 0.0f, FLT_MAX);
}
}  // namespace

TEST(OctreeQuadRayIntersectIt, yieldsTheLeavesSomeLaneMeetsInTheMeanDirectionOrder)
{
    std::mt19937 rng(701);
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        OctreeQuadRayIntersectIt it(octree);
        int nonEmpty = 0;
        for (int q = 0; q < 40; ++q)
        {
            QuadRay packet = randomPacket(octree.getBounds(), rng, false, q % 3);
            it.reset(packet, false);
            const VectorFlt& mean = packet.meanDirection();
            const std::vector<int> expected =
                testsupport::expectedWalk(octree, Vector(mean[0], mean[1], mean[2]),
                                          [&](const BoundingBox& box)
                                          {
                                              oxUtil::BitField32 lanes;
                                              packet.intersect(box, lanes);
                                              return lanes.any();
                                          });
            const std::vector<int> got = testsupport::yielded(it);
            EXPECT_EQ(got, expected) << named.name << " packet " << q;
            // Nothing a single ray of the packet passes through is left out.
            for (const oxGeom::OctreeIterator& leaf : testsupport::allLeaves(octree))
                for (int lane = 0; lane < 4; ++lane)
                {
                    if (rayMeets(packet, lane, leaf.getBox()))
                    {
                        EXPECT_TRUE(std::count(got.begin(), got.end(), leaf.getLeafNumber()))
                            << named.name << " packet " << q << " lane " << lane;
                    }
                }
            nonEmpty += got.empty() ? 0 : 1;
        }
        EXPECT_GT(nonEmpty, 20) << named.name;
    }
}

TEST(OctreeQuadRayIntersectIt, dropsWaitingNodesThatNoLaneReachesAnyMore)
{
    const std::vector<float> points = testsupport::randomPoints(702, 3000, 3, -1.0f, 1.0f);
    const Octree octree(3000, points.data(), testsupport::boxOf(points), true, 4);
    const PointFlt origin(0.01f, 0.02f, -1.5f);
    const VectorFlt up(0.0f, 0.0f, 1.0f), tilted(0.05f, 0.0f, 1.0f);
    const oxGeom::MeshVertex corners[3] = {{{-1, -1, -0.9f}}, {{1, -1, -0.9f}}, {{0, 1, -0.9f}}};
    const oxGeom::MeshTriangle triangle = {{0, 1, 2}};

    // Nearest mode: the packet enters through the bottom face and every lane hits a triangle
    // just above it, while the walk stands on its first leaf: every leaf wholly above the hit
    // is dropped from then on, including nodes already waiting on the stack.
    QuadRay nearest(origin, up, up, tilted, tilted, false);
    OctreeQuadRayIntersectIt it(octree, nearest);
    ASSERT_TRUE(it.valid());
    const std::vector<int> all = testsupport::yielded(it);
    ASSERT_GT(all.size(), 4u);
    it.reset(nearest, false);
    nearest.intersect(triangle, corners);
    ASSERT_TRUE(nearest.triHit(0) && nearest.triHit(3));
    std::vector<int> rest;
    for (; it.valid(); it.next())
    {
        rest.push_back(it.get().getLeafNumber());
        const BoundingBox box = it.get().getBox();
        EXPECT_LE(box[2], -0.89f);  // only leaves reaching down to the hit
    }
    EXPECT_LT(rest.size(), all.size());

    // reset with true clears the records, so the whole walk comes back; with false it does not.
    it.reset(nearest, true);
    EXPECT_FALSE(nearest.triHit(0));
    EXPECT_EQ(testsupport::yielded(it), all);
    nearest.intersect(triangle, corners);
    it.reset(nearest, false);
    EXPECT_EQ(testsupport::yielded(it), rest);

    // First-hit mode: once all lanes terminate, the walk ends at the next step.
    QuadRay occlusion(origin, up, up, tilted, tilted, true);
    OctreeQuadRayIntersectIt walk(octree, occlusion);
    ASSERT_TRUE(walk.valid());
    occlusion.intersect(triangle, corners);
    ASSERT_TRUE(occlusion.allRaysTerminated());
    walk.next();
    EXPECT_FALSE(walk.valid());
    walk.reset(occlusion, false);  // terminated lanes meet nothing
    EXPECT_FALSE(walk.valid());
    EXPECT_EQ(walk.get().getLeafNumber(), -1);
    walk.next();  // harmless when not valid
    EXPECT_FALSE(walk.valid());
}

TEST(OctreeQuadRayIntersectIt, emptyWalks)
{
    const std::vector<float> points = testsupport::randomPoints(703, 100, 3);
    const Octree octree(100, points.data(), testsupport::boxOf(points), true, 4);
    OctreeQuadRayIntersectIt noPacket(octree);
    EXPECT_FALSE(noPacket.valid());
    noPacket.next();
    EXPECT_FALSE(noPacket.valid());

    const Octree noNodes;
    const VectorFlt up(0, 0, 1);
    QuadRay packet(PointFlt(0.5f, 0.5f, -1.0f), up, up, up, up, false);
    OctreeQuadRayIntersectIt none(noNodes, packet);
    EXPECT_FALSE(none.valid());

    // Pointing away from the octree, and a dead packet, yield nothing.
    const VectorFlt down(0, 0, -1), zero(0, 0, 0);
    QuadRay away(PointFlt(0.5f, 0.5f, -1.0f), down, down, down, down, false);
    OctreeQuadRayIntersectIt awayWalk(octree, away);
    EXPECT_FALSE(awayWalk.valid());
    QuadRay dead(PointFlt(0.5f, 0.5f, 0.5f), zero, zero, zero, zero, false);
    OctreeQuadRayIntersectIt deadWalk(octree, dead);
    EXPECT_FALSE(deadWalk.valid());

    // An origin inside the octree: the leaf holding it comes first for a one-direction packet.
    const PointFlt inside(0.3f, 0.6f, 0.45f);
    QuadRay start(inside, up, up, up, up, false);
    OctreeQuadRayIntersectIt startWalk(octree, start);
    ASSERT_TRUE(startWalk.valid());
    const BoundingBox first = startWalk.get().getBox();
    for (int axis = 0; axis < 3; ++axis)
    {
        EXPECT_LE(first[axis], inside[axis]);
        EXPECT_GE(first[axis + 3], inside[axis]);
    }
}
