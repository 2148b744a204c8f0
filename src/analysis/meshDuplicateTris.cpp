// meshDuplicateTris: exact structural check for repeated and degenerate triangles.
// Duplicates are found by sorting the triangle order on each triangle's sorted
// index triple (parallel sort) and comparing neighbours, O(T log T) overall.

#include <oxGeom/meshDuplicateTris.h>

#include <oxGeom/BitVector.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/SMPSort.h>

#include <numeric>
#include <utility>
#include <vector>

namespace oxGeom
{
namespace
{
// Exact equality of two positions, each coordinate widened to double: 0 == -0,
// and NaN never compares equal.
bool samePosition(const MeshVertex& a, const MeshVertex& b)
{
    return double(a[0]) == double(b[0]) && double(a[1]) == double(b[1]) &&
           double(a[2]) == double(b[2]);
}

bool inRange(int i, int n)
{
    return i >= 0 && i < n;
}

void findDegenerates(const CompactMesh& mesh, MeshDuplicateTrisResult& result)
{
    const int numTriangles = mesh.getNumTriangles();
    const int numVertices = mesh.getNumVertices();
    const MeshTriangle* triangles = mesh.getTriangles();
    const MeshVertex* p = mesh.getVertices();
    for (int i = 0; i < numTriangles; ++i)
    {
        const int a = triangles[i][0], b = triangles[i][1], c = triangles[i][2];
        if (a == b || a == c || b == c)
        {
            result.getIndexDegenerates().push_back(i);
            continue;
        }
        if (!inRange(a, numVertices) || !inRange(b, numVertices) || !inRange(c, numVertices))
            continue;
        if (samePosition(p[a], p[b]) || samePosition(p[a], p[c]) || samePosition(p[b], p[c]))
            result.getPositionDegenerates().push_back(i);
    }
}

// Sorts the three indices of a triple ascending: after ordering corners 0 and 2,
// one more exchange (of 0 and 1, or else of 1 and 2) suffices.
void sortTriple(int* t)
{
    if (t[2] < t[0])
        std::swap(t[0], t[2]);
    if (t[1] < t[0])
        std::swap(t[0], t[1]);
    else if (t[2] < t[1])
        std::swap(t[1], t[2]);
}

bool sameTriple(const int* a, const int* b)
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

// Lexicographic order of the sorted triples; equal triples fall back to the
// triangle index, so the lowest index of each group comes first and the
// result does not depend on how the parallel sort splits the work.
class TripleLess
{
public:
    explicit TripleLess(const int* triples) : m_triples(triples) {}

    bool operator()(int i, int j) const
    {
        const int* a = m_triples + 3 * std::size_t(i);
        const int* b = m_triples + 3 * std::size_t(j);
        if (a[0] != b[0])
            return a[0] < b[0];
        if (a[1] != b[1])
            return a[1] < b[1];
        if (a[2] != b[2])
            return a[2] < b[2];
        return i < j;
    }

private:
    const int* m_triples;
};

void findDuplicates(const CompactMesh& mesh, MeshDuplicateTrisResult& result)
{
    const int numTriangles = mesh.getNumTriangles();
    const int* corners = mesh.getTrianglesRaw();
    std::vector<int> triples(corners, corners + 3 * std::size_t(numTriangles));
    for (int i = 0; i < numTriangles; ++i)
        sortTriple(&triples[3 * std::size_t(i)]);

    std::vector<int> order(static_cast<std::size_t>(numTriangles));
    std::iota(order.begin(), order.end(), 0);
    oxUtil::smpSort(order.data(), order.data() + order.size(), TripleLess(triples.data()));

    for (int k = 1; k < numTriangles; ++k)
        if (sameTriple(&triples[3 * std::size_t(order[k])],
                       &triples[3 * std::size_t(order[k - 1])]))
            result.getDuplicates().push_back(order[k]);
}
}  // namespace

MeshDuplicateTrisResult::operator bool() const
{
    return !m_duplicates.empty() || !m_indexDegenerates.empty() || !m_positionDegenerates.empty();
}

void MeshDuplicateTrisResult::getBadTriangles(CompactMesh const& mesh,
                                              ox::vector<int>& triangles) const
{
    triangles.clear();
    if (!*this)
        return;
    const int numTriangles = mesh.getNumTriangles();
    BitVector bad(numTriangles);
    for (const ox::vector<int>* list : {&m_duplicates, &m_indexDegenerates, &m_positionDegenerates})
        for (int t : *list)
            bad.setBit(t);
    for (int t = 0; t < numTriangles; ++t)
        if (bad.isBitSet(t))
            triangles.push_back(t);
}

bool meshDuplicateTris(CompactMesh const& mesh, MeshDuplicateTrisResult& result)
{
    oxOS::StopWatch watch;
    watch.start();
    result.getIndexDegenerates().clear();
    result.getPositionDegenerates().clear();
    result.getDuplicates().clear();

    findDegenerates(mesh, result);
    findDuplicates(mesh, result);

    watch.stop();
    debugChannel().print("meshDuplicateTris:  verts(%d) tris(%d) dup(%d) degenerate(%d) %f s\n",
                         mesh.getNumVertices(), mesh.getNumTriangles(),
                         static_cast<int>(result.getDuplicates().size()),
                         static_cast<int>(result.getIndexDegenerates().size() +
                                          result.getPositionDegenerates().size()),
                         watch.getElapsed());
    return static_cast<bool>(result);
}
}  // namespace oxGeom
