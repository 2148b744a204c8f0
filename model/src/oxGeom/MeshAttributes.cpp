// Named per-vertex float channels. The value range is cached because hosts ask
// for it repeatedly (colour ramps, normalisation) while values change rarely;
// writers through the raw array invalidate it explicitly.

#include <oxGeom/MeshAttributes.h>

#include <limits>
#include <utility>

namespace oxGeom
{
MeshAttributes::MeshAttributes(const oxString::CString& name, int type, int numElements,
                               ox::Reference<ArrayAllocator> allocator)
    : m_name(name), m_dimension(isValidType(type) ? type : Float1), m_values(std::move(allocator))
{
    resize(numElements);
}

void MeshAttributes::resize(int numElements)
{
    m_numElements = numElements > 0 ? numElements : 0;
    m_values.resize(m_numElements * m_dimension);
    m_rangeValid = false;
}

bool MeshAttributes::getRange(float* minimum, float* maximum) const
{
    if (m_numElements == 0)
        return false;
    if (!m_rangeValid)
    {
        // NaN compares false both ways, so NaN values never enter the range.
        for (int c = 0; c < m_dimension; ++c)
        {
            m_rangeMin[c] = std::numeric_limits<float>::infinity();
            m_rangeMax[c] = -std::numeric_limits<float>::infinity();
        }
        const float* values = m_values.data();
        for (int i = 0; i < m_numElements; ++i)
        {
            for (int c = 0; c < m_dimension; ++c)
            {
                const float v = values[i * m_dimension + c];
                if (v < m_rangeMin[c])
                    m_rangeMin[c] = v;
                if (v > m_rangeMax[c])
                    m_rangeMax[c] = v;
            }
        }
        m_rangeValid = true;
    }
    for (int c = 0; c < m_dimension; ++c)
    {
        minimum[c] = m_rangeMin[c];
        maximum[c] = m_rangeMax[c];
    }
    return true;
}
}  // namespace oxGeom
