#include "vtio/core/utils/nv_bus_node.hpp"

#include <limits>
#include <utility>

#include "vtio/core/utils/dimensions.hpp"

namespace vtio::core::utils {
namespace {

SignalType busType(const std::vector<long long>& arrayOfBusDimensions) {
  const bool single = arrayOfBusDimensions.size() == 1 && arrayOfBusDimensions.front() == 1;
  return single ? nonVirtualBus : arrayOfNonVirtualBuses;
}

// Undoes the normalisation that products of dimensions go through.
long long strideFromBusSize(unsigned long busSize) {
  const auto size = static_cast<long long>(busSize);
  if (size == -1) return std::numeric_limits<long long>::max();
  if (size == -2) return -1;
  return size;
}

// Offsets wrap like any 64-bit address arithmetic: a nonsensical layout must not become undefined behaviour.
long long wrappingAdd(long long a, long long b) {
  const unsigned long sum = static_cast<unsigned long>(a) + static_cast<unsigned long>(b);
  return static_cast<long long>(sum);
}

}  // namespace

NVBusNode::NVBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren,
                     const std::vector<long long>& arrayOfBusDimensions)
    : NVBusNode(datatypeTableId, name, numberOfChildren, arrayOfBusDimensions, {}, 0) {}

NVBusNode::NVBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren,
                     const std::vector<long long>& arrayOfBusDimensions, const std::vector<long long>& childOffsets,
                     unsigned long busSize)
    : BusNode(datatypeTableId, name, numberOfChildren, busType(arrayOfBusDimensions)),
      childOffsets_(childOffsets),
      arrayOfBusDimensions_(arrayOfBusDimensions),
      busSize_(busSize) {}

NVBusNode::~NVBusNode() = default;

std::unique_ptr<Node> NVBusNode::getCopy() const {
  auto copy = std::make_unique<NVBusNode>(datatypeTableId(), signalName(), numberOfChildren(), arrayOfBusDimensions_,
                                          childOffsets_, busSize_);
  copyChildrenTo(*copy);
  return copy;
}

void NVBusNode::addChild(std::unique_ptr<Node> child) {
  const auto elements = static_cast<unsigned long>(normalizedDimensionProduct(arrayOfBusDimensions_));
  ownBytes(ownBytes() + child->bytesPerSample() * elements);
  attach(std::move(child));
}

const std::vector<long long>& NVBusNode::arrayOfBusDimensions() const { return arrayOfBusDimensions_; }

unsigned long NVBusNode::busSize() const { return busSize_; }

void NVBusNode::generateLeafDataOffsetsRecursive(std::vector<long long>& offsets, long long baseOffset,
                                                 bool isTop) const {
  std::vector<long long> ofOneElement;
  for (std::size_t i = 0; i < children().size(); ++i) {
    const long long childOffset = wrappingAdd(baseOffset, childOffsets_[i]);
    if (const auto* bus = dynamic_cast<const NVBusNode*>(children()[i].get())) {
      bus->generateLeafDataOffsetsRecursive(ofOneElement, childOffset, false);
    } else {
      ofOneElement.push_back(childOffset);
    }
  }
  const long long elements = isTop ? 1 : dimensionProduct(arrayOfBusDimensions());
  const long long stride = strideFromBusSize(busSize());
  long long elementOffset = 0;
  for (long long k = 0; k < elements; ++k) {
    for (const long long offset : ofOneElement) offsets.push_back(wrappingAdd(offset, elementOffset));
    elementOffset = wrappingAdd(elementOffset, stride);
  }
}

}  // namespace vtio::core::utils
