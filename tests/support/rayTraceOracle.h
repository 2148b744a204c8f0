#pragma once
// Brute force for the ray tracers: scenes (a mesh, its octree and leaf lists), seeded ray
// packets (random rays and ambient-occlusion rays from the sampling tools), and an oracle that
// classifies every triangle against a ray in double precision, independently of the library's
// triangle tests. Hits that single-precision rounding may legitimately flip (near an edge, the
// |det| limit or a parameter limit) are optional, so an answer is judged exactly wherever it is
// determined.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/Hammersley.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/sampling.h>
#include <oxLinear/Tolerance.h>

#include "support/meshes.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace testsupport
{
// Ray counts are cut by this factor under AddressSanitizer, which slows the brute force most.
#if defined(__SANITIZE_ADDRESS__)
constexpr int sanitizerRayDivisor = 8;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
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
    const char* name;
    oxGeom::CompactMesh mesh;
    oxGeom::BoundingBox bounds;
    oxGeom::Octree octree;
    oxGeom::OctreeTris tris;
};

/// A scan-like height field over n x n unit cells: rolling terrain with seeded jitter in all
/// three coordinates, so that bumps shadow one another.
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

/// The scenes the tracer tests run on: a closed sphere (deep and shallow octrees), a random
/// soup and a scan-like grid.
inline std::vector<std::unique_ptr<TraceScene>> traceScenes()
{
    std::vector<std::unique_ptr<TraceScene>> list;
    list.emplace_back(new TraceScene("icosphere", fixtures::icosphere(2, 1.0f), 16));
    list.emplace_back(new TraceScene("icosphere leaf 2", fixtures::icosphere(2, 1.0f), 2));
    list.emplace_back(new TraceScene("soup", fixtures::randomMesh(801, 150, 250), 8));
    list.emplace_back(new TraceScene("scan grid", scanGrid(14, 802), 4));
    return list;
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
inline oxLinear::Vector widen(const oxLinear::VectorFlt& v)
{
    return oxLinear::Vector(v[0], v[1], v[2]);
}

/// Packet `p` of a scene: by p mod 4, a common origin in and around the box with lanes towards
/// random points of it, or a seeded surface point with four hemisphere directions about the
/// triangle's normal: Hammersley (bit-reversed base 2 against scrambled base 3) outwards,
/// computeHemisphereVectors outwards (seed drand48 first), or Hammersley inwards.
inline void makePacket(const TraceScene& scene, int p, std::mt19937& rng,
                       oxLinear::PointFlt& origin, oxLinear::VectorFlt d[4])
{
    const oxGeom::BoundingBox& box = scene.bounds;
    if (p % 4 == 0)
    {
        for (int axis = 0; axis < 3; ++axis)
        {
            const float side = std::max(box[axis + 3] - box[axis], 1e-3f);
            origin[axis] =
                std::uniform_real_distribution<float>(box[axis] - side, box[axis + 3] + side)(rng);
        }
        for (int lane = 0; lane < 4; ++lane)
            for (int axis = 0; axis < 3; ++axis)
                d[lane][axis] =
                    std::uniform_real_distribution<float>(box[axis], box[axis + 3])(rng) -
                    origin[axis];
        return;
    }
    // A uniform point of a random triangle, rounded to floats, and the triangle's normal.
    const oxGeom::MeshTriangle& tri = scene.mesh.getTriangles()[std::uniform_int_distribution<int>(
        0, scene.mesh.getNumTriangles() - 1)(rng)];
    const oxGeom::MeshVertex* v = scene.mesh.getVertices();
    double r1 = std::uniform_real_distribution<double>(0.0, 1.0)(rng);
    double r2 = std::uniform_real_distribution<double>(0.0, 1.0)(rng);
    if (r1 + r2 > 1.0)
        r1 = 1.0 - r1, r2 = 1.0 - r2;
    double e1[3], e2[3], n[3];
    for (int k = 0; k < 3; ++k)
    {
        e1[k] = double(v[tri[1]][k]) - v[tri[0]][k];
        e2[k] = double(v[tri[2]][k]) - v[tri[0]][k];
        origin[k] = float(v[tri[0]][k] + r1 * e1[k] + r2 * e2[k]);
    }
    cross3(e1, e2, n);
    oxLinear::Vector normal = oxLinear::Vector(n[0], n[1], n[2]).normalized();
    if (p % 4 == 3)
        normal = -normal;
    if (p % 4 == 2)
    {
        ox::vector<oxLinear::Vector> directions(4);
        oxGeom::computeHemisphereVectors(normal, directions);
        for (int lane = 0; lane < 4; ++lane)
            for (int k = 0; k < 3; ++k)
                d[lane][k] = float(directions[lane][k]);
        return;
    }
    static const oxGeom::ScrambledHammersleySequence base3 = []
    {
        oxGeom::ScrambledHammersleySequence s;
        s.calculate(3, 4096);
        return s;
    }();
    static const oxGeom::HammersleyPermutation2 base2 = []
    {
        oxGeom::HammersleyPermutation2 s;
        s.calculate(12);
        return s;
    }();
    const oxLinear::Vector tangent = normal.orthogonalVector();
    const oxLinear::Vector bitangent = oxLinear::cross(normal, tangent);
    for (int lane = 0; lane < 4; ++lane)
    {
        const int i = 4 * p + lane;
        oxLinear::VectorFlt local;
        oxGeom::mapSphericalCapToUniformCartesian(float(base2[i]) / float(base2.size()), base3[i],
                                                  1.0f, local);
        const oxLinear::Vector w =
            double(local[0]) * tangent + double(local[1]) * bitangent + double(local[2]) * normal;
        d[lane] = oxLinear::VectorFlt(float(w[0]), float(w[1]), float(w[2]));
    }
}

enum class Verdict
{
    Miss,
    Optional,  // a float test may go either way
    Hit
};

/// A triangle that a ray may hit: its parameter and the reach of float rounding in it.
struct Candidate
{
    int triangle;
    Verdict verdict;
    double t;
    double tBand;
};

/// One triangle against one ray in double precision: two-sided, closed barycentric bounds,
/// |det| > 1e-6, front faces from t > epsilonTolFlt, back faces from t >= `cullDistance`.
/// Within the reach of float rounding of a limit the verdict is Optional; the reach grows with
/// the origin's distance relative to the triangle's size and with the grazing of the ray, as
/// the error of a float evaluation does.
inline Verdict classifyTriangle(const double* d, const float* o, const float* a, const float* b,
                                const float* c, double cullDistance, double& t, double& tBand)
{
    double e1[3], e2[3], s[3], p[3], q[3];
    for (int k = 0; k < 3; ++k)
    {
        e1[k] = double(b[k]) - a[k];
        e2[k] = double(c[k]) - a[k];
        s[k] = double(o[k]) - a[k];
    }
    cross3(d, e2, p);
    cross3(s, e1, q);
    const double det = dot3(e1, p), floatEps = 1.0 / 16777216.0;
    const double edge = std::max(norm3(e1), norm3(e2)), dLength = norm3(d);
    const double detError = 64.0 * floatEps * dLength * edge * edge;
    if (std::fabs(det) <= 1e-6 - detError || det == 0.0)
        return Verdict::Miss;
    const double u = dot3(s, p) / det, v = dot3(d, q) / det;
    t = dot3(e2, q) / det;
    const double reach = (norm3(s) + edge) * edge * dLength / std::fabs(det);
    const double baryBand = 1e-5 + 64.0 * floatEps * reach;
    tBand = 64.0 * floatEps * reach * (norm3(s) + edge) / dLength + 1e-12;
    const double margin = std::min(std::min(u, v), 1.0 - u - v);
    const double limit = det > 0.0 ? double(oxLinear::epsilonTolFlt) : cullDistance;
    if (margin < -baryBand || t < limit - tBand)
        return Verdict::Miss;
    const bool sure = std::fabs(det) > 1e-6 + detError && margin > baryBand && t > limit + tBand;
    return sure ? Verdict::Hit : Verdict::Optional;
}

/// Brute force over every triangle of a mesh; a bounding ball per triangle (grown by a
/// thousandth) skips the triangles a ray's line passes far from.
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
                double r[3];
                for (int k = 0; k < 3; ++k)
                    r[k] = v[tri[corner]][k] - ball.centre[k];
                ball.radius2 = std::max(ball.radius2, 1.004 * dot3(r, r) + 1e-12);
            }
            m_balls.push_back(ball);
        }
    }

    /// Every triangle that the ray may hit.
    std::vector<Candidate> classify(const oxLinear::PointFlt& origin,
                                    const oxLinear::Vector& direction, double cullDistance) const
    {
        std::vector<Candidate> candidates;
        const oxGeom::MeshVertex* v = m_mesh.getVertices();
        const double* d = direction.data();
        for (std::size_t i = 0; i < m_balls.size(); ++i)
        {
            const double w[3] = {m_balls[i].centre[0] - origin[0], m_balls[i].centre[1] - origin[1],
                                 m_balls[i].centre[2] - origin[2]};
            const double along = dot3(w, d);
            if (dot3(w, w) - along * along / dot3(d, d) > m_balls[i].radius2)
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

/// Judges an answer (`triangle`, -1 for none, at parameter `t`): a reported triangle must be a
/// possible hit, and a missing answer is wrong only when some hit is sure. For a nearest-hit
/// answer (`nearest`) the parameter must also agree within `tTolerance` (relative to
/// max(1, t)) plus the reach of rounding, and no sure hit may lie nearer by more than that.
/// Returns an empty string when the answer is acceptable, else what is wrong.
inline std::string judge(const std::vector<Candidate>& candidates, int triangle, double t,
                         bool nearest, double tTolerance = 0.0)
{
    const double tolerance = tTolerance * std::max(1.0, std::fabs(t));
    const Candidate* claimed = nullptr;
    const Candidate* nearerSure = nullptr;
    bool anySure = false;
    for (const Candidate& c : candidates)
    {
        anySure = anySure || c.verdict == Verdict::Hit;
        if (c.verdict == Verdict::Hit && c.t < t - tolerance - c.tBand)
            nearerSure = &c;
        if (c.triangle == triangle)
            claimed = &c;
    }
    const std::string reported =
        "triangle " + std::to_string(triangle) + " at " + std::to_string(t);
    if (triangle < 0)
        return anySure ? "no hit reported, but there is a sure hit" : "";
    if (claimed == nullptr)
        return reported + " is not hit";
    if (nearest && std::fabs(claimed->t - t) > tolerance + claimed->tBand)
        return reported + " is hit at " + std::to_string(claimed->t);
    if (nearest && nearerSure != nullptr)
        return reported + ", but triangle " + std::to_string(nearerSure->triangle) +
               " is surely hit nearer";
    return "";
}
}  // namespace testsupport
