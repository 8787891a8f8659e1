#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>

#include <cfloat>

using Quelm::Objects::Matrix4;
using Quelm::Topology::OpenMeshUtility;

// Normals go through TransformVector: a translation leaves them, a non-uniform scale stretches them
// and nothing renormalises. Deleted vertices are left where they are.
TEST(TransformMesh, MovesLiveVerticesAndTransformsNormalsWithoutTranslationOrRenormalising)
{
    auto mesh = test::makeGrid(2, 2);
    mesh->request_face_normals();  // vertex normals are summed from face normals
    mesh->update_normals();
    const OpenMesh::Vec3f normalBefore = mesh->normal(OpenMesh::VertexHandle(4));
    mesh->delete_vertex(OpenMesh::VertexHandle(0), false);
    OpenMeshUtility::TransformMesh(*mesh, Matrix4<float>::translation(1, 2, 3));
    EXPECT_EQ(mesh->point(OpenMesh::VertexHandle(4)), OpenMesh::Vec3f(2, 3, 3));
    EXPECT_EQ(mesh->point(OpenMesh::VertexHandle(0)), OpenMesh::Vec3f(0, 0, 0));
    EXPECT_EQ(mesh->normal(OpenMesh::VertexHandle(4)), normalBefore);

    auto tet = test::makeTetrahedron();
    tet->request_face_normals();
    tet->update_normals();
    OpenMeshUtility::TransformMesh(*tet, Matrix4<float>::scale(2, 1, 5));
    EXPECT_EQ(tet->point(OpenMesh::VertexHandle(3)), OpenMesh::Vec3f(0, 0, 5));
    EXPECT_GT(std::abs(tet->normal(OpenMesh::VertexHandle(0)).norm() - 1.0f), 0.1f);
}

TEST(FlipUVs, TwiceRestoresEveryCoordinateExactly)
{
    auto plain = test::makeGrid(1, 1);
    OpenMeshUtility::FlipUVs(plain.get());  // no texture coordinates: none are added
    EXPECT_FALSE(plain->has_vertex_texcoords2D());
    OpenMeshUtility::FlipUVs(nullptr);

    auto mesh = test::makeGrid(70, 70);  // several parallel chunks
    mesh->request_vertex_texcoords2D();
    for (auto vh : mesh->vertices())
        mesh->set_texcoord2D(vh, {0.1f * float(vh.idx() % 7), 0.013f * float(vh.idx() % 77)});
    mesh->delete_vertex(OpenMesh::VertexHandle(5), false);  // flipped like any other
    const test::Mesh before = *mesh;
    const OpenMesh::Vec2f uv5 = before.texcoord2D(OpenMesh::VertexHandle(5));
    OpenMeshUtility::FlipUVs(mesh.get());
    EXPECT_EQ(mesh->texcoord2D(OpenMesh::VertexHandle(5)), OpenMesh::Vec2f(uv5[0], 1.0f - uv5[1]));
    OpenMeshUtility::FlipUVs(mesh.get());
    for (auto vh : mesh->all_vertices())  // 1 - (1 - v): v itself, exactly, wherever 1 - v does not round
    {
        const OpenMesh::Vec2f uv = before.texcoord2D(vh);
        EXPECT_EQ(mesh->texcoord2D(vh), OpenMesh::Vec2f(uv[0], 1.0f - (1.0f - uv[1]))) << vh.idx();
    }
}

TEST(BoundingBox, EmptyOrNullMeshGivesTheInvertedLargestFiniteBox)
{
    test::Mesh empty;
    for (const test::Mesh* mesh : {&empty, static_cast<test::Mesh*>(nullptr)})
    {
        const auto box = OpenMeshUtility::ComputeBoundingBox(mesh);
        EXPECT_EQ(box.getMin().x, 3.4028235e38f);
        EXPECT_EQ(box.getMin().z, FLT_MAX);
        EXPECT_EQ(box.getMax().y, -3.4028235e38f);
    }
}

TEST(BoundingBox, SkipsDeletedVerticesAndAgreesAcrossThreadCounts)
{
    auto mesh = test::makeGrid(150, 100, 0.5f);  // 15251 vertices
    mesh->point(OpenMesh::VertexHandle(100)) = {-7, 0, 9};
    mesh->point(OpenMesh::VertexHandle(12000)) = {1000, 1000, 1000};
    mesh->delete_vertex(OpenMesh::VertexHandle(12000), false);
    const auto many = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    EXPECT_EQ(many.getMin().x, -7.0f);
    EXPECT_EQ(many.getMax().x, 75.0f);
    EXPECT_EQ(many.getMax().y, 50.0f);
    EXPECT_EQ(many.getMax().z, 9.0f);
    EXPECT_EQ(many.getMin().z, 0.0f);

    tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
    const auto single = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    EXPECT_EQ(single.getMin(), many.getMin());
    EXPECT_EQ(single.getMax(), many.getMax());
}

TEST(SurfaceArea, SumsLiveFacesOverEveryChunk)
{
    auto tri = test::makeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
    EXPECT_EQ(OpenMeshUtility::calcSurfaceArea(*tri), 0.5);
    tri->delete_face(OpenMesh::FaceHandle(0), false);
    EXPECT_EQ(OpenMeshUtility::calcSurfaceArea(*tri), 0.0);
    EXPECT_EQ(OpenMeshUtility::calcSurfaceArea(test::Mesh()), 0.0);
    auto grid = test::makeGrid(120, 90);  // 21600 faces of area 0.5: the sum is exact in any order
    EXPECT_EQ(OpenMeshUtility::calcSurfaceArea(*grid), 120.0 * 90.0);
}
