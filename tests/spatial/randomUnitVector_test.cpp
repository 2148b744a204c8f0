// randomUnitVector and computeHemisphereVectors: unit length, the rejection rule on the raw
// drand48 samples, an even spread over the octants, and the hemisphere side.

#include <oxGeom/sampling.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

using oxLinear::Vector;

TEST(randomUnitVector, acceptsOnlySamplesOfSquaredLengthInTheShell)
{
    // Replays the generator: the vector must be the first triple of draws whose squared
    // length lies in [0.01, 1), scaled to unit length.
    for (long seed = 1; seed <= 200; ++seed)
    {
        srand48(seed);
        Vector expected;
        for (;;)
        {
            const double x = 2 * drand48() - 1, y = 2 * drand48() - 1, z = 2 * drand48() - 1;
            const double length2 = x * x + y * y + z * z;
            if (length2 >= 0.01 && length2 < 1.0)
            {
                expected = Vector(x, y, z) / std::sqrt(length2);
                break;
            }
        }
        srand48(seed);
        Vector v;
        oxGeom::randomUnitVector(v);
        ASSERT_NEAR(v.x(), expected.x(), 1e-15) << seed;
        ASSERT_NEAR(v.y(), expected.y(), 1e-15) << seed;
        ASSERT_NEAR(v.z(), expected.z(), 1e-15) << seed;
        ASSERT_NEAR(v.length(), 1.0, 1e-14);
    }
}

TEST(randomUnitVector, spreadsEvenlyOverTheOctants)
{
    srand48(42);
    const int samples = 80000;
    int octants[8] = {};
    for (int i = 0; i < samples; ++i)
    {
        Vector v;
        oxGeom::randomUnitVector(v);
        ++octants[(v.x() > 0) | (v.y() > 0) << 1 | (v.z() > 0) << 2];
    }
    for (int count : octants)
        EXPECT_NEAR(count, samples / 8, 400);  // about 4 standard deviations
}

TEST(computeHemisphereVectors, fillsTheGivenSizeOnTheNormalsSide)
{
    srand48(7);
    const Vector normal(0.3, -0.5, 0.8);
    ox::vector<Vector> vectors(500);
    oxGeom::computeHemisphereVectors(normal, vectors);
    ASSERT_EQ(vectors.size(), 500u);
    int nearPole = 0;
    for (const Vector& v : vectors)
    {
        EXPECT_GE(oxLinear::dot(v, normal), 0.0);
        EXPECT_NEAR(v.length(), 1.0, 1e-14);
        nearPole += oxLinear::dot(v, normal.normalized()) > 0.5;
    }
    // Uniform over the hemisphere: half of the area lies within 60 degrees of the pole.
    EXPECT_NEAR(nearPole, 250, 45);

    ox::vector<Vector> none;
    oxGeom::computeHemisphereVectors(normal, none);
    EXPECT_TRUE(none.empty());
}
