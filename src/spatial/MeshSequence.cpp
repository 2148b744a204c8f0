// MeshSequence: an ordered run of mesh vertices with a lazily built vertex -> position map, so
// that "are these two vertices neighbours on the line" is two array reads.

#include <oxGeom/MeshClosestPtOnLine.h>

#include <utility>

namespace oxGeom
{
MeshSequence::MeshSequence(ox::vector<int> vertices, bool closed)
    : m_vertices(std::move(vertices)), m_closed(closed)
{
}

int MeshSequence::getVertex(int i) const
{
    return static_cast<unsigned>(i) < m_vertices.size() ? m_vertices[static_cast<std::size_t>(i)]
                                                        : -1;
}

int MeshSequence::numSegments() const
{
    const int n = size();
    if (n < 2)
        return 0;
    return m_closed && n >= 3 ? n : n - 1;
}

const ox::vector<int>& MeshSequence::getPositions(int numVertices) const
{
    if (numVertices < 0)
        numVertices = 0;
    if (m_positionsFor == numVertices)
        return m_positions;
    m_positions.assign(static_cast<std::size_t>(numVertices), -1);
    // Walked backwards so that a repeated vertex ends with its first position.
    for (int i = size() - 1; i >= 0; --i)
    {
        const int v = m_vertices[static_cast<std::size_t>(i)];
        if (static_cast<unsigned>(v) < static_cast<unsigned>(numVertices))
            m_positions[static_cast<std::size_t>(v)] = i;
    }
    m_positionsFor = numVertices;
    return m_positions;
}

int MeshSequence::segmentIndex(int a, int b) const
{
    const int n = size();
    if (a < 0 || b < 0 || a >= n || b >= n)
        return -1;
    if (a > b)
        std::swap(a, b);
    if (b - a == 1)
        return a;
    // The closing segment: only a closed sequence of three or more entries has one (with two
    // entries it would repeat segment 0).
    if (m_closed && n >= 3 && a == 0 && b == n - 1)
        return n - 1;
    return -1;
}
}  // namespace oxGeom
