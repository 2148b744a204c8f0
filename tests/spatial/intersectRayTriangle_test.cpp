#include <oxGeom/Ray.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using oxGeom::intersectRayTriangle;
using oxGeom::intersectRayTriangleCull;
using oxGeom::setBackfaceCullDistance;
using oxLinear::PointFlt;
using oxLinear::Vector;

namespace
{
// The unit right triangle a (0,0), b (1,0), c (0,1) in the plane z = h, counter-clockwise
// seen from +z: a ray going down (-z) sees its front, a ray going up its back.
struct Tri
{
    explicit Tri(float h = 0.0f) : a{0, 0, h}, b{1, 0, h}, c{0, 1, h} {}
    float a[3], b[3], c[3];
};

struct Hit
{
    bool hit, cullHit;
    double t = -7, u = -7, v = -7;  // sentinels: a miss must leave them
};

Hit cast(const double* d, const float* o, const float* a, const float* b, const float* c)
{
    Hit h;
    h.hit = intersectRayTriangle(d, o, a, b, c, h.t, h.u, h.v);
    double t, u, v;
    h.cullHit = intersectRayTriangleCull(d, o, a, b, c, t, u, v);
    return h;
}
Hit cast(const double* d, const float* o, const Tri& tri)
{
    return cast(d, o, tri.a, tri.b, tri.c);
}

/// Keeps the process-wide cull distance of the other tests unchanged.
struct CullDistanceGuard
{
    double saved = oxGeom::getBackfaceCullDistance();
    ~CullDistanceGuard() { setBackfaceCullDistance(saved); }
};
}  // namespace

TEST(intersectRayTriangle, closedBoundsParallelAndDegenerateRays)
{
    const double down[3] = {0, 0, -1};
    const float step = std::ldexp(1.0f, -23);
    const float boundary[][3] = {{0, 0, 1}, {1, 0, 1}, {0.5f, 0, 1}, {0.25f, 0.75f, 1}};
    const float outside[][3] = {{-step, 0.5f, 1}, {0.5f, -step, 1}, {0.5f + step, 0.5f, 1}};
    for (const auto& o : boundary)  // corners and edges hit: closed bounds
    {
        const Hit h = cast(down, o, Tri());
        EXPECT_TRUE(h.hit && h.cullHit && h.t == 1.0 && h.u == o[0] && h.v == o[1]);
    }
    for (const auto& o : outside)  // one float step out: missed, outputs untouched
    {
        const Hit h = cast(down, o, Tri());
        EXPECT_TRUE(!h.hit && !h.cullHit && h.t == -7 && h.u == -7 && h.v == -7);
    }
    // |det| = 1e-6 exactly is parallel for the two-sided form; the one-sided
    // form rejects only determinants below it.
    const float above[3] = {0.25f, 0.25f, 1.0f}, under[3] = {0.25f, 0.25f, -1.0f};
    const double shallow[3] = {0, 0, -1e-6}, shallowUp[3] = {0, 0, 1e-6},
                 steeper[3] = {0, 0, -2e-6};
    EXPECT_FALSE(cast(shallow, above, Tri()).hit);
    EXPECT_TRUE(cast(shallow, above, Tri()).cullHit);
    EXPECT_FALSE(cast(shallowUp, under, Tri()).hit);
    EXPECT_TRUE(cast(steeper, above, Tri()).hit);
    // In the plane, collinear or coincident corners, NaN: no hit.
    const double along[3] = {1, 0, 0}, nanDir[3] = {0, 0, std::nan("")};
    const float a[3] = {0, 0, 0}, b[3] = {1, 1, 0}, c[3] = {2, 2, 0}, onLine[3] = {1, 1, 1};
    for (const Hit& h : {cast(along, under, Tri(-1.0f)), cast(down, onLine, a, b, c),
                         cast(down, onLine, a, a, a), cast(nanDir, above, Tri())})
        EXPECT_FALSE(h.hit || h.cullHit);
}

