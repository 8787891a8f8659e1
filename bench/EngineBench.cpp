// Engine mesh benchmarks. Every figure is a ratio against OpenMesh's half-edge TriMesh doing the
// same work on the same grid in the same iteration ("vs_openmesh" > 1 means the engine is slower).

#include "engine/VFTriangleMesh.h"

#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <malloc.h>
#include <vector>

namespace
{

using vsk::IMesh;
using vsk::VFTriangleMesh;
using OMesh = OpenMesh::TriMesh_ArrayKernelT<>;

// Heap bytes in use (small blocks plus mmapped ones), from the C library's allocator.
size_t heapBytes()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

template <class F>
double seconds(F&& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Side of a square grid of about `triangles` triangles.
int gridSide(int64_t triangles)
{
    return static_cast<int>(std::sqrt(static_cast<double>(triangles) / 2.0));
}

void buildEngine(VFTriangleMesh& mesh, int n)
{
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i)
            mesh.AppendVertex(vsk::Vector3f(float(i), float(j), 0.0f));
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
        {
            const unsigned a = j * (n + 1) + i, b = a + 1, c = a + n + 2, d = a + n + 1;
            mesh.AppendTriangle(a, b, c);
            mesh.AppendTriangle(a, c, d);
        }
}

void buildOpenMesh(OMesh& mesh, int n)
{
    std::vector<OMesh::VertexHandle> vh;
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i)
            vh.push_back(mesh.add_vertex(OMesh::Point(float(i), float(j), 0.0f)));
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
        {
            const int a = j * (n + 1) + i, b = a + 1, c = a + n + 2, d = a + n + 1;
            mesh.add_face(vh[a], vh[b], vh[c]);
            mesh.add_face(vh[a], vh[c], vh[d]);
        }
}

void BuildMesh(benchmark::State& state)
{
    const int n = gridSide(state.range(0));
    double engine = 0, openMesh = 0;
    size_t bytes = 0, records = 0;
    unsigned triangles = 0;
    size_t heapEngine = 0, heapOpenMesh = 0;
    for (auto _ : state)
    {
        size_t before = heapBytes();
        OMesh reference;
        openMesh += seconds([&] { buildOpenMesh(reference, n); });
        heapOpenMesh = heapBytes() - before;
        before = heapBytes();
        VFTriangleMesh mesh;
        const double t = seconds([&] { buildEngine(mesh, n); });
        heapEngine = heapBytes() - before;
        engine += t;
        state.SetIterationTime(t);
        triangles = mesh.GetTriangleCount();
        bytes = mesh.GetAllocatedBytes();
        // What the records themselves need: counted vertex (48) with its adjacency (72), counted
        // triangle (28), counted edge (20).
        records = size_t(mesh.GetVertexCount()) * (48 + 72) + size_t(triangles) * 28 +
                  size_t(mesh.GetEdgeCount()) * 20;
    }
    state.counters["triangles"] = triangles;
    state.counters["bytes_per_triangle"] = double(bytes) / triangles;
    state.counters["record_bytes_per_triangle"] = double(records) / triangles;
    state.counters["heap_vs_openmesh"] = double(heapEngine) / double(heapOpenMesh);
    state.counters["vs_openmesh"] = engine / openMesh;
}
BENCHMARK(BuildMesh)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

struct Meshes
{
    explicit Meshes(int n)
    {
        buildEngine(engine, n);
        buildOpenMesh(reference, n);
    }
    VFTriangleMesh engine;
    OMesh reference;
};

Meshes& sharedMeshes()
{
    static Meshes meshes(gridSide(1'000'000));
    return meshes;
}

// Finds every edge from both ends (2 E lookups).
void FindEdge(benchmark::State& state)
{
    Meshes& m = sharedMeshes();
    double engine = 0, openMesh = 0;
    size_t found = 0;
    for (auto _ : state)
    {
        found = 0;
        const double t = seconds(
            [&]
            {
                for (unsigned e : m.engine.Edges())
                {
                    vsk::Index2i ev;
                    m.engine.GetEdgeV(e, ev);
                    found += m.engine.FindEdge(ev[0], ev[1]) != IMesh::InvalidID;
                    found += m.engine.FindEdge(ev[1], ev[0]) != IMesh::InvalidID;
                }
            });
        engine += t;
        state.SetIterationTime(t);
        size_t foundOm = 0;
        openMesh += seconds(
            [&]
            {
                for (auto eh : m.reference.edges())
                {
                    auto heh = m.reference.halfedge_handle(eh, 0);
                    auto a = m.reference.from_vertex_handle(heh), b = m.reference.to_vertex_handle(heh);
                    foundOm += m.reference.find_halfedge(a, b).is_valid();
                    foundOm += m.reference.find_halfedge(b, a).is_valid();
                }
            });
        benchmark::DoNotOptimize(foundOm);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(found));
    state.counters["vs_openmesh"] = engine / openMesh;
}
BENCHMARK(FindEdge)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

// Walks the one-ring neighbours of every vertex.
void OneRing(benchmark::State& state)
{
    Meshes& m = sharedMeshes();
    double engine = 0, openMesh = 0;
    size_t visited = 0;
    for (auto _ : state)
    {
        visited = 0;
        const double t = seconds(
            [&]
            {
                for (unsigned v : m.engine.Vertices())
                {
                    VFTriangleMesh::VtxNbrItr itr(v);
                    m.engine.BeginVtxEdges(itr);
                    for (unsigned w = m.engine.GetNextVtxNbr(itr); w != IMesh::InvalidID;
                         w = m.engine.GetNextVtxNbr(itr))
                        visited += w;
                }
            });
        engine += t;
        state.SetIterationTime(t);
        size_t visitedOm = 0;
        openMesh += seconds(
            [&]
            {
                for (auto vh : m.reference.vertices())
                    for (auto w : m.reference.vv_range(vh))
                        visitedOm += w.idx();
            });
        benchmark::DoNotOptimize(visitedOm);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(m.engine.GetVertexCount()));
    benchmark::DoNotOptimize(visited);
    state.counters["vs_openmesh"] = engine / openMesh;
}
BENCHMARK(OneRing)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

// Counts boundary edges over all edge IDs.
void BoundaryEdgeScan(benchmark::State& state)
{
    Meshes& m = sharedMeshes();
    double engine = 0, openMesh = 0;
    size_t boundary = 0;
    for (auto _ : state)
    {
        boundary = 0;
        const double t = seconds(
            [&]
            {
                for (unsigned e = 0; e < m.engine.GetMaxEdgeID(); ++e)
                    boundary += m.engine.IsEdge(e) && m.engine.IsBoundaryEdge(e);
            });
        engine += t;
        state.SetIterationTime(t);
        size_t boundaryOm = 0;
        openMesh += seconds(
            [&]
            {
                for (auto eh : m.reference.edges())
                    boundaryOm += m.reference.is_boundary(eh);
            });
        benchmark::DoNotOptimize(boundaryOm);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(m.engine.GetEdgeCount()));
    state.counters["boundary_edges"] = double(boundary);
    state.counters["vs_openmesh"] = engine / openMesh;
}
BENCHMARK(BoundaryEdgeScan)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
