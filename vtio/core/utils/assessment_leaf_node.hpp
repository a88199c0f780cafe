/// @file
/// Leaves that hold the result of an assessment.
#pragma once

#include "vtio/core/utils/leaf_node.hpp"

namespace vtio::core::utils {

/// One 32-bit value per sample, held until the next one.
class VTIO_EXPORT AssessmentLeafNode : public LeafNode {
 public:
  explicit AssessmentLeafNode(const ustring& name);
  ~AssessmentLeafNode() override;

  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;
};

}  // namespace vtio::core::utils
