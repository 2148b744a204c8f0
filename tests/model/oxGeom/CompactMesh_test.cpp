// The indexed mesh: copies and swaps carry every array (listeners stay put),
// optional arrays stay absent until asked for, and the derived counts (line
// strip starts, polygons, bytes) follow the arrays.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshModification.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "support/CountingAllocator.h"
#include "support/meshes.h"

using oxGeom::CompactMesh;

namespace
{
/// A unit square carrying one of everything: normals, UVs, a named channel,
/// triangle normals, selections, a strip, a fan, a line and a line strip.
CompactMesh fullyLoadedSquare()
{
    CompactMesh mesh = fixtures::unitSquare();
    mesh.allocNormalArray()[0][2] = 1.0f;
    mesh.allocUVArray()[1][0] = 0.5f;
    mesh.allocAttributes("w", 1)->asFloat()[2] = 2.0f;
    mesh.allocTriangleNormalArray()[1][2] = 1.0f;
    mesh.getSelectedVertices().setBit(3);
    mesh.getSelectedTriangles().setBit(1);
    mesh.resizeTriStripArrays(1, 4);
    mesh.getTriStripPoints()[3] = 3;
    mesh.resizeTriFanArrays(1, 3);
    mesh.getTriFanPoints()[2] = 2;
    mesh.resizeLineArray(1);
    mesh.getLines()[0] = {{0, 2}};
    mesh.resizeLineStripArrays(1, 2);
    mesh.getLineStripLengths()[0] = 2;
    mesh.getLineStripPoints()[1] = 3;
    return mesh;
}

/// Every value of every array of the mesh, in a fixed order.
std::vector<double> snapshot(const CompactMesh& m)
{
    std::vector<double> all;
    auto add = [&all](const auto* values, int count)
    {
        all.push_back(count);
        for (int i = 0; values && i < count; ++i)
            all.push_back(values[i]);
    };
    for (int i = 0; i < m.getNumAttributes(); ++i)
    {
        const oxGeom::MeshAttributes* a = m.getAttributes(i);
        add(a->asFloat(), a->getNumElements() * a->getDimension());
    }
    add(m.getTrianglesRaw(), 3 * m.getNumTriangles());
    add(m.getTriangleNormalsRaw(), m.getTriangleNormals() ? 3 * m.getNumTriangles() : 0);
    for (int i = 0; i < m.getNumVertices(); ++i)
        all.push_back(m.getSelectedVertices().isBitSet(i));
    for (int i = 0; i < m.getNumTriangles(); ++i)
        all.push_back(m.getSelectedTriangles().isBitSet(i));
    add(m.getTriStripPoints(), m.getNumTriStripPoints());
    add(m.getTriFanPoints(), m.getNumTriFanPoints());
    add(reinterpret_cast<const int*>(m.getLines()), 2 * m.getNumLines());
    add(m.getLineStripLengths(), m.getNumLineStrips());
    add(m.getLineStripPoints(), m.getNumLineStripPoints());
    return all;
}
}  // namespace

TEST(CompactMesh, copiesAndSwapCarryEveryArrayButNotListeners)
{
    const std::vector<double> loaded = snapshot(fullyLoadedSquare());
    const std::vector<double> cube = snapshot(fixtures::cube());
    CompactMesh a = fullyLoadedSquare(), b = fixtures::cube();
    CompactMesh copy(a), assigned = b;
    assigned = a;
    a.clearSelection();  // the copies are deep
    a.getLineStripPoints()[1] = 0;
    EXPECT_EQ(snapshot(copy), loaded);
    EXPECT_EQ(snapshot(assigned), loaded);

    struct Listener : oxRTB::SignalClient
    {
        void onModified(oxRTB::EntityModification& m) { last = m.getEntity(); }
        const oxRTB::Entity* last = nullptr;
    } listener;
    listener.connect(copy.modificationSignal(),
                     oxRTB::makeFunctionArgMember(&listener, &Listener::onModified));
    copy.swap(b);
    EXPECT_EQ(snapshot(copy), cube);
    EXPECT_EQ(snapshot(b), loaded);
    EXPECT_EQ(b.getLineStripStarts()[1], 2);
    oxGeom::MeshModification onB(&b, oxGeom::MeshModification::Topology);
    b.modified(onB);
    EXPECT_EQ(listener.last, nullptr);  // the listener stayed with the first mesh
}

