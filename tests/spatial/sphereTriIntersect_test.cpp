#include <oxGeom/sphereTriIntersect.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using oxGeom::Sphere;
using oxGeom::sphereTriIntersect;
using oxLinear::Point;

namespace
{
double uniform(std::mt19937& rng, double lo, double hi)
{
    return lo + (hi - lo) * (rng() >> 5) * (1.0 / 134217728.0);
}

/// The smallest distance from `p` to a dense barycentric sample of the
/// triangle (n + 1)(n + 2) / 2 points; every triangle point lies within
/// `spacing` of a sample.
struct Sampled
{
    double distance;
    double spacing;
};

Sampled sampledDistance(const Point& p, const Point& a, const Point& b, const Point& c, int n)
{
    double best = 1e300;
    for (int i = 0; i <= n; ++i)
        for (int j = 0; i + j <= n; ++j)
        {
            const double u = double(i) / n, v = double(j) / n;
            const Point q = oxLinear::combine(1.0 - u - v, a, u, b, v, c);
            best = std::min(best, oxLinear::distance(p, q));
        }
    const double longest =
        std::max({oxLinear::distance(a, b), oxLinear::distance(b, c), oxLinear::distance(c, a)});
    return {best, longest / n};
}
}  // namespace

TEST(sphereTriIntersect, agreesWithSampledDistanceOnRandomTriangles)
{
    std::mt19937 rng(31);
    int outcomes[2] = {0, 0};
    for (int i = 0; i < 1200; ++i)
    {
        Point corner[3];
        for (Point& q : corner)
            q = Point(uniform(rng, -1, 1), uniform(rng, -1, 1), uniform(rng, -1, 1));
        const Point centre(uniform(rng, -1.5, 1.5), uniform(rng, -1.5, 1.5),
                           uniform(rng, -1.5, 1.5));
        const Sampled s = sampledDistance(centre, corner[0], corner[1], corner[2], 50);
        // The true distance lies in [s.distance - s.spacing, s.distance]: draw
        // radii on both sides and leave the band undecided.
        const double radius = std::max(0.0, s.distance + uniform(rng, -0.3, 0.3));
        const bool expected = radius >= s.distance;
        if (!expected && radius >= s.distance - s.spacing)
            continue;
        ASSERT_EQ(sphereTriIntersect(Sphere(centre, radius), corner[0], corner[1], corner[2]),
                  expected)
            << "case " << i;
        ++outcomes[expected];
    }
    EXPECT_GT(std::min(outcomes[0], outcomes[1]), 300);
}

TEST(sphereTriIntersect, touchingCountsFromFaceEdgeAndCorner)
{
    // The triangle (0,0,0), (2,0,0), (0,2,0):
    //
    //   c
    //   | \        face region above (0.5, 0.5), edge region beyond the
    //   |   \      hypotenuse at (1.5, 1.5), corner region beyond (3, 0).
    //   a --- b
    const Point a(0, 0, 0), b(2, 0, 0), c(0, 2, 0);
    const double below = std::nextafter(1.0, 0.0);
    // Above the face at height 1.
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 1), 1.0), a, b, c));
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 1), below), a, b, c));
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0.5, 0.5, -1), 1.0), a, b, c));  // both sides
    // In the plane, beyond the hypotenuse x + y = 2 by a distance sqrt(2) / 2.
    const double half = std::sqrt(0.5);
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(1.5, 1.5, 0), half + 1e-12), a, b, c));
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(1.5, 1.5, 0), half - 1e-12), a, b, c));
    // Beyond corner b along x: the corner is the nearest point. Exactly on the
    // sphere it is not strictly inside, yet the edge test takes the contact.
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(3, 0, 0), 1.0), a, b, c));
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(3, 0, 0), below), a, b, c));
    // Beyond the extension of edge a-b (the line, not the segment, passes the
    // centre at distance 0.5): only the segment counts.
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(4, 0.5, 0), 1.0), a, b, c));
    // A sphere enclosing the whole triangle, and one inside its face.
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 0), 10.0), a, b, c));
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 0), 0.1), a, b, c));
    // Winding does not matter.
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 1), 1.0), a, c, b));
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 1), below), a, c, b));
}

TEST(sphereTriIntersect, degenerateTrianglesAreSegmentsOrPoints)
{
    const Point a(0, 0, 0), b(2, 0, 0), mid(1, 0, 0);
    const Point centre(1, 1, 0);  // distance 1 from the segment a-b, at its middle
    const double below = std::nextafter(1.0, 0.0);
    // Two coinciding corners, in each of the three positions (and within
    // epsilonTol): the segment a-b.
    const Point aNear(1e-11, 0, 0);
    const Point triples[][3] = {{a, a, b}, {a, b, a}, {b, a, a}, {aNear, a, b}, {a, b, aNear}};
    for (const auto& t : triples)
    {
        EXPECT_TRUE(sphereTriIntersect(Sphere(centre, 1.0), t[0], t[1], t[2]));
        EXPECT_FALSE(sphereTriIntersect(Sphere(centre, below), t[0], t[1], t[2]));
        EXPECT_FALSE(sphereTriIntersect(Sphere(Point(3.5, 0, 0), 1.0), t[0], t[1], t[2]));
        EXPECT_TRUE(sphereTriIntersect(Sphere(Point(3, 0, 0), 1.0), t[0], t[1], t[2]));
    }
    // Distinct collinear corners: the longest edge, wherever the middle
    // corner is listed.
    EXPECT_TRUE(sphereTriIntersect(Sphere(centre, 1.0), a, mid, b));
    EXPECT_TRUE(sphereTriIntersect(Sphere(centre, 1.0), mid, b, a));
    EXPECT_FALSE(sphereTriIntersect(Sphere(centre, below), mid, a, b));
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(-1, 0, 0), 1.0), mid, b, a));
    // Three coinciding corners: a point, hit only strictly inside the ball.
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0, 0, 0.5), 1.0), a, a, a));
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(0, 0, 1), 1.0), a, a, a));
    // Radius 0 finds a centre lying on the face; negative and NaN radii miss.
    EXPECT_TRUE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 0), 0.0), a, b, Point(0, 2, 0)));
    EXPECT_FALSE(sphereTriIntersect(Sphere(Point(0.5, 0.5, 0), -1.0), a, b, Point(0, 2, 0)));
    EXPECT_FALSE(
        sphereTriIntersect(Sphere(Point(0.5, 0.5, 0), std::nan("")), a, b, Point(0, 2, 0)));
    EXPECT_FALSE(
        sphereTriIntersect(Sphere(Point(0.5, std::nan(""), 0), 5.0), a, b, Point(0, 2, 0)));
}
