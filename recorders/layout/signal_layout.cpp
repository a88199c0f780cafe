#include "recorders/layout/signal_layout.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include "platform/sample_table.hpp"
#include "recorders/layout/bus_check.hpp"
#include "recorders/layout/position_reader.hpp"
#include "recorders/layout/refusal.hpp"
#include "vtio/core/utils/top_bus_node.hpp"

namespace vtio::recorders {
namespace {

using core::utils::Node;
using core::utils::SignalDescriptor;

// A row holds offsets of 32 bits.
void checkRow(const LayoutPosition& position) {
  std::size_t bytes = 0;
  for (const LeafColumn& column : position.columns) {
    const bool isText = column.type.text != StoredType::Text::none;
    std::size_t ofColumn = isText ? vtu::TextCell::kBytesInRow : column.deliveredBytes;
    if (__builtin_mul_overflow(ofColumn, column.offsets.size(), &ofColumn) ||
        __builtin_add_overflow(bytes, ofColumn, &bytes) || bytes > std::numeric_limits<std::uint32_t>::max()) {
      refuse(*position.node, "a sample of more than 4294967295 bytes is too large");
    }
  }
}

// The accessor of a virtual bus counts per input port.
void checkPorts(const SignalDescriptor& descriptor, std::size_t positions) {
  const bool isFedLeafByLeaf = dynamic_cast<const core::utils::TopBusNode*>(descriptor.root()) != nullptr;
  if (!isFedLeafByLeaf || descriptor.numberOfInputPorts() >= positions) return;
  refuse(*descriptor.root(), "it has " + std::to_string(descriptor.numberOfInputPorts()) + " input ports for its " +
                                 std::to_string(positions) + " leaves");
}

}  // namespace

std::vector<LayoutPosition> readLayout(const SignalDescriptor& descriptor, SampleOrder order) {
  checkChildren(*descriptor.root());
  std::vector<LayoutPosition> positions;
  for (auto nodes = descriptor.leafNVBusIterator(); const Node* node = *nodes; ++nodes) {
    positions.push_back(readPosition(*node, order));
    checkRow(positions.back());
  }
  checkPorts(descriptor, positions.size());
  // Positions delivered at once follow each other without gaps.
  std::size_t offset = 0;
  for (LayoutPosition& position : positions) {
    position.packedOffset = offset;
    std::size_t end = 0;
    for (const LeafColumn& column : position.columns) {
      for (const std::size_t start : column.offsets) end = std::max(end, start + column.deliveredBytes);
    }
    offset += end;
  }
  return positions;
}

}  // namespace vtio::recorders
