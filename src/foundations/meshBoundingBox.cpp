// Bounding box of a mesh's vertices. Each pool thread widens one box over its
// contiguous slice of the vertex array; the caller starts from slot 0 and
// extends it by the others in thread order.

#include <oxGeom/meshBoundingBox.h>

#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/ThreadPool.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace oxGeom
{
namespace
{
class BoundingBoxAlg : public oxUtil::ThreadedAlg
{
public:
    // `selection` may be null; vertices beyond its size count as unselected, so
    // a selection shorter than the vertex array cannot be read past its end.
    BoundingBoxAlg(const BitVector* selection, const float* vertices, int numVertices)
        : m_selectionWords(selection ? selection->getWords() : nullptr),
          m_selectionSize(selection ? selection->size() : 0),
          m_hasSelection(selection != nullptr),
          m_vertices(vertices),
          m_numVertices(numVertices)
    {
    }

    void initialize(int numThreads) override { m_boxes.assign(numThreads, BoundingBox()); }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_numVertices, begin, end);
        float box[6] = {3.4028235e38f,  3.4028235e38f,  3.4028235e38f,
                        -3.4028235e38f, -3.4028235e38f, -3.4028235e38f};
        if (m_hasSelection)
            widenBySelected(begin, std::min(end, m_selectionSize), box);
        else
            widenByAll(begin, end, box);
        std::copy(box, box + 6, m_boxes[threadIndex].data());
    }

    const std::vector<BoundingBox>& boxes() const { return m_boxes; }

private:
    // Strict comparisons: a tie changes nothing, and a NaN coordinate never
    // enters the box.
    static void widen(const float* p, float box[6])
    {
        for (int k = 0; k < 3; ++k)
        {
            box[k] = p[k] < box[k] ? p[k] : box[k];
            box[3 + k] = p[k] > box[3 + k] ? p[k] : box[3 + k];
        }
    }

    void widenByAll(int begin, int end, float box[6]) const
    {
        for (int i = begin; i < end; ++i)
            widen(m_vertices + 3 * i, box);
    }

    void widenBySelected(int begin, int end, float box[6]) const
    {
        const std::uint32_t* words = m_selectionWords;
        for (int i = begin; i < end; ++i)
            if (words[i >> 5] & (1u << (i & 31)))
                widen(m_vertices + 3 * i, box);
    }

    const std::uint32_t* m_selectionWords;
    int m_selectionSize;
    bool m_hasSelection;
    const float* m_vertices;
    int m_numVertices;
    std::vector<BoundingBox> m_boxes;
};
}  // namespace

void meshBoundingBox(const PointMesh& mesh, const BitVector* selection, BoundingBox& box)
{
    oxOS::StopWatch watch;
    watch.start();
    BoundingBoxAlg alg(selection, mesh.getVerticesRaw(), mesh.getNumVertices());
    oxUtil::ThreadPool::get().run(alg);

    const std::vector<BoundingBox>& slots = alg.boxes();
    box = slots[0];
    for (size_t t = 1; t < slots.size(); ++t)
        box.extend(slots[t]);
    debugChannel().print("meshBoundingBox: %d vertices  %f s\n", mesh.getNumVertices(),
                         watch.clear());
}

void meshBoundingBox(const PointMesh& mesh, BoundingBox& box)
{
    meshBoundingBox(mesh, nullptr, box);
}

void meshBoundingBox(const PointMesh& mesh, double min[3], double max[3])
{
    BoundingBox box;
    meshBoundingBox(mesh, box);
    for (int k = 0; k < 3; ++k)
    {
        min[k] = box[k];
        max[k] = box[3 + k];
    }
}
}  // namespace oxGeom
