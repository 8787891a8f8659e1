#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <streambuf>
#include <string>

namespace Quelm::IO::detail
{

// The library's one way to open a file for reading. The file is opened first and the opened
// descriptor is then checked with fstat, so nothing can change between the check and the read;
// it is opened non-blocking, so that a named pipe without a writer cannot stall the open itself.
// Only regular files are kept: a folder, a device (/dev/zero would be read without end) or a
// pipe is refused with a reason.
class InputFile
{
public:
    InputFile() = default;
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    // Opens `path` (the bytes the file system takes: UTF-8 for the library's wide paths). False
    // with a one-line `reason`: "no such file", "is a folder", "is not a regular file (a device
    // or a pipe)", "permission denied", or the system's own words. An empty file opens: whether
    // that is an error is the caller's to say.
    bool open(const std::string& path, std::string& reason);

    bool isOpen() const { return fd_ >= 0; }
    // Size when opened.
    uint64_t size() const { return size_; }

    // Reads the rest of the file into `text`, which is cleared first. False with `reason` on a
    // read error.
    bool readAll(std::string& text, std::string& reason);

    // Hands the open file over, as a C stream ("rb") the caller closes with fclose, or as a
    // seekable stream buffer that closes it when destroyed. The InputFile is closed afterwards;
    // null when it was not open.
    std::FILE* releaseAsStdio();
    std::unique_ptr<std::streambuf> releaseAsStreamBuf();

private:
    void close();

    int fd_ = -1;
    uint64_t size_ = 0;
};

// The UTF-8 form of a wide path (one code point per wchar_t), the encoding every file name of
// the library uses for reading and writing, whatever the process locale. False when the path
// holds a value that is not a Unicode scalar value (a lone surrogate, a value past U+10FFFF) or
// a NUL character: such a path names no file.
bool utf8FromWide(const std::wstring& wide, std::string& utf8);

}  // namespace Quelm::IO::detail
