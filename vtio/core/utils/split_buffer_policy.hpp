/// @file
/// Gathers the pieces of a signal that are apart in memory.
///
///     SplitBufferPolicy policy(4, {8, 0});
///     policy.transformedDataPointer(data);   // bytes 8..11 of data, then bytes 0..3
#pragma once

#include <cstddef>
#include <vector>

#include "vtio/core/utils/transformation_policy.hpp"

namespace vtio::core::utils {

/// Copies equally long pieces of the incoming data into one block. The block is allocated once, at construction.
class VTIO_EXPORT SplitBufferPolicy : public TransformationPolicy {
 public:
  /// @param elementSize Bytes per piece.
  /// @param offsets Byte offset of each piece in the incoming data, in the order of delivery; left empty.
  SplitBufferPolicy(unsigned long elementSize, std::vector<unsigned long>&& offsets);
  ~SplitBufferPolicy() override;

  /// Empty: transformations are not carried into copied trees.
  [[nodiscard]] std::unique_ptr<const SignalDescriptorNodePolicy> getCopy() const override;

  /// @return The gathered block; null when there are no offsets.
  [[nodiscard]] const void* transformedDataPointer(const void* data) const override;

 private:
  unsigned long elementSize_;
  std::vector<unsigned long> sourceOffsets_;
  mutable std::vector<std::byte> outputBuffer_;  // elementSize_ * sourceOffsets_.size() bytes
};

}  // namespace vtio::core::utils
