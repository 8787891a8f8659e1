#include "tools/Commands.h"

#include <cstdio>

int runHoles(int argc, char** argv)
{
    (void)argc;
    (void)argv;
    std::fprintf(stderr, "qlm-mesh: 'holes' is not available yet\n");
    return 2;
}
