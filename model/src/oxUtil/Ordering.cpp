// Index orderings: the identity, and the inverse permutation that tells where
// each item landed, which is how an ordering becomes a renumbering table.

#include "oxUtil/Ordering.h"

namespace oxUtil
{
void Ordering::setIdentity(int n)
{
    m_indices.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    std::iota(m_indices.begin(), m_indices.end(), 0);
}

void Ordering::invert(ox::vector<int>& positions) const
{
    // Built in a temporary so that `positions` is replaced in one step.
    ox::vector<int> result(m_indices.size(), -1);
    for (int k = 0; k < size(); ++k)
    {
        const int index = m_indices[static_cast<std::size_t>(k)];
        if (index >= 0 && index < size())
            result[static_cast<std::size_t>(index)] = k;
    }
    positions.swap(result);
}
}  // namespace oxUtil
