// Triangle normals of a mesh, stored into its triangle-normal channel. Each triangle is
// independent, so every pool thread fills its own contiguous slice of the array.

#include <oxGeom/meshNormals.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/ThreadPool.h>

#include "normalKernels.h"

namespace oxGeom
{
namespace
{
class MeshComputeTriangleNormalsAlg : public oxUtil::ThreadedAlg
{
public:
    MeshComputeTriangleNormalsAlg(const float* vertices, int numVertices, const int* triangles,
                                  int numTriangles, float* normals)
        : m_vertices(vertices),
          m_numVertices(numVertices),
          m_triangles(triangles),
          m_numTriangles(numTriangles),
          m_normals(normals)
    {
    }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_numTriangles, begin, end);
        for (int i = begin; i < end; ++i)
            computeNormal(m_triangles + 3 * static_cast<long long>(i),
                          m_normals + 3 * static_cast<long long>(i));
    }

private:
    bool isVertex(int index) const
    {
        return static_cast<unsigned>(index) < static_cast<unsigned>(m_numVertices);
    }

    // A triangle reaching outside the vertex array has no geometry to measure; it is treated
    // like a degenerate one.
    void computeNormal(const int* triangle, float* normal) const
    {
        if (!isVertex(triangle[0]) || !isVertex(triangle[1]) || !isVertex(triangle[2]))
        {
            normal[0] = 0.0f;
            normal[1] = 0.0f;
            normal[2] = 1.0f;
            return;
        }
        detail::triangleNormal(m_vertices + 3 * triangle[0], m_vertices + 3 * triangle[1],
                               m_vertices + 3 * triangle[2], normal);
    }

    const float* m_vertices;
    int m_numVertices;
    const int* m_triangles;
    int m_numTriangles;
    float* m_normals;
};
}  // namespace

void meshComputeTriangleNormals(CompactMesh& mesh)
{
    const int numTriangles = mesh.getNumTriangles();
    if (numTriangles <= 0)
        return;
    debugChannel().print("meshComputeTriangleNormals:  vertices %d  triangles %d\n",
                         mesh.getNumVertices(), numTriangles);
    oxOS::StopWatch watch;
    watch.start();

    mesh.allocTriangleNormalArray();
    MeshComputeTriangleNormalsAlg alg(mesh.getVerticesRaw(), mesh.getNumVertices(),
                                      mesh.getTrianglesRaw(), numTriangles,
                                      mesh.getTriangleNormalsRaw());
    oxUtil::ThreadPool::get().run(alg);
    debugChannel().print("  normalized: %f s\n", watch.clear());

    MeshModification modification(&mesh, MeshModification::Normals, nullptr);
    modification.triangleNormalsModified();
    mesh.modified(modification);
}
}  // namespace oxGeom
