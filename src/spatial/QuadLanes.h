#pragma once
// The four-lane arithmetic behind the packet ray tracer, and its two hot kernels (the per-lane
// box test and triangle test) inline, so that the packet walk and the tracer pay no call per
// box or triangle. One set of lane operations over SSE, one over plain float arrays
// (TRELM_PORTABLE_SIMD, or processors without SSE); the kernels are written once on top.
// Private to the library.
// Based on: Moeller and Trumbore 1997 (triangle test); Wald, Slusallek, Benthin and Wagner
// 2001, "Interactive Rendering with Coherent Ray Tracing" (ray packets).

#include <oxGeom/QuadRay.h>
#include <oxLinear/Tolerance.h>

#include <cstdint>
#include <cstring>

namespace oxGeom
{
namespace lanes
{
#if TRELM_QUAD_SSE
inline QuadFloat splat(float x)
{
    return _mm_set1_ps(x);
}
inline QuadFloat make(float x0, float x1, float x2, float x3)
{
    return _mm_setr_ps(x0, x1, x2, x3);
}
inline QuadFloat add(QuadFloat a, QuadFloat b)
{
    return _mm_add_ps(a, b);
}
inline QuadFloat sub(QuadFloat a, QuadFloat b)
{
    return _mm_sub_ps(a, b);
}
inline QuadFloat mul(QuadFloat a, QuadFloat b)
{
    return _mm_mul_ps(a, b);
}
inline QuadFloat div(QuadFloat a, QuadFloat b)
{
    return _mm_div_ps(a, b);
}
/// a < b ? a : b per lane (so b when either is NaN).
inline QuadFloat min(QuadFloat a, QuadFloat b)
{
    return _mm_min_ps(a, b);
}
/// a > b ? a : b per lane (so b when either is NaN).
inline QuadFloat max(QuadFloat a, QuadFloat b)
{
    return _mm_max_ps(a, b);
}
/// Approximate 1 / a (relative error at most 1.5 * 2^-12).
inline QuadFloat rcp(QuadFloat a)
{
    return _mm_rcp_ps(a);
}
// Comparisons give all bits set in the lanes where they hold (ordered: false with NaN).
inline QuadFloat lt(QuadFloat a, QuadFloat b)
{
    return _mm_cmplt_ps(a, b);
}
inline QuadFloat le(QuadFloat a, QuadFloat b)
{
    return _mm_cmple_ps(a, b);
}
inline QuadFloat gt(QuadFloat a, QuadFloat b)
{
    return _mm_cmpgt_ps(a, b);
}
inline QuadFloat ge(QuadFloat a, QuadFloat b)
{
    return _mm_cmpge_ps(a, b);
}
/// All bits set where a or b is NaN.
inline QuadFloat unordered(QuadFloat a, QuadFloat b)
{
    return _mm_cmpunord_ps(a, b);
}
inline QuadFloat bitAnd(QuadFloat a, QuadFloat b)
{
    return _mm_and_ps(a, b);
}
inline QuadFloat bitOr(QuadFloat a, QuadFloat b)
{
    return _mm_or_ps(a, b);
}
inline QuadFloat bitXor(QuadFloat a, QuadFloat b)
{
    return _mm_xor_ps(a, b);
}
/// ~a & b.
inline QuadFloat andNot(QuadFloat a, QuadFloat b)
{
    return _mm_andnot_ps(a, b);
}
/// Bit i is the sign bit of lane i.
inline int signBits(QuadFloat a)
{
    return _mm_movemask_ps(a);
}
#else
namespace detail
{
inline std::uint32_t bitsOf(float x)
{
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits;
}
inline float floatOf(std::uint32_t bits)
{
    float x;
    std::memcpy(&x, &bits, sizeof x);
    return x;
}
inline float mask(bool holds)
{
    return floatOf(holds ? 0xffffffffu : 0u);
}
template <class Op>
inline QuadFloat each(QuadFloat a, QuadFloat b, Op op)
{
    QuadFloat r;
    for (int i = 0; i < 4; ++i)
        r.lane[i] = op(a.lane[i], b.lane[i]);
    return r;
}
}  // namespace detail

inline QuadFloat splat(float x)
{
    return QuadFloat{{x, x, x, x}};
}
inline QuadFloat make(float x0, float x1, float x2, float x3)
{
    return QuadFloat{{x0, x1, x2, x3}};
}
inline QuadFloat add(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return x + y; });
}
inline QuadFloat sub(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return x - y; });
}
inline QuadFloat mul(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return x * y; });
}
inline QuadFloat div(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return x / y; });
}
inline QuadFloat min(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return x < y ? x : y; });
}
inline QuadFloat max(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return x > y ? x : y; });
}
/// Exact 1 / a: within the error bound the box test allows for the fast reciprocal.
inline QuadFloat rcp(QuadFloat a)
{
    return detail::each(a, a, [](float x, float) { return 1.0f / x; });
}
inline QuadFloat lt(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return detail::mask(x < y); });
}
inline QuadFloat le(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return detail::mask(x <= y); });
}
inline QuadFloat gt(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return detail::mask(x > y); });
}
inline QuadFloat ge(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return detail::mask(x >= y); });
}
inline QuadFloat unordered(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b, [](float x, float y) { return detail::mask(x != x || y != y); });
}
inline QuadFloat bitAnd(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b,
                        [](float x, float y)
                        { return detail::floatOf(detail::bitsOf(x) & detail::bitsOf(y)); });
}
inline QuadFloat bitOr(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b,
                        [](float x, float y)
                        { return detail::floatOf(detail::bitsOf(x) | detail::bitsOf(y)); });
}
inline QuadFloat bitXor(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b,
                        [](float x, float y)
                        { return detail::floatOf(detail::bitsOf(x) ^ detail::bitsOf(y)); });
}
inline QuadFloat andNot(QuadFloat a, QuadFloat b)
{
    return detail::each(a, b,
                        [](float x, float y)
                        { return detail::floatOf(~detail::bitsOf(x) & detail::bitsOf(y)); });
}
inline int signBits(QuadFloat a)
{
    int bits = 0;
    for (int i = 0; i < 4; ++i)
        bits |= static_cast<int>(detail::bitsOf(a.lane[i]) >> 31) << i;
    return bits;
}
#endif

