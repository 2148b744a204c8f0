// triangulatePolygon: every result is judged in the polygon's own 2-D coordinates by brute
// force: n - 2 triangles of the polygon's winding, none of zero area, their areas adding up to
// the polygon's (shoelace), no triangle edge crossing a polygon edge, every centroid inside the
// polygon, and the unpaired triangle edges being exactly the polygon's edges.

#include <oxGeom/triangulatePolygon.h>

#include "support/debugCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace
{
using oxLinear::Point;
using Flat = std::vector<std::pair<double, double>>;

const double pi = 3.14159265358979323846;

double cross2(const std::pair<double, double>& a, const std::pair<double, double>& b,
              const std::pair<double, double>& c)
{
    return (b.first - a.first) * (c.second - a.second) -
           (b.second - a.second) * (c.first - a.first);
}

double shoelace(const Flat& p)
{
    double sum = 0.0;
    for (size_t i = 0; i < p.size(); ++i)
    {
        const auto& a = p[i];
        const auto& b = p[(i + 1) % p.size()];
        sum += a.first * b.second - b.first * a.second;
    }
    return 0.5 * sum;
}

bool insideEvenOdd(const Flat& p, double x, double y)
{
    bool inside = false;
    for (size_t i = 0, j = p.size() - 1; i < p.size(); j = i++)
        if ((p[i].second > y) != (p[j].second > y) &&
            x < (p[j].first - p[i].first) * (y - p[i].second) / (p[j].second - p[i].second) +
                    p[i].first)
            inside = !inside;
    return inside;
}

// Proper crossing: the segments meet at one point interior to both.
bool properlyCross(const std::pair<double, double>& a, const std::pair<double, double>& b,
                   const std::pair<double, double>& c, const std::pair<double, double>& d)
{
    const double d1 = cross2(a, b, c), d2 = cross2(a, b, d);
    const double d3 = cross2(c, d, a), d4 = cross2(c, d, b);
    const double tol = 1e-12;
    return ((d1 > tol && d2 < -tol) || (d1 < -tol && d2 > tol)) &&
           ((d3 > tol && d4 < -tol) || (d3 < -tol && d4 > tol));
}

// The polygon placed in space on a tilted plane through (3, -2, 5).
std::vector<Point> embed(const Flat& p)
{
    const double e1[3] = {0.6, 0.0, -0.8};
    const double e2[3] = {0.0, 1.0, 0.0};
    std::vector<Point> out;
    for (const auto& q : p)
        out.emplace_back(3.0 + q.first * e1[0] + q.second * e2[0],
                         -2.0 + q.first * e1[1] + q.second * e2[1],
                         5.0 + q.first * e1[2] + q.second * e2[2]);
    return out;
}

// Checks that `indices` triangulate the simple polygon `p` exactly.
void expectTiling(const Flat& p, const std::vector<int>& indices, const char* name)
{
    SCOPED_TRACE(name);
    const int n = static_cast<int>(p.size());
    ASSERT_EQ(indices.size(), 3u * (n - 2));
    const double area = shoelace(p);
    const double sign = area > 0 ? 1.0 : -1.0;
    double sum = 0.0;
    std::map<std::pair<int, int>, int> directed;
    for (size_t t = 0; t < indices.size(); t += 3)
    {
        for (int k = 0; k < 3; ++k)
            ASSERT_TRUE(indices[t + k] >= 0 && indices[t + k] < n);
        const auto& a = p[indices[t]];
        const auto& b = p[indices[t + 1]];
        const auto& c = p[indices[t + 2]];
        const double twice = cross2(a, b, c) * sign;
        EXPECT_GT(twice, 1e-9 * std::fabs(area)) << "triangle " << t / 3;
        sum += 0.5 * twice;
        const double cx = (a.first + b.first + c.first) / 3;
        const double cy = (a.second + b.second + c.second) / 3;
        EXPECT_TRUE(insideEvenOdd(p, cx, cy)) << "triangle " << t / 3;
        for (int k = 0; k < 3; ++k)
        {
            const int u = indices[t + k], v = indices[t + (k + 1) % 3];
            for (int i = 0; i < n; ++i)
                EXPECT_FALSE(properlyCross(p[u], p[v], p[i], p[(i + 1) % n]))
                    << "edge " << u << "-" << v << " crosses polygon edge " << i;
            if (directed.count({v, u}))
                directed.erase({v, u});
            else
                ++directed[{u, v}];
        }
    }
    EXPECT_NEAR(sum, std::fabs(area), 1e-9 * std::fabs(area));
    std::map<std::pair<int, int>, int> polygonEdges;
    for (int i = 0; i < n; ++i)
        polygonEdges[{i, (i + 1) % n}] = 1;
    EXPECT_EQ(directed, polygonEdges);
}

std::vector<int> triangulate(const Flat& p, oxGeom::BitVector* reflex = nullptr)
{
    std::vector<int> indices;
    oxGeom::BitVector bits;
    oxUtil::Progress progress;
    EXPECT_TRUE(oxGeom::triangulatePolygon(embed(p), indices, bits, progress));
    if (reflex)
        *reflex = bits;
    return indices;
}

Flat regular(int n, double radius)
{
    Flat p;
    for (int i = 0; i < n; ++i)
        p.emplace_back(radius * std::cos(2 * pi * i / n), radius * std::sin(2 * pi * i / n));
    return p;
}

Flat reversed(Flat p)
{
    return Flat(p.rbegin(), p.rend());
}

// Points every `step` along the closed path through `corners`, corners included.
Flat withRuns(const Flat& corners, int pointsPerSide)
{
    Flat p;
    for (size_t i = 0; i < corners.size(); ++i)
    {
        const auto& a = corners[i];
        const auto& b = corners[(i + 1) % corners.size()];
        for (int k = 0; k < pointsPerSide; ++k)
        {
            const double t = static_cast<double>(k) / pointsPerSide;
            p.emplace_back(a.first + t * (b.first - a.first), a.second + t * (b.second - a.second));
        }
    }
    return p;
}
}  // namespace

