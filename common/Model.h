#pragma once

#include "common/Box.h"
#include "common/Node.h"
#include "common/RawMaterial.h"

#include <memory>
#include <string>
#include <vector>

namespace Quelm::Objects
{

// A model: a file path, children (nodes), a material list and two bounding boxes.
class Model
{
public:
    Model() = default;
    virtual ~Model() = default;

    void setFilePath(const std::wstring& path) { filePath_ = path; }
    std::wstring filePath() const { return filePath_; }

    std::vector<std::shared_ptr<Group>>& children() { return children_; }
    const std::vector<std::shared_ptr<Group>>& children() const { return children_; }
    size_t numChildren() const { return children_.size(); }

    RawMaterialList& materials() { return materials_; }
    const RawMaterialList& materials() const { return materials_; }

    const Box<double>& boundingBox() const { return box_; }
    void setBoundingBox(const Box<double>& box) { box_ = box; }
    const Box<double>& cubicBoundingBox() const { return cubicBox_; }
    void setCubicBoundingBox(const Box<double>& box) { cubicBox_ = box; }

private:
    std::wstring filePath_;
    std::vector<std::shared_ptr<Group>> children_;
    RawMaterialList materials_;
    Box<double> box_;
    Box<double> cubicBox_;
};

}  // namespace Quelm::Objects
