#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::Octree;
using oxGeom::OctreeLeafIterator;

TEST(OctreeLeafIterator, yieldsEveryLeafOnceSlotSevenFirst)
{
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        OctreeLeafIterator it(octree);
        // Depth-first, slot 7 first; the build numbers leaves in slot order
        // 0..7, so the numbers come out descending.
        const std::vector<int> got = testsupport::yielded(it);
        ASSERT_EQ(static_cast<int>(got.size()), octree.getNumLeaves()) << named.name;
        for (std::size_t k = 0; k < got.size(); ++k)
            EXPECT_EQ(got[k], octree.getNumLeaves() - 1 - static_cast<int>(k)) << named.name;
        EXPECT_FALSE(it.get().valid());
        it.next();
        EXPECT_FALSE(it.valid());
    }
}

TEST(OctreeLeafIterator, copiesContinueIndependentlyAndResetRebinds)
{
    const std::vector<float> points = testsupport::randomPoints(161, 400, 3);
    const Octree octree(400, points.data(), testsupport::boxOf(points), true, 8);
    OctreeLeafIterator it(octree);
    for (int k = 0; k < 5; ++k)
        it.next();
    OctreeLeafIterator copy(it);
    const oxGeom::OctreeIterator at = it.get();
    it.next();
    EXPECT_EQ(copy.get(), at);
    copy.next();
    EXPECT_EQ(copy.get(), it.get());
    OctreeLeafIterator assigned(octree);
    assigned = copy;
    EXPECT_EQ(assigned.get(), it.get());

    const float lone[3] = {1, 1, 1};
    const Octree single(1, lone, oxGeom::BoundingBox(), true, 16);
    it.reset(single);
    EXPECT_EQ(it.get(), single.getRoot());
    it.next();
    EXPECT_FALSE(it.valid());
    const Octree empty;
    it.reset(empty);
    EXPECT_FALSE(it.valid() || it.get().valid());
}
