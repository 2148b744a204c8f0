// Per-triangle bounding boxes, on the calling thread: the loop is a few
// comparisons per triangle, cheaper than handing it to the pool for the sizes
// callers use it on (octree building, per-vertex neighbourhood boxes).

#include <oxGeom/meshBoundingBox.h>

#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>

namespace oxGeom
{
void meshTriBoundingBox(const MeshVertex* vertices, const MeshTriangle& triangle, BoundingBox& box)
{
    const MeshVertex& a = vertices[triangle[0]];
    float* b = box.data();
    for (int k = 0; k < 3; ++k)
        b[k] = b[3 + k] = a[k];
    for (int corner = 1; corner < 3; ++corner)
    {
        const MeshVertex& p = vertices[triangle[corner]];
        for (int k = 0; k < 3; ++k)
        {
            if (p[k] < b[k])
                b[k] = p[k];
            if (p[k] > b[3 + k])
                b[3 + k] = p[k];
        }
    }
}

void meshTriBoundingBoxes(const MeshVertex* vertices, const MeshTriangle* triangles, int count,
                          BoundingBox* boxes)
{
    oxOS::StopWatch watch;
    watch.start();
    for (int i = 0; i < count; ++i)
        meshTriBoundingBox(vertices, triangles[i], boxes[i]);
    debugChannel().print("meshTriBoundingBoxes: %d triangles, %f s\n", count, watch.stop());
}
}  // namespace oxGeom
