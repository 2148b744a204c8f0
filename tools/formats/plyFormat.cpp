// Stanford PLY in its three encodings. The header is parsed first and every element count checked
// against the bytes that follow before anything is allocated; the body is then decoded row by
// row into the mesh's own arrays through a per-property plan (where each value goes), with bulk
// copies for the common layouts (float x y z vertices, triangles as uchar-count int lists).

#include "TextScanner.h"
#include "meshFormats.h"

#include <oxGeom/PointMesh.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace trelm::files::detail
{
namespace
{
enum class PlyType : unsigned char
{
    Int8,
    UInt8,
    Int16,
    UInt16,
    Int32,
    UInt32,
    Float32,
    Float64,
};

struct TypeInfo
{
    const char* name;
    const char* sizedName;
    unsigned size;
    bool integer;
    double minimum;
    double maximum;
};

const TypeInfo typeInfos[] = {
    {"char", "int8", 1, true, -128.0, 127.0},
    {"uchar", "uint8", 1, true, 0.0, 255.0},
    {"short", "int16", 2, true, -32768.0, 32767.0},
    {"ushort", "uint16", 2, true, 0.0, 65535.0},
    {"int", "int32", 4, true, -2147483648.0, 2147483647.0},
    {"uint", "uint32", 4, true, 0.0, 4294967295.0},
    {"float", "float32", 4, false, 0.0, 0.0},
    {"double", "float64", 8, false, 0.0, 0.0},
};

const TypeInfo& info(PlyType type)
{
    return typeInfos[static_cast<int>(type)];
}

struct Property
{
    std::string name;
    PlyType type = PlyType::Float32;
    bool list = false;
    PlyType countType = PlyType::UInt8;
};

struct Element
{
    std::string name;
    unsigned long long count = 0;
    std::vector<Property> properties;
    std::size_t offset = 0;  // of its header line
};

enum class Body
{
    Ascii,
    LittleEndian,
    BigEndian,
};

struct Header
{
    Body body = Body::Ascii;
    std::vector<Element> elements;
    std::size_t bodyOffset = 0;
};

bool hostIsBigEndian()
{
    const std::uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 0;
}

template <typename T>
T loadRaw(const char* p, bool swap)
{
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, p, sizeof(T));
    if (swap)
        std::reverse(bytes, bytes + sizeof(T));
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

double loadScalar(const char* p, PlyType type, bool swap)
{
    switch (type)
    {
        case PlyType::Int8:
            return loadRaw<std::int8_t>(p, false);
        case PlyType::UInt8:
            return loadRaw<std::uint8_t>(p, false);
        case PlyType::Int16:
            return loadRaw<std::int16_t>(p, swap);
        case PlyType::UInt16:
            return loadRaw<std::uint16_t>(p, swap);
        case PlyType::Int32:
            return loadRaw<std::int32_t>(p, swap);
        case PlyType::UInt32:
            return loadRaw<std::uint32_t>(p, swap);
        case PlyType::Float32:
            return loadRaw<float>(p, swap);
        case PlyType::Float64:
            return loadRaw<double>(p, swap);
    }
    return 0.0;
}

// ---- header ----

bool parseType(std::string_view name, PlyType& type)
{
    for (int t = 0; t < 8; ++t)
        if (name == typeInfos[t].name || name == typeInfos[t].sizedName)
        {
            type = static_cast<PlyType>(t);
            return true;
        }
    return false;
}

class HeaderReader
{
public:
    HeaderReader(const ReadContext& context) : m_in(context) {}

    Header read()
    {
        if (m_in.token() != "ply")
            m_in.fail("not a PLY file (it does not start with \"ply\")");
        m_in.skipToken();
        endLine();
        bool haveFormat = false;
        for (;;)
        {
            if (m_in.atEnd())
                m_in.fail("the header has no end_header line");
            m_in.skipBlanks();
            const std::string_view keyword = m_in.token();
            if (keyword == "end_header")
            {
                m_in.skipToken();
                m_in.skipBlanks();
                if (!m_in.atLineEnd())
                    m_in.failExpected("the end of the line");
                if (!haveFormat)
                    m_in.fail("the header has no format line");
                m_in.skipLine();
                m_header.bodyOffset = m_in.offset();
                return m_header;
            }
            m_in.skipToken();
            if (keyword == "format")
            {
                readFormat();
                haveFormat = true;
            }
            else if (keyword == "element")
                readElement();
            else if (keyword == "property")
                readProperty();
            else if (keyword == "comment" || keyword == "obj_info" || keyword.empty())
                m_in.skipLine();
            else
            {
                m_in.setPosition(m_in.position() - keyword.size());
                m_in.fail("unknown header line " + quoteForMessage(keyword));
            }
        }
    }

private:
    std::string_view word(const char* what)
    {
        m_in.skipBlanks();
        const std::string_view token = m_in.token();
        if (token.empty())
            m_in.failExpected(what);
        return token;
    }

    void endLine()
    {
        m_in.skipBlanks();
        if (!m_in.atLineEnd())
            m_in.failExpected("the end of the line");
        m_in.skipLine();
    }

    void readFormat()
    {
        const std::string_view encoding = word("ascii, binary_little_endian or binary_big_endian");
        if (encoding == "ascii")
            m_header.body = Body::Ascii;
        else if (encoding == "binary_little_endian")
            m_header.body = Body::LittleEndian;
        else if (encoding == "binary_big_endian")
            m_header.body = Body::BigEndian;
        else
            m_in.fail("unknown PLY format " + quoteForMessage(encoding));
        m_in.skipToken();
        const std::string_view version = word("the version 1.0");
        if (version != "1.0" && version != "1")
            m_in.fail("unsupported PLY version " + quoteForMessage(version));
        m_in.skipToken();
        endLine();
    }

    void readElement()
    {
        Element element;
        element.offset = m_in.offset();
        element.name = std::string(word("an element name"));
        m_in.skipToken();
        m_in.skipBlanks();
        element.count =
            static_cast<unsigned long long>(m_in.readInteger("an element count", 0, 1LL << 62));
        endLine();
        m_header.elements.push_back(std::move(element));
    }

    void readProperty()
    {
        if (m_header.elements.empty())
            m_in.fail("a property before the first element");
        Property property;
        std::string_view type = word("a property type");
        if (type == "list")
        {
            property.list = true;
            m_in.skipToken();
            type = word("the list's count type");
            if (!parseType(type, property.countType) || !info(property.countType).integer)
                m_in.fail("a list count must have an integer type, not " + quoteForMessage(type));
            m_in.skipToken();
            type = word("the list's item type");
        }
        if (!parseType(type, property.type))
            m_in.fail("unknown property type " + quoteForMessage(type));
        m_in.skipToken();
        property.name = std::string(word("a property name"));
        m_in.skipToken();
        endLine();
        m_header.elements.back().properties.push_back(std::move(property));
    }

    TextScanner m_in;
    Header m_header;
};

bool isIndexList(const Element& element, const Property& property)
{
    return element.name == "face" && property.list &&
           (property.name == "vertex_indices" || property.name == "vertex_index");
}

// The fewest bytes a row of `element` can take: binary rows hold every scalar and each list's
// count; an ASCII row holds at least one digit and one separator per value. A face's index list
// holds at least 3 indices (fewer is refused anyway), which bounds the triangle array by the
// file's size.
unsigned long long minimumRowSize(const Element& element, Body body)
{
    unsigned long long size = 0;
    for (const Property& property : element.properties)
    {
        const unsigned long long items = isIndexList(element, property) ? 3 : 0;
        if (body == Body::Ascii)
            size += 2 * (1 + items);
        else if (property.list)
            size += info(property.countType).size + items * info(property.type).size;
        else
            size += info(property.type).size;
    }
    return size;
}

// Refuses counts that the file's bytes cannot hold, before any array is sized from them.
void checkCounts(const Header& header, std::size_t fileSize)
{
    // The last ASCII value needs no separator after it.
    unsigned long long left = fileSize - header.bodyOffset + (header.body == Body::Ascii ? 1 : 0);
    for (const Element& element : header.elements)
    {
        const unsigned long long rowSize = minimumRowSize(element, header.body);
        if (rowSize == 0)
            continue;
        if (element.count > left / rowSize)
            failAtLine(element.offset, "element " + element.name + " of " +
                                           std::to_string(element.count) +
                                           " rows needs more bytes than the file has");
        left -= element.count * rowSize;
    }
}

const Element* findElement(const Header& header, const char* name)
{
    const Element* found = nullptr;
    for (const Element& element : header.elements)
        if (element.name == name)
        {
            if (found)
                failAtLine(element.offset, std::string("a second ") + name + " element");
            found = &element;
        }
    return found;
}

int findProperty(const Element& element, const char* name)
{
    for (std::size_t i = 0; i < element.properties.size(); ++i)
        if (element.properties[i].name == name && !element.properties[i].list)
            return static_cast<int>(i);
    return -1;
}

// ---- where each vertex property goes ----

struct Slot
{
    float* destination = nullptr;  // null: the value is skipped
    int stride = 0;                // floats per vertex in `destination`
    float divisor = 1.0f;          // integer colours to [0, 1]
    bool position = false;         // checked for finite values
};

bool isReservedChannel(const std::string& name)
{
    return name == oxGeom::PointMesh::VerticesName.str() ||
           name == oxGeom::PointMesh::NormalsName.str() ||
           name == oxGeom::PointMesh::UVsName.str() || name == oxGeom::PointMesh::ColoursName.str();
}

// Length of the run of properties "<base>_0", "<base>_1" ... starting at `first` (up to 4); 0
// when property `first` does not end in "_0".
int groupLength(const Element& element, std::size_t first, std::string& base)
{
    const std::string& name = element.properties[first].name;
    if (name.size() < 3 || name.compare(name.size() - 2, 2, "_0") != 0)
        return 0;
    base = name.substr(0, name.size() - 2);
    int length = 1;
    while (length < 4 && first + length < element.properties.size())
    {
        const Property& next = element.properties[first + length];
        if (next.list || next.name != base + "_" + std::to_string(length))
            break;
        ++length;
    }
    return length;
}

class VertexPlan
{
public:
    VertexPlan(const Element& element, oxGeom::CompactMesh& mesh)
        : m_element(element), m_slots(element.properties.size())
    {
        const int x = requireProperty("x"), y = requireProperty("y"), z = requireProperty("z");
        // Sized only now: with x, y and z present the count was checked against the file's
        // bytes (an element without properties takes none, whatever its count).
        mesh.resizeVertexArray(static_cast<int>(element.count));
        float* positions = mesh.getVerticesRaw();
        for (int k = 0; k < 3; ++k)
        {
            Slot& slot = m_slots[static_cast<std::size_t>(k == 0 ? x : k == 1 ? y : z)];
            slot = Slot{positions + k, 3, 1.0f, true};
        }
        planTriple(mesh, {"nx", "ny", "nz"}, [&] { return mesh.allocNormalArray()->v; });
        planTexCoords(mesh);
        planColours(mesh);
        planAttributes(mesh);
    }

    const std::vector<Slot>& slots() const { return m_slots; }

private:
    int requireProperty(const char* name)
    {
        const int index = findProperty(m_element, name);
        if (index < 0)
            failAtLine(m_element.offset, std::string("the vertex element has no property ") + name);
        return index;
    }

    bool taken(int index) const
    {
        return m_slots[static_cast<std::size_t>(index)].destination != nullptr;
    }

    template <typename Allocate>
    void planTriple(oxGeom::CompactMesh&, std::initializer_list<const char*> names,
                    Allocate allocate)
    {
        int indices[3];
        int n = 0;
        for (const char* name : names)
            if ((indices[n++] = findProperty(m_element, name)) < 0)
                return;
        float* values = allocate();
        for (int k = 0; k < 3; ++k)
            m_slots[static_cast<std::size_t>(indices[k])] = Slot{values + k, 3, 1.0f, false};
    }

    void planTexCoords(oxGeom::CompactMesh& mesh)
    {
        static const char* const pairs[][2] = {
            {"u", "v"}, {"s", "t"}, {"texture_u", "texture_v"}, {"texture_s", "texture_t"}};
        for (const auto& pair : pairs)
        {
            const int u = findProperty(m_element, pair[0]), v = findProperty(m_element, pair[1]);
            if (u < 0 || v < 0)
                continue;
            float* uvs = mesh.allocUVArray()->v;
            m_slots[static_cast<std::size_t>(u)] = Slot{uvs, 2, 1.0f, false};
            m_slots[static_cast<std::size_t>(v)] = Slot{uvs + 1, 2, 1.0f, false};
            return;
        }
    }

    void planColours(oxGeom::CompactMesh& mesh)
    {
        const int channels[4] = {findProperty(m_element, "red"), findProperty(m_element, "green"),
                                 findProperty(m_element, "blue"), findProperty(m_element, "alpha")};
        if (channels[0] < 0 || channels[1] < 0 || channels[2] < 0)
            return;
        float* colours =
            mesh.allocAttributes(oxGeom::PointMesh::ColoursName, oxGeom::MeshAttributes::Float4)
                ->asFloat();
        if (channels[3] < 0)
            for (int v = 0; v < mesh.getNumVertices(); ++v)
                colours[4 * std::size_t(v) + 3] = 1.0f;
        for (int k = 0; k < 4; ++k)
        {
            if (channels[k] < 0)
                continue;
            const TypeInfo& type = info(m_element.properties[std::size_t(channels[k])].type);
            const float divisor = type.integer ? static_cast<float>(type.maximum) : 1.0f;
            m_slots[static_cast<std::size_t>(channels[k])] = Slot{colours + k, 4, divisor, false};
        }
    }

    void planAttributes(oxGeom::CompactMesh& mesh)
    {
        const std::vector<Property>& properties = m_element.properties;
        for (std::size_t i = 0; i < properties.size(); ++i)
        {
            if (properties[i].list || taken(static_cast<int>(i)))
                continue;
            std::string name = properties[i].name;
            int dimension = groupLength(m_element, i, name);
            for (int k = 1; k < dimension; ++k)
                if (taken(static_cast<int>(i) + k))
                    dimension = k;
            if (dimension < 2)
            {
                dimension = 1;
                name = properties[i].name;
            }
            oxGeom::MeshAttributes* attribute =
                isReservedChannel(name) ? nullptr : mesh.allocAttributes(name, dimension);
            for (int k = 0; attribute && k < dimension; ++k)
                m_slots[i + k] = Slot{attribute->asFloat() + k, dimension, 1.0f, false};
            i += static_cast<std::size_t>(dimension - 1);
        }
    }

    const Element& m_element;
    std::vector<Slot> m_slots;
};

// ---- body ----

// Receives the triangles of the face element, straight into the mesh's triangle array (sized
// for one triangle per face, grown for polygons, cut to size at the end).
class TriangleSink
{
public:
    TriangleSink(oxGeom::CompactMesh& mesh, unsigned long long numFaces)
        : m_mesh(mesh), m_numVertices(mesh.getNumVertices())
    {
        reserve(static_cast<std::size_t>(numFaces));
    }

    // Adds the fan of polygon `face` (corners already range-checked).
    void addPolygon(const int* corners, std::size_t count, unsigned long long face,
                    std::size_t offset, Place place)
    {
        if (count < 3)
            fail(place, offset,
                 "face " + std::to_string(face) + " has " + std::to_string(count) +
                     " corners (at least 3 needed)");
        int* out = room(count - 2, offset, place);
        for (std::size_t k = 1; k + 1 < count; ++k, out += 3)
        {
            out[0] = corners[0];
            out[1] = corners[k];
            out[2] = corners[k + 1];
        }
    }

    int numVertices() const { return m_numVertices; }

    // A place for one triangle, when the caller fills it itself.
    int* triangleSlot(std::size_t offset, Place place) { return room(1, offset, place); }

    void checkIndex(long long index, unsigned long long face, std::size_t offset, Place place) const
    {
        if (index < 0 || index >= m_numVertices)
            fail(place, offset,
                 "face " + std::to_string(face) + ": vertex index " + std::to_string(index) +
                     " out of range (" + std::to_string(m_numVertices) + " vertices)");
    }

    void finish() { m_mesh.resizeTriangleArray(static_cast<int>(m_used)); }

    [[noreturn]] static void fail(Place place, std::size_t offset, std::string what)
    {
        if (place == Place::Byte)
            failAtByte(offset, std::move(what));
        failAtLine(offset, std::move(what));
    }

private:
    void reserve(std::size_t triangles)
    {
        m_mesh.resizeTriangleArray(static_cast<int>(triangles));
        m_capacity = triangles;
        m_triangles = m_mesh.getTrianglesRaw();
    }

    int* room(std::size_t triangles, std::size_t offset, Place place)
    {
        if (m_used + triangles > m_capacity)
        {
            constexpr std::size_t limit = static_cast<std::size_t>(maxTriangles);
            if (m_used + triangles > limit)
                fail(place, offset, "more triangles than a mesh can hold");
            reserve(std::min(std::max(m_used + triangles, 2 * m_capacity), limit));
        }
        int* slot = m_triangles + 3 * m_used;
        m_used += triangles;
        return slot;
    }

    oxGeom::CompactMesh& m_mesh;
    int m_numVertices;
    int* m_triangles = nullptr;
    std::size_t m_capacity = 0;  // in triangles
    std::size_t m_used = 0;
};

int findIndexList(const Element& face)
{
    for (std::size_t i = 0; i < face.properties.size(); ++i)
        if (isIndexList(face, face.properties[i]))
            return static_cast<int>(i);
    failAtLine(face.offset, "the face element has no vertex_indices list");
}

class BinaryBody
{
public:
    BinaryBody(ReadContext& context, std::size_t offset, bool swap)
        : m_context(context), m_position(context.data() + offset), m_swap(swap)
    {
    }

    void skipElement(const Element& element)
    {
        for (unsigned long long row = 0; row < element.count && !element.properties.empty(); ++row)
        {
            poll(row);
            for (const Property& property : element.properties)
                skipProperty(property, element, row);
        }
    }

    void readVertices(const Element& element, const std::vector<Slot>& slots)
    {
        if (isPlainFloatTriple(element, slots))
            return copyFloatTriples(element, slots);
        for (unsigned long long row = 0; row < element.count; ++row)
        {
            poll(row);
            for (std::size_t i = 0; i < slots.size(); ++i)
            {
                const Property& property = element.properties[i];
                if (property.list || !slots[i].destination)
                {
                    skipProperty(property, element, row);
                    continue;
                }
                const char* p = take(info(property.type).size, element, row);
                store(slots[i], row, static_cast<float>(loadScalar(p, property.type, m_swap)), p);
            }
        }
    }

    void readFaces(const Element& element, TriangleSink& triangles)
    {
        const int list = findIndexList(element);
        const Property& indices = element.properties[static_cast<std::size_t>(list)];
        std::vector<int> corners;
        for (unsigned long long row = 0; row < element.count; ++row)
        {
            poll(row);
            for (std::size_t i = 0; i < element.properties.size(); ++i)
            {
                if (static_cast<int>(i) != list)
                {
                    skipProperty(element.properties[i], element, row);
                    continue;
                }
                if (readTriangleFast(indices, row, triangles))
                    continue;
                const std::size_t start = offset();
                const unsigned long long count = listCount(indices, element, row);
                const unsigned size = info(indices.type).size;
                // The bytes are claimed before the corners are sized: a count the file cannot
                // hold fails here instead of asking for memory.
                const char* p = take(count * size, element, row);
                corners.resize(static_cast<std::size_t>(count));
                for (std::size_t k = 0; k < count; ++k, p += size)
                {
                    const long long index =
                        static_cast<long long>(loadScalar(p, indices.type, m_swap));
                    triangles.checkIndex(index, row, m_context.offsetOf(p), Place::Byte);
                    corners[k] = static_cast<int>(index);
                }
                triangles.addPolygon(corners.data(), corners.size(), row, start, Place::Byte);
            }
        }
    }

    std::size_t offset() const { return m_context.offsetOf(m_position); }

private:
    void poll(unsigned long long row)
    {
        if ((row & 0xffff) == 0)
            m_context.poll(offset());
    }

    const char* take(unsigned long long size, const Element& element, unsigned long long row)
    {
        if (size > static_cast<unsigned long long>(m_context.end() - m_position))
            failAtByte(offset(),
                       "the file ends inside " + element.name + " " + std::to_string(row));
        const char* p = m_position;
        m_position += size;
        return p;
    }

    unsigned long long listCount(const Property& property, const Element& element,
                                 unsigned long long row)
    {
        const char* p = take(info(property.countType).size, element, row);
        const double count = loadScalar(p, property.countType, m_swap);
        if (count < 0)
            failAtByte(m_context.offsetOf(p),
                       "negative list length " + std::to_string(static_cast<long long>(count)));
        // Every entry takes at least one byte, so a longer list cannot be in the file; the test
        // also keeps the conversion below defined (NaN and huge floating-point counts).
        const double bytesLeft = static_cast<double>(m_context.end() - m_position);
        if (!(count <= bytesLeft))
        {
            char shown[64];
            std::snprintf(shown, sizeof shown, "%.0f", count);
            failAtByte(m_context.offsetOf(p),
                       std::string("list length ") + shown + " exceeds the bytes left in the file");
        }
        return static_cast<unsigned long long>(count);
    }

    void skipProperty(const Property& property, const Element& element, unsigned long long row)
    {
        if (!property.list)
            take(info(property.type).size, element, row);
        else
            take(listCount(property, element, row) * info(property.type).size, element, row);
    }

    void store(const Slot& slot, unsigned long long row, float value, const char* p)
    {
        if (slot.position && !acceptsCoordinate(m_context, value))
            failAtByte(m_context.offsetOf(p), nonFiniteMessage(value));
        slot.destination[row * static_cast<unsigned long long>(slot.stride)] = value / slot.divisor;
    }

    // x y z as the only properties, 32-bit floats in the host's byte order: one copy.
    bool isPlainFloatTriple(const Element& element, const std::vector<Slot>& slots) const
    {
        if (m_swap || element.properties.size() != 3)
            return false;
        for (std::size_t k = 0; k < 3; ++k)
            if (element.properties[k].list || element.properties[k].type != PlyType::Float32 ||
                slots[k].destination != slots[0].destination + k)
                return false;
        return slots[0].position && slots[0].stride == 3;
    }

    void copyFloatTriples(const Element& element, const std::vector<Slot>& slots)
    {
        const std::size_t bytes = static_cast<std::size_t>(element.count) * 12;
        const char* p = take(bytes, element, 0);
        std::memcpy(slots[0].destination, p, bytes);
        if (m_context.allowNonFinite())
            return;
        for (std::size_t i = 0; i < 3 * static_cast<std::size_t>(element.count); ++i)
            if (!std::isfinite(slots[0].destination[i]))
                failAtByte(m_context.offsetOf(p) + 4 * i,
                           nonFiniteMessage(slots[0].destination[i]));
    }

    // A triangle stored as a uchar count 3 and three 32-bit indices in host byte order: read
    // without the general list path. False (nothing read) for any other row.
    bool readTriangleFast(const Property& indices, unsigned long long row, TriangleSink& triangles)
    {
        if (m_swap || indices.countType != PlyType::UInt8 ||
            (indices.type != PlyType::Int32 && indices.type != PlyType::UInt32) ||
            m_context.end() - m_position < 13 || m_position[0] != 3)
            return false;
        std::int32_t corners[3];
        std::memcpy(corners, m_position + 1, 12);
        const bool isSigned = indices.type == PlyType::Int32;
        for (int k = 0; k < 3; ++k)
        {
            const long long index =
                isSigned ? static_cast<long long>(corners[k])
                         : static_cast<long long>(static_cast<std::uint32_t>(corners[k]));
            triangles.checkIndex(index, row, offset() + 1 + 4 * k, Place::Byte);
        }
        std::memcpy(triangles.triangleSlot(offset(), Place::Byte), corners, 12);
        m_position += 13;
        return true;
    }

    ReadContext& m_context;
    const char* m_position;
    bool m_swap;
};

class AsciiBody
{
public:
    AsciiBody(ReadContext& context, std::size_t offset) : m_context(context), m_in(context)
    {
        m_in.setPosition(context.data() + offset);
    }

    void skipElement(const Element& element)
    {
        for (unsigned long long row = 0; row < element.count && !element.properties.empty(); ++row)
        {
            poll(row);
            for (const Property& property : element.properties)
                skipProperty(property);
        }
    }

    void readVertices(const Element& element, const std::vector<Slot>& slots)
    {
        for (unsigned long long row = 0; row < element.count; ++row)
        {
            poll(row);
            for (std::size_t i = 0; i < slots.size(); ++i)
            {
                const Property& property = element.properties[i];
                if (property.list)
                {
                    skipProperty(property);
                    continue;
                }
                const std::size_t start = next();
                const double value = readValue(property.type, property.name.c_str());
                const Slot& slot = slots[i];
                if (!slot.destination)
                    continue;
                const float stored = static_cast<float>(value);
                if (slot.position && !acceptsCoordinate(m_context, stored))
                    failAtLine(start, nonFiniteMessage(stored));
                slot.destination[row * static_cast<unsigned long long>(slot.stride)] =
                    stored / slot.divisor;
            }
        }
    }

    void readFaces(const Element& element, TriangleSink& triangles)
    {
        const int list = findIndexList(element);
        const Property& indices = element.properties[static_cast<std::size_t>(list)];
        const bool onlyIndices = element.properties.size() == 1;
        const double maximumCount = info(indices.countType).maximum;
        const double maximumIndex = info(indices.type).integer ? info(indices.type).maximum : -1.0;
        std::vector<int> corners;
        for (unsigned long long row = 0; row < element.count; ++row)
        {
            poll(row);
            if (onlyIndices && maximumCount >= 3 && readTriangleRow(triangles, maximumIndex))
                continue;
            for (std::size_t i = 0; i < element.properties.size(); ++i)
            {
                if (static_cast<int>(i) != list)
                {
                    skipProperty(element.properties[i]);
                    continue;
                }
                const std::size_t start = next();
                const unsigned long long count = listCount(indices);
                // Every index takes at least two bytes, so a count the rest of the file cannot
                // hold is refused before the corner buffer grows to it.
                if (count > static_cast<unsigned long long>(m_in.end() - m_in.position()))
                    failAtLine(start, "list of " + std::to_string(count) +
                                          " indices is longer than the rest of the file");
                // Triangles, by far the most common faces, go straight into the mesh.
                corners.resize(static_cast<std::size_t>(count));
                int* out = count == 3 ? triangles.triangleSlot(start, Place::Line) : corners.data();
                for (std::size_t k = 0; k < count; ++k)
                {
                    const std::size_t at = next();
                    const long long index =
                        static_cast<long long>(readValue(indices.type, "vertex index"));
                    triangles.checkIndex(index, row, at, Place::Line);
                    out[k] = static_cast<int>(index);
                }
                if (count != 3)
                    triangles.addPolygon(corners.data(), corners.size(), row, start, Place::Line);
            }
        }
    }

    void checkEnd()
    {
        m_in.skipWhiteSpace();
        if (!m_in.atEnd())
            m_in.fail("unexpected data after the last element: " + quoteForMessage(m_in.token()));
    }

private:
    void poll(unsigned long long row)
    {
        if ((row & 0xffff) == 0)
            m_context.poll(m_in.offset());
    }

    // Moves to the next value and returns its offset.
    std::size_t next()
    {
        m_in.skipWhiteSpace();
        return m_in.offset();
    }

    double readValue(PlyType type, const char* what)
    {
        next();
        const TypeInfo& typeInfo = info(type);
        if (type == PlyType::Float32)
        {
            // Straight to float: rounding through double could differ in the last bit.
            float value = 0.0f;
            const char* end = parseFloat(m_in.position(), m_in.end(), value);
            if (!end || !endsToken(*end))
                m_in.failExpected(std::string("a number for ") + what);
            m_in.setPosition(end);
            return value;
        }
        if (type == PlyType::Float64)
        {
            double value = 0.0;
            const char* end = parseDouble(m_in.position(), m_in.end(), value);
            if (!end || !endsToken(*end))
                m_in.failExpected(std::string("a number for ") + what);
            m_in.setPosition(end);
            return value;
        }
        long long value = 0;
        if (tryReadSmallUnsigned(value, typeInfo.maximum))
            return static_cast<double>(value);
        const char* end = parseInteger(m_in.position(), m_in.end(), value);
        if (!end || !endsToken(*end))
            m_in.failExpected(std::string("an integer for ") + what);
        if (value < typeInfo.minimum || value > typeInfo.maximum)
            m_in.fail("value " + std::to_string(value) + " out of range for " + typeInfo.name);
        m_in.setPosition(end);
        return static_cast<double>(value);
    }

    // A row "3 a b c" of small unsigned indices below the vertex count, read in one go: the
    // common face row. False (nothing read) for any other row, which the general path then
    // reads or reports.
    bool readTriangleRow(TriangleSink& triangles, double maximumIndex)
    {
        const char* p = m_in.position();
        long long values[4];
        for (long long& value : values)
        {
            while (isWhiteSpace(*p))
                ++p;
            const char* first = p;
            value = 0;
            while (static_cast<unsigned char>(*p - '0') < 10 && p - first < 10)
                value = 10 * value + (*p++ - '0');
            if (p == first || p - first > 9 || !endsToken(*p))
                return false;
        }
        for (int k = 1; k < 4; ++k)
            if (values[k] >= triangles.numVertices() || values[k] > maximumIndex)
                return false;
        if (values[0] != 3)
            return false;
        int* out = triangles.triangleSlot(m_in.offset(), Place::Line);
        for (int k = 0; k < 3; ++k)
            out[k] = static_cast<int>(values[k + 1]);
        m_in.setPosition(p);
        return true;
    }

    // An unsigned integer of at most 9 digits, ending at white space and not above `maximum`:
    // the common integer of ASCII rows, read without the general parser. False (nothing read)
    // for anything else, which the general parser then reads or reports.
    bool tryReadSmallUnsigned(long long& value, double maximum)
    {
        const char* p = m_in.position();
        long long parsed = 0;
        int digits = 0;
        for (; digits < 10 && static_cast<unsigned char>(*p - '0') < 10; ++p, ++digits)
            parsed = 10 * parsed + (*p - '0');
        if (digits == 0 || digits > 9 || !endsToken(*p) || parsed > maximum)
            return false;
        value = parsed;
        m_in.setPosition(p);
        return true;
    }

    unsigned long long listCount(const Property& property)
    {
        const double count = readValue(property.countType, "a list length");
        if (count < 0)
            m_in.fail("negative list length");
        return static_cast<unsigned long long>(count);
    }

    void skipProperty(const Property& property)
    {
        const unsigned long long count = property.list ? listCount(property) : 1;
        for (unsigned long long k = 0; k < count; ++k)
            readValue(property.type, property.name.c_str());
    }

    ReadContext& m_context;
    TextScanner m_in;
};

template <typename BodyReader>
void readBody(BodyReader& body, const Header& header, oxGeom::CompactMesh& mesh,
              const std::vector<Slot>& vertexSlots, const Element* vertices, const Element* faces)
{
    TriangleSink triangles(mesh, faces ? faces->count : 0);
    for (const Element& element : header.elements)
    {
        if (&element == vertices)
            body.readVertices(element, vertexSlots);
        else if (&element == faces)
            body.readFaces(element, triangles);
        else
            body.skipElement(element);
    }
    triangles.finish();
}

// ---- writer ----

struct WrittenChannel
{
    const float* values;
    int dimension;
    std::vector<std::string> names;
};

// The channel's property names: "name" for one float, "name_0" ... otherwise, with white space
// and control bytes replaced so that each stays one header token.
std::vector<std::string> propertyNames(const std::string& channel, int dimension)
{
    std::string base = channel;
    for (char& c : base)
        if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f)
            c = '_';
    if (dimension == 1)
        return {base};
    std::vector<std::string> names;
    for (int k = 0; k < dimension; ++k)
        names.push_back(base + "_" + std::to_string(k));
    return names;
}

class PlyWriter
{
public:
    PlyWriter(OutputFile& file, const oxGeom::CompactMesh& mesh, const WriteOptions& options)
        : m_file(file),
          m_mesh(mesh),
          m_ascii(options.encoding == Encoding::Ascii),
          m_swap(!m_ascii && options.bigEndian != hostIsBigEndian()),
          m_bigEndian(options.bigEndian)
    {
        planChannels();
    }

    void write()
    {
        writeHeader();
        const int vertices = m_mesh.getNumVertices();
        const bool plainPositions = !m_ascii && !m_swap && m_channels.size() == 1 && !m_colours;
        if (plainPositions)
            writeBlock(m_mesh.getVerticesRaw(), 12 * static_cast<std::size_t>(vertices));
        else
            for (int v = 0; v < vertices; ++v)
            {
                if (v % writePollInterval == 0)
                    m_file.poll(0.5 * v / (vertices + 1.0));
                writeVertex(v);
            }
        writeFaces();
    }

private:
    void planChannels()
    {
        m_channels.push_back({m_mesh.getVerticesRaw(), 3, {"x", "y", "z"}});
        if (m_mesh.getNormals())
            m_channels.push_back({m_mesh.getNormalsRaw(), 3, {"nx", "ny", "nz"}});
        if (m_mesh.getUVs())
            m_channels.push_back({m_mesh.getUVsRaw(), 2, {"u", "v"}});
        const oxGeom::MeshAttributes* colours =
            m_mesh.getAttributes(oxGeom::PointMesh::ColoursName);
        m_colours = colours ? colours->asFloat4() : nullptr;
        std::vector<std::string> used = {"x", "y", "z",   "nx",    "ny",   "nz",
                                         "u", "v", "red", "green", "blue", "alpha"};
        for (int a = 0; a < m_mesh.getNumAttributes(); ++a)
        {
            const oxGeom::MeshAttributes* channel = m_mesh.getAttributes(a);
            const std::string& name = channel->getName().str();
            if (name.empty() || isReservedChannel(name) || !channel->isStoreable())
                continue;
            std::vector<std::string> names = propertyNames(name, channel->getDimension());
            const bool clash =
                std::any_of(names.begin(), names.end(),
                            [&](const std::string& n)
                            { return std::find(used.begin(), used.end(), n) != used.end(); });
            if (clash)
                continue;
            used.insert(used.end(), names.begin(), names.end());
            m_channels.push_back({channel->asFloat(), channel->getDimension(), std::move(names)});
        }
    }

    void writeHeader()
    {
        std::string header = "ply\nformat ";
        header += m_ascii ? "ascii" : m_bigEndian ? "binary_big_endian" : "binary_little_endian";
        header += " 1.0\nelement vertex " + std::to_string(m_mesh.getNumVertices()) + "\n";
        for (const WrittenChannel& channel : m_channels)
            for (const std::string& name : channel.names)
                header += "property float " + name + "\n";
        if (m_colours)
            header +=
                "property uchar red\nproperty uchar green\nproperty uchar blue\n"
                "property uchar alpha\n";
        header += "element face " + std::to_string(m_mesh.getNumTriangles()) +
                  "\nproperty list uchar int vertex_indices\nend_header\n";
        m_file.putText(header);
    }

    void writeBlock(const float* values, std::size_t bytes) { m_file.write(values, bytes); }

    template <typename T>
    void putBinary(T value)
    {
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, &value, sizeof(T));
        if (m_swap)
            std::reverse(bytes, bytes + sizeof(T));
        std::memcpy(m_file.room(sizeof(T)), bytes, sizeof(T));
        m_file.advance(sizeof(T));
    }

    void putValue(float value, bool first)
    {
        if (!m_ascii)
            return putBinary(value);
        if (!first)
            m_file.putChar(' ');
        m_file.putFloat(value);
    }

    void writeVertex(int v)
    {
        bool first = true;
        for (const WrittenChannel& channel : m_channels)
            for (int k = 0; k < channel.dimension; ++k, first = false)
                putValue(channel.values[std::size_t(v) * channel.dimension + k], first);
        for (int k = 0; m_colours && k < 4; ++k)
        {
            const float clamped = std::min(1.0f, std::max(0.0f, m_colours[4 * std::size_t(v) + k]));
            const auto byte = static_cast<std::uint8_t>(std::lround(clamped * 255.0f));
            if (!m_ascii)
                putBinary(byte);
            else
            {
                m_file.putChar(' ');
                m_file.putInt(byte);
            }
        }
        if (m_ascii)
            m_file.putChar('\n');
    }

    void writeFaces()
    {
        const int triangles = m_mesh.getNumTriangles();
        const int* indices = m_mesh.getTrianglesRaw();
        for (int t = 0; t < triangles; ++t)
        {
            if (t % writePollInterval == 0)
                m_file.poll(0.5 + 0.5 * t / (triangles + 1.0));
            const int* corners = indices + 3 * std::size_t(t);
            if (m_ascii)
            {
                m_file.putChar('3');
                for (int k = 0; k < 3; ++k)
                {
                    m_file.putChar(' ');
                    m_file.putInt(corners[k]);
                }
                m_file.putChar('\n');
                continue;
            }
            putBinary(std::uint8_t(3));
            for (int k = 0; k < 3; ++k)
                putBinary(std::int32_t(corners[k]));
        }
    }

    OutputFile& m_file;
    const oxGeom::CompactMesh& m_mesh;
    bool m_ascii;
    bool m_swap;
    bool m_bigEndian;
    std::vector<WrittenChannel> m_channels;
    const float* m_colours = nullptr;
};
}  // namespace

