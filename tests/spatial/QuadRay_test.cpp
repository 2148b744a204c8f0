#include <oxGeom/QuadRay.h>

#include <oxGeom/Ray.h>

#include "support/octreeOracle.h"
#include "support/rayTraceOracle.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using oxGeom::BoundingBox;
using oxGeom::MeshTriangle;
using oxGeom::MeshVertex;
using oxGeom::QuadFloat;
using oxGeom::QuadRay;
using oxLinear::PointFlt;
using oxLinear::VectorFlt;

namespace
{
QuadFloat quad(float x0, float x1, float x2, float x3)
{
    const float values[4] = {x0, x1, x2, x3};
    QuadFloat q;
    std::memcpy(&q, values, sizeof q);
    return q;
}

float laneOf(const QuadFloat& q, int i)
{
    float values[4];
    std::memcpy(values, &q, sizeof values);
    return values[i];
}

/// Restores both cull distances when a test that changes them ends.
struct CullDistanceGuard
{
    ~CullDistanceGuard()
    {
        QuadRay::setBackfaceCullDistance(1e-6f);
        oxGeom::setBackfaceCullDistance(1e-6);
    }
};

VectorFlt randomDirection(std::mt19937& rng)
{
    std::normal_distribution<float> gauss(0.0f, 1.0f);
    return VectorFlt(gauss(rng), gauss(rng), gauss(rng));
}

/// The exact parameter interval [near, far] of a ray in a box (doubles); empty when near > far.
void exactSlab(const PointFlt& o, const VectorFlt& d, const BoundingBox& box, double& near,
               double& far)
{
    near = 0.0;
    far = DBL_MAX;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double lo = box[axis], hi = box[axis + 3], oa = o[axis], da = d[axis];
        if (da == 0.0)
        {
            if (oa < lo || oa > hi)
                near = DBL_MAX;
            continue;
        }
        const double t0 = (lo - oa) / da, t1 = (hi - oa) / da;
        near = std::max(near, std::min(t0, t1));
        far = std::min(far, std::max(t0, t1));
    }
}
}  // namespace

