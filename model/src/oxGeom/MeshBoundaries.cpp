// MeshBoundaries: loops kept flat (one vertex array, one start table) so the
// whole set is two allocations and a loop is handed out as a pointer range.
// `assign` checks the lengths against the vertex count before adopting them.

#include "oxGeom/MeshBoundaries.h"

namespace oxGeom
{
void MeshBoundaries::addLoop(const int* vertices, int length)
{
    if (!vertices || length <= 0)
        return;
    m_vertices.insert(m_vertices.end(), vertices, vertices + length);
    m_starts.push_back(static_cast<int>(m_vertices.size()));
}

bool MeshBoundaries::assign(std::vector<int>& lengths, std::vector<int>& vertices)
{
    std::vector<int> starts(1, 0);
    starts.reserve(lengths.size() + 1);
    long long total = 0;
    bool consistent = true;
    for (int length : lengths)
    {
        total += length;
        if (length < 0 || total > static_cast<long long>(vertices.size()))
        {
            consistent = false;
            break;
        }
        starts.push_back(static_cast<int>(total));
    }
    if (!consistent || total != static_cast<long long>(vertices.size()))
    {
        clear();
        return false;
    }
    m_starts.swap(starts);
    m_vertices.swap(vertices);
    vertices.clear();
    lengths.clear();
    return true;
}

void MeshBoundaries::clear()
{
    m_vertices.clear();
    m_starts.assign(1, 0);
}

void MeshBoundaries::swap(MeshBoundaries& other) noexcept
{
    m_vertices.swap(other.m_vertices);
    m_starts.swap(other.m_starts);
}
}  // namespace oxGeom
