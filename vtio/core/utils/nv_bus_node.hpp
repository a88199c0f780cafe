/// @file
/// Non-virtual buses: one block of memory laid out like a structure, or an array of structures.
#pragma once

#include <vector>

#include "vtio/core/utils/bus_node.hpp"

namespace vtio::core::utils {

/// A bus whose leaves are at byte offsets in one block. Its root class is TopNVBusNode.
///
/// A bus of dimensions [1] is a single bus; any other dimensions, none included, make it an array of buses.
class VTIO_EXPORT NVBusNode : public BusNode {
 public:
  /// A bus without child offsets and of unknown size.
  NVBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren,
            const std::vector<long long>& arrayOfBusDimensions);

  /// @param childOffsets Byte offset of each child from the start of one element; one per child, not checked.
  /// @param busSize Bytes of one element, padding included; 0 means not known.
  NVBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren,
            const std::vector<long long>& arrayOfBusDimensions, const std::vector<long long>& childOffsets,
            unsigned long busSize);
  ~NVBusNode() override;

  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;

  /// As BusNode::addChild(), but the child's bytes count once per element of this bus.
  void addChild(std::unique_ptr<Node> child) override;

  [[nodiscard]] virtual const std::vector<long long>& arrayOfBusDimensions() const;

  /// Bytes of one element; 0 means not known.
  [[nodiscard]] virtual unsigned long busSize() const;

  [[nodiscard]] bool busSizeKnown() const { return busSize_ != 0; }

  /// Appends the byte offset of each leaf, and of each virtual bus taken as one, to offsets: all of the first element,
  /// then all of the next.
  /// @param baseOffset Offset of this bus in the signal's block, bytes.
  /// @param isTop Whether this is the root, whose array is not unrolled.
  void generateLeafDataOffsetsRecursive(std::vector<long long>& offsets, long long baseOffset, bool isTop) const;

  /// Byte offset of each child from the start of one element; in a root, the leaf data offsets once they are generated.
  [[nodiscard]] const std::vector<long long>& childOffsets() const { return childOffsets_; }

 protected:
  [[nodiscard]] std::vector<long long>& childOffsets() { return childOffsets_; }

 private:
  std::vector<long long> childOffsets_;  // in a root, the leaf data offsets once they are generated
  std::vector<long long> arrayOfBusDimensions_;
  unsigned long busSize_;
};

}  // namespace vtio::core::utils
