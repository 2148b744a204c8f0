#pragma once
// Low-discrepancy index tables for sampling: the base-2 bit-reversal permutation (the
// radical inverse of the Hammersley point set, in integers) and scrambled radical inverses in
// bases 3, 5 and 7. Mapped onto the sphere (sampling.h), they spread ray directions far more
// evenly than random numbers, so fewer rays give a smooth result.

#include <cstdint>
#include <memory>

namespace oxGeom
{
/// The bit-reversal permutation of n = 2^k integers: entry i is i with its k low bits in
/// reverse order (k = 3: 0, 4, 2, 6, 1, 5, 3, 7).
///
/// Copies and assignment share the table (they copy a reference to it, not its entries);
/// calculate() on one object replaces that object's table only.
/// Thread safety: const members may be called from any number of threads.
class HammersleyPermutation2
{
public:
    /// The empty table (size 0).
    HammersleyPermutation2() = default;

    /// Builds the table for n = 2^k. The table is indexed by 16-bit counters, so k is at most
    /// 15; k outside 0..15 gives the empty table. Cost O(n k).
    void calculate(int k);

    /// The number of entries n (0 for the empty table).
    int size() const { return m_size; }

    /// table[i mod n], with the non-negative remainder for negative i; 0 for the empty table.
    std::uint32_t operator[](int i) const;

    /// (x & (n - 1)) n + table[y & (n - 1)]: a 2-D point of the n x n grid whose columns are
    /// visited in bit-reversed order; 0 for the empty table.
    std::uint32_t map2d(int x, int y) const;

    /// ((i mod w) & (n - 1)) n + table[(i / w) & (n - 1)]: sample i of a tiling of period w;
    /// 0 for the empty table or a period w <= 0.
    std::uint32_t mapPeriodic(int i, int w) const;

private:
    std::shared_ptr<const std::uint32_t[]> m_table;
    int m_size = 0;
};

/// The scrambled radical inverse of 0, 1, ..., count - 1 in base 3, 5 or 7: write i in the
/// base, least significant digit first (d0, d1, ...); the entry is the sum of perm[dj] times
/// base^-(j + 1), with the fixed digit permutations 0 1 2 (base 3), 0 3 2 1 4 (base 5) and
/// 0 2 5 3 1 4 6 (base 7). The permutations break up the correlation between the sequences of
/// different bases that plain radical inverses show. Base 3, count 4: 0, 1/3, 2/3, 1/9.
///
/// Copies and assignment share the table, as for HammersleyPermutation2.
/// Thread safety: const members may be called from any number of threads.
class ScrambledHammersleySequence
{
public:
    /// The empty sequence (count 0).
    ScrambledHammersleySequence() = default;

    /// Builds the first `count` entries in `base` and returns true. Any other base (there is
    /// no digit permutation for it) or a negative count leaves the empty sequence and returns
    /// false. Entries are summed in double and stored as float. Cost O(count log count).
    bool calculate(int base, int count);

    /// The number of entries (0 for the empty sequence).
    int size() const { return m_count; }

    /// entry[i mod count], with the non-negative remainder for negative i; 0 for the empty
    /// sequence.
    float operator[](int i) const;

private:
    std::shared_ptr<const float[]> m_table;
    int m_count = 0;
};
}  // namespace oxGeom
