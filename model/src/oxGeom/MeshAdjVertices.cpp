// MeshAdjVertices: owns the flat neighbour records built by the adjacency code.
// The arrays are adopted as they are (no copy), since the builder sizes them
// exactly; the data length is recovered from the last vertex's record.

#include "oxGeom/MeshAdjVertices.h"

#include <algorithm>
#include <utility>

namespace oxGeom
{
namespace
{
std::unique_ptr<int[]> copyArray(const int* source, int count)
{
    if (!source || count <= 0)
        return nullptr;
    std::unique_ptr<int[]> copy(new int[static_cast<std::size_t>(count)]);
    std::copy(source, source + count, copy.get());
    return copy;
}
}  // namespace

MeshAdjVertices::MeshAdjVertices(int numVertices, int maxValence, int* starts, int* data)
    : m_starts(starts), m_data(data)
{
    if (numVertices <= 0 || !starts || !data)
    {
        m_starts.reset();
        m_data.reset();
        return;
    }
    m_numVertices = numVertices;
    m_maxValence = maxValence;
    const int last = starts[numVertices - 1];
    m_dataSize = last + data[last] + 1;
}

MeshAdjVertices::MeshAdjVertices(const MeshAdjVertices& other)
    : ox::RefCounted(other),
      m_numVertices(other.m_numVertices),
      m_maxValence(other.m_maxValence),
      m_dataSize(other.m_dataSize),
      m_starts(copyArray(other.m_starts.get(), other.m_numVertices)),
      m_data(copyArray(other.m_data.get(), other.m_dataSize))
{
}

MeshAdjVertices& MeshAdjVertices::operator=(const MeshAdjVertices& other)
{
    if (this != &other)
    {
        MeshAdjVertices copy(other);
        swap(copy);
    }
    return *this;
}

void MeshAdjVertices::swap(MeshAdjVertices& other) noexcept
{
    std::swap(m_numVertices, other.m_numVertices);
    std::swap(m_maxValence, other.m_maxValence);
    std::swap(m_dataSize, other.m_dataSize);
    m_starts.swap(other.m_starts);
    m_data.swap(other.m_data);
}
}  // namespace oxGeom
