#include "support/DecimationMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <tuple>

using Quelm::Topology::OpenMeshUtility;

namespace
{

struct Access : OpenMeshUtility
{
    using OpenMeshUtility::boundaryDecimate;
    using OpenMeshUtility::setNNeighbourRingLock;
};

using PointSet = std::set<std::tuple<float, float, float>>;

PointSet boundaryPoints(const test::Mesh& mesh)
{
    PointSet points;
    for (auto vh : mesh.vertices())
        if (mesh.is_boundary(vh))
            points.emplace(mesh.point(vh)[0], mesh.point(vh)[1], mesh.point(vh)[2]);
    return points;
}

size_t lockedVertexCount(const test::Mesh& mesh)
{
    return std::count_if(mesh.vertices_begin(), mesh.vertices_end(),
                         [&](auto vh) { return mesh.status(vh).locked(); });
}

}  // namespace

// Target = faces - unlocked * ratio, locked faces staying out; a collapse removes one or two faces,
// so the result lands on the target or one below it.
TEST(SerialDecimation, RatioRemovesThatFractionOfUnlockedFaces)
{
    for (int locked : {0, 400})
    {
        auto mesh = test::makeTerrain(20, 20);  // 800 faces
        for (int i = 0; i < locked; ++i)
            mesh->status(test::Mesh::FaceHandle(i)).set_locked(true);
        const PointSet border = boundaryPoints(*mesh);
        EXPECT_TRUE(OpenMeshUtility::DecimateMesh(mesh.get(), 0.5f, 0.1, 60.0, true)) << locked;
        const size_t faces = OpenMeshUtility::GetFaceCount(*mesh), target = 800 - (800 - locked) / 2;
        EXPECT_LE(faces, target) << locked;
        EXPECT_GE(faces + 1, target) << locked;
        EXPECT_TRUE(test::isCompact(*mesh)) << locked;
        EXPECT_EQ(test::countDegenerateFaces(*mesh), 0u) << locked;
        EXPECT_EQ(boundaryPoints(*mesh), border) << locked;  // the boundary is always locked by this overload
        EXPECT_FALSE(mesh->quadricHandle.is_valid()) << locked;
        EXPECT_FALSE(mesh->has_face_normals()) << locked;
    }
}

// Ratio 0 (or below, or NaN) gives target = face count: nothing is removed. Ratio 1 (or above) on a
// mesh without locked faces gives target 0 and returns before decimating. An error factor of 0
// forbids every collapse. A null mesh fails too.
TEST(SerialDecimation, RatioOutsideTheOpenUnitIntervalOrZeroErrorRemovesNothing)
{
    for (float ratio : {0.0f, -2.0f, std::numeric_limits<float>::quiet_NaN(), 1.0f, 7.5f})
    {
        auto mesh = test::makeTerrain(10, 10);
        EXPECT_FALSE(OpenMeshUtility::DecimateMesh(mesh.get(), ratio, 0.1, 60.0, true)) << ratio;
        EXPECT_EQ(OpenMeshUtility::GetFaceCount(*mesh), 200u) << ratio;
    }
    auto mesh = test::makeTerrain(10, 10);
    EXPECT_EQ(OpenMeshUtility::DecimateMesh(mesh.get(), size_t(0), 0.0, 180.0, false, true), 0u);
    EXPECT_FALSE(OpenMeshUtility::DecimateMesh(mesh.get(), 0.5f, 0.0, 180.0, true));
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*mesh), 200u);
    EXPECT_FALSE(OpenMeshUtility::DecimateMesh(nullptr, 0.5f, 0.1, 60.0, true));
    EXPECT_EQ(OpenMeshUtility::DecimateMesh(nullptr, size_t(10), 0.1, 60.0, false, true), 0u);
}

TEST(SerialDecimation, CollapseCountIsAnUpperBoundAndZeroMeansAsManyAsLegal)
{
    auto mesh = test::makeGrid(8, 8);
    EXPECT_EQ(OpenMeshUtility::DecimateMesh(mesh.get(), size_t(5), 0.1, 60.0, false, false), 5u);
    EXPECT_FALSE(test::isCompact(*mesh));                         // not collected when asked not to
    EXPECT_GE(OpenMeshUtility::GetFaceCount(*mesh), 128u - 10u);  // two faces per interior collapse,
    EXPECT_LE(OpenMeshUtility::GetFaceCount(*mesh), 128u - 5u);   // one per boundary collapse

    auto flat = test::makeGrid(8, 8);
    const PointSet border = boundaryPoints(*flat);
    const size_t done = OpenMeshUtility::DecimateMesh(flat.get(), size_t(0), 0.1, 60.0, true, true);
    EXPECT_GT(done, 40u);  // a flat interior collapses freely
    EXPECT_TRUE(test::isCompact(*flat));
    EXPECT_EQ(boundaryPoints(*flat), border);  // locked border keeps its shape
    EXPECT_EQ(lockedVertexCount(*flat), border.size());
    EXPECT_EQ(test::countDegenerateFaces(*flat), 0u);
}

