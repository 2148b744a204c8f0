// meshExtract: copies listed vertices (every channel, by name) and listed triangles
// into a scratch mesh and swaps it into the destination, so the destination is
// replaced in one step and may even be the source itself.

#include <oxGeom/meshExtract.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <algorithm>
#include <vector>

namespace oxGeom
{
namespace
{
// What is copied: source vertex indices in destination order, source triangle
// indices in destination order, and the source -> destination vertex table.
struct ExtractPlan
{
    std::vector<int> vertices;
    std::vector<int> triangles;
    std::vector<int> newIndexOf;
};

bool inRange(int i, int n)
{
    return i >= 0 && i < n;
}

// Completes the subset so that every copied triangle has its corners copied:
// missing in-range corners are appended; triangles that cannot be completed
// (bad triangle index or corner) are left out.
ExtractPlan planExtraction(const CompactMesh& source, const MeshSubset& subset)
{
    const int numVertices = source.getNumVertices();
    const int numTriangles = source.getNumTriangles();
    ExtractPlan plan;
    plan.newIndexOf.assign(static_cast<std::size_t>(numVertices), -1);
    const int* listed = subset.getVertices();
    for (int i = 0; i < subset.getNumVertices(); ++i)
    {
        plan.vertices.push_back(listed[i]);
        if (inRange(listed[i], numVertices))
            plan.newIndexOf[listed[i]] = i;
    }

    const MeshTriangle* triangles = source.getTriangles();
    const int* listedTriangles = subset.getTriangles();
    for (int k = 0; k < subset.getNumTriangles(); ++k)
    {
        const int t = listedTriangles[k];
        if (!inRange(t, numTriangles))
            continue;
        const MeshTriangle& corners = triangles[t];
        if (!inRange(corners[0], numVertices) || !inRange(corners[1], numVertices) ||
            !inRange(corners[2], numVertices))
            continue;
        for (int c = 0; c < 3; ++c)
            if (plan.newIndexOf[corners[c]] < 0)
            {
                plan.newIndexOf[corners[c]] = static_cast<int>(plan.vertices.size());
                plan.vertices.push_back(corners[c]);
            }
        plan.triangles.push_back(t);
    }
    return plan;
}

// Copies the planned vertices of one channel; out-of-range vertices stay zero.
void gatherChannel(const MeshAttributes& from, MeshAttributes& to, const std::vector<int>& vertices)
{
    const int dimension = from.getDimension();
    const int numSource = from.getNumElements();
    const float* source = from.asFloat();
    float* target = to.asFloat();
    for (std::size_t i = 0; i < vertices.size(); ++i)
        if (inRange(vertices[i], numSource))
            std::copy(source + std::size_t(vertices[i]) * dimension,
                      source + std::size_t(vertices[i] + 1) * dimension, target + i * dimension);
    to.setStoreable(from.isStoreable());
}

void gatherVertices(const CompactMesh& source, const ExtractPlan& plan, CompactMesh& scratch,
                    MeshModification& modification)
{
    scratch.resizeVertexArray(static_cast<int>(plan.vertices.size()));
    for (int a = 0; a < source.getNumAttributes(); ++a)
    {
        const MeshAttributes& from = *source.getAttributes(a);
        MeshAttributes* to = scratch.getAttributes(from.getName());
        if (from.getName() != PointMesh::VerticesName)
        {
            to = scratch.allocAttributes(from.getName(), from.getDimension());
            modification.vertexAttribsModified(from.getName());
        }
        if (to)
            gatherChannel(from, *to, plan.vertices);
    }
    scratch.setNormalsComputed(source.getNormalsComputed());
}

void gatherTriangles(const CompactMesh& source, const ExtractPlan& plan, CompactMesh& scratch)
{
    const int count = static_cast<int>(plan.triangles.size());
    scratch.resizeTriangleArray(count);
    MeshTriangle* out = scratch.getTriangles();
    const MeshTriangle* in = source.getTriangles();
    for (int i = 0; i < count; ++i)
        for (int c = 0; c < 3; ++c)
            out[i][c] = plan.newIndexOf[in[plan.triangles[i]][c]];

    const MeshNormal* normals = source.getTriangleNormals();
    if (!normals)
        return;
    MeshNormal* outNormals = scratch.allocTriangleNormalArray();
    for (int i = 0; i < count; ++i)
        outNormals[i] = normals[plan.triangles[i]];
}

// Channels that the destination loses are announced as changed too.
void markReplacedChannels(const CompactMesh& destination, MeshModification& modification)
{
    ox::set<oxString::CString> names;
    destination.getAttributeNames(names);
    for (const oxString::CString& name : names)
        if (name != PointMesh::VerticesName)
            modification.vertexAttribsModified(name);
}
}  // namespace

void meshExtract(CompactMesh& destination, const CompactMesh& source, const MeshSubset& subset)
{
    const ExtractPlan plan = planExtraction(source, subset);
    debugChannel().print("MeshExtract:  extracting %d(%d) vertices, %d(%d) triangles\n",
                         static_cast<int>(plan.vertices.size()), source.getNumVertices(),
                         static_cast<int>(plan.triangles.size()), source.getNumTriangles());
    oxOS::StopWatch watch;
    watch.start();
    MeshModification modification(&destination, MeshModification::Topology, nullptr);
    markReplacedChannels(destination, modification);

    CompactMesh scratch;
    scratch.setArrayAllocator(destination.getArrayAllocator());
    gatherVertices(source, plan, scratch, modification);
    gatherTriangles(source, plan, scratch);
    destination.swap(scratch);

    debugChannel().print("  copied triangles: %f s\n", watch.clear());
    destination.modified(modification);
}

void meshExtract(CompactMesh& destination, const CompactMesh& source)
{
    const int numVertices = source.getNumVertices();
    const int numTriangles = source.getNumTriangles();
    const BitVector& selectedTriangles = source.getSelectedTriangles();
    BitVector listedVertices(source.getSelectedVertices());
    listedVertices.resize(numVertices);

    std::vector<int> triangles;
    const MeshTriangle* corners = source.getTriangles();
    for (int t = 0; t < numTriangles; ++t)
        if (selectedTriangles.isBitSet(t))
        {
            triangles.push_back(t);
            for (int c = 0; c < 3; ++c)
                listedVertices.setBit(corners[t][c]);
        }
    std::vector<int> vertices;
    for (int v = 0; v < numVertices; ++v)
        if (listedVertices.isBitSet(v))
            vertices.push_back(v);

    const MeshSubset subset(static_cast<int>(vertices.size()), vertices.data(),
                            static_cast<int>(triangles.size()), triangles.data());
    meshExtract(destination, source, subset);
}
}  // namespace oxGeom
