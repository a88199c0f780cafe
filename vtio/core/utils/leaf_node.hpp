/// @file
/// Leaves of a signal tree: one typed element each.
///
///     LeafNode speed(0, u"speed", false, "linear", {3, 1}, "double", units(u"m/s"), {}, leafSignal);
///     speed.numberOfValuesPerSample();   // 3
///     speed.bytesPerSample();            // 24
///
/// Leaves that carry more: enum_leaf_node.hpp, fixed_point_leaf_node.hpp, date_time_leaf_node.hpp,
/// string_leaf_node.hpp, assessment_leaf_node.hpp.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vtio/core/utils/node.hpp"
#include "vtio/core/utils/units.hpp"

namespace vtio::core::utils {

/// Class names of the types whose leaves are built with explicit properties.
inline constexpr const char* kFixedPointClassName = "fixed-point";
inline constexpr const char* kDateTimeClassName = "date-time";
inline constexpr const char* kScaledDoubleClassName = "scaled-double";
/// Class name of string leaves.
inline constexpr const char* kStringClassName = "string";

/// A typed element: data type, dimensions, complexity, unit, interpolation, start date, and its policies.
///
/// Immutable once built, except for policies added later. Dimensions are signed 64-bit, empty for a scalar;
/// constructors without properties throw vtsv::IException ("Vortan:logLoadBlocks" / "UnhandledDatatype") for a class
/// name for which Node::getFxpDataTypeProperties() has no properties.
class VTIO_EXPORT LeafNode : public Node {
 public:
  LeafNode(int datatypeTableId, int userDefinedDatatypeTableId, const ustring& name, bool isComplex,
           std::string interpolationMethod, std::vector<long long> dimensions, std::string datatypeClassName,
           units unit, ustring startDate, SignalType type);
  LeafNode(int datatypeTableId, const ustring& name, bool isComplex, std::string interpolationMethod,
           std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
           SignalType type);
  /// A leaf of type `leafSignal`.
  LeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod, std::vector<long long> dimensions,
           std::string datatypeClassName, units unit, ustring startDate, fxpDataTypeProp properties, bool isComplex);
  LeafNode(int datatypeTableId, const ustring& name, bool isComplex, std::string interpolationMethod,
           std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
           fxpDataTypeProp properties, SignalType type, int userDefinedDatatypeTableId);
  ~LeafNode() override;

  /// A copy that holds copies of the policies but applies none: its transformationPolicies() is null.
  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;

  [[nodiscard]] const std::vector<unsigned long>* transformationPolicies() const override;
  [[nodiscard]] const TransformationPolicy* transformationPolicy(unsigned long index) const override;
  [[nodiscard]] bool hasNodePolicy(SignalDescriptorNodePolicy::policyType type) const override;
  [[nodiscard]] const SignalDescriptorNodePolicy* policy(SignalDescriptorNodePolicy::policyType type) const override;
  void addPolicy(std::unique_ptr<const SignalDescriptorNodePolicy> policy) const override;

  /// Whether each value is a real and an imaginary part.
  [[nodiscard]] bool isComplexDataType() const { return isComplex_; }
  [[nodiscard]] const std::string& interpolationMethod() const { return interpolationMethod_; }
  [[nodiscard]] const std::vector<long long>& dataDimensions() const { return dataDimensions_; }
  [[nodiscard]] const std::string& datatypeClassName() const { return datatypeClassName_; }
  [[nodiscard]] const units& unit() const { return unit_; }
  [[nodiscard]] const ustring& startDate() const { return startDate_; }
  [[nodiscard]] const fxpDataTypeProp& fxpDataTypeProperties() const { return fxpDataTypeProperties_; }
  /// Product of the dimensions; -2 stands for -1, and -1 for the largest signed 64-bit value.
  [[nodiscard]] long long numberOfValuesPerSample() const { return numberOfValuesPerSample_; }
  [[nodiscard]] int userDefinedDatatypeTableId() const { return userDefinedDatatypeTableId_; }

  /// Recomputes the values and bytes per sample from dimensions, properties and complexity.
  void setLeafNodePrivateSizes();

  /// Copies the sizes, and a copy of each policy that has one, into target; target's transformation indices stay.
  void copyParams(LeafNode& target) const;

 private:
  bool isComplex_;
  std::string interpolationMethod_;
  std::vector<long long> dataDimensions_;
  std::string datatypeClassName_;
  units unit_;
  ustring startDate_;
  fxpDataTypeProp fxpDataTypeProperties_;
  long long numberOfValuesPerSample_ = 1;
  mutable std::vector<std::unique_ptr<const SignalDescriptorNodePolicy>> policies_;
  mutable std::vector<unsigned long> transformationPolicyIndices_;
  std::int32_t userDefinedDatatypeTableId_;
};

}  // namespace vtio::core::utils
