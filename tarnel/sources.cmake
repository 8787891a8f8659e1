set(QLM_TARNEL_SOURCES
    tarnel/EngineMeshConversion.cpp
    tarnel/TarnelUtilityBoundary.cpp
    tarnel/TarnelUtilityExport.cpp
    tarnel/TarnelUtilityFlags.cpp
    tarnel/TarnelUtilityPathFilter.cpp
    tarnel/TarnelUtilitySelection.cpp)
