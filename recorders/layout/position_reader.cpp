#include "recorders/layout/position_reader.hpp"

#include <limits>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "recorders/layout/bus_check.hpp"
#include "recorders/layout/element_order.hpp"
#include "recorders/layout/refusal.hpp"
#include "vtio/core/utils/bus_node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::recorders {
namespace {

using core::utils::BusNode;
using core::utils::LeafNode;
using core::utils::Node;
using core::utils::NVBusNode;
using core::utils::SignalDescriptorNodePolicy;
using core::utils::TopNVBusNode;
using core::utils::VisualizationMetadataPolicy;

// Fills the columns of one position.
class PositionReader {
 public:
  explicit PositionReader(LayoutPosition& position) : columns_(position.columns) {}

  void read(const Node& node, SampleOrder order) {
    insideNonVirtualBus_ = dynamic_cast<const LeafNode*>(&node) == nullptr;
    rootPolicy_ = visualizationOf(node);
    addColumns(node);
    if (const auto* top = dynamic_cast<const TopNVBusNode*>(&node); top != nullptr && top->parent() == nullptr) {
      placeRoot(*top);
    } else {
      place(node, 0);
    }
    for (std::size_t i = 0; i < columns_.size() && order == SampleOrder::columnMajor; ++i) {
      checkElements(columns_[i]);
      takeColumnMajor(columns_[i], arraysAbove_[i]);
    }
  }

 private:
  static const VisualizationMetadataPolicy* visualizationOf(const Node& node) {
    const auto* policy = node.policy(SignalDescriptorNodePolicy::visualizationMetadata);
    return dynamic_cast<const VisualizationMetadataPolicy*>(policy);
  }

  void addColumns(const Node& node) {
    if (const auto* bus = dynamic_cast<const BusNode*>(&node)) {
      const std::size_t outer = arrays_.size();
      const auto* nonVirtual = dynamic_cast<const NVBusNode*>(bus);
      if (nonVirtual != nullptr && nonVirtual->getSignalType() == core::utils::arrayOfNonVirtualBuses) {
        static_cast<void>(elementsOf(*nonVirtual));
        arrays_.push_back(nonVirtual->arrayOfBusDimensions());
      }
      for (const auto& child : bus->children()) addColumns(*child);
      arrays_.resize(outer);
      return;
    }
    const auto* leaf = dynamic_cast<const LeafNode*>(&node);
    if (leaf == nullptr) refuse(node, "it is neither a bus nor a leaf");
    addColumn(*leaf);
  }

  void addColumn(const LeafNode& leaf) {
    LeafColumn column;
    column.leaf = &leaf;
    column.visualization = visualizationOf(leaf) != nullptr ? visualizationOf(leaf) : rootPolicy_;
    column.type = storedType(leaf, insideNonVirtualBus_);
    for (const std::vector<long long>& array : arrays_) {
      column.busDimensions.insert(column.busDimensions.end(), array.begin(), array.end());
    }
    column.deliveredBytes = leaf.bytesPerSample();
    indices_.emplace(&leaf, columns_.size());
    columns_.push_back(std::move(column));
    arraysAbove_.push_back(arrays_);
  }

  // Elements that are read one by one need an offset each.
  static void checkElements(const LeafColumn& column) {
    if (column.type.text != StoredType::Text::none || column.offsets.empty()) return;
    std::size_t elements = 1;
    for (const long long dimension : column.leaf->dataDimensions()) elements *= static_cast<std::size_t>(dimension);
    if (elements <= static_cast<std::size_t>(kMostElements) / column.offsets.size()) return;
    refuse(*column.leaf, "its " + std::to_string(elements) + " elements are too many to be put in row-major order");
  }

  // The offsets of the root are those of one root element, arrays below it unrolled.
  void placeRoot(const TopNVBusNode& root) {
    const auto offsets = static_cast<std::size_t>(offsetsOf(root));
    const long long elements = elementsOf(root);
    if (offsets == 0) return;
    if (root.busSize() == 0) refuse(root, "its size is 0");
    if (root.leafDataOffsets().size() != offsets) {
      refuse(root, "it carries " + std::to_string(root.leafDataOffsets().size()) + " data offsets for its " +
                       std::to_string(offsets) + " leaves");
    }
    std::size_t next = 0;
    const auto nextOffset = [&] { return root.leafDataOffsets()[next++ % offsets]; };
    placeElements(root, elements, 0, nextOffset);
  }