/// Asks for the cache line holding `p` ahead of its use.
inline void prefetch(const void* p)
{
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p);
#elif TRELM_QUAD_SSE
    _mm_prefetch(static_cast<const char*>(p), _MM_HINT_T0);
#else
    (void)p;
#endif
}

/// mask ? a : b per lane, for masks from the comparisons.
inline QuadFloat select(QuadFloat mask, QuadFloat a, QuadFloat b)
{
    return bitOr(bitAnd(mask, a), andNot(mask, b));
}

/// Lane i of `q`.
inline float lane(const QuadFloat& q, int i)
{
    float values[4];
    std::memcpy(values, &q, sizeof values);
    return values[i & 3];
}

/// Lane-wise x * a[0] + y * a[1] + z * a[2]: the dot product of a transposed vector with one
/// vector given by its three components.
inline QuadFloat dotScalar(const QuadFloat a[3], float x, float y, float z)
{
    return add(add(mul(a[0], splat(x)), mul(a[1], splat(y))), mul(a[2], splat(z)));
}
}  // namespace lanes

/// The packet kernels, with access to QuadRay's members.
struct QuadRayKernels
{
    /// Intervals of the box test are widened by this fraction of their ends on both sides. The
    /// approximate reciprocal is off by at most 1.5 * 2^-12 of its value, and each parameter
    /// takes two more roundings, so every computed parameter lies within 4e-4 of its exact
    /// value relative to itself; widening both ends by 2^-10 (about 1e-3) keeps every box whose
    /// exact interval is non-empty.
    static constexpr float boxSlack = 1.0f / 1024.0f;

    /// Bits 0..3: the live lanes whose rays meet the valid box `b` (six floats) within their
    /// parameter ranges.
    static int boxLanes(const QuadRay& ray, const float* b)
    {
        using namespace lanes;
        const QuadFloat slack = splat(boxSlack);
        QuadFloat tNear = QuadRay::zero;
        QuadFloat tFar = ray.m_t;
        for (int axis = 0; axis < 3; ++axis)
        {
            const QuadFloat t0 = mul(sub(splat(b[axis]), ray.m_origin[axis]), ray.m_rcp[axis]);
            const QuadFloat t1 = mul(sub(splat(b[axis + 3]), ray.m_origin[axis]), ray.m_rcp[axis]);
            QuadFloat n, f;
            if (ray.m_axisParallel)
                slabEnds(t0, t1, slack, n, f);
            else
                widenedEnds(min(t0, t1), max(t0, t1), slack, n, f);
            tNear = max(n, tNear);
            tFar = min(f, tFar);
        }
        const QuadFloat meets = bitAnd(le(tNear, tFar), ge(tFar, QuadRay::zero));
        return signBits(andNot(ray.m_terminated, meets));
    }

