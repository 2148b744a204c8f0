// MeshClosestPoint: distances against brute force and, exactly, against a plain leaf walk on a
// sphere, a random soup and a grid, with points inside, near and far; coordinates exactly the
// projection; the first-met rule for equally near triangles; vertices; the stamp wrap; copies
// sharing the context; empty, degenerate and resized meshes.

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
using oxGeom::MeshClosestPoint;
using oxGeom::MeshCoord;
using oxLinear::Point;
using testsupport::ClosestPointScene;
using testsupport::triangleMesh;

// Opens the stamp to the tests.
class StampProbe : public MeshClosestPoint
{
public:
    using MeshClosestPoint::MeshClosestPoint;
    using MeshClosestPoint::setStamp;
    using MeshClosestPoint::stamp;
};

// The query written plainly: leaves from OctreeClosestIt until one is no nearer than the best,
// every listed triangle projected. Its distance is the one compute must give, to the last bit,
// whatever compute skips and in whatever order it takes leaves.
double plainLeafWalk(const ClosestPointScene& scene, const Point& p)
{
    double best2 = DBL_MAX;
    for (oxGeom::OctreeClosestIt walk(scene.octree, p); walk.valid(); walk.next())
    {
        if (walk.getDistance2() >= best2)
            break;
        const int leaf = walk.get().getLeafNumber();
        for (int k = 0; k < scene.tris.numTris(leaf); ++k)
        {
            MeshCoord c;
            if (c.project(scene.tris.firstTri(leaf)[k], scene.mesh.getVerticesRaw(),
                          scene.mesh.getTrianglesRaw(), p))
                best2 = std::min(best2, testsupport::coordDistance2(scene.mesh, c, p));
        }
    }
    return std::sqrt(best2);
}

// Grid points also sit exactly above vertices, edge midpoints and cell centres, where
// neighbouring triangles and leaves tie.
TEST(MeshClosestPoint, agreesWithBruteForceAndExactlyWithThePlainWalk)
{
    for (int shape = 0; shape < 3; ++shape)
    {
        SCOPED_TRACE(shape);
        const ClosestPointScene scene(testsupport::checkedShape(shape));
        std::vector<Point> points = testsupport::queryPointsEverywhere(scene.mesh, 80, 7u);
        for (int i = 0; shape == 2 && i <= 40; ++i)
            for (int j = 0; j <= 30; j += 3)
                points.emplace_back(0.5 * i, 0.5 * j, 0.25 * (i % 3));
        MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
        const double tolerance = 1e-6 * scene.bounds.diagonalLength();
        for (const Point& p : points)
        {
            SCOPED_TRACE(testing::Message() << p[0] << " " << p[1] << " " << p[2]);
            MeshCoord coord;
            const double distance = query.compute(p, &coord);
            ASSERT_EQ(distance, plainLeafWalk(scene, p));
            EXPECT_NEAR(distance, testsupport::bruteNearest(scene.mesh, p), tolerance);
            MeshCoord projected;
            ASSERT_TRUE(projected.project(coord.triangle, scene.mesh.getVerticesRaw(),
                                          scene.mesh.getTrianglesRaw(), p));
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(coord.weights[c], projected.weights[c]);
            ASSERT_EQ(std::sqrt(testsupport::coordDistance2(scene.mesh, coord, p)), distance);
        }
    }
}

// Two triangles exactly 1 from the origin, one above and one below, in the single root leaf:
// the one listed first (the lower index) must be kept, whichever it is.
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
        // A point slightly nearer the second triangle switches to it.
        query.compute(Point(0, 0, indices[0] == 0 ? -1e-3 : 1e-3), &coord);
        EXPECT_EQ(coord.triangle, 1);
    }
}

TEST(MeshClosestPoint, pointOnVertexGivesZeroAndWeightOneThere)
{
    const ClosestPointScene scene(fixtures::icosphere(2, 1.0f));
    MeshClosestPoint query(scene.mesh, scene.octree, scene.tris);
    for (int v = 0; v < scene.mesh.getNumVertices(); v += 7)
    {
        const oxGeom::MeshVertex& x = scene.mesh.getVertices()[v];
        MeshCoord coord;
        EXPECT_EQ(query.compute(Point(x[0], x[1], x[2]), &coord), 0.0);
        const oxGeom::MeshTriangle& tri = scene.mesh.getTriangles()[coord.triangle];
        const int corner = tri[0] == v ? 0 : tri[1] == v ? 1 : tri[2] == v ? 2 : -1;
        ASSERT_GE(corner, 0) << "vertex " << v << " is no corner of the triangle returned";
        EXPECT_EQ(coord.weights[corner], 1.0);
    }
}

