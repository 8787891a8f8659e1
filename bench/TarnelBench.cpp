// Boundary and selection operations on a generated grid of about 10^6 triangles with about 100
// square holes. Each benchmark times a baseline on the same mesh in the same iteration and
// reports ratio = ours / baseline (below 1 is faster) or speedup = baseline / ours.

#include "engine/OxmTnSurface.h"
#include "tarnel/TarnelUtility.h"
#include "tests/support/TarnelMeshes.h"

#include <benchmark/benchmark.h>
#include <tbb/task_arena.h>

#include <chrono>
#include <set>
#include <unordered_set>

namespace
{

using Quelm::Topology::OxmTnSurface;
using Quelm::Topology::TarnelUtility;

constexpr int kSide = 708;  // 2 x 708^2 = 1.0M triangles before the holes
constexpr int kHoles = 100;
constexpr unsigned kFlag = 3;

template <class F>
double seconds(F&& f)
{
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The flagged mesh shared by the read-only benchmarks, built once.
const vsk::VFTriangleMesh& flaggedMesh()
{
    static const std::unique_ptr<vsk::VFTriangleMesh> mesh = []
    {
        auto m = test::makeHoleyGrid(kSide, kHoles);
        test::flagAll(*m, kFlag);
        return m;
    }();
    return *mesh;
}

void report(benchmark::State& state, double ours, double baseline, const char* name)
{
    state.counters["triangles"] = flaggedMesh().GetTriangleCount();
    state.counters[name] = name[0] == 's' ? baseline / ours : ours / baseline;
}

// Baseline: the engine's own border-loop extraction of the set of all triangles.
void FindBoundariesWithFlag(benchmark::State& state)
{
    const auto& mesh = flaggedMesh();
    std::set<unsigned> all;
    for (unsigned t : mesh.Triangles())
        all.insert(all.end(), t);
    double ours = 0, baseline = 0;
    size_t loopCount = 0;
    for (auto _ : state)
    {
        TarnelUtility::PathList loops, paths;
        const double t = seconds([&] { TarnelUtility::FindBoundariesWithFlag(mesh, kFlag, loops, paths); });
        std::vector<vsk::VFTriangleMesh::BoundaryLoop> engineLoops;
        baseline += seconds([&] { mesh.GetBoundaryLoops(all, engineLoops); });
        ours += t;
        loopCount = loops.size();
        state.SetIterationTime(t);
    }
    state.counters["loops"] = double(loopCount);
    report(state, ours, baseline, "ratio_vs_engine_border_loops");
}

// Baseline: inserting every triangle ID into a std::set, the unavoidable cost of the output.
void ConnectedTriangleSelection(benchmark::State& state)
{
    const auto& mesh = flaggedMesh();
    double ours = 0, baseline = 0;
    for (auto _ : state)
    {
        std::set<unsigned> selection, plain;
        const double t = seconds([&] { TarnelUtility::GetConnectedSelection(mesh, 0, selection, kFlag); });
        baseline += seconds(
            [&]
            {
                for (unsigned tID : mesh.Triangles())
                    plain.insert(tID);
            });
        ours += t;
        benchmark::DoNotOptimize(selection.size() + plain.size());
        state.SetIterationTime(t);
    }
    report(state, ours, baseline, "ratio_vs_set_insert");
}

// Baseline: inserting every vertex ID into an unordered_set.
void ConnectedVertexSelection(benchmark::State& state)
{
    const auto& mesh = flaggedMesh();
    double ours = 0, baseline = 0;
    for (auto _ : state)
    {
        std::unordered_set<unsigned> selection, plain;
        const double t = seconds([&] { TarnelUtility::GetConnectedSelection(mesh, 0u, selection, kFlag); });
        baseline += seconds(
            [&]
            {
                for (unsigned vID : mesh.Vertices())
                    plain.insert(vID);
            });
        ours += t;
        benchmark::DoNotOptimize(selection.size() + plain.size());
        state.SetIterationTime(t);
    }
    report(state, ours, baseline, "ratio_vs_set_insert");
}

// The lower half of the mesh as the set; baseline: the same call on one thread.
void TrisBoundaryEdges(benchmark::State& state)
{
    const auto& mesh = flaggedMesh();
    tbb::concurrent_unordered_set<unsigned> tris;
    for (unsigned t : mesh.Triangles())
        if (t < mesh.GetMaxTriangleID() / 2)
            tris.insert(t);
    tbb::task_arena serial(1);
    double ours = 0, baseline = 0;
    for (auto _ : state)
    {
        tbb::concurrent_unordered_set<unsigned> outside, edges, outside1, edges1;
        const double t = seconds([&] { TarnelUtility::TrisBoundaryEdges(mesh, tris, outside, edges); });
        baseline += seconds(
            [&] { serial.execute([&] { TarnelUtility::TrisBoundaryEdges(mesh, tris, outside1, edges1); }); });
        ours += t;
        state.SetIterationTime(t);
    }
    state.counters["threads"] = tbb::this_task_arena::max_concurrency();
    report(state, ours, baseline, "speedup_vs_one_thread");
}

// Every triangle, set then cleared; baseline: the same call on one thread.
void FlagFaces(benchmark::State& state)
{
    auto mesh = test::makeHoleyGrid(kSide, kHoles);
    const std::vector<unsigned> all = test::liveTriangles(*mesh);
    tbb::task_arena serial(1);
    double ours = 0, baseline = 0;
    bool clear = false;
    for (auto _ : state)
    {
        const double t = seconds([&] { TarnelUtility::FlagFaces(*mesh, all, kFlag, clear); });
        baseline +=
            seconds([&] { serial.execute([&] { TarnelUtility::FlagFaces(*mesh, all, kFlag, clear); }); });
        ours += t;
        clear = !clear;
        state.SetIterationTime(t);
    }
    state.counters["threads"] = tbb::this_task_arena::max_concurrency();
    report(state, ours, baseline, "speedup_vs_one_thread");
}

// One triangle in ten flagged, on a surface with no UV layer; baseline: the engine's
// RemoveTriangle called directly on the same IDs of a second copy.
void RemoveFacesWithFlag(benchmark::State& state)
{
    auto source = test::makeHoleyGrid(kSide, kHoles);
    std::vector<unsigned> tenth;
    for (unsigned t : source->Triangles())
        if (t % 10 == 0)
        {
            source->SetTriangleFlag(t, kFlag);
            tenth.push_back(t);
        }
    double ours = 0, baseline = 0;
    for (auto _ : state)
    {
        boost::shared_ptr<OxmTnSurface> surface(new OxmTnSurface);
        static_cast<vsk::VFTriangleMesh&>(surface->getMesh()) = *source;  // copies are not timed
        vsk::VFTriangleMesh copy(*source);
        const double t =
            seconds([&] { TarnelUtility::RemoveFacesWithFlag(OxmTnSurface::castUp(surface), kFlag); });
        baseline += seconds(
            [&]
            {
                for (unsigned tID : tenth)
                    copy.RemoveTriangle(tID);
            });
        ours += t;
        state.SetIterationTime(t);
    }
    report(state, ours, baseline, "ratio_vs_plain_removal");
}

}  // namespace

BENCHMARK(FindBoundariesWithFlag)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(ConnectedTriangleSelection)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(ConnectedVertexSelection)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(TrisBoundaryEdges)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(FlagFaces)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(RemoveFacesWithFlag)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
