// trelm flatten: new UVs for a mesh from the library's disk parameterization (reparameterizeMesh:
// a conformal flattening with two pinned boundary vertices). The library's notices are routed
// through the tool: its progress lines appear with --verbose, and a refusal becomes the tool's
// one-line error, so the user sees why the mesh could not be flattened and nothing is written.

#include "commands.h"
#include "progressBar.h"
#include "uvLayoutImage.h"

#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshComponents.h>
#include <oxGeom/reparameterizeMesh.h>
#include <oxOS/AppOutput.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>

namespace trelm::cli
{
namespace
{
struct FlattenOptions
{
    std::string input;
    std::string output;
    std::string uvPicture;
    int uvSize = 1024;
    bool noCut = false;
    bool ascii = false;
};

// Sends the library's application output to stderr (info only when verbose) and keeps its last
// error line, for the tool's own message; restores the files on destruction.
class LibraryNotices
{
public:
    explicit LibraryNotices(bool verbose)
    {
        oxOS::AppOutput::getInstance().setCallback(
            [this, verbose](oxOS::AppOutput::Level level, const char* text)
            {
                if (level == oxOS::AppOutput::Level::Error)
                {
                    std::lock_guard<std::mutex> lock(m_mutex);
                    m_lastError = trimmed(text);
                }
                if (verbose)
                    std::fputs(text, stderr);
            });
    }
    ~LibraryNotices() { oxOS::AppOutput::getInstance().setCallback(nullptr); }
    LibraryNotices(const LibraryNotices&) = delete;
    LibraryNotices& operator=(const LibraryNotices&) = delete;

    std::string lastError() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastError;
    }

private:
    static std::string trimmed(const char* text)
    {
        std::string line = text;
        while (!line.empty() && (line.back() == '\n' || line.back() == ' '))
            line.pop_back();
        for (char& c : line)
            if (c == '\n')
                c = ' ';
        return line;
    }

    mutable std::mutex m_mutex;
    std::string m_lastError;
};

// Triangles whose UV winding is opposite to the layout's prevailing one (folds).
int countFlipped(const oxGeom::CompactMesh& mesh)
{
    const oxGeom::MeshUV* uvs = mesh.getUVs();
    int positive = 0, negative = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        const oxGeom::MeshUV &a = uvs[tri[0]], &b = uvs[tri[1]], &c = uvs[tri[2]];
        const double area = (double(b[0]) - a[0]) * (double(c[1]) - a[1]) -
                            (double(b[1]) - a[1]) * (double(c[0]) - a[0]);
        positive += area > 0.0 ? 1 : 0;
        negative += area < 0.0 ? 1 : 0;
    }
    return std::min(positive, negative);
}

// The connected component of each triangle, to tint the layout picture by piece.
std::vector<int> componentOfTriangles(const oxGeom::CompactMesh& mesh)
{
    oxGeom::MeshAdjTris adjacency;
    oxGeom::meshAdjTris(mesh, adjacency);
    ox::Array<int> labels;
    oxGeom::meshComponents(mesh, adjacency, &labels);
    std::vector<int> ofTriangle;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        ofTriangle.push_back(labels[std::size_t(mesh.getTriangles()[t][0])]);
    return ofTriangle;
}

int runFlatten(const Session& session, const FlattenOptions& options)
{
    checkMeshOutputPath(options.output);
    const auto progress = session.makeProgress();
    oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    bool flattened = false;
    std::string refusal;
    {
        LibraryNotices notices(session.options.verbose);
        oxGeom::reparameterizeMesh job(mesh);
        job.enableMeshCutSurface(!options.noCut);
        flattened = job.flatten(progress->stage("Flattening"));
        refusal = notices.lastError();
    }
    progress->throwIfInterrupted();
    if (!flattened)
        throw ToolError(ExitFailure,
                        options.input + ": cannot flatten: " +
                            (refusal.empty() ? std::string("the mesh is not a disk") : refusal));
    if (!options.uvPicture.empty())
    {
        const std::string problem = writePng(
            options.uvPicture, drawUvLayout(mesh, options.uvSize, componentOfTriangles(mesh)));
        if (!problem.empty())
            throw ToolError(ExitFailure, problem);
    }
    saveMesh(options.output, mesh, {options.ascii}, *progress);
    progress->clear();
    session.say("flatten: %d vertices, %d triangles; %d triangles folded over\n",
                mesh.getNumVertices(), mesh.getNumTriangles(), countFlipped(mesh));
    return ExitSuccess;
}
}  // namespace

void addFlattenCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<FlattenOptions>();
    CLI::App* command =
        app.add_subcommand("flatten", "Give a mesh new UVs by flattening it onto the plane");
    command->add_option("mesh", options->input, "input mesh file")->required();
    command->add_option("-o,--output", options->output, "output mesh file (with UVs)")->required();
    command->add_option("--uv-png", options->uvPicture, "also draw the UV layout as a PNG");
    command->add_option("--uv-size", options->uvSize, "size of that picture (default 1024)")
        ->check(CLI::Range(16, 8192));
    command->add_flag("--no-cut", options->noCut,
                      "refuse meshes that are not a disk instead of cutting them open");
    command->add_flag("--ascii", options->ascii, "write PLY as text");
    command->footer(
        "The mesh should be one piece with a boundary (a disk, holes allowed). A closed mesh or "
        "one with handles is first cut open into a disk; each vertex of the file keeps one UV, "
        "so triangles along the cut stretch across the layout. The UVs fill the unit square "
        "along their longer side.\n"
        "Example: trelm flatten face.ply -o face-uv.obj --uv-png face-uv.png");
    setAction(*command, session, [&session, options] { return runFlatten(session, *options); });
}
}  // namespace trelm::cli
