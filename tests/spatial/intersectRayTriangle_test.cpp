#include <oxGeom/Ray.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using oxGeom::getBackfaceCullDistance;
using oxGeom::intersectRayTriangle;
using oxGeom::intersectRayTriangleCull;
using oxGeom::setBackfaceCullDistance;
using oxLinear::PointFlt;
using oxLinear::Vector;

namespace
{
// The unit right triangle in the plane z = h, counter-clockwise seen from +z:
//
//   c (0,1)
//   | \          a ray going down (-z) sees it counter-clockwise: front face;
//   |   \        a ray going up (+z) sees its back.
//   a --- b (1,0)
struct FlatTriangle
{
    explicit FlatTriangle(float h = 0.0f) : a{0, 0, h}, b{1, 0, h}, c{0, 1, h} {}
    float a[3], b[3], c[3];
};

struct Hit
{
    bool hit = false;
    double t = -7.0, u = -7.0, v = -7.0;  // sentinels: a miss must not write them
};

Hit cast(const double* dir, const float* orig, const FlatTriangle& tri)
{
    Hit h;
    h.hit = intersectRayTriangle(dir, orig, tri.a, tri.b, tri.c, h.t, h.u, h.v);
    return h;
}

Hit castCull(const double* dir, const float* orig, const FlatTriangle& tri)
{
    Hit h;
    h.hit = intersectRayTriangleCull(dir, orig, tri.a, tri.b, tri.c, h.t, h.u, h.v);
    return h;
}

/// Restores the process-wide cull distance when a test ends, whatever it set.
class CullDistanceGuard
{
public:
    CullDistanceGuard() : m_saved(getBackfaceCullDistance()) {}
    ~CullDistanceGuard() { setBackfaceCullDistance(m_saved); }

private:
    double m_saved;
};

/// Independent oracle in long double: the line meets the plane at t; the
/// point's barycentrics from sub-triangle areas projected on the normal.
struct Oracle
{
    bool crosses = false;  // not parallel to the plane
    bool inside = false;
    bool front = false;
    long double t = 0, u = 0, v = 0, margin = 0;  // margin: distance to the nearest bound
};

Oracle oracle(const double* d, const float* o, const float* a, const float* b, const float* c)
{
    long double e1[3], e2[3], n[3];
    for (int k = 0; k < 3; ++k)
    {
        e1[k] = (long double)b[k] - a[k];
        e2[k] = (long double)c[k] - a[k];
    }
    n[0] = e1[1] * e2[2] - e1[2] * e2[1];
    n[1] = e1[2] * e2[0] - e1[0] * e2[2];
    n[2] = e1[0] * e2[1] - e1[1] * e2[0];
    const long double n2 = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
    const long double dn = d[0] * n[0] + d[1] * n[1] + d[2] * n[2];
    Oracle r;
    if (std::fabs((double)dn) < 1e-3)
        return r;
    r.crosses = true;
    r.front = dn < 0;
    long double ao = 0;
    for (int k = 0; k < 3; ++k)
        ao += ((long double)a[k] - o[k]) * n[k];
    r.t = ao / dn;
    long double p[3], ap[3], w[3];
    for (int k = 0; k < 3; ++k)
    {
        p[k] = o[k] + r.t * d[k];
        ap[k] = p[k] - a[k];
    }
    // u = area(a, p, c) / area(a, b, c), v = area(a, b, p) / area(a, b, c), signed along n.
    w[0] = ap[1] * e2[2] - ap[2] * e2[1];
    w[1] = ap[2] * e2[0] - ap[0] * e2[2];
    w[2] = ap[0] * e2[1] - ap[1] * e2[0];
    r.u = (w[0] * n[0] + w[1] * n[1] + w[2] * n[2]) / n2;
    w[0] = e1[1] * ap[2] - e1[2] * ap[1];
    w[1] = e1[2] * ap[0] - e1[0] * ap[2];
    w[2] = e1[0] * ap[1] - e1[1] * ap[0];
    r.v = (w[0] * n[0] + w[1] * n[1] + w[2] * n[2]) / n2;
    r.inside = r.u >= 0 && r.v >= 0 && r.u + r.v <= 1;
    r.margin = std::fmin(std::fmin(std::fabs((double)r.u), std::fabs((double)r.v)),
                         std::fabs((double)(1 - r.u - r.v)));
    return r;
}

float uniform(std::mt19937& rng, float lo, float hi)
{
    return lo + (hi - lo) * float(rng() >> 8) * (1.0f / 16777216.0f);
}
}  // namespace

