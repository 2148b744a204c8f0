#pragma once
// A general eye-space view volume: the window edges at the near plane (or the
// sides of the box when orthographic), the depth range and the projection
// mode, with its projection matrix, the closed-form inverse and the
// conversions to and from a symmetric lens. The eye looks down -Z.

#include <oxGeom/AngleAspect.h>
#include <oxLinear/Plane.h>
#include <oxLinear/Point2.h>
#include <oxLinear/ProjMatrix.h>
#include <oxOS/DebugChannel.h>

namespace oxGeom
{
/// An eye-space view volume. All values are doubles.
///
/// Fields, with defaults: left -1, right 1, top 1, bottom -1 (the window at the near plane in
/// perspective mode, the sides of the box in orthographic mode); near 1, far 100 (positive
/// distances in front of the eye); perspective (orthographic false). Setters store what they
/// are given, unchecked: a zero-width or zero-height frame, or near = 0 in perspective mode,
/// makes the matrices and ratios non-finite.
///
/// A plain value with copy assignment. Concurrent use of distinct or const frusta is safe.
/// Every operation is O(1).
class EyeSpaceFrustum
{
public:
    /// The default volume (see the class comment).
    EyeSpaceFrustum();

    /// Sets the projection mode only; the frame and depth range are left as they are.
    void setOrthographic(bool orthographic) { m_orthographic = orthographic; }
    bool getOrthographic() const { return m_orthographic; }
    double getNearDist() const { return m_nearDist; }
    double getFarDist() const { return m_farDist; }

    /// Sets the window: `a` = (left, bottom), `b` = (right, top).
    void setFrame(const oxLinear::Tuple2& a, const oxLinear::Tuple2& b);
    /// Outputs the window the same way: `a` = (left, bottom), `b` = (right, top).
    void getFrame(oxLinear::Tuple2& a, oxLinear::Tuple2& b) const;

    /// (right - left) / (top - bottom).
    double getAspectRatio() const;
    /// Height of the visible window at distance `depth`: top - bottom when orthographic (the
    /// depth is ignored), otherwise (top - bottom) depth / near.
    double getHeightAtDepth(double depth) const;
    /// getAspectRatio() * height.
    double getWidthForHeight(double height) const { return getAspectRatio() * height; }

    /// Output: `m`, the projection from eye space to clip space (row vectors, p' = p m), every
    /// element written, with l, r, t, b, n, f the frame and depth range and e =
    /// oxLinear::epsilonTolFlt:
    /// orthographic (`infiniteFar` ignored): m00 = 2/(r-l), m11 = 2/(t-b), m22 = -2/(f-n),
    ///   m30 = -(r+l)/(r-l), m31 = -(t+b)/(t-b), m32 = -(f+n)/(f-n), m33 = 1;
    /// perspective: m00 = 2n/(r-l), m11 = 2n/(t-b), m20 = (l+r)/(r-l), m21 = (b+t)/(t-b),
    ///   m23 = -1, and m22 = e-1, m32 = (e-2)n with `infiniteFar`, otherwise m22 = (n+f)/(n-f),
    ///   m32 = 2nf/(n-f); all else 0.
    void getMatrix(oxLinear::ProjMatrix& m, bool infiniteFar) const;

    /// Output: `m`, the inverse of getMatrix(m, false) in closed form (no general inversion,
    /// so no pivoting error), every element written.
    void getInverseMatrix(oxLinear::ProjMatrix& m) const;

    /// Output: `lens`, replaced: angle getVerticalAngleRadians of the finite matrix, aspect
    /// getAspectRatio(), the same depth range. An off-centre frame loses its offset; an
    /// orthographic volume gives the angle 2 atan((top - bottom) / 2).
    void getAngleAspect(AngleAspect& lens) const;

    /// Output: `plane`, the eye-space plane z = -depth with origin (0, 0, -depth) on the view
    /// axis, u = +X, v = +Y, and as half extents half the visible window there: the frame's
    /// width and height when orthographic, otherwise getHeightAtDepth(depth) and its
    /// getWidthForHeight.
    void getPlaneAtDepth(double depth, oxLinear::ParamPlane& plane) const;

    /// Sets the depth range to (nearDist, farDist). With `keepAngle` on a perspective volume
    /// the angle of view and aspect ratio are kept: the frame is rebuilt symmetric about the
    /// view axis at the new near distance (an off-centre frame loses its offset). Otherwise
    /// the frame is left as it is.
    void setDepthRange(double nearDist, double farDist, bool keepAngle);

    /// Switches the projection mode so that the view at distance `depth` keeps its size: the
    /// frame becomes the symmetric window of the current mode's plane at that depth (scaled
    /// by near / depth when going from orthographic to perspective). Nothing changes when
    /// `orthographic` equals the current mode. Precondition: depth > 0 (0 gives an infinite
    /// frame going to perspective).
    void setOrthographic(bool orthographic, double depth);

    /// Equal within tolerances: the same mode and all six doubles differ by less than
    /// oxLinear::epsilonTol.
    bool operator==(const EyeSpaceFrustum& other) const;
    bool operator!=(const EyeSpaceFrustum& other) const { return !(*this == other); }

    /// Prints the volume to `channel`, only when the channel is enabled: "<name> frustum is"
    /// ("unnamed frustum is" for a null `name`), then "  top", "  bot", "  lef", "  rig",
    /// "  nea", "  far", each followed by its value as "%.12f".
    /// Thread safety: as DebugChannel::print.
    void debugPrint(oxOS::DebugChannel& channel, const char* name) const;

private:
    double m_left;
    double m_right;
    double m_top;
    double m_bottom;
    double m_nearDist;
    double m_farDist;
    bool m_orthographic;
};
}  // namespace oxGeom
