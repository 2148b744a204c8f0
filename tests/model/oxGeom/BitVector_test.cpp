#include "oxGeom/BitVector.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using oxGeom::BitVector;

namespace
{
// Checks every bit and the count of `bits` against a plain bool vector.
void expectSameBits(const BitVector& bits, const std::vector<bool>& oracle)
{
    ASSERT_EQ(bits.size(), static_cast<int>(oracle.size()));
    ASSERT_EQ(bits.numWords(), (bits.size() + 31) / 32);
    int count = 0;
    for (int i = 0; i < bits.size(); ++i)
    {
        ASSERT_EQ(bits.isBitSet(i), oracle[i]) << "bit " << i;
        const bool rawSet = (bits.getWords()[i / 32] & (1u << (i % 32))) != 0;
        ASSERT_EQ(rawSet, oracle[i]) << "raw bit " << i;
        count += oracle[i] ? 1 : 0;
    }
    EXPECT_EQ(bits.countSetBits(), count);
    EXPECT_EQ(bits.anyBitSet(), count > 0);
}
}  // namespace

TEST(BitVector, bit32IsBitZeroOfWord1)
{
    BitVector bits(70);
    ASSERT_EQ(bits.numWords(), 3);
    bits.setBit(32);
    EXPECT_EQ(bits.getWords()[0], 0u);
    EXPECT_EQ(bits.getWords()[1], 1u);
    bits.setBit(31);
    bits.setBit(69);
    EXPECT_EQ(bits.data()[0], 0x80000000u);
    EXPECT_EQ(bits.data()[2], 1u << 5);
    bits.clearBit(32);
    EXPECT_EQ(bits.getWords()[1], 0u);
    EXPECT_TRUE(bits.isBitSet(31));
    EXPECT_FALSE(bits.isBitSet(32));
}

TEST(BitVector, tailBitsStayClearAfterResizeSetAllAndOr)
{
    BitVector bits(33);
    bits.setAllBits();
    EXPECT_EQ(bits.getWords()[1], 1u);
    EXPECT_EQ(bits.countSetBits(), 33);

    // Shrinking then growing must not bring back bits that were cut off.
    bits.resize(35);
    bits.setAllBits();
    bits.resize(33);
    bits.resize(64);
    EXPECT_EQ(bits.getWords()[1], 1u);
    EXPECT_EQ(bits.countSetBits(), 33);

    // |= with a longer, full vector only sets bits below this size.
    BitVector small(5);
    BitVector full(64);
    full.setAllBits();
    small |= full;
    EXPECT_EQ(small.getWords()[0], 0x1Fu);
    EXPECT_EQ(small.countSetBits(), 5);
    EXPECT_EQ(small.size(), 5);

    // A shorter right-hand side leaves the higher bits alone.
    BitVector wide(40);
    wide.setBit(39);
    BitVector narrow(3);
    narrow.setBit(1);
    wide |= narrow;
    EXPECT_TRUE(wide.isBitSet(39));
    EXPECT_TRUE(wide.isBitSet(1));
    EXPECT_EQ(wide.countSetBits(), 2);
}

TEST(BitVector, outOfRangeIndicesAreIgnored)
{
    BitVector bits(10);
    bits.setBit(10);
    bits.setBit(-1);
    bits.setBit(40);
    EXPECT_EQ(bits.countSetBits(), 0);
    EXPECT_FALSE(bits.isBitSet(-1));
    EXPECT_FALSE(bits.isBitSet(10));
    EXPECT_FALSE(bits.isBitSet(1 << 30));
    const int indices[] = {3, -7, 10, 9, 1000};
    bits.setBits(5, indices);
    EXPECT_EQ(bits.countSetBits(), 2);
    bits.setBits(3, nullptr);
    bits.clearBit(-3);
    EXPECT_EQ(bits.countSetBits(), 2);

    BitVector negative(-5);
    EXPECT_EQ(negative.size(), 0);
    EXPECT_EQ(negative.getWords(), nullptr);
    negative.setAllBits();
    EXPECT_EQ(negative.countSetBits(), 0);
    bits.resize(-1);
    EXPECT_EQ(bits.size(), 0);
    EXPECT_FALSE(bits.anyBitSet());
}

TEST(BitVector, randomEditsMatchBoolVector)
{
    std::mt19937 rng(1234);
    BitVector bits;
    std::vector<bool> oracle;
    for (int step = 0; step < 400; ++step)
    {
        const int op = static_cast<int>(rng() % 8);
        const int n = static_cast<int>(oracle.size());
        const int i = n > 0 ? static_cast<int>(rng() % n) : 0;
        if (op == 0)
        {
            const int size = static_cast<int>(rng() % 150);
            bits.resize(size);
            oracle.resize(size, false);
        }
        else if (op <= 2 && n > 0)
        {
            bits.setBit(i);
            oracle[i] = true;
        }
        else if (op == 3 && n > 0)
        {
            bits.clearBit(i);
            oracle[i] = false;
        }
        else if (op == 4)
        {
            BitVector other(static_cast<int>(rng() % 150));
            std::vector<int> picks;
            for (int k = 0; k < 10; ++k)
                picks.push_back(static_cast<int>(rng() % 160));
            other.setBits(static_cast<int>(picks.size()), picks.data());
            for (int k = 0; k < n && k < other.size(); ++k)
                oracle[k] = oracle[k] || other.isBitSet(k);
            bits |= other;
        }
        else if (op == 5)
        {
            // A copy swapped in and out must be indistinguishable.
            BitVector copy(bits);
            BitVector empty;
            copy.swap(empty);
            EXPECT_EQ(copy.size(), 0);
            bits.swap(empty);  // bits now holds the copy, empty the original
            EXPECT_TRUE(bits == empty);
        }
        else if (op == 6 && rng() % 8 == 0)
        {
            bits.setAllBits();
            oracle.assign(oracle.size(), true);
        }
        else if (op == 7 && rng() % 8 == 0)
        {
            bits.clearBits();
            oracle.assign(oracle.size(), false);
        }
        expectSameBits(bits, oracle);
        if (HasFatalFailure())
            return;
    }
}
