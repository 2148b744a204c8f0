#pragma once
// The separating-axis kernels behind the public triangle-box and segment-box tests, inline so
// that the octree partitions, which call them once or twice per item, pay no call and no
// argument checks: they validate each item once and test only octree boxes, which are valid.
// Private to the library.
// Based on: Akenine-Moeller 2001, "Fast 3D triangle-box overlap testing".

namespace oxGeom
{
namespace detail
{
inline float minOf(float x, float y)
{
    return y < x ? y : x;
}

inline float maxOf(float x, float y)
{
    return y > x ? y : x;
}

// Extent of a box (six floats, min then max) along `axis`, in units of the axis length.
inline void projectBox(const float box[6], const float axis[3], float& lo, float& hi)
{
    lo = 0.0f;
    hi = 0.0f;
    for (int k = 0; k < 3; ++k)
    {
        const float atMin = box[k] * axis[k];
        const float atMax = box[k + 3] * axis[k];
        lo += minOf(atMin, atMax);
        hi += maxOf(atMin, atMax);
    }
}

inline bool pointInBox(const float box[6], const float* p)
{
    return box[0] <= p[0] && p[0] <= box[3] && box[1] <= p[1] && p[1] <= box[4] && box[2] <= p[2] &&
           p[2] <= box[5];
}

// The box translated so that `origin` becomes the coordinate origin.
inline void relativeBox(const float box[6], const float* origin, float relative[6])
{
    for (int k = 0; k < 3; ++k)
    {
        relative[k] = box[k] - origin[k];
        relative[k + 3] = box[k + 3] - origin[k];
    }
}

// True when the triangle 0, u, w (corners relative to A) and the relative box are apart along
// `axis`.
inline bool separatesTriangle(const float axis[3], const float u[3], const float w[3],
                              const float box[6])
{
    const float pu = axis[0] * u[0] + axis[1] * u[1] + axis[2] * u[2];
    const float pw = axis[0] * w[0] + axis[1] * w[1] + axis[2] * w[2];
    const float triLo = minOf(0.0f, minOf(pu, pw));
    const float triHi = maxOf(0.0f, maxOf(pu, pw));
    float boxLo, boxHi;
    projectBox(box, axis, boxLo, boxHi);
    return triHi < boxLo || triLo > boxHi;
}

// The three axes x × e, y × e, z × e for one edge e.
inline bool edgeAxesSeparate(const float e[3], const float u[3], const float w[3],
                             const float box[6])
{
    const float xCross[3] = {0.0f, -e[2], e[1]};
    const float yCross[3] = {e[2], 0.0f, -e[0]};
    const float zCross[3] = {-e[1], e[0], 0.0f};
    return separatesTriangle(xCross, u, w, box) || separatesTriangle(yCross, u, w, box) ||
           separatesTriangle(zCross, u, w, box);
}

inline bool coordinateAxesSeparate(const float u[3], const float w[3], const float box[6])
{
    for (int k = 0; k < 3; ++k)
    {
        const float triLo = minOf(0.0f, minOf(u[k], w[k]));
        const float triHi = maxOf(0.0f, maxOf(u[k], w[k]));
        if (triHi < box[k] || triLo > box[k + 3])
            return true;
    }
    return false;
}

inline void cross(const float x[3], const float y[3], float out[3])
{
    out[0] = x[1] * y[2] - x[2] * y[1];
    out[1] = x[2] * y[0] - x[0] * y[2];
    out[2] = x[0] * y[1] - x[1] * y[0];
}

// The box straddles (or touches) the plane through the origin with normal `normal`.
inline bool boxMeetsPlane(const float normal[3], const float box[6])
{
    float lo, hi;
    projectBox(box, normal, lo, hi);
    return lo <= 0.0f && hi >= 0.0f;
}

/// Closed triangle-box overlap. Preconditions: `box` valid (min <= max), corners finite.
/// A corner in the box settles it exactly, and cheaply: in the octree partition most tested
/// leaves hold a corner of the triangle. Otherwise separating axes relative to A.
inline bool triangleMeetsBox(const float box[6], const float* a, const float* b, const float* c)
{
    if (pointInBox(box, a) || pointInBox(box, b) || pointInBox(box, c))
        return true;
    float rel[6];
    relativeBox(box, a, rel);
    const float ab[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const float bc[3] = {c[0] - b[0], c[1] - b[1], c[2] - b[2]};
    const float ac[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    // Relative to A the corners are 0, ab and ac.
    if (edgeAxesSeparate(ab, ab, ac, rel) || edgeAxesSeparate(bc, ab, ac, rel) ||
        edgeAxesSeparate(ac, ab, ac, rel))
        return false;
    if (coordinateAxesSeparate(ab, ac, rel))
        return false;
    float normal[3];
    cross(ab, ac, normal);
    return boxMeetsPlane(normal, rel);
}

/// Closed segment-box overlap. Preconditions: `box` valid, end points finite.
inline bool segmentMeetsBox(const float box[6], const float* p, const float* q)
{
    for (int k = 0; k < 3; ++k)
        if ((p[k] < box[k] && q[k] < box[k]) || (p[k] > box[k + 3] && q[k] > box[k + 3]))
            return false;
    float rel[6];
    relativeBox(box, p, rel);
    const float d[3] = {q[0] - p[0], q[1] - p[1], q[2] - p[2]};
    // d × x, d × y, d × z: the segment lies on the plane through the origin normal to each, so
    // the box must straddle that plane.
    const float dCrossX[3] = {0.0f, d[2], -d[1]};
    const float dCrossY[3] = {-d[2], 0.0f, d[0]};
    const float dCrossZ[3] = {d[1], -d[0], 0.0f};
    return boxMeetsPlane(dCrossX, rel) && boxMeetsPlane(dCrossY, rel) &&
           boxMeetsPlane(dCrossZ, rel);
}
}  // namespace detail
}  // namespace oxGeom
