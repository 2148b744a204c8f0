// Discrete curvature per vertex: mean curvature from the cotangent Laplacian, Gaussian
// curvature from the angle deficit, both over the mixed Voronoi area, and the principal
// curvatures from the two. Three pool phases: the cotangents of every triangle corner, the
// vertices with a closed fan, then the boundary fill in two runs so that each pass reads only
// values that are final, which keeps the result race-free and equal for every thread count.
// Based on: Meyer, Desbrun, Schroeder and Barr 2003, "Discrete differential-geometry operators
// for triangulated 2-manifolds".

#include <oxGeom/meshCurvature.h>

#include <oxGeom/debugChannel.h>
#include <oxGeom/meshTransform.h>
#include <oxLinear/Tolerance.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/ThreadPool.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace oxGeom
{
namespace
{
constexpr double twoPi = 6.283185307179586;

// ---- small vector arithmetic on double[3] ----

void load(const float* p, double out[3])
{
    out[0] = p[0];
    out[1] = p[1];
    out[2] = p[2];
}

void subtract(const double a[3], const double b[3], double out[3])
{
    out[0] = a[0] - b[0];
    out[1] = a[1] - b[1];
    out[2] = a[2] - b[2];
}

double dot(const double a[3], const double b[3])
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double crossLength(const double a[3], const double b[3])
{
    const double x = a[1] * b[2] - a[2] * b[1];
    const double y = a[2] * b[0] - a[0] * b[2];
    const double z = a[0] * b[1] - a[1] * b[0];
    return std::sqrt(x * x + y * y + z * z);
}

int nextCorner(int k)
{
    return k == 2 ? 0 : k + 1;
}

int previousCorner(int k)
{
    return k == 0 ? 2 : k - 1;
}

// What every phase reads: the (possibly placed) arrays and the adjacency tables.
struct CurvatureInput
{
    const float* vertices;
    const float* normals;  // null when the mesh has none
    const int* triangles;
    int numVertices;
    int numTriangles;
    const MeshAdjTris& adjTris;
    const MeshAdjVertices& adjVertices;

    bool isVertex(int index) const
    {
        return static_cast<unsigned>(index) < static_cast<unsigned>(numVertices);
    }
    bool isTriangle(int index) const
    {
        return static_cast<unsigned>(index) < static_cast<unsigned>(numTriangles);
    }
    const int* triangle(int i) const { return triangles + 3 * static_cast<long long>(i); }
    const float* vertex(int i) const { return vertices + 3 * static_cast<long long>(i); }
    bool hasValidCorners(const int* t) const
    {
        return isVertex(t[0]) && isVertex(t[1]) && isVertex(t[2]);
    }
    // A closed fan has as many distinct neighbours as triangles; such a vertex gets its own
    // value in the interior phase and is left alone by the boundary passes.
    bool isClosedFan(int v) const { return adjVertices.numNeighbours(v) == adjTris.numTris(v); }
};

// ---- phase 1: cotangents ----

class ComputeCotangents : public oxUtil::ThreadedAlg
{
public:
    ComputeCotangents(const CurvatureInput& input, double* cotangents)
        : m_input(input), m_cotangents(cotangents)
    {
    }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_input.numTriangles, begin, end);
        for (int i = begin; i < end; ++i)
            cotangentsOf(m_input.triangle(i), m_cotangents + 3 * static_cast<long long>(i));
    }

private:
    // With a and b the edges arriving at and leaving corner k, the corner's angle has cosine
    // -a.b / (|a||b|) and sine |a x b| / (|a||b|). |a x b| equals sqrt(|a|^2 |b|^2 - (a.b)^2)
    // but does not lose the digits that subtraction cancels on thin triangles.
    // A triangle reaching outside the vertex array gets zeros; no vertex's fan uses it.
    void cotangentsOf(const int* t, double* cot) const
    {
        if (!m_input.hasValidCorners(t))
        {
            cot[0] = cot[1] = cot[2] = 0.0;
            return;
        }
        double p[3][3];
        for (int k = 0; k < 3; ++k)
            load(m_input.vertex(t[k]), p[k]);
        for (int k = 0; k < 3; ++k)
        {
            double arriving[3], leaving[3];
            subtract(p[k], p[previousCorner(k)], arriving);
            subtract(p[nextCorner(k)], p[k], leaving);
            cot[k] = -dot(arriving, leaving) / crossLength(arriving, leaving);
        }
    }

    const CurvatureInput& m_input;
    double* m_cotangents;
};

