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
    return test::makeMesh({{0, 0, 0}, {1, 0, 0}, {2, 1, 0}, {0, 5, 0}, {1, 5, 0}, {2, 6, 0}},
                          {{0, 1, 2}, {3, 4, 5}});
}

}  // namespace

TEST(ConnectedComponents, TwoSeparateTrianglesAndAnIsolatedVertex)
{
    test::Mesh empty;
    for (const test::Mesh* none : {static_cast<test::Mesh*>(nullptr), &empty})
    {
        EXPECT_TRUE(OpenMeshUtility::GetConnectedVertexComponents(none).empty());
        EXPECT_TRUE(OpenMeshUtility::GetConnectedFaceComponents(none, nullptr).empty());
    }
    auto mesh = makeTwoTriangles();
    mesh->add_vertex({9, 9, 9});  // vertex 6, no face
    const Components vertices = OpenMeshUtility::GetConnectedVertexComponents(mesh.get());
    EXPECT_EQ(sorted(vertices), (std::vector<std::vector<int>>{{0, 1, 2}, {3, 4, 5}, {6}}));

    const Components faces = OpenMeshUtility::GetConnectedFaceComponents(mesh.get(), &vertices);
    ASSERT_EQ(faces.size(), vertices.size());
    for (size_t i = 0; i < vertices.size(); ++i)  // same order as the vertex components
        EXPECT_EQ(faces[i], vertices[i].count(6) ? Components::value_type{}
                                                 : Components::value_type{vertices[i].count(0) ? 0 : 1});

    mesh->delete_face(OpenMesh::FaceHandle(1), true);  // its three vertices become deleted too
    EXPECT_EQ(sorted(OpenMeshUtility::GetConnectedVertexComponents(mesh.get())),
              (std::vector<std::vector<int>>{{0, 1, 2}, {6}}));
    EXPECT_EQ(sorted(OpenMeshUtility::GetConnectedFaceComponents(mesh.get(), nullptr)),
              (std::vector<std::vector<int>>{{}, {0}}));
}

TEST(ConnectedComponents, LargeConnectedGridIsOneComponent)
{
    auto mesh = test::makeGrid(40, 30);
    const Components vertices = OpenMeshUtility::GetConnectedVertexComponents(mesh.get());
    ASSERT_EQ(vertices.size(), 1u);
    EXPECT_EQ(vertices[0].size(), 41u * 31u);
}

// A given list is taken as it is: exactly one component takes every live face, whatever it holds;
// otherwise the faces around the given vertices are collected and bad indices skipped.
TEST(ConnectedComponents, GivenComponentsAreTakenAsGiven)
{
    auto mesh = makeTwoTriangles();
    const Components one{{0}};
    EXPECT_EQ(sorted(OpenMeshUtility::GetConnectedFaceComponents(mesh.get(), &one)),
              (std::vector<std::vector<int>>{{0, 1}}));
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
        // w, b, a, p, c, d, e, f
        return test::makeMesh(
            {{0, 0, 0}, {-2, 0, 0}, {-1, 1, 0}, {0, 2, 0}, {1, 1, 0}, {2, 0, 0}, {1, 3, 0}, {-1, 3, 0}},
            {{0, 2, 1}, {0, 3, 2}, {0, 4, 3}, {0, 5, 4}, {3, 6, 7}});
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
