#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <istream>
#include <string>
#include <string_view>

namespace Quelm::IO::detail
{

// Forward-only buffered view of a stream `size` bytes long, read a block at a time. Every read is
// checked against the bytes that are left, so nothing is allocated for data that is not there.
// It tracks its place for reasons: the byte offset of the next unread byte, and the number of
// the last line handed out by line().
class ByteSource
{
public:
    static constexpr size_t kBlockBytes = size_t(1) << 20;

    ByteSource(std::istream& in, uint64_t size) : in_(in), size_(size), unread_(size) {}

    // Bytes not yet consumed.
    uint64_t left() const { return unread_ + (buffer_.size() - pos_); }
    // Offset in the stream of the next byte to consume.
    uint64_t offset() const { return size_ - left(); }
    // 1-based number of the line last returned by line(); 0 before the first.
    uint64_t lineNumber() const { return lines_; }
    uint64_t size() const { return size_; }

    bool read(void* dst, size_t n)
    {
        if (!ensure(n))
            return false;
        std::memcpy(dst, buffer_.data() + pos_, n);
        pos_ += n;
        return true;
    }

    // Makes `n` bytes available at data(); false when the input holds fewer.
    bool ensure(size_t n)
    {
        while (buffer_.size() - pos_ < n)
            if (!fill(n - (buffer_.size() - pos_)))
                return false;
        return true;
    }
    // Bytes available at data() without reading more.
    size_t buffered() const { return buffer_.size() - pos_; }
    const unsigned char* data() const
    {
        return reinterpret_cast<const unsigned char*>(buffer_.data()) + pos_;
    }
    void consume(size_t n) { pos_ += n; }

    bool skip(uint64_t n)
    {
        const uint64_t inBuffer = buffer_.size() - pos_;
        if (n <= inBuffer)
        {
            pos_ += static_cast<size_t>(n);
            return true;
        }
        n -= inBuffer;
        buffer_.clear();
        pos_ = 0;
        if (n > unread_)
        {
            unread_ = 0;
            return false;
        }
        in_.seekg(static_cast<std::streamoff>(n), std::ios::cur);
        unread_ -= n;
        return static_cast<bool>(in_);
    }

    // The next line without its line end; false once the input is exhausted.
    bool line(std::string_view& out)
    {
        size_t searchFrom = pos_;
        for (;;)
        {
            const char* begin = buffer_.data() + searchFrom;
            const void* nl = std::memchr(begin, '\n', buffer_.size() - searchFrom);
            if (nl)
            {
                const size_t end = static_cast<size_t>(static_cast<const char*>(nl) - buffer_.data());
                out = std::string_view(buffer_.data() + pos_, end - pos_);
                pos_ = end + 1;
                ++lines_;
                return true;
            }
            const size_t scanned = buffer_.size() - pos_;
            if (!fill(1))
            {
                if (pos_ == buffer_.size())
                    return false;
                out = std::string_view(buffer_.data() + pos_, buffer_.size() - pos_);
                pos_ = buffer_.size();
                ++lines_;
                return true;
            }
            searchFrom = pos_ + scanned;  // fill() moved the unconsumed bytes to the front
        }
    }

private:
    // Appends at least `want` bytes (one block when more are left); false at the end.
    bool fill(size_t want)
    {
        if (unread_ == 0)
            return false;
        if (pos_ > 0)
        {
            buffer_.erase(0, pos_);
            pos_ = 0;
        }
        const size_t chunk = static_cast<size_t>(std::min<uint64_t>(std::max(want, kBlockBytes), unread_));
        const size_t old = buffer_.size();
        buffer_.resize(old + chunk);
        in_.read(&buffer_[old], static_cast<std::streamsize>(chunk));
        const size_t got = static_cast<size_t>(in_.gcount());
        buffer_.resize(old + got);
        if (got < chunk)  // a stream shorter than it claimed ends here
        {
            size_ -= unread_ - got;
            unread_ = 0;
        }
        else
            unread_ -= got;
        return got >= std::min(want, chunk) && got > 0;
    }

    std::istream& in_;
    uint64_t size_;
    uint64_t unread_;
    uint64_t lines_ = 0;
    std::string buffer_;
    size_t pos_ = 0;
};

// The first fault found in a file, as one line: "line N: what" for text, "byte N: what" for
// binary data, or just "what" when no place applies. The helpers return false, so a check can
// `return fault.atLine(...)`.
class Fault
{
public:
    bool atLine(uint64_t line, std::string_view what)
    {
        return set("line " + std::to_string(line) + ": ", what);
    }
    bool atByte(uint64_t byte, std::string_view what)
    {
        return set("byte " + std::to_string(byte) + ": ", what);
    }
    bool general(std::string_view what) { return set(std::string(), what); }

    bool empty() const { return reason_.empty(); }
    const std::string& reason() const { return reason_; }

private:
    bool set(std::string place, std::string_view what)
    {
        if (reason_.empty())  // the first fault is the one that stopped the check
            reason_ = std::move(place.append(what));
        return false;
    }

    std::string reason_;
};

// A token quoted for a reason, cut to a readable length and with control bytes shown as '?', so
// that the reason stays one printable line.
inline std::string quoted(std::string_view token)
{
    constexpr size_t kMaxShown = 40;
    std::string out = "'";
    for (size_t i = 0; i < token.size() && i < kMaxShown; ++i)
    {
        const auto c = static_cast<unsigned char>(token[i]);
        out.push_back(c < 0x20 || c == 0x7f ? '?' : static_cast<char>(c));
    }
    if (token.size() > kMaxShown)
        out += "...";
    return out + "'";
}

}  // namespace Quelm::IO::detail
