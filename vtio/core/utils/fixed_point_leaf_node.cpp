#include "vtio/core/utils/fixed_point_leaf_node.hpp"

#include <utility>

namespace vtio::core::utils {
namespace {

constexpr int kKindFixedPoint = 0;
constexpr int kKindScaledDouble = 1;

}  // namespace

FixedPointLeafNode::FixedPointLeafNode(int datatypeTableId, const ustring& name, bool isComplex,
                                       std::string interpolationMethod, std::vector<long long> dimensions,
                                       std::string datatypeClassName, units unit, ustring startDate,
                                       const fxpDataTypeProp& properties)
    : LeafNode(datatypeTableId, name, std::move(interpolationMethod), std::move(dimensions),
               std::move(datatypeClassName), std::move(unit), std::move(startDate), properties, isComplex) {}

FixedPointLeafNode::FixedPointLeafNode(int datatypeTableId, const ustring& name, bool isComplex,
                                       std::string interpolationMethod, std::vector<long long> dimensions,
                                       std::string datatypeClassName, units unit, ustring startDate, bool isSigned,
                                       int wordLength, double slopeAdjustmentFactor, int fixedExponent, double bias)
    : FixedPointLeafNode(
          datatypeTableId, name, isComplex, std::move(interpolationMethod), std::move(dimensions), datatypeClassName,
          std::move(unit), std::move(startDate),
          fxpDataTypeProp{datatypeClassName == kScaledDoubleClassName ? kKindScaledDouble : kKindFixedPoint,
                          isSigned ? 1 : 0, wordLength, 0, fixedExponent, slopeAdjustmentFactor, bias, 0}) {}

FixedPointLeafNode::~FixedPointLeafNode() = default;

std::unique_ptr<Node> FixedPointLeafNode::getCopy() const {
  auto copy = std::make_unique<FixedPointLeafNode>(datatypeTableId(), signalName(), isComplexDataType(),
                                                   interpolationMethod(), dataDimensions(), datatypeClassName(), unit(),
                                                   startDate(), fxpDataTypeProperties());
  copyParams(*copy);
  return copy;
}

}  // namespace vtio::core::utils
