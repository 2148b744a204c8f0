// Vertex -> triangle table by a two-pass counting sort written straight into the table's
// offset and member arrays: one pass counts corners per vertex, one scatters triangle indices,
// so each list comes out in ascending triangle order with no per-vertex allocation.

#include <oxGeom/meshAdjacency.h>

#include <oxGeom/ArrayOfSets.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <algorithm>
#include <cstring>

namespace oxGeom
{
namespace
{
bool isVertex(int v, int numVertices)
{
    return static_cast<unsigned>(v) < static_cast<unsigned>(numVertices);
}

// A triangle enters the table only when all three corners index a vertex: the functions that
// read the table then never meet a corner outside the vertex arrays.
bool hasValidCorners(const int* triangle, int numVertices)
{
    return isVertex(triangle[0], numVertices) && isVertex(triangle[1], numVertices) &&
           isVertex(triangle[2], numVertices);
}

// Counts the corners of each vertex into counts[v + 1] (counts[0] stays 0) and returns the
// number of triangles left out for a corner outside [0, numVertices).
int countCorners(const int* corners, int numTriangles, int numVertices, int* counts)
{
    int skipped = 0;
    for (int t = 0; t < numTriangles; ++t)
    {
        const int* triangle = corners + 3 * t;
        if (!hasValidCorners(triangle, numVertices))
        {
            ++skipped;
            continue;
        }
        ++counts[triangle[0] + 1];
        ++counts[triangle[1] + 1];
        ++counts[triangle[2] + 1];
    }
    return skipped;
}

// Turns counts[v + 1] into the start of vertex v's list (an exclusive prefix sum shifted by
// one). The scatter then uses offsets[v + 1] as v's fill cursor, and when it is done that
// entry has advanced to v's end, which is the start of v + 1: the table is complete without a
// separate cursor array.
void countsToShiftedStarts(int* offsets, int numVertices)
{
    int sum = 0;
    for (int v = 1; v <= numVertices; ++v)
    {
        const int count = offsets[v];
        offsets[v] = sum;
        sum += count;
    }
}

void scatterTriangles(const int* corners, int numTriangles, int numVertices, int* offsets,
                      int* members)
{
    for (int t = 0; t < numTriangles; ++t)
    {
        const int* triangle = corners + 3 * t;
        if (!hasValidCorners(triangle, numVertices))
            continue;
        members[offsets[triangle[0] + 1]++] = t;
        members[offsets[triangle[1] + 1]++] = t;
        members[offsets[triangle[2] + 1]++] = t;
    }
}
}  // namespace

void meshAdjTris(const CompactMesh& mesh, MeshAdjTris& result)
{
    oxOS::StopWatch watch;
    watch.start();
    const int numVertices = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();
    const int* corners = mesh.getTrianglesRaw();

    // Sized for every corner; rebuilt smaller only in the rare case of bad indices, since the
    // member array must hold exactly as many entries as the lists together. The members are
    // not zeroed first: the scatter writes every one of them.
    ArrayOfSets sets(numVertices, 3 * numTriangles, ArrayOfSets::Unfilled{});
    if (numVertices > 0)
    {
        int* offsets = sets.getOffsets();
        std::fill(offsets, offsets + numVertices + 1, 0);
        const int skipped = countCorners(corners, numTriangles, numVertices, offsets);
        if (skipped > 0)
        {
            ArrayOfSets exact(numVertices, 3 * (numTriangles - skipped), ArrayOfSets::Unfilled{});
            std::memcpy(exact.getOffsets(), offsets, sizeof(int) * (numVertices + 1u));
            sets.swap(exact);
            offsets = sets.getOffsets();
        }
        countsToShiftedStarts(offsets, numVertices);
        scatterTriangles(corners, numTriangles, numVertices, offsets, sets.getData());
    }
    MeshAdjTris built(sets);
    result.swap(built);
    debugChannel().print("MeshAdjTris: %d vertices %d triangles %f\n", numVertices, numTriangles,
                         watch.stop());
}
}  // namespace oxGeom
