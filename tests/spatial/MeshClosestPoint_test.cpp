// MeshClosestPoint: distances and coordinates against brute force over every triangle on a
// sphere, a random soup and a grid, with points inside, near and far; the first-met rule for
// equally near triangles; vertices; the stamp wrap; copies sharing the context; empty and
// degenerate meshes.

#include <oxGeom/meshClosestPoint.h>

#include <oxGeom/OctreeIterators.h>

#include "support/closestPointOracle.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

namespace
{
using oxGeom::CompactMesh;
using oxGeom::MeshClosestPoint;
using oxGeom::MeshCoord;
using oxLinear::Point;
using testsupport::ClosestPointScene;
using testsupport::QueryRegion;

// Opens the stamp to the tests.
class StampProbe : public MeshClosestPoint
{
public:
    using MeshClosestPoint::MeshClosestPoint;
    using MeshClosestPoint::setStamp;
    using MeshClosestPoint::stamp;
};

CompactMesh triangleMesh(const std::vector<oxGeom::MeshVertex>& vertices,
                         const std::vector<int>& indices)
{
    CompactMesh mesh(int(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    mesh.copyTriangles(int(indices.size() / 3), indices.data());
    return mesh;
}

// Checks every query of `points` against brute force: the distance agrees within float
// rounding of the mesh's size, and the coordinate returned lies at the returned distance.
void expectMatchesBruteForce(const ClosestPointScene& scene, QueryRegion region, int count)
{
    MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
    const double tolerance = 1e-6 * scene.bounds.diagonalLength();
    int i = 0;
    for (const Point& p : testsupport::queryPoints(scene.mesh, region, count, 7u))
    {
        SCOPED_TRACE(testing::Message() << testsupport::regionName(region) << " point " << i++);
        const testsupport::BruteNearest truth = testsupport::bruteNearest(scene.mesh, p);
        MeshCoord coord;
        const double distance = query.compute(p, &coord);
        ASSERT_TRUE(coord.valid());
        EXPECT_NEAR(distance, std::sqrt(truth.distance2), tolerance);
        EXPECT_NEAR(std::sqrt(testsupport::coordDistance2(scene.mesh, coord, p)), distance,
                    1e-12 * (1.0 + distance));
        EXPECT_EQ(query.compute(p, nullptr), distance);
    }
}

TEST(MeshClosestPoint, agreesWithBruteForceInsideNearAndFar)
{
    for (int shape = 0; shape < 3; ++shape)
    {
        SCOPED_TRACE(shape == 0 ? "icosphere" : shape == 1 ? "random soup" : "grid");
        const ClosestPointScene scene(shape == 0   ? fixtures::icosphere(3, 2.0f)
                                      : shape == 1 ? fixtures::randomMesh(5u, 300, 400)
                                                   : fixtures::gridMesh(20, 15));
        for (QueryRegion region : {QueryRegion::inside, QueryRegion::near, QueryRegion::far})
            expectMatchesBruteForce(scene, region, 100);
    }
}

// The query written plainly: leaves from OctreeClosestIt until one is no nearer than the best,
// every listed triangle projected once, strictly nearer replaces. compute, whatever it skips
// and in whatever order it takes leaves, must give exactly the same distance, and a coordinate
// that is exactly the projection on a triangle reaching it.
double plainLeafWalk(const ClosestPointScene& scene, const Point& p)
{
    std::vector<bool> seen(size_t(scene.mesh.getNumTriangles()), false);
    double best2 = DBL_MAX;
    for (oxGeom::OctreeClosestIt walk(scene.octree, p); walk.valid(); walk.next())
    {
        if (walk.getDistance2() >= best2)
            break;
        const int leaf = walk.get().getLeafNumber();
        for (int k = 0; k < scene.tris.numTris(leaf); ++k)
        {
            const int t = scene.tris.firstTri(leaf)[k];
            if (seen[size_t(t)])
                continue;
            seen[size_t(t)] = true;
            MeshCoord c;
            if (c.project(t, scene.mesh.getVerticesRaw(), scene.mesh.getTrianglesRaw(), p))
                best2 = std::min(best2, testsupport::coordDistance2(scene.mesh, c, p));
        }
    }
    return std::sqrt(best2);
}

// Grid points sit exactly above vertices, edge midpoints and cell centres, where neighbouring
// triangles and leaves tie; sphere and soup points are random.
TEST(MeshClosestPoint, sameDistanceAsThePlainLeafWalkTiesIncluded)
{
    for (int shape = 0; shape < 3; ++shape)
    {
        SCOPED_TRACE(shape == 0 ? "icosphere" : shape == 1 ? "random soup" : "grid");
        const ClosestPointScene scene(shape == 0   ? fixtures::icosphere(4, 1.0f)
                                      : shape == 1 ? fixtures::randomMesh(8u, 200, 300)
                                                   : fixtures::gridMesh(16, 16));
        std::vector<Point> points;
        for (QueryRegion region : {QueryRegion::inside, QueryRegion::near, QueryRegion::far})
        {
            const std::vector<Point> some = testsupport::queryPoints(scene.mesh, region, 100, 5u);
            points.insert(points.end(), some.begin(), some.end());
        }
        for (int i = 0; shape == 2 && i <= 32; ++i)
            for (int j = 0; j <= 32; j += 3)
                points.emplace_back(0.5 * i, 0.5 * j, 0.25 * (i % 3));
        MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
        for (const Point& p : points)
        {
            SCOPED_TRACE(testing::Message() << p[0] << " " << p[1] << " " << p[2]);
            MeshCoord coord;
            const double distance = query.compute(p, &coord);
            ASSERT_EQ(distance, plainLeafWalk(scene, p));
            MeshCoord projected;
            ASSERT_TRUE(projected.project(coord.triangle, scene.mesh.getVerticesRaw(),
                                          scene.mesh.getTrianglesRaw(), p));
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(coord.weights[c], projected.weights[c]);
            ASSERT_EQ(std::sqrt(testsupport::coordDistance2(scene.mesh, coord, p)), distance);
        }
    }
}

// Two triangles at exactly the same distance from the origin, one above and one below, both in
// the single root leaf: the one listed first (the lower index) must be kept, whichever it is.
//
//   z = +1:  0 (-1,-1)  1 (1,-1)  2 (0,1)        triangle (0 1 2)
//   z = -1:  3 (-1,-1)  4 (1,-1)  5 (0,1)        triangle (3 4 5)
TEST(MeshClosestPoint, equallyNearTrianglesKeepTheFirstMet)
{
    const std::vector<oxGeom::MeshVertex> vertices = {{-1, -1, 1},  {1, -1, 1},  {0, 1, 1},
                                                      {-1, -1, -1}, {1, -1, -1}, {0, 1, -1}};
    for (const std::vector<int>& indices :
         {std::vector<int>{0, 1, 2, 3, 4, 5}, std::vector<int>{3, 4, 5, 0, 1, 2}})
    {
        const ClosestPointScene scene(triangleMesh(vertices, indices));
        ASSERT_EQ(scene.octree.getNumLeaves(), 1);
        MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
        MeshCoord coord;
        EXPECT_NEAR(query.compute(Point(0, 0, 0), &coord), 1.0, 1e-12);
        EXPECT_EQ(coord.triangle, 0);
        // A point slightly nearer the second triangle must switch to it.
        EXPECT_NEAR(query.compute(Point(0, 0, indices[0] == 0 ? -1e-3 : 1e-3), &coord), 0.999,
                    1e-12);
        EXPECT_EQ(coord.triangle, 1);
    }
}

TEST(MeshClosestPoint, pointOnVertexGivesZeroAndWeightOneThere)
{
    const ClosestPointScene scene(fixtures::icosphere(2, 1.0f));
    MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
    const oxGeom::MeshVertex* vertices = scene.mesh.getVertices();
    for (int v = 0; v < scene.mesh.getNumVertices(); v += 7)
    {
        MeshCoord coord;
        EXPECT_NEAR(
            query.compute(Point(vertices[v].v[0], vertices[v].v[1], vertices[v].v[2]), &coord), 0.0,
            1e-12);
        ASSERT_TRUE(coord.valid());
        const oxGeom::MeshTriangle& tri = scene.mesh.getTriangles()[coord.triangle];
        int corner = -1;
        for (int c = 0; c < 3; ++c)
            if (tri[c] == v)
                corner = c;
        ASSERT_GE(corner, 0) << "vertex " << v << " is no corner of the triangle returned";
        EXPECT_NEAR(coord.weights[corner], 1.0, 1e-12);
    }
}

// Marks left by an early query carry stamp 1. When the stamp wraps back to 1 every mark must
// be zeroed, or that query's triangles would count as already seen when it is asked again.
TEST(MeshClosestPoint, stampWrapZeroesTheMarks)
{
    const ClosestPointScene scene(fixtures::icosphere(2, 1.0f));
    StampProbe query(scene.mesh, scene.octree, scene.tris);
    const Point early(0.3, 0.95, 0.1), other(-0.9, 0.1, -0.4);
    const double expected = std::sqrt(testsupport::bruteNearest(scene.mesh, early).distance2);

    EXPECT_EQ(query.stamp(), 1u);
    query.compute(early, nullptr);
    EXPECT_EQ(query.stamp(), 2u);

    query.setStamp(4294967293u);
    query.compute(other, nullptr);
    EXPECT_EQ(query.stamp(), 4294967294u);
    query.compute(other, nullptr);
    EXPECT_EQ(query.stamp(), 1u) << "4294967295 is never a stamp: the counter restarts at 1";

    MeshCoord coord;
    EXPECT_NEAR(query.compute(early, &coord), expected, 1e-9);
    EXPECT_TRUE(coord.valid());
    EXPECT_EQ(query.stamp(), 2u);

    query.setStamp(0);
    EXPECT_EQ(query.stamp(), 1u) << "0 marks unvisited triangles and cannot be a stamp";
}

TEST(MeshClosestPoint, copySharesTheContext)
{
    const ClosestPointScene scene(fixtures::icosphere(2, 1.0f));
    StampProbe original(scene.mesh, scene.octree, scene.tris);
    const Point p(0.2, -0.4, 1.3);
    const double expected = std::sqrt(testsupport::bruteNearest(scene.mesh, p).distance2);
    {
        StampProbe copy(original);
        EXPECT_NEAR(copy.compute(p, nullptr), expected, 1e-9);
        EXPECT_EQ(original.stamp(), 2u) << "the copy's query must advance the shared stamp";
        original.compute(p, nullptr);
        EXPECT_EQ(copy.stamp(), 3u);
    }
    // The copy is gone; the original's context must still be alive and usable.
    EXPECT_NEAR(original.compute(p, nullptr), expected, 1e-9);
    EXPECT_EQ(original.stamp(), 4u);
}

TEST(MeshClosestPoint, emptyAndDegenerateMeshes)
{
    const double nothing = std::sqrt(DBL_MAX);
    MeshCoord untouched(5, 0.25, 0.25, 0.5);
    {
        const ClosestPointScene scene(fixtures::emptyMesh());
        MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
        MeshCoord coord = untouched;
        EXPECT_EQ(query.compute(Point(1, 2, 3), &coord), nothing);
        EXPECT_EQ(coord.triangle, 5);
        EXPECT_EQ(coord.weights[2], 0.5);
    }
    {
        // Only the collinear triangle and the repeated-index triangle lie near (3, 0, 0): both
        // fail to project and are skipped, so the proper triangle answers.
        const ClosestPointScene scene(fixtures::degenerateMesh());
        MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
        MeshCoord coord;
        EXPECT_NEAR(query.compute(Point(3, 0, 0), &coord), 2.0, 1e-12);
        EXPECT_TRUE(coord.triangle == 0 || coord.triangle == 1);
    }
    {
        // Every triangle degenerate: nothing is found.
        const ClosestPointScene scene(
            triangleMesh({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {0, 1, 2, 0, 0, 1}));
        MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
        MeshCoord coord = untouched;
        EXPECT_EQ(query.compute(Point(0, 1, 0), &coord), nothing);
        EXPECT_EQ(coord.triangle, 5);
    }
}

// The marks follow the mesh: an object built before a triangle was added must neither read
// past its marks nor miss the new triangle once the lists are rebuilt.
TEST(MeshClosestPoint, triangleCountChangeResizesTheMarks)
{
    ClosestPointScene scene(fixtures::unitSquare());
    MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
    EXPECT_NEAR(query.compute(Point(0.2, 0.2, 2), nullptr), 2.0, 1e-12);

    // A third triangle a quarter above the square (inside the octree's cube), nearer the query.
    std::vector<oxGeom::MeshVertex> vertices(scene.mesh.getVertices(),
                                             scene.mesh.getVertices() + 4);
    vertices.insert(vertices.end(), {{0, 0, 0.25f}, {1, 0, 0.25f}, {0, 1, 0.25f}});
    scene.mesh.copyVertices(7, vertices.data());
    const std::vector<int> indices = {0, 1, 2, 0, 2, 3, 4, 5, 6};
    scene.mesh.copyTriangles(3, indices.data());
    oxGeom::computeOctreeTris(scene.mesh, scene.octree, scene.tris);

    MeshCoord coord;
    EXPECT_NEAR(query.compute(Point(0.2, 0.2, 2), &coord), 1.75, 1e-12);
    EXPECT_EQ(coord.triangle, 2);
}
}  // namespace
