#include <oxGeom/OctreeIterators.h>

#include "support/octreeOracle.h"

#include <gtest/gtest.h>

#include <vector>

using oxGeom::Octree;
using oxGeom::OctreeLeafIterator;

TEST(OctreeLeafIterator, yieldsEveryLeafOnceSlotSevenFirst)
{
    const int reverse[8] = {7, 6, 5, 4, 3, 2, 1, 0};
    for (const testsupport::NamedOctree& named : testsupport::sampleOctrees())
    {
        const Octree& octree = *named.octree;
        OctreeLeafIterator it(octree);
        const std::vector<int> got = testsupport::yielded(it);
        std::vector<oxGeom::OctreeIterator> expected;
        testsupport::collectOrdered(octree.getRoot(), reverse, expected);
        EXPECT_EQ(got, testsupport::leafNumbers(expected)) << named.name;
        // The build numbers leaves in slot order 0..7: they come out descending.
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
    const int at = it.get().getLeafNumber();
    EXPECT_EQ(copy.get().getLeafNumber(), at);
    it.next();
    EXPECT_EQ(copy.get().getLeafNumber(), at);
    copy.next();
    EXPECT_EQ(copy.get(), it.get());
    OctreeLeafIterator assigned(octree);
    assigned = copy;
    EXPECT_EQ(assigned.get(), copy.get());

    // Rebinding to a one-leaf octree and to one without nodes.
    const float lone[3] = {1, 1, 1};
    const Octree single(1, lone, oxGeom::BoundingBox(), true, 16);
    it.reset(single);
    ASSERT_TRUE(it.valid());
    EXPECT_EQ(it.get(), single.getRoot());
    it.next();
    EXPECT_FALSE(it.valid());
    const Octree empty;
    it.reset(empty);
    EXPECT_FALSE(it.valid());
    EXPECT_FALSE(it.get().valid());
}
