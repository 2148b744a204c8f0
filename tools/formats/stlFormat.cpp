// STL, ASCII and binary. STL stores every triangle with its own three corners, so the reader
// collects the corners and welds those at exactly equal positions with meshCompact, which gives
// the shared-vertex mesh the rest of the library works on. A file is binary when its size is
// exactly that of a binary STL of the count in its header: exporters often start binary headers
// with "solid", so the first word alone cannot tell.

#include "TextScanner.h"
#include "meshFormats.h"

#include <oxGeom/meshCompact.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace trelm::files::detail
{
namespace
{
constexpr std::size_t binaryHeaderSize = 84;
constexpr std::size_t binaryTriangleSize = 50;
// Every triangle brings three corners of its own, which are vertices until the weld.
constexpr unsigned long long maxStlTriangles = maxVertices / 3;

bool hostIsLittleEndian()
{
    const std::uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 1;
}

std::uint32_t loadUInt32(const char* p)
{
    const unsigned char* b = reinterpret_cast<const unsigned char*>(p);
    return std::uint32_t(b[0]) | std::uint32_t(b[1]) << 8 | std::uint32_t(b[2]) << 16 |
           std::uint32_t(b[3]) << 24;
}

float loadFloat(const char* p)
{
    const std::uint32_t bits = loadUInt32(p);
    float value;
    std::memcpy(&value, &bits, 4);
    return value;
}

bool startsWithSolid(const ReadContext& context)
{
    TextScanner in(context);
    in.skipWhiteSpace();
    const std::string_view word = in.token().substr(0, 5);
    return word.size() == 5 && std::equal(word.begin(), word.end(), "solid",
                                          [](char a, char b) { return (a | 0x20) == b; });
}

// Welds the corners gathered in `corners` (9 floats per triangle) into `mesh`.
void buildWelded(std::vector<float>& corners, oxGeom::CompactMesh& mesh)
{
    const int numCorners = static_cast<int>(corners.size() / 3);
    mesh.copyVertices(numCorners, corners.data());
    std::vector<float>().swap(corners);
    std::vector<int> triangles(static_cast<std::size_t>(numCorners));
    for (int i = 0; i < numCorners; ++i)
        triangles[static_cast<std::size_t>(i)] = i;
    mesh.copyTriangles(numCorners / 3, triangles.data());
    oxUtil::Progress weld;
    oxGeom::meshCompact(mesh, weld);
}

void readBinary(ReadContext& context, std::size_t numTriangles, std::vector<float>& corners)
{
    corners.resize(9 * numTriangles);
    const char* record = context.data() + binaryHeaderSize;
    float* out = corners.data();
    for (std::size_t t = 0; t < numTriangles; ++t, record += binaryTriangleSize, out += 9)
    {
        if ((t & 0xffff) == 0)
            context.poll(context.offsetOf(record));
        // 12 bytes of facet normal, then the corners, then a 2-byte attribute count.
        if (hostIsLittleEndian())
            std::memcpy(out, record + 12, 36);
        else
            for (int k = 0; k < 9; ++k)
                out[k] = loadFloat(record + 12 + 4 * k);
        for (int k = 0; k < 9; ++k)
            if (!acceptsCoordinate(context, out[k]))
                failAtByte(context.offsetOf(record) + 12 + 4 * k, nonFiniteMessage(out[k]));
    }
}

class AsciiStlReader
{
public:
    AsciiStlReader(ReadContext& context, std::vector<float>& corners)
        : m_context(context), m_in(context), m_corners(corners)
    {
    }

    void read()
    {
        int solids = 0;
        for (;;)
        {
            m_in.skipWhiteSpace();
            if (m_in.atEnd() && solids > 0)
                return;
            expect("solid");
            m_in.skipLine();  // the solid's name
            readFacets();
            ++solids;
        }
    }

private:
    bool isKeyword(const char* keyword) const
    {
        const std::string_view word = m_in.token();
        const std::size_t length = std::strlen(keyword);
        return word.size() == length &&
               std::equal(word.begin(), word.end(), keyword,
                          [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; });
    }

    void expect(const char* keyword)
    {
        m_in.skipWhiteSpace();
        if (!isKeyword(keyword))
            m_in.failExpected(std::string("\"") + keyword + "\"");
        m_in.skipToken();
    }

    float number()
    {
        m_in.skipWhiteSpace();
        return m_in.readFloat("a number");
    }

    void readFacets()
    {
        for (std::size_t facet = 0;; ++facet)
        {
            if ((facet & 0xffff) == 0)
                m_context.poll(m_in.offset());
            m_in.skipWhiteSpace();
            if (isKeyword("endsolid"))
            {
                m_in.skipLine();  // the solid's name again
                return;
            }
            if (!isKeyword("facet"))
                m_in.failExpected("\"facet\" or \"endsolid\"");
            m_in.skipToken();
            readFacet();
        }
    }

    void readFacet()
    {
        expect("normal");
        for (int k = 0; k < 3; ++k)
            number();
        expect("outer");
        expect("loop");
        if (m_corners.size() / 9 >= maxStlTriangles)
            m_in.fail("more triangles than a mesh can hold");
        for (int corner = 0; corner < 3; ++corner)
        {
            expect("vertex");
            for (int k = 0; k < 3; ++k)
            {
                m_in.skipWhiteSpace();
                const std::size_t offset = m_in.offset();
                const float value = m_in.readFloat("a coordinate");
                if (!acceptsCoordinate(m_context, value))
                    failAtLine(offset, nonFiniteMessage(value));
                m_corners.push_back(value);
            }
        }
        expect("endloop");
        expect("endfacet");
    }

    ReadContext& m_context;
    TextScanner m_in;
    std::vector<float>& m_corners;
};

// The unit normal of a triangle, zero when it has no area (or a non-finite corner).
void facetNormal(const float* a, const float* b, const float* c, float normal[3])
{
    const double u[3] = {double(b[0]) - a[0], double(b[1]) - a[1], double(b[2]) - a[2]};
    const double v[3] = {double(c[0]) - a[0], double(c[1]) - a[1], double(c[2]) - a[2]};
    const double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                         u[0] * v[1] - u[1] * v[0]};
    const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    for (int k = 0; k < 3; ++k)
        normal[k] =
            length > 0.0 && std::isfinite(length) ? static_cast<float>(n[k] / length) : 0.0f;
}

void putLittleEndian(OutputFile& file, const float* values, int count)
{
    char* out = file.room(4 * static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k)
    {
        std::uint32_t bits;
        std::memcpy(&bits, values + k, 4);
        for (int byte = 0; byte < 4; ++byte)
            out[4 * k + byte] = static_cast<char>(bits >> (8 * byte));
    }
    file.advance(4 * static_cast<std::size_t>(count));
}

void putAsciiVector(OutputFile& file, const char* prefix, const float* values)
{
    file.putText(prefix);
    for (int k = 0; k < 3; ++k)
    {
        file.putChar(' ');
        file.putFloat(values[k]);
    }
    file.putChar('\n');
}
}  // namespace

