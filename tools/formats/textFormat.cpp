// The library's own text format, through oxGeom::meshRead and meshWrite, with the checks every
// other reader here makes: a readable, non-empty file and finite positions. The format is small
// and meant for debugging, so the file is simply opened twice (once here for a precise message
// when it cannot be read, once by meshRead).

#include "TextScanner.h"
#include "meshFormats.h"

#include <oxGeom/meshRead.h>
#include <oxGeom/meshWrite.h>

#include <string>

namespace trelm::files::detail
{
void readText(const std::string& path, const ReadOptions& options, oxGeom::CompactMesh& mesh)
{
    FileBytes bytes(path);
    ReadContext context(bytes.data(), bytes.size(), options);
    context.poll(0);
    std::string error;
    if (!oxGeom::meshRead(mesh, oxOS::Filename(path), &error))
        failFile(error);
    const float* positions = mesh.getVerticesRaw();
    const std::size_t count = 3 * static_cast<std::size_t>(mesh.getNumVertices());
    for (std::size_t i = 0; i < count; ++i)
        if (!acceptsCoordinate(context, positions[i]))
            failFile("vertex " + std::to_string(i / 3) + ": " + nonFiniteMessage(positions[i]));
}

void writeText(OutputFile& file, const oxGeom::CompactMesh& mesh)
{
    file.poll(0.0);
    file.closeUnwritten();
    if (!oxGeom::meshWrite(mesh, oxOS::Filename(file.temporaryPath())))
        failFile("write failed");
}
}  // namespace trelm::files::detail
