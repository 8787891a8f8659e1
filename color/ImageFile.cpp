#include "color/ImageFile.h"

#include "io/InputFile.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <vector>

// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>

#include <jerror.h>

namespace Quelm::Topology
{
namespace
{

// Both decoders report errors by longjmp. Every function that calls setjmp below keeps only
// trivially destructible locals and returns right after a jump, so no destructor is skipped;
// the owning objects (files, decoder state, the image) live in the callers.

void setError(std::string* error, const std::filesystem::path& path, const std::string& reason)
{
    if (error != nullptr)
        *error = "'" + path.string() + "': " + reason;
}

struct FileCloser
{
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

bool tooLarge(uint64_t width, uint64_t height)
{
    return width == 0 || height == 0 || width * height > ImageFile::kMaxPixels;
}

// Pixels are decoded row by row into a buffer that grows with the rows that arrive, so a header
// that claims a large picture costs memory only as its data turns out to be there. `total` is the
// claimed size: the capacity doubles up to it, never past it. Returns the new row, zero-filled.
unsigned char* appendRow(std::vector<unsigned char>& pixels, size_t rowBytes, size_t total)
{
    const size_t needed = pixels.size() + rowBytes;
    if (needed > pixels.capacity())
        pixels.reserve(std::max(needed, std::min(total, 2 * pixels.capacity())));
    pixels.resize(needed);
    return pixels.data() + needed - rowBytes;
}

// --- PNG ----------------------------------------------------------------------------------------

struct PngReader
{
    png_structp png = nullptr;
    png_infop info = nullptr;
    char message[256] = {};

