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
/// The angle of p about the plane's normal, from orthogonalVector(), in [0, 2 pi).
double angleAbout(const Plane& plane, const Point& p)
{
    const Vector u = plane.normal().orthogonalVector(), v = oxLinear::cross(plane.normal(), u);
    const double a =
        std::atan2(oxLinear::dot(p - plane.point(), v), oxLinear::dot(p - plane.point(), u));
    return a < 0 ? a + 2 * M_PI : a;
}

/// Independent oracle: per triangle, the angles where the circle pierces the
/// triangle's plane (A cos a + B sin a = C), kept when the point is inside the
/// triangle; sorted by angle, equal points merged. Generic circles only.
std::vector<Point> pierceOracle(const oxGeom::CompactMesh& mesh, const Plane& plane, double r)
{
    const Point o = plane.point();
    const Vector u = plane.normal().orthogonalVector(), v = oxLinear::cross(plane.normal(), u);
    std::vector<Point> out;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        Point q[3];
        for (int k = 0; k < 3; ++k)
            q[k] = Point(oxLinear::PointFlt(mesh.getVertices()[mesh.getTriangles()[t][k]].v));
        const Vector n = oxLinear::cross(q[1] - q[0], q[2] - q[0]);
        const double A = r * oxLinear::dot(n, u), B = r * oxLinear::dot(n, v);
        const double C = oxLinear::dot(n, q[0] - o), R = std::hypot(A, B);
        if (std::fabs(C) > R)
            continue;
        for (double a : {std::atan2(B, A) - std::acos(C / R), std::atan2(B, A) + std::acos(C / R)})
        {
            const Point p = o + u * (r * std::cos(a)) + v * (r * std::sin(a));
            const double w1 =
                oxLinear::dot(oxLinear::cross(p - q[0], q[2] - q[0]), n) / n.length2();
            const double w2 =
                oxLinear::dot(oxLinear::cross(q[1] - q[0], p - q[0]), n) / n.length2();
            if (w1 >= 0 && w2 >= 0 && w1 + w2 <= 1)
                out.push_back(p);
        }
    }
    std::sort(out.begin(), out.end(),
              [&](const Point& a, const Point& b)
              { return angleAbout(plane, a) < angleAbout(plane, b); });
    out.erase(
        std::unique(out.begin(), out.end(),
                    [](const Point& a, const Point& b) { return oxLinear::distance(a, b) < 1e-7; }),
        out.end());
    return out;
}
}  // namespace

TEST(MeshCircleIntersect, matchesPiercingOracleOnSphereAndCube)
{
    // Random circles on the unit icosphere; on the cube [0, 1]^3 the circle of
    // radius 0.6 about the centre in z = 0.5 crosses each side face twice.
    const testsupport::RayQueryScene sphere(fixtures::icosphere(3, 1.0f)), cube(fixtures::cube());
    MeshCircleIntersect onSphere(sphere.mesh, sphere.octree, sphere.tris, 1e-9);
    MeshCircleIntersect onCube(cube.mesh, cube.octree, cube.tris, 1e-9);
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> uniform(-1, 1);
    int total = 0;
    for (int i = 0; i <= 100; ++i)
    {
        const bool isCube = i == 100;
        const Plane plane =
            isCube ? Plane(Point(0.5, 0.5, 0.5), Vector(0, 0, 1))
                   : Plane(Point(0.8 * uniform(rng), 0.8 * uniform(rng), 0.8 * uniform(rng)),
                           Vector(uniform(rng), uniform(rng), uniform(rng)));
        const double radius = isCube ? 0.6 : 0.8 + 0.7 * uniform(rng);
        ox::vector<Point> points = {Point(9, 9, 9)};  // kept in front of the new points
        (isCube ? onCube : onSphere)(plane, radius, points);
        const std::vector<Point> expected =
            pierceOracle((isCube ? cube : sphere).mesh, plane, radius);
        ASSERT_EQ(points.size(), expected.size() + 1) << i;
        EXPECT_EQ(points[0], Point(9, 9, 9));
        for (size_t k = 1; k < points.size(); ++k)
            EXPECT_LT(oxLinear::distance(points[k], expected[k - 1]), 1e-7) << i << " " << k;
        total += int(expected.size());
        if (isCube)
        {
            EXPECT_EQ(expected.size(), 8u);
        }
    }
    EXPECT_GT(total, 100);
}

TEST(MeshCircleIntersect, sharedEdgesTrianglesInThePlaneToleranceAndMisses)
{
    const testsupport::RayQueryScene cube(fixtures::cube()), square(fixtures::unitSquare());
    MeshCircleIntersect onCube(cube.mesh, cube.octree, cube.tris, 1e-9);
    ox::vector<Point> points;
    // Radius sqrt(0.5) passes the cube's four vertical edges (each in four
    // triangles): four points. Misses and degenerate queries add nothing.
    const Plane middle(Point(0.5, 0.5, 0.5), Vector(0, 0, 1));
    onCube(middle, std::sqrt(0.5), points);
    EXPECT_EQ(points.size(), 4u);
    points.clear();
    for (double radius : {0.4, 2.0, -1.0, std::nan("")})
        onCube(middle, radius, points);
    onCube(Plane(Point(5, 5, 0.5), Vector(0, 0, 1)), 0.6, points);
    onCube(Plane(Point(0.5, 0.5, 0.5), Vector()), 0.6, points);
    EXPECT_TRUE(points.empty());
    //   3 ----- 2    The square in z = 0, circle about 0 of radius 0.5 in its
    //   |     / |    plane: edges 0-1 and 0-3 and the diagonal (in both
    //   |   /   |    triangles) are crossed once each: 3 points. Lifted by
    //   0 ----- 1    1e-7, only a tolerance of 1e-6 still finds them.
    MeshCircleIntersect tight(square.mesh, square.octree, square.tris, 1e-9);
    MeshCircleIntersect loose(square.mesh, square.octree, square.tris, 1e-6);
    tight(Plane(Point(), Vector(0, 0, 1)), 0.5, points);
    ASSERT_EQ(points.size(), 3u);
    const double h = std::sqrt(0.125);
    for (const Point& expected : {Point(h, h, 0), Point(0.5, 0, 0), Point(0, 0.5, 0)})
        EXPECT_EQ(
            std::count_if(points.begin(), points.end(),
                          [&](const Point& p) { return oxLinear::distance(p, expected) < 1e-12; }),
            1);
    const Plane lifted(Point(0, 0, 1e-7), Vector(0, 0, 1));
    points.clear();
    tight(lifted, 0.5, points);
    EXPECT_TRUE(points.empty());
    loose(lifted, 0.5, points);
    EXPECT_EQ(points.size(), 3u);
    // A vertical circle tangent to edge 0-1 at corner 1: one point.
    points.clear();
    tight(Plane(Point(1, 0, 1), Vector(0, 1, 0)), 1.0, points);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_LT(oxLinear::distance(points[0], Point(1, 0, 0)), 1e-12);
}
