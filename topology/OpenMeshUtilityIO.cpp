#include "io/InputFile.h"
#include "io/MeshFileCheck.h"
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

#include <cmath>
#include <iostream>
#include <istream>
#include <map>
#include <memory>
#include <mutex>
#include <streambuf>

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

// The text from the last full stop to the end, in lower case (ASCII letters only); empty when the
// path has no full stop.
std::string lowerCaseExtension(const std::string& path)
{
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos)
        return {};
    std::string extension = path.substr(dot);
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return extension;
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

// Readers fill vertex normals only when the file has them; without this, whatever a new
// vertex's normal held would reach ToModel's raw meshes and written files. Zero means "no normal".
void zeroVertexNormals(Mesh& mesh)
{
    if (!mesh.has_vertex_normals())
        return;
    for (size_t i = 0; i < mesh.n_vertices(); ++i)
        mesh.set_normal(OpenMesh::VertexHandle(static_cast<int>(i)), Mesh::Normal(0.0f, 0.0f, 0.0f));
}

// A normal that is not finite ("vn nan nan nan", which exporters write for faces of no area)
// would poison whatever uses it; zero means "no normal".
void zeroNonFiniteNormals(Mesh& mesh)
{
    if (!mesh.has_vertex_normals())
        return;
    for (size_t i = 0; i < mesh.n_vertices(); ++i)
    {
        const OpenMesh::VertexHandle vh(static_cast<int>(i));
        const Mesh::Normal& n = mesh.normal(vh);
        if (!std::isfinite(n[0]) || !std::isfinite(n[1]) || !std::isfinite(n[2]))
            mesh.set_normal(vh, Mesh::Normal(0.0f, 0.0f, 0.0f));
    }
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
    std::string reason;
    return ReadMesh(path, reason);
}

OpenMeshUtility::Mesh* OpenMeshUtility::ReadMesh(const wchar_t* path, std::string& reason)
{
    reason.clear();
    if (!path)
        return reason = "no path given", nullptr;
    registerFormats();

    const std::wstring widePath(path);
    std::string narrowPath;
    if (!IO::detail::utf8FromWide(widePath, narrowPath))
        return reason = "the path holds a character that is not Unicode (a lone surrogate or a code "
                        "beyond U+10FFFF)",
               nullptr;
    IO::detail::InputFile file;
    if (!file.open(narrowPath, reason))
        return nullptr;
    const std::string extension = lowerCaseExtension(narrowPath);
    if (!IO::detail::isMeshExtension(extension))
        return reason = IO::detail::unknownExtensionReason(extension), nullptr;
    if (file.size() == 0)  // no mesh, and some readers misread it
        return reason = "is empty", nullptr;

    const std::unique_ptr<std::streambuf> buffer = file.releaseAsStreamBuf();
    std::istream in(buffer.get());
    const IO::detail::MeshFileCheck check = IO::detail::checkMeshFile(in, extension);
    if (!check.isAccepted)
        return reason = check.reason, nullptr;

    // OpenMesh's STL reader tells binary from text only when it opens the file itself; on a
    // stream it takes the Binary option's word for it, so it gets the check's finding.
    Options options(Options::Default);
    if (check.stlMode == IO::detail::StlMode::Binary)
        options += Options::Binary;

    auto mesh = std::make_unique<Mesh>();
    bool isRead = false;
    {
        std::lock_guard<std::mutex> lock(ioManagerMutex);
        OpenMeshQuietScope quiet;
        OpenMesh::IO::ImporterT<Mesh> importer(*mesh);
        isRead = OpenMesh::IO::IOManager().read(in, extension, importer, options);
    }
    if (!isRead)
        return reason = "the reader failed on it, although it passed the file check", nullptr;
    if (!hasOnlyFinitePoints(*mesh))
        return reason = "it holds a point that is not finite", nullptr;
    if (options.vertex_has_normal())
        zeroNonFiniteNormals(*mesh);
    else
        zeroVertexNormals(*mesh);

    convertImportedTextureMapping(*mesh);
    SetMeshPath(mesh.get(), widePath);
    return mesh.release();
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
    std::string narrowPath;  // UTF-8, as ReadMesh takes it
    if (!IO::detail::utf8FromWide(widePath, narrowPath))
        return false;  // a lone surrogate would otherwise be written as '?', to another file
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
    OpenMesh::IO::ExporterT<Mesh> exporter(compacted ? *compacted : *mesh);
    std::lock_guard<std::mutex> lock(ioManagerMutex);
    OpenMeshQuietScope quiet;
    return OpenMesh::IO::IOManager().write(narrowPath, exporter, options, kWritePrecision);
}

}  // namespace Quelm::Topology
