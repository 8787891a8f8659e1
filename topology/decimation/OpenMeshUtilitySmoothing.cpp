#include "topology/OpenMeshUtility.h"

#include <OpenMesh/Tools/Smoother/JacobiLaplaceSmootherT.hh>

namespace Quelm::Topology
{

bool OpenMeshUtility::smoothMesh(Mesh& mesh, float tolerance, int iterations)
{
    using Smoother = OpenMesh::Smoother::JacobiLaplaceSmootherT<Mesh>;
    {
        Smoother smoother(mesh);
        // Tangential smoothing computes uniform Laplace weights inside initialize().
        smoother.initialize(Smoother::Tangential, Smoother::C1);
        smoother.set_relative_local_error(tolerance);
        // A negative count would become billions of iterations once unsigned: it runs none.
        smoother.smooth(iterations > 0 ? static_cast<unsigned int>(iterations) : 0u);
    }  // the smoother removes its working properties here
    return true;
}

}  // namespace Quelm::Topology
