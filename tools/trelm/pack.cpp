// trelm pack: lays out the UV charts of a mesh without overlap in the unit square. A chart is a
// connected component of the mesh (triangles sharing vertices; files split their vertices along
// UV seams, so charts do not share any); each chart's UV rectangle is placed by the library's
// packer and the chart moved and scaled uniformly onto its new rectangle.

#include "commands.h"
#include "progressBar.h"
#include "uvLayoutImage.h"

#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAttributes.h>
#include <oxGeom/PointMesh.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshComponents.h>
#include <oxGeom/pack.h>
#include <oxLinear/Range.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>

namespace trelm::cli
{
namespace
{
struct PackOptions
{
    std::string input;
    std::string output;
    std::string uvPicture;
    int uvSize = 1024;
    bool ascii = false;
};

struct Charts
{
    int count = 0;
    std::vector<int> ofVertex;    // -1 for vertices on no triangle
    std::vector<int> ofTriangle;  // the chart of each triangle's first corner
};

Charts findCharts(const oxGeom::CompactMesh& mesh)
{
    oxGeom::MeshAdjTris adjacency;
    oxGeom::meshAdjTris(mesh, adjacency);
    Charts charts;
    ox::Array<int> labels;
    charts.count = oxGeom::meshComponents(mesh, adjacency, &labels);
    charts.ofVertex.assign(labels.begin(), labels.end());
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const int first = mesh.getTriangles()[t][0];
        charts.ofTriangle.push_back(
            first >= 0 && first < mesh.getNumVertices() ? charts.ofVertex[std::size_t(first)] : 0);
    }
    return charts;
}

std::vector<oxLinear::Range2d> chartRectangles(const oxGeom::CompactMesh& mesh,
                                               const Charts& charts)
{
    std::vector<oxLinear::Range2d> rects(std::size_t(charts.count));
    const oxGeom::MeshUV* uvs = mesh.getUVs();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
    {
        const int chart = charts.ofVertex[std::size_t(v)];
        if (chart < 0)
            continue;
        if (!std::isfinite(uvs[v][0]) || !std::isfinite(uvs[v][1]))
            throw ToolError(ExitFailure, "vertex " + std::to_string(v) +
                                             " has a UV that is not a finite number");
        rects[std::size_t(chart)].include(oxLinear::Point2(uvs[v][0], uvs[v][1]));
    }
    return rects;
}

double side(const oxLinear::Range2d& r)
{
    return std::max(r.size()[0], r.size()[1]);
}

// Moves every chart from its old rectangle onto its packed one, scaling both axes by the same
// factor so that the chart keeps its shape.
void moveCharts(oxGeom::CompactMesh& mesh, const Charts& charts,
                const std::vector<oxLinear::Range2d>& from,
                const std::vector<oxLinear::Range2d>& to)
{
    oxGeom::MeshUV* uvs = mesh.getUVs();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
    {
        const int chart = charts.ofVertex[std::size_t(v)];
        if (chart < 0)
            continue;
        const oxLinear::Range2d& a = from[std::size_t(chart)];
        const oxLinear::Range2d& b = to[std::size_t(chart)];
        const double scale = side(a) > 0.0 ? side(b) / side(a) : 0.0;
        for (int k = 0; k < 2; ++k)
            uvs[v][k] = float(b.min()[k] + (double(uvs[v][k]) - a.min()[k]) * scale);
    }
}

double uvArea(const oxGeom::CompactMesh& mesh)
{
    const oxGeom::MeshUV* uvs = mesh.getUVs();
    double area = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        const oxGeom::MeshUV &a = uvs[tri[0]], &b = uvs[tri[1]], &c = uvs[tri[2]];
        area += 0.5 * std::fabs((double(b[0]) - a[0]) * (double(c[1]) - a[1]) -
                                (double(b[1]) - a[1]) * (double(c[0]) - a[0]));
    }
    return area;
}

int runPack(const Session& session, const PackOptions& options)
{
    checkMeshOutputPath(options.output);
    const auto progress = session.makeProgress();
    oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    if (mesh.getUVs() == nullptr)
        throw ToolError(ExitFailure, options.input +
                                         ": the mesh has no UVs to pack (make some with trelm "
                                         "flatten)");
    progress->stage("Packing");
    const Charts charts = findCharts(mesh);
    const std::vector<oxLinear::Range2d> before = chartRectangles(mesh, charts);
    ox::vector<oxLinear::Range2d> after = before;
    if (!after.empty())
        oxGeom::pack(after, 0);
    moveCharts(mesh, charts, before, after);
    mesh.getAttributes(oxGeom::PointMesh::UVsName)->invalidateRange();
    if (!options.uvPicture.empty())
    {
        progress->throwIfInterrupted();
        const std::string problem =
            writePng(options.uvPicture, drawUvLayout(mesh, options.uvSize, charts.ofTriangle));
        if (!problem.empty())
            throw ToolError(ExitFailure, problem);
    }
    saveMesh(options.output, mesh, {options.ascii}, *progress);
    progress->clear();
    session.say("pack: %d chart%s, %.1f%% of the unit square covered\n", charts.count,
                charts.count == 1 ? "" : "s", 100.0 * uvArea(mesh));
    return ExitSuccess;
}
}  // namespace

void addPackCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<PackOptions>();
    CLI::App* command =
        app.add_subcommand("pack", "Pack the UV charts of a mesh into the unit square");
    command->add_option("mesh", options->input, "mesh file with UVs")->required();
    command->add_option("-o,--output", options->output, "output mesh file")->required();
    command->add_option("--uv-png", options->uvPicture, "also draw the packed layout as a PNG");
    command->add_option("--uv-size", options->uvSize, "size of that picture (default 1024)")
        ->check(CLI::Range(16, 8192));
    command->add_flag("--ascii", options->ascii, "write PLY as text");
    command->footer(
        "A chart is a set of triangles connected through shared vertices. Charts are moved "
        "and scaled uniformly (all by the same factor), never rotated.\n"
        "Example: trelm pack charts.obj -o packed.obj --uv-png packed.png");
    setAction(*command, session, [&session, options] { return runPack(session, *options); });
}
}  // namespace trelm::cli
