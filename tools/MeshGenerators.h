#pragma once

#include "topology/OxmOMTopology.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

// Synthetic meshes for the command-line tool, the tests and the benchmarks, so that large inputs
// never need a file. Both generators are deterministic: the same arguments give the same mesh.
namespace Quelm::Tools
{

// The type of the mesh property "TextureMapping" (texture index -> texture file name).
using TextureMapping = std::map<unsigned char, std::string>;

// A closed geodesic sphere: an icosahedron whose faces are each cut into n x n triangles and
// projected onto the sphere, with n chosen so that 20 n^2 is as close to `faces` as possible
// (at least 20 faces). Manifold, outward winding, no texture information.
std::unique_ptr<Topology::TopologyMesh> makeGeodesicSphere(size_t faces, float radius = 1.0f);

struct TerrainOptions
{
    // Charts along each side; each chart is a separate patch of vertices with its own texture
    // index, cut from its neighbours along the chart borders as model conversion leaves a
    // captured, textured mesh. Fewer charts are used when the grid is too small.
    int chartsPerSide = 3;
    // Rectangular holes punched into the interior (scanner drop-outs); none on small grids.
    int holes = 2;
    uint32_t seed = 1;
};

// A captured-looking height field of about `faces` faces over a 100 x 100 square: fractal noise
// relief, jittered vertices, quad diagonals chosen at random, a few holes, and per-chart texture
// coordinates in [0, 1]. Every face has "f:textureindex" (its chart), "TextureMapping" names one
// texture per chart ("texture_<i>.png") and the material index map holds "Material_<i>" -> i.
// At least 2 faces.
std::unique_ptr<Topology::TopologyMesh> makeTerrain(size_t faces, const TerrainOptions& options = {});

}  // namespace Quelm::Tools
