#pragma once
// Helpers for the closest-point tests: a mesh with its vertex octree, per-leaf triangle lists
// and vertex -> triangle table; the brute-force nearest point over every triangle; and seeded
// query points inside the bounds, near the surface and far outside.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshCoord.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshBoundingBox.h>

#include "support/meshes.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace testsupport
{
/// A mesh from a vertex list and a flat index list (three per triangle).
inline oxGeom::CompactMesh triangleMesh(const std::vector<oxGeom::MeshVertex>& vertices,
                                        const std::vector<int>& indices)
{
    oxGeom::CompactMesh mesh(int(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    mesh.copyTriangles(int(indices.size() / 3), indices.data());
    return mesh;
}

/// A mesh with everything the closest-point queries read, built the usual way (mesh bounds,
/// tiling, leaf size 16).
struct ClosestPointScene
{
    explicit ClosestPointScene(oxGeom::CompactMesh m, int leafSize = 16) : mesh(std::move(m))
    {
        oxGeom::meshBoundingBox(mesh, bounds);
        octree =
            oxGeom::Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, true, leafSize);
        oxGeom::computeOctreeTris(mesh, octree, tris);
        oxGeom::meshAdjTris(mesh, adj);
    }
    ClosestPointScene(const ClosestPointScene&) = delete;
    ClosestPointScene& operator=(const ClosestPointScene&) = delete;

    oxGeom::CompactMesh mesh;
    oxGeom::BoundingBox bounds;
    oxGeom::Octree octree;
    oxGeom::OctreeTris tris;
    oxGeom::MeshAdjTris adj;
};

/// The distance from p to the nearest point of any triangle that projects (MeshCoord::project),
/// trying every triangle; sqrt(DBL_MAX) for none.
inline double bruteNearest(const oxGeom::CompactMesh& mesh, const oxLinear::Point& p)
{
    double best2 = DBL_MAX;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        oxGeom::MeshCoord c;
        if (c.project(t, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), p))
            best2 = std::min(best2, oxLinear::distance2(p, c.evaluate(mesh.getVerticesRaw(),
                                                                      mesh.getTrianglesRaw())));
    }
    return std::sqrt(best2);
}

/// Squared distance from p to the point of `coord` (DBL_MAX for an invalid coordinate).
inline double coordDistance2(const oxGeom::CompactMesh& mesh, const oxGeom::MeshCoord& coord,
                             const oxLinear::Point& p)
{
    if (!coord.valid())
        return DBL_MAX;
    return oxLinear::distance2(p, coord.evaluate(mesh.getVerticesRaw(), mesh.getTrianglesRaw()));
}

/// The three shapes the queries are checked on: 0 a sphere (closed, curved), 1 a random soup
/// (long crossing triangles), 2 a grid (flat, many exact ties).
inline oxGeom::CompactMesh checkedShape(int shape)
{
    return shape == 0   ? fixtures::icosphere(3, 2.0f)
           : shape == 1 ? fixtures::randomMesh(5u, 300, 400)
                        : fixtures::gridMesh(20, 15);
}

/// Where query points are drawn.
enum class QueryRegion
{
    inside,  ///< uniform in the mesh's bounding box
    near,    ///< a random surface point moved up to 1 % of the box diagonal in any direction
    far      ///< 1.5 to 4 box diagonals from the box centre, any direction
};

/// `count` seeded query points of one region around `mesh` (which must have triangles for
/// QueryRegion::near).
inline std::vector<oxLinear::Point> queryPoints(const oxGeom::CompactMesh& mesh, QueryRegion region,
                                                int count, std::uint32_t seed)
{
    oxGeom::BoundingBox box;
    oxGeom::meshBoundingBox(mesh, box);
    const double diagonal = box.diagonalLength();
    const oxLinear::Point lo(box[0], box[1], box[2]);
    const oxLinear::Point hi(box[3], box[4], box[5]);
    const oxLinear::Point centre = lo + (hi - lo) * 0.5;
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    auto direction = [&]
    {
        for (;;)
        {
            const oxLinear::Vector v(2 * unit(random) - 1, 2 * unit(random) - 1,
                                     2 * unit(random) - 1);
            const double length = std::sqrt(oxLinear::dot(v, v));
            if (length > 0.1 && length <= 1.0)
                return v / length;
        }
    };
    std::vector<oxLinear::Point> points;
    for (int i = 0; i < count; ++i)
    {
        if (region == QueryRegion::inside)
        {
            points.emplace_back(lo[0] + unit(random) * (hi[0] - lo[0]),
                                lo[1] + unit(random) * (hi[1] - lo[1]),
                                lo[2] + unit(random) * (hi[2] - lo[2]));
        }
        else if (region == QueryRegion::far)
        {
            points.push_back(centre + direction() * (diagonal * (1.5 + 2.5 * unit(random))));
        }
        else
        {
            const int t = int(unit(random) * mesh.getNumTriangles()) % mesh.getNumTriangles();
            double u = unit(random), v = unit(random);
            if (u + v > 1.0)
                u = 1.0 - u, v = 1.0 - v;
            const oxGeom::MeshCoord surface(t, 1.0 - u - v, u, v);
            const oxLinear::Point on =
                surface.evaluate(mesh.getVerticesRaw(), mesh.getTrianglesRaw());
            points.push_back(on + direction() * (0.01 * diagonal * unit(random)));
        }
    }
    return points;
}

/// `count` points of each region, inside first, then near, then far.
inline std::vector<oxLinear::Point> queryPointsEverywhere(const oxGeom::CompactMesh& mesh,
                                                          int count, std::uint32_t seed)
{
    std::vector<oxLinear::Point> points;
    for (QueryRegion region : {QueryRegion::inside, QueryRegion::near, QueryRegion::far})
    {
        const std::vector<oxLinear::Point> some = queryPoints(mesh, region, count, seed);
        points.insert(points.end(), some.begin(), some.end());
    }
    return points;
}
}  // namespace testsupport
