#include "topology/MeshFileGuard.h"
#include "topology/OxmOMTopology.h"

#include <OpenMesh/Core/IO/IOManager.hh>
#include <OpenMesh/Core/IO/MeshIO.hh>
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>

namespace
{

using Mesh = Quelm::Topology::TopologyMesh;
using Options = OpenMesh::IO::Options;

// An n x n grid of split quads over a gentle height field: 2 n^2 faces, coordinates that need all
// their digits in text formats.
Mesh makeTerrain(int n)
{
    Mesh mesh;
    std::vector<Mesh::VertexHandle> vh;
    vh.reserve(static_cast<size_t>(n + 1) * (n + 1));
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i)
            vh.push_back(mesh.add_vertex(
                Mesh::Point(0.37f * i, 0.41f * j, std::sin(0.05f * i) * std::cos(0.07f * j) * 3.3f)));
    auto at = [&](int i, int j) { return vh[static_cast<size_t>(j) * (n + 1) + i]; };
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
        {
            mesh.add_face(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            mesh.add_face(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    return mesh;
}

struct Format
{
    const char* label;
    const char* extension;
    unsigned writeOptions;
    unsigned readOptions;
};

const Format kFormats[] = {
    {"obj", ".obj", Options::Default, Options::Default},
    {"off", ".off", Options::Default, Options::Default},
    {"ply-ascii", ".ply", Options::Default, Options::Default},
    {"ply-binary", ".ply", Options::Binary, Options::Default},
    {"stl-binary", ".stl", Options::Binary, Options::Binary},
    {"om", ".om", Options::Default, Options::Default},
};

// The sample files of one run, written once on first use and removed at exit.
class Samples
{
public:
    ~Samples()
    {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }

    const std::filesystem::path& file(size_t format, int gridSize)
    {
        const auto key = std::make_pair(format, gridSize);
        auto found = files_.find(key);
        if (found != files_.end())
            return found->second;
        if (dir_.empty())
        {
            std::random_device rd;
            dir_ = std::filesystem::temp_directory_path() / ("qlm_bench_guard_" + std::to_string(rd()));
            std::filesystem::create_directories(dir_);
        }
        const Mesh mesh = makeTerrain(gridSize);
        const Format& f = kFormats[format];
        auto path = dir_ / (std::string(f.label) + "_" + std::to_string(gridSize) + f.extension);
        OpenMesh::IO::write_mesh(mesh, path.string(), Options(f.writeOptions));
        return files_.emplace(key, path).first->second;
    }

private:
    std::filesystem::path dir_;
    std::map<std::pair<size_t, int>, std::filesystem::path> files_;
};

Samples& samples()
{
    static Samples instance;
    return instance;
}

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Guard and reader run on the same file in every iteration, the guard first, as a read does:
// the counter is the guard's share of the read it protects (100 means as long as the read).
void GuardVersusRead(benchmark::State& state)
{
    const size_t format = static_cast<size_t>(state.range(0));
    const int gridSize = static_cast<int>(state.range(1));
    const Format& f = kFormats[format];
    const auto& path = samples().file(format, gridSize);
    double guard = 0, read = 0;
    for (auto _ : state)
    {
        std::ifstream in(path, std::ios::binary);
        auto start = std::chrono::steady_clock::now();
        const bool accepted = Quelm::Topology::MeshFileGuard::accepts(in, f.extension);
        const double guardSeconds = secondsSince(start);

        Mesh mesh;
        OpenMesh::IO::ImporterT<Mesh> importer(mesh);
        Options options(f.readOptions);
        start = std::chrono::steady_clock::now();
        const bool isRead = OpenMesh::IO::IOManager().read(in, f.extension, importer, options);
        read += secondsSince(start);
        guard += guardSeconds;
        state.SetIterationTime(guardSeconds);
        if (!accepted || !isRead || mesh.n_faces() != 2u * gridSize * gridSize)
            state.SkipWithError("sample refused or misread");
    }
    state.SetLabel(f.label);
    state.counters["faces"] = 2.0 * gridSize * gridSize;
    state.counters["MB"] = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
    state.counters["guard_pct_of_read"] = read > 0 ? 100.0 * guard / read : 0.0;
    // what a streaming reader built on the same checks can expect of them at most
    const double iterations = static_cast<double>(state.iterations());
    state.counters["guard_MB_per_s"] =
        guard > 0 ? iterations * static_cast<double>(std::filesystem::file_size(path)) / 1e6 / guard : 0.0;
    state.counters["guard_Mfaces_per_s"] =
        guard > 0 ? iterations * 2.0 * gridSize * gridSize / 1e6 / guard : 0.0;
}

}  // namespace

// 707 x 707 split quads: 999,698 faces.
BENCHMARK(GuardVersusRead)
    ->ArgsProduct({benchmark::CreateDenseRange(0, 5, 1), {707}})
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
