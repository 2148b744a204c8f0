// MeshMerge: welding against a linear-scan merge, copies at one spot welding to
// one copy and copies apart staying apart, the closed tolerance box, the
// interleaved insertion order, progress weights, the diagnostic lines, and the
// edge cases (misses, null and self sources).

#include <oxGeom/MeshMerge.h>

#include <oxGeom/MeshModification.h>
#include <oxLinear/Tolerance.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <list>
#include <regex>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::MeshPlacement;
using oxLinear::AffineMatrix;
using oxLinear::AffineMatrixFlt;
using oxLinear::Vector;

namespace
{
CompactMesh makeMesh(const std::vector<float>& positions, const std::vector<int>& triangles)
{
    CompactMesh mesh;
    mesh.copyVertices(static_cast<int>(positions.size() / 3), positions.data());
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

std::vector<float> positionsOf(const CompactMesh& m)
{
    return {m.getVerticesRaw(), m.getVerticesRaw() + 3 * m.getNumVertices()};
}

std::vector<int> trianglesOf(const CompactMesh& m)
{
    return {m.getTrianglesRaw(), m.getTrianglesRaw() + 3 * m.getNumTriangles()};
}

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

// Vertex i of the placement's mesh, placed: p * M summed in double, or the
// stored coordinates for a matrix equivalent to the identity.
std::vector<float> placed(const MeshPlacement& p, int i)
{
    const float* v = p.mesh->getVerticesRaw() + 3 * i;
    if (oxLinear::equivalent(p.matrix, AffineMatrixFlt(1.0f), oxLinear::epsilonTolFlt))
        return {v[0], v[1], v[2]};
    std::vector<float> q(3);
    for (int c = 0; c < 3; ++c)
        q[c] = float(double(v[0]) * p.matrix[0][c] + double(v[1]) * p.matrix[1][c] +
                     double(v[2]) * p.matrix[2][c] + double(p.matrix[3][c]));
    return q;
}

// The merge with a linear scan for the earliest stored point in each box.
void linearScanMerge(const CompactMesh& destination, const std::list<MeshPlacement>& sources,
                     float tolerance, std::vector<float>& positions, std::vector<int>& triangles)
{
    std::vector<MeshPlacement> meshes = {place(destination)};
    meshes.insert(meshes.end(), sources.begin(), sources.end());
    positions.clear();
    triangles.clear();
    auto find = [&](const std::vector<float>& q)
    {
        for (size_t j = 0; j < positions.size(); j += 3)
        {
            bool inside = true;
            for (int a = 0; a < 3; ++a)
                inside = inside && q[a] - tolerance <= positions[j + a] &&
                         positions[j + a] <= q[a] + tolerance;
            if (inside)
                return static_cast<int>(j / 3);
        }
        return -1;
    };
    for (const MeshPlacement& p : meshes)
        for (int pass = 0; pass < 100; ++pass)
            for (int i = pass; i < p.mesh->getNumVertices(); i += 100)
            {
                const std::vector<float> q = placed(p, i);
                if (find(q) < 0)
                    positions.insert(positions.end(), q.begin(), q.end());
            }
    for (const MeshPlacement& p : meshes)
        for (int c = 0; c < 3 * p.mesh->getNumTriangles(); ++c)
            triangles.push_back(find(placed(p, p.mesh->getTrianglesRaw()[c])));
}

void runMerge(CompactMesh& destination, const std::list<MeshPlacement>& sources, float tolerance)
{
    oxUtil::Progress progress;
    oxGeom::MeshMerge(destination, sources, tolerance).merge(progress);
}

// Masks the "%g" seconds too (maskSeconds masks the "%f" ones).
std::string maskTimes(const std::string& text)
{
    static const std::regex seconds("[-+0-9.e]+ s\n");
    return std::regex_replace(testsupport::maskSeconds(text), seconds, "# s\n");
}
}  // namespace

TEST(MeshMerge, matchesLinearScanMergeUnderMixedPlacements)
{
    // A random soup, crowded closer than the larger tolerances, placed by the
    // identity, an identity-equivalent matrix, a rigid motion and a mirror.
    const CompactMesh soup = fixtures::randomMesh(3, 400, 500);
    AffineMatrix nearIdentity(1.0);
    nearIdentity[1][0] = 4e-7;
    AffineMatrix mirror = rigidMotion();
    mirror.scale(Vector(-1, 1, 0.5));
    const std::list<MeshPlacement> sources = {place(soup), place(soup, nearIdentity),
                                              place(soup, rigidMotion()), place(soup, mirror)};
    for (float tolerance : {0.0f, 0.02f, 0.06f})
    {
        CompactMesh destination = fixtures::randomMesh(4, 300, 200);
        std::vector<float> positions;
        std::vector<int> triangles;
        linearScanMerge(destination, sources, tolerance, positions, triangles);
        runMerge(destination, sources, tolerance);
        ASSERT_EQ(positionsOf(destination), positions);
        ASSERT_EQ(trianglesOf(destination), triangles);
        // The identity-equivalent copy lands bit for bit on the identity copy.
        EXPECT_EQ(destination.getNumVertices() == 300 + 3 * 400, tolerance == 0.0f);
    }
}

TEST(MeshMerge, copiesAtOneSpotWeldToOneCopyAndCopiesApartStayApart)
{
    const CompactMesh sphere = fixtures::icosphere(2, 1.0f);  // 162 vertices, 320 triangles
    CompactMesh together;
    runMerge(together, std::list<MeshPlacement>(4, place(sphere, rigidMotion())), 1e-5f);
    ASSERT_EQ(together.getNumVertices(), 162);
    const std::vector<int> triangles = trianglesOf(together);
    ASSERT_EQ(triangles.size(), 4u * 960);
    for (size_t c = 960; c < triangles.size(); ++c)
        ASSERT_EQ(triangles[c], triangles[c % 960]);

    AffineMatrix farAway = rigidMotion(), mirrored = rigidMotion();
    farAway.translate(Vector(10, 0, 0));
    mirrored.translate(Vector(20, 0, 0)).scale(Vector(-1, 1, 1));
    const std::list<MeshPlacement> apart = {place(sphere, rigidMotion()), place(sphere, farAway),
                                            place(sphere, mirrored)};
    CompactMesh separate;
    runMerge(separate, apart, 1e-3f);
    ASSERT_EQ(separate.getNumVertices(), 3 * 162);
    ASSERT_EQ(separate.getNumTriangles(), 3 * 320);
    // Each corner lands on its placed source vertex, in the source's corner
    // order: a mirroring placement does not turn triangles.
    int c = 0;
    for (const MeshPlacement& p : apart)
        for (int k = 0; k < 960; ++k, ++c)
        {
            const int corner = separate.getTrianglesRaw()[c];
            const std::vector<float> at(separate.getVertices()[corner].v,
                                        separate.getVertices()[corner].v + 3);
            ASSERT_EQ(at, placed(p, sphere.getTrianglesRaw()[k]));
        }
}

TEST(MeshMerge, toleranceBoxIsClosedAndDestinationVertexSurvives)
{
    //  dest:   0 (0,0,0)   1 (4,0,0)        2 (0,4,0)
    //  source: (0.5,0,0)   (4,0.25,0.25)    (0, 4.5 + ulp, 0)
    //  tolerance 0.5: the first is exactly 0.5 away on x (welds, the box is
    //  closed), the second within it on y and z, the third just outside on y.
    CompactMesh destination = makeMesh({0, 0, 0, 4, 0, 0, 0, 4, 0}, {0, 1, 2});
    const float justOutside = std::nextafter(4.5f, 5.0f);
    const CompactMesh source =
        makeMesh({0.5f, 0, 0, 4, 0.25f, 0.25f, 0, justOutside, 0}, {0, 1, 2});
    runMerge(destination, {place(source)}, 0.5f);
    EXPECT_EQ(positionsOf(destination),
              (std::vector<float>{0, 0, 0, 4, 0, 0, 0, 4, 0, 0, justOutside, 0}));
    EXPECT_EQ(trianglesOf(destination), (std::vector<int>{0, 1, 2, 0, 1, 3}));

    // A negative or NaN tolerance welds equal positions only.
    for (float tolerance : {-1.0f, std::numeric_limits<float>::quiet_NaN()})
    {
        CompactMesh twice = makeMesh({0, 0, 0, 1e-9f, 0, 0, 0, 0, 0}, {0, 1, 2});
        runMerge(twice, {}, tolerance);
        EXPECT_EQ(trianglesOf(twice), (std::vector<int>{0, 1, 0}));
    }
}

TEST(MeshMerge, insertsInInterleavedOrderAndWeighsProgress)
{
    // 250 distinct destination vertices are stored in the order 0, 100, 200, 1,
    // 101, 201, ..., 49, 149, 249, 50, 150, ...; 50 source vertices (fewer than
    // 100) in their own order.
    std::vector<float> near, far;
    for (int i = 0; i < 250; ++i)
        near.insert(near.end(), {float(i), float(i % 7), 0});
    for (int i = 0; i < 50; ++i)
        far.insert(far.end(), {float(i), 100, 0});
    CompactMesh destination = makeMesh(near, {0, 1, 249, 100, 101, 102});
    const CompactMesh source = makeMesh(far, {0, 1, 49});
    std::vector<double> reports;
    oxUtil::Progress progress([&](double fraction, const char*) { reports.push_back(fraction); });
    oxGeom::MeshMerge(destination, {place(source)}, 1e-3f).merge(progress);

    std::vector<int> order, newIndex(250);
    for (int pass = 0; pass < 100; ++pass)
        for (int i = pass; i < 250; i += 100)
        {
            newIndex[i] = static_cast<int>(order.size());
            order.push_back(i);
        }
    for (int i = 0; i < 50; ++i)
        order.push_back(i);
    ASSERT_EQ(destination.getNumVertices(), 300);
    for (int k = 0; k < 300; ++k)
        ASSERT_EQ(destination.getVertices()[k][0], float(order[k])) << k;
    EXPECT_EQ(trianglesOf(destination),
              (std::vector<int>{newIndex[0], newIndex[1], newIndex[249], newIndex[100],
                                newIndex[101], newIndex[102], 250, 251, 299}));

    // 100 reports per insertion, 125 for remapping 250 vertices (every second),
    // none for remapping 50; inserting is 3/5 of the work, shared by vertex count.
    ASSERT_EQ(reports.size(), 325u);
    EXPECT_NEAR(reports[99], 0.6 * 250 / 300, 1e-12);
    EXPECT_NEAR(reports[199], 0.6, 1e-12);
    EXPECT_NEAR(reports[200], 0.6 + 0.4 * 2 / 300, 1e-12);
    EXPECT_NEAR(reports.back(), 0.6 + 0.4 * 250 / 300, 1e-12);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
}

TEST(MeshMerge, printsOneLinePerPhaseAndAnnouncesTopologyChange)
{
    CompactMesh destination = fixtures::unitSquare();
    const CompactMesh cube = fixtures::cube();
    struct Listener : oxRTB::SignalClient
    {
        void onModified(oxRTB::EntityModification& m)
        {
            auto& modification = static_cast<oxGeom::MeshModification&>(m);
            types.push_back(modification.getType());
            hasRemap = modification.getRemap() != nullptr;
        }
        std::vector<int> types;
        bool hasRemap = true;
    } listener;
    listener.connect(destination.modificationSignal(),
                     oxRTB::makeFunctionArgMember(&listener, &Listener::onModified));

    testsupport::DebugCapture capture;
    runMerge(destination, {place(cube), place(cube, rigidMotion())}, 1e-4f);
    EXPECT_EQ(maskTimes(capture.text()),
              "MeshMerge:  2 source meshes\n"
              "    mergeVertices: inserted dest: # s\n"
              "    mergeVertices:  insert a src: # s\n"
              "    mergeVertices:  insert a src: # s\n"
              "    mergeVertices:  remapped dest: # s\n"
              "    mergeVertices:  remapped a src: # s\n"
              "    mergeVertices:  remapped a src: # s\n"
              "  mergeVertices: # s\n"
              "  mergeTriangles: # s\n");
    EXPECT_EQ(listener.types, std::vector<int>{oxGeom::MeshModification::Topology});
    EXPECT_FALSE(listener.hasRemap);
    EXPECT_EQ(destination.getNumVertices(), 4 + 4 + 8);  // the square shares 4 cube corners
    EXPECT_EQ(destination.getNumTriangles(), 2 + 12 + 12);
}

TEST(MeshMerge, edgeCasesKeepIndicesDefined)
{
    // A NaN vertex is stored, but its search misses, so it maps to vertex 0; a
    // corner outside its mesh maps to 0 too; a null source adds nothing.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    CompactMesh destination = fixtures::unitSquare();
    const CompactMesh odd = makeMesh({1, 0, 0, 1, 1, 0, nan, 0, 0}, {0, 1, 2, 0, 7, -1});
    runMerge(destination, {place(odd), MeshPlacement()}, 1e-4f);
    EXPECT_EQ(destination.getNumVertices(), 5);
    EXPECT_EQ(trianglesOf(destination), (std::vector<int>{0, 1, 2, 0, 2, 3, 1, 2, 0, 1, 0, 0}));

    // No sources: the destination is welded with itself.
    CompactMesh soupOfSquare =
        makeMesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 0, 0, 1, 1, 0, 0, 1, 0}, {0, 1, 2, 3, 4, 5});
    soupOfSquare.resizeTriStripArrays(1, 3);  // its strip and line follow the renumbering
    std::copy_n(std::vector<int>{3, 4, 5}.begin(), 3, soupOfSquare.getTriStripPoints());
    soupOfSquare.resizeLineArray(1);
    soupOfSquare.getLines()[0] = {{5, 9}};  // 9: no such vertex, maps to 0
    testsupport::DebugCapture capture;
    runMerge(soupOfSquare, {}, 0.0f);
    EXPECT_EQ(soupOfSquare.getNumVertices(), 4);
    EXPECT_EQ(trianglesOf(soupOfSquare), (std::vector<int>{0, 1, 2, 0, 2, 3}));
    EXPECT_EQ(
        std::vector<int>(soupOfSquare.getTriStripPoints(), soupOfSquare.getTriStripPoints() + 3),
        (std::vector<int>{0, 2, 3}));
    EXPECT_EQ(soupOfSquare.getLines()[0][0], 3);
    EXPECT_EQ(soupOfSquare.getLines()[0][1], 0);
    EXPECT_EQ(capture.text().substr(0, 28), "MeshMerge:  0 source meshes\n");

    // The destination as its own source: its triangles twice over one vertex set.
    CompactMesh sphere = fixtures::icosphere(1, 2.0f);
    const CompactMesh original = sphere;
    runMerge(sphere, {place(sphere)}, 1e-5f);
    ASSERT_EQ(sphere.getNumVertices(), original.getNumVertices());
    const std::vector<int> doubled = trianglesOf(sphere);
    const int corners = 3 * original.getNumTriangles();
    ASSERT_EQ(doubled.size(), 2u * corners);
    for (int c = 0; c < corners; ++c)
    {
        ASSERT_EQ(doubled[c + corners], doubled[c]);
        for (int a = 0; a < 3; ++a)
            ASSERT_EQ(sphere.getVertices()[doubled[c]][a],
                      original.getVertices()[original.getTrianglesRaw()[c]][a]);
    }
}
