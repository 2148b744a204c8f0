#pragma once
// A growable set of bits indexed from 0, used for vertex and triangle selections
// and for visited marks. The packing is fixed so that hot loops may test bits
// through the raw words: bit i lives in 32-bit word i / 32 under mask 1u << (i % 32).

#include <cstdint>
#include <vector>

namespace oxGeom
{
/// A set of `size()` bits packed least significant bit first into 32-bit words.
///
/// Layout: bit i is `getWords()[i / 32] & (1u << (i % 32))`; `numWords()` is
/// (size() + 31) / 32. The bits of the last word beyond size() are always kept
/// clear by every operation, so word-wise loops (|=, counting) stay exact.
///
/// Out-of-range indices (negative or >= size()) are safe: `isBitSet` reports
/// false, `setBit` and `clearBit` do nothing. A negative size is taken as 0.
///
/// Thread safety: const members may be called from any number of threads;
/// writes need exclusive access (two threads setting bits of one word race).
class BitVector
{
public:
    /// An empty vector (size 0).
    BitVector() = default;
    /// `n` bits, all clear. Cost O(n / 32).
    explicit BitVector(int n);

    BitVector(const BitVector&) = default;
    BitVector(BitVector&&) noexcept = default;
    BitVector& operator=(const BitVector&) = default;
    BitVector& operator=(BitVector&&) noexcept = default;

    /// Number of bits.
    int size() const { return m_size; }
    /// Number of 32-bit words holding the bits: (size() + 31) / 32.
    int numWords() const { return static_cast<int>(m_words.size()); }

    /// The packed words (numWords() of them); null when the vector is empty.
    /// Writers must keep the bits beyond size() in the last word clear.
    std::uint32_t* getWords() { return m_words.empty() ? nullptr : m_words.data(); }
    const std::uint32_t* getWords() const { return m_words.empty() ? nullptr : m_words.data(); }
    /// The same words as getWords().
    std::uint32_t* data() { return getWords(); }
    const std::uint32_t* data() const { return getWords(); }

    /// Changes the size to `n` bits (negative n gives 0). Bits below min(old, n)
    /// keep their value; new bits are clear. Cost O(n / 32).
    void resize(int n);

    /// Sets bit i; ignored when i is out of range. O(1).
    void setBit(int i)
    {
        if (inRange(i))
            m_words[wordOf(i)] |= maskOf(i);
    }
    /// Clears bit i; ignored when i is out of range. O(1).
    void clearBit(int i)
    {
        if (inRange(i))
            m_words[wordOf(i)] &= ~maskOf(i);
    }
    /// True when bit i is set; false for an out-of-range i. O(1).
    bool isBitSet(int i) const { return inRange(i) && (m_words[wordOf(i)] & maskOf(i)) != 0; }

    /// Clears every bit; the size is unchanged. O(size / 32).
    void clearBits();
    /// Sets every bit below size(); the tail of the last word stays clear. O(size / 32).
    void setAllBits();
    /// Sets the bits named by `indices[0 .. count)`; out-of-range indices are
    /// skipped, a null `indices` or count <= 0 does nothing. O(count).
    void setBits(int count, const int* indices);

    /// Number of set bits. O(size / 32).
    int countSetBits() const;
    /// True when at least one bit is set. O(size / 32).
    bool anyBitSet() const;

    /// Sets every bit that is set in `other`. The size of this vector does not
    /// change: bits of `other` at or beyond size() are ignored, and a shorter
    /// `other` leaves the remaining bits as they were. O(size / 32).
    BitVector& operator|=(const BitVector& other);

    /// Exchanges the contents with `other` in O(1).
    void swap(BitVector& other) noexcept;

    /// Equal when both size and every bit agree.
    bool operator==(const BitVector& other) const
    {
        return m_size == other.m_size && m_words == other.m_words;
    }
    bool operator!=(const BitVector& other) const { return !(*this == other); }

    /// Index of the word holding bit i, and the mask of bit i within it.
    static int wordOf(int i) { return i >> 5; }
    static std::uint32_t maskOf(int i) { return 1u << (i & 31); }

private:
    bool inRange(int i) const { return static_cast<unsigned>(i) < static_cast<unsigned>(m_size); }
    void clearTail();

    std::vector<std::uint32_t> m_words;
    int m_size = 0;
};

inline void swap(BitVector& a, BitVector& b) noexcept
{
    a.swap(b);
}
}  // namespace oxGeom
