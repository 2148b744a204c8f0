// The indexed mesh: primitive arrays over the vertex channels of PointMesh.
// Every array is a MeshArray so that one allocator hook covers all of a mesh's
// memory, and optional arrays can be told apart from empty ones.

#include <oxGeom/CompactMesh.h>

#include <algorithm>
#include <utility>

namespace oxGeom
{
namespace
{
/// Adds the triangles a strip or fan of each length describes (length - 2).
int countTrianglesOfRuns(const int* lengths, int numRuns)
{
    int count = 0;
    for (int i = 0; i < numRuns; ++i)
        count += std::max(lengths[i] - 2, 0);
    return count;
}

float colourChannel(std::uint8_t value)
{
    return static_cast<float>(value) / 255.0f;
}
}  // namespace

CompactMesh::CompactMesh() = default;

CompactMesh::CompactMesh(int n, const MeshVertex* vertices, const MeshNormal* normals,
                         const MeshUV* uvs, const MeshColour* colours)
{
    n = std::max(n, 0);
    copyVertices(n, vertices);
    if (normals)
        std::copy(normals, normals + n, allocNormalArray());
    if (uvs)
        std::copy(uvs, uvs + n, allocUVArray());
    if (colours)
    {
        float* rgba = allocAttributes(ColoursName, MeshAttributes::Float4)->asFloat4();
        for (int i = 0; i < n; ++i)
        {
            for (int c = 0; c < 4; ++c)
                rgba[4 * i + c] = colourChannel(colours[i].c[c]);
        }
    }
}

CompactMesh::CompactMesh(const CompactMesh& other) = default;
CompactMesh& CompactMesh::operator=(const CompactMesh& other) = default;
CompactMesh::~CompactMesh() = default;

CompactMesh::CompactMesh(CompactMesh&& other) : CompactMesh()
{
    swap(other);
}

CompactMesh& CompactMesh::operator=(CompactMesh&& other) noexcept
{
    swap(other);
    return *this;
}

void CompactMesh::swap(CompactMesh& other) noexcept
{
    swapVertexData(other);
    m_triangles.swap(other.m_triangles);
    m_triangleNormals.swap(other.m_triangleNormals);
    m_selectedTriangles.swap(other.m_selectedTriangles);
    m_triStripLengths.swap(other.m_triStripLengths);
    m_triStripPoints.swap(other.m_triStripPoints);
    m_triFanLengths.swap(other.m_triFanLengths);
    m_triFanPoints.swap(other.m_triFanPoints);
    m_lines.swap(other.m_lines);
    m_lineStripLengths.swap(other.m_lineStripLengths);
    m_lineStripPoints.swap(other.m_lineStripPoints);
    m_lineStripStarts.swap(other.m_lineStripStarts);
    std::swap(m_lineStripStartsStale, other.m_lineStripStartsStale);
}

void CompactMesh::resizeTriangleArray(int n)
{
    n = std::max(n, 0);
    m_triangles.resize(n);
    if (m_triangleNormals.isAllocated())
        m_triangleNormals.resize(n);
    m_selectedTriangles.resize(n);
}

void CompactMesh::copyTriangles(int n, const int* indices)
{
    n = std::max(n, 0);
    m_triangles.assign(n, reinterpret_cast<const MeshTriangle*>(indices));
    if (m_triangleNormals.isAllocated())
        m_triangleNormals.resize(n);
    m_selectedTriangles.resize(n);
}

MeshNormal* CompactMesh::allocTriangleNormalArray()
{
    if (!m_triangleNormals.isAllocated())
        m_triangleNormals.resize(getNumTriangles());
    return m_triangleNormals.data();
}

void CompactMesh::clearSelection()
{
    getSelectedVertices().clearBits();
    m_selectedTriangles.clearBits();
}

void CompactMesh::resizeTriStripArrays(int numStrips, int numPoints)
{
    m_triStripLengths.resize(numStrips);
    m_triStripPoints.resize(numPoints);
}

void CompactMesh::resizeTriFanArrays(int numFans, int numPoints)
{
    m_triFanLengths.resize(numFans);
    m_triFanPoints.resize(numPoints);
}

void CompactMesh::resizeLineArray(int n)
{
    m_lines.resize(n);
}

int* CompactMesh::getLineStripLengths()
{
    m_lineStripStartsStale = true;
    return m_lineStripLengths.data();
}

const int* CompactMesh::getLineStripStarts() const
{
    if (m_lineStripStartsStale)
        rebuildLineStripStarts();
    return m_lineStripStarts.data();
}

void CompactMesh::rebuildLineStripStarts() const
{
    const int numStrips = m_lineStripLengths.size();
    const int numPoints = m_lineStripPoints.size();
    m_lineStripStarts.resize(numStrips + 1);
    const int* lengths = m_lineStripLengths.data();
    int* starts = m_lineStripStarts.data();
    // Summed in 64 bits and capped, so absurd lengths can neither overflow nor
    // point past the flat points array.
    long long start = 0;
    starts[0] = 0;
    for (int i = 0; i < numStrips; ++i)
    {
        start = std::min<long long>(start + std::max(lengths[i], 0), numPoints);
        starts[i + 1] = static_cast<int>(start);
    }
    m_lineStripStartsStale = false;
}

void CompactMesh::resizeLineStripArrays(int numStrips, int numPoints)
{
    m_lineStripLengths.resize(numStrips);
    m_lineStripPoints.resize(numPoints);
    m_lineStripStartsStale = true;
}

int CompactMesh::getNumPolys() const
{
    return getNumTriangles() + countTrianglesOfRuns(m_triStripLengths.data(), getNumTriStrips()) +
           countTrianglesOfRuns(m_triFanLengths.data(), getNumTriFans());
}

std::size_t CompactMesh::getSizeInBytes() const
{
    return sizeof(CompactMesh) + getVertexDataSizeInBytes() + m_triangles.getSizeInBytes() +
           m_triangleNormals.getSizeInBytes() +
           static_cast<std::size_t>(m_selectedTriangles.numWords()) * sizeof(std::uint32_t) +
           m_triStripLengths.getSizeInBytes() + m_triStripPoints.getSizeInBytes() +
           m_triFanLengths.getSizeInBytes() + m_triFanPoints.getSizeInBytes() +
           m_lines.getSizeInBytes() + m_lineStripLengths.getSizeInBytes() +
           m_lineStripPoints.getSizeInBytes() + m_lineStripStarts.getSizeInBytes();
}

void CompactMesh::setArrayAllocator(ox::Reference<ArrayAllocator> allocator)
{
    m_triangles.setAllocator(allocator);
    m_triangleNormals.setAllocator(allocator);
    m_triStripLengths.setAllocator(allocator);
    m_triStripPoints.setAllocator(allocator);
    m_triFanLengths.setAllocator(allocator);
    m_triFanPoints.setAllocator(allocator);
    m_lines.setAllocator(allocator);
    m_lineStripLengths.setAllocator(allocator);
    m_lineStripPoints.setAllocator(allocator);
    m_lineStripStarts.setAllocator(allocator);
    PointMesh::setArrayAllocator(std::move(allocator));
}
}  // namespace oxGeom
