// Mesh arrays: present-but-empty differs from absent, regrown elements are zero,
// and every block goes back to the allocator that made it.

#include <oxGeom/ArrayAllocator.h>

#include <gtest/gtest.h>

#include "support/CountingAllocator.h"

using oxGeom::MeshArray;

TEST(MeshArray, presentEmptyIsNonNullAndRegrownElementsAreZero)
{
    MeshArray<int> array;
    EXPECT_EQ(array.data(), nullptr);
    array.resize(-5);
    EXPECT_NE(array.data(), nullptr);  // present, 0 elements
    EXPECT_EQ(array.size(), 0);

    array.resize(10);
    for (int i = 0; i < 10; ++i)
        array.data()[i] = i + 1;
    array.resize(6);  // within capacity: the old values stay in the block
    array.resize(10);
    EXPECT_EQ(array.data()[5], 6);
    for (int i = 6; i < 10; ++i)
        EXPECT_EQ(array.data()[i], 0) << i;

    array.resize(1000);
    array.resize(3);  // far below capacity: memory is given back, prefix kept
    EXPECT_LT(array.capacity(), 1000);
    EXPECT_EQ(array.data()[2], 3);

    array.assign(2, array.data() + 1);  // source inside its own block
    EXPECT_EQ(array.data()[0], 2);
    EXPECT_EQ(array.data()[1], 3);
    array.release();
    EXPECT_EQ(array.data(), nullptr);
}

TEST(MeshArray, everyBlockIsFreedByTheAllocatorThatMadeIt)
{
    ox::Reference<fixtures::CountingAllocator> first(new fixtures::CountingAllocator);
    ox::Reference<fixtures::CountingAllocator> second(new fixtures::CountingAllocator);
    {
        MeshArray<float> a(first);
        a.resize(100);
        a.data()[7] = 7.0f;
        EXPECT_EQ(first->liveBytes(), a.getSizeInBytes());

        MeshArray<float> copy(a);  // copy construction: the source's allocator
        EXPECT_EQ(first->liveBlocks(), 2);
        MeshArray<float> b(second);
        b = a;  // assignment: its own allocator
        EXPECT_EQ(second->liveBlocks(), 1);
        EXPECT_EQ(b.data()[7], 7.0f);

        a.swap(b);  // blocks travel with their allocators
        EXPECT_EQ(a.getAllocator().get(), second.get());
        a.setAllocator(first);  // moved over, the old block given back
        EXPECT_EQ(second->liveBlocks(), 0);
        EXPECT_EQ(a.data()[7], 7.0f);
        a.setAllocator(nullptr);
        EXPECT_EQ(first->liveBlocks(), 2);
    }
    EXPECT_EQ(first->liveBlocks(), 0);
    EXPECT_EQ(first->badFrees() + second->badFrees(), 0);
}
