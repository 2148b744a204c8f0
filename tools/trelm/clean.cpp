// trelm clean: the structural clean-up of a mesh. Welds coincident vertices first, because
// duplicate and degenerate triangles are only visible as such once equal positions share one
// vertex, then deletes the duplicates and the degenerate triangles (meshRemoveDuplicateTris).

#include "commands.h"
#include "meshEdits.h"
#include "progressBar.h"

#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshDuplicateTris.h>

#include <CLI/CLI.hpp>

namespace trelm::cli
{
namespace
{
struct CleanOptions
{
    std::string input;
    std::string output;
    bool positionsOnly = false;
    bool ascii = false;
};

int runClean(const Session& session, const CleanOptions& options)
{
    checkMeshOutputPath(options.output);
    const auto progress = session.makeProgress();
    oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    const int verticesBefore = mesh.getNumVertices();
    const int trianglesBefore = mesh.getNumTriangles();
    if (options.positionsOnly)
        dropVertexChannels(mesh);
    const int merged = weldVertices(mesh, progress->stage("Welding"));
    progress->throwIfInterrupted();

    progress->stage("Removing bad triangles");
    oxGeom::MeshDuplicateTrisResult found;
    oxGeom::meshDuplicateTris(mesh, found);
    if (found)
    {
        oxGeom::MeshAdjTris adjacency;
        oxGeom::meshAdjTris(mesh, adjacency);
        oxGeom::meshRemoveDuplicateTris(mesh, adjacency, found);
    }
    saveMesh(options.output, mesh, {options.ascii}, *progress);
    progress->clear();
    // A triangle can be both a duplicate and degenerate, so the lists may overlap.
    session.say(
        "clean: %d vertices merged, %d triangles removed (%zu duplicates, %zu "
        "degenerate); %d -> %d vertices, %d -> %d triangles\n",
        merged, trianglesBefore - mesh.getNumTriangles(), found.getDuplicates().size(),
        found.getIndexDegenerates().size() + found.getPositionDegenerates().size(), verticesBefore,
        mesh.getNumVertices(), trianglesBefore, mesh.getNumTriangles());
    return ExitSuccess;
}
}  // namespace

void addCleanCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<CleanOptions>();
    CLI::App* command = app.add_subcommand(
        "clean", "Weld vertices, then remove duplicate and degenerate triangles");
    command->add_option("mesh", options->input, "input mesh file")->required();
    command->add_option("-o,--output", options->output, "output mesh file")->required();
    command->add_flag("--positions-only", options->positionsOnly,
                      "drop normals, UVs and other vertex data first, so that equal positions "
                      "always merge");
    command->add_flag("--ascii", options->ascii, "write PLY or STL as text");
    command->footer(
        "A triangle is a duplicate when another has the same three vertices (either winding); "
        "it is degenerate when two corners are the same vertex or at the same position. "
        "Vertices used only by removed triangles go too.\n"
        "Example: trelm clean scan.stl -o scan-clean.ply");
    setAction(*command, session, [&session, options] { return runClean(session, *options); });
}
}  // namespace trelm::cli
