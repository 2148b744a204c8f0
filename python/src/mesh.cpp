// trelm.Mesh: an immutable CompactMesh with NumPy views of its arrays, and trelm.load /
// Mesh.save through the tool's file readers and writers. Views are read-only and keep the
// snapshot they show alive through their base, so no later edit can pull memory from under them.

#include "bindings.h"

#include <oxGeom/computeOctreeTris.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshNormals.h>

#ifdef TRELM_PY_HAVE_FORMATS
#include <meshFiles.h>
#endif

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>

namespace trelm_py
{
// ---- MeshData ----

MeshData::MeshData(oxGeom::CompactMesh&& mesh) : m_mesh(std::move(mesh)) {}

const oxGeom::MeshAdjTris& MeshData::adjTris() const
{
    std::call_once(m_adjTrisOnce, [this] { oxGeom::meshAdjTris(m_mesh, m_adjTris); });
    return m_adjTris;
}

const oxGeom::MeshAdjVertices& MeshData::adjVertices() const
{
    const oxGeom::MeshAdjTris& adj = adjTris();
    std::call_once(m_adjVerticesOnce, [&] { oxGeom::meshAdjVertices(m_mesh, adj, m_adjVertices); });
    return m_adjVertices;
}

const oxGeom::Octree& MeshData::octree() const
{
    std::call_once(m_spatialOnce,
                   [this]
                   {
                       oxGeom::BoundingBox box;
                       oxGeom::meshBoundingBox(m_mesh, box);
                       m_octree = std::make_unique<oxGeom::Octree>(
                           m_mesh.getNumVertices(), m_mesh.getVerticesRaw(), box, true, 16);
                       oxGeom::computeOctreeTris(m_mesh, *m_octree, m_octreeTris);
                   });
    return *m_octree;
}

const oxGeom::OctreeTris& MeshData::octreeTris() const
{
    octree();
    return m_octreeTris;
}

const oxGeom::CompactMesh& MeshData::meshWithNormals() const
{
    if (m_mesh.getNormals() != nullptr)
        return m_mesh;
    std::call_once(m_normalsOnce,
                   [this]
                   {
                       auto copy = std::make_unique<oxGeom::CompactMesh>(m_mesh.getNumVertices(),
                                                                         m_mesh.getVertices(),
                                                                         nullptr, nullptr, nullptr);
                       copy->copyTriangles(m_mesh.getNumTriangles(), m_mesh.getTrianglesRaw());
                       oxGeom::meshComputeNormals(*copy);
                       m_withNormals = std::move(copy);
                   });
    return *m_withNormals;
}

namespace
{
// The power of two that brings the mesh's typical edge, estimated as its box diagonal over the
// square root of its triangle count, closest to 1, kept small enough that no coordinate grows
// beyond 1e18.
double rayScaleOf(const oxGeom::CompactMesh& mesh)
{
    oxGeom::BoundingBox box;
    oxGeom::meshBoundingBox(mesh, box);
    const double diagonal = box.diagonalLength();
    if (mesh.getNumTriangles() == 0 || !(diagonal > 0.0) || !std::isfinite(diagonal))
        return 1.0;
    const double edge = diagonal / std::sqrt(double(mesh.getNumTriangles()));
    int exponent = -static_cast<int>(std::lround(std::log2(edge)));
    double largest = 0.0;
    for (int k = 0; k < 6; ++k)
        largest = std::max(largest, std::fabs(double(box[k])));
    while (exponent > 0 && std::ldexp(largest, exponent) > 1e18)
        --exponent;
    return std::ldexp(1.0, std::max(-100, std::min(100, exponent)));
}
}  // namespace

// The ray-triangle tests take a ray as parallel to a triangle when |d . ((c - a) x (b - a))| is
// at most 1e-6, an absolute bound: with unit directions, a mesh whose triangles are smaller
// than about 1e-3 across (a fine scan measured in metres) would never be hit. Casting into a
// copy scaled by a power of two, which changes no bit of any ratio, puts every mesh at the
// scale where the bound means "nearly parallel" and the smallest accepted parameter, 1e-6
// direction lengths, is far below an edge.
const MeshData::RayScene& MeshData::rayScene() const
{
    std::call_once(
        m_rayOnce,
        [this]
        {
            const double scale = rayScaleOf(m_mesh);
            if (scale == 1.0)
            {
                m_rayScene = RayScene{&m_mesh, &octree(), &octreeTris(), 1.0};
                return;
            }
            m_scaled = std::make_unique<oxGeom::CompactMesh>(
                m_mesh.getNumVertices(), m_mesh.getVertices(), nullptr, nullptr, nullptr);
            m_scaled->copyTriangles(m_mesh.getNumTriangles(), m_mesh.getTrianglesRaw());
            float* xyz = m_scaled->getVerticesRaw();
            for (std::size_t i = 0; i < 3 * std::size_t(m_mesh.getNumVertices()); ++i)
                xyz[i] = static_cast<float>(xyz[i] * scale);
            oxGeom::BoundingBox box;
            oxGeom::meshBoundingBox(*m_scaled, box);
            m_scaledOctree = std::make_unique<oxGeom::Octree>(
                m_scaled->getNumVertices(), m_scaled->getVerticesRaw(), box, true, 16);
            oxGeom::computeOctreeTris(*m_scaled, *m_scaledOctree, m_scaledTris);
            m_rayScene = RayScene{m_scaled.get(), m_scaledOctree.get(), &m_scaledTris, scale};
        });
    return m_rayScene;
}

Mesh wrapMesh(oxGeom::CompactMesh&& mesh)
{
    return Mesh{std::make_shared<const MeshData>(std::move(mesh))};
}

namespace
{
// ---- construction ----

void requireRows(const py::array& a, int rows, const char* name)
{
    if (a.shape(0) != rows)
        throw py::value_error(std::string(name) + ": " + std::to_string(a.shape(0)) + " rows for " +
                              std::to_string(rows) + " vertices");
}

Mesh makeMesh(py::handle verticesIn, py::handle trianglesIn, py::handle normalsIn, py::handle uvsIn)
{
    py::array_t<float> vertices = floatRows(verticesIn, 3, "vertices");
    const int n = static_cast<int>(vertices.shape(0));
    requireFinite(vertices.data(), vertices.size(), "vertices");
    std::int64_t numTriangles = 0;
    std::vector<int> triangles = indexRows(trianglesIn, 3, n, "triangles", &numTriangles);
    py::array_t<float> normals, uvs;
    const bool hasNormals = !normalsIn.is_none(), hasUVs = !uvsIn.is_none();
    if (hasNormals)
    {
        normals = floatRows(normalsIn, 3, "normals");
        requireRows(normals, n, "normals");
    }
    if (hasUVs)
    {
        uvs = floatRows(uvsIn, 2, "uvs");
        requireRows(uvs, n, "uvs");
    }
    return withoutGil(
        [&]
        {
            oxGeom::CompactMesh mesh(
                n, reinterpret_cast<const oxGeom::MeshVertex*>(vertices.data()),
                hasNormals ? reinterpret_cast<const oxGeom::MeshNormal*>(normals.data()) : nullptr,
                hasUVs ? reinterpret_cast<const oxGeom::MeshUV*>(uvs.data()) : nullptr, nullptr);
            mesh.copyTriangles(static_cast<int>(numTriangles), triangles.data());
            return wrapMesh(std::move(mesh));
        });
}

// ---- views ----

template <class T>
py::array readOnlyView(const Mesh& self, const T* data, int rows, int columns)
{
    auto* holder = new MeshPtr(self.data);
    py::capsule base(holder, [](void* p) { delete static_cast<MeshPtr*>(p); });
    const auto size = static_cast<py::ssize_t>(sizeof(T));
    py::array_t<T> view({static_cast<py::ssize_t>(rows), static_cast<py::ssize_t>(columns)},
                        {columns * size, size}, data, base);
    view.attr("flags").attr("writeable") = false;
    return std::move(view);
}

py::object normalsView(const Mesh& self)
{
    const oxGeom::CompactMesh& mesh = self.mesh();
    if (mesh.getNormalsRaw() == nullptr)
        return py::none();
    return readOnlyView(self, mesh.getNormalsRaw(), mesh.getNumVertices(), 3);
}

py::object uvsView(const Mesh& self)
{
    const oxGeom::CompactMesh& mesh = self.mesh();
    if (mesh.getUVsRaw() == nullptr)
        return py::none();
    return readOnlyView(self, mesh.getUVsRaw(), mesh.getNumVertices(), 2);
}

py::list channelNames(const Mesh& self)
{
    ox::set<oxString::CString> names;
    self.mesh().getAttributeNames(names);
    py::list out;
    for (const oxString::CString& name : names)
        out.append(py::str(name.c_str()));
    return out;
}

py::array channelView(const Mesh& self, const std::string& name)
{
    const oxGeom::MeshAttributes* channel = self.mesh().getAttributes(oxString::CString(name));
    if (channel == nullptr)
    {
        PyErr_SetString(PyExc_KeyError, ("the mesh has no channel '" + name + "'").c_str());
        throw py::error_already_set();
    }
    return readOnlyView(self, channel->asFloat(), self.mesh().getNumVertices(),
                        channel->getDimension());
}

// ---- derived meshes ----

Mesh withNormals(const Mesh& self, py::handle normalsIn)
{
    const int n = self.mesh().getNumVertices();
    py::array_t<float> normals;
    const bool given = !normalsIn.is_none();
    if (given)
    {
        normals = floatRows(normalsIn, 3, "normals");
        requireRows(normals, n, "normals");
    }
    return withoutGil(
        [&]
        {
            oxGeom::CompactMesh copy(self.mesh());
            if (given)
                std::copy(normals.data(), normals.data() + 3 * std::size_t(n),
                          copy.allocNormalArray()->v);
            else
                oxGeom::meshComputeNormals(copy);
            // Normals on the Python side are always the mesh's own: welding keeps vertices with
            // different normals apart and carries the normals along.
            copy.setNormalsComputed(false);
            return wrapMesh(std::move(copy));
        });
}

Mesh withUVs(const Mesh& self, py::handle uvsIn)
{
    const int n = self.mesh().getNumVertices();
    py::array_t<float> uvs = floatRows(uvsIn, 2, "uvs");
    requireRows(uvs, n, "uvs");
    return withoutGil(
        [&]
        {
            oxGeom::CompactMesh copy(self.mesh());
            std::copy(uvs.data(), uvs.data() + 2 * std::size_t(n), copy.allocUVArray()->v);
            return wrapMesh(std::move(copy));
        });
}

std::string repr(const Mesh& self)
{
    const oxGeom::CompactMesh& mesh = self.mesh();
    std::ostringstream text;
    text << "<trelm.Mesh: " << mesh.getNumVertices() << " vertices, " << mesh.getNumTriangles()
         << " triangles";
    if (mesh.getNormals())
        text << ", normals";
    if (mesh.getUVs())
        text << ", uvs";
    text << '>';
    return text.str();
}

// ---- files ----

std::string pathText(py::handle path)
{
    py::object text = py::module_::import("os").attr("fspath")(path);
    if (!py::isinstance<py::str>(text))
        throw py::type_error("path must be a str or os.PathLike of str");
    return text.cast<std::string>();
}

#ifdef TRELM_PY_HAVE_FORMATS
trelm::files::MeshFormat formatOf(const std::string& path, py::handle format)
{
    std::optional<trelm::files::MeshFormat> chosen;
    if (format.is_none())
    {
        chosen = trelm::files::formatFromPath(path);
        if (!chosen)
            throw py::value_error(path +
                                  ": unknown mesh file extension (use .obj, .ply, .stl, .off or "
                                  ".trelm, or pass format=)");
    }
    else
    {
        const std::string name = py::str(format).cast<std::string>();
        chosen = trelm::files::formatFromName(name);
        if (!chosen)
            throw py::value_error("unknown mesh format '" + name +
                                  "' (obj, ply, stl, off, text or trelm)");
    }
    return *chosen;
}

Mesh load(py::handle pathIn, py::handle format)
{
    const std::string path = pathText(pathIn);
    const trelm::files::MeshFormat chosen = formatOf(path, format);
    if (!py::module_::import("os").attr("path").attr("exists")(path).cast<bool>())
    {
        PyErr_SetString(PyExc_FileNotFoundError, (path + ": no such file").c_str());
        throw py::error_already_set();
    }
    oxGeom::CompactMesh mesh;
    trelm::files::FileResult result =
        withoutGil([&] { return trelm::files::readMesh(path, chosen, mesh); });
    if (!result)
        throw py::value_error(result.message);
    return withoutGil([&] { return wrapMesh(std::move(mesh)); });
}

void save(const Mesh& self, py::handle pathIn, bool binary, py::handle format)
{
    const std::string path = pathText(pathIn);
    const trelm::files::MeshFormat chosen = formatOf(path, format);
    trelm::files::WriteOptions options;
    options.encoding = binary ? trelm::files::Encoding::Binary : trelm::files::Encoding::Ascii;
    trelm::files::FileResult result =
        withoutGil([&] { return trelm::files::writeMesh(path, chosen, self.mesh(), options); });
    if (!result)
    {
        PyErr_SetString(PyExc_OSError, result.message.c_str());
        throw py::error_already_set();
    }
}
#else
Mesh load(py::handle, py::handle)
{
    throw std::runtime_error("trelm was built without the mesh file formats");
}

void save(const Mesh&, py::handle, bool, py::handle)
{
    throw std::runtime_error("trelm was built without the mesh file formats");
}
#endif
}  // namespace

void registerMesh(py::module_& m)
{
    using namespace pybind11::literals;
    py::class_<Mesh>(m, "Mesh", R"doc(
An indexed triangle mesh: float32 vertex positions, int32 triangles, optional vertex normals
and UVs.

A Mesh never changes after construction. Every editing function returns a new Mesh, so arrays
read from a mesh stay valid and query objects built on it stay exact.

Mesh(vertices, triangles, normals=None, uvs=None)

vertices: (n, 3) real array, converted to float32; every value must be finite.
triangles: (m, 3) integer array of vertex indices in [0, n), converted to int32.
normals: optional (n, 3) real array; uvs: optional (n, 2) real array.
Raises TypeError for a non-numeric input or a non-integer triangle array, ValueError for a
wrong shape, an index out of range or a non-finite position. Empty inputs give an empty mesh.
The arrays are copied. Thread-safe: any number of threads may read one mesh.)doc")
        .def(py::init(&makeMesh), "vertices"_a, "triangles"_a, "normals"_a = py::none(),
             "uvs"_a = py::none())
        .def_property_readonly(
            "vertices",
            [](const Mesh& self) {
                return readOnlyView(self, self.mesh().getVerticesRaw(),
                                    self.mesh().getNumVertices(), 3);
            },
            "(n, 3) float32 positions: a read-only view that keeps the mesh's data alive.")
        .def_property_readonly(
            "triangles",
            [](const Mesh& self) {
                return readOnlyView(self, self.mesh().getTrianglesRaw(),
                                    self.mesh().getNumTriangles(), 3);
            },
            "(m, 3) int32 vertex indices: a read-only view.")
        .def_property_readonly("normals", &normalsView,
                               "(n, 3) float32 vertex normals (read-only view), or None.")
        .def_property_readonly("uvs", &uvsView,
                               "(n, 2) float32 texture coordinates (read-only view), or None.")
        .def_property_readonly(
            "num_vertices", [](const Mesh& self) { return self.mesh().getNumVertices(); },
            "Number of vertices.")
        .def_property_readonly(
            "num_triangles", [](const Mesh& self) { return self.mesh().getNumTriangles(); },
            "Number of triangles.")
        .def_property_readonly("channels", &channelNames,
                               "Names of the per-vertex channels the mesh carries, sorted "
                               "('Vertices' always; 'Normals', 'UVs', 'Colours' ... when "
                               "present, e.g. from a loaded file).")
        .def("channel", &channelView, "name"_a, R"doc(
The per-vertex channel called `name` (one of `channels`) as a read-only (n, k) float32 view,
k = 1 to 4 values per vertex ('Colours': red, green, blue, alpha in [0, 1]). Raises KeyError
for a channel the mesh does not carry.)doc")
        .def("with_normals", &withNormals, "normals"_a = py::none(), R"doc(
A copy of the mesh with vertex normals.

normals: (n, 3) array to attach, or None to compute them: each vertex gets the normalised,
unweighted sum of the unit normals of its triangles ((0, 0, 0) for an unused vertex).
Raises ValueError for a wrong shape. Cost O(n + m).)doc")
        .def("with_uvs", &withUVs, "uvs"_a, R"doc(
A copy of the mesh with the given (n, 2) texture coordinates. Raises ValueError for a wrong
shape.)doc")
        .def("save", &save, "path"_a, "binary"_a = true, "format"_a = py::none(), R"doc(
Writes the mesh to a file.

path: str or os.PathLike; the format comes from the extension (.obj, .ply, .stl, .off,
.trelm) unless format= names it ('obj', 'ply', 'stl', 'off', 'text'). binary: binary
encoding for PLY and STL (the other formats are text). The file is written to a temporary
beside it and renamed into place, so a failure never leaves a partial file.
Raises ValueError for an unknown extension or format name, OSError with one line saying what
went wrong when the file cannot be written.)doc")
        .def("__repr__", &repr);

    m.def("load", &load, "path"_a, "format"_a = py::none(), R"doc(
Reads a mesh file (OBJ, PLY, STL, OFF or the library's .trelm text format).

path: str or os.PathLike; the format comes from the extension unless format= names it.
Returns a Mesh with the file's positions, triangles and the channels the format carries
(normals, UVs, colours, named attributes). Polygons are fanned into triangles.
Raises FileNotFoundError for a missing file; ValueError for an unknown extension or format
name, and with one line naming the file, the place and the fault for unreadable, malformed or
truncated content, an index out of range or a non-finite position.)doc");
}
}  // namespace trelm_py
