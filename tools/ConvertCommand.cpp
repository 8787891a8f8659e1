#include "tools/Commands.h"

#include <cstdio>

int runConvert(int argc, char** argv)
{
    (void)argc;
    (void)argv;
    std::fprintf(stderr, "qlm-mesh: 'convert' is not available yet\n");
    return 2;
}
