// meshComputeNormals: the bits of a plain serial accumulate-and-normalise loop for every thread
// count and vertex numbering, exact normals of hand-built shapes, the degenerate-triangle and
// out-of-range rules, and the change notice and diagnostic line.

#include <oxGeom/meshNormals.h>

#include <oxGeom/MeshModification.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace
{
using oxGeom::CompactMesh;

// The serial loop: each triangle's normal (through the public point form), rounded to float,
// added to its corners in triangle order, then each sum scaled in double.
std::vector<float> serialNormals(const CompactMesh& mesh)
{
    const float* v = mesh.getVerticesRaw();
    const int* t = mesh.getTrianglesRaw();
    std::vector<float> sums(3 * mesh.getNumVertices(), 0.0f);
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        auto corner = [&](int k) {
            return oxLinear::Point(v[3 * t[3 * i + k]], v[3 * t[3 * i + k] + 1],
                                   v[3 * t[3 * i + k] + 2]);
        };
        const oxLinear::Normal n = oxGeom::triNormal(corner(0), corner(1), corner(2));
        for (int k = 0; k < 3; ++k)
            for (int c = 0; c < 3; ++c)
                sums[3 * t[3 * i + k] + c] += static_cast<float>(n[c]);
    }
    oxGeom::meshNormalize(sums.data(), mesh.getNumVertices());
    return sums;
}

std::vector<float> normalsOf(const CompactMesh& mesh)
{
    const float* n = mesh.getNormalsRaw();
    return n ? std::vector<float>(n, n + 3 * mesh.getNumVertices()) : std::vector<float>();
}

struct NoticeListener : oxRTB::SignalClient
{
    void onModified(oxRTB::EntityModification& m)
    {
        const auto* mm = dynamic_cast<oxGeom::MeshModification*>(&m);
        ++count;
        ok = mm && mm->getType() == 2 && !mm->getRemap() && mm->getNormalsModified() &&
             !mm->getTriangleNormalsModified();
    }
    int count = 0;
    bool ok = false;
};
}  // namespace

TEST(meshComputeNormals, serialLoopBitsForEveryThreadCount)
{
    // A soup (numbering unrelated to the surface), a grid (numbered along it), a sphere, and a
    // mesh with fewer vertices than threads.
    const CompactMesh meshes[] = {fixtures::randomMesh(9, 3000, 9001), fixtures::gridMesh(70, 40),
                                  fixtures::icosphere(3, 1.5f), fixtures::unitSquare()};
    for (const CompactMesh& source : meshes)
    {
        const std::vector<float> expected = serialNormals(source);
        for (int threads : testsupport::threadCounts)
        {
            testsupport::PoolThreads pool(threads);
            CompactMesh mesh = source;
            oxGeom::meshComputeNormals(mesh);
            EXPECT_EQ(normalsOf(mesh), expected)
                << source.getNumVertices() << " vertices, " << threads << " threads";
        }
    }
}

TEST(meshComputeNormals, degenerateRepeatedOutOfRangeAndUnusedVertices)
{
    //   3 (0,0,1)         triangle (0 1 3) faces -y; (0 0 2) repeats vertex 0 and adds (0, 0, 1)
    //   |                 to vertex 0 twice and to vertex 2 once; (1 5 0) names a vertex that
    //   0 ---- 1          does not exist and is skipped; vertex 4 is on no triangle.
    const oxGeom::MeshVertex vertices[] = {
        {{0, 0, 0}}, {{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}, {{5, 5, 5}}};
    const int triangles[] = {0, 1, 3, 0, 0, 2, 1, 5, 0};
    CompactMesh mesh(5, vertices, nullptr, nullptr, nullptr);
    mesh.copyTriangles(3, triangles);
    mesh.allocNormalArray()[4] = {{7, 7, 7}};  // stale values are overwritten
    oxGeom::meshComputeNormals(mesh);
    const float s = static_cast<float>(1 / std::sqrt(5.0));
    const std::vector<float> expected = {0, -s, 2 * s, 0, -1, 0, 0, 0, 1, 0, -1, 0, 0, 0, 0};
    const std::vector<float> normals = normalsOf(mesh);
    for (int i = 0; i < 15; ++i)
        EXPECT_NEAR(normals[i], expected[i], 1e-7) << i;
    EXPECT_TRUE(mesh.getNormalsComputed());
}

TEST(meshComputeNormals, noticeAndLineOnlyForMeshesWithVertices)
{
    NoticeListener listener;
    CompactMesh square = fixtures::unitSquare();
    listener.connect(square.modificationSignal(),
                     oxRTB::makeFunctionArgMember(&listener, &NoticeListener::onModified));
    testsupport::DebugCapture capture;
    oxGeom::meshComputeNormals(square);
    EXPECT_EQ(capture.text(), "meshComputeNormals:  vertices 4  triangles 2\n");
    EXPECT_EQ(listener.count, 1);
    EXPECT_TRUE(listener.ok);

    CompactMesh empty = fixtures::emptyMesh();
    listener.connect(empty.modificationSignal(),
                     oxRTB::makeFunctionArgMember(&listener, &NoticeListener::onModified));
    capture.clear();
    oxGeom::meshComputeNormals(empty);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(listener.count, 1);
    EXPECT_EQ(empty.getNormals(), nullptr);
    EXPECT_FALSE(empty.getNormalsComputed());
}
