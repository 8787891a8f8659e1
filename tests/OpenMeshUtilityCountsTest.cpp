#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

using Quelm::Topology::OpenMeshUtility;

TEST(MeshCounts, EmptyMeshCountsNothing)
{
    test::Mesh mesh;
    EXPECT_EQ(OpenMeshUtility::GetVertexCount(mesh), 0u);
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(mesh), 0u);
    EXPECT_EQ(OpenMeshUtility::GetSelectedFaceCount(mesh), 0u);
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(mesh), 0u);
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryAndSelectedFaceCount(mesh), 0u);
}

TEST(MeshCounts, DeletedFacesAreNotCountedBeforeGarbageCollection)
{
    auto mesh = test::makeGrid(3, 3);
    mesh->delete_face(*mesh->faces_begin(), false);
    EXPECT_EQ(mesh->n_faces(), 18u);
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*mesh), 17u);
    EXPECT_EQ(OpenMeshUtility::GetVertexCount(*mesh), 16u);
}

TEST(MeshCounts, BoundaryFacesNeedABoundaryEdge)
{
    auto tet = test::makeTetrahedron();
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(*tet), OpenMeshUtility::GetFaceCount(*tet));

    auto one = test::makeGrid(1, 1);
    one->delete_face(*one->faces_begin(), true);
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(*one), 0u);

    // A 4 x 4 grid has 7 triangles along the bottom and right sides and 7 along the top and left.
    auto grid = test::makeGrid(4, 4);
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(*grid), 32u - 14u);
}

TEST(MeshCounts, FaceWithAllVerticesOnTheBoundaryButNoBoundaryEdgeIsInterior)
{
    // A fan of four triangles around a centre, each outer vertex on the boundary; an inner
    // triangle joining three boundary vertices through interior edges only.
    test::Mesh mesh;
    auto a = mesh.add_vertex({0, 0, 0});
    auto b = mesh.add_vertex({2, 0, 0});
    auto c = mesh.add_vertex({1, 2, 0});
    auto p = mesh.add_vertex({1, -1, 0});
    auto q = mesh.add_vertex({2.5f, 1.5f, 0});
    auto r = mesh.add_vertex({-0.5f, 1.5f, 0});
    auto inner = mesh.add_face(a, b, c);
    mesh.add_face(a, p, b);
    mesh.add_face(b, q, c);
    mesh.add_face(c, r, a);
    EXPECT_FALSE(mesh.is_boundary(inner, false));
    EXPECT_EQ(OpenMeshUtility::GetNonBoundaryFaceCount(mesh), 1u);
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
