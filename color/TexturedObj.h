#pragma once

#include "color/ObjFile.h"
#include "engine/OxmTnSurface.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Quelm::Topology
{

// A surface built from a textured OBJ, ready for ColorUtility::getTriangleColor.
struct TexturedObj
{
    // Group ID of triangles that come before any usemtl: the material set has no entry for it.
    static constexpr unsigned kNoMaterialGroup = 0xFFFFFFFFu;

    boost::shared_ptr<OxmTnSurface> surface;
    // The surface triangle of each OBJ triangle, in file order; IMesh::InvalidID for a triangle
    // the mesh refused (two equal corners).
    std::vector<unsigned> triangleIDs;
    // One line each: what is missing or was skipped (from reading the OBJ and its textures).
    std::vector<std::string> warnings;

    // Builds the surface of `mesh`: one vertex per position, UV layer 0 with one UV vertex per
    // texture coordinate and a layer triangle for every triangle whose three corners have one,
    // and one material per OBJ material with group ID = its index in `mesh.materials`. Each
    // texture file is read once and turned upside down (ImageFile::FlipRows), so that image row
    // 0 is the bottom of the picture, where OBJ puts v = 0: the sampled colours then match the
    // texture as a viewer shows it. A missing or unreadable texture leaves its material without
    // one (its triangles sample black) and adds a warning.
    static TexturedObj Build(const ObjMesh& mesh);

    // ObjFile::Read then Build. On a read failure `surface` is null and `error` says why.
    static TexturedObj Load(const std::filesystem::path& path, std::string* error = nullptr);
};

}  // namespace Quelm::Topology
