// meshVerify: one pass over every index table and the positions of a mesh, counting what would
// make an index-trusting algorithm read outside an array or compute with NaN. Counts use 64 bits
// so that a table of 2^31 bad entries is still reported exactly.

#include <oxGeom/meshVerify.h>

#include <cmath>
#include <string>

namespace oxGeom
{
namespace
{
bool inRange(int index, int numVertices)
{
    return index >= 0 && index < numVertices;
}

// Indices of a flat point table outside [0, numVertices).
std::int64_t countBadPoints(const int* points, int numPoints, int numVertices)
{
    std::int64_t bad = 0;
    for (int i = 0; i < numPoints; ++i)
        bad += inRange(points[i], numVertices) ? 0 : 1;
    return bad;
}

// True when a lengths table has a negative entry or does not add up to the stored points.
bool lengthsDisagree(const int* lengths, int numLengths, int numPoints)
{
    std::int64_t total = 0;
    for (int i = 0; i < numLengths; ++i)
    {
        if (lengths[i] < 0)
            return true;
        total += lengths[i];
    }
    return total != numPoints;
}

void checkTriangles(const CompactMesh& mesh, MeshVerifyReport& report)
{
    const MeshTriangle* triangles = mesh.getTriangles();
    const int numVertices = mesh.getNumVertices();
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const MeshTriangle& tri = triangles[t];
        if (inRange(tri[0], numVertices) && inRange(tri[1], numVertices) &&
            inRange(tri[2], numVertices))
            continue;
        if (report.badTriangles++ == 0)
            report.firstBadTriangle = t;
    }
}

void checkPositions(const CompactMesh& mesh, MeshVerifyReport& report)
{
    const MeshVertex* vertices = mesh.getVertices();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
    {
        const MeshVertex& p = vertices[v];
        if (std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]))
            continue;
        if (report.nonFiniteVertices++ == 0)
            report.firstNonFiniteVertex = v;
    }
}

void checkStripsFansAndLines(const CompactMesh& mesh, MeshVerifyReport& report)
{
    const int numVertices = mesh.getNumVertices();
    report.badStripPoints =
        countBadPoints(mesh.getTriStripPoints(), mesh.getNumTriStripPoints(), numVertices);
    report.stripLengthsDisagree = lengthsDisagree(mesh.getTriStripLengths(), mesh.getNumTriStrips(),
                                                  mesh.getNumTriStripPoints());
    report.badFanPoints =
        countBadPoints(mesh.getTriFanPoints(), mesh.getNumTriFanPoints(), numVertices);
    report.fanLengthsDisagree =
        lengthsDisagree(mesh.getTriFanLengths(), mesh.getNumTriFans(), mesh.getNumTriFanPoints());
    const MeshLine* lines = mesh.getLines();
    for (int l = 0; l < mesh.getNumLines(); ++l)
        report.badLines +=
            inRange(lines[l][0], numVertices) && inRange(lines[l][1], numVertices) ? 0 : 1;
    report.badLineStripPoints =
        countBadPoints(mesh.getLineStripPoints(), mesh.getNumLineStripPoints(), numVertices);
    report.lineStripLengthsDisagree = lengthsDisagree(
        mesh.getLineStripLengths(), mesh.getNumLineStrips(), mesh.getNumLineStripPoints());
}

void checkSizes(const CompactMesh& mesh, MeshVerifyReport& report)
{
    report.vertexSelectionSizeDisagrees =
        mesh.getSelectedVertices().size() != mesh.getNumVertices();
    report.triangleSelectionSizeDisagrees =
        mesh.getSelectedTriangles().size() != mesh.getNumTriangles();
    for (int i = 0; i < mesh.getNumAttributes(); ++i)
    {
        const MeshAttributes* channel = mesh.getAttributes(i);
        if (channel && channel->getNumElements() != mesh.getNumVertices())
            ++report.badAttributeChannels;
    }
}

// "<count> <things>" with the count only when there are several.
std::string several(std::int64_t count, const char* what)
{
    return count > 1 ? " (" + std::to_string(count) + " " + what + " in all)" : "";
}
}  // namespace

bool MeshVerifyReport::ok() const
{
    return badTriangles == 0 && nonFiniteVertices == 0 && badStripPoints == 0 &&
           badFanPoints == 0 && badLines == 0 && badLineStripPoints == 0 && !stripLengthsDisagree &&
           !fanLengthsDisagree && !lineStripLengthsDisagree && !vertexSelectionSizeDisagrees &&
           !triangleSelectionSizeDisagrees && badAttributeChannels == 0;
}

std::string MeshVerifyReport::describe() const
{
    if (badTriangles)
        return "triangle " + std::to_string(firstBadTriangle) +
               " has a corner index outside the vertex array" + several(badTriangles, "triangles");
    if (nonFiniteVertices)
        return "vertex " + std::to_string(firstNonFiniteVertex) + " has a non-finite coordinate" +
               several(nonFiniteVertices, "vertices");
    if (badStripPoints || stripLengthsDisagree)
        return badStripPoints ? std::to_string(badStripPoints) +
                                    " triangle strip points lie outside the vertex array"
                              : "triangle strip lengths do not add up to the strip points";
    if (badFanPoints || fanLengthsDisagree)
        return badFanPoints ? std::to_string(badFanPoints) +
                                  " triangle fan points lie outside the vertex array"
                            : "triangle fan lengths do not add up to the fan points";
    if (badLines)
        return std::to_string(badLines) + " lines have an end outside the vertex array";
    if (badLineStripPoints || lineStripLengthsDisagree)
        return badLineStripPoints ? std::to_string(badLineStripPoints) +
                                        " line strip points lie outside the vertex array"
                                  : "line strip lengths do not add up to the line strip points";
    if (vertexSelectionSizeDisagrees)
        return "the vertex selection's size differs from the vertex count";
    if (triangleSelectionSizeDisagrees)
        return "the triangle selection's size differs from the triangle count";
    if (badAttributeChannels)
        return std::to_string(badAttributeChannels) +
               " vertex channels differ in size from the vertex count";
    return "mesh is valid";
}

MeshVerifyReport meshVerify(const CompactMesh& mesh)
{
    MeshVerifyReport report;
    checkTriangles(mesh, report);
    checkPositions(mesh, report);
    checkStripsFansAndLines(mesh, report);
    checkSizes(mesh, report);
    return report;
}
}  // namespace oxGeom
