find_package(PNG REQUIRED)
find_package(JPEG REQUIRED)

set(QLM_COLOR_SOURCES
    color/ColorUtilityAdjust.cpp
    color/ColorUtilityHSV.cpp
    color/ColorUtilityPixels.cpp
    color/ColorUtilityTriangle.cpp
    color/ImageFile.cpp
    color/ImageUtils.cpp
    color/ObjFile.cpp
    color/TexturedObj.cpp)
list(APPEND QLM_TOPOLOGY_PRIVATE_LIBS PNG::PNG JPEG::JPEG)
