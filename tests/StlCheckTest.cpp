#include "io/StlCheck.h"

#include "support/MeshFileBytes.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

using namespace test;
using Quelm::IO::detail::checkMeshFile;
using Quelm::IO::detail::StlMode;

// Binary at exactly 84 + 50 n bytes; else text when it begins with "solid"; else binary.
TEST(StlCheck, TellsBinaryFromTextAndChecksBoth)
{
    const std::vector<float> tri = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const std::string binary = binaryStl(1, tri).s;
    expectAll(true, ".stl",
              {binary, binary + "padding",  // read as binary, the tail unread
               "SOLID x\nendsolid x\n", "solid" + binary.substr(5), binaryStl(0, {}).s, kStl, "  " + kStl});
    expectAll(false, ".stl",
              {binaryStl(4000000000u, tri).s, binaryStl(2, tri).s, binary.substr(0, binary.size() - 1),
               binaryStl(1, {0, 0, 0, kNaN, 0, 0, 0, 1, 0}).s, binaryStl(1, {0, 0, 0, 1, 0, 0, 0, kInf, 0}).s,
               std::string(83, '\0'), replaced(kStl, "solid t", "slid t"),
               replaced(kStl, "vertex 1 0 0", "vertex 1 nan 0"), replaced(kStl, "vertex 1 0 0", "vertex 1 0"),
               replaced(kStl, "normal 0 0 1", "normal 0 0 inf"),
               kStl.substr(0, kStl.find("vertex 0 1") + 10)});  // cut mid-line
}

// The STL mode the check decides is the one the reader is given.
TEST(StlCheck, ReportsTheModeItChecked)
{
    const std::vector<float> tri = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const std::tuple<std::string, StlMode> rows[] = {
        {binaryStl(1, tri).s, StlMode::Binary},
        {binaryStl(1, tri).s + "tail", StlMode::Binary},
        {"solid" + binaryStl(1, tri).s.substr(5), StlMode::Binary},  // exact size wins over "solid"
        {kStl, StlMode::Text},
        {" \n SoLiD x\nendsolid\n", StlMode::Text}};
    for (const auto& [bytes, mode] : rows)
    {
        std::istringstream in(bytes);
        EXPECT_EQ(checkMeshFile(in, ".stl").stlMode, mode) << bytes.substr(0, 10);
    }
}
