set(QLM_TOPOLOGY_SOURCES
    topology/OpenMeshUtilityCounts.cpp
    topology/OpenMeshUtilityGeometry.cpp
    topology/MeshFileGuard.cpp)