  // Sets the offsets of the elements of an array of buses that have a size, one after another.
  // @param nextOffset Gives the offsets in the order of the leaves; of the first element, or of each in turn.
  template <typename Next>
  long long placeElements(const NVBusNode& bus, long long elements, long long offset, const Next& nextOffset) {
    const auto size = static_cast<long long>(bus.busSize());
    const Bounds outer = bounds_;
    for (long long k = 0; k < elements; ++k) {
      bounds_ = {offset, sum(bus, offset, size)};
      const long long start = offset;
      placeChildren(bus, [&] { return sum(bus, start, nextOffset()); });
      offset = bounds_.end;
    }
    bounds_ = outer;
    return offset;
  }

  // Visits the leaves and virtual buses of one element in the order of the data offsets.
  template <typename Next>
  void placeChildren(const NVBusNode& bus, const Next& next) {
    for (const auto& child : bus.children()) {
      if (const auto* nested = dynamic_cast<const NVBusNode*>(child.get())) {
        const long long elements = elementsOf(*nested);
        for (long long k = 0; k < elements; ++k) placeChildren(*nested, next);
      } else {
        place(*child, next());
      }
    }
  }

  // Sets the offsets of a node and of what is below it; returns the offset after it.
  long long place(const Node& node, long long offset) {
    if (const auto* bus = dynamic_cast<const NVBusNode*>(&node)) return placeNested(*bus, offset);
    if (const auto* bus = dynamic_cast<const BusNode*>(&node)) {
      for (const auto& child : bus->children()) offset = place(*child, offset);
      return offset;
    }
    LeafColumn& column = columns_[indices_.at(static_cast<const LeafNode*>(&node))];
    const long long end = sum(node, offset, static_cast<long long>(column.deliveredBytes));
    if (offset < bounds_.begin || end > bounds_.end || end < offset) {
      refuse(node, "its data offset " + std::to_string(offset - bounds_.begin) + " is outside its bus of " +
                       std::to_string(bounds_.end - bounds_.begin) + " bytes");
    }
    column.offsets.push_back(static_cast<std::size_t>(offset));
    return end;
  }

  long long placeNested(const NVBusNode& bus, long long offset) {
    const bool isEmpty = offsetsOf(bus) == 0;
    const long long elements = isEmpty ? 0 : elementsOf(bus);
    if (!bus.busSizeKnown()) {
      for (long long k = 0; k < elements; ++k) {
        for (const auto& child : bus.children()) offset = place(*child, offset);
      }
      return offset;
    }
    checkOffsets(bus);
    std::vector<long long> offsets;
    bus.generateLeafDataOffsetsRecursive(offsets, 0, true);
    std::size_t next = 0;
    return placeElements(bus, elements, offset, [&] { return offsets[next++ % offsets.size()]; });
  }

  static long long sum(const Node& node, long long a, long long b) {
    long long result = 0;
    if (__builtin_add_overflow(a, b, &result)) refuse(node, "its size or an offset is too large");
    return result;
  }

  // The delivered bytes in which a leaf must be.
  struct Bounds {
    long long begin = 0;
    long long end = std::numeric_limits<long long>::max();
  };

  std::vector<LeafColumn>& columns_;
  std::unordered_map<const LeafNode*, std::size_t> indices_;
  std::vector<std::vector<long long>> arrays_;  // dimensions of the arrays of buses above the node that is being read
  std::vector<std::vector<std::vector<long long>>> arraysAbove_;  // above each column
  Bounds bounds_;
  const VisualizationMetadataPolicy* rootPolicy_ = nullptr;
  bool insideNonVirtualBus_ = false;
};

}  // namespace

LayoutPosition readPosition(const Node& node, SampleOrder order) {
  LayoutPosition position;
  position.node = &node;
  PositionReader(position).read(node, order);
  return position;
}

}  // namespace vtio::recorders
