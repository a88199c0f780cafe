/// @file
/// Checks what HDF5 is about to read.
///
/// HDF5 trusts much of what a file says: damaged metadata can make it crash, loop or ask for any amount of memory. Metadata of
/// the latest format carries checksums, so that accidental damage can be told; a file made on purpose can have right
/// checksums around wrong values. Both are met here, without HDF5, before HDF5 opens the object.
///
///     Integrity integrity(source, Purpose::reading);
///     integrity.requireObject(address);   // throws, or HDF5 may open the object at that address
///
/// An object is checked alone: its header, attributes, links and layout, not what its links lead to, so that damage
/// in one variable leaves the others readable. Every object is checked once.
#pragma once

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/qat/failure.hpp"
#include "platform/qat/integrity/blocks.hpp"
#include "platform/qat/integrity/datatype.hpp"
#include "platform/qat/integrity/object_header.hpp"
#include "platform/qat/integrity/purpose.hpp"

namespace vtu::qat {

/// The checks of one file. Borrows the source of its bytes. Not synchronised.
class Integrity final {
 public:
  Integrity(ByteSource& source, Purpose purpose) : blocks_(source), purpose_(purpose) {}

  /// Checks what the superblock says beyond itself. @param extension kNoAddress when it has none.
  void requireExtension(std::uint64_t extension);

  /// Checks one object. @throws Failure saying what is wrong and at which address
  void requireObject(std::uint64_t address);

  /// Checks an object and everything that hangs below it, as deleting it goes there, and that it is nested no deeper than
  /// HDF5 can follow. For Purpose::changing.
  void requireTree(std::uint64_t address);

  /// Forgets what has been checked; to be called when the file has changed.
  void forget();

 private:
  struct Verdict {
    std::optional<Failure> failure;
    std::vector<std::uint64_t> targets;  // objects that a group links to; kept for changing only
    std::vector<std::uint64_t> types;    // objects whose type it uses
  };

  const Verdict* check(std::uint64_t address);
  const std::vector<std::uint64_t>& targetsOf(std::uint64_t address);
  void checkObject(std::uint64_t address, std::vector<std::uint64_t>& targets);
  void checkMessage(const Message& message, std::vector<std::uint64_t>& targets);
  void checkDataset(const ObjectHeader& header, const Message& layout);
  TypeInfo namedType(std::uint64_t address);

  Blocks blocks_;
  Purpose purpose_;
  std::unordered_map<std::uint64_t, std::unique_ptr<Verdict>> verdicts_;  // none for a sound object alone
  std::unordered_map<std::uint64_t, TypeInfo> namedTypes_;
  std::vector<std::uint64_t> usedTypes_;  // by the object that is being checked
};

}  // namespace vtu::qat
