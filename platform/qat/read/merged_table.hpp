/// @file
/// A leaf with strays, as a table of its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/qat/read/open_table.hpp"
#include "platform/qat/read/strays.hpp"

namespace vtu::qat {

/// The leaf's rows of its table, then its strays. Does not own its arguments.
class MergedTable final : public OpenTable {
 public:
  /// @param table Null for a leaf that no table has. @param column The leaf's record.
  MergedTable(Strays& strays, const Strays::Leaf& leaf, OpenTable* table, const StoredColumn& column);

  [[nodiscard]] std::uint64_t rows() override { return columns_.front().count; }
  [[nodiscard]] bool isComplete() override { return false; }
  [[nodiscard]] const std::vector<StoredColumn>& columns() override { return columns_; }
  [[nodiscard]] const Values& values(ElementKind kind) override;
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) override;
  void readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                 std::uint64_t count, void* out) override;
  [[nodiscard]] std::string_view text(TextCell cell) override;

 private:
  void requireRows(std::uint64_t first, std::uint64_t count) const;
  [[nodiscard]] std::uint64_t rowsInTable(std::uint64_t first, std::uint64_t count) const;
  void readStrays(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t first,
                  std::uint64_t count, std::byte* out);

  Strays& strays_;
  const Strays::Leaf& leaf_;
  OpenTable* table_;
  StoredColumn inTable_;
  ElementKind kind_;
  std::vector<StoredColumn> columns_;  // one
  Values values_;
};

}  // namespace vtu::qat
