// The square <-> sphere maps: poles, unit length, area preservation (z is linear in v), the
// cap's zone, and the round trip through the inverse map.

#include <oxGeom/sampling.h>

#include <gtest/gtest.h>

#include <cmath>

using oxLinear::VectorFlt;

TEST(mapSphericalToUniformCartesian, coversTheSphereWithZLinearInV)
{
    VectorFlt p;
    oxGeom::mapSphericalToUniformCartesian(0.0f, 1.0f, p);
    EXPECT_NEAR(p.x(), 0.0f, 1e-6f);
    EXPECT_NEAR(p.y(), 0.0f, 1e-6f);
    EXPECT_FLOAT_EQ(p.z(), 1.0f);
    for (float u = 0.0f; u <= 1.0f; u += 0.125f)
        for (float v = 0.0f; v <= 1.0f; v += 0.0625f)
        {
            oxGeom::mapSphericalToUniformCartesian(u, v, p);
            ASSERT_NEAR(p.length(), 1.0f, 1e-6f);
            ASSERT_NEAR(p.z(), 2.0f * v - 1.0f, 1e-6f);  // equal bands of v, equal areas
            if (v > 0.0f && v < 1.0f)
            {
                ASSERT_NEAR(std::remainder(std::atan2(p.y(), p.x()) - 6.2831853 * u, 6.2831853),
                            0.0, 1e-5);
            }
        }
}

TEST(mapSphericalCapToUniformCartesian, staysInItsCap)
{
    for (float cap : {2.0f, 1.0f, 0.25f})
        for (float u = 0.0f; u <= 1.0f; u += 0.25f)
            for (float v = 0.0f; v <= 1.0f; v += 0.125f)
            {
                VectorFlt p;
                oxGeom::mapSphericalCapToUniformCartesian(u, v, cap, p);
                ASSERT_NEAR(p.length(), 1.0f, 1e-6f);
                ASSERT_FLOAT_EQ(p.z(), 1.0f - v * cap);
                ASSERT_GE(p.z(), 1.0f - cap - 1e-6f);
            }
}

TEST(mapUniformCartesianToSpherical, invertsTheSphereMap)
{
    float u = -1, v = -1;
    oxGeom::mapUniformCartesianToSpherical(VectorFlt(0, 0, 1), u, v);
    EXPECT_EQ(u, 0.0f);
    EXPECT_FLOAT_EQ(v, 1.0f);
    for (float u0 = 0.0625f; u0 < 1.0f; u0 += 0.125f)
        for (float v0 = 0.05f; v0 < 1.0f; v0 += 0.1f)
        {
            VectorFlt p;
            oxGeom::mapSphericalToUniformCartesian(u0, v0, p);
            oxGeom::mapUniformCartesianToSpherical(p, u, v);
            ASSERT_NEAR(u, u0, 2e-5f) << u0 << " " << v0;
            ASSERT_NEAR(v, v0, 2e-5f) << u0 << " " << v0;
        }
}
