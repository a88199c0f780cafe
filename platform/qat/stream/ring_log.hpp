/// @file
/// The rings of a file that is being streamed.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <unordered_set>
#include <vector>

#include "platform/qat/stream/ring.hpp"
#include "platform/qat/write/sample_store.hpp"

namespace vtu::qat {

/// Knows where the leaves of rings are in the file's tables, and makes the rings each time that the file is opened.
/// Every function throws Failure.
class RingLog final {
 public:
  /// From the next open() on there are these rings.
  /// @param records Where the leaves' tables are in the file. A leaf that is not there keeps its places.
  void place(std::span<const StreamRing> rings, const std::map<const SampleTable*, SampleStore::LeafRecords>& records);

  /// The tables that have the samples of rings.
  [[nodiscard]] static std::unordered_set<const SampleTable*> tablesOf(std::span<const StreamRing> rings);

  /// Makes the group of the rings, empty, without a link. Borrows the kit and the guard.
  void open(Kit& kit, const DiskGuard& guard, hid_t root);

  /// Makes it a member of the root; to be called after it was flushed.
  void link(hid_t root) const;

  [[nodiscard]] Ring& ring(std::uint32_t number) const { return *rings_.at(number); }

  /// True if a ring has samples.
  [[nodiscard]] bool hasSamples() const;

  /// Lets go of the file.
  void close();

 private:
  struct Kind {
    std::uint64_t limit;
    std::vector<RingPlace> leaves;
  };

  std::vector<Kind> kinds_;
  std::vector<std::unique_ptr<Ring>> rings_;
  Handle group_;
};

}  // namespace vtu::qat
