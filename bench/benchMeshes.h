// Generated meshes and timing helpers shared by the benchmark programs: every program measures
// on the same few surface kinds (a geodesic sphere, a scan-like height field, a jittered grid), so
// their figures can be read side by side.
#pragma once

#include <oxGeom/CompactMesh.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace benchMeshes
{
using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The object make(key) built on the first call for `key` and kept for the later runs that share
// it. The cache belongs to the type of `make`: pass a lambda written at the call site (each
// lambda is its own type), never a plain function pointer, which two call sites could share.
template <class T, class Make>
T& buildOnce(int key, Make make)
{
    static std::vector<std::pair<int, std::unique_ptr<T>>> built;
    for (auto& entry : built)
        if (entry.first == key)
            return *entry.second;
    built.emplace_back(key, std::make_unique<T>(make(key)));
    return *built.back().second;
}

// A mesh owning copies of the given vertices and triangles (three indices each).
inline oxGeom::CompactMesh makeMesh(const std::vector<oxGeom::MeshVertex>& vertices,
                                    const std::vector<int>& triangles)
{
    oxGeom::CompactMesh mesh(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr,
                             nullptr);
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

// The grid of nx by ny cells whose two triangles per cell come closest to `numTriangles`.
inline std::pair<int, int> gridCells(int numTriangles)
{
    const int cells = numTriangles / 2;
    const int nx = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(cells))));
    return {nx, std::max(1, cells / nx)};
}

// The (nx + 1) * (ny + 1) grid vertices row by row, as a range scanner delivers them;
// vertexAt(i, j, random) gives the vertex of column i, row j.
template <class VertexAt>
std::vector<oxGeom::MeshVertex> gridVertices(int nx, int ny, VertexAt vertexAt)
{
    std::mt19937 random(7);
    std::vector<oxGeom::MeshVertex> vertices;
    vertices.reserve(static_cast<size_t>(nx + 1) * (ny + 1));
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
            vertices.push_back(vertexAt(i, j, random));
    return vertices;
}

// Two triangles per grid cell, cells row by row; keep(i, j) drops the cells it refuses.
template <class KeepCell>
std::vector<int> gridTriangles(int nx, int ny, KeepCell keep)
{
    std::vector<int> triangles;
    triangles.reserve(static_cast<size_t>(nx) * ny * 6);
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
            if (keep(i, j))
            {
                const int a = j * (nx + 1) + i, b = a + 1, c = a + nx + 1, d = c + 1;
                triangles.insert(triangles.end(), {a, b, d, a, d, c});
            }
    return triangles;
}

inline std::vector<int> gridTriangles(int nx, int ny)
{
    return gridTriangles(nx, ny, [](int, int) { return true; });
}

// Up to 0.2 of the grid spacing, the jitter every grid kind uses.
inline float jitter(std::mt19937& random)
{
    return std::uniform_real_distribution<float>(-0.2f, 0.2f)(random);
}

// The vertex of column i, row j of a flat grid of unit spacing, every coordinate jittered.
inline oxGeom::MeshVertex jitteredVertex(int i, int j, std::mt19937& random)
{
    const float x = i + jitter(random), y = j + jitter(random);
    return oxGeom::MeshVertex{{x, y, jitter(random)}};
}

inline oxGeom::CompactMesh jitteredGrid(int numTriangles)
{
    const auto [nx, ny] = gridCells(numTriangles);
    return makeMesh(gridVertices(nx, ny, jitteredVertex), gridTriangles(nx, ny));
}

// A scan-like height field: the jittered grid over rolling terrain 20 units high.
inline oxGeom::CompactMesh scanSurface(int numTriangles)
{
    const auto [nx, ny] = gridCells(numTriangles);
    auto vertexAt = [](int i, int j, std::mt19937& random)
    {
        const float height = 20.0f * std::sin(i * 0.01f) * std::cos(j * 0.013f);
        const float x = i + jitter(random), y = j + jitter(random);
        return oxGeom::MeshVertex{{x, y, height + jitter(random)}};
    };
    return makeMesh(gridVertices(nx, ny, vertexAt), gridTriangles(nx, ny));
}

// Each icosahedron face cut into k * k triangles for k = round(sqrt(numTriangles / 20)).
inline int geodesicSubdivision(int numTriangles)
{
    return std::max(1, static_cast<int>(std::lround(std::sqrt(numTriangles / 20.0))));
}

// A sphere of the given radius: the icosahedron with each face cut into rows of a triangular
// grid, vertices pushed onto the sphere. Vertices along the icosahedron's edges are repeated per
// face, as a mesh read face by face would have them.
inline oxGeom::CompactMesh geodesicSphere(int numTriangles, double radius = 1.0)
{
    const int k = geodesicSubdivision(numTriangles);
    const double g = (1.0 + std::sqrt(5.0)) / 2.0;
    const double corners[12][3] = {{-1, g, 0}, {1, g, 0}, {-1, -g, 0}, {1, -g, 0},
                                   {0, -1, g}, {0, 1, g}, {0, -1, -g}, {0, 1, -g},
                                   {g, 0, -1}, {g, 0, 1}, {-g, 0, -1}, {-g, 0, 1}};
    const int faces[20][3] = {{0, 11, 5}, {0, 5, 1},  {0, 1, 7},   {0, 7, 10}, {0, 10, 11},
                              {1, 5, 9},  {5, 11, 4}, {11, 10, 2}, {10, 7, 6}, {7, 1, 8},
                              {3, 9, 4},  {3, 4, 2},  {3, 2, 6},   {3, 6, 8},  {3, 8, 9},
                              {4, 9, 5},  {2, 4, 11}, {6, 2, 10},  {8, 6, 7},  {9, 8, 1}};
    std::vector<oxGeom::MeshVertex> vertices;
    std::vector<int> triangles;
    for (const int* face : faces)
    {
        const int base = static_cast<int>(vertices.size());
        // Row r holds r + 1 points between corner a and the edge b-c.
        auto index = [&](int r, int c) { return base + r * (r + 1) / 2 + c; };
        for (int r = 0; r <= k; ++r)
            for (int c = 0; c <= r; ++c)
            {
                double p[3], length2 = 0;
                for (int d = 0; d < 3; ++d)
                {
                    const double a = corners[face[0]][d], b = corners[face[1]][d];
                    const double e = corners[face[2]][d];
                    p[d] = a + (b - a) * (r - c) / k + (e - a) * c / k;
                    length2 += p[d] * p[d];
                }
                const double scale = radius / std::sqrt(length2);
                vertices.push_back(
                    {{float(p[0] * scale), float(p[1] * scale), float(p[2] * scale)}});
            }
        for (int r = 0; r < k; ++r)
            for (int c = 0; c <= r; ++c)
            {
                triangles.insert(triangles.end(),
                                 {index(r, c), index(r + 1, c), index(r + 1, c + 1)});
                if (c < r)
                    triangles.insert(triangles.end(),
                                     {index(r, c), index(r + 1, c + 1), index(r, c + 1)});
            }
    }
    return makeMesh(vertices, triangles);
}
}  // namespace benchMeshes
