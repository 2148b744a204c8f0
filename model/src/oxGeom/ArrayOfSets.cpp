// ArrayOfSets: sets of ints packed into one member array with an offset table.
// Both builders are one stable two-pass counting sort (count, prefix sum,
// scatter): no per-set allocation, linear time, members in the order offered.

#include "oxGeom/ArrayOfSets.h"

#include <algorithm>

namespace oxGeom
{
namespace
{
std::size_t toSize(int n)
{
    return static_cast<std::size_t>(std::max(n, 0));
}

using IntArray = std::vector<int, detail::DefaultInitAllocator<int>>;

// Fills `offsets` and `data` with `numSets` sets from the (set, member) pairs
// that `forEachPair(emit)` produces by calling emit(set, member); it is called
// twice and must produce the same pairs both times. Out-of-range sets are skipped.
template <class ForEachPair>
void buildSets(int numSets, ForEachPair forEachPair, IntArray& offsets, IntArray& data)
{
    const std::size_t setCount = toSize(numSets);
    offsets.assign(setCount > 0 ? setCount + 1 : 0, 0);
    auto inRange = [setCount](int s) { return static_cast<std::size_t>(unsigned(s)) < setCount; };

    forEachPair(
        [&](int s, int)
        {
            if (inRange(s))
                ++offsets[toSize(s) + 1];
        });
    for (std::size_t s = 1; s < offsets.size(); ++s)
        offsets[s] += offsets[s - 1];
    // Every entry is written by the scatter below: no zero fill first.
    data.clear();
    data.resize(offsets.empty() ? 0 : toSize(offsets.back()));

    // Scatter in pair order from each set's start: that keeps the sort stable.
    std::vector<int> fill(offsets.begin(), offsets.empty() ? offsets.end() : offsets.end() - 1);
    forEachPair(
        [&](int s, int member)
        {
            if (inRange(s))
                data[toSize(fill[toSize(s)]++)] = member;
        });
}
}  // namespace

ArrayOfSets::ArrayOfSets(int numSets, int totalSize)
    : m_offsets(numSets > 0 ? toSize(numSets) + 1 : 0, 0), m_data(toSize(totalSize), 0)
{
}

ArrayOfSets::ArrayOfSets(int numSets, int totalSize, Unfilled)
    : m_offsets(numSets > 0 ? toSize(numSets) + 1 : 0), m_data(toSize(totalSize))
{
}

void ArrayOfSets::assignFromPairs(int numSets, int numPairs, const int* pairs)
{
    const int pairCount = pairs ? numPairs : 0;
    auto forEachPair = [pairs, pairCount](auto&& emit)
    {
        for (int p = 0; p < pairCount; ++p)
            emit(pairs[2 * p], pairs[2 * p + 1]);
    };
    ArrayOfSets result;
    buildSets(numSets, forEachPair, result.m_offsets, result.m_data);
    swap(result);
}

void ArrayOfSets::assignInverse(int numSets, const ArrayOfSets& other)
{
    // Visiting the source sets in ascending i makes every result set ascending.
    auto forEachPair = [&other](auto&& emit)
    {
        for (int i = 0, n = other.getNumSets(); i < n; ++i)
        {
            const int* members = other.getSet(i);
            for (int k = 0, size = other.getSetSize(i); k < size; ++k)
                emit(members[k], i);
        }
    };
    ArrayOfSets result;
    buildSets(numSets, forEachPair, result.m_offsets, result.m_data);
    swap(result);
}

void ArrayOfSets::swap(ArrayOfSets& other) noexcept
{
    m_offsets.swap(other.m_offsets);
    m_data.swap(other.m_data);
}
}  // namespace oxGeom