    /// The widened entry and exit of one slab from the parameters t0, t1 of its two planes.
    /// A ray parallel to the slab (infinite reciprocal) whose origin lies on one of its planes
    /// gives 0 * infinity = NaN: it runs along the face, which touching counts as meeting, so
    /// that axis sets no limit. Setting all bits makes both ends NaN, and the max and min that
    /// combine the axes keep their second operand when the first is NaN.
    /// Widening: x - |x| * slack grows with x, so widening each axis's ends before combining
    /// widens the combined maximum and minimum alike.
    static void slabEnds(QuadFloat t0, QuadFloat t1, QuadFloat slack, QuadFloat& near,
                         QuadFloat& far)
    {
        using namespace lanes;
        const QuadFloat alongFace = unordered(t0, t1);
        widenedEnds(bitOr(min(t0, t1), alongFace), bitOr(max(t0, t1), alongFace), slack, near, far);
    }

    /// For the eight children of an octree node with the valid box `b` (split at
    /// Octree::splitValue on every axis, child slot bits 0, 1, 2 taking the upper x, y, z
    /// halves): bit `slot` of the result is set when some live lane meets that child's box, as
    /// boxLanes would find for each child box. The slab parameters at the three planes of each
    /// axis are computed once and shared by the children, instead of eight full box tests.
    static int childrenMet(const QuadRay& ray, const float* b)
    {
        using namespace lanes;
        const QuadFloat slack = splat(boxSlack);
        // near[axis][half], far[axis][half]: the widened slab interval of each half.
        QuadFloat near[3][2], far[3][2];
        for (int axis = 0; axis < 3; ++axis)
        {
            const float mid = Octree::splitValue(b[axis], b[axis + 3]);
            const QuadFloat o = ray.m_origin[axis], r = ray.m_rcp[axis];
            const QuadFloat tLow = mul(sub(splat(b[axis]), o), r);
            const QuadFloat tMid = mul(sub(splat(mid), o), r);
            const QuadFloat tHigh = mul(sub(splat(b[axis + 3]), o), r);
            if (ray.m_axisParallel)
            {
                slabEnds(tLow, tMid, slack, near[axis][0], far[axis][0]);
                slabEnds(tMid, tHigh, slack, near[axis][1], far[axis][1]);
            }
            else
            {
                // Finite reciprocals: no NaN to guard against.
                widenedEnds(min(tLow, tMid), max(tLow, tMid), slack, near[axis][0], far[axis][0]);
                widenedEnds(min(tMid, tHigh), max(tMid, tHigh), slack, near[axis][1], far[axis][1]);
            }
        }
        // Each lane's range [0, t]; terminated lanes get the empty range [0, -1]. Then the
        // x and y halves are combined once for the four children that share them. Every
        // combination keeps the accumulated value, never NaN, as its second operand.
        const QuadFloat rangeEnd = select(ray.m_terminated, splat(-1.0f), ray.m_t);
        QuadFloat nearXY[4], farXY[4];
        for (int hx = 0; hx < 2; ++hx)
        {
            const QuadFloat nx = max(near[0][hx], QuadRay::zero);
            const QuadFloat fx = min(far[0][hx], rangeEnd);
            for (int hy = 0; hy < 2; ++hy)
            {
                nearXY[2 * hy + hx] = max(near[1][hy], nx);
                farXY[2 * hy + hx] = min(far[1][hy], fx);
            }
        }
        int met = 0;
        for (int slot = 0; slot < 8; ++slot)
        {
            const int hz = slot >> 2;
            const QuadFloat tNear = max(near[2][hz], nearXY[slot & 3]);
            const QuadFloat tFar = min(far[2][hz], farXY[slot & 3]);
            // tNear >= 0, so tNear <= tFar also says tFar >= 0.
            met |= (signBits(le(tNear, tFar)) != 0 ? 1 : 0) << slot;
        }
        return met;
    }

