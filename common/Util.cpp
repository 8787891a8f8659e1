#include "common/Util.h"

#include <cstdint>

namespace Quelm::Objects
{

std::string Util::ConvertToChar(const std::wstring& s)
{
    std::string out;
    out.reserve(s.size());
    for (wchar_t wc : s)
    {
        const uint32_t c = static_cast<uint32_t>(wc);
        if (c < 0x80)
            out.push_back(static_cast<char>(c));
        else if (c < 0x800)
        {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
        else if (c < 0x10000)
        {
            if (c >= 0xD800 && c <= 0xDFFF)  // lone surrogate: not encodable
            {
                out.push_back('?');
                continue;
            }
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
        else if (c < 0x110000)
        {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
        else
            out.push_back('?');
    }
    return out;
}

std::wstring Util::ConvertToWchar(const std::string& s)
{
    std::wstring out;
    out.reserve(s.size());
    const size_t n = s.size();
    size_t i = 0;
    while (i < n)
    {
        const auto b0 = static_cast<unsigned char>(s[i]);
        int extra = 0;
        uint32_t c = 0;
        if (b0 < 0x80)
            c = b0;
        else if ((b0 & 0xE0) == 0xC0)
        {
            extra = 1;
            c = b0 & 0x1F;
        }
        else if ((b0 & 0xF0) == 0xE0)
        {
            extra = 2;
            c = b0 & 0x0F;
        }
        else if ((b0 & 0xF8) == 0xF0)
        {
            extra = 3;
            c = b0 & 0x07;
        }
        else
            extra = -1;

        bool ok = extra >= 0 && i + static_cast<size_t>(extra) < n;
        for (int k = 1; ok && k <= extra; ++k)
        {
            const auto bk = static_cast<unsigned char>(s[i + k]);
            if ((bk & 0xC0) != 0x80)
                ok = false;
            else
                c = (c << 6) | (bk & 0x3F);
        }
        if (!ok)
        {
            out.push_back(static_cast<wchar_t>(b0));  // not UTF-8: keep the byte as Latin-1
            ++i;
            continue;
        }
        out.push_back(static_cast<wchar_t>(c));
        i += static_cast<size_t>(extra) + 1;
    }
    return out;
}

}  // namespace Quelm::Objects