    ~PngReader()
    {
        if (png != nullptr)
            png_destroy_read_struct(&png, info != nullptr ? &info : nullptr, nullptr);
    }
};

void pngError(png_structp png, png_const_charp message)
{
    auto* reader = static_cast<PngReader*>(png_get_error_ptr(png));
    std::snprintf(reader->message, sizeof(reader->message), "%s", message);
    png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp) {}

// Reads the header and asks for 8-bit output with the file's channels (palettes expanded).
bool pngReadHeader(PngReader& reader, std::FILE* file, png_uint_32& width, png_uint_32& height,
                   unsigned& channels, bool& interlaced, size_t& rowBytes)
{
    if (setjmp(png_jmpbuf(reader.png)))
        return false;
    png_init_io(reader.png, file);
    png_set_user_limits(reader.png, 1u << 20, 1u << 20);
    png_read_info(reader.png, reader.info);
    const int colorType = png_get_color_type(reader.png, reader.info);
    const int bitDepth = png_get_bit_depth(reader.png, reader.info);
    if (colorType == PNG_COLOR_TYPE_PALETTE)
        png_set_palette_to_rgb(reader.png);
    if (colorType == PNG_COLOR_TYPE_GRAY && bitDepth < 8)
        png_set_expand_gray_1_2_4_to_8(reader.png);
    if (png_get_valid(reader.png, reader.info, PNG_INFO_tRNS))
        png_set_tRNS_to_alpha(reader.png);
    if (bitDepth == 16)
        png_set_scale_16(reader.png);
    // Interlaced images are not combined by the decoder, which would need the whole picture in
    // memory from the first pass on: their passes are read as small images and combined after.
    png_read_update_info(reader.png, reader.info);
    width = png_get_image_width(reader.png, reader.info);
    height = png_get_image_height(reader.png, reader.info);
    channels = png_get_channels(reader.png, reader.info);
    interlaced = png_get_interlace_type(reader.png, reader.info) == PNG_INTERLACE_ADAM7;
    rowBytes = png_get_rowbytes(reader.png, reader.info);
    return true;
}

// The next row of the image, or of the current interlace pass. The decoder writes a whole
// image row's bytes to `row` either way.
bool pngReadRow(PngReader& reader, png_bytep row)
{
    if (setjmp(png_jmpbuf(reader.png)))
        return false;
    png_read_row(reader.png, row, nullptr);
    return true;  // note: chunks after the image data are not read; they cannot change the pixels
}

// Scatters the seven passes of an interlaced image, stored one after another, to their places.
std::vector<unsigned char> combinePasses(const std::vector<unsigned char>& passes, png_uint_32 width,
                                         png_uint_32 height, unsigned channels)
{
    std::vector<unsigned char> pixels(size_t(width) * height * channels);
    const unsigned char* from = passes.data();
    for (int pass = 0; pass < PNG_INTERLACE_ADAM7_PASSES; ++pass)
    {
        const png_uint_32 cols = PNG_PASS_COLS(width, pass);
        const png_uint_32 rows = cols == 0 ? 0 : PNG_PASS_ROWS(height, pass);
        for (png_uint_32 y = 0; y < rows; ++y)
        {
            unsigned char* row = pixels.data() + size_t(PNG_ROW_FROM_PASS_ROW(y, pass)) * width * channels;
            for (png_uint_32 x = 0; x < cols; ++x, from += channels)
                std::memcpy(row + size_t(PNG_COL_FROM_PASS_COL(x, pass)) * channels, from, channels);
        }
    }
    return pixels;
}

std::shared_ptr<vsk::Image> loadPng(std::FILE* file, const std::filesystem::path& path, std::string* error)
{
    PngReader reader;
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, pngError, pngWarning);
    if (reader.png != nullptr)
        reader.info = png_create_info_struct(reader.png);
    if (reader.info == nullptr)
    {
        setError(error, path, "cannot start the PNG decoder");
        return nullptr;
    }
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    unsigned channels = 0;
    bool interlaced = false;
    size_t rowBytes = 0;
    if (!pngReadHeader(reader, file, width, height, channels, interlaced, rowBytes))
    {
        setError(error, path, std::string("bad PNG file: ") + reader.message);
        return nullptr;
    }
    if (tooLarge(width, height) || channels < 1 || channels > 4 || rowBytes != size_t(width) * channels)
    {
        setError(error, path, "unsupported PNG size or layout");
        return nullptr;
    }
    const size_t total = size_t(width) * height * channels;
    std::vector<unsigned char> pixels;  // the rows, or the passes' rows one pass after another
    std::vector<unsigned char> passRow(interlaced ? rowBytes : 0);
    for (int pass = 0; pass < (interlaced ? PNG_INTERLACE_ADAM7_PASSES : 1); ++pass)
    {
        const png_uint_32 cols = interlaced ? PNG_PASS_COLS(width, pass) : width;
        const png_uint_32 rows = cols == 0 ? 0 : interlaced ? PNG_PASS_ROWS(height, pass) : height;
        for (png_uint_32 y = 0; y < rows; ++y)
        {
            if (!pngReadRow(reader, interlaced ? passRow.data() : appendRow(pixels, rowBytes, total)))
            {
                setError(error, path, std::string("bad PNG file: ") + reader.message);
                return nullptr;
            }
            if (interlaced)
                std::memcpy(appendRow(pixels, size_t(cols) * channels, total), passRow.data(),
                            size_t(cols) * channels);
        }
    }
    if (interlaced)
        pixels = combinePasses(pixels, width, height, channels);
    return std::make_shared<vsk::Image>(width, height, channels, std::move(pixels));
}

// --- JPEG ---------------------------------------------------------------------------------------

struct JpegError
{
    jpeg_error_mgr manager;  // first member: libjpeg hands back a pointer to it
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
    bool truncated;
};

void jpegErrorExit(j_common_ptr info)
{
    auto* err = reinterpret_cast<JpegError*>(info->err);
    (*info->err->format_message)(info, err->message);
    std::longjmp(err->jump, 1);
}

void jpegSilence(j_common_ptr) {}

// Warnings are not printed; the ones that matter, image data that ends before the picture does,
// at the end of the file or at a marker (libjpeg then pads the picture with grey), are remembered
// so that the read can fail, and stop at once: a header may claim far more rows than the data.
void jpegNoteWarning(j_common_ptr info, int level)
{
    if (level < 0 && (info->err->msg_code == JWRN_JPEG_EOF || info->err->msg_code == JWRN_HIT_MARKER))
        reinterpret_cast<JpegError*>(info->err)->truncated = true;
}

struct JpegReader
{
    jpeg_decompress_struct info{};
    JpegError err{};
    bool created = false;

