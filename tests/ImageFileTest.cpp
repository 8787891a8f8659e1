#include "color/ImageFile.h"

#include "support/EngineMeshes.h"
#include "support/FileBytes.h"
#include "support/TestMeshes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>
#include <png.h>

#include <sys/resource.h>
#include <zlib.h>

using Quelm::Topology::ImageFile;

namespace
{

void putU32(std::string& out, uint32_t v)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<char>((v >> shift) & 0xFF));
}

void putChunk(std::string& png, const std::string& type, const std::string& data)
{
    putU32(png, static_cast<uint32_t>(data.size()));
    const std::string body = type + data;
    png += body;
    putU32(png, static_cast<uint32_t>(
                    crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()))));
}

// A PNG with any header the tests need, its data stored uncompressed. `rows` are the filtered
// scanlines without their filter byte (filter 0 is added); with `adam7`, the rows of the seven
// passes one after another (see adam7Rows).
std::string makePng(uint32_t width, uint32_t height, int bitDepth, int colorType,
                    const std::vector<std::string>& rows, const std::string& plte = "",
                    const std::string& trns = "", bool adam7 = false)
{
    std::string png = "\x89PNG\r\n\x1a\n";
    std::string ihdr;
    putU32(ihdr, width);
    putU32(ihdr, height);
    ihdr += std::string{static_cast<char>(bitDepth), static_cast<char>(colorType), 0, 0,
                        static_cast<char>(adam7)};
    putChunk(png, "IHDR", ihdr);
    if (!plte.empty())
        putChunk(png, "PLTE", plte);
    if (!trns.empty())
        putChunk(png, "tRNS", trns);
    std::string raw;
    for (const std::string& row : rows)
        raw += std::string(1, '\0') + row;
    uLongf size = compressBound(static_cast<uLong>(raw.size()));
    std::string z(size, '\0');
    EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(&z[0]), &size, reinterpret_cast<const Bytef*>(raw.data()),
                        static_cast<uLong>(raw.size()), Z_NO_COMPRESSION),
              Z_OK);
    putChunk(png, "IDAT", z.substr(0, size));
    putChunk(png, "IEND", "");
    return png;
}

// The scanlines of an 8-bit image's interlace passes, in file order.
std::vector<std::string> adam7Rows(const vsk::Image& img)
{
    std::vector<std::string> rows;
    for (int pass = 0; pass < 7; ++pass)
    {
        if (PNG_PASS_COLS(img.GetWidth(), pass) == 0)
            continue;
        for (unsigned y = 0; y < PNG_PASS_ROWS(img.GetHeight(), pass); ++y)
        {
            std::string row;
            for (unsigned x = 0; x < PNG_PASS_COLS(img.GetWidth(), pass); ++x)
            {
                const unsigned char* p = img.GetPixel(static_cast<int>(PNG_COL_FROM_PASS_COL(x, pass)),
                                                      static_cast<int>(PNG_ROW_FROM_PASS_ROW(y, pass)));
                row.append(reinterpret_cast<const char*>(p), img.Channels());
            }
            rows.push_back(row);
        }
    }
    return rows;
}

// `img` (1 or 3 channels) as a progressive JPEG, which the library's writer does not make.
std::string progressiveJpeg(const vsk::Image& img)
{
    jpeg_compress_struct info{};
    jpeg_error_mgr err{};
    info.err = jpeg_std_error(&err);
    jpeg_create_compress(&info);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &out, &size);
    info.image_width = img.GetWidth();
    info.image_height = img.GetHeight();
    info.input_components = static_cast<int>(img.Channels());
    info.in_color_space = img.Channels() == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 90, TRUE);
    jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height)
    {
        JSAMPROW row = const_cast<unsigned char*>(img.GetPixel(0, static_cast<int>(info.next_scanline)));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::string bytes(reinterpret_cast<char*>(out), size);
    std::free(out);
    return bytes;
}

