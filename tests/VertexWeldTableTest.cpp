#include "topology/VertexWeldTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

using Quelm::Objects::oxmvertex;
using Quelm::Objects::Vector2;
using Quelm::Objects::Vector3;
using Quelm::Topology::VertexWeldTable;

namespace
{

oxmvertex key(float x, float y, float z, float u = 0, float v = 0, uint8_t hasTexCoord = 0)
{
    return oxmvertex(Vector3<float>(x, y, z), Vector2<float>(u, v), hasTexCoord);
}

}  // namespace

TEST(VertexWeldTable, AgreesWithTheOrderedMapThroughManyRehashes)
{
    // Grid coordinates (all-zero low mantissa bits) with repeats, from a table sized for few keys.
    VertexWeldTable<uint32_t> table(4);
    std::map<oxmvertex, uint32_t> reference;
    std::mt19937 random(7);
    for (uint32_t i = 0; i < 60000; ++i)
    {
        const oxmvertex k = key(float(random() % 64), float(random() % 64), 0.0f, 0.0f, float(random() % 3),
                                static_cast<uint8_t>(random() % 2));
        const auto expected = reference.emplace(k, i);
        const auto [value, isNew] = table.findOrInsert(k, i);
        ASSERT_EQ(isNew, expected.second);
        ASSERT_EQ(value, expected.first->second);
    }
    EXPECT_EQ(table.size(), reference.size());
}

TEST(VertexWeldTable, KeysMatchExactlyAsOperatorEqualsSays)
{
    VertexWeldTable<int> table;
    EXPECT_TRUE(table.findOrInsert(key(0, 0, 0), 1).second);
    EXPECT_EQ(table.findOrInsert(key(-0.0f, 0, 0), 2).first, 1);       // -0 == +0
    EXPECT_TRUE(table.findOrInsert(key(0, 0, 0, 0, 0, 1), 3).second);  // the flag takes part
    EXPECT_TRUE(table.findOrInsert(key(0, 0, 0, 0, 1e-7f, 1), 4).second);
    EXPECT_TRUE(table.findOrInsert(key(std::nanf(""), 0, 0), 5).second);
    EXPECT_TRUE(table.findOrInsert(key(std::nanf(""), 0, 0), 6).second);  // NaN never welds
    EXPECT_EQ(table.size(), 5u);
}
