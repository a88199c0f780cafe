/// @file
/// The samples of signals of any tables, joined by time.
#pragma once

#include <memory>
#include <vector>

#include "results/rows/row_source.hpp"
#include "results/rows/table_cursor.hpp"

namespace vtio::results {

/// One row per time of any signal, in rising order; where a time occurs more than once in a signal, its k-th sample
/// is in the k-th row of that time.
class VTIO_RESULTS_EXPORT JoinedRows final : public RowSource {
 public:
  /// @param file Must outlive this object.
  JoinedRows(const ResultsFile& file, std::vector<const SignalInfo*> signals, TimeRange range);
  ~JoinedRows() override;

  bool next() override;
  [[nodiscard]] double time() const override { return time_; }
  [[nodiscard]] SampleView sample(std::size_t signal) override;
  [[nodiscard]] double done() const override;

 private:
  struct Place {
    std::size_t cursor = 0;
    std::size_t signal = 0;  // within the cursor
  };

  bool findTime();

  std::vector<std::unique_ptr<TableCursor>> cursors_;
  std::vector<Place> places_;
  std::vector<char> takesPart_;  // cursors that are at time_
  double time_ = 0;
  std::uint64_t row_ = 0;    // among those of this time
  std::uint64_t depth_ = 0;  // rows of this time
};

}  // namespace vtio::results
