#include "vtio/core/utils/date_time_leaf_node.hpp"

#include <utility>

namespace vtio::core::utils {

DateTimeLeafNode::DateTimeLeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
                                   std::vector<long long> dimensions, std::string datatypeClassName, units unit,
                                   ustring startDate, const fxpDataTypeProp& properties,
                                   const VTDateTime::DateTimeTypeAttribs& attributes)
    : FixedPointLeafNode(datatypeTableId, name, false, std::move(interpolationMethod), std::move(dimensions),
                         std::move(datatypeClassName), std::move(unit), std::move(startDate), properties),
      attributes_(attributes) {}

DateTimeLeafNode::~DateTimeLeafNode() = default;

std::unique_ptr<Node> DateTimeLeafNode::getCopy() const {
  auto copy = std::make_unique<DateTimeLeafNode>(datatypeTableId(), signalName(), interpolationMethod(),
                                                 dataDimensions(), datatypeClassName(), unit(), startDate(),
                                                 fxpDataTypeProperties(), attributes_);
  copyParams(*copy);
  return copy;
}

}  // namespace vtio::core::utils
