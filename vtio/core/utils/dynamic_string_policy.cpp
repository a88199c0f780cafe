#include "vtio/core/utils/dynamic_string_policy.hpp"

#include <algorithm>
#include <cstring>

#include "platform/types.hpp"

namespace vtio::core::utils {

DynamicStringPolicy::DynamicStringPolicy(std::vector<std::unique_ptr<ustring>>* store, unsigned long byteCount)
    : TransformationPolicy(dynamicString), store_(store), byteCount_(byteCount), outputBuffer_(byteCount) {}

DynamicStringPolicy::~DynamicStringPolicy() = default;

std::unique_ptr<const SignalDescriptorNodePolicy> DynamicStringPolicy::getCopy() const { return nullptr; }

const void* DynamicStringPolicy::transformedDataPointer(const void* data) const {
  store_->push_back(std::make_unique<ustring>(VTTypeSys::StringDataType::getUStringScalarFromVoidPtrInput(data)));
  const ustring* kept = store_->back().get();
  // A leaf shorter than an address gets its first bytes; the bytes after the address are zero since construction.
  const std::size_t delivered = std::min<std::size_t>(sizeof(void*), byteCount_);
  if (delivered > 0) std::memcpy(outputBuffer_.data(), &kept, delivered);
  return outputBuffer_.data();
}

}  // namespace vtio::core::utils
