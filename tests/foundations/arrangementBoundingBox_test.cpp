// arrangementBoundingBox: the union of the placed mesh boxes, one timing line
// per mesh and one for the arrangement.

#include <oxGeom/meshBoundingBox.h>

#include <oxGeom/CompactMesh.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <list>

TEST(arrangementBoundingBox, unitesTransformedMeshBoxes)
{
    const oxGeom::CompactMesh cube = fixtures::cube();
    const oxGeom::CompactMesh square = fixtures::unitSquare();
    oxGeom::MeshPlacement moved;
    moved.mesh = &cube;
    moved.matrix[3][0] = 10;  // cube moved to [10, 11] x [0, 1] x [0, 1]
    oxGeom::MeshPlacement turned;
    turned.mesh = &square;
    // A quarter turn about z: (x, y) -> (-y, x); scaled by 2 in z.
    turned.matrix[0][0] = 0;
    turned.matrix[0][1] = 1;
    turned.matrix[1][0] = -1;
    turned.matrix[1][1] = 0;
    turned.matrix[2][2] = 2;
    turned.matrix[3][2] = -3;  // square at z = -3

    testsupport::DebugCapture capture;
    oxGeom::BoundingBox box;
    oxGeom::arrangementBoundingBox({moved, turned}, box);
    const float expected[6] = {-1, 0, -3, 11, 1, 1};
    for (int k = 0; k < 6; ++k)
        EXPECT_EQ(box[k], expected[k]) << k;
    EXPECT_EQ(capture.text(),
              "meshBoundingBox: 8 vertices  # s\n"
              "meshBoundingBox: 4 vertices  # s\n"
              "arrangementBoundingBox: 2 meshes  # s\n");
}

TEST(arrangementBoundingBox, emptyListGivesTheEmptyBox)
{
    testsupport::DebugCapture capture;
    oxGeom::BoundingBox box;
    box.zero();
    oxGeom::arrangementBoundingBox({}, box);
    EXPECT_FALSE(box.isValid());
    EXPECT_EQ(box[0], 3.4028235e38f);
    EXPECT_EQ(box[5], -3.4028235e38f);
    EXPECT_EQ(capture.text(), "arrangementBoundingBox: 0 meshes  # s\n");
}

TEST(arrangementBoundingBox, enclosesEveryPlacedVertex)
{
    const oxGeom::CompactMesh mesh = fixtures::icosphere(2, 1.0f);
    std::list<oxGeom::MeshPlacement> placements;
    for (int i = 0; i < 3; ++i)
    {
        oxGeom::MeshPlacement placement;
        placement.mesh = &mesh;
        const double angle = 0.4 + i;
        placement.matrix = oxLinear::AffineMatrixFlt(
            oxLinear::AffineMatrix::makeRotation(oxLinear::Vector(1, 2, 3), angle));
        placement.matrix[3][i] = 5.0f * i;
        placements.push_back(placement);
    }
    oxGeom::BoundingBox box;
    oxGeom::arrangementBoundingBox(placements, box);
    for (const oxGeom::MeshPlacement& placement : placements)
        for (int v = 0; v < mesh.getNumVertices(); ++v)
        {
            const oxGeom::MeshVertex& p = mesh.getVertices()[v];
            for (int c = 0; c < 3; ++c)
            {
                const float x = p[0] * placement.matrix[0][c] + p[1] * placement.matrix[1][c] +
                                p[2] * placement.matrix[2][c] + placement.matrix[3][c];
                EXPECT_GE(x, box[c] - 1e-5f);
                EXPECT_LE(x, box[3 + c] + 1e-5f);
            }
        }
}
