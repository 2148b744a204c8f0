#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshModification.h>

#include <gtest/gtest.h>

using oxGeom::MeshModification;

TEST(MeshModification, eachSetterRaisesItsOwnFlag)
{
    using Setter = void (MeshModification::*)();
    const Setter setters[] = {&MeshModification::normalsModified,
                              &MeshModification::normalsValid,
                              &MeshModification::triangleNormalsModified,
                              &MeshModification::triangleNormalsValid,
                              &MeshModification::uvsModified,
                              &MeshModification::uvsValid,
                              &MeshModification::stsModified,
                              &MeshModification::stsValid,
                              &MeshModification::coloursModified,
                              &MeshModification::coloursValid,
                              &MeshModification::polysModified,
                              &MeshModification::linesModified,
                              &MeshModification::lineStripsModified,
                              &MeshModification::stripsAndFansModified};
    oxGeom::CompactMesh mesh;
    unsigned seen = 0;
    for (Setter set : setters)
    {
        MeshModification m(&mesh, MeshModification::Topology);
        (m.*set)();
        EXPECT_EQ(m.getFlags() & (m.getFlags() - 1), 0u) << "one bit per setter";
        EXPECT_EQ(m.getFlags() & seen, 0u) << "bit shared by two setters";
        seen |= m.getFlags();
    }
    MeshModification m(&mesh, MeshModification::Geometry);
    m.triangleNormalsValid();
    EXPECT_TRUE(m.getTriangleNormalsValid());
    EXPECT_FALSE(m.getTriangleNormalsModified());
    EXPECT_FALSE(m.getNormalsValid());

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
            entity = m.getEntity();
            const auto* mm = dynamic_cast<MeshModification*>(&m);
            uvsValid = mm && mm->getUVsValid() && !mm->getNormalsModified();
            vertexImageOf2 = mm && mm->getRemap() ? (*mm->getRemap()->getVertexMap())(2) : -2;
        }
        const oxRTB::Entity* entity = nullptr;
        bool uvsValid = false;
        int vertexImageOf2 = -2;
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
    EXPECT_EQ(listener.entity, &mesh);
    EXPECT_TRUE(listener.uvsValid);
    EXPECT_EQ(listener.vertexImageOf2, 1);
}
