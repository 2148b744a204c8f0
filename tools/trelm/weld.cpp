// trelm weld: merges coincident vertices. Exact welding (the default) is meshCompact, which
// keeps vertices apart where explicit normals or UVs differ; with a tolerance, MeshMerge welds
// every vertex within that distance per axis and the vertex channels are dropped.

#include "commands.h"
#include "meshEdits.h"
#include "progressBar.h"

#include <CLI/CLI.hpp>

#include <cmath>

namespace trelm::cli
{
namespace
{
struct WeldOptions
{
    std::string input;
    std::string output;
    double tolerance = 0.0;
    bool positionsOnly = false;
    bool ascii = false;
};

int runWeld(const Session& session, const WeldOptions& options)
{
    checkMeshOutputPath(options.output);
    const auto progress = session.makeProgress();
    oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    const int before = mesh.getNumVertices();
    int removed = 0;
    if (options.tolerance > 0.0)
        removed = weldVerticesWithin(mesh, float(options.tolerance), progress->stage("Welding"));
    else
    {
        if (options.positionsOnly)
            dropVertexChannels(mesh);
        removed = weldVertices(mesh, progress->stage("Welding"));
    }
    saveMesh(options.output, mesh, {options.ascii}, *progress);
    progress->clear();
    session.say("weld: %d -> %d vertices (%d merged), %d triangles\n", before,
                mesh.getNumVertices(), removed, mesh.getNumTriangles());
    return ExitSuccess;
}
}  // namespace

void addWeldCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<WeldOptions>();
    CLI::App* command = app.add_subcommand("weld", "Merge coincident vertices");
    command->add_option("mesh", options->input, "input mesh file")->required();
    command->add_option("-o,--output", options->output, "output mesh file")->required();
    command
        ->add_option("--tolerance", options->tolerance,
                     "merge vertices closer than this on every axis (drops normals, UVs and "
                     "other vertex data)")
        ->check(CLI::NonNegativeNumber);
    command->add_flag("--positions-only", options->positionsOnly,
                      "drop normals, UVs and other vertex data first, so that equal positions "
                      "always merge");
    command->add_flag("--ascii", options->ascii, "write PLY or STL as text");
    command->footer(
        "Without --tolerance, vertices merge when their positions are equal and, if the mesh "
        "has normals, their normals and UVs are equal too.\n"
        "Example: trelm weld scan.stl -o scan.ply");
    setAction(*command, session, [&session, options] { return runWeld(session, *options); });
}
}  // namespace trelm::cli
