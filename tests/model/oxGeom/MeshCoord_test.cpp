#include "oxGeom/MeshCoord.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using oxGeom::MeshCoord;
using oxLinear::Point;

namespace
{
// Distance from p to the nearest point of a dense barycentric grid over A, B, C.
double sampledDistance(const float* a, const float* b, const float* c, const Point& p, int steps)
{
    double best = 1e300;
    for (int i = 0; i <= steps; ++i)
        for (int j = 0; i + j <= steps; ++j)
        {
            const double u = double(i) / steps, v = double(j) / steps, w = 1.0 - u - v;
            double d2 = 0.0;
            for (int k = 0; k < 3; ++k)
            {
                const double gap = u * a[k] + v * b[k] + w * c[k] - p[k];
                d2 += gap * gap;
            }
            best = std::min(best, d2);
        }
    return std::sqrt(best);
}
}  // namespace

TEST(MeshCoord, projectFindsEachVoronoiRegion)
{
    //  C (0,2)
    //  | \        triangle A B C in the z = 0 plane, one query per region
    //  A----B (2,0)
    const float v[] = {0, 0, 0, 2, 0, 0, 0, 2, 0};
    const int tris[] = {0, 1, 2};
    const struct
    {
        Point p;
        double w[3];
    } cases[] = {{Point(-1, -1, 3), {1, 0, 0}},          {Point(3, -1, 0), {0, 1, 0}},
                 {Point(-0.5, 4, -1), {0, 0, 1}},        {Point(0.5, -2, 3), {0.75, 0.25, 0}},
                 {Point(-5, 1.5, 0), {0.25, 0, 0.75}},   {Point(2, 2, 1), {0, 0.5, 0.5}},
                 {Point(0.5, 0.5, 3), {0.5, 0.25, 0.25}}};
    for (const auto& c : cases)
    {
        MeshCoord coord;
        ASSERT_TRUE(coord.project(0, v, tris, c.p));
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(coord.weights[k], c.w[k], 1e-12) << c.p[0] << " " << c.p[1];
    }
}

TEST(MeshCoord, projectMatchesDenseSamplingOnRandomTriangles)
{
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> coord(-1.0f, 1.0f);
    float v[12];
    const int tris[] = {0, 0, 0, 3, 1, 2};  // project on triangle 1: corners 3, 1, 2
    const int steps = 150;
    int regionKinds[3] = {0, 0, 0};  // by number of zero weights: face, edge, vertex
    for (int round = 0; round < 120; ++round)
    {
        for (float& x : v)
            x = coord(rng);
        const Point p(2 * coord(rng), 2 * coord(rng), 2 * coord(rng));
        MeshCoord c;
        ASSERT_TRUE(c.project(1, v, tris, p));
        EXPECT_EQ(c.triangle, 1);
        EXPECT_NEAR(c.weights[0] + c.weights[1] + c.weights[2], 1.0, 1e-12);
        for (double w : c.weights)
            EXPECT_TRUE(w >= 0.0 && w <= 1.0) << w;
        ++regionKinds[(c.weights[0] == 0) + (c.weights[1] == 0) + (c.weights[2] == 0)];

        // Exact is never beaten by a sample, and some sample lies within one
        // grid cell (at most the diameter 2*sqrt(3) / steps) of it.
        const double exact = oxLinear::distance(c.evaluate(v, tris), p);
        const double sampled = sampledDistance(v + 9, v + 3, v + 6, p, steps);
        EXPECT_LE(exact, sampled + 1e-9);
        EXPECT_GE(exact, sampled - 3.5 / steps);
    }
    for (int kind = 0; kind < 3; ++kind)
        EXPECT_GT(regionKinds[kind], 0) << "region kind " << kind << " never reached";
}

TEST(MeshCoord, degenerateTrianglesLeaveCoordinateInvalid)
{
    const float v[] = {0, 0, 0, 1, 1, 1, 2, 2, 2};
    const int collinear[] = {0, 1, 2};
    const int twoEqual[] = {0, 0, 1};
    MeshCoord c(4, 1, 0, 0);
    EXPECT_FALSE(c.project(0, v, collinear, Point(0, 1, 0)));
    EXPECT_FALSE(c.valid());
    EXPECT_FALSE(c.project(0, v, twoEqual, Point(0, 1, 0)));
    EXPECT_FALSE(c.project(-1, v, collinear, Point()));
    EXPECT_FALSE(c.project(0, nullptr, collinear, Point()));
    EXPECT_EQ(c.evaluate(v, collinear), Point(0, 0, 0));

    // A thin but genuine sliver still projects.
    const float sliver[] = {0, 0, 0, 1000, 0, 0, 500, 1e-3f, 0};
    EXPECT_TRUE(c.project(0, sliver, collinear, Point(500, 10, 0)));
    EXPECT_NEAR(c.evaluate(sliver, collinear)[1], 1e-3, 1e-9);
}
