// qlm-mesh holes FILE [--json]: the boundary loops and open boundary paths of a mesh (after the
// paths through non-manifold edges or pinch vertices are dropped), longest first, and the number
// of triangles at non-manifold vertices. What a user checks before and after a hole repair.

#include "tarnel/EngineMeshConversion.h"
#include "tarnel/TarnelUtility.h"
#include "tools/CommandLine.h"
#include "tools/Commands.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

namespace
{

using namespace Quelm::Tools;
using Quelm::Topology::TarnelUtility;

constexpr unsigned kHoleFlag = 0;

struct PathReport
{
    size_t vertices = 0;
    double length = 0;
};

struct HoleReport
{
    unsigned triangles = 0;
    unsigned vertices = 0;
    std::vector<PathReport> loops;
    std::vector<PathReport> paths;
    size_t nonManifoldTriangles = 0;
};

// Vertex count and length of each path (the closing edge counted for loops), longest first.
std::vector<PathReport> measure(const vsk::VFTriangleMesh& mesh, const TarnelUtility::PathList& paths,
                                bool closed)
{
    std::vector<PathReport> reports;
    for (const auto& path : paths)
    {
        PathReport r;
        r.vertices = path.size();
        const size_t edges = closed ? path.size() : (path.empty() ? 0 : path.size() - 1);
        for (size_t k = 0; k < edges; ++k)
        {
            vsk::Vector3f a, b;
            mesh.GetVertex(path[k], a);
            mesh.GetVertex(path[(k + 1) % path.size()], b);
            r.length += static_cast<double>((a - b).Length());
        }
        reports.push_back(r);
    }
    std::stable_sort(reports.begin(), reports.end(),
                     [](const PathReport& x, const PathReport& y) { return x.length > y.length; });
    return reports;
}

HoleReport analyse(vsk::VFTriangleMesh& mesh)
{
    HoleReport report;
    report.triangles = mesh.GetTriangleCount();
    report.vertices = mesh.GetVertexCount();
    std::vector<unsigned> all;
    all.reserve(mesh.GetTriangleCount());
    for (unsigned tID : mesh.Triangles())
        all.push_back(tID);
    TarnelUtility::FlagFaces(mesh, std::move(all), kHoleFlag, false);
    TarnelUtility::PathList loops, paths;
    TarnelUtility::FindBoundariesWithFlag(mesh, kHoleFlag, loops, paths);
    TarnelUtility::RemoveNonManifoldPaths(mesh, loops, true);
    TarnelUtility::RemoveNonManifoldPaths(mesh, paths, false);
    report.loops = measure(mesh, loops, true);
    report.paths = measure(mesh, paths, false);
    report.nonManifoldTriangles =
        TarnelUtility::FindFacesConnectedToNonManifoldVertices(mesh, kHoleFlag).size();
    return report;
}

void printList(const wchar_t* title, const std::vector<PathReport>& list)
{
    auto& out = std::wcout;
    out << std::left << std::setw(23) << title << list.size() << L"\n" << std::right;
    if (list.empty())
        return;
    out << L"  " << std::setw(6) << L"#" << std::setw(10) << L"vertices" << std::setw(14) << L"length"
        << L"\n";
    for (size_t i = 0; i < list.size(); ++i)
        out << L"  " << std::setw(6) << i + 1 << std::setw(10) << list[i].vertices << std::setw(14)
            << std::setprecision(7) << list[i].length << L"\n";
}

void printText(const std::string& path, const HoleReport& r)
{
    auto& out = std::wcout;
    out << L"file                   " << widen(path) << L"\n"
        << L"vertices               " << r.vertices << L"\n"
        << L"triangles              " << r.triangles << L"\n";
    printList(L"boundary loops", r.loops);
    printList(L"open paths", r.paths);
    out << L"non-manifold triangles " << r.nonManifoldTriangles << L"\n";
}

std::wstring jsonList(const std::vector<PathReport>& list)
{
    std::wstring json = L"[";
    for (size_t i = 0; i < list.size(); ++i)
        json += (i ? L", " : L"") + std::wstring(L"{\"vertices\": ") + std::to_wstring(list[i].vertices) +
                L", \"length\": " + jsonNumber(list[i].length) + L"}";
    return json + L"]";
}

void printJson(const std::string& path, const HoleReport& r)
{
    std::wcout << L"{\"file\": " << jsonString(path) << L", \"vertices\": " << r.vertices
               << L", \"triangles\": " << r.triangles << L", \"loopCount\": " << r.loops.size()
               << L", \"loops\": " << jsonList(r.loops) << L", \"pathCount\": " << r.paths.size()
               << L", \"paths\": " << jsonList(r.paths) << L", \"nonManifoldTriangles\": "
               << r.nonManifoldTriangles << L"}\n";
}

}  // namespace

int runHoles(int argc, char** argv)
{
    const char* command = "holes";
    Arguments args;
    if (!splitArguments(command, argc, argv, {"--json"}, {}, args))
        return kExitBadInput;
    if (args.positional.size() != 1)
        return fail(command, "expected one FILE (usage: qlm-mesh holes FILE [--json])");
    const std::string& path = args.positional[0];

    vsk::VFTriangleMesh engineMesh;
    {
        const auto mesh = readMeshFile(command, path);
        if (!mesh)
            return kExitBadInput;
        Quelm::Topology::AppendTopologyMesh(*mesh, engineMesh);
    }  // the engine mesh holds everything the report needs

    const HoleReport report = analyse(engineMesh);
    if (args.has("--json"))
        printJson(path, report);
    else
        printText(path, report);
    return kExitOk;
}
