// Reads the mesh text format into a CompactMesh (replacing it) or a TopoMesh (appending).
// The whole file is parsed into scratch arrays before the mesh is touched, so a failure
// anywhere leaves the mesh as it was; numbers go through std::from_chars, which ignores locales.

#include <oxGeom/meshRead.h>

#include <oxGeom/MeshModification.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

namespace oxGeom
{
namespace
{
// Longer tokens are refused rather than buffered: no number this format needs comes near it,
// and it bounds the memory a file without white space can make the reader take.
constexpr std::size_t maxTokenLength = 1024;
constexpr std::size_t readChunkSize = 1 << 16;
// Scratch arrays start at most this large and grow with what is actually read, so a header
// that promises billions of elements in a short file costs nothing.
constexpr std::size_t maxInitialReserve = 1 << 16;

// The white space of isspace in the "C" locale; isspace itself follows the host's locale.
bool isWhiteSpace(int c)
{
    return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

bool isDecimalDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c)
{
    return isDecimalDigit(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f');
}

// A decimal int with an optional sign, filling [first, last) exactly. from_chars rejects a
// leading '+', which scanf's %d accepts, so it is stripped here (but not "+-1").
bool parseInt(const char* first, const char* last, int& value)
{
    if (first != last && *first == '+')
    {
        ++first;
        if (first == last || !isDecimalDigit(*first))
            return false;
    }
    const std::from_chars_result result = std::from_chars(first, last, value);
    return result.ec == std::errc() && result.ptr == last;
}

// For a number std::from_chars found out of range: true when it is too large (it then reads as
// an infinity), false when too small (a zero). The order of magnitude is where the first
// nonzero digit of [first, last) stands relative to the point, plus the exponent; an
// out-of-range value is far from 1 on one side or the other, so the sign of that sum decides.
bool isTooLarge(const char* first, const char* last, bool hex)
{
    const char exponentMark = hex ? 'p' : 'e';
    long long order = 0;  // in digits of the mantissa's base
    bool afterPoint = false, nonZeroSeen = false;
    const char* p = first;
    for (; p != last && (*p | 0x20) != exponentMark; ++p)
    {
        if (*p == '.')
        {
            afterPoint = true;
            continue;
        }
        nonZeroSeen = nonZeroSeen || *p != '0';
        if (!nonZeroSeen && afterPoint)
            --order;
        else if (nonZeroSeen && !afterPoint)
            ++order;
    }
    long long exponent = 0;
    bool negativeExponent = false;
    if (p != last)
        ++p;
    if (p != last && (*p == '+' || *p == '-'))
        negativeExponent = *p++ == '-';
    for (; p != last && isDecimalDigit(*p); ++p)
        exponent = std::min(exponent * 10 + (*p - '0'), 1000000LL);
    if (negativeExponent)
        exponent = -exponent;
    // A hex digit is 4 bits and the p exponent counts bits.
    return (hex ? 4 * order : order) + exponent > 0;
}

// A coordinate as strtod reads it in the "C" locale, filling [first, last) exactly: an optional
// sign, then a decimal or "0x" hexadecimal number, "inf", "infinity" or "nan". Overflow gives an
// infinity and underflow a zero, of the number's sign, as strtod does.
template <class Real>
bool parseReal(const char* first, const char* last, Real& value)
{
    bool negative = false;
    if (first != last && (*first == '+' || *first == '-'))
        negative = *first++ == '-';
    std::chars_format format = std::chars_format::general;
    if (last - first > 2 && first[0] == '0' && (first[1] | 0x20) == 'x')
    {
        first += 2;
        format = std::chars_format::hex;
        if (!isHexDigit(*first) && *first != '.')  // from_chars would take "0xinf" or "0x-1"
            return false;
    }
    if (first == last || *first == '+' || *first == '-')
        return false;
    Real magnitude = 0;
    const std::from_chars_result result = std::from_chars(first, last, magnitude, format);
    if (result.ptr != last)
        return false;
    if (result.ec == std::errc::result_out_of_range)
        magnitude = isTooLarge(first, last, format == std::chars_format::hex)
                        ? std::numeric_limits<Real>::infinity()
                        : Real(0);
    else if (result.ec != std::errc())
        return false;
    value = negative ? -magnitude : magnitude;
    return true;
}

// A token as it may be quoted in a one-line message: shortened, control bytes replaced.
std::string printable(const std::string& token)
{
    constexpr std::size_t shown = 40;
    std::string text = token.substr(0, shown);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    return token.size() > shown ? text + "..." : text;
}

// Hands out the white-space separated numbers of an open file, counting lines for messages.
// Owns the file and closes it. On the first failure it keeps a one-line message.
class NumberScanner
{
public:
    explicit NumberScanner(std::FILE* file) : m_file(file), m_buffer(readChunkSize) {}
    ~NumberScanner() { std::fclose(m_file); }
    NumberScanner(const NumberScanner&) = delete;
    NumberScanner& operator=(const NumberScanner&) = delete;

    // Reads the next number into `value`; `what` and `number` name it in a message
    // ("a coordinate of vertex" 3); a negative `number` is left out.
    bool readInt(int& value, const char* what, int number)
    {
        return nextToken(what, number) &&
               (parseInt(tokenBegin(), tokenEnd(), value) || malformed(what, number));
    }
    template <class Real>
    bool readReal(Real& value, const char* what, int number)
    {
        return nextToken(what, number) &&
               (parseReal(tokenBegin(), tokenEnd(), value) || malformed(what, number));
    }

    // Records a failure about the last token read; always false.
    bool fail(const std::string& message)
    {
        m_error = "line " + std::to_string(m_tokenLine) + ": " + message;
        return false;
    }
    const std::string& error() const { return m_error; }

private:
    static std::string describe(const char* what, int number)
    {
        return number < 0 ? std::string(what) : std::string(what) + " " + std::to_string(number);
    }

    bool malformed(const char* what, int number)
    {
        return fail("expected " + describe(what, number) + ", found \"" + printable(m_token) +
                    "\"");
    }

    int getChar()
    {
        if (m_position == m_size)
        {
            m_size = std::fread(m_buffer.data(), 1, m_buffer.size(), m_file);
            m_position = 0;
            if (m_size == 0)
                return EOF;
        }
        return static_cast<unsigned char>(m_buffer[m_position++]);
    }

    // The next token into m_token; false, with a message, at the end of the file, on a read
    // error or for a token longer than maxTokenLength.
    bool nextToken(const char* what, int number)
    {
        int c = getChar();
        for (; isWhiteSpace(c); c = getChar())
            m_line += c == '\n';
        // At the end of the file the message names the line of the last number, the last
        // line an editor shows with content.
        if (c == EOF)
            return fail(std::ferror(m_file) ? "the file cannot be read"
                                            : "the file ends before " + describe(what, number));
        m_tokenLine = m_line;
        m_token.clear();
        for (; c != EOF && !isWhiteSpace(c); c = getChar())
        {
            if (m_token.size() == maxTokenLength)
                return fail("a number longer than " + std::to_string(maxTokenLength) +
                            " characters");
            m_token.push_back(static_cast<char>(c));
        }
        m_line += c == '\n';
        return true;
    }

    const char* tokenBegin() const { return m_token.data(); }
    const char* tokenEnd() const { return m_token.data() + m_token.size(); }

    std::FILE* m_file;
    std::vector<char> m_buffer;
    std::size_t m_position = 0, m_size = 0;
    std::string m_token;
    int m_line = 1, m_tokenLine = 1;
    std::string m_error;
};

// The header "V F"; both counts must be non-negative.
bool readHeader(NumberScanner& in, int& numVertices, int& numFaces)
{
    if (!in.readInt(numVertices, "the vertex count", -1) ||
        !in.readInt(numFaces, "the face count", -1))
        return false;
    if (numVertices < 0)
        return in.fail("negative vertex count " + std::to_string(numVertices));
    if (numFaces < 0)
        return in.fail("negative face count " + std::to_string(numFaces));
    return true;
}

// V vertices of three coordinates each, appended to `xyz`.
template <class Real>
bool readVertices(NumberScanner& in, int numVertices, std::vector<Real>& xyz)
{
    xyz.reserve(std::min(3 * static_cast<std::size_t>(numVertices), maxInitialReserve));
    for (int v = 0; v < numVertices; ++v)
        for (int axis = 0; axis < 3; ++axis)
        {
            Real value = 0;
            if (!in.readReal(value, "a coordinate of vertex", v))
                return false;
            xyz.push_back(value);
        }
    return true;
}

// One corner index of face `face`, checked to lie in [0, numVertices).
bool readIndex(NumberScanner& in, int numVertices, int face, int& index)
{
    if (!in.readInt(index, "a corner index of face", face))
        return false;
    if (index < 0 || index >= numVertices)
        return in.fail("index " + std::to_string(index) + " of face " + std::to_string(face) +
                       " is outside [0, " + std::to_string(numVertices) + ")");
    return true;
}

// F faces for a CompactMesh: a corner count, read and ignored, then three indices. A longer
// face thus leaves its fourth index to be read as the next count.
bool readTriangles(NumberScanner& in, int numVertices, int numFaces, std::vector<int>& indices)
{
    indices.reserve(std::min(3 * static_cast<std::size_t>(numFaces), maxInitialReserve));
    for (int f = 0; f < numFaces; ++f)
    {
        int ignoredCount = 0;
        if (!in.readInt(ignoredCount, "the corner count of face", f))
            return false;
        for (int corner = 0; corner < 3; ++corner)
        {
            int index = 0;
            if (!readIndex(in, numVertices, f, index))
                return false;
            indices.push_back(index);
        }
    }
    return true;
}

// F polygons: per face a corner count n >= 3 into `sizes` and n indices into `indices`.
// `edgeRoom` is how many half-edges the target mesh can still take within the int range.
bool readPolygons(NumberScanner& in, int numVertices, int numFaces, long long edgeRoom,
                  std::vector<int>& sizes, std::vector<int>& indices)
{
    sizes.reserve(std::min(static_cast<std::size_t>(numFaces), maxInitialReserve));
    long long totalCorners = 0;
    for (int f = 0; f < numFaces; ++f)
    {
        int size = 0;
        if (!in.readInt(size, "the corner count of face", f))
            return false;
        if (size < 3)
            return in.fail("face " + std::to_string(f) + " has " + std::to_string(size) +
                           " corners; a face needs at least 3");
        totalCorners += size;
        if (totalCorners > edgeRoom)
            return in.fail("more face corners than a mesh can hold");
        sizes.push_back(size);
        for (int corner = 0; corner < size; ++corner)
        {
            int index = 0;
            if (!readIndex(in, numVertices, f, index))
                return false;
            indices.push_back(index);
        }
    }
    return true;
}

std::FILE* openForReading(const oxOS::Filename& file, std::string* error)
{
    std::FILE* handle = std::fopen(file.asMultibyte().c_str(), "r");
    if (!handle && error)
        *error = "the file cannot be opened for reading";
    return handle;
}

bool failWith(const NumberScanner& in, std::string* error)
{
    if (error)
        *error = in.error();
    return false;
}
}  // namespace

bool meshRead(CompactMesh& mesh, const oxOS::Filename& file, std::string* error)
{
    std::FILE* handle = openForReading(file, error);
    if (!handle)
        return false;
    NumberScanner in(handle);
    int numVertices = 0, numFaces = 0;
    std::vector<float> xyz;
    std::vector<int> indices;
    if (!readHeader(in, numVertices, numFaces) || !readVertices(in, numVertices, xyz) ||
        !readTriangles(in, numVertices, numFaces, indices))
        return failWith(in, error);

    CompactMesh result;
    result.copyVertices(numVertices, xyz.data());
    result.copyTriangles(numFaces, indices.data());
    // Copy assignment rather than a swap: the mesh keeps its array allocator and listeners,
    // and all its previous contents are replaced in this one step. The listeners (caches
    // holding tables of the old contents) are then told that everything changed.
    mesh = result;
    MeshModification modification(&mesh, MeshModification::Topology);
    mesh.modified(modification);
    return true;
}

bool meshRead(TopoMesh& mesh, const oxOS::Filename& file, std::string* error)
{
    std::FILE* handle = openForReading(file, error);
    if (!handle)
        return false;
    NumberScanner in(handle);
    int numVertices = 0, numFaces = 0;
    if (!readHeader(in, numVertices, numFaces))
        return failWith(in, error);
    if (static_cast<long long>(mesh.numVertices()) + numVertices > INT_MAX ||
        static_cast<long long>(mesh.numFaces()) + numFaces > INT_MAX)
    {
        in.fail("more vertices or faces than a mesh can hold");
        return failWith(in, error);
    }
    std::vector<double> xyz;
    std::vector<int> sizes, indices;
    const long long edgeRoom = INT_MAX - static_cast<long long>(mesh.numEdges());
    if (!readVertices(in, numVertices, xyz) ||
        !readPolygons(in, numVertices, numFaces, edgeRoom, sizes, indices))
        return failWith(in, error);

    std::vector<TopoMeshVertex> added;
    added.reserve(static_cast<std::size_t>(numVertices));
    for (std::size_t v = 0; v < xyz.size(); v += 3)
        added.push_back(mesh.allocVertex(oxLinear::Point(xyz[v], xyz[v + 1], xyz[v + 2])));
    ox::vector<TopoMeshVertex> corners;
    std::size_t next = 0;
    for (int size : sizes)
    {
        corners.clear();
        for (int corner = 0; corner < size; ++corner)
            corners.push_back(added[static_cast<std::size_t>(indices[next++])]);
        mesh.allocFace(corners);
    }
    meshTwin(mesh);
    return true;
}
}  // namespace oxGeom
