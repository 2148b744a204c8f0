#pragma once
// Writing meshes in the library's minimal mesh text format, for debugging and
// for exchanging test meshes. meshRead.h reads it back.
//
// The format, ASCII text, one record per line, fields separated by one blank:
//   V F                  the vertex count and the face count
//   x y z                V vertex lines, in vertex order
//   n i0 i1 ... i(n-1)   F face lines, in face order: the corner count, then the
//                        0-based indices of the corners' vertex lines
// Numbers are written in the "C" locale whatever the process locale is: integers
// as printf's "%d", coordinates as "%.10g" (a decimal point, never a comma). There
// is no magic number, version, comment or normal / UV data.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/TopoMesh.h>
#include <oxOS/Filename.h>

namespace oxGeom
{
/// Writes an indexed mesh: the header "V F" with the vertex and triangle counts, one
/// "%.10g %.10g %.10g" line per vertex (each float widened to double) and one "3 a b c" line per
/// triangle, its indices in winding order.
///
/// Inputs: `mesh` (getNumVertices() positions, getNumTriangles() triangles); `file`, opened with
/// fopen mode "w" through its multibyte form (the file is created or truncated).
/// Output: the file. Returns true when every byte was written and the file closed cleanly; false
/// when the file cannot be opened (nothing is written) or a write fails (the file may then hold
/// a partial text; it is not removed, since the path may name a device or a pipe).
/// Preconditions: none. Triangle indices are written as they are; a mesh whose indices leave
/// [0, V) gives a file that meshRead refuses.
/// Empty input: a mesh without vertices and triangles writes the single line "0 0".
/// Not stored: normals, UVs, STs, colours, attributes, selections, strips, fans and lines.
/// Thread safety: touches no process-wide state (no setlocale or uselocale), so it may run
/// concurrently with anything that does not modify `mesh` or write the same file.
/// Cost: O(V + F) time, a fixed-size output buffer.
bool meshWrite(const CompactMesh& mesh, const oxOS::Filename& file);

/// Writes a polygon mesh: the header "V F" with the vertex and face counts, one
/// "%.10g %.10g %.10g" line per vertex walking the vertex list from firstVertex(), and per face
/// (walking the face list from firstFace()) its corner count followed by " %d" per corner,
/// corners in order round the face from its first edge. A vertex's index is its running number
/// in the vertex list (0, 1, 2 ...).
///
/// Inputs: `mesh` (read only, although taken by non-const reference); `file` as above.
/// Output and return value: as the CompactMesh overload.
/// Preconditions: none.
/// Empty input: an empty mesh writes "0 0". Twin links are not stored; meshRead rebuilds them.
/// Thread safety: as the CompactMesh overload.
/// Cost: O(V + total corner count) time, O(V) extra memory for the vertex numbering.
bool meshWrite(TopoMesh& mesh, const oxOS::Filename& file);
}  // namespace oxGeom
