/// @file
/// One number of a signal that grows, in bounded memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "results/export.hpp"
#include "results/file/job.hpp"
#include "results/file/results_file.hpp"
#include "results/values/reduction.hpp"

namespace vtio::results {

/// Keeps first, least, greatest and last value of spans of rows. When there are too many spans, neighbours become one.
/// Each row is read once; after a step back only the spans that lost rows are read again.
class VTIO_RESULTS_EXPORT GrowingCurve final {
 public:
  /// @param cell Which number of a sample: element times parts, plus the part.
  /// @param mostSpans Spans that are kept, at least 2.
  explicit GrowingCurve(std::size_t cell, std::size_t mostSpans = 1024) : cell_(cell), mostSpans_(mostSpans) {}

  /// Reads what came since the last call. The signal must have the cell and be no text.
  /// @return The number of rows that were read.
  /// @throws ResultsError, Interrupted: the next call goes on.
  std::uint64_t update(const ResultsFile& file, const SignalInfo& signal, const Job& job = {});

  /// What was kept, in the order of time.
  [[nodiscard]] std::vector<Point> points() const;

 private:
  struct Span {
    std::uint64_t begin = 0;  // samples of the signal, counted from 0
    std::uint64_t end = 0;
    std::vector<Point> points;
  };

  void forgetFrom(std::uint64_t sample);
  void add(const Point& point);
  void halve();

  std::size_t cell_;
  std::size_t mostSpans_;
  std::uint64_t perSpan_ = 1;
  std::uint64_t known_ = 0;  // samples that were read
  double lastTime_ = 0;      // of the last of them
  double lastValue_ = 0;
  std::vector<Span> spans_;
};

}  // namespace vtio::results
