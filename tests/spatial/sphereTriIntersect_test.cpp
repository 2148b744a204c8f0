#include <oxGeom/sphereTriIntersect.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using oxGeom::Sphere;
using oxGeom::sphereTriIntersect;
using oxLinear::Point;

TEST(sphereTriIntersect, agreesWithSampledDistanceOnRandomTriangles)
{
    // The smallest distance d to a barycentric grid of n steps; the true
    // distance lies in [d - longest edge / n, d]. Radii in that band are skipped.
    std::mt19937 rng(31);
    std::uniform_real_distribution<double> uniform(-1, 1);
    const int n = 50;
    int outcomes[2] = {0, 0};
    for (int i = 0; i < 1200; ++i)
    {
        Point c[3];
        for (Point& q : c)
            q = Point(uniform(rng), uniform(rng), uniform(rng));
        const Point centre(1.5 * uniform(rng), 1.5 * uniform(rng), 1.5 * uniform(rng));
        double d = 1e300;
        for (int j = 0; j <= n; ++j)
            for (int k = 0; j + k <= n; ++k)
                d = std::min(
                    d, oxLinear::distance(
                           centre, oxLinear::combine(1.0 - (j + k) / double(n), c[0], j / double(n),
                                                     c[1], k / double(n), c[2])));
        const double spacing =
            std::max({oxLinear::distance(c[0], c[1]), oxLinear::distance(c[1], c[2]),
                      oxLinear::distance(c[2], c[0])}) /
            n;
        const double radius = std::max(0.0, d + 0.3 * uniform(rng));
        const bool expected = radius >= d;
        if (!expected && radius >= d - spacing)
            continue;
        ASSERT_EQ(sphereTriIntersect(Sphere(centre, radius), c[0], c[1], c[2]), expected) << i;
        ++outcomes[expected];
    }
    EXPECT_GT(std::min(outcomes[0], outcomes[1]), 300);
}

TEST(sphereTriIntersect, touchingCountsOnFaceEdgeAndCornerNotBeyondAnEdgeLine)
{
    //   c (0,2)
    //   | \        centres above the face, beyond the hypotenuse, beyond
    //   a -- b     corner b along x, and beside the line of a-b past b
    const Point a(0, 0, 0), b(2, 0, 0), c(0, 2, 0);
    const double below = std::nextafter(1.0, 0.0), half = std::sqrt(0.5);
    const struct
    {
        Point centre;
        double touching;  // the distance to the triangle
    } cases[] = {{Point(0.5, 0.5, 1), 1.0},
                 {Point(0.5, 0.5, -1), 1.0},
                 {Point(1.5, 1.5, 0), half},
                 {Point(3, 0, 0), 1.0}};
    for (const auto& s : cases)
        for (bool reversed : {false, true})  // winding does not matter
        {
            const Point& second = reversed ? c : b;
            const Point& third = reversed ? b : c;
            EXPECT_TRUE(
                sphereTriIntersect(Sphere(s.centre, s.touching * (1 + 1e-12)), a, second, third));
            EXPECT_FALSE(
                sphereTriIntersect(Sphere(s.centre, s.touching * below), a, second, third));
        }
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(3, 0, 0), 1.0), a, b, c));  // corner on the sphere
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(4, 0.5, 0), 1.0), a, b, c));
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 0), 10.0), a, b, c));
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 0), 0.0), a, b, c));
    for (double bad : {-1.0, std::nan("")})
        EXPECT_FALSE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 0), bad), a, b, c));
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(0.5, std::nan(""), 0), 5.0), a, b, c));
}

TEST(sphereTriIntersect, degenerateTrianglesAreSegmentsOrPoints)
{
    // Segment a-b of length 2: coinciding corners (also within epsilonTol) in
    // every position, or a distinct middle corner in any order.
    const Point a(0, 0, 0), b(2, 0, 0), mid(1, 0, 0), aNear(1e-11, 0, 0);
    const Point triples[][3] = {{a, a, b},     {a, b, a},   {b, a, a},   {aNear, a, b},
                                {a, b, aNear}, {a, mid, b}, {mid, b, a}, {b, a, mid}};
    const double below = std::nextafter(1.0, 0.0);
    for (const auto& t : triples)
    {
        EXPECT_TRUE(sphereTriIntersect(Sphere(Point(1, 1, 0), 1.0), t[0], t[1], t[2]));
        EXPECT_FALSE(sphereTriIntersect(Sphere(Point(1, 1, 0), below), t[0], t[1], t[2]));
        EXPECT_TRUE(sphereTriIntersect(Sphere(Point(3, 0, 0), 1.0), t[0], t[1], t[2]));
        EXPECT_FALSE(sphereTriIntersect(Sphere(Point(3.5, 0, 0), 1.0), t[0], t[1], t[2]));
    }
    // Three coinciding corners: hit only strictly inside the ball.
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0, 0, 0.5), 1.0), a, a, a));
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(0, 0, 1), 1.0), a, a, a));
}
