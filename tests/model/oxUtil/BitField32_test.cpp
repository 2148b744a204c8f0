// Flag words: bit i is bit i of the raw word, out-of-range bits are ignored.

#include "oxUtil/BitField32.h"

#include <gtest/gtest.h>

using oxUtil::BitField32;

TEST(BitField32, bitIIsBitIOfRawWordAndOutOfRangeIsIgnored)
{
    BitField32 f;
    EXPECT_TRUE(f.none());
    f.set(0).set(5).set(31).set(32).set(-1);
    EXPECT_EQ(f.raw(), 0x80000021u);
    EXPECT_EQ(f.count(), 3);
    EXPECT_TRUE(f.test(5) && !f.test(4) && !f.test(32) && !f.test(-1));
    f.clear(5).toggle(31).toggle(1).set(7, true).set(0, false);
    EXPECT_EQ(f.raw(), 0x82u);
    const BitField32 a(0b1100u), b(0b1010u);
    EXPECT_EQ((a | b).raw(), 0b1110u);
    EXPECT_EQ((a & b).raw(), 0b1000u);
    EXPECT_EQ((a ^ b).raw(), 0b0110u);
    EXPECT_EQ((~a).raw(), 0xFFFFFFF3u);
    EXPECT_TRUE(f.reset().none());
}
