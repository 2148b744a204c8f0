// Geomview OFF: a keyword, the counts, one vertex per line and one face per line. The format is
// read line by line because a line's length carries meaning (a face line may end in a colour,
// a COFF vertex line in three or four colour values), and "#" comments may appear anywhere.

#include "TextScanner.h"
#include "meshFormats.h"

#include <climits>
#include <string>
#include <vector>

namespace trelm::files::detail
{
namespace
{
// What the keyword's prefixes say each vertex line holds beside x y z.
struct VertexLayout
{
    bool normals = false;
    bool colours = false;
    bool texCoords = false;
};

class OffReader
{
public:
    explicit OffReader(ReadContext& context) : m_context(context), m_in(context) {}

    void read(oxGeom::CompactMesh& mesh)
    {
        rejectZeroBytes(m_context);
        m_in.skipByteOrderMark();
        nextContentLine();
        readKeyword();
        readCounts();
        mesh.resizeVertexArray(m_numVertices);
        float* normals = m_layout.normals ? mesh.allocNormalArray()->v : nullptr;
        float* uvs = m_layout.texCoords ? mesh.allocUVArray()->v : nullptr;
        float* positions = mesh.getVerticesRaw();
        for (int v = 0; v < m_numVertices; ++v)
            readVertex(v, positions, normals, uvs);
        std::vector<int> triangles;
        triangles.reserve(3 * static_cast<std::size_t>(m_numFaces));
        for (int f = 0; f < m_numFaces; ++f)
            readFace(f, triangles);
        nextContentLine();
        if (!m_in.atEnd())
            m_in.fail("unexpected content after the last face: " + quoteForMessage(m_in.token()));
        mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    }

private:
    // Skips blank lines and comments up to the next line with content (or the end).
    void nextContentLine()
    {
        for (;;)
        {
            m_in.skipBlanks();
            if (m_in.peek() == '#' || (m_in.atLineEnd() && !m_in.atEnd()))
                m_in.skipLine();
            else
                return;
        }
    }

    bool atLineContentEnd() const { return m_in.atLineEnd() || m_in.peek() == '#'; }

    void endLine()
    {
        m_in.skipBlanks();
        if (!atLineContentEnd())
            m_in.failExpected("the end of the line");
        m_in.skipLine();
    }

    void readKeyword()
    {
        std::string_view keyword = m_in.token();
        const std::string_view whole = keyword;
        auto take = [&keyword](std::string_view prefix)
        {
            if (keyword.substr(0, prefix.size()) != prefix)
                return false;
            keyword.remove_prefix(prefix.size());
            return true;
        };
        m_layout.texCoords = take("ST");
        m_layout.colours = take("C");
        m_layout.normals = take("N");
        if (take("4") || take("n"))
            m_in.fail("OFF of other than 3 dimensions (" + quoteForMessage(whole) +
                      ") is not supported");
        if (keyword != "OFF")
            m_in.fail("not an OFF file (it starts with " + quoteForMessage(whole) + ")");
        m_in.skipToken();
        m_in.skipBlanks();
        if (m_in.token() == "BINARY")
            m_in.fail("binary OFF is not supported");
        if (atLineContentEnd())
            m_in.skipLine();
    }

    void readCounts()
    {
        nextContentLine();
        m_numVertices = static_cast<int>(m_in.readInteger("the vertex count", 0, maxVertices));
        m_in.skipBlanks();
        m_numFaces = static_cast<int>(m_in.readInteger("the face count", 0, maxTriangles));
        m_in.skipBlanks();
        if (!atLineContentEnd())
            m_in.readInteger("the edge count", 0, LLONG_MAX >> 1);
        const std::size_t countsOffset = m_in.offset();
        endLine();
        // Each vertex line takes at least 6 bytes ("0 0 0\n"), each face line 8 ("3 0 1 2\n"),
        // the last line perhaps without its line break.
        const unsigned long long left = m_context.size() - m_in.offset() + 1;
        if (static_cast<unsigned long long>(m_numVertices) * 6 +
                static_cast<unsigned long long>(m_numFaces) * 8 >
            left)
            failAtLine(countsOffset, std::to_string(m_numVertices) + " vertices and " +
                                         std::to_string(m_numFaces) +
                                         " faces need more bytes than the file has");
    }

    // Reads the numbers to the end of the line (at most `capacity`); returns their count.
    int readLine(float* values, int capacity, std::size_t* offsets)
    {
        int count = 0;
        for (m_in.skipBlanks(); !atLineContentEnd(); m_in.skipBlanks())
        {
            if (count == capacity)
                m_in.fail("more than " + std::to_string(capacity) + " numbers on a line");
            offsets[count] = m_in.offset();
            values[count++] = m_in.readFloat("a number");
        }
        m_in.skipLine();
        return count;
    }

