#include <cstdio>

int main(int argc, char** argv)
{
    (void)argv;
    if (argc < 2)
    {
        std::fprintf(stderr, "usage: qlm-mesh COMMAND ...\n");
        return 2;
    }
    return 2;
}
