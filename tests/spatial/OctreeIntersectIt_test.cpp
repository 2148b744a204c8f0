#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Frustum;
using oxGeom::Octree;
using oxGeom::OctreeIntersectIt;
using oxLinear::Point;
using oxLinear::Vector;

namespace
{
/// A square perspective frustum from `eye` towards `target`, near n, far f,
/// half width over distance s.
Frustum lookAt(const Point& eye, const Point& target, double n, double f, double s)
{
    const Vector forward = (target - eye).normalized();
    const Vector right = forward.orthogonalVector();
    const Vector up = oxLinear::cross(right, forward);
    Point corners[8];
    for (int i = 0; i < 8; ++i)
    {
        const double depth = i < 4 ? n : f;
        const double x = (i & 3) == 1 || (i & 3) == 2 ? 1 : -1, y = (i & 3) >= 2 ? 1 : -1;
        corners[i] = eye + forward * depth + (right * x + up * y) * (s * depth);
    }
    return Frustum(corners);
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
            EXPECT_EQ(testsupport::yielded(it),
                      testsupport::expectedWalk(octree, frustum.getVector(),
                                                [&](const BoundingBox& leaf)
                                                { return oxGeom::intersects(leaf, frustum); }))
                << named.name << " view " << q;
        }
        // Looking away from the root: nothing; past the end and before any
        // query: a default iterator.
        const Point centre(0.5 * (root[0] + root[3]), 0.5 * (root[1] + root[4]), root[5]);
        const Frustum away = lookAt(centre + Vector(0, 0, side), centre + Vector(0, 0, 2 * side),
                                    0.1 * side, 10.0 * side, 0.2);
        it.reset(away);
        EXPECT_FALSE(it.valid() || it.get().valid()) << named.name;
        OctreeIntersectIt idle(octree);
        idle.next();
        EXPECT_FALSE(idle.valid() || idle.get().valid());
    }
}
