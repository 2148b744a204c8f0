// meshConcatenate: placed positions and shifted triangles against direct
// computation, mirrored placements turned so closed meshes keep a positive
// volume and normals stay perpendicular, shared channels carried and others
// dropped, strips and fans compared triangle by triangle, and the inputs that
// change nothing.

#include <oxGeom/meshConcatenate.h>

#include <oxGeom/MeshModification.h>
#include <oxLinear/Tolerance.h>

#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <list>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::MeshPlacement;
using oxGeom::PointMesh;
using oxLinear::AffineMatrix;
using oxLinear::AffineMatrixFlt;
using oxLinear::Vector;
using Names = std::vector<oxString::CString>;

namespace
{
MeshPlacement place(const CompactMesh& mesh, const AffineMatrix& matrix = AffineMatrix(1.0))
{
    MeshPlacement placement;
    placement.mesh = &mesh;
    placement.matrix = AffineMatrixFlt(matrix);
    return placement;
}

AffineMatrix rigidMotion()
{
    AffineMatrix m = AffineMatrix::makeRotation(Vector(1, 2, 3), 0.7);
    return m.translate(Vector(0.5, -2, 3));
}

// p * M summed in double, rounded once.
std::array<float, 3> placed(const AffineMatrixFlt& m, const float* p)
{
    std::array<float, 3> q;
    for (int c = 0; c < 3; ++c)
        q[c] = float(double(p[0]) * m[0][c] + double(p[1]) * m[1][c] + double(p[2]) * m[2][c] +
                     double(m[3][c]));
    return q;
}

// Signed volume enclosed by triangles [first, first + count): positive when
// they face outwards.
double signedVolume(const CompactMesh& mesh, int first, int count)
{
    double volume = 0;
    for (int t = first; t < first + count; ++t)
    {
        const float* a = mesh.getVertices()[mesh.getTriangles()[t][0]].v;
        const float* b = mesh.getVertices()[mesh.getTriangles()[t][1]].v;
        const float* c = mesh.getVertices()[mesh.getTriangles()[t][2]].v;
        volume += (a[0] * (double(b[1]) * c[2] - double(b[2]) * c[1]) -
                   a[1] * (double(b[0]) * c[2] - double(b[2]) * c[0]) +
                   a[2] * (double(b[0]) * c[1] - double(b[1]) * c[0])) /
                  6.0;
    }
    return volume;
}

Names namesOf(const CompactMesh& mesh)
{
    ox::set<oxString::CString> names;
    mesh.getAttributeNames(names);
    return Names(names.begin(), names.end());
}

// The triangles that a mesh's strips and fans stand for, shifted by `offset`
// and turned when asked, each rotated to start at its smallest index (so equal
// triangles of equal winding compare equal); degenerate ones dropped; sorted.
using Triangle = std::array<int, 3>;
std::vector<Triangle> stripAndFanTriangles(const CompactMesh& m, int offset = 0, bool turn = false)
{
    std::vector<Triangle> out;
    auto add = [&](int a, int b, int c)
    {
        Triangle t = {turn ? c : a, b, turn ? a : c};
        if (t[0] == t[1] || t[1] == t[2] || t[0] == t[2])
            return;
        std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
        out.push_back({t[0] + offset, t[1] + offset, t[2] + offset});
    };
    const int* p = m.getTriStripPoints();
    for (int s = 0; s < m.getNumTriStrips(); p += m.getTriStripLengths()[s++])
        for (int k = 0; k + 2 < m.getTriStripLengths()[s]; ++k)
            add(p[k + k % 2], p[k + 1 - k % 2], p[k + 2]);  // odd triangles swap their first two
    p = m.getTriFanPoints();
    for (int f = 0; f < m.getNumTriFans(); p += m.getTriFanLengths()[f++])
        for (int k = 1; k + 1 < m.getTriFanLengths()[f]; ++k)
            add(p[0], p[k], p[k + 1]);
    std::sort(out.begin(), out.end());
    return out;
}

void setStripsAndFans(CompactMesh& mesh, const std::vector<int>& stripLengths,
                      const std::vector<int>& stripPoints, const std::vector<int>& fanLengths,
                      const std::vector<int>& fanPoints)
{
    mesh.resizeTriStripArrays(int(stripLengths.size()), int(stripPoints.size()));
    std::copy(stripLengths.begin(), stripLengths.end(), mesh.getTriStripLengths());
    std::copy(stripPoints.begin(), stripPoints.end(), mesh.getTriStripPoints());
    mesh.resizeTriFanArrays(int(fanLengths.size()), int(fanPoints.size()));
    std::copy(fanLengths.begin(), fanLengths.end(), mesh.getTriFanLengths());
    std::copy(fanPoints.begin(), fanPoints.end(), mesh.getTriFanPoints());
}

struct Listener : oxRTB::SignalClient
{
    explicit Listener(const CompactMesh& mesh)
    {
        connect(mesh.modificationSignal(),
                oxRTB::makeFunctionArgMember(this, &Listener::onModified));
    }
    void onModified(oxRTB::EntityModification& m)
    {
        auto& modification = static_cast<oxGeom::MeshModification&>(m);
        types.push_back(modification.getType());
        stripsAndFans = modification.getStripsAndFansModified();
        hasRemap = modification.getRemap() != nullptr;
    }
    std::vector<int> types;
    bool stripsAndFans = false, hasRemap = false;
};
}  // namespace

