// Writes the seed corpus of the fuzz targets: small valid files of every format, as the
// library's writer and OpenMesh's text and binary writers produce them, and a few hand-made
// variants (header flags, list types, polygons). Usage: qlm_fuzz_seeds <directory>; one
// subdirectory per format (obj, off, ply, stl, om) is created in it.
#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <OpenMesh/Core/IO/MeshIO.hh>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace
{

using Quelm::Topology::OpenMeshUtility;
using Options = OpenMesh::IO::Options;

struct HandMade
{
    const char* format;
    const char* name;
    const char* text;
};

const HandMade kHandMade[] = {
    {"obj", "quads.obj",
     "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 0 1\nvt 0 0\nvt 1 0\nvt 1 1\nvn 0 0 1\n"
     "f 1/1/1 2/2/1 3/3/1 4/1/1\nf 1 2 5\nf -1 -2 -3\nusemtl a\ns off\ng part\n"},
    {"off", "normals.off", "NOFF\n3 1 0\n0 0 0 0 0 1\n1 0 0 0 0 1\n0 1 0 0 0 1\n3 0 1 2\n"},
    {"off", "colours.off",
     "STCOFF\n4 2 0\n0 0 0 255 0 0 0 0\n1 0 0 0 255 0 1 0\n0 1 0 0 0 255 0 1\n"
     "1 1 0 9 9 9 1 1\n3 0 1 2\n4 1 3 2 0\n"},
    {"ply", "intlist.ply",
     "ply\nformat ascii 1.0\ncomment hand made\nelement vertex 4\nproperty double x\n"
     "property double y\nproperty double z\nproperty uchar red\nproperty float nx\n"
     "element face 2\nproperty list int uint vertex_index\nelement edge 1\n"
     "property int a\nend_header\n0 0 0 1 0\n1 0 0 2 0\n0 1 0 3 0\n1 1 0 4 0\n"
     "3 0 1 2\n4 1 3 2 0\n7\n"},
    {"stl", "text.stl",
     "solid s\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n"
     "endloop\nendfacet\nfacet normal 0 0 1\nouter loop\nvertex 1 0 0\nvertex 1 1 0\n"
     "vertex 0 1 0\nendloop\nendfacet\nendsolid s\n"},
};

struct Written
{
    const char* format;
    const char* extension;
    unsigned options;
};

const Written kWritten[] = {
    {"obj", ".obj", Options::Default},
    {"off", ".off", Options::Default},
    {"ply", ".ply", Options::Default},
    {"ply", ".ply", Options::Binary},
    {"ply", ".ply", Options::Binary | Options::MSB},
    {"stl", ".stl", Options::Default},
    {"stl", ".stl", Options::Binary},
    {"om", ".om", Options::VertexNormal | Options::Status},
    {"om", ".om", Options::Default},
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::cerr << "usage: qlm_fuzz_seeds <directory>\n";
        return 2;
    }
    const std::filesystem::path root(argv[1]);
    for (const char* format : {"obj", "off", "ply", "stl", "om"})
        std::filesystem::create_directories(root / format);

    int n = 0;
    for (const Written& w : kWritten)
    {
        auto tet = test::makeTetrahedron();
        auto grid = test::makeGrid(3, 2);
        for (auto* mesh : {tet.get(), grid.get()})
        {
            const auto path = root / w.format / ("written_" + std::to_string(n++) + w.extension);
            if (!OpenMesh::IO::write_mesh(*mesh, path.string(), Options(w.options)))
                return 1;
        }
    }
    for (const char* format : {"obj", "off", "ply", "stl", "om"})
    {
        auto sphere = test::makeGrid(2, 2);
        const auto path = root / format / (std::string("library.") + format);
        if (!OpenMeshUtility::WriteMesh(path.wstring().c_str(), sphere.get(), true))
            return 1;
    }
    for (const HandMade& h : kHandMade)
        std::ofstream(root / h.format / h.name, std::ios::binary) << h.text;
    return 0;
}
