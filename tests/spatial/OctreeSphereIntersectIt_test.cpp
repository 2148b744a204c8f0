#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

using oxGeom::BoundingBox;
using oxGeom::Octree;
using oxGeom::OctreeSphereIntersectIt;
using oxGeom::Sphere;
using oxLinear::Point;

TEST(OctreeSphereIntersectIt, yieldsTheLeavesMeetingTheBallInWalkOrder)
{
    std::mt19937 rng(151);
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        const BoundingBox& r = octree.getBounds();
        const float side = r[3] - r[0];
        OctreeSphereIntersectIt it(octree);
        for (int q = 0; q < 40; ++q)
        {
            const Sphere ball(Point(testsupport::uniform(rng, r[0] - side, r[3] + side),
                                    testsupport::uniform(rng, r[1] - side, r[4] + side),
                                    testsupport::uniform(rng, r[2] - side, r[5] + side)),
                              testsupport::uniform(rng, 0.0f, side));
            it.reset(ball);
            EXPECT_EQ(testsupport::yielded(it),
                      testsupport::expectedWalk(octree, oxLinear::Vector(1, 0, 0),
                                                [&](const BoundingBox& leaf)
                                                { return oxGeom::intersects(leaf, ball); }))
                << named.name << " ball " << q;
        }
        // A ball holding the root yields every leaf; one far away none.
        const Sphere everything(Point(r[0], r[1], r[2]), 2 * r.diagonalLength());
        const Sphere far(Point(r[3] + side, r[4], r[5]), 0.5 * side);
        it.reset(everything);
        EXPECT_EQ(static_cast<int>(testsupport::yielded(it).size()), octree.getNumLeaves());
        it.reset(far);
        EXPECT_FALSE(it.valid() || it.get().valid());
    }
}

TEST(OctreeSphereIntersectIt, boxBallTestMatchesTheNearestPointDistance)
{
    std::mt19937 rng(152);
    const BoundingBox box = testsupport::makeBox(0, 0, 0, 1, 2, 3);
    for (int i = 0; i < 5000; ++i)
    {
        const Point c(testsupport::uniform(rng, -2, 3), testsupport::uniform(rng, -2, 4),
                      testsupport::uniform(rng, -2, 5));
        const double radius = testsupport::uniform(rng, 0, 2);
        double gap2 = 0.0;  // squared distance through the box's nearest point
        for (int axis = 0; axis < 3; ++axis)
        {
            const double nearest =
                std::min<double>(std::max<double>(c[axis], box[axis]), box[axis + 3]);
            gap2 += (c[axis] - nearest) * (c[axis] - nearest);
        }
        const double gap = std::sqrt(gap2) - radius;
        EXPECT_TRUE(std::fabs(gap) < 1e-5 ||  // near-ties go either way
                    oxGeom::intersects(box, Sphere(c, radius)) == (gap < 0.0))
            << i;
    }
    // Touching counts; a point ball inside counts; empty boxes and negative radii never meet.
    EXPECT_TRUE(oxGeom::intersects(box, Sphere(Point(-0.5, 1, 1), 0.5)));
    EXPECT_TRUE(oxGeom::intersects(box, Sphere(Point(0.5, 1, 1), 0.0)));
    EXPECT_FALSE(oxGeom::intersects(box, Sphere(Point(0.5, 1, 1), -1.0)));
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(), Sphere(Point(), 1e300)));
    const Octree empty;
    OctreeSphereIntersectIt idle(empty);
    idle.next();
    EXPECT_FALSE(idle.valid());
}
