#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

using Quelm::Topology::OpenMeshUtility;

TEST(MeshCounts, EmptyAndDeletedElementsCountNothing)
{
    test::Mesh empty;
    EXPECT_EQ(OpenMeshUtility::GetVertexCount(empty), 0u);
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(empty), 0u);
    EXPECT_EQ(OpenMeshUtility::GetSelectedFaceCount(empty), 0u);
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(empty), 0u);
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryAndSelectedFaceCount(empty), 0u);

    auto mesh = test::makeGrid(3, 3);
    mesh->delete_face(*mesh->faces_begin(), false);
    EXPECT_EQ(mesh->n_faces(), 18u);  // not yet garbage-collected
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*mesh), 17u);
    EXPECT_EQ(OpenMeshUtility::GetVertexCount(*mesh), 16u);
}

// A face is a boundary face only through a boundary edge, not through its vertices.
TEST(MeshCounts, BoundaryFacesNeedABoundaryEdge)
{
    auto tet = test::makeTetrahedron();
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(*tet), OpenMeshUtility::GetFaceCount(*tet));
    auto one = test::makeGrid(1, 1);
    one->delete_face(*one->faces_begin(), true);
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(*one), 0u);
    // A 4 x 4 grid has 7 triangles along the bottom and right sides and 7 along the top and left.
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(*test::makeGrid(4, 4)), 32u - 14u);

    // An inner triangle joining three boundary vertices through interior edges only, fanned by
    // one triangle on each side.
    auto fan =
        test::makeMesh({{0, 0, 0}, {2, 0, 0}, {1, 2, 0}, {1, -1, 0}, {2.5f, 1.5f, 0}, {-0.5f, 1.5f, 0}},
                       {{0, 1, 2}, {0, 3, 1}, {1, 4, 2}, {2, 5, 0}});
    EXPECT_FALSE(fan->is_boundary(test::Mesh::FaceHandle(0), false));
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(*fan), 1u);
}

TEST(MeshCounts, SelectionComesFromVerticesNotFromTheFaceBit)
{
    auto mesh = test::makeGrid(1, 1);                       // faces (0,1,3) and (0,3,2)
    mesh->status(*mesh->faces_begin()).set_selected(true);  // face bit alone: not selected
    EXPECT_EQ(OpenMeshUtility::GetSelectedFaceCount(*mesh), 0u);
    mesh->status(OpenMesh::VertexHandle(1)).set_selected(true);  // only in the first face
    EXPECT_EQ(OpenMeshUtility::GetSelectedFaceCount(*mesh), 1u);
    mesh->status(OpenMesh::VertexHandle(0)).set_selected(true);  // in both
    EXPECT_EQ(OpenMeshUtility::GetSelectedFaceCount(*mesh), 2u);
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryAndSelectedFaceCount(*mesh), 0u);  // both on the border
}

TEST(MeshPath, SecondValueWinsAndNullMeshFails)
{
    test::Mesh mesh;
    EXPECT_EQ(OpenMeshUtility::GetMeshPath(&mesh), L"");
    EXPECT_TRUE(OpenMeshUtility::SetMeshPath(&mesh, L"a.obj"));
    EXPECT_TRUE(OpenMeshUtility::SetMeshPath(&mesh, L"b.obj"));
    EXPECT_EQ(OpenMeshUtility::GetMeshPath(&mesh), L"b.obj");
    EXPECT_FALSE(OpenMeshUtility::SetMeshPath(nullptr, L"c.obj"));
    EXPECT_EQ(OpenMeshUtility::GetMeshPath(nullptr), L"");
    test::Mesh copy(mesh);
    EXPECT_EQ(OpenMeshUtility::GetMeshPath(&copy), L"b.obj");
}
