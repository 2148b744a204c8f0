#pragma once
// Internal to trelm_formats: the reader and writer of each format. A reader parses the bytes of a
// ReadContext into `mesh` (a fresh, empty scratch mesh) and throws FileError on any problem; a
// writer appends the file to an OutputFile (which meshFiles.cpp commits) and throws FileError when
// writing fails or is cancelled. Neither is called with anything but a validated mesh.

#include "FileIO.h"

#include <oxGeom/CompactMesh.h>

#include <climits>

namespace trelm::files::detail
{
void readObj(ReadContext& context, oxGeom::CompactMesh& mesh);
void writeObj(OutputFile& file, const oxGeom::CompactMesh& mesh);

void readPly(ReadContext& context, oxGeom::CompactMesh& mesh);
void writePly(OutputFile& file, const oxGeom::CompactMesh& mesh, const WriteOptions& options);

void readStl(ReadContext& context, oxGeom::CompactMesh& mesh);
void writeStl(OutputFile& file, const oxGeom::CompactMesh& mesh, const WriteOptions& options);

void readOff(ReadContext& context, oxGeom::CompactMesh& mesh);
void writeOff(OutputFile& file, const oxGeom::CompactMesh& mesh);

/// The library's text format goes through oxGeom::meshRead / meshWrite, which open files
/// themselves; these read and write by path.
void readText(const std::string& path, const ReadOptions& options, oxGeom::CompactMesh& mesh);
void writeText(OutputFile& file, const oxGeom::CompactMesh& mesh);

/// The most vertices a reader accepts: every per-vertex channel (up to 4 floats per vertex) then
/// keeps its float count within the int range of the mesh's arrays.
constexpr long long maxVertices = INT_MAX / 4;
/// The most triangles a reader accepts: their flat index array keeps its length within int.
constexpr long long maxTriangles = INT_MAX / 3;

/// How often the writers report progress and check for cancellation, in elements.
constexpr int writePollInterval = 1 << 16;
}  // namespace trelm::files::detail
