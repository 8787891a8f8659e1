#pragma once

#include <tbb/concurrent_unordered_set.h>

#include <vector>

namespace Quelm::Topology
{

// A set of triangle (face) IDs that many threads may fill at once, e.g. from the body of a
// parallel loop. addF may run concurrently with itself, Size, empty and both Faces forms; clear,
// the assignments, copy/move construction and destruction need exclusive access.
class MeshRegion
{
public:
    MeshRegion() = default;
    MeshRegion(const MeshRegion& other) = default;
    MeshRegion(MeshRegion&& other) = default;
    ~MeshRegion() = default;
    // Self-assignment leaves the region as it is.
    MeshRegion& operator=(const MeshRegion& other);
    MeshRegion& operator=(MeshRegion&& other);

    // Inserts `fID`; an ID already present changes nothing. Safe to call from many threads.
    void addF(unsigned fID) { faces_.insert(fID); }
    // Appends every ID to `out` in the set's (unspecified) iteration order; `out` is not cleared.
    // IDs added while this runs may or may not be listed.
    void Faces(std::vector<unsigned>& out);
    // A copy of the set, built by traversal (the set's copy constructor may not run beside
    // insertions); IDs added while this runs may or may not be in it.
    tbb::concurrent_unordered_set<unsigned> Faces() const;
    int Size() const { return static_cast<int>(faces_.size()); }
    void clear() { faces_.clear(); }
    bool empty() const { return faces_.empty(); }

private:
    tbb::concurrent_unordered_set<unsigned> faces_;
};

}  // namespace Quelm::Topology
