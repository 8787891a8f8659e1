set(QLM_COLOR_SOURCES
    color/ColorUtilityAdjust.cpp
    color/ColorUtilityHSV.cpp
    color/ColorUtilityPixels.cpp
    color/ImageUtils.cpp)
