#pragma once

#include <functional>

namespace Quelm::Topology
{

// What a caller gives a long operation to watch and steer it.
// - progress: called with the finished share of the work, from one thread at a time, with values
//   in [0, 1] that never decrease; returning false cancels the call. The last call reports exactly
//   1 once the result is complete, and its return value is then ignored. May be empty.
// - maxThreads: above 0, the most threads the call runs on; the result is the same for any value.
// An empty control gives exactly the plain call's result.
struct OperationControl
{
    std::function<bool(double fraction)> progress;
    int maxThreads = 0;
};

}  // namespace Quelm::Topology
