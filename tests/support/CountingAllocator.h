#pragma once
// An ArrayAllocator for tests that keeps a ledger of its live blocks, so a test
// can tell which arrays went through the hook, and catch a block freed by the
// wrong allocator or with the wrong size.

#include <oxGeom/ArrayAllocator.h>

#include <cstddef>
#include <map>
#include <new>

namespace fixtures
{
class CountingAllocator : public oxGeom::ArrayAllocator
{
public:
    void* allocate(std::size_t bytes) override
    {
        void* block = ::operator new(bytes);
        m_live[block] = bytes;
        ++m_allocations;
        return block;
    }

    void free(void* block, std::size_t bytes) override
    {
        auto found = m_live.find(block);
        if (found == m_live.end() || found->second != bytes)
        {
            ++m_badFrees;  // not ours, or freed with another size: keep it, never double-free
            return;
        }
        m_live.erase(found);
        ::operator delete(block);
    }

    /// Blocks allocated and not yet freed.
    int liveBlocks() const { return static_cast<int>(m_live.size()); }
    /// Bytes in those blocks.
    std::size_t liveBytes() const
    {
        std::size_t total = 0;
        for (const auto& block : m_live)
            total += block.second;
        return total;
    }
    int allocations() const { return m_allocations; }
    /// Frees of blocks this allocator did not hand out, or with a wrong size.
    int badFrees() const { return m_badFrees; }

private:
    std::map<void*, std::size_t> m_live;
    int m_allocations = 0;
    int m_badFrees = 0;
};
}  // namespace fixtures
