#pragma once
// The vertex-indexed half of a mesh: positions and every other per-vertex
// channel, the vertex selection, and the change and destruction signals that
// caches listen to. CompactMesh adds the primitives that index these vertices.

#include <oxGeom/ArrayAllocator.h>
#include <oxGeom/BitVector.h>
#include <oxGeom/MeshAttributes.h>
#include <oxGeom/MeshElements.h>
#include <oxLinear/Range.h>
#include <oxRTB/Signal.h>
#include <oxString/CString.h>

#include <ox/Reference.h>
#include <ox/containers.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace oxGeom
{
class MeshModification;

/// A set of vertices with named per-vertex channels.
///
/// Every channel is a MeshAttributes of getNumVertices() elements, the
/// positions included: the channel VerticesName (3 floats) always exists and
/// is attribute 0. The typed accessors are views of the channels of the
/// reserved names: NormalsName (3 floats), UVsName and STsName (2 floats),
/// ColoursName (4 floats: red, green, blue, alpha in [0, 1]). An absent channel
/// is reported as a null pointer; a present one is never null, even with 0
/// vertices. Every channel and the vertex selection follow resizeVertexArray:
/// values and selection bits of surviving vertices are kept, new vertices are
/// zero and unselected.
///
/// Copies are deep and start without listeners (assignment keeps the
/// target's listeners). Destroying a mesh emits its destruction signal.
///
/// Thread safety: const members may be called from any number of threads
/// (MeshAttributes::getRange excepted); writes need exclusive access.
class PointMesh : public oxRTB::Entity
{
public:
    /// Channel names. getAttributeNames lists each that is present,
    /// VerticesName always.
    static const oxString::CString VerticesName;  ///< "Vertices": positions, 3 floats
    static const oxString::CString NormalsName;   ///< "Normals": vertex normals, 3 floats
    static const oxString::CString UVsName;       ///< "UVs": texture coordinates, 2 floats
    static const oxString::CString STsName;       ///< "STs": second coordinate set, 2 floats
    static const oxString::CString ColoursName;   ///< "Colours": RGBA in [0, 1], 4 floats

    /// An empty mesh (0 vertices, only the position channel).
    PointMesh();
    /// Deep copy; the copy allocates through the source's array allocator.
    PointMesh(const PointMesh& other);
    /// Deep copy of the vertex data; this mesh keeps its array allocator and
    /// its listeners. No signal is emitted (the caller announces the change).
    PointMesh& operator=(const PointMesh& other);
    ~PointMesh() override;

    // ---- positions ----

    int getNumVertices() const { return m_numVertices; }
    /// The positions, getNumVertices() of them; never null.
    MeshVertex* getVertices() { return reinterpret_cast<MeshVertex*>(positions().asFloat()); }
    const MeshVertex* getVertices() const
    {
        return reinterpret_cast<const MeshVertex*>(positions().asFloat());
    }
    /// The same array as 3 * getNumVertices() floats.
    float* getVerticesRaw() { return positions().asFloat(); }
    const float* getVerticesRaw() const { return positions().asFloat(); }

    /// Sets the vertex count to `n` (negative n gives 0). Every channel and the
    /// vertex selection are resized with it: entries below min(old, n) are
    /// kept, new ones are zero (positions, channel values) or clear (selection
    /// bits). Cost O(n * channel floats) when arrays are reallocated.
    void resizeVertexArray(int n);

    /// Sets the vertex count to `n` and copies the positions from `vertices`
    /// (n elements; 3n floats for the float overload). Other channels are
    /// resized as by resizeVertexArray. A null source gives n zero positions.
    /// `vertices` may point into this mesh's own positions.
    void copyVertices(int n, const MeshVertex* vertices);
    void copyVertices(int n, const float* vertices);

    // ---- normals ----

    /// The vertex normals, or null when the mesh has none.
    MeshNormal* getNormals() { return asNormals(getAttributes(NormalsName)); }
    const MeshNormal* getNormals() const { return asNormals(getAttributes(NormalsName)); }
    float* getNormalsRaw() { return rawOf(getAttributes(NormalsName)); }
    const float* getNormalsRaw() const { return rawOf(getAttributes(NormalsName)); }
    /// Makes the normal array present (one zero normal per vertex) and returns
    /// it. Existing normals are kept as they are.
    MeshNormal* allocNormalArray();
    /// Removes the normal array and clears the normals-computed flag.
    void deleteNormals();
    /// True when the normals were produced by the library's normal computation
    /// rather than supplied by the host (set by that computation).
    bool getNormalsComputed() const { return m_normalsComputed; }
    void setNormalsComputed(bool computed) { m_normalsComputed = computed; }

    // ---- texture coordinates ----

    /// The UVs, or null when absent.
    MeshUV* getUVs() { return uvsOf(getAttributes(UVsName)); }
    const MeshUV* getUVs() const { return uvsOf(getAttributes(UVsName)); }
    float* getUVsRaw() { return rawOf(getAttributes(UVsName)); }
    const float* getUVsRaw() const { return rawOf(getAttributes(UVsName)); }
    /// Makes the UV array present (zero UVs) and returns it; existing UVs are kept.
    MeshUV* allocUVArray() { return uvsOf(allocAttributes(UVsName, MeshAttributes::Float2)); }
    void deleteUVs() { deleteAttributes(UVsName); }

    /// The STs (a second coordinate set), or null when absent.
    MeshUV* getSTs() { return uvsOf(getAttributes(STsName)); }
    const MeshUV* getSTs() const { return uvsOf(getAttributes(STsName)); }
    float* getSTsRaw() { return rawOf(getAttributes(STsName)); }
    const float* getSTsRaw() const { return rawOf(getAttributes(STsName)); }
    /// Makes the ST array present (zero STs) and returns it; existing STs are kept.
    MeshUV* allocSTArray() { return uvsOf(allocAttributes(STsName, MeshAttributes::Float2)); }
    void deleteSTs() { deleteAttributes(STsName); }

    // ---- selection ----

    /// The selected vertices: one bit per vertex, kept sized to the vertex
    /// count by resizeVertexArray (a caller may resize it; the next
    /// resizeVertexArray sizes it again).
    BitVector& getSelectedVertices() { return m_selectedVertices; }
    const BitVector& getSelectedVertices() const { return m_selectedVertices; }

    // ---- named channels ----

    /// Number of channels, positions included (so at least 1).
    int getNumAttributes() const { return static_cast<int>(m_attributes.size()); }
    /// The channel called `name`, or null. Cost O(getNumAttributes()).
    MeshAttributes* getAttributes(const oxString::CString& name);
    const MeshAttributes* getAttributes(const oxString::CString& name) const;
    /// Channel `index` (0 is the positions; the others in the order they were
    /// allocated, closing up on deletion), or null when out of range.
    MeshAttributes* getAttributes(int index);
    const MeshAttributes* getAttributes(int index) const;

    /// Makes a channel called `name` with `type` floats per vertex present and
    /// returns it.
    /// - An existing channel of that name and type is returned unchanged.
    /// - An existing channel of another type is replaced by a zero channel
    ///   (pointers to the old one become invalid).
    /// - Otherwise a zero channel is added (storeable).
    /// Returns null, changing nothing, for an empty name, a type outside 1..4,
    /// or a reserved name with the wrong type (VerticesName and NormalsName
    /// need 3, UVsName and STsName need 2).
    /// Cost O(getNumVertices() * type) for a new channel.
    MeshAttributes* allocAttributes(const oxString::CString& name, int type);

    /// Removes the channel called `name`. Returns false (nothing removed) when
    /// there is none, and for VerticesName, which always exists. Removing
    /// NormalsName also clears the normals-computed flag.
    bool deleteAttributes(const oxString::CString& name);

    /// Replaces the content of `names` with the names of all present channels.
    void getAttributeNames(ox::set<oxString::CString>& names) const;

    // ---- derived values ----

    /// The axis-aligned box of the positions. Output: `box` is replaced; an
    /// empty mesh gives the empty range. NaN coordinates are skipped.
    /// Runs on the calling thread. Cost O(getNumVertices()).
    void getBoundingBox(oxLinear::Range3d& box) const;

    // ---- change notification and storage ----

    /// Announces a change: emits the modification signal with `modification`
    /// to every listener (caches drop their data of this mesh). Editing
    /// operations call it once after they changed the mesh.
    virtual void modified(MeshModification& modification);

    /// Bytes held by this mesh: the object and every array it owns.
    virtual std::size_t getSizeInBytes() const;

    /// Makes `allocator` the source of every array of this mesh (null: plain
    /// ::operator new). Existing arrays are moved into blocks of the new
    /// allocator, and their old blocks given back to the allocator that made
    /// them. Cost: one copy of every array.
    virtual void setArrayAllocator(ox::Reference<ArrayAllocator> allocator);
    const ox::Reference<ArrayAllocator>& getArrayAllocator() const { return m_allocator; }

protected:
    /// Exchanges all vertex data (channels, selection, flags, allocator) with
    /// `other`; listeners stay where they are. For a derived class's swap.
    void swapVertexData(PointMesh& other) noexcept;

    /// Bytes of the vertex data (for a derived class's getSizeInBytes).
    std::size_t getVertexDataSizeInBytes() const;

private:
    MeshAttributes& positions() { return *m_attributes.front(); }
    const MeshAttributes& positions() const { return *m_attributes.front(); }
    int findAttributes(const oxString::CString& name) const;

    static MeshNormal* asNormals(MeshAttributes* a)
    {
        return a ? reinterpret_cast<MeshNormal*>(a->asFloat3()) : nullptr;
    }
    static const MeshNormal* asNormals(const MeshAttributes* a)
    {
        return a ? reinterpret_cast<const MeshNormal*>(a->asFloat3()) : nullptr;
    }
    static MeshUV* uvsOf(MeshAttributes* a) { return a ? a->asMeshUV() : nullptr; }
    static const MeshUV* uvsOf(const MeshAttributes* a) { return a ? a->asMeshUV() : nullptr; }
    static float* rawOf(MeshAttributes* a) { return a ? a->asFloat() : nullptr; }
    static const float* rawOf(const MeshAttributes* a) { return a ? a->asFloat() : nullptr; }

    int m_numVertices = 0;
    /// Channel 0 is always the positions. Held by pointer so that a channel
    /// handed out stays where it is while others are added or removed.
    std::vector<std::unique_ptr<MeshAttributes>> m_attributes;
    BitVector m_selectedVertices;
    bool m_normalsComputed = false;
    ox::Reference<ArrayAllocator> m_allocator;
};
}  // namespace oxGeom
