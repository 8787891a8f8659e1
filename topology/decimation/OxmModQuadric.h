#pragma once

#include "topology/OxmOMTopology.h"

#include <OpenMesh/Tools/Decimater/ModBaseT.hh>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <cfloat>
#include <string>

namespace Quelm::Topology
{

// Quadric-error priority module for OpenMesh's decimater over the topology mesh.
//
// The per-vertex quadrics live in an unnamed vertex property whose handle the mesh itself holds
// (`quadricHandle`), so they outlive the module and are shared by every module built on the same
// mesh while the property exists. A collapse is scored by the summed quadric of its two vertices
// evaluated at the kept vertex, and is illegal when that error reaches `max_err`, whether the
// module runs as a binary or as the priority module.
//
// Bad geometry never traps: a zero-area face adds nothing (its weight is its area), and a NaN
// coordinate gives NaN errors, which compare false against `max_err` and so make the collapse
// illegal.
class OxmModQuadric : public OpenMesh::Decimater::ModBaseT<OxmOMTopologyT<MyTraits>>
{
public:
    using Mesh = OxmOMTopologyT<MyTraits>;
    using Base = OpenMesh::Decimater::ModBaseT<Mesh>;
    using CollapseInfo = OpenMesh::Decimater::CollapseInfoT<Mesh>;
    using Handle = OpenMesh::Decimater::ModHandleT<OxmModQuadric>;

    // Hard bound: a collapse whose error is >= max_err is illegal.
    double max_err = DBL_MAX;
    // When false, destroying the module removes the quadric property from the mesh.
    bool keep_quadrics = false;
    // When false, initialize() reuses quadrics already on the mesh instead of rebuilding them.
    bool recompute_quadrics = true;

    // Adds the quadric property to the mesh when it has none yet (so that later modules share it).
    explicit OxmModQuadric(Mesh& mesh) : Base(mesh, false)
    {
        if (!mesh.quadricHandle.is_valid())
            mesh.add_property(mesh.quadricHandle);
    }

    ~OxmModQuadric() override
    {
        Mesh& m = Base::mesh();
        if (!keep_quadrics && m.quadricHandle.is_valid())
        {
            m.remove_property(m.quadricHandle);  // leaves the handle invalid (-1)
        }
    }

    const std::string& name() const override
    {
        static const std::string kName("OxmQuadric");
        return kName;
    }

    // Builds every live vertex's quadric: the area-weighted sum of the planes of its faces. Each
    // vertex gathers over its own faces (a face's plane is evaluated once per corner), so no task
    // writes anything but its own vertices' slots and the sums are deterministic. A vertex on no
    // face gets the zero quadric; deleted faces are never reached.
    void initialize() override
    {
        Mesh& m = Base::mesh();
        if (!recompute_quadrics && m.quadricHandle.is_valid())
            return;
        if (!m.quadricHandle.is_valid())
            m.add_property(m.quadricHandle);
        const size_t vertexCount = m.n_vertices();
        tbb::parallel_for(tbb::blocked_range<size_t>(0, vertexCount, 1024),
                          [&m](const tbb::blocked_range<size_t>& range)
                          {
                              // disjoint: each index writes only its own vertex's quadric
                              for (size_t i = range.begin(); i != range.end(); ++i)
                              {
                                  const OpenMesh::VertexHandle vh(static_cast<int>(i));
                                  Quadric q;
                                  if (!m.status(vh).deleted())
                                      for (auto fh : m.vf_range(vh))
                                          q += faceQuadric(m, fh);
                                  m.property(m.quadricHandle, vh) = q;
                              }
                          });
    }

    float collapse_priority(const CollapseInfo& ci) override
    {
        const Mesh& m = Base::mesh();
        Quadric q = m.property(m.quadricHandle, ci.v0);
        q += m.property(m.quadricHandle, ci.v1);
        const double err = q(OpenMesh::Vec3d(ci.p1[0], ci.p1[1], ci.p1[2]));
        // note: the bound is hard even when the module is the priority module
        return max_err > err ? static_cast<float>(err) : float(Base::ILLEGAL_COLLAPSE);
    }

    void postprocess_collapse(const CollapseInfo& ci) override
    {
        Mesh& m = Base::mesh();
        m.property(m.quadricHandle, ci.v1) += m.property(m.quadricHandle, ci.v0);
    }

    // Unlike the framework's modules this one rescales only while binary, and then stops being
    // binary: the scaled bound stays hard while the module becomes the priority module.
    void set_error_tolerance_factor(double factor) override
    {
        if (!Base::is_binary() || factor < 0.0 || factor > 1.0)
            return;
        max_err = max_err * factor / Base::error_tolerance_factor_;
        Base::set_binary(false);
        Base::error_tolerance_factor_ = factor;
        initialize();
    }

    // The plane quadric of face `fh` weighted by its area; corners in the face's own half-edge
    // order. A face too small for a unit normal keeps its raw normal, and its zero area makes the
    // quadric zero.
    static Quadric faceQuadric(const Mesh& m, OpenMesh::FaceHandle fh)
    {
        auto heh = m.halfedge_handle(fh);
        const OpenMesh::Vec3d p0 = OpenMesh::vector_cast<OpenMesh::Vec3d>(m.point(m.to_vertex_handle(heh)));
        heh = m.next_halfedge_handle(heh);
        const OpenMesh::Vec3d p1 = OpenMesh::vector_cast<OpenMesh::Vec3d>(m.point(m.to_vertex_handle(heh)));
        heh = m.next_halfedge_handle(heh);
        const OpenMesh::Vec3d p2 = OpenMesh::vector_cast<OpenMesh::Vec3d>(m.point(m.to_vertex_handle(heh)));
        OpenMesh::Vec3d n = OpenMesh::cross(p1 - p0, p2 - p0);
        const double len = n.norm();
        if (len > 1.17549435e-38)
            n /= len;
        const double w = len * 0.5;
        const double d = -OpenMesh::dot(n, p0);
        return Quadric(n[0] * n[0] * w, n[0] * n[1] * w, n[0] * n[2] * w, n[0] * d * w, n[1] * n[1] * w,
                       n[1] * n[2] * w, n[1] * d * w, n[2] * n[2] * w, n[2] * d * w, d * d * w);
    }
};

}  // namespace Quelm::Topology
