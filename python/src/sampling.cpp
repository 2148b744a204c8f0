// Sampling tools from Python: the base-2 bit-reversal (Hammersley) permutation, the scrambled
// radical inverses in bases 3, 5 and 7, random unit and hemisphere vectors, and the maps between
// the unit square and the sphere, applied element-wise over NumPy arrays with broadcasting.

#include "bindings.h"

#include <oxGeom/Hammersley.h>
#include <oxGeom/sampling.h>

#include <pybind11/stl.h>

#include <cmath>
#include <cstdlib>
#include <optional>

namespace trelm_py
{
namespace
{
// ---- Hammersley tables ----

oxGeom::HammersleyPermutation2 makePermutation(int k)
{
    if (k < 0 || k > 15)
        throw py::value_error("HammersleyPermutation2: k must lie in [0, 15], got " +
                              std::to_string(k));
    oxGeom::HammersleyPermutation2 table;
    table.calculate(k);
    return table;
}

oxGeom::ScrambledHammersleySequence makeSequence(int base, int count)
{
    if (count < 0)
        throw py::value_error("ScrambledHammersleySequence: count must be >= 0, got " +
                              std::to_string(count));
    oxGeom::ScrambledHammersleySequence sequence;
    if (!sequence.calculate(base, count))
        throw py::value_error("ScrambledHammersleySequence: base must be 3, 5 or 7, got " +
                              std::to_string(base));
    return sequence;
}

template <class Table, class T>
py::array_t<T> tableValues(const Table& table)
{
    auto out = newArray<T>(table.size());
    T* values = out.mutable_data();
    for (int i = 0; i < table.size(); ++i)
        values[i] = table[i];
    return out;
}

// Integer arrays broadcast together, as int32 (values outside the int range are refused).
std::vector<py::array_t<int>> broadcastInts(std::initializer_list<py::handle> inputs)
{
    py::tuple arrays = py::module_::import("numpy").attr("broadcast_arrays")(
        *py::tuple(py::cast(std::vector<py::handle>(inputs))));
    std::vector<py::array_t<int>> out;
    for (py::handle a : arrays)
    {
        py::array array = py::array::ensure(a);
        if (array.size() > 0 && array.dtype().kind() != 'i' && array.dtype().kind() != 'u')
            throw py::type_error("indices must be integers, got dtype " +
                                 py::str(array.dtype()).cast<std::string>());
        auto wide =
            py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>::ensure(array);
        for (py::ssize_t i = 0; i < wide.size(); ++i)
            if (wide.data()[i] < INT32_MIN || wide.data()[i] > INT32_MAX)
                throw py::value_error("indices must fit in int32");
        out.push_back(py::array_t<int, py::array::c_style | py::array::forcecast>::ensure(wide));
    }
    return out;
}

template <class Map>
py::array_t<std::uint32_t> mapIndices(py::handle a, py::handle b, Map map)
{
    std::vector<py::array_t<int>> in = broadcastInts({a, b});
    std::vector<py::ssize_t> shape(in[0].shape(), in[0].shape() + in[0].ndim());
    py::array_t<std::uint32_t> out(shape);
    std::uint32_t* values = out.mutable_data();
    for (py::ssize_t i = 0; i < out.size(); ++i)
        values[i] = map(in[0].data()[i], in[1].data()[i]);
    return out;
}

// ---- sphere maps ----

// Real arrays broadcast together, as float32.
std::vector<py::array_t<float>> broadcastFloats(const std::vector<py::handle>& inputs)
{
    py::tuple arrays =
        py::module_::import("numpy").attr("broadcast_arrays")(*py::tuple(py::cast(inputs)));
    std::vector<py::array_t<float>> out;
    for (py::handle a : arrays)
    {
        py::array array = py::array::ensure(a);
        const char kind = array.dtype().kind();
        if (array.size() > 0 && kind != 'f' && kind != 'i' && kind != 'u')
            throw py::type_error("coordinates must be real numbers, got dtype " +
                                 py::str(array.dtype()).cast<std::string>());
        out.push_back(py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(array));
    }
    return out;
}

template <class Map>
py::array_t<float> toCartesian(const std::vector<py::handle>& inputs, Map map)
{
    std::vector<py::array_t<float>> in = broadcastFloats(inputs);
    std::vector<py::ssize_t> shape(in[0].shape(), in[0].shape() + in[0].ndim());
    shape.push_back(3);
    py::array_t<float> out(shape);
    float* values = out.mutable_data();
    for (py::ssize_t i = 0; i < in[0].size(); ++i)
    {
        oxLinear::VectorFlt p;
        map(in, i, p);
        for (int k = 0; k < 3; ++k)
            values[3 * i + k] = p[k];
    }
    return out;
}

py::tuple toSpherical(py::handle pointsIn)
{
    py::array_t<float> points = floatRows(pointsIn, 3, "points");
    const py::ssize_t n = points.shape(0);
    auto u = newArray<float>(n);
    auto v = newArray<float>(n);
    for (py::ssize_t i = 0; i < n; ++i)
    {
        const float* p = points.data() + 3 * i;
        oxGeom::mapUniformCartesianToSpherical(oxLinear::VectorFlt(p[0], p[1], p[2]),
                                               u.mutable_data()[i], v.mutable_data()[i]);
    }
    return py::make_tuple(u, v);
}

// ---- random directions (drand48: one process-wide generator, so these keep the GIL) ----

void seedGenerator(std::optional<long> seed)
{
    if (seed)
        srand48(*seed);
}

py::array_t<double> vectorsArray(const ox::vector<oxLinear::Vector>& vectors)
{
    auto out = newArray<double>(std::int64_t(vectors.size()), 3);
    double* values = out.mutable_data();
    for (std::size_t i = 0; i < vectors.size(); ++i)
        for (int k = 0; k < 3; ++k)
            values[3 * i + k] = vectors[i][k];
    return out;
}

void requireCount(std::int64_t count, const char* name)
{
    if (count < 0 || count > maxElements)
        throw py::value_error(std::string(name) + ": count must lie in [0, " +
                              std::to_string(maxElements) + "], got " + std::to_string(count));
}

py::array_t<double> randomUnitVectors(std::int64_t count, std::optional<long> seed)
{
    requireCount(count, "random_unit_vectors");
    seedGenerator(seed);
    ox::vector<oxLinear::Vector> vectors(static_cast<std::size_t>(count));
    for (oxLinear::Vector& v : vectors)
        oxGeom::randomUnitVector(v);
    return vectorsArray(vectors);
}

py::array_t<double> hemisphereVectors(py::handle normalIn, std::int64_t count,
                                      std::optional<long> seed)
{
    requireCount(count, "hemisphere_vectors");
    py::array flat = py::array::ensure(normalIn);
    if (!flat || flat.size() != 3)
        throw py::value_error("normal must be 3 numbers");
    py::array_t<double> normal = doubleRows(flat.reshape({1, 3}), 3, "normal");
    requireFinite(normal.data(), 3, "normal");
    seedGenerator(seed);
    ox::vector<oxLinear::Vector> vectors(static_cast<std::size_t>(count));
    oxGeom::computeHemisphereVectors(oxLinear::Vector(normal.data()), vectors);
    return vectorsArray(vectors);
}
}  // namespace

void registerSampling(py::module_& m)
{
    using namespace pybind11::literals;
    using oxGeom::HammersleyPermutation2;
    using oxGeom::ScrambledHammersleySequence;

    py::class_<HammersleyPermutation2>(m, "HammersleyPermutation2", R"doc(
The bit-reversal permutation of n = 2^k integers: entry i is i with its k low bits reversed
(k = 3: 0, 4, 2, 6, 1, 5, 3, 7), the radical inverse of the Hammersley set in integers.

HammersleyPermutation2(k), k in [0, 15]; raises ValueError otherwise.)doc")
        .def(py::init(&makePermutation), "k"_a)
        .def("__len__", &HammersleyPermutation2::size)
        .def("__getitem__", &HammersleyPermutation2::operator[], "i"_a,
             "table[i mod n] (negative i wraps).")
        .def_property_readonly("table", &tableValues<HammersleyPermutation2, std::uint32_t>,
                               "The n entries as a uint32 array.")
        .def(
            "map2d",
            [](const HammersleyPermutation2& self, py::handle x, py::handle y)
            { return mapIndices(x, y, [&](int a, int b) { return self.map2d(a, b); }); },
            "x"_a, "y"_a,
            "(x & (n - 1)) n + table[y & (n - 1)], element-wise over broadcast integer arrays "
            "(uint32).")
        .def(
            "map_periodic",
            [](const HammersleyPermutation2& self, py::handle i, py::handle w)
            { return mapIndices(i, w, [&](int a, int b) { return self.mapPeriodic(a, b); }); },
            "i"_a, "w"_a,
            "((i mod w) & (n - 1)) n + table[(i / w) & (n - 1)], element-wise (0 where w <= 0).");

    py::class_<ScrambledHammersleySequence>(m, "ScrambledHammersleySequence", R"doc(
Scrambled radical inverses of 0, 1, ..., count - 1 in base 3, 5 or 7 (fixed digit
permutations 0 1 2, 0 3 2 1 4 and 0 2 5 3 1 4 6). Base 3, count 4: 0, 1/3, 2/3, 1/9.

ScrambledHammersleySequence(base, count); raises ValueError for another base or count < 0.)doc")
        .def(py::init(&makeSequence), "base"_a, "count"_a)
        .def("__len__", &ScrambledHammersleySequence::size)
        .def("__getitem__", &ScrambledHammersleySequence::operator[], "i"_a,
             "entry[i mod count] (negative i wraps).")
        .def_property_readonly("values", &tableValues<ScrambledHammersleySequence, float>,
                               "The entries as a float32 array.");

    m.def(
        "sphere_to_cartesian",
        [](py::handle u, py::handle v)
        {
            return toCartesian(
                {u, v}, [](auto& in, py::ssize_t i, oxLinear::VectorFlt& p)
                { oxGeom::mapSphericalToUniformCartesian(in[0].data()[i], in[1].data()[i], p); });
        },
        "u"_a, "v"_a, R"doc(
The uniform map of the unit square onto the unit sphere: theta = acos(2v - 1), phi = 2 pi u,
(cos phi sin theta, sin phi sin theta, cos theta). u and v broadcast; the result has their shape
plus a last axis of 3 (float32).)doc");
    m.def(
        "cap_to_cartesian",
        [](py::handle u, py::handle v, py::handle cap)
        {
            return toCartesian({u, v, cap},
                               [](auto& in, py::ssize_t i, oxLinear::VectorFlt& p)
                               {
                                   oxGeom::mapSphericalCapToUniformCartesian(
                                       in[0].data()[i], in[1].data()[i], in[2].data()[i], p);
                               });
        },
        "u"_a, "v"_a, "cap"_a, R"doc(
The uniform map of the unit square onto the cap z >= 1 - cap of the unit sphere (cap = 1: the
upper hemisphere, 2: the whole sphere). Broadcasting and result as sphere_to_cartesian.)doc");
    m.def("cartesian_to_sphere", &toSpherical, "points"_a, R"doc(
The inverse of sphere_to_cartesian for (k, 3) unit vectors: returns (u, v), two (k,) float32
arrays in [0, 1] (u = 0 within 0.001 of a pole).)doc");
    m.def("random_unit_vectors", &randomUnitVectors, "count"_a, "seed"_a = py::none(), R"doc(
(count, 3) float64 unit vectors uniform over the sphere, from the C library's drand48 generator
(seed: reseeds it first with srand48, for a repeatable sequence).)doc");
    m.def("hemisphere_vectors", &hemisphereVectors, "normal"_a, "count"_a, "seed"_a = py::none(),
          R"doc(
(count, 3) float64 unit vectors uniform over the hemisphere that `normal` (3 finite values)
points into; drand48 as random_unit_vectors.)doc");
}
}  // namespace trelm_py
