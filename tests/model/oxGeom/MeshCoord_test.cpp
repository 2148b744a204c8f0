#include "oxGeom/MeshCoord.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using oxGeom::MeshCoord;
using oxLinear::Point;

namespace
{
// Nearest distance from p to a dense barycentric grid over triangle 0 of the arrays.
double sampledDistance(const float* v, const Point& p, int steps)
{
    double best = 1e300;
    for (int i = 0; i <= steps; ++i)
        for (int j = 0; i + j <= steps; ++j)
        {
            const double u = double(i) / steps, w = double(j) / steps, s = 1.0 - u - w;
            double d2 = 0.0;
            for (int k = 0; k < 3; ++k)
            {
                const double x = u * v[k] + w * v[3 + k] + s * v[6 + k];
                d2 += (x - p[k]) * (x - p[k]);
            }
            best = std::min(best, d2);
        }
    return std::sqrt(best);
}

void expectWeights(const MeshCoord& c, double w0, double w1, double w2)
{
    EXPECT_NEAR(c.weights[0], w0, 1e-12);
    EXPECT_NEAR(c.weights[1], w1, 1e-12);
    EXPECT_NEAR(c.weights[2], w2, 1e-12);
}
}  // namespace

TEST(MeshCoord, projectFindsEachVoronoiRegion)
{
    //  C (0,2)
    //  | \        triangle A B C in the z = 0 plane; queries sit above it (z = 3)
    //  |   \      or around it, one per region.
    //  A----B (2,0)
    const float v[] = {0, 0, 0, 2, 0, 0, 0, 2, 0};
    const int tris[] = {0, 1, 2};
    MeshCoord c;
    ASSERT_TRUE(c.project(0, v, tris, Point(-1, -1, 3)));  // vertex A
    expectWeights(c, 1, 0, 0);
    ASSERT_TRUE(c.project(0, v, tris, Point(3, -1, 0)));  // vertex B
    expectWeights(c, 0, 1, 0);
    ASSERT_TRUE(c.project(0, v, tris, Point(-0.5, 4, -1)));  // vertex C
    expectWeights(c, 0, 0, 1);
    ASSERT_TRUE(c.project(0, v, tris, Point(0.5, -2, 3)));  // edge AB
    expectWeights(c, 0.75, 0.25, 0);
    ASSERT_TRUE(c.project(0, v, tris, Point(-5, 1.5, 0)));  // edge AC
    expectWeights(c, 0.25, 0, 0.75);
    ASSERT_TRUE(c.project(0, v, tris, Point(2, 2, 1)));  // edge BC
    expectWeights(c, 0, 0.5, 0.5);
    ASSERT_TRUE(c.project(0, v, tris, Point(0.5, 0.5, 3)));  // face
    expectWeights(c, 0.5, 0.25, 0.25);
    EXPECT_EQ(c.triangle, 0);
    const Point onFace = c.evaluate(v, tris);
    EXPECT_NEAR(onFace[0], 0.5, 1e-12);
    EXPECT_NEAR(onFace[1], 0.5, 1e-12);
    EXPECT_NEAR(onFace[2], 0.0, 1e-12);
}

TEST(MeshCoord, projectMatchesDenseSamplingOnRandomTriangles)
{
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> coord(-1.0f, 1.0f);
    // The second triangle of the arrays is used, to exercise the indexing.
    float v[12] = {};
    const int tris[] = {0, 0, 0, 3, 1, 2};
    const int steps = 300;
    int zeroWeightsSeen[3] = {0, 0, 0};  // face, edge and vertex regions
    for (int round = 0; round < 40; ++round)
    {
        for (float& x : v)
            x = coord(rng);
        const float* corners[] = {v + 9, v + 3, v + 6};
        float packed[9];
        for (int k = 0; k < 3; ++k)
            for (int d = 0; d < 3; ++d)
                packed[3 * k + d] = corners[k][d];
        double longest = 0.0;
        for (int k = 0; k < 3; ++k)
        {
            double e2 = 0.0;
            for (int d = 0; d < 3; ++d)
                e2 += std::pow(packed[3 * k + d] - packed[3 * ((k + 1) % 3) + d], 2);
            longest = std::max(longest, std::sqrt(e2));
        }
        for (int q = 0; q < 5; ++q)
        {
            const Point p(2 * coord(rng), 2 * coord(rng), 2 * coord(rng));
            MeshCoord c;
            ASSERT_TRUE(c.project(1, v, tris, p));
            EXPECT_EQ(c.triangle, 1);
            for (double w : c.weights)
            {
                EXPECT_GE(w, -1e-12);
                EXPECT_LE(w, 1.0 + 1e-12);
            }
            EXPECT_NEAR(c.weights[0] + c.weights[1] + c.weights[2], 1.0, 1e-12);
            const int zeros = (c.weights[0] == 0) + (c.weights[1] == 0) + (c.weights[2] == 0);
            ASSERT_LT(zeros, 3);
            ++zeroWeightsSeen[zeros];
            const double exact = oxLinear::distance(c.evaluate(v, tris), p);
            const double sampled = sampledDistance(packed, p, steps);
            // Exact is never beaten by a sample, and a sample lies within one
            // grid cell of the exact point.
            EXPECT_LE(exact, sampled + 1e-9);
            EXPECT_GE(exact, sampled - longest / steps);
        }
    }
    for (int kind = 0; kind < 3; ++kind)
        EXPECT_GT(zeroWeightsSeen[kind], 0) << "region kind " << kind << " never reached";
}

TEST(MeshCoord, degenerateTrianglesAndBadInputLeaveCoordinateInvalid)
{
    const float v[] = {0, 0, 0, 1, 1, 1, 2, 2, 2, 5, 5, 5};
    const int collinear[] = {0, 1, 2};
    const int coincident[] = {3, 3, 3};
    const int twoEqual[] = {0, 0, 1};
    MeshCoord c(4, 1, 0, 0);
    EXPECT_FALSE(c.project(0, v, collinear, Point(0, 1, 0)));
    EXPECT_FALSE(c.valid());
    EXPECT_EQ(c.triangle, -1);
    EXPECT_FALSE(c.project(0, v, coincident, Point(0, 1, 0)));
    EXPECT_FALSE(c.project(0, v, twoEqual, Point(0, 1, 0)));
    EXPECT_FALSE(c.project(-1, v, collinear, Point()));
    EXPECT_FALSE(c.project(0, nullptr, collinear, Point()));

    // A thin but genuine sliver still projects.
    const float sliver[] = {0, 0, 0, 1000, 0, 0, 500, 1e-3f, 0};
    EXPECT_TRUE(c.project(0, sliver, collinear, Point(500, 10, 0)));
    EXPECT_NEAR(c.evaluate(sliver, collinear)[1], 1e-3, 1e-9);

    const MeshCoord invalid;
    EXPECT_EQ(invalid.evaluate(v, collinear), Point(0, 0, 0));
}
