// Wavefront OBJ, read in one pass over the file's text and written through the buffered output.
// The reader keeps the file's own vertex numbering (a vertex is a "v" line), so an OBJ written by
// any tool comes back with the indices that tool gave it; texture coordinates and normals become
// per-vertex channels only where the file pairs each position with a single one of them.

#include "TextScanner.h"
#include "meshFormats.h"

#include <oxGeom/PointMesh.h>

#include <climits>
#include <string>
#include <vector>

namespace trelm::files::detail
{
namespace
{
constexpr long long maxElements = INT_MAX;

// The largest positive (absolute) reference to one kind of element seen in face corners, and
// where: positive references may point further down the file, so they are checked at the end.
struct ForwardReferences
{
    long long largest = -1;  // 0-based
    std::size_t offset = 0;
};

struct Corner
{
    int position;
    int uv;      // -1 when the corner gives none
    int normal;  // -1 when the corner gives none
};

// Whether every face corner so far gave a texture coordinate (or a normal).
enum class Presence
{
    NoCornerYet,
    EveryCorner,
    Dropped,
};

void updatePresence(Presence& presence, bool given)
{
    if (presence == Presence::NoCornerYet)
        presence = given ? Presence::EveryCorner : Presence::Dropped;
    else if (presence == Presence::EveryCorner && !given)
        presence = Presence::Dropped;
}

// Per-vertex values from per-corner references: each vertex takes the value its corners refer to,
// provided all of them refer to the same index or to equal values. Returns false otherwise.
bool valuesPerVertex(const std::vector<int>& triangles, const std::vector<int>& references,
                     const std::vector<float>& values, int dimension, int numVertices,
                     float* perVertex)
{
    std::vector<int> chosen(static_cast<std::size_t>(numVertices), -1);
    for (std::size_t corner = 0; corner < triangles.size(); ++corner)
    {
        int& current = chosen[static_cast<std::size_t>(triangles[corner])];
        const int reference = references[corner];
        if (current < 0)
        {
            current = reference;
            continue;
        }
        if (current == reference)
            continue;
        for (int k = 0; k < dimension; ++k)
            if (values[std::size_t(current) * dimension + k] !=
                values[std::size_t(reference) * dimension + k])
                return false;
    }
    for (int vertex = 0; vertex < numVertices; ++vertex)
    {
        const int reference = chosen[static_cast<std::size_t>(vertex)];
        for (int k = 0; k < dimension; ++k)
            perVertex[std::size_t(vertex) * dimension + k] =
                reference < 0 ? 0.0f : values[std::size_t(reference) * dimension + k];
    }
    return true;
}

class ObjReader
{
public:
    explicit ObjReader(ReadContext& context) : m_context(context), m_in(context) {}

    void read(oxGeom::CompactMesh& mesh)
    {
        rejectZeroBytes(m_context);
        m_in.skipByteOrderMark();
        for (long long statement = 0; !m_in.atEnd(); ++statement)
        {
            if ((statement & 0xffff) == 0)
                m_context.poll(m_in.offset());
            readStatement();
        }
        checkForwardReferences(m_positionReferences, numVertices(), "vertex", "vertices");
        checkForwardReferences(m_uvReferences, m_uvs.size() / 2, "texture coordinate",
                               "texture coordinates");
        checkForwardReferences(m_normalReferences, m_normals.size() / 3, "normal", "normals");
        build(mesh);
    }

private:
    std::size_t numVertices() const { return m_positions.size() / 3; }

    // Blanks, and '\' line continuations, which join the next line to this statement.
    void skipBlanks()
    {
        for (;;)
        {
            m_in.skipBlanks();
            const char* p = m_in.position();
            if (*p != '\\' || !isLineBreak(p[1]))
                return;
            p += (p[1] == '\r' && p[2] == '\n') ? 3 : 2;
            m_in.setPosition(p);
        }
    }

    bool atStatementEnd() const { return m_in.atLineEnd() || m_in.peek() == '#'; }

    void skipStatement()
    {
        while (!m_in.atLineEnd())
        {
            const char* p = m_in.position();
            if (*p == '\\' && isLineBreak(p[1]))
                skipBlanks();
            else
                m_in.setPosition(p + 1);
        }
        m_in.skipLine();
    }

