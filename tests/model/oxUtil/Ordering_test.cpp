// Index orderings: a stable sort of indices by the caller's comparator, and
// the inverse that tells where each item landed.

#include "oxUtil/Ordering.h"

#include <gtest/gtest.h>

#include <vector>

using oxUtil::Ordering;

TEST(Ordering, sortIsStableAndInvertGivesPositions)
{
    const std::vector<int> keys = {3, 1, 2, 1, 3, 0, 2, 1};
    Ordering order;
    order.sort(8, [&](int a, int b) { return keys[a] < keys[b]; });
    EXPECT_EQ(order.indices(), (std::vector<int>{5, 1, 3, 7, 2, 6, 0, 4}));
    order.sort([&](int a, int b) { return keys[a] > keys[b]; });  // from scratch
    EXPECT_EQ(order.indices(), (std::vector<int>{0, 4, 2, 6, 1, 3, 7, 5}));
    std::vector<int> positions;
    order.invert(positions);
    EXPECT_EQ(positions, (std::vector<int>{0, 4, 2, 5, 1, 7, 3, 6}));
    EXPECT_EQ(order[-1], -1);
    EXPECT_EQ(order[8], -1);
    EXPECT_TRUE(Ordering(-4).empty());
}
