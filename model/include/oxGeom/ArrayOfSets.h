#pragma once
// A compressed array of integer sets: one flat member array and an offset table,
// so that a relation such as vertex -> triangles costs two allocations in all.

#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace oxGeom
{
namespace detail
{
/// The standard allocator, except that growing a vector default-initialises the
/// new elements: for ints that means they are left unwritten, so a builder that
/// writes every entry itself does not pay for a zero fill first.
template <class T>
struct DefaultInitAllocator : std::allocator<T>
{
    template <class U>
    struct rebind
    {
        using other = DefaultInitAllocator<U>;
    };
    DefaultInitAllocator() = default;
    template <class U>
    DefaultInitAllocator(const DefaultInitAllocator<U>&) noexcept
    {
    }
    template <class U>
    void construct(U* p) noexcept
    {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... Args>
    void construct(U* p, Args&&... args)
    {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};
}  // namespace detail

/// `getNumSets()` sets of ints, set s being the run
/// `getData()[getOffsets()[s] .. getOffsets()[s + 1])`.
///
/// Storage: the offset table has getNumSets() + 1 ascending entries starting at
/// 0; the data array has getTotalSize() entries. Members keep the order in which
/// they were added; a set may hold a value more than once.
///
/// Thread safety: const members may be called from any number of threads;
/// writes need exclusive access.
class ArrayOfSets
{
public:
    /// No sets.
    ArrayOfSets() = default;
    /// `numSets` empty sets and a zeroed data array of `totalSize` ints, for a
    /// builder that fills getOffsets() (ascending, last entry = totalSize) and
    /// getData() itself. Negative sizes are taken as 0. Cost O(numSets + totalSize).
    ArrayOfSets(int numSets, int totalSize);

    /// Tag of the constructor for builders that write every entry themselves.
    struct Unfilled
    {
    };
    /// Like ArrayOfSets(numSets, totalSize), but both arrays are left unwritten:
    /// the builder must write all getNumSets() + 1 offsets and every member before
    /// the sets are read, compared or copied. Large arrays are then first touched
    /// by the builder's own writes (possibly from several threads), not by a
    /// zero fill. Cost O(1) besides the allocation.
    ArrayOfSets(int numSets, int totalSize, Unfilled);

    ArrayOfSets(const ArrayOfSets&) = default;
    ArrayOfSets(ArrayOfSets&&) noexcept = default;
    ArrayOfSets& operator=(const ArrayOfSets&) = default;
    ArrayOfSets& operator=(ArrayOfSets&&) noexcept = default;

    /// Rebuilds the sets from `numPairs` (set, member) pairs lying as consecutive
    /// ints in `pairs` (2 * numPairs of them): set s holds, in the order of the
    /// pairs, every member paired with s. Pairs whose set lies outside
    /// 0 .. numSets-1 are skipped. A null `pairs` or numPairs <= 0 gives
    /// numSets empty sets. Stable two-pass counting sort, O(numSets + numPairs).
    void assignFromPairs(int numSets, int numPairs, const int* pairs);

    /// Transposes the relation `other` (which may be this object): the result has `numSets` sets,
    /// set s holding every i, ascending, such that s is a member of other's set i (i twice when s
    /// occurs twice there). Members of `other` outside 0 .. numSets-1 are skipped. Cost O(numSets +
    /// other's total size).
    void assignInverse(int numSets, const ArrayOfSets& other);

    int getNumSets() const
    {
        return m_offsets.empty() ? 0 : static_cast<int>(m_offsets.size()) - 1;
    }
    /// Total number of members over all sets.
    int getTotalSize() const { return static_cast<int>(m_data.size()); }
    /// Size of set i; 0 when i is out of range.
    int getSetSize(int i) const
    {
        return inRange(i) ? m_offsets[index(i) + 1] - m_offsets[index(i)] : 0;
    }
    /// Pointer to the first member of set i (getSetSize(i) members follow);
    /// null when i is out of range.
    const int* getSet(int i) const
    {
        return inRange(i) ? m_data.data() + m_offsets[index(i)] : nullptr;
    }
    int* getSet(int i) { return inRange(i) ? m_data.data() + m_offsets[index(i)] : nullptr; }

    /// The offset table (getNumSets() + 1 ints; null while there are no sets)
    /// and the member array.
    int* getOffsets() { return m_offsets.empty() ? nullptr : m_offsets.data(); }
    const int* getOffsets() const { return m_offsets.empty() ? nullptr : m_offsets.data(); }
    int* getData() { return m_data.data(); }
    const int* getData() const { return m_data.data(); }

    /// Exchanges the contents with `other` in O(1).
    void swap(ArrayOfSets& other) noexcept;

    bool operator==(const ArrayOfSets& other) const
    {
        return m_offsets == other.m_offsets && m_data == other.m_data;
    }
    bool operator!=(const ArrayOfSets& other) const { return !(*this == other); }

private:
    bool inRange(int i) const
    {
        return static_cast<unsigned>(i) < static_cast<unsigned>(getNumSets());
    }
    static std::size_t index(int i) { return static_cast<std::size_t>(i); }

    // Empty while there are no sets (a moved-from object is then still valid);
    // otherwise numSets + 1 entries.
    using IntArray = std::vector<int, detail::DefaultInitAllocator<int>>;
    IntArray m_offsets;
    IntArray m_data;
};

inline void swap(ArrayOfSets& a, ArrayOfSets& b) noexcept
{
    a.swap(b);
}
}  // namespace oxGeom
