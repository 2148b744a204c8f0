// Triangle-box and segment-box overlap: hand-made contacts in which exactly one class of
// separating axis decides, touching (overlap), nudged apart and nudged together, under corner
// rotations and translations; degenerate input; random items against a clipping oracle.

#include <oxGeom/boxOverlap.h>

#include "support/boxOverlapOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace
{
using oxGeom::BoundingBox;

BoundingBox box02(const float offset[3])
{
    BoundingBox box;
    for (int k = 0; k < 3; ++k)
    {
        box[k] = offset[k];
        box[k + 3] = 2.0f + offset[k];
    }
    return box;
}

// An item (three corners, or two for a segment) in exact contact with [0, 2]^3 along one axis
// and overlapping strictly along every other candidate axis, so moving it by a small multiple
// of `away` separates it along that axis alone. Integer coordinates keep all float math exact.
struct Contact
{
    const char* separatingAxis;
    int numCorners;
    float corners[3][3];
    float away[3];
};

const Contact contacts[] = {
    {"x cross (B - A) = (0, 2, 6)", 3, {{2, -1, 3}, {1, 5, 1}, {4, 2, 3}}, {0, 1, 3}},
    {"z cross (C - B) = (-3, -3, 0)", 3, {{5, 3, -1}, {3, 1, -2}, {0, 4, 5}}, {1, 1, 0}},
    {"z cross (C - A) = (4, 2, 0)", 3, {{-1, 2, 5}, {-2, 0, 1}, {1, -2, -2}}, {-2, -1, 0}},
    {"coordinate axis y", 3, {{0, -1, 4}, {1, 0, 1}, {-1, -3, 0}}, {0, -1, 0}},
    {"plane normal (11, 22, 11)", 3, {{-3, 0, 3}, {4, -2, 0}, {-1, 1, -1}}, {-1, -2, -1}},
    // Touches the faces x = 2 and z = 0; moving along +x separates on x.
    {"segment, coordinate axis x", 2, {{2, 1, 0}, {3, 3, -2}}, {1, 0, 0}},
    {"segment, direction cross z = (2, 2, 0)", 2, {{3, 1, 4}, {1, 3, -3}}, {1, 1, 0}},
};

// The answer for the item, which must not depend on the corner order or the winding.
bool answer(const BoundingBox& box, const float (*p)[3], int numCorners)
{
    if (numCorners == 2)
    {
        const bool result = oxGeom::intersects(box, p[0], p[1]);
        EXPECT_EQ(oxGeom::intersects(box, p[1], p[0]), result);
        return result;
    }
    const bool result = oxGeom::intersects(box, p[0], p[1], p[2]);
    EXPECT_EQ(oxGeom::intersects(box, p[1], p[2], p[0]), result);
    EXPECT_EQ(oxGeom::intersects(box, p[2], p[0], p[1]), result);
    EXPECT_EQ(oxGeom::intersects(box, p[0], p[2], p[1]), result);
    return result;
}
}  // namespace

TEST(boxOverlap, contactAlongEachAxisClassTouchesThenSeparates)
{
    const float offsets[][3] = {{0, 0, 0}, {10.5f, -7.25f, 3.0f}, {-100.0f, 0.5f, -64.0f}};
    for (const Contact& contact : contacts)
        for (const float* offset : offsets)
            for (float step : {0.0f, 1.0f / 256, -1.0f / 256})
            {
                float p[3][3];
                for (int i = 0; i < contact.numCorners; ++i)
                    for (int k = 0; k < 3; ++k)
                        p[i][k] = contact.corners[i][k] + step * contact.away[k] + offset[k];
                EXPECT_EQ(answer(box02(offset), p, contact.numCorners), step <= 0.0f)
                    << contact.separatingAxis << ", moved by " << step;
            }
}

