#include <oxGeom/MeshPtInside.h>

#include "support/meshes.h"
#include "support/rayQueryScene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using oxGeom::MeshPtInside;
using oxLinear::Point;

namespace
{
double uniform(std::mt19937& rng, double lo, double hi)
{
    return lo + (hi - lo) * (rng() >> 5) * (1.0 / 134217728.0);
}

oxGeom::CompactMesh sphereWithNormals(int subdivisions, float radius)
{
    oxGeom::CompactMesh mesh = fixtures::icosphere(subdivisions, radius);
    testsupport::setSummedVertexNormals(mesh);
    return mesh;
}
}  // namespace

TEST(MeshPtInside, sphereMatchesAnalyticSideAwayFromTheSurface)
{
    // Subdivision 3 of the unit sphere: the faces lie within 0.005 of it.
    const testsupport::RayQueryScene scene(sphereWithNormals(3, 1.0f));
    MeshPtInside inside(scene.mesh, scene.octree, scene.tris, 1e-4);
    std::mt19937 rng(3);
    int counts[3] = {0, 0, 0};
    for (int i = 0; i < 1500; ++i)
    {
        const Point p(uniform(rng, -1.3, 1.3), uniform(rng, -1.3, 1.3), uniform(rng, -1.3, 1.3));
        const double r = oxLinear::distance(p, Point());
        if (std::fabs(r - 1.0) < 0.01)
            continue;
        const MeshPtInside::Result expected =
            r < 1.0 ? MeshPtInside::Inside : MeshPtInside::Outside;
        ASSERT_EQ(inside.evaluate(p), expected) << p[0] << " " << p[1] << " " << p[2];
        ++counts[expected];
    }
    EXPECT_GT(counts[MeshPtInside::Inside], 300);
    EXPECT_GT(counts[MeshPtInside::Outside], 300);
    // A copy shares the closest-point context and answers the same.
    MeshPtInside copy(inside);
    EXPECT_EQ(copy.evaluate(Point(0.2, 0.1, 0.0)), MeshPtInside::Inside);
    EXPECT_EQ(inside.evaluate(Point(0.8, 0.8, 0.0)), MeshPtInside::Outside);
    EXPECT_EQ(copy.evaluate(Point(0.0, 0.0, 1.2)), MeshPtInside::Outside);
}

TEST(MeshPtInside, onSurfaceWithinToleranceAndBoxShortcut)
{
    const testsupport::RayQueryScene scene(sphereWithNormals(2, 1.0f));
    const double tolerance = 1e-3;
    MeshPtInside inside(scene.mesh, scene.octree, scene.tris, tolerance);
    std::mt19937 rng(11);
    for (int i = 0; i < 200; ++i)
    {
        // A point of a random triangle, moved along the triangle's normal by
        // less than the tolerance, or by more (then the side shows).
        const oxGeom::MeshTriangle& tri =
            scene.mesh.getTriangles()[rng() % scene.mesh.getNumTriangles()];
        const double u = uniform(rng, 0.05, 0.45), v = uniform(rng, 0.05, 0.45);
        Point corner[3];
        for (int k = 0; k < 3; ++k)
        {
            const float* f = scene.mesh.getVertices()[tri[k]].v;
            corner[k] = Point(f[0], f[1], f[2]);
        }
        const Point q = oxLinear::combine(1 - u - v, corner[0], u, corner[1], v, corner[2]);
        const oxLinear::Vector n =
            oxLinear::cross(corner[1] - corner[0], corner[2] - corner[0]).normalized();
        EXPECT_EQ(inside.evaluate(q + n * (0.5 * tolerance)), MeshPtInside::OnSurface);
        EXPECT_EQ(inside.evaluate(q - n * (0.9 * tolerance)), MeshPtInside::OnSurface);
        EXPECT_EQ(inside.evaluate(q + n * (2 * tolerance)), MeshPtInside::Outside);
        EXPECT_EQ(inside.evaluate(q - n * (2 * tolerance)), MeshPtInside::Inside);
    }
    // With a huge tolerance every point that reaches the distance query is on
    // the surface: points outside the box never do, whatever their distance.
    MeshPtInside everywhere(scene.mesh, scene.octree, scene.tris, 1e300);
    EXPECT_EQ(everywhere.evaluate(Point(0, 0, 0)), MeshPtInside::OnSurface);
    EXPECT_EQ(everywhere.evaluate(Point(0.9, 0.9, 0.9)), MeshPtInside::OnSurface);  // in the box
    EXPECT_EQ(everywhere.evaluate(Point(0, 0, 1.001)), MeshPtInside::Outside);
    EXPECT_EQ(everywhere.evaluate(Point(-1.5, 0, 0)), MeshPtInside::Outside);
    EXPECT_EQ(everywhere.evaluate(Point(0, std::nan(""), 0)), MeshPtInside::Outside);
}

TEST(MeshPtInside, withoutNormalsTheTriangleWindingDecidesAndEmptyIsOutside)
{
    // fixtures::cube() has no vertex normals: [0, 1]^3 by its winding.
    const testsupport::RayQueryScene scene(fixtures::cube());
    ASSERT_EQ(scene.mesh.getNormals(), nullptr);
    MeshPtInside inside(scene.mesh, scene.octree, scene.tris, 1e-6);
    std::mt19937 rng(5);
    int counts[2] = {0, 0};
    for (int i = 0; i < 1000; ++i)
    {
        const Point p(uniform(rng, -0.2, 1.2), uniform(rng, -0.2, 1.2), uniform(rng, -0.2, 1.2));
        double toSurface = 1.0;  // distance to the nearest face plane, for inner points
        bool in = true;
        for (int k = 0; k < 3; ++k)
        {
            in = in && p[k] > 0 && p[k] < 1;
            toSurface = std::fmin(toSurface, std::fmin(std::fabs(p[k]), std::fabs(1 - p[k])));
        }
        if (toSurface < 0.01)
            continue;
        const MeshPtInside::Result expected = in ? MeshPtInside::Inside : MeshPtInside::Outside;
        ASSERT_EQ(inside.evaluate(p), expected) << p[0] << " " << p[1] << " " << p[2];
        ++counts[expected];
    }
    EXPECT_GT(counts[0], 100);
    EXPECT_GT(counts[1], 100);

    const testsupport::RayQueryScene empty(fixtures::emptyMesh());
    MeshPtInside none(empty.mesh, empty.octree, empty.tris, 1.0);
    EXPECT_EQ(none.evaluate(Point(0, 0, 0)), MeshPtInside::Outside);
}
