// MeshDeleteSelected: removes the selected triangles and the selected vertices left
// unused, compacting every array in place with one forward pass per array (a kept
// element's new index never exceeds its old one), then announces the renumbering.

#include <oxGeom/MeshDeleteSelected.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/MeshSelect.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <algorithm>
#include <cstring>

namespace oxGeom
{
namespace
{
// A copy of `selection` sized to `count`: bits beyond the count are dropped and
// missing ones read as clear, so a stale selection cannot reach past the arrays.
BitVector sizedCopy(const BitVector& selection, int count)
{
    BitVector copy(selection);
    copy.resize(count);
    return copy;
}

void clearBitsOf(BitVector& bits, const int* indices, int count)
{
    for (int k = 0; k < count; ++k)
        bits.clearBit(indices[k]);
}

// The vertices that survive in any case: corners of unselected triangles and
// every point of the strips, fans, lines and line strips, which this deletion
// does not edit and must not leave pointing at a removed vertex.
void keepUsedVertices(const CompactMesh& mesh, const BitVector& deletedTriangles,
                      BitVector& deletedVertices)
{
    const int numTriangles = mesh.getNumTriangles();
    const int* corners = mesh.getTrianglesRaw();
    for (int t = 0; t < numTriangles; ++t)
        if (!deletedTriangles.isBitSet(t))
            clearBitsOf(deletedVertices, corners + 3 * t, 3);
    clearBitsOf(deletedVertices, mesh.getTriStripPoints(), mesh.getNumTriStripPoints());
    clearBitsOf(deletedVertices, mesh.getTriFanPoints(), mesh.getNumTriFanPoints());
    clearBitsOf(deletedVertices, reinterpret_cast<const int*>(mesh.getLines()),
                2 * mesh.getNumLines());
    clearBitsOf(deletedVertices, mesh.getLineStripPoints(), mesh.getNumLineStripPoints());
}

// Moves each kept element of `values` (`width` floats or ints apiece) to its new
// slot. New indices never exceed old ones, so one ascending pass is safe.
template <class T>
void compact(T* values, int width, const Remap& map)
{
    if (!values)
        return;
    const int n = map.getDomainSize();
    for (int i = 0; i < n; ++i)
    {
        const int j = map(i);
        if (j >= 0 && j != i)
            std::memmove(values + std::size_t(j) * width, values + std::size_t(i) * width,
                         sizeof(T) * width);
    }
}

// Compacts every vertex channel, positions included, through the vertex map.
void compactVertexChannels(PointMesh& mesh, const Remap& vertexMap)
{
    for (int a = 0; a < mesh.getNumAttributes(); ++a)
    {
        MeshAttributes* channel = mesh.getAttributes(a);
        compact(channel->asFloat(), channel->getDimension(), vertexMap);
        channel->invalidateRange();
    }
}

// Rewrites the vertex indices of everything that survives the deletion.
void renumberVertexIndices(CompactMesh& mesh, const Remap& vertexMap)
{
    vertexMap(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
    vertexMap(mesh.getTriStripPoints(), mesh.getNumTriStripPoints());
    vertexMap(mesh.getTriFanPoints(), mesh.getNumTriFanPoints());
    vertexMap(reinterpret_cast<int*>(mesh.getLines()), 2 * mesh.getNumLines());
    vertexMap(mesh.getLineStripPoints(), mesh.getNumLineStripPoints());
}

// Removes every primitive and vertex; announces one notice without a remap.
void deleteEverything(CompactMesh& mesh, int numTriangles, int numVertices)
{
    // The counts stand against the wording of the line (triangles in the
    // "vertices" slot); tools parsing the log rely on this order.
    debugChannel().print("meshDeleteSelected:  deleting all vertices(%d) and triangles(%d)\n",
                         numTriangles, numVertices);
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    if (mesh.getNumTriStrips() > 0 || mesh.getNumTriFans() > 0)
        modification.stripsAndFansModified();
    if (mesh.getNumLines() > 0)
        modification.linesModified();
    if (mesh.getNumLineStrips() > 0)
        modification.lineStripsModified();

    mesh.resizeTriangleArray(0);
    mesh.resizeVertexArray(0);
    mesh.resizeTriStripArrays(0, 0);
    mesh.resizeTriFanArrays(0, 0);
    mesh.resizeLineArray(0);
    mesh.resizeLineStripArrays(0, 0);
    mesh.getSelectedTriangles().resize(0);
    mesh.getSelectedVertices().resize(0);
    mesh.modified(modification);
}
}  // namespace

MeshDeleteSelected::MeshDeleteSelected(CompactMesh& mesh) : m_mesh(&mesh) {}

MeshDeleteSelected::~MeshDeleteSelected() = default;

void MeshDeleteSelected::operator()()
{
    CompactMesh& mesh = *m_mesh;
    const int numTriangles = mesh.getNumTriangles();
    const int numVertices = mesh.getNumVertices();
    const BitVector deletedTriangles = sizedCopy(mesh.getSelectedTriangles(), numTriangles);
    const int numDeletedTriangles = deletedTriangles.countSetBits();
    if (numDeletedTriangles == 0)
        return;
    if (numDeletedTriangles == numTriangles)
    {
        deleteEverything(mesh, numTriangles, numVertices);
        return;
    }

    oxOS::StopWatch watch;
    watch.start();
    BitVector deletedVertices = sizedCopy(mesh.getSelectedVertices(), numVertices);
    const int numSelectedVertices = deletedVertices.countSetBits();
    keepUsedVertices(mesh, deletedTriangles, deletedVertices);
    const int numDeletedVertices = deletedVertices.countSetBits();
    debugChannel().print("meshDeleteSelected:  vertices %d(%d)  triangles %d(%d)\n",
                         numSelectedVertices, numVertices, numDeletedTriangles, numTriangles);

    m_vertexMap = ox::Reference<Remap>(new Remap(numVertices, numVertices - numDeletedVertices));
    Remap& vertexMap = *m_vertexMap;
    vertexMap.setDeleteMap(deletedVertices);
    // Every channel moves with its vertex (not only positions and UVs), so no
    // listener is left holding normals or colours of the old numbering.
    if (numDeletedVertices > 0)
        compactVertexChannels(mesh, vertexMap);
    mesh.resizeVertexArray(numVertices - numDeletedVertices);
    debugChannel().print("  delete vertices: %f s\n", watch.clear());

    Remap triangleMap(numTriangles, numTriangles - numDeletedTriangles);
    triangleMap.setDeleteMap(deletedTriangles);
    compact(mesh.getTrianglesRaw(), 3, triangleMap);
    compact(mesh.getTriangleNormalsRaw(), 3, triangleMap);
    mesh.resizeTriangleArray(numTriangles - numDeletedTriangles);
    renumberVertexIndices(mesh, vertexMap);
    debugChannel().print("  delete triangles: %f s\n", watch.clear());

    mesh.getSelectedTriangles().resize(0);
    mesh.getSelectedVertices().resize(0);

    MeshRemap remap(&vertexMap, &triangleMap);
    MeshModification modification(&mesh, MeshModification::Topology, &remap);
    if (numDeletedVertices > 0)
        modification.uvsValid();
    mesh.modified(modification);
}

void MeshDeleteSelected::operator()(const MeshAdjTris& adjacency, const ox::vector<int>& triangles)
{
    CompactMesh& mesh = *m_mesh;
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    BitVector& selected = mesh.getSelectedTriangles();
    selected.resize(mesh.getNumTriangles());
    for (int t : triangles)
        selected.setBit(t);
    MeshSelect(mesh, adjacency).selectVerticesFromTriangles();
    (*this)();
}

ox::Reference<Remap> MeshDeleteSelected::getVertexMap()
{
    return m_vertexMap;
}
}  // namespace oxGeom
