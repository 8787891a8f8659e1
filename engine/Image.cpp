#include "engine/Image.h"

#include "engine/EngineAssert.h"

namespace vsk
{

Image::Image(unsigned width, unsigned height, unsigned channels)
    : width_(width), height_(height), channels_(channels),
      buffer_(static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(channels), 0)
{
    const size_t nWidth = width_, nHeight = height_, nChannels = channels_;
    const std::vector<unsigned char>& vBuffer = buffer_;
    VSK_ASSERT(nWidth * nHeight * nChannels == vBuffer.size());
}

}  // namespace vsk
