// Writes the mesh text format for a CompactMesh or a TopoMesh. Numbers are formatted with
// std::to_chars, whose general format with a precision is defined as printf's "%.*g" in the
// "C" locale, so the text never depends on the process locale; it is written in large blocks.

#include <oxGeom/meshWrite.h>

#include <charconv>
#include <cstdio>
#include <string>
#include <vector>

namespace oxGeom
{
namespace
{
constexpr int coordinateDigits = 10;  // "%.10g"
constexpr std::size_t flushThreshold = 1 << 16;

// Collects text and hands it to fwrite once a block is full; remembers whether every write
// succeeded. Owns the file; close() reports the outcome, the destructor only cleans up.
class TextWriter
{
public:
    explicit TextWriter(std::FILE* file) : m_file(file) { m_text.reserve(flushThreshold + 256); }
    ~TextWriter()
    {
        if (m_file)
            std::fclose(m_file);
    }
    TextWriter(const TextWriter&) = delete;
    TextWriter& operator=(const TextWriter&) = delete;

    void integer(int value)
    {
        char digits[16];
        m_text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    }
    void real(double value)
    {
        char digits[40];
        const std::to_chars_result result = std::to_chars(
            digits, digits + sizeof digits, value, std::chars_format::general, coordinateDigits);
        m_text.append(digits, result.ptr);
    }
    void blank() { m_text.push_back(' '); }
    void endLine()
    {
        m_text.push_back('\n');
        if (m_text.size() >= flushThreshold)
            flush();
    }
    void point(double x, double y, double z)
    {
        real(x);
        blank();
        real(y);
        blank();
        real(z);
        endLine();
    }

    // Writes what is left and closes the file; true when nothing failed.
    bool close()
    {
        flush();
        const bool closed = std::fclose(m_file) == 0;
        m_file = nullptr;
        return closed && m_ok;
    }

private:
    void flush()
    {
        if (!m_text.empty() &&
            std::fwrite(m_text.data(), 1, m_text.size(), m_file) != m_text.size())
            m_ok = false;
        m_text.clear();
    }

    std::FILE* m_file;
    std::string m_text;
    bool m_ok = true;
};

void writeHeader(TextWriter& out, int numVertices, int numFaces)
{
    out.integer(numVertices);
    out.blank();
    out.integer(numFaces);
    out.endLine();
}

std::FILE* openForWriting(const oxOS::Filename& file)
{
    return std::fopen(file.asMultibyte().c_str(), "w");
}
}  // namespace

bool meshWrite(const CompactMesh& mesh, const oxOS::Filename& file)
{
    std::FILE* handle = openForWriting(file);
    if (!handle)
        return false;
    TextWriter out(handle);
    const int numVertices = mesh.getNumVertices(), numTriangles = mesh.getNumTriangles();
    writeHeader(out, numVertices, numTriangles);
    const MeshVertex* vertices = mesh.getVertices();
    for (int v = 0; v < numVertices; ++v)
        out.point(vertices[v][0], vertices[v][1], vertices[v][2]);
    const MeshTriangle* triangles = mesh.getTriangles();
    for (int t = 0; t < numTriangles; ++t)
    {
        out.integer(3);
        for (int corner = 0; corner < 3; ++corner)
        {
            out.blank();
            out.integer(triangles[t][corner]);
        }
        out.endLine();
    }
    return out.close();
}

bool meshWrite(TopoMesh& mesh, const oxOS::Filename& file)
{
    std::FILE* handle = openForWriting(file);
    if (!handle)
        return false;
    TextWriter out(handle);
    writeHeader(out, mesh.numVertices(), mesh.numFaces());

    // Each vertex's running number in the vertex list, looked up by its handle's index.
    std::vector<int> numberOf(static_cast<std::size_t>(mesh.numVertices()), -1);
    int running = 0;
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.next())
    {
        const oxLinear::Point p = v.point();
        out.point(p[0], p[1], p[2]);
        numberOf[static_cast<std::size_t>(v.index())] = running++;
    }

    for (TopoMeshFace f = mesh.firstFace(); f; f = f.next())
    {
        const int corners = f.numVertices();
        out.integer(corners);
        TopoMeshEdge edge = f.firstEdge();
        for (int corner = 0; corner < corners; ++corner, edge = edge.next())
        {
            out.blank();
            out.integer(numberOf[static_cast<std::size_t>(edge.origin().index())]);
        }
        out.endLine();
    }
    return out.close();
}
}  // namespace oxGeom
