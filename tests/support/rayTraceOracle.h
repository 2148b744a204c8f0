#pragma once
// Brute force for the ray tracers: a mesh with its octree and leaf lists, a scan-like height
// field, ray directions drawn with the sampling tools, and an oracle that classifies every
// triangle of a mesh against a ray in double precision, independently of the library's
// triangle tests. Hits whose outcome single-precision arithmetic may legitimately flip (within
// rounding of an edge, of the |det| limit or of a parameter limit) are marked optional, so a
// tracer's answer can be judged exactly wherever it is determined.

#include <oxGeom/BoundingBox.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/Hammersley.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/sampling.h>
#include <oxLinear/Point.h>
#include <oxLinear/Tolerance.h>

#include "support/meshes.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace testsupport
{
/// Ray counts are cut by this factor under the sanitizers, which slow the brute force most.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int sanitizerRayDivisor = 8;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int sanitizerRayDivisor = 8;
#else
constexpr int sanitizerRayDivisor = 1;
#endif
#else
constexpr int sanitizerRayDivisor = 1;
#endif

/// A mesh with a tiling vertex octree of the given leaf size and its leaf lists.
struct TraceScene
{
    TraceScene(const char* sceneName, oxGeom::CompactMesh m, int leafSize)
        : name(sceneName), mesh(std::move(m))
    {
        oxGeom::meshBoundingBox(mesh, bounds);
        octree =
            oxGeom::Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, true, leafSize);
        oxGeom::computeOctreeTris(mesh, octree, tris);
    }
    TraceScene(const TraceScene&) = delete;
    TraceScene& operator=(const TraceScene&) = delete;

    const char* name;
    oxGeom::CompactMesh mesh;
    oxGeom::BoundingBox bounds;
    oxGeom::Octree octree;
    oxGeom::OctreeTris tris;
};

/// A scan-like height field over an n x n grid of unit cells: rolling terrain with seeded
/// jitter in all three coordinates, so that neighbouring triangles meet at varying angles and
/// bumps shadow one another.
inline oxGeom::CompactMesh scanGrid(int n, std::uint32_t seed)
{
    oxGeom::CompactMesh mesh = fixtures::gridMesh(n, n);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> jitter(-0.15f, 0.15f);
    oxGeom::MeshVertex* v = mesh.getVertices();
    for (int i = 0; i < mesh.getNumVertices(); ++i)
    {
        const float x = v[i][0], y = v[i][1];
        v[i][0] = x + jitter(rng);
        v[i][1] = y + jitter(rng);
        v[i][2] = 1.5f * std::sin(0.7f * x) * std::cos(0.5f * y) + 2.0f * jitter(rng);
    }
    return mesh;
}

