// Normalisation of a packed array of 3-float vectors on the shared pool. Each vector is
// independent, so every thread scales its own contiguous slice and nothing is reduced.

#include <oxGeom/meshNormals.h>

#include <oxUtil/ThreadPool.h>

#include "normalKernels.h"

namespace oxGeom
{
namespace
{
class MeshNormalizeAlg : public oxUtil::ThreadedAlg
{
public:
    MeshNormalizeAlg(float* vectors, int count) : m_vectors(vectors), m_count(count) {}

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_count, begin, end);
        for (int i = begin; i < end; ++i)
            detail::normalizeVector(m_vectors + 3 * static_cast<long long>(i));
    }

private:
    float* m_vectors;
    int m_count;
};
}  // namespace

void meshNormalize(float* vectors, int count)
{
    if (!vectors || count <= 0)
        return;
    MeshNormalizeAlg alg(vectors, count);
    oxUtil::ThreadPool::get().run(alg);
}
}  // namespace oxGeom
