// cutSurface::makeDisk: closed surfaces of genus 0, 1 and 2, and open ones, come out as one
// disk (one edge-connected piece, Euler characteristic 1, one boundary cycle), judged by brute
// force over the triangle list, with every triangle on the same points as before.

#include <oxGeom/cutSurface.h>

#include <oxGeom/MeshBoundaries.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshComputeBoundary.h>

#include "support/debugCapture.h"
#include "support/diskMeshes.h"
#include "support/meshes.h"
#include "support/modificationLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <numeric>
#include <set>

namespace
{
using Edge = std::pair<int, int>;

std::map<Edge, int> undirectedEdges(const oxGeom::CompactMesh& mesh)
{
    std::map<Edge, int> edges;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
        {
            const int a = mesh.getTriangles()[t][k], b = mesh.getTriangles()[t][(k + 1) % 3];
            ++edges[{std::min(a, b), std::max(a, b)}];
        }
    return edges;
}

int edgeConnectedPieces(const oxGeom::CompactMesh& mesh)
{
    const int n = mesh.getNumTriangles();
    std::vector<int> label(static_cast<size_t>(n));
    std::iota(label.begin(), label.end(), 0);
    std::map<Edge, int> firstTriangle;
    std::function<int(int)> find = [&](int t)
    { return label[t] == t ? t : label[t] = find(label[t]); };
    for (int t = 0; t < n; ++t)
        for (int k = 0; k < 3; ++k)
        {
            const int a = mesh.getTriangles()[t][k], b = mesh.getTriangles()[t][(k + 1) % 3];
            const Edge e = {std::min(a, b), std::max(a, b)};
            auto found = firstTriangle.find(e);
            if (found == firstTriangle.end())
                firstTriangle[e] = t;
            else
                label[find(t)] = find(found->second);
        }
    std::set<int> roots;
    for (int t = 0; t < n; ++t)
        roots.insert(find(t));
    return static_cast<int>(roots.size());
}

int eulerCharacteristic(const oxGeom::CompactMesh& mesh)
{
    std::set<int> used;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i)
        used.insert(mesh.getTrianglesRaw()[i]);
    return static_cast<int>(used.size()) - static_cast<int>(undirectedEdges(mesh).size()) +
           mesh.getNumTriangles();
}

// The boundary edges, followed from one to the next: the number of cycles they form, or -1
// when a vertex starts two of them (the boundary pinches there).
int boundaryCycles(const oxGeom::CompactMesh& mesh)
{
    const std::map<Edge, int> counts = undirectedEdges(mesh);
    std::map<int, int> successor;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
        {
            const int a = mesh.getTriangles()[t][k], b = mesh.getTriangles()[t][(k + 1) % 3];
            if (counts.at({std::min(a, b), std::max(a, b)}) == 1 && !successor.emplace(a, b).second)
                return -1;
        }
    int cycles = 0;
    while (!successor.empty())
    {
        int v = successor.begin()->first;
        while (successor.count(v))
        {
            const int next = successor[v];
            successor.erase(v);
            v = next;
        }
        ++cycles;
    }
    return cycles;
}

double area(const oxGeom::CompactMesh& mesh)
{
    double sum = 0.0;
    const oxGeom::MeshVertex* v = mesh.getVertices();
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        double e1[3], e2[3];
        for (int k = 0; k < 3; ++k)
        {
            e1[k] = v[tri[1]][k] - v[tri[0]][k];
            e2[k] = v[tri[2]][k] - v[tri[0]][k];
        }
        sum += 0.5 * std::sqrt(std::pow(e1[1] * e2[2] - e1[2] * e2[1], 2) +
                               std::pow(e1[2] * e2[0] - e1[0] * e2[2], 2) +
                               std::pow(e1[0] * e2[1] - e1[1] * e2[0], 2));
    }
    return sum;
}

