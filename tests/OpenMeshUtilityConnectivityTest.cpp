#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

#include <algorithm>

using Quelm::Topology::OpenMeshUtility;

namespace
{

using Components = OpenMeshUtility::VertexComponents;

// Components sorted by their smallest member, so tests do not depend on the unspecified order.
std::vector<std::vector<int>> sorted(const Components& components)
{
    std::vector<std::vector<int>> out;
    for (const auto& set : components)
    {
        std::vector<int> v(set.begin(), set.end());
        std::sort(v.begin(), v.end());
        out.push_back(v);
    }
    std::sort(out.begin(), out.end());
    return out;
}

// Two separate triangles: vertices 0-2 and 3-5, faces 0 and 1.
std::unique_ptr<test::Mesh> makeTwoTriangles()
{
    auto mesh = std::make_unique<test::Mesh>();
    std::vector<test::Mesh::VertexHandle> v;
    for (int i = 0; i < 6; ++i)
        v.push_back(mesh->add_vertex(test::Mesh::Point(float(i % 3), float(i / 3 * 5 + (i % 3 == 2)), 0)));
    mesh->add_face(v[0], v[1], v[2]);
    mesh->add_face(v[3], v[4], v[5]);
    return mesh;
}

}  // namespace

TEST(ConnectedComponents, NullMeshGivesNothing)
{
    EXPECT_TRUE(OpenMeshUtility::GetConnectedVertexComponents(nullptr).empty());
    EXPECT_TRUE(OpenMeshUtility::GetConnectedFaceComponents(nullptr, nullptr).empty());
    test::Mesh empty;
    EXPECT_TRUE(OpenMeshUtility::GetConnectedVertexComponents(&empty).empty());
    EXPECT_TRUE(OpenMeshUtility::GetConnectedFaceComponents(&empty, nullptr).empty());
}

TEST(ConnectedComponents, TwoSeparateTrianglesAndAnIsolatedVertex)
{
    auto mesh = makeTwoTriangles();
    mesh->add_vertex({9, 9, 9});  // vertex 6, no face
    const Components vertices = OpenMeshUtility::GetConnectedVertexComponents(mesh.get());
    EXPECT_EQ(sorted(vertices), (std::vector<std::vector<int>>{{0, 1, 2}, {3, 4, 5}, {6}}));

    const Components faces = OpenMeshUtility::GetConnectedFaceComponents(mesh.get(), &vertices);
    ASSERT_EQ(faces.size(), vertices.size());
    for (size_t i = 0; i < vertices.size(); ++i)  // same order as the vertex components
        EXPECT_EQ(faces[i], vertices[i].count(6) ? Components::value_type{}
                                                 : Components::value_type{vertices[i].count(0) ? 0 : 1});
}

TEST(ConnectedComponents, DeletedElementsAreSkipped)
{
    auto mesh = makeTwoTriangles();
    mesh->delete_face(OpenMesh::FaceHandle(1), true);  // its three vertices become deleted too
    const Components vertices = OpenMeshUtility::GetConnectedVertexComponents(mesh.get());
    EXPECT_EQ(sorted(vertices), (std::vector<std::vector<int>>{{0, 1, 2}}));
    const Components faces = OpenMeshUtility::GetConnectedFaceComponents(mesh.get(), nullptr);
    EXPECT_EQ(sorted(faces), (std::vector<std::vector<int>>{{0}}));
}

TEST(ConnectedComponents, LargeConnectedGridIsOneComponent)
{
    auto mesh = test::makeGrid(40, 30);
    const Components vertices = OpenMeshUtility::GetConnectedVertexComponents(mesh.get());
    ASSERT_EQ(vertices.size(), 1u);
    EXPECT_EQ(vertices[0].size(), 41u * 31u);
}

TEST(ConnectedComponents, OneGivenComponentTakesEveryLiveFace)
{
    auto mesh = makeTwoTriangles();
    const Components one{{0}};  // does not match the mesh, but there is exactly one
    const Components faces = OpenMeshUtility::GetConnectedFaceComponents(mesh.get(), &one);
    EXPECT_EQ(sorted(faces), (std::vector<std::vector<int>>{{0, 1}}));
}

