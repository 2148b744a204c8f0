#pragma once
// A point on a triangle mesh as a triangle index and barycentric weights, and
// the exact nearest-point projection of a 3-D point onto one triangle.

#include "oxLinear/Point.h"

namespace oxGeom
{
/// A surface coordinate: `triangle` (-1 = none) and the barycentric
/// `weights` of its three corners, in the triangle's corner order, so the point
/// is weights[0] * A + weights[1] * B + weights[2] * C.
///
/// A plain value; thread safety is that of a struct of numbers.
struct MeshCoord
{
    int triangle = -1;
    double weights[3] = {0.0, 0.0, 0.0};

    /// The invalid coordinate: triangle -1, weights 0.
    MeshCoord() = default;
    MeshCoord(int tri, double w0, double w1, double w2) : triangle(tri), weights{w0, w1, w2} {}

    /// True when the coordinate names a triangle (triangle >= 0).
    bool valid() const { return triangle >= 0; }
    /// Makes the coordinate invalid (triangle -1, weights 0).
    void invalidate() { *this = MeshCoord(); }

    /// Sets this coordinate to the point of triangle `tri` nearest to `p`.
    /// Inputs: `vertices`, packed x, y, z floats per vertex; `triangles`, packed
    /// vertex index triples; `tri`, the triangle to project on; the point `p`.
    /// Output: `triangle` = tri and weights >= 0 summing to 1 (up to rounding);
    /// the point lies on the triangle's boundary when p is outside its prism.
    /// The computation is exact region-based closest point in double precision
    /// (vertex, edge and face regions), so no nearer point of the triangle exists.
    /// Preconditions: tri and its three vertex indices address the arrays.
    /// Degenerate: returns false and leaves the coordinate invalid when tri < 0,
    /// an array is null, or the triangle has no area: twice its area
    /// |AB x AC| is at most oxLinear::epsilonTol times its longest edge squared
    /// (the triangle's height is below 1e-10 of its length, or it has no extent).
    /// Thread safety: writes only this object. Cost O(1).
    bool project(int tri, const float* vertices, const int* triangles, const oxLinear::Point& p);

    /// The 3-D point of this coordinate, computed in double precision.
    /// Inputs as for project. Degenerate: an invalid coordinate or a null array
    /// gives the origin. Thread safety: reads only. Cost O(1).
    oxLinear::Point evaluate(const float* vertices, const int* triangles) const;
};
}  // namespace oxGeom
