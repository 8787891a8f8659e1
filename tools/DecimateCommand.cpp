#include "tools/CommandLine.h"
#include "tools/Commands.h"
#include "tools/GridCells.h"
#include "topology/OpenMeshUtility.h"

#include <oneapi/tbb/global_control.h>

#include <iomanip>
#include <iostream>
#include <optional>

using namespace Quelm;
using namespace Quelm::Tools;

namespace
{

using Utility = Topology::OpenMeshUtility;

// Defaults of the decimation limits, also quoted in the usage text. The error bound is
// errorFactor x the longest side of the bounding box; the quadric error it bounds is an
// area-weighted squared distance, so the bound is loose on scanned models at the metre scale
// and only stops gross errors. A 45 degree normal deviation keeps the surface from folding.
const double kDefaultErrorFactor = 1.0;
const double kDefaultMaxAngleDeg = 45.0;

const char* kUsage =
    "usage: qlm-mesh decimate IN OUT --ratio R [--parallel] [--coarse-grid] [--error-factor E] "
    "[--max-angle DEG] [--no-gc] [--update-normals] [--threads N] | "
    "qlm-mesh decimate IN OUT --collapses N [--lock-boundary] [--error-factor E] [--max-angle DEG] "
    "[--no-gc] [--threads N]";

struct Settings
{
    std::string in, out;
    std::optional<double> ratio;
    std::optional<uint64_t> collapses;
    bool parallel = false, coarseGrid = false, garbageCollect = true, updateNormals = false,
         lockBoundary = false;
    double errorFactor = kDefaultErrorFactor;
    double maxAngleDeg = kDefaultMaxAngleDeg;
    uint64_t threads = 0;  // 0: the scheduler's default
};

// Parses and cross-checks the options; prints the reason and returns false on a bad set.
bool parseSettings(int argc, char** argv, Settings& s)
{
    const char* command = "decimate";
    Arguments args;
    if (!splitArguments(command, argc, argv,
                        {"--parallel", "--coarse-grid", "--no-gc", "--update-normals", "--lock-boundary"},
                        {"--ratio", "--collapses", "--error-factor", "--max-angle", "--threads"}, args))
        return false;
    if (args.positional.size() != 2)
        return fail(command, std::string("expected IN and OUT (") + kUsage + ")"), false;
    s.in = args.positional[0];
    s.out = args.positional[1];
    if (args.has("--ratio") == args.has("--collapses"))
        return fail(command, "give exactly one of --ratio R and --collapses N"), false;
    double value = 0;
    if (args.has("--ratio"))
    {
        if (!parseDouble(args.values["--ratio"], value) || value < 0 || value > 1)
            return fail(command, "--ratio must be a number from 0 to 1 (the fraction of faces to remove)"),
                   false;
        s.ratio = value;
        if (args.has("--lock-boundary"))
            return fail(command, "--lock-boundary goes with --collapses (--ratio always locks the boundary)"),
                   false;
    }
    else
    {
        uint64_t collapses = 0;
        if (!parseUnsigned(args.values["--collapses"], collapses))
            return fail(command, "--collapses must be a whole number (0: as many as are legal)"), false;
        s.collapses = collapses;
        for (const char* ratioOnly : {"--parallel", "--coarse-grid", "--update-normals"})
            if (args.has(ratioOnly))
                return fail(command, std::string(ratioOnly) + " goes with --ratio"), false;
    }
    s.parallel = args.has("--parallel");
    s.coarseGrid = args.has("--coarse-grid");
    s.updateNormals = args.has("--update-normals");
    s.lockBoundary = args.has("--lock-boundary");
    s.garbageCollect = !args.has("--no-gc");
    if ((s.coarseGrid || s.updateNormals) && !s.parallel)
        return fail(command, "--coarse-grid and --update-normals go with --parallel"), false;
    if (args.has("--error-factor"))
    {
        if (!parseDouble(args.values["--error-factor"], value) || value < 0)
            return fail(command, "--error-factor must be a number >= 0"), false;
        s.errorFactor = value;
    }
    if (args.has("--max-angle"))
    {
        if (!parseDouble(args.values["--max-angle"], value) || value <= 0 || value > 180)
            return fail(command, "--max-angle must be a number of degrees in (0, 180]"), false;
        s.maxAngleDeg = value;
    }
    if (args.has("--threads") &&
        (!parseUnsigned(args.values["--threads"], s.threads) || s.threads == 0 || s.threads > 1024))
        return fail(command, "--threads must be a whole number from 1 to 1024"), false;
    return checkOutputPath(command, s.out);
}

void printGrid(const Topology::TopologyMesh& mesh, const Settings& s)
{
    const uint64_t decimatable = countDecimatableFaces(mesh, s.coarseGrid);
    std::vector<GridPass> passes = plannedGridPasses(decimatable, float(*s.ratio), s.coarseGrid);
    const Objects::Box<float> box = Utility::ComputeBoundingBox(&mesh);
    auto& out = std::wcout;
    out << L"grid        " << decimatable << L" decimatable faces\n";
    for (size_t p = 0; p < passes.size(); ++p)
    {
        passes[p].cellsWithFaces = countCellsWithFaces(mesh, box, passes[p].level);
        out << L"pass " << (p + 1) << L"      level " << passes[p].level << L": " << passes[p].gridCells
            << L" grid cells, " << passes[p].cellsWithFaces << L" holding faces of the input"
            << (p == 0 ? L"" : L" (the pass itself sees the first pass's result)") << L"\n";
    }
}

}  // namespace

