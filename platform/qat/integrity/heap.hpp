/// @file
/// The fractal heaps in which HDF5 keeps links and attributes that are too many for the header of their object.
#pragma once

#include <map>
#include <unordered_map>

#include "platform/qat/integrity/blocks.hpp"

namespace vtu::qat {

/// The parameters with which the HDF5 library makes its heaps, besides those that are the same for both.
struct HeapForm {
  std::size_t idBytes;      ///< what the users of the heap keep of an object
  std::uint64_t firstSize;  ///< of a block, in bytes
  unsigned bits;            ///< of the heap's address space
};
inline constexpr HeapForm kLinkHeap{7, 512, 32}, kAttributeHeap{8, 1024, 40};

/// The objects of one heap. Valid as long as the heap that was read.
class Heap final {
 public:
  /// Reads the heap at an address and checks all of it. @throws Failure when parts of it contradict each other.
  Heap(Blocks& blocks, std::uint64_t address, const HeapForm& form, Purpose purpose);

  /// The bytes of the object with an identity; valid as long as the heap. @throws Failure when there is none.
  [[nodiscard]] Cursor object(Cursor id) const;

 private:
  friend class HeapReader;

  [[nodiscard]] std::size_t offsetBytes() const { return form_.bits / 8; }

  /// The managed block with these bytes of the heap, and where in it they are; nullptr if there is none.
  [[nodiscard]] const Block* blockWith(std::uint64_t offset, std::uint64_t length, std::uint64_t& within) const;

  const HeapForm& form_;
  std::uint64_t span_ = 0;                  // of the managed blocks
  std::map<std::uint64_t, Block> managed_;  // by offset in the heap
  std::unordered_map<std::uint64_t, Block> huge_;
};

}  // namespace vtu::qat
