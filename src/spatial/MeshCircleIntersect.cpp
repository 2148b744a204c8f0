// MeshCircleIntersect: the points where a circle meets a mesh. The leaves of the
// circle's bounding cube give the candidate triangles; each is cut by the
// circle's plane and the cut is intersected with the circle in the plane. The
// crossings are sorted round the circle so the output does not depend on the
// octree's leaf order.

#include <oxGeom/MeshCircleIntersect.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace oxGeom
{
namespace
{
using oxLinear::Point;
using oxLinear::Vector;

constexpr double twoPi = 6.283185307179586;

/// The circle of a query, with the in-plane axes that fix the output order.
struct Circle
{
    Point centre;
    Vector normal;
    Vector u, v;  // in-plane axes, u = normal.orthogonalVector(), v = normal x u
    double radius;
    double tolerance;

    double angleOf(const Point& p) const
    {
        const Vector d = p - centre;
        const double angle = std::atan2(oxLinear::dot(d, v), oxLinear::dot(d, u));
        return angle < 0.0 ? angle + twoPi : angle;
    }

    /// p moved onto the plane: removes the offset that the on-plane snap allows.
    Point ontoPlane(const Point& p) const { return p - normal * oxLinear::dot(p - centre, normal); }
};

/// The point x on the circle test: |distance from the centre - radius| within tolerance.
void addPointOnCircle(const Circle& circle, const Point& x, std::vector<Point>& out)
{
    const double distance = oxLinear::distance(x, circle.centre);
    if (std::fabs(distance - circle.radius) <= circle.tolerance)
        out.push_back(x);
}

/// Crossings of the in-plane segment [x, y] with the circle.
void addSegmentCrossings(const Circle& circle, const Point& x, const Point& y,
                         std::vector<Point>& out)
{
    const Vector d = y - x;
    const double length2 = d.length2();
    const double tol = circle.tolerance;
    if (length2 <= tol * tol || length2 == 0.0)
    {
        addPointOnCircle(circle, x, out);
        return;
    }
    const double length = std::sqrt(length2);
    const double slack = tol / length;  // the tolerance in segment parameters
    const double foot = oxLinear::dot(circle.centre - x, d) / length2;
    const double h2 = oxLinear::distance2(circle.centre, x + d * foot);
    const double h = std::sqrt(h2);
    const double r = circle.radius;
    if (h > r + tol)
        return;
    auto keep = [&](double t)
    {
        if (t >= -slack && t <= 1.0 + slack)
            out.push_back(x + d * std::min(1.0, std::max(0.0, t)));
    };
    if (h >= r - tol)
    {
        keep(foot);  // tangent: the one nearest point
        return;
    }
    const double half = std::sqrt(r * r - h2) / length;
    keep(foot - half);
    keep(foot + half);
}

/// The crossing of edge (i, j) with the plane, i and j taken in vertex index
/// order so that two triangles sharing the edge compute the same point.
Point edgeCut(int vi, const Point& pi, double si, int vj, const Point& pj, double sj)
{
    if (vj < vi)
        return edgeCut(vj, pj, sj, vi, pi, si);
    return pi + (pj - pi) * (si / (si - sj));
}

/// The triangle cut by the circle's plane, then against the circle.
void addTriangleCrossings(const CompactMesh& mesh, int triangle, const Circle& circle,
                          std::vector<Point>& out)
{
    const MeshTriangle& tri = mesh.getTriangles()[triangle];
    const MeshVertex* vertices = mesh.getVertices();
    const int numVertices = mesh.getNumVertices();
    Point p[3];
    double s[3];
    for (int k = 0; k < 3; ++k)
    {
        if (static_cast<unsigned>(tri[k]) >= static_cast<unsigned>(numVertices))
            return;
        const float* v = vertices[tri[k]].v;
        p[k] = Point(v[0], v[1], v[2]);
        s[k] = oxLinear::dot(p[k] - circle.centre, circle.normal);
        if (std::fabs(s[k]) <= circle.tolerance)
            s[k] = 0.0;  // on the plane
    }
    if (s[0] == 0.0 && s[1] == 0.0 && s[2] == 0.0)
    {
        // In the plane: where the circle crosses the triangle's edges.
        for (int k = 0; k < 3; ++k)
        {
            const int i = k, j = (k + 1) % 3;
            const bool ordered = tri[i] <= tri[j];
            addSegmentCrossings(circle, circle.ontoPlane(ordered ? p[i] : p[j]),
                                circle.ontoPlane(ordered ? p[j] : p[i]), out);
        }
        return;
    }
    Point cut[3];
    int numCuts = 0;
    for (int k = 0; k < 3; ++k)
        if (s[k] == 0.0)
            cut[numCuts++] = p[k];
    for (int k = 0; k < 3; ++k)
    {
        const int i = k, j = (k + 1) % 3;
        if ((s[i] < 0.0 && s[j] > 0.0) || (s[i] > 0.0 && s[j] < 0.0))
            cut[numCuts++] = edgeCut(tri[i], p[i], s[i], tri[j], p[j], s[j]);
    }
    // A plane meets a triangle not in it in at most two of these points.
    if (numCuts == 1)
        addPointOnCircle(circle, circle.ontoPlane(cut[0]), out);
    else if (numCuts >= 2)
        addSegmentCrossings(circle, circle.ontoPlane(cut[0]), circle.ontoPlane(cut[1]), out);
}

/// Sorts by angle round the circle (ties by coordinates) and drops points
/// within the tolerance of the previous kept one, and the last when it is
/// within the tolerance of the first.
void sortAndMerge(const Circle& circle, std::vector<Point>& found)
{
    struct Keyed
    {
        double angle;
        Point p;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(found.size());
    for (const Point& p : found)
        keyed.push_back({circle.angleOf(p), p});
    std::sort(keyed.begin(), keyed.end(),
              [](const Keyed& a, const Keyed& b)
              {
                  if (a.angle != b.angle)
                      return a.angle < b.angle;
                  return std::lexicographical_compare(a.p.data(), a.p.data() + 3, b.p.data(),
                                                      b.p.data() + 3);
              });
    const double tol2 = circle.tolerance * circle.tolerance;
    found.clear();
    for (const Keyed& k : keyed)
        if (found.empty() || oxLinear::distance2(found.back(), k.p) > tol2)
            found.push_back(k.p);
    if (found.size() > 1 && oxLinear::distance2(found.back(), found.front()) <= tol2)
        found.pop_back();
}

/// The axis-aligned box of the circle, closed form per axis (the circle's
/// extent along axis k is r * sqrt(1 - n_k^2)), grown by the tolerance and a
/// few float steps so rounding to floats never shrinks it.
BoundingBox circleCube(const Circle& circle)
{
    double box[6];
    double magnitude = circle.radius;
    for (int k = 0; k < 3; ++k)
        magnitude = std::max(magnitude, std::fabs(circle.centre[k]));
    const double margin = circle.tolerance + 4.0 * FLT_EPSILON * magnitude;
    for (int k = 0; k < 3; ++k)
    {
        const double nk = circle.normal[k];
        const double extent = circle.radius * std::sqrt(std::max(0.0, 1.0 - nk * nk)) + margin;
        box[k] = circle.centre[k] - extent;
        box[k + 3] = circle.centre[k] + extent;
    }
    BoundingBox cube(box);
    cube.extendToCube();
    return cube;
}
}  // namespace

MeshCircleIntersect::MeshCircleIntersect(const CompactMesh& mesh, const Octree& octree,
                                         const OctreeTris& tris, double tolerance)
    : m_mesh(mesh),
      m_tris(tris),
      m_tolerance(tolerance >= 0.0 ? tolerance : 0.0),
      m_marks(mesh.getNumTriangles(), 0u),
      m_leaves(octree)
{
}

void MeshCircleIntersect::operator()(const oxLinear::Plane& plane, double radius,
                                     ox::vector<Point>& points)
{
    if (!(radius >= 0.0) || !std::isfinite(radius) || !plane.isValid())
        return;
    Circle circle;
    circle.centre = plane.point();
    circle.normal = plane.normal();
    circle.u = circle.normal.orthogonalVector();
    circle.v = oxLinear::cross(circle.normal, circle.u);
    circle.radius = radius;
    circle.tolerance = m_tolerance;

    // A stale object (the mesh grew or shrank) re-sizes its marks rather than
    // reading past them.
    if (m_marks.size() != static_cast<size_t>(m_mesh.getNumTriangles()))
    {
        m_marks.assign(m_mesh.getNumTriangles(), 0u);
        m_stamp = 1;
    }
    std::vector<Point> found;
    m_cube = circleCube(circle);
    for (m_leaves.reset(m_cube); m_leaves.valid(); m_leaves.next())
    {
        const int leaf = m_leaves.get().getLeafNumber();
        const int count = m_tris.numTris(leaf);
        const int* triangles = m_tris.firstTri(leaf);
        for (int k = 0; k < count; ++k)
            if (markVisited(triangles[k]))
                addTriangleCrossings(m_mesh, triangles[k], circle, found);
    }
    advanceStamp();
    sortAndMerge(circle, found);
    points.insert(points.end(), found.begin(), found.end());
}

bool MeshCircleIntersect::markVisited(int triangle)
{
    if (static_cast<size_t>(static_cast<unsigned>(triangle)) >= m_marks.size() ||
        m_marks[triangle] == m_stamp)
        return false;
    m_marks[triangle] = m_stamp;
    return true;
}

void MeshCircleIntersect::advanceStamp()
{
    // Marks are never cleared between queries; only when the stamp would
    // reach the all-ones value are they zeroed and the stamp restarted.
    if (++m_stamp == 0xFFFFFFFFu)
    {
        std::fill(m_marks.begin(), m_marks.end(), 0u);
        m_stamp = 1;
    }
}
}  // namespace oxGeom
