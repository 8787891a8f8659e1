#include "color/ObjFile.h"

#include "io/InputFile.h"
#include "io/TextScan.h"

#include <string_view>
#include <system_error>
#include <unordered_map>

namespace Quelm::Topology
{
namespace
{

using IO::detail::nextToken;
using IO::detail::trim;

// Through the library's opener: a device or a pipe named as a library is refused, not read
// without end or waited on.
bool readWholeFile(const std::filesystem::path& path, std::string& text, std::string& reason)
{
    IO::detail::InputFile file;
    return file.open(path.native(), reason) && file.readAll(text, reason);
}

bool parseFloat(std::string_view token, float& value)
{
    return IO::detail::parseNumber(token, value);
}

bool parseInt(std::string_view token, int64_t& value)
{
    return IO::detail::parseNumber(token, value);
}

// OBJ indices are 1-based, or negative counting back from the last element read so far.
bool resolveIndex(int64_t raw, size_t count, uint32_t& index)
{
    int64_t i = raw > 0 ? raw - 1 : int64_t(count) + raw;
    if (raw == 0 || i < 0 || i >= int64_t(count))
        return false;
    index = static_cast<uint32_t>(i);
    return true;
}

std::string portablePath(std::string_view text)
{
    std::string s(text);
    for (char& c : s)
        if (c == '\\')
            c = '/';
    return s;
}

// `name` (slashes either way) relative to `folder`; when that file does not exist but one of the
// same name lies in `folder` itself (files moved from another machine), that one.
std::filesystem::path locate(const std::filesystem::path& folder, std::string_view name)
{
    const std::filesystem::path relative(portablePath(name));
    std::filesystem::path candidate = relative.is_absolute() ? relative : folder / relative;
    std::error_code ec;
    if (std::filesystem::exists(candidate, ec))
        return candidate.lexically_normal();
    const std::filesystem::path local = folder / relative.filename();
    if (!relative.filename().empty() && std::filesystem::exists(local, ec))
        return local.lexically_normal();
    return candidate.lexically_normal();
}

// The file name of a map_Kd statement after its options ("-s 1 1 1", "-clamp on", ...). A
// leading word that is not a known option is taken as the start of the name.
std::string_view textureName(std::string_view rest)
{
    rest = trim(rest);
    while (!rest.empty() && rest.front() == '-')
    {
        std::string_view probe = rest;
        const std::string_view option = nextToken(probe);
        int fixedArgs = 0;
        int maxNumbers = 0;
        if (option == "-blendu" || option == "-blendv" || option == "-cc" || option == "-clamp" ||
            option == "-bm" || option == "-boost" || option == "-texres" || option == "-imfchan" ||
            option == "-type")
            fixedArgs = 1;
        else if (option == "-mm")
            fixedArgs = 2;
        else if (option == "-o" || option == "-s" || option == "-t")
            maxNumbers = 3;
        else
            break;
        for (int k = 0; k < fixedArgs; ++k)
            nextToken(probe);
        for (int k = 0; k < maxNumbers; ++k)
        {
            std::string_view ahead = probe;
            float number;
            if (!parseFloat(nextToken(ahead), number))
                break;
            probe = ahead;
        }
        rest = trim(probe);
    }
    return rest;
}

struct MtlDefinition
{
    std::filesystem::path texture;
};

void readMaterialLibrary(const std::filesystem::path& path,
                         std::unordered_map<std::string, MtlDefinition>& defs,
                         std::vector<std::string>& warnings)
{
    std::string text, reason;
    if (!readWholeFile(path, text, reason))
    {
        warnings.push_back("cannot read material library '" + path.string() + "': " + reason);
        return;
    }
    const std::filesystem::path folder = path.parent_path();
    MtlDefinition* current = nullptr;
    std::string_view all(text);
    while (!all.empty())
    {
        const size_t eol = all.find('\n');
        std::string_view line = all.substr(0, eol);
        all.remove_prefix(eol == std::string_view::npos ? all.size() : eol + 1);
        std::string_view rest = line;
        const std::string_view keyword = nextToken(rest);
        if (keyword == "newmtl")
            current = &defs[std::string(trim(rest))];
        else if (keyword == "map_Kd" && current != nullptr)
        {
            const std::string_view name = textureName(rest);
            if (!name.empty())
                current->texture = locate(folder, name);
        }
    }
}

}  // namespace

bool ObjFile::Read(const std::filesystem::path& path, ObjMesh& mesh, std::string* error)
{
    mesh = ObjMesh();
    auto fail = [&](size_t lineNumber, const std::string& reason)
    {
        if (error != nullptr)
            *error = "'" + path.string() + "'" +
                     (lineNumber > 0 ? ", line " + std::to_string(lineNumber) : "") + ": " + reason;
        return false;
    };
    std::string text, reason;
    if (!readWholeFile(path, text, reason))
        return fail(0, "cannot read the file: " + reason);

    std::vector<std::string> libraries;
    std::unordered_map<std::string, uint32_t> materialIndex;
    uint32_t currentMaterial = ObjMesh::kNone;
    size_t shortFaces = 0;
    std::vector<uint32_t> cornerV;
    std::vector<uint32_t> cornerVt;

    std::string_view all(text);
    size_t lineNumber = 0;
    while (!all.empty())
    {
        ++lineNumber;
        const size_t eol = all.find('\n');
        std::string_view rest = all.substr(0, eol);
        all.remove_prefix(eol == std::string_view::npos ? all.size() : eol + 1);
        const std::string_view keyword = nextToken(rest);
        if (keyword == "v")
        {
            float xyz[3];
            for (float& c : xyz)
                if (!parseFloat(nextToken(rest), c))
                    return fail(lineNumber, "bad vertex position");
            mesh.positions.emplace_back(xyz[0], xyz[1], xyz[2]);
        }
        else if (keyword == "vt")
        {
            float u = 0.0f;
            float v = 0.0f;
            if (!parseFloat(nextToken(rest), u))
                return fail(lineNumber, "bad texture coordinate");
            const std::string_view vToken = nextToken(rest);
            if (!vToken.empty() && !parseFloat(vToken, v))
                return fail(lineNumber, "bad texture coordinate");
            mesh.uvs.emplace_back(u, v);
        }
        else if (keyword == "f")
        {
            cornerV.clear();
            cornerVt.clear();
            for (std::string_view corner = nextToken(rest); !corner.empty(); corner = nextToken(rest))
            {
                const size_t slash = corner.find('/');
                int64_t raw = 0;
                uint32_t v = 0;
                if (!parseInt(corner.substr(0, slash), raw))
                    return fail(lineNumber, "bad face corner '" + std::string(corner) + "'");
                if (!resolveIndex(raw, mesh.positions.size(), v))
                    return fail(lineNumber, "vertex index " + std::to_string(raw) + " out of range");
                uint32_t vt = ObjMesh::kNone;
                if (slash != std::string_view::npos)
                {
                    std::string_view tex = corner.substr(slash + 1);
                    tex = tex.substr(0, tex.find('/'));
                    if (!tex.empty())
                    {
                        if (!parseInt(tex, raw))
                            return fail(lineNumber, "bad face corner '" + std::string(corner) + "'");
                        if (!resolveIndex(raw, mesh.uvs.size(), vt))
                            return fail(lineNumber,
                                        "texture coordinate index " + std::to_string(raw) + " out of range");
                    }
                }
                cornerV.push_back(v);
                cornerVt.push_back(vt);
            }
            if (cornerV.size() < 3)
            {
                ++shortFaces;
                continue;
            }
            for (size_t k = 1; k + 1 < cornerV.size(); ++k)
                mesh.triangles.push_back({{cornerV[0], cornerV[k], cornerV[k + 1]},
                                          {cornerVt[0], cornerVt[k], cornerVt[k + 1]},
                                          currentMaterial});
        }
        else if (keyword == "usemtl")
        {
            const std::string name(trim(rest));
            const auto [it, inserted] = materialIndex.emplace(name, uint32_t(mesh.materials.size()));
            if (inserted)
                mesh.materials.push_back({name, {}, false});
            currentMaterial = it->second;
        }
        else if (keyword == "mtllib")
        {
            // One library per word, unless the whole remainder names a file (a name with spaces).
            const std::string whole(trim(rest));
            std::error_code ec;
            if (std::filesystem::exists(locate(path.parent_path(), whole), ec))
                libraries.push_back(whole);
            else
                for (std::string_view name = nextToken(rest); !name.empty(); name = nextToken(rest))
                    libraries.emplace_back(name);
        }
    }

    std::unordered_map<std::string, MtlDefinition> definitions;
    for (const std::string& library : libraries)
        readMaterialLibrary(locate(path.parent_path(), library), definitions, mesh.warnings);
    for (ObjMesh::Material& material : mesh.materials)
    {
        const auto it = definitions.find(material.name);
        if (it == definitions.end())
        {
            mesh.warnings.push_back("material '" + material.name + "' is not defined");
            continue;
        }
        material.defined = true;
        material.texture = it->second.texture;
    }
    if (shortFaces > 0)
        mesh.warnings.push_back(std::to_string(shortFaces) + " faces with fewer than 3 corners skipped");
    return true;
}

}  // namespace Quelm::Topology
