// triNormal / meshTriNormal: the right-hand rule over the winding, unit length, (0, 0, 1) for
// every triangle without a direction, and the mesh form equal bit for bit to the point form.

#include <oxGeom/meshNormals.h>

#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using oxLinear::Point;

TEST(triNormal, followsWindingAndIsUnit)
{
    // The triangle cutting the three axes at 1, moved and scaled by 1000, in all three
    // rotations of its corners and in reverse.
    const double third = 1 / std::sqrt(3.0);
    const Point p[3] = {Point(1007, 3, -2), Point(7, 1003, -2), Point(7, 3, 998)};
    for (int k = 0; k < 3; ++k)
    {
        const oxLinear::Normal forward = oxGeom::triNormal(p[k], p[(k + 1) % 3], p[(k + 2) % 3]);
        const oxLinear::Normal reverse = oxGeom::triNormal(p[k], p[(k + 2) % 3], p[(k + 1) % 3]);
        for (int c = 0; c < 3; ++c)
        {
            EXPECT_NEAR(forward[c], third, 1e-15);
            EXPECT_NEAR(reverse[c], -third, 1e-15);
        }
    }
    EXPECT_EQ(oxGeom::triNormal(Point(0, 0, 0), Point(0, 2, 0), Point(0, 0, 3))[0], 1.0);
}

TEST(triNormal, withoutDirectionGivesPlusZ)
{
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Point a(1, 2, 3), b(2, 4, 6), c(3, 6, 9);
    const Point cases[][3] = {{a, b, c},
                              {a, a, b},
                              {a, a, a},  // collinear, repeated, point
                              {a, b, Point(nan, 0, 0)},
                              {a, b, Point(0, inf, 0)}};
    for (const auto& t : cases)
    {
        const oxLinear::Normal n = oxGeom::triNormal(t[0], t[1], t[2]);
        EXPECT_TRUE(n[0] == 0.0 && n[1] == 0.0 && n[2] == 1.0)
            << n[0] << " " << n[1] << " " << n[2];
    }
}

TEST(meshTriNormal, equalsTriNormalOfWidenedCorners)
{
    const oxGeom::CompactMesh mesh = fixtures::randomMesh(5, 40, 200);
    const float* v = mesh.getVerticesRaw();
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        const int* t = mesh.getTrianglesRaw() + 3 * i;
        auto corner = [&](int k) { return Point(v[3 * t[k]], v[3 * t[k] + 1], v[3 * t[k] + 2]); };
        const oxLinear::Normal expected = oxGeom::triNormal(corner(0), corner(1), corner(2));
        const oxLinear::Normal n = oxGeom::meshTriNormal(v, t);
        EXPECT_TRUE(n[0] == expected[0] && n[1] == expected[1] && n[2] == expected[2]) << i;
    }
}
