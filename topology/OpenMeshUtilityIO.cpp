#include "common/Util.h"
#include "topology/MeshFileGuard.h"
#include "topology/OpenMeshQuiet.h"
#include "topology/OpenMeshUtility.h"

#include <OpenMesh/Core/IO/IOManager.hh>
#include <OpenMesh/Core/IO/exporter/ExporterT.hh>
#include <OpenMesh/Core/IO/importer/ImporterT.hh>
#include <OpenMesh/Core/IO/reader/OBJReader.hh>
#include <OpenMesh/Core/IO/reader/OFFReader.hh>
#include <OpenMesh/Core/IO/reader/OMReader.hh>
#include <OpenMesh/Core/IO/reader/PLYReader.hh>
#include <OpenMesh/Core/IO/reader/STLReader.hh>
#include <OpenMesh/Core/IO/writer/OBJWriter.hh>
#include <OpenMesh/Core/IO/writer/OFFWriter.hh>
#include <OpenMesh/Core/IO/writer/OMWriter.hh>
#include <OpenMesh/Core/IO/writer/PLYWriter.hh>
#include <OpenMesh/Core/IO/writer/STLWriter.hh>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>

namespace Quelm::Topology
{
namespace
{

using Mesh = OpenMeshUtility::Mesh;
using OpenMesh::IO::Options;

// Passes of the non-manifold clean-up that WriteMesh allows beyond the first.
constexpr uint32_t kCleanupMaxPasses = 16;
constexpr std::streamsize kWritePrecision = 6;

// OpenMesh's readers and writers are process-wide singletons that keep per-file state in members
// (the PLY reader its element counts and property layout, the OBJ reader its material path), so
// two files handled at once would share it. Every call into the IO manager holds this lock.
std::mutex ioManagerMutex;

// OpenMesh's reader and writer singletons register themselves with the IO manager when first
// built. A shared OpenMesh builds them at load time; a static one only when something refers to
// them, which this does, once.
void registerFormats()
{
    static const bool registered = []
    {
        OpenMesh::IO::OBJReader();
        OpenMesh::IO::OFFReader();
        OpenMesh::IO::PLYReader();
        OpenMesh::IO::STLReader();
        OpenMesh::IO::OMReader();
        OpenMesh::IO::OBJWriter();
        OpenMesh::IO::OFFWriter();
        OpenMesh::IO::PLYWriter();
        OpenMesh::IO::STLWriter();
        OpenMesh::IO::OMWriter();
        return true;
    }();
    (void)registered;
}

// The text from the last full stop to the end, each wide character narrowed to one byte; empty
// when the path has no full stop.
std::string extensionOf(const std::wstring& path)
{
    const size_t dot = path.rfind(L'.');
    if (dot == std::wstring::npos)
        return {};
    std::string extension;
    for (size_t i = dot; i < path.size(); ++i)
        extension.push_back(static_cast<char>(path[i]));
    return extension;
}

std::string lowerCase(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

// A point with a NaN or infinite coordinate poisons every later computation (boxes, quadrics,
// grid cells), so a file holding one is refused rather than returned.
bool hasOnlyFinitePoints(const Mesh& mesh)
{
    for (size_t i = 0; i < mesh.n_vertices(); ++i)
    {
        const Mesh::Point& p = mesh.point(OpenMesh::VertexHandle(static_cast<int>(i)));
        if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2]))
            return false;
    }
    return true;
}

// Readers fill vertex normals only when asked to (ReadMesh asks for nothing), and OpenMesh's
// vector type leaves a new vertex's normal uninitialised: without this, whatever the heap held
// would reach ToModel's raw meshes and written files. Zero means "no normal".
void zeroVertexNormals(Mesh& mesh)
{
    if (!mesh.has_vertex_normals())
        return;
    for (size_t i = 0; i < mesh.n_vertices(); ++i)
        mesh.set_normal(OpenMesh::VertexHandle(static_cast<int>(i)), Mesh::Normal(0.0f, 0.0f, 0.0f));
}

// OpenMesh's importer keys "TextureMapping" by int; the library keys it by the 8-bit texture
// index that faces store. Converts what the importer left, so that one property of one type
// remains; an index cut to the same 8 bits as a lower one overwrites it, as in AddRawMesh.
void convertImportedTextureMapping(Mesh& mesh)
{
    OpenMesh::MPropHandleT<std::map<int, std::string>> imported;
    if (!mesh.get_property_handle(imported, kTextureMappingProperty))
        return;
    TextureMapping mapping;
    for (const auto& [index, fileName] : mesh.property(imported))
        mapping[static_cast<unsigned char>(index)] = fileName;
    mesh.remove_property(imported);
    OpenMesh::MPropHandleT<TextureMapping> handle;
    if (!mesh.get_property_handle(handle, kTextureMappingProperty))
        mesh.add_property(handle, kTextureMappingProperty);
    mesh.property(handle) = std::move(mapping);
}

// OpenMesh's STL reader tells binary from ASCII only when it opens the file itself; on a stream
// it takes the Binary read option's word for it. Decides as the file reader does: binary when the
// size is exactly 84 bytes plus 50 per announced triangle, else ASCII when the file starts with
// "solid", else binary. False for a binary file that announces more triangles than it holds,
// which the reader would otherwise chase past the end. The stream is left rewound.
bool chooseStlMode(std::istream& in, Options& options)
{
    in.clear();
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    in.seekg(0, std::ios::beg);
    char header[84] = {};
    in.read(header, sizeof header);
    const std::streamsize got = in.gcount();
    in.clear();
    in.seekg(0, std::ios::beg);
    if (size < 0 || !in)
        return false;

    const auto byte = [&](int i) { return static_cast<uint64_t>(static_cast<unsigned char>(header[i])); };
    const uint64_t triangles = got == 84 ? byte(80) | byte(81) << 8 | byte(82) << 16 | byte(83) << 24 : 0;
    const uint64_t binarySize = 84 + 50 * triangles;
    if (got == 84 && static_cast<uint64_t>(size) == binarySize)
    {
        options += Options::Binary;
        return true;
    }
    std::string start(header, static_cast<size_t>(got));
    start.erase(0, start.find_first_not_of(" \t\r\n"));
    if (lowerCase(start.substr(0, 5)) == "solid")
        return true;
    if (got < 84 || static_cast<uint64_t>(size) < binarySize)
        return false;
    options += Options::Binary;
    return true;
}

