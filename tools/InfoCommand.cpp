#include "tools/CommandLine.h"
#include "tools/Commands.h"
#include "topology/OpenMeshUtility.h"

#include <iomanip>
#include <iostream>
#include <sstream>
#include <utility>
#include <vector>

using namespace Quelm;
using namespace Quelm::Tools;

namespace
{

using Utility = Topology::OpenMeshUtility;

struct MeshReport
{
    uint64_t vertices = 0;
    uint64_t faces = 0;
    uint64_t boundaryFaces = 0;
    uint64_t selectedFaces = 0;
    uint64_t components = 0;
    bool hasNonManifoldVertices = false;
    Objects::Vector3<float> boxMin, boxMax;
    double surfaceArea = 0;
    std::vector<std::pair<const char*, double>> seconds;  // (step, time) in the order run
};

MeshReport analyse(const Topology::TopologyMesh& mesh, double readSeconds)
{
    MeshReport report;
    report.seconds.emplace_back("read", readSeconds);
    Stopwatch clock;
    report.vertices = Utility::GetVertexCount(mesh);
    report.faces = Utility::GetFaceCount(mesh);
    report.boundaryFaces = report.faces - Utility::GetNonBoundaryFaceCount(mesh);
    report.selectedFaces = Utility::GetSelectedFaceCount(mesh);
    report.seconds.emplace_back("counts", clock.restart());
    report.components = Utility::GetConnectedVertexComponents(&mesh).size();  // O(n): a union-find pass
    report.seconds.emplace_back("components", clock.restart());
    report.hasNonManifoldVertices = Utility::HasNonManifoldVertices(mesh);
    report.seconds.emplace_back("nonManifold", clock.restart());
    const Objects::Box<float> box = Utility::ComputeBoundingBox(&mesh);
    report.boxMin = box.getMin();
    report.boxMax = box.getMax();
    report.seconds.emplace_back("boundingBox", clock.restart());
    report.surfaceArea = Utility::calcSurfaceArea(mesh);
    report.seconds.emplace_back("surfaceArea", clock.restart());
    return report;
}

std::wstring point(const Objects::Vector3<float>& p)
{
    std::wostringstream s;
    s << std::setprecision(7) << L"(" << p.x << L", " << p.y << L", " << p.z << L")";
    return s.str();
}

void printText(const std::string& path, const MeshReport& r)
{
    auto& out = std::wcout;
    out << L"file                   " << widen(path) << L"\n"
        << L"vertices               " << r.vertices << L"\n"
        << L"faces                  " << r.faces << L"\n"
        << L"boundary faces         " << r.boundaryFaces << L"\n"
        << L"selected faces         " << r.selectedFaces << L"\n"
        << L"components             " << r.components << L"\n"
        << L"non-manifold vertices  " << (r.hasNonManifoldVertices ? L"yes" : L"no") << L"\n"
        << L"bounding box           " << point(r.boxMin) << L" - " << point(r.boxMax) << L"\n"
        << L"surface area           " << std::setprecision(9) << r.surfaceArea << L"\n"
        << L"timings (s)           ";
    out << std::fixed << std::setprecision(3);
    for (const auto& [step, seconds] : r.seconds)
        out << L" " << step << L" " << seconds;
    out << std::defaultfloat << L"\n";
}

void printJson(const std::string& path, const MeshReport& r)
{
    auto vec = [](const Objects::Vector3<float>& p)
    { return L"[" + jsonNumber(p.x) + L", " + jsonNumber(p.y) + L", " + jsonNumber(p.z) + L"]"; };
    auto& out = std::wcout;
    out << L"{\"file\": " << jsonString(path) << L", \"vertices\": " << r.vertices << L", \"faces\": "
        << r.faces << L", \"boundaryFaces\": " << r.boundaryFaces << L", \"selectedFaces\": "
        << r.selectedFaces << L", \"components\": " << r.components << L", \"hasNonManifoldVertices\": "
        << (r.hasNonManifoldVertices ? L"true" : L"false") << L", \"boundingBox\": {\"min\": "
        << vec(r.boxMin) << L", \"max\": " << vec(r.boxMax) << L"}" << L", \"surfaceArea\": "
        << jsonNumber(r.surfaceArea) << L", \"seconds\": {";
    const char* separator = "";
    for (const auto& [step, seconds] : r.seconds)
    {
        out << separator << L"\"" << step << L"\": " << jsonNumber(seconds);
        separator = ", ";
    }
    out << L"}}\n";
}

}  // namespace

int runInfo(int argc, char** argv)
{
    const char* command = "info";
    Arguments args;
    if (!splitArguments(command, argc, argv, {"--json"}, {}, args))
        return kExitBadInput;
    if (args.positional.size() != 1)
        return fail(command, "expected one FILE (usage: qlm-mesh info FILE [--json])");
    const std::string& path = args.positional[0];

    Stopwatch clock;
    auto mesh = readMeshFile(command, path);
    if (!mesh)
        return kExitBadInput;
    const MeshReport report = analyse(*mesh, clock.seconds());
    if (args.has("--json"))
        printJson(path, report);
    else
        printText(path, report);
    return kExitOk;
}