// `jpeg` with the size in its frame header (baseline or progressive) replaced.
std::string withJpegSize(std::string jpeg, uint16_t width, uint16_t height)
{
    size_t at = jpeg.find("\xff\xc0");
    if (at == std::string::npos)
        at = jpeg.find("\xff\xc2");
    EXPECT_NE(at, std::string::npos);
    const char size[4] = {char(height >> 8), char(height & 0xFF), char(width >> 8), char(width & 0xFF)};
    return jpeg.replace(at + 5, 4, size, 4);
}

vsk::Image noiseImage(unsigned width, unsigned height, unsigned channels)
{
    vsk::Image img(width, height, channels);
    for (size_t i = 0; i < img.Buffer().size(); ++i)
        img.Buffer()[i] = static_cast<unsigned char>((i * 2654435761u) >> 13);
    return img;
}

long peakResidentKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

using Bytes = std::vector<unsigned char>;

Bytes pixel(const vsk::Image& img, int x, int y)
{
    return Bytes(img.GetPixel(x, y), img.GetPixel(x, y) + img.Channels());
}

}  // namespace

TEST(ImageFilePng, RoundTripKeepsChannelsAndRowZeroIsTheTopRow)
{
    test::TempDir dir;
    for (unsigned channels = 1; channels <= 4; ++channels)
    {
        vsk::Image img(5, 3, channels);
        for (size_t i = 0; i < img.Buffer().size(); ++i)
            img.Buffer()[i] = static_cast<unsigned char>(i * 7 + channels);
        const auto path = dir.file("rt" + std::to_string(channels) + ".png");
        std::string error;
        ASSERT_TRUE(ImageFile::SavePng(img, path, &error)) << error;
        const auto loaded = ImageFile::Load(path, &error);
        ASSERT_TRUE(loaded) << error;
        EXPECT_EQ(loaded->GetWidth(), 5u);
        EXPECT_EQ(loaded->GetHeight(), 3u);
        EXPECT_EQ(loaded->Channels(), channels);
        EXPECT_EQ(loaded->Buffer(), img.Buffer());
    }

    // First scanline of the file red, second blue: row 0 is the red one.
    const auto path = dir.file("rows.txt");  // the name does not matter, the bytes do
    test::writeFile(path,
                    makePng(1, 2, 8, 2, {std::string("\xff\x00\x00", 3), std::string("\x00\x00\xff", 3)}));
    const auto img = ImageFile::Load(path);
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 0, 0), Bytes({255, 0, 0}));
    EXPECT_EQ(pixel(*img, 0, 1), Bytes({0, 0, 255}));
}

TEST(ImageFilePng, PalettesLowAndHighBitDepthsBecomeEightBitChannels)
{
    test::TempDir dir;
    // Palette of two entries, the second half transparent: RGBA.
    test::writeFile(dir.file("pal.png"), makePng(2, 1, 8, 3, {std::string("\x00\x01", 2)},
                                                 std::string("\x10\x20\x30\x40\x50\x60", 6), "\xff\x80"));
    auto img = ImageFile::Load(dir.file("pal.png"));
    ASSERT_TRUE(img);
    EXPECT_EQ(img->Channels(), 4u);
    EXPECT_EQ(pixel(*img, 0, 0), Bytes({0x10, 0x20, 0x30, 0xff}));
    EXPECT_EQ(pixel(*img, 1, 0), Bytes({0x40, 0x50, 0x60, 0x80}));

    // 1-bit grey 1, 0, 1 -> 255, 0, 255.
    test::writeFile(dir.file("bits.png"), makePng(3, 1, 1, 0, {"\xa0"}));
    img = ImageFile::Load(dir.file("bits.png"));
    ASSERT_TRUE(img);
    EXPECT_EQ(img->Channels(), 1u);
    EXPECT_EQ(img->Buffer(), Bytes({255, 0, 255}));

    // 16-bit RGB: rounded to 8 bits (x / 257), not cut to the high byte (0x00c0 gives 1, not 0).
    test::writeFile(dir.file("deep.png"), makePng(1, 1, 16, 2, {std::string("\xff\xff\x00\x00\x00\xc0", 6)}));
    img = ImageFile::Load(dir.file("deep.png"));
    ASSERT_TRUE(img);
    EXPECT_EQ(img->Buffer(), Bytes({255, 0, 1}));
}