TEST(triangulatePolygon, convexAndConcaveTiledInEitherWinding)
{
    //  star:   *   *     comb:  _   _   _
    //           \ /            | | | | | |
    //        *--   --*         | |_| |_| |
    //           / \            |_________|
    Flat star;
    for (int i = 0; i < 18; ++i)
    {
        const double r = i % 2 ? 0.4 : 1.0;
        star.emplace_back(r * std::cos(2 * pi * i / 18), r * std::sin(2 * pi * i / 18));
    }
    const Flat comb = {{0, 0}, {7, 0}, {7, 3}, {6, 3}, {6, 1}, {5, 1}, {5, 3}, {4, 3},
                       {4, 1}, {3, 1}, {3, 3}, {2, 3}, {2, 1}, {1, 1}, {1, 3}, {0, 3}};
    // A spiral corridor: long reflex chains facing each other.
    Flat spiral;
    for (int i = 0; i <= 40; ++i)
    {
        const double a = 0.25 * i;
        spiral.emplace_back((1 + 0.3 * a) * std::cos(a), (1 + 0.3 * a) * std::sin(a));
    }
    for (int i = 40; i >= 0; --i)
    {
        const double a = 0.25 * i;
        spiral.emplace_back((1.6 + 0.3 * a) * std::cos(a), (1.6 + 0.3 * a) * std::sin(a));
    }
    const std::pair<const char*, Flat> cases[] = {{"triangle", {{0, 0}, {1, 0}, {0, 1}}},
                                                  {"12-gon", regular(12, 2.0)},
                                                  {"star", star},
                                                  {"comb", comb},
                                                  {"spiral", spiral},
                                                  {"reversed star", reversed(star)},
                                                  {"reversed comb", reversed(comb)}};
    for (const auto& c : cases)
        expectTiling(c.second, triangulate(c.second), c.first);

    // Triangles keep the polygon's winding in space as well: their normals all point along
    // the polygon's normal, whichever way it winds.
    for (const Flat& p : {comb, reversed(comb)})
    {
        const std::vector<Point> space = embed(p);
        const std::vector<int> t = triangulate(p);
        oxLinear::Vector polygonNormal;
        for (size_t i = 0; i < space.size(); ++i)
            polygonNormal += oxLinear::cross(oxLinear::Vector(space[i]),
                                             oxLinear::Vector(space[(i + 1) % space.size()]));
        for (size_t k = 0; k < t.size(); k += 3)
            EXPECT_GT(oxLinear::dot(oxLinear::cross(space[t[k + 1]] - space[t[k]],
                                                    space[t[k + 2]] - space[t[k]]),
                                    polygonNormal),
                      0.0);
    }
}

TEST(triangulatePolygon, collinearRunsMakeNoZeroAreaTriangle)
{
    // Corners on straight runs: a square with 6 points a side, an L, a triangle with points on
    // every side, and a comb whose teeth are runs of collinear points.
    const Flat square = withRuns({{0, 0}, {5, 0}, {5, 5}, {0, 5}}, 6);
    const Flat ell = withRuns({{0, 0}, {4, 0}, {4, 1}, {1, 1}, {1, 4}, {0, 4}}, 4);
    const Flat triangle = withRuns({{0, 0}, {6, 0}, {0, 6}}, 3);
    const Flat comb = withRuns({{0, 0}, {5, 0}, {5, 3}, {4, 3}, {4, 1}, {3, 1}, {3, 3}, {0, 3}}, 3);
    const std::pair<const char*, Flat> cases[] = {{"square", square},
                                                  {"L", ell},
                                                  {"triangle", triangle},
                                                  {"comb", comb},
                                                  {"reversed L", reversed(ell)}};
    for (const auto& c : cases)
        expectTiling(c.second, triangulate(c.second), c.first);
}

