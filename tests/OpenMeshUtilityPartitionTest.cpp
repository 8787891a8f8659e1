#include "support/DecimationMeshes.h"
#include "topology/OpenMeshUtility.h"
#include "topology/decimation/OxmModQuadric.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <tuple>

using Quelm::Objects::Box;
using Quelm::Objects::Vector3;
using Quelm::Topology::OpenMeshUtility;

namespace
{

struct Access : OpenMeshUtility
{
    using OpenMeshUtility::partitionMesh;
};

Box<float> unitBox()
{
    return Box<float>(Vector3<float>(0, 0, 0), Vector3<float>(1, 1, 1));
}

// One triangle whose reference corner (the target of the face's stored half-edge) sits at `corner`
// and whose other corners sit at `others` and just beside it.
std::unique_ptr<test::Mesh> triangleWithCorner(const test::Mesh::Point& corner,
                                               const test::Mesh::Point& others)
{
    auto mesh = std::make_unique<test::Mesh>();
    auto a = mesh->add_vertex(others);
    auto b = mesh->add_vertex(others + test::Mesh::Point(0.01f, 0, 0));
    auto c = mesh->add_vertex(others + test::Mesh::Point(0, 0.01f, 0));
    const auto fh = mesh->add_face(a, b, c);
    mesh->set_point(mesh->to_vertex_handle(mesh->halfedge_handle(fh)), corner);
    return mesh;
}

}  // namespace

// Level 5 gives 125 possible cells; only those that receive a face appear. Every face reaches
// exactly one cell and the source is emptied.
TEST(Partition, EveryFaceLandsInOneCellAndTheSourceIsEmptied)
{
    auto mesh = test::makeTerrain(40, 40);  // 3200 faces
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    EXPECT_TRUE(Access::partitionMesh(nullptr, box, 5.0f, 0.0f, false).empty());
    auto cells = Access::partitionMesh(mesh.get(), box, 5.0f, 0.0f, false);
    EXPECT_EQ(mesh->n_faces(), 0u);
    EXPECT_EQ(mesh->n_vertices(), 0u);
    EXPECT_LE(cells.size(), 125u);
    EXPECT_GE(cells.size(), 25u);
    size_t faces = 0;
    for (auto& [number, cell] : cells)
    {
        EXPECT_GE(number, 0);
        EXPECT_LT(number, 125);
        EXPECT_GT(cell.n_faces(), 0u);
        faces += cell.n_faces();
        ASSERT_TRUE(cell.quadricHandle.is_valid());
        for (auto vh : cell.vertices())
            EXPECT_TRUE(cell.status(vh).selected());  // fine grid: all may move, cuts get locked later
    }
    EXPECT_EQ(faces, 3200u);
}

TEST(Partition, CellsCarryTheSourceQuadrics)
{
    auto mesh = test::makeTerrain(12, 12, 0.3f);
    {
        Quelm::Topology::OxmModQuadric module(*mesh);
        module.keep_quadrics = true;
        module.initialize();
    }
    const test::Mesh::VertexHandle probe(5 * 13 + 5);
    const auto point = mesh->point(probe);
    const double expected = mesh->property(mesh->quadricHandle, probe)(OpenMesh::Vec3d(0, 0, 9));
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    auto cells = Access::partitionMesh(mesh.get(), box, 2.0f, 0.0f, false);
    int found = 0;
    for (auto& [number, cell] : cells)
        for (auto vh : cell.vertices())
            if (cell.point(vh) == point)
            {
                ++found;
                EXPECT_EQ(cell.property(cell.quadricHandle, vh)(OpenMesh::Vec3d(0, 0, 9)), expected);
            }
    EXPECT_GE(found, 1);
}

TEST(Partition, ACornerOnTheBoxMaximumGoesToTheLastCell)
{
    auto mesh = triangleWithCorner({1, 1, 1}, {0.1f, 0.1f, 0.1f});
    auto cells = Access::partitionMesh(mesh.get(), unitBox(), 5.0f, 0.0f, false);
    ASSERT_EQ(cells.size(), 1u);
    EXPECT_EQ(cells.begin()->first, 124);
    EXPECT_EQ(cells.begin()->second.n_faces(), 1u);  // the whole face, though only one corner is there
}

// The z index is measured from the box's minimum x: with min.x = 10, a corner at
// (10.5, 0.5, 0.5) gets iz = floor((0.5 - 10) / 0.2) = -48, so cell 2*25 + 2*5 - 48 = 12.
TEST(Partition, ZIndexIsOffsetByTheMinimumX)
{
    const Box<float> box(Vector3<float>(10, 0, 0), Vector3<float>(11, 1, 1));
    auto mesh = triangleWithCorner({10.5f, 0.5f, 0.5f}, {10.1f, 0.1f, 0.1f});
    auto cells = Access::partitionMesh(mesh.get(), box, 5.0f, 0.0f, false);
    ASSERT_EQ(cells.size(), 1u);
    EXPECT_EQ(cells.begin()->first, 12);

    auto below = triangleWithCorner({10.0f, 0.0f, 0.0f}, {10.1f, 0.1f, 0.1f});
    auto clamped = Access::partitionMesh(below.get(), box, 5.0f, 0.0f, false);
    ASSERT_EQ(clamped.size(), 1u);
    EXPECT_EQ(clamped.begin()->first, 0);  // a negative cell number becomes 0
}

// With the coarse grid a vertex may move only in the cell whose box holds it: a vertex shared by
// several cells is selected in at most one of them, and vertices across a cut are not selected.
TEST(Partition, CoarseGridLetsAVertexMoveInOneCellAtMost)
{
    auto mesh = test::makeTerrain(20, 20);
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    auto cells = Access::partitionMesh(mesh.get(), box, 2.0f, 0.0f, true);
    std::map<std::tuple<float, float, float>, int> selectedIn;
    size_t unselected = 0;
    for (auto& [number, cell] : cells)
        for (auto vh : cell.vertices())
        {
            const auto& p = cell.point(vh);
            auto& count = selectedIn[{p[0], p[1], p[2]}];
            if (cell.status(vh).selected())
                ++count;
            else
                ++unselected;
        }
    EXPECT_EQ(selectedIn.size(), 441u);
    for (const auto& [point, count] : selectedIn)
        EXPECT_LE(count, 1);
    EXPECT_GT(unselected, 0u);
}

TEST(Partition, SurvivesNanPointsAndAFlatBox)
{
    auto mesh = test::makeGrid(6, 6);  // flat: z extent 0
    const float nan = std::numeric_limits<float>::quiet_NaN();
    mesh->set_point(test::Mesh::VertexHandle(10), {nan, nan, nan});
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    auto cells = Access::partitionMesh(mesh.get(), box, 5.0f, 0.0f, false);
    size_t faces = 0;
    for (auto& [number, cell] : cells)
    {
        EXPECT_GE(number, 0);
        EXPECT_LT(number, 125);
        faces += cell.n_faces();
    }
    EXPECT_EQ(faces, 72u);
}
