// MeshClosestPoint: nearest point of a mesh by a best-first walk over the octree leaves and
// their triangle lists. A leaf's box distance bounds every triangle it lists, so the walk stops
// at the first leaf no nearer than the best answer; per-triangle visit stamps make each triangle
// projected once per query without clearing anything between queries.

#include <oxGeom/meshClosestPoint.h>

#include <oxGeom/OctreeIterators.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <vector>

namespace oxGeom
{
namespace
{
// The largest coordinate magnitude of the octree's root box (0 for an empty octree): the size
// that a projected point's rounding error is proportional to.
double coordinateScale(const Octree& octree)
{
    const BoundingBox& box = octree.getBounds();
    if (!box.isValid())
        return 0.0;
    double scale = 0.0;
    for (int i = 0; i < 6; ++i)
        scale = std::max(scale, std::fabs(static_cast<double>(box[i])));
    return scale;
}
}  // namespace

// The shared query state. Held by pointer so that copies of a MeshClosestPoint can share it.
struct MeshClosestPoint::Context
{
    explicit Context(int numTriangles) { resetMarks(numTriangles); }

    void resetMarks(int numTriangles)
    {
        marks.assign(static_cast<std::size_t>(numTriangles > 0 ? numTriangles : 0), 0u);
        stamp = 1;
    }

    // Moves to the next stamp. 4294967295 is never used as a stamp: when the stamp reaches it,
    // every mark is zeroed and counting restarts at 1, so an old mark can never equal a new stamp.
    void advanceStamp()
    {
        ++stamp;
        if (stamp == 4294967295u)
        {
            std::fill(marks.begin(), marks.end(), 0u);
            stamp = 1;
        }
    }

    std::vector<std::uint32_t> marks;
    std::uint32_t stamp = 1;
    OctreeClosestIt walk;
};

MeshClosestPoint::MeshClosestPoint(const CompactMesh& mesh, const Octree& octree,
                                   const OctreeTris& tris)
    : m_mesh(mesh),
      m_octree(octree),
      m_tris(tris),
      m_context(new Context(mesh.getNumTriangles())),
      m_ownsContext(true),
      m_scale(coordinateScale(octree))
{
}

MeshClosestPoint::MeshClosestPoint(const MeshClosestPoint& other)
    : m_mesh(other.m_mesh),
      m_octree(other.m_octree),
      m_tris(other.m_tris),
      m_context(other.m_context),
      m_ownsContext(false),
      m_scale(other.m_scale)
{
}

MeshClosestPoint::~MeshClosestPoint()
{
    if (m_ownsContext)
        delete m_context;
}

std::uint32_t MeshClosestPoint::stamp() const
{
    return m_context->stamp;
}

void MeshClosestPoint::setStamp(std::uint32_t value)
{
    m_context->stamp = value == 0 ? 1u : value;
}

namespace
{
// Squared distance from p to the bounding box of triangle t, in double from the float corners.
// It bounds the triangle's own distance from below, so a triangle whose box lies farther than
// the best answer cannot win and need not be projected.
double triangleBoxDistance2(const float* vertices, const int* corners, const oxLinear::Point& p)
{
    const float* a = vertices + 3 * static_cast<long long>(corners[0]);
    const float* b = vertices + 3 * static_cast<long long>(corners[1]);
    const float* c = vertices + 3 * static_cast<long long>(corners[2]);
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double low = std::min(std::min(a[axis], b[axis]), c[axis]);
        const double high = std::max(std::max(a[axis], b[axis]), c[axis]);
        const double gap = std::max(std::max(low - p[axis], p[axis] - high), 0.0);
        sum += gap * gap;
    }
    return sum;
}

// The squared box distance beyond which a triangle is skipped: the best distance plus a slack
// far above the rounding of a projected point (about 1e-16 of the coordinates' magnitude), so
// a skipped triangle could never have been strictly nearer. Infinite while nothing is found.
double skipBound2(double best2, double slack)
{
    const double bound = std::sqrt(best2) + slack;
    return bound * bound;
}
}  // namespace

double MeshClosestPoint::compute(const oxLinear::Point& p, MeshCoord* out)
{
    Context& context = *m_context;
    const int numTriangles = m_mesh.getNumTriangles();
    if (context.marks.size() != static_cast<std::size_t>(numTriangles > 0 ? numTriangles : 0))
        context.resetMarks(numTriangles);

    const float* vertices = m_mesh.getVerticesRaw();
    const int* triangles = m_mesh.getTrianglesRaw();
    std::uint32_t* marks = context.marks.data();
    const std::uint32_t stamp = context.stamp;
    const double slack =
        1e-7 * (m_scale + std::max({std::fabs(p[0]), std::fabs(p[1]), std::fabs(p[2])}));

    double best2 = DBL_MAX;
    double skip2 = skipBound2(best2, slack);
    OctreeClosestIt& walk = context.walk;
    for (walk.reset(m_octree, p); walk.valid(); walk.next())
    {
        if (walk.getDistance2() >= best2)
            break;
        const int leaf = walk.get().getLeafNumber();
        const int count = m_tris.numTris(leaf);
        const int* list = m_tris.firstTri(leaf);
        for (int k = 0; k < count; ++k)
        {
            const int t = list[k];
            // The box test comes before the mark: most listed triangles fail it, and leaving
            // them unmarked saves a write to a large array. A skipped triangle cannot beat the
            // best answer now nor any later one (the best only shrinks), so testing it again in
            // another leaf changes nothing but time.
            if (static_cast<unsigned>(t) >= static_cast<unsigned>(numTriangles) ||
                triangleBoxDistance2(vertices, triangles + 3 * static_cast<long long>(t), p) >
                    skip2 ||
                marks[t] == stamp)
                continue;
            marks[t] = stamp;
            const MeshCoord candidate = meshTriClosestPt(vertices, triangles, t, p);
            if (!candidate.valid())
                continue;
            const double d2 = oxLinear::distance2(p, candidate.evaluate(vertices, triangles));
            if (d2 < best2)
            {
                best2 = d2;
                skip2 = skipBound2(best2, slack);
                if (out)
                    *out = candidate;
            }
        }
    }
    context.advanceStamp();
    return std::sqrt(best2);
}
}  // namespace oxGeom
