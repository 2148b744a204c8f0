// Disk parameterization, the stages around the solve: copying and welding the mesh, counting
// boundaries and genus (cutting the surface open when needed), choosing the two pinned
// vertices and the projection plane, closing inner holes, and writing the scaled UVs back.
// The system assembly and the solve live in reparameterizeMeshSetup.cpp.

#include <oxGeom/reparameterizeMesh.h>

#include <oxGeom/MeshBoundaries.h>
#include <oxGeom/MeshModification.h>
#include <oxGeom/cutSurface.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshCompact.h>
#include <oxGeom/meshComputeBoundary.h>
#include <oxGeom/triangulatePolygon.h>
#include <oxLinear/Tolerance.h>
#include <oxOS/AppOutput.h>

#include <algorithm>
#include <cmath>

namespace oxGeom
{
namespace
{
oxLinear::Point positionOf(const CompactMesh& mesh, int vertex)
{
    const MeshVertex& v = mesh.getVertices()[vertex];
    return oxLinear::Point(v[0], v[1], v[2]);
}

int countBoundaries(const CompactMesh& mesh)
{
    MeshAdjTris adj;
    MeshAdjVertices adjVertices;
    MeshBoundaries loops;
    meshAdjTris(mesh, adj);
    meshAdjVertices(mesh, adj, adjVertices);
    meshComputeBoundary(mesh, adj, adjVertices, loops);
    return loops.size();
}

// A child phase of `parent` covering `share`, with an optional caption; it reports itself
// complete when the stage ends, so that the next stage starts where this one stopped.
class Stage
{
public:
    Stage(oxUtil::Progress& parent, double share, const char* caption)
    {
        parent.subPhase(share, m_progress);
        if (caption)
            m_progress.setCaption(caption);
    }
    ~Stage() { m_progress.set(1.0); }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    oxUtil::Progress& progress() { return m_progress; }

private:
    oxUtil::Progress m_progress;
};

// The extent of one loop along its longest axis and the first vertices at both ends of it.
struct LoopExtent
{
    double extent = 0.0;
    int minVertex = -1;
    int maxVertex = -1;
};

LoopExtent extentOf(const CompactMesh& mesh, const reparameterizeMesh::BoundaryLoop& loop)
{
    LoopExtent result;
    if (loop.empty())
        return result;
    int minVertex[3], maxVertex[3];
    double low[3], high[3];
    const oxLinear::Point first = positionOf(mesh, loop[0].first);
    for (int a = 0; a < 3; ++a)
    {
        low[a] = high[a] = first[a];
        minVertex[a] = maxVertex[a] = loop[0].first;
    }
    for (const reparameterizeMesh::boundaryEdge& edge : loop)
    {
        const oxLinear::Point p = positionOf(mesh, edge.first);
        for (int a = 0; a < 3; ++a)
        {
            if (p[a] < low[a])
            {
                low[a] = p[a];
                minVertex[a] = edge.first;
            }
            if (p[a] > high[a])
            {
                high[a] = p[a];
                maxVertex[a] = edge.first;
            }
        }
    }
    const double ex = std::fabs(high[0] - low[0]);
    const double ey = std::fabs(high[1] - low[1]);
    const double ez = std::fabs(high[2] - low[2]);
    const int axis = ex >= ey && ex >= ez ? 0 : (ey >= ex && ey >= ez ? 1 : 2);
    result.extent = axis == 0 ? ex : (axis == 1 ? ey : ez);
    result.minVertex = minVertex[axis];
    result.maxVertex = maxVertex[axis];
    return result;
}
}  // namespace

reparameterizeMesh::reparameterizeMesh(CompactMesh& mesh)
    : m_target(mesh), m_copy(mesh), m_output(&oxOS::AppOutput::getInstance())
{
}

reparameterizeMesh::~reparameterizeMesh() = default;

void reparameterizeMesh::enableMeshCompact(bool enable)
{
    m_compact = enable;
}

void reparameterizeMesh::enableMeshCutSurface(bool enable)
{
    m_cutSurface = enable;
}

bool reparameterizeMesh::flatten()
{
    oxUtil::Progress progress;
    return flatten(progress);
}

bool reparameterizeMesh::flatten(oxUtil::Progress& progress)
{
    Remap remap;
    BoundaryLoops loops;
    {
        Stage stage(progress, 0.025, "Copying Mesh");
        prepareMesh(stage.progress(), remap);
    }
    if (progress.cancelled())
        return false;
    int genus = 0;
    {
        Stage stage(progress, 0.1, "Finding Mesh Boundaries");
        genus = getMeshGenus(loops);
    }
    if (progress.cancelled())
        return false;
    m_output->info("- - - MeshReparameterize: genus = %d\n", genus);
    if (genus < 0)
        return false;
    if (genus > 0 || loops.empty())
    {
        if (!m_cutSurface)
            return false;
        cutSurface::makeDisk(m_copy);
        loops.clear();
        if (getMeshGenus(loops) != 0)
            return false;
    }

    int extremes[2] = {-1, -1};
    int outer = -1;
    {
        Stage stage(progress, 0.025, "Getting Extreme Vertices");
        outer = getExtremeVerts(loops, extremes);
    }
    if (outer < 0)
    {
        m_output->error("There must be a boundary for the disk, none found. No changes made.\n");
        m_output->info("- - - MeshReparameterize: outerBoundary = %d\n", outer);
        return false;
    }
    ox::vector<oxLinear::Point> points;
    {
        Stage stage(progress, 0.025, "Creating Plane");
        rotateAndProject(loops[outer], points, extremes);
    }
    FreeIndexMap map;
    {
        Stage stage(progress, 0.025, nullptr);
        buildFreeToCompleteMapping(map, extremes);
    }
    ox::vector<triIndices> holeTriangles;
    {
        Stage stage(progress, 0.025, "Filling Mesh Holes");
        fillHoles(loops, outer, map, holeTriangles);
    }
    ox::vector<oxLinear::Point2> uvs;
    {
        Stage stage(progress, 0.75, "Solving");
        doCG(uvs, extremes[0], extremes[1], points, map, holeTriangles, stage.progress());
    }
    if (progress.cancelled())
        return false;
    {
        Stage stage(progress, 0.025, "Applying to Mesh");
        applyUvsToMesh(uvs, remap);
    }
    return true;
}

void reparameterizeMesh::prepareMesh(oxUtil::Progress& progress, Remap& remap)
{
    m_copy.deleteUVs();
    m_copy.deleteNormals();
    meshCompact(m_copy, progress, remap);
    if (m_compact)
        return;
    const int c = countBoundaries(m_copy);
    const int o = countBoundaries(m_target);
    m_output->info("prepareMesh: numBoundaries o = %d, c = %d\n", o, c);
    if (o == c)
        return;
    m_output->info("prepareMesh: compacting changed topology, reverting\n");
    m_copy = m_target;
    MeshModification modification(&m_copy, MeshModification::Topology, nullptr);
    m_copy.modified(modification);
    remap.resize(m_copy.getNumVertices(), m_copy.getNumVertices());
    remap.setSequential();
}

bool reparameterizeMesh::testDegenerate(int triangle, const int corners[3])
{
    if (corners[0] != corners[1] && corners[1] != corners[2] && corners[2] != corners[0])
        return false;
    m_output->error("Found degenerate triangle %d (%d,%d,%d), mesh not changed. \n", triangle,
                    corners[0], corners[1], corners[2]);
    return true;
}

int reparameterizeMesh::getMeshGenus(BoundaryLoops& loops)
{
    const int numVertices = m_copy.getNumVertices();
    const int numTriangles = m_copy.getNumTriangles();
    const int* corners = m_copy.getTrianglesRaw();
    for (int t = 0; t < numTriangles; ++t)
        if (testDegenerate(t, corners + 3 * t))
        {
            m_output->info("getMeshGenus: testDegenerate == true\n");
            return -1;
        }
    const ox::Reference<MeshBoundaries> boundaries = m_cache.getBoundaries(m_copy);
    const int numBoundaries = boundaries->size();
    m_output->info("getMeshGenus: numBoundaries %d \n", numBoundaries);
    if (numBoundaries < 0)
    {
        m_output->info("getMeshGenus: numBoundaries < 0 \n");
        return -1;
    }
    int boundaryEdges = 0;
    for (int i = 0; i < numBoundaries; ++i)
    {
        if (boundaries->getLength(i) < 3)
        {
            m_output->info("getMeshGenus: boundary length < 3 \n");
            return -1;
        }
        boundaryEdges += boundaries->getLength(i);
    }
    m_output->info("getMeshGenus: numBoundaryEdges %d \n", boundaryEdges);
    m_output->info("getMeshGenus: numVertices %d \n", numVertices);
    m_output->info("getMeshGenus: numTriangles %d \n", numTriangles);
    const int numEdges = (boundaryEdges + 3 * numTriangles) / 2;
    m_output->info("getMeshGenus: numEdges %d \n", numEdges);
    // Each boundary loop counts as one capping face, so a disk has chi = 2 and genus 0.
    const int chi = numBoundaries + numVertices + numTriangles - numEdges;
    m_output->info("getMeshGenus: chi = %d + %d + %d - %d = %d \n", numBoundaries, numVertices,
                   numTriangles, numEdges, chi);
    const int genus = (2 - chi) / 2;
    m_output->info("getMeshGenus: genus = ( 2 - %d ) / 2 = %d \n", chi, genus);
    if (genus < 0)
    {
        m_output->info("getMeshGenus: genus = %d \n", genus);
        return -1;
    }
    for (int i = 0; i < numBoundaries; ++i)
    {
        const int* s = boundaries->getStart(i);
        const int m = boundaries->getLength(i);
        BoundaryLoop loop(static_cast<std::size_t>(m));
        for (int k = 0; k < m; ++k)
        {
            loop[k].first = s[k];
            loop[k].second = s[(k + 1) % m];
        }
        loops.push_back(std::move(loop));
    }
    return genus;
}

int reparameterizeMesh::getExtremeVerts(BoundaryLoops& loops, int extremes[2])
{
    int outer = -1;
    double best = 0.0;
    for (std::size_t i = 0; i < loops.size(); ++i)
    {
        const LoopExtent extent = extentOf(m_copy, loops[i]);
        if (extent.extent > best)
        {
            best = extent.extent;
            outer = static_cast<int>(i);
            extremes[0] = extent.minVertex;
            extremes[1] = extent.maxVertex;
        }
    }
    return outer;
}

oxLinear::AffineMatrix reparameterizeMesh::determineRotMatrix(BoundaryLoop& outerLoop,
                                                              int extremes[2])
{
    const oxLinear::Vector d = positionOf(m_copy, extremes[0]) - positionOf(m_copy, extremes[1]);
    oxLinear::Vector s;
    const std::size_t m = outerLoop.size();
    if (m > 2)
        for (std::size_t k = 0; k < m; ++k)
        {
            const oxLinear::Point a = positionOf(m_copy, outerLoop[k].first);
            const oxLinear::Point b = positionOf(m_copy, outerLoop[k].second);
            const oxLinear::Point c = positionOf(m_copy, outerLoop[(k + m - 1) % m].first);
            s += oxLinear::cross(b - a, a - c);
        }
    oxLinear::Vector n = s.normalized();
    if (n.length2() > 0.0)
    {
        if (oxLinear::isParallel(n, d.normalized(), oxLinear::parallelTol))
        {
            m_output->info(
                "Parameterization: calculated planeNormal is (anti-)parallel to the vector "
                "between the fixed vertices of the 3D-boundary.  Choosing a random orthogonal "
                "vector instead.\n");
            n = d.orthogonalVector();
        }
        else
        {
            m_output->info(
                "Parameterization: calculated planeNormal is good.  Using orthogonal "
                "component.\n");
            n = oxLinear::project(n, d).normalized();
        }
    }
    else
    {
        m_output->info(
            "Parameterization: failed to calculateD planeNormal.  Choosing Z-axis instead.\n");
        n = oxLinear::Vector(0.0, 0.0, 1.0);
    }
    // Between opposite directions a rotation has no axis of its own, and any half-turn would
    // mirror the plane: a normal opposite to +Z (a loop wound clockwise seen from +Z) leaves
    // the points as they are, so a mesh in a plane z = c keeps its x and y, pinned vertices
    // included.
    oxLinear::AffineMatrix rotation(1.0);
    if (!(n[2] < 0.0 && oxLinear::isParallel(n, oxLinear::Normal::z, oxLinear::parallelTol)))
        rotation.rotate(n, oxLinear::Normal::z);
    return rotation;
}

void reparameterizeMesh::rotateAndProject(BoundaryLoop& outerLoop,
                                          ox::vector<oxLinear::Point>& points, int extremes[2])
{
    const oxLinear::AffineMatrix rotation = determineRotMatrix(outerLoop, extremes);
    points.reserve(points.size() + static_cast<std::size_t>(m_copy.getNumVertices()));
    for (int i = 0; i < m_copy.getNumVertices(); ++i)
        points.push_back(positionOf(m_copy, i) * rotation);
}

void reparameterizeMesh::buildFreeToCompleteMapping(FreeIndexMap& map, int extremes[2])
{
    const int numVertices = m_copy.getNumVertices();
    m_freeIndex.assign(static_cast<std::size_t>(numVertices), -1);
    int next = 0;
    for (int i = 0; i < numVertices; ++i)
    {
        const int f = i == extremes[0] || i == extremes[1] ? -1 : next++;
        map.emplace_hint(map.end(), i, f);
        m_freeIndex[i] = f;
    }
}

void reparameterizeMesh::fillHoles(BoundaryLoops& loops, int outer, FreeIndexMap& map,
                                   ox::vector<triIndices>& holeTriangles)
{
    for (std::size_t l = 0; l < loops.size(); ++l)
    {
        if (static_cast<int>(l) == outer)
            continue;
        const BoundaryLoop& loop = loops[l];
        ox::vector<oxLinear::Point> polygon;
        for (const boundaryEdge& edge : loop)
            polygon.push_back(positionOf(m_copy, edge.first));
        ox::vector<int> indices;
        BitVector reflex;
        oxUtil::Progress progress;
        triangulatePolygon(polygon, indices, reflex, progress);
        for (std::size_t t = 0; t + 2 < indices.size(); t += 3)
        {
            // The loop runs along the mesh's own edges, so the patch that closes the hole
            // runs them the other way: each triangle is stored reversed, which makes the
            // patch wind like the mesh and its coupling terms cancel the hole's boundary ones.
            triIndices patch;
            for (int k = 0; k < 3; ++k)
            {
                const int vertex = loop[static_cast<std::size_t>(indices[t + 2 - k])].first;
                patch.vertices[k] = vertex;
                const auto found = map.find(vertex);
                patch.free[k] = found == map.end() ? -1 : found->second;
            }
            holeTriangles.push_back(patch);
        }
    }
}

void reparameterizeMesh::applyUvsToMesh(ox::vector<oxLinear::Point2>& uvs, const Remap& remap)
{
    double minU = 0.0, maxU = 0.0, minV = 0.0, maxV = 0.0;
    if (!uvs.empty())
    {
        minU = maxU = uvs[0][0];
        minV = maxV = uvs[0][1];
    }
    for (const oxLinear::Point2& uv : uvs)
    {
        minU = std::min(minU, uv[0]);
        maxU = std::max(maxU, uv[0]);
        minV = std::min(minV, uv[1]);
        maxV = std::max(maxV, uv[1]);
    }
    double scale = std::min(1.0 / (maxU - minU), 1.0 / (maxV - minV));
    // A layout of one point has no extent to scale by: it stays a point, at the origin.
    if (!std::isfinite(scale))
        scale = 1.0;
    MeshUV* target = m_target.getUVs() ? m_target.getUVs() : m_target.allocUVArray();
    const int count = static_cast<int>(uvs.size());
    for (int t = 0; t < m_target.getNumVertices(); ++t)
    {
        const int w = remap(t);
        if (w < 0 || w >= count)
        {
            target[t] = {{0.0f, 0.0f}};
            continue;
        }
        target[t] = {{static_cast<float>((uvs[w][0] - minU) * scale),
                      static_cast<float>((uvs[w][1] - minV) * scale)}};
    }
    MeshModification modification(&m_target, MeshModification::Attributes, nullptr);
    modification.uvsModified();
    m_target.modified(modification);
}

bool reparameterizeMesh::compareTriangles(int triangle, int edge, const MeshAdjTris& adj,
                                          bool& isBoundary)
{
    isBoundary = false;
    if (static_cast<unsigned>(triangle) >= static_cast<unsigned>(m_copy.getNumTriangles()) ||
        static_cast<unsigned>(edge) > 2u)
        return false;
    const int* corners = m_copy.getTrianglesRaw();
    const int a = corners[3 * triangle + edge];
    const int b = corners[3 * triangle + (edge + 1) % 3];
    int neighbours = 0;
    int sameWay = -1;
    for (int i = 0; i < adj.numTris(a); ++i)
    {
        const int s = adj.triIndices(a)[i];
        if (s == triangle)
            continue;
        for (int k = 0; k < 3; ++k)
            if (corners[3 * s + k] == b)
            {
                ++neighbours;
                if (corners[3 * s + (k + 2) % 3] == a)
                    sameWay = s;
            }
    }
    isBoundary = neighbours == 0;
    if (neighbours > 1)
    {
        m_output->error("Invalid mesh, non-manifold triangle %d (%d,%d,%d) \n", triangle,
                        corners[3 * triangle], corners[3 * triangle + 1],
                        corners[3 * triangle + 2]);
        return false;
    }
    if (sameWay >= 0)
    {
        m_output->error("Invalid mesh, reverse wound triangle %d (%d,%d,%d) \n", sameWay,
                        corners[3 * sameWay], corners[3 * sameWay + 1], corners[3 * sameWay + 2]);
        return false;
    }
    return true;
}

bool reparameterizeMesh::findBoundaryEdges(int& numBoundaryEdges, ox::vector<unsortedEdge>& edges,
                                           oxUtil::Progress& progress)
{
    edges.clear();
    numBoundaryEdges = 0;
    const ox::Reference<MeshAdjTris> adj = m_cache.getAdjTris(m_copy);
    const int numTriangles = m_copy.getNumTriangles();
    const int* corners = m_copy.getTrianglesRaw();
    for (int t = 0; t < numTriangles; ++t)
    {
        if (t % 1024 == 0)
        {
            if (progress.cancelled())
                return false;
            progress.set(static_cast<double>(t) / numTriangles);
        }
        if (testDegenerate(t, corners + 3 * t))
            return false;
        for (int e = 0; e < 3; ++e)
        {
            bool isBoundary = false;
            if (!compareTriangles(t, e, *adj, isBoundary))
                return false;
            if (isBoundary)
                edges.push_back({corners[3 * t + e], corners[3 * t + (e + 1) % 3], t});
        }
    }
    numBoundaryEdges = static_cast<int>(edges.size());
    return true;
}

bool reparameterizeMesh::orderBoundaries(ox::vector<unsortedEdge>& edges, BoundaryLoops& loops)
{
    const char* degenerate = "A degenerate boundary found, mesh not changed. \n";
    ox::map<int, int, ox::less<int>> startingAt;
    for (std::size_t i = 0; i < edges.size(); ++i)
        if (edges[i].first == edges[i].second ||
            !startingAt.emplace(edges[i].first, static_cast<int>(i)).second)
        {
            m_output->error("%s", degenerate);
            return false;
        }
    ox::vector<char> used(edges.size(), 0);
    for (std::size_t start = 0; start < edges.size(); ++start)
    {
        if (used[start])
            continue;
        BoundaryLoop loop;
        std::size_t current = start;
        while (!used[current])
        {
            used[current] = 1;
            loop.push_back({edges[current].first, edges[current].second});
            const auto next = startingAt.find(edges[current].second);
            if (next == startingAt.end())
            {
                m_output->error("Found an un-closed boundary, mesh not changed. \n");
                return false;
            }
            current = static_cast<std::size_t>(next->second);
        }
        if (current != start || loop.size() < 3)
        {
            m_output->error("%s", degenerate);
            return false;
        }
        loops.push_back(std::move(loop));
    }
    return true;
}
}  // namespace oxGeom
