// trelm curvature: per-vertex discrete curvature (meshCurvature: cotangent weights, angle
// deficits and mixed Voronoi areas), summarised on stdout and, on request, written with the
// mesh as a one-float vertex channel named "curvature" (a PLY property of that name).

#include "commands.h"
#include "meshEdits.h"
#include "progressBar.h"

#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshAttributes.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshCurvature.h>
#include <oxGeom/meshNormals.h>
#include <oxLinear/AffineMatrix.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

namespace trelm::cli
{
namespace
{
struct CurvatureOptions
{
    std::string input;
    std::string output;
    oxGeom::MeshCurvature kind = oxGeom::MeanCurvature;
    bool weld = false;
    bool ascii = false;
};

const char* kindName(oxGeom::MeshCurvature kind)
{
    switch (kind)
    {
        case oxGeom::GaussianCurvature:
            return "gaussian";
        case oxGeom::MinCurvature:
            return "min";
        case oxGeom::MaxCurvature:
            return "max";
        default:
            return "mean";
    }
}

struct Summary
{
    int finite = 0;
    int nonFinite = 0;
    double minimum = 0.0, maximum = 0.0, mean = 0.0;
    double p05 = 0.0, median = 0.0, p95 = 0.0;
};

double percentile(const std::vector<float>& sorted, double q)
{
    const std::size_t i = std::size_t(q * double(sorted.size() - 1) + 0.5);
    return sorted[std::min(i, sorted.size() - 1)];
}

Summary summarise(const std::vector<float>& values)
{
    Summary summary;
    std::vector<float> finite;
    double sum = 0.0;
    for (float value : values)
        if (std::isfinite(value))
        {
            finite.push_back(value);
            sum += value;
        }
    summary.finite = int(finite.size());
    summary.nonFinite = int(values.size() - finite.size());
    if (finite.empty())
        return summary;
    std::sort(finite.begin(), finite.end());
    summary.minimum = finite.front();
    summary.maximum = finite.back();
    summary.mean = sum / double(finite.size());
    summary.p05 = percentile(finite, 0.05);
    summary.median = percentile(finite, 0.5);
    summary.p95 = percentile(finite, 0.95);
    return summary;
}

std::vector<float> computeCurvature(const oxGeom::CompactMesh& mesh, oxGeom::MeshCurvature kind)
{
    oxGeom::MeshAdjTris adjTris;
    oxGeom::meshAdjTris(mesh, adjTris);
    oxGeom::MeshAdjVertices adjVertices;
    oxGeom::meshAdjVertices(mesh, adjTris, adjVertices);
    std::vector<float> curvature(std::size_t(mesh.getNumVertices()), 0.0f);
    if (!curvature.empty())
        oxGeom::meshCurvature(mesh, adjTris, adjVertices, oxLinear::AffineMatrixFlt(1.0f), kind,
                              curvature.data());
    return curvature;
}

void storeChannel(oxGeom::CompactMesh& mesh, const std::vector<float>& curvature)
{
    oxGeom::MeshAttributes* channel =
        mesh.allocAttributes("curvature", oxGeom::MeshAttributes::Float1);
    if (channel == nullptr)
        throw ToolError(ExitFailure, "cannot add the curvature channel to the mesh");
    std::copy(curvature.begin(), curvature.end(), channel->asFloat());
    channel->invalidateRange();
}

int runCurvature(const Session& session, const CurvatureOptions& options)
{
    if (!options.output.empty())
        checkMeshOutputPath(options.output);
    const auto progress = session.makeProgress();
    oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    if (options.weld)
    {
        mesh.deleteNormals();
        weldVertices(mesh, progress->stage("Welding"));
        progress->throwIfInterrupted();
    }
    progress->stage("Curvature");
    if (mesh.getNormals() == nullptr)  // the normals give the mean curvature its sign
        oxGeom::meshComputeNormals(mesh);
    const std::vector<float> curvature = computeCurvature(mesh, options.kind);
    progress->throwIfInterrupted();
    if (!options.output.empty())
    {
        storeChannel(mesh, curvature);
        saveMesh(options.output, mesh, {options.ascii}, *progress);
    }
    progress->clear();
    const Summary s = summarise(curvature);
    std::printf("%s curvature over %d vertices", kindName(options.kind), s.finite);
    if (s.nonFinite > 0)
        std::printf(" (%d without a value: no area around them)", s.nonFinite);
    if (s.finite == 0)
    {
        std::printf("\n");
        return ExitSuccess;
    }
    std::printf("\n  min %.6g  5%% %.6g  median %.6g  mean %.6g  95%% %.6g  max %.6g\n", s.minimum,
                s.p05, s.median, s.mean, s.p95, s.maximum);
    return ExitSuccess;
}
}  // namespace

void addCurvatureCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<CurvatureOptions>();
    CLI::App* command = app.add_subcommand("curvature", "Per-vertex curvature of a mesh");
    command->add_option("mesh", options->input, "input mesh file")->required();
    command->add_option("-o,--output", options->output,
                        "write the mesh with a vertex property \"curvature\" (keep it with .ply)");
    const std::map<std::string, oxGeom::MeshCurvature> kinds = {
        {"mean", oxGeom::MeanCurvature},
        {"gaussian", oxGeom::GaussianCurvature},
        {"min", oxGeom::MinCurvature},
        {"max", oxGeom::MaxCurvature}};
    command->add_option("--kind", options->kind, "mean (default), gaussian, min or max")
        ->transform(CLI::CheckedTransformer(kinds, CLI::ignore_case));
    command->add_flag("--weld", options->weld,
                      "merge coincident vertices first (files split along seams)");
    command->add_flag("--ascii", options->ascii, "write PLY as text");
    command->footer(
        "Mean curvature is positive where the surface bends away from its normals (a sphere "
        "with outward normals); vertices on a boundary take the mean of their neighbours.\n"
        "Example: trelm curvature data/bunny.ply --kind gaussian -o bunny-k.ply");
    setAction(*command, session, [&session, options] { return runCurvature(session, *options); });
}
}  // namespace trelm::cli
