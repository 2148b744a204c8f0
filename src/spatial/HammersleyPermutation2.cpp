// The base-2 radical inverse as an integer table: entry i is i with its k bits reversed,
// which orders 0 .. 2^k - 1 so that every prefix of the order is spread evenly.

#include <oxGeom/Hammersley.h>

namespace oxGeom
{
namespace
{
// The table is indexed by 16-bit counters: 2^15 entries at most.
constexpr int maxBits = 15;

// i with its k low bits reversed: for each set bit of i, lowest first, add the weight that
// halves from n = 2^k.
std::uint32_t reverseBits(std::uint32_t i, std::uint32_t n)
{
    std::uint32_t value = 0;
    std::uint32_t weight = n;
    for (std::uint32_t bits = i; bits != 0; bits >>= 1)
    {
        weight >>= 1;
        if (bits & 1u)
            value += weight;
    }
    return value;
}
}  // namespace

void HammersleyPermutation2::calculate(int k)
{
    m_table.reset();
    m_size = 0;
    if (k < 0 || k > maxBits)
        return;
    const std::uint32_t n = std::uint32_t(1) << k;
    std::shared_ptr<std::uint32_t[]> table(new std::uint32_t[n]);
    for (std::uint32_t i = 0; i < n; ++i)
        table[i] = reverseBits(i, n);
    m_table = table;
    m_size = static_cast<int>(n);
}

std::uint32_t HammersleyPermutation2::operator[](int i) const
{
    if (m_size == 0)
        return 0;
    const int index = ((i % m_size) + m_size) % m_size;
    return m_table[static_cast<std::size_t>(index)];
}

std::uint32_t HammersleyPermutation2::map2d(int x, int y) const
{
    if (m_size == 0)
        return 0;
    const std::uint32_t n = static_cast<std::uint32_t>(m_size);
    const std::uint32_t mask = n - 1;
    return (static_cast<std::uint32_t>(x) & mask) * n +
           m_table[static_cast<std::uint32_t>(y) & mask];
}

std::uint32_t HammersleyPermutation2::mapPeriodic(int i, int w) const
{
    if (m_size == 0 || w <= 0)
        return 0;
    const std::uint32_t n = static_cast<std::uint32_t>(m_size);
    const std::uint32_t mask = n - 1;
    return (static_cast<std::uint32_t>(i % w) & mask) * n +
           m_table[static_cast<std::uint32_t>(i / w) & mask];
}
}  // namespace oxGeom
