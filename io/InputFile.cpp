#include "io/InputFile.h"

#include <cerrno>
#include <cstring>
#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quelm::IO::detail
{
namespace
{

constexpr size_t kStreamBufferBytes = size_t(1) << 16;

std::string openFailure(int error)
{
    switch (error)
    {
    case ENOENT:
    case ENOTDIR:
        return "no such file";
    case EACCES:
    case EPERM:
        return "permission denied";
    case EISDIR:
        return "is a folder";
    case ENXIO:  // a socket, or a device without its driver
        return "is not a regular file (a device or a pipe)";
    default:
        return std::strerror(error);
    }
}

}  // namespace

InputFile::~InputFile()
{
    close();
}

void InputFile::close()
{
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
    size_ = 0;
}

bool InputFile::open(const std::string& path, std::string& reason)
{
    close();
    if (path.empty())
        return reason = "no such file", false;
    int fd;
    do
        fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return reason = openFailure(errno), false;
    struct stat info;
    if (::fstat(fd, &info) != 0)
    {
        reason = std::strerror(errno);
        ::close(fd);
        return false;
    }
    if (!S_ISREG(info.st_mode))
    {
        reason = S_ISDIR(info.st_mode) ? "is a folder" : "is not a regular file (a device or a pipe)";
        ::close(fd);
        return false;
    }
    // a regular file never blocks; cleared so that whoever takes the descriptor sees plain reads
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    fd_ = fd;
    size_ = static_cast<uint64_t>(info.st_size);
    return true;
}

bool InputFile::readAll(std::string& text, std::string& reason)
{
    text.clear();
    if (fd_ < 0)
        return reason = "is not open", false;
    text.reserve(static_cast<size_t>(size_));  // a hint only: the loop reads whatever is there
    char buffer[1 << 16];
    for (;;)
    {
        const ssize_t got = ::read(fd_, buffer, sizeof buffer);
        if (got == 0)
            return true;
        if (got < 0)
        {
            if (errno == EINTR)
                continue;
            return reason = std::strerror(errno), false;
        }
        text.append(buffer, static_cast<size_t>(got));
    }
}

std::FILE* InputFile::releaseAsStdio()
{
    if (fd_ < 0)
        return nullptr;
    std::FILE* file = ::fdopen(fd_, "rb");
    if (file)
        fd_ = -1;  // the C stream owns it now
    close();
    return file;
}

std::unique_ptr<std::streambuf> InputFile::releaseAsStreamBuf()
{
    if (fd_ < 0)
        return nullptr;
    // libstdc++'s file buffer over a descriptor: seekable, and it closes the descriptor when
    // destroyed
    auto buffer = std::make_unique<__gnu_cxx::stdio_filebuf<char>>(fd_, std::ios::in | std::ios::binary,
                                                                   kStreamBufferBytes);
    fd_ = -1;
    size_ = 0;
    return buffer;
}

bool utf8FromWide(const std::wstring& wide, std::string& utf8)
{
    utf8.clear();
    utf8.reserve(wide.size());
    for (const wchar_t wc : wide)
    {
        const auto c = static_cast<uint32_t>(wc);
        if (c == 0 || (c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF)
            return false;
        if (c < 0x80)
            utf8.push_back(static_cast<char>(c));
        else if (c < 0x800)
        {
            utf8.push_back(static_cast<char>(0xC0 | (c >> 6)));
            utf8.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
        else if (c < 0x10000)
        {
            utf8.push_back(static_cast<char>(0xE0 | (c >> 12)));
            utf8.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            utf8.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
        else
        {
            utf8.push_back(static_cast<char>(0xF0 | (c >> 18)));
            utf8.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            utf8.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            utf8.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return true;
}

}  // namespace Quelm::IO::detail
