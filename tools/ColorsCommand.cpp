#include "tools/Commands.h"

#include <cstdio>

int runColors(int argc, char** argv)
{
    (void)argc;
    (void)argv;
    std::fprintf(stderr, "qlm-mesh: 'colors' is not available yet\n");
    return 2;
}
