// Renumbering maps: delete maps against a running count, unmapped and
// out-of-range entries reading -1, and in-place mapping of index arrays.

#include "oxGeom/Remap.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "oxGeom/BitVector.h"

using oxGeom::BitVector;
using oxGeom::Remap;

TEST(Remap, deleteMapNumbersKeptElementsInOrder)
{
    std::mt19937 rng(77);
    for (int round = 0; round < 20; ++round)
    {
        const int n = static_cast<int>(rng() % 100);
        BitVector deleted(n);
        for (int i = 0; i < n; ++i)
            if (rng() % 3 == 0)
                deleted.setBit(i);
        Remap map(n, n);
        map.setDeleteMap(deleted);
        int kept = 0;
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(map(i), deleted.isBitSet(i) ? -1 : kept++);
        EXPECT_EQ(map.getRangeSize(), kept);
    }

    // A selection shorter than the domain keeps what it does not cover; an
    // empty map adopts the selection's size.
    BitVector first(2);
    first.setBit(0);
    Remap map(4, 4);
    map.setDeleteMap(first);
    EXPECT_EQ(map(3), 2);
    EXPECT_EQ(map.getRangeSize(), 3);
    Remap empty;
    empty.setDeleteMap(first);
    EXPECT_EQ(empty.getDomainSize(), 2);

    // In-place array mapping: out-of-domain values become -1.
    std::vector<int> indices = {3, 0, 4, -2};
    map(indices.data(), 4);
    EXPECT_EQ(indices, (std::vector<int>{2, -1, -1, -1}));
}

TEST(Remap, unsetAndOutOfRangeEntriesAreMinusOne)
{
    Remap map(3, 3);
    EXPECT_EQ(map(0), -1);
    map.set(1, 0);
    map.set(3, 9);
    EXPECT_EQ(map(1), 0);
    EXPECT_EQ(map(3), -1);
    EXPECT_EQ(map(-1), -1);

    map.resize(5, 2);  // grows: old images kept, new ones unmapped
    EXPECT_EQ(map(1), 0);
    EXPECT_EQ(map(4), -1);
    EXPECT_FALSE(map.isSequential());
    map.setSequential();
    EXPECT_TRUE(map.isSequential());
    EXPECT_EQ(map.getRangeSize(), 5);

    Remap negative(-4, -1);
    EXPECT_EQ(negative.getDomainSize(), 0);
    EXPECT_EQ(negative.getRangeSize(), 0);
    negative(nullptr, 5);
}
