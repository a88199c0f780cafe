/// @file
/// Comparing the samples of two signals.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "results/compare/tolerances.hpp"
#include "results/export.hpp"
#include "results/signals/signal_info.hpp"
#include "results/values/series.hpp"

namespace vtio::results {

/// Two values that are further apart than they may be.
struct Deviation {
  double time = 0;
  std::size_t cell = 0;  ///< number of the value in the sample, as in cellNames()
  std::string a;         ///< as text
  std::string b;
  double size = 0;  ///< |a - b|; infinite where that is no number, as for texts
};

struct SeriesComparison {
  std::uint64_t compared = 0;   ///< values
  std::uint64_t deviating = 0;  ///< values
  Deviation first;              ///< if any deviates
  Deviation largest;            ///< if any deviates
};

/// One of the two signals.
struct ComparedSeries {
  const SignalInfo& signal;
  SeriesView series;
};

/// Compares two series step by step. What they point into must outlive this object.
///
/// Compares at every time of either series within the span that both have. Both hold or interpolate as their signals
/// say; at a repeated time the k-th samples are compared, the rest with the last one. Labels, texts and logicals must
/// be equal, NaN equals NaN.
/// Times must not go back; both series must have samples of the same width and number of parts.
class VTIO_RESULTS_EXPORT SeriesComparer final {
 public:
  /// @param timeTolerance Seconds: the nearest of the other's values within that time counts.
  SeriesComparer(const ComparedSeries& a, const ComparedSeries& b, Tolerance tolerance, double timeTolerance);
  SeriesComparer(SeriesComparer&&) noexcept;
  ~SeriesComparer();

  /// Whether both have the same times, so that compareSamples() may take the place of compareAll().
  [[nodiscard]] bool haveSameTimes() const;

  /// Compares the samples [begin, end) of both, as many as there are.
  void compareSamples(std::size_t begin, std::size_t end);

  /// Goes on with further samples of both signals, at the same times; compareSamples() then refers to these.
  void continueWith(const SeriesView& a, const SeriesView& b);

  /// Compares everything.
  void compareAll();

  /// What was found so far.
  [[nodiscard]] const SeriesComparison& result() const;

 private:
  class Inside;

  std::unique_ptr<Inside> inside_;
};

}  // namespace vtio::results