void readStl(ReadContext& context, oxGeom::CompactMesh& mesh)
{
    std::vector<float> corners;
    const std::size_t size = context.size();
    const unsigned long long declared =
        size >= binaryHeaderSize ? loadUInt32(context.data() + 80) : 0;
    const bool binarySize =
        size >= binaryHeaderSize && binaryHeaderSize + binaryTriangleSize * declared == size;
    if (binarySize)
    {
        if (declared > maxStlTriangles)
            failAtByte(80, "more triangles than a mesh can hold");
        readBinary(context, static_cast<std::size_t>(declared), corners);
    }
    else if (startsWithSolid(context) && !std::memchr(context.data(), 0, size))
        AsciiStlReader(context, corners).read();
    else if (size < binaryHeaderSize)
        failFile("not an STL file: no \"solid\" at the start, and " + std::to_string(size) +
                 " bytes are too few for a binary header");
    else
        failAtByte(80, "binary STL of " + std::to_string(declared) + " triangles needs " +
                           std::to_string(binaryHeaderSize + binaryTriangleSize * declared) +
                           " bytes, the file has " + std::to_string(size));
    buildWelded(corners, mesh);
}

void writeStl(OutputFile& file, const oxGeom::CompactMesh& mesh, const WriteOptions& options)
{
    const int triangles = mesh.getNumTriangles();
    const float* positions = mesh.getVerticesRaw();
    const int* indices = mesh.getTrianglesRaw();
    const bool ascii = options.encoding == Encoding::Ascii;
    if (ascii)
        file.putText("solid trelm\n");
    else
    {
        // Not "solid ...": some readers take any file starting so for ASCII.
        char header[binaryHeaderSize] = "binary STL written by trelm";
        const std::uint32_t count = static_cast<std::uint32_t>(triangles);
        for (int byte = 0; byte < 4; ++byte)
            header[80 + byte] = static_cast<char>(count >> (8 * byte));
        file.write(header, sizeof header);
    }
    for (int t = 0; t < triangles; ++t)
    {
        if (t % writePollInterval == 0)
            file.poll(t / (triangles + 1.0));
        const int* corners = indices + 3 * std::size_t(t);
        const float* points[3] = {positions + 3 * std::size_t(corners[0]),
                                  positions + 3 * std::size_t(corners[1]),
                                  positions + 3 * std::size_t(corners[2])};
        float normal[3];
        facetNormal(points[0], points[1], points[2], normal);
        if (!ascii)
        {
            putLittleEndian(file, normal, 3);
            for (const float* point : points)
                putLittleEndian(file, point, 3);
            file.putText(std::string_view("\0\0", 2));
            continue;
        }
        putAsciiVector(file, "facet normal", normal);
        file.putText("  outer loop\n");
        for (const float* point : points)
            putAsciiVector(file, "    vertex", point);
        file.putText("  endloop\nendfacet\n");
    }
    if (ascii)
        file.putText("endsolid trelm\n");
}
}  // namespace trelm::files::detail
