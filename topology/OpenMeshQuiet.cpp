#include "topology/OpenMeshQuiet.h"

#include <OpenMesh/Core/System/omstream.hh>

#include <mutex>

namespace Quelm::Topology
{
namespace
{

std::mutex quietMutex;
int quietDepth = 0;       // guarded by quietMutex
bool wasEnabled[3] = {};  // the host's state, saved when the depth leaves 0

OpenMesh::mostream& stream(int i)
{
    return i == 0 ? ::omout() : i == 1 ? ::omlog() : ::omerr();
}

}  // namespace

OpenMeshQuietScope::OpenMeshQuietScope()
{
    std::lock_guard<std::mutex> lock(quietMutex);
    if (quietDepth++ > 0)
        return;
    for (int i = 0; i < 3; ++i)
    {
        wasEnabled[i] = stream(i).is_enabled();
        stream(i).disable();
    }
}

OpenMeshQuietScope::~OpenMeshQuietScope()
{
    std::lock_guard<std::mutex> lock(quietMutex);
    if (--quietDepth > 0)
        return;
    for (int i = 0; i < 3; ++i)
    {
        stream(i).flush();  // drops a message left without its end of line while still disabled
        if (wasEnabled[i])
            stream(i).enable();
    }
}

}  // namespace Quelm::Topology
