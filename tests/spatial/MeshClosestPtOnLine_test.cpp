// MeshClosestPtOnLine: points above a grid snap to the nearest point of a line of grid vertices,
// checked against brute force over the line's segments; the closing segment of closed lines;
// points on the surface snap to a line vertex; lines out of reach and empty meshes give the
// invalid coordinate; a subclass's position map is the one used.

#include <oxGeom/MeshClosestPtOnLine.h>

#include <oxGeom/meshAdjacency.h>

#include "support/closestPointOracle.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <vector>

namespace
{
using oxGeom::CompactMesh;
using oxGeom::MeshClosestPtOnLine;
using oxGeom::MeshCoord;
using oxGeom::MeshSequence;
using oxLinear::Point;

constexpr int gridSize = 10;

// Vertex (i, j) of fixtures::gridMesh(gridSize, gridSize).
int gridVertex(int i, int j)
{
    return j * (gridSize + 1) + i;
}

Point vertexPoint(const CompactMesh& mesh, int v)
{
    const oxGeom::MeshVertex& x = mesh.getVertices()[v];
    return Point(x[0], x[1], x[2]);
}

// Squared distance from p to the nearest point of the line's segments.
double bruteLineDistance2(const CompactMesh& mesh, const MeshSequence& line, const Point& p)
{
    double best2 = DBL_MAX;
    for (int s = 0; s < line.numSegments(); ++s)
    {
        const Point a = vertexPoint(mesh, line.getVertex(s));
        const Point b = vertexPoint(mesh, line.getVertex((s + 1) % line.size()));
        const oxLinear::Vector ab = b - a;
        double t = oxLinear::dot(p - a, ab) / oxLinear::dot(ab, ab);
        t = t < 0 ? 0 : t > 1 ? 1 : t;
        best2 = std::min(best2, oxLinear::distance2(p, a + ab * t));
    }
    return best2;
}

// The nonzero weights of `c` must sit on line vertices of its triangle, on two consecutive ones
// when there are two.
void expectOnLineSegment(const CompactMesh& mesh, const MeshSequence& line, const MeshCoord& c)
{
    const std::vector<int>& positions = line.getPositions(mesh.getNumVertices());
    const oxGeom::MeshTriangle& tri = mesh.getTriangles()[c.triangle];
    std::vector<int> weighted;
    for (int k = 0; k < 3; ++k)
        if (c.weights[k] != 0.0)
            weighted.push_back(tri[k]);
    ASSERT_GE(weighted.size(), 1u);
    ASSERT_LE(weighted.size(), 2u);
    for (int v : weighted)
        EXPECT_GE(positions[v], 0) << "weight on vertex " << v << ", which is not on the line";
    if (weighted.size() == 2)
        EXPECT_GE(line.segmentIndex(positions[weighted[0]], positions[weighted[1]]), 0)
            << "weights on " << weighted[0] << " and " << weighted[1] << ", not a segment";
}

// The row j = 5 from i = 2 to 8, and a closed ring round the square (2,2)-(6,6).
MeshSequence rowLine()
{
    std::vector<int> vertices;
    for (int i = 2; i <= 8; ++i)
        vertices.push_back(gridVertex(i, 5));
    return MeshSequence(vertices, false);
}

std::vector<int> ringVertices()
{
    std::vector<int> ring;
    for (int i = 2; i < 6; ++i)
        ring.push_back(gridVertex(i, 2));
    for (int j = 2; j < 6; ++j)
        ring.push_back(gridVertex(6, j));
    for (int i = 6; i > 2; --i)
        ring.push_back(gridVertex(i, 6));
    for (int j = 6; j > 2; --j)
        ring.push_back(gridVertex(2, j));
    return ring;
}

struct GridScene
{
    GridScene() : mesh(fixtures::gridMesh(gridSize, gridSize)) { oxGeom::meshAdjTris(mesh, adj); }
    CompactMesh mesh;
    oxGeom::MeshAdjTris adj;
};

// Points above the grid whose horizontal distance to the line is at most half their height:
// the nearest line point then lies in the search box, so the answer is the true nearest.
TEST(MeshClosestPtOnLine, snapsToTheNearestSegmentPoint)
{
    const GridScene scene;
    for (const MeshSequence& line : {rowLine(), MeshSequence(ringVertices(), true)})
    {
        const MeshClosestPtOnLine snap(scene.mesh, scene.adj, line);
        std::mt19937 random(17);
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        for (int k = 0; k < 60; ++k)
        {
            const double height = 0.5 + 1.5 * unit(random);
            const double along = line.isClosed() ? 2 + 4 * unit(random) : 2 + 6 * unit(random);
            const double across = (2 * unit(random) - 1) * 0.5 * height;
            // Open row: across y = 5. Ring: across its left side x = 2.
            const Point p = line.isClosed() ? Point(2 + across, along, height)
                                            : Point(along, 5 + across, height);
            SCOPED_TRACE(testing::Message() << "point " << k);
            const MeshCoord c = snap(p);
            ASSERT_TRUE(c.valid());
            EXPECT_NEAR(testsupport::coordDistance2(scene.mesh, c, p),
                        bruteLineDistance2(scene.mesh, line, p), 1e-9);
            expectOnLineSegment(scene.mesh, line, c);
        }
    }
}

// Near the ring's corner (2, 2) the closing segment (2,3)-(2,2) is nearest; an open line over
// the same vertices has no such segment.
TEST(MeshClosestPtOnLine, closingSegmentOnlyForClosedLines)
{
    const GridScene scene;
    const MeshSequence closed(ringVertices(), true);
    const MeshSequence open(ringVertices(), false);
    const Point p(2.1, 2.5, 0.5);
    const MeshCoord onClosed = MeshClosestPtOnLine(scene.mesh, scene.adj, closed)(p);
    ASSERT_TRUE(onClosed.valid());
    EXPECT_NEAR(testsupport::coordDistance2(scene.mesh, onClosed, p), 0.26, 1e-9);
    const Point snapped =
        onClosed.evaluate(scene.mesh.getVerticesRaw(), scene.mesh.getTrianglesRaw());
    EXPECT_NEAR(oxLinear::distance(snapped, Point(2, 2.5, 0)), 0.0, 1e-9);

    const MeshCoord onOpen = MeshClosestPtOnLine(scene.mesh, scene.adj, open)(p);
    EXPECT_TRUE(!onOpen.valid() || testsupport::coordDistance2(scene.mesh, onOpen, p) > 0.4);
}

// On the surface the grown box is below tolerance: p snaps to the last corner of its triangle
// that lies on the line, given as the first triangle round that vertex.
//
//   (4,5) d ---- c (5,5)    p = (4.3, 4.8) lies in triangle (a c d); c and d are on the row
//         |    / |          line j = 5, d is the last of them: the answer is vertex (4, 5)
//         |  /   |
//   (4,4) a ---- b (5,4)
TEST(MeshClosestPtOnLine, pointOnTheSurfaceSnapsToALineVertex)
{
    const GridScene scene;
    const MeshSequence line = rowLine();
    const MeshClosestPtOnLine snap(scene.mesh, scene.adj, line);
    const MeshCoord c = snap(Point(4.3, 4.8, 0));
    const int d = gridVertex(4, 5);
    ASSERT_TRUE(c.valid());
    EXPECT_EQ(c.triangle, scene.adj.triIndices(d)[0]);
    const Point snapped = c.evaluate(scene.mesh.getVerticesRaw(), scene.mesh.getTrianglesRaw());
    EXPECT_EQ(snapped, vertexPoint(scene.mesh, d));

    // A surface point whose triangle has no corner on the line finds nothing.
    EXPECT_FALSE(snap(Point(4.2, 3.5, 0)).valid());
}

TEST(MeshClosestPtOnLine, outOfReachAndEmptyInputsGiveTheInvalidCoordinate)
{
    const GridScene scene;
    // A line along the far edge of the grid, a query low above the opposite corner: no leaf
    // that meets the search box lists a triangle of the line.
    std::vector<int> farRow;
    for (int i = 6; i <= gridSize; ++i)
        farRow.push_back(gridVertex(i, gridSize - 1));
    const MeshSequence line(farRow, false);
    EXPECT_FALSE(MeshClosestPtOnLine(scene.mesh, scene.adj, line)(Point(1, 0.5, 0.2)).valid());

    const CompactMesh empty = fixtures::emptyMesh();
    const oxGeom::MeshAdjTris noAdjacency;
    const MeshSequence noLine;
    EXPECT_FALSE(MeshClosestPtOnLine(empty, noAdjacency, noLine)(Point(1, 2, 3)).valid());
}

// A sequence that serves its own map: here it claims no vertex lies on it.
class HiddenLine : public MeshSequence
{
public:
    using MeshSequence::MeshSequence;
    const ox::vector<int>& getPositions(int numVertices) const override
    {
        m_none.assign(size_t(numVertices > 0 ? numVertices : 0), -1);
        return m_none;
    }

private:
    mutable ox::vector<int> m_none;
};

TEST(MeshClosestPtOnLine, usesTheSequencesOwnPositionMap)
{
    const GridScene scene;
    const HiddenLine hidden(rowLine().getVertices(), false);
    EXPECT_FALSE(MeshClosestPtOnLine(scene.mesh, scene.adj, hidden)(Point(5, 5.1, 0.5)).valid());
    EXPECT_TRUE(MeshClosestPtOnLine(scene.mesh, scene.adj, rowLine())(Point(5, 5.1, 0.5)).valid());
}
}  // namespace
