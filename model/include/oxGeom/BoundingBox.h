#pragma once
// An axis-aligned box in single precision, the bound that octree nodes, mesh
// and triangle boxes share. Six floats: minimum x, y, z, then maximum x, y, z.

#include "oxLinear/AffineMatrix.h"
#include "oxLinear/Point.h"
#include "oxLinear/Range.h"

namespace oxGeom
{
/// A closed box [min, max] held as `float m_box[6]` = {min x, min y, min z,
/// max x, max y, max z}, so that box[axis] is a minimum and box[axis + 3] a
/// maximum; octree code indexes the six values directly.
///
/// The empty (invalid) box has every minimum at +3.4028235e38 (the largest
/// float) and every maximum at -3.4028235e38. Extending it by a point or box
/// gives exactly that point or box. Every operation that would leave a minimum
/// above its maximum (a shrinking margin, a NaN) yields this canonical empty
/// box instead.
///
/// Double inputs (Range3d, double arrays, Point, double matrices) are rounded
/// outwards to floats (minimum down, maximum up, clamped to the float range),
/// so the float box always holds the double box it came from.
///
/// A plain value: concurrent use of distinct or const boxes is safe. Every
/// operation is O(1).
class BoundingBox
{
public:
    /// The empty box.
    BoundingBox() { setInvalid(); }
    /// From {min x, min y, min z, max x, max y, max z} in doubles.
    explicit BoundingBox(const double box[6]);
    /// The cube [point - margin, point + margin]. A negative margin gives the
    /// empty box.
    BoundingBox(const float point[3], float margin);

    /// Takes a double range; an empty range gives the empty box.
    BoundingBox& operator=(const oxLinear::Range3d& range);

    /// Value i (0..5, clamped): 0..2 minimum x, y, z; 3..5 maximum x, y, z.
    float& operator[](int i) { return m_box[clamp(i)]; }
    const float& operator[](int i) const { return m_box[clamp(i)]; }
    /// The six values.
    float* data() { return m_box; }
    const float* data() const { return m_box; }

    /// Makes the box empty.
    void setInvalid();
    /// Makes the box the single point (0, 0, 0), a valid box.
    void zero();
    /// True when minimum <= maximum on all three axes (false for NaN values).
    bool isValid() const;

    /// Grows the box to hold `box`; an empty `box` changes nothing.
    void extend(const BoundingBox& box);
    /// Grows the box to hold the point (NaN coordinates are ignored per axis).
    void extend(const oxLinear::PointFlt& point);
    /// The same for a point given as three floats.
    void extend(const float point[3]);
    /// The same for a double point (rounded outwards).
    void extend(const oxLinear::Point& point);
    /// Moves every face outwards by `margin` (inwards when negative; the box
    /// becomes empty if a side would turn inside out). An empty box stays empty.
    void extend(float margin);
    /// Grows the shorter sides symmetrically about their centre to the length
    /// of the longest side. An empty box stays empty.
    void extendToCube();

    /// Replaces the box by the smallest box holding its eight corners
    /// transformed by m (p' = p * m), computed in double and rounded outwards.
    /// An empty box stays empty.
    void transform(const oxLinear::AffineMatrix& m);
    /// The same with a single-precision matrix (widened to double first).
    void transform(const oxLinear::AffineMatrixFlt& m);

    /// True when `box` lies inside this closed box (touching faces count).
    /// An empty `box` is inside every valid box; an empty box contains nothing.
    bool contains(const BoundingBox& box) const;
    /// True when the point lies inside this closed box.
    bool contains(const oxLinear::PointFlt& point) const;
    /// True when the two closed boxes share a point (touching counts); false
    /// when either is empty.
    bool intersects(const BoundingBox& box) const;
    /// As intersects, on the x and y axes only.
    bool intersects2D(const BoundingBox& box) const;

    /// Squared distance from the point to the box (0 inside or on it).
    /// An empty box gives 3.4028235e38.
    float distance2(const oxLinear::PointFlt& point) const;
    /// Distance from the point to the box; an empty box gives 3.4028235e38.
    float distance(const oxLinear::PointFlt& point) const;
    /// Length of the diagonal; 0 for an empty box.
    float diagonalLength() const;

    /// Writes corner i to `out`: bit 0 of i picks max x (else min x), bit 1
    /// max y, bit 2 max z; higher bits are ignored (i & 7).
    void getPoint(int i, float out[3]) const;
    /// The minimum and maximum corners.
    oxLinear::PointFlt minPt() const { return oxLinear::PointFlt(m_box[0], m_box[1], m_box[2]); }
    oxLinear::PointFlt maxPt() const { return oxLinear::PointFlt(m_box[3], m_box[4], m_box[5]); }

    /// Exact comparison of the six values.
    bool operator==(const BoundingBox& other) const;
    bool operator!=(const BoundingBox& other) const { return !(*this == other); }

    float m_box[6];

private:
    static int clamp(int i) { return i < 0 ? 0 : (i > 5 ? 5 : i); }
    /// Makes the box canonical-empty when a side is inside out (or NaN).
    void normalizeEmpty();
    /// True when the closed intervals of the first `axes` axes overlap.
    bool overlapsOnAxes(const BoundingBox& box, int axes) const;
};
}  // namespace oxGeom