TEST(SerialDecimation, SmallMaximumAngleLimitsCollapsesOnACurvedSurface)
{
    auto loose = test::makeSphere(12, 16);
    auto strict = test::makeSphere(12, 16);
    const size_t many = OpenMeshUtility::DecimateMesh(loose.get(), size_t(0), 1.0, 90.0, false, true);
    const size_t few = OpenMeshUtility::DecimateMesh(strict.get(), size_t(0), 1.0, 1.0, false, true);
    EXPECT_LT(few, many);
}

// An intermediate seam pass collapses nothing and locks every vertex, keeping the quadrics for the
// next pass; the final pass meets its target and drops them.
TEST(SeamPass, OnlyTheFinalPassDecimates)
{
    auto mesh = test::makeTerrain(10, 10);
    tbb::concurrent_vector<OpenMesh::VertexHandle> seam;
    for (int i = 0; i < 11; ++i)
    {
        seam.push_back(test::Mesh::VertexHandle(i));
        mesh->status(seam.back()).set_selected(true);
    }
    seam.push_back(test::Mesh::VertexHandle(100000));  // stale handles are skipped
    EXPECT_EQ(Access::boundaryDecimate(*mesh, seam, 50, false, 1.0, 60.0), 0u);
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*mesh), 200u);
    EXPECT_EQ(lockedVertexCount(*mesh), mesh->n_vertices());
    EXPECT_TRUE(mesh->quadricHandle.is_valid());

    seam.clear();
    mesh = test::makeTerrain(10, 10);
    EXPECT_GT(Access::boundaryDecimate(*mesh, seam, 100, true, 1.0, 60.0), 0u);
    EXPECT_LE(OpenMeshUtility::GetFaceCount(*mesh), 100u);
    EXPECT_GE(OpenMeshUtility::GetFaceCount(*mesh), 99u);
    EXPECT_TRUE(test::isCompact(*mesh));
    EXPECT_FALSE(mesh->quadricHandle.is_valid());
}

TEST(RingLock, NeverChangesAFlag)
{
    auto mesh = test::makeGrid(4, 4);
    const test::Mesh::VertexHandle centre(12);
    Access::setNNeighbourRingLock(*mesh, centre, 3, true);
    EXPECT_EQ(lockedVertexCount(*mesh), 0u);
    Access::setNNeighbourRingLock(*mesh, centre, 0, true);
    EXPECT_EQ(lockedVertexCount(*mesh), 0u);

    for (auto vh : mesh->vertices())
        mesh->status(vh).set_locked(true);
    Access::setNNeighbourRingLock(*mesh, centre, 3, false);
    Access::setNNeighbourRingLock(*mesh, test::Mesh::VertexHandle(), 3, false);  // invalid: refused
    Access::setNNeighbourRingLock(*mesh, test::Mesh::VertexHandle(999), 3, false);
    EXPECT_EQ(lockedVertexCount(*mesh), mesh->n_vertices());
}

// Non-manifold vertices, isolated vertices, zero-area and repeated faces, NaN points: the
// result may be poor, but nothing traps and no degenerate index reaches the mesh.
TEST(SerialDecimation, SurvivesBadMeshes)
{
    auto mesh = test::makeTerrain(8, 8);
    auto bow = test::makeBowTie();
    const auto a = mesh->add_vertex({100, 100, 0});
    const auto b = mesh->add_vertex({101, 100, 0});
    const auto c = mesh->add_vertex({102, 100, 0});
    mesh->add_face(a, b, c);         // zero area
    mesh->add_vertex({-5, -5, -5});  // isolated
    mesh->add_face(test::Mesh::VertexHandle(0), test::Mesh::VertexHandle(1),
                   test::Mesh::VertexHandle(10));  // refused by OpenMesh: stays out
    const float nan = std::numeric_limits<float>::quiet_NaN();
    mesh->set_point(test::Mesh::VertexHandle(40), {nan, nan, nan});
    OpenMeshUtility::DecimateMesh(mesh.get(), 0.7f, 0.5, 60.0, true);
    OpenMeshUtility::DecimateMesh(mesh.get(), size_t(0), 0.5, 60.0, false, true);
    OpenMeshUtility::DecimateMesh(bow.get(), 0.9f, 0.5, 60.0, true);
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*bow), 2u);  // nothing can go
}