TEST(intersectRayTriangle, edgesAndCornersHitAndOutsideMisses)
{
    const FlatTriangle tri;
    const double down[3] = {0, 0, -1};
    // Corners, edge midpoints and the hypotenuse: closed bounds.
    const float onBoundary[][3] = {{0, 0, 1},    {1, 0, 1},       {0, 1, 1},        {0.5f, 0, 1},
                                   {0, 0.5f, 1}, {0.5f, 0.5f, 1}, {0.25f, 0.75f, 1}};
    for (const auto& o : onBoundary)
    {
        const Hit h = cast(down, o, tri);
        ASSERT_TRUE(h.hit) << o[0] << " " << o[1];
        EXPECT_EQ(h.t, 1.0);
        EXPECT_EQ(h.u, double(o[0]));
        EXPECT_EQ(h.v, double(o[1]));
        EXPECT_TRUE(castCull(down, o, tri).hit);
    }
    // Just outside each of the three bounds, by one float step.
    const float eps = 1.0f / 8388608.0f;  // 2^-23
    const float outside[][3] = {{-eps, 0.5f, 1}, {0.5f, -eps, 1}, {0.5f + eps, 0.5f, 1}};
    for (const auto& o : outside)
    {
        const Hit h = cast(down, o, tri);
        EXPECT_FALSE(h.hit);
        EXPECT_EQ(h.t, -7.0);  // outputs untouched on a miss
        EXPECT_EQ(h.u, -7.0);
        EXPECT_FALSE(castCull(down, o, tri).hit);
    }
}

TEST(intersectRayTriangle, backFaceCullDistanceIsClosedAndFrontFacesBehindCount)
{
    CullDistanceGuard guard;
    EXPECT_EQ(getBackfaceCullDistance(), 1e-6);
    // Back face ahead of the origin at t = 1e-6 exactly: every product below is
    // exact and 1 / 1e6 rounds to the double nearest 1e-6.
    const double up[3] = {0, 0, 1e6};
    const float below[3] = {0.25f, 0.25f, 0};
    Hit h = cast(up, below, FlatTriangle(1.0f));
    ASSERT_TRUE(h.hit);
    EXPECT_EQ(h.t, 1e-6);
    EXPECT_EQ(h.u, 0.25);
    // One float step nearer (the plane just below 1): t < 1e-6, culled.
    EXPECT_FALSE(cast(up, below, FlatTriangle(std::nextafter(1.0f, 0.0f))).hit);
    // The cull distance is read on every call.
    setBackfaceCullDistance(2e-6);
    EXPECT_FALSE(cast(up, below, FlatTriangle(1.0f)).hit);
    setBackfaceCullDistance(-1.0);
    h = cast(up, below, FlatTriangle(-0.5f));  // back face behind the origin
    EXPECT_TRUE(h.hit);
    EXPECT_EQ(h.t, -0.5e-6);
    setBackfaceCullDistance(1e-6);
    EXPECT_FALSE(cast(up, below, FlatTriangle(-0.5f)).hit);

    // Front face behind the origin (the ray points away): the full form
    // reports it with t < 0; the convenience form does not.
    const double down[3] = {0, 0, -1};
    h = cast(down, below, FlatTriangle(3.0f));
    ASSERT_TRUE(h.hit);
    EXPECT_EQ(h.t, -3.0);
    EXPECT_TRUE(castCull(down, below, FlatTriangle(3.0f)).hit);
    const Vector downV(0, 0, -1);
    const PointFlt o(0.25f, 0.25f, 0.0f);
    EXPECT_FALSE(
        intersectRayTriangle(downV, o, PointFlt(0, 0, 3), PointFlt(1, 0, 3), PointFlt(0, 1, 3)));
    EXPECT_TRUE(
        intersectRayTriangle(downV, o, PointFlt(0, 0, -3), PointFlt(1, 0, -3), PointFlt(0, 1, -3)));
    // With culling off, a back face through the origin (t = 0) still fails t > epsilonTol.
    const Vector upV(0, 0, 1);
    setBackfaceCullDistance(-1.0);
    EXPECT_FALSE(
        intersectRayTriangle(upV, o, PointFlt(0, 0, 0), PointFlt(1, 0, 0), PointFlt(0, 1, 0)));
    EXPECT_TRUE(
        intersectRayTriangle(upV, o, PointFlt(0, 0, 1), PointFlt(1, 0, 1), PointFlt(0, 1, 1)));
}

