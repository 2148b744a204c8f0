// ScrambledHammersleySequence: the scrambled radical inverse of the supported bases, checked
// by its defining property (a full block of base^m entries is the grid j / base^m), and the
// rejection of bases without a digit permutation.

#include <oxGeom/Hammersley.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

using oxGeom::ScrambledHammersleySequence;

TEST(ScrambledHammersleySequence, baseThreeStartsWithItsRadicalInverses)
{
    ScrambledHammersleySequence sequence;
    ASSERT_TRUE(sequence.calculate(3, 4));
    ASSERT_EQ(sequence.size(), 4);
    EXPECT_FLOAT_EQ(sequence[0], 0.0f);
    EXPECT_FLOAT_EQ(sequence[1], 1.0f / 3);
    EXPECT_FLOAT_EQ(sequence[2], 2.0f / 3);
    EXPECT_FLOAT_EQ(sequence[3], 1.0f / 9);
    EXPECT_FLOAT_EQ(sequence[5], 1.0f / 3);  // wraps modulo the count
    EXPECT_FLOAT_EQ(sequence[-1], 1.0f / 9);
}

TEST(ScrambledHammersleySequence, digitsArePermutedPerBase)
{
    ScrambledHammersleySequence five, seven;
    ASSERT_TRUE(five.calculate(5, 8));
    ASSERT_TRUE(seven.calculate(7, 9));
    EXPECT_FLOAT_EQ(five[1], 3.0f / 5);              // digit 1 -> 3
    EXPECT_FLOAT_EQ(five[3], 1.0f / 5);              // digit 3 -> 1
    EXPECT_FLOAT_EQ(five[7], 2.0f / 5 + 3.0f / 25);  // 7 = 12 in base 5
    EXPECT_FLOAT_EQ(seven[2], 5.0f / 7);
    EXPECT_FLOAT_EQ(seven[8], 2.0f / 7 + 2.0f / 49);  // 8 = 11 in base 7
}

TEST(ScrambledHammersleySequence, fullBlocksFillTheGridOfTheirSize)
{
    for (int base : {3, 5, 7})
    {
        const int count = base * base * base;
        ScrambledHammersleySequence sequence;
        ASSERT_TRUE(sequence.calculate(base, count));
        std::vector<float> entries;
        for (int i = 0; i < count; ++i)
            entries.push_back(sequence[i]);
        std::sort(entries.begin(), entries.end());
        for (int j = 0; j < count; ++j)
            ASSERT_NEAR(entries[static_cast<std::size_t>(j)], static_cast<double>(j) / count, 1e-6)
                << "base " << base << " entry " << j;
    }
}

TEST(ScrambledHammersleySequence, unsupportedBasesAndCountsGiveTheEmptySequence)
{
    for (int base : {2, 4, 11, 0, -3})
    {
        ScrambledHammersleySequence sequence;
        ASSERT_TRUE(sequence.calculate(3, 5));
        EXPECT_FALSE(sequence.calculate(base, 10)) << base;
        EXPECT_EQ(sequence.size(), 0);
        EXPECT_EQ(sequence[3], 0.0f);
    }
    ScrambledHammersleySequence sequence;
    EXPECT_FALSE(sequence.calculate(5, -1));
    EXPECT_TRUE(sequence.calculate(5, 0));
    EXPECT_EQ(sequence[0], 0.0f);
}