// Cuts a copy of `mesh` and checks that it became one disk over the same triangles.
oxGeom::CompactMesh expectCutToDisk(const oxGeom::CompactMesh& mesh, const char* name)
{
    SCOPED_TRACE(name);
    oxGeom::CompactMesh cut = mesh;
    EXPECT_TRUE(oxGeom::cutSurface::makeDisk(cut));
    EXPECT_EQ(cut.getNumTriangles(), mesh.getNumTriangles());
    EXPECT_GT(cut.getNumVertices(), mesh.getNumVertices());
    std::vector<bool> used(static_cast<size_t>(cut.getNumVertices()), false);
    for (int t = 0; t < cut.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
        {
            const int before = mesh.getTriangles()[t][k], after = cut.getTriangles()[t][k];
            used[after] = true;
            for (int a = 0; a < 3; ++a)
                EXPECT_EQ(cut.getVertices()[after][a], mesh.getVertices()[before][a]);
            // Old vertices keep their index or move to a copy appended after them.
            EXPECT_TRUE(after == before || after >= mesh.getNumVertices());
        }
    EXPECT_EQ(std::count(used.begin(), used.end(), false), 0);
    EXPECT_DOUBLE_EQ(area(cut), area(mesh));
    EXPECT_EQ(edgeConnectedPieces(cut), 1);
    EXPECT_EQ(eulerCharacteristic(cut), 1);
    EXPECT_EQ(boundaryCycles(cut), 1);
    for (const auto& edge : undirectedEdges(cut))
        EXPECT_LE(edge.second, 2);
    // The library's own boundary walk finds the one loop too.
    oxGeom::MeshAdjTris adj;
    oxGeom::MeshAdjVertices adjVertices;
    oxGeom::MeshBoundaries loops;
    oxGeom::meshAdjTris(cut, adj);
    oxGeom::meshAdjVertices(cut, adj, adjVertices);
    oxGeom::meshComputeBoundary(cut, adj, adjVertices, loops);
    EXPECT_EQ(loops.size(), 1);
    EXPECT_GE(loops.getLength(0), 4);
    return cut;
}
}  // namespace

TEST(cutSurface, closedSurfacesOfGenusZeroToTwoBecomeOneDisk)
{
    const oxGeom::CompactMesh torus = diskmeshes::torus(24, 12);
    const oxGeom::CompactMesh doubleTorus = diskmeshes::doubleTorus(2);
    // The fixtures are what they claim: closed (no boundary cycle), of genus 1 and 2.
    EXPECT_EQ(eulerCharacteristic(torus), 0);
    EXPECT_EQ(eulerCharacteristic(doubleTorus), -2);
    EXPECT_EQ(boundaryCycles(torus), 0);
    EXPECT_EQ(boundaryCycles(doubleTorus), 0);

    expectCutToDisk(fixtures::icosphere(2, 1.0f), "sphere");
    // Every vertex is a neighbour of every other: the path must still be two edges long.
    expectCutToDisk(fixtures::tetrahedron(), "tetrahedron");
    expectCutToDisk(fixtures::cube(), "cube");
    expectCutToDisk(torus, "torus");
    expectCutToDisk(diskmeshes::torus(3, 3), "coarsest torus");
    expectCutToDisk(doubleTorus, "double torus");
    // A genus-3 slab (three holes in a row) with coarse faces.
    std::vector<std::array<int, 3>> cells;
    for (int x = 0; x < 3; ++x)
        for (int y = 0; y < 7; ++y)
            if (!(x == 1 && y % 2 == 1))
                cells.push_back({x, y, 0});
    const oxGeom::CompactMesh tripleTorus = diskmeshes::voxelSurface(cells, 1);
    EXPECT_EQ(eulerCharacteristic(tripleTorus), -4);
    expectCutToDisk(tripleTorus, "triple torus");
}

TEST(cutSurface, boundariesAreJoinedAndDisksLeftAlone)
{
    // An annulus: the cut joins its two loops.
    const oxGeom::CompactMesh annulus = diskmeshes::hemisphere(6, 16, 1.0, 2);
    EXPECT_EQ(boundaryCycles(annulus), 2);
    expectCutToDisk(annulus, "annulus");

    // A torus with one quad removed: genus 1 with a boundary.
    oxGeom::CompactMesh holed = diskmeshes::torus(12, 8);
    holed.copyTriangles(holed.getNumTriangles() - 2, holed.getTrianglesRaw() + 6);
    EXPECT_EQ(boundaryCycles(holed), 1);
    expectCutToDisk(holed, "torus with a hole");

    // Already disks, or no triangles: nothing changes and nothing is announced.
    for (const oxGeom::CompactMesh& disk :
         {fixtures::gridMesh(4, 3), diskmeshes::hemisphere(5, 9), fixtures::emptyMesh()})
    {
        oxGeom::CompactMesh copy = disk;
        testsupport::ModificationLog log(copy);
        EXPECT_FALSE(oxGeom::cutSurface::makeDisk(copy));
        EXPECT_EQ(copy.getNumVertices(), disk.getNumVertices());
        EXPECT_EQ(std::vector<int>(copy.getTrianglesRaw(),
                                   copy.getTrianglesRaw() + 3 * copy.getNumTriangles()),
                  std::vector<int>(disk.getTrianglesRaw(),
                                   disk.getTrianglesRaw() + 3 * disk.getNumTriangles()));
        EXPECT_TRUE(log.notices.empty());
    }
}

