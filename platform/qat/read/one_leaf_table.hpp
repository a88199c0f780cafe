/// @file
/// A table of one leaf whose samples are not, or not all, rows of a table of the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/qat/read/open_table.hpp"

namespace vtu::qat {

/// What such tables have in common: one record, whose columns and rows begin at 0.
class OneLeafTable : public OpenTable {
 public:
  [[nodiscard]] std::uint64_t rows() override { return columns_.front().count; }
  [[nodiscard]] bool isComplete() override { return false; }
  [[nodiscard]] const std::vector<StoredColumn>& columns() override { return columns_; }
  [[nodiscard]] const Values& values(ElementKind kind) override;

 protected:
  /// @param column The leaf's record.
  OneLeafTable(const std::string& path, const StoredColumn& column);

  /// Must be called before anything is read. @param blockRows Rows to read at a time.
  void setRows(std::uint64_t rows, std::uint64_t blockRows);

  [[nodiscard]] ElementKind kind() const { return kind_; }

  /// @throws Failure for rows that it does not have
  void requireRows(std::uint64_t first, std::uint64_t count) const;

  /// @throws Failure for another class, and for columns that the leaf does not have
  void requireColumns(ElementKind kind, std::uint64_t first, std::uint64_t width) const;

 private:
  ElementKind kind_;
  std::vector<StoredColumn> columns_;  // one
  Values values_;
};

}  // namespace vtu::qat
