#include "common/Node.h"

namespace Quelm::Objects
{

void Node::CalculateBoundingBox()
{
    Box<double> box;
    for (const Vector3<float>& p : mesh_.positions())
        box.includePoint(Vector3<double>(p.x, p.y, p.z));
    box_ = box;
}

}  // namespace Quelm::Objects
