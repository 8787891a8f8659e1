#include "topology/decimation/OxmModQuadric.h"

#include "support/DecimationMeshes.h"

#include <gtest/gtest.h>

#include <cmath>

using Quelm::Topology::OxmModQuadric;
using Quelm::Topology::Quadric;

namespace
{

using CollapseInfo = OxmModQuadric::CollapseInfo;

// The half-edge from `from` to `to`.
test::Mesh::HalfedgeHandle halfedge(const test::Mesh& mesh, int from, int to)
{
    return mesh.find_halfedge(test::Mesh::VertexHandle(from), test::Mesh::VertexHandle(to));
}

}  // namespace

// A grid vertex with six unit-grid faces of area 1/2: its quadric is 3 h^2 at height h above it,
// 0 on the plane. Corner (0, 0) has two faces: 1 h^2.
TEST(OxmModQuadric, QuadricsAreAreaWeightedPlaneSums)
{
    auto mesh = test::makeGrid(2, 2);
    OxmModQuadric module(*mesh);
    module.initialize();
    const auto& q = mesh->property(mesh->quadricHandle, test::Mesh::VertexHandle(4));  // centre (1, 1)
    EXPECT_NEAR(q(OpenMesh::Vec3d(1, 1, 0)), 0.0, 1e-12);
    EXPECT_NEAR(q(OpenMesh::Vec3d(1, 1, 0.5)), 3 * 0.25, 1e-12);
    EXPECT_NEAR(q(OpenMesh::Vec3d(7, -3, 2)), 3 * 4.0, 1e-12);  // only the height counts
    const auto& corner = mesh->property(mesh->quadricHandle, test::Mesh::VertexHandle(0));
    EXPECT_NEAR(corner(OpenMesh::Vec3d(0, 0, 2)), 4.0, 1e-12);
}

TEST(OxmModQuadric, DegenerateFacesAndIsolatedVerticesGiveZeroQuadrics)
{
    auto mesh = test::makeMesh({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {5, 5, 5}}, {{0, 1, 2}});  // collinear
    OxmModQuadric module(*mesh);
    module.initialize();
    for (auto vh : mesh->all_vertices())
        EXPECT_EQ(mesh->property(mesh->quadricHandle, vh)(OpenMesh::Vec3d(3, 4, 5)), 0.0) << vh.idx();
}

// The bound is strict and hard: an error equal to max_err is illegal, and max_err = 0 forbids
// even a zero-error collapse, although the module is not binary. After a collapse the kept vertex
// holds the sum of both quadrics.
TEST(OxmModQuadric, ErrorBoundIsStrictAndHardAndPostprocessSumsTheQuadrics)
{
    auto mesh = test::makeTerrain(4, 4, 0.3f);
    OxmModQuadric module(*mesh);
    module.initialize();
    CollapseInfo ci(*mesh, halfedge(*mesh, 6, 7));
    const float err = module.collapse_priority(ci);
    ASSERT_GT(err, 0.0f);
    Quadric q = mesh->property(mesh->quadricHandle, ci.v0);
    q += mesh->property(mesh->quadricHandle, ci.v1);
    const double exact = q(OpenMesh::Vec3d(ci.p1[0], ci.p1[1], ci.p1[2]));
    module.max_err = exact;
    EXPECT_EQ(module.collapse_priority(ci), -1.0f);
    module.max_err = std::nextafter(exact, 1e300);
    EXPECT_EQ(module.collapse_priority(ci), err);
    module.postprocess_collapse(ci);
    const Quadric& kept = mesh->property(mesh->quadricHandle, ci.v1);
    EXPECT_EQ(kept.xx(), q.xx());
    EXPECT_EQ(kept.zw(), q.zw());
    EXPECT_EQ(kept.ww(), q.ww());

    auto flat = test::makeGrid(2, 2);
    OxmModQuadric flatModule(*flat);
    flatModule.initialize();
    CollapseInfo flatCi(*flat, halfedge(*flat, 4, 5));
    EXPECT_EQ(flatModule.collapse_priority(flatCi), 0.0f);
    flatModule.max_err = 0.0;
    EXPECT_EQ(flatModule.collapse_priority(flatCi), -1.0f);
}

TEST(OxmModQuadric, ToleranceFactorRescalesOnlyABinaryModuleWithinZeroToOne)
{
    auto mesh = test::makeGrid(2, 2);
    OxmModQuadric module(*mesh);
    module.max_err = 8.0;
    module.set_error_tolerance_factor(0.5);  // non-binary: ignored
    EXPECT_EQ(module.max_err, 8.0);

    module.set_binary(true);
    module.set_error_tolerance_factor(1.5);  // outside [0, 1]: ignored
    module.set_error_tolerance_factor(-0.1);
    EXPECT_EQ(module.max_err, 8.0);
    EXPECT_TRUE(module.is_binary());

    module.set_error_tolerance_factor(0.5);
    EXPECT_EQ(module.max_err, 4.0);
    EXPECT_FALSE(module.is_binary());
    module.set_binary(true);
    module.set_error_tolerance_factor(0.25);  // relative to the current factor 0.5
    EXPECT_EQ(module.max_err, 2.0);
}

TEST(OxmModQuadric, StartsAsAPriorityModuleAndItsQuadricsOutliveItOnlyWhenKept)
{
    auto mesh = test::makeGrid(2, 2);
    {
        OxmModQuadric module(*mesh);
        EXPECT_EQ(module.name(), "OxmQuadric");
        EXPECT_FALSE(module.is_binary());
        EXPECT_EQ(module.max_err, 1.7976931348623157e308);
        EXPECT_TRUE(mesh->quadricHandle.is_valid());  // created by the constructor, unnamed
        OpenMesh::VPropHandleT<Quadric> byName;
        EXPECT_TRUE(mesh->get_property_handle(byName, "<vprop>"));
        module.initialize();
    }
    EXPECT_FALSE(mesh->quadricHandle.is_valid());  // removed with the module

    {
        OxmModQuadric module(*mesh);
        module.keep_quadrics = true;
        module.initialize();
    }
    ASSERT_TRUE(mesh->quadricHandle.is_valid());
    const test::Mesh::VertexHandle centre(4);
    mesh->property(mesh->quadricHandle, centre) = Quadric(1, 0, 0, 0);  // a sentinel

    {
        OxmModQuadric reuse(*mesh);  // shares the existing property
        reuse.keep_quadrics = true;
        reuse.recompute_quadrics = false;
        reuse.initialize();
        EXPECT_EQ(mesh->property(mesh->quadricHandle, centre).xx(), 1.0);
    }
    {
        OxmModQuadric rebuild(*mesh);
        rebuild.initialize();
        EXPECT_EQ(mesh->property(mesh->quadricHandle, centre).xx(), 0.0);  // the plane is z = 0
    }
    EXPECT_FALSE(mesh->quadricHandle.is_valid());
}