TEST(meshConcatenate, placesVerticesAndShiftsTriangles)
{
    const CompactMesh cube = fixtures::cube();
    const CompactMesh soup = fixtures::randomMesh(2, 50, 40);
    AffineMatrix nearIdentity(1.0);
    nearIdentity[0][1] = 5e-7;  // within the identity tolerance: copied bit for bit
    AffineMatrix scaled = rigidMotion();
    scaled.scale(Vector(2, 3, 0.5));
    const std::list<MeshPlacement> meshes = {place(cube, rigidMotion()), MeshPlacement(),
                                             place(soup, nearIdentity), place(cube, scaled)};

    CompactMesh destination = fixtures::gridMesh(30, 30);  // larger: its old content must go
    destination.resizeLineArray(3);
    destination.allocTriangleNormalArray();
    Listener listener(destination);
    oxGeom::meshConcatenate(destination, meshes, nullptr, nullptr);

    ASSERT_EQ(destination.getNumVertices(), 8 + 50 + 8);
    ASSERT_EQ(destination.getNumTriangles(), 12 + 40 + 12);
    EXPECT_EQ(destination.getNumLines(), 0);
    EXPECT_EQ(destination.getTriangleNormals(), nullptr);
    int vertexOffset = 0, triangleOffset = 0;
    for (const MeshPlacement& p : meshes)
    {
        if (!p.mesh)
            continue;
        for (int i = 0; i < p.mesh->getNumVertices(); ++i)
        {
            const float* source = p.mesh->getVertices()[i].v;
            const std::array<float, 3> expected =
                p.mesh == &soup ? std::array<float, 3>{source[0], source[1], source[2]}
                                : placed(p.matrix, source);
            for (int a = 0; a < 3; ++a)
                ASSERT_EQ(destination.getVertices()[vertexOffset + i][a], expected[a]);
        }
        for (int c = 0; c < 3 * p.mesh->getNumTriangles(); ++c)
            ASSERT_EQ(destination.getTrianglesRaw()[3 * triangleOffset + c],
                      p.mesh->getTrianglesRaw()[c] + vertexOffset);
        vertexOffset += p.mesh->getNumVertices();
        triangleOffset += p.mesh->getNumTriangles();
    }
    EXPECT_EQ(listener.types, std::vector<int>{oxGeom::MeshModification::Topology});
    EXPECT_FALSE(listener.hasRemap);
    EXPECT_FALSE(listener.stripsAndFans);
}

