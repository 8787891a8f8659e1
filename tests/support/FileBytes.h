#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// Whole files as byte strings, for tests that write their inputs to a temporary directory.
namespace test
{

// Writes `bytes` as they are (NULs included), creating the folder they go in.
inline void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    if (path.has_parent_path())
        std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

// Every byte of the file; empty when it cannot be read.
inline std::string readFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace test
