/// @file
/// A table of a file as arrays read it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/qat/read/open_table.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qat {

/// The rows of an open table, read when they are asked for. The leaves of a row are in the order of their records.
/// Used while the table is open, under the lock of HDF5 calls. Functions throw Failure.
class TableRows final : public SampleTable {
 public:
  /// @param stored Its place, for a table that is in the file as it is; file empty: it is not.
  TableRows(OpenTable& table, StoredTable stored);

  [[nodiscard]] std::uint64_t rows() const override { return table_.rows(); }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override;
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override;
  void readText(TextCell cell, std::string& utf8) const override { utf8 = table_.text(cell); }
  [[nodiscard]] const StoredTable* stored() const override { return stored_.file.empty() ? nullptr : &stored_; }

  /// The leaf of a record.
  [[nodiscard]] SampleColumn leaf(std::uint32_t record) const;

 private:
  OpenTable& table_;
  StoredTable stored_;
  std::vector<std::size_t> offsets_;  // of the records in a row, and the end of the row
};

}  // namespace vtu::qat
