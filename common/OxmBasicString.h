#pragma once

#include <string>

namespace Quelm::Objects
{

// The framework's string record: a std::basic_string behind a polymorphic shell.
template <typename CharT>
class OxmBasicString
{
public:
    OxmBasicString() = default;
    OxmBasicString(const CharT* s) : s_(s ? s : std::basic_string<CharT>()) {}  // null gives ""
    OxmBasicString(std::basic_string<CharT> s) : s_(std::move(s)) {}
    virtual ~OxmBasicString() = default;
    OxmBasicString(const OxmBasicString&) = default;
    OxmBasicString& operator=(const OxmBasicString&) = default;
    OxmBasicString(OxmBasicString&&) noexcept = default;
    OxmBasicString& operator=(OxmBasicString&&) noexcept = default;

    const CharT* c_str() const { return s_.c_str(); }
    const std::basic_string<CharT>& str() const { return s_; }
    bool empty() const { return s_.empty(); }
    size_t size() const { return s_.size(); }
    bool operator==(const OxmBasicString& o) const { return s_ == o.s_; }

private:
    std::basic_string<CharT> s_;
};

}  // namespace Quelm::Objects
