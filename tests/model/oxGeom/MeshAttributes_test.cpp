// Named vertex channels: typed views only for their dimension, zeroed values,
// and a cached range that skips NaN until invalidated.

#include <oxGeom/MeshAttributes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

using oxGeom::MeshAttributes;

TEST(MeshAttributes, typedViewsOnlyForTheirDimension)
{
    for (int dim = 1; dim <= 4; ++dim)
    {
        MeshAttributes channel("c", dim, 5);
        const float* all = channel.asFloat();
        EXPECT_EQ(channel.asFloat1(), dim == 1 ? all : nullptr);
        EXPECT_EQ(channel.asFloat2(), dim == 2 ? all : nullptr);
        EXPECT_EQ(channel.asFloat3(), dim == 3 ? all : nullptr);
        EXPECT_EQ(channel.asFloat4(), dim == 4 ? all : nullptr);
        EXPECT_EQ(reinterpret_cast<const float*>(channel.asMeshUV()), dim == 2 ? all : nullptr);
        for (int i = 0; i < 5 * dim; ++i)
            EXPECT_EQ(all[i], 0.0f);
    }
    MeshAttributes invalid("w", 7, -3);
    EXPECT_EQ(invalid.getDimension(), 1);
    EXPECT_EQ(invalid.getNumElements(), 0);
}

TEST(MeshAttributes, rangeSkipsNaNAndIsCachedUntilInvalidated)
{
    MeshAttributes channel("uv", MeshAttributes::Float2, 3);
    const float values[6] = {1, -2, 5, 4, -3, std::numeric_limits<float>::quiet_NaN()};
    std::copy(values, values + 6, channel.asFloat());
    float lo[2], hi[2];
    ASSERT_TRUE(channel.getRange(lo, hi));
    EXPECT_EQ(lo[0], -3.0f);
    EXPECT_EQ(hi[0], 5.0f);
    EXPECT_EQ(lo[1], -2.0f);
    EXPECT_EQ(hi[1], 4.0f);

    channel.asFloat()[0] = 100.0f;
    channel.getRange(lo, hi);
    EXPECT_EQ(hi[0], 5.0f);  // stale until invalidated
    channel.invalidateRange();
    channel.getRange(lo, hi);
    EXPECT_EQ(hi[0], 100.0f);

    MeshAttributes empty("e", 1, 0);
    EXPECT_FALSE(empty.getRange(lo, hi));
}
