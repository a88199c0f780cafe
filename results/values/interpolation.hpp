/// @file
/// Values between samples, and two signals on one time axis.
#pragma once

#include <cstddef>
#include <vector>

#include "results/export.hpp"
#include "results/values/series.hpp"

namespace vtio::results {

/// The value on the straight line from sample a at time ta to sample b at tb, as doubles; ta < tb.
/// @param storage Receives the values; the view is valid until it changes.
[[nodiscard]] VTIO_RESULTS_EXPORT SampleView between(const SampleView& a, double ta, const SampleView& b, double tb,
                                                     double time, std::vector<double>& storage);

/// Gives a series a value at any time within its span: held ("zoh") or interpolated ("linear").
///
/// Of samples at the same time the last counts; a line towards a repeated time ends at its first sample. Times that are
/// asked for in rising order cost a step each, others a search.
class VTIO_RESULTS_EXPORT SeriesSampler final {
 public:
  /// @param series Its times must not go back; what it points into must outlive this object.
  SeriesSampler(const SeriesView& series, bool isLinear) : series_(series), isLinear_(isLinear) {}

  /// @return A sample that does not exist before the first and after the last one. Valid until the next call.
  [[nodiscard]] SampleView at(double time);

  /// The last sample at or before `time`; size() if there is none.
  [[nodiscard]] std::size_t lastUpTo(double time);

 private:
  SeriesView series_;
  bool isLinear_;
  std::size_t position_ = 0;  // a sample near the last one that was asked for
  std::vector<double> between_;
};

}  // namespace vtio::results
