// trelm closest: the nearest point of a mesh to each query point, with MeshClosestPoint over
// the mesh's octree and per-leaf triangle lists (built once, then one walk per point).

#include "commands.h"
#include "json.h"
#include "progressBar.h"

#include <oxGeom/MeshCache.h>
#include <oxGeom/MeshCoord.h>
#include <oxGeom/meshClosestPoint.h>

#include <CLI/CLI.hpp>

#include <vector>

namespace trelm::cli
{
namespace
{
struct ClosestOptions
{
    std::string input;
    std::vector<std::string> points;
    std::string pointsFile;
    bool json = false;
};

struct Answer
{
    oxLinear::Point query;
    bool found = false;
    double distance = 0.0;
    oxLinear::Point nearest;
    oxGeom::MeshCoord coord;
};

std::vector<oxLinear::Point> gatherPoints(const ClosestOptions& options)
{
    std::vector<oxLinear::Point> points;
    for (const std::string& text : options.points)
    {
        double xyz[3];
        if (!parseNumbers(text, 3, xyz))
            throw ToolError(ExitFailure, "'" + text + "' is not a point (expected x,y,z)");
        points.emplace_back(xyz[0], xyz[1], xyz[2]);
    }
    if (!options.pointsFile.empty())
        for (const std::vector<double>& xyz : readNumberLines(options.pointsFile, 3))
            points.emplace_back(xyz[0], xyz[1], xyz[2]);
    return points;
}

std::vector<Answer> findNearest(const oxGeom::CompactMesh& mesh,
                                const std::vector<oxLinear::Point>& points,
                                CommandProgress& progress)
{
    oxGeom::SimpleMeshCache cache;
    progress.stage("Octree");
    const ox::Reference<oxGeom::Octree> octree = cache.getOctree(mesh, 16);
    const ox::Reference<oxGeom::OctreeTris> tris = cache.getOctreeTris(mesh);
    oxUtil::Progress& queries = progress.stage("Closest points");
    oxGeom::MeshClosestPoint query(mesh, *octree, *tris);
    std::vector<Answer> answers;
    for (std::size_t i = 0; i < points.size(); ++i)
    {
        if (i % 1024 == 0)
        {
            progress.throwIfInterrupted();
            queries.set(double(i) / double(points.size()));
        }
        Answer answer;
        answer.query = points[i];
        answer.distance = query.compute(points[i], &answer.coord);
        answer.found = answer.coord.valid();
        if (answer.found)
            answer.nearest = answer.coord.evaluate(mesh.getVerticesRaw(), mesh.getTrianglesRaw());
        answers.push_back(answer);
    }
    return answers;
}

void printText(const std::vector<Answer>& answers)
{
    for (const Answer& a : answers)
    {
        std::printf("(%.9g, %.9g, %.9g): ", a.query[0], a.query[1], a.query[2]);
        if (!a.found)
        {
            std::printf("no triangle\n");
            continue;
        }
        std::printf(
            "distance %.9g at (%.9g, %.9g, %.9g), triangle %d, weights (%.9g, %.9g, "
            "%.9g)\n",
            a.distance, a.nearest[0], a.nearest[1], a.nearest[2], a.coord.triangle,
            a.coord.weights[0], a.coord.weights[1], a.coord.weights[2]);
    }
}

void printJson(const std::vector<Answer>& answers)
{
    JsonWriter json(stdout);
    json.beginArray();
    for (const Answer& a : answers)
    {
        json.beginObject();
        json.key("point").triple(a.query[0], a.query[1], a.query[2]);
        if (a.found)
        {
            json.key("distance").value(a.distance);
            json.key("nearest").triple(a.nearest[0], a.nearest[1], a.nearest[2]);
            json.key("triangle").value(a.coord.triangle);
            json.key("weights").triple(a.coord.weights[0], a.coord.weights[1], a.coord.weights[2]);
        }
        else
        {
            json.key("distance").null();
            json.key("triangle").null();
        }
        json.endObject();
    }
    json.endArray();
    json.finish();
}

int runClosest(const Session& session, const ClosestOptions& options)
{
    const std::vector<oxLinear::Point> points = gatherPoints(options);
    if (points.empty())
        throw ToolError(ExitFailure, "no query points (give x,y,z arguments or --points FILE)");
    const auto progress = session.makeProgress();
    const oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    const std::vector<Answer> answers = findNearest(mesh, points, *progress);
    progress->clear();
    if (options.json)
        printJson(answers);
    else
        printText(answers);
    return ExitSuccess;
}
}  // namespace

void addClosestCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<ClosestOptions>();
    CLI::App* command =
        app.add_subcommand("closest", "Nearest point of a mesh to each query point");
    command->add_option("mesh", options->input, "mesh file")->required();
    command->add_option("point", options->points, "query points as x,y,z (any number)");
    command->add_option("--points", options->pointsFile,
                        "file of query points, one \"x y z\" per line ('-' for stdin)");
    command->add_flag("--json", options->json, "print the answers as JSON");
    command->footer(
        "For each point: the distance to the surface, the nearest surface point, its triangle "
        "and barycentric weights.\n"
        "Example: trelm closest data/bunny.ply 0,5,0 3,3,3 --json");
    setAction(*command, session, [&session, options] { return runClosest(session, *options); });
}
}  // namespace trelm::cli
