// Which placements mirror space: the sign of the determinant of each matrix's
// linear part, computed in double. Concatenation turns the winding of those
// meshes so that their triangles keep facing outwards.

#include <oxGeom/meshConcatenate.h>

namespace oxGeom
{
void testDeterminants(const ox::list<MeshPlacement>& placements, ox::vector<bool>& mirrored)
{
    mirrored.clear();
    mirrored.reserve(placements.size());
    for (const MeshPlacement& placement : placements)
        mirrored.push_back(placement.matrix.det3x3() < 0.0);  // false for 0 and NaN
}
}  // namespace oxGeom
