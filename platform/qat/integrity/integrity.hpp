/// @file
/// Checks what HDF5 is about to read.
///
/// HDF5 trusts much of what a file says: damaged metadata can make it crash, loop or ask for any amount of memory. Metadata of
/// the latest format carries checksums, so that accidental damage can be told; a file made on purpose can have right
/// checksums around wrong values. Both are met here, without HDF5, before HDF5 opens the object. What a Qat file does not
/// hold is not checked but refused by name.
///
///     Integrity integrity(source);
///     integrity.requireObject(address);   // throws, or HDF5 may open the object at that address
///
/// An object is checked alone: its header, attributes, links and layout, not what its links lead to, so that damage
/// in one variable leaves the others readable. Every object is checked once.
#pragma once

#include <unordered_map>

#include "platform/qat/failure.hpp"
#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/object_header.hpp"

namespace vtu::qat {

/// The checks of one file. Borrows the source of its bytes. Not synchronised.
class Integrity final {
 public:
  explicit Integrity(ByteSource& source) : blocks_(source) {}

  /// Checks one object. A check that did not come to its end, for want of memory for example, is a refusal from then on.
  /// @param purpose Counts when an object is checked for the first time. @throws Failure saying what is wrong and at which
  /// address
  void requireObject(std::uint64_t address, Purpose purpose = Purpose::reading);

  /// Forgets what has been checked; to be called when the file has changed.
  void forget();

 private:
  enum class Verdict { unfinished, sound, refused };

  void checkObject(std::uint64_t address, Purpose purpose);
  void checkMessage(const Message& message, Purpose purpose);
  void checkDataset(const ObjectHeader& header);

  Blocks blocks_;
  std::unordered_map<std::uint64_t, Verdict> verdicts_;
  std::unordered_map<std::uint64_t, Failure> failures_;  // of what is refused
};

}  // namespace vtu::qat
