// Conversion of Python inputs into the arrays the library reads. Every input is validated in
// full before any library call, and each failure is one line naming the argument, so a wrong
// shape, dtype or index never reaches code whose preconditions it would break.

#include "bindings.h"

#include <cmath>
#include <sstream>

namespace trelm_py
{
namespace
{
std::string shapeText(const py::array& a)
{
    std::ostringstream text;
    text << '(';
    for (py::ssize_t d = 0; d < a.ndim(); ++d)
        text << (d ? ", " : "") << a.shape(d);
    text << (a.ndim() == 1 ? ",)" : ")");
    return text.str();
}

std::string dtypeText(const py::array& a)
{
    return py::str(a.dtype()).cast<std::string>();
}

py::array asArray(py::handle object, const char* name)
{
    if (object.is_none())
        throw py::type_error(std::string(name) + " must be an array, got None");
    py::array a = py::array::ensure(object);
    if (!a)
        throw py::type_error(std::string(name) + " must be an array-like of numbers, got " +
                             py::str(py::type::handle_of(object)).cast<std::string>());
    return a;
}

bool isEmptyVector(const py::array& a)
{
    return a.ndim() == 1 && a.size() == 0;
}

// A (rows, columns) array, or an empty 1-D one; anything else is a shape error.
void checkRows(const py::array& a, int columns, const char* name)
{
    if (isEmptyVector(a))
        return;
    if (a.ndim() != 2 || a.shape(1) != columns)
        throw py::value_error(std::string(name) + " must have shape (n, " +
                              std::to_string(columns) + "), got " + shapeText(a));
    if (a.shape(0) > maxElements)
        throw py::value_error(std::string(name) + ": " + std::to_string(a.shape(0)) +
                              " rows, more than the " + std::to_string(maxElements) +
                              " the library can index");
}

void checkKind(const py::array& a, const char* kinds, const char* what, const char* name)
{
    if (a.size() == 0)
        return;
    const char kind = a.dtype().kind();
    for (const char* k = kinds; *k; ++k)
        if (kind == *k)
            return;
    throw py::type_error(std::string(name) + " must hold " + what + ", got dtype " + dtypeText(a));
}

template <class T>
py::array_t<T> realRows(py::handle object, int columns, const char* name)
{
    py::array a = asArray(object, name);
    checkRows(a, columns, name);
    checkKind(a, "fiu", "real numbers", name);
    if (isEmptyVector(a))
        return newArray<T>(0, columns);
    return py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(a);
}

std::string indexError(const char* name, std::int64_t position, std::int64_t value,
                       std::int64_t limit, int columns)
{
    std::ostringstream text;
    text << name << ": index " << value << " out of range [0, " << limit << ")";
    if (columns > 1)
        text << " (row " << position / columns << ')';
    else
        text << " (entry " << position << ')';
    return text.str();
}

std::vector<int> checkedIndices(const py::array& a, std::int64_t limit, const char* name,
                                int columns)
{
    auto values = py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>::ensure(a);
    const std::int64_t* v = values.data();
    const std::int64_t n = values.size();
    std::vector<int> out(static_cast<std::size_t>(n));
    for (std::int64_t i = 0; i < n; ++i)
    {
        // An unsigned value above 2^63 wraps to a negative one here and is refused as well.
        if (v[i] < 0 || v[i] >= limit)
            throw py::value_error(indexError(name, i, v[i], limit, columns));
        out[static_cast<std::size_t>(i)] = static_cast<int>(v[i]);
    }
    return out;
}
}  // namespace

py::array_t<float> floatRows(py::handle object, int columns, const char* name)
{
    return realRows<float>(object, columns, name);
}

py::array_t<double> doubleRows(py::handle object, int columns, const char* name)
{
    return realRows<double>(object, columns, name);
}

std::vector<int> indexRows(py::handle object, int columns, std::int64_t limit, const char* name,
                           std::int64_t* rows)
{
    py::array a = asArray(object, name);
    checkRows(a, columns, name);
    checkKind(a, "iu", "integers", name);
    *rows = isEmptyVector(a) ? 0 : a.shape(0);
    if (a.size() == 0)
        return {};
    return checkedIndices(a, limit, name, columns);
}

std::vector<int> selection(py::handle object, int count, const char* name)
{
    py::array a = asArray(object, name);
    if (a.ndim() != 1)
        throw py::value_error(std::string(name) + " must be one-dimensional, got shape " +
                              shapeText(a));
    if (a.size() == 0)
        return {};
    if (a.dtype().kind() == 'b')
    {
        if (a.shape(0) != count)
            throw py::value_error(std::string(name) + ": a mask needs " + std::to_string(count) +
                                  " entries, got " + std::to_string(a.shape(0)));
        auto mask = py::array_t<bool, py::array::c_style | py::array::forcecast>::ensure(a);
        std::vector<int> chosen;
        for (int i = 0; i < count; ++i)
            if (mask.data()[i])
                chosen.push_back(i);
        return chosen;
    }
    checkKind(a, "iu", "integers or booleans", name);
    return checkedIndices(a, count, name, 1);
}

void requireFinite(const float* values, std::int64_t count, const char* name)
{
    for (std::int64_t i = 0; i < count; ++i)
        if (!std::isfinite(values[i]))
            throw py::value_error(std::string(name) + ": value " + std::to_string(values[i]) +
                                  " at flat position " + std::to_string(i) + " is not finite");
}

void requireFinite(const double* values, std::int64_t count, const char* name)
{
    for (std::int64_t i = 0; i < count; ++i)
        if (!std::isfinite(values[i]))
            throw py::value_error(std::string(name) + ": value " + std::to_string(values[i]) +
                                  " at flat position " + std::to_string(i) + " is not finite");
}

oxLinear::AffineMatrix affineMatrix(py::handle object, const char* name)
{
    if (object.is_none())
        return oxLinear::AffineMatrix(1.0);
    py::array a = asArray(object, name);
    const bool square = a.ndim() == 2 && a.shape(0) == 4 && a.shape(1) == 4;
    if (!square && !(a.ndim() == 2 && a.shape(0) == 4 && a.shape(1) == 3))
        throw py::value_error(std::string(name) + " must have shape (4, 3) or (4, 4), got " +
                              shapeText(a));
    checkKind(a, "fiu", "real numbers", name);
    auto values = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
    const int columns = square ? 4 : 3;
    requireFinite(values.data(), values.size(), name);
    if (square)
    {
        const double* v = values.data();
        if (v[3] != 0.0 || v[7] != 0.0 || v[11] != 0.0 || v[15] != 1.0)
            throw py::value_error(
                std::string(name) +
                ": a (4, 4) matrix must be in row-vector form (p' = p M, translation in the "
                "last row, last column (0, 0, 0, 1)); transpose a column-vector matrix first");
    }
    double rows[12];
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c)
            rows[3 * r + c] = values.data()[columns * r + c];
    return oxLinear::AffineMatrix(rows);
}

