// Packed bit sets: the word layout, the tail past size() kept clear, ignored
// out-of-range indices, and random edits against a vector<bool>.

#include "oxGeom/BitVector.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using oxGeom::BitVector;

TEST(BitVector, bit32IsBitZeroOfWord1)
{
    BitVector bits(70);
    ASSERT_EQ(bits.numWords(), 3);
    bits.setBit(32);
    bits.setBit(31);
    bits.setBit(69);
    EXPECT_EQ(bits.getWords()[0], 0x80000000u);
    EXPECT_EQ(bits.getWords()[1], 1u);
    EXPECT_EQ(bits.data()[2], 1u << 5);
}

TEST(BitVector, tailBitsStayClearAfterResizeSetAllAndOr)
{
    BitVector bits(35);
    bits.setAllBits();
    EXPECT_EQ(bits.getWords()[1], 7u);
    // Shrinking then growing must not bring back bits that were cut off.
    bits.resize(33);
    bits.resize(64);
    EXPECT_EQ(bits.getWords()[1], 1u);
    EXPECT_EQ(bits.countSetBits(), 33);

    // |= with a longer, full vector only sets bits below this size.
    BitVector small(5);
    small |= bits;
    EXPECT_EQ(small.getWords()[0], 0x1Fu);
    EXPECT_EQ(small.size(), 5);
}

TEST(BitVector, outOfRangeIndicesAndSizesAreIgnored)
{
    BitVector bits(10);
    const int indices[] = {3, -7, 10, 9, 1000};
    bits.setBits(5, indices);
    bits.setBits(3, nullptr);
    EXPECT_EQ(bits.countSetBits(), 2);
    EXPECT_FALSE(bits.isBitSet(1 << 30));
    bits.resize(-1);
    EXPECT_EQ(bits.size(), 0);
    EXPECT_EQ(bits.getWords(), nullptr);
}

TEST(BitVector, randomEditsMatchBoolVector)
{
    std::mt19937 rng(1234);
    BitVector bits;
    std::vector<bool> oracle;
    for (int step = 0; step < 300; ++step)
    {
        const int n = static_cast<int>(oracle.size());
        const int i = static_cast<int>(rng() % (n + 4)) - 2;  // some out of range
        const unsigned op = rng() % 6;
        if (op == 0)
        {
            oracle.resize(rng() % 150, false);
            bits.resize(static_cast<int>(oracle.size()));
        }
        else if (op <= 2)
        {
            op == 1 ? bits.setBit(i) : bits.clearBit(i);
            if (i >= 0 && i < n)
                oracle[i] = op == 1;
        }
        else if (op == 3)
        {
            BitVector other(static_cast<int>(rng() % 150));
            for (int k = 0; k < 10; ++k)
                other.setBit(static_cast<int>(rng() % 160));
            for (int k = 0; k < n && k < other.size(); ++k)
                oracle[k] = oracle[k] || other.isBitSet(k);
            BitVector copy(bits);
            copy |= other;
            bits.swap(copy);
        }
        else if (op == 4 && rng() % 4 == 0)
        {
            bits.setAllBits();
            oracle.assign(oracle.size(), true);
        }
        int count = 0;
        ASSERT_EQ(bits.size(), static_cast<int>(oracle.size()));
        for (int k = 0; k < bits.size(); ++k)
        {
            const bool raw = (bits.getWords()[k / 32] >> (k % 32)) & 1u;
            ASSERT_EQ(raw, oracle[k]) << "step " << step << " bit " << k;
            count += oracle[k];
        }
        ASSERT_EQ(bits.countSetBits(), count);
        ASSERT_EQ(bits.anyBitSet(), count > 0);
    }
}
