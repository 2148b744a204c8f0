// Vertex storage of a mesh. All per-vertex data, positions included, lives in
// named channels held by pointer, so channels can be added and removed by name
// while pointers already handed out stay valid, and generic operations (copy,
// extract, concatenate) treat every channel alike.

#include <oxGeom/MeshModification.h>
#include <oxGeom/PointMesh.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <utility>

namespace oxGeom
{
const oxString::CString PointMesh::VerticesName("Vertices");
const oxString::CString PointMesh::NormalsName("Normals");
const oxString::CString PointMesh::UVsName("UVs");
const oxString::CString PointMesh::STsName("STs");
const oxString::CString PointMesh::ColoursName("Colours");

namespace
{
/// The dimension a reserved name demands, or 0 for a free name.
int reservedType(const oxString::CString& name)
{
    if (name == PointMesh::VerticesName || name == PointMesh::NormalsName)
        return MeshAttributes::Float3;
    if (name == PointMesh::UVsName || name == PointMesh::STsName)
        return MeshAttributes::Float2;
    return 0;
}
}  // namespace

PointMesh::PointMesh()
{
    m_attributes.push_back(
        std::make_unique<MeshAttributes>(VerticesName, MeshAttributes::Float3, 0));
}

PointMesh::PointMesh(const PointMesh& other)
    : Entity(other),
      m_numVertices(other.m_numVertices),
      m_selectedVertices(other.m_selectedVertices),
      m_normalsComputed(other.m_normalsComputed),
      m_allocator(other.m_allocator)
{
    m_attributes.reserve(other.m_attributes.size());
    for (const auto& channel : other.m_attributes)
        m_attributes.push_back(std::make_unique<MeshAttributes>(*channel));
}

PointMesh& PointMesh::operator=(const PointMesh& other)
{
    if (this == &other)
        return *this;
    // Build the new channels in this mesh's allocator first, so a failed
    // allocation leaves the mesh as it was.
    std::vector<std::unique_ptr<MeshAttributes>> channels;
    channels.reserve(other.m_attributes.size());
    for (const auto& source : other.m_attributes)
    {
        auto channel = std::make_unique<MeshAttributes>(source->getName(), source->getDimension(),
                                                        0, m_allocator);
        *channel = *source;  // the value array keeps this mesh's allocator
        channels.push_back(std::move(channel));
    }
    BitVector selection(other.m_selectedVertices);
    m_attributes.swap(channels);
    m_selectedVertices.swap(selection);
    m_numVertices = other.m_numVertices;
    m_normalsComputed = other.m_normalsComputed;
    return *this;
}

PointMesh::~PointMesh() = default;

void PointMesh::resizeVertexArray(int n)
{
    n = n > 0 ? n : 0;
    for (auto& channel : m_attributes)
        channel->resize(n);
    m_selectedVertices.resize(n);
    m_numVertices = n;
}

void PointMesh::copyVertices(int n, const MeshVertex* vertices)
{
    copyVertices(n, reinterpret_cast<const float*>(vertices));
}

void PointMesh::copyVertices(int n, const float* vertices)
{
    n = n > 0 ? n : 0;
    // Copy before resizing: the source may be this mesh's own positions.
    MeshArray<float> copied(m_allocator);
    copied.assign(3 * n, vertices);
    resizeVertexArray(n);
    positions().m_values.swap(copied);
}

MeshNormal* PointMesh::allocNormalArray()
{
    return asNormals(allocAttributes(NormalsName, MeshAttributes::Float3));
}

void PointMesh::deleteNormals()
{
    deleteAttributes(NormalsName);
}

int PointMesh::findAttributes(const oxString::CString& name) const
{
    for (std::size_t i = 0; i < m_attributes.size(); ++i)
    {
        if (m_attributes[i]->getName() == name)
            return static_cast<int>(i);
    }
    return -1;
}

MeshAttributes* PointMesh::getAttributes(const oxString::CString& name)
{
    return getAttributes(findAttributes(name));
}

const MeshAttributes* PointMesh::getAttributes(const oxString::CString& name) const
{
    return getAttributes(findAttributes(name));
}

MeshAttributes* PointMesh::getAttributes(int index)
{
    if (index < 0 || index >= getNumAttributes())
        return nullptr;
    return m_attributes[static_cast<std::size_t>(index)].get();
}

const MeshAttributes* PointMesh::getAttributes(int index) const
{
    if (index < 0 || index >= getNumAttributes())
        return nullptr;
    return m_attributes[static_cast<std::size_t>(index)].get();
}

MeshAttributes* PointMesh::allocAttributes(const oxString::CString& name, int type)
{
    if (name.empty() || !MeshAttributes::isValidType(type))
        return nullptr;
    const int required = reservedType(name);
    if (required != 0 && required != type)
        return nullptr;

    const int index = findAttributes(name);
    if (index >= 0 && m_attributes[static_cast<std::size_t>(index)]->getDimension() == type)
        return m_attributes[static_cast<std::size_t>(index)].get();

    auto channel = std::make_unique<MeshAttributes>(name, type, m_numVertices, m_allocator);
    if (index < 0)
    {
        m_attributes.push_back(std::move(channel));
        return m_attributes.back().get();
    }
    m_attributes[static_cast<std::size_t>(index)] = std::move(channel);
    return m_attributes[static_cast<std::size_t>(index)].get();
}

bool PointMesh::deleteAttributes(const oxString::CString& name)
{
    const int index = findAttributes(name);
    if (index <= 0)  // not found, or the positions
        return false;
    m_attributes.erase(m_attributes.begin() + index);
    if (name == NormalsName)
        m_normalsComputed = false;
    return true;
}

void PointMesh::getAttributeNames(ox::set<oxString::CString>& names) const
{
    names.clear();
    for (const auto& channel : m_attributes)
        names.insert(channel->getName());
}

void PointMesh::getBoundingBox(oxLinear::Range3d& box) const
{
    // Float comparisons in the loop, one widening at the end: the box of
    // float positions is exactly representable in doubles.
    float lo[3] = {FLT_MAX, FLT_MAX, FLT_MAX};
    float hi[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
    bool any = false;
    const float* p = getVerticesRaw();
    for (int i = 0; i < m_numVertices; ++i, p += 3)
    {
        if (std::isnan(p[0]) || std::isnan(p[1]) || std::isnan(p[2]))
            continue;
        any = true;
        for (int c = 0; c < 3; ++c)
        {
            lo[c] = std::min(lo[c], p[c]);
            hi[c] = std::max(hi[c], p[c]);
        }
    }
    box = oxLinear::Range3d();
    if (any)
        box = oxLinear::Range3d(oxLinear::Point(lo[0], lo[1], lo[2]),
                                oxLinear::Point(hi[0], hi[1], hi[2]));
}

void PointMesh::modified(MeshModification& modification)
{
    emitModification(modification);
}

std::size_t PointMesh::getSizeInBytes() const
{
    return sizeof(PointMesh) + getVertexDataSizeInBytes();
}

std::size_t PointMesh::getVertexDataSizeInBytes() const
{
    std::size_t bytes = m_attributes.capacity() * sizeof(m_attributes.front());
    for (const auto& channel : m_attributes)
        bytes += sizeof(MeshAttributes) + channel->getName().length() + channel->getSizeInBytes();
    bytes += static_cast<std::size_t>(m_selectedVertices.numWords()) * sizeof(std::uint32_t);
    return bytes;
}

void PointMesh::setArrayAllocator(ox::Reference<ArrayAllocator> allocator)
{
    for (auto& channel : m_attributes)
        channel->setAllocator(allocator);
    m_allocator = std::move(allocator);
}

void PointMesh::swapVertexData(PointMesh& other) noexcept
{
    std::swap(m_numVertices, other.m_numVertices);
    m_attributes.swap(other.m_attributes);
    m_selectedVertices.swap(other.m_selectedVertices);
    std::swap(m_normalsComputed, other.m_normalsComputed);
    m_allocator.swap(other.m_allocator);
}
}  // namespace oxGeom
