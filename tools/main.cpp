#include "tools/Commands.h"

#include <cstdio>
#include <cstring>

namespace
{

struct Command
{
    const char* name;
    int (*run)(int, char**);
    const char* usage;
};

const Command kCommands[] = {
    {"info", runInfo, "info FILE [--json]"},
    {"convert", runConvert, "convert IN OUT [--normals]"},
    {"generate", runGenerate, "generate KIND FACES OUT"},
    {"decimate", runDecimate, "decimate IN OUT (--ratio R [--parallel] ... | --collapses N [--lock-boundary])"},
    {"smooth", runSmooth, "smooth IN OUT --iterations N [--tolerance T]"},
    {"holes", runHoles, "holes FILE [--json]"},
    {"colors", runColors, "colors MESH.obj OUT.ply"},
};

void printUsage()
{
    std::fprintf(stderr, "usage: qlm-mesh COMMAND ARGS\ncommands:\n");
    for (const Command& c : kCommands)
        std::fprintf(stderr, "  qlm-mesh %s\n", c.usage);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        printUsage();
        return 2;
    }
    for (const Command& c : kCommands)
        if (std::strcmp(argv[1], c.name) == 0)
            return c.run(argc - 2, argv + 2);
    std::fprintf(stderr, "qlm-mesh: unknown command '%s'\n", argv[1]);
    printUsage();
    return 2;
}
