#include "io/InputFile.h"

#include "support/FileBytes.h"
#include "support/TestMeshes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <istream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using Quelm::IO::detail::InputFile;
using Quelm::IO::detail::utf8FromWide;

// Only a regular file opens; everything else is refused at once with its reason. A named pipe
// without a writer must not block the open (the test would hang), and a device is refused before
// a byte is read.
TEST(InputFile, OpensRegularFilesOnlyAndSaysWhyNot)
{
    test::TempDir dir;
    test::writeFile(dir.file("mesh.obj"), "v 0 0 0\n");
    test::writeFile(dir.file("empty.obj"), "");
    ASSERT_EQ(mkfifo(dir.file("pipe.obj").c_str(), 0600), 0);
    const std::pair<std::string, const char*> refused[] = {
        {dir.file("missing.obj").string(), "no such file"},
        {dir.file("mesh.obj/inside").string(), "no such file"},
        {"", "no such file"},
        {dir.file("").string(), "is a folder"},
        {dir.file("pipe.obj").string(), "is not a regular file (a device or a pipe)"},
        {"/dev/zero", "is not a regular file (a device or a pipe)"},
        {"/dev/null", "is not a regular file (a device or a pipe)"},
    };
    for (const auto& [path, why] : refused)
    {
        InputFile file;
        std::string reason;
        EXPECT_FALSE(file.open(path, reason)) << path;
        EXPECT_EQ(reason, why) << path;
        EXPECT_FALSE(file.isOpen());
    }
    InputFile file;
    std::string reason, text;
    ASSERT_TRUE(file.open(dir.file("mesh.obj").string(), reason)) << reason;
    EXPECT_EQ(file.size(), 8u);
    ASSERT_TRUE(file.readAll(text, reason));
    EXPECT_EQ(text, "v 0 0 0\n");
    ASSERT_TRUE(file.open(dir.file("empty.obj").string(), reason));  // emptiness is the caller's call
    EXPECT_EQ(file.size(), 0u);
    if (geteuid() != 0)  // root reads everything
    {
        test::writeFile(dir.file("locked.obj"), "v 0 0 0\n");
        chmod(dir.file("locked.obj").c_str(), 0);
        EXPECT_FALSE(file.open(dir.file("locked.obj").string(), reason));
        EXPECT_EQ(reason, "permission denied");
    }
}

// Handed over as a stream, the file is seekable (the mesh readers rewind), and as a C stream it
// reads the same bytes; either closes the file when done.
TEST(InputFile, HandsTheOpenFileToStreams)
{
    test::TempDir dir;
    test::writeFile(dir.file("a.bin"), "0123456789");
    InputFile file;
    std::string reason;
    ASSERT_TRUE(file.open(dir.file("a.bin").string(), reason));
    auto buffer = file.releaseAsStreamBuf();
    ASSERT_TRUE(buffer);
    EXPECT_FALSE(file.isOpen());
    std::istream in(buffer.get());
    in.seekg(0, std::ios::end);
    EXPECT_EQ(in.tellg(), 10);
    in.seekg(4);
    EXPECT_EQ(in.get(), '4');
    in.seekg(0);
    std::string all(10, '\0');
    in.read(&all[0], 10);
    EXPECT_EQ(all, "0123456789");

    ASSERT_TRUE(file.open(dir.file("a.bin").string(), reason));
    std::FILE* c = file.releaseAsStdio();
    ASSERT_NE(c, nullptr);
    char first[3] = {};
    EXPECT_EQ(std::fread(first, 1, 2, c), 2u);
    EXPECT_STREQ(first, "01");
    std::fclose(c);
    EXPECT_EQ(file.releaseAsStdio(), nullptr);
}

// Wide paths become UTF-8 whatever the locale; values that are not Unicode scalar values name no
// file and are refused, not replaced.
TEST(Utf8Path, EncodesEveryScriptAndRefusesWhatIsNotUnicode)
{
    const std::pair<std::wstring, std::string> rows[] = {
        {L"plain.ply", "plain.ply"},
        {L"caf\u00e9.ply", "caf\xc3\xa9.ply"},
        {L"\u043c\u0435\u0448.obj", "\xd0\xbc\xd0\xb5\xd1\x88.obj"},
        {L"\u03c0.stl", "\xcf\x80.stl"},
        {L"\u7f51\u683c.off", "\xe7\xbd\x91\xe6\xa0\xbc.off"},
        {L"\U0001F600.om", "\xf0\x9f\x98\x80.om"},
        {L"\U0010FFFF", "\xf4\x8f\xbf\xbf"},
    };
    for (const auto& [wide, utf8] : rows)
    {
        std::string out;
        EXPECT_TRUE(utf8FromWide(wide, out));
        EXPECT_EQ(out, utf8);
    }
    for (const std::wstring& bad :
         {std::wstring(1, wchar_t(0xD800)) + L".ply", std::wstring(1, wchar_t(0xDFFF)),
          std::wstring(1, wchar_t(0x110000)), std::wstring(L"a\0b", 3)})
    {
        std::string out;
        EXPECT_FALSE(utf8FromWide(bad, out));
    }
}
