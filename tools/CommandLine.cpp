#include "tools/CommandLine.h"

#include "common/Util.h"
#include "topology/OpenMeshUtility.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace Quelm::Tools
{

namespace fs = std::filesystem;

int fail(const char* command, const std::string& message)
{
    std::fprintf(stderr, "qlm-mesh %s: %s\n", command, message.c_str());
    return kExitBadInput;
}

bool splitArguments(const char* command, int argc, char** argv, const std::set<std::string>& knownFlags,
                    const std::set<std::string>& knownValues, Arguments& arguments)
{
    for (int i = 0; i < argc; ++i)
    {
        const std::string arg = argv[i];
        if (arg.size() < 3 || arg.compare(0, 2, "--") != 0)
        {
            arguments.positional.push_back(arg);
            continue;
        }
        const size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        if (arguments.has(name))
            return fail(command, "option " + name + " is given twice"), false;
        if (knownFlags.count(name))
        {
            if (equals != std::string::npos)
                return fail(command, "option " + name + " takes no value"), false;
            arguments.flags.insert(name);
        }
        else if (knownValues.count(name))
        {
            if (equals != std::string::npos)
                arguments.values[name] = arg.substr(equals + 1);
            else if (i + 1 < argc)
                arguments.values[name] = argv[++i];
            else
                return fail(command, "option " + name + " needs a value"), false;
        }
        else
            return fail(command, "unknown option " + name), false;
    }
    return true;
}

bool parseDouble(std::string_view text, double& value)
{
    if (text.empty())
        return false;
    double parsed = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (ec != std::errc() || end != text.data() + text.size() || !std::isfinite(parsed))
        return false;
    value = parsed;
    return true;
}

bool parseUnsigned(std::string_view text, uint64_t& value)
{
    if (text.empty())
        return false;
    uint64_t parsed = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (ec != std::errc() || end != text.data() + text.size())
        return false;
    value = parsed;
    return true;
}

std::wstring widen(const std::string& text)
{
    return Objects::Util::ConvertToWchar(text);
}

bool hasMeshExtension(const std::string& path)
{
    std::string ext = fs::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return ext == ".obj" || ext == ".off" || ext == ".ply" || ext == ".stl" || ext == ".om";
}

std::unique_ptr<Topology::TopologyMesh> readMeshFile(const char* command, const std::string& path)
{
    std::string reason;
    std::unique_ptr<Topology::TopologyMesh> mesh(
        Topology::OpenMeshUtility::ReadMesh(widen(path).c_str(), reason));
    if (!mesh)
        fail(command, "cannot read '" + path + "': " + reason);
    return mesh;
}

bool checkOutputPath(const char* command, const std::string& path)
{
    if (!hasMeshExtension(path))
        return fail(command, "cannot write '" + path + "': the extension must be obj, off, ply, stl or om"),
               false;
    std::error_code ec;
    const fs::path parent = fs::path(path).parent_path();
    if (!parent.empty() && !fs::is_directory(parent, ec))
        return fail(command, "cannot write '" + path + "': no folder '" + parent.string() + "'"), false;
    if (fs::is_directory(path, ec))
        return fail(command, "cannot write '" + path + "': it is a folder"), false;
    return true;
}

bool writeMeshFile(const char* command, const std::string& path, Topology::TopologyMesh& mesh,
                   bool writeNormals)
{
    const bool written = Topology::OpenMeshUtility::WriteMesh(widen(path).c_str(), &mesh, writeNormals);
    std::wcout.flush();
    if (!written)
        std::fprintf(stderr, "qlm-mesh %s: cannot write '%s'\n", command, path.c_str());
    return written;
}

double processCpuSeconds()
{
    return double(std::clock()) / CLOCKS_PER_SEC;
}

bool stderrIsTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

Progress::Progress(std::string label) : label_(std::move(label))
{
    if (!stderrIsTerminal())
        return;
    std::fprintf(stderr, "%s...", label_.c_str());
    std::fflush(stderr);
    ticker_ = std::thread(
        [this]
        {
            // sleeps in short steps so that finish() never waits long for the thread
            int steps = 0;
            while (!done_.load())
            {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                if (++steps % 10 == 0 && !done_.load())
                {
                    std::fprintf(stderr, "\r%s... %.1f s", label_.c_str(), clock_.seconds());
                    std::fflush(stderr);
                }
            }
        });
}

Progress::~Progress()
{
    finish();
}

void Progress::finish()
{
    if (done_.exchange(true))
        return;
    if (ticker_.joinable())
    {
        ticker_.join();
        std::fprintf(stderr, "\r%s... done (%.2f s)    \n", label_.c_str(), clock_.seconds());
    }
}

std::wstring jsonNumber(double value)
{
    if (!std::isfinite(value))
        return L"null";
    wchar_t buffer[64];
    std::swprintf(buffer, 64, L"%.9g", value);
    return buffer;
}

std::wstring jsonString(const std::string& text)
{
    std::wstring out = L"\"";
    for (wchar_t c : widen(text))
    {
        if (c == L'"' || c == L'\\')
        {
            out += L'\\';
            out += c;
        }
        else if (c < 0x20 || c > 0x7E)
        {
            // ASCII only, so that the output never depends on the terminal's encoding
            auto escape = [&out](unsigned unit)
            {
                wchar_t buffer[8];
                std::swprintf(buffer, 8, L"\\u%04x", unit);
                out += buffer;
            };
            const auto code = static_cast<uint32_t>(c);
            if (code > 0xFFFF)
            {
                escape(0xD800 + ((code - 0x10000) >> 10));
                escape(0xDC00 + ((code - 0x10000) & 0x3FF));
            }
            else
                escape(code);
        }
        else
            out += c;
    }
    return out + L"\"";
}

}  // namespace Quelm::Tools
