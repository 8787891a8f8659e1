#include "common/Node.h"
#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>

#include <algorithm>
#include <map>

using Quelm::Objects::Index32;
using Quelm::Objects::Model;
using Quelm::Objects::Node;
using Quelm::Objects::RawMaterial;
using Quelm::Objects::RawMesh;
using Quelm::Objects::Vector2;
using Quelm::Objects::Vector3;
using Quelm::Topology::OpenMeshUtility;
using Quelm::Topology::TextureMapping;

namespace
{

using V3 = Vector3<float>;
using V2 = Vector2<float>;

// A raw quad (0,0)-(1,1) in z = 0 as two triangles over four positions, shifted by `x`.
RawMesh rawQuad(float x = 0.0f, bool withTexCoords = false)
{
    RawMesh raw(Index32);
    const V3 p[4] = {{x, 0, 0}, {x + 1, 0, 0}, {x + 1, 1, 0}, {x, 1, 0}};
    for (int i = 0; i < 4; ++i)
    {
        raw.pushBackPosition(p[i]);
        if (withTexCoords)
            raw.pushBackTextureCoord(V2(p[i].x, p[i].y));
    }
    for (uint32_t i : {0u, 1u, 2u, 0u, 2u, 3u})
        raw.pushBackIndex(i);
    return raw;
}

RawMaterial material(const wchar_t* name, const wchar_t* texture)
{
    RawMaterial m;
    m.materialName(name);
    m.textureTag(texture);
    return m;
}

std::shared_ptr<Node> node(const wchar_t* name, const RawMesh& raw, uint16_t type = 15)
{
    auto n = std::make_shared<Node>(Index32, type);
    n->setName(name);
    n->rawMesh() = raw;
    return n;
}

// A model of `count` nodes "m<i>", each a quad `spacing` apart with a material "m<i>" of texture
// "t<i>.png".
std::shared_ptr<Model> modelOfQuads(int count, float spacing, bool withTexCoords)
{
    auto model = std::make_shared<Model>();
    for (int i = 0; i < count; ++i)
    {
        const std::wstring name = L"m" + std::to_wstring(i), tex = L"t" + std::to_wstring(i) + L".png";
        model->materials().push_back(material(name.c_str(), tex.c_str()));
        model->children().push_back(node(name.c_str(), rawQuad(spacing * float(i), withTexCoords)));
    }
    return model;
}

// Nodes of a model by name (their order is not deterministic).
std::map<std::wstring, const Node*> nodesByName(const Model& model)
{
    std::map<std::wstring, const Node*> out;
    for (const auto& child : model.children())
    {
        const auto* n = dynamic_cast<const Node*>(child.get());
        out[n->name()] = n;
    }
    return out;
}

}  // namespace

TEST(AddRawMesh, RefusesNullAndInvalidInput)
{
    test::Mesh mesh;
    RawMesh raw = rawQuad();
    EXPECT_FALSE(OpenMeshUtility::AddRawMesh(nullptr, &raw, nullptr, nullptr, nullptr));
    EXPECT_FALSE(OpenMeshUtility::AddRawMesh(&mesh, nullptr, nullptr, nullptr, nullptr));
    raw.pushBackIndex(7);  // out of range, and no longer a whole number of triangles
    EXPECT_FALSE(OpenMeshUtility::AddRawMesh(&mesh, &raw, nullptr, nullptr, nullptr));
    EXPECT_EQ(mesh.n_vertices(), 0u);
}

