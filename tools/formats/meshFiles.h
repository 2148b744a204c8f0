#pragma once
// Reading and writing indexed triangle meshes in the common interchange formats (Wavefront OBJ,
// PLY, STL, OFF) and in the library's own text format, for the trelm tool.
//
// Every reader takes the whole file into memory, validates all of it and builds the mesh in a
// scratch object that replaces the caller's mesh only when everything was read: a reader either
// succeeds completely or leaves the mesh as it was, and never crashes or allocates from a count
// it has not checked against the size of the file. A failure is one line naming the file, the
// place ("line 12" in text, "byte 1234" in binary data) and what is wrong:
//   bunny.ply: byte 1234: face index 99999 out of range (4096 vertices)
// Every writer writes a temporary file in the destination's directory and renames it over the
// destination once it is complete, so a failed or interrupted run never leaves a partial output.
//
// Common to all readers:
// - Numbers in text are read locale-free ('.' is the decimal separator whatever the process
//   locale is): decimal integers, and decimal floats with an optional sign, fraction and
//   exponent, or "inf", "infinity", "nan". A value too large for a float reads as an infinity,
//   one too small as a zero. Anything else where a number belongs is malformed ("1,5", "3.1+e2",
//   "0x10"), and so is a number followed by anything but white space.
// - Positions must be finite unless ReadOptions::allowNonFinite is set; other channels (normals,
//   texture coordinates, attributes) may hold any value.
// - Polygons of n >= 3 corners become n - 2 triangles fanned from the first corner:
//   (c0, c1, c2), (c0, c2, c3) ... Faces of fewer than 3 corners are rejected; triangles whose
//   corners repeat an index are kept as they are.
// - Indices must name a vertex of the file. A mesh holds at most 536870911 vertices (so that
//   every channel's float count fits in an int) and 715827882 triangles.
// - A file of zero bytes is rejected in every format ("empty file"); a file that declares no
//   vertices and no faces is the empty mesh. The text formats reject zero bytes in the text
//   (binary or UTF-16 data); OBJ and OFF skip a UTF-8 byte order mark at the start.
// Per format (what is read; what is written):
// - OBJ: "v x y z [w]" or "v x y z r g b" (colours kept when every vertex has them), "vt u [v
//   [w]]", "vn x y z", "f" with corners "v", "v/vt", "v//vn" or "v/vt/vn", 1-based or negative
//   (relative) indices, and '\' line continuations. The mesh keeps the file's own vertex
//   numbering: texture coordinates and normals are kept as per-vertex UVs and normals only when
//   every face corner gives one and each position always pairs with the same one (the same vt/vn
//   index or an equal value); otherwise that channel is dropped. Positive indices may refer to
//   vertices defined further down. Other statements (groups, objects, materials, smoothing
//   groups, lines "l", points "p", free-form geometry) are skipped unread. Written: v (with
//   colours when present), vt, vn and "f a/b/c" triangles.
// - PLY: "ascii", "binary_little_endian" and "binary_big_endian" 1.0; every PLY scalar type under
//   both its names (char/int8 ... double/float64). Vertex element: x y z; normals nx ny nz;
//   UVs from (u, v), (s, t), (texture_u, texture_v) or (texture_s, texture_t); colours from red,
//   green, blue [, alpha] (integer types scaled to [0, 1]); every other numeric scalar property
//   becomes a float attribute of its name, except that consecutive properties "name_0",
//   "name_1" [, "name_2" [, "name_3"]] become one attribute "name" of 2 to 4 floats (so "STs_0
//   STs_1" is the ST channel). Face element: the list "vertex_indices" (or "vertex_index").
//   Other properties and elements are skipped. In ASCII, a value must fit its declared type.
//   Written: x y z, nx ny nz, u v, red green blue alpha (uchar), then every storeable channel of
//   another name ("name" for 1 float, "name_0" ... otherwise; names with blanks get '_'), and
//   faces as "list uchar int vertex_indices"; ASCII or binary of either byte order.
// - STL: ASCII ("solid" ... "endsolid", keywords in any case, several solids) or binary (80-byte
//   header, triangle count, 50 bytes per triangle). A file whose size is exactly that of a binary
//   STL of its count is binary, even when its header starts with "solid". Facet normals are read
//   and dropped. Corners are welded on load (meshCompact: positions exactly equal), so vertex
//   order follows the weld's sorted order. Written: facet normals of the triangles' geometry
//   (zero for degenerate ones), ASCII or binary.
// - OFF: "OFF" with optional prefixes ST (texture coordinates, kept as UVs), C (colours, skipped)
//   and N (normals, kept); "#" comments; the counts "V F [E]" (E ignored); one vertex per line;
//   one face per line, "n i0 ... i(n-1)" with 0-based indices, optionally followed by a face
//   colour (skipped). Anything but comments after the last face is rejected. Binary OFF and
//   the 4-D and n-D variants are rejected. Written: "OFF", positions and triangles.
// - Text: the library's format (oxGeom/meshRead.h, oxGeom/meshWrite.h): positions and triangles.
//
// Thread safety: every function touches only its arguments and the named files, so calls on
// distinct meshes and files may run concurrently.

#include <oxGeom/CompactMesh.h>
#include <oxUtil/Progress.h>

#include <optional>
#include <string>
#include <string_view>

