/// @file
/// Leaves of an enumerated type.
#pragma once

#include <string>
#include <vector>

#include "vtio/core/utils/leaf_node.hpp"

namespace vtio::core::utils {

/// A real leaf whose values are those of an enumeration, stored as the built-in type that the class name resolves to.
class VTIO_EXPORT EnumLeafNode : public LeafNode {
 public:
  /// @param datatypeClassName Name of the enumeration.
  /// @param resolvedClassName Built-in type that stores the values, for instance "int32".
  /// @param enumValues Values; enumLabels[i] (UTF-8) names enumValues[i].
  /// @throws vtsv::IException "Vortan:logLoadBlocks" / "UnhandledDatatype" for a resolved name that is not built in.
  EnumLeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
               std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
               const std::string& resolvedClassName, const std::vector<int>& enumValues,
               const std::vector<std::string>& enumLabels);
  /// An enumeration without values and labels.
  EnumLeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
               std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
               const std::string& resolvedClassName);
  ~EnumLeafNode() override;

  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;

  [[nodiscard]] const std::string& resolvedClassName() const { return resolvedClassName_; }
  [[nodiscard]] const std::vector<int>& enumValues() const { return enumValues_; }
  [[nodiscard]] const std::vector<std::string>& enumLabels() const { return enumLabels_; }

 private:
  std::string resolvedClassName_;
  std::vector<int> enumValues_;
  std::vector<std::string> enumLabels_;
};

}  // namespace vtio::core::utils
