#include "tools/CommandLine.h"
#include "tools/Commands.h"
#include "topology/OpenMeshUtility.h"

#include <iomanip>
#include <iostream>

using namespace Quelm;
using namespace Quelm::Tools;

namespace
{

// How far a vertex may move, relative to the bounding-box diagonal, when --tolerance is not given.
const double kDefaultTolerance = 0.01;
const uint64_t kMaxIterations = 100'000;

}  // namespace

int runSmooth(int argc, char** argv)
{
    const char* command = "smooth";
    Arguments args;
    if (!splitArguments(command, argc, argv, {}, {"--iterations", "--tolerance"}, args))
        return kExitBadInput;
    if (args.positional.size() != 2)
        return fail(command,
                    "expected IN and OUT (usage: qlm-mesh smooth IN OUT --iterations N [--tolerance T])");
    uint64_t iterations = 0;
    if (!args.has("--iterations"))
        return fail(command, "--iterations N is required");
    if (!parseUnsigned(args.values["--iterations"], iterations) || iterations > kMaxIterations)
        return fail(command,
                    "--iterations must be a whole number from 0 to " + std::to_string(kMaxIterations));
    double tolerance = kDefaultTolerance;
    if (args.has("--tolerance") && (!parseDouble(args.values["--tolerance"], tolerance) || tolerance < 0))
        return fail(command, "--tolerance must be a number >= 0 (a fraction of the bounding-box diagonal)");
    const std::string& in = args.positional[0];
    const std::string& out = args.positional[1];
    if (!checkOutputPath(command, out))
        return kExitBadInput;

    using Utility = Topology::OpenMeshUtility;
    Stopwatch clock;
    std::unique_ptr<Topology::TopologyMesh> mesh;
    {
        Progress progress("reading " + in);
        mesh = readMeshFile(command, in);
    }
    if (!mesh)
        return kExitBadInput;
    const double readSeconds = clock.restart();
    {
        Progress progress("smoothing");
        Utility::smoothMesh(*mesh, float(tolerance), static_cast<int>(iterations));
    }
    const double smoothSeconds = clock.restart();
    {
        Progress progress("writing " + out);
        if (!writeMeshFile(command, out, *mesh, false))
            return kExitWriteFailed;
    }
    std::wcout << std::fixed << std::setprecision(3) << L"smoothed    " << widen(in) << L" -> " << widen(out)
               << L": " << Utility::GetFaceCount(*mesh) << L" faces, " << iterations
               << L" iterations, tolerance " << std::defaultfloat << tolerance << std::fixed << L"\n"
               << L"time (s)    read " << readSeconds << L", smooth " << smoothSeconds << L", write "
               << clock.seconds() << L"\n";
    std::wcout.flush();
    return kExitOk;
}
