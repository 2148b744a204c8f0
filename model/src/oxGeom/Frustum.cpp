// Frustum: eight corners and the six face planes derived from them, plus the
// conservative box test used to cull octree nodes. Face normals come from
// Newell's method, which stays exact for planar quads and degrades gracefully
// when a face collapses (a pyramid's apex); culling is two cheap stages,
// corner-count slabs first, then the planes.

#include "oxGeom/Frustum.h"

namespace oxGeom
{
namespace
{
using oxLinear::Point;
using oxLinear::Vector;

// Corner indices of the six faces, in plane order: near, far, then the sides.
const int faceCorners[6][4] = {{0, 1, 2, 3}, {4, 5, 6, 7}, {0, 1, 5, 4},
                               {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};

Point centroid(const Point* points, int count)
{
    Vector sum;
    for (int i = 0; i < count; ++i)
        sum += Vector(points[i]);
    return Point(sum / static_cast<double>(count));
}

/// Newell's normal of the polygon a-b-c-d (twice its vector area).
Vector newellNormal(const Point (&quad)[4])
{
    Vector normal;
    for (int i = 0; i < 4; ++i)
    {
        const Point& p = quad[i];
        const Point& q = quad[(i + 1) % 4];
        normal[0] += (p[1] - q[1]) * (p[2] + q[2]);
        normal[1] += (p[2] - q[2]) * (p[0] + q[0]);
        normal[2] += (p[0] - q[0]) * (p[1] + q[1]);
    }
    return normal;
}

/// First stage: true when all eight corners lie beyond one face of the box.
/// Stops counting at the first corner inside the box on all three axes.
bool cornersBeyondOneFace(const BoundingBox& box, const Frustum& frustum)
{
    int below[3] = {0, 0, 0};
    int above[3] = {0, 0, 0};
    for (int i = 0; i < 8; ++i)
    {
        const Point& corner = frustum.getCorner(i);
        bool inside = true;
        for (int axis = 0; axis < 3; ++axis)
        {
            if (corner[axis] < box[axis])
            {
                ++below[axis];
                inside = false;
            }
            else if (corner[axis] > box[axis + 3])
            {
                ++above[axis];
                inside = false;
            }
        }
        if (inside)
            return false;
    }
    for (int axis = 0; axis < 3; ++axis)
        if (below[axis] == 8 || above[axis] == 8)
            return true;
    return false;
}

/// Second stage: true when every box corner lies strictly above one plane.
bool boxAboveOnePlane(const BoundingBox& box, const Frustum& frustum)
{
    for (int p = 0; p < 6; ++p)
    {
        const oxLinear::Plane& plane = frustum.getPlane(p);
        bool allAbove = true;
        for (int i = 0; i < 8 && allAbove; ++i)
        {
            float corner[3];
            box.getPoint(i, corner);
            const Vector offset = Point(corner[0], corner[1], corner[2]) - plane.point();
            allAbove = oxLinear::dot(offset, plane.normal()) > 0.0;
        }
        if (allAbove)
            return true;
    }
    return false;
}
}  // namespace

Frustum::Frustum()
{
    for (int i = 0; i < 8; ++i)
    {
        // Corners 0-3 go round the face z = -1 counter-clockwise seen from +z.
        const int round = i & 3;
        const double x = (round == 1 || round == 2) ? 1.0 : -1.0;
        const double y = (round >= 2) ? 1.0 : -1.0;
        m_corners[i] = Point(x, y, i < 4 ? -1.0 : 1.0);
    }
    derivePlanes();
}

Frustum::Frustum(const Point corners[8])
{
    for (int i = 0; i < 8; ++i)
        m_corners[i] = corners[i];
    derivePlanes();
}

void Frustum::derivePlanes()
{
    const Point middle = centroid(m_corners, 8);
    for (int f = 0; f < 6; ++f)
    {
        Point quad[4];
        for (int k = 0; k < 4; ++k)
            quad[k] = m_corners[faceCorners[f][k]];
        const Point centre = centroid(quad, 4);
        Vector normal = newellNormal(quad);
        // The corner order alone does not fix the sense (mirrored frusta exist):
        // turn the normal away from the volume's centre.
        if (oxLinear::dot(normal, centre - middle) < 0.0)
            normal.reverse();
        m_planes[f] = oxLinear::Plane(centre, normal);
    }
}

oxLinear::Vector Frustum::getVector() const
{
    const Point nearCentre = centroid(m_corners, 4);
    const Point farCentre = centroid(m_corners + 4, 4);
    return (farCentre - nearCentre).normalized();
}

oxLinear::Line Frustum::getRay() const
{
    return oxLinear::Line(centroid(m_corners, 4), getVector());
}

bool intersects(const BoundingBox& box, const Frustum& frustum)
{
    if (!box.isValid())
        return false;
    return !cornersBeyondOneFace(box, frustum) && !boxAboveOnePlane(box, frustum);
}
}  // namespace oxGeom
