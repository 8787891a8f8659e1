set(QLM_TOPOLOGY_SOURCES
    topology/OpenMeshUtilityCounts.cpp
    topology/OpenMeshUtilityGeometry.cpp
    topology/OpenMeshUtilityConnectivity.cpp
    topology/OpenMeshUtilityConversion.cpp
    topology/OpenMeshUtilityIO.cpp
    topology/OpenMeshQuiet.cpp
    topology/MeshFileGuard.cpp)