// Write options by the extensions found anywhere in the path (case-sensitive): STL and PLY
// binary and never with texture coordinates, the others as text.
Options writeOptionsFor(const std::wstring& path, const Mesh& mesh, bool writeNormals)
{
    Options options(Options::Default);
    const bool withNormals = writeNormals && mesh.has_vertex_normals();
    if (path.find(L".stl") != std::wstring::npos)
        options += Options::Binary;
    else if (path.find(L".ply") != std::wstring::npos)
    {
        options += Options::Binary;
        if (withNormals)
            options += Options::VertexNormal;
    }
    else
    {
        if (withNormals)
            options += Options::VertexNormal;
        if (mesh.has_vertex_texcoords2D())
            options += Options::VertexTexCoord;
    }
    return options;
}

// True when some element is marked deleted: OpenMesh's writers walk the element arrays as they
// are, so such a mesh is written through a compacted copy.
bool hasDeletedElements(const Mesh& mesh)
{
    for (size_t i = 0; i < mesh.n_faces(); ++i)
        if (mesh.status(OpenMesh::FaceHandle(static_cast<int>(i))).deleted())
            return true;
    for (size_t i = 0; i < mesh.n_vertices(); ++i)
        if (mesh.status(OpenMesh::VertexHandle(static_cast<int>(i))).deleted())
            return true;
    return false;
}

}  // namespace

OpenMeshUtility::Mesh* OpenMeshUtility::ReadMesh(const wchar_t* path)
{
    if (!path)
        return nullptr;
    registerFormats();

    auto mesh = std::make_unique<Mesh>();
    const std::wstring widePath(path);
    const std::string extension = extensionOf(widePath);
    if (extension.size() < 2)  // no full stop, or nothing after it: no reader to choose
        return nullptr;

    const std::filesystem::path file(widePath);
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error))  // a directory or a device never ends
        return nullptr;
    if (std::filesystem::file_size(file, error) == 0 || error)  // no mesh, and some readers misread it
        return nullptr;
    std::ifstream in(file, std::ios::in | std::ios::binary);
    if (!in || !MeshFileGuard::accepts(in, lowerCase(extension)))
        return nullptr;
    in.clear();  // the guard leaves the stream rewound; made sure of, since the readers need it
    in.seekg(0, std::ios::beg);

    Options options(Options::Default);
    if (lowerCase(extension) == ".stl" && !chooseStlMode(in, options))
        return nullptr;

    bool isRead = false;
    {
        std::lock_guard<std::mutex> lock(ioManagerMutex);
        OpenMeshQuietScope quiet;
        mesh->clear();
        OpenMesh::IO::ImporterT<Mesh> importer(*mesh);
        isRead = OpenMesh::IO::IOManager().read(in, extension, importer, options);
    }
    in.close();
    if (!isRead || !hasOnlyFinitePoints(*mesh))
        return nullptr;
    if (!options.vertex_has_normal())  // OpenMesh leaves the normals of new vertices uninitialised
        zeroVertexNormals(*mesh);

    convertImportedTextureMapping(*mesh);
    SetMeshPath(mesh.get(), widePath);
    return mesh.release();
}

OpenMeshUtility::Mesh* OpenMeshUtility::ReadMesh(const wchar_t* path, std::string& reason)
{
    Mesh* mesh = ReadMesh(path);
    reason = mesh ? std::string() : std::string("cannot read the file");
    return mesh;
}

std::shared_ptr<Objects::Model> OpenMeshUtility::ReadToRawMesh(const wchar_t* path)
{
    const std::unique_ptr<Mesh> mesh(ReadMesh(path));
    if (!mesh)
        return {};
    return ToModel(mesh.get());
}

bool OpenMeshUtility::WriteMesh(const wchar_t* path, Mesh* mesh, bool writeNormals)
{
    if (!path || !mesh)
        return false;
    registerFormats();

    const std::wstring widePath(path);
    const Options options = writeOptionsFor(widePath, *mesh, writeNormals);

    // Untextured meshes lose the faces at non-manifold vertices first. The message calls them
    // degenerate; callers match its wording.
    if (!mesh->has_vertex_texcoords2D())
    {
        const uint64_t removed = RemoveFacesConnectedToNonManifoldVertices(*mesh, true, kCleanupMaxPasses);
        if (removed > 0)
            std::wcout << L"Removed " << removed << L" degenerate faces" << std::endl;
    }
    mesh->delete_isolated_vertices();

    std::unique_ptr<Mesh> compacted;
    if (hasDeletedElements(*mesh))
    {
        compacted = std::make_unique<Mesh>(*mesh);  // the caller's handles stay as they are
        compacted->garbage_collection(true, true, true);
    }
    const std::string narrowPath = Objects::Util::ConvertToChar(widePath);
    OpenMesh::IO::ExporterT<Mesh> exporter(compacted ? *compacted : *mesh);
    std::lock_guard<std::mutex> lock(ioManagerMutex);
    OpenMeshQuietScope quiet;
    return OpenMesh::IO::IOManager().write(narrowPath, exporter, options, kWritePrecision);
}

}  // namespace Quelm::Topology
