#include <oxGeom/MeshCircleIntersect.h>

#include "support/meshes.h"
#include "support/rayQueryScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

using oxGeom::MeshCircleIntersect;
using oxLinear::Plane;
using oxLinear::Point;
using oxLinear::Vector;

namespace
{
constexpr double pi = 3.141592653589793;

/// The angle of p about the circle's axis, measured as the output order is.
double angleAbout(const Plane& plane, const Point& p)
{
    const Vector u = plane.normal().orthogonalVector();
    const Vector v = oxLinear::cross(plane.normal(), u);
    const double a =
        std::atan2(oxLinear::dot(p - plane.point(), v), oxLinear::dot(p - plane.point(), u));
    return a < 0 ? a + 2 * pi : a;
}

/// Independent oracle: per triangle, the (at most two) points where the circle
/// pierces the triangle's plane, solved on the circle's angle, kept when
/// inside the triangle (barycentric test). Generic configurations only: the
/// circle must not lie in or touch a triangle's plane.
std::vector<Point> oracleCrossings(const oxGeom::CompactMesh& mesh, const Plane& plane, double r)
{
    const Point c = plane.point();
    const Vector u = plane.normal().orthogonalVector();
    const Vector v = oxLinear::cross(plane.normal(), u);
    std::vector<Point> out;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        Point q[3];
        for (int k = 0; k < 3; ++k)
        {
            const float* f = mesh.getVertices()[tri[k]].v;
            q[k] = Point(f[0], f[1], f[2]);
        }
        const Vector n = oxLinear::cross(q[1] - q[0], q[2] - q[0]);
        // n . (c + r cos a u + r sin a v - q0) = 0  ->  A cos a + B sin a = C
        const double A = r * oxLinear::dot(n, u), B = r * oxLinear::dot(n, v);
        const double C = -oxLinear::dot(n, c - q[0]);
        const double R = std::hypot(A, B);
        if (R == 0.0 || std::fabs(C) > R)
            continue;
        const double phase = std::atan2(B, A), spread = std::acos(C / R);
        for (double a : {phase - spread, phase + spread})
        {
            const Point p = c + u * (r * std::cos(a)) + v * (r * std::sin(a));
            // Barycentric coordinates by sub-areas along n.
            const double n2 = n.length2();
            const double w1 = oxLinear::dot(oxLinear::cross(p - q[0], q[2] - q[0]), n) / n2;
            const double w2 = oxLinear::dot(oxLinear::cross(q[1] - q[0], p - q[0]), n) / n2;
            if (w1 >= 0 && w2 >= 0 && w1 + w2 <= 1)
                out.push_back(p);
        }
    }
    return out;
}
}  // namespace

TEST(MeshCircleIntersect, cubeSectionGivesEightPointsInAngleOrder)
{
    // The unit cube cut by the plane z = 0.5; a circle of radius 0.6 about the
    // centre crosses each side face twice, at 0.5 +- sqrt(0.11):
    //
    //    +---x--x---+
    //    x          x
    //    |    c     |      8 points, each side at distance 0.5 from c
    //    x          x
    //    +---x--x---+
    const testsupport::RayQueryScene scene(fixtures::cube());
    MeshCircleIntersect circles(scene.mesh, scene.octree, scene.tris, 1e-9);
    const Plane plane(Point(0.5, 0.5, 0.5), Vector(0, 0, 1));
    ox::vector<Point> points = {Point(9, 9, 9)};  // kept in front of the new points
    circles(plane, 0.6, points);
    ASSERT_EQ(points.size(), 9u);
    EXPECT_EQ(points[0], Point(9, 9, 9));
    const double d = std::sqrt(0.11);
    std::vector<Point> expected;
    for (double s : {-d, d})
    {
        expected.push_back(Point(0, 0.5 + s, 0.5));
        expected.push_back(Point(1, 0.5 + s, 0.5));
        expected.push_back(Point(0.5 + s, 0, 0.5));
        expected.push_back(Point(0.5 + s, 1, 0.5));
    }
    for (size_t i = 1; i < points.size(); ++i)
    {
        const auto match =
            std::find_if(expected.begin(), expected.end(),
                         [&](const Point& e) { return oxLinear::distance(e, points[i]) < 1e-12; });
        EXPECT_NE(match, expected.end()) << i;
        if (i > 1)
            EXPECT_LT(angleAbout(plane, points[i - 1]), angleAbout(plane, points[i]));
    }
    // Through the cube's edges: the circle of radius sqrt(0.5) passes the four
    // vertical edges, shared by two faces and four triangles each: four points.
    points.clear();
    circles(plane, std::sqrt(0.5), points);
    EXPECT_EQ(points.size(), 4u);
    // Missing circles add nothing: too small, too large, beside the cube.
    points.clear();
    circles(plane, 0.4, points);
    circles(plane, 2.0, points);
    circles(Plane(Point(5, 5, 0.5), Vector(0, 0, 1)), 0.6, points);
    EXPECT_TRUE(points.empty());
    // Degenerate queries add nothing.
    circles(plane, -1.0, points);
    circles(plane, std::nan(""), points);
    circles(Plane(Point(0.5, 0.5, 0.5), Vector(0, 0, 0)), 0.6, points);
    EXPECT_TRUE(points.empty());
}

