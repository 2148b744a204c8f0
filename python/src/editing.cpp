// Editing meshes from Python: welding, duplicate and degenerate triangles, deletion, extraction,
// winding reversal, merging and concatenation. Each edit runs the library's in-place operation
// on a private copy and returns the copy as a new mesh, so the input mesh never changes and an
// edit that fails leaves nothing half done.

#include "bindings.h"

#include <oxGeom/MeshDeleteSelected.h>
#include <oxGeom/MeshMerge.h>
#include <oxGeom/MeshSubset.h>
#include <oxGeom/meshCompact.h>
#include <oxGeom/meshConcatenate.h>
#include <oxGeom/meshDuplicateTris.h>
#include <oxGeom/meshExtract.h>
#include <oxGeom/meshReverseWinding.h>

#include <pybind11/stl.h>

#include <cmath>

namespace trelm_py
{
namespace
{
// The library's weld moves positions, explicit normals and UVs to their new slots; every other
// channel (STs, colours, named channels of a loaded file) is carried here by the same rule, the
// highest old index of a welded group supplying the values, so no channel is left misnumbered.
void renumberOtherChannels(const oxGeom::CompactMesh& source, oxGeom::CompactMesh& welded,
                           const oxGeom::Remap& map)
{
    const bool normalsMoved = !source.getNormalsComputed();
    for (int a = 1; a < source.getNumAttributes(); ++a)
    {
        const oxGeom::MeshAttributes* from = source.getAttributes(a);
        const oxString::CString& name = from->getName();
        if (name == oxGeom::PointMesh::UVsName ||
            (normalsMoved && name == oxGeom::PointMesh::NormalsName))
            continue;
        oxGeom::MeshAttributes* to = welded.getAttributes(name);
        if (to == nullptr || to->getDimension() != from->getDimension())
            continue;
        const int dim = from->getDimension();
        for (int v = 0; v < source.getNumVertices(); ++v)
        {
            const int target = map(v);
            if (target >= 0 && target < welded.getNumVertices())
                std::copy(from->asFloat() + dim * v, from->asFloat() + dim * (v + 1),
                          to->asFloat() + dim * target);
        }
        to->invalidateRange();
    }
}

py::tuple weld(const Mesh& mesh)
{
    const oxGeom::CompactMesh& source = mesh.mesh();
    auto map = newArray<int>(source.getNumVertices());
    int* mapOut = map.mutable_data();
    Mesh result = withoutGil(
        [&]
        {
            oxGeom::CompactMesh copy(source);
            oxUtil::Progress progress;
            oxGeom::Remap remap;
            oxGeom::meshCompact(copy, progress, remap);
            renumberOtherChannels(source, copy, remap);
            for (int v = 0; v < source.getNumVertices(); ++v)
                mapOut[v] = remap(v);
            return wrapMesh(std::move(copy));
        });
    return py::make_tuple(result, map);
}

// The named tuple type of duplicate_triangles' result. Held for the life of the process (never
// released), so no reference is dropped after the interpreter has gone.
py::handle& duplicateTrianglesType()
{
    static py::handle type;
    return type;
}

py::object duplicateTriangles(const Mesh& mesh)
{
    oxGeom::MeshDuplicateTrisResult found;
    withoutGil([&] { oxGeom::meshDuplicateTris(mesh.mesh(), found); });
    auto list = [](const ox::vector<int>& v) { return intArray(v.data(), std::int64_t(v.size())); };
    return duplicateTrianglesType()(list(found.getDuplicates()), list(found.getIndexDegenerates()),
                                    list(found.getPositionDegenerates()));
}

Mesh removeDuplicateTriangles(const Mesh& mesh)
{
    return withoutGil(
        [&]
        {
            oxGeom::CompactMesh copy(mesh.mesh());
            copy.clearSelection();
            oxGeom::meshRemoveDuplicateTris(copy, mesh.data->adjTris());
            return wrapMesh(std::move(copy));
        });
}

py::tuple deleteTriangles(const Mesh& mesh, py::handle triangles)
{
    const oxGeom::CompactMesh& source = mesh.mesh();
    const std::vector<int> chosen = selection(triangles, source.getNumTriangles(), "triangles");
    const int n = source.getNumVertices();
    auto map = newArray<int>(n);
    int* mapOut = map.mutable_data();
    Mesh result = withoutGil(
        [&]
        {
            oxGeom::CompactMesh copy(source);
            copy.clearSelection();
            oxGeom::MeshDeleteSelected erase(copy);
            erase(mesh.data->adjTris(), ox::vector<int>(chosen.begin(), chosen.end()));
            ox::Reference<oxGeom::Remap> remap = erase.getVertexMap();
            // No map: nothing was deleted (identity), or every triangle was (the mesh is emptied).
            const bool emptied = !remap && !chosen.empty();
            for (int v = 0; v < n; ++v)
                mapOut[v] = remap ? (*remap)(v) : (emptied ? -1 : v);
            return wrapMesh(std::move(copy));
        });
    return py::make_tuple(result, map);
}

// The vertices an extraction copies: the listed ones, then each corner of a listed triangle
// the list lacks, in the order the triangles meet them (as the library appends them).
std::vector<int> extractedVertices(const oxGeom::CompactMesh& source,
                                   const std::vector<int>& triangles,
                                   const std::vector<int>& listed)
{
    std::vector<int> vertices = listed;
    std::vector<char> present(static_cast<std::size_t>(source.getNumVertices()), 0);
    for (int v : listed)
        present[static_cast<std::size_t>(v)] = 1;
    for (int t : triangles)
        for (int k = 0; k < 3; ++k)
        {
            const int v = source.getTriangles()[t][k];
            if (!present[static_cast<std::size_t>(v)])
            {
                present[static_cast<std::size_t>(v)] = 1;
                vertices.push_back(v);
            }
        }
    return vertices;
}

// Ascending distinct corners of the listed triangles.
std::vector<int> cornersOf(const oxGeom::CompactMesh& source, const std::vector<int>& triangles)
{
    std::vector<char> used(static_cast<std::size_t>(source.getNumVertices()), 0);
    for (int t : triangles)
        for (int k = 0; k < 3; ++k)
            used[static_cast<std::size_t>(source.getTriangles()[t][k])] = 1;
    std::vector<int> corners;
    for (int v = 0; v < source.getNumVertices(); ++v)
        if (used[static_cast<std::size_t>(v)])
            corners.push_back(v);
    return corners;
}

py::tuple extract(const Mesh& mesh, py::handle trianglesIn, py::handle verticesIn)
{
    const oxGeom::CompactMesh& source = mesh.mesh();
    const std::vector<int> triangles =
        selection(trianglesIn, source.getNumTriangles(), "triangles");
    const std::vector<int> listed =
        verticesIn.is_none() ? cornersOf(source, triangles)
                             : selection(verticesIn, source.getNumVertices(), "vertices");
    const std::vector<int> vertices = extractedVertices(source, triangles, listed);
    Mesh result = withoutGil(
        [&]
        {
            oxGeom::MeshSubset subset(int(listed.size()), listed.data(), int(triangles.size()),
                                      triangles.data());
            oxGeom::CompactMesh destination;
            oxGeom::meshExtract(destination, source, subset);
            return wrapMesh(std::move(destination));
        });
    return py::make_tuple(result, intArray(vertices.data(), std::int64_t(vertices.size())));
}

Mesh reverseWinding(const Mesh& mesh, bool flipNormals)
{
    return withoutGil(
        [&]
        {
            oxGeom::CompactMesh copy(mesh.mesh());
            oxGeom::meshReverseWinding(copy, flipNormals);
            return wrapMesh(std::move(copy));
        });
}

void requireTotal(const std::vector<Mesh>& meshes, std::int64_t vertexLimit, const char* name)
{
    std::int64_t vertices = 0, triangles = 0;
    for (const Mesh& mesh : meshes)
    {
        vertices += mesh.mesh().getNumVertices();
        triangles += mesh.mesh().getNumTriangles();
    }
    if (vertices > vertexLimit || triangles > maxElements)
        throw py::value_error(std::string(name) + ": " + std::to_string(vertices) +
                              " vertices and " + std::to_string(triangles) +
                              " triangles in all, more than the library can index");
}

Mesh merge(const std::vector<Mesh>& meshes, py::handle placements, double tolerance)
{
    if (!std::isfinite(tolerance) || tolerance < 0.0)
        throw py::value_error("merge: tolerance must be finite and >= 0, got " +
                              std::to_string(tolerance));
    // The weld's k-d tree indexes fewer than 2^29 vertices.
    requireTotal(meshes, (std::int64_t(1) << 29) - 1, "merge");
    const std::vector<oxGeom::MeshPlacement> placed = placementsOf(meshes, placements);
    return withoutGil(
        [&]
        {
            ox::list<oxGeom::MeshPlacement> sources(placed.begin(), placed.end());
            oxGeom::CompactMesh destination;
            oxGeom::MeshMerge merger(destination, sources, float(tolerance));
            oxUtil::Progress progress;
            merger.merge(progress);
            return wrapMesh(std::move(destination));
        });
}

Mesh concatenate(const std::vector<Mesh>& meshes, py::handle placements)
{
    requireTotal(meshes, maxElements, "concatenate");
    const std::vector<oxGeom::MeshPlacement> placed = placementsOf(meshes, placements);
    return withoutGil(
        [&]
        {
            ox::list<oxGeom::MeshPlacement> list(placed.begin(), placed.end());
            ox::vector<bool> mirrored;
            oxGeom::testDeterminants(list, mirrored);
            oxGeom::CompactMesh destination;
            oxGeom::meshConcatenate(destination, list, nullptr, &mirrored);
            return wrapMesh(std::move(destination));
        });
}
}  // namespace

void registerEditing(py::module_& m)
{
    using namespace pybind11::literals;
    py::object type = py::module_::import("collections")
                          .attr("namedtuple")("DuplicateTriangles",
                                              py::make_tuple("duplicates", "index_degenerate",
                                                             "position_degenerate"));
    type.attr("__doc__") =
        "Triangles found by duplicate_triangles: three ascending int32 index arrays.";
    type.attr("__module__") = "trelm";
    m.attr("DuplicateTriangles") = type;
    duplicateTrianglesType() = type.release();

    m.def("weld", &weld, "mesh"_a, R"doc(
Merges vertices that are exactly alike (no tolerance; -0 equals +0, NaN never welds).

Vertices are alike when their positions are equal and, when the mesh has normals, their normals
too, and with normals and UVs, their UVs too. Returns (welded, vertex_map): the new mesh, whose
vertices are sorted by (x, y, z[, normal[, uv]]), and an (n,) int32 array giving each old
vertex's new index. Of a welded group, the member with the highest old index supplies the
values of every channel. Triangles whose corners weld together are kept (degenerate).
Cost O(n log n + m).)doc");
    m.def("duplicate_triangles", &duplicateTriangles, "mesh"_a, R"doc(
Finds duplicate and degenerate triangles by exact comparison.

Returns DuplicateTriangles(duplicates, index_degenerate, position_degenerate), int32 arrays:
duplicates holds every triangle whose vertex set equals that of a lower-indexed one (either
winding); index_degenerate the triangles naming one vertex twice; position_degenerate those
with three distinct vertices, two at exactly the same position. Cost O(m log m).)doc");
    m.def("remove_duplicate_triangles", &removeDuplicateTriangles, "mesh"_a, R"doc(
A copy without the triangles duplicate_triangles lists, and without the vertices only they
used. Other vertices and all channels keep their order. Cost O(m log m + n).)doc");
    m.def("delete_triangles", &deleteTriangles, "mesh"_a, "triangles"_a, R"doc(
Deletes triangles, and the vertices that only deleted triangles used.

triangles: a bool mask of length m, or an integer array of triangle indices in [0, m).
Returns (mesh, vertex_map): survivors keep their order and channels; vertex_map is (n,) int32,
each old vertex's new index or -1 when deleted. Deleting every triangle gives an empty mesh.
Raises ValueError for a mask of the wrong length or an index out of range. Cost O(n + m).)doc");
    m.def("extract", &extract, "mesh"_a, "triangles"_a, "vertices"_a = py::none(), R"doc(
Copies a part of the mesh into a new one.

triangles: bool mask of length m or triangle indices; they come out in the given order (a mask
in ascending order). vertices: optional bool mask or vertex indices to copy; by default the
corners of the chosen triangles in ascending order. Corners the vertex list lacks are appended
in the order the triangles meet them. Every channel is copied.
Returns (mesh, vertex_ids): vertex_ids (int32) names the source vertex of each new vertex.
Raises ValueError for an index out of range. Cost O(n + m).)doc");
    m.def("reverse_winding", &reverseWinding, "mesh"_a, "flip_normals"_a = true, R"doc(
A copy with every triangle's winding reversed: (a, b, c) becomes (b, a, c).

flip_normals: also negate the vertex normals (when the mesh has them). Cost O(n + m).)doc");
    m.def("merge", &merge, "meshes"_a, "placements"_a = py::none(), "tolerance"_a = 0.0, R"doc(
Places meshes and welds them into one: vertices within `tolerance` of each other on every axis
become one vertex.

meshes: a list of Mesh. placements: None, or one matrix (or None) per mesh, (4, 3) or (4, 4) in
row-vector form (p' = p M, translation in the last row). tolerance: finite, >= 0.
Returns a mesh with positions and triangles only: each mesh's triangles in list order,
renumbered to the welded vertices (triangles that collapse are kept; mirroring placements do
not turn their triangles). Vertices are stored in the order first met (each mesh visited in
100 interleaved passes). Raises ValueError for a bad tolerance or matrix, or more than 2^29
vertices in all. Cost O(N log N) for N vertices in all.)doc");
    m.def("concatenate", &concatenate, "meshes"_a, "placements"_a = py::none(), R"doc(
Places meshes and joins them into one without welding.

meshes, placements: as for merge. Vertices and triangles follow mesh by mesh; triangles of a
mirroring placement are turned so they keep facing out; normals are carried by the inverse
transpose of each matrix. Channels that every mesh carries are kept, others dropped.
An empty list gives an empty mesh. Cost O(N + M).)doc");
}
}  // namespace trelm_py