TEST(ImageFilePng, InterlacedImagesLoadLikePlainOnes)
{
    test::TempDir dir;
    // Sizes where some passes are empty (1 x 1, 2 x 3) and one where all hold pixels.
    for (auto [width, height] : {std::pair<unsigned, unsigned>{1, 1}, {2, 3}, {13, 9}})
    {
        const vsk::Image img = noiseImage(width, height, 3);
        test::writeFile(dir.file("i.png"), makePng(width, height, 8, 2, adam7Rows(img), "", "", true));
        std::string error;
        const auto loaded = ImageFile::Load(dir.file("i.png"), &error);
        ASSERT_TRUE(loaded) << error;
        EXPECT_EQ(loaded->GetWidth(), width);
        EXPECT_EQ(loaded->Buffer(), img.Buffer()) << width << " x " << height;
    }
}

TEST(ImageFileJpeg, RoundTripIsCloseAndKeepsRowOrder)
{
    test::TempDir dir;
    vsk::Image img(16, 16, 3);
    const unsigned char red[3] = {220, 30, 20}, blue[3] = {20, 30, 220};  // top half, bottom half
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            std::copy_n(y < 8 ? red : blue, 3, img.GetPixel(x, y));
    std::string error;
    ASSERT_TRUE(ImageFile::SaveJpeg(img, dir.file("a.jpg"), 95, &error)) << error;
    const auto loaded = ImageFile::Load(dir.file("a.jpg"), &error);
    ASSERT_TRUE(loaded) << error;
    ASSERT_EQ(loaded->Channels(), 3u);
    ASSERT_EQ(loaded->GetWidth(), 16u);
    for (int y : {0, 3, 12, 15})
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(loaded->GetPixel(4, y)[c], img.GetPixel(4, y)[c], 12)
                << "row " << y << " channel " << c;

    vsk::Image grey(8, 8, 1, std::vector<unsigned char>(64, 77));
    ASSERT_TRUE(ImageFile::SaveJpeg(grey, dir.file("g.jpg"), 90, &error)) << error;
    const auto greyLoaded = ImageFile::Load(dir.file("g.jpg"));
    ASSERT_TRUE(greyLoaded);
    EXPECT_EQ(greyLoaded->Channels(), 1u);
    EXPECT_NEAR(greyLoaded->Buffer()[10], 77, 2);

    EXPECT_FALSE(ImageFile::SaveJpeg(vsk::Image(2, 2, 4), dir.file("rgba.jpg"), 90, &error));
}

TEST(ImageFileJpeg, ProgressiveFilesLoadEvenWhenHighlyCompressed)
{
    test::TempDir dir;
    test::writeFile(dir.file("p.jpg"), progressiveJpeg(noiseImage(40, 24, 3)));
    std::string error;
    auto loaded = ImageFile::Load(dir.file("p.jpg"), &error);
    ASSERT_TRUE(loaded) << error;
    EXPECT_EQ(loaded->GetWidth(), 40u);
    EXPECT_EQ(loaded->GetHeight(), 24u);
    EXPECT_EQ(loaded->Channels(), 3u);

    // One grey level: about as much image per byte of file as such a file can hold.
    test::writeFile(dir.file("flat.jpg"),
                    progressiveJpeg(vsk::Image(1024, 1024, 1, Bytes(1024 * 1024, 128))));
    loaded = ImageFile::Load(dir.file("flat.jpg"), &error);
    ASSERT_TRUE(loaded) << error;
    EXPECT_EQ(loaded->Buffer()[1024 * 1024 - 1], 128);
}

