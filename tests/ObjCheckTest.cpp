#include "io/ObjCheck.h"

#include "support/FileBytes.h"
#include "support/MeshFileBytes.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <vector>

using namespace test;

// A trailing comment ends what the reader takes from a vertex line; on a face line it goes on
// reading corners past the '#', so those are still checked.
TEST(ObjCheck, ChecksNumbersCornersAndInlineComments)
{
    // Out-of-range and negative indices are left to the importer, which drops such faces.
    expectAll(true, ".obj",
              {"", "v 1.5e3 -2 +.5\nvt 0.5 1\nvn 0 0 1\n# nan in a comment\n", "v 1e-30 0 0\n",
               polygon("f", 1024, false), "f 1 2 99\nf -1 -2 -3\nf 0 1 2\n", "f 1/1/1 2//1 3/2 +4\n",
               "v 1 2 3 # comment\n", "vn 0 0 1 #nan\n", "vn nan -NaN inf\n", "vn 1e99 0 1\n",
               "vt 0.5 1 # inf\n", "v 1 2 3 4 5 6 #\n", "f 1 2 3 # back face\n", "f 1 2 3 # see 4\n"},
              kObj + "vt 0 0\n");
    // A corner without its vertex index ("/5") trips an assertion in the reader.
    expectAll(false, ".obj",
              {"v nan 0 0\n", "v 0 inf 0\n", "v 0 0 1e39\n", "v 0 0 0x1p3\n", "v 0 0\n", "vn 0 x 1\n",
               polygon("f", 1025, false), "f /5 4//4\n", "f /1/1 2 3\n", "f 1 2 /1\n", "f x 1 2\n",
               "f - 1 2\n", "v 1 2 # 3\n", "vt # 1\n", "v 1 2 3#c\n", "f 1 2 3 # /5\n", "f 1 2 3 #x/5\n",
               "f 1 2 # " + polygon("f", 1023, false)},  // 1025 corners
              kObj);
}

// The reader opens the material library relative to the current directory: names that climb out
// or are absolute are fine as long as they do not name a device, a pipe or a directory.
TEST(ObjCheck, RefusesMaterialLibrariesThatAreNotRegularFiles)
{
    test::TempDir dir;
    test::writeFile(dir.file("a.mtl"), "newmtl red\nKd 1 0 0\n");
    ASSERT_EQ(mkfifo(dir.file("pipe.mtl").c_str(), 0600), 0);
    const std::string deep = "../../../../../../../../../../../../";
    for (const std::string& good :
         std::vector<std::string>{"model.mtl", "../materials/a.mtl", "", "   ", "/no/such/dir/a.mtl",
                                  dir.file("a.mtl").string(), "C:\\x.mtl", "two names.mtl"})
        EXPECT_TRUE(accepts("mtllib " + good + "\n" + kObj, ".obj")) << good;
    for (const std::string& bad :
         std::vector<std::string>{"/dev/zero", " /dev/zero \r", deep + "dev/zero",
                                  dir.file("pipe.mtl").string(), dir.file("").string()})
        EXPECT_FALSE(accepts("mtllib " + bad + "\n" + kObj, ".obj")) << bad;
}
