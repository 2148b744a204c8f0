// Mesh change notices: one flag per setter, named channels recorded once, and a
// listener of the mesh receiving the notice with its flags and renumbering.

#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshModification.h>

#include <gtest/gtest.h>

using oxGeom::MeshModification;

TEST(MeshModification, eachSetterRaisesItsOwnFlag)
{
    using M = MeshModification;
    using Setter = void (M::*)();
    const Setter setters[] = {&M::normalsModified,
                              &M::normalsValid,
                              &M::triangleNormalsModified,
                              &M::triangleNormalsValid,
                              &M::uvsModified,
                              &M::uvsValid,
                              &M::stsModified,
                              &M::stsValid,
                              &M::coloursModified,
                              &M::coloursValid,
                              &M::polysModified,
                              &M::linesModified,
                              &M::lineStripsModified,
                              &M::stripsAndFansModified};
    oxGeom::CompactMesh mesh;
    unsigned seen = 0;
    for (Setter set : setters)
    {
        M m(&mesh, M::Topology);
        (m.*set)();
        EXPECT_EQ(m.getFlags() & (m.getFlags() - 1), 0u) << "one bit per setter";
        EXPECT_EQ(m.getFlags() & seen, 0u) << "bit shared by two setters";
        seen |= m.getFlags();
    }
    M m(&mesh, M::Geometry);
    m.triangleNormalsValid();
    EXPECT_TRUE(m.getTriangleNormalsValid());
    EXPECT_FALSE(m.getTriangleNormalsModified() || m.getNormalsValid());

    m.vertexAttribsModified("UVs");
    m.vertexAttribsModified("weight");
    m.vertexAttribsModified("UVs");
    EXPECT_EQ(m.getModifiedVertexAttribs().size(), 2u);
    EXPECT_TRUE(m.isVertexAttribModified("weight"));
    EXPECT_FALSE(m.isVertexAttribModified("Normals"));
}

TEST(MeshModification, listenerSeesMeshFlagsAndRemap)
{
    // Editing code announces renumbering with code 1, normal recomputation with 2.
    EXPECT_EQ(static_cast<int>(MeshModification::Topology), 1);
    EXPECT_EQ(static_cast<int>(MeshModification::Normals), 2);

    struct Listener : oxRTB::SignalClient
    {
        void onModified(oxRTB::EntityModification& m)
        {
            const auto* mm = dynamic_cast<MeshModification*>(&m);
            entity = m.getEntity();
            seen = mm && mm->getUVsValid() && !mm->getNormalsModified() &&
                   (*mm->getRemap()->getVertexMap())(2) == 1;
        }
        const oxRTB::Entity* entity = nullptr;
        bool seen = false;
    } listener;
    oxGeom::CompactMesh mesh;
    listener.connect(mesh.modificationSignal(),
                     oxRTB::makeFunctionArgMember(&listener, &Listener::onModified));
    oxGeom::Remap vertexMap(3, 2);
    vertexMap.set(2, 1);
    oxGeom::MeshRemap remap(&vertexMap, nullptr);
    MeshModification m(&mesh, MeshModification::Topology, &remap);
    m.uvsValid();
    mesh.modified(m);
    EXPECT_TRUE(listener.seen);
    EXPECT_EQ(listener.entity, &mesh);
}