std::vector<oxGeom::MeshPlacement> placementsOf(const std::vector<Mesh>& meshes,
                                                py::handle placements)
{
    std::vector<oxGeom::MeshPlacement> out(meshes.size());
    py::sequence matrices;
    if (!placements.is_none())
    {
        if (!py::isinstance<py::sequence>(placements) || py::isinstance<py::str>(placements))
            throw py::type_error("placements must be None or a sequence of matrices");
        matrices = py::reinterpret_borrow<py::sequence>(placements);
        if (matrices.size() != meshes.size())
            throw py::value_error("placements: " + std::to_string(matrices.size()) +
                                  " matrices for " + std::to_string(meshes.size()) + " meshes");
    }
    for (std::size_t i = 0; i < meshes.size(); ++i)
    {
        out[i].mesh = &meshes[i].mesh();
        if (!placements.is_none())
        {
            const std::string name = "placements[" + std::to_string(i) + "]";
            out[i].matrix = oxLinear::AffineMatrixFlt(affineMatrix(matrices[i], name.c_str()));
        }
    }
    return out;
}

py::array_t<int> intArray(const int* values, std::int64_t count)
{
    auto out = newArray<int>(count);
    if (count > 0)
        std::copy(values, values + count, out.mutable_data());
    return out;
}
}  // namespace trelm_py
