// Surface area of placed meshes. Each pool thread sums the triangle areas of
// one contiguous slice in double and the caller adds the slices in thread
// order, so the result is fixed by the slice split and never by thread timing.

#include <oxGeom/meshArea.h>

#include <oxGeom/CompactMesh.h>
#include <oxLinear/AffineMatrix.h>
#include <oxUtil/ThreadPool.h>

#include <cmath>
#include <vector>

namespace oxGeom
{
namespace
{
class MeshAreaAlg : public oxUtil::ThreadedAlg
{
public:
    MeshAreaAlg(const oxLinear::AffineMatrix& matrix, MeshChannel channel, const int* triangles,
                const float* vertices, const float* coordinates2d, int numTriangles)
        : m_channel(channel),
          m_triangles(triangles),
          m_vertices(vertices),
          m_coordinates2d(coordinates2d),
          m_numTriangles(numTriangles)
    {
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column)
                m_linear[row][column] = matrix[row][column];
        m_linearIsIdentity = true;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column)
                m_linearIsIdentity &= m_linear[row][column] == (row == column ? 1.0 : 0.0);
    }

    void initialize(int numThreads) override { m_sums.assign(numThreads, 0.0); }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_numTriangles, begin, end);
        double sum;
        if (m_channel != VertexChannel)
            sum = sumParameterAreas(begin, end);
        else if (m_linearIsIdentity)
            sum = sumAreas(begin, end);
        else
            sum = sumTransformedAreas(begin, end);
        m_sums[threadIndex] = 0.5 * sum;
    }

    // The slots in thread order; the caller adds them up.
    const std::vector<double>& sums() const { return m_sums; }

private:
    const float* corner(int triangle, int k) const
    {
        return m_vertices + 3 * m_triangles[3 * triangle + k];
    }

    static double crossLength(const double e1[3], const double e2[3])
    {
        const double x = e1[1] * e2[2] - e1[2] * e2[1];
        const double y = e1[2] * e2[0] - e1[0] * e2[2];
        const double z = e1[0] * e2[1] - e1[1] * e2[0];
        return std::sqrt(x * x + y * y + z * z);
    }

    // Twice the area of each triangle, untransformed. Multiplying by an identity
    // linear part is exact, so this shortcut changes no bit of the result.
    double sumAreas(int begin, int end) const
    {
        double sum = 0.0;
        for (int i = begin; i < end; ++i)
        {
            const float* a = corner(i, 0);
            const float* b = corner(i, 1);
            const float* c = corner(i, 2);
            const double e1[3] = {double(b[0]) - a[0], double(b[1]) - a[1], double(b[2]) - a[2]};
            const double e2[3] = {double(c[0]) - a[0], double(c[1]) - a[1], double(c[2]) - a[2]};
            sum += crossLength(e1, e2);
        }
        return sum;
    }

    // Twice the area of each triangle after its edge vectors are carried by the
    // linear part of the placement (a translation cannot change an area).
    double sumTransformedAreas(int begin, int end) const
    {
        double sum = 0.0;
        for (int i = begin; i < end; ++i)
        {
            const float* a = corner(i, 0);
            const float* b = corner(i, 1);
            const float* c = corner(i, 2);
            const double d1[3] = {double(b[0]) - a[0], double(b[1]) - a[1], double(b[2]) - a[2]};
            const double d2[3] = {double(c[0]) - a[0], double(c[1]) - a[1], double(c[2]) - a[2]};
            double e1[3], e2[3];
            transformDirection(d1, e1);
            transformDirection(d2, e2);
            sum += crossLength(e1, e2);
        }
        return sum;
    }

    void transformDirection(const double d[3], double out[3]) const
    {
        for (int column = 0; column < 3; ++column)
            out[column] = d[0] * m_linear[0][column] + d[1] * m_linear[1][column] +
                          d[2] * m_linear[2][column];
    }

    // Twice the area of each triangle in a 2-D channel; each triangle's term is
    // formed and made positive in single precision, then added in double.
    double sumParameterAreas(int begin, int end) const
    {
        const float* uv = m_coordinates2d;
        double sum = 0.0;
        for (int i = begin; i < end; ++i)
        {
            const float* a = uv + 2 * m_triangles[3 * i];
            const float* b = uv + 2 * m_triangles[3 * i + 1];
            const float* c = uv + 2 * m_triangles[3 * i + 2];
            const float twiceArea = (c[1] - a[1]) * (b[0] - a[0]) - (b[1] - a[1]) * (c[0] - a[0]);
            sum += std::fabs(twiceArea);
        }
        return sum;
    }

    MeshChannel m_channel;
    const int* m_triangles;
    const float* m_vertices;
    const float* m_coordinates2d;
    int m_numTriangles;
    double m_linear[3][3];
    bool m_linearIsIdentity;
    std::vector<double> m_sums;
};

// The 2-D array a channel names, or null when the channel is not measurable.
const float* channelCoordinates(const CompactMesh& mesh, MeshChannel channel)
{
    if (channel == UVChannel)
        return mesh.getUVsRaw();
    if (channel == STChannel)
        return mesh.getSTsRaw();
    return nullptr;
}
}  // namespace

float meshArea(const MeshPlacement& placement, MeshChannel channel)
{
    const CompactMesh* mesh = placement.mesh;
    if (!mesh)
        return 0.0f;
    if (channel != VertexChannel && channel != UVChannel && channel != STChannel)
        return 0.0f;
    const float* coordinates2d = channelCoordinates(*mesh, channel);
    if (channel != VertexChannel && !coordinates2d)
        return 0.0f;

    MeshAreaAlg alg(oxLinear::AffineMatrix(placement.matrix), channel, mesh->getTrianglesRaw(),
                    mesh->getVerticesRaw(), coordinates2d, mesh->getNumTriangles());
    oxUtil::ThreadPool::get().run(alg);

    double total = 0.0;
    for (double slot : alg.sums())
        total += slot;
    return static_cast<float>(total);
}

float meshArea(const ox::list<MeshPlacement>& placements, MeshChannel channel,
               ox::vector<float>& areas)
{
    areas.clear();
    if (channel != VertexChannel && channel != UVChannel && channel != STChannel)
        return 0.0f;
    areas.resize(placements.size());
    float total = 0.0f;
    size_t index = 0;
    for (const MeshPlacement& placement : placements)
    {
        areas[index] = meshArea(placement, channel);
        total += areas[index];
        ++index;
    }
    return total;
}
}  // namespace oxGeom
