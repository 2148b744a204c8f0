#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Frustum;
using oxGeom::Octree;
using oxGeom::OctreeIntersectIt;
using oxLinear::Point;
using oxLinear::Vector;

namespace
{
/// A perspective frustum from `eye` towards `target`: near distance n, far f,
/// half angle given by the slope s (half width / distance).
Frustum lookAt(const Point& eye, const Point& target, double n, double f, double s)
{
    const Vector forward = (target - eye).normalized();
    const Vector right = forward.orthogonalVector();
    const Vector up = oxLinear::cross(right, forward);
    Point corners[8];
    const double depth[2] = {n, f};
    for (int end = 0; end < 2; ++end)
    {
        const double h = s * depth[end];
        const Point centre = eye + forward * depth[end];
        corners[4 * end + 0] = centre - right * h - up * h;
        corners[4 * end + 1] = centre + right * h - up * h;
        corners[4 * end + 2] = centre + right * h + up * h;
        corners[4 * end + 3] = centre - right * h + up * h;
    }
    return Frustum(corners);
}

bool inside(const Frustum& frustum, const Point& p)
{
    for (int i = 0; i < 6; ++i)
        if (frustum.getPlane(i).signedDistance(p) > 0.0)
            return false;
    return true;
}
}  // namespace

TEST(OctreeIntersectIt, yieldsTheLeavesMeetingTheFrustumAlongTheViewVector)
{
    std::mt19937 rng(141);
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        const BoundingBox& root = octree.getBounds();
        const float side = root[3] - root[0];
        OctreeIntersectIt it(octree);
        for (int q = 0; q < 25; ++q)
        {
            Point eye, target;
            for (int axis = 0; axis < 3; ++axis)
            {
                eye[axis] = testsupport::uniform(rng, root[axis] - side, root[axis + 3] + side);
                target[axis] = testsupport::uniform(rng, root[axis], root[axis + 3]);
            }
            const Frustum frustum = lookAt(eye, target, 0.05 * side, 3.0 * side,
                                           testsupport::uniform(rng, 0.05f, 0.5f));
            it.reset(frustum);
            const std::vector<int> expected = testsupport::expectedWalk(
                octree, frustum.getVector(),
                [&](const BoundingBox& leaf) { return oxGeom::intersects(leaf, frustum); });
            EXPECT_EQ(testsupport::yielded(it), expected) << named.name << " view " << q;
        }
    }
}

TEST(OctreeIntersectIt, everyPointInsideTheFrustumLiesInAYieldedLeaf)
{
    const oxGeom::CompactMesh sphere = fixtures::icosphere(4, 1.0f);
    const float* v = sphere.getVerticesRaw();
    const std::vector<float> points(v, v + 3 * sphere.getNumVertices());
    const Octree octree(sphere.getNumVertices(), v, testsupport::boxOf(points), true, 16);
    const Frustum frustum = lookAt(Point(3, 0.5, 0.2), Point(0, 0, 0), 0.5, 10.0, 0.2);
    OctreeIntersectIt it(octree, frustum);
    std::set<int> seen;
    for (; it.valid(); it.next())
        seen.insert(it.get().getLeafNumber());
    EXPECT_LT(seen.size(), static_cast<std::size_t>(octree.getNumLeaves()));
    int covered = 0;
    const int* indices = octree.getPointIndices();
    for (int leaf = 0; leaf < octree.getNumLeaves(); ++leaf)
        for (int i = octree.getLeafBegin(leaf); i < octree.getLeafEnd(leaf); ++i)
        {
            const float* p = &points[3 * indices[i]];
            if (inside(frustum, Point(p[0], p[1], p[2])))
            {
                EXPECT_EQ(seen.count(leaf), 1u) << "point " << indices[i];
                ++covered;
            }
        }
    EXPECT_GT(covered, 100);

    // Looking away from the mesh, nothing; a root that is a leaf comes alone.
    const Frustum away = lookAt(Point(3, 0, 0), Point(6, 0, 0), 0.5, 10.0, 0.2);
    it.reset(away);
    EXPECT_FALSE(it.valid());
    EXPECT_FALSE(it.get().valid());
    const float lone[3] = {3, 0.5f, 0.2f};
    const Octree single(1, lone, BoundingBox(lone, 5.0f), true, 16);
    OctreeIntersectIt one(single, frustum);
    ASSERT_TRUE(one.valid());
    EXPECT_TRUE(one.get().isLeaf());
    one.next();
    EXPECT_FALSE(one.valid());
    OctreeIntersectIt idle(octree);
    idle.next();
    EXPECT_FALSE(idle.valid());
}