    ~JpegReader()
    {
        if (created)
            jpeg_destroy_decompress(&info);
    }
};

bool jpegReadHeader(JpegReader& reader, std::FILE* file, unsigned& width, unsigned& height,
                    unsigned& channels, bool& multiScan)
{
    reader.info.err = jpeg_std_error(&reader.err.manager);
    reader.err.manager.error_exit = jpegErrorExit;
    reader.err.manager.output_message = jpegSilence;
    reader.err.manager.emit_message = jpegNoteWarning;
    if (setjmp(reader.err.jump))
        return false;
    jpeg_create_decompress(&reader.info);
    reader.created = true;
    jpeg_stdio_src(&reader.info, file);
    jpeg_read_header(&reader.info, TRUE);
    if (reader.info.jpeg_color_space == JCS_CMYK || reader.info.jpeg_color_space == JCS_YCCK)
    {
        std::snprintf(reader.err.message, sizeof(reader.err.message), "CMYK JPEG files are not supported");
        return false;
    }
    reader.info.out_color_space = reader.info.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_calc_output_dimensions(&reader.info);
    width = reader.info.output_width;
    height = reader.info.output_height;
    channels = static_cast<unsigned>(reader.info.output_components);
    multiScan = jpeg_has_multiple_scans(&reader.info);
    return true;
}

bool jpegStart(JpegReader& reader)
{
    if (setjmp(reader.err.jump))
        return false;
    jpeg_start_decompress(&reader.info);
    return true;
}

bool jpegReadRow(JpegReader& reader, JSAMPROW row)
{
    if (setjmp(reader.err.jump))
        return false;
    jpeg_read_scanlines(&reader.info, &row, 1);
    return true;
}

bool jpegFinish(JpegReader& reader)
{
    if (setjmp(reader.err.jump))
        return false;
    jpeg_finish_decompress(&reader.info);
    return true;
}

std::shared_ptr<vsk::Image> loadJpeg(std::FILE* file, uint64_t fileBytes, const std::filesystem::path& path,
                                     std::string* error)
{
    JpegReader reader;
    unsigned width = 0;
    unsigned height = 0;
    unsigned channels = 0;
    bool multiScan = false;
    if (!jpegReadHeader(reader, file, width, height, channels, multiScan))
    {
        setError(error, path, std::string("bad JPEG file: ") + reader.err.message);
        return nullptr;
    }
    if (tooLarge(width, height) || (channels != 1 && channels != 3))
    {
        setError(error, path, "unsupported JPEG size or layout");
        return nullptr;
    }
    const size_t rowBytes = size_t(width) * channels;
    const size_t total = rowBytes * height;
    // A progressive or multi-scan file is decoded whole, into buffers of about twice the image's
    // size, before its first row comes out. Its size is therefore weighed against the file's: a
    // Huffman-coded file spends at least a bit on each 8 x 8 block of each scan, which bounds it
    // to about 1400 image bytes per file byte, so only a header that lies goes past this.
    constexpr uint64_t kMaxMultiScanBytesPerFileByte = 4096;
    if (multiScan && total / kMaxMultiScanBytesPerFileByte > fileBytes)
    {
        setError(error, path, "JPEG file too small for the image size it claims");
        return nullptr;
    }
    std::vector<unsigned char> pixels;
    bool decoded = jpegStart(reader);
    while (decoded && !reader.err.truncated && reader.info.output_scanline < reader.info.output_height)
        decoded = jpegReadRow(reader, appendRow(pixels, rowBytes, total));
    if (decoded && !reader.err.truncated)
        decoded = jpegFinish(reader);
    if (!decoded)
    {
        setError(error, path, std::string("bad JPEG file: ") + reader.err.message);
        return nullptr;
    }
    if (reader.err.truncated)  // stopped at the first row past the end of the data
    {
        setError(error, path, "truncated JPEG file");
        return nullptr;
    }
    return std::make_shared<vsk::Image>(width, height, channels, std::move(pixels));
}

struct JpegWriter
{
    jpeg_compress_struct info{};
    JpegError err{};
    bool created = false;

