// Packed sets: building from pairs and the inverse against brute force (order
// kept, out-of-range sets dropped), and the raw arrays a builder fills itself.

#include "oxGeom/ArrayOfSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using oxGeom::ArrayOfSets;

namespace
{
std::vector<int> setOf(const ArrayOfSets& sets, int s)
{
    return std::vector<int>(sets.getSet(s), sets.getSet(s) + sets.getSetSize(s));
}
}  // namespace

TEST(ArrayOfSets, pairsAndInverseMatchBruteForceKeepingOrder)
{
    std::mt19937 rng(2024);
    for (int round = 0; round < 30; ++round)
    {
        const int numSets = static_cast<int>(rng() % 12);
        const int numPairs = static_cast<int>(rng() % 80);
        std::vector<int> pairs;
        std::vector<std::vector<int>> expected(numSets);
        for (int p = 0; p < numPairs; ++p)
        {
            const int s = static_cast<int>(rng() % (numSets + 2)) - 1;  // some out of range
            const int member = static_cast<int>(rng() % 50);
            pairs.insert(pairs.end(), {s, member});
            if (s >= 0 && s < numSets)
                expected[s].push_back(member);
        }
        ArrayOfSets sets;
        sets.assignFromPairs(numSets, numPairs, pairs.data());
        ASSERT_EQ(sets.getNumSets(), numSets);
        for (int s = 0; s < numSets; ++s)
            ASSERT_EQ(setOf(sets, s), expected[s]) << "set " << s;
        EXPECT_EQ(sets.getSetSize(numSets), 0);
        EXPECT_EQ(sets.getSet(-1), nullptr);

        // Transpose onto 40 sets: members 40..49 fall outside and are dropped.
        std::vector<std::vector<int>> transposed(40);
        for (int i = 0; i < numSets; ++i)
            for (int member : expected[i])
                if (member < 40)
                    transposed[member].push_back(i);
        ArrayOfSets inverse;
        inverse.assignInverse(40, sets);
        for (int s = 0; s < 40; ++s)
            ASSERT_EQ(setOf(inverse, s), transposed[s]) << "inverse set " << s;
        sets.assignInverse(40, sets);  // in place gives the same
        EXPECT_EQ(sets, inverse);
    }
    ArrayOfSets none;
    none.assignFromPairs(2, 4, nullptr);
    EXPECT_EQ(none.getNumSets(), 2);
    EXPECT_EQ(none.getTotalSize(), 0);
    EXPECT_EQ(ArrayOfSets(-2, -5).getNumSets(), 0);
}

TEST(ArrayOfSets, sizedConstructorsAreFilledThroughRawArrays)
{
    ArrayOfSets zeroed(3, 6);
    EXPECT_EQ(zeroed.getSetSize(2), 0);
    EXPECT_EQ(std::count(zeroed.getData(), zeroed.getData() + 6, 0), 6);

    ArrayOfSets sets(3, 6, ArrayOfSets::Unfilled{});
    ASSERT_EQ(sets.getNumSets(), 3);
    ASSERT_EQ(sets.getTotalSize(), 6);
    const int offsets[] = {0, 2, 2, 6};
    std::copy(offsets, offsets + 4, sets.getOffsets());
    for (int k = 0; k < 6; ++k)
        sets.getData()[k] = 10 + k;
    EXPECT_EQ(setOf(sets, 2), (std::vector<int>{12, 13, 14, 15}));

    ArrayOfSets copy(sets), other;
    sets.getData()[0] = -1;
    other.swap(copy);
    EXPECT_EQ(copy.getOffsets(), nullptr);
    EXPECT_EQ(other.getSet(0)[0], 10);
}
