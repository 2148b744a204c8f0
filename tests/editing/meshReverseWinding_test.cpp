// meshReverseWinding: every triangle, strip triangle and fan triangle comes out
// wound the other way (checked by expanding strips and fans into triangles), two
// reversals restore the mesh, even strips are rebuilt into valid strips, and the
// component overload reverses exactly the seed's vertex-connected part.

#include <oxGeom/meshReverseWinding.h>

#include <oxGeom/meshAdjacency.h>

#include "support/debugCapture.h"
#include "support/meshBuild.h"
#include "support/meshes.h"
#include "support/modificationLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::MeshModification;

namespace
{
using Triangle = std::array<int, 3>;

// The same oriented triangle whichever corner it starts at.
Triangle canonical(int a, int b, int c)
{
    if (b < a && b < c)
        return {b, c, a};
    if (c < a && c < b)
        return {c, a, b};
    return {a, b, c};
}

Triangle flipped(const Triangle& t)
{
    return canonical(t[1], t[0], t[2]);
}

// Every triangle the strips and fans describe, oriented, sorted. Strip triangle
// k is (p[k], p[k+1], p[k+2]) for even k and (p[k+1], p[k], p[k+2]) for odd k;
// fan triangle k is (hub, p[k+1], p[k+2]).
std::vector<Triangle> stripAndFanTriangles(const CompactMesh& mesh)
{
    std::vector<Triangle> out;
    const int* p = mesh.getTriStripPoints();
    for (int s = 0; s < mesh.getNumTriStrips(); ++s)
    {
        const int n = mesh.getTriStripLengths()[s];
        for (int k = 0; k + 2 < n; ++k)
            out.push_back(k % 2 == 0 ? canonical(p[k], p[k + 1], p[k + 2])
                                     : canonical(p[k + 1], p[k], p[k + 2]));
        p += n;
    }
    const int* f = mesh.getTriFanPoints();
    for (int s = 0; s < mesh.getNumTriFans(); ++s)
    {
        const int n = mesh.getTriFanLengths()[s];
        for (int k = 1; k + 1 < n; ++k)
            out.push_back(canonical(f[0], f[k], f[k + 1]));
        f += n;
    }
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<Triangle> flippedAll(std::vector<Triangle> triangles)
{
    for (Triangle& t : triangles)
        t = flipped(t);
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

// Strips, then fans, of the given lengths over consecutive vertex indices.
void addStripsAndFans(CompactMesh& mesh, const std::vector<int>& strips,
                      const std::vector<int>& fans)
{
    int next = 0;
    auto fill = [&](const std::vector<int>& runs, int* lengths, int* points)
    {
        std::copy(runs.begin(), runs.end(), lengths);
        for (int n : runs)
            for (int k = 0; k < n; ++k)
                *points++ = next++;
    };
    mesh.resizeTriStripArrays(int(strips.size()), std::accumulate(strips.begin(), strips.end(), 0));
    fill(strips, mesh.getTriStripLengths(), mesh.getTriStripPoints());
    mesh.resizeTriFanArrays(int(fans.size()), std::accumulate(fans.begin(), fans.end(), 0));
    fill(fans, mesh.getTriFanLengths(), mesh.getTriFanPoints());
}

std::vector<int> stripPoints(const CompactMesh& mesh)
{
    return std::vector<int>(mesh.getTriStripPoints(),
                            mesh.getTriStripPoints() + mesh.getNumTriStripPoints());
}

std::vector<float> floats(const float* values, int count)
{
    return std::vector<float>(values, values + count);
}
}  // namespace

TEST(meshReverseWinding, everyPrimitiveFlipsAndTwiceRestores)
{
    CompactMesh mesh = fixtures::randomMesh(21, 500, 300);
    testsupport::addEveryChannel(mesh, 6);
    addStripsAndFans(mesh, {3, 4, 5, 9, 4, 1}, {3, 6, 2});
    const CompactMesh before = mesh;
    const std::vector<Triangle> primitives = stripAndFanTriangles(before);

    testsupport::ModificationLog log(mesh);
    testsupport::DebugCapture capture;
    oxGeom::meshReverseWinding(mesh, true);
    EXPECT_EQ(capture.text(),
              "meshReverseWinding: 300 triangles\n  remapped triangle indices: # s\n");
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        EXPECT_EQ(mesh.getTriangles()[t][0], before.getTriangles()[t][1]);
        EXPECT_EQ(mesh.getTriangles()[t][1], before.getTriangles()[t][0]);
        EXPECT_EQ(mesh.getTriangles()[t][2], before.getTriangles()[t][2]);
    }
    EXPECT_EQ(stripAndFanTriangles(mesh), flippedAll(primitives));
    const int nv = 3 * mesh.getNumVertices(), nt = 3 * mesh.getNumTriangles();
    for (int i = 0; i < nv; ++i)
        ASSERT_EQ(mesh.getNormalsRaw()[i], -before.getNormalsRaw()[i]);
    for (int i = 0; i < nt; ++i)
        ASSERT_EQ(mesh.getTriangleNormalsRaw()[i], -before.getTriangleNormalsRaw()[i]);
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].type, MeshModification::Topology);
    EXPECT_FALSE(log.notices[0].hasRemap);
    EXPECT_EQ(log.notices[0].flags, unsigned(MeshModification::NormalsModifiedFlag |
                                             MeshModification::TriangleNormalsModifiedFlag |
                                             MeshModification::UVsValidFlag |
                                             MeshModification::StripsAndFansModifiedFlag));

    oxGeom::meshReverseWinding(mesh, true);
    EXPECT_EQ(testsupport::triangleList(mesh), testsupport::triangleList(before));
    EXPECT_EQ(stripPoints(mesh), stripPoints(before));
    EXPECT_EQ(floats(mesh.getNormalsRaw(), nv), floats(before.getNormalsRaw(), nv));
    EXPECT_EQ(floats(mesh.getTriangleNormalsRaw(), nt), floats(before.getTriangleNormalsRaw(), nt));
    EXPECT_EQ(std::vector<int>(mesh.getTriFanPoints(), mesh.getTriFanPoints() + 11),
              std::vector<int>(before.getTriFanPoints(), before.getTriFanPoints() + 11));
}

