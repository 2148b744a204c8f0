#pragma once
// The change notices of a mesh. An operation that edits a mesh builds one
// MeshModification saying what kind of change it made, which channels it
// changed or left valid, and how it renumbered vertices and triangles, and
// passes it to the mesh's `modified`; the mesh hands it to every listener of
// its modification signal (caches drop their derived data, viewers redraw).

#include <oxGeom/Remap.h>
#include <oxRTB/Signal.h>
#include <oxString/CString.h>

#include <ox/containers.h>

namespace oxGeom
{
class PointMesh;

/// The renumbering of an edit: old-to-new maps of the vertices and of the
/// triangles. Either map may be null (those indices did not change).
/// The maps are not owned: the editing operation keeps them alive at least
/// until its `modified` call returns; a listener that needs them longer
/// copies them.
class MeshRemap
{
public:
    /// `vertexMap`, `triangleMap`: old-to-new maps, or null.
    explicit MeshRemap(Remap* vertexMap = nullptr, Remap* triangleMap = nullptr)
        : m_vertexMap(vertexMap), m_triangleMap(triangleMap)
    {
    }

    Remap* getVertexMap() const { return m_vertexMap; }
    Remap* getTriangleMap() const { return m_triangleMap; }
    void setVertexMap(Remap* map) { m_vertexMap = map; }
    void setTriangleMap(Remap* map) { m_triangleMap = map; }

private:
    Remap* m_vertexMap;
    Remap* m_triangleMap;
};

/// One change to a mesh, as announced through the mesh's modification signal.
///
/// Built from the changed mesh, the kind of change and an optional remap, then
/// marked with the flags of what changed ("...Modified": the values of that
/// channel changed) or of what is still right ("...Valid": the channel was
/// carried through the edit and needs no recomputation, even though indices
/// may have been renumbered). A listener reads the flags with the getters.
///
/// Usage: construct, set flags, call the mesh's `modified`, let it go out of
/// scope. The remap is not owned (see MeshRemap); it may be null.
/// Thread safety: a plain value used by the thread that edits the mesh.
class MeshModification : public oxRTB::EntityModification
{
public:
    /// The kind of change.
    enum Type
    {
        /// Vertex positions moved; no index changed.
        Geometry = 0,
        /// Vertices or triangles were added, removed or renumbered (welding,
        /// deletion, winding reversal, merging); a remap says how where known.
        Topology = 1,
        /// Vertex or triangle normals were recomputed; nothing else changed.
        Normals = 2,
        /// Only the vertex or triangle selection changed.
        Selection = 3,
        /// Per-vertex channels other than positions and normals changed (UVs,
        /// STs, colours, named channels).
        Attributes = 4
    };

    /// One bit per flag setter, as returned by getFlags().
    enum Flag : unsigned
    {
        NormalsModifiedFlag = 1u << 0,
        NormalsValidFlag = 1u << 1,
        TriangleNormalsModifiedFlag = 1u << 2,
        TriangleNormalsValidFlag = 1u << 3,
        UVsModifiedFlag = 1u << 4,
        UVsValidFlag = 1u << 5,
        STsModifiedFlag = 1u << 6,
        STsValidFlag = 1u << 7,
        ColoursModifiedFlag = 1u << 8,
        ColoursValidFlag = 1u << 9,
        PolysModifiedFlag = 1u << 10,
        LinesModifiedFlag = 1u << 11,
        LineStripsModifiedFlag = 1u << 12,
        StripsAndFansModifiedFlag = 1u << 13
    };

    /// `mesh`: the changed mesh (not owned; also the entity that listeners get
    /// from getEntity()). `type`: the kind of change. `remap`: the renumbering,
    /// or null when no index changed. No flag is set.
    MeshModification(const PointMesh* mesh, Type type, MeshRemap* remap = nullptr);

    const PointMesh* getMesh() const { return m_mesh; }
    Type getType() const { return m_type; }
    MeshRemap* getRemap() const { return m_remap; }

    // Flag setters: each marks one fact about the change; setting twice is harmless.
    void normalsModified() { set(NormalsModifiedFlag); }
    void normalsValid() { set(NormalsValidFlag); }
    void triangleNormalsModified() { set(TriangleNormalsModifiedFlag); }
    void triangleNormalsValid() { set(TriangleNormalsValidFlag); }
    void uvsModified() { set(UVsModifiedFlag); }
    void uvsValid() { set(UVsValidFlag); }
    void stsModified() { set(STsModifiedFlag); }
    void stsValid() { set(STsValidFlag); }
    void coloursModified() { set(ColoursModifiedFlag); }
    void coloursValid() { set(ColoursValidFlag); }
    void polysModified() { set(PolysModifiedFlag); }
    void linesModified() { set(LinesModifiedFlag); }
    void lineStripsModified() { set(LineStripsModifiedFlag); }
    void stripsAndFansModified() { set(StripsAndFansModifiedFlag); }
    /// Records that the named vertex channel changed; names are collected
    /// (each once) in getModifiedVertexAttribs().
    void vertexAttribsModified(const oxString::CString& name) { m_modifiedAttribs.insert(name); }

    // Flag getters, one per setter.
    bool getNormalsModified() const { return isSet(NormalsModifiedFlag); }
    bool getNormalsValid() const { return isSet(NormalsValidFlag); }
    bool getTriangleNormalsModified() const { return isSet(TriangleNormalsModifiedFlag); }
    bool getTriangleNormalsValid() const { return isSet(TriangleNormalsValidFlag); }
    bool getUVsModified() const { return isSet(UVsModifiedFlag); }
    bool getUVsValid() const { return isSet(UVsValidFlag); }
    bool getSTsModified() const { return isSet(STsModifiedFlag); }
    bool getSTsValid() const { return isSet(STsValidFlag); }
    bool getColoursModified() const { return isSet(ColoursModifiedFlag); }
    bool getColoursValid() const { return isSet(ColoursValidFlag); }
    bool getPolysModified() const { return isSet(PolysModifiedFlag); }
    bool getLinesModified() const { return isSet(LinesModifiedFlag); }
    bool getLineStripsModified() const { return isSet(LineStripsModifiedFlag); }
    bool getStripsAndFansModified() const { return isSet(StripsAndFansModifiedFlag); }
    /// The names given to vertexAttribsModified, in name order.
    const ox::set<oxString::CString>& getModifiedVertexAttribs() const { return m_modifiedAttribs; }
    /// True when vertexAttribsModified(name) was called.
    bool isVertexAttribModified(const oxString::CString& name) const
    {
        return m_modifiedAttribs.count(name) != 0;
    }

    /// All flags as a bit set of Flag values.
    unsigned getFlags() const { return m_flags; }
    bool isSet(Flag flag) const { return (m_flags & flag) != 0; }

private:
    void set(Flag flag) { m_flags |= flag; }

    const PointMesh* m_mesh;
    Type m_type;
    MeshRemap* m_remap;
    unsigned m_flags = 0;
    ox::set<oxString::CString> m_modifiedAttribs;
};
}  // namespace oxGeom
