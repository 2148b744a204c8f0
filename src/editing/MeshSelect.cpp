// MeshSelect: edits a mesh's vertex and triangle selections in place. All of it is
// serial bit work on the caller's thread; growth walks the vertex -> triangle table
// with an explicit stack so large connected selections never recurse.

#include <oxGeom/MeshSelect.h>

#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

#include <cstdint>
#include <vector>

namespace oxGeom
{
namespace
{
// Resizes `bits` to `size` when they differ; kept bits keep their value.
BitVector& sizedTo(BitVector& bits, int size)
{
    if (bits.size() != size)
        bits.resize(size);
    return bits;
}

// Number of corners of `triangle` whose vertex is selected (a vertex named twice
// counts twice; an out-of-range corner counts as unselected).
int countSelectedCorners(const MeshTriangle& triangle, const BitVector& vertices)
{
    return (vertices.isBitSet(triangle[0]) ? 1 : 0) + (vertices.isBitSet(triangle[1]) ? 1 : 0) +
           (vertices.isBitSet(triangle[2]) ? 1 : 0);
}

// The lasso as float points, closed by repeating the first point at the end.
std::vector<float> closedLasso(const ox::vector<oxLinear::Point>& polygon)
{
    std::vector<float> points;
    points.reserve(2 * (polygon.size() + 1));
    for (const oxLinear::Point& p : polygon)
    {
        points.push_back(static_cast<float>(p[0]));
        points.push_back(static_cast<float>(p[1]));
    }
    if (!polygon.empty())
    {
        points.push_back(points[0]);
        points.push_back(points[1]);
    }
    return points;
}

// Screen position of a vertex: (X / W, Y / W) of the row vector (x, y, z, 1)
// times the single-precision matrix, accumulated in double.
void projectToScreen(const oxLinear::ProjMatrixFlt& m, const MeshVertex& v, float screen[2])
{
    const double x = v[0], y = v[1], z = v[2];
    const double X = x * m[0][0] + y * m[1][0] + z * m[2][0] + m[3][0];
    const double Y = x * m[0][1] + y * m[1][1] + z * m[2][1] + m[3][1];
    const double W = x * m[0][3] + y * m[1][3] + z * m[2][3] + m[3][3];
    screen[0] = static_cast<float>(X / W);
    screen[1] = static_cast<float>(Y / W);
}
}  // namespace

MeshSelect::MeshSelect(CompactMesh& mesh, const MeshAdjTris& adjacency)
    : MeshSelect(mesh, adjacency, mesh.getSelectedTriangles(), mesh.getSelectedVertices())
{
}

MeshSelect::MeshSelect(const CompactMesh& mesh, const MeshAdjTris& adjacency,
                       BitVector& triangleSelection, BitVector& vertexSelection)
    : m_mesh(mesh),
      m_adjacency(adjacency),
      m_triangleSelection(triangleSelection),
      m_vertexSelection(vertexSelection),
      m_triangles(mesh.getTriangles()),
      m_vertices(mesh.getVertices())
{
}

BitVector& MeshSelect::getSelectedVertices()
{
    return sizedTo(m_vertexSelection, m_mesh.getNumVertices());
}

BitVector& MeshSelect::getSelectedTriangles()
{
    return sizedTo(m_triangleSelection, m_mesh.getNumTriangles());
}

void MeshSelect::selectVertices(const oxLinear::ProjMatrix& projection,
                                const ox::vector<oxLinear::Point>& polygon)
{
    const int numVertices = m_mesh.getNumVertices();
    debugChannel().print("MeshSelect::selectVertices: vertices(%d) triangles(%d)\n", numVertices,
                         m_mesh.getNumTriangles());
    oxOS::StopWatch watch;
    watch.start();

    BitVector& selected = getSelectedVertices();
    const oxLinear::ProjMatrixFlt matrix(projection);
    const std::vector<float> lasso = closedLasso(polygon);
    const int count = static_cast<int>(polygon.size());
    for (int i = 0; i < numVertices; ++i)
    {
        float screen[2];
        projectToScreen(matrix, m_vertices[i], screen);
        if (pointPolygonIntersect2D(screen, lasso.data(), count))
            selected.setBit(i);
    }

    debugChannel().print("  selected vertices(%d): %f s\n", selected.countSetBits(), watch.clear());
}

void MeshSelect::selectTrianglesFromVertices(int minSelectedCorners)
{
    // The heading keeps its historical spelling; log readers match on it.
    debugChannel().print("MeshSelect::selectedTrianglesFromVertices()\n");
    oxOS::StopWatch watch;
    watch.start();

    const BitVector& vertices = getSelectedVertices();
    BitVector& triangles = getSelectedTriangles();
    triangles.clearBits();
    const int numTriangles = m_mesh.getNumTriangles();
    for (int t = 0; t < numTriangles; ++t)
        if (countSelectedCorners(m_triangles[t], vertices) >= minSelectedCorners)
            triangles.setBit(t);

    debugChannel().print("  selected triangles(%d): %f s\n", triangles.countSetBits(),
                         watch.clear());
}

void MeshSelect::selectAllTrianglesFromVertices()
{
    debugChannel().print("MeshSelect::selectAllTrianglesFromVertices()\n");
    oxOS::StopWatch watch;
    watch.start();

    const BitVector& vertices = getSelectedVertices();
    BitVector& triangles = getSelectedTriangles();
    triangles.clearBits();
    // Read from the triangles, not the adjacency table, so a triangle with one
    // bad corner index is still selected through its good ones.
    const int numTriangles = m_mesh.getNumTriangles();
    for (int t = 0; t < numTriangles; ++t)
        if (countSelectedCorners(m_triangles[t], vertices) > 0)
            triangles.setBit(t);

    debugChannel().print("  selected triangles(%d): %f s\n", triangles.countSetBits(),
                         watch.clear());
}

void MeshSelect::selectVerticesFromTriangles()
{
    debugChannel().print("MeshSelect::selectVerticesFromTriangles()\n");
    oxOS::StopWatch watch;
    watch.start();

    BitVector& vertices = getSelectedVertices();
    const BitVector& triangles = getSelectedTriangles();
    vertices.clearBits();
    const int numTriangles = triangles.size();
    const std::uint32_t* words = triangles.getWords();
    for (int t = 0; t < numTriangles; ++t)
        if (words[t >> 5] & (1u << (t & 31)))
            for (int k = 0; k < 3; ++k)
                vertices.setBit(m_triangles[t][k]);

    debugChannel().print("  selected vertices(%d): %f s\n", vertices.countSetBits(), watch.clear());
}

void MeshSelect::selectTrianglesRecursive(bool oneRingOnly)
{
    debugChannel().print("MeshSelect::selectTrianglesRecursive()\n");
    oxOS::StopWatch watch;
    watch.start();

    BitVector& selected = getSelectedTriangles();
    const int numTriangles = selected.size();
    // A triangle is pushed when it is selected (first the initial selection,
    // then each newly selected one), so the stack never holds more than T.
    std::vector<int> stack(static_cast<std::size_t>(numTriangles));
    int top = 0;
    for (int t = 0; t < numTriangles; ++t)
        if (selected.isBitSet(t))
            stack[top++] = t;

    while (top > 0)
    {
        const MeshTriangle& triangle = m_triangles[stack[--top]];
        for (int k = 0; k < 3; ++k)
        {
            if (oneRingOnly)
            {
                selectTrisAdjacentToVert(triangle[k], selected);
                continue;
            }
            const int count = m_adjacency.numTris(triangle[k]);
            const int* around = m_adjacency.triIndices(triangle[k]);
            for (int i = 0; i < count; ++i)
            {
                const int t = around[i];
                if (t < 0 || t >= numTriangles || selected.isBitSet(t))
                    continue;
                selected.setBit(t);
                stack[top++] = t;
            }
        }
    }

    debugChannel().print("   %f s\n", watch.clear());
}

void MeshSelect::invertTriangleSelection()
{
    BitVector& selected = getSelectedTriangles();
    const int numWords = selected.numWords();
    std::uint32_t* words = selected.getWords();
    for (int w = 0; w < numWords; ++w)
        words[w] = ~words[w];
    // Bits past the end of the last word must stay clear.
    const int tail = selected.size() & 31;
    if (tail != 0)
        words[numWords - 1] &= (1u << tail) - 1u;
}

void MeshSelect::selectTrisAdjacentToVert(int vertex, BitVector& triangles)
{
    const int count = m_adjacency.numTris(vertex);
    const int* around = m_adjacency.triIndices(vertex);
    for (int i = 0; i < count; ++i)
        triangles.setBit(around[i]);
}
}  // namespace oxGeom