    ~JpegWriter()
    {
        if (created)
            jpeg_destroy_compress(&info);
    }
};

bool jpegWrite(JpegWriter& writer, std::FILE* file, const vsk::Image& image, int quality)
{
    writer.info.err = jpeg_std_error(&writer.err.manager);
    writer.err.manager.error_exit = jpegErrorExit;
    writer.err.manager.output_message = jpegSilence;
    if (setjmp(writer.err.jump))
        return false;
    jpeg_create_compress(&writer.info);
    writer.created = true;
    jpeg_stdio_dest(&writer.info, file);
    writer.info.image_width = image.GetWidth();
    writer.info.image_height = image.GetHeight();
    writer.info.input_components = static_cast<int>(image.Channels());
    writer.info.in_color_space = image.Channels() == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&writer.info);
    jpeg_set_quality(&writer.info, quality, TRUE);
    jpeg_start_compress(&writer.info, TRUE);
    while (writer.info.next_scanline < writer.info.image_height)
    {
        // libjpeg takes non-const rows but only reads them
        JSAMPROW row =
            const_cast<unsigned char*>(image.GetPixel(0, static_cast<int>(writer.info.next_scanline)));
        jpeg_write_scanlines(&writer.info, &row, 1);
    }
    jpeg_finish_compress(&writer.info);
    return true;
}

FilePtr openFile(const std::filesystem::path& path, const char* mode, std::string* error)
{
    FilePtr file(std::fopen(path.c_str(), mode));
    if (!file)
        setError(error, path, std::strerror(errno));
    return file;
}

}  // namespace

std::shared_ptr<vsk::Image> ImageFile::Load(const std::filesystem::path& path, std::string* error)
{
    // Through the library's opener: a folder, a device or a pipe is refused, not read or waited on.
    IO::detail::InputFile input;
    std::string reason;
    if (!input.open(path.native(), reason))
    {
        setError(error, path, reason);
        return nullptr;
    }
    const uint64_t fileBytes = input.size();
    FilePtr file(input.releaseAsStdio());
    if (!file)
    {
        setError(error, path, std::strerror(errno));
        return nullptr;
    }
    unsigned char magic[8] = {};
    const size_t got = std::fread(magic, 1, sizeof(magic), file.get());
    std::rewind(file.get());
    static const unsigned char kPngMagic[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (got == 8 && std::memcmp(magic, kPngMagic, 8) == 0)
        return loadPng(file.get(), path, error);
    if (got >= 3 && magic[0] == 0xFF && magic[1] == 0xD8 && magic[2] == 0xFF)
        return loadJpeg(file.get(), fileBytes, path, error);
    setError(error, path, "not a PNG or JPEG file");
    return nullptr;
}

bool ImageFile::SavePng(const vsk::Image& image, const std::filesystem::path& path, std::string* error)
{
    const unsigned channels = image.Channels();
    if (channels < 1 || channels > 4 || image.GetWidth() == 0 || image.GetHeight() == 0)
    {
        setError(error, path, "cannot write an image of this size or layout as PNG");
        return false;
    }
    static const png_uint_32 kFormats[4] = {PNG_FORMAT_GRAY, PNG_FORMAT_GA, PNG_FORMAT_RGB, PNG_FORMAT_RGBA};
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = image.GetWidth();
    png.height = image.GetHeight();
    png.format = kFormats[channels - 1];
    if (!png_image_write_to_file(&png, path.c_str(), 0, image.Buffer().data(), 0, nullptr))
    {
        setError(error, path, std::string("cannot write PNG: ") + png.message);
        png_image_free(&png);
        return false;
    }
    return true;
}

bool ImageFile::SaveJpeg(const vsk::Image& image, const std::filesystem::path& path, int quality,
                         std::string* error)
{
    if ((image.Channels() != 1 && image.Channels() != 3) || image.GetWidth() == 0 || image.GetHeight() == 0)
    {
        setError(error, path, "cannot write an image of this size or layout as JPEG");
        return false;
    }
    FilePtr file = openFile(path, "wb", error);
    if (!file)
        return false;
    JpegWriter writer;
    if (!jpegWrite(writer, file.get(), image, std::clamp(quality, 1, 100)))
    {
        setError(error, path, std::string("cannot write JPEG: ") + writer.err.message);
        return false;
    }
    if (std::fclose(file.release()) != 0)
    {
        setError(error, path, std::strerror(errno));
        return false;
    }
    return true;
}

void ImageFile::FlipRows(vsk::Image& image)
{
    const size_t stride = size_t(image.GetWidth()) * image.Channels();
    const unsigned height = image.GetHeight();
    unsigned char* data = image.Buffer().data();
    for (unsigned top = 0; top < height / 2; ++top)
    {
        unsigned char* upper = data + top * stride;
        std::swap_ranges(upper, upper + stride, data + (height - 1 - top) * stride);
    }
}

}  // namespace Quelm::Topology
