// Measures a mesh the way a host application would: builds a torus as an
// indexed triangle mesh, then asks the library for its surface area and its
// bounding box, on the shared thread pool and on one thread.
//
//   meshMeasure [rings [--verbose]]   rings: the torus resolution (default 800)

#include <oxGeom/oxGeom.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace
{
// A torus about the z axis, major radius R, minor radius r, with `rings` x
// `rings / 2` quads split into two triangles each, wound outward.
oxGeom::CompactMesh makeTorus(int rings, double R, double r)
{
    const int sides = rings / 2;
    const double twoPi = 6.283185307179586;
    std::vector<oxGeom::MeshVertex> vertices;
    for (int i = 0; i < rings; ++i)
        for (int j = 0; j < sides; ++j)
        {
            const double u = twoPi * i / rings, v = twoPi * j / sides;
            const double ring = R + r * std::cos(v);
            vertices.push_back(
                {{float(ring * std::cos(u)), float(ring * std::sin(u)), float(r * std::sin(v))}});
        }
    std::vector<int> triangles;
    for (int i = 0; i < rings; ++i)
        for (int j = 0; j < sides; ++j)
        {
            const int a = i * sides + j, b = ((i + 1) % rings) * sides + j;
            const int c = i * sides + (j + 1) % sides,
                      d = ((i + 1) % rings) * sides + (j + 1) % sides;
            triangles.insert(triangles.end(), {a, b, d, a, d, c});
        }
    oxGeom::CompactMesh mesh(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr,
                             nullptr);
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

double milliseconds(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - since)
        .count();
}
}  // namespace

int main(int argc, char** argv)
{
    const int rings = argc > 1 ? std::atoi(argv[1]) : 800;
    if (rings < 6 || rings > 20000)
    {
        std::fprintf(stderr, "meshMeasure: rings must be between 6 and 20000\n");
        return 2;
    }
    if (argc > 2 && std::strcmp(argv[2], "--verbose") == 0)
        oxGeom::debugChannel().enable();  // the library's timing lines, on stderr

    const double R = 2.0, r = 0.5;
    const oxGeom::CompactMesh torus = makeTorus(rings, R, r);
    oxGeom::MeshPlacement placement;
    placement.mesh = &torus;

    std::printf("torus: %d vertices, %d triangles\n", torus.getNumVertices(),
                torus.getNumTriangles());
    oxUtil::ThreadPool& pool = oxUtil::ThreadPool::get();
    const int hardwareThreads = pool.getNumThreads();
    for (int threads : {1, hardwareThreads})
    {
        pool.setNumThreads(threads);
        auto start = std::chrono::steady_clock::now();
        const float area = oxGeom::meshArea(placement, oxGeom::VertexChannel);
        const double areaMs = milliseconds(start);

        start = std::chrono::steady_clock::now();
        oxGeom::BoundingBox box;
        oxGeom::meshBoundingBox(torus, box);
        const double boxMs = milliseconds(start);

        std::printf(
            "%d thread%s: area %-10.6f (%.3f ms)  box (%.3f %.3f %.3f)-(%.3f %.3f %.3f) "
            "(%.3f ms)\n",
            threads, threads == 1 ? " " : "s", area, areaMs, box[0], box[1], box[2], box[3], box[4],
            box[5], boxMs);
        if (threads == hardwareThreads)
            break;
    }
    // The inscribed polyhedron's area approaches 4 pi^2 R r from below.
    std::printf("smooth torus area 4 pi^2 R r = %.6f\n", 4.0 * 9.869604401089358 * R * r);
    return 0;
}
