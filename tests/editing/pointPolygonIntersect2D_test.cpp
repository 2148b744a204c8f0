// pointPolygonIntersect2D: the even-odd rule on concave and self-intersecting
// polygons, points on edges and vertices of polygons that tile the plane counted
// exactly once, and malformed input. (Random polygons against a winding-number
// oracle are covered through the lasso selection in MeshSelect_test.)

#include <oxGeom/MeshSelect.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using oxGeom::pointPolygonIntersect2D;

namespace
{
// The polygon closed by repeating its first point.
std::vector<float> closed(std::vector<float> points)
{
    points.push_back(points[0]);
    points.push_back(points[1]);
    return points;
}

bool inside(const std::vector<float>& closedPolygon, float x, float y)
{
    const float p[2] = {x, y};
    return pointPolygonIntersect2D(p, closedPolygon.data(),
                                   static_cast<int>(closedPolygon.size() / 2) - 1);
}
}  // namespace

TEST(pointPolygonIntersect2D, concaveAndSelfIntersectingPolygons)
{
    //  (0,2) +---+ (1,2)
    //        |   |           an L: the notch (1..2, 1..2) is outside
    //        |   +-----+ (2,1)
    //        |         |
    //  (0,0) +---------+ (2,0)
    const std::vector<float> ell = closed({0, 0, 2, 0, 2, 1, 1, 1, 1, 2, 0, 2});
    EXPECT_TRUE(inside(ell, 0.5f, 1.5f));
    EXPECT_TRUE(inside(ell, 1.5f, 0.5f));
    EXPECT_FALSE(inside(ell, 1.5f, 1.5f));
    EXPECT_FALSE(inside(ell, -0.5f, 0.5f));
    EXPECT_FALSE(inside(ell, 2.5f, 0.5f));

    // A pentagram: the central pentagon is wound twice, so even-odd leaves it out;
    // the points of the star are inside.
    std::vector<float> star;
    for (int i = 0; i < 5; ++i)
    {
        const double angle = M_PI / 2 + 4 * M_PI * i / 5;
        star.push_back(static_cast<float>(std::cos(angle)));
        star.push_back(static_cast<float>(std::sin(angle)));
    }
    star = closed(star);
    EXPECT_FALSE(inside(star, 0.0f, 0.0f));
    EXPECT_TRUE(inside(star, 0.0f, 0.8f));
    EXPECT_FALSE(inside(star, 0.0f, 1.2f));
}

TEST(pointPolygonIntersect2D, boundaryPointsBelongToExactlyOneTile)
{
    // A 3x3 grid of unit squares, each wound its own way round; every grid
    // point and edge midpoint inside the grid lies in exactly one square.
    for (int y2 = 1; y2 <= 5; ++y2)
        for (int x2 = 1; x2 <= 5; ++x2)
        {
            const float x = 0.5f * x2, y = 0.5f * y2;
            int owners = 0;
            for (int j = 0; j < 3; ++j)
                for (int i = 0; i < 3; ++i)
                {
                    const float a = float(i), b = float(j);
                    const std::vector<float> square =
                        (i + j) % 2 == 0 ? closed({a, b, a + 1, b, a + 1, b + 1, a, b + 1})
                                         : closed({a, b, a, b + 1, a + 1, b + 1, a + 1, b});
                    owners += inside(square, x, y) ? 1 : 0;
                }
            EXPECT_EQ(owners, 1) << x << ", " << y;
        }

    // Two triangles sharing a slanted edge.
    const std::vector<float> lower = closed({0, 0, 3, 0, 0, 3});
    const std::vector<float> upper = closed({3, 0, 3, 3, 0, 3});
    for (float t : {0.25f, 1.0f, 1.5f, 2.75f})
        EXPECT_EQ(int(inside(lower, t, 3 - t)) + int(inside(upper, t, 3 - t)), 1) << t;
}

TEST(pointPolygonIntersect2D, malformedInputIsOutside)
{
    const std::vector<float> square = closed({0, 0, 1, 0, 1, 1, 0, 1});
    const float centre[2] = {0.5f, 0.5f};
    EXPECT_TRUE(pointPolygonIntersect2D(centre, square.data(), 4));
    EXPECT_FALSE(pointPolygonIntersect2D(centre, square.data(), 2));
    EXPECT_FALSE(pointPolygonIntersect2D(centre, square.data(), -1));
    EXPECT_FALSE(pointPolygonIntersect2D(centre, nullptr, 4));
    EXPECT_FALSE(pointPolygonIntersect2D(nullptr, square.data(), 4));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    for (const auto& p :
         {std::vector<float>{nan, 0.5f}, {0.5f, nan}, {inf, 0.5f}, {-inf, 0.5f}, {0.5f, inf}})
        EXPECT_FALSE(pointPolygonIntersect2D(p.data(), square.data(), 4)) << p[0] << " " << p[1];
}
