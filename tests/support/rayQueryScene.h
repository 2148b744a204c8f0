#pragma once
// A mesh with the spatial data the ray and inside queries read (vertex octree
// with tiling and leaf size 16, per-leaf triangle lists, vertex -> triangle
// table), and vertex normals computed here as the normalised sum of the
// adjacent triangles' normals, independently of the library's normal code.

#include <oxGeom/BoundingBox.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxLinear/Point.h>

#include <utility>
#include <vector>

namespace testsupport
{
struct RayQueryScene
{
    explicit RayQueryScene(oxGeom::CompactMesh m) : mesh(std::move(m))
    {
        oxGeom::meshBoundingBox(mesh, bounds);
        octree = oxGeom::Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, true, 16);
        oxGeom::computeOctreeTris(mesh, octree, tris);
        oxGeom::meshAdjTris(mesh, adj);
    }
    RayQueryScene(const RayQueryScene&) = delete;
    RayQueryScene& operator=(const RayQueryScene&) = delete;

    oxGeom::CompactMesh mesh;
    oxGeom::BoundingBox bounds;
    oxGeom::Octree octree;
    oxGeom::OctreeTris tris;
    oxGeom::MeshAdjTris adj;
};

/// Gives `mesh` vertex normals: per vertex the normalised sum of the (area
/// weighted) normals of the triangles that use it.
inline void setSummedVertexNormals(oxGeom::CompactMesh& mesh)
{
    std::vector<oxLinear::Vector> sums(static_cast<size_t>(mesh.getNumVertices()));
    auto corner = [&](int v)
    { return oxLinear::Point(oxLinear::PointFlt(mesh.getVertices()[v].v)); };
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle tri = mesh.getTriangles()[t];
        const oxLinear::Vector n =
            oxLinear::cross(corner(tri[1]) - corner(tri[0]), corner(tri[2]) - corner(tri[0]));
        for (int k = 0; k < 3; ++k)
            sums[tri[k]] += n;
    }
    oxGeom::MeshNormal* normals = mesh.allocNormalArray();
    for (size_t i = 0; i < sums.size(); ++i)
        for (int k = 0; k < 3; ++k)
            normals[i][k] = float(sums[i].normalized()[k]);
}
}  // namespace testsupport
