// meshClosestPoint: nearest mesh point with only the vertex octree and the vertex -> triangle
// table, walking leaves nearest first and reaching triangles through their corners. A box round
// each vertex's triangles skips fans that cannot beat the best answer.
// (The file name differs from MeshClosestPoint.cpp by more than case, for case-blind file systems.)

#include <oxGeom/meshClosestPoint.h>

#include <oxGeom/BitVector.h>
#include <oxGeom/OctreeIterators.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace oxGeom
{
namespace
{
bool inRange(int i, int count)
{
    return static_cast<unsigned>(i) < static_cast<unsigned>(count);
}

// Visit marks for one call. Each call allocates its own, so one bit per element marks exactly
// what a 32-bit stamp would, and zeroing V + T bits instead of V + T words keeps the per-call
// set-up small.
class VisitBits
{
public:
    explicit VisitBits(int size) : m_bits(size) {}
    // Marks i and returns true when it was not marked before.
    bool mark(int i)
    {
        std::uint32_t& word = m_bits.getWords()[i >> 5];
        const std::uint32_t mask = 1u << (i & 31);
        if (word & mask)
            return false;
        word |= mask;
        return true;
    }

private:
    BitVector m_bits;
};

// The search over one mesh: its arrays, the query point and the running best.
class AdjacencySearch
{
public:
    AdjacencySearch(const CompactMesh& mesh, const MeshAdjTris& adj, const oxLinear::Point& p,
                    double maxDist2, MeshCoord* out)
        : m_vertices(mesh.getVerticesRaw()),
          m_triangles(mesh.getTrianglesRaw()),
          m_numVertices(mesh.getNumVertices()),
          m_numTriangles(mesh.getNumTriangles()),
          m_adj(adj),
          m_p(p),
          m_pFlt(p),
          m_best2(maxDist2),
          m_out(out)
    {
    }

    double best2() const { return m_best2; }
    const oxLinear::PointFlt& pointFlt() const { return m_pFlt; }

    bool isTriangle(int t) const
    {
        if (!inRange(t, m_numTriangles))
            return false;
        const int* corner = m_triangles + 3 * static_cast<long long>(t);
        return inRange(corner[0], m_numVertices) && inRange(corner[1], m_numVertices) &&
               inRange(corner[2], m_numVertices);
    }

    // The box of every corner of the usable triangles listed at `tris`.
    BoundingBox fanBox(const int* tris, int count) const
    {
        BoundingBox box;
        for (int k = 0; k < count; ++k)
        {
            if (!isTriangle(tris[k]))
                continue;
            const int* corner = m_triangles + 3 * static_cast<long long>(tris[k]);
            for (int c = 0; c < 3; ++c)
                box.extend(m_vertices + 3 * static_cast<long long>(corner[c]));
        }
        return box;
    }

    // Projects p on triangle t and keeps it when strictly nearer; returns true then.
    bool tryTriangle(int t)
    {
        const MeshCoord candidate = meshTriClosestPt(m_vertices, m_triangles, t, m_p);
        if (!candidate.valid())
            return false;
        const double d2 = oxLinear::distance2(m_p, candidate.evaluate(m_vertices, m_triangles));
        if (!(d2 < m_best2))
            return false;
        m_best2 = d2;
        if (m_out)
            *m_out = candidate;
        return true;
    }

    int numVertices() const { return m_numVertices; }
    int numTriangles() const { return m_numTriangles; }
    const MeshAdjTris& adj() const { return m_adj; }

private:
    const float* m_vertices;
    const int* m_triangles;
    int m_numVertices;
    int m_numTriangles;
    const MeshAdjTris& m_adj;
    oxLinear::Point m_p;
    oxLinear::PointFlt m_pFlt;
    double m_best2;
    MeshCoord* m_out;
};
}  // namespace

double meshClosestPoint(const CompactMesh& mesh, const Octree& octree, const MeshAdjTris& adj,
                        const oxLinear::Point& p, double searchRadius, double maxDist2,
                        const BoundingBox* vertexBoxes, MeshCoord* out)
{
    // A negative or NaN bound admits nothing, like 0, and keeps the result a number.
    AdjacencySearch search(mesh, adj, p, maxDist2 > 0.0 ? maxDist2 : 0.0, out);
    VisitBits visitedVertices(search.numVertices());
    VisitBits visitedTriangles(search.numTriangles());

    // Leaves nearer than searchRadius / sqrt(2) are always visited: a triangle's nearest point
    // may lie well inside a leaf that holds none of its corners.
    const double limit = searchRadius / 1.4142135623730951;
    const double limit2 = limit * limit;
    double prune2 = std::max(search.best2(), limit2);

    const int* pointIndices = octree.getPointIndices();
    for (OctreeClosestIt walk(octree, p); walk.valid(); walk.next())
    {
        const OctreeIterator leaf = walk.get();
        if (leaf.getBox().distance2(search.pointFlt()) >= prune2)
            break;
        const int end = leaf.getPointEnd();
        for (int k = leaf.getPointBegin(); k < end; ++k)
        {
            const int v = pointIndices[k];
            if (!inRange(v, search.numVertices()) || !visitedVertices.mark(v))
                continue;
            const int count = adj.numTris(v);
            const int* tris = adj.triIndices(v);
            const double bound2 = vertexBoxes
                                      ? vertexBoxes[v].distance2(search.pointFlt())
                                      : search.fanBox(tris, count).distance2(search.pointFlt());
            if (!(search.best2() > bound2) || count <= 0)
                continue;
            for (int i = 0; i < count; ++i)
            {
                const int t = tris[i];
                if (!search.isTriangle(t) || !visitedTriangles.mark(t))
                    continue;
                if (search.tryTriangle(t))
                    prune2 = std::max(search.best2(), limit2);
            }
        }
    }
    return std::sqrt(search.best2());
}

double meshClosestPoint(const CompactMesh& mesh, const Octree& octree, const MeshAdjTris& adj,
                        const oxLinear::Point& p, MeshCoord* out)
{
    return meshClosestPoint(mesh, octree, adj, p, meshLongestEdge(mesh), DBL_MAX, nullptr, out);
}
}  // namespace oxGeom
