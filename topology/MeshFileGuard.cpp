#include "topology/MeshFileGuard.h"

namespace Quelm::Topology
{

bool MeshFileGuard::accepts(std::istream& in, const std::string& extension)
{
    (void)extension;
    in.clear();
    in.seekg(0, std::ios::beg);
    return static_cast<bool>(in);
}

}  // namespace Quelm::Topology
