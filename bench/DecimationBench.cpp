// Decimation benchmarks. Every iteration runs, on copies of the same input and in the same
// process: OpenMesh's stock decimater (quadric + normal flipping, the baseline), the serial
// DecimateMesh, and DecimateMeshParallel on the fine and on the coarse grid, all to the same
// face target. Counters give faces removed per second, speed against the baseline, and the
// approximate symmetric Hausdorff distance of each result to its input (relative to the
// bounding-box diagonal). The manual time is the parallel fine-grid run.

// clang-format off
#include <OpenMesh/Core/IO/MeshIO.hh>  // must precede the mesh kernel
// clang-format on

#include "bench/BenchMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <OpenMesh/Tools/Decimater/DecimaterT.hh>
#include <OpenMesh/Tools/Decimater/ModNormalFlippingT.hh>
#include <OpenMesh/Tools/Decimater/ModQuadricT.hh>
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace
{

using bench::Mesh;
using Quelm::Topology::OpenMeshUtility;

constexpr float kRatio = 0.9f;
constexpr double kErrorFactor = 1.0;  // generous: the face target, not the bound, stops all four
constexpr double kMaxAngleDeg = 60.0;

// OpenMesh's stock quadric decimation to `targetFaces`, on the kernel's own mesh type (the
// library's mesh type replaces some of the kernel's connectivity checks with faster ones).
void stockDecimate(bench::KernelMesh& mesh, size_t targetFaces)
{
    using bench::KernelMesh;
    mesh.request_face_normals();
    mesh.update_face_normals();
    {
        OpenMesh::Decimater::DecimaterT<KernelMesh> decimater(mesh);
        OpenMesh::Decimater::ModQuadricT<KernelMesh>::Handle quadric;
        OpenMesh::Decimater::ModNormalFlippingT<KernelMesh>::Handle flipping;
        decimater.add(quadric);
        decimater.add(flipping);
        decimater.module(flipping).set_max_normal_deviation(kMaxAngleDeg);
        decimater.initialize();
        decimater.decimate_to_faces(0, targetFaces);
    }
    mesh.garbage_collection();
    mesh.release_face_normals();
}

// Inputs are built once per process and shared by the benchmarks that use them.
const Mesh& input(const std::string& name)
{
    static std::map<std::string, std::unique_ptr<Mesh>> cache;
    auto& slot = cache[name];
    if (!slot)
    {
        if (name == "terrain100k")
            slot = std::make_unique<Mesh>(bench::makeTerrain(224));
        else if (name == "terrain1M")
            slot = std::make_unique<Mesh>(bench::makeTerrain(708));
        else
        {
            slot = std::make_unique<Mesh>();
            OpenMesh::IO::read_mesh(*slot, name);
        }
    }
    return *slot;
}

void compareDecimations(benchmark::State& state, const std::string& name)
{
    const Mesh& source = input(name);
    const size_t faces = source.n_faces();
    const size_t target = static_cast<size_t>(float(faces) - float(faces) * kRatio);
    bench::Timing tBase, tSerial, tFine, tCoarse;
    double hBase = 0, hSerial = 0, hFine = 0, hCoarse = 0;
    size_t rBase = 0, rSerial = 0, rFine = 0, rCoarse = 0;
    size_t peak = 0, before = 0;
    for (auto _ : state)
    {
        // copies are not timed; the baseline's is the kernel part of the input
        bench::KernelMesh base = static_cast<const bench::KernelMesh&>(source);
        Mesh serial = source, fine = source, coarse = source;
        tBase += bench::timed([&] { stockDecimate(base, target); });
        tSerial += bench::timed(
            [&] { OpenMeshUtility::DecimateMesh(&serial, kRatio, kErrorFactor, kMaxAngleDeg, true); });
        before = bench::residentBytes();
        bench::Timing t;
        peak = bench::peakResidentDuring(
            [&]
            {
                t = bench::timed(
                    [&] {
                        OpenMeshUtility::DecimateMeshParallel(&fine, kRatio, kErrorFactor, kMaxAngleDeg, true,
                                                              false, false);
                    });
            });
        tFine += t;
        state.SetIterationTime(t.wall);
        tCoarse += bench::timed(
            [&] {
                OpenMeshUtility::DecimateMeshParallel(&coarse, kRatio, kErrorFactor, kMaxAngleDeg, true, true,
                                                      false);
            });
        rBase = faces - base.n_faces();
        rSerial = faces - serial.n_faces();
        rFine = faces - fine.n_faces();
        rCoarse = faces - coarse.n_faces();
        hBase = bench::relativeHausdorff(source, base);
        hSerial = bench::relativeHausdorff(source, serial);
        hFine = bench::relativeHausdorff(source, fine);
        hCoarse = bench::relativeHausdorff(source, coarse);
    }
    const double n = static_cast<double>(state.iterations());
    auto perSecond = [n](size_t removed, double total) { return removed / (total / n); };
    state.counters["faces"] = double(faces);
    state.counters["left_base"] = double(faces - rBase);
    state.counters["left_serial"] = double(faces - rSerial);
    state.counters["left_par"] = double(faces - rFine);
    state.counters["left_coarse"] = double(faces - rCoarse);
    // wall seconds, and CPU seconds of all threads
    state.counters["base_s"] = tBase.wall / n;
    state.counters["serial_s"] = tSerial.wall / n;
    state.counters["par_s"] = tFine.wall / n;
    state.counters["coarse_s"] = tCoarse.wall / n;
    state.counters["base_cpu"] = tBase.cpu / n;
    state.counters["serial_cpu"] = tSerial.cpu / n;
    state.counters["par_cpu"] = tFine.cpu / n;
    state.counters["coarse_cpu"] = tCoarse.cpu / n;
    state.counters["par_rm/s"] = perSecond(rFine, tFine.wall);
    // > 1 means faster than the stock decimater, in faces removed per wall second
    state.counters["serial_x"] = perSecond(rSerial, tSerial.wall) / perSecond(rBase, tBase.wall);
    state.counters["par_x"] = perSecond(rFine, tFine.wall) / perSecond(rBase, tBase.wall);
    state.counters["coarse_x"] = perSecond(rCoarse, tCoarse.wall) / perSecond(rBase, tBase.wall);
    state.counters["H_base"] = hBase;
    state.counters["H_serial"] = hSerial;
    state.counters["H_par"] = hFine;
    state.counters["H_coarse"] = hCoarse;
    state.counters["par_peak_MiB"] = double(peak) / (1024.0 * 1024.0);
    state.counters["par_extra_MiB"] = double(peak - std::min(peak, before)) / (1024.0 * 1024.0);
}

// Generated terrains always; the scans of ../shared/meshes (seen from the repository root, where
// `make bench` runs) when that folder is there. QLM_BENCH_MESHES overrides the folder.
int registerDecimationBenchmarks()
{
    for (const char* name : {"terrain100k", "terrain1M"})
        benchmark::RegisterBenchmark((std::string("Decimate/") + name).c_str(),
                                     [name](benchmark::State& s) { compareDecimations(s, name); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    const char* folder = std::getenv("QLM_BENCH_MESHES");
    const std::filesystem::path dir = folder ? folder : "../shared/meshes";
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(dir, ec))
    {
        if (entry.path().extension() != ".off")
            continue;
        const std::string path = entry.path().string();
        benchmark::RegisterBenchmark(("Decimate/" + entry.path().stem().string()).c_str(),
                                     [path](benchmark::State& s) { compareDecimations(s, path); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    return 0;
}

const int registered = registerDecimationBenchmarks();

}  // namespace