TEST(meshConcatenate, mirroredPlacementsTurnedKeepFacingOutwards)
{
    // A closed cube with outward vertex normals, placed plainly, mirrored, and
    // mirrored with a non-uniform scale (|det| = 2).
    CompactMesh cube = fixtures::cube();
    oxGeom::MeshNormal* normals = cube.allocNormalArray();
    for (int i = 0; i < 8; ++i)
        for (int a = 0; a < 3; ++a)
            normals[i][a] = cube.getVertices()[i][a] - 0.5f;
    AffineMatrix mirror = AffineMatrix::makeScale(Vector(-1, 1, 1)), stretched = rigidMotion();
    mirror.translate(Vector(5, 0, 0));
    stretched.scale(Vector(2, -1, 1)).translate(Vector(0, 9, 0));
    const std::list<MeshPlacement> meshes = {place(cube, rigidMotion()), place(cube, mirror),
                                             place(cube, stretched)};
    std::vector<bool> flip;
    oxGeom::testDeterminants(meshes, flip);
    CompactMesh turned, plain;
    oxGeom::meshConcatenate(turned, meshes, nullptr, &flip);
    oxGeom::meshConcatenate(plain, meshes, nullptr, nullptr);
    const double volumes[3] = {1, 1, 2};
    for (int k = 0; k < 3; ++k)
    {
        EXPECT_NEAR(signedVolume(turned, 12 * k, 12), volumes[k], 1e-5) << k;
        EXPECT_NEAR(signedVolume(plain, 12 * k, 12), k == 0 ? 1 : -volumes[k], 1e-5) << k;
    }
    for (int t = 12; t < 24; ++t)  // corners 0 and 2 exchanged, corner 1 kept
    {
        EXPECT_EQ(turned.getTriangles()[t][0], plain.getTriangles()[t][2]);
        EXPECT_EQ(turned.getTriangles()[t][1], plain.getTriangles()[t][1]);
    }

    // Normals go by the inverse transpose, unnormalised: n' . (p' - c') equals
    // n . (p - c) for the cube centre c, so they point outwards and stay
    // perpendicular to every carried tangent.
    const float centre[3] = {0.5f, 0.5f, 0.5f};
    int k = 0;
    for (const MeshPlacement& p : meshes)
    {
        const std::array<float, 3> c = placed(p.matrix, centre);
        for (int i = 0; i < 8; ++i, ++k)
        {
            double carried = 0;
            for (int a = 0; a < 3; ++a)
                carried += double(turned.getNormals()[k][a]) * (turned.getVertices()[k][a] - c[a]);
            EXPECT_NEAR(carried, 0.75, 1e-5) << k;
        }
    }
}

TEST(meshConcatenate, carriesChannelsEveryMeshHasOrThoseNamed)
{
    CompactMesh square = fixtures::unitSquare();
    oxGeom::MeshUV* uvs = square.allocUVArray();
    oxGeom::MeshAttributes* temperature = square.allocAttributes("Temp", 1);
    temperature->setStoreable(false);
    for (int i = 0; i < 4; ++i)
    {
        uvs[i] = {{0.25f * i, 1.0f - 0.25f * i}};
        temperature->asFloat()[i] = 20.0f + i;
    }
    CompactMesh tetrahedron = fixtures::tetrahedron();
    tetrahedron.allocUVArray()[3] = {{7, 8}};
    tetrahedron.allocAttributes("Other", 2);
    const std::list<MeshPlacement> meshes = {place(square), place(tetrahedron, rigidMotion())};

    CompactMesh shared;
    shared.allocAttributes("Colours", 4);  // the destination's own channel goes
    oxGeom::meshConcatenate(shared, meshes, nullptr, nullptr);
    EXPECT_EQ(namesOf(shared), (Names{PointMesh::UVsName, PointMesh::VerticesName}));
    const std::vector<float> sharedUVs(shared.getUVsRaw(), shared.getUVsRaw() + 16);
    EXPECT_EQ(sharedUVs, (std::vector<float>{0, 1, 0.25f, 0.75f, 0.5f, 0.5f, 0.75f, 0.25f, 0, 0, 0,
                                             0, 0, 0, 7, 8}));  // UVs ignore the placement

    const ox::set<oxString::CString> wanted = {"Temp", "Missing"};
    CompactMesh named;
    oxGeom::meshConcatenate(named, meshes, &wanted, nullptr);
    EXPECT_EQ(namesOf(named), (Names{"Temp", PointMesh::VerticesName}));
    const oxGeom::MeshAttributes* carried = named.getAttributes("Temp");
    ASSERT_NE(carried, nullptr);
    EXPECT_FALSE(carried->isStoreable());
    const std::vector<float> values(carried->asFloat(), carried->asFloat() + 8);
    EXPECT_EQ(values, (std::vector<float>{20, 21, 22, 23, 0, 0, 0, 0}));
    float low, high;  // the cached range was dropped after writing
    ASSERT_TRUE(carried->getRange(&low, &high));
    EXPECT_EQ(high, 23.0f);
    // Positions travel even when the set does not name them.
    const std::array<float, 3> corner =
        placed(AffineMatrixFlt(rigidMotion()), tetrahedron.getVertices()[3].v);
    for (int a = 0; a < 3; ++a)
        EXPECT_EQ(named.getVertices()[7][a], corner[a]);
}

