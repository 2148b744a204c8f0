// HammersleyPermutation2: the bit-reversal table, its index wrapping and 2-D maps, and the
// safe empty table for sizes the 16-bit counters cannot hold.

#include <oxGeom/Hammersley.h>

#include <gtest/gtest.h>

#include <vector>

using oxGeom::HammersleyPermutation2;

TEST(HammersleyPermutation2, threeBitsGiveTheReversedOrder)
{
    HammersleyPermutation2 table;
    table.calculate(3);
    ASSERT_EQ(table.size(), 8);
    const std::vector<unsigned> expected = {0, 4, 2, 6, 1, 5, 3, 7};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(table[i], expected[static_cast<std::size_t>(i)]) << i;
    EXPECT_EQ(table[9], 4u);   // wraps modulo n
    EXPECT_EQ(table[-1], 7u);  // negative indices wrap too
}

TEST(HammersleyPermutation2, everySizeIsAPermutationThatUndoesItself)
{
    for (int k = 0; k <= 15; ++k)
    {
        HammersleyPermutation2 table;
        table.calculate(k);
        const int n = 1 << k;
        ASSERT_EQ(table.size(), n);
        std::vector<bool> seen(static_cast<std::size_t>(n), false);
        for (int i = 0; i < n; ++i)
        {
            const unsigned value = table[i];
            ASSERT_LT(value, static_cast<unsigned>(n)) << "k " << k;
            ASSERT_FALSE(seen[value]) << "k " << k << " value " << value;
            seen[value] = true;
            ASSERT_EQ(table[static_cast<int>(value)], static_cast<unsigned>(i)) << "k " << k;
        }
    }
}

TEST(HammersleyPermutation2, mapsCombineColumnAndReversedRow)
{
    HammersleyPermutation2 table;
    table.calculate(2);  // 0 2 1 3
    EXPECT_EQ(table.map2d(1, 1), 1u * 4 + 2);
    EXPECT_EQ(table.map2d(6, 7), 2u * 4 + 3);         // both coordinates wrap modulo 4
    EXPECT_EQ(table.mapPeriodic(13, 5), 3u * 4 + 1);  // 13 mod 5 = 3, 13 / 5 = 2 -> 1
    EXPECT_EQ(table.mapPeriodic(13, 0), 0u);
}

TEST(HammersleyPermutation2, sizesBeyondFifteenBitsGiveTheEmptyTable)
{
    for (int k : {16, 31, -1})
    {
        HammersleyPermutation2 table;
        table.calculate(4);
        table.calculate(k);
        EXPECT_EQ(table.size(), 0) << k;
        EXPECT_EQ(table[5], 0u);
        EXPECT_EQ(table.map2d(3, 3), 0u);
        EXPECT_EQ(table.mapPeriodic(3, 2), 0u);
    }
}

TEST(HammersleyPermutation2, copiesKeepTheirTableWhenTheOriginalIsRebuilt)
{
    HammersleyPermutation2 original;
    original.calculate(3);
    HammersleyPermutation2 copy;
    copy = original;
    original.calculate(1);
    EXPECT_EQ(original.size(), 2);
    ASSERT_EQ(copy.size(), 8);
    EXPECT_EQ(copy[1], 4u);
}
