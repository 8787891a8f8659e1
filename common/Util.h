#pragma once

#include <string>

namespace Quelm::Objects
{

class Util
{
public:
    // Wide (UTF-32 on this platform) to UTF-8. Code points that cannot be encoded become '?'.
    static std::string ConvertToChar(const std::wstring& s);
    // UTF-8 to wide. A malformed byte sequence is taken byte by byte (Latin-1), so nothing is lost.
    static std::wstring ConvertToWchar(const std::string& s);
};

}  // namespace Quelm::Objects
