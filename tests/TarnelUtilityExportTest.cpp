#include "engine/OxmTnSurface.h"
#include "support/EngineMeshes.h"
#include "tarnel/TarnelUtility.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using Quelm::Objects::RawMesh;
using Quelm::Topology::OxmTnSurface;
using Quelm::Topology::TarnelUtility;
constexpr unsigned kInvalid = vsk::IMesh::InvalidID;

boost::shared_ptr<vsk::GSurface> makeSurface(int nx, int ny)
{
    boost::shared_ptr<OxmTnSurface> surface(new OxmTnSurface);
    test::fillGrid(surface->getMesh(), nx, ny);
    return OxmTnSurface::castUp(surface);
}

TEST(SeparateMeshByGroups, OneGroupPerIdAscendingWithSortedLiveTriangles)
{
    auto surface = makeSurface(2, 2);
    vsk::VFTriangleMesh& mesh = *surface->GetMesh();
    mesh.SetTriangleGroup(1, 7);
    mesh.SetTriangleGroup(6, 7);
    mesh.SetTriangleGroup(3, 2);
    mesh.SetTriangleGroup(4, 7);
    mesh.RemoveTriangle(6);
    const auto groups = TarnelUtility::SeparateMeshByGroups(surface);
    ASSERT_EQ(groups.size(), 3u);
    const std::vector<std::pair<uint32_t, std::vector<uint32_t>>> expected{
        {0, {0, 2, 5, 7}}, {2, {3}}, {7, {1, 4}}};
    for (size_t g = 0; g < expected.size(); ++g)
        EXPECT_EQ(std::make_pair(uint32_t(groups[g].groupID), groups[g].triangles), expected[g]);

    EXPECT_TRUE(TarnelUtility::SeparateMeshByGroups(boost::shared_ptr<vsk::GSurface>()).empty());
    EXPECT_TRUE(TarnelUtility::SeparateMeshByGroups(makeSurface(0, 0)).empty());
}

TEST(CreateRawMeshFromFaces, WritesPositionsNormalsAndIndicesInFirstUseOrderOrFailsOnNoInput)
{
    auto surface = makeSurface(1, 1);  // vertices 0 1 / 2 3; triangles (0,1,3) and (0,3,2)
    surface->GetMesh()->SetNormal(3, vsk::Vector3f(0, 0, 1));
    std::unique_ptr<RawMesh> raw(TarnelUtility::CreateRawMeshFromFaces(surface, {1, kInvalid, 0, 99}));
    ASSERT_TRUE(raw);
    EXPECT_EQ(raw->indexType(), Quelm::Objects::Index32);
    EXPECT_TRUE(raw->isValid());
    // Triangle 1 first: 0 3 2 become raw 0 1 2, then triangle 0 adds vertex 1 as raw 3.
    EXPECT_EQ(raw->indices(), (std::vector<uint32_t>{0, 1, 2, 0, 3, 1}));
    ASSERT_EQ(raw->positionsSize(), 4u);
    EXPECT_EQ(raw->normalsSize(), 4u);
    EXPECT_EQ(raw->textureCoordsSize(), 0u);
    EXPECT_EQ(raw->positionAt(1), Quelm::Objects::Vector3<float>(1, 1, 0));
    EXPECT_EQ(raw->normalAt(1), Quelm::Objects::Vector3<float>(0, 0, 1));
    EXPECT_EQ(raw->positionAt(3), Quelm::Objects::Vector3<float>(1, 0, 0));

    // A null surface, no faces or no output: nothing is written.
    RawMesh out;
    EXPECT_FALSE(TarnelUtility::CreateRawMeshFromFaces(boost::shared_ptr<vsk::GSurface>(), {0}, &out));
    EXPECT_FALSE(TarnelUtility::CreateRawMeshFromFaces(surface, {}, &out));
    EXPECT_FALSE(TarnelUtility::CreateRawMeshFromFaces(surface, {0}, nullptr));
    EXPECT_EQ(TarnelUtility::CreateRawMeshFromFaces(surface, {}), nullptr);
    EXPECT_EQ(TarnelUtility::CreateRawMeshFromFaces(boost::shared_ptr<vsk::GSurface>(), {0}), nullptr);
    EXPECT_EQ(out.positionsSize(), 0u);
}

TEST(CreateRawMeshFromFaces, WeldsEqualPositionsAcrossEngineVertices)
{
    boost::shared_ptr<OxmTnSurface> surface(new OxmTnSurface);
    auto& mesh = surface->getMesh();
    for (int k = 0; k < 7; ++k)  // vertices 3..5 repeat the positions of 0..2
        mesh.AppendVertex(vsk::Vector3f(float(k % 3 == 1 || k == 6), float(k % 3 == 2 || k == 6), 0));
    mesh.AppendTriangle(0, 1, 2);
    mesh.AppendTriangle(4, 6, 5);
    RawMesh raw;
    ASSERT_TRUE(TarnelUtility::CreateRawMeshFromFaces(OxmTnSurface::castUp(surface), {0, 1}, &raw));
    EXPECT_EQ(raw.positionsSize(), 4u);
    EXPECT_EQ(raw.indices(), (std::vector<uint32_t>{0, 1, 2, 1, 3, 2}));
}

TEST(CreateRawMeshFromFaces, TextureSeamsSplitVerticesAndMissingUvsAreZero)
{
    auto surface = makeSurface(2, 1);  // triangles 0 (0,1,4), 1 (0,4,3), 2 (1,2,5), 3 (1,5,4)
    vsk::UVLayerMesh* layer = surface->AddUVLayer();
    std::vector<unsigned> uv;
    for (int k = 0; k < 5; ++k)
        uv.push_back(layer->AppendUV(vsk::Vector2f(0.1f * float(k), 0.5f)));
    layer->SetTriangle(0, uv[0], uv[1], uv[2]);
    layer->SetTriangle(1, uv[3], uv[2], uv[4]);  // vertex 0 has another coordinate here: a seam
    RawMesh raw;
    ASSERT_TRUE(TarnelUtility::CreateRawMeshFromFaces(surface, {0, 1, 2}, &raw));
    EXPECT_TRUE(raw.isValid());
    // 0 1 4 | 0' 4 3 | 1'' 2 5: vertex 0 is split by the seam; triangle 2 (no UVs) reads (0, 0),
    // which splits vertex 1 from its (0.1, 0.5) copy too.
    EXPECT_EQ(raw.indices(), (std::vector<uint32_t>{0, 1, 2, 3, 2, 4, 5, 6, 7}));
    ASSERT_EQ(raw.textureCoordsSize(), 8u);
    EXPECT_FLOAT_EQ(raw.textureCoordAt(3).x, 0.3f);
    EXPECT_EQ(raw.textureCoordAt(5).x, 0.0f);
    EXPECT_EQ(raw.textureCoordAt(5).y, 0.0f);
}

}  // namespace
