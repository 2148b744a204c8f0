#pragma once
// Shared by the adjacency, boundary and component tests: meshes from literal index lists and
// brute-force answers computed from the triangle list alone, without the tables under test.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

namespace oracle
{
/// `numVertices` vertices at the origin (positions do not matter to topology) and `triangles`.
inline oxGeom::CompactMesh meshOf(int numVertices, const std::vector<oxGeom::MeshTriangle>& tris)
{
    std::vector<oxGeom::MeshVertex> vertices(static_cast<size_t>(numVertices), {{0, 0, 0}});
    oxGeom::CompactMesh mesh(numVertices, vertices.data(), nullptr, nullptr, nullptr);
    mesh.copyTriangles(static_cast<int>(tris.size()), tris.empty() ? nullptr : &tris[0][0]);
    return mesh;
}

/// Masks the bare seconds that end the "MeshAdjTris: ..." line (it has no " s" after them,
/// so the capture's own masking leaves them): "... 2 triangles 0.000012\n" -> "... 2 triangles
/// #\n".
inline std::string maskBareSeconds(const std::string& text)
{
    return std::regex_replace(text, std::regex("triangles [0-9]+\\.[0-9]{6}\n"), "triangles #\n");
}

inline std::vector<int> listOf(const oxGeom::MeshAdjTris& adj, int v)
{
    return std::vector<int>(adj.triIndices(v), adj.triIndices(v) + adj.numTris(v));
}

/// Triangles around v by scanning every triangle and corner: ascending, with repeats.
inline std::vector<int> trianglesAround(const oxGeom::CompactMesh& mesh, int v)
{
    std::vector<int> around;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
            if (mesh.getTriangles()[t][k] == v)
                around.push_back(t);
    return around;
}

/// Distinct neighbours of v in first-occurrence order over the brute-force triangle list.
inline std::vector<int> neighboursOf(const oxGeom::CompactMesh& mesh, int v)
{
    std::vector<int> neighbours;
    for (int t : trianglesAround(mesh, v))
        for (int k = 0; k < 3; ++k)
        {
            const int n = mesh.getTriangles()[t][k];
            if (n != v && std::find(neighbours.begin(), neighbours.end(), n) == neighbours.end())
                neighbours.push_back(n);
        }
    return neighbours;
}

/// True when the directed edge a -> b lies in some triangle.
inline bool hasDirectedEdge(const oxGeom::CompactMesh& mesh, int a, int b)
{
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
            if (mesh.getTriangles()[t][k] == a && mesh.getTriangles()[t][(k + 1) % 3] == b)
                return true;
    return false;
}
}  // namespace oracle
