// An eye-space view volume, its projection matrix and the closed-form inverse.
// The inverse is written out element by element rather than computed by a
// general 4x4 inversion: it is exact to rounding and costs a handful of divides.

#include <oxGeom/EyeSpaceFrustum.h>

#include <oxLinear/Tolerance.h>

#include <cmath>

namespace oxGeom
{
namespace
{
bool within(double a, double b)
{
    return std::fabs(a - b) < oxLinear::epsilonTol;
}
}  // namespace

EyeSpaceFrustum::EyeSpaceFrustum()
    : m_left(-1.0),
      m_right(1.0),
      m_top(1.0),
      m_bottom(-1.0),
      m_nearDist(1.0),
      m_farDist(100.0),
      m_orthographic(false)
{
}

void EyeSpaceFrustum::setFrame(const oxLinear::Tuple2& a, const oxLinear::Tuple2& b)
{
    m_left = a[0];
    m_bottom = a[1];
    m_right = b[0];
    m_top = b[1];
}

void EyeSpaceFrustum::getFrame(oxLinear::Tuple2& a, oxLinear::Tuple2& b) const
{
    a = oxLinear::Tuple2(m_left, m_bottom);
    b = oxLinear::Tuple2(m_right, m_top);
}

double EyeSpaceFrustum::getAspectRatio() const
{
    return (m_right - m_left) / (m_top - m_bottom);
}

double EyeSpaceFrustum::getHeightAtDepth(double depth) const
{
    const double height = m_top - m_bottom;
    return m_orthographic ? height : height * depth / m_nearDist;
}

void EyeSpaceFrustum::getMatrix(oxLinear::ProjMatrix& m, bool infiniteFar) const
{
    const double l = m_left, r = m_right, t = m_top, b = m_bottom;
    const double n = m_nearDist, f = m_farDist;
    m = oxLinear::ProjMatrix(0.0);
    if (m_orthographic)
    {
        m[0][0] = 2.0 / (r - l);
        m[1][1] = 2.0 / (t - b);
        m[2][2] = -2.0 / (f - n);
        m[3][0] = -(r + l) / (r - l);
        m[3][1] = -(t + b) / (t - b);
        m[3][2] = -(f + n) / (f - n);
        m[3][3] = 1.0;
        return;
    }
    m[0][0] = 2.0 * n / (r - l);
    m[1][1] = 2.0 * n / (t - b);
    m[2][0] = (l + r) / (r - l);
    m[2][1] = (b + t) / (t - b);
    m[2][3] = -1.0;
    if (infiniteFar)
    {
        const double e = oxLinear::epsilonTolFlt;
        m[2][2] = e - 1.0;
        m[3][2] = (e - 2.0) * n;
    }
    else
    {
        m[2][2] = (n + f) / (n - f);
        m[3][2] = 2.0 * n * f / (n - f);
    }
}

void EyeSpaceFrustum::getInverseMatrix(oxLinear::ProjMatrix& m) const
{
    const double l = m_left, r = m_right, t = m_top, b = m_bottom;
    const double n = m_nearDist, f = m_farDist;
    m = oxLinear::ProjMatrix(0.0);
    if (m_orthographic)
    {
        m[0][0] = (r - l) / 2.0;
        m[1][1] = (t - b) / 2.0;
        m[2][2] = -(f - n) / 2.0;
        m[3][0] = (l + r) / 2.0;
        m[3][1] = (b + t) / 2.0;
        m[3][2] = -(n + f) / 2.0;
        m[3][3] = 1.0;
        return;
    }
    m[0][0] = (r - l) / (2.0 * n);
    m[1][1] = (t - b) / (2.0 * n);
    m[2][3] = -(f - n) / (2.0 * f * n);
    m[3][0] = (l + r) / (2.0 * n);
    m[3][1] = (b + t) / (2.0 * n);
    m[3][2] = -1.0;
    m[3][3] = (f + n) / (2.0 * f * n);
}

void EyeSpaceFrustum::getAngleAspect(AngleAspect& lens) const
{
    oxLinear::ProjMatrix m;
    getMatrix(m, false);
    lens.setAngleOfViewRad(getVerticalAngleRadians(m));
    lens.setAspectRatio(getAspectRatio());
    lens.setDepthRange(m_nearDist, m_farDist);
}

void EyeSpaceFrustum::getPlaneAtDepth(double depth, oxLinear::ParamPlane& plane) const
{
    double width = m_right - m_left;
    double height = m_top - m_bottom;
    if (!m_orthographic)
    {
        height = getHeightAtDepth(depth);
        width = getWidthForHeight(height);
    }
    plane = oxLinear::ParamPlane(oxLinear::Point(0.0, 0.0, -depth), oxLinear::Vector(1.0, 0.0, 0.0),
                                 oxLinear::Vector(0.0, 1.0, 0.0), width / 2.0, height / 2.0);
}

void EyeSpaceFrustum::setDepthRange(double nearDist, double farDist, bool keepAngle)
{
    if (keepAngle && !m_orthographic)
    {
        AngleAspect lens;
        getAngleAspect(lens);
        lens.setDepthRange(nearDist, farDist);
        lens.getEyeSpaceFrustum(*this);
    }
    m_nearDist = nearDist;
    m_farDist = farDist;
}

void EyeSpaceFrustum::setOrthographic(bool orthographic, double depth)
{
    if (orthographic == m_orthographic)
        return;
    oxLinear::ParamPlane plane;
    getPlaneAtDepth(depth, plane);
    double hw = plane.halfWidth();
    double hh = plane.halfHeight();
    if (m_orthographic)
    {
        // The near window that shows the orthographic box's size at `depth`.
        hw *= m_nearDist / depth;
        hh *= m_nearDist / depth;
    }
    setFrame(oxLinear::Tuple2(-hw, -hh), oxLinear::Tuple2(hw, hh));
    m_orthographic = orthographic;
}

bool EyeSpaceFrustum::operator==(const EyeSpaceFrustum& other) const
{
    return m_orthographic == other.m_orthographic && within(m_left, other.m_left) &&
           within(m_right, other.m_right) && within(m_top, other.m_top) &&
           within(m_bottom, other.m_bottom) && within(m_nearDist, other.m_nearDist) &&
           within(m_farDist, other.m_farDist);
}

void EyeSpaceFrustum::debugPrint(oxOS::DebugChannel& channel, const char* name) const
{
    if (!channel.enabled())
        return;
    channel.print("%s frustum is\n", name ? name : "unnamed");
    channel.print("  top %.12f\n", m_top);
    channel.print("  bot %.12f\n", m_bottom);
    channel.print("  lef %.12f\n", m_left);
    channel.print("  rig %.12f\n", m_right);
    channel.print("  nea %.12f\n", m_nearDist);
    channel.print("  far %.12f\n", m_farDist);
}
}  // namespace oxGeom
