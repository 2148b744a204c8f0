// MeshClosestPtOnLine: points above a grid snap to the nearest point of a line of grid vertices,
// against brute force over the line's segments, the closing segment only for closed lines;
// points on the surface snap to a line vertex; lines out of reach and empty meshes give the
// invalid coordinate; a subclass's position map is the one used.

#include <oxGeom/MeshClosestPtOnLine.h>

#include <oxGeom/meshAdjacency.h>

#include "support/closestPointOracle.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <vector>

namespace
{
using oxGeom::MeshClosestPtOnLine;
using oxGeom::MeshCoord;
using oxGeom::MeshSequence;
using oxLinear::Point;

// fixtures::gridMesh(10, 10): vertex (i, j) at (i, j, 0).
int gridVertex(int i, int j)
{
    return j * 11 + i;
}

struct GridScene
{
    GridScene() : mesh(fixtures::gridMesh(10, 10)) { oxGeom::meshAdjTris(mesh, adj); }
    Point point(const MeshCoord& c) const
    {
        return c.evaluate(mesh.getVerticesRaw(), mesh.getTrianglesRaw());
    }
    oxGeom::CompactMesh mesh;
    oxGeom::MeshAdjTris adj;
};

// The distance from p to the nearest point of the line's segments, trying each.
double bruteLineDistance(const MeshSequence& line, const Point& p)
{
    double best2 = DBL_MAX;
    for (int s = 0; s < line.numSegments(); ++s)
    {
        const int a = line.getVertex(s), b = line.getVertex((s + 1) % line.size());
        const Point pa(a % 11, a / 11, 0), pb(b % 11, b / 11, 0);
        const double t =
            std::clamp(oxLinear::dot(p - pa, pb - pa) / oxLinear::distance2(pa, pb), 0.0, 1.0);
        best2 = std::min(best2, oxLinear::distance2(p, pa + (pb - pa) * t));
    }
    return std::sqrt(best2);
}

// The row j = 5 from i = 2 to 8 (open) and the ring round the square (2,2)-(6,6).
MeshSequence row()
{
    std::vector<int> vertices;
    for (int i = 2; i <= 8; ++i)
        vertices.push_back(gridVertex(i, 5));
    return MeshSequence(vertices, false);
}

MeshSequence ring(bool closed)
{
    std::vector<int> walk;
    for (int i = 2; i < 6; ++i)
        walk.push_back(gridVertex(i, 2));
    for (int j = 2; j < 6; ++j)
        walk.push_back(gridVertex(6, j));
    for (int i = 6; i > 2; --i)
        walk.push_back(gridVertex(i, 6));
    for (int j = 6; j > 2; --j)
        walk.push_back(gridVertex(2, j));
    return MeshSequence(walk, closed);
}

// Points whose horizontal distance to the line is at most half their height: the nearest line
// point then lies in the search box, so the answer is the true nearest. Its weights must sit
// on two consecutive line vertices of the triangle returned.
TEST(MeshClosestPtOnLine, snapsToTheNearestSegmentPoint)
{
    const GridScene scene;
    for (const MeshSequence& line : {row(), ring(true)})
    {
        const MeshClosestPtOnLine snap(scene.mesh, scene.adj, line);
        const std::vector<int>& positions = line.getPositions(scene.mesh.getNumVertices());
        std::mt19937 random(17);
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        for (int k = 0; k < 60; ++k)
        {
            const double height = 0.5 + 1.5 * unit(random);
            const double across = (2 * unit(random) - 1) * 0.5 * height;
            // The open row runs along y = 5; the ring's left side along x = 2.
            const Point p = line.isClosed() ? Point(2 + across, 2 + 4 * unit(random), height)
                                            : Point(2 + 6 * unit(random), 5 + across, height);
            const MeshCoord c = snap(p);
            ASSERT_TRUE(c.valid());
            EXPECT_NEAR(oxLinear::distance(p, scene.point(c)), bruteLineDistance(line, p), 1e-9);
            const oxGeom::MeshTriangle& tri = scene.mesh.getTriangles()[c.triangle];
            std::vector<int> weighted;
            for (int corner = 0; corner < 3; ++corner)
                if (c.weights[corner] != 0.0)
                    weighted.push_back(positions[size_t(tri[corner])]);
            ASSERT_TRUE(weighted.size() == 1 || weighted.size() == 2);
            EXPECT_TRUE(weighted.front() >= 0 && weighted.back() >= 0) << "off the line";
            if (weighted.size() == 2)
            {
                EXPECT_GE(line.segmentIndex(weighted[0], weighted[1]), 0) << "not a segment";
            }
        }
    }
    // Near the ring's corner (2, 2) the closing segment (2,3)-(2,2) is nearest, at (2, 2.5, 0);
    // over the same vertices as an open line that segment does not exist.
    const Point p(2.1, 2.5, 0.5);
    const MeshCoord closed = MeshClosestPtOnLine(scene.mesh, scene.adj, ring(true))(p);
    EXPECT_NEAR(oxLinear::distance(scene.point(closed), Point(2, 2.5, 0)), 0.0, 1e-9);
    const MeshCoord open = MeshClosestPtOnLine(scene.mesh, scene.adj, ring(false))(p);
    EXPECT_TRUE(!open.valid() || oxLinear::distance(scene.point(open), p) > 0.6);
}

// On the surface the grown box is below tolerance: p snaps to the last corner of its triangle
// that lies on the line, given on the first triangle round that vertex.
//
//   (4,5) d ---- c (5,5)    p = (4.3, 4.8) lies in triangle (a c d); c and d are on the row
//         |    / |          line j = 5, d is the last of them: the answer is vertex (4, 5)
//         |  /   |
//   (4,4) a ---- b (5,4)
TEST(MeshClosestPtOnLine, pointOnTheSurfaceSnapsToALineVertex)
{
    const GridScene scene;
    const MeshSequence line = row();
    const MeshClosestPtOnLine snap(scene.mesh, scene.adj, line);
    const MeshCoord c = snap(Point(4.3, 4.8, 0));
    EXPECT_EQ(c.triangle, scene.adj.triIndices(gridVertex(4, 5))[0]);
    EXPECT_EQ(scene.point(c), Point(4, 5, 0));
    // A surface point whose triangle has no corner on the line finds nothing.
    EXPECT_FALSE(snap(Point(4.2, 3.5, 0)).valid());
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

TEST(MeshClosestPtOnLine, outOfReachHiddenAndEmptyGiveTheInvalidCoordinate)
{
    const GridScene scene;
    // A line along the far edge of the grid, a query low above the opposite corner: no leaf
    // that meets the search box lists a triangle of the line.
    std::vector<int> farRow;
    for (int i = 6; i <= 10; ++i)
        farRow.push_back(gridVertex(i, 9));
    EXPECT_FALSE(
        MeshClosestPtOnLine(scene.mesh, scene.adj, MeshSequence(farRow, false))(Point(1, 0.5, 0.2))
            .valid());
    const Point nearRow(5, 5.1, 0.5);
    EXPECT_TRUE(MeshClosestPtOnLine(scene.mesh, scene.adj, row())(nearRow).valid());
    const HiddenLine hidden(row().getVertices(), false);
    EXPECT_FALSE(MeshClosestPtOnLine(scene.mesh, scene.adj, hidden)(nearRow).valid());

    const oxGeom::CompactMesh empty = fixtures::emptyMesh();
    const oxGeom::MeshAdjTris noAdjacency;
    EXPECT_FALSE(MeshClosestPtOnLine(empty, noAdjacency, MeshSequence())(Point(1, 2, 3)).valid());
}
}  // namespace
