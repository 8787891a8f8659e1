#include "tools/Commands.h"

#include <cstdio>

int runDecimate(int argc, char** argv)
{
    (void)argc;
    (void)argv;
    std::fprintf(stderr, "qlm-mesh: 'decimate' is not available yet\n");
    return 2;
}
