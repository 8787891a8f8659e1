#include "tools/MeshGenerators.h"

#include "support/DecimationMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

namespace
{

using Quelm::Tools::makeGeodesicSphere;
using Quelm::Tools::makeTerrain;
using Quelm::Tools::TerrainOptions;
using Mesh = Quelm::Topology::TopologyMesh;
using Quelm::Topology::OpenMeshUtility;

size_t countBoundaryLoops(const Mesh& mesh)
{
    std::vector<char> seen(mesh.n_halfedges(), 0);
    size_t loops = 0;
    for (auto heh : mesh.halfedges())
    {
        if (!mesh.is_boundary(heh) || seen[size_t(heh.idx())])
            continue;
        ++loops;
        for (auto h = heh; !seen[size_t(h.idx())]; h = mesh.next_halfedge_handle(h))
            seen[size_t(h.idx())] = 1;
    }
    return loops;
}

// Connected pieces of the mesh (the generators leave no isolated vertex, checked below).
size_t countComponents(const Mesh& mesh)
{
    return OpenMeshUtility::GetConnectedVertexComponents(&mesh).size();
}

TEST(GeodesicSphere, HasExactlyTwentyNSquaredFacesNearestTheRequest)
{
    EXPECT_EQ(makeGeodesicSphere(2000)->n_faces(), 2000u);  // n = 10
    EXPECT_EQ(makeGeodesicSphere(1)->n_faces(), 20u);       // never below the icosahedron
    EXPECT_EQ(makeGeodesicSphere(2100)->n_faces(), 2000u);
    EXPECT_EQ(makeGeodesicSphere(2300)->n_faces(), 2420u);  // n = 11 is nearer
}

TEST(GeodesicSphere, IsAClosedConnectedManifoldOnTheSphereFacingOutward)
{
    for (size_t faces : {20u, 80u, 180u, 2000u})
    {
        const auto mesh = makeGeodesicSphere(faces, 2.5f);
        const auto v = long(mesh->n_vertices()), e = long(mesh->n_edges()), f = long(mesh->n_faces());
        EXPECT_EQ(v - e + f, 2) << faces;  // shared edge points are numbered once
        EXPECT_EQ(countBoundaryLoops(*mesh), 0u) << faces;
        EXPECT_EQ(countComponents(*mesh), 1u) << faces;
        EXPECT_FALSE(OpenMeshUtility::HasNonManifoldVertices(*mesh)) << faces;
        for (auto vh : mesh->vertices())
            EXPECT_NEAR(mesh->point(vh).norm(), 2.5f, 1e-5f) << faces;
        for (auto fh : mesh->faces())
        {
            auto it = mesh->cfv_iter(fh);
            const auto a = mesh->point(*it), b = mesh->point(*++it), c = mesh->point(*++it);
            EXPECT_GT(((b - a) % (c - a)) | (a + b + c), 0.0f) << faces;
        }
    }
}

TEST(Terrain, HasAboutTheRequestedFaceCount)
{
    for (size_t faces : {2000u, 20000u, 200000u})
    {
        const auto mesh = makeTerrain(faces);
        EXPECT_NEAR(double(mesh->n_faces()), double(faces), 0.02 * double(faces)) << faces;
        size_t flipped = 0;  // counter-clockwise seen from above, never degenerate
        for (auto fh : mesh->faces())
        {
            auto it = mesh->cfv_iter(fh);
            const auto a = mesh->point(*it), b = mesh->point(*++it), c = mesh->point(*++it);
            flipped += ((b - a) % (c - a))[2] <= 0.0f;
        }
        EXPECT_EQ(flipped, 0u) << faces;
    }
    EXPECT_EQ(makeTerrain(1)->n_faces(), 2u);  // one cell, one chart
}

TEST(Terrain, ChartsAreSeparatePatchesWithOwnTextures)
{
    const auto mesh = makeTerrain(20000);  // 100 x 100 cells, 3 x 3 charts, 2 holes
    ASSERT_TRUE(mesh->has_vertex_texcoords2D());
    ASSERT_TRUE(mesh->has_face_texture_index());
    OpenMesh::MPropHandleT<Quelm::Topology::TextureMapping> mapping;
    ASSERT_TRUE(mesh->get_property_handle(mapping, "TextureMapping"));
    EXPECT_EQ(mesh->property(mapping).size(), 9u);
    EXPECT_EQ(mesh->property(mapping).at(4), "texture_4.png");
    EXPECT_EQ(mesh->materialIndexMap.at("Material_8"), 8);

    EXPECT_EQ(countComponents(*mesh), 9u);
    EXPECT_EQ(countBoundaryLoops(*mesh), 9u + 2u);  // one per chart, one per hole
    EXPECT_FALSE(OpenMeshUtility::HasNonManifoldVertices(*mesh));
    for (auto vh : mesh->vertices())
        EXPECT_FALSE(mesh->is_isolated(vh));  // hole interiors get no vertices

    std::set<int> textures;
    for (auto fh : mesh->faces())
    {
        const int texture = mesh->texture_index(fh);
        textures.insert(texture);
        for (auto vh : mesh->fv_range(fh))
        {
            const auto uv = mesh->texcoord2D(vh);
            EXPECT_TRUE(uv[0] >= 0 && uv[0] <= 1 && uv[1] >= 0 && uv[1] <= 1);
        }
        // every face of a component carries the same texture index
        for (auto other : mesh->ff_range(fh))
            EXPECT_EQ(mesh->texture_index(other), texture);
    }
    EXPECT_EQ(textures.size(), 9u);
}

TEST(Terrain, IsDeterministicPerSeed)
{
    TerrainOptions other;
    other.seed = 2;
    EXPECT_EQ(test::points(*makeTerrain(5000)), test::points(*makeTerrain(5000)));
    EXPECT_NE(test::points(*makeTerrain(5000)), test::points(*makeTerrain(5000, other)));
}

TEST(Terrain, SmallGridsUseFewerChartsAndNoHoles)
{
    TerrainOptions options;
    options.chartsPerSide = 5;
    const auto mesh = makeTerrain(8, options);  // 2 x 2 cells
    EXPECT_EQ(mesh->n_faces(), 8u);
    EXPECT_EQ(countComponents(*mesh), 4u);  // at most one chart per cell
    EXPECT_EQ(countBoundaryLoops(*mesh), 4u);
}

}  // namespace