inline double dot3(const double* a, const double* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline void cross3(const double* a, const double* b, double* out)
{
    out[0] = a[1] * b[2] - a[2] * b[1];
    out[1] = a[2] * b[0] - a[0] * b[2];
    out[2] = a[0] * b[1] - a[1] * b[0];
}
inline double norm3(const double* a)
{
    return std::sqrt(dot3(a, a));
}

enum class Verdict
{
    Miss,
    Optional,  // a float test may go either way
    Hit
};

/// One triangle against one ray, in double precision: the two-sided test with closed
/// barycentric bounds, |det| > 1e-6, front faces from t > epsilonTolFlt and back faces from
/// t >= `cullDistance`. `t` receives the hit parameter and `tBand` the reach of float rounding
/// in it (both set whenever the triangle is not a plain miss).
/// Everything within the reach of single-precision rounding of a limit is Optional; the reach
/// grows with the distance of the origin from the triangle relative to its size and with the
/// grazing of the ray, as the error of a float evaluation does.
inline Verdict classifyTriangle(const double* d, const float* o, const float* a, const float* b,
                                const float* c, double cullDistance, double& t, double& tBand)
{
    double e1[3], e2[3], s[3];
    for (int k = 0; k < 3; ++k)
    {
        e1[k] = double(b[k]) - a[k];
        e2[k] = double(c[k]) - a[k];
        s[k] = double(o[k]) - a[k];
    }
    double p[3], q[3];
    cross3(d, e2, p);
    cross3(s, e1, q);
    const double det = dot3(e1, p);
    const double floatEps = 1.0 / 16777216.0;
    const double edge = std::max(norm3(e1), norm3(e2));
    const double dLength = norm3(d);
    const double detError = 64.0 * floatEps * dLength * edge * edge;
    const double detLimit = 1e-6;
    if (std::fabs(det) <= detLimit - detError || det == 0.0)
        return Verdict::Miss;
    const double u = dot3(s, p) / det;
    const double v = dot3(d, q) / det;
    t = dot3(e2, q) / det;
    const double reach = (norm3(s) + edge) * edge * dLength / std::fabs(det);
    const double baryBand = 1e-5 + 64.0 * floatEps * reach;
    tBand = 64.0 * floatEps * reach * (norm3(s) + edge) / dLength + 1e-12;
    const double margin = std::min(std::min(u, v), 1.0 - u - v);
    if (margin < -baryBand)
        return Verdict::Miss;
    const double limit = det > 0.0 ? double(oxLinear::epsilonTolFlt) : cullDistance;
    if (t < limit - tBand)
        return Verdict::Miss;
    const bool sure =
        std::fabs(det) > detLimit + detError && margin > baryBand && t > limit + tBand;
    return sure ? Verdict::Hit : Verdict::Optional;
}

/// Every triangle that the ray may hit, with its verdict and parameter.
struct Candidate
{
    int triangle;
    Verdict verdict;
    double t;
    double tBand;
};

/// Brute force over every triangle of a mesh, with a bounding ball per triangle to skip at
/// once the triangles a ray's line passes far from (the ball is grown by a thousandth of its
/// radius, beyond the reach of any optional verdict).
class BruteForce
{
public:
    explicit BruteForce(const oxGeom::CompactMesh& mesh) : m_mesh(mesh)
    {
        const oxGeom::MeshVertex* v = mesh.getVertices();
        for (int i = 0; i < mesh.getNumTriangles(); ++i)
        {
            const oxGeom::MeshTriangle& tri = mesh.getTriangles()[i];
            Ball ball{{0.0, 0.0, 0.0}, 0.0};
            for (int corner = 0; corner < 3; ++corner)
                for (int k = 0; k < 3; ++k)
                    ball.centre[k] += v[tri[corner]][k] / 3.0;
            for (int corner = 0; corner < 3; ++corner)
            {
                double r2 = 0.0;
                for (int k = 0; k < 3; ++k)
                    r2 +=
                        (v[tri[corner]][k] - ball.centre[k]) * (v[tri[corner]][k] - ball.centre[k]);
                ball.radius2 = std::max(ball.radius2, r2);
            }
            ball.radius2 *= 1.002 * 1.002;
            ball.radius2 += 1e-12;
            m_balls.push_back(ball);
        }
    }

    /// Every triangle that the ray may hit, with its verdict, parameter and band.
    std::vector<Candidate> classify(const oxLinear::PointFlt& origin,
                                    const oxLinear::Vector& direction, double cullDistance) const
    {
        std::vector<Candidate> candidates;
        const oxGeom::MeshVertex* v = m_mesh.getVertices();
        const double d[3] = {direction[0], direction[1], direction[2]};
        const double d2 = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
        for (std::size_t i = 0; i < m_balls.size(); ++i)
        {
            const Ball& ball = m_balls[i];
            const double w[3] = {ball.centre[0] - origin[0], ball.centre[1] - origin[1],
                                 ball.centre[2] - origin[2]};
            const double along = w[0] * d[0] + w[1] * d[1] + w[2] * d[2];
            const double w2 = w[0] * w[0] + w[1] * w[1] + w[2] * w[2];
            if (w2 - along * along / d2 > ball.radius2)
                continue;
            const oxGeom::MeshTriangle& tri = m_mesh.getTriangles()[i];
            double t = 0.0, tBand = 0.0;
            const Verdict verdict = classifyTriangle(d, origin.data(), v[tri[0]].v, v[tri[1]].v,
                                                     v[tri[2]].v, cullDistance, t, tBand);
            if (verdict != Verdict::Miss)
                candidates.push_back({static_cast<int>(i), verdict, t, tBand});
        }
        return candidates;
    }

private:
    struct Ball
    {
        double centre[3];
        double radius2;
    };
    const oxGeom::CompactMesh& m_mesh;
    std::vector<Ball> m_balls;
};

/// Judges a nearest-hit answer (`triangle`, -1 for none, at parameter `t`) against the
/// candidates: the triangle must be a possible hit whose parameter agrees within `tTolerance`
/// (relative to max(1, t)) plus the reach of rounding, and no sure hit may lie nearer than `t`
/// by more than that. Returns an empty string when the answer is acceptable, else what is
/// wrong.
inline std::string judgeNearest(const std::vector<Candidate>& candidates, int triangle, double t,
                                double tTolerance)
{
    const double tolerance = tTolerance * std::max(1.0, std::fabs(t));
    const Candidate* nearerSure = nullptr;
    const Candidate* claimed = nullptr;
    bool anySure = false;
    for (const Candidate& c : candidates)
    {
        anySure = anySure || c.verdict == Verdict::Hit;
        if (c.verdict == Verdict::Hit && c.t < t - tolerance - c.tBand)
            nearerSure = &c;
        if (c.triangle == triangle)
            claimed = &c;
    }
    std::ostringstream problem;
    if (triangle < 0)
    {
        if (anySure)
            problem << "no hit reported, but there is a sure hit";
        return problem.str();
    }
    if (claimed == nullptr)
        problem << "triangle " << triangle << " reported at t = " << t << " is not hit";
    else if (std::fabs(claimed->t - t) > tolerance + claimed->tBand)
        problem << "triangle " << triangle << " reported at t = " << t << ", hit at " << claimed->t;
    else if (nearerSure != nullptr)
        problem << "triangle " << triangle << " reported at t = " << t << ", but triangle "
                << nearerSure->triangle << " is surely hit nearer, at " << nearerSure->t;
    return problem.str();
}

/// Judges a first-hit answer: a reported triangle must be a possible hit (any t); no report
/// is acceptable only when there is no sure hit.
inline std::string judgeAny(const std::vector<Candidate>& candidates, int triangle)
{
    bool anySure = false, claimedPossible = false;
    for (const Candidate& c : candidates)
    {
        anySure = anySure || c.verdict == Verdict::Hit;
        claimedPossible = claimedPossible || c.triangle == triangle;
    }
    if (triangle < 0 && anySure)
        return "no hit reported, but there is a sure hit";
    if (triangle >= 0 && !claimedPossible)
        return "triangle " + std::to_string(triangle) + " reported, but it is not hit";
    return std::string();
}

/// A seeded point of triangle `index` (uniform barycentrics), rounded to floats, and the
/// triangle's unit normal (b - a) x (c - a).
inline void surfacePoint(const oxGeom::CompactMesh& mesh, int index, std::mt19937& rng,
                         oxLinear::PointFlt& point, oxLinear::Vector& normal)
{
    const oxGeom::MeshTriangle& tri = mesh.getTriangles()[index];
    const oxGeom::MeshVertex* v = mesh.getVertices();
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    double r1 = unit(rng), r2 = unit(rng);
    if (r1 + r2 > 1.0)
    {
        r1 = 1.0 - r1;
        r2 = 1.0 - r2;
    }
    double e1[3], e2[3];
    for (int k = 0; k < 3; ++k)
    {
        const double a = v[tri[0]][k];
        e1[k] = v[tri[1]][k] - a;
        e2[k] = v[tri[2]][k] - a;
        point[k] = float(a + r1 * e1[k] + r2 * e2[k]);
    }
    double n[3];
    cross3(e1, e2, n);
    normal = oxLinear::Vector(n[0], n[1], n[2]).normalized();
}

/// Four directions of an ambient-occlusion packet about the unit `normal`: sample
/// `index` .. index + 3 of a Hammersley set (bit-reversed base 2 against scrambled base 3)
/// mapped onto the hemisphere (a cap of height 1), rotated into the normal's frame.
inline void hammersleyHemisphere(const oxLinear::Vector& normal, int index, int count,
                                 oxLinear::VectorFlt out[4])
{
    static const oxGeom::ScrambledHammersleySequence base3 = []
    {
        oxGeom::ScrambledHammersleySequence s;
        s.calculate(3, 4096);
        return s;
    }();
    static const oxGeom::HammersleyPermutation2 base2 = []
    {
        oxGeom::HammersleyPermutation2 p;
        p.calculate(12);
        return p;
    }();
    const oxLinear::Vector tangent = normal.orthogonalVector();
    const oxLinear::Vector bitangent = oxLinear::cross(normal, tangent);
    for (int lane = 0; lane < 4; ++lane)
    {
        const int i = index + lane;
        const float u = float(base2[i]) / float(base2.size());
        const float w = base3[i % count];
        oxLinear::VectorFlt local;
        oxGeom::mapSphericalCapToUniformCartesian(u, w, 1.0f, local);
        const oxLinear::Vector d =
            double(local[0]) * tangent + double(local[1]) * bitangent + double(local[2]) * normal;
        out[lane] = oxLinear::VectorFlt(float(d[0]), float(d[1]), float(d[2]));
    }
}

/// Four random directions on the hemisphere about `normal` (computeHemisphereVectors; seed
/// drand48 with srand48 for a repeatable sequence).
inline void randomHemisphere(const oxLinear::Vector& normal, oxLinear::VectorFlt out[4])
{
    ox::vector<oxLinear::Vector> directions(4);
    oxGeom::computeHemisphereVectors(normal, directions);
    for (int lane = 0; lane < 4; ++lane)
        out[lane] = oxLinear::VectorFlt(float(directions[lane][0]), float(directions[lane][1]),
                                        float(directions[lane][2]));
}

inline oxLinear::Vector widen(const oxLinear::VectorFlt& v)
{
    return oxLinear::Vector(v[0], v[1], v[2]);
}
}  // namespace testsupport