TEST(cutSurface, copiesCarryEveryChannelAndTheChangeIsAnnounced)
{
    oxGeom::CompactMesh mesh = diskmeshes::torus(8, 6);
    const int n = mesh.getNumVertices();
    oxGeom::MeshUV* uv = mesh.allocUVArray();
    oxGeom::MeshNormal* normal = mesh.allocNormalArray();
    for (int i = 0; i < n; ++i)
    {
        uv[i] = {{static_cast<float>(i), -static_cast<float>(i)}};
        normal[i] = {{0.5f * i, 1.0f, 2.0f}};
        if (i % 3 == 0)
            mesh.getSelectedVertices().setBit(i);
    }
    const oxGeom::CompactMesh before = mesh;
    testsupport::ModificationLog log(mesh);
    testsupport::DebugCapture capture;
    ASSERT_TRUE(oxGeom::cutSurface::makeDisk(mesh));
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
        {
            const int was = before.getTriangles()[t][k], now = mesh.getTriangles()[t][k];
            EXPECT_EQ(mesh.getUVs()[now][0], before.getUVs()[was][0]);
            EXPECT_EQ(mesh.getUVs()[now][1], before.getUVs()[was][1]);
            EXPECT_EQ(mesh.getNormals()[now][0], before.getNormals()[was][0]);
            EXPECT_EQ(mesh.getSelectedVertices().isBitSet(now), was % 3 == 0);
        }
    ASSERT_EQ(log.notices.size(), 1u);
    const testsupport::RecordedModification& notice = log.notices[0];
    EXPECT_EQ(notice.type, oxGeom::MeshModification::Topology);
    EXPECT_EQ(notice.flags, unsigned(oxGeom::MeshModification::PolysModifiedFlag |
                                     oxGeom::MeshModification::TriangleNormalsValidFlag |
                                     oxGeom::MeshModification::NormalsValidFlag |
                                     oxGeom::MeshModification::UVsValidFlag));
    std::vector<int> identity(static_cast<size_t>(n));
    std::iota(identity.begin(), identity.end(), 0);
    EXPECT_EQ(notice.vertexMap, identity);
    const int added = mesh.getNumVertices() - n;
    EXPECT_NE(capture.text().find("cutSurface::makeDisk: 48 vertices, 96 triangles, "),
              std::string::npos);
    EXPECT_NE(capture.text().find(" vertices added: # s\n"), std::string::npos);
    EXPECT_NE(capture.text().find(", " + std::to_string(added) + " vertices added"),
              std::string::npos);
}

TEST(cutSurface, brokenTrianglesStayAndTouchingFansAreSeparated)
{
    // Two fans of a closed tetrahedron each, sharing only vertex 0 (a pinch), plus a
    // triangle repeating a corner and one naming a vertex past the end.
    //
    //   tetra A: 0 1 2 3      tetra B: 0 4 5 6      (0 0 1), (1 2 99)
    const oxGeom::CompactMesh tetra = fixtures::tetrahedron();
    std::vector<int> t;
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 3; ++k)
            t.push_back(tetra.getTriangles()[i][k]);
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 3; ++k)
        {
            const int v = tetra.getTriangles()[i][k];
            t.push_back(v == 0 ? 0 : v + 3);
        }
    t.insert(t.end(), {0, 0, 1, 1, 2, 99});
    std::vector<float> p(3 * 7, 0.0f);
    for (int i = 1; i < 7; ++i)
        p[3 * i + (i - 1) % 3] = i > 3 ? -1.0f : 1.0f;
    oxGeom::CompactMesh mesh = diskmeshes::meshFrom(p, t);
    ASSERT_TRUE(oxGeom::cutSurface::makeDisk(mesh));
    // The broken triangles are untouched.
    EXPECT_EQ(mesh.getTriangles()[8][0], 0);
    EXPECT_EQ(mesh.getTriangles()[8][1], 0);
    EXPECT_EQ(mesh.getTriangles()[9][2], 99);
    // Each tetrahedron is opened on its own and the second uses its own copy of vertex 0.
    std::set<int> first, second;
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 3; ++k)
        {
            first.insert(mesh.getTriangles()[i][k]);
            second.insert(mesh.getTriangles()[4 + i][k]);
        }
    for (int v : first)
        EXPECT_EQ(second.count(v), 0u) << v;
    EXPECT_EQ(first.size() + second.size(), 10u);  // 4 + 1 copy in each
}
