/// @file
/// Samples of many signals of one table over the same rows, read with few calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "results/export.hpp"
#include "results/file/results_file.hpp"
#include "results/values/row_range.hpp"
#include "results/values/series.hpp"

namespace vtio::results {

/// Neighbouring columns of one class are read together, as they are in the file.
class VTIO_RESULTS_EXPORT TableBlock final {
 public:
  /// @param signals Signals of one table, at least one; they must outlive this object.
  TableBlock(SampleSource& source, std::vector<const SignalInfo*> signals);

  /// Reads rows [first, first + count) of the table.
  /// @throws what the source throws.
  void read(std::uint64_t first, std::uint64_t count);

  [[nodiscard]] std::uint32_t table() const { return signals_.front()->place.table; }
  [[nodiscard]] const std::vector<const SignalInfo*>& signals() const { return signals_; }
  [[nodiscard]] RowRange rows() const { return rows_; }

  /// Times of the rows; valid until the next read().
  [[nodiscard]] std::span<const double> times() const { return times_; }

  /// The sample of a signal (by its place in signals()) in row `row` of the table, which must be in rows(). No sample
  /// exists outside the signal's own rows. Valid until the next read().
  [[nodiscard]] SampleView sample(std::size_t signal, std::uint64_t row) const {
    const Column& column = columns_[signal];
    if (row < column.rows.begin || row >= column.rows.end) return {column.type, column.width, nullptr, nullptr};
    if (column.type.id == ElementClass::text) {
      return {column.type, column.width, nullptr, column.texts.data() + (row - column.rows.begin) * column.width};
    }
    return {column.type, column.width, column.bytes + (row - rows_.begin) * column.stride, nullptr};
  }

  /// All samples of a signal that are in rows(); valid until the next read().
  [[nodiscard]] SeriesView series(std::size_t signal) const;

  /// Bytes of memory that one row takes, texts counted as 32 bytes each.
  [[nodiscard]] std::size_t bytesPerRow() const;

 private:
  struct Column {
    ElementType type;
    std::size_t width = 0;
    RowRange rows;  // of the signal, as far as they are in the block
    std::size_t run = 0;
    std::size_t offset = 0;  // bytes from the start of a row of the run
    const std::byte* bytes = nullptr;
    std::size_t stride = 0;
    std::vector<std::string> texts;
  };
  struct Run {
    ElementType type;
    std::size_t first = 0;
    std::size_t width = 0;
    std::vector<std::byte> bytes;
  };

  void findRuns();
  void readRun(Run& run);

  SampleSource& source_;
  std::vector<const SignalInfo*> signals_;
  std::vector<Column> columns_;
  std::vector<Run> runs_;
  RowRange rows_;
  std::vector<double> times_;
};

}  // namespace vtio::results