// Unit right triangles in planes z = h, seen along +z from the origin, with power-of-two
// coordinates so that every parameter is exact.
//
//   (0,1) +            lane 0 through (0.25, 0.25): inside
//         | \          lane 1 through (0.5, 0.5): on the hypotenuse
//         |   \        lane 2 through (0, 0): the corner
//   (0,0) +----+ (1,0) lane 3 through (0.75, 0.5): outside
TEST(QuadRay, edgesCountAndParameterLimitsAreExact)
{
    const CullDistanceGuard guard;
    const PointFlt origin(0.0f, 0.0f, 0.0f);
    const VectorFlt d0(0.125f, 0.125f, 1.0f), d1(0.25f, 0.25f, 1.0f), d2(0.0f, 0.0f, 1.0f),
        d3(0.375f, 0.25f, 1.0f);
    // Seen from below, as the rays see them, (0 2 1) runs counter-clockwise.
    const MeshTriangle front = {{0, 2, 1}}, back = {{0, 1, 2}};
    auto plane = [](float h, MeshVertex out[3])
    {
        out[0] = {{0.0f, 0.0f, h}};
        out[1] = {{1.0f, 0.0f, h}};
        out[2] = {{0.0f, 1.0f, h}};
    };
    MeshVertex at2[3];
    plane(2.0f, at2);
    for (const MeshTriangle* triangle : {&front, &back})
    {
        QuadRay packet(origin, d0, d1, d2, d3, false);
        packet.intersect(*triangle, at2);
        for (int lane = 0; lane < 3; ++lane)
        {
            ASSERT_TRUE(packet.triHit(lane)) << lane;
            EXPECT_EQ(packet.triIntersectionRayParam(lane), 2.0f);
        }
        EXPECT_FALSE(packet.triHit(3));
        EXPECT_FALSE(packet.allRaysTerminated());  // nearest mode: lanes go on
    }
    {
        QuadRay packet(origin, d0, d1, d2, d3, false);
        packet.intersect(front, at2);
        // (0.25, 0.25) in the plane z = 2; corner 1 is (0, 1), corner 2 (1, 0).
        EXPECT_EQ(packet.triIntersectionBaryU(0), 0.25f);
        EXPECT_EQ(packet.triIntersectionBaryV(0), 0.25f);
        packet.intersect(front, at2);
        EXPECT_EQ(packet.triIntersectionBaryU(3), 0.0f);  // still no hit
        EXPECT_EQ(packet.triIntersectionBaryU(2), 0.0f);
    }

    // Back faces from the cull distance on (inclusive), front faces from just beyond 1e-6.
    const float cull = std::ldexp(1.0f, -10);
    QuadRay::setBackfaceCullDistance(cull);
    EXPECT_EQ(QuadRay::getBackfaceCullDistance(), cull);
    for (int k = 0; k < 4; ++k)
        EXPECT_EQ(laneOf(QuadRay::cullDistance, k), cull);
    const VectorFlt up(0.0f, 0.0f, 1.0f);
    MeshVertex corners[3];
    const float below = cull - std::ldexp(1.0f, -34);
    struct Case
    {
        float h;
        const MeshTriangle* triangle;
        bool hit;
    } cases[] = {{cull, &back, true},    {below, &back, false},  {below, &front, true},
                 {1e-7f, &front, false}, {-0.5f, &front, false}, {-0.5f, &back, false}};
    for (const Case& c : cases)
    {
        plane(c.h, corners);
        // The origin sits inside the triangle's shadow: shift it off the corner.
        const PointFlt inside(0.25f, 0.25f, 0.0f);
        QuadRay packet(inside, up, up, up, up, false);
        packet.intersect(*c.triangle, corners);
        EXPECT_EQ(packet.triHit(0), c.hit) << "h = " << c.h;
        if (c.hit)
        {
            EXPECT_EQ(packet.triIntersectionRayParam(0), c.h);
        }
    }
}

TEST(QuadRay, nearestModeKeepsTheNearestAndFirstHitModeTerminates)
{
    MeshVertex corners[9] = {{{-1, -1, 3}}, {{1, -1, 3}}, {{0, 1, 3}},   // far
                             {{-1, -1, 2}}, {{1, -1, 2}}, {{0, 1, 2}},   // near
                             {{-1, -1, 2}}, {{1, -1, 2}}, {{0, 1, 2}}};  // same as near
    const MeshTriangle far = {{0, 1, 2}}, near = {{3, 4, 5}}, twin = {{6, 7, 8}};
    const PointFlt origin(0.0f, 0.0f, 0.0f);
    const VectorFlt up(0.0f, 0.0f, 1.0f), down(0.0f, 0.0f, -1.0f), side(1.0f, 0.0f, 0.0f);
    const VectorFlt none(0.0f, 0.0f, 0.0f);

    QuadRay nearest(origin, up, up, down, side, false);
    nearest.intersect(far, corners);
    const std::uint32_t afterFar = nearest.version();
    nearest.intersect(near, corners);
    EXPECT_NE(nearest.version(), afterFar);  // the range shrank
    const std::uint32_t afterNear = nearest.version();
    nearest.intersect(twin, corners);  // as near, not nearer: kept
    nearest.intersect(far, corners);
    EXPECT_EQ(nearest.version(), afterNear);
    EXPECT_EQ(nearest.triIntersectionTriangle(0), &near);
    EXPECT_EQ(nearest.triIntersectionRayParam(1), 2.0f);
    EXPECT_FALSE(nearest.triHit(2));  // behind the origin
    EXPECT_FALSE(nearest.triHit(3));  // parallel to the triangles
    EXPECT_TRUE(nearest.terminatedLanes().none());

    QuadRay first(origin, up, up, up, none, true);
    EXPECT_EQ(first.terminatedLanes().raw(), 0x8u);  // the zero direction never hits
    first.intersect(far, corners);
    EXPECT_TRUE(first.allRaysTerminated());
    first.intersect(near, corners);  // terminated lanes take no more hits
    EXPECT_EQ(first.triIntersectionTriangle(0), &far);
    EXPECT_EQ(first.triIntersectionRayParam(2), 3.0f);
    EXPECT_FALSE(first.triHit(3));

    first.clearHits();
    EXPECT_EQ(first.terminatedLanes().raw(), 0x8u);  // dead lanes stay dead
    EXPECT_FALSE(first.triHit(0));
    EXPECT_EQ(first.triIntersectionRayParam(0), FLT_MAX);
    first.intersect(near, corners);
    EXPECT_EQ(first.triIntersectionRayParam(1), 2.0f);

    const QuadRay copy = first;  // copies keep their own records
    first.clearHits();
    EXPECT_TRUE(copy.triHit(1) && copy.allRaysTerminated());

    // Out-of-range lanes read as "no hit".
    EXPECT_FALSE(copy.triHit(4));
    EXPECT_FALSE(copy.triHit(-1));
    EXPECT_EQ(copy.triIntersectionRayParam(7), FLT_MAX);
    EXPECT_EQ(copy.triIntersectionTriangle(-2), nullptr);
    EXPECT_EQ(copy.triIntersectionBaryU(9), 0.0f);

    // A non-finite origin or direction gives lanes that never hit.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const QuadRay lost(PointFlt(nan, 0, 0), up, up, up, up, false);
    EXPECT_TRUE(lost.allRaysTerminated());
    QuadRay partly(origin, VectorFlt(0, nan, 1), up, VectorFlt(0, 0, INFINITY), up, false);
    EXPECT_EQ(partly.terminatedLanes().raw(), 0x5u);
    partly.intersect(near, corners);
    EXPECT_FALSE(partly.triHit(0) || partly.triHit(2));
    EXPECT_TRUE(partly.triHit(1) && partly.triHit(3));
}

