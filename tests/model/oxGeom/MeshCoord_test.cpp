// Nearest point of a triangle: every Voronoi region of random triangles against
// a dense sampling of the triangle, and degenerate triangles refused.

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
            const Point q(u * a[0] + v * b[0] + w * c[0], u * a[1] + v * b[1] + w * c[1],
                          u * a[2] + v * b[2] + w * c[2]);
            best = std::min(best, oxLinear::distance2(q, p));
        }
    return std::sqrt(best);
}
}  // namespace

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
