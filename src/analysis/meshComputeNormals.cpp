// Vertex normals of a mesh: the unweighted sum of the unit normals of each vertex's
// triangles, normalised. The sum is in float, so its bits depend on the order of addition;
// to give every thread count the serial loop's bits, each pool thread owns a contiguous range
// of vertices and adds, in ascending triangle order, the normals of the triangles touching its
// range. A first run records the span of vertex indices of each block of triangles, so that a
// thread skips the blocks that cannot touch its range. On meshes numbered along the surface
// each thread then computes about its share of the triangle normals on the spot. Where the
// spans show that the ranges would share most blocks (a mesh numbered at random), every thread
// would read every triangle: measured on two cores, that is slower than one thread's pass
// (memory traffic, not arithmetic, is the cost), so the calling thread does the work alone.

#include <oxGeom/meshNormals.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/debugChannel.h>
#include <oxUtil/ThreadPool.h>

#include "normalKernels.h"

#include <algorithm>
#include <climits>
#include <vector>

namespace oxGeom
{
namespace
{
// Triangles per block of the span table: large enough that the table is a small fraction of
// the triangle array, small enough that a block of a well-numbered mesh spans few vertices.
constexpr int blockSize = 256;

int numBlocksOf(int numTriangles)
{
    return numTriangles / blockSize + (numTriangles % blockSize != 0 ? 1 : 0);
}

struct MeshArrays
{
    const float* vertices;
    int numVertices;
    const int* triangles;
    int numTriangles;

    bool isVertex(int index) const
    {
        return static_cast<unsigned>(index) < static_cast<unsigned>(numVertices);
    }
    const int* triangle(int i) const { return triangles + 3 * static_cast<long long>(i); }
    const float* vertex(int i) const { return vertices + 3 * static_cast<long long>(i); }
};

// The smallest and largest in-range vertex index of each block of triangles; a block with
// no valid triangle gets the empty span (INT_MAX, INT_MIN).
class BlockSpanAlg : public oxUtil::ThreadedAlg
{
public:
    BlockSpanAlg(const MeshArrays& mesh, int numBlocks, int* spans)
        : m_mesh(mesh), m_numBlocks(numBlocks), m_spans(spans)
    {
    }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_numBlocks, begin, end);
        for (int block = begin; block < end; ++block)
            measureBlock(block);
    }

private:
    void measureBlock(int block)
    {
        const int first = block * blockSize;
        const int last = first + std::min(blockSize, m_mesh.numTriangles - first);
        int lo = INT_MAX, hi = INT_MIN;
        for (int i = first; i < last; ++i)
        {
            const int* t = m_mesh.triangle(i);
            if (!m_mesh.isVertex(t[0]) || !m_mesh.isVertex(t[1]) || !m_mesh.isVertex(t[2]))
                continue;
            lo = std::min(lo, std::min(t[0], std::min(t[1], t[2])));
            hi = std::max(hi, std::max(t[0], std::max(t[1], t[2])));
        }
        m_spans[2 * block] = lo;
        m_spans[2 * block + 1] = hi;
    }

    const MeshArrays m_mesh;  // a copy: the hot loops read it from the algorithm object
    int m_numBlocks;
    int* m_spans;
};

// Each thread zeroes its range of normals, adds the normals of the triangles touching the
// range in ascending triangle order, and normalises the range, which is complete by then.
class MeshComputeNormalsAlg : public oxUtil::ThreadedAlg
{
public:
    // `spans`: the block span table, or null to visit every block.
    MeshComputeNormalsAlg(const MeshArrays& mesh, const int* spans, float* normals)
        : m_mesh(mesh), m_spans(spans), m_normals(normals)
    {
    }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_mesh.numVertices, begin, end);
        if (begin == end)
            return;
        std::fill(m_normals + 3 * static_cast<long long>(begin),
                  m_normals + 3 * static_cast<long long>(end), 0.0f);
        const int numBlocks = numBlocksOf(m_mesh.numTriangles);
        for (int block = 0; block < numBlocks; ++block)
        {
            if (m_spans && (m_spans[2 * block] >= end || m_spans[2 * block + 1] < begin))
                continue;
            const int first = block * blockSize;
            const int last = first + std::min(blockSize, m_mesh.numTriangles - first);
            if (begin == 0 && end == m_mesh.numVertices)
                addBlock<true>(first, last, begin, end);
            else
                addBlock<false>(first, last, begin, end);
        }
        for (int v = begin; v < end; ++v)
            detail::normalizeVector(m_normals + 3 * static_cast<long long>(v));
    }

