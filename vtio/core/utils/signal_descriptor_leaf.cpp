// SignalDescriptor::getLeafNode: a leaf like another one, of other dimensions.
#include <memory>

#include "vtio/core/utils/built_in_properties.hpp"
#include "vtio/core/utils/enum_leaf_node.hpp"
#include "vtio/core/utils/fixed_point_leaf_node.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"

namespace vtio::core::utils {
namespace {

// A class name without built-in properties ("date-time", "scaled-double", a user's own) keeps the record it has.
fxpDataTypeProp propertiesFor(const LeafNode& leaf) {
  const fxpDataTypeProp* builtIn = builtInProperties(leaf.datatypeClassName());
  return builtIn == nullptr ? leaf.fxpDataTypeProperties() : *builtIn;
}

std::unique_ptr<LeafNode> plainLeaf(const LeafNode& leaf, const std::vector<long long>& dimensions) {
  return std::make_unique<LeafNode>(leaf.datatypeTableId(), leaf.signalName(), leaf.isComplexDataType(),
                                    leaf.interpolationMethod(), dimensions, leaf.datatypeClassName(), leaf.unit(),
                                    leaf.startDate(), propertiesFor(leaf), leafSignal,
                                    leaf.userDefinedDatatypeTableId());
}

}  // namespace

std::unique_ptr<LeafNode> SignalDescriptor::getLeafNode(LeafNode& leaf, const std::vector<long long>& dimensions) {
  if (leaf.datatypeClassName() == kFixedPointClassName) {
    return std::make_unique<FixedPointLeafNode>(leaf.datatypeTableId(), leaf.signalName(), leaf.isComplexDataType(),
                                                leaf.interpolationMethod(), dimensions, leaf.datatypeClassName(),
                                                leaf.unit(), leaf.startDate(), leaf.fxpDataTypeProperties());
  }
  if (leaf.datatypeClassName() == kStringClassName) {
    return std::make_unique<StringLeafNode>(leaf.datatypeTableId(), leaf.signalName(), leaf.interpolationMethod(),
                                            dimensions, leaf.datatypeClassName(), leaf.unit(), leaf.startDate(),
                                            leaf.storedSize(), 1);
  }
  if (const auto* enumerated = dynamic_cast<const EnumLeafNode*>(&leaf)) {
    return std::make_unique<EnumLeafNode>(leaf.datatypeTableId(), leaf.signalName(), leaf.interpolationMethod(),
                                          dimensions, leaf.datatypeClassName(), leaf.unit(), leaf.startDate(),
                                          enumerated->resolvedClassName(), enumerated->enumValues(),
                                          enumerated->enumLabels());
  }
  return plainLeaf(leaf, dimensions);
}

}  // namespace vtio::core::utils
