#include "oxGeom/Remap.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "oxGeom/BitVector.h"

using oxGeom::BitVector;
using oxGeom::Remap;

TEST(Remap, deleteMapNumbersKeptElementsInOrder)
{
    // Elements 0..6, delete 1, 2 and 5:  0 1 2 3 4 5 6  ->  0 - - 1 2 - 3
    BitVector deleted(7);
    deleted.setBit(1);
    deleted.setBit(2);
    deleted.setBit(5);
    Remap map(7, 4);
    map.setDeleteMap(deleted);
    const std::vector<int> expected = {0, -1, -1, 1, 2, -1, 3};
    ASSERT_EQ(map.getDomainSize(), 7);
    EXPECT_EQ(map.getRangeSize(), 4);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(map(i), expected[i]) << i;

    // Mapping a triangle array in place; out-of-domain values become -1.
    int indices[] = {6, 3, 0, 5, 7, -2};
    map(indices, 6);
    const int mapped[] = {3, 1, 0, -1, -1, -1};
    for (int k = 0; k < 6; ++k)
        EXPECT_EQ(indices[k], mapped[k]) << k;
}

TEST(Remap, deleteMapAgainstBruteForceAndShortSelections)
{
    std::mt19937 rng(77);
    for (int round = 0; round < 20; ++round)
    {
        const int n = static_cast<int>(rng() % 100);
        BitVector deleted(n);
        for (int i = 0; i < n; ++i)
            if (rng() % 3 == 0)
                deleted.setBit(i);
        Remap map(n, 0);
        map.setDeleteMap(deleted);
        int kept = 0;
        for (int i = 0; i < n; ++i)
        {
            const int expected = deleted.isBitSet(i) ? -1 : kept++;
            ASSERT_EQ(map(i), expected);
        }
        EXPECT_EQ(map.getRangeSize(), n - deleted.countSetBits());
    }

    // A selection shorter than the domain keeps the elements it does not cover.
    BitVector shortSelection(2);
    shortSelection.setBit(0);
    Remap map(4, 4);
    map.setDeleteMap(shortSelection);
    EXPECT_EQ(map(0), -1);
    EXPECT_EQ(map(3), 2);
    EXPECT_EQ(map.getRangeSize(), 3);

    // An empty map adopts the selection's size.
    Remap empty;
    empty.setDeleteMap(shortSelection);
    EXPECT_EQ(empty.getDomainSize(), 2);
    EXPECT_EQ(empty(1), 0);
}

TEST(Remap, unsetAndOutOfRangeEntriesAreMinusOne)
{
    Remap map(3, 3);
    EXPECT_EQ(map(0), -1);
    map.set(1, 0);
    map.set(3, 9);
    map.set(-1, 9);
    EXPECT_EQ(map(1), 0);
    EXPECT_EQ(map(3), -1);
    EXPECT_EQ(map(-1), -1);

    // Growing keeps old images and leaves the new ones unmapped.
    map.resize(5, 2);
    EXPECT_EQ(map(1), 0);
    EXPECT_EQ(map(4), -1);
    EXPECT_EQ(map.getRangeSize(), 2);

    map.setSequential();
    EXPECT_TRUE(map.isSequential());
    EXPECT_EQ(map(4), 4);
    EXPECT_EQ(map.getRangeSize(), 5);
    map.set(2, 1);
    EXPECT_FALSE(map.isSequential());

    Remap negative(-4, -1);
    EXPECT_EQ(negative.getDomainSize(), 0);
    EXPECT_EQ(negative.getRangeSize(), 0);
    EXPECT_EQ(negative.getData(), nullptr);
    negative(nullptr, 5);

    negative.swap(map);
    EXPECT_EQ(negative.getDomainSize(), 5);
    EXPECT_EQ(negative(2), 1);
    EXPECT_EQ(map.getDomainSize(), 0);
}
