// Half-edge meshes: twins paired once (fins in creation order), faces walked
// from their first edge, bad faces refused, null handles harmless.

#include "oxGeom/TopoMesh.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

using oxGeom::TopoMesh;
using oxGeom::TopoMeshEdge;
using oxGeom::TopoMeshFace;
using oxGeom::TopoMeshVertex;
using oxLinear::Point;

namespace
{
struct Built
{
    TopoMesh mesh;
    std::vector<TopoMeshVertex> v;
    std::vector<TopoMeshFace> f;
};

// Vertex i sits at (i, 2i, -i); faces list vertex numbers.
void build(Built& b, int numVertices, std::initializer_list<std::vector<int>> faces)
{
    for (int i = 0; i < numVertices; ++i)
        b.v.push_back(b.mesh.allocVertex(Point(i, 2 * i, -i)));
    for (const auto& corners : faces)
    {
        std::vector<TopoMeshVertex> handles;
        for (int c : corners)
            handles.push_back(b.v[c]);
        b.f.push_back(b.mesh.allocFace(handles));
    }
}

// Checks that every twin link is mutual and opposite; returns the boundary count.
int checkTwinsAndCountBoundary(const TopoMesh& mesh)
{
    int boundary = 0;
    for (int i = 0; i < mesh.numEdges(); ++i)
    {
        const TopoMeshEdge e = mesh.edge(i);
        boundary += e.isBoundary();
        if (!e.isBoundary())
        {
            EXPECT_EQ(e.twin().twin(), e);
            EXPECT_EQ(e.twin().origin(), e.destination());
            EXPECT_EQ(e.twin().destination(), e.origin());
        }
    }
    return boundary;
}
}  // namespace

TEST(TopoMesh, meshTwinPairsSharedEdgesOnceAndFinEdgesInCreationOrder)
{
    Built tetrahedron;  // closed: every half-edge finds its partner
    build(tetrahedron, 4, {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}});
    EXPECT_EQ(oxGeom::meshTwin(tetrahedron.mesh), 6);
    EXPECT_EQ(checkTwinsAndCountBoundary(tetrahedron.mesh), 0);
    EXPECT_EQ(oxGeom::meshTwin(tetrahedron.mesh), 0);  // nothing left to pair

    Built b;  // fin: three faces on the edge 0-1
    build(b, 5, {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}});
    EXPECT_EQ(oxGeom::meshTwin(b.mesh), 1);
    const TopoMeshEdge e01 = TopoMesh::findEdge(b.v[0], b.v[1]);
    EXPECT_EQ(e01.face(), b.f[0]);
    EXPECT_EQ(e01.twin().face(), b.f[1]);
    EXPECT_TRUE(b.f[2].firstEdge().isBoundary());
    EXPECT_TRUE(TopoMesh::findEdge(b.v[2], b.v[1]).isNull());  // only 1 -> 2 exists

    // Relinking moves the pair and frees the old partner.
    b.mesh.setTwins(e01, b.f[2].firstEdge());
    EXPECT_EQ(e01.twin().face(), b.f[2]);
    EXPECT_EQ(checkTwinsAndCountBoundary(b.mesh), 7);
    b.mesh.setTwins(e01, e01);
    EXPECT_EQ(e01.twin().face(), b.f[2]);
}

TEST(TopoMesh, faceCornersRunFromFirstEdgeInOrder)
{
    Built b;
    build(b, 5, {{0, 1, 2}, {4, 3, 1, 0}});
    const TopoMeshFace quad = b.f[1];
    EXPECT_EQ(b.mesh.firstFace().next(), quad);
    EXPECT_TRUE(quad.next().isNull());
    ASSERT_EQ(quad.numVertices(), 4);
    std::vector<TopoMeshVertex> corners;
    quad.getVertices(corners);
    EXPECT_EQ(corners, (std::vector<TopoMeshVertex>{b.v[4], b.v[3], b.v[1], b.v[0]}));
    TopoMeshEdge e = quad.firstEdge();
    for (int k = 0; k < 4; ++k, e = e.next())
    {
        EXPECT_EQ(e.destination(), corners[(k + 1) % 4]);
        EXPECT_EQ(e.next().prev(), e);
    }
    EXPECT_EQ(e, quad.firstEdge());
    // Vertex 1 leaves two half-edges, in creation order.
    EXPECT_EQ(b.v[1].firstOutEdge().destination(), b.v[2]);
    EXPECT_EQ(b.v[1].firstOutEdge().nextOutEdge().destination(), b.v[0]);
}

TEST(TopoMesh, badFacesAreRejectedAndNullHandlesAreSafe)
{
    Built b;
    Built other;
    build(b, 3, {{0, 1}});
    build(other, 3, {});
    EXPECT_TRUE(b.f[0].isNull());
    EXPECT_TRUE(b.mesh.allocFace({b.v[0], b.v[1], TopoMeshVertex()}).isNull());
    EXPECT_TRUE(b.mesh.allocFace({b.v[0], b.v[1], other.v[2]}).isNull());
    EXPECT_TRUE(b.mesh.allocFace({b.v[0], b.v[1], TopoMeshVertex(&b.mesh, 7)}).isNull());
    EXPECT_EQ(b.mesh.numEdges(), 0);
    EXPECT_TRUE(TopoMesh::findEdge(b.v[0], other.v[1]).isNull());

    EXPECT_TRUE(TopoMeshEdge().next().origin().isNull());
    EXPECT_EQ(TopoMeshFace().numVertices(), 0);
    EXPECT_EQ(TopoMeshVertex(&b.mesh, 9).point(), Point(0, 0, 0));
    EXPECT_EQ(TopoMeshVertex().point(), Point(0, 0, 0));
    EXPECT_EQ(TopoMeshVertex(&b.mesh, -4), TopoMeshVertex());
}

TEST(TopoMesh, vertexListInCreationOrderServesAsMapKeys)
{
    Built b;
    Built other;
    build(b, 4, {});
    build(other, 1, {});
    std::map<TopoMeshVertex, int> number;
    int count = 0;
    for (TopoMeshVertex v = b.mesh.firstVertex(); !v.isNull(); v = v.next())
    {
        EXPECT_EQ(v.point(), Point(count, 2 * count, -count));
        number[v] = count++;
    }
    EXPECT_EQ(count, 4);
    number[other.mesh.firstVertex()] = 9;  // a distinct key
    EXPECT_EQ(number.size(), 5u);
    EXPECT_EQ(number[b.mesh.vertex(2)], 2);
    b.mesh.clear();
    EXPECT_TRUE(b.mesh.firstVertex().isNull());
}
