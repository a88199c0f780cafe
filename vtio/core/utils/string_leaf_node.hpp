/// @file
/// Leaves that hold texts.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vtio/core/utils/leaf_node.hpp"

namespace vtio::core::utils {

/// A real leaf whose samples are texts. It keeps every text that it is handed until it is destroyed.
///
/// Carries one DynamicStringPolicy from the start: clients receive the address of the kept text.
class VTIO_EXPORT StringLeafNode : public LeafNode {
 public:
  /// @param maxBytes Bytes delivered per sample.
  /// @param bytesPerCharacter Bytes of one character.
  StringLeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
                 std::vector<long long> dimensions, std::string datatypeClassName, units unit, ustring startDate,
                 unsigned long maxBytes, unsigned long bytesPerCharacter);

  /// bytesPerCharacter() * maxBytes(), whatever the dimensions.
  [[nodiscard]] unsigned long bytesPerSample() const override;
  /// The same as bytesPerSample().
  [[nodiscard]] unsigned long storedSize() const override;
  ~StringLeafNode() override;

  /// A copy with its own policy and a copy of every kept text.
  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;

  [[nodiscard]] unsigned long maxBytes() const { return maxBytes_; }
  [[nodiscard]] unsigned long bytesPerCharacter() const { return bytesPerCharacter_; }

  /// Keeps a copy of the text.
  /// @return The kept copy, valid as long as the leaf.
  ustring* addStringElement(const ustring* value) const;

 private:
  unsigned long maxBytes_;
  unsigned long bytesPerCharacter_;
  mutable std::vector<std::unique_ptr<ustring>> stringStore_;
};

}  // namespace vtio::core::utils
