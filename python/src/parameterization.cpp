// Flattening meshes and packing charts from Python. flatten runs the disk parameterization on a
// private copy and returns it with UVs; the caller's progress callback is called with the GIL
// taken, and returning False or raising cancels the run. Refusals, which the library reports
// through its application output, become a ValueError carrying those messages.

#include "bindings.h"

#include <oxGeom/pack.h>
#include <oxGeom/reparameterizeMesh.h>

#include <cmath>

namespace trelm_py
{
namespace
{
// Bridges the library's progress reports to a Python callable. The first exception the
// callable raises is kept and re-raised once the library has returned.
class ProgressBridge
{
public:
    explicit ProgressBridge(py::handle callback) : m_callback(callback) {}

    oxUtil::Progress::Callback callback()
    {
        if (m_callback.is_none())
            return {};
        return [this](double fraction, const char* caption) { report(fraction, caption); };
    }

    void attach(oxUtil::Progress& progress) { m_progress = &progress; }
    void detach() { m_progress = nullptr; }
    bool returnedFalse() const { return m_returnedFalse; }

    void rethrow()
    {
        if (m_error)
        {
            py::error_already_set error = std::move(*m_error);
            m_error.reset();
            throw error;
        }
    }

private:
    void report(double fraction, const char* caption)
    {
        py::gil_scoped_acquire gil;
        if (m_error || m_returnedFalse)
            return;
        try
        {
            py::object result = m_callback(fraction, caption ? caption : "");
            if (result.is(py::bool_(false)))
            {
                m_returnedFalse = true;
                cancel();
            }
        }
        catch (py::error_already_set& error)
        {
            m_error = std::make_unique<py::error_already_set>(std::move(error));
            cancel();
        }
    }

    void cancel()
    {
        if (m_progress)
            m_progress->cancel();
    }

    py::handle m_callback;
    oxUtil::Progress* m_progress = nullptr;
    bool m_returnedFalse = false;
    std::unique_ptr<py::error_already_set> m_error;
};

Mesh flatten(const Mesh& mesh, py::handle progressCallback, bool weld, bool cut)
{
    if (!progressCallback.is_none() && !PyCallable_Check(progressCallback.ptr()))
        throw py::type_error("flatten: progress must be callable or None");
    ProgressBridge bridge(progressCallback);
    AppOutputCapture capture;
    bool flattened = false;
    Mesh result = withoutGil(
        [&]
        {
            oxUtil::Progress progress(bridge.callback());
            bridge.attach(progress);
            oxGeom::CompactMesh copy(mesh.mesh());
            bool ok;
            {
                oxGeom::reparameterizeMesh job(copy);
                job.enableMeshCompact(weld);
                job.enableMeshCutSurface(cut);
                ok = job.flatten(progress);
            }
            flattened = ok;
            bridge.detach();
            return wrapMesh(std::move(copy));
        });
    bridge.rethrow();
    if (bridge.returnedFalse())
        throw Cancelled();
    if (!flattened)
    {
        // Some refusals (a closed mesh with cutting off, a mesh in several pieces) come without
        // an error line; name the documented causes then.
        const std::string why = capture.errors();
        throw py::value_error(
            "flatten: mesh not flattened: " +
            (why.empty() ? std::string("it is not one disk-like piece (several pieces, pinched "
                                       "boundaries, or cut=False on a closed or higher-genus mesh)")
                         : why));
    }
    return result;
}

py::array_t<double> pack(py::handle rectsIn)
{
    py::array_t<double> rects = doubleRows(rectsIn, 4, "rects");
    const std::int64_t n = rects.shape(0);
    requireFinite(rects.data(), rects.size(), "rects");
    const double* r = rects.data();
    for (std::int64_t i = 0; i < n; ++i)
        if (r[4 * i + 2] < r[4 * i] || r[4 * i + 3] < r[4 * i + 1])
            throw py::value_error("rects: row " + std::to_string(i) +
                                  " has a maximum below its minimum (rows are xmin, ymin, xmax, "
                                  "ymax)");
    auto out = newArray<double>(n, 4);
    double* placed = out.mutable_data();
    withoutGil(
        [&]
        {
            ox::vector<oxLinear::Range2d> ranges(static_cast<std::size_t>(n));
            for (std::int64_t i = 0; i < n; ++i)
                ranges[std::size_t(i)] =
                    oxLinear::Range2d(oxLinear::Point2(r[4 * i], r[4 * i + 1]),
                                      oxLinear::Point2(r[4 * i + 2], r[4 * i + 3]));
            oxGeom::pack(ranges, 0);
            for (std::int64_t i = 0; i < n; ++i)
            {
                const oxLinear::Range2d& range = ranges[std::size_t(i)];
                placed[4 * i] = range.min()[0];
                placed[4 * i + 1] = range.min()[1];
                placed[4 * i + 2] = range.max()[0];
                placed[4 * i + 3] = range.max()[1];
            }
        });
    return out;
}
}  // namespace

void registerParameterization(py::module_& m)
{
    using namespace pybind11::literals;
    m.def("flatten", &flatten, "mesh"_a, "progress"_a = py::none(), "weld"_a = true, "cut"_a = true,
          R"doc(
Flattens a mesh onto the plane (least-squares conformal map) and returns a copy with UVs.

The mesh should be a disk topologically; with cut=True a closed mesh or one of higher genus is
cut into a disk first. weld=False undoes the internal weld of coincident vertices when it would
change the boundary loops. Every UV lies in the unit square, the layout's longer side spanning
[0, 1].
progress: optional callable(fraction, caption), called with the GIL held, possibly from pool
threads; returning False cancels (raises trelm.CancelledError), raising an exception cancels and
re-raises it. Returning anything else (None included) continues.
Raises ValueError with the library's reason when the mesh cannot be flattened (several pieces,
degenerate triangles, a mesh that is not a disk with cut=False). Cost: a sparse solve, about
O(n^1.5) for n vertices.)doc");
    m.def("pack", &pack, "rects"_a, R"doc(
Packs rectangles (chart extents) into the unit square without overlap.

rects: (k, 4) array of rows (xmin, ymin, xmax, ymax); only the sizes matter. Every value must be
finite and each maximum at least its minimum.
Returns a new (k, 4) float64 array, row i the place of rectangle i: all rectangles are shrunk
by one common factor until a binary-partition packer fits them, then the layout is enlarged to
touch the far side of the square. Cost grows like k times the log of the shrink needed.)doc");
}
}  // namespace trelm_py
