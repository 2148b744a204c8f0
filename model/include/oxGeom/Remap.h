#pragma once
// An index map from a domain of n elements to a range of m elements: the
// old-to-new numbering that welding and deletion hand to the listeners of a mesh.

#include <vector>

#include "ox/Reference.h"

namespace oxGeom
{
class BitVector;

/// Maps each domain index 0 .. getDomainSize()-1 to a range index, or to -1
/// for an element that has no image (a deleted element, or one not yet set).
///
/// The range size is bookkeeping the owner keeps consistent (for example the
/// number of vertices after a weld); the map itself does not check that images
/// lie below it. Reference-counted so that an editing operation and the
/// listeners it notifies can share one map through ox::Reference.
///
/// Thread safety: const members may be called from any number of threads;
/// writes need exclusive access.
class Remap : public ox::RefCounted
{
public:
    /// The empty map (domain and range size 0).
    Remap() = default;
    /// A map of `domainSize` elements onto `rangeSize`; every image starts as -1
    /// (unmapped). Negative sizes are taken as 0. Cost O(domainSize).
    Remap(int domainSize, int rangeSize);

    Remap(const Remap&) = default;
    Remap& operator=(const Remap&) = default;

    /// Sets both sizes. Images below min(old, new) domain size are kept; new
    /// entries are -1. Negative sizes are taken as 0. Cost O(domainSize).
    void resize(int domainSize, int rangeSize);

    /// Makes `j` the image of `i`; ignored when i is outside the domain. O(1).
    void set(int i, int j)
    {
        if (inDomain(i))
            m_map[static_cast<std::size_t>(i)] = j;
    }

    /// The image of `i`; -1 when i is outside the domain. O(1).
    int operator()(int i) const { return inDomain(i) ? m_map[static_cast<std::size_t>(i)] : -1; }

    /// Replaces each of `values[0 .. count)` by its image, in place. Values
    /// outside the domain become -1; null `values` or count <= 0 do nothing.
    /// Cost O(count).
    void operator()(int* values, int count) const;

    /// Builds the compacting map that drops the elements whose bit is set in
    /// `deleted`: kept elements are numbered 0, 1, 2 ... in ascending order and
    /// deleted ones map to -1; the range size becomes the number kept.
    /// The domain size stays as it is, and elements beyond deleted.size() count
    /// as kept, so a selection shorter than the domain never drops data it does
    /// not mention. An empty-domain map first takes deleted.size() as its domain.
    /// Cost O(domain size).
    void setDeleteMap(const BitVector& deleted);

    /// The identity: every i maps to i and the range size equals the domain size.
    void setSequential();

    /// True when every element maps to itself.
    bool isSequential() const;

    int getDomainSize() const { return static_cast<int>(m_map.size()); }
    int getRangeSize() const { return m_rangeSize; }
    /// Sets the range size only (for builders that count the new elements as
    /// they assign them); the images are untouched.
    void setRangeSize(int rangeSize) { m_rangeSize = rangeSize < 0 ? 0 : rangeSize; }

    /// The images, getDomainSize() ints; null for an empty domain.
    int* getData() { return m_map.empty() ? nullptr : m_map.data(); }
    const int* getData() const { return m_map.empty() ? nullptr : m_map.data(); }

    /// Exchanges the contents with `other` in O(1) (the reference counts stay).
    void swap(Remap& other) noexcept;

private:
    bool inDomain(int i) const
    {
        return static_cast<unsigned>(i) < static_cast<unsigned>(m_map.size());
    }

    std::vector<int> m_map;
    int m_rangeSize = 0;
};
}  // namespace oxGeom
