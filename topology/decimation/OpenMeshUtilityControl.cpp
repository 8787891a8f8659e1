#include "topology/OpenMeshUtility.h"

// Placeholder forms of the controlled operations: they run the plain calls and report 1 at the end.
namespace Quelm::Topology
{
namespace
{
void finish(const OperationControl& control)
{
    if (control.progress)
        control.progress(1.0);
}
}  // namespace

size_t OpenMeshUtility::DecimateMesh(Mesh* mesh, size_t collapses, double errorFactor, double maxAngleDeg,
                                     bool lockBoundary, bool garbageCollect, const OperationControl& control)
{
    const size_t done = DecimateMesh(mesh, collapses, errorFactor, maxAngleDeg, lockBoundary, garbageCollect);
    finish(control);
    return done;
}

bool OpenMeshUtility::DecimateMesh(Mesh* mesh, float ratio, double errorFactor, double maxAngleDeg,
                                   bool garbageCollect, const OperationControl& control)
{
    const bool done = DecimateMesh(mesh, ratio, errorFactor, maxAngleDeg, garbageCollect);
    finish(control);
    return done;
}

bool OpenMeshUtility::DecimateMeshParallel(Mesh* mesh, float ratio, double errorFactor, double maxAngleDeg,
                                           bool garbageCollect, bool coarseGrid, bool updateNormals,
                                           const OperationControl& control)
{
    const bool done = DecimateMeshParallel(mesh, ratio, errorFactor, maxAngleDeg, garbageCollect, coarseGrid,
                                           updateNormals);
    finish(control);
    return done;
}

bool OpenMeshUtility::smoothMesh(Mesh& mesh, float tolerance, int iterations, const OperationControl& control)
{
    const bool done = smoothMesh(mesh, tolerance, iterations);
    finish(control);
    return done;
}

}  // namespace Quelm::Topology