private:
    // Adds the normals of triangles [first, last) to the corners in [begin, end). Instantiated
    // without the ownership tests for a thread that owns every vertex.
    template <bool OwnsAll>
    void addBlock(int first, int last, int begin, int end)
    {
        const unsigned span = static_cast<unsigned>(end - begin);
        for (int i = first; i < last; ++i)
        {
            const int* t = m_mesh.triangle(i);
            // Offsets into the range, wrapped so that one unsigned compare tests both ends.
            const bool own0 = OwnsAll || unsigned(t[0]) - unsigned(begin) < span;
            const bool own1 = OwnsAll || unsigned(t[1]) - unsigned(begin) < span;
            const bool own2 = OwnsAll || unsigned(t[2]) - unsigned(begin) < span;
            if (!(own0 || own1 || own2))
                continue;
            if (!m_mesh.isVertex(t[0]) || !m_mesh.isVertex(t[1]) || !m_mesh.isVertex(t[2]))
                continue;
            float n[3];
            detail::triangleNormal(m_mesh.vertex(t[0]), m_mesh.vertex(t[1]), m_mesh.vertex(t[2]),
                                   n);
            if (own0)
                add(t[0], n);
            if (own1)
                add(t[1], n);
            if (own2)
                add(t[2], n);
        }
    }

    void add(int vertex, const float n[3])
    {
        float* sum = m_normals + 3 * static_cast<long long>(vertex);
        sum[0] += n[0];
        sum[1] += n[1];
        sum[2] += n[2];
    }

    const MeshArrays m_mesh;  // a copy: the hot loops read it from the algorithm object
    const int* m_spans;
    float* m_normals;
};
// True when computing triangle normals on the spot would compute most of them twice or more:
// the vertex ranges of the threads together meet more than 1.5 times as many blocks as there
// are. O(blocks * threads).
bool sharesMostBlocks(const std::vector<int>& spans, int numVertices, int numThreads)
{
    const long long numBlocks = static_cast<long long>(spans.size() / 2);
    long long visits = 0;
    for (int t = 0; t < numThreads; ++t)
    {
        const int begin = oxUtil::ThreadedAlg::getBeginIndex(t, numThreads, numVertices);
        const int end = oxUtil::ThreadedAlg::getBeginIndex(t + 1, numThreads, numVertices);
        for (long long block = 0; block < numBlocks; ++block)
            visits += begin < end && spans[2 * block] < end && spans[2 * block + 1] >= begin;
    }
    return 2 * visits > 3 * numBlocks;
}
}  // namespace

void meshComputeNormals(CompactMesh& mesh)
{
    const int numVertices = mesh.getNumVertices();
    if (numVertices <= 0)
        return;
    const int numTriangles = mesh.getNumTriangles();
    debugChannel().print("meshComputeNormals:  vertices %d  triangles %d\n", numVertices,
                         numTriangles);

    mesh.allocNormalArray();
    const MeshArrays arrays{mesh.getVerticesRaw(), numVertices, mesh.getTrianglesRaw(),
                            numTriangles};
    oxUtil::ThreadPool& pool = oxUtil::ThreadPool::get();
    const int numThreads = pool.getNumThreads();
    // One thread owns every vertex and visits every block anyway: no tables then.
    std::vector<int> spans;
    bool alone = numThreads <= 1;
    if (!alone)
    {
        const int numBlocks = numBlocksOf(numTriangles);
        spans.resize(2 * static_cast<size_t>(numBlocks));
        BlockSpanAlg spanAlg(arrays, numBlocks, spans.data());
        pool.run(spanAlg);
        alone = sharesMostBlocks(spans, numVertices, numThreads);
    }
    MeshComputeNormalsAlg alg(arrays, alone ? nullptr : spans.data(), mesh.getNormalsRaw());
    if (alone)
        alg.execute(0, 1);
    else
        pool.run(alg);

    mesh.setNormalsComputed(true);
    MeshModification modification(&mesh, MeshModification::Normals, nullptr);
    modification.normalsModified();
    mesh.modified(modification);
}
}  // namespace oxGeom
