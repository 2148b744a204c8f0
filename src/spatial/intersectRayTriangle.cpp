// Ray-triangle tests: the two-sided and the front-face-only forms of the
// Moeller-Trumbore test, in double precision on float input, and the
// process-wide back-face cull distance the two-sided form reads.
// Based on: Moeller and Trumbore, "Fast, Minimum Storage Ray/Triangle Intersection" (1997).

#include <oxGeom/Ray.h>

#include <oxLinear/Tolerance.h>

#include <atomic>

namespace oxGeom
{
namespace
{
/// |det| at or below this means the ray runs parallel to the triangle's plane
/// (or the triangle has no area): no hit. It is absolute, not relative to the
/// triangle's size, which keeps the test's outcome independent of rounding in
/// a normalisation.
constexpr double parallelDet = 1e-6;

/// Read by every two-sided test, possibly on many pool threads at once while a
/// host thread sets it: an atomic with relaxed ordering is race-free and costs
/// a plain load on the platforms we build for.
std::atomic<double> backfaceCullDistance{1e-6};

/// The parts of the test shared by both forms, in widened coordinates.
struct TriangleFrame
{
    double dir[3];
    double e1[3];  // b - a
    double e2[3];  // c - a
    double s[3];   // orig - a
    double p[3];   // dir x e2
    double det;    // e1 . p
};

inline double dot3(const double* x, const double* y)
{
    return x[0] * y[0] + x[1] * y[1] + x[2] * y[2];
}

inline void cross3(const double* x, const double* y, double* out)
{
    out[0] = x[1] * y[2] - x[2] * y[1];
    out[1] = x[2] * y[0] - x[0] * y[2];
    out[2] = x[0] * y[1] - x[1] * y[0];
}

inline void setUp(const double* dir, const float* orig, const float* a, const float* b,
                  const float* c, TriangleFrame& f)
{
    for (int k = 0; k < 3; ++k)
    {
        const double ak = a[k];
        f.dir[k] = dir[k];
        f.e1[k] = double(b[k]) - ak;
        f.e2[k] = double(c[k]) - ak;
        f.s[k] = double(orig[k]) - ak;
    }
    cross3(f.dir, f.e2, f.p);
    f.det = dot3(f.e1, f.p);
}

/// Front face (det > 0): unnormalised u, v within the closed triangle
/// 0 <= u, 0 <= v, u + v <= det. Returns false on a miss; on success q holds
/// s x e1 for the t computation.
inline bool frontBarycentrics(const TriangleFrame& f, double& u, double& v, double* q)
{
    u = dot3(f.s, f.p);
    if (u < 0.0 || u > f.det)
        return false;
    cross3(f.s, f.e1, q);
    v = dot3(f.dir, q);
    return !(v < 0.0 || u + v > f.det);
}

/// Back face (det < 0): the same bounds mirrored.
inline bool backBarycentrics(const TriangleFrame& f, double& u, double& v, double* q)
{
    u = dot3(f.s, f.p);
    if (u > 0.0 || u < f.det)
        return false;
    cross3(f.s, f.e1, q);
    v = dot3(f.dir, q);
    return !(v > 0.0 || u + v < f.det);
}

inline void finish(const TriangleFrame& f, const double* q, double u, double v, double& t,
                   double& uOut, double& vOut)
{
    // Divided, not multiplied by a reciprocal: one rounding per value, so a
    // hit at a representable parameter comes out exactly.
    t = dot3(f.e2, q) / f.det;
    uOut = u / f.det;
    vOut = v / f.det;
}
}  // namespace

bool intersectRayTriangle(const double* const dir, const float* const orig, const float* const a,
                          const float* const b, const float* const c, double& t, double& u,
                          double& v)
{
    TriangleFrame f;
    setUp(dir, orig, a, b, c, f);
    double uRaw, vRaw, q[3];
    if (f.det > parallelDet)
    {
        if (!frontBarycentrics(f, uRaw, vRaw, q))
            return false;
        finish(f, q, uRaw, vRaw, t, u, v);
        return true;  // a front face counts wherever it lies along the line
    }
    if (!(f.det < -parallelDet) || !backBarycentrics(f, uRaw, vRaw, q))
        return false;  // parallel, degenerate, NaN, or outside the triangle
    double tHit, uHit, vHit;
    finish(f, q, uRaw, vRaw, tHit, uHit, vHit);
    // Back faces count only ahead of the origin by the cull distance, so a ray
    // leaving a surface does not hit the surface it starts on.
    if (!(tHit >= backfaceCullDistance.load(std::memory_order_relaxed)))
        return false;
    t = tHit;
    u = uHit;
    v = vHit;
    return true;
}

bool intersectRayTriangleCull(const double* const dir, const float* const orig,
                              const float* const a, const float* const b, const float* const c,
                              double& t, double& u, double& v)
{
    TriangleFrame f;
    setUp(dir, orig, a, b, c, f);
    // Only determinants below the threshold are rejected, so det equal to it
    // still runs the front-face test (the two-sided form treats it as
    // parallel); NaN is rejected too.
    if (!(f.det >= parallelDet))
        return false;
    double uRaw, vRaw, q[3];
    if (!frontBarycentrics(f, uRaw, vRaw, q))
        return false;
    finish(f, q, uRaw, vRaw, t, u, v);
    return true;
}

bool intersectRayTriangle(const oxLinear::Vector& dir, const oxLinear::PointFlt& orig,
                          const oxLinear::PointFlt& a, const oxLinear::PointFlt& b,
                          const oxLinear::PointFlt& c)
{
    double t = 0.0, u = 0.0, v = 0.0;
    return intersectRayTriangle(dir.data(), orig.data(), a.data(), b.data(), c.data(), t, u, v) &&
           t > oxLinear::epsilonTol;
}

void setBackfaceCullDistance(double distance)
{
    backfaceCullDistance.store(distance, std::memory_order_relaxed);
}

double getBackfaceCullDistance()
{
    return backfaceCullDistance.load(std::memory_order_relaxed);
}
}  // namespace oxGeom