TEST(CompactMesh, constructorLeavesNullArraysAbsent)
{
    const oxGeom::MeshVertex vertices[2] = {{{1, 2, 3}}, {{4, 5, 6}}};
    const oxGeom::MeshUV uvs[2] = {{{0.25f, 0.5f}}, {{1, 0}}};
    const oxGeom::MeshColour colours[2] = {{{255, 0, 51, 255}}, {{0, 0, 0, 0}}};
    const CompactMesh plain(2, vertices, nullptr, nullptr, nullptr);
    EXPECT_EQ(plain.getVertices()[1][2], 6.0f);
    EXPECT_EQ(plain.getNumAttributes(), 1);  // no normals, UVs or colours

    const CompactMesh full(2, vertices, reinterpret_cast<const oxGeom::MeshNormal*>(vertices), uvs,
                           colours);
    EXPECT_EQ(full.getNormals()[1][0], 4.0f);
    EXPECT_EQ(full.getUVs()[0][0], 0.25f);
    const float* rgba = full.getAttributes(oxGeom::PointMesh::ColoursName)->asFloat4();
    EXPECT_EQ(rgba[0], 1.0f);
    EXPECT_FLOAT_EQ(rgba[2], 0.2f);
}

TEST(CompactMesh, triangleResizeCarriesNormalsAndSelection)
{
    CompactMesh mesh = fixtures::cube();
    mesh.allocTriangleNormalArray()[3][1] = 1.0f;
    mesh.getSelectedTriangles().setBit(3);
    mesh.resizeTriangleArray(20);
    EXPECT_EQ(mesh.getSelectedTriangles().size(), 20);
    EXPECT_TRUE(mesh.getSelectedTriangles().isBitSet(3));
    // Normals kept where they were and zero on the new triangles.
    EXPECT_EQ(mesh.getTriangleNormals()[3][1] + mesh.getTriangleNormals()[19][1], 1.0f);
    mesh.copyTriangles(1, mesh.getTrianglesRaw() + 3);  // from its own array
    EXPECT_EQ(mesh.getSelectedTriangles().size(), 1);
    EXPECT_EQ(mesh.getTriangles()[0][1], 3);
}

TEST(CompactMesh, lineStripStartsFollowTheLengthsAndStayInsideThePoints)
{
    CompactMesh mesh;
    mesh.resizeLineStripArrays(3, 9);
    int* lengths = mesh.getLineStripLengths();
    lengths[0] = 2;
    lengths[1] = 4;
    lengths[2] = 3;
    const int* starts = mesh.getLineStripStarts();
    EXPECT_EQ(std::vector<int>(starts, starts + 4), (std::vector<int>{0, 2, 6, 9}));

    // Rewritten through a fresh pointer, inconsistent lengths never lead
    // outside the points array.
    mesh.getLineStripLengths()[0] = -3;
    mesh.getLineStripLengths()[1] = 2000000000;
    mesh.getLineStripLengths()[2] = 2000000000;
    starts = mesh.getLineStripStarts();
    EXPECT_EQ(std::vector<int>(starts, starts + 4), (std::vector<int>{0, 0, 9, 9}));
}

TEST(CompactMesh, polysCountStripAndFanTriangles)
{
    CompactMesh mesh = fixtures::cube();  // 12 triangles
    mesh.resizeTriStripArrays(2, 7);
    mesh.getTriStripLengths()[0] = 5;  // 3 triangles
    mesh.getTriStripLengths()[1] = 1;  // none
    mesh.resizeTriFanArrays(1, 4);
    mesh.getTriFanLengths()[0] = 4;  // 2 triangles
    mesh.resizeLineArray(4);         // lines are not polygons
    EXPECT_EQ(mesh.getNumPolys(), 12 + 3 + 2);
}

TEST(CompactMesh, sizeInBytesGrowsWithEveryArray)
{
    CompactMesh mesh;
    std::size_t size = mesh.getSizeInBytes();
    const std::vector<std::function<void()>> growers = {
        [&] { mesh.resizeVertexArray(100); },     [&] { mesh.allocUVArray(); },
        [&] { mesh.resizeTriangleArray(100); },   [&] { mesh.allocTriangleNormalArray(); },
        [&] { mesh.resizeTriStripArrays(1, 9); }, [&] { mesh.resizeTriFanArrays(1, 9); },
        [&] { mesh.resizeLineArray(100); },       [&] { mesh.resizeLineStripArrays(1, 9); }};
    for (std::size_t i = 0; i < growers.size(); ++i)
    {
        growers[i]();
        EXPECT_GT(mesh.getSizeInBytes(), size) << "step " << i;
        size = mesh.getSizeInBytes();
    }
}

TEST(CompactMesh, arrayAllocatorServesEveryArray)
{
    ox::Reference<fixtures::CountingAllocator> counting(new fixtures::CountingAllocator);
    {
        CompactMesh mesh = fullyLoadedSquare();
        mesh.setArrayAllocator(counting);
        // 4 channels, triangles and their normals, 2 strip, 2 fan, 1 line and
        // 2 line strip arrays (the starts are built on demand).
        EXPECT_EQ(counting->liveBlocks(), 13);
        mesh.allocAttributes("new", 2);
        EXPECT_EQ(counting->liveBlocks(), 14);
        CompactMesh copy(mesh);  // a copy shares the source's allocator
        EXPECT_EQ(counting->liveBlocks(), 28);
    }
    EXPECT_EQ(counting->liveBlocks(), 0);
    EXPECT_EQ(counting->badFrees(), 0);
}