namespace trelm::files
{
/// The file formats handled here.
enum class MeshFormat
{
    Obj,   ///< Wavefront OBJ, ".obj"
    Ply,   ///< Stanford PLY, ".ply"
    Stl,   ///< stereolithography, ".stl"
    Off,   ///< Geomview OFF, ".off"
    Text,  ///< the library's text format, ".trelm"
};

/// The format named by the extension of `path`: ".obj", ".ply", ".stl", ".off" or ".trelm", in
/// any letter case. Only the last component of the path counts ("dir.ply/mesh" has none).
/// Empty result for any other or no extension, and for an empty path. Thread safety: pure.
/// Cost O(path length).
std::optional<MeshFormat> formatFromPath(std::string_view path);

/// The format called `name` in any letter case: "obj", "ply", "stl", "off", "text" or "trelm"
/// (for a command line's --format option). Empty result for any other name. Pure, O(1).
std::optional<MeshFormat> formatFromName(std::string_view name);

/// The lowercase name of `format` ("obj", "ply", "stl", "off", "text"); formatFromName takes it
/// back. Pure, O(1).
const char* formatName(MeshFormat format);

/// The outcome of a read or write: ok, or one line (no line break) saying what went wrong.
struct FileResult
{
    bool ok = true;
    std::string message;  ///< empty when ok

    explicit operator bool() const { return ok; }
};

/// What a reader accepts beside the file, and where it reports.
struct ReadOptions
{
    /// Accept positions that are infinite or NaN (rejected by default: they break bounding
    /// boxes, octrees and every query built on them).
    bool allowNonFinite = false;
    /// Optional: receives the fraction of the file read; polled for cancel() about every
    /// megabyte, after which the read fails with "cancelled" and changes nothing.
    oxUtil::Progress* progress = nullptr;
};

/// Reads the mesh in file `path` as `format` and replaces `out` with it.
///
/// Inputs: `path` (UTF-8; a regular file, or a pipe read to its end); `format` (the extension
/// is not looked at); `options`.
/// Outputs: on success `out` holds the file's vertices (positions, plus normals, UVs, colours and
/// attributes as the format gives them, see above) and triangles, and nothing else of what it
/// held (selections, strips, lines, triangle normals are gone). `out` keeps its listeners and no
/// modification is announced; a mesh without an array allocator takes the new arrays without a
/// copy. Returns ok.
/// Failure: returns !ok with the one-line message "<path>: [line N: | byte N: ]<what>" and leaves
/// `out` unchanged. A file that cannot be opened or read, malformed or truncated content,
/// out-of-range indices or counts, and (by default) non-finite positions all fail, as does
/// lack of memory ("not enough memory").
/// Preconditions: none.
/// Empty input: a file of zero bytes fails ("empty file"); a file that declares no vertices and
/// no faces gives the empty mesh.
/// Thread safety: see above. Cost: O(file size) time; the file's bytes plus the mesh's arrays in
/// memory (STL: plus the weld's sort).
FileResult readMesh(const std::string& path, MeshFormat format, oxGeom::CompactMesh& out,
                    const ReadOptions& options = {});

/// As above with the format taken from the extension of `path` (formatFromPath); a path without
/// a known extension fails with "<path>: unknown mesh file extension (...)".
FileResult readMesh(const std::string& path, oxGeom::CompactMesh& out,
                    const ReadOptions& options = {});

/// Binary or text encoding, for the formats that have both (PLY and STL); OBJ, OFF and the
/// library's text format are always text.
enum class Encoding
{
    Binary,
    Ascii,
};

/// How a writer encodes, and where it reports.
struct WriteOptions
{
    Encoding encoding = Encoding::Binary;
    /// Binary PLY only: big-endian instead of little-endian.
    bool bigEndian = false;
    /// Optional: receives the fraction written; polled for cancel(), after which the write fails
    /// with "cancelled" and leaves no file behind.
    oxUtil::Progress* progress = nullptr;
};

/// Writes `mesh` to `path` as `format`.
///
/// Inputs: `path` (UTF-8); `format`; `mesh` (its positions, triangles and the channels the format
/// stores, see above; strips, fans, lines and selections are never written); `options`.
/// Output: the file, which replaces any file of that name in one rename (a new file with the
/// process's default permissions; a symbolic link at `path` is replaced, not followed; a
/// directory, device, pipe or socket at `path` is refused and left alone). The bytes are written
/// to a hidden temporary file ".<name>.tmp-<pid>-<n>" beside it first; on any failure the
/// temporary is removed and `path` is untouched. A process killed during the write may leave the
/// temporary, never a partial `path`. Data are not forced to disk. Returns ok, or !ok with
/// "<path>: <what>".
/// Preconditions: none; a mesh whose triangles index outside [0, getNumVertices()) is refused
/// ("triangle 5 has vertex index 9 out of range (8 vertices)") rather than written to a file no
/// reader accepts. Non-finite positions are written as they are ("nan", "inf" in text).
/// Empty input: an empty mesh gives a valid file with no vertices and no faces.
/// Thread safety: see above. Cost: O(size of the output); a 1 MiB buffer.
FileResult writeMesh(const std::string& path, MeshFormat format, const oxGeom::CompactMesh& mesh,
                     const WriteOptions& options = {});

/// As above with the format taken from the extension of `path`.
FileResult writeMesh(const std::string& path, const oxGeom::CompactMesh& mesh,
                     const WriteOptions& options = {});
}  // namespace trelm::files
