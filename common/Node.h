#pragma once

#include "common/Box.h"
#include "common/OxmBasicString.h"
#include "common/RawMesh.h"

#include <cstdint>

namespace Quelm::Objects
{

// Polymorphic base of a model's children.
class Group
{
public:
    virtual ~Group() = default;
};

// A scene node holding one raw mesh, with a 16-bit type field, a name and a bounding box.
class Node : public Group
{
public:
    Node(MeshIndexType indexType, uint16_t type) : type_(type), mesh_(indexType) {}

    uint16_t type() const { return type_; }
    const wchar_t* name() const { return name_.c_str(); }
    void setName(const wchar_t* name) { name_ = OxmBasicString<wchar_t>(name); }

    RawMesh& rawMesh() { return mesh_; }
    const RawMesh& rawMesh() const { return mesh_; }

    const Box<double>& boundingBox() const { return box_; }
    // Sets the box to the bounds of the node's positions (empty when it has none).
    void CalculateBoundingBox();

private:
    uint16_t type_;
    OxmBasicString<wchar_t> name_;
    RawMesh mesh_;
    Box<double> box_;
};

}  // namespace Quelm::Objects
