/// @file
/// The heaps in which the latest format keeps links and attributes that are too many for the header of their object.
#pragma once

#include <map>
#include <unordered_map>
#include <vector>

#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/purpose.hpp"

namespace vtu::qat {

/// One heap, read and checked as a whole.
class Heap final {
 public:
  /// Reads the heap at an address. @param idBytes What its users keep of an object's identity, in bytes.
  /// @throws Failure when anything in it contradicts itself.
  Heap(Blocks& blocks, std::uint64_t address, std::size_t idBytes, Purpose purpose);

  /// The bytes of the object with an identity; they live as long as the heap. @throws Failure when there is none.
  [[nodiscard]] Cursor object(Cursor id) const;

 private:
  struct Shape {
    std::uint64_t width, firstSize, largestDirect;
    unsigned bits;        // of the heap's address space
    unsigned directRows;  // rows that hold blocks with objects
    unsigned mostRows;    // that a heap of these bits can have
    std::size_t offsetBytes, lengthBytes;

    [[nodiscard]] std::uint64_t rowSize(unsigned row) const { return row == 0 ? firstSize : firstSize << (row - 1); }
  };

  void readShape(Cursor& at, std::uint64_t largestObject);
  void readDirect(std::uint64_t address, std::uint64_t offset, std::uint64_t size);
  void readIndirect(std::uint64_t address, std::uint64_t offset, unsigned rows, int depth);
  void readHuge(std::uint64_t tree, std::uint64_t count);
  [[nodiscard]] std::size_t prefixBytes() const { return 5 + 8 + shape_.offsetBytes + (checksums_ ? 4 : 0); }
  [[nodiscard]] std::map<std::uint64_t, Block>::const_iterator blockAt(std::uint64_t offset) const;

  struct FreeSections {
    std::uint64_t address, count, largest;
  };
  void checkFreeSpace(std::uint64_t address);
  void checkFreeSections(const FreeSections& sections, std::uint64_t size, std::uint64_t owner);
  void checkFreeSection(Cursor& list, std::uint64_t bytes) const;
  void readPrefix(Cursor& at, std::string_view signature, std::uint64_t offset) const;

  Blocks& blocks_;
  std::uint64_t address_;
  Shape shape_{};
  bool checksums_ = false;
  std::size_t idBytes_;
  std::map<std::uint64_t, Block> direct_;  // by offset in the heap
  std::unordered_map<std::uint64_t, Block> huge_;
};

}  // namespace vtu::qat
