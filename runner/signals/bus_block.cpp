#include "runner/signals/bus_block.hpp"

#include <algorithm>
#include <utility>

#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::runner {
namespace {

using core::utils::Node;
using core::utils::NVBusNode;
using core::utils::TopNVBusNode;

struct Extent {
  std::size_t bytes = 0;
  std::size_t alignment = 1;
};

std::size_t roundedUp(std::size_t bytes, std::size_t alignment) {
  return (bytes + alignment - 1) / alignment * alignment;
}

std::size_t elementsOf(const SignalNode& bus) {
  std::size_t elements = 1;
  for (const std::uint64_t size : bus.busDimensions) elements *= size;
  return elements;
}

// An array of buses has at least one dimension.
std::vector<long long> dimensionsOf(const SignalNode& array) {
  if (array.busDimensions.empty()) return {1};
  return {array.busDimensions.begin(), array.busDimensions.end()};
}

std::size_t membersOf(const SignalNode& bus) { return bus.children.size() / elementsOf(bus); }

class Layout {
 public:
  explicit Layout(const ModelDescription& model) : model_(model) {}

  [[nodiscard]] Extent extentOf(const SignalNode& node) const {
    if (node.isLeaf()) {
      const Variable& variable = model_.variables[node.variable];
      return {bytesOf(variable.type) * variable.elements(), bytesOf(variable.type)};
    }
    Extent extent = elementExtent(node, nullptr);
    extent.bytes *= elementsOf(node);
    return extent;
  }

  // Of one element of a bus, padding at its end included; the offset of each member is appended.
  Extent elementExtent(const SignalNode& bus, std::vector<long long>* offsets) const {
    Extent extent;
    for (std::size_t i = 0; i < membersOf(bus); ++i) {
      const Extent member = extentOf(bus.children[i]);
      extent.bytes = roundedUp(extent.bytes, member.alignment);
      if (offsets != nullptr) offsets->push_back(static_cast<long long>(extent.bytes));
      extent.bytes += member.bytes;
      extent.alignment = std::max(extent.alignment, member.alignment);
    }
    extent.bytes = roundedUp(extent.bytes, extent.alignment);
    return extent;
  }

 private:
  const ModelDescription& model_;
};

class PieceCollector {
 public:
  PieceCollector(const ModelDescription& model, const ValueStore& values) : layout_(model), values_(values) {}

  void collect(const SignalNode& node, std::size_t offset) {
    if (node.isLeaf()) {
      pieces_.push_back({values_.numbers(node.variable), offset, layout_.extentOf(node).bytes});
      return;
    }
    std::vector<long long> offsets;
    const std::size_t stride = layout_.elementExtent(node, &offsets).bytes;
    for (std::size_t i = 0; i < node.children.size(); ++i) {
      collect(node.children[i],
              offset + i / offsets.size() * stride + static_cast<std::size_t>(offsets[i % offsets.size()]));
    }
  }

  std::vector<BlockPiece> take() { return std::move(pieces_); }

 private:
  Layout layout_;
  const ValueStore& values_;
  std::vector<BlockPiece> pieces_;
};

}  // namespace

std::size_t blockBytes(const SignalNode& array, const ModelDescription& model) {
  return Layout(model).extentOf(array).bytes;
}

std::unique_ptr<Node> makeBlockTree(const SignalNode& array, const ModelDescription& model, const LeafMaker& makeLeaf,
                                    bool isRoot) {
  std::vector<long long> offsets;
  const Extent extent = Layout(model).elementExtent(array, &offsets);
  const std::vector<long long> dimensions = dimensionsOf(array);
  const vtu::ustring name = vtu::to_ustring(array.name);
  std::unique_ptr<NVBusNode> bus;
  if (isRoot) {
    bus = std::make_unique<TopNVBusNode>(-1, name, offsets.size(), dimensions, offsets, extent.bytes);
  } else {
    bus = std::make_unique<NVBusNode>(-1, name, offsets.size(), dimensions, offsets, extent.bytes);
  }
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    const SignalNode& child = array.children[i];
    bus->addChild(child.isLeaf() ? std::unique_ptr<Node>(makeLeaf(child))
                                 : makeBlockTree(child, model, makeLeaf, false));
  }
  if (isRoot) static_cast<TopNVBusNode&>(*bus).generateLeafDataOffsets();
  return bus;
}

std::vector<BlockPiece> blockPieces(const SignalNode& array, const ModelDescription& model, const ValueStore& values) {
  PieceCollector collector(model, values);
  collector.collect(array, 0);
  return collector.take();
}

}  // namespace vtio::runner
