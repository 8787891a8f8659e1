// qlm-mesh holes FILE [--json]: the boundary loops and open boundary paths of a mesh (after the
// paths through non-manifold edges or pinch vertices are dropped), longest first, and the number
// of triangles at non-manifold vertices. What a user checks before and after a hole repair.

#include "common/Util.h"
#include "tarnel/EngineMeshConversion.h"
#include "tarnel/TarnelUtility.h"
#include "tools/Commands.h"
#include "topology/OpenMeshUtility.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{

using Quelm::Topology::TarnelUtility;

constexpr int kExitOk = 0;
constexpr int kExitBadInput = 2;
constexpr unsigned kHoleFlag = 0;

int fail(const std::string& message)
{
    std::fprintf(stderr, "qlm-mesh holes: %s\n", message.c_str());
    return kExitBadInput;
}

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

std::string jsonString(const std::string& text)
{
    std::string out = "\"";
    for (const char c : text)
    {
        if (c == '"' || c == '\\')
            out += {'\\', c};
        else if (static_cast<unsigned char>(c) < 0x20)
        {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            out += escaped;
        }
        else
            out += c;
    }
    return out + "\"";
}

void printList(const char* title, const std::vector<PathReport>& list)
{
    std::printf("%-22s %zu\n", title, list.size());
    if (list.empty())
        return;
    std::printf("  %6s %10s %14s\n", "#", "vertices", "length");
    for (size_t i = 0; i < list.size(); ++i)
        std::printf("  %6zu %10zu %14.6g\n", i + 1, list[i].vertices, list[i].length);
}

void printText(const std::string& path, const HoleReport& r)
{
    std::printf("%-22s %s\n", "file", path.c_str());
    std::printf("%-22s %u\n", "vertices", r.vertices);
    std::printf("%-22s %u\n", "triangles", r.triangles);
    printList("boundary loops", r.loops);
    printList("open paths", r.paths);
    std::printf("%-22s %zu\n", "non-manifold triangles", r.nonManifoldTriangles);
}

void printJsonList(const std::vector<PathReport>& list)
{
    std::printf("[");
    for (size_t i = 0; i < list.size(); ++i)
        std::printf("%s{\"vertices\": %zu, \"length\": %.9g}", i ? ", " : "", list[i].vertices,
                    std::isfinite(list[i].length) ? list[i].length : 0.0);
    std::printf("]");
}

void printJson(const std::string& path, const HoleReport& r)
{
    std::printf("{\"file\": %s, \"vertices\": %u, \"triangles\": %u, \"loopCount\": %zu, \"loops\": ",
                jsonString(path).c_str(), r.vertices, r.triangles, r.loops.size());
    printJsonList(r.loops);
    std::printf(", \"pathCount\": %zu, \"paths\": ", r.paths.size());
    printJsonList(r.paths);
    std::printf(", \"nonManifoldTriangles\": %zu}\n", r.nonManifoldTriangles);
}

}  // namespace

int runHoles(int argc, char** argv)
{
    bool json = false;
    std::vector<std::string> positional;
    for (int i = 0; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--json") == 0)
        {
            if (json)
                return fail("--json given twice (usage: qlm-mesh holes FILE [--json])");
            json = true;
        }
        else if (argv[i][0] == '-' && argv[i][1] != '\0')
            return fail(std::string("unknown option '") + argv[i] +
                        "' (usage: qlm-mesh holes FILE [--json])");
        else
            positional.emplace_back(argv[i]);
    }
    if (positional.size() != 1)
        return fail("expected one FILE (usage: qlm-mesh holes FILE [--json])");
    const std::string& path = positional[0];

    using Quelm::Topology::OpenMeshUtility;
    const std::wstring widePath = Quelm::Objects::Util::ConvertToWchar(path);
    std::unique_ptr<OpenMeshUtility::Mesh> mesh(OpenMeshUtility::ReadMesh(widePath.c_str()));
    if (!mesh)
        return fail("cannot read '" + path + "' as a mesh");
    vsk::VFTriangleMesh engineMesh;
    Quelm::Topology::AppendTopologyMesh(*mesh, engineMesh);
    mesh.reset();  // the engine mesh holds everything the report needs

    const HoleReport report = analyse(engineMesh);
    if (json)
        printJson(path, report);
    else
        printText(path, report);
    return kExitOk;
}
