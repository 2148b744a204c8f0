// meshTransform / meshTransformNormals: points carried by the full matrix,
// normals kept perpendicular to carried tangents and of unit length, the same
// result below and above the single-thread cut-off, exact timing lines.

#include <oxGeom/meshTransform.h>

#include "support/debugCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace
{
std::vector<float> randomTriples(int count, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(-3.0f, 3.0f);
    std::vector<float> data(3 * static_cast<size_t>(count));
    for (float& x : data)
        x = value(random);
    return data;
}

oxLinear::AffineMatrix generalMatrix()
{
    const double values[12] = {0.8, 0.3, -0.1, -0.2, 1.7, 0.4, 0.5, 0.1, -1.2, 7, -8, 9};
    return oxLinear::AffineMatrix(values);
}

double dot(const double a[3], const float b[3])
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// v * M over the linear rows (and row 3 when `translate`), in double.
void carry(const oxLinear::AffineMatrix& m, const float v[3], bool translate, double out[3])
{
    for (int c = 0; c < 3; ++c)
        out[c] = v[0] * m[0][c] + v[1] * m[1][c] + v[2] * m[2][c] + (translate ? m[3][c] : 0.0);
}
}  // namespace

TEST(meshTransform, pointsTakeTheFullMatrixForAnySize)
{
    const oxLinear::AffineMatrix m = generalMatrix();
    for (int count : {1, 9999, 10000, 25001})  // both sides of the single-thread cut-off
    {
        const std::vector<float> original = randomTriples(count, 4);
        for (int threads : {1, 3})
        {
            testsupport::PoolThreads pool(threads);
            std::vector<float> points = original;
            oxGeom::meshTransform(m, points.data(), count);
            for (int i = 0; i < count; i += 97)
            {
                double expected[3];
                carry(m, &original[3 * i], true, expected);
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(points[3 * i + c], static_cast<float>(expected[c])) << i;
            }
        }
    }
}

TEST(meshTransform, normalsStayPerpendicularToCarriedTangents)
{
    // For each random normal n pick a tangent t with t . n = 0; after the
    // transform, (t * L) . n' must still be 0 and |n'| = 1, mirror included.
    oxLinear::AffineMatrix mirror = generalMatrix();
    mirror[0][0] = -mirror[0][0];
    mirror[1][0] = -mirror[1][0];
    mirror[2][0] = -mirror[2][0];
    for (const oxLinear::AffineMatrix& m : {generalMatrix(), mirror})
    {
        const int count = 12000;
        std::vector<float> normals = randomTriples(count, 8);
        const std::vector<float> others = randomTriples(count, 9);
        std::vector<float> tangents(3 * count);
        for (int i = 0; i < count; ++i)
        {
            const float* n = &normals[3 * i];
            const float* o = &others[3 * i];
            tangents[3 * i] = n[1] * o[2] - n[2] * o[1];
            tangents[3 * i + 1] = n[2] * o[0] - n[0] * o[2];
            tangents[3 * i + 2] = n[0] * o[1] - n[1] * o[0];
        }
        const std::vector<float> original = normals;
        oxGeom::meshTransformNormals(m, normals.data(), count);
        for (int i = 0; i < count; ++i)
        {
            const float* n = &normals[3 * i];
            double t[3];
            carry(m, &tangents[3 * i], false, t);
            const double tLength = std::sqrt(t[0] * t[0] + t[1] * t[1] + t[2] * t[2]);
            ASSERT_NEAR(dot(t, n) / tLength, 0.0, 1e-5) << i;
            ASSERT_NEAR(std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]), 1.0, 1e-6);
            // The normal stays on the same side of its surface: n' . (n * L) > 0
            // for the inverse transpose, mirror or not.
            double carried[3];
            carry(m, &original[3 * i], false, carried);
            ASSERT_GT(dot(carried, n), 0.0) << i;
        }
    }
}

TEST(meshTransform, singularMatrixUsesTheCofactorDirection)
{
    // Flattening onto the z = 0 plane: every tangent ends up in the plane, so a
    // normal with a z component is carried to +-z, and a normal lying in the
    // plane has no image: it becomes the zero vector.
    oxLinear::AffineMatrix flatten(1.0);
    flatten[2][2] = 0.0;
    std::vector<float> normals = {0.0f, 0.6f, 0.8f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, -2.0f};
    oxGeom::meshTransformNormals(flatten, normals.data(), 3);
    EXPECT_EQ(normals, (std::vector<float>{0, 0, 1, 0, 0, 0, 0, 0, -1}));
}

TEST(meshTransform, emptyInputDoesNothingAndPrintsNothing)
{
    testsupport::DebugCapture capture;
    std::vector<float> data = {1, 2, 3};
    oxGeom::meshTransform(generalMatrix(), nullptr, 5);
    oxGeom::meshTransform(generalMatrix(), data.data(), 0);
    oxGeom::meshTransformNormals(generalMatrix(), data.data(), -4);
    EXPECT_EQ(data, (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(capture.text(), "");

    oxGeom::meshTransform(generalMatrix(), data.data(), 1);
    oxGeom::meshTransformNormals(generalMatrix(), data.data(), 1);
    EXPECT_EQ(capture.text(),
              "meshTransform: 1 points, # s\nmeshTransformNormals: 1 normals, # s\n");
}
