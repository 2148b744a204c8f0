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
std::vector<TopoMeshVertex> addVertices(TopoMesh& mesh, int count)
{
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < count; ++i)
        v.push_back(mesh.allocVertex(Point(i, 2 * i, -i)));
    return v;
}

TopoMeshFace addFace(TopoMesh& mesh, const std::vector<TopoMeshVertex>& v,
                     std::initializer_list<int> corners)
{
    std::vector<TopoMeshVertex> face;
    for (int c : corners)
        face.push_back(v[c]);
    return mesh.allocFace(face);
}

// Every twin link is mutual and runs the opposite way; returns the boundary count.
int checkTwinsAndCountBoundary(const TopoMesh& mesh)
{
    int boundary = 0;
    for (int i = 0; i < mesh.numEdges(); ++i)
    {
        const TopoMeshEdge e = mesh.edge(i);
        const TopoMeshEdge t = e.twin();
        if (t.isNull())
        {
            ++boundary;
            continue;
        }
        EXPECT_EQ(t.twin(), e);
        EXPECT_EQ(t.origin(), e.destination());
        EXPECT_EQ(t.destination(), e.origin());
    }
    return boundary;
}
}  // namespace

TEST(TopoMesh, twinPairsSharedEdgeAndLeavesBoundary)
{
    //  3-----2
    //  |   / |     faces (0,1,2) and (0,2,3) share the edge 0-2
    //  | /   |
    //  0-----1
    TopoMesh mesh;
    const auto v = addVertices(mesh, 4);
    const TopoMeshFace f0 = addFace(mesh, v, {0, 1, 2});
    const TopoMeshFace f1 = addFace(mesh, v, {0, 2, 3});
    EXPECT_EQ(mesh.numEdges(), 6);
    EXPECT_TRUE(TopoMesh::findEdge(v[2], v[0]).isBoundary());  // not linked yet

    EXPECT_EQ(oxGeom::meshTwin(mesh), 1);
    const TopoMeshEdge e20 = TopoMesh::findEdge(v[2], v[0]);
    const TopoMeshEdge e02 = TopoMesh::findEdge(v[0], v[2]);
    ASSERT_FALSE(e20.isNull());
    EXPECT_EQ(e20.face(), f0);
    EXPECT_EQ(e02.face(), f1);
    EXPECT_EQ(e20.twin(), e02);
    EXPECT_EQ(checkTwinsAndCountBoundary(mesh), 4);
    EXPECT_TRUE(TopoMesh::findEdge(v[0], v[1]).isBoundary());
    EXPECT_TRUE(TopoMesh::findEdge(v[1], v[3]).isNull());
    EXPECT_TRUE(TopoMesh::findEdge(v[1], v[0]).isNull());
    EXPECT_EQ(oxGeom::meshTwin(mesh), 0);  // nothing left to pair
}

TEST(TopoMesh, closedTetrahedronHasNoBoundary)
{
    TopoMesh mesh;
    const auto v = addVertices(mesh, 4);
    addFace(mesh, v, {0, 2, 1});
    addFace(mesh, v, {0, 1, 3});
    addFace(mesh, v, {1, 2, 3});
    addFace(mesh, v, {2, 0, 3});
    EXPECT_EQ(oxGeom::meshTwin(mesh), 6);
    EXPECT_EQ(checkTwinsAndCountBoundary(mesh), 0);
}

TEST(TopoMesh, edgeSharedByThreeFacesPairsInCreationOrder)
{
    // Fin: faces (0,1,2), (1,0,3) and (1,0,4) all use the edge 0-1.
    TopoMesh mesh;
    const auto v = addVertices(mesh, 5);
    addFace(mesh, v, {0, 1, 2});
    const TopoMeshFace second = addFace(mesh, v, {1, 0, 3});
    const TopoMeshFace third = addFace(mesh, v, {1, 0, 4});
    EXPECT_EQ(oxGeom::meshTwin(mesh), 1);
    const TopoMeshEdge e01 = TopoMesh::findEdge(v[0], v[1]);
    EXPECT_EQ(e01.twin().face(), second);
    EXPECT_EQ(TopoMesh::findEdge(v[1], v[0]).face(), second);  // first in creation order
    EXPECT_TRUE(third.firstEdge().isBoundary());

    // Relinking moves the pair and frees the old partner.
    mesh.setTwins(e01, third.firstEdge());
    EXPECT_EQ(e01.twin().face(), third);
    EXPECT_TRUE(second.firstEdge().isBoundary());
    EXPECT_EQ(checkTwinsAndCountBoundary(mesh), 7);
    mesh.setTwins(e01, e01);
    mesh.setTwins(e01, TopoMeshEdge());
    EXPECT_EQ(e01.twin().face(), third);
}

