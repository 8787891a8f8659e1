#include "tools/Commands.h"

#include <cstdio>

int runSmooth(int argc, char** argv)
{
    (void)argc;
    (void)argv;
    std::fprintf(stderr, "qlm-mesh: 'smooth' is not available yet\n");
    return 2;
}
