// MeshClosestPtOnLine: snaps a point to a line of mesh vertices. The unrestricted nearest surface
// point fixes a small search box round the query; only mesh edges inside it that join
// consecutive line vertices are measured, so a query costs a local walk, not a pass over the line.

#include <oxGeom/MeshClosestPtOnLine.h>

#include <oxGeom/BoundingBox.h>
#include <oxGeom/OctreeIterators.h>
#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshClosestPoint.h>
#include <oxLinear/Tolerance.h>

#include <cfloat>

namespace oxGeom
{
namespace
{
using oxLinear::Point;

bool inRange(int i, int count)
{
    return static_cast<unsigned>(i) < static_cast<unsigned>(count);
}

Point vertexPoint(const float* vertices, int v)
{
    const float* xyz = vertices + 3 * static_cast<long long>(v);
    return Point(xyz[0], xyz[1], xyz[2]);
}

// Nearest point of the segment [a, b] to p: writes its parameter t in [0, 1] from a and returns
// the squared distance. A nearest point of the infinite line beyond an end is clamped to that
// end; a segment of zero length (or NaN parameter) gives t = 0.
double closestOnSegment(const Point& a, const Point& b, const Point& p, double& t)
{
    const oxLinear::Vector ab = b - a;
    const double length2 = oxLinear::dot(ab, ab);
    t = length2 > 0.0 ? oxLinear::dot(p - a, ab) / length2 : 0.0;
    if (!(t > 0.0))
        t = 0.0;
    else if (t > 1.0)
        t = 1.0;
    return oxLinear::distance2(p, a + ab * t);
}

// The three edges of a triangle as corner pairs, in the order they are tried.
constexpr int edgeCorners[3][2] = {{0, 1}, {0, 2}, {1, 2}};
}  // namespace

MeshClosestPtOnLine::MeshClosestPtOnLine(const CompactMesh& mesh, const MeshAdjTris& adj,
                                         const MeshSequence& line)
    : m_mesh(mesh), m_adj(adj), m_line(line), m_positions(line.getPositions(mesh.getNumVertices()))
{
    BoundingBox bounds;
    meshBoundingBox(mesh, bounds);
    m_octree = ox::Reference<Octree>(
        new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), bounds, true, 16));
    m_tris = ox::Reference<OctreeTris>(new OctreeTris);
    computeOctreeTris(mesh, *m_octree, *m_tris);
}

MeshCoord MeshClosestPtOnLine::operator()(const oxLinear::Point& p) const
{
    const float* vertices = m_mesh.getVerticesRaw();
    const int* triangles = m_mesh.getTrianglesRaw();
    const int numTriangles = m_mesh.getNumTriangles();
    const int numVertices = m_mesh.getNumVertices();

    MeshCoord surface;
    meshClosestPoint(m_mesh, *m_octree, m_adj, p, &surface);
    if (!surface.valid())
        return MeshCoord();

    // The last corner of the surface triangle that lies on the line, for the on-surface case.
    const int* surfaceCorners = triangles + 3 * static_cast<long long>(surface.triangle);
    int lineVertex = -1;
    for (int c = 0; c < 3; ++c)
        if (inRange(surfaceCorners[c], numVertices) && m_positions[surfaceCorners[c]] >= 0)
            lineVertex = surfaceCorners[c];

    // The corners are rounded to the nearest float rather than outwards: a query lying on the
    // surface then gives an empty-volume box even when its double coordinates and those of its
    // projection differ in the last bits.
    BoundingBox box;
    box.extend(oxLinear::PointFlt(p));
    box.extend(oxLinear::PointFlt(surface.evaluate(vertices, triangles)));
    box.extend(0.5f * box.diagonalLength());

    if (box.diagonalLength() >= oxLinear::epsilonTolFlt)
    {
        MeshCoord best;
        double best2 = DBL_MAX;
        for (OctreeBBoxIntersectIt it(*m_octree, box); it.valid(); it.next())
        {
            const int leaf = it.get().getLeafNumber();
            const int count = m_tris->numTris(leaf);
            const int* list = m_tris->firstTri(leaf);
            for (int k = 0; k < count; ++k)
            {
                const int t = list[k];
                if (!inRange(t, numTriangles))
                    continue;
                const int* corners = triangles + 3 * static_cast<long long>(t);
                for (const auto& edge : edgeCorners)
                {
                    const int a = corners[edge[0]];
                    const int b = corners[edge[1]];
                    if (!inRange(a, numVertices) || !inRange(b, numVertices) ||
                        m_line.segmentIndex(m_positions[a], m_positions[b]) < 0)
                        continue;
                    double along = 0.0;
                    const double d2 = closestOnSegment(vertexPoint(vertices, a),
                                                       vertexPoint(vertices, b), p, along);
                    if (!(d2 < best2))
                        continue;
                    best2 = d2;
                    best = MeshCoord(t, 0.0, 0.0, 0.0);
                    best.weights[edge[0]] = 1.0 - along;
                    best.weights[edge[1]] = along;
                }
            }
        }
        return best;
    }

    // p lies on the surface: snap to the line vertex of the surface triangle.
    if (lineVertex < 0)
        return MeshCoord();
    if (m_adj.numTris(lineVertex) <= 0)
        return MeshCoord(0, 0.0, 0.0, 1.0);
    const int t = m_adj.triIndices(lineVertex)[0];
    if (!inRange(t, numTriangles))
        return MeshCoord();
    const int* corners = triangles + 3 * static_cast<long long>(t);
    MeshCoord snapped(t, 0.0, 0.0, 0.0);
    for (int c = 0; c < 3; ++c)
        if (corners[c] == lineVertex)
        {
            snapped.weights[c] = 1.0;
            return snapped;
        }
    return MeshCoord();
}
}  // namespace oxGeom
