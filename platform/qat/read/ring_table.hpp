/// @file
/// The newest samples of a leaf, as a table of its own.
#pragma once

#include <cstdint>

#include "platform/qat/read/one_leaf_table.hpp"
#include "platform/qat/read/rings.hpp"

namespace vtu::qat {

/// Keeps the samples as they were when this was made: the writer overwrites the oldest ones.
class RingTable final : public OneLeafTable {
 public:
  /// @param column The leaf's record.
  RingTable(const Rings& rings, const Rings::Leaf& leaf, const StoredColumn& column);

  void readTimes(std::uint64_t first, std::uint64_t count, double* out) override;
  void readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                 std::uint64_t count, void* out) override;
  [[nodiscard]] std::string_view text(TextCell cell) override;

 private:
  Rings::Samples samples_;
};

}  // namespace vtu::qat
