#include "tests/utils/tree_model.hpp"

#include <iterator>

#include "vtio/core/utils/bus_node.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"
#include "vtio/core/utils/top_bus_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::test {

namespace utils = core::utils;

namespace {

struct ElementType {
  const char* name;
  unsigned long size;
};

constexpr ElementType kElementTypes[] = {{"double", 8}, {"single", 4}, {"boolean", 1}, {"logical", 1}, {"int8", 1},
                                         {"uint8", 1},  {"int16", 2},  {"uint16", 2},  {"int32", 4},   {"uint32", 4},
                                         {"int64", 8},  {"uint64", 8}, {"action", 8},  {"fcn_call", 8}};

const std::vector<long long> kLeafDims[] = {{}, {1}, {3}, {2, 3}, {1, 1}, {0}, {-1}, {2, 2, 2}};
const std::vector<long long> kBusDims[] = {{1}, {1}, {}, {2}, {3}, {2, 2}, {0}, {-1}, {-1, -2}};

/// Product of the dimensions; 1 for none.
long long elementCount(const std::vector<long long>& dims) {
  std::uint64_t product = 1;
  for (const long long dim : dims) {
    product *= static_cast<std::uint64_t>(dim);
  }
  return static_cast<long long>(product);
}

std::unique_ptr<utils::BusNode> buildBus(const Shape& shape) {
  const unsigned long announced = shape.children.size();
  if (shape.kind == Shape::Kind::virtualBus) {
    if (shape.isRoot) {
      return std::make_unique<utils::TopBusNode>(-1, shape.name, announced);
    }
    return std::make_unique<utils::BusNode>(-1, shape.name, announced, utils::virtualBus);
  }
  if (shape.isRoot) {
    return std::make_unique<utils::TopNVBusNode>(-1, shape.name, announced, shape.dims, shape.childOffsets,
                                                 shape.busSize);
  }
  return std::make_unique<utils::NVBusNode>(-1, shape.name, announced, shape.dims, shape.childOffsets, shape.busSize);
}

void appendItems(const Shape& shape, bool stop, bool loop, std::vector<Item>& items) {
  const bool isNonVirtual = shape.kind == Shape::Kind::nonVirtualBus;
  const long long passes = loop && isNonVirtual ? elementCount(shape.dims) : 1;
  for (long long pass = 0; pass < passes; ++pass) {
    if (shape.children.empty() || (stop && isNonVirtual)) {
      items.push_back({shape.name, !shape.isBus()});
      continue;
    }
    for (const Shape& child : shape.children) {
      appendItems(child, stop, loop, items);
    }
  }
}

/// Writes out element after element; `passes` is the number of elements of this bus.
void appendOffsets(const Shape& bus, long long address, long long passes, std::vector<long long>& offsets) {
  for (long long pass = 0; pass < passes; ++pass) {
    const long long element = address + pass * static_cast<long long>(bus.busSize);
    for (std::size_t i = 0; i < bus.children.size(); ++i) {
      const Shape& child = bus.children[i];
      if (child.kind == Shape::Kind::nonVirtualBus) {
        appendOffsets(child, element + bus.childOffsets[i], elementCount(child.dims), offsets);
      } else {
        offsets.push_back(element + bus.childOffsets[i]);
      }
    }
  }
}

}  // namespace

std::u16string TreeGenerator::nextName() {
  const std::string digits = std::to_string(names_++);
  return u"n" + std::u16string(digits.begin(), digits.end());
}

Shape TreeGenerator::leaf() {
  Shape shape;
  shape.name = nextName();
  shape.dims = kLeafDims[below(std::size(kLeafDims))];
  if (below(8) == 0) {
    shape.kind = Shape::Kind::stringLeaf;
    shape.maxBytes = below(40);
    shape.bytesPerCharacter = 1 + below(4);
    return shape;
  }
  const ElementType& type = kElementTypes[below(std::size(kElementTypes))];
  shape.className = type.name;
  shape.elementSize = type.size;
  shape.isComplex = below(4) == 0;
  return shape;
}

Shape TreeGenerator::bus(Shape::Kind kind, bool isRoot, int depth) {
  Shape shape;
  shape.kind = kind;
  shape.isRoot = isRoot;
  shape.name = nextName();
  shape.dims = kBusDims[below(std::size(kBusDims))];
  const unsigned long count = isRoot ? 1 + below(4) : below(4);
  for (unsigned long i = 0; i < count; ++i) {
    const unsigned long choice = depth > 0 ? below(5) : 0;
    shape.children.push_back(choice < 2    ? leaf()
                             : choice == 2 ? bus(Shape::Kind::virtualBus, false, depth - 1)
                                           : bus(Shape::Kind::nonVirtualBus, false, depth - 1));
    shape.childOffsets.push_back(static_cast<long long>(8 * below(100)));
  }
  shape.busSize = 8 * below(200);
  return shape;
}

std::unique_ptr<utils::Node> build(const Shape& shape) {
  if (shape.kind == Shape::Kind::leaf) {
    return std::make_unique<utils::LeafNode>(1, shape.name, shape.isComplex, "zoh", shape.dims, shape.className,
                                             utils::units(), u"", utils::leafSignal);
  }
  if (shape.kind == Shape::Kind::stringLeaf) {
    return std::make_unique<utils::StringLeafNode>(1, shape.name, "zoh", shape.dims, "string", utils::units(), u"",
                                                   shape.maxBytes, shape.bytesPerCharacter);
  }
  std::unique_ptr<utils::BusNode> bus = buildBus(shape);
  for (const Shape& child : shape.children) {
    bus->addChild(build(child));
  }
  return bus;
}

unsigned long expectedBytes(const Shape& shape) {
  const long long count = elementCount(shape.dims);
  if (shape.kind == Shape::Kind::leaf) {
    return shape.elementSize * static_cast<unsigned long>(count) * (shape.isComplex ? 2 : 1);
  }
  if (shape.kind == Shape::Kind::stringLeaf) {
    return shape.maxBytes * shape.bytesPerCharacter;
  }
  unsigned long sum = 0;
  for (const Shape& child : shape.children) {
    sum += expectedBytes(child);
  }
  const bool isNonVirtual = shape.kind == Shape::Kind::nonVirtualBus;
  return isNonVirtual ? sum * static_cast<unsigned long>(count == -1 ? -2 : count) : sum;
}

std::vector<Item> expectedItems(const Shape& shape, bool stopAtNonVirtual, bool loopArrays) {
  std::vector<Item> items;
  appendItems(shape, stopAtNonVirtual, loopArrays, items);
  return items;
}

std::vector<long long> expectedOffsets(const Shape& root) {
  std::vector<long long> offsets;
  appendOffsets(root, 0, 1, offsets);
  return offsets;
}

}  // namespace vtio::test
