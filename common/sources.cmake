set(QLM_COMMON_SOURCES common/RawMesh.cpp common/Node.cpp common/Util.cpp)
