/// @file
/// Signals at a fixed step of time.
#pragma once

#include <memory>
#include <vector>

#include "results/rows/row_source.hpp"
#include "results/values/row_range.hpp"

namespace vtio::results {

/// Rows at start + k x step up to the end; each signal held or interpolated as it says. Before a signal's first and
/// after its last sample it has none; of a repeated time the last sample counts. The start is range.from, else the
/// earliest sample of any signal; the end is range.to, else the latest sample.
class VTIO_RESULTS_EXPORT ResampledRows final : public RowSource {
 public:
  /// @param file Must outlive this object.
  /// @param step Seconds.
  /// @throws ResultsError unless step > 0 and finite.
  ResampledRows(const ResultsFile& file, std::vector<const SignalInfo*> signals, TimeRange range, double step);
  ~ResampledRows() override;

  bool next() override;
  [[nodiscard]] double time() const override { return time_; }
  [[nodiscard]] SampleView sample(std::size_t signal) override;
  [[nodiscard]] double done() const override;

 private:
  class Track;
  struct Place {
    std::size_t track = 0;
    std::size_t signal = 0;  // within the track
  };

  std::vector<std::unique_ptr<Track>> tracks_;
  std::vector<Place> places_;
  std::vector<std::vector<double>> between_;  // interpolated values, by signal
  double start_ = 0;
  double end_ = 0;
  double step_ = 0;
  double time_ = 0;
  std::uint64_t row_ = 0;  // of the next row
};

}  // namespace vtio::results