// ---- phase 2: vertices with a closed fan ----

// The sums over one vertex's triangles.
struct FanSums
{
    double meanVector[3] = {0.0, 0.0, 0.0};  // sum of (cot a + cot b)(v - u) over the edges
    double angleSum = 0.0;                   // sum of the triangles' angles at v
    double area = 0.0;                       // mixed Voronoi area
};

// The share of a triangle's area that belongs to its corner v: the Voronoi region of v
// within the triangle when no angle is obtuse, else half the triangle when the obtuse angle
// is at v and a quarter when it is elsewhere. `twiceArea` is |(q - v) x (r - v)|.
double mixedAreaShare(double cotV, double cotQ, double cotR, double lengthVQ2, double lengthVR2,
                      double twiceArea)
{
    if (cotV >= 0.0 && cotQ >= 0.0 && cotR >= 0.0)
        return (lengthVQ2 * cotR + lengthVR2 * cotQ) / 8.0;
    if (cotV < 0.0)
        return twiceArea / 4.0;
    return twiceArea / 8.0;
}

// Principal curvatures H -+ sqrt(|H^2 - K|): the one of smaller magnitude, or of larger.
double principalCurvature(double meanCurvature, double gaussianCurvature, bool larger)
{
    double discriminant = meanCurvature * meanCurvature - gaussianCurvature;
    if (!(discriminant > 0.0))
        discriminant = gaussianCurvature - meanCurvature * meanCurvature;
    double k1 = meanCurvature + std::sqrt(discriminant);
    double k2 = 2.0 * meanCurvature - k1;
    if (std::fabs(k1) < std::fabs(k2))
        std::swap(k1, k2);
    return larger ? k1 : k2;
}

class InteriorCurvature : public oxUtil::ThreadedAlg
{
public:
    InteriorCurvature(const CurvatureInput& input, const double* cotangents, MeshCurvature kind,
                      float* curvature)
        : m_input(input), m_cotangents(cotangents), m_kind(kind), m_curvature(curvature)
    {
    }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_input.numVertices, begin, end);
        for (int v = begin; v < end; ++v)
            m_curvature[v] = static_cast<float>(valueOf(v));
    }

