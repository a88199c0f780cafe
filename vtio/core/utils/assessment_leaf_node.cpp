#include "vtio/core/utils/assessment_leaf_node.hpp"

namespace vtio::core::utils {
namespace {

constexpr int kInt32DatatypeTableId = 6;

}  // namespace

AssessmentLeafNode::AssessmentLeafNode(const ustring& name)
    : LeafNode(kInt32DatatypeTableId, name, false, "zoh", {1}, "int32", units(), ustring(), assessmentLeaf) {}

AssessmentLeafNode::~AssessmentLeafNode() = default;

std::unique_ptr<Node> AssessmentLeafNode::getCopy() const {
  auto copy = std::make_unique<AssessmentLeafNode>(signalName());
  copyParams(*copy);
  return copy;
}

}  // namespace vtio::core::utils
