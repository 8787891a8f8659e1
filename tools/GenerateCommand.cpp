#include "tools/CommandLine.h"
#include "tools/Commands.h"
#include "tools/MeshGenerators.h"
#include "topology/OpenMeshUtility.h"

#include <iomanip>
#include <iostream>

using namespace Quelm;
using namespace Quelm::Tools;

namespace
{

// Beyond this the mesh alone needs several GiB; a larger request is most likely a typo.
const uint64_t kMaxFaces = 50'000'000;

}  // namespace

int runGenerate(int argc, char** argv)
{
    const char* command = "generate";
    Arguments args;
    if (!splitArguments(command, argc, argv, {}, {"--seed"}, args))
        return kExitBadInput;
    if (args.positional.size() != 3)
        return fail(command, "expected KIND FACES OUT (usage: qlm-mesh generate sphere|terrain FACES OUT)");
    const std::string& kind = args.positional[0];
    uint64_t faces = 0;
    if (kind != "sphere" && kind != "terrain")
        return fail(command, "unknown KIND '" + kind + "' (sphere or terrain)");
    if (!parseUnsigned(args.positional[1], faces) || faces == 0 || faces > kMaxFaces)
        return fail(command, "FACES must be a whole number from 1 to " + std::to_string(kMaxFaces) +
                                 ", not '" + args.positional[1] + "'");
    uint64_t seed = 1;
    if (args.has("--seed") && (!parseUnsigned(args.values["--seed"], seed) || seed > 0xFFFFFFFFu))
        return fail(command, "--seed must be a whole number below 2^32");
    const std::string& out = args.positional[2];
    if (!checkOutputPath(command, out))
        return kExitBadInput;

    Stopwatch clock;
    std::unique_ptr<Topology::TopologyMesh> mesh;
    {
        Progress progress("generating " + kind);
        if (kind == "sphere")
            mesh = makeGeodesicSphere(faces);
        else
        {
            TerrainOptions options;
            options.seed = static_cast<uint32_t>(seed);
            mesh = makeTerrain(faces, options);
        }
    }
    using Utility = Topology::OpenMeshUtility;
    std::wcout << std::fixed << std::setprecision(3) << L"generated " << widen(kind) << L": "
               << Utility::GetVertexCount(*mesh) << L" vertices, " << Utility::GetFaceCount(*mesh)
               << L" faces (" << clock.restart() << L" s)" << std::endl;
    {
        Progress progress("writing " + out);
        if (!writeMeshFile(command, out, *mesh, false))
            return kExitWriteFailed;
    }
    std::wcout << L"wrote     " << widen(out) << L" (" << clock.seconds() << L" s)" << std::endl;
    return kExitOk;
}
