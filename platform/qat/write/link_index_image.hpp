/// @file
/// The links of a large group as HDF5 stores them outside the group's header: a fractal heap that holds the links, and a
/// v2 B-tree that finds them by the checksum of their names.
///
/// The heap is one block, the tree has at most two levels; nodes grow with the number of links.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/qat/write/object_image.hpp"

namespace vtu::qat {

/// Most bytes of a link in the heap; a longer one needs another kind of heap.
inline constexpr std::size_t kLongestHeapLink = 4096;

/// The sizes of the parts, from the names alone.
class LinkIndexLayout final {
 public:
  /// Takes one more link into account.
  void add(std::string_view name) {
    linkBytes_ += linkBytes(name);
    longest_ = std::max(longest_, linkBytes(name));
    ++links_;
  }

  /// Bytes of all parts together.
  [[nodiscard]] std::size_t size() const;

  /// Whether the parts stay in the limits of their kinds.
  [[nodiscard]] bool isPossible() const;

  [[nodiscard]] std::size_t links() const { return links_; }
  [[nodiscard]] std::size_t linksBytes() const { return linkBytes_; }

  [[nodiscard]] std::size_t heapBlock() const;    ///< bytes of the block with the links
  [[nodiscard]] std::size_t nodeBytes() const;    ///< bytes of a node of the tree
  [[nodiscard]] std::size_t leafRecords() const;  ///< most records of a leaf
  [[nodiscard]] std::size_t leaves() const;       ///< leaves below the root; 1 when the root is the leaf

 private:
  std::size_t linkBytes_ = 0;
  std::size_t longest_ = 0;
  std::size_t links_ = 0;
};

/// Appends the parts.
/// @param links Must have the names that the layout was made of.
/// @param address Where the first appended byte will stand in the file.
[[nodiscard]] LinkIndexPlace putLinkIndex(ByteImage& image, const LinkIndexLayout& layout,
                                          std::span<const LinkImage> links, std::uint64_t address);

}  // namespace vtu::qat