// Marks left by an early query carry stamp 1. When the stamp wraps back to 1 every mark must
// be zeroed, or that query's triangles would count as already seen when it is asked again.
TEST(MeshClosestPoint, stampWrapZeroesTheMarks)
{
    const ClosestPointScene scene(fixtures::icosphere(2, 1.0f));
    StampProbe query(scene.mesh, scene.octree, scene.tris);
    const Point early(0.3, 0.95, 0.1), other(-0.9, 0.1, -0.4);
    const double expected = testsupport::bruteNearest(scene.mesh, early);
    EXPECT_EQ(query.stamp(), 1u);
    query.compute(early, nullptr);
    query.setStamp(4294967293u);
    query.compute(other, nullptr);
    EXPECT_EQ(query.stamp(), 4294967294u);
    query.compute(other, nullptr);
    EXPECT_EQ(query.stamp(), 1u) << "4294967295 is never a stamp: the counter restarts at 1";
    EXPECT_NEAR(query.compute(early, nullptr), expected, 1e-9);
    query.setStamp(0);
    EXPECT_EQ(query.stamp(), 1u) << "0 marks unvisited triangles and cannot be a stamp";
}

TEST(MeshClosestPoint, copySharesTheContext)
{
    const ClosestPointScene scene(fixtures::icosphere(2, 1.0f));
    StampProbe original(scene.mesh, scene.octree, scene.tris);
    const Point p(0.2, -0.4, 1.3);
    const double expected = testsupport::bruteNearest(scene.mesh, p);
    {
        StampProbe copy(original);
        EXPECT_NEAR(copy.compute(p, nullptr), expected, 1e-9);
        EXPECT_EQ(original.stamp(), 2u) << "the copy's query must advance the shared stamp";
    }
    // The copy is gone; the original's context must still be alive and usable.
    EXPECT_NEAR(original.compute(p, nullptr), expected, 1e-9);
    EXPECT_EQ(original.stamp(), 3u);
}

TEST(MeshClosestPoint, emptyDegenerateAndResizedMeshes)
{
    MeshCoord coord(5, 0.25, 0.25, 0.5);
    const ClosestPointScene empty(fixtures::emptyMesh());
    EXPECT_EQ(
        MeshClosestPoint(empty.mesh, empty.octree, empty.tris).compute(Point(1, 2, 3), &coord),
        std::sqrt(DBL_MAX));
    // Every triangle degenerate: nothing is found and `out` stays as it was.
    const ClosestPointScene flat(
        triangleMesh({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {0, 1, 2, 0, 0, 1}));
    EXPECT_EQ(MeshClosestPoint(flat.mesh, flat.octree, flat.tris).compute(Point(0, 1, 0), &coord),
              std::sqrt(DBL_MAX));
    EXPECT_EQ(coord.triangle, 5);
    EXPECT_EQ(coord.weights[2], 0.5);

    // Near (3, 0, 0) lie only the collinear and the repeated-index triangles of degenerateMesh:
    // both are skipped and the proper triangle (or its copy) answers.
    const ClosestPointScene degenerate(fixtures::degenerateMesh());
    EXPECT_NEAR(MeshClosestPoint(degenerate.mesh, degenerate.octree, degenerate.tris)
                    .compute(Point(3, 0, 0), &coord),
                2.0, 1e-12);
    EXPECT_LT(coord.triangle, 2);

    // Lists naming triangles the mesh lacks: those entries are skipped, in a leaf that also
    // lists a real triangle and in one that lists nothing else.
    const ClosestPointScene square1(fixtures::unitSquare());
    for (const std::vector<int>& pairs : {std::vector<int>{0, 7, 0, 1, 0, -3}, {0, 99}})
    {
        oxGeom::ArrayOfSets sets;
        sets.assignFromPairs(1, int(pairs.size() / 2), pairs.data());
        const oxGeom::OctreeTris foreign(sets);
        EXPECT_EQ(MeshClosestPoint(square1.mesh, square1.octree, foreign)
                      .compute(Point(0.25, 0.5, 1), nullptr),
                  pairs.size() > 2 ? 1.0 : std::sqrt(DBL_MAX));
    }

    // A triangle added after construction, a quarter above the unit square: the marks follow
    // the new count and the rebuilt lists, without reading past either.
    ClosestPointScene square(fixtures::unitSquare());
    MeshClosestPoint query(square.mesh, square.octree, square.tris);
    EXPECT_NEAR(query.compute(Point(0.2, 0.2, 2), nullptr), 2.0, 1e-12);
    std::vector<oxGeom::MeshVertex> vertices(square.mesh.getVertices(),
                                             square.mesh.getVertices() + 4);
    vertices.insert(vertices.end(), {{0, 0, 0.25f}, {1, 0, 0.25f}, {0, 1, 0.25f}});
    square.mesh.copyVertices(7, vertices.data());
    const std::vector<int> indices = {0, 1, 2, 0, 2, 3, 4, 5, 6};
    square.mesh.copyTriangles(3, indices.data());
    oxGeom::computeOctreeTris(square.mesh, square.octree, square.tris);
    EXPECT_NEAR(query.compute(Point(0.2, 0.2, 2), &coord), 1.75, 1e-12);
    EXPECT_EQ(coord.triangle, 2);
}
}  // namespace
