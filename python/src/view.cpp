// The view model from Python: a perspective lens (AngleAspect), a general eye-space view volume
// (EyeSpaceFrustum) and a screen window (Viewport). They are plain values, so they are bound
// by value with keyword constructors; matrices come back as float64 NumPy arrays in the
// library's row-vector convention (p' = p M).

#include "bindings.h"

#include <oxGeom/AngleAspect.h>
#include <oxGeom/EyeSpaceFrustum.h>
#include <oxGeom/Viewport.h>

#include <pybind11/operators.h>
#include <pybind11/stl.h>

#include <optional>
#include <sstream>

namespace trelm_py
{
namespace
{
py::array_t<double> matrixArray(const double* values, int rows, int columns)
{
    auto out = newArray<double>(rows, columns);
    std::copy(values, values + rows * columns, out.mutable_data());
    return out;
}

py::array_t<double> projArray(const oxLinear::ProjMatrix& m)
{
    return matrixArray(m.data(), 4, 4);
}

oxLinear::ProjMatrix projFrom(py::handle object, const char* name)
{
    py::array_t<double> values = doubleRows(object, 4, name);
    if (values.shape(0) != 4)
        throw py::value_error(std::string(name) + " must have shape (4, 4)");
    return oxLinear::ProjMatrix(values.data());
}

// ---- AngleAspect ----

oxGeom::AngleAspect makeLens(std::optional<double> angle, std::optional<double> aspect,
                             std::optional<double> nearDist, std::optional<double> farDist)
{
    oxGeom::AngleAspect lens;
    if (angle)
        lens.setAngleOfViewRad(*angle);
    if (aspect)
        lens.setAspectRatio(*aspect);
    lens.setDepthRange(nearDist.value_or(lens.getNearDist()), farDist.value_or(lens.getFarDist()));
    return lens;
}

std::string lensRepr(const oxGeom::AngleAspect& lens)
{
    std::ostringstream text;
    text.precision(12);
    text << "trelm.AngleAspect(angle_of_view=" << lens.getAngleOfViewRad()
         << ", aspect_ratio=" << lens.getAspectRatio() << ", near=" << lens.getNearDist()
         << ", far=" << lens.getFarDist() << ")";
    return text.str();
}

// ---- EyeSpaceFrustum ----

oxGeom::EyeSpaceFrustum makeFrustum(double left, double right, double bottom, double top,
                                    double nearDist, double farDist, bool orthographic)
{
    oxGeom::EyeSpaceFrustum frustum;
    frustum.setDepthRange(nearDist, farDist, false);
    frustum.setFrame(oxLinear::Tuple2(left, bottom), oxLinear::Tuple2(right, top));
    frustum.setOrthographic(orthographic);
    return frustum;
}

py::tuple frameOf(const oxGeom::EyeSpaceFrustum& frustum)
{
    oxLinear::Tuple2 a, b;
    frustum.getFrame(a, b);
    return py::make_tuple(a[0], b[0], a[1], b[1]);
}

std::string frustumRepr(const oxGeom::EyeSpaceFrustum& frustum)
{
    oxLinear::Tuple2 a, b;
    frustum.getFrame(a, b);
    std::ostringstream text;
    text.precision(12);
    text << "trelm.EyeSpaceFrustum(left=" << a[0] << ", right=" << b[0] << ", bottom=" << a[1]
         << ", top=" << b[1] << ", near=" << frustum.getNearDist()
         << ", far=" << frustum.getFarDist()
         << ", orthographic=" << (frustum.getOrthographic() ? "True" : "False") << ")";
    return text.str();
}

py::tuple planeAtDepth(const oxGeom::EyeSpaceFrustum& frustum, double depth)
{
    oxLinear::ParamPlane plane;
    frustum.getPlaneAtDepth(depth, plane);
    auto point = [](const double* v) { return matrixArray(v, 1, 3).reshape({3}); };
    return py::make_tuple(point(plane.origin().data()), point(plane.uAxis().data()),
                          point(plane.vAxis().data()), plane.halfWidth(), plane.halfHeight());
}

// ---- Viewport ----

oxGeom::Viewport makeViewport(double x, double y, double width, double height, double nearDepth,
                              double farDepth)
{
    oxGeom::Viewport viewport;
    viewport.setOrigin(x, y);
    viewport.setSize(width, height);
    viewport.setDepthRange(nearDepth, farDepth);
    return viewport;
}

template <class Get>
py::tuple pairOf(const oxGeom::Viewport& viewport, Get get)
{
    double a, b;
    (viewport.*get)(a, b);
    return py::make_tuple(a, b);
}

py::array_t<double> viewTransform(const oxGeom::Viewport& viewport, const std::string& form,
                                  bool inverse)
{
    if (form == "projective")
    {
        oxLinear::ProjMatrix m;
        inverse ? viewport.getInverseViewTransform(m) : viewport.getViewTransform(m);
        return projArray(m);
    }
    if (form == "affine")
    {
        oxLinear::AffineMatrix m;
        inverse ? viewport.getInverseViewTransform(m) : viewport.getViewTransform(m);
        return matrixArray(m.data(), 4, 3);
    }
    if (form == "2d")
    {
        oxLinear::AffineMatrix2 m;
        inverse ? viewport.getInverseViewTransform(m) : viewport.getViewTransform(m);
        return matrixArray(m.data(), 3, 2);
    }
    throw py::value_error("form must be 'projective', 'affine' or '2d', got '" + form + "'");
}

py::array_t<double> pickTransform(const oxGeom::Viewport& viewport, py::handle rectIn)
{
    py::array flat = py::array::ensure(rectIn);
    if (!flat || flat.size() != 4)
        throw py::value_error("rect must be 4 numbers (xmin, ymin, xmax, ymax)");
    py::array_t<double> rect = doubleRows(flat.reshape({1, 4}), 4, "rect");
    const double* r = rect.data();
    oxLinear::AffineMatrix m;
    viewport.getPickTransform(
        oxLinear::Range2d(oxLinear::Point2(r[0], r[1]), oxLinear::Point2(r[2], r[3])), m);
    return matrixArray(m.data(), 4, 3);
}

std::string viewportRepr(const oxGeom::Viewport& viewport)
{
    double x, y, w, h, n, f;
    viewport.getOrigin(x, y);
    viewport.getSize(w, h);
    viewport.getDepthRange(n, f);
    std::ostringstream text;
    text.precision(12);
    text << "trelm.Viewport(x=" << x << ", y=" << y << ", width=" << w << ", height=" << h
         << ", near_depth=" << n << ", far_depth=" << f << ")";
    return text.str();
}
}  // namespace

void registerView(py::module_& m)
{
    using namespace pybind11::literals;
    using oxGeom::AngleAspect;
    using oxGeom::EyeSpaceFrustum;
    using oxGeom::Viewport;

    py::class_<AngleAspect>(m, "AngleAspect", R"doc(
A symmetric perspective lens; the eye sits at the origin looking down -Z.

AngleAspect(angle_of_view=None, aspect_ratio=None, near=None, far=None): vertical angle of view
in radians (default 55 degrees), width / height (default 1), near and far distances in front of
the eye (default 1 and 100). Values are stored unchecked. Equality allows the library's
tolerances.)doc")
        .def(py::init(&makeLens), "angle_of_view"_a = py::none(), "aspect_ratio"_a = py::none(),
             "near"_a = py::none(), "far"_a = py::none())
        .def_property("angle_of_view", &AngleAspect::getAngleOfViewRad,
                      &AngleAspect::setAngleOfViewRad, "Vertical angle of view in radians.")
        .def_property("aspect_ratio", &AngleAspect::getAspectRatio, &AngleAspect::setAspectRatio,
                      "Width / height.")
        .def_property(
            "near", &AngleAspect::getNearDist,
            [](AngleAspect& self, double v) { self.setDepthRange(v, self.getFarDist()); },
            "Distance of the near plane.")
        .def_property(
            "far", &AngleAspect::getFarDist,
            [](AngleAspect& self, double v) { self.setDepthRange(self.getNearDist(), v); },
            "Distance of the far plane.")
        .def("height_at_depth", &AngleAspect::getHeightAtDepth, "depth"_a,
             "Height of the visible window at that distance: 2 tan(aov / 2) depth.")
        .def("width_for_height", &AngleAspect::getWidthForHeight, "height"_a,
             "aspect_ratio * height.")
        .def(
            "matrix",
            [](const AngleAspect& self, bool infiniteFar)
            {
                oxLinear::ProjMatrix matrix;
                self.getMatrix(matrix, infiniteFar);
                return projArray(matrix);
            },
            "infinite_far"_a = false, R"doc(
The (4, 4) projection from eye space to clip space, row-vector form (p' = p M): with
g = 1 / tan(aov / 2), m00 = g / aspect, m11 = g, m23 = -1, m22 and m32 from the depth range
(or the far plane at infinity).)doc")
        .def(
            "eye_space_frustum",
            [](const AngleAspect& self)
            {
                EyeSpaceFrustum frustum;
                self.getEyeSpaceFrustum(frustum);
                return frustum;
            },
            "The perspective view volume of this lens.")
        .def(py::self == py::self)
        .def(py::self != py::self)
        .def("__repr__", &lensRepr);

    py::class_<EyeSpaceFrustum>(m, "EyeSpaceFrustum", R"doc(
A general eye-space view volume: the window at the near plane (the box's sides when
orthographic), the depth range and the projection mode. The eye looks down -Z.

EyeSpaceFrustum(left=-1, right=1, bottom=-1, top=1, near=1, far=100, orthographic=False).
Values are stored unchecked (a zero-sized window gives non-finite matrices).)doc")
        .def(py::init(&makeFrustum), "left"_a = -1.0, "right"_a = 1.0, "bottom"_a = -1.0,
             "top"_a = 1.0, "near"_a = 1.0, "far"_a = 100.0, "orthographic"_a = false)
        .def_property_readonly("frame", &frameOf, "(left, right, bottom, top).")
        .def(
            "set_frame",
            [](EyeSpaceFrustum& self, double left, double right, double bottom, double top)
            { self.setFrame(oxLinear::Tuple2(left, bottom), oxLinear::Tuple2(right, top)); },
            "left"_a, "right"_a, "bottom"_a, "top"_a, "Sets the window.")
        .def_property_readonly("near", &EyeSpaceFrustum::getNearDist,
                               "Distance of the near plane (set with set_depth_range).")
        .def_property_readonly("far", &EyeSpaceFrustum::getFarDist,
                               "Distance of the far plane (set with set_depth_range).")
        .def_property_readonly("orthographic", &EyeSpaceFrustum::getOrthographic,
                               "True for an orthographic volume (set with set_orthographic).")
        .def("set_depth_range", &EyeSpaceFrustum::setDepthRange, "near"_a, "far"_a,
             "keep_angle"_a = false, R"doc(
Sets the depth range. With keep_angle on a perspective volume the angle of view and aspect
ratio are kept (the window is rebuilt symmetric at the new near distance).)doc")
        .def(
            "set_orthographic",
            [](EyeSpaceFrustum& self, bool orthographic, std::optional<double> depth)
            {
                if (depth)
                    self.setOrthographic(orthographic, *depth);
                else
                    self.setOrthographic(orthographic);
            },
            "orthographic"_a, "depth"_a = py::none(), R"doc(
Switches the projection mode. Without depth only the mode changes; with depth (> 0) the window
becomes the symmetric window that keeps the view's size at that distance.)doc")
        .def_property_readonly("aspect_ratio", &EyeSpaceFrustum::getAspectRatio,
                               "(right - left) / (top - bottom).")
        .def("height_at_depth", &EyeSpaceFrustum::getHeightAtDepth, "depth"_a,
             "Height of the visible window at that distance: top - bottom when orthographic, "
             "else (top - bottom) depth / near.")
        .def("width_for_height", &EyeSpaceFrustum::getWidthForHeight, "height"_a,
             "aspect_ratio * height.")
        .def(
            "matrix",
            [](const EyeSpaceFrustum& self, bool infiniteFar)
            {
                oxLinear::ProjMatrix matrix;
                self.getMatrix(matrix, infiniteFar);
                return projArray(matrix);
            },
            "infinite_far"_a = false,
            "The (4, 4) projection to clip space (row-vector form), orthographic or "
            "perspective (glFrustum layout transposed).")
        .def(
            "inverse_matrix",
            [](const EyeSpaceFrustum& self)
            {
                oxLinear::ProjMatrix matrix;
                self.getInverseMatrix(matrix);
                return projArray(matrix);
            },
            "The inverse of matrix() (finite far plane), in closed form.")
        .def(
            "angle_aspect",
            [](const EyeSpaceFrustum& self)
            {
                AngleAspect lens;
                self.getAngleAspect(lens);
                return lens;
            },
            "The symmetric lens of this volume (an off-centre window loses its offset).")
        .def("plane_at_depth", &planeAtDepth, "depth"_a, R"doc(
The plane z = -depth as (origin, u_axis, v_axis, half_width, half_height): half the visible
window at that depth.)doc")
        .def(py::self == py::self)
        .def(py::self != py::self)
        .def("__repr__", &frustumRepr);

    py::class_<Viewport>(m, "Viewport", R"doc(
A screen window: origin, size and depth range.

Viewport(x=0, y=0, width=1, height=1, near_depth=0, far_depth=1). The view transforms always
map normalised depth [-1, 1] to [0, 1]; the depth range is stored and compared only.)doc")
        .def(py::init(&makeViewport), "x"_a = 0.0, "y"_a = 0.0, "width"_a = 1.0, "height"_a = 1.0,
             "near_depth"_a = 0.0, "far_depth"_a = 1.0)
        .def_property(
            "origin", [](const Viewport& self) { return pairOf(self, &Viewport::getOrigin); },
            [](Viewport& self, std::pair<double, double> v) { self.setOrigin(v.first, v.second); },
            "(x, y).")
        .def_property(
            "size", [](const Viewport& self) { return pairOf(self, &Viewport::getSize); },
            [](Viewport& self, std::pair<double, double> v) { self.setSize(v.first, v.second); },
            "(width, height).")
        .def_property(
            "depth_range",
            [](const Viewport& self) { return pairOf(self, &Viewport::getDepthRange); },
            [](Viewport& self, std::pair<double, double> v)
            { self.setDepthRange(v.first, v.second); },
            "(near_depth, far_depth).")
        .def_property_readonly("aspect_ratio", &Viewport::getAspectRatio, "width / height.")
        .def(
            "view_transform",
            [](const Viewport& self, const std::string& form)
            { return viewTransform(self, form, false); },
            "form"_a = "projective", R"doc(
The transform from normalised device coordinates to the window: (4, 4) for 'projective',
(4, 3) for 'affine', (3, 2) for '2d', row-vector form.)doc")
        .def(
            "inverse_view_transform",
            [](const Viewport& self, const std::string& form)
            { return viewTransform(self, form, true); },
            "form"_a = "projective", "The inverse of view_transform in the same form.")
        .def("pick_transform", &pickTransform, "rect"_a, R"doc(
The (4, 3) transform that, applied after the projection, magnifies the window rectangle
rect = (xmin, ymin, xmax, ymax) to fill [-1, 1] on x and y.)doc")
        .def(py::self == py::self)
        .def(py::self != py::self)
        .def("__repr__", &viewportRepr);

    m.def(
        "vertical_angle",
        [](py::handle matrix)
        { return oxGeom::getVerticalAngleRadians(projFrom(matrix, "matrix")); },
        "matrix"_a,
        "The vertical angle of view, in radians, of a (4, 4) perspective matrix: 2 atan(1 / "
        "m11).");
}
}  // namespace trelm_py
