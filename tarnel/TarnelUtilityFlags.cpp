#include "tarnel/TarnelUtility.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Quelm::Topology
{
namespace
{

using vsk::IMesh;
using vsk::VFTriangleMesh;

// Flag words are tiny to update: enough IDs per task to outweigh the scheduling.
constexpr size_t kFlagGrain = 4096;

// Single-precision pi, as the quality limits are converted with it.
constexpr float kPiF = 3.1415927f;

// Memoised manifold-vertex test: 0 unknown, 1 manifold, 2 not. Sized by the maximum vertex ID.
class ManifoldCache
{
public:
    explicit ManifoldCache(const VFTriangleMesh& mesh) : mesh_(mesh), state_(mesh.GetMaxVertexID(), 0) {}
    bool isManifold(unsigned vID)
    {
        if (vID >= state_.size())
            return mesh_.IsManifoldVertex(vID);
        if (state_[vID] == 0)
            state_[vID] = mesh_.IsManifoldVertex(vID) ? 1 : 2;
        return state_[vID] == 1;
    }

private:
    const VFTriangleMesh& mesh_;
    std::vector<uint8_t> state_;
};

// The set the removal passes work on: eight buckets, load factor 1, filled in ascending ID order.
std::unordered_set<unsigned> makeTriangleSet()
{
    std::unordered_set<unsigned> set(8);
    set.max_load_factor(1.0f);
    return set;
}

bool touchesNonManifoldVertex(const VFTriangleMesh& mesh, unsigned tID, ManifoldCache& cache)
{
    const unsigned* tri = mesh.GetTriangle(tID);
    return !cache.isManifold(tri[0]) || !cache.isManifold(tri[1]) || !cache.isManifold(tri[2]);
}

}  // namespace

void TarnelUtility::FlagFaces(VFTriangleMesh& mesh, std::vector<unsigned> faces, unsigned flag, bool clear)
{
    // disjoint: each listed triangle owns its flag word (the caller lists an ID at most once)
    tbb::parallel_for(tbb::blocked_range<size_t>(0, faces.size(), kFlagGrain),
                      [&](const tbb::blocked_range<size_t>& range)
                      {
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              if (clear)  // true means clear: callers depend on this sense
                                  mesh.ClearTriangleFlag(faces[i], flag);
                              else
                                  mesh.SetTriangleFlag(faces[i], flag);
                          }
                      });
}

void TarnelUtility::RemoveFacesWithFlag(boost::shared_ptr<vsk::GSurface> surface, unsigned flag)
{
    if (!surface || !surface->GetMesh())
        return;
    VFTriangleMesh& mesh = *surface->GetMesh();
    std::vector<unsigned> flagged;
    for (unsigned tID : mesh.Triangles())
        if (mesh.HasTriangleFlag(tID, flag))
            flagged.push_back(tID);
    vsk::UVLayerMesh* layer = surface->GetUVLayerCount() > 0 ? surface->GetUVLayer(0) : nullptr;
    for (unsigned tID : flagged)
    {
        mesh.RemoveTriangle(tID);
        if (layer && layer->IsTriangle(tID))  // keeps the layer mirroring the geometry
            layer->RemoveTriangle(tID);
    }
}

std::unordered_set<unsigned>
TarnelUtility::FindFacesConnectedToNonManifoldVertices(const VFTriangleMesh& mesh, unsigned flag)
{
    std::unordered_set<unsigned> found = makeTriangleSet();
    ManifoldCache cache(mesh);
    for (unsigned tID : mesh.Triangles())
        if (mesh.HasTriangleFlag(tID, flag) && touchesNonManifoldVertex(mesh, tID, cache))
            found.insert(tID);
    return found;
}

size_t TarnelUtility::RemoveFacesConnectedToNonManifoldVertices(VFTriangleMesh& mesh, unsigned flag,
                                                                unsigned maxIterations)
{
    // Plan: the first pass scans the whole mesh. A removal changes the boundary edges only at the
    // corners of the removed triangles, and every flagged triangle at an earlier non-manifold
    // vertex is already gone, so each later pass looks only at the flagged triangles around the
    // corners of the previous pass's triangles. Each pass's set holds the same IDs, inserted in
    // the same ascending order, as a full scan would give.
    size_t total = 0;
    uint64_t pass = 0;  // wide: maxIterations + 1 passes must not wrap
    std::unordered_set<unsigned> found = FindFacesConnectedToNonManifoldVertices(mesh, flag);
    while (true)
    {
        total += found.size();
        std::vector<unsigned> corners;
        corners.reserve(3 * found.size());
        for (unsigned tID : found)
        {
            const unsigned* tri = mesh.GetTriangle(tID);
            corners.insert(corners.end(), tri, tri + 3);
            mesh.RemoveTriangle(tID);
        }
        ++pass;
        if (pass > maxIterations || found.empty())
            break;

        std::sort(corners.begin(), corners.end());
        corners.erase(std::unique(corners.begin(), corners.end()), corners.end());
        std::vector<unsigned> candidates;
        for (unsigned vID : corners)
        {
            if (!mesh.IsVertex(vID) || mesh.IsManifoldVertex(vID))
                continue;
            std::vector<unsigned> around;
            mesh.GetVertexTriangles(vID, around);
            for (unsigned tID : around)
                if (mesh.HasTriangleFlag(tID, flag))
                    candidates.push_back(tID);
        }
        std::sort(candidates.begin(), candidates.end());
        found = makeTriangleSet();
        for (unsigned tID : candidates)
            found.insert(tID);
    }
    return total;
}

bool TarnelUtility::TriangleQualityCheck(const VFTriangleMesh& mesh, const unsigned& tID, float minAngle,
                                         float maxAngle, float maxRatio)
{
    if (!mesh.IsTriangle(tID))
        return true;
    vsk::Vector3f p0, p1, p2;
    mesh.GetTriVertex(tID, 0, p0);
    mesh.GetTriVertex(tID, 1, p1);
    mesh.GetTriVertex(tID, 2, p2);
    const float e0 = (p1 - p0).Length();
    const float e1 = (p2 - p1).Length();
    const float e2 = (p2 - p0).Length();
    const float longest = std::max(std::max(e0, e1), e2);
    const float shortest = std::min(std::min(e0, e1), e2);
    if (longest / shortest >= maxRatio)
        return true;
    const float a = std::acos((e0 * e0 + e2 * e2 - e1 * e1) / (2.0f * e0 * e2));  // at p0
    const float b = std::acos((e1 * e1 + e2 * e2 - e0 * e0) / (2.0f * e1 * e2));  // at p2
    const float c = kPiF - a - b;
    const float minRad = minAngle * kPiF / 180.0f;
    const float maxRad = maxAngle * kPiF / 180.0f;
    // Written as three pairs of comparisons so that a NaN angle fails them and counts as poor.
    const bool good = a >= minRad && b >= minRad && c >= minRad && a <= maxRad && b <= maxRad && c <= maxRad;
    return !good;
}

}  // namespace Quelm::Topology
