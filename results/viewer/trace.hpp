/// @file
/// The samples of one curve in memory, quick to reduce to any range of time.
///
///     Trace speed = readTrace(file, file.find("wheels.speed"), 0);
///     std::vector<Point> points = speed.reduced({10, 20}, 800);
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "results/export.hpp"
#include "results/file/job.hpp"
#include "results/file/results_file.hpp"
#include "results/values/interpolation.hpp"
#include "results/values/reduction.hpp"
#include "results/values/series.hpp"
#include "results/values/statistics.hpp"
#include "results/values/time_range.hpp"

namespace vtio::results {

/// Samples that one trace holds at most.
inline constexpr std::uint64_t kMostTraceSamples = 100'000'000;

/// One number per sample: that of an element, the magnitude of a complex one, of a text its place in texts().
///
/// Keeps the places of the least and the greatest value of every 64 samples, and their sum, so that a range of a
/// million samples is reduced or summed up in a fraction of a millisecond.
class VTIO_RESULTS_EXPORT Trace final {
 public:
  using Times = std::shared_ptr<const std::vector<double>>;

  /// @param times Must not go back; shared by the traces of a table.
  /// @param values As many.
  Trace(Times times, std::vector<double> values, bool isLinear, std::vector<std::string> texts = {});

  [[nodiscard]] const std::vector<double>& times() const { return *times_; }
  [[nodiscard]] const std::vector<double>& values() const { return values_; }
  [[nodiscard]] const std::vector<std::string>& texts() const { return texts_; }
  [[nodiscard]] bool isLinear() const { return isLinear_; }
  [[nodiscard]] const Times& sharedTimes() const { return times_; }

  /// Valid as long as this object.
  [[nodiscard]] SeriesView view() const;

  /// The samples in a range of time and one more on either side, where there are at most 4 for a pixel; else what
  /// MinMaxReducer keeps of them.
  [[nodiscard]] std::vector<Point> reduced(TimeRange range, std::size_t pixels) const;

  /// Of the numbers in a range of time; without the largest gap.
  [[nodiscard]] Statistics statistics(TimeRange range) const;

  /// Bytes of memory without the times.
  [[nodiscard]] std::size_t bytes() const;

 private:
  struct Block {
    std::uint8_t least = 0;  // places in the block; without meaning where all are NaN
    std::uint8_t greatest = 0;
    bool hasNan = false;
    long double sum = 0;
  };
  class Extremes;

  void indexBlocks();
  void appendPixel(std::vector<Point>& points, std::size_t begin, std::size_t end) const;

  Times times_;
  std::vector<double> values_;
  std::vector<std::string> texts_;
  std::vector<Block> blocks_;
  bool isLinear_;
};

/// Samples that are read again of a trace that has grown: a run that steps back writes its last ones anew.
inline constexpr std::size_t kReadAgain = 4096;

/// Reads one element of a signal, all samples.
/// @param times Those of the signal, if they have been read before.
/// @param known The trace as it was when the file had fewer samples: only the last kReadAgain of them are read again;
///   may be null.
/// @throws ResultsError for more samples than kMostTraceSamples, or if there is no such element; Interrupted.
[[nodiscard]] VTIO_RESULTS_EXPORT Trace readTrace(const ResultsFile& file, const SignalInfo& signal,
                                                  std::size_t element, Trace::Times times = nullptr,
                                                  const Trace* known = nullptr, const Job& job = {});

/// a - b at every time of either within the span that both have; NaN where only one is NaN, 0 where both are.
/// @param isNumeric Otherwise 1 where they differ and 0 where they are the same; texts are compared as texts.
[[nodiscard]] VTIO_RESULTS_EXPORT Trace differenceOf(const Trace& a, const Trace& b, bool isNumeric);

}  // namespace vtio::results
