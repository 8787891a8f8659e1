#include "engine/EngineAssert.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace vsk
{
namespace
{

bool defaultHandler(const char* expression, const char* file, int line, const char* function)
{
    std::fprintf(stderr, "%s:%d: %s: assertion \"%s\" failed\n", file, line, function, expression);
    return false;
}

std::atomic<AssertHandler> currentHandler{&defaultHandler};

// True when a tracer (debugger) is attached to this process.
bool debuggerAttached()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, 10, "TracerPid:") == 0)
            return std::strtol(line.c_str() + 10, nullptr, 10) != 0;
    return false;
}

}  // namespace

AssertHandler SetAssertHandler(AssertHandler handler)
{
    return currentHandler.exchange(handler ? handler : &defaultHandler);
}

void ReportAssertion(const char* expression, const char* file, int line, const char* function)
{
    const AssertHandler handler = currentHandler.load();
    if (handler(expression, file, line, function) && debuggerAttached())
        std::raise(SIGTRAP);
}

}  // namespace vsk
