#include "recorders/layout/signal_layout.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>

#include "platform/sample_table.hpp"
#include "platform/text.hpp"
#include "recorders/layout/element_order.hpp"
#include "vtio/core/utils/bus_node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::recorders {
namespace {

using core::utils::BusNode;
using core::utils::LeafNode;
using core::utils::Node;
using core::utils::NVBusNode;
using core::utils::SignalDescriptorNodePolicy;
using core::utils::StringLeafNode;
using core::utils::TopNVBusNode;
using core::utils::VisualizationMetadataPolicy;

// The kinds of fxpDataTypeProp::dataTypeKind.
enum Kind : std::int32_t { kInteger = 0, kScaledDouble = 1, kDouble = 2, kSingle = 3, kBoolean = 4 };

constexpr long long kMostElements = 1LL << 32;  // of arrays of buses in one sample; more is a damaged description

[[noreturn]] void refuse(const Node& node, const std::string& reason) {
  throw std::invalid_argument("Cannot record '" + vtu::to_string(node.signalName()) + "': " + reason);
}

qxClassID integerClass(const LeafNode& leaf, std::size_t bytes) {
  const bool isSigned = leaf.fxpDataTypeProperties().isSigned != 0;
  switch (bytes) {
    case 1:
      return isSigned ? qxINT8 : qxUINT8;
    case 2:
      return isSigned ? qxINT16 : qxUINT16;
    case 4:
      return isSigned ? qxINT32 : qxUINT32;
    case 8:
      return isSigned ? qxINT64 : qxUINT64;
    default:
      return qxUINT64;
  }
}

StoredType storedType(const LeafNode& leaf, bool insideNonVirtualBus) {
  StoredType type;
  type.isComplex = leaf.isComplexDataType();
  if (dynamic_cast<const StringLeafNode*>(&leaf) != nullptr) {
    type.text = insideNonVirtualBus ? StoredType::Text::inPlace : StoredType::Text::address;
    type.id = qxCELL;
    return type;
  }
  const fxpDataTypeProp& properties = leaf.fxpDataTypeProperties();
  type.elementBytes = fxpDataTypeProp_GetSize(&properties);
  switch (properties.dataTypeKind) {
    case kInteger:
      type.id = integerClass(leaf, type.elementBytes);
      if (type.elementBytes > 8) type.words = type.elementBytes / 8;
      break;
    case kScaledDouble:
    case kDouble:
      type.id = qxDOUBLE;
      break;
    case kSingle:
      type.id = qxSINGLE;
      break;
    case kBoolean:
      type.id = type.isComplex ? qxUINT8 : qxLOGICAL;
      break;
    default:
      refuse(leaf, "unknown kind of data type " + std::to_string(properties.dataTypeKind));
  }
  if (type.elementBytes == 0) {
    refuse(leaf, "a word length of " + std::to_string(properties.wordLength) + " bits holds no values");
  }
  return type;
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
        elementsOf(*nonVirtual);
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
    if (column.type.text == StoredType::Text::address) {
      const unsigned long held = static_cast<const StringLeafNode&>(leaf).maxBytes();
      if (held < sizeof(void*)) {
        refuse(leaf, "a text of at most " + std::to_string(held) + " bytes cannot be delivered by address");
      }
    } else if (column.type.text == StoredType::Text::none) {
      checkDimensions(leaf, column.type);
    }
    indices_.emplace(&leaf, columns_.size());
    columns_.push_back(std::move(column));
    arraysAbove_.push_back(arrays_);
  }

  static void checkDimensions(const LeafNode& leaf, const StoredType& type) {
    std::size_t bytes = type.elementBytes * (type.isComplex ? 2 : 1);
    for (const long long dimension : leaf.dataDimensions()) {
      if (dimension < 0) refuse(leaf, "it has the dimension " + std::to_string(dimension));
      if (__builtin_mul_overflow(bytes, static_cast<std::size_t>(dimension), &bytes)) {
        refuse(leaf, "its dimensions are too large");
      }
    }
  }