int runDecimate(int argc, char** argv)
{
    const char* command = "decimate";
    Settings s;
    if (!parseSettings(argc, argv, s))
        return kExitBadInput;
    std::optional<tbb::global_control> threadLimit;
    if (s.threads > 0)
        threadLimit.emplace(tbb::global_control::max_allowed_parallelism, size_t(s.threads));

    auto& out = std::wcout;
    out << std::fixed << std::setprecision(3);
    Stopwatch clock;
    std::unique_ptr<Topology::TopologyMesh> mesh;
    {
        Progress progress("reading " + s.in);
        mesh = readMeshFile(command, s.in);
    }
    if (!mesh)
        return kExitBadInput;
    const double readSeconds = clock.restart();
    const uint64_t inFaces = Utility::GetFaceCount(*mesh);
    out << L"input       " << widen(s.in) << L": " << inFaces << L" faces, " << Utility::GetVertexCount(*mesh)
        << L" vertices\n";
    if (s.ratio)
    {
        out << L"settings    ratio " << std::defaultfloat << *s.ratio << L", error factor " << s.errorFactor
            << L", max angle " << s.maxAngleDeg << L" deg, " << (s.parallel ? L"parallel" : L"serial")
            << (s.coarseGrid ? L", coarse grid" : L"") << std::fixed << L"\n";
        if (s.parallel)
            printGrid(*mesh, s);
    }
    else
        out << L"settings    collapses " << *s.collapses << std::defaultfloat << L", error factor "
            << s.errorFactor << L", max angle " << s.maxAngleDeg << L" deg"
            << (s.lockBoundary ? L", boundary locked" : L"") << std::fixed << L"\n";
    out.flush();

    clock.restart();
    bool changed = false;
    {
        Progress progress(s.parallel ? "decimating in parallel" : "decimating");
        if (s.collapses)
            changed = Utility::DecimateMesh(mesh.get(), size_t(*s.collapses), s.errorFactor, s.maxAngleDeg,
                                            s.lockBoundary, s.garbageCollect) > 0;
        else if (s.parallel)
            changed = Utility::DecimateMeshParallel(mesh.get(), float(*s.ratio), s.errorFactor, s.maxAngleDeg,
                                                    s.garbageCollect, s.coarseGrid, s.updateNormals);
        else
            changed = Utility::DecimateMesh(mesh.get(), float(*s.ratio), s.errorFactor, s.maxAngleDeg,
                                            s.garbageCollect);
    }
    const double decimateSeconds = clock.restart();
    const uint64_t outFaces = Utility::GetFaceCount(*mesh);
    if (!changed)
        std::fprintf(stderr, "qlm-mesh decimate: nothing was collapsed; the output is the input as read\n");

    {
        Progress progress("writing " + s.out);
        if (!writeMeshFile(command, s.out, *mesh, false))
            return kExitWriteFailed;
    }
    const double writeSeconds = clock.restart();
    const double removed =
        inFaces == 0 ? 0.0 : 100.0 * double(inFaces - std::min(outFaces, inFaces)) / double(inFaces);
    out << L"output      " << widen(s.out) << L": " << outFaces << L" faces, "
        << Utility::GetVertexCount(*mesh) << L" vertices (" << std::setprecision(1) << removed
        << L"% of the faces removed)\n"
        << std::setprecision(3) << L"time (s)    read " << readSeconds << L", decimate " << decimateSeconds
        << L", write " << writeSeconds << L"\n";
    out.flush();
    return kExitOk;
}
