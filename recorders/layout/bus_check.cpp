#include "recorders/layout/bus_check.hpp"

#include <string>

#include "recorders/layout/refusal.hpp"
#include "vtio/core/utils/bus_node.hpp"

namespace vtio::recorders {

using core::utils::BusNode;
using core::utils::Node;
using core::utils::NVBusNode;

void checkChildren(const Node& node) {
  const auto* bus = dynamic_cast<const BusNode*>(&node);
  if (bus == nullptr) return;
  if (bus->numberOfChildren() != bus->children().size()) {
    refuse(node, "it announced " + std::to_string(bus->numberOfChildren()) + " children and has " +
                     std::to_string(bus->children().size()));
  }
  for (const auto& child : bus->children()) checkChildren(*child);
}

long long elementsOf(const NVBusNode& bus) {
  long long elements = 1;
  for (const long long dimension : bus.arrayOfBusDimensions()) {
    if (dimension < 0) refuse(bus, "an array of buses has the dimension " + std::to_string(dimension));
    if (dimension != 0 && elements > kMostElements / dimension) refuse(bus, "the array of buses is too large");
    elements *= dimension;
  }
  return elements;
}

long long offsetsOf(const NVBusNode& bus) {
  long long offsets = 0;
  for (const auto& child : bus.children()) {
    long long ofChild = 1;
    if (const auto* nested = dynamic_cast<const NVBusNode*>(child.get())) {
      if (__builtin_mul_overflow(elementsOf(*nested), offsetsOf(*nested), &ofChild)) ofChild = kMostElements;
    }
    if (ofChild >= kMostElements - offsets) refuse(bus, "its arrays of buses have too many elements");
    offsets += ofChild;
  }
  return offsets;
}

void checkOffsets(const NVBusNode& bus) {
  if (!bus.busSizeKnown()) refuse(bus, "its size is 0");
  if (bus.childOffsets().size() < bus.children().size()) {
    refuse(bus, "it has " + std::to_string(bus.childOffsets().size()) + " offsets for " +
                    std::to_string(bus.children().size()) + " children");
  }
  for (const auto& child : bus.children()) {
    if (const auto* nested = dynamic_cast<const NVBusNode*>(child.get())) checkOffsets(*nested);
  }
}

}  // namespace vtio::recorders
