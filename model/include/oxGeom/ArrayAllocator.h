#pragma once
// The allocation hook of the mesh arrays. A host that accounts for its memory,
// or keeps meshes in its own arenas, gives a mesh an ArrayAllocator; every big
// array of that mesh (vertex attributes, triangles, strips, fans, lines) is then
// allocated and freed through it. MeshArray is the storage that honours the
// hook: a zero-initialised array of trivially copyable elements that remembers
// which allocator made its block, so a block is always freed by its maker.

#include <ox/Reference.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace oxGeom
{
/// Hook through which a mesh allocates its arrays.
/// Inputs: byte counts (> 0). Outputs: blocks aligned at least for any
/// fundamental type (as from ::operator new).
/// Preconditions: `free` receives exactly a pointer and byte count that an
/// earlier `allocate` of the same allocator returned and was asked for.
/// Failure: `allocate` throws (e.g. std::bad_alloc); it never returns null.
/// Thread safety: meshes on different threads may share one allocator, so an
/// implementation used that way must be thread safe.
/// Reference counted: every array holds a reference to the allocator of its
/// block, so an allocator lives until the last such block is freed.
class ArrayAllocator : public ox::RefCounted
{
public:
    /// Returns a block of `bytes` bytes (bytes > 0).
    virtual void* allocate(std::size_t bytes) = 0;
    /// Gives back a block that `allocate(bytes)` returned.
    virtual void free(void* block, std::size_t bytes) = 0;
};

/// A growable array of trivially copyable T whose block comes from an
/// ArrayAllocator (or from ::operator new when none is set).
///
/// Two states: absent (no block; data() is null) and present (a block of at
/// least one element, so data() is non-null even for size 0). This is how the
/// optional mesh arrays tell "absent" from "present but empty".
///
/// Every element is zero-initialised when it first comes into range, including
/// elements that come back into range after a shrink.
///
/// Copying is deep. A copy-constructed array uses the source's allocator; an
/// assigned array keeps its own allocator. swap exchanges blocks together with
/// their allocators.
///
/// Thread safety: as for std::vector (const access from any number of
/// threads, writes need exclusive access).
/// Cost: resize is amortised O(growth): capacity grows by at least half.
template <class T>
class MeshArray
{
    static_assert(std::is_trivially_copyable<T>::value, "mesh arrays hold plain values");

public:
    /// An absent array that will allocate through `allocator` (null: ::operator new).
    explicit MeshArray(ox::Reference<ArrayAllocator> allocator = nullptr)
        : m_allocator(std::move(allocator))
    {
    }

    MeshArray(const MeshArray& other) : m_allocator(other.m_allocator) { copyFrom(other); }

    MeshArray& operator=(const MeshArray& other)
    {
        if (this != &other)
        {
            MeshArray copy(m_allocator);
            copy.copyFrom(other);
            swap(copy);
        }
        return *this;
    }

    MeshArray(MeshArray&& other) noexcept { swap(other); }
    MeshArray& operator=(MeshArray&& other) noexcept
    {
        swap(other);
        return *this;
    }

    ~MeshArray() { release(); }

    /// True when the array is present (has a block), whatever its size.
    bool isAllocated() const { return m_data != nullptr; }
    /// The elements; null when absent.
    T* data() { return m_data; }
    const T* data() const { return m_data; }
    /// Number of elements (0 when absent).
    int size() const { return m_size; }
    /// Number of elements the block holds (0 when absent).
    int capacity() const { return m_capacity; }
    /// Bytes of the block (0 when absent).
    std::size_t getSizeInBytes() const { return static_cast<std::size_t>(m_capacity) * sizeof(T); }

    /// Makes the array present with `n` elements (negative n gives 0). Elements
    /// below min(old size, n) keep their values; the others are zero.
    /// Reallocates when n exceeds the capacity, or when n falls below a quarter
    /// of it (so memory is returned after a large deletion).
    void resize(int n)
    {
        n = std::max(n, 0);
        if (!m_data || n > m_capacity || n < m_capacity / 4)
            reallocate(n > m_capacity ? grownCapacity(n) : n);
        if (n > m_size)
            std::memset(static_cast<void*>(m_data + m_size), 0,
                        static_cast<std::size_t>(n - m_size) * sizeof(T));
        m_size = n;
    }

    /// Makes the array present with `n` elements copied from `source` (a null
    /// source gives n zero elements).
    /// `source` may point into this array's own block.
    void assign(int n, const T* source)
    {
        MeshArray fresh(m_allocator);
        fresh.resize(n);
        if (source && fresh.m_size > 0)
            std::memcpy(static_cast<void*>(fresh.m_data), source,
                        static_cast<std::size_t>(fresh.m_size) * sizeof(T));
        swap(fresh);
    }

    /// Frees the block: the array becomes absent.
    void release()
    {
        freeBlock();
        m_data = nullptr;
        m_size = 0;
        m_capacity = 0;
    }

    /// The allocator that new blocks come from (null: ::operator new).
    const ox::Reference<ArrayAllocator>& getAllocator() const { return m_allocator; }

    /// Moves the contents into a block of `allocator` and frees the old block
    /// through the allocator that made it. An absent array stays absent.
    void setAllocator(ox::Reference<ArrayAllocator> allocator)
    {
        MeshArray moved(std::move(allocator));
        if (m_data)
            moved.copyFrom(*this);
        swap(moved);
    }

    /// Exchanges blocks, sizes and allocators in O(1).
    void swap(MeshArray& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
        m_allocator.swap(other.m_allocator);
    }

private:
    void copyFrom(const MeshArray& other)
    {
        if (other.m_data)
            assign(other.m_size, other.m_data);
        else
            release();
    }

    /// At least n, and at least half as much again as now, so that growing
    /// step by step stays amortised linear.
    int grownCapacity(int n) const
    {
        const long long grown = static_cast<long long>(m_capacity) + m_capacity / 2;
        return static_cast<int>(std::min<long long>(std::max<long long>(n, grown), INT_MAX));
    }

    void reallocate(int capacity)
    {
        capacity = std::max(capacity, 1);
        const std::size_t bytes = static_cast<std::size_t>(capacity) * sizeof(T);
        T* block =
            static_cast<T*>(m_allocator ? m_allocator->allocate(bytes) : ::operator new(bytes));
        const int kept = std::min(m_size, capacity);
        if (kept > 0)
            std::memcpy(static_cast<void*>(block), m_data,
                        static_cast<std::size_t>(kept) * sizeof(T));
        freeBlock();
        m_data = block;
        m_capacity = capacity;
        m_size = kept;
    }

    void freeBlock()
    {
        if (!m_data)
            return;
        if (m_allocator)
            m_allocator->free(m_data, getSizeInBytes());
        else
            ::operator delete(m_data);
    }

    T* m_data = nullptr;
    int m_size = 0;
    int m_capacity = 0;
    /// Where blocks come from; the current block was always made by it (every
    /// operation that changes the allocator moves the contents or swaps the
    /// block together with its allocator).
    ox::Reference<ArrayAllocator> m_allocator;
};
}  // namespace oxGeom
