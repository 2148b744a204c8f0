#pragma once
// A symmetric perspective camera lens: vertical angle of view, aspect ratio and
// depth range, with its projection matrix and its conversion to a general
// eye-space view volume. The eye sits at the origin looking down -Z.

#include <oxLinear/ProjMatrix.h>
#include <oxOS/DebugChannel.h>

namespace oxGeom
{
class EyeSpaceFrustum;

/// A symmetric perspective lens. All values are doubles; angles are radians.
///
/// Defaults: angle of view 55 degrees (as radians), aspect ratio (width / height) 1.0, near
/// distance 1.0, far distance 100.0. The setters store what they are given, unchecked.
///
/// A plain value with copy assignment. Concurrent use of distinct or const lenses is safe.
/// Every operation is O(1).
class AngleAspect
{
public:
    /// The default lens (see the class comment).
    AngleAspect();

    /// Vertical angle of view in radians.
    void setAngleOfViewRad(double angle) { m_angleOfView = angle; }
    /// Width / height of the view.
    void setAspectRatio(double aspect) { m_aspectRatio = aspect; }
    /// Positive distances of the near and far planes in front of the eye.
    void setDepthRange(double nearDist, double farDist)
    {
        m_nearDist = nearDist;
        m_farDist = farDist;
    }
    double getAngleOfViewRad() const { return m_angleOfView; }
    double getAspectRatio() const { return m_aspectRatio; }
    double getNearDist() const { return m_nearDist; }
    double getFarDist() const { return m_farDist; }

    /// Height of the visible window at distance `depth` from the eye: 2 tan(aov / 2) depth.
    double getHeightAtDepth(double depth) const;
    /// Width of a window of the given height at this lens's aspect ratio: aspect * height.
    double getWidthForHeight(double height) const { return m_aspectRatio * height; }

    /// Output: `m`, the projection from eye space to clip space (row vectors, p' = p m),
    /// every element written. With g = 1 / tan(aov / 2): m00 = g / aspect, m11 = g, m23 = -1;
    /// with `infiniteFar` m22 = e - 1 and m32 = (e - 2) near, e = oxLinear::epsilonTolFlt (the
    /// far plane pushed to infinity with a sliver of depth precision kept), otherwise
    /// m22 = (near + far) / (near - far) and m32 = 2 near far / (near - far); all else 0.
    /// Degenerate: an angle of 0 or aspect 0, or near = far, gives non-finite elements.
    void getMatrix(oxLinear::ProjMatrix& m, bool infiniteFar) const;

    /// Output: `frustum`, replaced by the perspective volume of this lens: near window
    /// (-w, -h) .. (w, h) with h = tan(aov / 2) near and w = aspect h, same depth range.
    void getEyeSpaceFrustum(EyeSpaceFrustum& frustum) const;

    /// Equal within tolerances: the angles differ by less than oxLinear::degreeTol degrees,
    /// the aspect ratios, near and far distances each by less than oxLinear::epsilonTol.
    bool operator==(const AngleAspect& other) const;
    bool operator!=(const AngleAspect& other) const { return !(*this == other); }

    /// Prints the lens to `channel`, only when the channel is enabled:
    /// "<name> AngleAspect is", "<name> lens is", then "  aov", "  asp", "  nea", "  far", each
    /// followed by its value as "%.12f". A null `name` prints as "unnamed" in both header lines.
    /// Thread safety: as DebugChannel::print.
    void debugPrint(oxOS::DebugChannel& channel, const char* name) const;

private:
    double m_angleOfView;
    double m_aspectRatio;
    double m_nearDist;
    double m_farDist;
};

/// The vertical angle of view, in radians, of a projection matrix: 2 atan(1 / m11).
/// Input: a perspective matrix as AngleAspect or EyeSpaceFrustum build it (for an asymmetric
/// frame, the angle of a symmetric frame of the same height). Degenerate: m11 = 0 gives pi.
/// Pure; O(1).
double getVerticalAngleRadians(const oxLinear::ProjMatrix& m);
}  // namespace oxGeom