private:
    double valueOf(int v) const
    {
        if (m_input.adjVertices.numNeighbours(v) <= 1 || !m_input.isClosedFan(v))
            return 0.0;
        const FanSums sums = sumFan(v);
        const double mean = m_kind == GaussianCurvature ? 0.0 : meanCurvature(v, sums);
        const double gaussian = m_kind == MeanCurvature ? 0.0 : (twoPi - sums.angleSum) / sums.area;
        switch (m_kind)
        {
            case MeanCurvature:
                return mean;
            case GaussianCurvature:
                return gaussian;
            case MinCurvature:
                return principalCurvature(mean, gaussian, false);
            default:
                return principalCurvature(mean, gaussian, true);
        }
    }

    // The fan's pairwise sum of (cot a + cot b)(v - u), over consecutive triangles sharing the
    // edge (v, u), adds for every edge the cotangents of the two angles opposite it. Taking
    // each triangle's two terms as it comes adds the same terms, so the triangles are visited
    // in adjacency order (ascending index) and no fan ordering is needed: the sums are the
    // same for any starting triangle and any orientation of the neighbours.
    FanSums sumFan(int v) const
    {
        FanSums sums;
        double p[3];
        load(m_input.vertex(v), p);
        const int count = m_input.adjTris.numTris(v);
        const int* tris = m_input.adjTris.triIndices(v);
        for (int j = 0; j < count; ++j)
        {
            const int t = tris[j];
            if (!m_input.isTriangle(t))
                continue;
            const int* corners = m_input.triangle(t);
            const int k = cornerOf(corners, v);
            if (k < 0 || !m_input.hasValidCorners(corners))
                continue;
            addTriangle(p, corners, k, m_cotangents + 3 * static_cast<long long>(t), sums);
        }
        return sums;
    }

    static int cornerOf(const int* corners, int v)
    {
        for (int k = 0; k < 3; ++k)
            if (corners[k] == v)
                return k;
        return -1;
    }

    // Triangle (v, q, r) with v at corner k: edge (v, q) lies opposite corner r and edge
    // (v, r) opposite corner q.
    void addTriangle(const double p[3], const int* corners, int k, const double* cot,
                     FanSums& sums) const
    {
        const int kq = nextCorner(k), kr = nextCorner(kq);
        double q[3], r[3], vq[3], vr[3];
        load(m_input.vertex(corners[kq]), q);
        load(m_input.vertex(corners[kr]), r);
        subtract(p, q, vq);
        subtract(p, r, vr);
        for (int c = 0; c < 3; ++c)
            sums.meanVector[c] += cot[kr] * vq[c] + cot[kq] * vr[c];
        const double twiceArea = crossLength(vq, vr);
        // The angle between (q - v) and (r - v); atan2 of sine and cosine stays accurate near 0
        // and pi, where the arccosine of their normalised dot product loses half its digits,
        // and the angle deficit of a fine mesh is a small difference of such angles.
        sums.angleSum += std::atan2(twiceArea, dot(vq, vr));
        sums.area += mixedAreaShare(cot[k], cot[kq], cot[kr], dot(vq, vq), dot(vr, vr), twiceArea);
    }

    // |M| / (4A), negative when M points away from the vertex normal. Below epsilonTol the
    // direction of M is noise, and the value is left positive.
    double meanCurvature(int v, const FanSums& sums) const
    {
        const double* m = sums.meanVector;
        double length = std::sqrt(dot(m, m));
        if (length >= oxLinear::epsilonTol && m_input.normals)
        {
            double n[3];
            load(m_input.normals + 3 * static_cast<long long>(v), n);
            if (dot(m, n) < 0.0)
                length = -length;
        }
        return length / (4.0 * sums.area);
    }

    const CurvatureInput& m_input;
    const double* m_cotangents;
    MeshCurvature m_kind;
    float* m_curvature;
};

// ---- phase 3: boundary fill ----

// Pass 1 gives each vertex without a closed fan and with a neighbour count other than 2 the
// mean of its closed-fan neighbours, which phase 2 has finished. Pass 2 gives each vertex
// without a closed fan and with 2 or fewer neighbours the mean over its neighbours with more
// than 2: those are closed-fan vertices or pass-1 vertices, all final once the pass-1 run has
// returned, and pass 2 itself writes none of them. Running the passes as two pool runs is what
// makes the result independent of how the vertices are split over threads.
class BoundaryCurvature : public oxUtil::ThreadedAlg
{
public:
    enum class Pass
    {
        FromClosedFans,
        FromRichNeighbours
    };

    BoundaryCurvature(const CurvatureInput& input, Pass pass, float* curvature)
        : m_input(input), m_pass(pass), m_curvature(curvature)
    {
    }

