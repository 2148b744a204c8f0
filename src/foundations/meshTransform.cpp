// In-place transformation of packed point and normal arrays. Points take the
// full affine map; normals take the inverse transpose of its linear part (or,
// for a singular matrix, the cofactor matrix) and are scaled back to unit length.

#include <oxGeom/meshTransform.h>

#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/ThreadPool.h>

#include <cmath>

namespace oxGeom
{
namespace
{
// Below this many elements the pool's hand-off costs more than the work.
constexpr int singleThreadedBelow = 10000;

class MeshTransform : public oxUtil::ThreadedAlg
{
public:
    enum class Kind
    {
        Points,
        Normals
    };

    // `rows` is a 4 x 3 matrix in the row-vector convention; for normals only
    // its linear rows 0..2 are used.
    MeshTransform(Kind kind, const double rows[4][3], float* data, int count)
        : m_kind(kind), m_data(data), m_count(count)
    {
        for (int row = 0; row < 4; ++row)
            for (int column = 0; column < 3; ++column)
                m_m[row][column] = rows[row][column];
    }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_count, begin, end);
        if (m_kind == Kind::Points)
            transformPoints(begin, end);
        else
            transformNormals(begin, end);
    }

private:
    void multiply(const float* in, double out[3], bool translate) const
    {
        const double x = in[0], y = in[1], z = in[2];
        for (int column = 0; column < 3; ++column)
            out[column] = x * m_m[0][column] + y * m_m[1][column] + z * m_m[2][column] +
                          (translate ? m_m[3][column] : 0.0);
    }

    void transformPoints(int begin, int end)
    {
        for (int i = begin; i < end; ++i)
        {
            float* p = m_data + 3 * i;
            double q[3];
            multiply(p, q, true);
            p[0] = static_cast<float>(q[0]);
            p[1] = static_cast<float>(q[1]);
            p[2] = static_cast<float>(q[2]);
        }
    }

    void transformNormals(int begin, int end)
    {
        for (int i = begin; i < end; ++i)
        {
            float* n = m_data + 3 * i;
            double q[3];
            multiply(n, q, false);
            const double length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2]);
            const double scale = length > 0.0 ? 1.0 / length : 0.0;
            n[0] = static_cast<float>(q[0] * scale);
            n[1] = static_cast<float>(q[1] * scale);
            n[2] = static_cast<float>(q[2] * scale);
        }
    }

    Kind m_kind;
    float* m_data;
    int m_count;
    double m_m[4][3];
};

void runTransform(MeshTransform& alg, int count)
{
    oxUtil::ThreadPool& pool = count < singleThreadedBelow
                                   ? oxUtil::ThreadPool::getSingleThreadedPool()
                                   : oxUtil::ThreadPool::get();
    pool.run(alg);
}

// The matrix that carries normals: the inverse transpose of the linear part
// when it exists, else the cofactor matrix, which has the same direction for a
// positive determinant and stays defined when the determinant is 0. In the
// row-vector convention n' = n * N with N = (L^-1)^T.
void normalRows(const oxLinear::AffineMatrix& matrix, double rows[4][3])
{
    oxLinear::AffineMatrix normal;
    const bool invertible = matrix.normalMatrix(normal);
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 3; ++column)
            rows[row][column] = row < 3 && invertible ? normal[row][column] : 0.0;
    if (invertible)
        return;
    // Cofactor C[i][j] = (-1)^(i+j) * minor(i, j) of L; with row vectors the
    // normal map is n * C, since (L^-1)^T = C / det(L).
    const oxLinear::AffineMatrix& m = matrix;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
        {
            const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
            rows[i][j] = m[i1][j1] * m[i2][j2] - m[i1][j2] * m[i2][j1];
        }
}
}  // namespace

void meshTransform(const oxLinear::AffineMatrix& matrix, float* coordinates, int count)
{
    if (!coordinates || count <= 0)
        return;
    oxOS::StopWatch watch;
    watch.start();
    double rows[4][3];
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 3; ++column)
            rows[row][column] = matrix[row][column];
    MeshTransform alg(MeshTransform::Kind::Points, rows, coordinates, count);
    runTransform(alg, count);
    debugChannel().print("meshTransform: %d points, %f s\n", count, watch.clear());
}

void meshTransformNormals(const oxLinear::AffineMatrix& matrix, float* normals, int count)
{
    if (!normals || count <= 0)
        return;
    oxOS::StopWatch watch;
    watch.start();
    double rows[4][3];
    normalRows(matrix, rows);
    MeshTransform alg(MeshTransform::Kind::Normals, rows, normals, count);
    runTransform(alg, count);
    debugChannel().print("meshTransformNormals: %d normals, %f s\n", count, watch.clear());
}
}  // namespace oxGeom