TEST(TopoMesh, faceCornersRunFromFirstEdgeInOrder)
{
    TopoMesh mesh;
    const auto v = addVertices(mesh, 5);
    addFace(mesh, v, {0, 1, 2});
    const TopoMeshFace quad = addFace(mesh, v, {4, 3, 1, 0});
    ASSERT_EQ(quad.numVertices(), 4);
    std::vector<TopoMeshVertex> corners;
    quad.getVertices(corners);
    EXPECT_EQ(corners, (std::vector<TopoMeshVertex>{v[4], v[3], v[1], v[0]}));
    TopoMeshEdge e = quad.firstEdge();
    for (int k = 0; k < 4; ++k)
    {
        EXPECT_EQ(e.origin(), corners[k]);
        EXPECT_EQ(e.destination(), corners[(k + 1) % 4]);
        EXPECT_EQ(e.next().prev(), e);
        e = e.next();
    }
    EXPECT_EQ(e, quad.firstEdge());
    EXPECT_EQ(quad.next(), TopoMeshFace());
    EXPECT_EQ(mesh.firstFace().next(), quad);

    // Vertex 1 has two outgoing half-edges, listed in creation order.
    const TopoMeshEdge out = v[1].firstOutEdge();
    EXPECT_EQ(out.destination(), v[2]);
    EXPECT_EQ(out.nextOutEdge().destination(), v[0]);
    EXPECT_TRUE(out.nextOutEdge().nextOutEdge().isNull());
}

TEST(TopoMesh, badFacesAreRejectedAndNullHandlesAreSafe)
{
    TopoMesh mesh;
    TopoMesh other;
    const auto v = addVertices(mesh, 3);
    const auto foreign = addVertices(other, 3);
    EXPECT_TRUE(addFace(mesh, v, {0, 1}).isNull());
    EXPECT_TRUE(mesh.allocFace({v[0], v[1], TopoMeshVertex()}).isNull());
    EXPECT_TRUE(mesh.allocFace({v[0], v[1], foreign[2]}).isNull());
    EXPECT_TRUE(mesh.allocFace({v[0], v[1], TopoMeshVertex(&mesh, 7)}).isNull());
    EXPECT_EQ(mesh.numFaces(), 0);
    EXPECT_EQ(mesh.numEdges(), 0);
    EXPECT_TRUE(TopoMesh::findEdge(v[0], foreign[1]).isNull());

    const TopoMeshEdge none;
    EXPECT_TRUE(none.next().isNull());
    EXPECT_TRUE(none.origin().isNull());
    EXPECT_TRUE(none.face().isNull());
    EXPECT_EQ(TopoMeshFace().numVertices(), 0);
    EXPECT_EQ(TopoMeshVertex().point(), Point(0, 0, 0));
    EXPECT_EQ(TopoMeshVertex(&mesh, 9).point(), Point(0, 0, 0));
    EXPECT_EQ(TopoMeshVertex(&mesh, -4), TopoMeshVertex());
    EXPECT_EQ(TopoMeshVertex(nullptr, 2), TopoMeshVertex());
}

TEST(TopoMesh, vertexListInCreationOrderServesAsMapKeys)
{
    TopoMesh mesh;
    addVertices(mesh, 4);
    std::map<TopoMeshVertex, int> number;
    int count = 0;
    for (TopoMeshVertex v = mesh.firstVertex(); !v.isNull(); v = v.next())
    {
        EXPECT_EQ(v.point(), Point(count, 2 * count, -count));
        number[v] = count++;
    }
    EXPECT_EQ(count, 4);
    EXPECT_EQ(number.size(), 4u);
    EXPECT_EQ(number[mesh.vertex(2)], 2);

    TopoMesh other;
    addVertices(other, 1);
    EXPECT_NE(other.firstVertex(), mesh.firstVertex());
    EXPECT_TRUE(mesh.firstVertex() < mesh.vertex(1));
    EXPECT_FALSE(mesh.vertex(1) < mesh.vertex(1));

    mesh.setPoint(mesh.vertex(3), Point(7, 8, 9));
    EXPECT_EQ(mesh.vertex(3).point(), Point(7, 8, 9));
    mesh.clear();
    EXPECT_EQ(mesh.numVertices(), 0);
    EXPECT_TRUE(mesh.firstVertex().isNull());
    EXPECT_TRUE(TopoMesh().firstFace().isNull());
}
