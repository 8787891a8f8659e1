#include "region/MeshRegion.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using Quelm::Topology::MeshRegion;

namespace
{

std::vector<unsigned> sortedFaces(MeshRegion& region)
{
    std::vector<unsigned> out;
    region.Faces(out);
    std::sort(out.begin(), out.end());
    return out;
}

}  // namespace

TEST(MeshRegion, HoldsEachIdOnceFacesAppendsAndRefillsAfterClear)
{
    MeshRegion region;
    EXPECT_TRUE(region.empty());
    region.addF(7);
    region.addF(7);
    region.addF(0xFFFFFFFFu);
    EXPECT_EQ(region.Size(), 2);
    std::vector<unsigned> out = {42, 43};
    region.Faces(out);
    ASSERT_EQ(out.size(), 4u);
    std::sort(out.begin() + 2, out.end());
    EXPECT_EQ(out, std::vector<unsigned>({42, 43, 7, 0xFFFFFFFFu}));
    EXPECT_EQ(region.Faces().size(), 2u);
    region.clear();
    EXPECT_TRUE(region.empty());
    EXPECT_EQ(region.Size(), 0);
    region.addF(3);
    EXPECT_EQ(sortedFaces(region), std::vector<unsigned>({3}));
}

// The assignments are the region's own (the copy and move constructors are the set's).
TEST(MeshRegion, CopiesAreIndependentAndMovesTakeOver)
{
    MeshRegion a, c, e;
    a.addF(1);
    a.addF(2);
    c.addF(99);
    c = a;
    a.addF(3);
    EXPECT_EQ(sortedFaces(c), std::vector<unsigned>({1, 2}));
    c = c;  // self-assignment keeps the contents
    EXPECT_EQ(c.Size(), 2);
    e.addF(100);
    e = std::move(c);
    EXPECT_EQ(sortedFaces(e), std::vector<unsigned>({1, 2}));  // 100 released
    MeshRegion& alias = e;
    e = std::move(alias);
    EXPECT_EQ(e.Size(), 2);
}

// A parallel loop adds every ID twice while a reader thread walks both Faces forms: every listed
// ID is one that was added, listed once, and a snapshot never exceeds what was added. On one
// thread and on many the region ends holding each ID exactly once.
TEST(MeshRegion, ConcurrentAddsKeepEveryIdOnceAndFacesRunsBesideThem)
{
    const unsigned n = 50000;
    for (int threads : {1, 4})
    {
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
        MeshRegion region;
        std::atomic<bool> done{false};
        // The reader's copies are destroyed only after the join: TBB's allocator hands freed
        // nodes to other threads through paths ThreadSanitizer cannot see, so freeing them while
        // the loop inserts would be reported as a race on the recycled memory.
        std::vector<tbb::concurrent_unordered_set<unsigned>> copies;
        copies.reserve(8);  // no moves while the loop runs
        std::thread reader(
            [&]
            {
                int rounds = 0;
                while (!done.load() || rounds < 2)
                {
                    std::vector<unsigned> out = {n};  // a sentinel that must stay first
                    region.Faces(out);
                    ASSERT_EQ(out.front(), n);
                    std::sort(out.begin() + 1, out.end());
                    ASSERT_TRUE(std::adjacent_find(out.begin() + 1, out.end()) == out.end());
                    ASSERT_LE(out.size(), n + 1);
                    ASSERT_TRUE(out.size() == 1 || out.back() < n);
                    if (copies.size() < 8)
                    {
                        copies.push_back(region.Faces());
                        ASSERT_LE(copies.back().size(), n);
                        for (unsigned f : copies.back())
                            ASSERT_LT(f, n);
                    }
                    ++rounds;
                }
            });
        tbb::parallel_for(0u, 2 * n,
                          [&](unsigned i)
                          {
                              region.addF(i % n);
                              if (i % 5000 == 0)
                              {
                                  EXPECT_LE(region.Size(), int(n));
                                  std::vector<unsigned> out;
                                  region.Faces(out);
                                  EXPECT_LE(out.size(), n);
                              }
                          });
        done = true;
        reader.join();
        EXPECT_EQ(region.Size(), int(n));
        EXPECT_EQ(region.Faces().size(), n);
        const auto faces = sortedFaces(region);
        ASSERT_EQ(faces.size(), n);
        for (unsigned i = 0; i < n; ++i)
            ASSERT_EQ(faces[i], i) << threads << " threads";
    }
}
