// meshNormalize: unit vectors in the original direction, rounded once from double; zero and
// non-finite vectors become (0, 0, 0); empty input is ignored; the same bits for every thread
// count.

#include <oxGeom/meshNormals.h>

#include "support/debugCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

TEST(meshNormalize, unitLengthInTheSameDirectionForEveryThreadCount)
{
    // Ordinary vectors, plus lengths whose squares would leave the float range.
    std::mt19937 random(17);
    std::uniform_real_distribution<float> value(-5.0f, 5.0f);
    std::vector<float> input(3 * 10007);
    for (float& x : input)
        x = value(random);
    const float extremes[] = {1e-30f, -2e-30f, 3e-30f, 1e-44f, 0.0f, 0.0f, 3e30f, -4e30f, 1e30f};
    std::copy(std::begin(extremes), std::end(extremes), input.begin());

    std::vector<float> first;
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        std::vector<float> data = input;
        oxGeom::meshNormalize(data.data(), static_cast<int>(data.size() / 3));
        for (size_t i = 0; i < data.size(); i += 3)
        {
            const double x = input[i], y = input[i + 1], z = input[i + 2];
            const double length = std::sqrt(x * x + y * y + z * z);
            EXPECT_EQ(data[i], float(x / length)) << i;
            EXPECT_EQ(data[i + 1], float(y / length)) << i;
            EXPECT_EQ(data[i + 2], float(z / length)) << i;
        }
        if (first.empty())
            first = data;
        EXPECT_EQ(data, first) << threads << " threads";
    }
    EXPECT_NEAR(first[0], 1 / std::sqrt(14.0), 1e-6);
    EXPECT_EQ(first[3], 1.0f);  // (1e-44, 0, 0): a subnormal still has a direction
}

TEST(meshNormalize, zeroAndNonFiniteBecomeZeroAndEmptyInputIsIgnored)
{
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> data = {0, 0, 0, 0, 0, 2, nan, 1, 1, 1, -inf, 1, -0.0f, 0, 0};
    oxGeom::meshNormalize(data.data(), 5);
    const std::vector<float> expected = {0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(data, expected);

    std::vector<float> untouched = {3, 4, 0};
    oxGeom::meshNormalize(untouched.data(), 0);
    oxGeom::meshNormalize(untouched.data(), -2);
    oxGeom::meshNormalize(nullptr, 5);
    EXPECT_EQ(untouched, std::vector<float>({3, 4, 0}));
}