    void readVertex(int v, float* positions, float* normals, float* uvs)
    {
        if ((v & 0xffff) == 0)
            m_context.poll(m_in.offset());
        nextContentLine();
        if (m_in.atEnd())
            m_in.fail("the file ends after " + std::to_string(v) + " of " +
                      std::to_string(m_numVertices) + " vertices");
        const std::size_t start = m_in.offset();
        float values[16];
        std::size_t offsets[16];
        const int count = readLine(values, 16, offsets);
        const int fixed = 3 + (m_layout.normals ? 3 : 0) + (m_layout.texCoords ? 2 : 0);
        const int colourCount = count - fixed;
        if (m_layout.colours ? colourCount < 1 || colourCount > 4 : colourCount != 0)
            failAtLine(start, "vertex " + std::to_string(v) + " has " + std::to_string(count) +
                                  " numbers, expected " + std::to_string(fixed) +
                                  (m_layout.colours ? " and a colour of 1 to 4" : ""));
        for (int k = 0; k < 3; ++k)
        {
            if (!acceptsCoordinate(m_context, values[k]))
                failAtLine(offsets[k], nonFiniteMessage(values[k]));
            positions[3 * std::size_t(v) + k] = values[k];
        }
        if (normals)
            for (int k = 0; k < 3; ++k)
                normals[3 * std::size_t(v) + k] = values[3 + k];
        // Texture coordinates come last, after any colour.
        if (uvs)
            for (int k = 0; k < 2; ++k)
                uvs[2 * std::size_t(v) + k] = values[count - 2 + k];
    }

    void readFace(int f, std::vector<int>& triangles)
    {
        if ((f & 0xffff) == 0)
            m_context.poll(m_in.offset());
        nextContentLine();
        if (m_in.atEnd())
            m_in.fail("the file ends after " + std::to_string(f) + " of " +
                      std::to_string(m_numFaces) + " faces");
        const std::size_t start = m_in.offset();
        const long long corners = m_in.readInteger("a corner count", 0, INT_MAX);
        if (corners < 3)
            failAtLine(start, "face " + std::to_string(f) + " has " + std::to_string(corners) +
                                  " corners (at least 3 needed)");
        if (corners > static_cast<long long>(m_in.end() - m_in.position()))
            failAtLine(start, "face " + std::to_string(f) + " of " + std::to_string(corners) +
                                  " corners is longer than the rest of the file");
        if (triangles.size() / 3 + static_cast<std::size_t>(corners - 2) >
            static_cast<std::size_t>(maxTriangles))
            failAtLine(start, "more triangles than a mesh can hold");
        m_face.resize(static_cast<std::size_t>(corners));
        for (int& corner : m_face)
        {
            m_in.skipBlanks();
            const std::size_t offset = m_in.offset();
            const long long index =
                m_in.readInteger("a vertex index", LLONG_MIN >> 1, LLONG_MAX >> 1);
            if (index < 0 || index >= m_numVertices)
                failAtLine(offset, "face " + std::to_string(f) + ": vertex index " +
                                       std::to_string(index) + " out of range (" +
                                       std::to_string(m_numVertices) + " vertices)");
            corner = static_cast<int>(index);
        }
        // An optional face colour follows; its values are checked and dropped.
        float colour[4];
        std::size_t offsets[4];
        readLine(colour, 4, offsets);
        for (std::size_t k = 1; k + 1 < m_face.size(); ++k)
            triangles.insert(triangles.end(), {m_face[0], m_face[k], m_face[k + 1]});
    }

    ReadContext& m_context;
    TextScanner m_in;
    VertexLayout m_layout;
    int m_numVertices = 0;
    int m_numFaces = 0;
    std::vector<int> m_face;
};
}  // namespace

void readOff(ReadContext& context, oxGeom::CompactMesh& mesh)
{
    OffReader(context).read(mesh);
}

void writeOff(OutputFile& file, const oxGeom::CompactMesh& mesh)
{
    const int vertices = mesh.getNumVertices();
    const int triangles = mesh.getNumTriangles();
    const double total = static_cast<double>(vertices) + triangles + 1.0;
    file.putText("OFF\n");
    file.putInt(vertices);
    file.putChar(' ');
    file.putInt(triangles);
    file.putText(" 0\n");
    const float* positions = mesh.getVerticesRaw();
    for (int v = 0; v < vertices; ++v)
    {
        if (v % writePollInterval == 0)
            file.poll(v / total);
        for (int k = 0; k < 3; ++k)
        {
            if (k > 0)
                file.putChar(' ');
            file.putFloat(positions[3 * std::size_t(v) + k]);
        }
        file.putChar('\n');
    }
    const int* indices = mesh.getTrianglesRaw();
    for (int t = 0; t < triangles; ++t)
    {
        if (t % writePollInterval == 0)
            file.poll((vertices + t) / total);
        file.putChar('3');
        for (int k = 0; k < 3; ++k)
        {
            file.putChar(' ');
            file.putInt(indices[3 * std::size_t(t) + k]);
        }
        file.putChar('\n');
    }
}
}  // namespace trelm::files::detail
