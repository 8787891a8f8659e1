#include "color/ColorUtility.h"
#include "engine/Image.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/spin_mutex.h>

#include <array>
#include <cstdint>

namespace Quelm::Topology
{
namespace
{

struct BlurEntry
{
    int dx;
    int dy;
    float divisor;
};

using BlurKernel = std::array<BlurEntry, 25>;

// The 5 x 5 kernel in row order (dy outer, dx inner). The divisor doubles with every step away
// from the centre along either axis, starting at 2.
BlurKernel makeBlurKernel()
{
    BlurKernel kernel{};
    int i = 0;
    for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx)
        {
            const int steps = (dx < 0 ? -dx : dx) + (dy < 0 ? -dy : dy);
            kernel[i++] = BlurEntry{dx, dy, static_cast<float>(2 << steps)};
        }
    return kernel;
}

// Built on first use, once: a function-local static is initialised thread-safely.
const BlurKernel& blurKernel()
{
    static const BlurKernel kernel = makeBlurKernel();
    return kernel;
}

}  // namespace

ClrRGB ColorUtility::getPixel(vsk::Image* img, int x, int y)
{
    if (img == nullptr)
        return ClrRGB();
    const unsigned char* p = img->GetPixel(x, y);
    return ClrRGB(p[0], p[1], p[2]);
}

ClrRGB ColorUtility::getAvgBlurPixel(vsk::Image* img, int x, int y)
{
    if (img == nullptr)
        return ClrRGB();
    const BlurKernel& kernel = blurKernel();
    const int64_t width = img->GetWidth();
    const int64_t height = img->GetHeight();

    // Each chunk sums its entries and adds its partial sum to the result once, under the lock.
    // With the grey substitution of + the sum is not associative: the chunking decides the last
    // bits, which is accepted.
    ClrRGB result;
    tbb::spin_mutex resultMutex;
    tbb::parallel_for(tbb::blocked_range<int>(0, 25, 5),
                      [&](const tbb::blocked_range<int>& range)
                      {
                          ClrRGB partial;
                          for (int i = range.begin(); i != range.end(); ++i)
                          {
                              const int64_t sx = int64_t(x) + kernel[i].dx;
                              const int64_t sy = int64_t(y) + kernel[i].dy;
                              if (sx < 0 || sx > width || sy < 0 ||
                                  sy > height)  // inclusive upper bounds: kept
                                  continue;
                              partial = partial + getPixel(img, int(sx), int(sy)) / kernel[i].divisor;
                          }
                          tbb::spin_mutex::scoped_lock lock(resultMutex);
                          result = result + partial;
                      });
    return result;
}

}  // namespace Quelm::Topology
