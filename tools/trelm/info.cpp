// trelm info: what a mesh file holds and what surface it describes. Counts, area, box, longest
// edge and octree figures are taken from the mesh as read; topology (components, boundary
// loops, Euler characteristic, genus) and the duplicate and degenerate triangles from a copy
// whose coincident vertices are merged, so that a file split along seams reports its surface.

#include "commands.h"
#include "json.h"
#include "meshEdits.h"
#include "progressBar.h"

#include <oxGeom/MeshBoundaries.h>
#include <oxGeom/MeshCache.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshArea.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshComponents.h>
#include <oxGeom/meshComputeBoundary.h>
#include <oxGeom/meshDuplicateTris.h>
#include <oxGeom/meshLongestEdge.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace trelm::cli
{
namespace
{
struct InfoOptions
{
    std::string input;
    bool json = false;
};

struct EdgeCounts
{
    long long faces = 0;             // triangles with three distinct corners
    long long usedVertices = 0;      // vertices those triangles use
    long long edges = 0;             // distinct undirected edges
    long long nonManifoldEdges = 0;  // edges shared by more than two triangles
    long long pinchedVertices = 0;   // vertices on more than two boundary edges
};

struct OctreeFigures
{
    int leaves = 0;
    int occupiedLeaves = 0;
    int depth = 0;
    int nodes = 0;
    long long listings = 0;
    int largestLeaf = 0;
};

struct Topology
{
    int weldedVertices = 0;
    int components = 0;
    int boundaryLoops = 0;
    long long boundaryEdges = 0;
    EdgeCounts edges;
    long long euler = 0;
    std::optional<long long> genus;  // known for edge-manifold surfaces only
    int duplicates = 0;
    int indexDegenerates = 0;
    int positionDegenerates = 0;
};

struct Report
{
    std::string file;
    int vertices = 0;
    int usedVertices = 0;
    int triangles = 0;
    std::vector<std::string> channels;
    double area = 0.0;
    oxGeom::BoundingBox box;
    double longestEdge = 0.0;
    Topology topology;
    OctreeFigures octree;
};

int countUsedVertices(const oxGeom::CompactMesh& mesh)
{
    std::vector<char> used(std::size_t(mesh.getNumVertices()), 0);
    const int* corners = mesh.getTrianglesRaw();
    for (long long i = 0; i < 3LL * mesh.getNumTriangles(); ++i)
        if (corners[i] >= 0 && corners[i] < mesh.getNumVertices())
            used[std::size_t(corners[i])] = 1;
    return int(std::count(used.begin(), used.end(), 1));
}

// Edges of the triangles with three distinct corners, each as one 64-bit key per side.
EdgeCounts countEdges(const oxGeom::CompactMesh& mesh)
{
    EdgeCounts counts;
    std::vector<std::uint64_t> keys;
    std::vector<char> used(std::size_t(mesh.getNumVertices()), 0);
    keys.reserve(std::size_t(mesh.getNumTriangles()) * 3);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
    {
        const oxGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        if (tri[0] == tri[1] || tri[1] == tri[2] || tri[0] == tri[2])
            continue;
        ++counts.faces;
        for (int k = 0; k < 3; ++k)
        {
            const std::uint32_t a = std::uint32_t(tri[k]), b = std::uint32_t(tri[(k + 1) % 3]);
            keys.push_back(std::uint64_t(std::min(a, b)) << 32 | std::max(a, b));
            if (tri[k] >= 0 && tri[k] < mesh.getNumVertices())
                used[std::size_t(tri[k])] = 1;
        }
    }
    std::sort(keys.begin(), keys.end());
    std::vector<int> boundaryDegree(std::size_t(mesh.getNumVertices()), 0);
    for (std::size_t i = 0; i < keys.size();)
    {
        std::size_t j = i;
        while (j < keys.size() && keys[j] == keys[i])
            ++j;
        ++counts.edges;
        counts.nonManifoldEdges += j - i > 2 ? 1 : 0;
        if (j - i == 1)
            for (const std::uint32_t v : {std::uint32_t(keys[i] >> 32), std::uint32_t(keys[i])})
                if (v < boundaryDegree.size())
                    ++boundaryDegree[v];
        i = j;
    }
    for (const int degree : boundaryDegree)
        counts.pinchedVertices += degree > 2 ? 1 : 0;
    counts.usedVertices = std::count(used.begin(), used.end(), 1);
    return counts;
}

Topology measureTopology(const oxGeom::CompactMesh& mesh, CommandProgress& progress)
{
    Topology topology;
    const oxGeom::CompactMesh surface = weldedSurface(mesh, progress.stage("Welding"));
    progress.throwIfInterrupted();
    topology.weldedVertices = surface.getNumVertices();

    progress.stage("Topology");
    oxGeom::MeshAdjTris adjTris;
    oxGeom::meshAdjTris(surface, adjTris);
    topology.components = oxGeom::meshComponents(surface, adjTris, nullptr);
    oxGeom::MeshAdjVertices adjVertices;
    oxGeom::meshAdjVertices(surface, adjTris, adjVertices);
    oxGeom::MeshBoundaries loops;
    oxGeom::meshComputeBoundary(surface, adjTris, adjVertices, loops);
    topology.boundaryLoops = loops.size();
    topology.boundaryEdges = loops.getTotalLength();
    topology.edges = countEdges(surface);
    topology.euler = topology.edges.usedVertices - topology.edges.edges + topology.edges.faces;
    // chi = 2c - 2g - b for an orientable surface with c components and b boundary loops. The
    // formula needs a manifold: every edge on at most two triangles and no boundary loops that
    // touch at a vertex (where the loop count depends on how the walk splits them). An odd or
    // negative 2g says the surface is not orientable.
    const long long twiceGenus =
        2LL * topology.components - topology.boundaryLoops - topology.euler;
    if (topology.edges.nonManifoldEdges == 0 && topology.edges.pinchedVertices == 0 &&
        twiceGenus >= 0 && twiceGenus % 2 == 0)
        topology.genus = twiceGenus / 2;
    progress.throwIfInterrupted();

    progress.stage("Duplicate triangles");
    oxGeom::MeshDuplicateTrisResult duplicates;
    oxGeom::meshDuplicateTris(surface, duplicates);
    topology.duplicates = int(duplicates.getDuplicates().size());
    topology.indexDegenerates = int(duplicates.getIndexDegenerates().size());
    topology.positionDegenerates = int(duplicates.getPositionDegenerates().size());
    return topology;
}

OctreeFigures measureOctree(const oxGeom::CompactMesh& mesh)
{
    oxGeom::SimpleMeshCache cache;
    const ox::Reference<oxGeom::Octree> octree = cache.getOctree(mesh, 16);
    const ox::Reference<oxGeom::OctreeTris> tris = cache.getOctreeTris(mesh);
    OctreeFigures figures;
    figures.leaves = octree->getNumLeaves();
    figures.depth = octree->getMaxDepth();
    figures.nodes = octree->getNumNodes();
    for (int leaf = 0; leaf < tris->getNumLeaves(); ++leaf)
    {
        const int count = tris->numTris(leaf);
        figures.occupiedLeaves += count > 0 ? 1 : 0;
        figures.listings += count;
        figures.largestLeaf = std::max(figures.largestLeaf, count);
    }
    return figures;
}

std::vector<std::string> channelNames(const oxGeom::CompactMesh& mesh)
{
    std::vector<std::string> names;
    for (int i = 0; i < mesh.getNumAttributes(); ++i)
        if (const oxGeom::MeshAttributes* channel = mesh.getAttributes(i))
            names.push_back(channel->getName().c_str());
    return names;
}

Report measure(const std::string& path, CommandProgress& progress)
{
    const oxGeom::CompactMesh mesh = loadMesh(path, progress);
    progress.throwIfInterrupted();
    Report report;
    report.file = path;
    report.vertices = mesh.getNumVertices();
    report.triangles = mesh.getNumTriangles();
    report.usedVertices = countUsedVertices(mesh);
    report.channels = channelNames(mesh);

    progress.stage("Measuring");
    oxGeom::MeshPlacement placement;
    placement.mesh = &mesh;
    report.area = oxGeom::meshArea(placement, oxGeom::VertexChannel);
    oxGeom::meshBoundingBox(mesh, report.box);
    report.longestEdge = oxGeom::meshLongestEdge(mesh);
    report.topology = measureTopology(mesh, progress);

    progress.stage("Octree");
    report.octree = measureOctree(mesh);
    progress.throwIfInterrupted();
    return report;
}

double perLeaf(const OctreeFigures& octree)
{
    return octree.occupiedLeaves > 0 ? double(octree.listings) / octree.occupiedLeaves : 0.0;
}

double perTriangle(const OctreeFigures& octree, int triangles)
{
    return triangles > 0 ? double(octree.listings) / triangles : 0.0;
}

void printText(const Report& r)
{
    const auto& t = r.topology;
    std::printf("%-21s%s\n", "file", r.file.c_str());
    std::printf("%-21s%d (%d used by triangles)\n", "vertices", r.vertices, r.usedVertices);
    std::printf("%-21s%d\n", "triangles", r.triangles);
    std::string channels;
    for (const std::string& name : r.channels)
        channels += (channels.empty() ? "" : ", ") + name;
    std::printf("%-21s%s\n", "channels", channels.c_str());
    std::printf("%-21s%.9g\n", "area", r.area);
    if (r.box.isValid())
    {
        std::printf("%-21s(%.9g, %.9g, %.9g) .. (%.9g, %.9g, %.9g)\n", "bounding box", r.box[0],
                    r.box[1], r.box[2], r.box[3], r.box[4], r.box[5]);
        std::printf("%-21s%.9g x %.9g x %.9g\n", "size", double(r.box[3]) - r.box[0],
                    double(r.box[4]) - r.box[1], double(r.box[5]) - r.box[2]);
    }
    else
        std::printf("%-21s%s\n", "bounding box", "empty");
    std::printf("%-21s%.9g\n", "longest edge", r.longestEdge);
    std::printf("%-21s%d\n", "welded vertices", t.weldedVertices);
    std::printf("%-21s%d\n", "components", t.components);
    std::printf("%-21s%d (%lld edges, %lld vertices where loops touch)\n", "boundary loops",
                t.boundaryLoops, t.boundaryEdges, t.edges.pinchedVertices);
    std::printf("%-21s%lld (%lld non-manifold)\n", "edges", t.edges.edges,
                t.edges.nonManifoldEdges);
    std::printf("%-21s%lld\n", "euler characteristic", t.euler);
    if (t.genus)
        std::printf("%-21s%lld\n", "genus", *t.genus);
    else
        std::printf("%-21s%s\n", "genus", "undefined (not an orientable manifold surface)");
    std::printf("%-21s%d\n", "duplicate triangles", t.duplicates);
    std::printf("%-21s%d (%d repeat a vertex, %d repeat a position)\n", "degenerate triangles",
                t.indexDegenerates + t.positionDegenerates, t.indexDegenerates,
                t.positionDegenerates);
    std::printf("%-21s%d leaves (%d with triangles), depth %d, %d nodes\n", "octree",
                r.octree.leaves, r.octree.occupiedLeaves, r.octree.depth, r.octree.nodes);
    std::printf("%-21s%.2f triangles per occupied leaf (at most %d), %.2f leaves per triangle\n",
                "", perLeaf(r.octree), r.octree.largestLeaf, perTriangle(r.octree, r.triangles));
}

void printJson(const Report& r)
{
    const auto& t = r.topology;
    JsonWriter json(stdout);
    json.beginObject();
    json.key("file").value(r.file);
    json.key("vertices").value(r.vertices);
    json.key("usedVertices").value(r.usedVertices);
    json.key("triangles").value(r.triangles);
    json.key("channels").beginArray();
    for (const std::string& name : r.channels)
        json.value(name);
    json.endArray();
    json.key("area").value(r.area);
    json.key("boundingBox");
    if (r.box.isValid())
    {
        json.beginObject();
        json.key("min").triple(r.box[0], r.box[1], r.box[2]);
        json.key("max").triple(r.box[3], r.box[4], r.box[5]);
        json.endObject();
    }
    else
        json.null();
    json.key("longestEdge").value(r.longestEdge);
    json.key("topology").beginObject();
    json.key("weldedVertices").value(t.weldedVertices);
    json.key("components").value(t.components);
    json.key("boundaryLoops").value(t.boundaryLoops);
    json.key("boundaryEdges").value(t.boundaryEdges);
    json.key("edges").value(t.edges.edges);
    json.key("nonManifoldEdges").value(t.edges.nonManifoldEdges);
    json.key("pinchedBoundaryVertices").value(t.edges.pinchedVertices);
    json.key("eulerCharacteristic").value(t.euler);
    json.key("genus");
    if (t.genus)
        json.value(*t.genus);
    else
        json.null();
    json.endObject();
    json.key("duplicateTriangles").value(t.duplicates);
    json.key("degenerateTriangles").beginObject();
    json.key("repeatedVertex").value(t.indexDegenerates);
    json.key("repeatedPosition").value(t.positionDegenerates);
    json.endObject();
    json.key("octree").beginObject();
    json.key("leaves").value(r.octree.leaves);
    json.key("occupiedLeaves").value(r.octree.occupiedLeaves);
    json.key("depth").value(r.octree.depth);
    json.key("nodes").value(r.octree.nodes);
    json.key("listings").value(r.octree.listings);
    json.key("largestLeaf").value(r.octree.largestLeaf);
    json.key("trianglesPerOccupiedLeaf").value(perLeaf(r.octree));
    json.key("leavesPerTriangle").value(perTriangle(r.octree, r.triangles));
    json.endObject();
    json.endObject();
    json.finish();
}

int runInfo(const Session& session, const InfoOptions& options)
{
    const auto progress = session.makeProgress();
    const Report report = measure(options.input, *progress);
    progress->clear();
    if (options.json)
        printJson(report);
    else
        printText(report);
    return ExitSuccess;
}
}  // namespace

void addInfoCommand(CLI::App& app, Session& session)
{
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command = app.add_subcommand(
        "info", "Counts, area, bounding box, topology, bad triangles and octree of a mesh");
    command->add_option("mesh", options->input, "mesh file (.obj .ply .stl .off .trelm)")
        ->required();
    command->add_flag("--json", options->json, "print the report as JSON");
    command->footer(
        "Topology, duplicate and degenerate triangles are counted after merging coincident "
        "vertices.\nExample: trelm info data/bunny.ply --json");
    setAction(*command, session, [&session, options] { return runInfo(session, *options); });
}
}  // namespace trelm::cli
