// meshReverseWinding: turns every triangle, strip and fan of a mesh the other way.
// Triangles swap two corners; odd strips reverse; 4-point strips swap their middle
// points; longer even strips are split so their triangles can flip parity.

#include <oxGeom/meshReverseWinding.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/MeshSelect.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace oxGeom
{
namespace
{
void swapFirstCorners(CompactMesh& mesh)
{
    MeshTriangle* triangles = mesh.getTriangles();
    const int count = mesh.getNumTriangles();
    for (int t = 0; t < count; ++t)
        std::swap(triangles[t][0], triangles[t][1]);
}

// Calls visit(points, length) for each strip or fan whose points lie inside the
// flat array; stops at the first length that is negative or runs past its end.
template <class Visit>
void forEachRun(int* points, int numPoints, const int* lengths, int numRuns, Visit visit)
{
    int offset = 0;
    for (int r = 0; r < numRuns; ++r)
    {
        const int length = lengths[r];
        if (length < 0 || length > numPoints - offset)
            return;
        visit(points + offset, length);
        offset += length;
    }
}

// Rewinds a strip without changing its length, which works for odd strips
// (reversal keeps each triangle's parity and so flips it) and for 4-point
// strips (a b c d) -> (a c b d).
void rewindStripInPlace(int* points, int length)
{
    if (length == 4)
        std::swap(points[1], points[2]);
    else
        std::reverse(points, points + length);
}

// Appends the rewound form of one strip to the new arrays. An even strip of 6 or
// more points loses its first triangle to a strip of its own, (p2 p1 p0); the
// rest, (p1 ... pn-1), starts one point later, which shifts every remaining
// triangle's parity and so reverses it with no reordering.
void appendRewoundStrip(const int* points, int length, std::vector<int>& lengths,
                        std::vector<int>& out)
{
    if (length >= 6 && length % 2 == 0)
    {
        lengths.push_back(3);
        out.insert(out.end(), {points[2], points[1], points[0]});
        lengths.push_back(length - 1);
        out.insert(out.end(), points + 1, points + length);
        return;
    }
    lengths.push_back(length);
    const std::size_t start = out.size();
    out.insert(out.end(), points, points + length);
    if (length >= 3)
        rewindStripInPlace(out.data() + start, length);
}

void rebuildStrips(CompactMesh& mesh)
{
    std::vector<int> lengths, points;
    int walked = 0;
    forEachRun(mesh.getTriStripPoints(), mesh.getNumTriStripPoints(), mesh.getTriStripLengths(),
               mesh.getNumTriStrips(),
               [&](const int* strip, int length)
               {
                   appendRewoundStrip(strip, length, lengths, points);
                   ++walked;
               });
    // Strips past a malformed length are carried over untouched.
    int offset = 0;
    for (int r = 0; r < walked; ++r)
        offset += mesh.getTriStripLengths()[r];
    lengths.insert(lengths.end(), mesh.getTriStripLengths() + walked,
                   mesh.getTriStripLengths() + mesh.getNumTriStrips());
    points.insert(points.end(), mesh.getTriStripPoints() + offset,
                  mesh.getTriStripPoints() + mesh.getNumTriStripPoints());

    mesh.resizeTriStripArrays(static_cast<int>(lengths.size()), static_cast<int>(points.size()));
    std::copy(lengths.begin(), lengths.end(), mesh.getTriStripLengths());
    std::copy(points.begin(), points.end(), mesh.getTriStripPoints());
}

void rewindStrips(CompactMesh& mesh)
{
    const int numStrips = mesh.getNumTriStrips();
    const int* lengths = mesh.getTriStripLengths();
    int numEven = 0, numFour = 0;
    for (int s = 0; s < numStrips; ++s)
    {
        numEven += lengths[s] % 2 == 0 ? 1 : 0;
        numFour += lengths[s] == 4 ? 1 : 0;
    }
    if (numEven > numFour)
    {
        rebuildStrips(mesh);
        return;
    }
    forEachRun(mesh.getTriStripPoints(), mesh.getNumTriStripPoints(), lengths, numStrips,
               rewindStripInPlace);
}

void rewindFans(CompactMesh& mesh)
{
    forEachRun(mesh.getTriFanPoints(), mesh.getNumTriFanPoints(), mesh.getTriFanLengths(),
               mesh.getNumTriFans(),
               [](int* fan, int length)
               {
                   if (length > 1)
                       std::reverse(fan + 1, fan + length);
               });
}

void negate(float* values, int count)
{
    if (!values)
        return;
    for (int i = 0; i < count; ++i)
        values[i] = -values[i];
}
}  // namespace

void meshReverseWinding(CompactMesh& mesh, bool flipNormals)
{
    debugChannel().print("meshReverseWinding: %d triangles\n", mesh.getNumTriangles());
    oxOS::StopWatch watch;
    watch.start();

    swapFirstCorners(mesh);
    rewindStrips(mesh);
    rewindFans(mesh);
    if (flipNormals)
        negate(mesh.getNormalsRaw(), 3 * mesh.getNumVertices());
    negate(mesh.getTriangleNormalsRaw(), 3 * mesh.getNumTriangles());

    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    if (flipNormals)
        modification.normalsModified();
    else
        modification.normalsValid();
    modification.triangleNormalsModified();
    modification.uvsValid();
    modification.stripsAndFansModified();
    mesh.modified(modification);
    debugChannel().print("  remapped triangle indices: %f s\n", watch.clear());
}

void meshReverseWinding(CompactMesh& mesh, const MeshAdjTris& adjacency, int triangle)
{
    BitVector& selected = mesh.getSelectedTriangles();
    selected.resize(mesh.getNumTriangles());
    selected.setBit(triangle);
    MeshSelect(mesh, adjacency).selectTrianglesRecursive(false);
    meshReverseSelectedWinding(mesh);
}
}  // namespace oxGeom