  // One by one, an element costs an offset.
  static void checkElements(const LeafColumn& column) {
    if (column.type.text != StoredType::Text::none || column.offsets.empty()) return;
    std::size_t elements = 1;
    for (const long long dimension : column.leaf->dataDimensions()) elements *= static_cast<std::size_t>(dimension);
    if (elements <= static_cast<std::size_t>(kMostElements) / column.offsets.size()) return;
    refuse(*column.leaf, "its " + std::to_string(elements) + " elements are too many to be put in row-major order");
  }

  // The offsets that the root carries are those of one root element, arrays below it unrolled.
  void placeRoot(const TopNVBusNode& root) {
    const auto entries = static_cast<unsigned long>(countEntries(root));
    // One more than the last offset of an element is the first one of the next element, if there are as many as leaves.
    if (entries != 0 &&
        root.leafDataOffset(entries) - root.leafDataOffset(0) != static_cast<long long>(root.busSize())) {
      refuse(root, "it carries no data offsets for its " + std::to_string(entries) + " leaves");
    }
    unsigned long next = 0;
    const long long elements = elementsOf(root);
    for (long long k = 0; k < elements; ++k) {
      placeChildren(root, [&root, &next] { return root.leafDataOffset(next++); });
    }
  }

  static long long countEntries(const NVBusNode& bus) {
    long long entries = 0;
    for (const auto& child : bus.children()) {
      const auto* nested = dynamic_cast<const NVBusNode*>(child.get());
      entries += nested == nullptr ? 1 : elementsOf(*nested) * countEntries(*nested);
    }
    return entries;
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

  // Places a node and what is below it at an offset; returns the offset behind it.
  long long place(const Node& node, long long offset) {
    if (const auto* bus = dynamic_cast<const NVBusNode*>(&node)) return placeNested(*bus, offset);
    if (const auto* bus = dynamic_cast<const BusNode*>(&node)) {
      for (const auto& child : bus->children()) offset = place(*child, offset);
      return offset;
    }
    if (offset < 0) refuse(node, "its data offset is " + std::to_string(offset));
    LeafColumn& column = columns_[indices_.at(static_cast<const LeafNode*>(&node))];
    column.offsets.push_back(static_cast<std::size_t>(offset));
    return offset + static_cast<long long>(column.deliveredBytes);
  }

  long long placeNested(const NVBusNode& bus, long long offset) {
    const long long elements = elementsOf(bus);
    if (!bus.busSizeKnown()) {
      for (long long k = 0; k < elements; ++k) {
        for (const auto& child : bus.children()) offset = place(*child, offset);
      }
      return offset;
    }
    std::vector<long long> offsets;
    bus.generateLeafDataOffsetsRecursive(offsets, offset, false);
    std::size_t next = 0;
    for (long long k = 0; k < elements; ++k) {
      placeChildren(bus, [&offsets, &next] { return offsets.at(next++); });
    }
    return offset + elements * static_cast<long long>(bus.busSize());
  }

  std::vector<LeafColumn>& columns_;
  std::unordered_map<const LeafNode*, std::size_t> indices_;
  std::vector<std::vector<long long>> arrays_;  // dimensions of the arrays of buses above the node that is being read
  std::vector<std::vector<std::vector<long long>>> arraysAbove_;  // above each column
  const VisualizationMetadataPolicy* rootPolicy_ = nullptr;
  bool insideNonVirtualBus_ = false;
};

void addPositions(const Node& node, SampleOrder order, std::vector<LayoutPosition>& positions) {
  if (!isOnePosition(node)) {
    for (const auto& child : static_cast<const BusNode&>(node).children()) addPositions(*child, order, positions);
    return;
  }
  positions.emplace_back();
  PositionReader(positions.back()).read(node, order);
}

}  // namespace

std::size_t LeafColumn::bytesPerRow() const {
  return offsets.size() * (type.text == StoredType::Text::none ? deliveredBytes : vtu::TextCell::kBytesInRow);
}

bool isOnePosition(const Node& node) {
  const auto* bus = dynamic_cast<const BusNode*>(&node);
  if (bus == nullptr || bus->children().empty()) return true;
  return node.getSignalType() == core::utils::nonVirtualBus ||
         node.getSignalType() == core::utils::arrayOfNonVirtualBuses;
}

std::vector<LayoutPosition> readLayout(const core::utils::SignalDescriptor& descriptor, SampleOrder order) {
  std::vector<LayoutPosition> positions;
  addPositions(*descriptor.root(), order, positions);
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
