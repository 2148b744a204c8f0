// QuadRay: four rays from one origin in transposed four-lane form, so that one box or triangle
// test serves four rays; per-lane hit records and the terminated-lane mask that ends a walk.
// The kernels themselves live inline in QuadLanes.h, shared with the walk and the tracer.
// Based on: Wald, Slusallek, Benthin and Wagner 2001 (ray packets); Moeller and Trumbore 1997.

#include <oxGeom/QuadRay.h>

#include "QuadLanes.h"

#include <cfloat>
#include <cmath>
#include <cstring>

namespace oxGeom
{
namespace
{
float floatFromBits(std::uint32_t bits)
{
    float x;
    std::memcpy(&x, &bits, sizeof x);
    return x;
}

bool isFinite(const oxLinear::VectorFlt& v)
{
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}
}  // namespace

const QuadFloat QuadRay::zero = lanes::splat(0.0f);
const QuadFloat QuadRay::sgn_mask = lanes::splat(floatFromBits(0x80000000u));
const QuadFloat QuadRay::abs_mask = lanes::splat(floatFromBits(0x7fffffffu));
const QuadFloat QuadRay::eps = lanes::splat(1e-6f);
const QuadFloat QuadRay::maxfloat = lanes::splat(FLT_MAX);
QuadFloat QuadRay::cullDistance = lanes::splat(1e-6f);

QuadRay::QuadRay(const oxLinear::PointFlt& origin, const oxLinear::VectorFlt& d0,
                 const oxLinear::VectorFlt& d1, const oxLinear::VectorFlt& d2,
                 const oxLinear::VectorFlt& d3, bool terminateAtFirstHit)
    : m_originPoint(origin), m_terminateAtFirstHit(terminateAtFirstHit)
{
    const oxLinear::VectorFlt* d[4] = {&d0, &d1, &d2, &d3};
    const bool originFinite =
        std::isfinite(origin[0]) && std::isfinite(origin[1]) && std::isfinite(origin[2]);
    bool dead[4];
    for (int i = 0; i < 4; ++i)
    {
        const oxLinear::VectorFlt& di = *d[i];
        dead[i] =
            !originFinite || !isFinite(di) || (di[0] == 0.0f && di[1] == 0.0f && di[2] == 0.0f);
    }
    for (int axis = 0; axis < 3; ++axis)
    {
        m_origin[axis] = lanes::splat(origin[axis]);
        m_dir[axis] = lanes::make((*d[0])[axis], (*d[1])[axis], (*d[2])[axis], (*d[3])[axis]);
        // A zero component gives an infinite reciprocal, which the box test relies on.
        m_rcp[axis] = lanes::rcp(m_dir[axis]);
        m_mean[axis] = 0.25f * ((*d[0])[axis] + (*d[1])[axis] + (*d[2])[axis] + (*d[3])[axis]);
    }
    // Only infinite reciprocals (zero or subnormal components), or zero ones (components too
    // large to invert), can make the box tests meet 0 * infinity; packets without them take
    // the box tests' shorter path.
    m_axisParallel = false;
    for (int i = 0; i < 4; ++i)
        for (int axis = 0; axis < 3; ++axis)
        {
            const float r = lanes::lane(m_rcp[axis], i);
            m_axisParallel = m_axisParallel || (!dead[i] && !(std::isfinite(r) && r != 0.0f));
        }
    const float allBits = floatFromBits(0xffffffffu);
    m_dead = lanes::make(dead[0] ? allBits : 0.0f, dead[1] ? allBits : 0.0f,
                         dead[2] ? allBits : 0.0f, dead[3] ? allBits : 0.0f);
    clearHits();
}

void QuadRay::intersect(const MeshTriangle& triangle, const MeshVertex* const vertices)
{
    QuadRayKernels::intersectTriangle(*this, triangle, vertices);
}

void QuadRay::intersect(const BoundingBox& box, oxUtil::BitField32& result) const
{
    const float* b = box.data();
    // The kernel takes the slab ends in either order, which would turn an inverted (empty) box
    // into a full one: such boxes, and NaN ones, are answered here.
    const bool validBox = b[0] <= b[3] && b[1] <= b[4] && b[2] <= b[5];
    result.setRaw(validBox ? static_cast<std::uint32_t>(QuadRayKernels::boxLanes(*this, b)) : 0u);
}

bool QuadRay::allRaysTerminated() const
{
    return lanes::signBits(m_terminated) == 0xf;
}

oxUtil::BitField32 QuadRay::terminatedLanes() const
{
    return oxUtil::BitField32(static_cast<std::uint32_t>(lanes::signBits(m_terminated)));
}

bool QuadRay::triHit(int lane) const
{
    return triIntersectionTriangle(lane) != nullptr;
}

float QuadRay::triIntersectionRayParam(int lane) const
{
    return lane >= 0 && lane < 4 ? lanes::lane(m_t, lane) : FLT_MAX;
}

float QuadRay::triIntersectionBaryU(int lane) const
{
    return lane >= 0 && lane < 4 ? lanes::lane(m_u, lane) : 0.0f;
}

float QuadRay::triIntersectionBaryV(int lane) const
{
    return lane >= 0 && lane < 4 ? lanes::lane(m_v, lane) : 0.0f;
}

const MeshTriangle* QuadRay::triIntersectionTriangle(int lane) const
{
    return lane >= 0 && lane < 4 ? m_tri[lane] : nullptr;
}

void QuadRay::clearHits()
{
    m_t = maxfloat;
    m_u = zero;
    m_v = zero;
    m_terminated = m_dead;
    for (const MeshTriangle*& triangle : m_tri)
        triangle = nullptr;
    ++m_version;
}

oxLinear::VectorFlt QuadRay::direction(int lane) const
{
    const int i = lane < 0 ? 0 : (lane > 3 ? 3 : lane);
    return oxLinear::VectorFlt(lanes::lane(m_dir[0], i), lanes::lane(m_dir[1], i),
                               lanes::lane(m_dir[2], i));
}

void QuadRay::setBackfaceCullDistance(float distance)
{
    cullDistance = lanes::splat(distance);
}

float QuadRay::getBackfaceCullDistance()
{
    return lanes::lane(cullDistance, 0);
}

QuadFloat QuadRay::dot(const QuadFloat a[3], const QuadFloat b[3])
{
    using namespace lanes;
    return add(add(mul(a[0], b[0]), mul(a[1], b[1])), mul(a[2], b[2]));
}

void QuadRay::cross(const QuadFloat a[3], const QuadFloat b[3], QuadFloat out[3])
{
    using namespace lanes;
    out[0] = sub(mul(a[1], b[2]), mul(a[2], b[1]));
    out[1] = sub(mul(a[2], b[0]), mul(a[0], b[2]));
    out[2] = sub(mul(a[0], b[1]), mul(a[1], b[0]));
}
}  // namespace oxGeom
