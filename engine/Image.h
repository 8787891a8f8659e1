#pragma once

#include <memory>
#include <vector>

namespace vsk
{

// An 8-bit-per-channel image: interleaved channels, rows one after another, row 0 first. The
// pixel at column x, row y starts at byte (width * y + x) * channels.
class Image
{
public:
    // A zero-filled image.
    Image(unsigned width, unsigned height, unsigned channels);
    // An image over `buffer`, taken over without a copy. A buffer whose size is not
    // width * height * channels is reported as an engine assertion and then resized to fit.
    Image(unsigned width, unsigned height, unsigned channels, std::vector<unsigned char> buffer);

    unsigned GetWidth() const { return width_; }
    unsigned GetHeight() const { return height_; }
    unsigned Channels() const { return channels_; }

    // First channel byte of pixel (x, y). No bounds check: callers keep (x, y) inside the image.
    unsigned char* GetPixel(int x, int y)
    {
        return buffer_.data() +
               (static_cast<size_t>(width_) * static_cast<size_t>(y) + static_cast<size_t>(x)) * channels_;
    }
    const unsigned char* GetPixel(int x, int y) const
    {
        return buffer_.data() +
               (static_cast<size_t>(width_) * static_cast<size_t>(y) + static_cast<size_t>(x)) * channels_;
    }

    std::vector<unsigned char>& Buffer() { return buffer_; }
    const std::vector<unsigned char>& Buffer() const { return buffer_; }

private:
    void checkSize();

    unsigned width_;
    unsigned height_;
    unsigned channels_;
    std::vector<unsigned char> buffer_;
};

// A texture: a shared image, possibly none.
class Texture
{
public:
    explicit Texture(std::shared_ptr<Image> image = nullptr) : image_(std::move(image)) {}
    Image* GetImage() const { return image_.get(); }
    void SetImage(std::shared_ptr<Image> image) { image_ = std::move(image); }

private:
    std::shared_ptr<Image> image_;
};

}  // namespace vsk