TEST(meshReverseWinding, evenStripsAreRebuiltIntoValidFlippedStrips)
{
    CompactMesh mesh;
    mesh.resizeVertexArray(1000);
    addStripsAndFans(mesh, {6, 3, 4, 8, 2, 5, 10}, {});
    const std::vector<Triangle> primitives = stripAndFanTriangles(mesh);
    const int numPolys = mesh.getNumPolys();

    oxGeom::meshReverseWinding(mesh, false);
    EXPECT_EQ(stripAndFanTriangles(mesh), flippedAll(primitives));
    // Lengths add up to the points; only the 6, 8 and 10-point strips split.
    int total = 0;
    for (int s = 0; s < mesh.getNumTriStrips(); ++s)
        total += mesh.getTriStripLengths()[s];
    EXPECT_EQ(total, mesh.getNumTriStripPoints());
    EXPECT_EQ(mesh.getNumTriStrips(), 10);
    EXPECT_EQ(mesh.getNumPolys(), numPolys);
    EXPECT_TRUE(fixtures::indicesInRange(mesh));

    oxGeom::meshReverseWinding(mesh, false);
    EXPECT_EQ(stripAndFanTriangles(mesh), primitives);
}

TEST(meshReverseWinding, normalsOnlyFlipOnRequestAndMalformedStripsStop)
{
    CompactMesh mesh = fixtures::tetrahedron();
    testsupport::addEveryChannel(mesh, 1);
    // The second strip claims more points than there are: it and the rest stay.
    mesh.resizeTriStripArrays(3, 5);
    const int lengths[] = {3, 9, 2};
    const int points[] = {0, 1, 2, 3, 0};
    std::copy(lengths, lengths + 3, mesh.getTriStripLengths());
    std::copy(points, points + 5, mesh.getTriStripPoints());
    const CompactMesh before = mesh;
    testsupport::ModificationLog log(mesh);
    oxGeom::meshReverseWinding(mesh, false);

    EXPECT_EQ(floats(mesh.getNormalsRaw(), 12), floats(before.getNormalsRaw(), 12));
    EXPECT_EQ(mesh.getTriangleNormalsRaw()[0], -before.getTriangleNormalsRaw()[0]);
    EXPECT_EQ(stripPoints(mesh), (std::vector<int>{2, 1, 0, 3, 0}));
    EXPECT_EQ(std::vector<int>(mesh.getTriStripLengths(), mesh.getTriStripLengths() + 3),
              (std::vector<int>{3, 9, 2}));
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].flags, unsigned(MeshModification::NormalsValidFlag |
                                             MeshModification::TriangleNormalsModifiedFlag |
                                             MeshModification::UVsValidFlag |
                                             MeshModification::StripsAndFansModifiedFlag));

    // An empty mesh only announces.
    CompactMesh empty;
    testsupport::ModificationLog emptyLog(empty);
    oxGeom::meshReverseWinding(empty, true);
    EXPECT_EQ(emptyLog.notices.size(), 1u);
}

TEST(meshReverseWinding, seedReversesItsVertexConnectedPart)
{
    // Grid 2x2 (vertices 0..8, triangles 0..7) and a separate tetrahedron
    // (vertices 9..12, triangles 8..11).
    CompactMesh grid = fixtures::gridMesh(2, 2);
    const CompactMesh tetra = fixtures::tetrahedron();
    std::vector<float> positions(grid.getVerticesRaw(), grid.getVerticesRaw() + 27);
    positions.insert(positions.end(), tetra.getVerticesRaw(), tetra.getVerticesRaw() + 12);
    std::vector<int> tris = testsupport::triangleList(grid);
    for (int i : testsupport::triangleList(tetra))
        tris.push_back(i + 9);
    CompactMesh mesh = testsupport::makeMesh(positions, tris);
    oxGeom::MeshAdjTris adj;
    oxGeom::meshAdjTris(mesh, adj);

    testsupport::DebugCapture capture;
    oxGeom::meshReverseWinding(mesh, adj, 5);
    EXPECT_EQ(capture.text(),
              "MeshSelect::selectTrianglesRecursive()\n   # s\n"
              "meshReverseSelectedWinding: 12 triangles\n  mesh reverse selected winding: # s\n");
    for (int t = 0; t < 12; ++t)
    {
        const bool reversed = t < 8;
        EXPECT_EQ(mesh.getTriangles()[t][0], tris[3 * t + (reversed ? 1 : 0)]) << t;
        EXPECT_EQ(mesh.getSelectedTriangles().isBitSet(t), reversed) << t;
    }

    // The grid stays selected: a seed in the tetrahedron reverses both parts,
    // which restores the grid and reverses the tetrahedron.
    oxGeom::meshReverseWinding(mesh, adj, 10);
    for (int t = 0; t < 12; ++t)
        EXPECT_EQ(mesh.getTriangles()[t][0], tris[3 * t + (t < 8 ? 0 : 1)]) << t;

    // A seed out of range adds nothing: with no selection nothing turns.
    mesh.clearSelection();
    const std::vector<int> now = testsupport::triangleList(mesh);
    oxGeom::meshReverseWinding(mesh, adj, 12);
    oxGeom::meshReverseWinding(mesh, adj, -1);
    EXPECT_EQ(testsupport::triangleList(mesh), now);
}
