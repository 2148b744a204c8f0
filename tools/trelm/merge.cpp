// trelm merge: several meshes into one. By default MeshMerge welds vertices of all meshes that
// lie within a tolerance of each other (exactly equal ones at tolerance 0), keeping positions and
// triangles; --no-weld concatenates instead (meshConcatenate), keeping the vertex channels that
// every input carries.

#include "commands.h"
#include "meshEdits.h"
#include "progressBar.h"

#include <oxGeom/MeshMerge.h>
#include <oxGeom/MeshPlacement.h>
#include <oxGeom/meshConcatenate.h>

#include <ox/containers.h>

#include <CLI/CLI.hpp>

#include <deque>

namespace trelm::cli
{
namespace
{
struct MergeOptions
{
    std::vector<std::string> inputs;
    std::string output;
    double tolerance = 0.0;
    bool noWeld = false;
    bool ascii = false;
};

oxGeom::CompactMesh combine(std::deque<oxGeom::CompactMesh>& meshes, const MergeOptions& options,
                            CommandProgress& progress)
{
    oxGeom::CompactMesh result;
    ox::list<oxGeom::MeshPlacement> placements;
    if (options.noWeld)
    {
        for (const oxGeom::CompactMesh& mesh : meshes)
            placements.push_back({oxLinear::AffineMatrixFlt(1.0f), &mesh});
        progress.stage("Concatenating");
        oxGeom::meshConcatenate(result, placements, nullptr, nullptr);
        return result;
    }
    result = meshes.front();
    dropVertexChannels(result);  // merged vertices keep positions only
    for (std::size_t i = 1; i < meshes.size(); ++i)
        placements.push_back({oxLinear::AffineMatrixFlt(1.0f), &meshes[i]});
    oxGeom::MeshMerge merge(result, placements, float(options.tolerance));
    merge.merge(progress.stage("Merging"));
    return result;
}

int runMerge(const Session& session, const MergeOptions& options)
{
    checkMeshOutputPath(options.output);
    const auto progress = session.makeProgress();
    std::deque<oxGeom::CompactMesh> meshes;  // stable addresses for the placements
    long long vertices = 0, triangles = 0;
    for (const std::string& path : options.inputs)
    {
        meshes.push_back(loadMesh(path, *progress));
        vertices += meshes.back().getNumVertices();
        triangles += meshes.back().getNumTriangles();
    }
    const oxGeom::CompactMesh result = combine(meshes, options, *progress);
    saveMesh(options.output, result, {options.ascii}, *progress);
    progress->clear();
    session.say("merge: %zu meshes, %lld -> %d vertices, %lld -> %d triangles\n", meshes.size(),
                vertices, result.getNumVertices(), triangles, result.getNumTriangles());
    return ExitSuccess;
}
}  // namespace

void addMergeCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<MergeOptions>();
    CLI::App* command = app.add_subcommand("merge", "Merge several meshes into one");
    command->add_option("meshes", options->inputs, "input mesh files (two or more)")
        ->required()
        ->expected(2, 1 << 20);
    command->add_option("-o,--output", options->output, "output mesh file")->required();
    command
        ->add_option("--tolerance", options->tolerance,
                     "weld vertices closer than this on every axis (default 0: equal positions)")
        ->check(CLI::NonNegativeNumber);
    command
        ->add_flag("--no-weld", options->noWeld,
                   "concatenate without welding, keeping the vertex data all inputs share")
        ->excludes("--tolerance");
    command->add_flag("--ascii", options->ascii, "write PLY or STL as text");
    command->footer(
        "Welding keeps positions and triangles only; triangles keep their corner order.\n"
        "Example: trelm merge left.stl right.stl -o both.ply --tolerance 1e-4");
    setAction(*command, session, [&session, options] { return runMerge(session, *options); });
}
}  // namespace trelm::cli
