#pragma once

// clang-format off
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
// QuadricT uses vector_traits without including it: it must come after the mesh kernel.
#include <OpenMesh/Core/Geometry/QuadricT.hh>
// clang-format on
#include <map>
#include <string>

namespace Quelm::Topology
{

// Traits of the topology mesh: float points, normals and texture coordinates; vertex normals and
// status on vertices, edges and faces exist from construction; one-byte texture indices (so at
// most 256 materials can be told apart, and a larger index wraps).
struct MyTraits : public OpenMesh::DefaultTraits
{
    typedef OpenMesh::Vec3f Point;
    typedef OpenMesh::Vec3f Normal;
    typedef OpenMesh::Vec2f TexCoord2D;
    typedef unsigned char TextureIndex;

    VertexAttributes(OpenMesh::Attributes::Normal | OpenMesh::Attributes::Status);
    EdgeAttributes(OpenMesh::Attributes::Status);
    FaceAttributes(OpenMesh::Attributes::Status);
    HalfedgeAttributes(OpenMesh::Attributes::PrevHalfedge);
};

// Per-vertex decimation quadric: 10 doubles, xx xy xz xw yy yz yw zz zw ww.
using Quadric = OpenMesh::Geometry::QuadricT<double>;

// The library's half-edge triangle mesh. Besides OpenMesh's kernel it carries the handles of the
// tangent, bitangent and decimation-quadric vertex properties (invalid until first created) and
// the material index map that model conversion fills. Copies copy all properties; the handles
// stay valid in the copy because property positions are copied too.
template <class Traits>
class OxmOMTopologyT : public OpenMesh::TriMesh_ArrayKernelT<Traits>
{
public:
    OxmOMTopologyT() = default;
    OxmOMTopologyT(const OxmOMTopologyT&) = default;
    OxmOMTopologyT& operator=(const OxmOMTopologyT&) = default;
    OxmOMTopologyT(OxmOMTopologyT&&) = default;
    OxmOMTopologyT& operator=(OxmOMTopologyT&&) = default;
    ~OxmOMTopologyT() override = default;

    using Base = OpenMesh::TriMesh_ArrayKernelT<Traits>;
    using HalfedgeHandle = typename Base::HalfedgeHandle;
    using VertexHandle = typename Base::VertexHandle;
    using EdgeHandle = typename Base::EdgeHandle;
    using FaceHandle = typename Base::FaceHandle;
    using Point = typename Base::Point;
    using Normal = typename Base::Normal;

    // Vertex creation. OpenMesh's vector types leave a new element uninitialised, so a new
    // vertex's normal, texture coordinate or colour would hold whatever the heap held (and reach
    // written files); every way this class creates a vertex or one of those properties sets them
    // to zero ("none"). These hide the kernel's functions of the same name: they cover calls made
    // through this type (the importer's, the library's, a caller's), not OpenMesh's own calls from
    // inside its base classes.
    OpenMesh::SmartVertexHandle new_vertex() { return withZeroAttributes(Base::new_vertex()); }
    OpenMesh::SmartVertexHandle new_vertex(const Point& p) { return withZeroAttributes(Base::new_vertex(p)); }
    OpenMesh::SmartVertexHandle new_vertex_dirty(const Point& p)
    {
        return withZeroAttributes(Base::new_vertex_dirty(p));
    }
    OpenMesh::SmartVertexHandle add_vertex(const Point& p) { return withZeroAttributes(Base::add_vertex(p)); }
    OpenMesh::SmartVertexHandle add_vertex_dirty(const Point& p)
    {
        return withZeroAttributes(Base::add_vertex_dirty(p));
    }
    OpenMesh::SmartVertexHandle split(EdgeHandle eh, const Point& p)
    {
        const auto vh = add_vertex(p);
        Base::split(eh, vh);
        return vh;
    }
    OpenMesh::SmartVertexHandle split(FaceHandle fh, const Point& p)
    {
        const auto vh = add_vertex(p);
        Base::split(fh, vh);
        return vh;
    }
    using Base::split;
    OpenMesh::SmartVertexHandle split_copy(EdgeHandle eh, const Point& p)
    {
        const auto vh = add_vertex(p);
        Base::split_copy(eh, vh);
        return vh;
    }
    OpenMesh::SmartVertexHandle split_copy(FaceHandle fh, const Point& p)
    {
        const auto vh = add_vertex(p);
        Base::split_copy(fh, vh);
        return vh;
    }
    using Base::split_copy;
    HalfedgeHandle vertex_split(Point v0Point, VertexHandle v1, VertexHandle vl, VertexHandle vr)
    {
        return Base::vertex_split(add_vertex(v0Point), v1, vl, vr);
    }
    using Base::vertex_split;
    void resize(size_t nVertices, size_t nEdges, size_t nFaces)
    {
        const size_t before = this->n_vertices();
        Base::resize(nVertices, nEdges, nFaces);
        zeroAttributes(before);
    }
    // A property created anew (first requested, or again after a release) starts at zero for
    // every vertex.
    void request_vertex_normals()
    {
        const bool existed = this->has_vertex_normals();
        Base::request_vertex_normals();
        if (!existed)
            zeroNormals(0);
    }
    void request_vertex_texcoords2D()
    {
        const bool existed = this->has_vertex_texcoords2D();
        Base::request_vertex_texcoords2D();
        if (!existed)
            zeroTexCoords(0);
    }
    void request_vertex_colors()
    {
        const bool existed = this->has_vertex_colors();
        Base::request_vertex_colors();
        if (!existed)
            zeroColors(0);
    }

