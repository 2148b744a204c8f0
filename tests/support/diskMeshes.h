#pragma once
// Meshes for cutting and flattening: open and closed surfaces of known topology (hemisphere,
// hemisphere with a hole round its pole, torus, voxel surfaces of any genus), and the measures
// that judge a flattening (UV orientation, angle distortion). Header-only, so the benchmark
// programs can use the same shapes.

#include <oxGeom/CompactMesh.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <vector>

namespace diskmeshes
{
constexpr double pi = 3.14159265358979323846;

inline oxGeom::CompactMesh meshFrom(const std::vector<float>& positions,
                                    const std::vector<int>& triangles)
{
    oxGeom::CompactMesh mesh;
    mesh.copyVertices(static_cast<int>(positions.size() / 3), positions.data());
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

/// The upper half of the sphere of `radius` about the origin, wound outwards: a pole vertex
/// and `rings` rings of `segments` vertices at polar angles (pi / 2) i / rings, the last one
/// on the equator (the boundary). With holeRings > 0 the pole and the triangles of the first
/// holeRings rings are left out, which opens a hole round the pole (an annulus; its outer
/// loop, the equator, is the longer one).
///
///        pole          segments + 2 segments (rings - 1) triangles without a hole
///       / | \ .
///      ring 1 ...      vertex 1 + (i - 1) segments + j is ring i, segment j
///      ring 2 ...
///    ===equator===
inline oxGeom::CompactMesh hemisphere(int rings, int segments, double radius = 1.0,
                                      int holeRings = 0)
{
    std::vector<float> p = {0.0f, 0.0f, static_cast<float>(radius)};
    for (int i = 1; i <= rings; ++i)
    {
        const double polar = 0.5 * pi * i / rings;
        for (int j = 0; j < segments; ++j)
        {
            const double a = 2.0 * pi * j / segments;
            p.push_back(static_cast<float>(radius * std::sin(polar) * std::cos(a)));
            p.push_back(static_cast<float>(radius * std::sin(polar) * std::sin(a)));
            p.push_back(static_cast<float>(radius * std::cos(polar)));
        }
    }
    auto at = [&](int ring, int j) { return 1 + (ring - 1) * segments + (j % segments); };
    std::vector<int> t;
    if (holeRings == 0)
        for (int j = 0; j < segments; ++j)
            t.insert(t.end(), {0, at(1, j), at(1, j + 1)});
    for (int i = std::max(1, holeRings); i < rings; ++i)
        for (int j = 0; j < segments; ++j)
        {
            const int a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
            t.insert(t.end(), {a, b, c, a, c, d});
        }
    oxGeom::CompactMesh mesh = meshFrom(p, t);
    if (holeRings > 0)
    {
        // Drop the pole and the rings above the hole, which no triangle uses any more.
        const int first = at(holeRings, 0);
        std::vector<float> kept(p.begin() + 3 * first, p.end());
        for (int& index : t)
            index -= first;
        mesh = meshFrom(kept, t);
    }
    return mesh;
}

/// The torus with tube radius r round the circle of radius R in the z = 0 plane, nu by nv
/// quads, wound outwards; closed, genus 1, nu nv vertices and 2 nu nv triangles.
inline oxGeom::CompactMesh torus(int nu, int nv, double R = 1.0, double r = 0.4)
{
    std::vector<float> p;
    for (int i = 0; i < nu; ++i)
        for (int j = 0; j < nv; ++j)
        {
            const double u = 2.0 * pi * i / nu, v = 2.0 * pi * j / nv;
            p.push_back(static_cast<float>((R + r * std::cos(v)) * std::cos(u)));
            p.push_back(static_cast<float>((R + r * std::cos(v)) * std::sin(u)));
            p.push_back(static_cast<float>(r * std::sin(v)));
        }
    std::vector<int> t;
    auto at = [&](int i, int j) { return (i % nu) * nv + (j % nv); };
    for (int i = 0; i < nu; ++i)
        for (int j = 0; j < nv; ++j)
        {
            const int a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
            t.insert(t.end(), {a, b, c, a, c, d});
        }
    return meshFrom(p, t);
}

/// The closed surface of a set of unit cubes: `filled` lists the cells (x, y, z); every cube
/// face between a filled cell and an empty one becomes k x k quads (two triangles each), wound
/// outwards, with shared lattice points welded. Cells must not touch only along an edge or at
/// a corner (the surface would not be a manifold there).
///
///   a 3 x 5 slab without cells (1, 1) and (1, 3) is a double torus:
///     ###
///     #.#     # filled, . empty
///     ###
///     #.#
///     ###
inline oxGeom::CompactMesh voxelSurface(const std::vector<std::array<int, 3>>& filled, int k)
{
    std::map<std::array<int, 3>, int> cells, points;
    for (const auto& c : filled)
        cells[c] = 1;
    std::vector<float> p;
    std::vector<int> t;
    auto point = [&](const std::array<int, 3>& q)
    {
        auto found = points.find(q);
        if (found != points.end())
            return found->second;
        const int index = static_cast<int>(points.size());
        points[q] = index;
        for (int a = 0; a < 3; ++a)
            p.push_back(static_cast<float>(q[a]) / k);
        return index;
    };
    for (const auto& c : filled)
        for (int axis = 0; axis < 3; ++axis)
            for (int side : {-1, 1})
            {
                std::array<int, 3> neighbour = c;
                neighbour[axis] += side;
                if (cells.count(neighbour))
                    continue;
                // e_b x e_c = e_axis, so (b, c) counter-clockwise faces +axis.
                const int b = (axis + 1) % 3, cAxis = (axis + 2) % 3;
                for (int i = 0; i < k; ++i)
                    for (int j = 0; j < k; ++j)
                    {
                        int corner[4];
                        const int du[4] = {0, 1, 1, 0}, dv[4] = {0, 0, 1, 1};
                        for (int m = 0; m < 4; ++m)
                        {
                            std::array<int, 3> q = {c[0] * k, c[1] * k, c[2] * k};
                            q[axis] += side > 0 ? k : 0;
                            q[b] += i + du[m];
                            q[cAxis] += j + dv[m];
                            corner[m] = point(q);
                        }
                        if (side > 0)
                            t.insert(t.end(), {corner[0], corner[1], corner[2], corner[0],
                                               corner[2], corner[3]});
                        else
                            t.insert(t.end(), {corner[0], corner[2], corner[1], corner[0],
                                               corner[3], corner[2]});
                    }
            }
    return meshFrom(p, t);
}

/// The double torus of the sketch above, each cube face split into k x k quads.
inline oxGeom::CompactMesh doubleTorus(int k)
{
    std::vector<std::array<int, 3>> filled;
    for (int x = 0; x < 3; ++x)
        for (int y = 0; y < 5; ++y)
            if (!(x == 1 && (y == 1 || y == 3)))
                filled.push_back({x, y, 0});
    return voxelSurface(filled, k);
}

/// Twice the signed area of triangle t in the UV channel.
inline double uvArea2(const oxGeom::CompactMesh& mesh, int t)
{
    const oxGeom::MeshUV* uv = mesh.getUVs();
    const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
    const double ax = uv[tri[0]][0], ay = uv[tri[0]][1];
    return (uv[tri[1]][0] - ax) * (uv[tri[2]][1] - ay) -
           (uv[tri[1]][1] - ay) * (uv[tri[2]][0] - ax);
}

/// How well a UV layout keeps the mesh's shape: triangles whose UV orientation differs from
/// the majority's (or that have no UV area), and the per-corner difference between the angle
/// in UV and in 3-D, in degrees.
struct LayoutQuality
{
    int flipped = 0;
    double meanAngleError = 0.0;
    double angleError95 = 0.0;
};

inline double cornerAngle(const double* a, const double* b, const double* c, int dim)
{
    double dot = 0.0, lb = 0.0, lc = 0.0;
    for (int k = 0; k < dim; ++k)
    {
        dot += (b[k] - a[k]) * (c[k] - a[k]);
        lb += (b[k] - a[k]) * (b[k] - a[k]);
        lc += (c[k] - a[k]) * (c[k] - a[k]);
    }
    const double cosine = dot / std::sqrt(lb * lc);
    return std::acos(std::max(-1.0, std::min(1.0, cosine))) * 180.0 / pi;
}

inline LayoutQuality layoutQuality(const oxGeom::CompactMesh& mesh)
{
    LayoutQuality quality;
    const int n = mesh.getNumTriangles();
    int positive = 0, negative = 0;
    for (int t = 0; t < n; ++t)
    {
        const double area = uvArea2(mesh, t);
        positive += area > 0.0;
        negative += area < 0.0;
    }
    quality.flipped = n - std::max(positive, negative);
    std::vector<double> errors;
    errors.reserve(3 * static_cast<size_t>(n));
    const oxGeom::MeshVertex* v = mesh.getVertices();
    const oxGeom::MeshUV* uv = mesh.getUVs();
    for (int t = 0; t < n; ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k)
        {
            const int a = tri[k], b = tri[(k + 1) % 3], c = tri[(k + 2) % 3];
            const double pa[3] = {v[a][0], v[a][1], v[a][2]}, pb[3] = {v[b][0], v[b][1], v[b][2]},
                         pc[3] = {v[c][0], v[c][1], v[c][2]};
            const double ua[2] = {uv[a][0], uv[a][1]}, ub[2] = {uv[b][0], uv[b][1]},
                         uc[2] = {uv[c][0], uv[c][1]};
            errors.push_back(std::fabs(cornerAngle(ua, ub, uc, 2) - cornerAngle(pa, pb, pc, 3)));
        }
    }
    if (errors.empty())
        return quality;
    double sum = 0.0;
    for (double e : errors)
        sum += e;
    quality.meanAngleError = sum / errors.size();
    std::nth_element(errors.begin(), errors.begin() + errors.size() * 95 / 100, errors.end());
    quality.angleError95 = errors[errors.size() * 95 / 100];
    return quality;
}
}  // namespace diskmeshes
