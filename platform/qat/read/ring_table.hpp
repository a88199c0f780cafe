/// @file
/// The newest samples of a leaf, as a table of its own.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/qat/read/open_table.hpp"
#include "platform/qat/read/rings.hpp"

namespace vtu::qat {

/// Keeps the samples as they were when this was made: the writer overwrites the oldest ones.
class RingTable final : public OpenTable {
 public:
  /// @param column The leaf's record.
  RingTable(const Rings& rings, const Rings::Leaf& leaf, const StoredColumn& column);

  [[nodiscard]] std::uint64_t rows() override { return samples_.times.size(); }
  [[nodiscard]] bool isComplete() override { return false; }
  [[nodiscard]] const std::vector<StoredColumn>& columns() override { return columns_; }
  [[nodiscard]] const Values& values(ElementKind kind) override;
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) override;
  void readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                 std::uint64_t count, void* out) override;
  [[nodiscard]] std::string_view text(TextCell cell) override;

 private:
  void requireRows(std::uint64_t first, std::uint64_t count) const;

  ElementKind kind_;
  Rings::Samples samples_;
  std::vector<StoredColumn> columns_;  // one
  Values values_;
};

}  // namespace vtu::qat
