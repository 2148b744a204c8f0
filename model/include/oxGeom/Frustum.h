#pragma once
// A view volume given by its eight corners, with the six bounding planes derived
// from them, and the conservative box test that octree walks use to cull nodes.

#include "oxGeom/BoundingBox.h"
#include "oxLinear/Line.h"
#include "oxLinear/Plane.h"
#include "oxLinear/Point.h"

namespace oxGeom
{
/// A convex hexahedron: eight corner points (doubles) followed by its six
/// planes with outward normals.
///
/// Corner order: 0-3 go round one end face (the near face), 4-7 round the
/// other (the far face) in the same sense, and 0-4, 1-5, 2-6, 3-7 are joined by
/// the side edges.
///
///        7 ------- 6
///       /|        /|      near face 0 1 2 3, far face 4 5 6 7
///      3 ------- 2 |      side faces 0 1 5 4, 1 2 6 5,
///      | 4 ------|-5                 2 3 7 6, 3 0 4 7
///      |/        |/
///      0 ------- 1
///
/// Plane order: 0 near face, 1 far face, then the side faces 0-1-5-4,
/// 1-2-6-5, 2-3-7-6 and 3-0-4-7. A point above a plane (positive signed
/// distance) is outside.
///
/// A plain value; O(1) operations; concurrent use of distinct or const
/// frusta is safe.
class Frustum
{
public:
    /// The cube [-1, 1]^3 (the normalised device volume): near face at z = -1,
    /// far face at z = +1, so getVector() is +z.
    Frustum();
    /// From eight corners in the order above. Each plane passes through the
    /// centroid of its face with the face's Newell normal, turned to point
    /// away from the centroid of all eight corners.
    /// Precondition: the faces are planar and the volume convex (true of every
    /// perspective or orthographic view volume).
    /// Degenerate: a face collapsed to a point or line (such as the near face
    /// of a pyramid with its apex at the eye) gets a zero normal; its plane then
    /// has no outside, and culling against it never rejects anything.
    explicit Frustum(const oxLinear::Point corners[8]);

    /// Corner i (0..7; out-of-range indices are clamped).
    const oxLinear::Point& getCorner(int i) const { return m_corners[clamp(i, 8)]; }
    /// Plane i (0..5; out-of-range indices are clamped).
    const oxLinear::Plane& getPlane(int i) const { return m_planes[clamp(i, 6)]; }

    /// The view direction: from the centre of the near face (corners 0-3) to
    /// the centre of the far face (4-7), normalised. (0, 0, 0) when the two
    /// centres coincide.
    oxLinear::Vector getVector() const;
    /// The picking line: from the near-face centre along getVector().
    oxLinear::Line getRay() const;

private:
    static int clamp(int i, int count) { return i < 0 ? 0 : (i >= count ? count - 1 : i); }
    void derivePlanes();

    oxLinear::Point m_corners[8];
    oxLinear::Plane m_planes[6];
};

/// Conservative box-frustum overlap test, in double precision.
///
/// Stage 1: per axis, counts the frustum corners below the box's minimum and
/// above its maximum; when all eight lie beyond the same face the box is
/// outside. Counting stops as soon as one corner lies within the box on all
/// three axes. Stage 2: for each plane, the box is outside when all eight of
/// its corners (bit 0 max x, bit 1 max y, bit 2 max z) are strictly above it.
/// Otherwise the box meets the frustum.
///
/// Inputs: a box and a frustum. Output: false only when the box is certainly
/// outside (touching counts as meeting); some boxes just outside near an edge
/// of the frustum are accepted. An empty box gives false. Thread-safe; O(1).
bool intersects(const BoundingBox& box, const Frustum& frustum);
}  // namespace oxGeom
