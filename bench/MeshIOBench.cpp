// File and model conversion benchmarks on the generated ~1M-face terrain: ReadMesh and WriteMesh
// of binary PLY and STL against OpenMesh's own reader and writer in the same run, and fromModel /
// ToModel round trips. The speedup counter is baseline time / library time (> 1: faster).

// clang-format off
#include <OpenMesh/Core/IO/MeshIO.hh>  // must precede the mesh kernel
// clang-format on

#include "bench/BenchMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <random>
#include <string>

namespace
{

using bench::Mesh;
using Quelm::Topology::OpenMeshUtility;

const Mesh& terrain1M()
{
    static const Mesh mesh = bench::makeTerrain(708);
    return mesh;
}

// A scratch folder removed at exit.
const std::filesystem::path& scratch()
{
    struct Dir
    {
        std::filesystem::path path;
        Dir()
        {
            path = std::filesystem::temp_directory_path() /
                   ("qlm_bench_" + std::to_string(std::random_device{}()));
            std::filesystem::create_directories(path);
        }
        ~Dir()
        {
            std::error_code ec;
            std::filesystem::remove_all(path, ec);
        }
    };
    static const Dir dir;
    return dir.path;
}

OpenMesh::IO::Options binaryOptions()
{
    OpenMesh::IO::Options options;
    options += OpenMesh::IO::Options::Binary;
    return options;
}

void WriteMeshFile(benchmark::State& state, const std::string& extension)
{
    const auto ours = scratch() / ("ours." + extension);
    const auto stock = scratch() / ("stock." + extension);
    double tOurs = 0, tStock = 0;
    for (auto _ : state)
    {
        Mesh a = terrain1M(), b = terrain1M();  // copies are not timed (WriteMesh may clean the mesh)
        tStock += bench::seconds([&] { OpenMesh::IO::write_mesh(b, stock.string(), binaryOptions()); });
        const double t =
            bench::seconds([&] { OpenMeshUtility::WriteMesh(ours.wstring().c_str(), &a, false); });
        tOurs += t;
        state.SetIterationTime(t);
    }
    state.counters["faces"] = double(terrain1M().n_faces());
    state.counters["speedup"] = tStock / tOurs;
    state.counters["MiB"] = double(std::filesystem::file_size(ours)) / (1024.0 * 1024.0);
}

void ReadMeshFile(benchmark::State& state, const std::string& extension)
{
    const auto path = scratch() / ("input." + extension);
    {
        Mesh copy = terrain1M();
        OpenMesh::IO::write_mesh(copy, path.string(), binaryOptions());
    }
    double tOurs = 0, tStock = 0;
    size_t faces = 0;
    for (auto _ : state)
    {
        Mesh stock;
        OpenMesh::IO::Options options = binaryOptions();
        tStock += bench::seconds([&] { OpenMesh::IO::read_mesh(stock, path.string(), options); });
        std::unique_ptr<Mesh> ours;
        const double t =
            bench::seconds([&] { ours.reset(OpenMeshUtility::ReadMesh(path.wstring().c_str())); });
        tOurs += t;
        state.SetIterationTime(t);
        faces = ours ? ours->n_faces() : 0;
    }
    state.counters["faces"] = double(faces);
    state.counters["speedup"] = tStock / tOurs;
}

void ModelRoundTrip(benchmark::State& state)
{
    double tTo = 0, tFrom = 0;
    size_t faces = 0;
    for (auto _ : state)
    {
        std::shared_ptr<Quelm::Objects::Model> model;
        tTo += bench::seconds([&] { model = OpenMeshUtility::ToModel(&terrain1M()); });
        std::shared_ptr<Mesh> back;
        const double t = bench::seconds([&] { back = OpenMeshUtility::fromModel(model); });
        tFrom += t;
        state.SetIterationTime(t);
        faces = back ? back->n_faces() : 0;
    }
    const double n = double(state.iterations());
    state.counters["faces"] = double(faces);
    state.counters["ToModel_s"] = tTo / n;
    state.counters["fromModel_s"] = tFrom / n;
}

}  // namespace

BENCHMARK_CAPTURE(WriteMeshFile, ply, std::string("ply"))
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WriteMeshFile, stl, std::string("stl"))
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadMeshFile, ply, std::string("ply"))
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadMeshFile, stl, std::string("stl"))
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ModelRoundTrip)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
