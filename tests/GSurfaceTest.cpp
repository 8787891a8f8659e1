#include "engine/GSurface.h"

#include "engine/Material.h"
#include "support/EngineMeshes.h"

#include <gtest/gtest.h>

using namespace test;
using vsk::GSurface;
using vsk::UVLayerMesh;
using vsk::Vector2f;

namespace
{

// Counts destructions, to see who deletes a surface's mesh.
struct CountedMesh : VFTriangleMesh
{
    explicit CountedMesh(int* deaths) : deaths_(deaths) {}
    ~CountedMesh() override { ++*deaths_; }
    int* deaths_;
};

}  // namespace

TEST(UVLayer, SetTriangleCreatesExactlyThatIdAndCountsUVReferences)
{
    UVLayerMesh layer;
    const unsigned a = layer.AppendUV(Vector2f(0, 0));
    const unsigned b = layer.AppendUV(Vector2f(1, 0));
    const unsigned c = layer.AppendUV(Vector2f(0, 1));
    ASSERT_TRUE(layer.SetTriangle(5, a, b, c, 3));
    EXPECT_EQ(layer.GetMaxTriangleID(), 6u);
    EXPECT_EQ(layer.GetTriangleCount(), 1u);
    EXPECT_FALSE(layer.IsTriangle(4));
    EXPECT_EQ(layer.GetTriangleGroup(5), 3u);
    Index3i tri;
    layer.GetTriangle(5, tri);
    EXPECT_EQ(tri, Index3i(a, b, c));
    EXPECT_FALSE(layer.SetTriangle(6, a, b, 77));  // a UV vertex that does not exist
    EXPECT_FALSE(layer.IsTriangle(6));
    EXPECT_FALSE(layer.SetTriangle(IMesh::InvalidID - 1, a, b, c));  // a garbage ID allocates nothing
    EXPECT_EQ(layer.GetMaxTriangleID(), 6u);
    ASSERT_TRUE(layer.SetTriangle(5, c, b, a));  // replaces, counts stay balanced
    EXPECT_EQ(layer.GetTriangleCount(a), 1u);
    EXPECT_EQ(layer.GetTriangleGroup(5), 0u);

    Vector2f uv;
    EXPECT_FALSE(layer.GetUV(IMesh::InvalidID, uv));
    EXPECT_FALSE(layer.RemoveUV(a));  // still used
    layer.RemoveTriangle(5);
    EXPECT_EQ(layer.GetTriangleCount(a), 0u);
    EXPECT_TRUE(layer.RemoveUV(a));
    EXPECT_FALSE(layer.IsVertex(a));

    AssertCapture capture;
    layer.RemoveTriangle(5);
    EXPECT_EQ(layer.GetTriangle(IMesh::InvalidID)[0], IMesh::InvalidID);
    EXPECT_EQ(capture.count(), 2u);
}

TEST(Surface, OwnsItsMeshOnlyWhenAsked)
{
    int deaths = 0;
    {
        GSurface owner(new CountedMesh(&deaths), new vsk::SurfaceAuxiliary, true);
        EXPECT_TRUE(owner.OwnsMesh());
    }
    EXPECT_EQ(deaths, 1);
    CountedMesh borrowed(&deaths);
    {
        GSurface user(&borrowed, nullptr, false);
        EXPECT_EQ(user.GetMesh(), &borrowed);
    }
    EXPECT_EQ(deaths, 1);
}

// Layer entries may be null and stay so in a copy; an index past the end gives null.
TEST(Surface, CopyOwnsDeepCopiesOfMeshAndLayersAndSharesMaterials)
{
    GSurface surface(makeEngineGrid(1, 1).release(), new vsk::SurfaceAuxiliary, true);
    EXPECT_EQ(surface.GetUVLayer(0), nullptr);
    surface.AddUVLayer(nullptr);
    UVLayerMesh* layer = surface.AddUVLayer();
    layer->AppendUV(Vector2f(0.5f, 0.5f));
    auto material = std::make_shared<vsk::Material>("skin");
    surface.GetMaterialSet().SetMaterial(2, material);
    EXPECT_EQ(surface.GetUVLayer(1), layer);

    GSurface copy(surface);
    ASSERT_NE(copy.GetMesh(), surface.GetMesh());
    copy.GetMesh()->RemoveTriangle(0);
    EXPECT_TRUE(surface.GetMesh()->IsTriangle(0));
    EXPECT_TRUE(isConsistent(*copy.GetMesh()));
    EXPECT_EQ(copy.GetUVLayerCount(), 2u);
    EXPECT_EQ(copy.GetUVLayer(0), nullptr);
    ASSERT_NE(copy.GetUVLayer(1), layer);
    EXPECT_EQ(copy.GetUVLayer(1)->GetVertexCount(), 1u);
    EXPECT_EQ(copy.GetUVLayer(2), nullptr);
    EXPECT_EQ(copy.GetMaterialSet().FindMaterial(2), material.get());
    EXPECT_EQ(copy.GetMaterialSet().FindMaterial(3), nullptr);
    copy = surface;  // assignment replaces the copy's own mesh
    EXPECT_TRUE(copy.GetMesh()->IsTriangle(0));
}

TEST(MeshAttributeSets, CreatedAndFoundByIndexAndReadZeroWhereUnset)
{
    VFTriangleMesh mesh;
    EXPECT_EQ(mesh.GetScalarSet(0), nullptr);
    const unsigned s = mesh.AppendScalarSet();
    const unsigned u = mesh.AppendUVSet();
    mesh.GetScalarSet(s)->Set(4, 2.5f);
    mesh.GetScalarSet(s)->Set(IMesh::InvalidID - 1, 1.0f);  // ignored, allocates nothing
    mesh.GetUVSet(u)->Set(1, Vector2f(0.25f, 0.75f));
    EXPECT_EQ(mesh.GetScalarSet(s)->Get(3), 0.0f);
    EXPECT_EQ(mesh.GetScalarSet(s)->Get(IMesh::InvalidID), 0.0f);
    EXPECT_EQ(mesh.GetScalarSet(s)->Size(), 5u);
    EXPECT_EQ(mesh.GetUVSet(u)->Get(1), Vector2f(0.25f, 0.75f));
    VFTriangleMesh copy(mesh);  // sets travel with the mesh
    EXPECT_EQ(copy.GetScalarSet(s)->Get(4), 2.5f);
}
