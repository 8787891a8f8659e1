// Reads every file under the given folders through ReadMesh, as the fuzz targets do, and prints
// one line per file: its face count, or the reason it was refused. Built without sanitizers, so
// that `make valgrind-corpus` can run it under valgrind's memcheck: an uninitialised read inside
// a reader, or a leak, shows there. Usage: qlm_read_corpus <folder or file>...
#include "common/Util.h"
#include "topology/OpenMeshUtility.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace
{

using Quelm::Topology::OpenMeshUtility;

std::vector<std::filesystem::path> filesUnder(const std::filesystem::path& root)
{
    std::vector<std::filesystem::path> files;
    std::error_code ec;
    if (std::filesystem::is_regular_file(root, ec))
        files.push_back(root);
    else
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root, ec))
            if (entry.is_regular_file(ec))
                files.push_back(entry.path());
    std::sort(files.begin(), files.end());  // the same order, and so the same output, every run
    return files;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::cerr << "usage: qlm_read_corpus <folder or file>...\n";
        return 2;
    }
    size_t read = 0, refused = 0;
    for (int i = 1; i < argc; ++i)
        for (const auto& file : filesUnder(argv[i]))
        {
            const std::wstring path = Quelm::Objects::Util::ConvertToWchar(file.string());
            std::string reason;
            std::unique_ptr<OpenMeshUtility::Mesh> mesh(OpenMeshUtility::ReadMesh(path.c_str(), reason));
            if (!mesh)
            {
                ++refused;
                std::cout << file.string() << ": refused: " << reason << "\n";
                continue;
            }
            ++read;
            const auto model = OpenMeshUtility::ToModel(mesh.get());  // the conversion reads every normal
            std::cout << file.string() << ": " << mesh->n_faces() << " faces" << (model ? "" : ", no model")
                      << "\n";
        }
    std::cout << read << " read, " << refused << " refused\n";
    return 0;
}
