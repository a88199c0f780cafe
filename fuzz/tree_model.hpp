/// @file
/// A second, independent idea of the tree that a sequence of generated-code calls describes: fuzz_tree_vector.cpp
/// compares it with the tree that the entry functions built.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "vtio/core/utils/bus_node.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"

namespace vtio::fuzz {

/// Stops the fuzzer with the place of the failed check.
#define VTIO_FUZZ_CHECK(condition) ((condition) ? void() : ::vtio::fuzz::checkFailed(#condition, __FILE__, __LINE__))

[[noreturn]] inline void checkFailed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: check failed: %s\n", file, line, condition);
  __builtin_trap();
}

using Dimensions = std::vector<long long>;

/// The product as the hardware multiplies: modulo 2^64, read as signed.
inline long long wrappedProduct(const Dimensions& dims) {
  std::uint64_t product = 1;
  for (const long long dim : dims) {
    product *= static_cast<std::uint64_t>(dim);
  }
  return static_cast<long long>(product);
}

/// The product with the two values of special meaning replaced.
inline long long normalisedProduct(const Dimensions& dims) {
  const long long product = wrappedProduct(dims);
  if (product == -1) {
    return -2;
  }
  return product == INT64_MAX ? -1 : product;
}

enum class NodeClass { topBus, bus, topNvBus, nvBus, leaf };

struct ModelNode {
  NodeClass nodeClass = NodeClass::leaf;
  std::u16string name;
  unsigned announced = 0;   // children, as announced when the bus was opened
  Dimensions dims;          // of the array of buses, or of the leaf
  Dimensions childOffsets;  // non-virtual buses only
  std::uint64_t busSize = 0;
  bool isComplex = false;
  std::vector<std::unique_ptr<ModelNode>> children;
  const core::utils::Node* real = nullptr;  // set once the trees were compared

  [[nodiscard]] bool isBus() const { return nodeClass != NodeClass::leaf; }
  [[nodiscard]] bool isNonVirtual() const { return nodeClass == NodeClass::nvBus || nodeClass == NodeClass::topNvBus; }
  /// Children that iterating or copying visits.
  [[nodiscard]] std::size_t visible() const { return std::min<std::size_t>(announced, children.size()); }
  /// How many times in a row an iteration that unrolls arrays of buses visits this node.
  [[nodiscard]] long long repetitions() const {
    return isNonVirtual() && !dims.empty() ? std::max(0LL, wrappedProduct(dims)) : 1;
  }
};

using Entries = std::vector<std::unique_ptr<ModelNode>>;  // null: a closing marker

/// Attaches the entries to each other; null when no bus is ever closed back to the root. No leaf is outside a bus.
inline std::unique_ptr<ModelNode> assemble(Entries& entries) {
  if (entries.size() == 1) {
    return std::move(entries.front());
  }
  std::vector<std::unique_ptr<ModelNode>> open;
  for (std::unique_ptr<ModelNode>& entry : entries) {
    if (entry != nullptr && entry->isBus()) {
      open.push_back(std::move(entry));
    } else if (entry != nullptr) {
      open.back()->children.push_back(std::move(entry));
    } else {
      std::unique_ptr<ModelNode> closed = std::move(open.back());
      open.pop_back();
      if (open.empty()) {
        return closed;
      }
      open.back()->children.push_back(std::move(closed));
    }
  }
  return nullptr;
}

/// Offsets of the leaves of a non-virtual bus, arrays below the root unrolled element by element.
inline void appendLeafOffsets(const ModelNode& bus, std::uint64_t base, bool isTop, Dimensions& offsets) {
  Dimensions element;
  for (std::size_t i = 0; i < bus.children.size(); ++i) {
    const std::uint64_t offset = base + static_cast<std::uint64_t>(bus.childOffsets[i]);
    if (bus.children[i]->isNonVirtual()) {
      appendLeafOffsets(*bus.children[i], offset, false, element);
    } else {
      element.push_back(static_cast<long long>(offset));
    }
  }
  const long long count = isTop ? 1 : wrappedProduct(bus.dims);
  for (long long k = 0; k < count; ++k) {
    for (const long long offset : element) {
      offsets.push_back(
          static_cast<long long>(static_cast<std::uint64_t>(offset) + static_cast<std::uint64_t>(k) * bus.busSize));
    }
  }
}

/// Nodes in the order of iteration. A bus without visible children is visited itself.
inline void appendWalk(const ModelNode& node, bool stopAtNonVirtual, bool unroll,
                       std::vector<const core::utils::Node*>& walk) {
  if (!node.isBus() || (stopAtNonVirtual && node.isNonVirtual()) || node.visible() == 0) {
    walk.push_back(node.real);
    return;
  }
  for (std::size_t i = 0; i < node.visible(); ++i) {
    const ModelNode& child = *node.children[i];
    for (long long k = unroll ? child.repetitions() : 1; k > 0; --k) {
      appendWalk(child, stopAtNonVirtual, unroll, walk);
    }
  }
}

/// Bytes of one sample, from the sizes of the leaves up.
inline std::uint64_t expectedBytes(const ModelNode& node) {
  if (!node.isBus()) {
    const auto* leaf = dynamic_cast<const core::utils::LeafNode*>(node.real);
    const fxpDataTypeProp properties = leaf->fxpDataTypeProperties();
    const std::uint64_t element = fxpDataTypeProp_GetSize(&properties);
    return element * static_cast<std::uint64_t>(wrappedProduct(node.dims)) * (node.isComplex ? 2U : 1U);
  }
  std::uint64_t sum = 0;
  for (const auto& child : node.children) {
    sum += expectedBytes(*child);
  }
  return node.isNonVirtual() ? sum * static_cast<std::uint64_t>(normalisedProduct(node.dims)) : sum;
}

}  // namespace vtio::fuzz
