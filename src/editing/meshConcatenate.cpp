// Concatenation of placed meshes: vertices, triangles, strips, fans and the
// vertex channels the meshes share are appended mesh after mesh, positions and
// normals carried by each placement. The result is built in a scratch mesh and
// swapped into the destination, so the destination may itself be one of the inputs.

#include <oxGeom/meshConcatenate.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/meshTransform.h>
#include <oxLinear/AffineMatrix.h>
#include <oxLinear/Tolerance.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace oxGeom
{
namespace
{
// One non-null input mesh and where its elements land in the result.
struct Part
{
    const CompactMesh* mesh;
    oxLinear::AffineMatrixFlt matrix;
    bool flip;
    int vertexOffset;
    int triangleOffset;
};

// A carried channel: its name, its shape, and the result's array.
struct Channel
{
    oxString::CString name;
    int dimension;
    MeshAttributes* target;
};

bool needsTransform(const oxLinear::AffineMatrixFlt& matrix)
{
    return !oxLinear::equivalent(matrix, oxLinear::AffineMatrixFlt(1.0f), oxLinear::epsilonTolFlt);
}

std::vector<Part> collectParts(const ox::list<MeshPlacement>& meshes,
                               const ox::vector<bool>* flipWinding)
{
    std::vector<Part> parts;
    int vertices = 0, triangles = 0;
    std::size_t position = 0;
    for (const MeshPlacement& placement : meshes)
    {
        const bool flip = flipWinding && position < flipWinding->size() && (*flipWinding)[position];
        ++position;
        if (!placement.mesh)
            continue;
        parts.push_back({placement.mesh, placement.matrix, flip, vertices, triangles});
        vertices += placement.mesh->getNumVertices();
        triangles += placement.mesh->getNumTriangles();
    }
    return parts;
}

// The names every mesh carries: the first mesh's, intersected with each next one's.
ox::set<oxString::CString> commonNames(const std::vector<Part>& parts)
{
    ox::set<oxString::CString> common;
    parts.front().mesh->getAttributeNames(common);
    for (std::size_t i = 1; i < parts.size(); ++i)
    {
        ox::set<oxString::CString> names;
        parts[i].mesh->getAttributeNames(names);
        for (auto it = common.begin(); it != common.end();)
            it = names.count(*it) ? std::next(it) : common.erase(it);
    }
    return common;
}

// Makes the result's channels (positions aside): each takes its dimension and
// storeable flag from the first mesh that has it; a name no mesh has is skipped.
std::vector<Channel> allocateChannels(CompactMesh& result, const std::vector<Part>& parts,
                                      const ox::set<oxString::CString>& names)
{
    std::vector<Channel> channels;
    for (const oxString::CString& name : names)
    {
        if (name == PointMesh::VerticesName)
            continue;
        const MeshAttributes* first = nullptr;
        for (std::size_t i = 0; i < parts.size() && !first; ++i)
            first = parts[i].mesh->getAttributes(name);
        if (!first)
            continue;
        MeshAttributes* target = result.allocAttributes(name, first->getDimension());
        if (!target)
            continue;
        target->setStoreable(first->isStoreable());
        channels.push_back({name, first->getDimension(), target});
    }
    return channels;
}

void copyPositions(CompactMesh& result, const Part& part, bool transform)
{
    const int n = part.mesh->getNumVertices();
    float* target = result.getVerticesRaw() + 3 * static_cast<std::size_t>(part.vertexOffset);
    if (n > 0)
        std::memcpy(target, part.mesh->getVerticesRaw(), 3 * sizeof(float) * n);
    if (transform)
        meshTransform(oxLinear::AffineMatrix(part.matrix), target, n);
    result.getAttributes(PointMesh::VerticesName)->invalidateRange();
}

void copyChannel(const Channel& channel, const Part& part, bool transform)
{
    const MeshAttributes* source = part.mesh->getAttributes(channel.name);
    if (!source || source->getDimension() != channel.dimension)
        return;  // the mesh's share of the channel stays zero
    const int n = part.mesh->getNumVertices();
    float* target =
        channel.target->asFloat() + channel.dimension * static_cast<std::size_t>(part.vertexOffset);
    if (n > 0)
        std::memcpy(target, source->asFloat(), sizeof(float) * channel.dimension * n);
    oxLinear::AffineMatrix normalMatrix;
    if (transform && channel.name == PointMesh::NormalsName &&
        oxLinear::AffineMatrix(part.matrix).normalMatrix(normalMatrix))
        meshTransform(normalMatrix, target, n);
    channel.target->invalidateRange();
}

void copyTriangles(CompactMesh& result, const Part& part)
{
    const int n = part.mesh->getNumTriangles();
    const MeshTriangle* in = part.mesh->getTriangles();
    MeshTriangle* out = result.getTriangles() + part.triangleOffset;
    const int v = part.vertexOffset;
    const int first = part.flip ? 2 : 0;  // a turned triangle exchanges corners 0 and 2
    for (int t = 0; t < n; ++t)
    {
        out[t][0] = in[t][first] + v;
        out[t][1] = in[t][1] + v;
        out[t][2] = in[t][2 - first] + v;
    }
}

// ---- strips and fans ----

// A list of strips or fans: lengths and flat points, read with each length
// clamped to the points left, so malformed lengths never read past the array.
struct PrimitiveList
{
    int count;
    const int* lengths;
    int numPoints;
    const int* points;
};

PrimitiveList stripsOf(const CompactMesh& mesh)
{
    return {mesh.getNumTriStrips(), mesh.getTriStripLengths(), mesh.getNumTriStripPoints(),
            mesh.getTriStripPoints()};
}

PrimitiveList fansOf(const CompactMesh& mesh)
{
    return {mesh.getNumTriFans(), mesh.getTriFanLengths(), mesh.getNumTriFanPoints(),
            mesh.getTriFanPoints()};
}

// A strip of even length turns by a doubled first index; one of odd length by
// reversal (which alone would keep the winding of an even strip).
int turnedStripLength(int length)
{
    return length >= 4 && length % 2 == 0 ? length + 1 : length;
}

int clampedLength(const PrimitiveList& list, int index, int used)
{
    return std::max(0, std::min(list.lengths[index], list.numPoints - used));
}

int turnedStripPointCount(const PrimitiveList& strips)
{
    int used = 0, extra = 0;
    for (int s = 0; s < strips.count; ++s)
    {
        const int length = clampedLength(strips, s, used);
        extra += turnedStripLength(length) - length;
        used += length;
    }
    return strips.numPoints + extra;
}

// Appends a list at (lengths + count, points + numPoints) with indices shifted
// by `offset`, turning each strip or fan when `flip`. Returns the points written.
int appendPrimitives(const PrimitiveList& in, bool isFan, bool flip, int offset, int* lengths,
                     int* points)
{
    if (!flip)
    {
        std::copy(in.lengths, in.lengths + in.count, lengths);
        for (int p = 0; p < in.numPoints; ++p)
            points[p] = in.points[p] + offset;
        return in.numPoints;
    }
    int used = 0, written = 0;
    for (int s = 0; s < in.count; ++s)
    {
        const int length = clampedLength(in, s, used);
        const int* source = in.points + used;
        int* out = points + written;
        if (isFan)
        {
            // The hub stays first, the rim runs the other way round.
            for (int k = 0; k < length; ++k)
                out[k] = source[k == 0 ? 0 : length - k] + offset;
            lengths[s] = length;
        }
        else
        {
            const int turned = turnedStripLength(length);
            if (turned != length)  // even: p0 p0 p1 p2 ... turns every triangle
            {
                out[0] = source[0] + offset;
                for (int k = 0; k < length; ++k)
                    out[k + 1] = source[k] + offset;
            }
            else  // odd (or too short to hold a triangle): reversed
                for (int k = 0; k < length; ++k)
                    out[k] = source[length - 1 - k] + offset;
            lengths[s] = turned;
        }
        used += length;
        written += isFan ? length : turnedStripLength(length);
    }
    for (int p = used; p < in.numPoints; ++p)  // points no length covers ride along
        points[written++] = in.points[p] + offset;
    return written;
}

bool hasStripsOrFans(const CompactMesh& mesh)
{
    return mesh.getNumTriStrips() > 0 || mesh.getNumTriFans() > 0;
}

void concatenateStripsAndFans(CompactMesh& result, const std::vector<Part>& parts)
{
    int strips = 0, stripPoints = 0, fans = 0, fanPoints = 0;
    for (const Part& part : parts)
    {
        const PrimitiveList s = stripsOf(*part.mesh);
        strips += s.count;
        stripPoints += part.flip ? turnedStripPointCount(s) : s.numPoints;
        fans += part.mesh->getNumTriFans();
        fanPoints += part.mesh->getNumTriFanPoints();
    }
    result.resizeTriStripArrays(strips, stripPoints);
    result.resizeTriFanArrays(fans, fanPoints);
    int stripAt = 0, stripPointAt = 0, fanAt = 0, fanPointAt = 0;
    for (const Part& part : parts)
    {
        const PrimitiveList s = stripsOf(*part.mesh);
        stripPointAt += appendPrimitives(s, false, part.flip, part.vertexOffset,
                                         result.getTriStripLengths() + stripAt,
                                         result.getTriStripPoints() + stripPointAt);
        stripAt += s.count;
        const PrimitiveList f = fansOf(*part.mesh);
        fanPointAt += appendPrimitives(f, true, part.flip, part.vertexOffset,
                                       result.getTriFanLengths() + fanAt,
                                       result.getTriFanPoints() + fanPointAt);
        fanAt += f.count;
    }
}
}  // namespace

void meshConcatenate(CompactMesh& destination, const ox::list<MeshPlacement>& meshes,
                     const ox::set<oxString::CString>* attributeNames,
                     ox::vector<bool>* flipWinding)
{
    const std::vector<Part> parts = collectParts(meshes, flipWinding);
    if (parts.empty())
        return;
    int totalVertices = 0, totalTriangles = 0;
    for (const Part& part : parts)
    {
        totalVertices += part.mesh->getNumVertices();
        totalTriangles += part.mesh->getNumTriangles();
    }

    // Built aside and swapped in: the inputs may include the destination, and
    // nothing of the destination's old content may linger in the result.
    CompactMesh result;
    result.setArrayAllocator(destination.getArrayAllocator());
    result.resizeVertexArray(totalVertices);
    result.resizeTriangleArray(totalTriangles);
    const std::vector<Channel> channels =
        allocateChannels(result, parts, attributeNames ? *attributeNames : commonNames(parts));

    for (const Part& part : parts)
    {
        const bool transform = needsTransform(part.matrix);
        copyPositions(result, part, transform);
        for (const Channel& channel : channels)
            copyChannel(channel, part, transform);
        copyTriangles(result, part);
    }

    const bool carryStripsAndFans = std::all_of(
        parts.begin(), parts.end(), [](const Part& part) { return hasStripsOrFans(*part.mesh); });
    if (carryStripsAndFans)
        concatenateStripsAndFans(result, parts);

    destination.swap(result);
    MeshModification modification(&destination, MeshModification::Topology, nullptr);
    if (carryStripsAndFans)
        modification.stripsAndFansModified();
    destination.modified(modification);
}
}  // namespace oxGeom
