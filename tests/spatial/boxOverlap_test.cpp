// Triangle-box and segment-box overlap: exact contacts in which one class of separating axis
// decides (touching, nudged apart, nudged together), degenerate input, and random items against
// a clipping oracle.

#include <oxGeom/boxOverlap.h>

#include "support/boxOverlapOracle.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace
{
using oxGeom::BoundingBox;

BoundingBox box02(float offset)
{
    BoundingBox box;
    for (int k = 0; k < 3; ++k)
        box[k] = offset, box[k + 3] = 2.0f + offset;
    return box;
}

// An item (three corners, or two for a segment) in exact contact with [0, 2]^3 and overlapping
// strictly along every other candidate axis, so a nudge along `away` separates it along one
// axis alone. Integer coordinates keep the float arithmetic exact.
struct Contact
{
    const char* axis;
    int numCorners;
    float corners[3][3];
    float away[3];
};

const Contact contacts[] = {
    {"x cross (B - A)", 3, {{2, -1, 3}, {1, 5, 1}, {4, 2, 3}}, {0, 1, 3}},
    {"z cross (C - B)", 3, {{5, 3, -1}, {3, 1, -2}, {0, 4, 5}}, {1, 1, 0}},
    {"z cross (C - A)", 3, {{-1, 2, 5}, {-2, 0, 1}, {1, -2, -2}}, {-2, -1, 0}},
    {"y axis", 3, {{0, -1, 4}, {1, 0, 1}, {-1, -3, 0}}, {0, -1, 0}},
    {"triangle normal", 3, {{-3, 0, 3}, {4, -2, 0}, {-1, 1, -1}}, {-1, -2, -1}},
    {"segment, x axis", 2, {{2, 1, 0}, {3, 3, -2}}, {1, 0, 0}},
    {"segment, direction cross z", 2, {{3, 1, 4}, {1, 3, -3}}, {1, 1, 0}},
};

bool answer(const BoundingBox& box, const float (*p)[3], int numCorners)
{
    return numCorners == 2 ? oxGeom::intersects(box, p[0], p[1])
                           : oxGeom::intersects(box, p[2], p[0], p[1]);
}
}  // namespace

TEST(boxOverlap, contactAlongEachAxisClassTouchesThenSeparates)
{
    for (const Contact& contact : contacts)
        for (float offset : {0.0f, -100.5f})
            for (float step : {0.0f, 1.0f / 256, -1.0f / 256})
            {
                float p[3][3];
                for (int i = 0; i < contact.numCorners; ++i)
                    for (int k = 0; k < 3; ++k)
                        p[i][k] = contact.corners[i][k] + step * contact.away[k] + offset;
                EXPECT_EQ(answer(box02(offset), p, contact.numCorners), step <= 0.0f)
                    << contact.axis << ", moved by " << step;
            }
}

TEST(boxOverlap, degenerateItemsEmptyBoxAndNonFiniteCorners)
{
    const BoundingBox box = box02(0.0f);
    const float onFace[3] = {2, 0.5f, 1}, outside[3] = {2.5f, 1, 1};
    EXPECT_TRUE(oxGeom::intersects(box, onFace, onFace, onFace));
    EXPECT_TRUE(oxGeom::intersects(box, onFace, onFace));
    EXPECT_FALSE(oxGeom::intersects(box, outside, outside, outside));
    EXPECT_FALSE(oxGeom::intersects(box, outside, outside));
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(), onFace, onFace, onFace));
    EXPECT_FALSE(oxGeom::intersects(BoundingBox(), onFace, onFace));
    for (float bad :
         {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()})
        for (int k = 0; k < 9; ++k)
        {
            float t[3][3] = {{0.5f, 0.5f, 0.5f}, {1.5f, 0.5f, 0.5f}, {0.5f, 1.5f, 0.5f}};
            t[k / 3][k % 3] = bad;
            EXPECT_FALSE(oxGeom::intersects(box, t[0], t[1], t[2])) << bad << " at " << k;
            EXPECT_FALSE(k < 6 && oxGeom::intersects(box, t[0], t[1])) << bad << " at " << k;
        }
    // project replaces its outputs by the sums of the per-coordinate extremes.
    float lo = 99.0f, hi = -99.0f;
    oxGeom::project(box02(-1.0f), oxLinear::VectorFlt(2.0f, -1.0f, 0.5f), lo, hi);
    EXPECT_EQ(lo, -2.0f - 1.0f - 0.5f);
    EXPECT_EQ(hi, 2.0f + 1.0f + 0.5f);
}

TEST(boxOverlap, agreesWithClippingOnRandomItems)
{
    std::mt19937 random(20240611);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    // Per kind (triangle, segment): decided overlapping, decided apart, and apart although the
    // item's bounding box meets the box, which only the slanted axes can tell.
    int overlapping[2] = {}, apart[2] = {}, apartInBounds[2] = {};
    for (int trial = 0; trial < 20000; ++trial)
    {
        BoundingBox box, bounds[2];
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
        for (int i = 0; i < 3; ++i)
            bounds[0].extend(p[i]), bounds[1].extend(p[i < 2 ? i : 0]);
        const testsupport::Overlap expected[2] = {
            testsupport::classify(box, {p[0], p[1], p[2]}, 1e-5),
            testsupport::classify(box, {p[0], p[1]}, 1e-5)};
        const bool answers[2] = {oxGeom::intersects(box, p[0], p[1], p[2]),
                                 oxGeom::intersects(box, p[0], p[1])};
        for (int kind = 0; kind < 2; ++kind)
        {
            if (expected[kind] == testsupport::Overlap::near)
                continue;
            const bool overlaps = expected[kind] == testsupport::Overlap::overlapping;
            EXPECT_EQ(answers[kind], overlaps) << "trial " << trial << " kind " << kind;
            ++(overlaps ? overlapping : apart)[kind];
            apartInBounds[kind] += !overlaps && bounds[kind].intersects(box);
        }
    }
    for (int kind = 0; kind < 2; ++kind)
    {
        EXPECT_GT(overlapping[kind], 3000) << kind;
        EXPECT_GT(apart[kind], 3000) << kind;
        EXPECT_GT(apartInBounds[kind], 500) << kind;
    }
}
