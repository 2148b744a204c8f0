// Scrambled radical inverses in bases 3, 5 and 7: the digits of i, mirrored about the radix
// point and passed through a fixed permutation per base, which decorrelates the sequences of
// different bases used together as coordinates.

#include <oxGeom/Hammersley.h>

namespace oxGeom
{
namespace
{
// The digit permutation of a supported base, or null.
const int* digitPermutation(int base)
{
    static const int base3[] = {0, 1, 2};
    static const int base5[] = {0, 3, 2, 1, 4};
    static const int base7[] = {0, 2, 5, 3, 1, 4, 6};
    switch (base)
    {
        case 3:
            return base3;
        case 5:
            return base5;
        case 7:
            return base7;
        default:
            return nullptr;
    }
}

double scrambledRadicalInverse(int i, int base, const int* permutation)
{
    double sum = 0.0;
    double scale = 1.0 / base;
    for (int rest = i; rest > 0; rest /= base)
    {
        sum += permutation[rest % base] * scale;
        scale /= base;
    }
    return sum;
}
}  // namespace

bool ScrambledHammersleySequence::calculate(int base, int count)
{
    m_table.reset();
    m_count = 0;
    const int* permutation = digitPermutation(base);
    if (!permutation || count < 0)
        return false;
    std::shared_ptr<float[]> table(new float[static_cast<std::size_t>(count)]);
    for (int i = 0; i < count; ++i)
        table[static_cast<std::size_t>(i)] =
            static_cast<float>(scrambledRadicalInverse(i, base, permutation));
    m_table = table;
    m_count = count;
    return true;
}

float ScrambledHammersleySequence::operator[](int i) const
{
    if (m_count == 0)
        return 0.0f;
    const int index = ((i % m_count) + m_count) % m_count;
    return m_table[static_cast<std::size_t>(index)];
}
}  // namespace oxGeom
