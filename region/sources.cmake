set(QLM_REGION_SOURCES
    region/MeshRegion.cpp)