TEST(ConnectedComponents, MismatchedListIsTakenAsGivenAndBadIndicesAreSkipped)
{
    auto mesh = makeTwoTriangles();
    const Components given{{3}, {0, -1, 99}, {}};
    const Components faces = OpenMeshUtility::GetConnectedFaceComponents(mesh.get(), &given);
    ASSERT_EQ(faces.size(), 3u);
    EXPECT_EQ(faces[0], (std::unordered_set<int>{1}));
    EXPECT_EQ(faces[1], (std::unordered_set<int>{0}));
    EXPECT_TRUE(faces[2].empty());
}

TEST(NonManifoldCleanup, BowTieLosesBothTrianglesInTheFirstPass)
{
    auto mesh = test::makeBowTie();
    EXPECT_TRUE(OpenMeshUtility::HasNonManifoldVertices(*mesh));
    EXPECT_EQ(OpenMeshUtility::RemoveFacesConnectedToNonManifoldVertices(*mesh, false, 16), 2u);
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*mesh), 0u);
    EXPECT_EQ(OpenMeshUtility::GetVertexCount(*mesh), 0u);  // isolated vertices deleted too
    EXPECT_EQ(mesh->n_faces(), 2u);                         // but not collected
    EXPECT_FALSE(OpenMeshUtility::HasNonManifoldVertices(*mesh));
}

TEST(NonManifoldCleanup, ClosedMeshIsUnchangedButStillCompacted)
{
    auto mesh = test::makeSphere(6, 8);
    EXPECT_FALSE(OpenMeshUtility::HasNonManifoldVertices(*mesh));
    const size_t faces = mesh->n_faces();
    mesh->delete_face(OpenMesh::FaceHandle(0), false);  // a hole: still manifold
    EXPECT_EQ(OpenMeshUtility::RemoveFacesConnectedToNonManifoldVertices(*mesh, true, 16), 0u);
    EXPECT_EQ(mesh->n_faces(), faces - 1);  // garbage collection ran although nothing was removed
}

TEST(NonManifoldCleanup, PassCountIsMaxPassesPlusOne)
{
    // w is a boundary vertex with the fan g1, f1, f2, g2; f1 and f2 also meet p, which is pinched
    // to a third triangle. Pass 1 removes f1, f2 and that triangle, which splits w's fan in two;
    // pass 2 removes g1 and g2; pass 3 finds nothing.
    auto build = []
    {
        auto mesh = std::make_unique<test::Mesh>();
        auto w = mesh->add_vertex({0, 0, 0});
        auto b = mesh->add_vertex({-2, 0, 0});
        auto a = mesh->add_vertex({-1, 1, 0});
        auto p = mesh->add_vertex({0, 2, 0});
        auto c = mesh->add_vertex({1, 1, 0});
        auto d = mesh->add_vertex({2, 0, 0});
        auto e = mesh->add_vertex({1, 3, 0});
        auto f = mesh->add_vertex({-1, 3, 0});
        mesh->add_face(w, a, b);
        mesh->add_face(w, p, a);
        mesh->add_face(w, c, p);
        mesh->add_face(w, d, c);
        mesh->add_face(p, e, f);
        return mesh;
    };
    auto mesh = build();
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*mesh), 5u);
    EXPECT_EQ(OpenMeshUtility::RemoveFacesConnectedToNonManifoldVertices(*mesh, false, 0), 3u);
    EXPECT_TRUE(OpenMeshUtility::HasNonManifoldVertices(*mesh));  // w, left for a pass that never ran

    mesh = build();
    EXPECT_EQ(OpenMeshUtility::RemoveFacesConnectedToNonManifoldVertices(*mesh, false, 1), 5u);
    EXPECT_FALSE(OpenMeshUtility::HasNonManifoldVertices(*mesh));

    mesh = build();
    EXPECT_EQ(OpenMeshUtility::RemoveFacesConnectedToNonManifoldVertices(*mesh, true, 16), 5u);
    EXPECT_EQ(mesh->n_faces(), 0u);
    EXPECT_EQ(mesh->n_vertices(), 0u);
}