    void readStatement()
    {
        skipBlanks();
        const char* p = m_in.position();
        if (p[0] == 'v' && endsToken(p[1]))
            readVertex(p + 1);
        else if (p[0] == 'v' && p[1] == 't' && endsToken(p[2]))
            readTexCoord(p + 2);
        else if (p[0] == 'v' && p[1] == 'n' && endsToken(p[2]))
            readNormal(p + 2);
        else if (p[0] == 'f' && endsToken(p[1]))
            readFace(p + 1);
        else
            skipStatement();
    }

    // Reads up to `capacity` numbers to the end of the statement; returns how many there were.
    int readNumbers(float* values, int capacity, std::size_t* offsets)
    {
        int count = 0;
        for (skipBlanks(); !atStatementEnd(); skipBlanks())
        {
            if (count == capacity)
                m_in.fail("more than " + std::to_string(capacity) + " numbers");
            offsets[count] = m_in.offset();
            values[count++] = m_in.readFloat("a number");
        }
        return count;
    }

    void readVertex(const char* arguments)
    {
        const std::size_t start = m_context.offsetOf(arguments - 1);
        m_in.setPosition(arguments);
        float values[7];
        std::size_t offsets[7];
        const int count = readNumbers(values, 7, offsets);
        if (count != 3 && count != 4 && count != 6)
            failAtLine(start,
                       "a vertex has 3 coordinates (4 with a weight, 6 with a colour), "
                       "not " +
                           std::to_string(count));
        if (static_cast<long long>(numVertices()) == maxVertices)
            failAtLine(start, "more vertices than a mesh can hold");
        for (int k = 0; k < 3; ++k)
            if (!acceptsCoordinate(m_context, values[k]))
                failAtLine(offsets[k], nonFiniteMessage(values[k]));
        const bool coloured = count == 6;
        if (coloured && !m_coloursDropped && m_colours.size() == m_positions.size())
            m_colours.insert(m_colours.end(), values + 3, values + 6);
        else if (!m_colours.empty() || coloured)
            dropColours();
        m_positions.insert(m_positions.end(), values, values + 3);
        skipStatement();
    }

    void dropColours()
    {
        m_coloursDropped = true;
        std::vector<float>().swap(m_colours);
    }

    void readTexCoord(const char* arguments)
    {
        const std::size_t start = m_context.offsetOf(arguments - 2);
        m_in.setPosition(arguments);
        float values[3] = {0.0f, 0.0f, 0.0f};
        std::size_t offsets[3];
        const int count = readNumbers(values, 3, offsets);
        if (count == 0)
            failAtLine(start, "a texture coordinate needs 1 to 3 numbers, found none");
        if (m_uvs.size() / 2 == maxElements)
            failAtLine(start, "more texture coordinates than a mesh can hold");
        m_uvs.insert(m_uvs.end(), values, values + 2);
        skipStatement();
    }

    void readNormal(const char* arguments)
    {
        const std::size_t start = m_context.offsetOf(arguments - 2);
        m_in.setPosition(arguments);
        float values[3];
        std::size_t offsets[3];
        const int count = readNumbers(values, 3, offsets);
        if (count != 3)
            failAtLine(start, "a normal has 3 numbers, not " + std::to_string(count));
        if (m_normals.size() / 3 == maxElements)
            failAtLine(start, "more normals than a mesh can hold");
        m_normals.insert(m_normals.end(), values, values + 3);
        skipStatement();
    }

    // The 0-based element an index of the file names. Relative (negative) indices count back
    // from the last element defined so far; positive ones are checked at the end of the file.
    static int resolve(long long index, std::size_t defined, ForwardReferences& references,
                       const char* kind, std::size_t offset)
    {
        if (index > 0)
        {
            if (index > maxElements)
                failAtLine(offset,
                           std::string(kind) + " index " + std::to_string(index) + " out of range");
            if (index - 1 > references.largest)
                references = ForwardReferences{index - 1, offset};
            return static_cast<int>(index - 1);
        }
        if (index == 0)
            failAtLine(offset, std::string(kind) + " index 0 (indices start at 1)");
        const long long resolved = static_cast<long long>(defined) + index;
        if (resolved < 0)
            failAtLine(offset, "relative " + std::string(kind) + " index " + std::to_string(index) +
                                   " out of range (" + std::to_string(defined) +
                                   " defined above it)");
        return static_cast<int>(resolved);
    }

