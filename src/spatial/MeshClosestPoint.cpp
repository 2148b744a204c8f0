// MeshClosestPoint: nearest point of a mesh by a best-first walk over the octree leaves and
// their triangle lists. A leaf's box distance bounds every triangle it lists, so the walk stops
// at the first leaf no nearer than the best answer; per-triangle visit stamps make each triangle
// projected once per query without clearing anything between queries.

#include <oxGeom/meshClosestPoint.h>

#include <oxGeom/OctreeIterators.h>

#include <cfloat>
#include <cmath>
#include <vector>

namespace oxGeom
{
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
      m_ownsContext(true)
{
}

MeshClosestPoint::MeshClosestPoint(const MeshClosestPoint& other)
    : m_mesh(other.m_mesh),
      m_octree(other.m_octree),
      m_tris(other.m_tris),
      m_context(other.m_context),
      m_ownsContext(false)
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

    double best2 = DBL_MAX;
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
            if (static_cast<unsigned>(t) >= static_cast<unsigned>(numTriangles) ||
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
                if (out)
                    *out = candidate;
            }
        }
    }
    context.advanceStamp();
    return std::sqrt(best2);
}
}  // namespace oxGeom
