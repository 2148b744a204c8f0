// trelm raycast: where rays first meet a mesh, with RayTracer in nearest-hit mode over the
// mesh's octree and per-leaf triangle lists (built once, then one walk per ray).

#include "commands.h"
#include "json.h"
#include "progressBar.h"

#include <oxGeom/MeshCache.h>
#include <oxGeom/RayTracer.h>

#include <CLI/CLI.hpp>

#include <vector>

namespace trelm::cli
{
namespace
{
struct RaycastOptions
{
    std::string input;
    std::vector<std::string> rays;
    std::string raysFile;
    bool json = false;
};

struct RayQuery
{
    oxLinear::Point origin;
    oxLinear::Vector direction;
};

struct Hit
{
    RayQuery ray;
    bool hit = false;
    double t = 0.0;
    int triangle = -1;
    double u = 0.0, v = 0.0;  // barycentric weights of corners 1 and 2
    oxLinear::Point point;
};

RayQuery makeRay(const double* values)
{
    return {oxLinear::Point(values[0], values[1], values[2]),
            oxLinear::Vector(values[3], values[4], values[5])};
}

std::vector<RayQuery> gatherRays(const RaycastOptions& options)
{
    std::vector<RayQuery> rays;
    for (const std::string& text : options.rays)
    {
        double values[6];
        if (!parseNumbers(text, 6, values))
            throw ToolError(ExitFailure,
                            "'" + text + "' is not a ray (expected ox,oy,oz,dx,dy,dz)");
        rays.push_back(makeRay(values));
    }
    if (!options.raysFile.empty())
        for (const std::vector<double>& values : readNumberLines(options.raysFile, 6))
            rays.push_back(makeRay(values.data()));
    return rays;
}

// The hit point from the barycentrics, so that it lies on the triangle to rounding.
oxLinear::Point pointOnTriangle(const oxGeom::CompactMesh& mesh, int triangle, double u, double v)
{
    const oxGeom::MeshTriangle& tri = mesh.getTriangles()[triangle];
    const oxGeom::MeshVertex* vertices = mesh.getVertices();
    oxLinear::Point p;
    for (int k = 0; k < 3; ++k)
        p[k] =
            (1.0 - u - v) * vertices[tri[0]][k] + u * vertices[tri[1]][k] + v * vertices[tri[2]][k];
    return p;
}

std::vector<Hit> castRays(const oxGeom::CompactMesh& mesh, const std::vector<RayQuery>& rays,
                          CommandProgress& progress)
{
    oxGeom::SimpleMeshCache cache;
    progress.stage("Octree");
    const ox::Reference<oxGeom::Octree> octree = cache.getOctree(mesh, 16);
    const ox::Reference<oxGeom::OctreeTris> tris = cache.getOctreeTris(mesh);
    oxUtil::Progress& casting = progress.stage("Casting rays");
    oxGeom::RayTracer tracer(*octree, *tris, &mesh);
    tracer.setFindNearestHit(true);
    std::vector<Hit> hits;
    for (std::size_t i = 0; i < rays.size(); ++i)
    {
        if (i % 1024 == 0)
        {
            progress.throwIfInterrupted();
            casting.set(double(i) / double(rays.size()));
        }
        Hit hit;
        hit.ray = rays[i];
        hit.hit = tracer.intersect(oxLinear::PointFlt(rays[i].origin), rays[i].direction);
        if (hit.hit)
        {
            hit.t = tracer.intersectionDist();
            hit.triangle = tracer.intersectionTriangle();
            hit.u = tracer.intersectionBaryU();
            hit.v = tracer.intersectionBaryV();
            hit.point = pointOnTriangle(mesh, hit.triangle, hit.u, hit.v);
        }
        hits.push_back(hit);
    }
    return hits;
}

void printText(const std::vector<Hit>& hits)
{
    for (const Hit& h : hits)
    {
        std::printf("(%.9g, %.9g, %.9g) + t (%.9g, %.9g, %.9g): ", h.ray.origin[0], h.ray.origin[1],
                    h.ray.origin[2], h.ray.direction[0], h.ray.direction[1], h.ray.direction[2]);
        if (!h.hit)
        {
            std::printf("miss\n");
            continue;
        }
        std::printf("hit at t %.9g, (%.9g, %.9g, %.9g), triangle %d, weights (%.9g, %.9g, %.9g)\n",
                    h.t, h.point[0], h.point[1], h.point[2], h.triangle, 1.0 - h.u - h.v, h.u, h.v);
    }
}

void printJson(const std::vector<Hit>& hits)
{
    JsonWriter json(stdout);
    json.beginArray();
    for (const Hit& h : hits)
    {
        json.beginObject();
        json.key("origin").triple(h.ray.origin[0], h.ray.origin[1], h.ray.origin[2]);
        json.key("direction").triple(h.ray.direction[0], h.ray.direction[1], h.ray.direction[2]);
        json.key("hit").value(h.hit);
        if (h.hit)
        {
            json.key("t").value(h.t);
            json.key("point").triple(h.point[0], h.point[1], h.point[2]);
            json.key("triangle").value(h.triangle);
            json.key("weights").triple(1.0 - h.u - h.v, h.u, h.v);
        }
        json.endObject();
    }
    json.endArray();
    json.finish();
}

int runRaycast(const Session& session, const RaycastOptions& options)
{
    const std::vector<RayQuery> rays = gatherRays(options);
    if (rays.empty())
        throw ToolError(ExitFailure, "no rays (give ox,oy,oz,dx,dy,dz arguments or --rays FILE)");
    const auto progress = session.makeProgress();
    const oxGeom::CompactMesh mesh = loadMesh(options.input, *progress);
    const std::vector<Hit> hits = castRays(mesh, rays, *progress);
    progress->clear();
    if (options.json)
        printJson(hits);
    else
        printText(hits);
    return ExitSuccess;
}
}  // namespace

void addRaycastCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<RaycastOptions>();
    CLI::App* command = app.add_subcommand("raycast", "Nearest hit of each ray on a mesh");
    command->add_option("mesh", options->input, "mesh file")->required();
    command->add_option("ray", options->rays, "rays as ox,oy,oz,dx,dy,dz (any number)");
    command->add_option("--rays", options->raysFile,
                        "file of rays, one \"ox oy oz dx dy dz\" per line ('-' for stdin)");
    command->add_flag("--json", options->json, "print the hits as JSON");
    command->footer(
        "A ray is origin + t * direction for t > 0 (t counts in multiples of the direction); "
        "both faces of a triangle are hit. For each ray: t, the hit point, its triangle and "
        "the barycentric weights of the triangle's corners.\n"
        "Example: trelm raycast data/bunny.ply 0,5,20,0,0,-1 --json");
    setAction(*command, session, [&session, options] { return runRaycast(session, *options); });
}
}  // namespace trelm::cli
