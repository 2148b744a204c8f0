// Window transforms of a screen viewport. The three forms of each transform
// (3-D affine, 2-D affine, projective) are built from the same four numbers,
// the half size and the window centre, so they agree exactly.

#include <oxGeom/Viewport.h>

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

// 1 / size, or 1 for a side of size 0 or less (a click with no extent).
double pickScale(double size)
{
    return size > 0.0 ? 1.0 / size : 1.0;
}
}  // namespace

Viewport::Viewport()
    : m_x(0.0), m_y(0.0), m_width(1.0), m_height(1.0), m_nearDepth(0.0), m_farDepth(1.0)
{
}

void Viewport::getViewTransform(oxLinear::AffineMatrix& m) const
{
    m = oxLinear::AffineMatrix(1.0);
    m[0][0] = m_width / 2.0;
    m[1][1] = m_height / 2.0;
    m[2][2] = 0.5;
    m.setTranslation(oxLinear::Vector(m_x + m_width / 2.0, m_y + m_height / 2.0, 0.5));
}

void Viewport::getViewTransform(oxLinear::AffineMatrix2& m) const
{
    m = oxLinear::AffineMatrix2(1.0);
    m[0][0] = m_width / 2.0;
    m[1][1] = m_height / 2.0;
    m[2][0] = m_x + m_width / 2.0;
    m[2][1] = m_y + m_height / 2.0;
}

void Viewport::getViewTransform(oxLinear::ProjMatrix& m) const
{
    m = oxLinear::ProjMatrix(1.0);
    m[0][0] = m_width / 2.0;
    m[1][1] = m_height / 2.0;
    m[2][2] = 0.5;
    m[3][0] = m_x + m_width / 2.0;
    m[3][1] = m_y + m_height / 2.0;
    m[3][2] = 0.5;
}

void Viewport::getInverseViewTransform(oxLinear::AffineMatrix& m) const
{
    m = oxLinear::AffineMatrix(1.0);
    m[0][0] = 2.0 / m_width;
    m[1][1] = 2.0 / m_height;
    m[2][2] = 2.0;
    m.setTranslation(oxLinear::Vector(-(m_x + m_width / 2.0) * 2.0 / m_width,
                                      -(m_y + m_height / 2.0) * 2.0 / m_height, -1.0));
}

void Viewport::getInverseViewTransform(oxLinear::AffineMatrix2& m) const
{
    m = oxLinear::AffineMatrix2(1.0);
    m[0][0] = 2.0 / m_width;
    m[1][1] = 2.0 / m_height;
    m[2][0] = -(m_x + m_width / 2.0) * 2.0 / m_width;
    m[2][1] = -(m_y + m_height / 2.0) * 2.0 / m_height;
}

void Viewport::getInverseViewTransform(oxLinear::ProjMatrix& m) const
{
    m = oxLinear::ProjMatrix(1.0);
    m[0][0] = 2.0 / m_width;
    m[1][1] = 2.0 / m_height;
    m[2][2] = 2.0;
    m[3][0] = -(m_x + m_width / 2.0) * 2.0 / m_width;
    m[3][1] = -(m_y + m_height / 2.0) * 2.0 / m_height;
    m[3][2] = -1.0;
}

void Viewport::getPickTransform(const oxLinear::Range2d& pick, oxLinear::AffineMatrix& m) const
{
    const oxLinear::Point2 c = pick.center();
    const oxLinear::Tuple2 s = pick.size();
    const double sx = pickScale(s[0]);
    const double sy = pickScale(s[1]);
    m = oxLinear::AffineMatrix(1.0);
    m[0][0] = m_width * sx;
    m[1][1] = m_height * sy;
    m[3][0] = (m_width - 2.0 * (c[0] - m_x)) * sx;
    m[3][1] = (m_height - 2.0 * (c[1] - m_y)) * sy;
}

bool Viewport::operator==(const Viewport& other) const
{
    return within(m_x, other.m_x) && within(m_y, other.m_y) && within(m_width, other.m_width) &&
           within(m_height, other.m_height) && within(m_nearDepth, other.m_nearDepth) &&
           within(m_farDepth, other.m_farDepth);
}
}  // namespace oxGeom
