/// @file
/// Whole signals one after another, read in batches.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "results/export.hpp"
#include "results/file/results_file.hpp"
#include "results/values/series.hpp"
#include "results/values/table_block.hpp"

namespace vtio::results {

/// Asked for signals in their order, it reads neighbours of one table together, which costs a fraction of reading
/// each alone.
class VTIO_RESULTS_EXPORT SeriesBatches final {
 public:
  /// @param file Must outlive this object.
  /// @param step Resamples to range.from + k x step up to range.to, which must be finite then; absent: samples as
  ///   they are.
  SeriesBatches(const ResultsFile& file, std::vector<const SignalInfo*> signals, TimeRange range,
                std::optional<double> step);

  [[nodiscard]] const std::vector<const SignalInfo*>& signals() const { return signals_; }

  /// Samples of the i-th signal; valid until the next call.
  [[nodiscard]] SeriesView series(std::size_t i);

 private:
  void load(std::size_t i);
  [[nodiscard]] SeriesView resample(const SignalInfo& signal, const SeriesView& series);

  const ResultsFile& file_;
  std::vector<const SignalInfo*> signals_;
  TimeRange range_;
  std::optional<double> step_;
  std::size_t begin_ = 0;  // of the batch
  std::size_t end_ = 0;
  std::optional<TableBlock> block_;
  Series resampled_;
};

/// The grid of a resampling: `range` with its open ends closed by the earliest and the latest sample of the signals.
[[nodiscard]] VTIO_RESULTS_EXPORT TimeRange closedRange(const std::vector<const SignalInfo*>& signals, TimeRange range);

}  // namespace vtio::results
