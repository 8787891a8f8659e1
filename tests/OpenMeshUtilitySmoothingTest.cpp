#include "support/DecimationMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

using Quelm::Topology::OpenMeshUtility;

namespace
{

// A flat grid whose centre vertex is pushed off its place within the plane.
std::unique_ptr<test::Mesh> gridWithShiftedCentre()
{
    auto mesh = test::makeGrid(4, 4);
    mesh->set_point(test::Mesh::VertexHandle(12), {2.4f, 2.3f, 0.0f});
    return mesh;
}

// Live vertex, edge and face properties (removed ones leave an empty slot behind).
size_t livePropertyCount(const test::Mesh& mesh)
{
    size_t count = 0;
    for (const auto& [begin, end] : {std::make_pair(mesh.vprops_begin(), mesh.vprops_end()),
                                     std::make_pair(mesh.eprops_begin(), mesh.eprops_end()),
                                     std::make_pair(mesh.fprops_begin(), mesh.fprops_end())})
        count += std::count_if(begin, end, [](const auto* property) { return property != nullptr; });
    return count;
}

}  // namespace

TEST(Smoothing, ZeroOrNegativeIterationsLeavePointsAlone)
{
    for (int iterations : {0, -3})
    {
        auto mesh = gridWithShiftedCentre();
        const auto before = test::points(*mesh);
        EXPECT_TRUE(OpenMeshUtility::smoothMesh(*mesh, 0.01f, iterations));
        EXPECT_EQ(test::points(*mesh), before);
    }
}

TEST(Smoothing, RelaxesWithinThePlaneAndHoldsTheBorder)
{
    auto mesh = gridWithShiftedCentre();
    const auto before = test::points(*mesh);
    EXPECT_TRUE(OpenMeshUtility::smoothMesh(*mesh, 1.0f, 10));
    const auto after = test::points(*mesh);
    const OpenMesh::Vec3f home(2, 2, 0);
    EXPECT_LT((after[12] - home).norm(), (before[12] - home).norm());
    for (size_t i = 0; i < after.size(); ++i)
    {
        EXPECT_EQ(after[i][2], 0.0f);  // tangential: nothing leaves the plane
        if (mesh->is_boundary(test::Mesh::VertexHandle(int(i))))
        {
            EXPECT_EQ(after[i], before[i]);
        }
    }
}

TEST(Smoothing, LeavesNoWorkingPropertiesBehind)
{
    auto mesh = gridWithShiftedCentre();
    const size_t properties = livePropertyCount(*mesh);
    const bool faceNormals = mesh->has_face_normals();
    OpenMeshUtility::smoothMesh(*mesh, 0.01f, 3);
    EXPECT_EQ(livePropertyCount(*mesh), properties);
    EXPECT_EQ(mesh->has_face_normals(), faceNormals);
}

// Isolated vertices, non-manifold fans, a NaN point and a zero-area face do not stop the call; the
// NaN may spread to neighbours, but connectivity is untouched.
TEST(Smoothing, SurvivesBadMeshes)
{
    auto bow = test::makeBowTie();
    bow->add_vertex({7, 7, 7});
    EXPECT_TRUE(OpenMeshUtility::smoothMesh(*bow, 0.01f, 5));
    EXPECT_EQ(bow->n_faces(), 2u);

    auto mesh = gridWithShiftedCentre();
    const size_t faces = mesh->n_faces();
    const auto a = mesh->add_vertex({20, 20, 0});
    mesh->add_face(a, mesh->add_vertex({21, 20, 0}), mesh->add_vertex({22, 20, 0}));  // collinear
    mesh->set_point(test::Mesh::VertexHandle(0), {std::numeric_limits<float>::quiet_NaN(), 0, 0});
    EXPECT_TRUE(OpenMeshUtility::smoothMesh(*mesh, 0.01f, 5));
    EXPECT_EQ(mesh->n_faces(), faces + 1);
}
