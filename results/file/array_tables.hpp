/// @file
/// Samples that are arrays of their own in the file, not columns of a sample table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/qalc.hpp"
#include "results/signals/signal_info.hpp"
#include "results/values/element_type.hpp"

namespace vtio::results {

/// Holds such arrays in memory, those of equal times as one table. Its tables are numbered from `firstTable` on.
class ArrayTables final {
 public:
  explicit ArrayTables(std::uint32_t firstTable) : firstTable_(firstTable) {}

  /// Copies an array of samples and sets type, dimensions, place, first and last of `signal`.
  /// @param times N real doubles in seconds.
  /// @param data N samples: numeric, logical, or a cell array of texts; its first dimension is N, the others are those
  ///   of one sample.
  /// @throws std::invalid_argument saying what does not fit.
  void add(SignalInfo& signal, const qxArray* times, const qxArray* data);

  /// Whether a table is one of these.
  [[nodiscard]] bool has(std::uint32_t table) const { return table >= firstTable_; }

  /// The functions of SampleSource, for its own tables.
  void readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) const;
  void readBlock(std::uint32_t table, std::size_t firstColumn, std::uint64_t firstRow, std::uint64_t count,
                 std::byte* out) const;
  [[nodiscard]] std::vector<std::string> readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                                   std::uint64_t count) const;

  /// Bytes of the texts of a column, in UTF-8.
  [[nodiscard]] std::uint64_t textBytes(std::uint32_t table, std::uint32_t column) const;

 private:
  struct Column {
    std::size_t first = 0;  // no two columns are adjacent, so a block of columns is always one of them
    std::size_t rowBytes = 0;
    std::vector<std::byte> bytes;    // row by row, last index fastest
    std::vector<std::string> texts;  // likewise
    std::size_t width = 1;
  };

  struct Table {
    std::vector<double> times;
    std::vector<Column> columns;
  };

  std::uint32_t tableOf(const double* times, std::size_t count);
  [[nodiscard]] const Table& at(std::uint32_t table) const { return tables_.at(table - firstTable_); }

  std::uint32_t firstTable_;
  std::vector<Table> tables_;
};

}  // namespace vtio::results