void readPly(ReadContext& context, oxGeom::CompactMesh& mesh)
{
    const Header header = HeaderReader(context).read();
    checkCounts(header, context.size());
    const Element* vertices = findElement(header, "vertex");
    const Element* faces = findElement(header, "face");
    if (!vertices)
        failAtLine(0, "the header declares no vertex element");
    if (vertices->count > static_cast<unsigned long long>(maxVertices))
        failAtLine(vertices->offset, "more vertices than a mesh can hold");
    if (faces && faces->count > static_cast<unsigned long long>(maxTriangles))
        failAtLine(faces->offset, "more faces than a mesh can hold");
    if (faces)
        findIndexList(*faces);
    const VertexPlan plan(*vertices, mesh);
    if (header.body == Body::Ascii)
    {
        rejectZeroBytes(context);
        AsciiBody body(context, header.bodyOffset);
        readBody(body, header, mesh, plan.slots(), vertices, faces);
        body.checkEnd();
        return;
    }
    const bool swap = (header.body == Body::BigEndian) != hostIsBigEndian();
    BinaryBody body(context, header.bodyOffset, swap);
    readBody(body, header, mesh, plan.slots(), vertices, faces);
    if (body.offset() != context.size())
        failAtByte(body.offset(), std::to_string(context.size() - body.offset()) +
                                      " bytes after the last element");
}

void writePly(OutputFile& file, const oxGeom::CompactMesh& mesh, const WriteOptions& options)
{
    PlyWriter(file, mesh, options).write();
}
}  // namespace trelm::files::detail
