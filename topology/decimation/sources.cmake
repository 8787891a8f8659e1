set(QLM_DECIMATION_SOURCES
    topology/decimation/OpenMeshUtilityDecimation.cpp
    topology/decimation/OpenMeshUtilityPartition.cpp
    topology/decimation/OpenMeshUtilityParallelDecimation.cpp
    topology/decimation/OpenMeshUtilitySmoothing.cpp
    topology/decimation/OpenMeshUtilityControl.cpp)
