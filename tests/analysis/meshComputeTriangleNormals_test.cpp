// meshComputeTriangleNormals: meshTriNormal of every triangle for every thread count, (0, 0, 1)
// for triangles outside the vertex array, the change notice and the two diagnostic lines.

#include <oxGeom/meshNormals.h>

#include <oxGeom/MeshModification.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <vector>

TEST(meshComputeTriangleNormals, meshTriNormalOfEachTriangleForEveryThreadCount)
{
    oxGeom::CompactMesh source = fixtures::randomMesh(21, 500, 3001);
    source.getTrianglesRaw()[3 * 17 + 1] = 500;  // one corner past the vertex array
    source.getTrianglesRaw()[3 * 18 + 2] = -1;
    for (int threads : testsupport::threadCounts)
    {
        testsupport::PoolThreads pool(threads);
        oxGeom::CompactMesh mesh = source;
        oxGeom::meshComputeTriangleNormals(mesh);
        const float* normals = mesh.getTriangleNormalsRaw();
        ASSERT_NE(normals, nullptr);
        for (int i = 0; i < mesh.getNumTriangles(); ++i)
        {
            const bool outside = i == 17 || i == 18;
            const oxLinear::Normal n =
                outside
                    ? oxLinear::Normal::z
                    : oxGeom::meshTriNormal(mesh.getVerticesRaw(), mesh.getTrianglesRaw() + 3 * i);
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(normals[3 * i + c], static_cast<float>(n[c]))
                    << "triangle " << i << ", " << threads << " threads";
        }
    }
}

TEST(meshComputeTriangleNormals, noticeAndLinesOnlyForMeshesWithTriangles)
{
    struct Listener : oxRTB::SignalClient
    {
        void onModified(oxRTB::EntityModification& m)
        {
            const auto* mm = dynamic_cast<oxGeom::MeshModification*>(&m);
            ++count;
            ok = mm && mm->getType() == 2 && !mm->getRemap() && mm->getTriangleNormalsModified() &&
                 !mm->getNormalsModified();
        }
        int count = 0;
        bool ok = false;
    } listener;
    oxGeom::CompactMesh cube = fixtures::cube();
    oxGeom::CompactMesh bare(3, cube.getVertices(), nullptr, nullptr, nullptr);  // no triangles
    for (oxGeom::CompactMesh* mesh : {&cube, &bare})
        listener.connect(mesh->modificationSignal(),
                         oxRTB::makeFunctionArgMember(&listener, &Listener::onModified));

    testsupport::DebugCapture capture;
    oxGeom::meshComputeTriangleNormals(cube);
    EXPECT_EQ(capture.text(),
              "meshComputeTriangleNormals:  vertices 8  triangles 12\n  normalized: # s\n");
    EXPECT_EQ(listener.count, 1);
    EXPECT_TRUE(listener.ok);
    EXPECT_FALSE(cube.getNormalsComputed());

    capture.clear();
    oxGeom::meshComputeTriangleNormals(bare);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(listener.count, 1);
    EXPECT_EQ(bare.getTriangleNormals(), nullptr);
}
