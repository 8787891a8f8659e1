#pragma once

#include "engine/VFTriangleMesh.h"
#include "topology/OxmOMTopology.h"

#include <cstddef>

namespace Quelm::Topology
{

// Appends the live vertices and faces of a topology mesh to an engine mesh, in handle order, with
// positions and vertex normals (when the mesh has them). New engine IDs follow the target's
// existing ones: on an empty target the k-th live vertex gets ID k. Returns the number of faces
// the engine refused (corners that are not pairwise distinct); they take no triangle ID.
size_t AppendTopologyMesh(const TopologyMesh& source, vsk::VFTriangleMesh& target);

}  // namespace Quelm::Topology
