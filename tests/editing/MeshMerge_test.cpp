// MeshMerge: welding against a linear-scan merge, copies at one spot welding to
// one copy and copies apart staying apart, the closed tolerance box, the
// interleaved insertion order, progress weights, the diagnostic lines, and the
// edge cases (misses, null and self sources, identity-equivalent placements).

#include <oxGeom/MeshMerge.h>

#include <oxGeom/MeshModification.h>
#include <oxLinear/Tolerance.h>

#include "support/debugCapture.h"
#include "support/meshes.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <list>
#include <random>
#include <regex>
#include <vector>

using oxGeom::CompactMesh;
using oxGeom::MeshPlacement;
using oxLinear::AffineMatrix;
using oxLinear::AffineMatrixFlt;
using oxLinear::Vector;

namespace
{
using Point3 = std::array<float, 3>;

CompactMesh makeMesh(const std::vector<float>& positions, const std::vector<int>& triangles)
{
    CompactMesh mesh;
    mesh.copyVertices(static_cast<int>(positions.size() / 3), positions.data());
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

MeshPlacement place(const CompactMesh& mesh, const AffineMatrix& matrix = AffineMatrix(1.0))
{
    MeshPlacement placement;
    placement.mesh = &mesh;
    placement.matrix = AffineMatrixFlt(matrix);
    return placement;
}

bool isIdentityLike(const AffineMatrixFlt& m)
{
    return oxLinear::equivalent(m, AffineMatrixFlt(1.0f), oxLinear::epsilonTolFlt);
}

// p * M, each coordinate summed in double and rounded once.
Point3 placed(const AffineMatrixFlt& m, const float* p)
{
    if (isIdentityLike(m))
        return {p[0], p[1], p[2]};
    Point3 q;
    for (int c = 0; c < 3; ++c)
        q[c] = static_cast<float>(double(p[0]) * m[0][c] + double(p[1]) * m[1][c] +
                                  double(p[2]) * m[2][c] + double(m[3][c]));
    return q;
}

struct Merged
{
    std::vector<Point3> positions;
    std::vector<int> triangles;
};

// The merge done with a linear scan for the earliest stored point in the box.
Merged linearScanMerge(const CompactMesh& destination, const std::list<MeshPlacement>& sources,
                       float tolerance)
{
    std::vector<MeshPlacement> meshes = {place(destination)};
    for (const MeshPlacement& p : sources)
        if (p.mesh)
            meshes.push_back(p);
    Merged merged;
    auto find = [&](const Point3& q)
    {
        for (size_t j = 0; j < merged.positions.size(); ++j)
        {
            bool inside = true;
            for (int a = 0; a < 3; ++a)
                inside = inside && q[a] - tolerance <= merged.positions[j][a] &&
                         merged.positions[j][a] <= q[a] + tolerance;
            if (inside)
                return static_cast<int>(j);
        }
        return -1;
    };
    for (const MeshPlacement& p : meshes)
        for (int pass = 0; pass < 100; ++pass)
            for (int i = pass; i < p.mesh->getNumVertices(); i += 100)
            {
                const Point3 q = placed(p.matrix, p.mesh->getVerticesRaw() + 3 * i);
                if (find(q) < 0)
                    merged.positions.push_back(q);
            }
    for (const MeshPlacement& p : meshes)
    {
        std::vector<int> map;
        for (int i = 0; i < p.mesh->getNumVertices(); ++i)
            map.push_back(std::max(0, find(placed(p.matrix, p.mesh->getVerticesRaw() + 3 * i))));
        for (int t = 0; t < 3 * p.mesh->getNumTriangles(); ++t)
            merged.triangles.push_back(map[p.mesh->getTrianglesRaw()[t]]);
    }
    return merged;
}

void expectMergedEquals(const CompactMesh& mesh, const Merged& expected)
{
    ASSERT_EQ(mesh.getNumVertices(), static_cast<int>(expected.positions.size()));
    for (int i = 0; i < mesh.getNumVertices(); ++i)
        for (int a = 0; a < 3; ++a)
            ASSERT_EQ(mesh.getVertices()[i][a], expected.positions[i][a]) << i;
    ASSERT_EQ(3 * mesh.getNumTriangles(), static_cast<int>(expected.triangles.size()));
    for (size_t c = 0; c < expected.triangles.size(); ++c)
        ASSERT_EQ(mesh.getTrianglesRaw()[c], expected.triangles[c]) << c;
}

void runMerge(CompactMesh& destination, const std::list<MeshPlacement>& sources, float tolerance)
{
    oxUtil::Progress progress;
    oxGeom::MeshMerge(destination, sources, tolerance).merge(progress);
}

AffineMatrix rigidMotion()
{
    AffineMatrix m = AffineMatrix::makeRotation(Vector(1, 2, 3), 0.7);
    m.translate(Vector(0.5, -2, 3));
    return m;
}

// Masks "%g" seconds (the "%f" ones are masked by maskSeconds).
std::string maskTimes(const std::string& text)
{
    static const std::regex seconds("[-+0-9.e]+ s\n");
    return std::regex_replace(testsupport::maskSeconds(text), seconds, "# s\n");
}
}  // namespace

TEST(MeshMerge, matchesLinearScanMergeUnderMixedPlacements)
{
    // A random soup whose vertices crowd closer than the tolerance, placed by the
    // identity, an identity-equivalent matrix, a rigid motion and a mirror.
    const CompactMesh soup = fixtures::randomMesh(3, 700, 900);
    AffineMatrix nearIdentity(1.0);
    nearIdentity[1][0] = 4e-7;
    AffineMatrix mirror = rigidMotion();
    mirror.scale(Vector(-1, 1, 0.5));
    for (float tolerance : {0.0f, 0.02f, 0.06f})
    {
        CompactMesh destination = fixtures::randomMesh(4, 300, 200);
        const std::list<MeshPlacement> sources = {place(soup), place(soup, nearIdentity),
                                                  place(soup, rigidMotion()), place(soup, mirror)};
        const Merged expected = linearScanMerge(destination, sources, tolerance);
        runMerge(destination, sources, tolerance);
        expectMergedEquals(destination, expected);
        // The identity and the identity-equivalent copies coincide; a positive
        // tolerance also welds crowded points.
        if (tolerance > 0.0f)
        {
            EXPECT_LT(destination.getNumVertices(), 300 + 3 * 700);
        }
        else
        {
            EXPECT_EQ(destination.getNumVertices(), 300 + 3 * 700);
        }
    }
}

TEST(MeshMerge, copiesAtOneSpotWeldToOneCopyAndCopiesApartStayApart)
{
    const CompactMesh sphere = fixtures::icosphere(2, 1.0f);  // 162 vertices, 320 triangles
    const int n = sphere.getNumVertices(), t = sphere.getNumTriangles();

    CompactMesh together;
    runMerge(together, std::list<MeshPlacement>(4, place(sphere, rigidMotion())), 1e-5f);
    ASSERT_EQ(together.getNumVertices(), n);
    ASSERT_EQ(together.getNumTriangles(), 4 * t);
    for (int k = 1; k < 4; ++k)
        for (int c = 0; c < 3 * t; ++c)
            ASSERT_EQ(together.getTrianglesRaw()[3 * t * k + c], together.getTrianglesRaw()[c]);

    AffineMatrix farAway = rigidMotion();
    farAway.translate(Vector(10, 0, 0));
    AffineMatrix mirrored = farAway;
    mirrored.translate(Vector(10, 0, 0)).scale(Vector(-1, 1, 1));
    const std::list<MeshPlacement> apart = {place(sphere, rigidMotion()), place(sphere, farAway),
                                            place(sphere, mirrored)};
    CompactMesh separate;
    runMerge(separate, apart, 1e-3f);
    ASSERT_EQ(separate.getNumVertices(), 3 * n);
    ASSERT_EQ(separate.getNumTriangles(), 3 * t);
    // Every corner lands on its placed source vertex, in the source's corner
    // order (a mirroring placement does not turn triangles).
    int k = 0;
    for (const MeshPlacement& p : apart)
    {
        for (int c = 0; c < 3 * t; ++c)
        {
            const Point3 expected =
                placed(p.matrix, sphere.getVerticesRaw() + 3 * sphere.getTrianglesRaw()[c]);
            const int corner = separate.getTrianglesRaw()[3 * t * k + c];
            for (int a = 0; a < 3; ++a)
                ASSERT_EQ(separate.getVertices()[corner][a], expected[a]);
        }
        ++k;
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
    ASSERT_EQ(destination.getNumVertices(), 4);
    EXPECT_EQ(destination.getVertices()[0][0], 0.0f);  // not 0.5: the first stored wins
    EXPECT_EQ(destination.getVertices()[1][1], 0.0f);
    EXPECT_EQ(destination.getVertices()[3][1], justOutside);
    const std::vector<int> triangles(destination.getTrianglesRaw(),
                                     destination.getTrianglesRaw() + 6);
    EXPECT_EQ(triangles, (std::vector<int>{0, 1, 2, 0, 1, 3}));

    // A negative or NaN tolerance welds equal positions only.
    for (float tolerance : {-1.0f, std::numeric_limits<float>::quiet_NaN()})
    {
        CompactMesh twice = makeMesh({0, 0, 0, 1, 0, 0, 0, 0, 0}, {0, 1, 2});
        runMerge(twice, {}, tolerance);
        EXPECT_EQ(twice.getNumVertices(), 2);
        EXPECT_EQ(twice.getTrianglesRaw()[2], 0);
    }
}

TEST(MeshMerge, insertsInInterleavedOrderAndWeighsProgress)
{
    // 250 distinct destination vertices are stored in the order 0, 100, 200, 1,
    // 101, 201, ...; 50 source vertices (fewer than 100) in their own order.
    std::vector<float> positions, far;
    for (int i = 0; i < 250; ++i)
        positions.insert(positions.end(), {float(i), float(i % 7), 0});
    for (int i = 0; i < 50; ++i)
        far.insert(far.end(), {float(i), 100, 0});
    CompactMesh destination = makeMesh(positions, {0, 1, 249, 100, 101, 102});
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
    ASSERT_EQ(destination.getNumVertices(), 300);
    for (int k = 0; k < 250; ++k)
        ASSERT_EQ(destination.getVertices()[k][0], float(order[k])) << k;
    EXPECT_EQ(order[3], 1);
    EXPECT_EQ(order[150], 50);  // passes 50..99 hold two vertices each
    for (int k = 250; k < 300; ++k)
        ASSERT_EQ(destination.getVertices()[k][0], float(k - 250));
    const std::vector<int> triangles(destination.getTrianglesRaw(),
                                     destination.getTrianglesRaw() + 9);
    EXPECT_EQ(triangles, (std::vector<int>{newIndex[0], newIndex[1], newIndex[249], newIndex[100],
                                           newIndex[101], newIndex[102], 250, 251, 299}));

    // 100 reports per insertion, 125 for remapping 250 vertices (every second),
    // none for remapping 50; inserting is 3/5 of the work, shared by vertex count.
    ASSERT_EQ(reports.size(), 325u);
    EXPECT_NEAR(reports[99], 0.6 * 250 / 300, 1e-12);
    EXPECT_NEAR(reports[199], 0.6, 1e-12);
    EXPECT_NEAR(reports[200], 0.6 + 0.4 * 2 / 300, 1e-12);
    EXPECT_NEAR(reports.back(), 0.6 + 0.4 * 250 / 300, 1e-12);
    for (size_t i = 1; i < reports.size(); ++i)
        ASSERT_GE(reports[i], reports[i - 1]);
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
            remap = modification.getRemap();
        }
        std::vector<int> types;
        oxGeom::MeshRemap* remap = nullptr;
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
    EXPECT_EQ(listener.remap, nullptr);
    EXPECT_EQ(destination.getNumVertices(),
              4 + 4 + 8);  // the square shares 4 corners with the cube
    EXPECT_EQ(destination.getNumTriangles(), 2 + 12 + 12);
}

TEST(MeshMerge, edgeCasesKeepIndicesDefined)
{
    // An identity-equivalent placement uses the stored coordinates bit for bit,
    // where applying it would have moved some of them.
    const CompactMesh soup = fixtures::randomMesh(9, 200, 10);
    AffineMatrix nearIdentity(1.0);
    nearIdentity[2][1] = 9e-7;
    int moved = 0;
    for (int i = 0; i < 200; ++i)
        moved += soup.getVerticesRaw()[3 * i + 1] !=
                 static_cast<float>(soup.getVerticesRaw()[3 * i + 1] +
                                    9e-7 * soup.getVerticesRaw()[3 * i + 2]);
    ASSERT_GT(moved, 0);
    CompactMesh copy;
    runMerge(copy, {place(soup, nearIdentity)}, 0.0f);
    ASSERT_EQ(copy.getNumVertices(), 200);
    for (int k = 0; k < 200; ++k)
    {
        const int original = (k % 2) * 100 + k / 2;  // two passes hold the 200 vertices
        for (int a = 0; a < 3; ++a)
            ASSERT_EQ(copy.getVertices()[k][a], soup.getVertices()[original][a]);
    }

    // A NaN vertex is stored but its search misses, so it maps to vertex 0; a
    // corner outside its mesh maps to 0 too; a null source adds nothing.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    CompactMesh destination = fixtures::unitSquare();
    const CompactMesh odd = makeMesh({1, 0, 0, 1, 1, 0, nan, 0, 0}, {0, 1, 2, 0, 7, -1});
    std::list<MeshPlacement> sources = {place(odd), MeshPlacement()};
    runMerge(destination, sources, 1e-4f);
    EXPECT_EQ(destination.getNumVertices(), 5);
    const std::vector<int> triangles(destination.getTrianglesRaw(),
                                     destination.getTrianglesRaw() + 12);
    EXPECT_EQ(triangles, (std::vector<int>{0, 1, 2, 0, 2, 3, 1, 2, 0, 1, 0, 0}));

    // No sources: the destination is welded with itself.
    CompactMesh soupOfSquare =
        makeMesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 0, 0, 1, 1, 0, 0, 1, 0}, {0, 1, 2, 3, 4, 5});
    testsupport::DebugCapture capture;
    runMerge(soupOfSquare, {}, 0.0f);
    EXPECT_EQ(soupOfSquare.getNumVertices(), 4);
    const std::vector<int> welded(soupOfSquare.getTrianglesRaw(),
                                  soupOfSquare.getTrianglesRaw() + 6);
    EXPECT_EQ(welded, (std::vector<int>{0, 1, 2, 0, 2, 3}));
    EXPECT_EQ(maskTimes(capture.text()).substr(0, 28), "MeshMerge:  0 source meshes\n");

    // The destination as its own source: its triangles twice over one vertex set.
    CompactMesh sphere = fixtures::icosphere(1, 2.0f);
    const CompactMesh original = sphere;
    runMerge(sphere, {place(sphere)}, 1e-5f);
    ASSERT_EQ(sphere.getNumVertices(), original.getNumVertices());
    ASSERT_EQ(sphere.getNumTriangles(), 2 * original.getNumTriangles());
    const int corners = 3 * original.getNumTriangles();
    for (int c = 0; c < corners; ++c)
    {
        ASSERT_EQ(sphere.getTrianglesRaw()[c + corners], sphere.getTrianglesRaw()[c]);
        const int before = original.getTrianglesRaw()[c], after = sphere.getTrianglesRaw()[c];
        for (int a = 0; a < 3; ++a)
            ASSERT_EQ(sphere.getVertices()[after][a], original.getVertices()[before][a]);
    }
}
