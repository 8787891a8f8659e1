#include "tools/Commands.h"

#include <cstdio>

int runGenerate(int argc, char** argv)
{
    (void)argc;
    (void)argv;
    std::fprintf(stderr, "qlm-mesh: 'generate' is not available yet\n");
    return 2;
}
