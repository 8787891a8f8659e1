#include "engine/Image.h"

#include "engine/EngineAssert.h"

#include <utility>

namespace vsk
{

Image::Image(unsigned width, unsigned height, unsigned channels)
    : width_(width), height_(height), channels_(channels),
      buffer_(static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(channels), 0)
{
    checkSize();
}

Image::Image(unsigned width, unsigned height, unsigned channels, std::vector<unsigned char> buffer)
    : width_(width), height_(height), channels_(channels), buffer_(std::move(buffer))
{
    checkSize();
}

void Image::checkSize()
{
    const size_t nWidth = width_, nHeight = height_, nChannels = channels_;
    const std::vector<unsigned char>& vBuffer = buffer_;
    if (!VSK_ASSERT_MSG(nWidth * nHeight * nChannels == vBuffer.size(),
                        "nWidth*nHeight*nChannels == vBuffer.size()"))
        buffer_.resize(nWidth * nHeight * nChannels);  // the pixel accessors rely on the full size
}

}  // namespace vsk
