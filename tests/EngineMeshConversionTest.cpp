#include "tarnel/EngineMeshConversion.h"

#include "support/EngineMeshes.h"
#include "support/TestMeshes.h"

#include <gtest/gtest.h>

namespace
{

using Quelm::Topology::AppendTopologyMesh;

TEST(AppendTopologyMesh, CopiesLiveVerticesAndFacesInHandleOrderWithTheirWinding)
{
    auto source = test::makeGrid(2, 2);
    source->request_face_status();
    source->delete_face(source->face_handle(3), false);  // keeps its vertices
    source->set_normal(source->vertex_handle(4), test::Mesh::Normal(0, 0, 1));

    vsk::VFTriangleMesh target;
    EXPECT_EQ(AppendTopologyMesh(test::Mesh(), target), 0u);
    EXPECT_EQ(target.GetMaxVertexID(), 0u);
    EXPECT_EQ(AppendTopologyMesh(*source, target), 0u);
    EXPECT_EQ(target.GetVertexCount(), 9u);
    EXPECT_EQ(target.GetTriangleCount(), 7u);
    EXPECT_TRUE(test::isConsistent(target));
    unsigned tID = 0;
    for (const auto fh : source->faces())
    {
        int j = 0;
        for (const auto vh : source->fv_range(fh))
            EXPECT_EQ(target.GetTriangleVertex(tID, j++), static_cast<unsigned>(vh.idx()));
        ++tID;
    }
    vsk::Vector3f p, n;
    target.GetVertex(4, p, &n);
    EXPECT_EQ(p, vsk::Vector3f(1, 1, 0));
    EXPECT_EQ(n, vsk::Vector3f(0, 0, 1));

    // A second mesh is appended after the first.
    EXPECT_EQ(AppendTopologyMesh(*test::makeTetrahedron(), target), 0u);
    EXPECT_EQ(target.GetVertexCount(), 13u);
    EXPECT_EQ(target.GetTriangleCount(), 11u);
    EXPECT_TRUE(test::isConsistent(target));
}

}  // namespace
