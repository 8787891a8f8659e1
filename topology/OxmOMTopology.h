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