TEST(QuadRay, boxTestNeverDropsABoxARayMeets)
{
    std::mt19937 rng(602);
    std::uniform_real_distribution<float> coordinate(-2.0f, 2.0f);
    std::uniform_real_distribution<float> size(0.0f, 1.0f);
    int outcomes[2] = {0, 0};
    const int packets = 30000 / testsupport::sanitizerRayDivisor;
    for (int p = 0; p < packets; ++p)
    {
        const float x = coordinate(rng), y = coordinate(rng), z = coordinate(rng);
        const BoundingBox box =
            testsupport::makeBox(x, y, z, x + size(rng), y + size(rng), z + size(rng));
        PointFlt origin(3.0f * coordinate(rng), 3.0f * coordinate(rng), 3.0f * coordinate(rng));
        VectorFlt d[4];
        for (int lane = 0; lane < 4; ++lane)
        {
            d[lane] = randomDirection(rng);
            if (lane < 2)  // aim at a point of the box
                for (int k = 0; k < 3; ++k)
                    d[lane][k] = box[k] + size(rng) * (box[k + 3] - box[k]) - origin[k];
            if (p % 3 == 0)
                d[lane][(p + lane) % 3] = lane == 3 ? -0.0f : 0.0f;
        }
        if (p % 5 == 0)  // an origin on a face plane, for the zero components
            origin[p % 3] = box[p % 3 + 3 * (p & 1)];
        const QuadRay packet(origin, d[0], d[1], d[2], d[3], false);
        oxUtil::BitField32 lanes;
        lanes.set(31);  // replaced, not or-ed
        packet.intersect(box, lanes);
        EXPECT_EQ(lanes.raw() & ~0xfu, 0u);
        for (int lane = 0; lane < 4; ++lane)
        {
            double near, far;
            exactSlab(origin, d[lane], box, near, far);
            const bool meets = near <= far;
            const double slack = 2e-3 * std::max(std::fabs(near), std::fabs(far));
            if (meets)
            {
                EXPECT_TRUE(lanes.test(lane)) << "packet " << p << " lane " << lane;
            }
            else if (near > far + slack)
            {
                EXPECT_FALSE(lanes.test(lane)) << "packet " << p << " lane " << lane;
            }
            ++outcomes[meets ? 1 : 0];
        }
    }
    EXPECT_GT(outcomes[0], packets / 2);
    EXPECT_GT(outcomes[1], packets / 2);

    // Empty, inverted and NaN boxes meet nothing; terminated lanes meet nothing; a
    // nearest-hit lane stops meeting boxes beyond its hit.
    const PointFlt origin(0.0f, 0.0f, 0.0f);
    const VectorFlt up(0, 0, 1), none(0, 0, 0);
    QuadRay packet(origin, up, up, up, none, false);
    oxUtil::BitField32 lanes;
    const BoundingBox beyond = testsupport::makeBox(-1, -1, 5, 1, 1, 6);
    packet.intersect(beyond, lanes);
    EXPECT_EQ(lanes.raw(), 0x7u);
    packet.intersect(BoundingBox(), lanes);
    EXPECT_EQ(lanes.raw(), 0u);
    packet.intersect(testsupport::makeBox(-1, -1, 6, 1, 1, 5), lanes);
    EXPECT_EQ(lanes.raw(), 0u);
    packet.intersect(testsupport::makeBox(-1, -1, std::nan(""), 1, 1, 6), lanes);
    EXPECT_EQ(lanes.raw(), 0u);
    MeshVertex corners[3] = {{{-1, -1, 2}}, {{1, -1, 2}}, {{0, 1, 2}}};
    const MeshTriangle triangle = {{0, 1, 2}};
    packet.intersect(triangle, corners);
    packet.intersect(beyond, lanes);
    EXPECT_EQ(lanes.raw(), 0u);
    packet.intersect(testsupport::makeBox(-1, -1, 1.999f, 1, 1, 6), lanes);
    EXPECT_EQ(lanes.raw(), 0x7u);
    QuadRay occlusion(origin, up, up, up, up, true);
    occlusion.intersect(triangle, corners);
    occlusion.intersect(testsupport::makeBox(-1, -1, 0, 1, 1, 1), lanes);
    EXPECT_EQ(lanes.raw(), 0u);
}