TEST(triangulatePolygon, randomStarShapedPolygonsAgainstBruteForce)
{
    std::mt19937 random(20240611);
    std::uniform_real_distribution<double> radius(0.2, 1.0);
    for (int trial = 0; trial < 40; ++trial)
    {
        const int n = 5 + trial;
        std::vector<double> angles;
        std::uniform_real_distribution<double> angle(0.0, 2 * pi);
        for (int i = 0; i < n; ++i)
            angles.push_back(angle(random));
        std::sort(angles.begin(), angles.end());
        Flat p;
        for (double a : angles)
        {
            const double r = radius(random);
            p.emplace_back(r * std::cos(a), r * std::sin(a));
        }
        oxGeom::BitVector reflex;
        expectTiling(p, triangulate(p, &reflex), "random");
        ASSERT_EQ(reflex.size(), n);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(reflex.isBitSet(i), cross2(p[(i + n - 1) % n], p[i], p[(i + 1) % n]) < 0)
                << "trial " << trial << " corner " << i;
    }
}

TEST(triangulatePolygon, bentPolygonTiledInItsBestFitPlane)
{
    // A 24-gon on the cylinder x^2 + y^2 = 1 whose height waves twice round it: its vector
    // area points along z, so the plane is z = const and the triangles, seen from +z, tile
    // the polygon's shadow.
    std::vector<Point> polygon;
    Flat shadow;
    for (int i = 0; i < 24; ++i)
    {
        const double a = 2 * pi * i / 24;
        const double r = i % 3 == 0 ? 0.6 : 1.0;  // a few reflex corners
        polygon.emplace_back(r * std::cos(a), r * std::sin(a), 0.3 * std::sin(2 * a));
        shadow.emplace_back(r * std::cos(a), r * std::sin(a));
    }
    std::vector<int> indices;
    EXPECT_TRUE(oxGeom::triangulatePolygon(polygon, indices));
    expectTiling(shadow, indices, "bent");
}

TEST(triangulatePolygon, degenerateInputAndCancellation)
{
    std::vector<int> indices = {7, 7, 7};
    oxGeom::BitVector reflex(9);
    reflex.setBit(3);
    oxUtil::Progress progress;
    testsupport::DebugCapture capture;
    EXPECT_FALSE(
        oxGeom::triangulatePolygon({Point(0, 0, 0), Point(1, 0, 0)}, indices, reflex, progress));
    EXPECT_TRUE(indices.empty());
    EXPECT_EQ(reflex.size(), 2);
    EXPECT_FALSE(reflex.anyBitSet());
    EXPECT_EQ(capture.text(), "triangulatePolygon: 2 vertices, 0 triangles: # s\n");

    // Collinear corners still give n - 2 triangles over valid corners, of no area.
    const std::vector<Point> line = {Point(0, 0, 0), Point(1, 1, 1), Point(2, 2, 2), Point(4, 4, 4),
                                     Point(3, 3, 3)};
    EXPECT_TRUE(oxGeom::triangulatePolygon(line, indices, reflex, progress));
    ASSERT_EQ(indices.size(), 9u);
    for (int i : indices)
        EXPECT_TRUE(i >= 0 && i < 5);

    // A repeated corner is a zero-length edge; the rest is still tiled.
    const Flat repeated = {{0, 0}, {2, 0}, {2, 0}, {2, 2}, {0, 2}};
    indices.clear();
    EXPECT_TRUE(oxGeom::triangulatePolygon(embed(repeated), indices));
    ASSERT_EQ(indices.size(), 9u);
    double area = 0.0;
    for (size_t t = 0; t < 9; t += 3)
        area +=
            0.5 * cross2(repeated[indices[t]], repeated[indices[t + 1]], repeated[indices[t + 2]]);
    EXPECT_NEAR(area, 4.0, 1e-12);

    // Cancelled before the first ear: nothing is returned.
    oxUtil::Progress cancelled;
    cancelled.cancel();
    EXPECT_FALSE(oxGeom::triangulatePolygon(embed(regular(8, 1.0)), indices, reflex, cancelled));
    EXPECT_TRUE(indices.empty());

    capture.clear();
    EXPECT_TRUE(oxGeom::triangulatePolygon(embed(regular(4, 1.0)), indices));
    EXPECT_EQ(capture.text(), "triangulatePolygon: 4 vertices, 2 triangles: # s\n");
}
