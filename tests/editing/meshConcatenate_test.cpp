// meshConcatenate: placed positions and offset triangles against direct
// computation, mirrored placements turned so closed meshes keep a positive
// volume and normals stay perpendicular, shared channels carried and others
// dropped, strips and fans appended (and turned) compared triangle by triangle,
// and the inputs that change nothing.

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
    m.translate(Vector(0.5, -2, 3));
    return m;
}

// p * M summed in double, rounded once.
std::array<float, 3> placed(const AffineMatrixFlt& m, const float* p)
{
    std::array<float, 3> q;
    for (int c = 0; c < 3; ++c)
        q[c] = static_cast<float>(double(p[0]) * m[0][c] + double(p[1]) * m[1][c] +
                                  double(p[2]) * m[2][c] + double(m[3][c]));
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
        volume += (double(a[0]) * (double(b[1]) * c[2] - double(b[2]) * c[1]) -
                   double(a[1]) * (double(b[0]) * c[2] - double(b[2]) * c[0]) +
                   double(a[2]) * (double(b[0]) * c[1] - double(b[1]) * c[0])) /
                  6.0;
    }
    return volume;
}

std::vector<oxString::CString> namesOf(const CompactMesh& mesh)
{
    ox::set<oxString::CString> names;
    mesh.getAttributeNames(names);
    return std::vector<oxString::CString>(names.begin(), names.end());
}

// ---- strips and fans as the triangles they stand for ----

using Triangle = std::array<int, 3>;

// Rotated so the smallest index comes first: equal triangles of equal winding
// compare equal. Degenerate triangles (a repeated index) are dropped.
void addTriangle(std::vector<Triangle>& out, int a, int b, int c)
{
    if (a == b || b == c || a == c)
        return;
    Triangle t = {a, b, c};
    std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    out.push_back(t);
}

std::vector<Triangle> stripAndFanTriangles(const int* stripLengths, int strips,
                                           const int* stripPoints, const int* fanLengths, int fans,
                                           const int* fanPoints, int offset, bool turned)
{
    std::vector<Triangle> out;
    auto add = [&](int a, int b, int c)
    {
        if (turned)
            std::swap(a, c);
        addTriangle(out, a + offset, b + offset, c + offset);
    };
    for (int s = 0; s < strips; stripPoints += stripLengths[s++])
        for (int k = 0; k + 2 < stripLengths[s]; ++k)
            if (k % 2 == 0)
                add(stripPoints[k], stripPoints[k + 1], stripPoints[k + 2]);
            else
                add(stripPoints[k + 1], stripPoints[k], stripPoints[k + 2]);
    for (int f = 0; f < fans; fanPoints += fanLengths[f++])
        for (int k = 1; k + 1 < fanLengths[f]; ++k)
            add(fanPoints[0], fanPoints[k], fanPoints[k + 1]);
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<Triangle> stripAndFanTriangles(const CompactMesh& mesh, int offset = 0,
                                           bool turned = false)
{
    return stripAndFanTriangles(mesh.getTriStripLengths(), mesh.getNumTriStrips(),
                                mesh.getTriStripPoints(), mesh.getTriFanLengths(),
                                mesh.getNumTriFans(), mesh.getTriFanPoints(), offset, turned);
}

void setStrips(CompactMesh& mesh, const std::vector<int>& lengths, const std::vector<int>& points)
{
    mesh.resizeTriStripArrays(static_cast<int>(lengths.size()), static_cast<int>(points.size()));
    std::copy(lengths.begin(), lengths.end(), mesh.getTriStripLengths());
    std::copy(points.begin(), points.end(), mesh.getTriStripPoints());
}

void setFans(CompactMesh& mesh, const std::vector<int>& lengths, const std::vector<int>& points)
{
    mesh.resizeTriFanArrays(static_cast<int>(lengths.size()), static_cast<int>(points.size()));
    std::copy(lengths.begin(), lengths.end(), mesh.getTriFanLengths());
    std::copy(points.begin(), points.end(), mesh.getTriFanPoints());
}

struct Listener : oxRTB::SignalClient
{
    void onModified(oxRTB::EntityModification& m)
    {
        auto& modification = static_cast<oxGeom::MeshModification&>(m);
        types.push_back(modification.getType());
        stripsAndFans = modification.getStripsAndFansModified();
        remap = modification.getRemap();
    }
    void listenTo(const CompactMesh& mesh)
    {
        connect(mesh.modificationSignal(),
                oxRTB::makeFunctionArgMember(this, &Listener::onModified));
    }
    std::vector<int> types;
    bool stripsAndFans = false;
    oxGeom::MeshRemap* remap = nullptr;
};
}  // namespace

