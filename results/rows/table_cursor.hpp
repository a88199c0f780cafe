/// @file
/// Goes through the rows of a sample table, all rows of one time at once.
#pragma once

#include <cstdint>
#include <string>

#include "results/export.hpp"
#include "results/rows/row_source.hpp"
#include "results/values/row_range.hpp"
#include "results/values/table_block.hpp"

namespace vtio::results {

/// Holds a window of rows in memory; the window moves with the cursor.
class VTIO_RESULTS_EXPORT TableCursor final {
 public:
  /// @param file Must outlive this object.
  /// @param range Rows outside it are left out.
  TableCursor(const ResultsFile& file, const TableGroup& group, TimeRange range);

  [[nodiscard]] bool atEnd() const { return instant_.begin >= rows_.end; }

  /// Time of the rows at the cursor, which must not be at the end.
  [[nodiscard]] double time() const { return block_.times()[instant_.begin - block_.rows().begin]; }

  /// How many samples a signal has at most at this time.
  [[nodiscard]] std::uint64_t depth() const;

  /// The k-th sample of a signal at this time.
  [[nodiscard]] SampleView sample(std::size_t signal, std::uint64_t k) const;

  /// Moves to the next time.
  /// @throws ResultsError if time goes back.
  void advance();

  /// Rows of the table that the cursor goes through, and those it has passed.
  [[nodiscard]] RowRange rows() const { return rows_; }
  [[nodiscard]] std::uint64_t passed() const { return instant_.begin - rows_.begin; }

 private:
  void load(std::uint64_t first, std::uint64_t least);
  void findInstant(std::uint64_t begin);

  const ResultsFile& file_;
  TableBlock block_;
  std::uint64_t window_;  // rows
  RowRange rows_;
  RowRange instant_;     // the rows of one time
  bool isWhole_ = true;  // every signal has all of rows_
};

/// Rows of a table that are read at once when one takes so many bytes.
[[nodiscard]] VTIO_RESULTS_EXPORT std::uint64_t rowsAtOnce(std::size_t bytesPerRow);

/// All rows of some signals of one table in a range of time: from the first row of any to the last of any.
[[nodiscard]] VTIO_RESULTS_EXPORT RowRange rowsOfAny(SampleSource& source,
                                                     const std::vector<const SignalInfo*>& signals, TimeRange range);

/// @throws ResultsError: the times of a table go back at a row.
[[noreturn]] VTIO_RESULTS_EXPORT void throwTimeGoesBack(const ResultsFile& file, const SignalInfo& signal,
                                                        std::uint64_t row, double before, double after);

}  // namespace vtio::results
