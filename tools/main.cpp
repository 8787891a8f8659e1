#include "tools/Commands.h"

#include <OpenMesh/Core/System/omstream.hh>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

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
    {"generate", runGenerate, "generate sphere|terrain FACES OUT [--seed S]"},
    {"decimate", runDecimate,
     "decimate IN OUT --ratio R [--parallel] [--coarse-grid] [--error-factor E] [--max-angle DEG]\n"
     "                    [--no-gc] [--update-normals] [--threads N]\n"
     "  qlm-mesh decimate IN OUT --collapses N [--lock-boundary] [--error-factor E] [--max-angle DEG]\n"
     "                    [--no-gc] [--threads N]\n"
     "      defaults: --error-factor 1 (error bound = E x longest bounding-box side), --max-angle 45"},
    {"smooth", runSmooth, "smooth IN OUT --iterations N [--tolerance T]   (default T 0.01 of the diagonal)"},
    {"holes", runHoles, "holes FILE [--json]"},
    {"colors", runColors, "colors MESH.obj OUT.ply"},
};

void printUsage()
{
    std::printf("usage: qlm-mesh COMMAND ARGS\ncommands:\n");
    for (const Command& c : kCommands)
        std::printf("  qlm-mesh %s\n", c.usage);
    std::printf("exit codes: 0 success, 1 the output could not be written, 2 bad arguments or unreadable "
                "input\nprogress is shown on stderr when it is a terminal\n");
}

// Wide output (the library's messages, the tool's reports) is converted by the C locale: take
// the user's, and fall back to UTF-8 when that is plain ASCII, so that paths print as given.
void useUtf8Output()
{
    const char* locale = std::setlocale(LC_CTYPE, "");
    const std::string name = locale ? locale : "C";
    if (name == "C" || name == "POSIX")
        std::setlocale(LC_CTYPE, "C.UTF-8");
}

}  // namespace

int main(int argc, char** argv)
{
    useUtf8Output();
    // OpenMesh's readers log their complaints about a bad file; the tool reports the failure
    // itself, in one line
    omerr().disable();
    omlog().disable();
    // bad arguments get one line, like every command's errors; the usage is on --help
    if (argc < 2)
    {
        std::fprintf(stderr, "qlm-mesh: no command given (see qlm-mesh --help)\n");
        return 2;
    }
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "help") == 0)
    {
        printUsage();
        return 0;
    }
    for (const Command& c : kCommands)
        if (std::strcmp(argv[1], c.name) == 0)
        {
            // the library throws nothing on bad input, but allocation can fail on a huge or hostile
            // file: report it as unreadable input rather than abort
            try
            {
                return c.run(argc - 2, argv + 2);
            }
            catch (const std::exception& e)
            {
                std::fprintf(stderr, "qlm-mesh %s: failed: %s\n", c.name, e.what());
                return 2;
            }
        }
    std::fprintf(stderr, "qlm-mesh: unknown command '%s' (see qlm-mesh --help)\n", argv[1]);
    return 2;
}
