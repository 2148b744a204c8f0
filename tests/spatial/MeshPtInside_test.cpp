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
Point randomPoint(std::mt19937& rng, double lo, double hi)
{
    std::uniform_real_distribution<double> uniform(lo, hi);
    return Point(uniform(rng), uniform(rng), uniform(rng));
}

oxGeom::CompactMesh sphereWithNormals(int subdivisions)
{
    oxGeom::CompactMesh mesh = fixtures::icosphere(subdivisions, 1.0f);
    testsupport::setSummedVertexNormals(mesh);
    return mesh;
}
}  // namespace

TEST(MeshPtInside, sphereAndCubeMatchTheirAnalyticSideAwayFromTheSurface)
{
    // The unit icosphere with vertex normals (faces within 0.005 of the
    // sphere) and the cube [0, 1]^3 without any, decided by its winding.
    const testsupport::RayQueryScene sphere(sphereWithNormals(3)), cube(fixtures::cube());
    ASSERT_EQ(cube.mesh.getNormals(), nullptr);
    MeshPtInside inSphere(sphere.mesh, sphere.octree, sphere.tris, 1e-4);
    MeshPtInside inCube(cube.mesh, cube.octree, cube.tris, 1e-4);
    MeshPtInside copy(inSphere);  // shares the closest-point context
    std::mt19937 rng(3);
    int counts[2][2] = {{0, 0}, {0, 0}};
    for (int i = 0; i < 1500; ++i)
    {
        const Point p = randomPoint(rng, -1.3, 1.3);
        const double r = oxLinear::distance(p, Point());
        if (std::fabs(r - 1.0) > 0.01)
        {
            const MeshPtInside::Result expected =
                r < 1 ? MeshPtInside::Inside : MeshPtInside::Outside;
            ASSERT_EQ((i % 2 ? inSphere : copy).evaluate(p), expected)
                << p[0] << " " << p[1] << " " << p[2];
            ++counts[0][expected];
        }
        const Point q(0.5 + 0.5 * p[0], 0.5 + 0.5 * p[1], 0.5 + 0.5 * p[2]);
        double toFace = 1;
        for (int k = 0; k < 3; ++k)
            toFace = std::fmin(toFace, std::fmin(std::fabs(q[k]), std::fabs(1 - q[k])));
        if (toFace > 0.01)
        {
            const bool in = q[0] > 0 && q[0] < 1 && q[1] > 0 && q[1] < 1 && q[2] > 0 && q[2] < 1;
            ASSERT_EQ(inCube.evaluate(q), in ? MeshPtInside::Inside : MeshPtInside::Outside);
            ++counts[1][!in];
        }
    }
    for (const auto& c : counts)
        EXPECT_TRUE(c[0] > 300 && c[1] > 300);
}

TEST(MeshPtInside, onSurfaceWithinToleranceBoxShortcutAndEmptyMesh)
{
    const testsupport::RayQueryScene scene(sphereWithNormals(2));
    const double tolerance = 1e-3;
    MeshPtInside inside(scene.mesh, scene.octree, scene.tris, tolerance);
    std::mt19937 rng(11);
    for (int i = 0; i < 200; ++i)
    {
        // A point inside a random triangle, moved along its normal by less or
        // more than the tolerance.
        const oxGeom::MeshTriangle& tri =
            scene.mesh.getTriangles()[rng() % scene.mesh.getNumTriangles()];
        Point c[3];
        for (int k = 0; k < 3; ++k)
            c[k] = Point(oxLinear::PointFlt(scene.mesh.getVertices()[tri[k]].v));
        const Point q = oxLinear::combine(0.4, c[0], 0.35, c[1], 0.25, c[2]);
        const oxLinear::Vector n = oxLinear::cross(c[1] - c[0], c[2] - c[0]).normalized();
        EXPECT_EQ(inside.evaluate(q + n * (0.5 * tolerance)), MeshPtInside::OnSurface);
        EXPECT_EQ(inside.evaluate(q - n * (0.9 * tolerance)), MeshPtInside::OnSurface);
        EXPECT_EQ(inside.evaluate(q + n * (2 * tolerance)), MeshPtInside::Outside);
        EXPECT_EQ(inside.evaluate(q - n * (2 * tolerance)), MeshPtInside::Inside);
    }
    // With a huge tolerance every point that reaches the distance query is on
    // the surface: points outside the box never reach it.
    MeshPtInside everywhere(scene.mesh, scene.octree, scene.tris, 1e300);
    EXPECT_EQ(everywhere.evaluate(Point(0.9, 0.9, 0.9)), MeshPtInside::OnSurface);
    EXPECT_EQ(everywhere.evaluate(Point(0, 0, 1.001)), MeshPtInside::Outside);
    EXPECT_EQ(everywhere.evaluate(Point(0, std::nan(""), 0)), MeshPtInside::Outside);
    const testsupport::RayQueryScene empty(fixtures::emptyMesh());
    EXPECT_EQ(MeshPtInside(empty.mesh, empty.octree, empty.tris, 1.0).evaluate(Point()),
              MeshPtInside::Outside);
}
