// A symmetric perspective lens and its projection matrix. The lens is the
// camera description a user edits (one angle, one ratio); everything else in
// the view model is derived from it through EyeSpaceFrustum.

#include <oxGeom/AngleAspect.h>

#include <oxGeom/EyeSpaceFrustum.h>
#include <oxLinear/Angle.h>
#include <oxLinear/Tolerance.h>

#include <cmath>

namespace oxGeom
{
namespace
{
// Constant-initialised before any code runs, so a lens built during another
// unit's static initialisation still gets the right default.
constexpr double defaultAngleOfViewRad = oxLinear::toRadians(55.0);

// The angle slack of operator==, converted from degrees once.
constexpr double angleTolRad = oxLinear::toRadians(oxLinear::degreeTol);

bool within(double a, double b, double tol)
{
    return std::fabs(a - b) < tol;
}
}  // namespace

AngleAspect::AngleAspect()
    : m_angleOfView(defaultAngleOfViewRad), m_aspectRatio(1.0), m_nearDist(1.0), m_farDist(100.0)
{
}

double AngleAspect::getHeightAtDepth(double depth) const
{
    return 2.0 * std::tan(m_angleOfView / 2.0) * depth;
}

void AngleAspect::getMatrix(oxLinear::ProjMatrix& m, bool infiniteFar) const
{
    m = oxLinear::ProjMatrix(0.0);
    const double g = 1.0 / std::tan(m_angleOfView / 2.0);
    m[0][0] = g / m_aspectRatio;
    m[1][1] = g;
    m[2][3] = -1.0;
    if (infiniteFar)
    {
        const double e = oxLinear::epsilonTolFlt;
        m[2][2] = e - 1.0;
        m[3][2] = (e - 2.0) * m_nearDist;
    }
    else
    {
        m[2][2] = (m_nearDist + m_farDist) / (m_nearDist - m_farDist);
        m[3][2] = 2.0 * m_nearDist * m_farDist / (m_nearDist - m_farDist);
    }
}

void AngleAspect::getEyeSpaceFrustum(EyeSpaceFrustum& frustum) const
{
    const double h = std::tan(m_angleOfView / 2.0) * m_nearDist;
    const double w = m_aspectRatio * h;
    frustum.setOrthographic(false);
    frustum.setDepthRange(m_nearDist, m_farDist, false);
    frustum.setFrame(oxLinear::Tuple2(-w, -h), oxLinear::Tuple2(w, h));
}

bool AngleAspect::operator==(const AngleAspect& other) const
{
    return within(m_angleOfView, other.m_angleOfView, angleTolRad) &&
           within(m_aspectRatio, other.m_aspectRatio, oxLinear::epsilonTol) &&
           within(m_nearDist, other.m_nearDist, oxLinear::epsilonTol) &&
           within(m_farDist, other.m_farDist, oxLinear::epsilonTol);
}

void AngleAspect::debugPrint(oxOS::DebugChannel& channel, const char* name) const
{
    if (!channel.enabled())
        return;
    // A null name would reach printf's %s; print the same word the first line uses.
    const char* shown = name ? name : "unnamed";
    channel.print("%s AngleAspect is\n", shown);
    channel.print("%s lens is\n", shown);
    channel.print("  aov %.12f\n", m_angleOfView);
    channel.print("  asp %.12f\n", m_aspectRatio);
    channel.print("  nea %.12f\n", m_nearDist);
    channel.print("  far %.12f\n", m_farDist);
}

double getVerticalAngleRadians(const oxLinear::ProjMatrix& m)
{
    return 2.0 * std::atan(1.0 / m[1][1]);
}
}  // namespace oxGeom