    // Whether collapsing `v0v1` (moving its from-vertex v0 onto its to-vertex v1) keeps the mesh a
    // valid 2-manifold; the same answer as the kernel's check, which the decimaters call for every
    // candidate and which dominates their run time. Refused: a deleted edge or end vertex; a side
    // face whose two other edges are both on the boundary; a side vertex vl equal to the other
    // side's vr (or no face on either side); two boundary vertices joined by an inner edge; a
    // common neighbour of v0 and v1 other than vl and vr. Unlike the kernel's version it reads the
    // mesh only (no tagged bits are written), so concurrent checks on one mesh are safe.
    bool is_collapse_ok(HalfedgeHandle v0v1) const
    {
        if (!v0v1.is_valid() || this->status(this->edge_handle(v0v1)).deleted())
            return false;
        const HalfedgeHandle v1v0 = this->opposite_halfedge_handle(v0v1);
        const VertexHandle v0 = this->to_vertex_handle(v1v0);
        const VertexHandle v1 = this->to_vertex_handle(v0v1);
        if (this->status(v0).deleted() || this->status(v1).deleted())
            return false;

        VertexHandle vl, vr;
        if (!sideVertex(v0v1, vl) || !sideVertex(v1v0, vr) || vl == vr)
            return false;
        if (this->is_boundary(v0) && this->is_boundary(v1) && !this->is_boundary(v0v1) &&
            !this->is_boundary(v1v0))
            return false;

        // Link condition: the one-rings of v0 and v1 share vl and vr only. Valences are small, so
        // a pairwise scan beats marking.
        const HalfedgeHandle start0 = this->halfedge_handle(v0), start1 = this->halfedge_handle(v1);
        HalfedgeHandle h0 = start0;
        do
        {
            const VertexHandle n0 = this->to_vertex_handle(h0);
            if (n0 != vl && n0 != vr)
            {
                HalfedgeHandle h1 = start1;
                do
                {
                    if (this->to_vertex_handle(h1) == n0)
                        return false;
                    h1 = this->cw_rotated_halfedge_handle(h1);
                } while (h1 != start1);
            }
            h0 = this->cw_rotated_halfedge_handle(h0);
        } while (h0 != start0);
        return true;
    }

    // The halfedge from `from` to `to`, or an invalid one; the kernel's answer without its
    // per-step handle checks (the decimaters ask it for every candidate collapse).
    OpenMesh::SmartHalfedgeHandle find_halfedge(VertexHandle from, VertexHandle to) const
    {
        if (from.is_valid() && to.is_valid())
            for (const OpenMesh::SmartHalfedgeHandle h : this->voh_range(from))
                if (h.to() == to)
                    return h;
        return OpenMesh::make_smart(HalfedgeHandle(), this);
    }

private:
    OpenMesh::SmartVertexHandle withZeroAttributes(OpenMesh::SmartVertexHandle vh)
    {
        zeroAttributes(static_cast<size_t>(vh.idx()));
        return vh;
    }
    // Normals, texture coordinates and colours of the vertices from `from` on, where they exist.
    void zeroAttributes(size_t from)
    {
        zeroNormals(from);
        zeroTexCoords(from);
        zeroColors(from);
    }
    void zeroNormals(size_t from)
    {
        if (this->has_vertex_normals())
            for (size_t i = from; i < this->n_vertices(); ++i)
                this->set_normal(VertexHandle(static_cast<int>(i)), Normal(0, 0, 0));
    }
    void zeroTexCoords(size_t from)
    {
        if (this->has_vertex_texcoords2D())
            for (size_t i = from; i < this->n_vertices(); ++i)
                this->set_texcoord2D(VertexHandle(static_cast<int>(i)), typename Base::TexCoord2D(0, 0));
    }
    void zeroColors(size_t from)
    {
        if (this->has_vertex_colors())
            for (size_t i = from; i < this->n_vertices(); ++i)
                this->set_color(VertexHandle(static_cast<int>(i)), typename Base::Color(0, 0, 0));
    }

    // The third vertex of the face of `h` (invalid when `h` is a boundary halfedge). False when
    // that face's other two edges both lie on the boundary: collapsing would leave a dangling face.
    bool sideVertex(HalfedgeHandle h, VertexHandle& side) const
    {
        side = VertexHandle();
        if (this->is_boundary(h))
            return true;
        const HalfedgeHandle h1 = this->next_halfedge_handle(h);
        const HalfedgeHandle h2 = this->next_halfedge_handle(h1);
        side = this->to_vertex_handle(h1);
        return !(this->is_boundary(this->opposite_halfedge_handle(h1)) &&
                 this->is_boundary(this->opposite_halfedge_handle(h2)));
    }

public:
    // "v:tangents", once AddRawMesh has met a raw mesh with tangents.
    OpenMesh::VPropHandleT<OpenMesh::Vec3f> tangentHandle;
    // "v:bitangents", likewise.
    OpenMesh::VPropHandleT<OpenMesh::Vec3f> bitangentHandle;
    // The unnamed per-vertex quadric property of the decimation module; shared by every module
    // built on this mesh while it exists.
    OpenMesh::VPropHandleT<Quadric> quadricHandle;
    // Material name (narrow) -> texture index, in order of first appearance (0, 1, 2, ...).
    std::map<std::string, int> materialIndexMap;
};

using TopologyMesh = OxmOMTopologyT<MyTraits>;

// Value of the mesh property "TextureMapping": texture index (cut to 8 bits, like the faces'
// "f:textureindex") -> texture file name. OpenMesh's own importer keys it by int; ReadMesh
// converts what the importer left into this type.
using TextureMapping = std::map<unsigned char, std::string>;
inline constexpr const char* kTextureMappingProperty = "TextureMapping";

}  // namespace Quelm::Topology
