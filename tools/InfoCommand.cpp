#include "tools/Commands.h"

#include <cstdio>

int runInfo(int argc, char** argv)
{
    (void)argc;
    (void)argv;
    std::fprintf(stderr, "qlm-mesh: 'info' is not available yet\n");
    return 2;
}
