// trelm convert: reads a mesh in one format and writes it in another (format from each file's
// extension). The file formats library keeps what both formats can hold.

#include "commands.h"
#include "progressBar.h"

#include <CLI/CLI.hpp>

namespace trelm::cli
{
namespace
{
struct ConvertOptions
{
    std::string input;
    std::string output;
    bool ascii = false;
};

int runConvert(const Session& session, const ConvertOptions& options)
{
    checkMeshOutputPath(options.output);
    const auto progress = session.makeProgress();
    const oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    saveMesh(options.output, mesh, {options.ascii}, *progress);
    progress->clear();
    session.say("convert: %d vertices, %d triangles written to %s\n", mesh.getNumVertices(),
                mesh.getNumTriangles(), options.output.c_str());
    return ExitSuccess;
}
}  // namespace

void addConvertCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* command = app.add_subcommand("convert", "Convert a mesh between file formats");
    command->add_option("mesh", options->input, "input mesh file")->required();
    command->add_option("-o,--output", options->output, "output mesh file")->required();
    command->add_flag("--ascii", options->ascii, "write PLY or STL as text (default binary)");
    command->footer(
        "Formats: .obj, .ply, .stl, .off and .trelm (the library's text format). Normals, UVs, "
        "colours and extra vertex properties travel where the output format has room for "
        "them.\nExample: trelm convert data/bunny.ply -o bunny.obj");
    setAction(*command, session, [&session, options] { return runConvert(session, *options); });
}
}  // namespace trelm::cli
