// meshTriBoundingBox(es): each box is exactly the box of its triangle's corners.

#include <oxGeom/meshBoundingBox.h>

#include <oxGeom/CompactMesh.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

TEST(meshTriBoundingBoxes, eachBoxIsItsTrianglesCornerBox)
{
    const oxGeom::CompactMesh mesh = fixtures::randomMesh(21, 40, 57);
    std::vector<oxGeom::BoundingBox> boxes(mesh.getNumTriangles());
    testsupport::DebugCapture capture;
    oxGeom::meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), mesh.getNumTriangles(),
                                 boxes.data());
    EXPECT_EQ(capture.text(), "meshTriBoundingBoxes: 57 triangles, # s\n");

    for (int i = 0; i < mesh.getNumTriangles(); ++i)
    {
        const oxGeom::MeshTriangle& t = mesh.getTriangles()[i];
        for (int k = 0; k < 3; ++k)
        {
            const float a = mesh.getVertices()[t[0]][k], b = mesh.getVertices()[t[1]][k],
                        c = mesh.getVertices()[t[2]][k];
            EXPECT_EQ(boxes[i][k], std::min({a, b, c}));
            EXPECT_EQ(boxes[i][3 + k], std::max({a, b, c}));
        }
        oxGeom::BoundingBox single;
        oxGeom::meshTriBoundingBox(mesh.getVertices(), t, single);
        EXPECT_EQ(single, boxes[i]);
    }
}

TEST(meshTriBoundingBoxes, ignoresWhatTheBoxHeldBefore)
{
    // A stale box far away must not leak into the triangle's box.
    const oxGeom::CompactMesh square = fixtures::unitSquare();
    oxGeom::BoundingBox box;
    box.zero();
    box.extend(100.0f);
    oxGeom::meshTriBoundingBox(square.getVertices(), square.getTriangles()[0], box);
    const float expected[6] = {0, 0, 0, 1, 1, 0};
    for (int k = 0; k < 6; ++k)
        EXPECT_EQ(box[k], expected[k]);
}
