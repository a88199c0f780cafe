/// @file
/// Checks what HDF5 is about to read.
///
/// HDF5 does not check much of what it reads: damaged metadata can make it crash, loop or allocate any amount of
/// memory. Metadata of the latest format carries checksums, so that accidental damage is detected; a file made on
/// purpose can have right checksums and wrong values. Both are checked here, without HDF5, before HDF5 opens the
/// object. Structures that Qat files do not have are not checked but refused by name.
///
///     Integrity integrity(source);
///     integrity.requireObject(address);   // throws, or HDF5 may open the object at that address
///
/// An object is checked alone: its header, attributes, links and layout, not the objects that its links refer to, so
/// that damage in one variable leaves the others readable. Every object is checked once.
#pragma once

#include <unordered_map>

#include "platform/qat/failure.hpp"
#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/object_header.hpp"

namespace vtu::qat {

/// The checks of one file. Does not own the source of the bytes. Not synchronised.
class Integrity final {
 public:
  explicit Integrity(ByteSource& source) : blocks_(source) {}

  /// Checks one object. An object whose check could not be completed, for lack of memory for example, is refused from
  /// then on.
  /// @param purpose Used when an object is checked for the first time. @throws Failure saying what is wrong and at
  /// which address
  void requireObject(std::uint64_t address, Purpose purpose = Purpose::reading);

  /// Discards the results of earlier checks; to be called when the file has changed.
  void forget();

  /// Discards them, and refuses from then on what is behind the End of File Address: HDF5 does not read it.
  void endAt(std::uint64_t endOfFileAddress);

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
