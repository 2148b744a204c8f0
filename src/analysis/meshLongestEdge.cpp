// meshLongestEdge: one pass over the triangles comparing squared edge lengths in double, with a
// single square root at the end.

#include <oxGeom/meshLongestEdge.h>

#include <cmath>

namespace oxGeom
{
namespace
{
bool isVertex(int v, int numVertices)
{
    return static_cast<unsigned>(v) < static_cast<unsigned>(numVertices);
}

double edgeLength2(const float* vertices, int a, int b)
{
    const float* pa = vertices + 3 * static_cast<long long>(a);
    const float* pb = vertices + 3 * static_cast<long long>(b);
    const double dx = static_cast<double>(pb[0]) - pa[0];
    const double dy = static_cast<double>(pb[1]) - pa[1];
    const double dz = static_cast<double>(pb[2]) - pa[2];
    return dx * dx + dy * dy + dz * dz;
}
}  // namespace

double meshLongestEdge(const CompactMesh& mesh)
{
    const int numVertices = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();
    const float* vertices = mesh.getVerticesRaw();
    const int* corners = mesh.getTrianglesRaw();
    double longest2 = 0.0;
    for (int t = 0; t < numTriangles; ++t)
    {
        const int* tri = corners + 3 * static_cast<long long>(t);
        if (!isVertex(tri[0], numVertices) || !isVertex(tri[1], numVertices) ||
            !isVertex(tri[2], numVertices))
            continue;
        // Written as "longer than" so that a NaN length never wins.
        const double lengths2[3] = {edgeLength2(vertices, tri[0], tri[1]),
                                    edgeLength2(vertices, tri[1], tri[2]),
                                    edgeLength2(vertices, tri[2], tri[0])};
        for (double length2 : lengths2)
            if (length2 > longest2)
                longest2 = length2;
    }
    return std::sqrt(longest2);
}
}  // namespace oxGeom
