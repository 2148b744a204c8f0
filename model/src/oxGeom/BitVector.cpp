// BitVector: a packed bit set over 32-bit words. Every writer keeps the bits past
// size() in the last word clear, so whole-word loops (|=, popcount, any) need no
// masking of the tail and sizes never leak stale bits back in after a grow.

#include "oxGeom/BitVector.h"

#include <algorithm>
#include <bitset>
#include <utility>

namespace oxGeom
{
namespace
{
int wordsFor(int bits)
{
    return (bits + 31) / 32;
}
}  // namespace

BitVector::BitVector(int n)
{
    resize(n);
}

void BitVector::resize(int n)
{
    n = std::max(n, 0);
    // Shrinking then growing must not resurrect old bits: clear the tail of the
    // kept last word before the new words (zero) are appended.
    m_words.resize(static_cast<std::size_t>(wordsFor(n)), 0u);
    m_size = n;
    clearTail();
}

void BitVector::clearTail()
{
    const int used = m_size & 31;
    if (used != 0)
        m_words.back() &= (1u << used) - 1u;
}

void BitVector::clearBits()
{
    std::fill(m_words.begin(), m_words.end(), 0u);
}

void BitVector::setAllBits()
{
    std::fill(m_words.begin(), m_words.end(), ~0u);
    clearTail();
}

void BitVector::setBits(int count, const int* indices)
{
    if (!indices)
        return;
    for (int k = 0; k < count; ++k)
        setBit(indices[k]);
}

int BitVector::countSetBits() const
{
    int total = 0;
    for (std::uint32_t w : m_words)
        total += static_cast<int>(std::bitset<32>(w).count());
    return total;
}

bool BitVector::anyBitSet() const
{
    return std::any_of(m_words.begin(), m_words.end(), [](std::uint32_t w) { return w != 0; });
}

BitVector& BitVector::operator|=(const BitVector& other)
{
    const std::size_t common = std::min(m_words.size(), other.m_words.size());
    for (std::size_t k = 0; k < common; ++k)
        m_words[k] |= other.m_words[k];
    clearTail();
    return *this;
}

void BitVector::swap(BitVector& other) noexcept
{
    m_words.swap(other.m_words);
    std::swap(m_size, other.m_size);
}
}  // namespace oxGeom
