#include "tools/CommandLine.h"
#include "tools/Commands.h"
#include "topology/OpenMeshUtility.h"

#include <iomanip>
#include <iostream>

using namespace Quelm;
using namespace Quelm::Tools;

int runConvert(int argc, char** argv)
{
    const char* command = "convert";
    Arguments args;
    if (!splitArguments(command, argc, argv, {"--normals"}, {}, args))
        return kExitBadInput;
    if (args.positional.size() != 2)
        return fail(command, "expected IN and OUT (usage: qlm-mesh convert IN OUT [--normals])");
    const std::string& in = args.positional[0];
    const std::string& out = args.positional[1];
    if (!checkOutputPath(command, out))
        return kExitBadInput;

    using Utility = Topology::OpenMeshUtility;
    Stopwatch clock;
    auto mesh = readMeshFile(command, in);
    if (!mesh)
        return kExitBadInput;
    const double readSeconds = clock.restart();
    std::wcout << std::fixed << std::setprecision(3) << L"read   " << widen(in) << L": "
               << Utility::GetVertexCount(*mesh) << L" vertices, " << Utility::GetFaceCount(*mesh)
               << L" faces (" << readSeconds << L" s)" << std::endl;
    clock.restart();
    if (!writeMeshFile(command, out, *mesh, args.has("--normals")))
        return kExitWriteFailed;
    std::wcout << L"wrote  " << widen(out) << L": " << Utility::GetVertexCount(*mesh) << L" vertices, "
               << Utility::GetFaceCount(*mesh) << L" faces (" << clock.seconds() << L" s)" << std::endl;
    return kExitOk;
}