TEST(intersectRayTriangle, cullFormMissesEveryBackFace)
{
    CullDistanceGuard guard;
    setBackfaceCullDistance(-1e30);  // the two-sided form now takes every back face
    std::mt19937 rng(7);
    int backFaces = 0;
    for (int i = 0; i < 2000; ++i)
    {
        float v[3][3], o[3];
        for (auto& p : v)
            for (float& x : p)
                x = uniform(rng, -1, 1);
        for (float& x : o)
            x = uniform(rng, -2, 2);
        // Aim at the centroid so that most rays cross the triangle.
        double d[3];
        for (int k = 0; k < 3; ++k)
            d[k] = (v[0][k] + v[1][k] + v[2][k]) / 3.0 - o[k] + uniform(rng, -0.2f, 0.2f);
        double t = 0, u = 0, w = 0, tc = 0, uc = 0, wc = 0;
        const bool two = intersectRayTriangle(d, o, v[0], v[1], v[2], t, u, w);
        const bool one = intersectRayTriangleCull(d, o, v[0], v[1], v[2], tc, uc, wc);
        const Oracle ref = oracle(d, o, v[0], v[1], v[2]);
        if (!ref.crosses || ref.margin < 1e-6)
            continue;
        ASSERT_EQ(two, ref.inside) << i;
        ASSERT_EQ(one, ref.inside && ref.front) << i;
        backFaces += two && !one;
        if (one)
        {
            EXPECT_EQ(t, tc);  // the same arithmetic on the front branch
            EXPECT_EQ(u, uc);
            EXPECT_EQ(w, wc);
        }
    }
    EXPECT_GT(backFaces, 300);
}

TEST(intersectRayTriangle, matchesPlaneAndAreaOracleOnRandomRays)
{
    std::mt19937 rng(2024);
    int hits = 0, misses = 0;
    for (int i = 0; i < 5000; ++i)
    {
        float v[3][3], o[3];
        for (auto& p : v)
            for (float& x : p)
                x = uniform(rng, -3, 3);
        for (float& x : o)
            x = uniform(rng, -5, 5);
        double d[3];
        for (int k = 0; k < 3; ++k)
            d[k] = (v[0][k] + v[1][k] + v[2][k]) / 3.0 - o[k] + uniform(rng, -1.0f, 1.0f);
        double t = 0, u = 0, w = 0;
        const bool hit = intersectRayTriangle(d, o, v[0], v[1], v[2], t, u, w);
        const Oracle ref = oracle(d, o, v[0], v[1], v[2]);
        if (!ref.crosses || ref.margin < 1e-6)
            continue;
        // Back faces count only ahead of the origin by the default distance.
        const bool expected = ref.inside && (ref.front || ref.t >= 1e-6);
        ASSERT_EQ(hit, expected) << i;
        if (!hit)
        {
            ++misses;
            continue;
        }
        ++hits;
        EXPECT_NEAR(t, (double)ref.t, 1e-9 * (1 + std::fabs((double)ref.t)));
        EXPECT_NEAR(u, (double)ref.u, 1e-9);
        EXPECT_NEAR(w, (double)ref.v, 1e-9);
    }
    EXPECT_GT(hits, 1000);
    EXPECT_GT(misses, 1000);
}

TEST(intersectRayTriangle, parallelAndDegenerateMiss)
{
    const FlatTriangle tri;
    const float o[3] = {-1.0f, 0.25f, 0.0f};
    const double along[3] = {1, 0, 0};  // in the plane: det = 0
    Hit h = cast(along, o, tri);
    EXPECT_FALSE(h.hit);
    EXPECT_FALSE(castCull(along, o, tri).hit);
    // |det| = 1e-6 exactly is still parallel for the two-sided test; the
    // one-sided test rejects only determinants below it.
    const double shallow[3] = {0, 0, -1e-6};
    const double shallowUp[3] = {0, 0, 1e-6};
    const float above[3] = {0.25f, 0.25f, 1.0f};
    const float under[3] = {0.25f, 0.25f, -1.0f};
    EXPECT_FALSE(cast(shallow, above, tri).hit);
    EXPECT_FALSE(cast(shallowUp, under, tri).hit);
    h = castCull(shallow, above, tri);
    EXPECT_TRUE(h.hit);
    EXPECT_EQ(h.t, 1e6);
    const double steeper[3] = {0, 0, -2e-6};
    EXPECT_TRUE(cast(steeper, above, tri).hit);
    // Zero-area triangles and NaN input never hit.
    const double down[3] = {0, 0, -1};
    const float a[3] = {0, 0, 0}, b[3] = {1, 1, 0}, c[3] = {2, 2, 0};
    double t = 0, u = 0, v = 0;
    const float onLine[3] = {1, 1, 1};
    EXPECT_FALSE(intersectRayTriangle(down, onLine, a, b, c, t, u, v));
    EXPECT_FALSE(intersectRayTriangle(down, onLine, a, a, a, t, u, v));
    const double nanDir[3] = {0, 0, std::nan("")};
    EXPECT_FALSE(intersectRayTriangle(nanDir, above, tri.a, tri.b, tri.c, t, u, v));
    EXPECT_FALSE(intersectRayTriangleCull(nanDir, above, tri.a, tri.b, tri.c, t, u, v));
}
