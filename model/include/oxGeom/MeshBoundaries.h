#pragma once
// The boundary loops of a mesh: the vertex lists of all loops concatenated in
// one array, with a start table, so a loop is a [begin, end) pointer range.

#include <vector>

#include "ox/Reference.h"

namespace oxGeom
{
/// Boundary loops, each a run of vertex indices in walk order.
///
/// Polymorphic and reference-counted: the mesh cache holds it by ox::Reference.
/// Thread safety: const members may be called from any number of threads;
/// the builders need exclusive access.
class MeshBoundaries : public ox::RefCounted
{
public:
    /// No loops.
    MeshBoundaries() = default;
    ~MeshBoundaries() override = default;

    /// Number of loops.
    int size() const { return static_cast<int>(m_starts.size()) - 1; }
    /// Number of vertex entries of loop i; 0 for an out-of-range i.
    int getLength(int i) const
    {
        return inRange(i) ? m_starts[index(i) + 1] - m_starts[index(i)] : 0;
    }
    /// Pointers bounding loop i's vertex indices: [getStart(i), getEnd(i)).
    /// Both null for an out-of-range i.
    const int* getStart(int i) const
    {
        return inRange(i) ? m_vertices.data() + m_starts[index(i)] : nullptr;
    }
    const int* getEnd(int i) const
    {
        return inRange(i) ? m_vertices.data() + m_starts[index(i) + 1] : nullptr;
    }
    /// Total number of vertex entries over all loops.
    int getTotalLength() const { return static_cast<int>(m_vertices.size()); }

    /// Appends a loop of `length` vertex indices copied from `vertices`.
    /// A null `vertices` or length <= 0 adds nothing. O(length).
    void addLoop(const int* vertices, int length);

    /// Replaces all loops: `lengths[i]` is the length of loop i and `vertices`
    /// holds the loops concatenated in the same order. On success takes over
    /// `vertices` and leaves both arguments empty. Returns false, leaving the
    /// arguments untouched and this object with no loops, when a length is
    /// negative or the lengths do not add up to vertices.size().
    /// O(number of loops).
    bool assign(std::vector<int>& lengths, std::vector<int>& vertices);

    /// Removes every loop.
    void clear();

    /// Exchanges the loops in O(1); reference counts are not exchanged.
    void swap(MeshBoundaries& other) noexcept;

private:
    bool inRange(int i) const { return static_cast<unsigned>(i) < static_cast<unsigned>(size()); }
    static std::size_t index(int i) { return static_cast<std::size_t>(i); }

    std::vector<int> m_vertices;
    std::vector<int> m_starts = std::vector<int>(1, 0);  // size() + 1 entries, first 0
};
}  // namespace oxGeom
