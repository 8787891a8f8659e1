#pragma once

#include "common/Vector.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Quelm::Topology
{

// A triangle mesh as read from a Wavefront OBJ file and its material libraries. Indices are
// 0-based; polygons are split into fans around their first corner.
struct ObjMesh
{
    static constexpr uint32_t kNone = 0xFFFFFFFFu;

    struct Triangle
    {
        uint32_t v[3];      // positions
        uint32_t vt[3];     // texture coordinates, kNone at a corner without one
        uint32_t material;  // index into `materials`, kNone before the first usemtl
    };
    struct Material
    {
        std::string name;
        // The diffuse texture (map_Kd) resolved against the library's folder, backslashes read as
        // slashes; empty when the material has none or is not defined in any library.
        std::filesystem::path texture;
        bool defined = false;  // found in a material library
    };

    std::vector<Objects::Vector3<float>> positions;
    std::vector<Objects::Vector2<float>> uvs;
    std::vector<Triangle> triangles;
    std::vector<Material> materials;    // one per usemtl name, in order of first use
    std::vector<std::string> warnings;  // one line each: what is missing or was skipped
};

// Reading of textured OBJ files.
class ObjFile
{
public:
    // Reads `path` and the material libraries it names (relative to the OBJ's folder) into
    // `mesh`, which is cleared first. Texture files are located but not read. Missing libraries,
    // undefined materials and faces of fewer than three corners become warnings in the mesh.
    // False, with a one-line reason in `error` (file and line), when the file cannot be read or
    // holds a malformed number or an index out of range.
    static bool Read(const std::filesystem::path& path, ObjMesh& mesh, std::string* error = nullptr);
};

}  // namespace Quelm::Topology
