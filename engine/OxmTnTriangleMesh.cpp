#include "engine/OxmTnTriangleMesh.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>

namespace Quelm::Topology
{
namespace
{

using Quelm::Objects::Vector3;

// One length per loop vertex: vertex i to vertex (i + 1) mod n. Filled in parallel with a grain of
// one index (the partitioner may still hand a task several); each task writes only its own entries.
std::vector<float> loopEdgeLengths(const std::vector<Vector3<float>>& points)
{
    const size_t n = points.size();
    std::vector<float> lengths(n, 0.0f);
    tbb::parallel_for(tbb::blocked_range<size_t>(0, n, 1),
                      [&](const tbb::blocked_range<size_t>& range)
                      {
                          for (size_t i = range.begin(); i != range.end(); ++i)
                              lengths[i] = points[i].distanceTo(points[(i + 1) % n]);
                      });
    return lengths;
}

float meanInIndexOrder(const std::vector<float>& values)
{
    float sum = 0.0f;
    for (float v : values)
        sum += v;
    return sum / static_cast<float>(values.size());
}

}  // namespace

std::unique_ptr<vsk::VFTriangleMesh> OxmTnTriangleMesh::Clone() const
{
    return std::make_unique<OxmTnTriangleMesh>(*this);
}

std::vector<Vector3<float>> OxmTnTriangleMesh::getCoordinates(const std::vector<uint32_t>& vertices) const
{
    std::vector<Vector3<float>> points;
    points.reserve(vertices.size());
    for (uint32_t vID : vertices)
    {
        vsk::Vector3f p;
        GetVertex(vID, p);
        points.emplace_back(p.X(), p.Y(), p.Z());
    }
    return points;
}

std::vector<uint32_t>
OxmTnTriangleMesh::getTrianglesSharingVertices(const std::vector<uint32_t>& vertices) const
{
    std::vector<uint32_t> shared;
    if (vertices.empty() || vertices.size() > 3 || !IsVertex(vertices[0]))
        return shared;
    VtxNbrItr itr(vertices[0]);
    BeginVtxTriangles(itr);
    for (unsigned tID = GetNextVtxTriangle(itr); tID != InvalidID; tID = GetNextVtxTriangle(itr))
    {
        const unsigned* tri = GetTriangle(tID);
        const bool hasAll =
            std::all_of(vertices.begin() + 1, vertices.end(),
                        [&](uint32_t v) { return tri[0] == v || tri[1] == v || tri[2] == v; });
        if (hasAll)
            shared.push_back(tID);
    }
    return shared;
}

float OxmTnTriangleMesh::computeAverageEdgeLength(const std::vector<uint32_t>& loop) const
{
    if (loop.size() < 2)
        return 0.0f;
    return meanInIndexOrder(loopEdgeLengths(getCoordinates(loop)));
}

float OxmTnTriangleMesh::computeStandardDeviationEdgeLength(const std::vector<uint32_t>& loop) const
{
    if (loop.size() < 2)
        return 0.0f;
    const std::vector<float> lengths = loopEdgeLengths(getCoordinates(loop));
    const float average = meanInIndexOrder(lengths);
    float sum = 0.0f;
    for (float length : lengths)
        sum += (length - average) * (length - average);
    return std::sqrt(sum / static_cast<float>(lengths.size()));
}

void OxmTnTriangleMesh::makeLoopCounterClockwise(std::vector<uint32_t>& loop) const
{
    if (loop.size() < 3)
        return;
    const std::vector<uint32_t> shared = getTrianglesSharingVertices({loop[0], loop[1]});
    if (shared.size() != 1)
        return;  // not a boundary edge: the orientation cannot be told
    const unsigned* tri = GetTriangle(shared[0]);
    for (int j = 0; j < 3; ++j)
        if (tri[j] == loop[0] && tri[(j + 1) % 3] == loop[1])
        {
            std::reverse(loop.begin(), loop.end());
            return;
        }
}

void OxmTnTriangleMesh::makeLoopClockwise(std::vector<uint32_t>& loop) const
{
    makeLoopCounterClockwise(loop);
    std::reverse(loop.begin(), loop.end());  // deliberately unconditional
}

}  // namespace Quelm::Topology