// Normals and tangent frames take no part in welding: of two welded raw vertices the first wins.
TEST(AddRawMesh, WeldsByPositionAndTexCoordAndKeepsTheFirstNormalAndTangentFrame)
{
    RawMesh raw(Index32);
    // 0 and 1: same position and texcoord, different normals -> one vertex.
    // 2 and 3: same position, different texcoords -> a seam, two vertices.
    const V3 p[6] = {{0, 0, 0}, {0, 0, 0}, {1, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
    const V2 t[6] = {{0, 0}, {0, 0}, {1, 0}, {0.5f, 0}, {0, 1}, {1, 1}};
    for (int i = 0; i < 6; ++i)
    {
        raw.pushBackPosition(p[i]);
        raw.pushBackTextureCoord(t[i]);
        raw.pushBackNormal(V3(0, 0, float(i + 1)));
        raw.pushBackTangent(V3(1, 0, float(i)));
        raw.pushBackBitangent(V3(0, 1, float(i)));
    }
    for (uint32_t i : {0u, 2u, 4u, 1u, 3u, 5u})
        raw.pushBackIndex(i);
    test::Mesh mesh;
    ASSERT_TRUE(OpenMeshUtility::AddRawMesh(&mesh, &raw, nullptr, nullptr, nullptr));
    EXPECT_EQ(mesh.n_vertices(), 5u);
    EXPECT_EQ(mesh.n_faces(), 2u);
    EXPECT_EQ(mesh.normal(OpenMesh::VertexHandle(0)), OpenMesh::Vec3f(0, 0, 1));
    // texture coordinates are stored as given; only the welding key flips v
    EXPECT_EQ(mesh.texcoord2D(OpenMesh::VertexHandle(3)), OpenMesh::Vec2f(0, 1));  // raw 4
    EXPECT_FALSE(mesh.has_face_texture_index());                                   // no material given

    // a second call reuses the tangent properties; vertex 0 is raw 0 (not raw 1), vertex 8 raw 4 of call 2
    ASSERT_TRUE(OpenMeshUtility::AddRawMesh(&mesh, &raw, nullptr, nullptr, nullptr));
    OpenMesh::VPropHandleT<OpenMesh::Vec3f> tangents, bitangents;
    ASSERT_TRUE(mesh.get_property_handle(tangents, "v:tangents"));
    ASSERT_TRUE(mesh.get_property_handle(bitangents, "v:bitangents"));
    EXPECT_EQ(tangents, mesh.tangentHandle);
    EXPECT_EQ(bitangents, mesh.bitangentHandle);
    EXPECT_EQ(mesh.property(tangents, OpenMesh::VertexHandle(0)), OpenMesh::Vec3f(1, 0, 0));
    EXPECT_EQ(mesh.property(bitangents, OpenMesh::VertexHandle(8)), OpenMesh::Vec3f(0, 1, 4));
}

TEST(AddRawMesh, DropsTrianglesWithRepeatedOrWeldedCorners)
{
    RawMesh raw = rawQuad();
    raw.pushBackPosition(V3(1, 0, 0));  // 4 welds to 1
    for (uint32_t i : {0u, 0u, 2u, 1u, 4u, 2u})
        raw.pushBackIndex(i);
    test::Mesh mesh;
    ASSERT_TRUE(OpenMeshUtility::AddRawMesh(&mesh, &raw, nullptr, nullptr, nullptr));
    EXPECT_EQ(mesh.n_vertices(), 4u);
    EXPECT_EQ(mesh.n_faces(), 2u);
    for (auto vh : mesh.vertices())  // no raw normals: zero, never uninitialised
        EXPECT_EQ(mesh.normal(vh), OpenMesh::Vec3f(0, 0, 0));
}

TEST(AddRawMesh, GivesMaterialsIndicesInOrderOfFirstAppearance)
{
    test::Mesh mesh;
    RawMaterial wood = material(L"wood", L"wood.png");
    RawMaterial stone = material(L"stone", L"");
    RawMesh a = rawQuad(0), b = rawQuad(5), c = rawQuad(10);
    ASSERT_TRUE(OpenMeshUtility::AddRawMesh(&mesh, &a, nullptr, nullptr, &wood));
    ASSERT_TRUE(OpenMeshUtility::AddRawMesh(&mesh, &b, nullptr, nullptr, &stone));
    ASSERT_TRUE(OpenMeshUtility::AddRawMesh(&mesh, &c, nullptr, nullptr, &wood));
    EXPECT_EQ(mesh.materialIndexMap.at("wood"), 0);
    EXPECT_EQ(mesh.materialIndexMap.at("stone"), 1);
    OpenMesh::MPropHandleT<TextureMapping> mapping;
    ASSERT_TRUE(mesh.get_property_handle(mapping, "TextureMapping"));
    EXPECT_EQ(mesh.property(mapping), (TextureMapping{{0, "wood.png"}, {1, ""}}));
    ASSERT_TRUE(mesh.has_face_texture_index());
    const int expected[6] = {0, 0, 1, 1, 0, 0};
    for (int f = 0; f < 6; ++f)
        EXPECT_EQ(mesh.texture_index(OpenMesh::FaceHandle(f)), expected[f]) << f;
}

TEST(AddRawMesh, CallersWeldMapSeedsButIsNotUpdated)
{
    test::Mesh mesh;
    const auto shared = mesh.add_vertex({1, 0, 0});
    OpenMeshUtility::WeldMap seed;
    seed[Quelm::Objects::oxmvertex(V3(1, 0, 0), V2(), 0)] = shared;
    RawMesh raw = rawQuad();
    ASSERT_TRUE(OpenMeshUtility::AddRawMesh(&mesh, &raw, &seed, nullptr, nullptr));
    EXPECT_EQ(mesh.n_vertices(), 4u);  // (1,0,0) reused the seeded vertex
    EXPECT_EQ(seed.size(), 1u);
    EXPECT_EQ(mesh.n_faces(), 2u);

    // a seeded handle that does not exist in the mesh never reaches add_face
    OpenMeshUtility::WeldMap bogus;
    bogus[Quelm::Objects::oxmvertex(V3(0, 0, 0), V2(), 0)] = OpenMesh::VertexHandle(1000);
    test::Mesh other;
    ASSERT_TRUE(OpenMeshUtility::AddRawMesh(&other, &raw, &bogus, nullptr, nullptr));
    EXPECT_EQ(other.n_faces(), 0u);
}

TEST(FromModel, WeldsWithinNodesButNotAcrossThem)
{
    auto model = std::make_shared<Model>();
    model->children().push_back(node(L"Material_0", rawQuad(0)));
    model->children().push_back(node(L"Material_1", rawQuad(1)));   // shares the edge x = 1
    model->children().push_back(node(L"ignored", rawQuad(7), 14));  // type below 15
    auto mesh = OpenMeshUtility::fromModel(model);
    ASSERT_TRUE(mesh);
    EXPECT_EQ(mesh->n_vertices(), 8u);  // the shared border is doubled
    EXPECT_EQ(mesh->n_faces(), 4u);
    EXPECT_EQ(OpenMeshUtility::GetConnectedVertexComponents(mesh.get()).size(), 2u);
    EXPECT_FALSE(mesh->has_face_texture_index());  // no materials in the model

    EXPECT_FALSE(OpenMeshUtility::fromModel(nullptr));
    auto empty = OpenMeshUtility::fromModel(std::make_shared<Model>());
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->n_vertices(), 0u);
}

TEST(FromModel, FindsMaterialsByNodeNameAndUnnamedOnesAsDefault)
{
    auto model = std::make_shared<Model>();
    model->materials().push_back(material(L"", L"default.png"));
    model->materials().push_back(material(L"bark", L"bark.png"));
    model->materials().push_back(material(L"bark", L"second.png"));  // the first of a name wins
    model->children().push_back(node(L"bark", rawQuad(0)));
    model->children().push_back(node(L"Default", rawQuad(5)));
    auto mesh = OpenMeshUtility::fromModel(model);
    ASSERT_TRUE(mesh && mesh->has_face_texture_index());
    OpenMesh::MPropHandleT<TextureMapping> mapping;
    ASSERT_TRUE(mesh->get_property_handle(mapping, "TextureMapping"));
    EXPECT_EQ(mesh->property(mapping), (TextureMapping{{0, "bark.png"}, {1, "default.png"}}));
    EXPECT_EQ(mesh->texture_index(OpenMesh::FaceHandle(3)), 1);
}

// An untextured mesh gives one node and one material "Material_0"; fromModel takes it back whole.
TEST(ToModel, UntexturedMeshGivesOneNodeAndOneMaterialAndRoundTrips)
{
    EXPECT_FALSE(OpenMeshUtility::ToModel(nullptr));
    auto mesh = test::makeGrid(3, 2);
    mesh->delete_face(OpenMesh::FaceHandle(0), false);
    OpenMeshUtility::SetMeshPath(mesh.get(), L"/tmp/grid.obj");
    auto model = OpenMeshUtility::ToModel(mesh.get());
    ASSERT_TRUE(model);
    EXPECT_EQ(model->filePath(), L"/tmp/grid.obj");
    ASSERT_EQ(model->numChildren(), 1u);
    ASSERT_EQ(model->materials().size(), 1u);
    EXPECT_STREQ(model->materials()[0].materialName(), L"Material_0");
    EXPECT_STREQ(model->materials()[0].textureTag(), L"");
    const Node& n = *nodesByName(*model).at(L"Material_0");
    EXPECT_EQ(n.type(), 15);
    EXPECT_EQ(n.rawMesh().indicesSize(), 3u * 11u);  // the deleted face is skipped
    EXPECT_EQ(n.rawMesh().positionsSize(), 12u);
    EXPECT_EQ(n.rawMesh().normalsSize(), 12u);  // vertex normals always exist
    EXPECT_EQ(n.rawMesh().textureCoordsSize(), 0u);
    EXPECT_EQ(model->boundingBox().getMax().x, 3.0);
    EXPECT_EQ(model->cubicBoundingBox().getMax().y - model->cubicBoundingBox().getMin().y, 3.0);

    auto back = OpenMeshUtility::fromModel(model);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->n_vertices(), 12u);
    EXPECT_EQ(back->n_faces(), 11u);
    EXPECT_EQ(OpenMeshUtility::calcSurfaceArea(*back), OpenMeshUtility::calcSurfaceArea(*mesh));
    EXPECT_FALSE(OpenMeshUtility::HasNonManifoldVertices(*back));
}

