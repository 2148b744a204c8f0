// Measuring a mesh from Python: surface area, bounding box, vertex and triangle normals and
// per-vertex curvature. Results come back as Python floats and new NumPy arrays; the mesh is
// never changed (normals are computed on a scratch copy of positions and triangles).

#include "bindings.h"

#include <oxGeom/meshArea.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshCurvature.h>
#include <oxGeom/meshNormals.h>

#include <algorithm>

namespace trelm_py
{
namespace
{
oxGeom::MeshChannel channelOf(const Mesh& mesh, const std::string& channel)
{
    if (channel == "vertices")
        return oxGeom::VertexChannel;
    if (channel == "uvs")
    {
        if (mesh.mesh().getUVs() == nullptr)
            throw py::value_error("area: the mesh has no UVs");
        return oxGeom::UVChannel;
    }
    throw py::value_error("area: channel must be 'vertices' or 'uvs', got '" + channel + "'");
}

double area(const Mesh& mesh, const std::string& channel, py::handle matrix)
{
    oxGeom::MeshPlacement placement;
    placement.mesh = &mesh.mesh();
    placement.matrix = oxLinear::AffineMatrixFlt(affineMatrix(matrix, "matrix"));
    const oxGeom::MeshChannel chosen = channelOf(mesh, channel);
    return withoutGil([&] { return double(oxGeom::meshArea(placement, chosen)); });
}

py::tuple boundingBox(const Mesh& mesh)
{
    auto lower = newArray<double>(3);
    auto upper = newArray<double>(3);
    double* lo = lower.mutable_data();
    double* hi = upper.mutable_data();
    withoutGil([&] { oxGeom::meshBoundingBox(mesh.mesh(), lo, hi); });
    return py::make_tuple(lower, upper);
}

// Positions and triangles of `source` in a scratch mesh that the normal functions may write.
oxGeom::CompactMesh geometryCopy(const oxGeom::CompactMesh& source)
{
    oxGeom::CompactMesh copy(source.getNumVertices(), source.getVertices(), nullptr, nullptr,
                             nullptr);
    copy.copyTriangles(source.getNumTriangles(), source.getTrianglesRaw());
    return copy;
}

py::array_t<float> computeNormals(const Mesh& mesh, const std::string& per)
{
    const bool perVertex = per == "vertex";
    if (!perVertex && per != "triangle")
        throw py::value_error("compute_normals: per must be 'vertex' or 'triangle', got '" + per +
                              "'");
    const oxGeom::CompactMesh& source = mesh.mesh();
    const int rows = perVertex ? source.getNumVertices() : source.getNumTriangles();
    auto out = newArray<float>(rows, 3);
    float* values = out.mutable_data();
    withoutGil(
        [&]
        {
            if (rows == 0)
                return;
            oxGeom::CompactMesh scratch = geometryCopy(source);
            if (perVertex)
                oxGeom::meshComputeNormals(scratch);
            else
                oxGeom::meshComputeTriangleNormals(scratch);
            const float* computed =
                perVertex ? scratch.getNormalsRaw() : scratch.getTriangleNormalsRaw();
            std::copy(computed, computed + 3 * std::size_t(rows), values);
        });
    return out;
}

oxGeom::MeshCurvature curvatureKind(const std::string& kind)
{
    if (kind == "mean")
        return oxGeom::MeanCurvature;
    if (kind == "gaussian")
        return oxGeom::GaussianCurvature;
    if (kind == "min")
        return oxGeom::MinCurvature;
    if (kind == "max")
        return oxGeom::MaxCurvature;
    throw py::value_error("curvature: kind must be 'mean', 'gaussian', 'min' or 'max', got '" +
                          kind + "'");
}

py::array_t<float> curvature(const Mesh& mesh, const std::string& kind)
{
    const oxGeom::MeshCurvature chosen = curvatureKind(kind);
    auto out = newArray<float>(mesh.mesh().getNumVertices());
    float* values = out.mutable_data();
    withoutGil(
        [&]
        {
            const MeshData& data = *mesh.data;
            oxGeom::meshCurvature(data.meshWithNormals(), data.adjTris(), data.adjVertices(),
                                  oxLinear::AffineMatrixFlt(1.0f), chosen, values);
        });
    return out;
}
}  // namespace

void registerAnalysis(py::module_& m)
{
    using namespace pybind11::literals;
    m.def("area", &area, "mesh"_a, "channel"_a = "vertices", "matrix"_a = py::none(), R"doc(
Surface area of a mesh.

channel: 'vertices' measures the 3-D triangles, 'uvs' the triangles in texture space.
matrix: optional (4, 3) or (4, 4) placement in row-vector form (p' = p M); its linear part
scales the 3-D area, its translation does not matter.
Returns the sum of the triangle areas (accumulated in double, rounded to float32), 0 for a mesh
without triangles. Raises ValueError for an unknown channel or 'uvs' on a mesh without UVs.
Runs on the thread pool. Cost O(m).)doc");
    m.def("bounding_box", &boundingBox, "mesh"_a, R"doc(
Axis-aligned box of all vertices (used or not).

Returns (minimum, maximum), two float64 arrays of 3. A mesh without vertices gives the empty
box: minimum 3.4028235e38 and maximum -3.4028235e38 on every axis. Cost O(n).)doc");
    m.def("compute_normals", &computeNormals, "mesh"_a, "per"_a = "vertex", R"doc(
Unit normals of the mesh, following the triangles' winding (right-hand rule).

per='vertex': (n, 3) float32, each vertex the normalised, unweighted sum of the unit normals of
its triangles; (0, 0, 0) for a vertex on no triangle or whose normals cancel.
per='triangle': (m, 3) float32, each triangle's unit normal; (0, 0, 1) for a degenerate one.
The mesh is not changed (see Mesh.with_normals to attach them). Runs on the thread pool; the
result does not depend on the thread count. Cost O(n + m).)doc");
    m.def("curvature", &curvature, "mesh"_a, "kind"_a = "mean", R"doc(
Discrete curvature at every vertex: (n,) float32.

kind: 'mean' (signed: positive on a sphere with outward normals), 'gaussian', 'min' or 'max'
(the principal curvatures of smaller and larger magnitude). Interior vertices use cotangent
weights, angle deficits and mixed Voronoi areas; boundary and isolated vertices take the mean
of their neighbours. The sign of the mean curvature follows the mesh's normals, or computed
normals when it has none. A vertex whose triangles all have zero area gets a non-finite value.
Runs on the thread pool. Cost O(n + m).)doc");
}
}  // namespace trelm_py
