# File input: opening files, and the per-format structural checks the mesh readers run first.
set(QLM_IO_SOURCES
    io/InputFile.cpp
    io/MeshFileCheck.cpp
    io/ObjCheck.cpp
    io/OffCheck.cpp
    io/OmCheck.cpp
    io/PlyCheck.cpp
    io/PlyHeader.cpp
    io/StlCheck.cpp)
