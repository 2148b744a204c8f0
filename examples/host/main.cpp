// A host program built against the installed Trelm package: it makes a unit
// cube, measures it, and checks the answers it knows.
#include <oxGeom/oxGeom.h>

#include <cstdio>

int main()
{
    // The eight corners of the unit cube and its twelve outward-wound triangles.
    const oxGeom::MeshVertex corners[8] = {{{0, 0, 0}}, {{1, 0, 0}}, {{1, 1, 0}}, {{0, 1, 0}},
                                           {{0, 0, 1}}, {{1, 0, 1}}, {{1, 1, 1}}, {{0, 1, 1}}};
    const int triangles[36] = {0, 2, 1, 0, 3, 2, 4, 5, 6, 4, 6, 7, 0, 1, 5, 0, 5, 4,
                               1, 2, 6, 1, 6, 5, 2, 3, 7, 2, 7, 6, 3, 0, 4, 3, 4, 7};
    oxGeom::CompactMesh cube(8, corners, nullptr, nullptr, nullptr);
    cube.copyTriangles(12, triangles);

    oxGeom::MeshPlacement placement;
    placement.mesh = &cube;
    const float area = oxGeom::meshArea(placement, oxGeom::VertexChannel);

    double lo[3], hi[3];
    oxGeom::meshBoundingBox(cube, lo, hi);

    std::printf("cube: area %g, box (%g %g %g) - (%g %g %g)\n", area, lo[0], lo[1], lo[2], hi[0],
                hi[1], hi[2]);
    const bool ok = area == 6.0f && lo[0] == 0 && hi[2] == 1;
    std::printf("%s\n", ok ? "host check passed" : "host check FAILED");
    return ok ? 0 : 1;
}