TEST(meshConcatenate, placesVerticesAndShiftsTriangles)
{
    const CompactMesh cube = fixtures::cube();
    const CompactMesh tetrahedron = fixtures::tetrahedron();
    const CompactMesh soup = fixtures::randomMesh(2, 50, 40);
    AffineMatrix nearIdentity(1.0);
    nearIdentity[0][1] = 5e-7;  // within the identity tolerance: copied bit for bit
    AffineMatrix scaled = rigidMotion();
    scaled.scale(Vector(2, 3, 0.5));
    const std::list<MeshPlacement> meshes = {place(cube, rigidMotion()), place(tetrahedron),
                                             MeshPlacement(), place(soup, nearIdentity),
                                             place(cube, scaled)};

    CompactMesh destination = fixtures::gridMesh(30, 30);  // larger: its old content must go
    destination.resizeLineArray(3);
    destination.allocTriangleNormalArray();
    destination.getSelectedVertices().setBit(7);
    Listener listener;
    listener.listenTo(destination);
    oxGeom::meshConcatenate(destination, meshes, nullptr, nullptr);

    ASSERT_EQ(destination.getNumVertices(), 8 + 4 + 50 + 8);
    ASSERT_EQ(destination.getNumTriangles(), 12 + 4 + 40 + 12);
    EXPECT_EQ(destination.getNumLines(), 0);
    EXPECT_EQ(destination.getTriangleNormals(), nullptr);
    EXPECT_FALSE(destination.getSelectedVertices().isBitSet(7));
    EXPECT_EQ(destination.getNumTriStrips() + destination.getNumTriFans(), 0);
    int vertexOffset = 0, triangleOffset = 0;
    for (const MeshPlacement& p : meshes)
    {
        if (!p.mesh)
            continue;
        const bool copied =
            oxLinear::equivalent(p.matrix, AffineMatrixFlt(1.0f), oxLinear::epsilonTolFlt);
        for (int i = 0; i < p.mesh->getNumVertices(); ++i)
        {
            const float* source = p.mesh->getVertices()[i].v;
            const std::array<float, 3> expected =
                copied ? std::array<float, 3>{source[0], source[1], source[2]}
                       : placed(p.matrix, source);
            for (int a = 0; a < 3; ++a)
                ASSERT_EQ(destination.getVertices()[vertexOffset + i][a], expected[a]);
        }
        for (int t = 0; t < p.mesh->getNumTriangles(); ++t)
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(destination.getTriangles()[triangleOffset + t][c],
                          p.mesh->getTriangles()[t][c] + vertexOffset);
        vertexOffset += p.mesh->getNumVertices();
        triangleOffset += p.mesh->getNumTriangles();
    }
    EXPECT_EQ(listener.types, std::vector<int>{oxGeom::MeshModification::Topology});
    EXPECT_EQ(listener.remap, nullptr);
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
            normals[i][a] = (cube.getVertices()[i][a] - 0.5f) / std::sqrt(0.75f);
    AffineMatrix mirror = AffineMatrix::makeScale(Vector(-1, 1, 1));
    mirror.translate(Vector(5, 0, 0));
    AffineMatrix stretchedMirror = rigidMotion();
    stretchedMirror.scale(Vector(2, -1, 1)).translate(Vector(0, 9, 0));
    const std::list<MeshPlacement> meshes = {place(cube, rigidMotion()), place(cube, mirror),
                                             place(cube, stretchedMirror)};
    std::vector<bool> flip;
    oxGeom::testDeterminants(meshes, flip);
    ASSERT_EQ(flip, (std::vector<bool>{false, true, true}));

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
        EXPECT_EQ(turned.getTriangles()[t][2], plain.getTriangles()[t][0]);
    }

    // Normals go by the inverse transpose, unnormalised: n' . (p' - c') equals
    // n . (p - c) for the cube centre c, so they still point outwards and stay
    // perpendicular to every carried tangent.
    ASSERT_NE(turned.getNormals(), nullptr);
    const float centre[3] = {0.5f, 0.5f, 0.5f};
    int k = 0;
    for (const MeshPlacement& p : meshes)
    {
        const std::array<float, 3> c = placed(p.matrix, centre);
        for (int i = 0; i < 8; ++i)
        {
            const float* n = turned.getNormals()[8 * k + i].v;
            const float* q = turned.getVertices()[8 * k + i].v;
            double carried = 0, original = 0;
            for (int a = 0; a < 3; ++a)
            {
                carried += double(n[a]) * (q[a] - c[a]);
                original += double(normals[i][a]) * (cube.getVertices()[i][a] - centre[a]);
            }
            EXPECT_NEAR(carried, original, 1e-5) << k << " " << i;
        }
        ++k;
    }
}

