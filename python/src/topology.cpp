// Adjacency, boundary loops and connected components from Python. The tables are built once per
// mesh and kept with it; they come back in compressed form (offsets and a flat index array),
// which NumPy slices without a Python object per vertex.

#include "bindings.h"

#include <oxGeom/MeshBoundaries.h>
#include <oxGeom/meshComponents.h>
#include <oxGeom/meshComputeBoundary.h>

namespace trelm_py
{
namespace
{
// offsets (count + 1 int64) and the concatenated lists (int32), list i given by size(i), at(i).
template <class Size, class At>
py::tuple compressed(int count, Size size, At at)
{
    auto offsets = newArray<std::int64_t>(std::int64_t(count) + 1);
    std::int64_t* o = offsets.mutable_data();
    o[0] = 0;
    for (int i = 0; i < count; ++i)
        o[i + 1] = o[i] + size(i);
    auto indices = newArray<int>(o[count]);
    int* out = indices.mutable_data();
    for (int i = 0; i < count; ++i)
    {
        const int* list = at(i);
        std::copy(list, list + size(i), out + o[i]);
    }
    return py::make_tuple(offsets, indices);
}

py::tuple adjacency(const Mesh& mesh, const std::string& kind)
{
    const bool triangles = kind == "triangles";
    if (!triangles && kind != "vertices")
        throw py::value_error("adjacency: kind must be 'triangles' or 'vertices', got '" + kind +
                              "'");
    const MeshData& data = *mesh.data;
    const int count = mesh.mesh().getNumVertices();
    if (triangles)
    {
        const oxGeom::MeshAdjTris& adj =
            withoutGil([&]() -> const auto& { return data.adjTris(); });
        return compressed(
            count, [&](int v) { return adj.numTris(v); }, [&](int v) { return adj.triIndices(v); });
    }
    const oxGeom::MeshAdjVertices& adj =
        withoutGil([&]() -> const auto& { return data.adjVertices(); });
    return compressed(
        count, [&](int v) { return adj.numNeighbours(v); },
        [&](int v) { return adj.neighbours(v); });
}

py::list boundaryLoops(const Mesh& mesh)
{
    const MeshData& data = *mesh.data;
    oxGeom::MeshBoundaries loops;
    withoutGil(
        [&]
        { oxGeom::meshComputeBoundary(data.mesh(), data.adjTris(), data.adjVertices(), loops); });
    py::list out;
    for (int i = 0; i < loops.size(); ++i)
        out.append(intArray(loops.getStart(i), loops.getLength(i)));
    return out;
}

py::tuple components(const Mesh& mesh)
{
    const MeshData& data = *mesh.data;
    ox::Array<int> labels;
    const int count =
        withoutGil([&] { return oxGeom::meshComponents(data.mesh(), data.adjTris(), &labels); });
    return py::make_tuple(count, intArray(labels.data(), std::int64_t(labels.size())));
}
}  // namespace

void registerTopology(py::module_& m)
{
    using namespace pybind11::literals;
    m.def("adjacency", &adjacency, "mesh"_a, "kind"_a = "triangles", R"doc(
Per-vertex adjacency lists in compressed form.

kind='triangles': the triangles using each vertex, in ascending triangle order (a triangle
naming the vertex twice is listed twice). kind='vertices': each vertex's distinct neighbours,
in the order they are first met over its triangles.
Returns (offsets, indices): offsets is (n + 1,) int64, indices int32, and vertex v's list is
indices[offsets[v]:offsets[v + 1]]. The table is built once per mesh and cached. Cost O(n + m).)doc");
    m.def("boundary_loops", &boundaryLoops, "mesh"_a, R"doc(
Boundary loops: a list of int32 vertex arrays, one per loop.

A loop walks the boundary edges (edges with no oppositely wound partner) from its lowest vertex
v and lists the vertices after v, ending with v itself, so each loop holds each of its boundary
edges once. Where two boundaries touch at a vertex, the later loop stops there (left open).
A closed mesh gives an empty list. Cost about O(n + m).)doc");
    m.def("components", &components, "mesh"_a, R"doc(
Connected components, triangles being connected when they share a vertex.

Returns (count, labels): labels is (n,) int32 with each vertex's component number (components
are numbered in the order of their lowest triangle), -1 for a vertex no triangle uses.
Cost O(n + m).)doc");
}
}  // namespace trelm_py
