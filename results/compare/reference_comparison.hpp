/// @file
/// Comparing results with a reference at the times of the reference.
///
///     ReferenceComparer comparer(file, file.find("h"), {1e-6, 1e-9});
///     comparer.compare(0.5, 0, "0.8");
///     comparer.finish(result);
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "results/compare/file_comparison.hpp"
#include "results/export.hpp"
#include "results/file/results_file.hpp"
#include "results/values/interpolation.hpp"
#include "results/values/series.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {

/// Compares one signal with expected values, given as texts in the order of time. At a time that the signal has more
/// than once its last sample counts.
class VTIO_RESULTS_EXPORT ReferenceComparer final {
 public:
  /// Reads the signal. @param file Must outlive this object, and so must the signal.
  /// @param timeTolerance Seconds: of the values at a time, at both ends of its tolerance and of all samples in between
  ///   the nearest counts.
  ReferenceComparer(const ResultsFile& file, const SignalInfo& signal, Tolerance tolerance, double timeTolerance = 0);
  ReferenceComparer(const ReferenceComparer&) = delete;  // its sampler refers to its series
  ReferenceComparer& operator=(const ReferenceComparer&) = delete;
  ~ReferenceComparer() = default;

  /// Compares one number of the sample at a time, which must not go back by much. Numbers may differ by the tolerance;
  /// a text, a label or a logical must be the same. An enumeration may be expected by label or by number, a logical as
  /// true, false, 1 or 0.
  /// @param cell As in cellNames().
  void compare(double time, std::size_t cell, std::string_view expected);

  /// What was found: `a` is the signal, `b` the reference. A time outside the signal's span is a change of "span".
  [[nodiscard]] ComparedSignal result() const;

 private:
  /// How near a value is to what is expected.
  struct Distance {
    bool isEqual = false;
    double size = 0;
    std::string text;  // of the value, where they are not equal

    [[nodiscard]] bool isNearerThan(const Distance& other) const {
      return isEqual != other.isEqual ? isEqual : size < other.size;
    }
  };

  [[nodiscard]] double distance(const SampleView& sample, std::size_t cell, std::string_view expected,
                                bool& isEqual) const;
  std::optional<Distance> nearest(double time, std::size_t cell, std::string_view expected);

  const SignalInfo& signal_;
  Tolerance tolerance_;
  double timeTolerance_;
  Series series_;
  ShownValues values_;
  ShownValues raw_;
  SeriesSampler sampler_;
  ComparedSignal result_;
  double outside_;  // first time outside the span; NaN if there is none
};

/// Compares each signal of a reference that the file has, too.
/// @param patterns Of signals of the reference; none: all.
/// @return Signals that only the reference has are in onlyB.
/// @throws ResultsError for a pattern that matches nothing in the reference; Interrupted
[[nodiscard]] VTIO_RESULTS_EXPORT FileComparison compareWithReference(const ResultsFile& file,
                                                                      const ResultsFile& reference,
                                                                      std::span<const std::string> patterns,
                                                                      const Tolerances& tolerances,
                                                                      double timeTolerance = 0, const Job& job = {});

}  // namespace vtio::results
