#pragma once
// oxUtil::Ordering: the order of n items as a permutation of their indices.
// Algorithms sort index arrays rather than the items themselves, so that one
// order can be applied to several parallel arrays and inverted into a remap.

#include <algorithm>
#include <numeric>

#include "ox/containers.h"

namespace oxUtil
{
/// A sequence of indices 0..n-1 in some order: element k is the index of the
/// k-th item. A new Ordering of n is the identity.
/// Thread safety: a value type; one thread at a time per object.
class Ordering
{
public:
    Ordering() = default;
    /// The identity order of n items (n <= 0: empty).
    explicit Ordering(int n) { setIdentity(n); }

    /// Resets to the identity order of n items (n <= 0: empty).
    void setIdentity(int n);

    /// Builds the order of the indices 0..n-1 sorted by `less(a, b)`, a strict
    /// weak order over item indices. The sort is stable: items comparing equal
    /// keep ascending index order, so the result is fully determined.
    /// n <= 0 gives the empty order. Cost: O(n log n) comparisons.
    template <class Less>
    void sort(int n, Less less)
    {
        setIdentity(n);
        std::stable_sort(m_indices.begin(), m_indices.end(), less);
    }
    /// sort(size(), less): reorders the current number of items from scratch.
    template <class Less>
    void sort(Less less)
    {
        sort(size(), less);
    }

    int size() const { return static_cast<int>(m_indices.size()); }
    bool empty() const { return m_indices.empty(); }
    /// The index at position k; -1 when k is outside 0..size()-1.
    int operator[](int k) const
    {
        return (k >= 0 && k < size()) ? m_indices[static_cast<std::size_t>(k)] : -1;
    }
    const int* data() const { return m_indices.data(); }
    ox::vector<int>::const_iterator begin() const { return m_indices.begin(); }
    ox::vector<int>::const_iterator end() const { return m_indices.end(); }
    const ox::vector<int>& indices() const { return m_indices; }

    /// Outputs `positions` (size()) with positions[ordering[k]] = k: where each
    /// item landed. Cost: O(n).
    void invert(ox::vector<int>& positions) const;

private:
    ox::vector<int> m_indices;
};
}  // namespace oxUtil
