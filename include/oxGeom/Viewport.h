#pragma once
// A window on the screen (origin, size and depth range) and the transforms
// between normalised device coordinates and window coordinates, including the
// pick transform that magnifies a small rectangle of the window to fill the view.

#include <oxLinear/AffineMatrix.h>
#include <oxLinear/ProjMatrix.h>
#include <oxLinear/Range.h>

namespace oxGeom
{
/// A screen window: origin (x, y), size (width, height) and a depth range.
///
/// Defaults: origin (0, 0), size (1, 1), depth range (0, 1). Setters store what they are
/// given, unchecked; a zero width or height makes the inverse transforms and the aspect ratio
/// non-finite.
///
/// The depth range is stored and compared but the view transforms do not use it: they always
/// map normalised depth [-1, 1] to [0, 1]. Hosts rely on that fixed depth mapping, so it is
/// kept even for a viewport with another depth range.
///
/// A plain value with copy assignment. Concurrent use of distinct or const viewports is safe.
/// Every operation is O(1).
class Viewport
{
public:
    /// The default viewport (see the class comment).
    Viewport();

    void setOrigin(double x, double y)
    {
        m_x = x;
        m_y = y;
    }
    void setSize(double width, double height)
    {
        m_width = width;
        m_height = height;
    }
    void setDepthRange(double nearDepth, double farDepth)
    {
        m_nearDepth = nearDepth;
        m_farDepth = farDepth;
    }
    void getOrigin(double& x, double& y) const
    {
        x = m_x;
        y = m_y;
    }
    void getSize(double& width, double& height) const
    {
        width = m_width;
        height = m_height;
    }
    void getDepthRange(double& nearDepth, double& farDepth) const
    {
        nearDepth = m_nearDepth;
        farDepth = m_farDepth;
    }
    /// width / height.
    double getAspectRatio() const { return m_width / m_height; }

    /// Output: `m`, the transform (p' = p m) from normalised device coordinates ([-1, 1] per
    /// axis) to the window: x' = x + (ndc.x + 1) w/2, y' = y + (ndc.y + 1) h/2, and, in the
    /// 3-D forms, depth' = (ndc.z + 1) / 2. Every element is written; the projective form has
    /// last column (0, 0, 0, 1).
    void getViewTransform(oxLinear::AffineMatrix& m) const;
    void getViewTransform(oxLinear::AffineMatrix2& m) const;
    void getViewTransform(oxLinear::ProjMatrix& m) const;

    /// Output: `m`, the inverse of getViewTransform in the same form: scale 2/w, 2/h (and 2
    /// for depth), translation -(x + w/2) 2/w, -(y + h/2) 2/h (and -1 for depth).
    void getInverseViewTransform(oxLinear::AffineMatrix& m) const;
    void getInverseViewTransform(oxLinear::AffineMatrix2& m) const;
    void getInverseViewTransform(oxLinear::ProjMatrix& m) const;

    /// Input: `pick`, a rectangle in window coordinates. Output: `m`, the transform that,
    /// applied after the projection (in normalised device coordinates), magnifies the pick
    /// rectangle to fill [-1, 1] on x and y; depth is untouched. With c the rectangle's
    /// midpoint and s its size: scale w sx, h sy and translation (w - 2(c.x - x)) sx,
    /// (h - 2(c.y - y)) sy, where sx = 1/s.x, sy = 1/s.y.
    /// Degenerate: a side of size 0 (also an empty rectangle, whose size and midpoint are 0)
    /// uses 1 for that axis's sx or sy instead of dividing by zero.
    void getPickTransform(const oxLinear::Range2d& pick, oxLinear::AffineMatrix& m) const;

    /// Equal within tolerances: all six values differ by less than oxLinear::epsilonTol.
    bool operator==(const Viewport& other) const;
    bool operator!=(const Viewport& other) const { return !(*this == other); }

private:
    double m_x;
    double m_y;
    double m_width;
    double m_height;
    double m_nearDepth;
    double m_farDepth;
};
}  // namespace oxGeom
