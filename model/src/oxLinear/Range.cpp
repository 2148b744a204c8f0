// Axis-aligned 2-D and 3-D ranges. The empty range is min = +DBL_MAX,
// max = -DBL_MAX, so extend needs no "first point" special case; every query
// checks emptiness first so that those sentinel values never leak into results.

#include "oxLinear/Range.h"

#include <algorithm>

namespace oxLinear
{
// ---- Range2d ------------------------------------------------------------------------------

void Range2d::extend(const Point2& p)
{
    for (int i = 0; i < 2; ++i)
    {
        m_min[i] = std::min(m_min[i], p[i]);
        m_max[i] = std::max(m_max[i], p[i]);
    }
}

void Range2d::extend(const Range2d& r)
{
    if (r.isEmpty())
        return;
    extend(r.m_min);
    extend(r.m_max);
}

bool Range2d::contains(const Point2& p) const
{
    return p[0] >= m_min[0] && p[0] <= m_max[0] && p[1] >= m_min[1] && p[1] <= m_max[1];
}

bool Range2d::contains(const Range2d& r) const
{
    if (isEmpty())
        return false;
    return r.isEmpty() || (contains(r.m_min) && contains(r.m_max));
}

bool Range2d::intersects(const Range2d& r) const
{
    if (isEmpty() || r.isEmpty())
        return false;
    return m_min[0] <= r.m_max[0] && r.m_min[0] <= m_max[0] && m_min[1] <= r.m_max[1] &&
           r.m_min[1] <= m_max[1];
}

Tuple2 Range2d::size() const
{
    return isEmpty() ? Tuple2() : m_max - m_min;
}

Point2 Range2d::center() const
{
    return isEmpty() ? Point2() : combine(0.5, m_min, 0.5, m_max);
}

// ---- Range3d ------------------------------------------------------------------------------

void Range3d::extend(const Point& p)
{
    for (int i = 0; i < 3; ++i)
    {
        m_min[i] = std::min(m_min[i], p[i]);
        m_max[i] = std::max(m_max[i], p[i]);
    }
}

void Range3d::extend(const Range3d& r)
{
    if (r.isEmpty())
        return;
    extend(r.m_min);
    extend(r.m_max);
}

bool Range3d::contains(const Point& p) const
{
    for (int i = 0; i < 3; ++i)
    {
        if (!(p[i] >= m_min[i] && p[i] <= m_max[i]))
            return false;
    }
    return true;
}

bool Range3d::contains(const Range3d& r) const
{
    if (isEmpty())
        return false;
    return r.isEmpty() || (contains(r.m_min) && contains(r.m_max));
}

bool Range3d::intersects(const Range3d& r) const
{
    if (isEmpty() || r.isEmpty())
        return false;
    for (int i = 0; i < 3; ++i)
    {
        if (m_min[i] > r.m_max[i] || r.m_min[i] > m_max[i])
            return false;
    }
    return true;
}

Vector Range3d::size() const
{
    return isEmpty() ? Vector() : m_max - m_min;
}

Point Range3d::center() const
{
    return isEmpty() ? Point() : combine(0.5, m_min, 0.5, m_max);
}

Point Range3d::corner(int i) const
{
    const int c = detail::clampIndex(i, 8);
    return Point((c & 1) ? m_max[0] : m_min[0], (c & 2) ? m_max[1] : m_min[1],
                 (c & 4) ? m_max[2] : m_min[2]);
}

double Range3d::distance2(const Point& p) const
{
    if (isEmpty())
        return DBL_MAX;
    double d2 = 0.0;
    for (int i = 0; i < 3; ++i)
    {
        const double below = m_min[i] - p[i], above = p[i] - m_max[i];
        const double d = std::max(0.0, std::max(below, above));
        d2 += d * d;
    }
    return d2;
}

Range3d Range3d::transformed(const AffineMatrix& m) const
{
    Range3d out;
    if (isEmpty())
        return out;
    for (int i = 0; i < 8; ++i)
        out.extend(corner(i) * m);
    return out;
}
}  // namespace oxLinear