    static void checkForwardReferences(const ForwardReferences& references, std::size_t defined,
                                       const char* kind, const char* plural)
    {
        if (references.largest >= static_cast<long long>(defined))
            failAtLine(references.offset,
                       std::string(kind) + " index " + std::to_string(references.largest + 1) +
                           " out of range (" + std::to_string(defined) + " " + plural + ")");
    }

    // One index of the corner starting at `corner`, at `p`; a corner without it is malformed.
    const char* readIndex(const char* corner, const char* p, long long& index)
    {
        const char* next = parseInteger(p, m_in.end(), index);
        if (!next)
            failMalformedCorner(corner);
        return next;
    }

    [[noreturn]] void failMalformedCorner(const char* corner)
    {
        m_in.setPosition(corner);
        m_in.fail("malformed face corner " + quoteForMessage(m_in.token()));
    }

    Corner readCorner()
    {
        const char* start = m_in.position();
        const std::size_t offset = m_in.offset();
        long long index = 0;
        const char* p = readIndex(start, start, index);
        Corner corner{resolve(index, numVertices(), m_positionReferences, "vertex", offset), -1,
                      -1};
        if (*p == '/')
        {
            ++p;
            if (*p != '/')
            {
                p = readIndex(start, p, index);
                corner.uv =
                    resolve(index, m_uvs.size() / 2, m_uvReferences, "texture coordinate", offset);
            }
            if (*p == '/')
            {
                p = readIndex(start, p + 1, index);
                corner.normal =
                    resolve(index, m_normals.size() / 3, m_normalReferences, "normal", offset);
            }
        }
        if (!endsToken(*p))
            failMalformedCorner(start);
        m_in.setPosition(p);
        return corner;
    }

    void readFace(const char* arguments)
    {
        const std::size_t start = m_context.offsetOf(arguments - 1);
        m_in.setPosition(arguments);
        m_face.clear();
        for (skipBlanks(); !atStatementEnd(); skipBlanks())
            m_face.push_back(readCorner());
        if (m_face.size() < 3)
            failAtLine(start,
                       "a face needs at least 3 corners, found " + std::to_string(m_face.size()));
        if (static_cast<long long>(m_triangles.size() / 3 + m_face.size() - 2) > maxTriangles)
            failAtLine(start, "more triangles than a mesh can hold");
        for (const Corner& corner : m_face)
        {
            updatePresence(m_uvPresence, corner.uv >= 0);
            updatePresence(m_normalPresence, corner.normal >= 0);
        }
        if (m_uvPresence == Presence::Dropped)
            std::vector<int>().swap(m_triangleUvs);
        if (m_normalPresence == Presence::Dropped)
            std::vector<int>().swap(m_triangleNormals);
        for (std::size_t k = 1; k + 1 < m_face.size(); ++k)
            addTriangle(m_face[0], m_face[k], m_face[k + 1]);
        skipStatement();
    }

    void addTriangle(const Corner& a, const Corner& b, const Corner& c)
    {
        m_triangles.insert(m_triangles.end(), {a.position, b.position, c.position});
        if (m_uvPresence == Presence::EveryCorner)
            m_triangleUvs.insert(m_triangleUvs.end(), {a.uv, b.uv, c.uv});
        if (m_normalPresence == Presence::EveryCorner)
            m_triangleNormals.insert(m_triangleNormals.end(), {a.normal, b.normal, c.normal});
    }

