// trelm normals: vertex normals from the triangles around each vertex (meshComputeNormals: the
// normalised sum of the unit triangle normals), written with the mesh.

#include "commands.h"
#include "meshEdits.h"
#include "progressBar.h"

#include <oxGeom/meshNormals.h>

#include <CLI/CLI.hpp>

namespace trelm::cli
{
namespace
{
struct NormalsOptions
{
    std::string input;
    std::string output;
    bool weld = false;
    bool ascii = false;
};

int runNormals(const Session& session, const NormalsOptions& options)
{
    checkMeshOutputPath(options.output);
    const auto progress = session.makeProgress();
    oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    mesh.deleteNormals();  // the file's own normals would keep welded vertices apart
    int merged = 0;
    if (options.weld)
        merged = weldVertices(mesh, progress->stage("Welding"));
    progress->throwIfInterrupted();
    progress->stage("Normals");
    oxGeom::meshComputeNormals(mesh);
    saveMesh(options.output, mesh, {options.ascii}, *progress);
    progress->clear();
    session.say(
        "normals: %d vertex normals from %d triangles%s\n", mesh.getNumVertices(),
        mesh.getNumTriangles(),
        options.weld ? (" (" + std::to_string(merged) + " vertices merged first)").c_str() : "");
    return ExitSuccess;
}
}  // namespace

void addNormalsCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<NormalsOptions>();
    CLI::App* command = app.add_subcommand("normals", "Compute vertex normals from the triangles");
    command->add_option("mesh", options->input, "input mesh file")->required();
    command->add_option("-o,--output", options->output, "output mesh file")->required();
    command->add_flag("--weld", options->weld,
                      "merge coincident vertices first, so that normals are smooth across "
                      "seams of the file");
    command->add_flag("--ascii", options->ascii, "write PLY or STL as text");
    command->footer(
        "Each vertex gets the normalised sum of the unit normals of its triangles; the file's "
        "own normals are replaced.\nExample: trelm normals data/bunny.ply -o bunny-normals.ply");
    setAction(*command, session, [&session, options] { return runNormals(session, *options); });
}
}  // namespace trelm::cli