TEST(ToModel, TexturedMeshGivesOneNodePerTextureIndex)
{
    auto model = std::make_shared<Model>();
    model->materials().push_back(material(L"a", L"a.png"));
    model->materials().push_back(material(L"b", L""));
    model->children().push_back(node(L"a", rawQuad(0, true)));
    model->children().push_back(node(L"b", rawQuad(3, true)));
    model->children().push_back(node(L"a", rawQuad(6, true)));
    auto mesh = OpenMeshUtility::fromModel(model);
    auto back = OpenMeshUtility::ToModel(mesh.get());
    ASSERT_TRUE(back);
    ASSERT_EQ(back->materials().size(), 2u);
    const RawMaterial& m0 = back->materials()[0];
    const RawMaterial& m1 = back->materials()[1];
    EXPECT_STREQ(m0.materialName(), L"Material_0");
    EXPECT_STREQ(m0.textureTag(), L"a.png");
    EXPECT_EQ(m0.firstColor(), Quelm::Objects::Color3(1, 1, 1));
    EXPECT_EQ(m0.thirdColor(), Quelm::Objects::Color3(0, 0, 0));
    EXPECT_STREQ(m1.materialName(), L"Material_1");
    EXPECT_EQ(m1.secondColor(), Quelm::Objects::Color3(0.5f, 0.5f, 0.5f));  // empty file name

    const auto nodes = nodesByName(*back);
    ASSERT_EQ(nodes.size(), 2u);
    const RawMesh& r0 = nodes.at(L"Material_0")->rawMesh();
    EXPECT_EQ(r0.indicesSize(), 12u);
    EXPECT_EQ(r0.positionsSize(), 8u);
    EXPECT_EQ(r0.textureCoordsSize(), 8u);
    EXPECT_EQ(nodes.at(L"Material_1")->rawMesh().indicesSize(), 6u);
    EXPECT_EQ(back->boundingBox().getMax().x, 7.0);
}

