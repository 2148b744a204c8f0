// Exported operations called from several host threads at once, each thread on its own meshes,
// all of them sharing the one process-wide thread pool. Every result must equal, bit for bit,
// what the same call gives when it runs alone: the pool splits each run the same way whoever
// else is using it, and no operation keeps state between calls.

#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshPlacement.h>
#include <oxGeom/Remap.h>
#include <oxGeom/meshAdjacency.h>
#include <oxGeom/meshArea.h>
#include <oxGeom/meshCompact.h>
#include <oxGeom/meshCurvature.h>
#include <oxGeom/meshNormals.h>
#include <oxUtil/Progress.h>

#include "support/debugCapture.h"
#include "support/hostThreads.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace
{
constexpr int roundsPerThread = 3;

template <class T>
void appendBits(std::vector<std::uint8_t>& out, const T* values, size_t count)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(values);
    out.insert(out.end(), bytes, bytes + count * sizeof(T));
}

/// A sphere with duplicated vertices: every vertex is split once per triangle corner and the
/// copies are shuffled, so meshCompact has real welding to do and a numbering to sort.
oxGeom::CompactMesh splitSphere(int subdivisions, std::uint32_t seed)
{
    const oxGeom::CompactMesh sphere = fixtures::icosphere(subdivisions, 1.0f + 0.1f * seed);
    const int corners = 3 * sphere.getNumTriangles();
    std::vector<int> slot(static_cast<size_t>(corners));
    for (int c = 0; c < corners; ++c)
        slot[size_t(c)] = c;
    std::shuffle(slot.begin(), slot.end(), std::mt19937(seed));
    std::vector<oxGeom::MeshVertex> vertices(static_cast<size_t>(corners));
    std::vector<int> triangles(static_cast<size_t>(corners));
    const int* source = sphere.getTrianglesRaw();
    for (int c = 0; c < corners; ++c)
    {
        vertices[size_t(slot[size_t(c)])] = sphere.getVertices()[source[c]];
        triangles[size_t(c)] = slot[size_t(c)];
    }
    oxGeom::CompactMesh mesh(corners, vertices.data(), nullptr, nullptr, nullptr);
    mesh.copyTriangles(sphere.getNumTriangles(), triangles.data());
    return mesh;
}

/// Everything one host thread computes on its mesh, as bytes.
std::vector<std::uint8_t> exportedResults(const oxGeom::CompactMesh& input)
{
    std::vector<std::uint8_t> out;
    oxGeom::MeshPlacement placement;
    placement.mesh = &input;
    const float area = oxGeom::meshArea(placement, oxGeom::VertexChannel);
    appendBits(out, &area, 1);

    oxGeom::CompactMesh welded = input;
    oxUtil::Progress progress;
    oxGeom::Remap map;
    oxGeom::meshCompact(welded, progress, map);
    appendBits(out, welded.getVerticesRaw(), 3 * size_t(welded.getNumVertices()));
    appendBits(out, welded.getTrianglesRaw(), 3 * size_t(welded.getNumTriangles()));
    for (int v = 0; v < input.getNumVertices(); ++v)
    {
        const int target = map(v);
        appendBits(out, &target, 1);
    }

    oxGeom::meshComputeNormals(welded);
    appendBits(out, welded.getNormalsRaw(), 3 * size_t(welded.getNumVertices()));

    oxGeom::MeshAdjTris adjTris;
    oxGeom::MeshAdjVertices adjVertices;
    oxGeom::meshAdjTris(welded, adjTris);
    oxGeom::meshAdjVertices(welded, adjTris, adjVertices);
    std::vector<float> curvature(size_t(welded.getNumVertices()));
    for (oxGeom::MeshCurvature kind : {oxGeom::MeanCurvature, oxGeom::GaussianCurvature})
    {
        oxGeom::meshCurvature(welded, adjTris, adjVertices, oxLinear::AffineMatrixFlt(1.0f), kind,
                              curvature.data());
        appendBits(out, curvature.data(), curvature.size());
    }
    return out;
}
}  // namespace

TEST(StressConcurrentCalls, exportedCallsFromHostThreadsMatchSerialRun)
{
    // Three pool threads so that each call is split even on a two-core machine.
    testsupport::PoolThreads poolThreads(3);
    constexpr int distinctMeshes = 4;
    std::vector<oxGeom::CompactMesh> meshes;
    std::vector<std::vector<std::uint8_t>> serial;
    for (int m = 0; m < distinctMeshes; ++m)
    {
        meshes.push_back(splitSphere(4 + m % 2, std::uint32_t(m + 1)));
        serial.push_back(exportedResults(meshes.back()));
    }
    // The serial results must show real work: the weld shrank the mesh and the results differ
    // between meshes.
    EXPECT_NE(serial[0], serial[1]);
    EXPECT_NE(serial[0], serial[2]);

    for (int threads : {2, 4, 8})
    {
        std::vector<int> mismatches(size_t(threads), 0);
        testsupport::runTogether(
            threads,
            [&](int t)
            {
                for (int round = 0; round < roundsPerThread; ++round)
                {
                    const int m = (t + round) % distinctMeshes;
                    if (exportedResults(meshes[size_t(m)]) != serial[size_t(m)])
                        ++mismatches[size_t(t)];
                }
            });
        for (int t = 0; t < threads; ++t)
            EXPECT_EQ(mismatches[size_t(t)], 0) << threads << " host threads, thread " << t;
    }
}

TEST(StressConcurrentCalls, weldOfSharedInputCopiesIsIndependent)
{
    // Every host thread welds its own copy of one and the same mesh; the input is shared
    // read-only while the copies are changed in place at the same moment.
    testsupport::PoolThreads poolThreads(2);
    const oxGeom::CompactMesh shared = splitSphere(5, 9);
    oxGeom::CompactMesh expected = shared;
    oxUtil::Progress progress;
    oxGeom::meshCompact(expected, progress);
    ASSERT_LT(expected.getNumVertices(), shared.getNumVertices());

    constexpr int threads = 4;
    std::vector<oxGeom::CompactMesh> results(static_cast<size_t>(threads));
    testsupport::runTogether(threads,
                             [&](int t)
                             {
                                 oxGeom::CompactMesh copy = shared;
                                 oxUtil::Progress own;
                                 oxGeom::meshCompact(copy, own);
                                 results[size_t(t)] = std::move(copy);
                             });
    for (int t = 0; t < threads; ++t)
    {
        const oxGeom::CompactMesh& got = results[size_t(t)];
        ASSERT_EQ(got.getNumVertices(), expected.getNumVertices()) << "thread " << t;
        ASSERT_EQ(got.getNumTriangles(), expected.getNumTriangles()) << "thread " << t;
        EXPECT_EQ(0, std::memcmp(got.getVerticesRaw(), expected.getVerticesRaw(),
                                 12 * size_t(got.getNumVertices())))
            << "thread " << t;
        EXPECT_EQ(0, std::memcmp(got.getTrianglesRaw(), expected.getTrianglesRaw(),
                                 12 * size_t(got.getNumTriangles())))
            << "thread " << t;
    }
}
