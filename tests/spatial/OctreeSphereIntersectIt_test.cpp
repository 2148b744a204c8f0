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

namespace
{
/// Distance from p to the box, through the box's nearest point, in double.
double exactDistance(const BoundingBox& box, const Point& p)
{
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double nearest =
            std::min<double>(std::max<double>(p[axis], box[axis]), box[axis + 3]);
        sum += (p[axis] - nearest) * (p[axis] - nearest);
    }
    return std::sqrt(sum);
}
}  // namespace

TEST(OctreeSphereIntersectIt, yieldsTheLeavesMeetingTheBallInWalkOrder)
{
    std::mt19937 rng(151);
    const oxLinear::Vector alongX(1.0, 0.0, 0.0);
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        const BoundingBox& root = octree.getBounds();
        const float side = root[3] - root[0];
        OctreeSphereIntersectIt it(octree);
        for (int q = 0; q < 40; ++q)
        {
            const Sphere ball(Point(testsupport::uniform(rng, root[0] - side, root[3] + side),
                                    testsupport::uniform(rng, root[1] - side, root[4] + side),
                                    testsupport::uniform(rng, root[2] - side, root[5] + side)),
                              testsupport::uniform(rng, 0.0f, side));
            it.reset(ball);
            const std::vector<int> expected = testsupport::expectedWalk(
                octree, alongX,
                [&](const BoundingBox& leaf) { return oxGeom::intersects(leaf, ball); });
            EXPECT_EQ(testsupport::yielded(it), expected) << named.name << " ball " << q;
        }
    }
}

TEST(OctreeSphereIntersectIt, boxBallTestMatchesTheNearestPointDistance)
{
    std::mt19937 rng(152);
    const double unit[6] = {0, 0, 0, 1, 2, 3};
    const BoundingBox box(unit);
    for (int i = 0; i < 5000; ++i)
    {
        const Point centre(testsupport::uniform(rng, -2, 3), testsupport::uniform(rng, -2, 4),
                           testsupport::uniform(rng, -2, 5));
        const double radius = testsupport::uniform(rng, 0, 2);
        const double gap = exactDistance(box, centre) - radius;
        if (std::fabs(gap) < 1e-5)
            continue;
        EXPECT_EQ(oxGeom::intersects(box, Sphere(centre, radius)), gap < 0.0) << i;
    }
    // Touching a face counts; a point ball inside counts; empty boxes and
    // negative radii never meet.
    EXPECT_TRUE(oxGeom::intersects(box, Sphere(Point(-0.5, 1, 1), 0.5)));
    EXPECT_TRUE(oxGeom::intersects(box, Sphere(Point(0.5, 1, 1), 0.0)));
    EXPECT_FALSE(oxGeom::intersects(box, Sphere(Point(0.5, 1, 1), -1.0)));
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(), Sphere(Point(), 1e300)));

    // The iterator: a ball around the whole root yields every leaf, one far away none.
    const std::vector<float> points = testsupport::randomPoints(153, 500, 3);
    const Octree octree(500, points.data(), testsupport::boxOf(points), true, 8);
    const Sphere everything(Point(0.5, 0.5, 0.5), 1.0);
    OctreeSphereIntersectIt it(octree, everything);
    EXPECT_EQ(static_cast<int>(testsupport::yielded(it).size()), octree.getNumLeaves());
    EXPECT_FALSE(it.get().valid());
    const Sphere far(Point(5, 5, 5), 1.0);
    it.reset(far);
    EXPECT_FALSE(it.valid());
    OctreeSphereIntersectIt idle(octree);
    idle.next();
    EXPECT_FALSE(idle.valid());
}