TEST(ToModel, MoreThan256MaterialsWrapToEightBits)
{
    auto mesh = OpenMeshUtility::fromModel(modelOfQuads(257, 2.0f, false));
    EXPECT_EQ(mesh->materialIndexMap.at("m256"), 256);  // the map itself keeps the full index
    auto back = OpenMeshUtility::ToModel(mesh.get());
    ASSERT_EQ(back->materials().size(), 256u);
    EXPECT_STREQ(back->materials()[0].textureTag(), L"t256.png");  // 256 overwrote 0
    const auto nodes = nodesByName(*back);
    ASSERT_EQ(nodes.size(), 256u);
    EXPECT_EQ(nodes.at(L"Material_0")->rawMesh().indicesSize(), 12u);  // faces of 0 and 256
    EXPECT_EQ(nodes.at(L"Material_255")->rawMesh().indicesSize(), 6u);
}

TEST(ToModel, NodesAreTheSameWithOneThreadAndWithMany)
{
    auto mesh = OpenMeshUtility::fromModel(modelOfQuads(12, 1.0f, true));
    std::shared_ptr<Model> serial;
    {
        tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
        serial = OpenMeshUtility::ToModel(mesh.get());
    }
    auto parallel = OpenMeshUtility::ToModel(mesh.get());
    const auto a = nodesByName(*serial), b = nodesByName(*parallel);
    ASSERT_EQ(a.size(), 12u);
    ASSERT_EQ(b.size(), 12u);
    for (const auto& [name, n] : a)
    {
        EXPECT_EQ(n->rawMesh().indices(), b.at(name)->rawMesh().indices());
        EXPECT_EQ(n->rawMesh().positions(), b.at(name)->rawMesh().positions());
    }
}