TEST(QuadRay, dotCrossAndMeanDirectionAreLaneWise)
{
    const QuadFloat a[3] = {quad(1, 2, 3, 4), quad(-1, 0, 2, 0.5f), quad(0, 5, -2, 1)};
    const QuadFloat b[3] = {quad(2, -1, 0, 3), quad(1, 1, 1, -2), quad(4, 0, -3, 2)};
    const QuadFloat dot = QuadRay::dot(a, b);
    QuadFloat cross[3];
    QuadRay::cross(a, b, cross);
    for (int lane = 0; lane < 4; ++lane)
    {
        const double x[3] = {laneOf(a[0], lane), laneOf(a[1], lane), laneOf(a[2], lane)};
        const double y[3] = {laneOf(b[0], lane), laneOf(b[1], lane), laneOf(b[2], lane)};
        double c[3];
        testsupport::cross3(x, y, c);
        EXPECT_EQ(laneOf(dot, lane), testsupport::dot3(x, y));
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(laneOf(cross[k], lane), c[k]) << lane << " " << k;
    }
    const PointFlt origin(1, 2, 3);
    const VectorFlt d0(1, 0, 0), d1(0, 2, 0), d2(0, 0, 3), d3(-1, -2, 1);
    const QuadRay packet(origin, d0, d1, d2, d3, true);
    EXPECT_EQ(packet.meanDirection()[0], 0.0f);
    EXPECT_EQ(packet.meanDirection()[1], 0.0f);
    EXPECT_EQ(packet.meanDirection()[2], 1.0f);
    EXPECT_EQ(packet.direction(3)[1], -2.0f);
    EXPECT_EQ(packet.direction(9)[0], -1.0f);  // clamped to lane 3
}
