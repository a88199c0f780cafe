/// @file
/// Leaves of a fixed-point or scaled-double type.
#pragma once

#include <string>
#include <vector>

#include "vtio/core/utils/leaf_node.hpp"

namespace vtio::core::utils {

/// A leaf whose real value is factor * 2^exponent * stored integer + bias.
class VTIO_EXPORT FixedPointLeafNode : public LeafNode {
 public:
  FixedPointLeafNode(int datatypeTableId, const ustring& name, bool isComplex, std::string interpolationMethod,
                     std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
                     const fxpDataTypeProp& properties);

  /// The five scaling values are kept as they are. A class name "scaled-double" makes the data doubles.
  /// @param wordLength Bits.
  FixedPointLeafNode(int datatypeTableId, const ustring& name, bool isComplex, std::string interpolationMethod,
                     std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
                     bool isSigned, int wordLength, double slopeAdjustmentFactor, int fixedExponent, double bias);
  ~FixedPointLeafNode() override;

  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;
};

}  // namespace vtio::core::utils