    /// near - |near| * slack and far + |far| * slack. An infinite end stays infinite (the
    /// plain formula would give inf - inf = NaN, which the combination reads as "no limit");
    /// min and max return their second operand for a NaN first one. NaN ends stay NaN.
    static void widenedEnds(QuadFloat n, QuadFloat f, QuadFloat slack, QuadFloat& near,
                            QuadFloat& far)
    {
        using namespace lanes;
        near = min(sub(n, mul(bitAnd(n, QuadRay::abs_mask), slack)), n);
        far = max(add(f, mul(bitAnd(f, QuadRay::abs_mask), slack)), f);
    }

    /// The four-lane triangle test (QuadRay class notes). With a common origin the vectors that
    /// the Moeller-Trumbore test builds from the origin and one direction split into parts that
    /// depend on the triangle alone, computed once, and dot products with each lane's direction:
    /// det = d . (e2 x e1), u = d . (e2 x s), v = d . (s x e1), t = (e2 . (s x e1)) / det, with
    /// e1 = b - a, e2 = c - a, s = origin - a.
    /// Returns true when some lane took the hit.
    static bool intersectTriangle(QuadRay& ray, const MeshTriangle& triangle,
                                  const MeshVertex* vertices)
    {
        using namespace lanes;
        const float* a = vertices[triangle[0]].v;
        const float* b = vertices[triangle[1]].v;
        const float* c = vertices[triangle[2]].v;
        const float* o = ray.m_originPoint.data();
        const float e1[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
        const float e2[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
        const float s[3] = {o[0] - a[0], o[1] - a[1], o[2] - a[2]};
        const float n[3] = {e2[1] * e1[2] - e2[2] * e1[1], e2[2] * e1[0] - e2[0] * e1[2],
                            e2[0] * e1[1] - e2[1] * e1[0]};
        const float w[3] = {e2[1] * s[2] - e2[2] * s[1], e2[2] * s[0] - e2[0] * s[2],
                            e2[0] * s[1] - e2[1] * s[0]};
        const float q[3] = {s[1] * e1[2] - s[2] * e1[1], s[2] * e1[0] - s[0] * e1[2],
                            s[0] * e1[1] - s[1] * e1[0]};

        const QuadFloat det = dotScalar(ray.m_dir, n[0], n[1], n[2]);
        // Back faces (det < 0) are tested with the signs of u, v flipped against |det|, which
        // is the mirrored comparison of the two-sided test.
        const QuadFloat sign = bitAnd(det, QuadRay::sgn_mask);
        const QuadFloat absDet = bitAnd(det, QuadRay::abs_mask);
        const QuadFloat u = bitXor(dotScalar(ray.m_dir, w[0], w[1], w[2]), sign);
        const QuadFloat v = bitXor(dotScalar(ray.m_dir, q[0], q[1], q[2]), sign);
        QuadFloat inside = bitAnd(gt(absDet, QuadRay::eps), ge(u, QuadRay::zero));
        inside = bitAnd(inside, bitAnd(ge(v, QuadRay::zero), le(add(u, v), absDet)));
        inside = andNot(ray.m_terminated, inside);
        if (signBits(inside) == 0)
            return false;

        const float tNumerator = e2[0] * q[0] + e2[1] * q[1] + e2[2] * q[2];
        const QuadFloat t = div(splat(tNumerator), det);
        // Front faces count from just off the origin, back faces from the cull distance on.
        const QuadFloat backFace = lt(det, QuadRay::zero);
        const QuadFloat farEnough =
            select(backFace, ge(t, QuadRay::cullDistance), gt(t, splat(oxLinear::epsilonTolFlt)));
        const QuadFloat accept = bitAnd(bitAnd(inside, farEnough), lt(t, ray.m_t));
        const int acceptBits = signBits(accept);
        if (acceptBits == 0)
            return false;
        ray.m_t = select(accept, t, ray.m_t);
        ray.m_u = select(accept, div(u, absDet), ray.m_u);
        ray.m_v = select(accept, div(v, absDet), ray.m_v);
        for (int i = 0; i < 4; ++i)
            if (acceptBits & (1 << i))
                ray.m_tri[i] = &triangle;
        if (ray.m_terminateAtFirstHit)
            ray.m_terminated = bitOr(ray.m_terminated, accept);
        ++ray.m_version;
        return true;
    }

    static bool allTerminated(const QuadRay& ray)
    {
        return lanes::signBits(ray.m_terminated) == 0xf;
    }
};
}  // namespace oxGeom
