/// @file
/// Random signal trees as plain values, and the properties of a tree built from them, computed from the values alone.
///
///     const Shape shape = TreeGenerator(seed).nonVirtualRoot();
///     const auto root = build(shape);
///     EXPECT_EQ(root->bytesPerSample(), expectedBytes(shape));
#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "vtio/core/utils/node.hpp"

namespace vtio::test {

/// One node of a tree with everything below it.
struct Shape {
  enum class Kind { leaf, stringLeaf, virtualBus, nonVirtualBus };

  Kind kind = Kind::leaf;
  bool isRoot = false;
  std::u16string name;

  std::string className;  ///< of a leaf
  unsigned long elementSize = 0;
  bool isComplex = false;
  unsigned long maxBytes = 0;  ///< of a string leaf
  unsigned long bytesPerCharacter = 0;

  std::vector<long long> dims;  ///< of a leaf, or of an array of buses
  std::vector<Shape> children;
  std::vector<long long> childOffsets;  ///< of a non-virtual bus
  unsigned long busSize = 0;

  [[nodiscard]] bool isBus() const { return kind == Kind::virtualBus || kind == Kind::nonVirtualBus; }
};

/// One item of a traversal of a tree.
struct Item {
  std::u16string name;
  bool isLeaf = false;
  friend bool operator==(const Item&, const Item&) = default;
};

/// Makes random trees, up to five levels deep; no two nodes of a tree have the same name.
class TreeGenerator {
 public:
  explicit TreeGenerator(std::uint32_t seed) : random_(seed) {}

  Shape virtualRoot() { return bus(Shape::Kind::virtualBus, true, 4); }
  Shape nonVirtualRoot() { return bus(Shape::Kind::nonVirtualBus, true, 4); }

 private:
  Shape bus(Shape::Kind kind, bool isRoot, int depth);
  Shape leaf();
  unsigned long below(unsigned long limit) { return random_() % limit; }
  std::u16string nextName();

  std::mt19937 random_;
  unsigned long names_ = 0;
};

/// The tree of nodes.
std::unique_ptr<core::utils::Node> build(const Shape& shape);

/// Bytes of one sample, wrapping as 64-bit arithmetic does.
unsigned long expectedBytes(const Shape& shape);

/// Everything that an iterator yields over the tree, in order.
std::vector<Item> expectedItems(const Shape& shape, bool stopAtNonVirtual, bool loopArrays);

/// The leaf data offsets of a non-virtual root.
std::vector<long long> expectedOffsets(const Shape& root);

}  // namespace vtio::test