// The engine checks that a buffer handed to an image fits its size.
TEST(ImageBuffer, TakesOverAFittingBufferAndReportsAnyOther)
{
    test::AssertCapture asserts;
    const vsk::Image fits(2, 1, 3, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(fits.GetPixel(1, 0)[2], 6);
    EXPECT_EQ(asserts.count(), 0u);
    const vsk::Image tooShort(2, 2, 3, {1, 2, 3});
    EXPECT_TRUE(asserts.saw("nWidth*nHeight*nChannels == vBuffer.size()"));
    EXPECT_EQ(tooShort.Buffer().size(), 12u);  // grown to fit, so pixel reads stay inside
}

// Every broken file gives null and a one-line reason. Headers that claim 16384 x 16384 pixels over
// a few kilobytes of data fail without the loader first setting aside the whole claimed picture
// (768 MiB each).
TEST(ImageFileBadInput, EveryBrokenFileGivesNullAndAReasonAtLittleMemoryCost)
{
    test::TempDir dir;
    const vsk::Image source = noiseImage(64, 64, 3);  // noise: most of the JPEG is image data
    ASSERT_TRUE(ImageFile::SaveJpeg(source, dir.file("ok.jpg")));
    const std::string jpeg = test::readFile(dir.file("ok.jpg"));
    const std::string good = makePng(4, 4, 8, 2, std::vector<std::string>(4, std::string(12, '\x40')));
    std::string badCrc = good;
    badCrc[29] ^= 0x55;  // inside the IHDR CRC
    const uint32_t n = 16384;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"empty", ""},
        {"text", "hello, this is not an image"},
        {"png-signature-only", good.substr(0, 8)},
        {"png-cut-in-header", good.substr(0, 20)},
        {"png-cut-in-data", good.substr(0, good.size() - 30)},
        {"png-bad-crc", badCrc},
        {"png-huge", makePng(100000, 100000, 8, 2, {std::string(12, '\x40')})},
        {"png-zero-width", makePng(0, 4, 8, 2, {})},
        {"png-bad-depth", makePng(2, 2, 3, 2, {std::string(6, 'a'), std::string(6, 'a')})},
        {"jpeg-magic-only", "\xff\xd8\xff"},
        {"jpeg-cut-in-header", jpeg.substr(0, 40)},
        {"jpeg-cut-in-data", jpeg.substr(0, jpeg.size() / 2)},
        {"png-lying", makePng(n, n, 8, 2, {std::string(3 * n, '\x40')})},
        {"png-interlaced-lying", makePng(n, n, 8, 2, {std::string(3 * n / 8, '\x40')}, "", "", true)},
        {"jpeg-lying", withJpegSize(jpeg, n, n)},
        {"jpeg-progressive-lying", withJpegSize(progressiveJpeg(source), n, n)},
    };
    const long before = peakResidentKiB();
    for (const auto& [name, bytes] : cases)
    {
        test::writeFile(dir.file(name), bytes);
        std::string error;
        EXPECT_FALSE(ImageFile::Load(dir.file(name), &error)) << name;
        EXPECT_FALSE(error.empty()) << name;
        EXPECT_EQ(error.find('\n'), std::string::npos) << name;
    }
    EXPECT_LT(peakResidentKiB() - before, 64 * 1024);
    std::string error;
    EXPECT_FALSE(ImageFile::Load(dir.file("missing.png"), &error));
    EXPECT_NE(error.find("missing.png"), std::string::npos);
    EXPECT_FALSE(ImageFile::Load(dir.file(""), &error));  // the directory itself
    EXPECT_NE(error.find("is a folder"), std::string::npos) << error;
    ASSERT_EQ(mkfifo(dir.file("pipe.png").c_str(), 0600), 0);
    for (const std::string& device : {dir.file("pipe.png").string(), std::string("/dev/zero")})
    {
        EXPECT_FALSE(ImageFile::Load(device, &error));  // neither waited on nor read
        EXPECT_NE(error.find("is not a regular file"), std::string::npos) << error;
    }
    EXPECT_FALSE(ImageFile::Load(dir.file("empty")));  // no error text asked for
}

TEST(ImageFileRows, FlipMirrorsRowsForOddAndEvenHeights)
{
    for (unsigned height : {1u, 2u, 3u, 4u})
    {
        vsk::Image img(2, height, 3);
        for (unsigned y = 0; y < height; ++y)
            img.GetPixel(1, static_cast<int>(y))[2] = static_cast<unsigned char>(y + 1);
        ImageFile::FlipRows(img);
        for (unsigned y = 0; y < height; ++y)
            EXPECT_EQ(img.GetPixel(1, static_cast<int>(y))[2], height - y);
    }
}
