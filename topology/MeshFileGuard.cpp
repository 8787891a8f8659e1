#include "topology/MeshFileGuard.h"

#include "io/MeshFileCheck.h"

namespace Quelm::Topology
{

bool MeshFileGuard::accepts(std::istream& in, const std::string& extension)
{
    return IO::detail::checkMeshFile(in, extension).isAccepted;
}

}  // namespace Quelm::Topology
