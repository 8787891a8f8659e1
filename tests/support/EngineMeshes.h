#pragma once

#include "engine/EngineAssert.h"
#include "engine/VFTriangleMesh.h"
#include "support/TarnelMeshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

// Engine meshes built in code, a consistency checker, and a capture of engine assertion reports.
namespace test
{

using vsk::IMesh;
using vsk::Index2i;
using vsk::Index3i;
using vsk::Vector3f;
using vsk::VFTriangleMesh;

// A mesh of the given points and corner triples, appended in order.
template <class Mesh = VFTriangleMesh>
std::unique_ptr<Mesh> makeEngineMesh(std::initializer_list<Vector3f> points,
                                     std::initializer_list<std::array<unsigned, 3>> triangles)
{
    auto mesh = std::make_unique<Mesh>();
    for (const Vector3f& p : points)
        mesh->AppendVertex(p);
    for (const auto& t : triangles)
        mesh->AppendTriangle(t[0], t[1], t[2]);
    return mesh;
}

// A fan of `n` triangles around vertex 0 (at the origin) over rim vertices 1..n on the unit
// circle, counter-clockwise from +z; `closed` adds the last triangle (n, 1), making vertex 0
// interior. Triangle k is (0, k + 1, k + 2).
template <class Mesh = VFTriangleMesh>
std::unique_ptr<Mesh> makeEngineFan(int n, bool closed)
{
    auto mesh = std::make_unique<Mesh>();
    mesh->AppendVertex(Vector3f(0, 0, 0));
    const int rim = closed ? n : n + 1;
    for (int k = 0; k < rim; ++k)
        mesh->AppendVertex(Vector3f(std::cos(6.2831853f * k / rim), std::sin(6.2831853f * k / rim), 0.0f));
    for (int k = 0; k < n; ++k)
        mesh->AppendTriangle(0, 1 + k, 1 + (k + 1) % rim);
    return mesh;
}

// A closed tetrahedron: 4 vertices, 4 triangles, 6 edges, outward winding.
template <class Mesh = VFTriangleMesh>
std::unique_ptr<Mesh> makeEngineTetrahedron()
{
    return makeEngineMesh<Mesh>({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                                {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}});
}

// Two triangles meeting only at vertex 0 (a bow tie): 5 vertices, 4 boundary edges at vertex 0.
template <class Mesh = VFTriangleMesh>
std::unique_ptr<Mesh> makeEngineBowTie()
{
    return makeEngineMesh<Mesh>({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}, {-1, -1, 0}},
                                {{0, 1, 2}, {0, 3, 4}});
}

