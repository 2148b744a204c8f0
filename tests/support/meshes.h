#pragma once
// Named test meshes shared by the whole suite: small hand-built meshes whose
// counts and shapes are known exactly, plus seeded families (grids, spheres,
// random soups) for comparing algorithms with brute force.

#include <oxGeom/CompactMesh.h>

#include <cstdint>

namespace fixtures
{
/// No vertices, no triangles.
oxGeom::CompactMesh emptyMesh();

/// The unit square in the z = 0 plane as two triangles, both facing +z.
///
///   3 ----- 2      (0,1) ---- (1,1)
///   |     / |
///   |   /   |      triangles (0 1 2), (0 2 3)
///   | /     |
///   0 ----- 1      (0,0) ---- (1,0)
oxGeom::CompactMesh unitSquare();

/// A regular grid of nx by ny unit quads in the z = 0 plane, covering
/// [0, nx] x [0, ny]; each quad split along its (i, j)-(i+1, j+1) diagonal,
/// all triangles facing +z. Vertex (i, j) has index j * (nx + 1) + i.
/// (nx + 1)(ny + 1) vertices, 2 nx ny triangles; nx or ny below 1 gives an
/// empty mesh.
///
///   (0,ny) .... (nx,ny)
///     | /| /|
///     |/ |/ |      quad (i, j): (a, b, c), (a, c, d) with
///     +--+--+      a = (i, j), b = (i+1, j), c = (i+1, j+1), d = (i, j+1)
///   (0,0) ..... (nx,0)
oxGeom::CompactMesh gridMesh(int nx, int ny);

/// A closed tetrahedron, triangles wound counter-clockwise seen from outside.
///
///        3 (0,0,1)
///       /|\            vertices 0 (0,0,0), 1 (1,0,0), 2 (0,1,0), 3 (0,0,1)
///      / | \           triangles (0 2 1) bottom, (0 1 3), (1 2 3), (2 0 3)
///     0--|--1
///      \ | /
///        2 (0,1,0)
oxGeom::CompactMesh tetrahedron();

/// The closed unit cube [0, 1]^3: 8 vertices, 12 triangles wound
/// counter-clockwise seen from outside. Vertex i has x = i & 1, y = (i >> 1) & 1,
/// z = (i >> 2) & 1.
///
///       6 ------ 7
///      /|       /|
///     4 ------ 5 |      z up, y into the page
///     | 2 -----|-3
///     |/       |/
///     0 ------ 1
oxGeom::CompactMesh cube();

/// A sphere of `radius` about the origin: the icosahedron with each triangle
/// split into four `subdivisions` times, new vertices pushed onto the sphere.
/// Closed, genus 0, outward winding: 10 * 4^s + 2 vertices, 20 * 4^s triangles.
/// Negative subdivisions are taken as 0.
///
///      /\           /\       each level splits every triangle
///     /  \   ->    /__\      into four through its edge
///    /____\      /\  /\     midpoints (shared with the
///                /__\/__\    neighbour across the edge)
oxGeom::CompactMesh icosphere(int subdivisions, float radius);

/// A seeded triangle soup: `numVertices` positions uniform in [0, 1)^3 and
/// `numTriangles` triangles of three distinct random vertices. The numbers
/// come from a fixed generator and a fixed mapping, so a seed gives the same
/// mesh on every platform. Fewer than 3 vertices give no triangles.
///
///    .  *   .     * positions scattered in the unit cube,
///      *  . *     triangles joining random triples
oxGeom::CompactMesh randomMesh(std::uint32_t seed, int numVertices, int numTriangles);

/// Three triangles sharing the edge 0-1: a non-manifold edge.
///
///        2   3   4        vertices 0 (0,0,0), 1 (1,0,0), 2 (0.5,1,0),
///         \  |  /         3 (0.5,0,1), 4 (0.5,-1,0)
///          0---1          triangles (0 1 2), (1 0 3), (0 1 4)
oxGeom::CompactMesh nonManifoldEdge();

/// Degenerate triangles over 4 vertices: a proper triangle, a copy of it, a
/// zero-area triangle of three collinear vertices and one repeating a vertex.
///
///   2                    vertices 0 (0,0,0), 1 (1,0,0), 2 (0,1,0), 3 (2,0,0)
///   |\                   triangles (0 1 2), (0 1 2), (0 1 3) collinear,
///   0--1--3              (0 0 2) repeated index
oxGeom::CompactMesh degenerateMesh();

/// True when every triangle, strip, fan, line and line-strip index lies in
/// [0, getNumVertices()).
bool indicesInRange(const oxGeom::CompactMesh& mesh);
}  // namespace fixtures