TEST(intersectRayTriangle, backFacesFromTheCullDistanceFrontFacesBehindTheOrigin)
{
    CullDistanceGuard guard;
    EXPECT_EQ(oxGeom::getBackfaceCullDistance(), 1e-6);
    // Every product is exact here and 1 / 1e6 rounds to the double nearest 1e-6.
    const double up[3] = {0, 0, 1e6};
    const float o[3] = {0.25f, 0.25f, 0};
    const Hit atCull = cast(up, o, Tri(1.0f));
    EXPECT_TRUE(atCull.hit && atCull.t == 1e-6 && atCull.u == 0.25);
    EXPECT_FALSE(atCull.cullHit);
    EXPECT_FALSE(cast(up, o, Tri(std::nextafter(1.0f, 0.0f))).hit);  // t just below 1e-6
    setBackfaceCullDistance(2e-6);                                   // read on every call
    EXPECT_FALSE(cast(up, o, Tri(1.0f)).hit);
    setBackfaceCullDistance(-1.0);
    EXPECT_EQ(cast(up, o, Tri(-0.5f)).t, -0.5e-6);  // now behind the origin too
    setBackfaceCullDistance(1e-6);
    // A front face behind the origin: both raw forms report t < 0; the
    // Vector form wants t > epsilonTol.
    const double down[3] = {0, 0, -1};
    const Hit behind = cast(down, o, Tri(3.0f));
    EXPECT_TRUE(behind.hit && behind.cullHit && behind.t == -3.0);
    const PointFlt origin(0.25f, 0.25f, 0);
    auto vectorForm = [&](const Vector& d, float z)
    {
        return intersectRayTriangle(d, origin, PointFlt(0, 0, z), PointFlt(1, 0, z),
                                    PointFlt(0, 1, z));
    };
    EXPECT_FALSE(vectorForm(Vector(0, 0, -1), 3.0f));
    EXPECT_TRUE(vectorForm(Vector(0, 0, -1), -3.0f));
    setBackfaceCullDistance(-1.0);
    EXPECT_FALSE(vectorForm(Vector(0, 0, 1), 0.0f));  // t = 0: not ahead
    EXPECT_TRUE(vectorForm(Vector(0, 0, 1), 1.0f));
}

TEST(intersectRayTriangle, randomRaysMatchCramerOracle)
{
    // Oracle: o + t d = a + u e1 + v e2 solved by Cramer's rule (determinants
    // of the columns -d, e1, e2); a front face has det(-d, e1, e2) > 0.
    std::mt19937 rng(2024);
    std::uniform_real_distribution<float> uniform(-1, 1);
    int counts[4] = {0, 0, 0, 0};  // miss, front, back ahead, back behind
    for (int i = 0; i < 5000; ++i)
    {
        PointFlt p[3], o(4 * uniform(rng), 4 * uniform(rng), 4 * uniform(rng));
        for (PointFlt& q : p)
            q = PointFlt(2 * uniform(rng), 2 * uniform(rng), 2 * uniform(rng));
        auto vec = [](const PointFlt& q) { return Vector(q[0], q[1], q[2]); };
        const Vector e1 = vec(p[1]) - vec(p[0]), e2 = vec(p[2]) - vec(p[0]), r = vec(o) - vec(p[0]);
        Vector d = (vec(p[0]) + vec(p[1]) + vec(p[2])) / 3.0 - vec(o) +
                   Vector(uniform(rng), uniform(rng), uniform(rng));
        if (i % 3 == 0)
            d = -d;  // a third point away from the triangle
        const double full = oxLinear::det3x3(-d, e1, e2);
        const double t = oxLinear::det3x3(r, e1, e2) / full;
        const double u = oxLinear::det3x3(-d, r, e2) / full, w = oxLinear::det3x3(-d, e1, r) / full;
        // Skip near-parallel rays and points within rounding of an edge.
        if (std::fabs(full) < 1e-3 || std::fabs(std::fmin(std::fmin(u, w), 1 - u - w)) < 1e-6)
            continue;
        const bool inside = u >= 0 && w >= 0 && u + w <= 1, front = full > 0;
        const Hit h = cast(d.data(), o.data(), p[0].data(), p[1].data(), p[2].data());
        ASSERT_EQ(h.hit, inside && (front || t >= 1e-6)) << i;
        ASSERT_EQ(h.cullHit, inside && front) << i;
        if (h.hit)
        {
            EXPECT_TRUE(std::fabs(h.t - t) < 1e-9 * (1 + std::fabs(t)) &&
                        std::fabs(h.u - u) < 1e-9 && std::fabs(h.v - w) < 1e-9)
                << i;
        }
        ++counts[!inside ? 0 : front ? 1 : t >= 0 ? 2 : 3];
    }
    for (int count : counts)
        EXPECT_GT(count, 150);
}
