// Builds a tetrahedron and counts it through the library: proves that the headers are found,
// that the library links and that it loads at run time.
#include "qlm_mesh_topology.h"

#include <cstdio>

int main()
{
    using namespace Quelm::Topology;
    TopologyMesh mesh;
    const TopologyMesh::VertexHandle v[4] = {mesh.add_vertex({0, 0, 0}), mesh.add_vertex({1, 0, 0}),
                                             mesh.add_vertex({0, 1, 0}), mesh.add_vertex({0, 0, 1})};
    mesh.add_face(v[0], v[2], v[1]);
    mesh.add_face(v[0], v[1], v[3]);
    mesh.add_face(v[1], v[2], v[3]);
    mesh.add_face(v[2], v[0], v[3]);
    const auto faces = OpenMeshUtility::GetFaceCount(mesh);
    const auto closed = OpenMeshUtility::GetNonBoundaryFaceCount(mesh);
    std::printf("consumer: %llu faces, %llu without a boundary edge\n",
                static_cast<unsigned long long>(faces), static_cast<unsigned long long>(closed));
    return faces == 4 && closed == 4 ? 0 : 1;
}
