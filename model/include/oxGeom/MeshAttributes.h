#pragma once
// A named per-vertex channel of a mesh: an array of floats with 1 to 4 values
// per vertex. Positions, normals, UVs, STs, colours and any host-defined channel
// are all held this way, so that copying, extracting and concatenating meshes
// can carry every channel by name without knowing what it means.

#include <oxGeom/ArrayAllocator.h>
#include <oxGeom/MeshElements.h>
#include <oxString/CString.h>

#include <cstddef>

namespace oxGeom
{
class PointMesh;

/// One named vertex channel: getNumElements() elements of getDimension()
/// floats each, packed without gaps (element i starts at asFloat()[i * dim]).
///
/// A PointMesh keeps every channel sized to its vertex count; the channel's
/// element count changes only through the mesh.
///
/// The typed views asFloat1() .. asFloat4() and asMeshUV() return the same
/// array as asFloat(), or null when the dimension does not match, so a caller
/// that assumes a layout gets a null pointer instead of a misread array.
///
/// Thread safety: const members may be called from any number of threads,
/// except getRange (which fills its cache). Writes need exclusive access.
class MeshAttributes
{
public:
    /// The dimensions a channel may have; the value is the number of floats
    /// per element, so a plain int dimension is accepted wherever a Type is.
    enum Type
    {
        Float1 = 1,
        Float2 = 2,
        Float3 = 3,
        Float4 = 4
    };

    /// True for 1, 2, 3 and 4.
    static bool isValidType(int type) { return type >= Float1 && type <= Float4; }

    /// A channel called `name` with `numElements` zero elements of `type`
    /// floats each, allocated through `allocator` (null: ::operator new).
    /// Preconditions: isValidType(type); an invalid type is taken as Float1,
    /// a negative count as 0. Storeable by default.
    /// Cost: O(numElements * type).
    MeshAttributes(const oxString::CString& name, int type, int numElements,
                   ox::Reference<ArrayAllocator> allocator = nullptr);

    /// Deep copies; the copy allocates through the source's allocator.
    MeshAttributes(const MeshAttributes&) = default;
    MeshAttributes& operator=(const MeshAttributes&) = default;

    const oxString::CString& getName() const { return m_name; }
    int getNumElements() const { return m_numElements; }
    /// Floats per element, 1 to 4.
    int getDimension() const { return m_dimension; }
    Type getType() const { return static_cast<Type>(m_dimension); }

    /// The values, getNumElements() * getDimension() floats. Never null, even
    /// for zero elements.
    float* asFloat() { return m_values.data(); }
    const float* asFloat() const { return m_values.data(); }
    /// The same array when the dimension is 1 (2, 3, 4); otherwise null.
    float* asFloat1() { return viewOf(Float1); }
    const float* asFloat1() const { return viewOf(Float1); }
    float* asFloat2() { return viewOf(Float2); }
    const float* asFloat2() const { return viewOf(Float2); }
    float* asFloat3() { return viewOf(Float3); }
    const float* asFloat3() const { return viewOf(Float3); }
    float* asFloat4() { return viewOf(Float4); }
    const float* asFloat4() const { return viewOf(Float4); }
    /// The array as 2-D texture coordinates when the dimension is 2; else null.
    MeshUV* asMeshUV() { return reinterpret_cast<MeshUV*>(viewOf(Float2)); }
    const MeshUV* asMeshUV() const { return reinterpret_cast<const MeshUV*>(viewOf(Float2)); }

    /// Whether a host saving the mesh should write this channel (true unless
    /// set otherwise; copied along with the channel).
    bool isStoreable() const { return m_storeable; }
    void setStoreable(bool storeable) { m_storeable = storeable; }

    /// Forgets the cached value range; call after writing values through the
    /// raw array. Resizing through the mesh invalidates it as well.
    void invalidateRange() { m_rangeValid = false; }

    /// The smallest and largest value of each component over all elements.
    /// Outputs: `minimum` and `maximum`, getDimension() floats each.
    /// Empty channel: returns false and leaves the outputs untouched. NaN
    /// values are ignored (a component of only NaNs gives +inf, -inf).
    /// The range is cached until invalidateRange() or a resize; writes through
    /// the raw array without invalidateRange() leave a stale range.
    /// Thread safety: fills the cache, so not concurrently with itself.
    /// Cost: O(numElements * dimension) when the cache is stale, else O(dim).
    bool getRange(float* minimum, float* maximum) const;

    /// Bytes held by the value array.
    std::size_t getSizeInBytes() const { return m_values.getSizeInBytes(); }

private:
    friend class PointMesh;

    /// Element count changes: values of surviving elements are kept, new
    /// elements are zero. Only the mesh does this, to keep channels sized.
    void resize(int numElements);
    void setAllocator(const ox::Reference<ArrayAllocator>& allocator)
    {
        m_values.setAllocator(allocator);
    }

    float* viewOf(Type type) { return m_dimension == type ? m_values.data() : nullptr; }
    const float* viewOf(Type type) const { return m_dimension == type ? m_values.data() : nullptr; }

    oxString::CString m_name;
    int m_dimension = Float1;
    int m_numElements = 0;
    MeshArray<float> m_values;
    bool m_storeable = true;

    mutable bool m_rangeValid = false;
    mutable float m_rangeMin[Float4] = {};
    mutable float m_rangeMax[Float4] = {};
};
}  // namespace oxGeom
