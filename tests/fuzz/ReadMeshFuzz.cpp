// libFuzzer target: each input is saved under the target's extension and read through ReadMesh,
// as a host would read a file a user dropped on it. A mesh that comes back must hold what the
// rest of the library assumes: finite points, vertex rings that close, faces that are triangles,
// and a model conversion that completes.
#include "topology/OpenMeshUtility.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

#ifndef QLM_FUZZ_EXTENSION
#error "QLM_FUZZ_EXTENSION must name the format, e.g. \".ply\""
#endif

namespace
{

using Quelm::Topology::OpenMeshUtility;
using Mesh = OpenMeshUtility::Mesh;

// The one input file of this process, removed at exit.
class InputFile
{
public:
    InputFile()
        : path_(std::filesystem::temp_directory_path() /
                ("qlm_fuzz_" + std::to_string(getpid()) + QLM_FUZZ_EXTENSION))
    {
    }
    ~InputFile()
    {
        std::error_code ec;
        std::filesystem::remove(path_, ec);
    }
    const std::filesystem::path& write(const uint8_t* data, size_t size)
    {
        std::ofstream out(path_, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        return path_;
    }

private:
    std::filesystem::path path_;
};

void require(bool condition)
{
    if (!condition)
        std::abort();  // reported by libFuzzer as a crash, with the input saved
}

void checkMesh(const Mesh& mesh)
{
    for (auto vh : mesh.vertices())
    {
        const auto& p = mesh.point(vh);
        require(std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]));
        size_t steps = 0;
        for (auto heh : mesh.voh_range(vh))
            require(mesh.from_vertex_handle(heh) == vh && ++steps <= mesh.n_halfedges());
    }
    for (auto fh : mesh.faces())
    {
        size_t corners = 0;
        for (auto vh : mesh.fv_range(fh))
            require(vh.is_valid() && static_cast<size_t>(vh.idx()) < mesh.n_vertices() && ++corners <= 3);
        require(corners == 3);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static InputFile input;
    const std::filesystem::path& path = input.write(data, size);
    std::unique_ptr<Mesh> mesh(OpenMeshUtility::ReadMesh(path.wstring().c_str()));
    if (!mesh)
        return 0;
    checkMesh(*mesh);
    require(OpenMeshUtility::GetFaceCount(*mesh) == mesh->n_faces());
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    (void)box;
    const double area = OpenMeshUtility::calcSurfaceArea(*mesh);  // may overflow: points reach 3e38
    (void)area;
    require(OpenMeshUtility::ToModel(mesh.get()) != nullptr);
    return 0;
}
