#include "oxGeom/ArrayOfSets.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using oxGeom::ArrayOfSets;

namespace
{
std::vector<int> setOf(const ArrayOfSets& sets, int s)
{
    const int* first = sets.getSet(s);
    return std::vector<int>(first, first + sets.getSetSize(s));
}

// A random relation of `numPairs` pairs over sets -1 .. numSets (the ends are
// out of range on purpose).
std::vector<int> randomPairs(std::mt19937& rng, int numSets, int numPairs)
{
    std::vector<int> pairs;
    for (int p = 0; p < numPairs; ++p)
    {
        pairs.push_back(static_cast<int>(rng() % (numSets + 2)) - 1);
        pairs.push_back(static_cast<int>(rng() % 50));
    }
    return pairs;
}
}  // namespace

TEST(ArrayOfSets, pairsKeepTheirOrderWithinEachSet)
{
    // (set, member): members of set 0 arrive as 5, 3, 5; set 2 as 9, 1; set 1 stays empty.
    const int pairs[] = {0, 5, 2, 9, 0, 3, 7, 4, 2, 1, 0, 5, -1, 8};
    ArrayOfSets sets;
    sets.assignFromPairs(3, 7, pairs);
    ASSERT_EQ(sets.getNumSets(), 3);
    EXPECT_EQ(setOf(sets, 0), (std::vector<int>{5, 3, 5}));
    EXPECT_EQ(sets.getSetSize(1), 0);
    EXPECT_EQ(setOf(sets, 2), (std::vector<int>{9, 1}));
    EXPECT_EQ(sets.getTotalSize(), 5);
    EXPECT_EQ(sets.getOffsets()[3], 5);
    EXPECT_EQ(sets.getSetSize(3), 0);
    EXPECT_EQ(sets.getSet(-1), nullptr);

    // Reassigning replaces everything; null pairs give empty sets.
    sets.assignFromPairs(2, 4, nullptr);
    EXPECT_EQ(sets.getNumSets(), 2);
    EXPECT_EQ(sets.getTotalSize(), 0);
}

TEST(ArrayOfSets, pairsAndInverseMatchBruteForce)
{
    std::mt19937 rng(2024);
    for (int round = 0; round < 30; ++round)
    {
        const int numSets = static_cast<int>(rng() % 12);
        const int numPairs = static_cast<int>(rng() % 80);
        const std::vector<int> pairs = randomPairs(rng, numSets, numPairs);
        ArrayOfSets sets;
        sets.assignFromPairs(numSets, numPairs, pairs.data());

        std::vector<std::vector<int>> expected(numSets);
        for (int p = 0; p < numPairs; ++p)
            if (pairs[2 * p] >= 0 && pairs[2 * p] < numSets)
                expected[pairs[2 * p]].push_back(pairs[2 * p + 1]);
        ASSERT_EQ(sets.getNumSets(), numSets);
        for (int s = 0; s < numSets; ++s)
            ASSERT_EQ(setOf(sets, s), expected[s]) << "set " << s;

        // Transpose onto 40 sets: members 40..49 are out of range and dropped.
        const int inverseSets = 40;
        std::vector<std::vector<int>> transposed(inverseSets);
        for (int i = 0; i < numSets; ++i)
            for (int member : expected[i])
                if (member < inverseSets)
                    transposed[member].push_back(i);
        ArrayOfSets inverse;
        inverse.assignInverse(inverseSets, sets);
        for (int s = 0; s < inverseSets; ++s)
            ASSERT_EQ(setOf(inverse, s), transposed[s]) << "inverse set " << s;

        // Transposing in place gives the same result.
        ArrayOfSets copy(sets);
        copy.assignInverse(inverseSets, copy);
        EXPECT_EQ(copy, inverse);
    }
}

TEST(ArrayOfSets, sizedConstructorCopyAndSwap)
{
    ArrayOfSets sized(3, 6);
    EXPECT_EQ(sized.getNumSets(), 3);
    EXPECT_EQ(sized.getTotalSize(), 6);
    for (int s = 0; s < 3; ++s)
        EXPECT_EQ(sized.getSetSize(s), 0);
    // A builder fills offsets and members directly.
    const int offsets[] = {0, 2, 2, 6};
    for (int k = 0; k < 4; ++k)
        sized.getOffsets()[k] = offsets[k];
    for (int k = 0; k < 6; ++k)
        sized.getData()[k] = 10 + k;
    EXPECT_EQ(setOf(sized, 2), (std::vector<int>{12, 13, 14, 15}));

    ArrayOfSets copy(sized);
    sized.getData()[0] = -1;
    EXPECT_EQ(copy.getSet(0)[0], 10);

    ArrayOfSets other;
    other.swap(copy);
    EXPECT_EQ(copy.getNumSets(), 0);
    EXPECT_EQ(copy.getOffsets(), nullptr);
    EXPECT_EQ(other.getSetSize(0), 2);

    ArrayOfSets negative(-2, -5);
    EXPECT_EQ(negative.getNumSets(), 0);
    EXPECT_EQ(negative.getTotalSize(), 0);
    ArrayOfSets moved(std::move(other));
    EXPECT_EQ(other.getNumSets(), 0);  // a moved-from object stays usable
    EXPECT_EQ(moved.getNumSets(), 3);
}
