#pragma once
// Reading meshes from the library's minimal mesh text format (described in
// meshWrite.h). A read either succeeds completely or leaves the mesh as it was,
// so a truncated or malformed file never leaves half a mesh behind.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/TopoMesh.h>
#include <oxOS/Filename.h>

#include <string>

namespace oxGeom
{
// How a file is parsed, for both readers:
// - The file is a sequence of numbers separated by white space (blank, tab, line break,
//   carriage return, vertical tab, form feed); line breaks carry no meaning of their own.
// - A count or index is a decimal integer with an optional sign that fits in an int.
// - A coordinate is read as strtod reads it in the "C" locale: an optional sign, then a decimal
//   number with an optional exponent, a hexadecimal one ("0x1.8p3"), "inf", "infinity" or
//   "nan". A value too large for the target type reads as an infinity of its sign, one too
//   small as a zero of its sign. The decimal separator is always '.', whatever the process
//   locale is.
// - Every number must be followed by white space or the end of the file, and be at most 1024
//   characters long; "1.5abc", "2.5" as an index or "1,5" are malformed.
// - Text after the last face is never looked at.
// Parsing is done by hand over std::from_chars, which is locale-independent by definition:
// no setlocale or uselocale is called, so a host that set a decimal-comma locale, on this
// thread or another, neither affects nor is affected by a read.

/// Reads an indexed triangle mesh and replaces `mesh` with it.
///
/// Inputs: `file`, opened with fopen mode "r" through its multibyte form. It holds the header
/// "V F", V vertices of three coordinates (read as floats) and F faces. Each face starts with a
/// corner count, which is read and ignored: the next three indices always make the triangle.
/// A face written "4 0 1 2 3" therefore gives the triangle (0, 1, 2) and leaves the 3 to be read
/// as the next face's count; the reader relies on the file holding only triangles.
/// Outputs: on success `mesh` is assigned, in one assignment, a new mesh of the V positions (no
/// normals, UVs or colours) and the F triangles, so its previous contents (selections,
/// normals, attributes, primitives) are gone; the mesh keeps its listeners and its array
/// allocator, and no modification is announced. Returns true.
/// Failure: returns false, leaves `mesh` unchanged and, when `error` is not null, sets *error
/// to one line saying what is wrong ("line 4: expected a number, found \"1,5\""). It fails
/// when the file cannot be opened, the header is missing or holds a negative count, a number
/// is malformed, the file ends before F faces were read, or a triangle index lies outside
/// [0, V). Arrays grow as values are actually read, so a header promising more than the file
/// holds costs no more memory than the file's content.
/// Empty input: "0 0" gives the empty mesh (success); an empty file fails.
/// Thread safety: touches no process-wide state; may run concurrently with other reads and
/// writes of other meshes.
/// Cost: O(file size) time; O(V + F) scratch memory beside the result.
bool meshRead(CompactMesh& mesh, const oxOS::Filename& file, std::string* error = nullptr);

/// Reads a polygon mesh and appends it to `mesh`.
///
/// Inputs: `file` as above, holding the header "V F", V vertices (three coordinates read as
/// doubles) and F faces, each a corner count n followed by n indices into this file's vertices.
/// Outputs: on success the V vertices are appended to `mesh` in file order, then the F faces
/// over them, whatever the mesh held before (nothing is cleared); then meshTwin(mesh) links the
/// twin half-edges, so that faces read from the file are connected across shared edges.
/// Returns true.
/// Failure: returns false, appends nothing and sets *error as the CompactMesh overload. It fails
/// in the same cases, and also when a face has fewer than 3 corners, an index lies outside
/// [0, V), or the mesh would exceed the int range of vertex or half-edge counts.
/// Empty input: "0 0" appends nothing, still links twins (success); an empty file fails.
/// Thread safety: needs exclusive access to `mesh`; otherwise as above.
/// Cost: O(file size) for parsing, which happens in full before `mesh` is touched, plus the
/// cost of meshTwin on the whole mesh; O(V + total corner count) scratch memory.
bool meshRead(TopoMesh& mesh, const oxOS::Filename& file, std::string* error = nullptr);
}  // namespace oxGeom
