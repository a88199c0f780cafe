/// @file
/// What the page that shows results asks for: lists of signals, curves, values, statistics.
///
///     Viewer viewer([] { return std::make_unique<ResultsFile>("results.qat"); });
///     std::vector<Point> curve = viewer.trace({TraceFile::first, 3, 0}).reduced({0, 10}, 800);
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "results/export.hpp"
#include "results/file/job.hpp"
#include "results/viewer/trace.hpp"
#include "results/viewer/viewed_file.hpp"

namespace vtio::results {

/// Whose samples a trace shows.
enum class TraceFile : char {
  first = 'a',
  second = 'b',
  difference = 'd'  ///< first - second; the signal's number is that in the first
};

/// One curve: an element of a signal.
struct TraceId {
  TraceFile file = TraceFile::first;
  std::size_t signal = 0;
  std::size_t element = 0;

  friend bool operator<(const TraceId& a, const TraceId& b) {
    return std::tie(a.file, a.signal, a.element) < std::tie(b.file, b.signal, b.element);
  }
};

/// The value of a trace at a time.
struct TraceValue {
  double time = 0;   ///< of the sample that holds, or the time that was asked for where it is interpolated
  double value = 0;  ///< what is drawn
  std::string text;  ///< as people read it: labels, texts, integers with all their digits
};

/// One file or two, and the traces that were asked for in memory, the latest ones. Used by one thread at a time.
class VTIO_RESULTS_EXPORT Viewer final {
 public:
  /// @param first Opens the file.
  /// @param second Opens another one that is compared; may be empty.
  /// @param job Tells whether reading shall stop; nothing else of it is used.
  explicit Viewer(ViewedFile::Open first, const ViewedFile::Open& second = {}, Job job = {});

  [[nodiscard]] const ViewedFile& first() const { return first_; }
  [[nodiscard]] const ViewedFile* second() const { return second_ ? &*second_ : nullptr; }

  /// A trace, read when it is first asked for. Valid until the next call of a function that is not const.
  /// @throws ResultsError for one that does not exist or cannot be drawn; Interrupted.
  const Trace& trace(const TraceId& id);

  /// The value at a time; none outside the span of the samples.
  std::optional<TraceValue> valueAt(const TraceId& id, double time);

  /// The trace `y` over the trace `x` at the times of `y` in a range, points on one pixel once.
  std::vector<Point> overTrace(const TraceId& x, const TraceId& y, TimeRange range, std::size_t pixels);

  /// Takes in what was written since. Of traces in a file that still grows only what is new is read, and once the file
  /// is complete everything again.
  /// @return A number that changes when there is anything new.
  std::uint64_t refresh();

  /// Closes the files that are complete until samples of them are read again, so that other programs may write them.
  void release() const;

 private:
  struct Kept {
    Trace trace;
    std::list<TraceId>::iterator use;
  };
  using TableRows = std::tuple<TraceFile, std::uint32_t, std::uint64_t, std::uint64_t>;

  const ViewedFile& fileOf(TraceFile file) const;
  Trace read(const TraceId& id);
  Trace readDifference(const TraceId& id);
  void forgetOldest();

  Job job_;
  ViewedFile first_;
  std::optional<ViewedFile> second_;
  std::uint64_t version_ = 0;
  std::map<TraceId, Kept> kept_;
  std::map<TraceId, Kept> former_;  // as they were before the last growth
  std::list<TraceId> used_;         // latest first
  std::size_t bytes_ = 0;
  std::map<TableRows, std::weak_ptr<const std::vector<double>>> times_;
};

}  // namespace vtio::results
