// Flag words: only the population count lives out of line; everything else is
// a constexpr one-liner in the header.

#include "oxUtil/BitField32.h"

namespace oxUtil
{
int BitField32::count() const
{
    // Kernighan's loop: one iteration per set bit, no intrinsics needed.
    int n = 0;
    for (std::uint32_t w = m_word; w != 0; w &= w - 1)
        ++n;
    return n;
}
}  // namespace oxUtil
