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

#include <cmath>
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
    const int numVertices = mesh.getNumVertices();
    std::vector<double> sums(3 * static_cast<size_t>(numVertices), 0.0);
    const oxGeom::MeshVertex* v = mesh.getVertices();
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        double e1[3], e2[3];
        for (int k = 0; k < 3; ++k)
        {
            e1[k] = double(v[tri[1]][k]) - v[tri[0]][k];
            e2[k] = double(v[tri[2]][k]) - v[tri[0]][k];
        }
        const double n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                             e1[0] * e2[1] - e1[1] * e2[0]};
        for (int corner = 0; corner < 3; ++corner)
            for (int k = 0; k < 3; ++k)
                sums[3 * tri[corner] + k] += n[k];
    }
    mesh.allocNormalArray();
    oxGeom::MeshNormal* normals = mesh.getNormals();
    for (int i = 0; i < numVertices; ++i)
    {
        const double* s = &sums[3 * static_cast<size_t>(i)];
        const double length = std::sqrt(s[0] * s[0] + s[1] * s[1] + s[2] * s[2]);
        for (int k = 0; k < 3; ++k)
            normals[i][k] = length > 0.0 ? float(s[k] / length) : 0.0f;
    }
}
}  // namespace testsupport