TEST(MeshCircleIntersect, matchesPlanePiercingOracleOnSphere)
{
    const testsupport::RayQueryScene scene(fixtures::icosphere(3, 1.0f));
    MeshCircleIntersect circles(scene.mesh, scene.octree, scene.tris, 1e-9);
    std::mt19937 rng(17);
    auto uniform = [&](double lo, double hi)
    { return lo + (hi - lo) * (rng() >> 5) / 134217728.0; };
    int total = 0;
    for (int i = 0; i < 100; ++i)
    {
        const Point centre(uniform(-0.8, 0.8), uniform(-0.8, 0.8), uniform(-0.8, 0.8));
        const Vector axis(uniform(-1, 1), uniform(-1, 1), uniform(-1, 1));
        const Plane plane(centre, axis);
        const double radius = uniform(0.1, 1.5);
        ox::vector<Point> points;
        circles(plane, radius, points);
        std::vector<Point> expected = oracleCrossings(scene.mesh, plane, radius);
        // A crossing on a shared edge is found by both triangles: merge.
        std::sort(expected.begin(), expected.end(),
                  [&](const Point& a, const Point& b)
                  { return angleAbout(plane, a) < angleAbout(plane, b); });
        expected.erase(std::unique(expected.begin(), expected.end(),
                                   [](const Point& a, const Point& b)
                                   { return oxLinear::distance(a, b) < 1e-7; }),
                       expected.end());
        ASSERT_EQ(points.size(), expected.size()) << "circle " << i;
        for (size_t k = 0; k < points.size(); ++k)
        {
            EXPECT_LT(oxLinear::distance(points[k], expected[k]), 1e-7) << i << " " << k;
            EXPECT_NEAR(oxLinear::distance(points[k], centre), radius, 1e-9);
            EXPECT_NEAR(plane.signedDistance(points[k]), 0.0, 1e-9);
        }
        total += int(points.size());
    }
    EXPECT_GT(total, 100);
}

TEST(MeshCircleIntersect, trianglesInThePlaneAndTolerance)
{
    // fixtures::unitSquare() lies in z = 0: a circle in that plane crosses its
    // boundary; the diagonal (shared by both triangles) is an edge too.
    //
    //   3 ----- 2       circle about (0, 0) of radius 0.5: crosses edge 0-1
    //   |     / |       at (0.5, 0), edge 0-3 at (0, 0.5) and the diagonal
    //   |   /   |       at (0.354, 0.354), found by both triangles: 3 points
    //   | /     |
    //   0 ----- 1
    const testsupport::RayQueryScene scene(fixtures::unitSquare());
    MeshCircleIntersect circles(scene.mesh, scene.octree, scene.tris, 1e-9);
    ox::vector<Point> points;
    circles(Plane(Point(0, 0, 0), Vector(0, 0, 1)), 0.5, points);
    ASSERT_EQ(points.size(), 3u);
    const double h = std::sqrt(0.125);
    const Point onDiagonal(h, h, 0), onEdges[2] = {Point(0.5, 0, 0), Point(0, 0.5, 0)};
    for (const Point& expected : {onDiagonal, onEdges[0], onEdges[1]})
        EXPECT_EQ(
            std::count_if(points.begin(), points.end(),
                          [&](const Point& p) { return oxLinear::distance(p, expected) < 1e-12; }),
            1);
    // Plane 1e-7 above the square: tolerance 1e-6 takes the corners onto
    // the plane, tolerance 1e-9 sees no crossing.
    const Plane lifted(Point(0, 0, 1e-7), Vector(0, 0, 1));
    points.clear();
    circles(lifted, 0.5, points);
    EXPECT_TRUE(points.empty());
    MeshCircleIntersect loose(scene.mesh, scene.octree, scene.tris, 1e-6);
    loose(lifted, 0.5, points);
    EXPECT_EQ(points.size(), 3u);
    // A vertical circle through the square's corner 1 at (1, 0, 0), tangent
    // to nothing else: the cut of each triangle is a segment in z = 0.
    points.clear();
    circles(Plane(Point(1, 0, 1), Vector(0, 1, 0)), 1.0, points);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_LT(oxLinear::distance(points[0], Point(1, 0, 0)), 1e-12);
}
