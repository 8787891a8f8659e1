#pragma once

#include "topology/OxmOMTopology.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// What the sub-commands of qlm-mesh share: exit codes, strict argument parsing, mesh files with
// one-line errors, timing and progress on a terminal.
//
// All standard output goes through std::wcout: the library prints its messages there, and a C
// stream cannot take narrow and wide output at once (the second kind would be lost).
namespace Quelm::Tools
{

constexpr int kExitOk = 0;
constexpr int kExitWriteFailed = 1;
constexpr int kExitBadInput = 2;  // bad arguments or unreadable input

// Prints "qlm-mesh COMMAND: MESSAGE" as one line on stderr and returns kExitBadInput.
int fail(const char* command, const std::string& message);

struct Arguments
{
    std::vector<std::string> positional;
    std::map<std::string, std::string> values;  // "--name" -> value
    std::set<std::string> flags;                // "--name"

    bool has(const std::string& name) const { return flags.count(name) != 0 || values.count(name) != 0; }
};

// Splits the arguments into positional ones, the known flags and the known options with a value
// ("--name VALUE" or "--name=VALUE"). An unknown or repeated option, a flag given a value or an
// option without one fails with a one-line error for `command`.
bool splitArguments(const char* command, int argc, char** argv, const std::set<std::string>& knownFlags,
                    const std::set<std::string>& knownValues, Arguments& arguments);

// Whole-string parses: "12x", "", "-" and out-of-range values are rejected.
bool parseDouble(std::string_view text, double& value);
bool parseUnsigned(std::string_view text, uint64_t& value);

// UTF-8 to the library's wide paths.
std::wstring widen(const std::string& text);

// True when `path` ends in an extension the library reads and writes (obj, off, ply, stl, om,
// any case).
bool hasMeshExtension(const std::string& path);

// Reads a mesh file; on failure prints the library's reason (missing, a folder, unknown
// extension, the line or byte where the file is at fault) as one line for `command` and returns
// null.
std::unique_ptr<Topology::TopologyMesh> readMeshFile(const char* command, const std::string& path);

// Checks an output path before any long work: a mesh extension and an existing parent folder.
// Prints the reason and returns false when it cannot be written.
bool checkOutputPath(const char* command, const std::string& path);

// Writes through the library (its message, if any, is printed on stdout); prints a one-line
// error and returns false when the writer fails.
bool writeMeshFile(const char* command, const std::string& path, Topology::TopologyMesh& mesh,
                   bool writeNormals);

class Stopwatch
{
public:
    Stopwatch() : start_(std::chrono::steady_clock::now()) {}
    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }
    double restart()
    {
        const double s = seconds();
        start_ = std::chrono::steady_clock::now();
        return s;
    }

private:
    std::chrono::steady_clock::time_point start_;
};

// CPU time of the whole process (all threads) so far. Next to wall time it shows how much of a
// phase ran in parallel, and what it cost on a machine shared with other work.
double processCpuSeconds();

bool stderrIsTerminal();

// A phase of a long command, shown on stderr when stderr is a terminal: "LABEL..." with the
// elapsed time refreshed twice a second, then "LABEL... done (1.23 s)" on finish() or
// destruction. Silent when stderr is not a terminal, so logs and pipes stay clean.
class Progress
{
public:
    explicit Progress(std::string label);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void finish();

private:
    std::string label_;
    Stopwatch clock_;
    std::atomic<bool> done_{false};
    std::thread ticker_;
};

// Prints a double for JSON: finite values with enough digits to round-trip a float, and null
// for NaN or infinity (JSON has no spelling for them).
std::wstring jsonNumber(double value);
// Quotes and escapes a UTF-8 string for JSON.
std::wstring jsonString(const std::string& text);

}  // namespace Quelm::Tools