    void execute(int threadIndex, int numThreads) override
    {
        int begin, end;
        getSlice(threadIndex, numThreads, m_input.numVertices, begin, end);
        for (int v = begin; v < end; ++v)
            if (isFilledInThisPass(v))
                m_curvature[v] = static_cast<float>(neighbourMean(v));
    }

private:
    bool isFilledInThisPass(int v) const
    {
        if (m_input.isClosedFan(v))
            return false;
        const int n = m_input.adjVertices.numNeighbours(v);
        return m_pass == Pass::FromClosedFans ? n != 2 : n <= 2;
    }

    bool contributes(int u) const
    {
        if (!m_input.isVertex(u))
            return false;
        if (m_pass == Pass::FromClosedFans)
            return m_input.isClosedFan(u);
        return m_input.adjVertices.numNeighbours(u) > 2;
    }

    double neighbourMean(int v) const
    {
        const int count = m_input.adjVertices.numNeighbours(v);
        const int* neighbours = m_input.adjVertices.neighbours(v);
        double sum = 0.0;
        int used = 0;
        for (int j = 0; j < count; ++j)
        {
            const int u = neighbours[j];
            if (!contributes(u))
                continue;
            sum += m_curvature[u];
            ++used;
        }
        return used > 0 ? sum / used : 0.0;
    }

    const CurvatureInput& m_input;
    Pass m_pass;
    float* m_curvature;
};

bool isIdentity(const oxLinear::AffineMatrixFlt& placement)
{
    return oxLinear::equivalent(placement, oxLinear::AffineMatrixFlt(1.0f),
                                oxLinear::epsilonTolFlt);
}
}  // namespace

void meshCurvature(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                   const MeshAdjVertices& adjVertices, const oxLinear::AffineMatrixFlt& placement,
                   MeshCurvature kind, float* curvature)
{
    if (!curvature)
        return;
    const int numVertices = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();
    if (kind < MeanCurvature || kind > MaxCurvature)
    {
        std::fill(curvature, curvature + numVertices, 0.0f);
        return;
    }
    debugChannel().print("meshCurvature:  vertices %d  triangles %d\n", numVertices, numTriangles);
    oxOS::StopWatch watch;
    watch.start();

    // Curvature is measured where the mesh is placed: positions and normals are carried to
    // that space in scratch copies, unless the placement leaves them where they are.
    const float* vertices = mesh.getVerticesRaw();
    const float* normals = mesh.getNormalsRaw();
    std::vector<float> placedVertices, placedNormals;
    if (!isIdentity(placement))
    {
        const oxLinear::AffineMatrix matrix(placement);
        placedVertices.assign(vertices, vertices + 3 * static_cast<size_t>(numVertices));
        meshTransform(matrix, placedVertices.data(), numVertices);
        vertices = placedVertices.data();
        if (normals)
        {
            placedNormals.assign(normals, normals + 3 * static_cast<size_t>(numVertices));
            meshTransformNormals(matrix, placedNormals.data(), numVertices);
            normals = placedNormals.data();
        }
    }
    const CurvatureInput input{
        vertices, normals, mesh.getTrianglesRaw(), numVertices, numTriangles, adjTris, adjVertices};
    oxUtil::ThreadPool& pool = oxUtil::ThreadPool::get();

    std::vector<double> cotangents(3 * static_cast<size_t>(numTriangles));
    ComputeCotangents cotangentAlg(input, cotangents.data());
    pool.run(cotangentAlg);
    debugChannel().print(" cotangents computed in: %f s\n", watch.clear());

    InteriorCurvature interiorAlg(input, cotangents.data(), kind, curvature);
    pool.run(interiorAlg);
    debugChannel().print("  interior curvature computed: %f s\n", watch.clear());

    BoundaryCurvature firstPass(input, BoundaryCurvature::Pass::FromClosedFans, curvature);
    pool.run(firstPass);
    BoundaryCurvature secondPass(input, BoundaryCurvature::Pass::FromRichNeighbours, curvature);
    pool.run(secondPass);
    debugChannel().print("  boundary curvature computed: %f s\n", watch.clear());
}
}  // namespace oxGeom
