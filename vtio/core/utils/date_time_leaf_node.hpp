/// @file
/// Leaves that hold points in time.
#pragma once

#include <string>
#include <vector>

#include "vtio/core/utils/fixed_point_leaf_node.hpp"

namespace vtio::core::utils {

/// A real fixed-point leaf with a display format and a time zone.
class VTIO_EXPORT DateTimeLeafNode : public FixedPointLeafNode {
 public:
  DateTimeLeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
                   std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
                   const fxpDataTypeProp& properties, const VTDateTime::DateTimeTypeAttribs& attributes);
  ~DateTimeLeafNode() override;

  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;

  /// The attributes given at construction; valid as long as the leaf.
  [[nodiscard]] const VTDateTime::DateTimeTypeAttribs& attributes() const { return attributes_; }

 private:
  VTDateTime::DateTimeTypeAttribs attributes_;
};

}  // namespace vtio::core::utils
