#pragma once
// Shared pieces of the Python module `trelm`: the immutable mesh snapshot every binding reads,
// the conversion and validation of NumPy inputs, and the rule for running library work with
// the GIL released.
//
// Meshes are immutable on the Python side. Every editing function builds a new snapshot, so a
// NumPy view handed out earlier never sees its memory freed or changed, query objects never see
// a stale mesh, and concurrent Python threads need no locks around a mesh.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshPlacement.h>
#include <oxGeom/Octree.h>
#include <oxGeom/OctreeTris.h>
#include <oxLinear/AffineMatrix.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

namespace trelm_py
{
namespace py = pybind11;

/// One mesh as Python sees it: a CompactMesh that nobody changes after construction, plus the
/// derived tables the bindings need, each built on first request (thread-safe, at most once).
class MeshData
{
public:
    /// Takes over `mesh`. Precondition: every triangle corner lies in [0, vertex count).
    explicit MeshData(oxGeom::CompactMesh&& mesh);
    MeshData(const MeshData&) = delete;
    MeshData& operator=(const MeshData&) = delete;

    const oxGeom::CompactMesh& mesh() const { return m_mesh; }

    /// The vertex -> triangle table (meshAdjTris).
    const oxGeom::MeshAdjTris& adjTris() const;
    /// The vertex -> neighbour table (meshAdjVertices).
    const oxGeom::MeshAdjVertices& adjVertices() const;
    /// The vertex octree (leaf size 16, leaves tiling the mesh's box) and its triangle lists.
    const oxGeom::Octree& octree() const;
    const oxGeom::OctreeTris& octreeTris() const;
    /// The mesh itself when it has vertex normals, else a copy carrying computed ones (same
    /// vertices and triangles, so the tables above serve it too).
    const oxGeom::CompactMesh& meshWithNormals() const;

    /// What ray casts run on: the mesh scaled by a power of two (exact in floating point) so
    /// that its typical edge is about 1, with its own octree and lists; the mesh itself when
    /// it is at that scale already. See rayScene() in mesh.cpp for why.
    struct RayScene
    {
        const oxGeom::CompactMesh* mesh;
        const oxGeom::Octree* octree;
        const oxGeom::OctreeTris* tris;
        double scale;  ///< scene coordinates = mesh coordinates * scale
    };
    const RayScene& rayScene() const;

private:
    oxGeom::CompactMesh m_mesh;
    mutable std::once_flag m_adjTrisOnce, m_adjVerticesOnce, m_spatialOnce, m_normalsOnce;
    mutable oxGeom::MeshAdjTris m_adjTris;
    mutable oxGeom::MeshAdjVertices m_adjVertices;
    mutable std::unique_ptr<oxGeom::Octree> m_octree;
    mutable oxGeom::OctreeTris m_octreeTris;
    mutable std::unique_ptr<oxGeom::CompactMesh> m_withNormals;
    mutable std::once_flag m_rayOnce;
    mutable RayScene m_rayScene{};
    mutable std::unique_ptr<oxGeom::CompactMesh> m_scaled;
    mutable std::unique_ptr<oxGeom::Octree> m_scaledOctree;
    mutable oxGeom::OctreeTris m_scaledTris;
};

using MeshPtr = std::shared_ptr<const MeshData>;

/// The Python class trelm.Mesh: a handle on one snapshot.
struct Mesh
{
    MeshPtr data;

    const oxGeom::CompactMesh& mesh() const { return data->mesh(); }
};

/// Wraps a finished scratch mesh as a new Python mesh.
Mesh wrapMesh(oxGeom::CompactMesh&& mesh);

/// The largest vertex or triangle count a mesh may have: three indices or coordinates per
/// element must fit an int.
constexpr std::int64_t maxElements = 715827882;

/// Runs `work` with the GIL released and the thread pool held for use (set_threads waits for
/// it), then takes the GIL back. Every binding that enters the library goes through here, so
/// library diagnostics and progress callbacks, which take the GIL, can never deadlock.
std::shared_mutex& poolMutex();
template <class Work>
auto withoutGil(Work&& work) -> decltype(work())
{
    py::gil_scoped_release release;
    std::shared_lock<std::shared_mutex> pool(poolMutex());
    return work();
}

// ---- input conversion; every failure raises TypeError or ValueError naming the argument ----

/// `object` as a C-contiguous (n, columns) float32 array. Accepts any real-valued array-like
/// (integers and floats are converted); an empty 1-D input counts as (0, columns).
py::array_t<float> floatRows(py::handle object, int columns, const char* name);
/// The same as float64.
py::array_t<double> doubleRows(py::handle object, int columns, const char* name);
/// `object` as int32 (n, columns) indices, each in [0, limit). Needs an integer dtype.
std::vector<int> indexRows(py::handle object, int columns, std::int64_t limit, const char* name,
                           std::int64_t* rows);
/// A selection of `count` elements as ascending indices: a bool mask of length `count`, or an
/// integer array of indices in [0, count) (kept in the given order).
std::vector<int> selection(py::handle object, int count, const char* name);
/// Raises ValueError when any value is NaN or infinite.
void requireFinite(const float* values, std::int64_t count, const char* name);
void requireFinite(const double* values, std::int64_t count, const char* name);

/// A placement matrix: None (identity), a (4, 3) array in the library's row-vector convention
/// (rows 0..2 the images of the axes, row 3 the translation), or a (4, 4) array in the same
/// convention whose last column is (0, 0, 0, 1). Values must be finite.
oxLinear::AffineMatrix affineMatrix(py::handle object, const char* name);
/// Placements of `meshes`: `placements` is None or a sequence of the same length.
std::vector<oxGeom::MeshPlacement> placementsOf(const std::vector<Mesh>& meshes,
                                                py::handle placements);

// ---- outputs ----

/// A new (rows, columns) array, or a 1-D array of `rows` when columns is 0.
template <class T>
py::array_t<T> newArray(std::int64_t rows, int columns = 0)
{
    if (columns == 0)
        return py::array_t<T>(std::vector<py::ssize_t>{rows});
    return py::array_t<T>(std::vector<py::ssize_t>{rows, columns});
}
/// Copies `count` values into a new 1-D array.
py::array_t<int> intArray(const int* values, std::int64_t count);

/// Hands one application-output message to the capture open on this thread, if any.
void captureAppOutput(bool isError, const std::string& text);

/// The text of the last error messages the library sent to the application output on this
/// thread while a capture was open; used to turn a refusal into a ValueError.
class AppOutputCapture
{
public:
    AppOutputCapture();
    ~AppOutputCapture();
    AppOutputCapture(const AppOutputCapture&) = delete;
    AppOutputCapture& operator=(const AppOutputCapture&) = delete;
    /// The error lines, joined by blanks; empty when there were none.
    std::string errors() const;

private:
    friend void captureAppOutput(bool isError, const std::string& text);
    AppOutputCapture* m_previous;
    std::string m_errors;
};

/// Raised (as trelm.CancelledError) when a progress callback returned False.
class Cancelled : public std::exception
{
public:
    const char* what() const noexcept override { return "cancelled by the progress callback"; }
};

// ---- registration of each family ----
void registerMesh(py::module_& m);
void registerAnalysis(py::module_& m);
void registerTopology(py::module_& m);
void registerEditing(py::module_& m);
void registerQueries(py::module_& m);
void registerParameterization(py::module_& m);
void registerView(py::module_& m);
void registerSampling(py::module_& m);
}  // namespace trelm_py