TEST(boxOverlap, degenerateItemsEmptyBoxAndNonFiniteCorners)
{
    const float origin[3] = {0, 0, 0};
    const BoundingBox box = box02(origin);
    const float onFace[3] = {2, 0.5f, 1}, outside[3] = {2.5f, 1, 1};
    // Items collapsed to a point are the closed point test.
    EXPECT_TRUE(oxGeom::intersects(box, onFace, onFace, onFace));
    EXPECT_FALSE(oxGeom::intersects(box, outside, outside, outside));
    EXPECT_TRUE(oxGeom::intersects(box, onFace, onFace));
    EXPECT_FALSE(oxGeom::intersects(box, outside, outside));

    // A collinear triangle is its segment: only its edges' cross axes can separate it.
    const Contact& slanted = contacts[6];
    for (float step : {0.0f, 1.0f / 256})
    {
        float p[2][3], mid[3];
        for (int k = 0; k < 3; ++k)
        {
            p[0][k] = slanted.corners[0][k] + step * slanted.away[k];
            p[1][k] = slanted.corners[1][k] + step * slanted.away[k];
            mid[k] = 0.5f * (p[0][k] + p[1][k]);
        }
        EXPECT_EQ(oxGeom::intersects(box, p[0], mid, p[1]), step == 0.0f) << step;
    }

    const float a[3] = {-1e30f, -1e30f, 0}, b[3] = {1e30f, -1e30f, 0}, c[3] = {0, 1e30f, 0};
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(), a, b, c));
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(), a, b));

    for (int corner = 0; corner < 3; ++corner)
        for (int k = 0; k < 3; ++k)
        {
            float t[3][3] = {{0.5f, 0.5f, 0.5f}, {1.5f, 0.5f, 0.5f}, {0.5f, 1.5f, 0.5f}};
            t[corner][k] = (corner + k) % 2 ? std::numeric_limits<float>::quiet_NaN()
                                            : std::numeric_limits<float>::infinity();
            EXPECT_FALSE(oxGeom::intersects(box, t[0], t[1], t[2])) << corner << k;
            EXPECT_FALSE(corner < 2 && oxGeom::intersects(box, t[0], t[1])) << corner << k;
        }

    // project replaces its outputs with the sums of per-coordinate extremes.
    float lo = 99.0f, hi = -99.0f;
    const float values[6] = {-1, 3, 0, 2, 4, 1};
    BoundingBox projected;
    std::copy(values, values + 6, projected.data());
    oxGeom::project(projected, oxLinear::VectorFlt(2.0f, -1.0f, 0.5f), lo, hi);
    EXPECT_EQ(lo, -2.0f - 4.0f + 0.0f);
    EXPECT_EQ(hi, 4.0f - 3.0f + 0.5f);
}

TEST(boxOverlap, agreesWithClippingOnRandomItems)
{
    std::mt19937 random(20240611);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    // Per item (0 triangle, 1 segment): overlapping, apart, and apart although its bounding
    // box meets the box, which only the slanted axes can tell.
    int overlapping[2] = {}, apart[2] = {}, apartInBounds[2] = {};
    for (int trial = 0; trial < 20000; ++trial)
    {
        BoundingBox box;
        const float scale = trial % 3 == 0 ? 0.1f : (trial % 3 == 1 ? 0.5f : 2.0f);
        float p[3][3];
        for (int k = 0; k < 3; ++k)
        {
            box[k] = unit(random);
            box[k + 3] = box[k] + 0.05f + 0.3f * unit(random);
            const float reach = 0.5f * (box[k + 3] - box[k] + scale);
            const float centre = 0.5f * (box[k] + box[k + 3]) + reach * (2 * unit(random) - 1);
            for (int i = 0; i < 3; ++i)
                p[i][k] = centre + scale * (unit(random) - 0.5f);
        }
        const testsupport::Overlap expected[2] = {
            testsupport::classify(box, {p[0], p[1], p[2]}, 1e-5),
            testsupport::classify(box, {p[0], p[1]}, 1e-5)};
        const bool answers[2] = {oxGeom::intersects(box, p[0], p[1], p[2]),
                                 oxGeom::intersects(box, p[0], p[1])};
        for (int item = 0; item < 2; ++item)
        {
            if (expected[item] == testsupport::Overlap::near)
                continue;
            const bool overlaps = expected[item] == testsupport::Overlap::overlapping;
            EXPECT_EQ(answers[item], overlaps) << "trial " << trial << " item " << item;
            BoundingBox bounds;
            for (int i = 0; i < 3 - item; ++i)
                bounds.extend(p[i]);
            ++(overlaps ? overlapping : apart)[item];
            apartInBounds[item] += !overlaps && bounds.intersects(box);
        }
    }
    for (int item = 0; item < 2; ++item)
    {
        EXPECT_GT(overlapping[item], 3000) << item;
        EXPECT_GT(apart[item], 3000) << item;
        EXPECT_GT(apartInBounds[item], 500) << item;
    }
}
