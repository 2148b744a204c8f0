// Builders of the named test meshes. Everything is built from literal tables
// or from std::mt19937, whose output sequence the standard fixes, mapped to
// floats by hand (not by a standard distribution, whose algorithm varies
// between libraries), so every platform sees the same meshes.

#include "support/meshes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace fixtures
{
namespace
{
oxGeom::CompactMesh build(const std::vector<oxGeom::MeshVertex>& vertices,
                          const std::vector<oxGeom::MeshTriangle>& triangles)
{
    oxGeom::CompactMesh mesh(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr,
                             nullptr);
    mesh.copyTriangles(static_cast<int>(triangles.size()),
                       reinterpret_cast<const int*>(triangles.data()));
    return mesh;
}

/// Splits every triangle into four through its edge midpoints, sharing each
/// midpoint between the two triangles of its edge.
void subdivide(std::vector<oxGeom::MeshVertex>& vertices,
               std::vector<oxGeom::MeshTriangle>& triangles)
{
    std::map<std::pair<int, int>, int> midpoints;
    auto midpoint = [&](int a, int b)
    {
        const std::pair<int, int> key(std::min(a, b), std::max(a, b));
        auto found = midpoints.find(key);
        if (found != midpoints.end())
            return found->second;
        oxGeom::MeshVertex m;
        for (int c = 0; c < 3; ++c)
            m[c] = 0.5f * (vertices[a][c] + vertices[b][c]);
        vertices.push_back(m);
        const int index = static_cast<int>(vertices.size()) - 1;
        midpoints.emplace(key, index);
        return index;
    };
    std::vector<oxGeom::MeshTriangle> split;
    split.reserve(triangles.size() * 4);
    for (const oxGeom::MeshTriangle& t : triangles)
    {
        const int ab = midpoint(t[0], t[1]);
        const int bc = midpoint(t[1], t[2]);
        const int ca = midpoint(t[2], t[0]);
        split.push_back({{t[0], ab, ca}});
        split.push_back({{ab, t[1], bc}});
        split.push_back({{ca, bc, t[2]}});
        split.push_back({{ab, bc, ca}});
    }
    triangles.swap(split);
}

/// 24 random bits as a float in [0, 1).
float unitFloat(std::mt19937& random)
{
    return static_cast<float>(random() >> 8) * (1.0f / 16777216.0f);
}

bool runIndicesInRange(const int* points, int numPoints, int numVertices)
{
    for (int i = 0; i < numPoints; ++i)
    {
        if (points[i] < 0 || points[i] >= numVertices)
            return false;
    }
    return true;
}
}  // namespace

oxGeom::CompactMesh emptyMesh()
{
    return oxGeom::CompactMesh();
}

oxGeom::CompactMesh unitSquare()
{
    return build({{{0, 0, 0}}, {{1, 0, 0}}, {{1, 1, 0}}, {{0, 1, 0}}}, {{{0, 1, 2}}, {{0, 2, 3}}});
}

oxGeom::CompactMesh gridMesh(int nx, int ny)
{
    if (nx < 1 || ny < 1)
        return emptyMesh();
    std::vector<oxGeom::MeshVertex> vertices;
    for (int j = 0; j <= ny; ++j)
    {
        for (int i = 0; i <= nx; ++i)
            vertices.push_back({{static_cast<float>(i), static_cast<float>(j), 0.0f}});
    }
    std::vector<oxGeom::MeshTriangle> triangles;
    for (int j = 0; j < ny; ++j)
    {
        for (int i = 0; i < nx; ++i)
        {
            const int a = j * (nx + 1) + i;
            const int b = a + 1;
            const int c = b + nx + 1;
            const int d = a + nx + 1;
            triangles.push_back({{a, b, c}});
            triangles.push_back({{a, c, d}});
        }
    }
    return build(vertices, triangles);
}

oxGeom::CompactMesh tetrahedron()
{
    return build({{{0, 0, 0}}, {{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}},
                 {{{0, 2, 1}}, {{0, 1, 3}}, {{1, 2, 3}}, {{2, 0, 3}}});
}

oxGeom::CompactMesh cube()
{
    std::vector<oxGeom::MeshVertex> vertices;
    for (int i = 0; i < 8; ++i)
        vertices.push_back({{static_cast<float>(i & 1), static_cast<float>((i >> 1) & 1),
                             static_cast<float>((i >> 2) & 1)}});
    return build(vertices, {{{0, 2, 3}},
                            {{0, 3, 1}},  // z = 0
                            {{4, 5, 7}},
                            {{4, 7, 6}},  // z = 1
                            {{0, 1, 5}},
                            {{0, 5, 4}},  // y = 0
                            {{2, 6, 7}},
                            {{2, 7, 3}},  // y = 1
                            {{0, 4, 6}},
                            {{0, 6, 2}},  // x = 0
                            {{1, 3, 7}},
                            {{1, 7, 5}}});  // x = 1
}

oxGeom::CompactMesh icosphere(int subdivisions, float radius)
{
    const float t = (1.0f + std::sqrt(5.0f)) / 2.0f;
    std::vector<oxGeom::MeshVertex> vertices = {
        {{-1, t, 0}},  {{1, t, 0}},  {{-1, -t, 0}}, {{1, -t, 0}}, {{0, -1, t}},  {{0, 1, t}},
        {{0, -1, -t}}, {{0, 1, -t}}, {{t, 0, -1}},  {{t, 0, 1}},  {{-t, 0, -1}}, {{-t, 0, 1}}};
    std::vector<oxGeom::MeshTriangle> triangles = {
        {{0, 11, 5}}, {{0, 5, 1}},  {{0, 1, 7}},   {{0, 7, 10}}, {{0, 10, 11}},
        {{1, 5, 9}},  {{5, 11, 4}}, {{11, 10, 2}}, {{10, 7, 6}}, {{7, 1, 8}},
        {{3, 9, 4}},  {{3, 4, 2}},  {{3, 2, 6}},   {{3, 6, 8}},  {{3, 8, 9}},
        {{4, 9, 5}},  {{2, 4, 11}}, {{6, 2, 10}},  {{8, 6, 7}},  {{9, 8, 1}}};
    for (int level = 0; level < subdivisions; ++level)
        subdivide(vertices, triangles);
    for (oxGeom::MeshVertex& v : vertices)
    {
        const double length =
            std::sqrt(double(v[0]) * v[0] + double(v[1]) * v[1] + double(v[2]) * v[2]);
        for (int c = 0; c < 3; ++c)
            v[c] = static_cast<float>(v[c] * (radius / length));
    }
    return build(vertices, triangles);
}

oxGeom::CompactMesh randomMesh(std::uint32_t seed, int numVertices, int numTriangles)
{
    std::mt19937 random(seed);
    std::vector<oxGeom::MeshVertex> vertices(static_cast<std::size_t>(std::max(numVertices, 0)));
    for (oxGeom::MeshVertex& v : vertices)
    {
        for (int c = 0; c < 3; ++c)
            v[c] = unitFloat(random);
    }
    std::vector<oxGeom::MeshTriangle> triangles;
    if (numVertices >= 3)
    {
        const std::uint32_t n = static_cast<std::uint32_t>(numVertices);
        for (int i = 0; i < numTriangles; ++i)
        {
            const int a = static_cast<int>(random() % n);
            int b = a;
            while (b == a)
                b = static_cast<int>(random() % n);
            int c = a;
            while (c == a || c == b)
                c = static_cast<int>(random() % n);
            triangles.push_back({{a, b, c}});
        }
    }
    return build(vertices, triangles);
}

oxGeom::CompactMesh nonManifoldEdge()
{
    return build({{{0, 0, 0}}, {{1, 0, 0}}, {{0.5f, 1, 0}}, {{0.5f, 0, 1}}, {{0.5f, -1, 0}}},
                 {{{0, 1, 2}}, {{1, 0, 3}}, {{0, 1, 4}}});
}

oxGeom::CompactMesh degenerateMesh()
{
    return build({{{0, 0, 0}}, {{1, 0, 0}}, {{0, 1, 0}}, {{2, 0, 0}}},
                 {{{0, 1, 2}}, {{0, 1, 2}}, {{0, 1, 3}}, {{0, 0, 2}}});
}

bool indicesInRange(const oxGeom::CompactMesh& mesh)
{
    const int n = mesh.getNumVertices();
    return runIndicesInRange(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles(), n) &&
           runIndicesInRange(mesh.getTriStripPoints(), mesh.getNumTriStripPoints(), n) &&
           runIndicesInRange(mesh.getTriFanPoints(), mesh.getNumTriFanPoints(), n) &&
           runIndicesInRange(reinterpret_cast<const int*>(mesh.getLines()), 2 * mesh.getNumLines(),
                             n) &&
           runIndicesInRange(mesh.getLineStripPoints(), mesh.getNumLineStripPoints(), n);
}
}  // namespace fixtures