    void build(oxGeom::CompactMesh& mesh)
    {
        const int vertices = static_cast<int>(numVertices());
        const bool keepColours =
            !m_coloursDropped && vertices > 0 && m_colours.size() == m_positions.size();
        mesh.copyVertices(vertices, m_positions.data());
        std::vector<float>().swap(m_positions);
        mesh.copyTriangles(static_cast<int>(m_triangles.size() / 3), m_triangles.data());
        if (keepColours)
        {
            float* colours = mesh.allocAttributes(oxGeom::PointMesh::ColoursName, 4)->asFloat();
            for (int v = 0; v < vertices; ++v)
            {
                for (int k = 0; k < 3; ++k)
                    colours[4 * std::size_t(v) + k] = m_colours[3 * std::size_t(v) + k];
                colours[4 * std::size_t(v) + 3] = 1.0f;
            }
        }
        if (m_uvPresence == Presence::EveryCorner)
        {
            float* uvs = mesh.allocUVArray()->v;
            if (!valuesPerVertex(m_triangles, m_triangleUvs, m_uvs, 2, vertices, uvs))
                mesh.deleteUVs();
        }
        if (m_normalPresence == Presence::EveryCorner)
        {
            float* normals = mesh.allocNormalArray()->v;
            if (!valuesPerVertex(m_triangles, m_triangleNormals, m_normals, 3, vertices, normals))
                mesh.deleteNormals();
        }
    }

    ReadContext& m_context;
    TextScanner m_in;
    std::vector<float> m_positions;
    std::vector<float> m_colours;  // 3 per vertex while every vertex so far had one
    bool m_coloursDropped = false;
    std::vector<float> m_uvs;
    std::vector<float> m_normals;
    std::vector<int> m_triangles;
    std::vector<int> m_triangleUvs;      // per triangle corner, while every corner has one
    std::vector<int> m_triangleNormals;  // likewise
    Presence m_uvPresence = Presence::NoCornerYet;
    Presence m_normalPresence = Presence::NoCornerYet;
    ForwardReferences m_positionReferences;
    ForwardReferences m_uvReferences;
    ForwardReferences m_normalReferences;
    std::vector<Corner> m_face;
};

void putCorner(OutputFile& file, int vertex, bool uvs, bool normals)
{
    const long long index = static_cast<long long>(vertex) + 1;
    file.putInt(index);
    if (!uvs && !normals)
        return;
    file.putChar('/');
    if (uvs)
        file.putInt(index);
    if (!normals)
        return;
    file.putChar('/');
    file.putInt(index);
}

void putVector(OutputFile& file, const char* keyword, const float* values, int dimension)
{
    file.putText(keyword);
    for (int k = 0; k < dimension; ++k)
    {
        file.putChar(' ');
        file.putFloat(values[k]);
    }
}
}  // namespace

void readObj(ReadContext& context, oxGeom::CompactMesh& mesh)
{
    ObjReader(context).read(mesh);
}

void writeObj(OutputFile& file, const oxGeom::CompactMesh& mesh)
{
    const int vertices = mesh.getNumVertices();
    const int triangles = mesh.getNumTriangles();
    const double total = static_cast<double>(vertices) + triangles + 1.0;
    const float* positions = mesh.getVerticesRaw();
    const oxGeom::MeshAttributes* colourChannel =
        mesh.getAttributes(oxGeom::PointMesh::ColoursName);
    const float* colours = colourChannel ? colourChannel->asFloat4() : nullptr;
    // Never an empty file, which every reader here refuses, even for an empty mesh.
    file.putText("# " + std::to_string(vertices) + " vertices, " + std::to_string(triangles) +
                 " triangles\n");
    for (int v = 0; v < vertices; ++v)
    {
        if (v % writePollInterval == 0)
            file.poll(v / total);
        putVector(file, "v", positions + 3 * std::size_t(v), 3);
        if (colours)
            putVector(file, "", colours + 4 * std::size_t(v), 3);
        file.putChar('\n');
    }
    const float* uvs = mesh.getUVsRaw();
    for (int v = 0; uvs && v < vertices; ++v)
    {
        putVector(file, "vt", uvs + 2 * std::size_t(v), 2);
        file.putChar('\n');
    }
    const float* normals = mesh.getNormalsRaw();
    for (int v = 0; normals && v < vertices; ++v)
    {
        putVector(file, "vn", normals + 3 * std::size_t(v), 3);
        file.putChar('\n');
    }
    const int* indices = mesh.getTrianglesRaw();
    for (int t = 0; t < triangles; ++t)
    {
        if (t % writePollInterval == 0)
            file.poll((vertices + t) / total);
        file.putChar('f');
        for (int k = 0; k < 3; ++k)
        {
            file.putChar(' ');
            putCorner(file, indices[3 * std::size_t(t) + k], uvs != nullptr, normals != nullptr);
        }
        file.putChar('\n');
    }
}
}  // namespace trelm::files::detail