TEST(meshConcatenate, carriesChannelsEveryMeshHasOrThoseNamed)
{
    CompactMesh square = fixtures::unitSquare();
    oxGeom::MeshUV* uvs = square.allocUVArray();
    for (int i = 0; i < 4; ++i)
        uvs[i] = {{0.25f * i, 1.0f - 0.25f * i}};
    oxGeom::MeshAttributes* temperature = square.allocAttributes("Temp", 1);
    temperature->setStoreable(false);
    for (int i = 0; i < 4; ++i)
        temperature->asFloat()[i] = 20.0f + i;
    CompactMesh tetrahedron = fixtures::tetrahedron();
    tetrahedron.allocUVArray()[3] = {{7, 8}};
    tetrahedron.allocAttributes("Other", 2)->asFloat()[0] = 1;
    const std::list<MeshPlacement> meshes = {place(square), place(tetrahedron, rigidMotion())};

    CompactMesh shared;
    shared.allocAttributes("Colours", 4);  // the destination's own channel goes
    oxGeom::meshConcatenate(shared, meshes, nullptr, nullptr);
    EXPECT_EQ(namesOf(shared),
              (std::vector<oxString::CString>{PointMesh::UVsName, PointMesh::VerticesName}));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(shared.getUVs()[i][1], 1.0f - 0.25f * i);
    EXPECT_EQ(shared.getUVs()[7][0], 7.0f);  // UVs ignore the placement
    EXPECT_EQ(shared.getUVs()[7][1], 8.0f);

    const ox::set<oxString::CString> wanted = {"Temp", "Missing"};
    CompactMesh named;
    oxGeom::meshConcatenate(named, meshes, &wanted, nullptr);
    EXPECT_EQ(namesOf(named), (std::vector<oxString::CString>{"Temp", PointMesh::VerticesName}));
    const oxGeom::MeshAttributes* carried = named.getAttributes("Temp");
    ASSERT_NE(carried, nullptr);
    EXPECT_EQ(carried->getDimension(), 1);
    EXPECT_FALSE(carried->isStoreable());
    const std::vector<float> values(carried->asFloat(), carried->asFloat() + 8);
    EXPECT_EQ(values, (std::vector<float>{20, 21, 22, 23, 0, 0, 0, 0}));
    float low, high;  // the range reflects the written values
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
    // Strips of 3 to 6 points and fans of 3 and 5 points; turned meshes must
    // describe the same triangles with the opposite winding.
    CompactMesh a = fixtures::randomMesh(1, 12, 2);
    setStrips(a, {3, 4, 5, 6}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0, 2, 4, 6, 8, 10});
    setFans(a, {3, 5}, {11, 0, 1, 5, 6, 7, 8, 9});
    CompactMesh fansOnly = fixtures::randomMesh(2, 6, 0);
    setFans(fansOnly, {4}, {0, 1, 2, 3});
    CompactMesh stripsOnly = fixtures::randomMesh(3, 5, 1);
    setStrips(stripsOnly, {4}, {4, 3, 2, 1});
    const std::list<MeshPlacement> meshes = {place(a), place(fansOnly),
                                             place(stripsOnly, rigidMotion())};
    std::vector<bool> flip = {true, false, true};

    CompactMesh result;
    Listener listener;
    listener.listenTo(result);
    oxGeom::meshConcatenate(result, meshes, nullptr, &flip);
    EXPECT_TRUE(listener.stripsAndFans);
    EXPECT_EQ(result.getNumTriStrips(), 5);
    EXPECT_EQ(result.getNumTriStripPoints(), 18 + 2 + 5);  // the even strips gain a point
    EXPECT_EQ(result.getNumTriFans(), 3);
    EXPECT_EQ(result.getNumTriFanPoints(), 12);

    std::vector<Triangle> expected = stripAndFanTriangles(a, 0, true);
    const std::vector<Triangle> middle = stripAndFanTriangles(fansOnly, 12, false);
    const std::vector<Triangle> last = stripAndFanTriangles(stripsOnly, 18, true);
    expected.insert(expected.end(), middle.begin(), middle.end());
    expected.insert(expected.end(), last.begin(), last.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected.size(), 1u + 2 + 3 + 4 + 1 + 3 + 2 + 2);
    EXPECT_EQ(stripAndFanTriangles(result), expected);

    // One mesh with neither strips nor fans: the result carries none.
    const CompactMesh plain = fixtures::cube();
    CompactMesh without;
    Listener quiet;
    quiet.listenTo(without);
    oxGeom::meshConcatenate(without, {place(a), place(plain)}, nullptr, nullptr);
    EXPECT_EQ(without.getNumTriStrips() + without.getNumTriFans(), 0);
    EXPECT_FALSE(quiet.stripsAndFans);
    EXPECT_EQ(quiet.types.size(), 1u);
}

TEST(meshConcatenate, emptyInputChangesNothingAndDestinationMayBeAnInput)
{
    CompactMesh destination = fixtures::cube();
    Listener listener;
    listener.listenTo(destination);
    oxGeom::meshConcatenate(destination, {}, nullptr, nullptr);
    oxGeom::meshConcatenate(destination, {MeshPlacement(), MeshPlacement()}, nullptr, nullptr);
    EXPECT_EQ(destination.getNumVertices(), 8);
    EXPECT_EQ(destination.getNumTriangles(), 12);
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
    for (int t = 0; t < 2; ++t)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(destination.getTriangles()[12 + t][c], square.getTriangles()[t][c] + 8);
    EXPECT_EQ(listener.types.size(), 1u);
}
