#pragma once

#include "engine/Image.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace Quelm::Topology
{

// Reading and writing texture images as PNG and JPEG files.
//
// Row order: row 0 of an image is the top row as stored in the file, the order a viewer shows.
// Texture coordinates usually put v = 0 at the bottom of the picture; FlipRows turns an image
// over so that row 0 is the bottom row, which is what v-indexed sampling expects.
class ImageFile
{
public:
    // Largest image accepted when reading: a hostile header cannot ask for more than this many
    // pixels (16384 x 16384).
    static constexpr uint64_t kMaxPixels = uint64_t(1) << 28;

    // Reads a PNG or a JPEG file, told apart by their first bytes (the name does not matter),
    // into a new image owned by the caller. Channels follow the file: 1 grey, 2 grey and alpha,
    // 3 RGB, 4 RGBA; palette PNGs become RGB (RGBA with transparency), 16-bit channels are scaled
    // to 8 bits, JPEGs give 1 or 3 channels (CMYK JPEGs are refused). Null on failure, with a
    // one-line reason in `error` when it is not null.
    // Rows are decoded one at a time into a buffer that grows as they arrive, so a file whose
    // header claims more than its data holds fails before costing much memory. Progressive and
    // other multi-scan JPEGs are decoded whole first: one whose image would exceed 4096 bytes per
    // byte of the file is refused (no Huffman-coded file comes near that).
    static std::shared_ptr<vsk::Image> Load(const std::filesystem::path& path, std::string* error = nullptr);

    // Writes `image` (1 to 4 channels) as a PNG file; false with a reason in `error` on failure.
    static bool SavePng(const vsk::Image& image, const std::filesystem::path& path,
                        std::string* error = nullptr);
    // Writes `image` (1 or 3 channels) as a baseline JPEG of the given quality (1..100); false
    // with a reason in `error` on failure.
    static bool SaveJpeg(const vsk::Image& image, const std::filesystem::path& path, int quality = 90,
                         std::string* error = nullptr);

    // Mirrors the rows of `image` in place: row 0 becomes the last row.
    static void FlipRows(vsk::Image& image);
};

}  // namespace Quelm::Topology
