// BoundingBox: a float box with a canonical empty state (min +FLT_MAX, max
// -FLT_MAX), so extending an empty box needs no special case. Double inputs are
// rounded outwards so the float box never loses a point of the double one; the
// box transform uses the per-axis min/max of the matrix terms instead of eight
// corner products. Based on: Arvo, "Transforming Axis-Aligned Bounding Boxes",
// Graphics Gems (1990).

#include "oxGeom/BoundingBox.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace oxGeom
{
namespace
{
// Nearest float at or below x (at or above for roundUp), clamped to the
// finite float range; NaN stays NaN.
float roundDown(double x)
{
    if (!(x > -static_cast<double>(FLT_MAX)))
        return std::isnan(x) ? static_cast<float>(x) : -FLT_MAX;
    if (x >= static_cast<double>(FLT_MAX))
        return FLT_MAX;
    const float f = static_cast<float>(x);
    return static_cast<double>(f) > x ? std::nextafter(f, -FLT_MAX) : f;
}

float roundUp(double x)
{
    return -roundDown(-x);
}

// The box of a double box: min values rounded down, max values up.
void setFromDoubles(float box[6], const double values[6])
{
    for (int axis = 0; axis < 3; ++axis)
    {
        box[axis] = roundDown(values[axis]);
        box[axis + 3] = roundUp(values[axis + 3]);
    }
}

float toFloatClamped(double x)
{
    return x > FLT_MAX ? FLT_MAX : static_cast<float>(x);
}
}  // namespace

BoundingBox::BoundingBox(const double box[6])
{
    setFromDoubles(m_box, box);
    normalizeEmpty();
}

BoundingBox::BoundingBox(const float point[3], float margin)
{
    for (int axis = 0; axis < 3; ++axis)
    {
        m_box[axis] = point[axis];
        m_box[axis + 3] = point[axis];
    }
    normalizeEmpty();
    extend(margin);
}

BoundingBox& BoundingBox::operator=(const oxLinear::Range3d& range)
{
    if (range.isEmpty())
    {
        setInvalid();
        return *this;
    }
    const double values[6] = {range.min()[0], range.min()[1], range.min()[2],
                              range.max()[0], range.max()[1], range.max()[2]};
    setFromDoubles(m_box, values);
    normalizeEmpty();
    return *this;
}

void BoundingBox::setInvalid()
{
    for (int axis = 0; axis < 3; ++axis)
    {
        m_box[axis] = FLT_MAX;
        m_box[axis + 3] = -FLT_MAX;
    }
}

void BoundingBox::zero()
{
    std::fill(m_box, m_box + 6, 0.0f);
}

bool BoundingBox::isValid() const
{
    return m_box[0] <= m_box[3] && m_box[1] <= m_box[4] && m_box[2] <= m_box[5];
}

void BoundingBox::normalizeEmpty()
{
    if (!isValid())
        setInvalid();
}

void BoundingBox::extend(const BoundingBox& box)
{
    if (!box.isValid())
        return;
    for (int axis = 0; axis < 3; ++axis)
    {
        m_box[axis] = std::min(m_box[axis], box.m_box[axis]);
        m_box[axis + 3] = std::max(m_box[axis + 3], box.m_box[axis + 3]);
    }
}

void BoundingBox::extend(const float point[3])
{
    // Strict comparisons: a NaN coordinate never enters the box.
    for (int axis = 0; axis < 3; ++axis)
    {
        if (point[axis] < m_box[axis])
            m_box[axis] = point[axis];
        if (point[axis] > m_box[axis + 3])
            m_box[axis + 3] = point[axis];
    }
}

void BoundingBox::extend(const oxLinear::PointFlt& point)
{
    extend(point.data());
}

void BoundingBox::extend(const oxLinear::Point& point)
{
    for (int axis = 0; axis < 3; ++axis)
    {
        const float low = roundDown(point[axis]);
        const float high = roundUp(point[axis]);
        if (low < m_box[axis])
            m_box[axis] = low;
        if (high > m_box[axis + 3])
            m_box[axis + 3] = high;
    }
}

void BoundingBox::extend(float margin)
{
    if (!isValid())
        return;
    for (int axis = 0; axis < 3; ++axis)
    {
        m_box[axis] -= margin;
        m_box[axis + 3] += margin;
    }
    normalizeEmpty();
}

void BoundingBox::extendToCube()
{
    if (!isValid())
        return;
    const float side = std::max({m_box[3] - m_box[0], m_box[4] - m_box[1], m_box[5] - m_box[2]});
    for (int axis = 0; axis < 3; ++axis)
    {
        // Centre and half side in double, and the old faces kept as bounds, so
        // rounding can never cut the original box.
        const double centre = 0.5 * (static_cast<double>(m_box[axis]) + m_box[axis + 3]);
        const double half = 0.5 * static_cast<double>(side);
        m_box[axis] = std::min(m_box[axis], roundDown(centre - half));
        m_box[axis + 3] = std::max(m_box[axis + 3], roundUp(centre + half));
    }
}

void BoundingBox::transform(const oxLinear::AffineMatrix& m)
{
    if (!isValid())
        return;
    double result[6];
    for (int column = 0; column < 3; ++column)
    {
        double low = m[3][column];
        double high = m[3][column];
        for (int row = 0; row < 3; ++row)
        {
            const double a = m[row][column] * static_cast<double>(m_box[row]);
            const double b = m[row][column] * static_cast<double>(m_box[row + 3]);
            low += std::min(a, b);
            high += std::max(a, b);
        }
        result[column] = low;
        result[column + 3] = high;
    }
    setFromDoubles(m_box, result);
    normalizeEmpty();
}

void BoundingBox::transform(const oxLinear::AffineMatrixFlt& m)
{
    transform(oxLinear::AffineMatrix(m));
}

bool BoundingBox::contains(const BoundingBox& box) const
{
    if (!isValid())
        return false;
    if (!box.isValid())
        return true;
    for (int axis = 0; axis < 3; ++axis)
        if (box.m_box[axis] < m_box[axis] || box.m_box[axis + 3] > m_box[axis + 3])
            return false;
    return true;
}

bool BoundingBox::contains(const oxLinear::PointFlt& point) const
{
    for (int axis = 0; axis < 3; ++axis)
        if (!(point[axis] >= m_box[axis] && point[axis] <= m_box[axis + 3]))
            return false;
    return true;
}

bool BoundingBox::intersects(const BoundingBox& box) const
{
    return isValid() && box.isValid() && overlapsOnAxes(box, 3);
}

bool BoundingBox::intersects2D(const BoundingBox& box) const
{
    const bool bothValid2D = m_box[0] <= m_box[3] && m_box[1] <= m_box[4] &&
                             box.m_box[0] <= box.m_box[3] && box.m_box[1] <= box.m_box[4];
    return bothValid2D && overlapsOnAxes(box, 2);
}

bool BoundingBox::overlapsOnAxes(const BoundingBox& box, int axes) const
{
    for (int axis = 0; axis < axes; ++axis)
        if (m_box[axis] > box.m_box[axis + 3] || box.m_box[axis] > m_box[axis + 3])
            return false;
    return true;
}

float BoundingBox::distance2(const oxLinear::PointFlt& point) const
{
    if (!isValid())
        return FLT_MAX;
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double p = point[axis];
        const double below = static_cast<double>(m_box[axis]) - p;
        const double above = p - static_cast<double>(m_box[axis + 3]);
        const double gap = std::max({below, above, 0.0});
        sum += gap * gap;
    }
    return toFloatClamped(sum);
}

float BoundingBox::distance(const oxLinear::PointFlt& point) const
{
    const float d2 = distance2(point);
    return d2 == FLT_MAX ? FLT_MAX : std::sqrt(d2);
}

float BoundingBox::diagonalLength() const
{
    if (!isValid())
        return 0.0f;
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double side = static_cast<double>(m_box[axis + 3]) - m_box[axis];
        sum += side * side;
    }
    return toFloatClamped(std::sqrt(sum));
}

void BoundingBox::getPoint(int i, float out[3]) const
{
    for (int axis = 0; axis < 3; ++axis)
        out[axis] = ((i >> axis) & 1) ? m_box[axis + 3] : m_box[axis];
}

bool BoundingBox::operator==(const BoundingBox& other) const
{
    return std::equal(m_box, m_box + 6, other.m_box);
}
}  // namespace oxGeom