TEST(CreateRawMeshFromFaces, WeldsInOrderOfFirstMeetingAndAppends)
{
    auto mesh = test::makeGrid(2, 1);  // vertices 0..5; faces (0,1,4) (0,4,3) (1,2,5) (1,5,4)
    mesh->request_vertex_colors();
    for (auto vh : mesh->vertices())
        mesh->set_color(vh, OpenMesh::Vec3uc(0, 0, 0));
    mesh->set_color(OpenMesh::VertexHandle(5), OpenMesh::Vec3uc(10, 20, 30));
    const std::vector<OpenMesh::FaceHandle> faces{OpenMesh::FaceHandle(3), OpenMesh::FaceHandle(1)};
    EXPECT_FALSE(OpenMeshUtility::CreateRawMeshFromFaces(nullptr, faces, nullptr));
    EXPECT_EQ(OpenMeshUtility::CreateRawMeshFromFaces(mesh.get(), {}), nullptr);

    std::unique_ptr<RawMesh> raw(OpenMeshUtility::CreateRawMeshFromFaces(mesh.get(), faces));
    ASSERT_TRUE(raw);
    ASSERT_EQ(raw->indicesSize(), 6u);
    EXPECT_EQ(raw->positionsSize(), 5u);  // vertex 4 is shared
    EXPECT_EQ(raw->vertexColorsSize(), 5u);
    // Face 3's corners, in circulation order from its halfedge, become raw vertices 0, 1, 2.
    auto fv = mesh->cfv_iter(OpenMesh::FaceHandle(3));
    for (uint32_t i = 0; i < 3; ++i, ++fv)
    {
        EXPECT_EQ(raw->indexAt(i), i);
        const auto& p = mesh->point(*fv);
        EXPECT_EQ(raw->positionAt(i), V3(p[0], p[1], p[2]));
        EXPECT_EQ(raw->vertexColorAt(i),
                  fv->idx() == 5 ? 0xFF0A141Eu : 0xFF000000u);  // alpha, red, green, blue
    }

    // a second call appends, numbering from the raw mesh's current size
    ASSERT_TRUE(OpenMeshUtility::CreateRawMeshFromFaces(mesh.get(), {OpenMesh::FaceHandle(0)}, raw.get()));
    EXPECT_EQ(raw->indicesSize(), 9u);
    EXPECT_EQ(raw->positionsSize(), 8u);
    EXPECT_GE(raw->indexAt(6), 5u);
}

TEST(CreateRawMeshFromFaces, KeepsUVSeamsAndSkipsHandlesOutsideTheMesh)
{
    // vertices 0 and 3 share a position but not a texcoord
    auto mesh =
        test::makeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 0}, {0, -1, 0}}, {{0, 1, 2}, {3, 4, 1}});
    mesh->request_vertex_texcoords2D();
    for (auto vh : mesh->vertices())
        mesh->set_texcoord2D(vh, {0, 0});
    mesh->set_texcoord2D(OpenMesh::VertexHandle(3), {0.5f, 0.5f});
    std::unique_ptr<RawMesh> raw(OpenMeshUtility::CreateRawMeshFromFaces(
        mesh.get(), {OpenMesh::FaceHandle(0), OpenMesh::FaceHandle(99), OpenMesh::FaceHandle(1)}));
    ASSERT_TRUE(raw);
    EXPECT_EQ(raw->indicesSize(), 6u);
    EXPECT_EQ(raw->positionsSize(), 5u);  // the seam stays
    EXPECT_EQ(raw->textureCoordsSize(), 5u);
}
