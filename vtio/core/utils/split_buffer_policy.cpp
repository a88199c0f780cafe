#include "vtio/core/utils/split_buffer_policy.hpp"

#include <cstring>
#include <utility>

namespace vtio::core::utils {

SplitBufferPolicy::SplitBufferPolicy(unsigned long elementSize, std::vector<unsigned long>&& offsets)
    : TransformationPolicy(splitBuffer),
      elementSize_(elementSize),
      sourceOffsets_(std::exchange(offsets, {})),
      outputBuffer_(elementSize_ * sourceOffsets_.size()) {}

SplitBufferPolicy::~SplitBufferPolicy() = default;

std::unique_ptr<const SignalDescriptorNodePolicy> SplitBufferPolicy::getCopy() const { return nullptr; }

const void* SplitBufferPolicy::transformedDataPointer(const void* data) const {
  if (outputBuffer_.empty()) return nullptr;
  const auto* source = static_cast<const std::byte*>(data);
  std::byte* target = outputBuffer_.data();
  for (const unsigned long offset : sourceOffsets_) {
    std::memcpy(target, source + offset, elementSize_);
    target += elementSize_;
  }
  return outputBuffer_.data();
}

}  // namespace vtio::core::utils
