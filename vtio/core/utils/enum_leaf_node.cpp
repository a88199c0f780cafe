#include "vtio/core/utils/enum_leaf_node.hpp"

#include <utility>

namespace vtio::core::utils {

EnumLeafNode::EnumLeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
                           std::vector<long long> dimensions, std::string datatypeClassName, units unit,
                           ustring startDate, const std::string& resolvedClassName, const std::vector<int>& enumValues,
                           const std::vector<std::string>& enumLabels)
    : LeafNode(datatypeTableId, name, std::move(interpolationMethod), std::move(dimensions),
               std::move(datatypeClassName), std::move(unit), std::move(startDate),
               getFxpDataTypeProperties(resolvedClassName), false),
      resolvedClassName_(resolvedClassName),
      enumValues_(enumValues),
      enumLabels_(enumLabels) {}

EnumLeafNode::EnumLeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
                           std::vector<long long> dimensions, std::string datatypeClassName, units unit,
                           ustring startDate, const std::string& resolvedClassName)
    : EnumLeafNode(datatypeTableId, name, std::move(interpolationMethod), std::move(dimensions),
                   std::move(datatypeClassName), std::move(unit), std::move(startDate), resolvedClassName, {}, {}) {}

EnumLeafNode::~EnumLeafNode() = default;

std::unique_ptr<Node> EnumLeafNode::getCopy() const {
  auto copy = std::make_unique<EnumLeafNode>(datatypeTableId(), signalName(), interpolationMethod(), dataDimensions(),
                                             datatypeClassName(), unit(), startDate(), resolvedClassName_, enumValues_,
                                             enumLabels_);
  copyParams(*copy);
  return copy;
}

}  // namespace vtio::core::utils
