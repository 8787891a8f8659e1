set(QLM_ENGINE_SOURCES
    engine/EngineAssert.cpp
    engine/Image.cpp)
