// testDeterminants: true exactly for placements with a negative determinant;
// singular and NaN matrices are not mirrors; the output follows the list length.

#include <oxGeom/meshConcatenate.h>

#include <gtest/gtest.h>

#include <limits>
#include <list>
#include <vector>

using oxLinear::AffineMatrix;
using oxLinear::AffineMatrixFlt;
using oxLinear::Vector;

namespace
{
oxGeom::MeshPlacement placement(const AffineMatrix& m)
{
    oxGeom::MeshPlacement p;  // the mesh is never read
    p.matrix = AffineMatrixFlt(m);
    return p;
}
}  // namespace

TEST(testDeterminants, negativeDeterminantOnlyIsMirrored)
{
    const AffineMatrix turn = AffineMatrix::makeRotation(Vector(1, 1, 0), 2.0);
    AffineMatrix mirror = turn;
    mirror.scale(Vector(1, -3, 1)).translate(Vector(5, 5, 5));
    AffineMatrix twoMirrors = mirror;
    twoMirrors.scale(Vector(-1, 1, 1));  // det > 0 again
    AffineMatrix singular = turn;
    singular.scale(Vector(1, 0, 1));  // a projection: det 0
    AffineMatrix flatMirror = singular;
    flatMirror.scale(Vector(-1, 1, 1));  // still det 0 (or -0)
    AffineMatrix withNaN(1.0);
    withNaN[0][0] = -std::numeric_limits<double>::quiet_NaN();
    AffineMatrix tinyMirror(1e-3);  // det -1e-9: small, but a mirror
    tinyMirror[2][2] = -1e-3;

    const std::list<oxGeom::MeshPlacement> placements = {
        placement(AffineMatrix(1.0)), placement(turn),      placement(mirror),
        placement(twoMirrors),        placement(singular),  placement(flatMirror),
        placement(withNaN),           placement(tinyMirror)};
    std::vector<bool> mirrored(20, true);  // longer than the list: resized
    oxGeom::testDeterminants(placements, mirrored);
    EXPECT_EQ(mirrored, (std::vector<bool>{false, false, true, false, false, false, false, true}));

    oxGeom::testDeterminants({}, mirrored);
    EXPECT_TRUE(mirrored.empty());
}