TEST(meshConcatenate, stripsAndFansAppendedAndTurnedWithTheirMesh)
{
    // Strips of 3 to 6 points and fans of 3 and 5 points; a turned mesh's must
    // describe the same triangles with the opposite winding.
    CompactMesh a = fixtures::randomMesh(1, 12, 2);
    setStripsAndFans(a, {3, 4, 5, 6}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0, 2, 4, 6, 8, 10},
                     {3, 5}, {11, 0, 1, 5, 6, 7, 8, 9});
    CompactMesh fansOnly = fixtures::randomMesh(2, 6, 0);
    setStripsAndFans(fansOnly, {}, {}, {4}, {0, 1, 2, 3});
    CompactMesh stripsOnly = fixtures::randomMesh(3, 5, 1);
    setStripsAndFans(stripsOnly, {4}, {4, 3, 2, 1}, {}, {});
    std::vector<bool> flip = {true, false, true};

    CompactMesh result;
    Listener listener(result);
    oxGeom::meshConcatenate(result, {place(a), place(fansOnly), place(stripsOnly, rigidMotion())},
                            nullptr, &flip);
    EXPECT_TRUE(listener.stripsAndFans);
    EXPECT_EQ(result.getNumTriStrips(), 5);
    EXPECT_EQ(result.getNumTriStripPoints(), 18 + 2 + 5);  // the even strips gain a point
    EXPECT_EQ(result.getNumTriFans(), 3);
    EXPECT_EQ(result.getNumTriFanPoints(), 12);
    std::vector<Triangle> expected = stripAndFanTriangles(a, 0, true);
    for (const std::vector<Triangle>& more :
         {stripAndFanTriangles(fansOnly, 12), stripAndFanTriangles(stripsOnly, 18, true)})
        expected.insert(expected.end(), more.begin(), more.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected.size(), 18u);
    EXPECT_EQ(stripAndFanTriangles(result), expected);

    // One mesh with neither strips nor fans: the result carries none.
    const CompactMesh plain = fixtures::cube();
    CompactMesh without;
    Listener quiet(without);
    oxGeom::meshConcatenate(without, {place(a), place(plain)}, nullptr, nullptr);
    EXPECT_EQ(without.getNumTriStrips() + without.getNumTriFans(), 0);
    EXPECT_FALSE(quiet.stripsAndFans);
}

TEST(meshConcatenate, emptyInputChangesNothingAndDestinationMayBeAnInput)
{
    CompactMesh destination = fixtures::cube();
    Listener listener(destination);
    oxGeom::meshConcatenate(destination, {}, nullptr, nullptr);
    oxGeom::meshConcatenate(destination, {MeshPlacement(), MeshPlacement()}, nullptr, nullptr);
    EXPECT_EQ(destination.getNumVertices(), 8);
    EXPECT_TRUE(listener.types.empty());

    // The destination as the first input, a flip vector shorter than the list.
    const CompactMesh original = destination;
    const CompactMesh square = fixtures::unitSquare();
    std::vector<bool> flip = {true};
    oxGeom::meshConcatenate(destination, {place(destination), place(square)}, nullptr, &flip);
    ASSERT_EQ(destination.getNumVertices(), 12);
    ASSERT_EQ(destination.getNumTriangles(), 14);
    for (int i = 0; i < 8; ++i)
        for (int a = 0; a < 3; ++a)
            EXPECT_EQ(destination.getVertices()[i][a], original.getVertices()[i][a]);
    for (int t = 0; t < 12; ++t)
        EXPECT_EQ(destination.getTriangles()[t][0], original.getTriangles()[t][2]);
    for (int c = 0; c < 6; ++c)
        EXPECT_EQ(destination.getTrianglesRaw()[36 + c], square.getTrianglesRaw()[c] + 8);
    EXPECT_EQ(listener.types.size(), 1u);
}
