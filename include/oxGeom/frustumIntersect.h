#pragma once
// Tests of points, segments and placed meshes against a view volume given as a
// Frustum (eight corners and six outward planes).

#include <oxGeom/CompactMesh.h>
#include <oxGeom/Frustum.h>
#include <oxLinear/AffineMatrix.h>
#include <oxLinear/Point.h>

namespace oxGeom
{
/// Whether a point lies in a view volume.
///
/// Inputs: the point `p` and the frustum `f`.
/// Output: false when `p` is above one of the six planes by more than oxLinear::epsilonTol
/// (planes tested in order, stopping at the first), true otherwise; points on a face count as
/// inside. A plane with a zero normal (a collapsed face) rejects nothing.
/// Thread safety: pure. Cost: at most six plane distances.
bool pointFrustumIntersect(const oxLinear::Point& p, const Frustum& f);

/// Whether a placed mesh may be visible in a view volume.
///
/// Inputs: the placement `m`, the mesh and the frustum `f`.
/// Output: the box-frustum test (oxGeom::intersects) of the mesh's vertex bounding box
/// transformed by `m`. Conservative like that test: false means certainly outside, true may
/// include boxes just outside near an edge of the volume.
/// Empty input: a mesh without vertices has the empty box and gives false.
/// Thread safety: the box is computed on the shared pool (meshBoundingBox, which prints its
/// timing line); the mesh must not change meanwhile. Cost: O(vertices).
bool intersectBoxFrustum(const oxLinear::AffineMatrix& m, const CompactMesh& mesh,
                         const Frustum& f);

/// Whether the segment a-b meets a view volume, and where.
///
/// Inputs: the end points `a`, `b` and the frustum `f`.
/// Output: the result and, when true, `hit` (left unchanged when false).
/// Rules, in order:
/// 1. When both ends lie above the same plane (by more than oxLinear::epsilonTol, as in
///    pointFrustumIntersect) the result is false, without further tests.
/// 2. When either end is inside (above none of the planes), `hit` = a and true, also when
///    only b is inside: callers use the first end as the segment's representative point.
/// 3. Otherwise the ray from a towards b is cast against the twelve triangles of the volume's
///    six faces in a fixed order (near face, the side faces 0-1-5-4, 3-0-4-7, 1-2-6-5,
///    2-3-7-6, far face) with intersectRayTriangle on the corners rounded to float; the
///    first triangle hit at a parameter 0 <= t <= |b - a| gives hit = a + t (b - a)/|b - a|
///    and true. This is a crossing point, not necessarily the one nearest to a.
///    No such triangle gives false.
/// Degenerate: a = b, both outside, gives false.
/// Thread safety: reads the process-wide back-face cull distance; otherwise pure.
/// Cost: at most 12 plane distances and 12 triangle tests.
bool lineFrustumIntersect(const oxLinear::PointFlt& a, const oxLinear::PointFlt& b,
                          const Frustum& f, oxLinear::PointFlt& hit);

/// The same without reporting the point.
bool lineFrustumIntersect(const oxLinear::PointFlt& a, const oxLinear::PointFlt& b,
                          const Frustum& f);
}  // namespace oxGeom