// Three triangles on the edge (0, 1): a non-manifold edge. Vertices 2, 3, 4 are the far corners.
template <class Mesh = VFTriangleMesh>
std::unique_ptr<Mesh> makeEngineBook()
{
    return makeEngineMesh<Mesh>({{0, 0, 0}, {1, 0, 0}, {0.5f, 1, 0}, {0.5f, -1, 0}, {0.5f, 0, 1}},
                                {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
}

// The triangles (or edges) listed at a vertex by its adjacency iterator, in iteration order.
inline std::vector<unsigned> vertexList(const VFTriangleMesh& mesh, unsigned vID, bool edges)
{
    std::vector<unsigned> out;
    VFTriangleMesh::VtxNbrItr itr(vID);
    edges ? mesh.BeginVtxEdges(itr) : mesh.BeginVtxTriangles(itr);
    auto next = [&] { return edges ? mesh.GetNextVtxEdge(itr) : mesh.GetNextVtxTriangle(itr); };
    for (unsigned x = next(); x != IMesh::InvalidID; x = next())
        out.push_back(x);
    return out;
}

// The one-ring neighbours of a vertex, in the order of its edge list.
inline std::vector<unsigned> vertexNeighbours(const VFTriangleMesh& mesh, unsigned vID)
{
    std::vector<unsigned> nbrs;
    VFTriangleMesh::VtxNbrItr itr(vID);
    mesh.BeginVtxEdges(itr);
    for (unsigned v = mesh.GetNextVtxNbr(itr); v != IMesh::InvalidID; v = mesh.GetNextVtxNbr(itr))
        nbrs.push_back(v);
    return nbrs;
}

// Checks every invariant of the engine mesh: reference counts, adjacency in both directions,
// edge records, the non-manifold set, live counts and the hole-skipping iterators.
inline ::testing::AssertionResult isConsistent(const VFTriangleMesh& mesh)
{
    std::ostringstream err;
    auto count = [](const auto& list, unsigned x) { return std::count(list.begin(), list.end(), x); };
    auto corners = [&](unsigned t)
    { return std::vector<unsigned>(mesh.GetTriangle(t), mesh.GetTriangle(t) + 3); };
    auto edgeTriangles = [&](unsigned e, Index2i& ev)
    {
        const auto view = mesh.GetEdge(e, ev);
        std::vector<unsigned> list;
        for (size_t k = 0; k < view.size(); ++k)
            list.push_back(view[k]);
        return list;
    };
    unsigned liveV = 0, liveT = 0, liveE = 0, cornerCount = 0;
    for (unsigned v = 0; v < mesh.GetMaxVertexID(); ++v)
    {
        if (!mesh.IsVertex(v))
            continue;
        ++liveV;
        const auto tris = vertexList(mesh, v, false), edges = vertexList(mesh, v, true);
        cornerCount += static_cast<unsigned>(tris.size());
        if (mesh.GetVertexRefCount(v) != static_cast<int>(tris.size()) + 1 ||
            tris.size() != mesh.GetTriangleCount(v) || edges.size() != mesh.GetVertexEdgeCount(v))
            err << "vertex " << v << " count " << mesh.GetVertexRefCount(v) << " or list sizes; ";
        for (unsigned t : tris)
            if (!mesh.IsTriangle(t) || count(tris, t) != 1 || !count(corners(t), v))
                err << "vertex " << v << " lists bad triangle " << t << "; ";
        for (unsigned e : edges)
        {
            Index2i ev;
            if (mesh.IsEdge(e))
                mesh.GetEdgeV(e, ev);
            if (!mesh.IsEdge(e) || count(edges, e) != 1 || (ev[0] != v && ev[1] != v))
                err << "vertex " << v << " lists bad edge " << e << "; ";
        }
    }
    for (unsigned t = 0; t < mesh.GetMaxTriangleID(); ++t)
    {
        if (!mesh.IsTriangle(t))
            continue;
        ++liveT;
        const auto tri = corners(t);
        if (tri[0] == tri[1] || tri[0] == tri[2] || tri[1] == tri[2])
            err << "triangle " << t << " repeats a corner; ";
        for (int j = 0; j < 3; ++j)
        {
            if (!mesh.IsVertex(tri[j]) || count(vertexList(mesh, tri[j], false), t) != 1)
                err << "triangle " << t << " missing from vertex " << tri[j] << "; ";
            const unsigned e = mesh.FindEdge(tri[j], tri[(j + 1) % 3]);
            Index2i ev;
            if (e == IMesh::InvalidID || count(edgeTriangles(e, ev), t) != 1)
                err << "triangle " << t << " side " << j << " has no edge listing it once; ";
        }
    }
    for (unsigned e = 0; e < mesh.GetMaxEdgeID(); ++e)
    {
        if (!mesh.IsEdge(e))
            continue;
        ++liveE;
        Index2i ev;
        const auto list = edgeTriangles(e, ev);
        if (list.empty() || mesh.FindEdge(ev[0], ev[1]) != e || mesh.FindEdge(ev[1], ev[0]) != e)
            err << "edge " << e << " empty or not found from its ends; ";
        for (unsigned t : list)
            if (!mesh.IsTriangle(t) || !count(corners(t), ev[0]) || !count(corners(t), ev[1]))
                err << "edge " << e << " lists bad triangle " << t << "; ";
        if ((list.size() > 2) != (mesh.GetNonManifoldEdges().count(e) == 1))
            err << "edge " << e << " non-manifold set mismatch; ";
    }
    for (unsigned e : mesh.GetNonManifoldEdges())
        if (!mesh.IsEdge(e))
            err << "non-manifold set holds dead edge " << e << "; ";
    if (liveV != mesh.GetVertexCount() || liveT != mesh.GetTriangleCount() || liveE != mesh.GetEdgeCount())
        err << "live counts differ; ";
    if (cornerCount != 3 * liveT)
        err << "corner count " << cornerCount << " != 3 x " << liveT << "; ";
    unsigned iterated = 0;
    for (unsigned t : mesh.Triangles())
        iterated += mesh.IsTriangle(t) ? 1 : 1000000;
    if (iterated != liveT)
        err << "triangle iterator yields " << iterated << "; ";
    if (err.str().empty())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << err.str();
}

// Collects engine assertion reports while alive and restores the previous handler after. Reports
// may come from several threads at once; read them after the parallel work has finished.
class AssertCapture
{
public:
    AssertCapture() : previous_(vsk::SetAssertHandler(&AssertCapture::record)) { reports().clear(); }
    ~AssertCapture() { vsk::SetAssertHandler(previous_); }
    AssertCapture(const AssertCapture&) = delete;
    AssertCapture& operator=(const AssertCapture&) = delete;

    const std::vector<std::string>& messages() const { return reports(); }
    size_t count() const { return reports().size(); }
    bool saw(const std::string& message) const
    {
        return std::count(reports().begin(), reports().end(), message);
    }
    void clear() { reports().clear(); }

private:
    static std::vector<std::string>& reports()
    {
        static std::vector<std::string> messages;
        return messages;
    }
    static bool record(const char* expression, const char*, int, const char*)
    {
        static std::mutex guard;
        std::lock_guard<std::mutex> lock(guard);
        reports().push_back(expression);
        return false;
    }
    vsk::AssertHandler previous_;
};

}  // namespace test
