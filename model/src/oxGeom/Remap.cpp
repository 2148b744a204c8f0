// Remap: an old-to-new index table. Unset entries hold -1 so that a lookup of an
// element nobody mapped reads as "deleted" instead of aliasing element 0, and
// every lookup checks its bound so a stale index cannot read past the table.

#include "oxGeom/Remap.h"

#include <algorithm>
#include <utility>

#include "oxGeom/BitVector.h"

namespace oxGeom
{
Remap::Remap(int domainSize, int rangeSize)
{
    resize(domainSize, rangeSize);
}

void Remap::resize(int domainSize, int rangeSize)
{
    m_map.resize(static_cast<std::size_t>(std::max(domainSize, 0)), -1);
    setRangeSize(rangeSize);
}

void Remap::operator()(int* values, int count) const
{
    if (!values)
        return;
    for (int k = 0; k < count; ++k)
        values[k] = (*this)(values[k]);
}

void Remap::setDeleteMap(const BitVector& deleted)
{
    if (m_map.empty())
        m_map.resize(static_cast<std::size_t>(deleted.size()));
    int next = 0;
    const int n = getDomainSize();
    for (int i = 0; i < n; ++i)
        m_map[static_cast<std::size_t>(i)] = deleted.isBitSet(i) ? -1 : next++;
    m_rangeSize = next;
}

void Remap::setSequential()
{
    for (std::size_t i = 0; i < m_map.size(); ++i)
        m_map[i] = static_cast<int>(i);
    m_rangeSize = getDomainSize();
}

bool Remap::isSequential() const
{
    for (std::size_t i = 0; i < m_map.size(); ++i)
        if (m_map[i] != static_cast<int>(i))
            return false;
    return true;
}

void Remap::swap(Remap& other) noexcept
{
    m_map.swap(other.m_map);
    std::swap(m_rangeSize, other.m_rangeSize);
}
}  // namespace oxGeom
