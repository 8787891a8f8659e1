#include "io/OffCheck.h"

#include "support/MeshFileBytes.h"

#include <gtest/gtest.h>

#include <string>

using namespace test;

TEST(OffCheck, ChecksHeaderCountsAndFacesAgainstTheBytesLeft)
{
    const std::string triangle = "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n";
    expectAll(true, ".off",
              {kOff, "NOFF\n1 0 0\n0 0 0 0 0 1\n", "STCOFF\n1 0 0\n0 0 0 255 0 0 0.5 0.5\n",
               triangle + "3 0 1 2 255 0 0\n", triangle + "3 0 1 2 0.5 0.5 0.25\n",  // face colours
               triangle + polygon("", 1024, true).substr(1)});
    for (const char* magic : {"OFF BINARY", "4OFF", "nOFF", "# comment", "OFF 4 4 0", "OFFX"})
        EXPECT_FALSE(accepts(replaced(kOff, "OFF", magic), ".off")) << magic;
    for (const char* counts : {"4 4", "4 4 0 0", "-4 4 0", "4 4294967296 0", "4 x 0"})
        EXPECT_FALSE(accepts(replaced(kOff, "4 4 0", counts), ".off")) << counts;
    for (size_t cut = 0; cut + 1 < kOff.size(); ++cut)
    {
        if (kOff[cut] == '\n')  // every whole line short
        {
            EXPECT_FALSE(accepts(kOff.substr(0, cut + 1), ".off")) << cut;
        }
    }
    expectAll(false, ".off",
              {"NOFF\n1 0 0\n0 0 0\n",  // normals missing
               replaced(kOff, "0 0 1\n", "0 nan 1\n"), replaced(kOff, "0 0 1\n", "0 1\n"),
               // billions announced in a few bytes: refused before any line is read
               "OFF\n3 4000000000 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", "OFF\n2000000000 1 0\n0 0 0\n"});
    // Faces are read as one stream of numbers, so a negative index or a leftover token could become
    // the next face's corner count. Fuzzing found a zero-corner face followed by an overflowing
    // number (sized a 2 GB corner list), and "0-1", one token holding two extractions, which made
    // the next face's count -1.
    const std::string fuzzed("OFF\n4 4 0\n00 0 2\n3 1 2 1\n3 0 1 3\n3 1 02 0\n"
                             "1 0 0 11111111111111111111111111  1 10 0 8\n1 0 0\n0 1 0\n0 0 2\n0\n"
                             "1 0 0\n0\0\0\0 2 0 3\n",
                             122);
    expectAll(false, ".off",
              {replaced(kOff, "3 2 0 3", "3 2 0"), replaced(kOff, "3 2 0 3", "4000000000 2 0 3"),
               replaced(kOff, "3 2 0 3", "3 2 0 -3"), triangle + "3 0 1 2\n-7\n",
               "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n0 1111111111111111111\n3 0 1 2\n", fuzzed,
               "OFF\n3 3 0\n0 0 0\n1 0 0\n0 1 0\n1 2 0-1 0\n3 0 1 2\n",
               "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n1 2 0+9999999\n3 0 1 2\n",
               triangle + polygon("", 1025, true).substr(1)});
}
