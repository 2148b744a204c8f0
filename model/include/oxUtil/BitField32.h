#pragma once
// oxUtil::BitField32: a set of up to 32 flags in one unsigned word, for option
// masks and small per-element flag sets that are passed and compared by value.

#include <cstdint>

namespace oxUtil
{
/// 32 flags; bit i is (raw() >> i) & 1. A new field has no bit set.
/// Bit positions outside 0..31 are ignored by set/clear/toggle and test false,
/// rather than shifting out of range.
/// Thread safety: a value type. Cost: O(1) for every operation.
class BitField32
{
public:
    constexpr BitField32() = default;
    constexpr explicit BitField32(std::uint32_t word) : m_word(word) {}

    static constexpr bool isValidBit(int bit) { return bit >= 0 && bit < 32; }

    BitField32& set(int bit)
    {
        m_word |= mask(bit);
        return *this;
    }
    BitField32& set(int bit, bool value) { return value ? set(bit) : clear(bit); }
    BitField32& clear(int bit)
    {
        m_word &= ~mask(bit);
        return *this;
    }
    BitField32& toggle(int bit)
    {
        m_word ^= mask(bit);
        return *this;
    }
    /// Clears every bit.
    BitField32& reset()
    {
        m_word = 0;
        return *this;
    }
    constexpr bool test(int bit) const { return (m_word & mask(bit)) != 0; }

    constexpr bool any() const { return m_word != 0; }
    constexpr bool none() const { return m_word == 0; }
    /// Number of set bits.
    int count() const;
    constexpr std::uint32_t raw() const { return m_word; }
    void setRaw(std::uint32_t word) { m_word = word; }

    BitField32& operator|=(BitField32 o)
    {
        m_word |= o.m_word;
        return *this;
    }
    BitField32& operator&=(BitField32 o)
    {
        m_word &= o.m_word;
        return *this;
    }
    BitField32& operator^=(BitField32 o)
    {
        m_word ^= o.m_word;
        return *this;
    }
    constexpr BitField32 operator~() const { return BitField32(~m_word); }
    friend constexpr BitField32 operator|(BitField32 a, BitField32 b)
    {
        return BitField32(a.m_word | b.m_word);
    }
    friend constexpr BitField32 operator&(BitField32 a, BitField32 b)
    {
        return BitField32(a.m_word & b.m_word);
    }
    friend constexpr BitField32 operator^(BitField32 a, BitField32 b)
    {
        return BitField32(a.m_word ^ b.m_word);
    }
    friend constexpr bool operator==(BitField32 a, BitField32 b) { return a.m_word == b.m_word; }
    friend constexpr bool operator!=(BitField32 a, BitField32 b) { return a.m_word != b.m_word; }

private:
    static constexpr std::uint32_t mask(int bit)
    {
        return isValidBit(bit) ? (std::uint32_t(1) << bit) : 0u;
    }

    std::uint32_t m_word = 0;
};
}  // namespace oxUtil
