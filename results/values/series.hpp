/// @file
/// The samples of one signal in memory.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "results/export.hpp"
#include "results/file/results_file.hpp"
#include "results/values/row_range.hpp"
#include "results/values/sample_view.hpp"
#include "results/values/time_range.hpp"

namespace vtio::results {

/// Samples in memory that it does not own, one after another at a fixed distance. Valid as long as what it points into.
struct SeriesView {
  std::span<const double> times;
  ElementType type;
  std::size_t width = 1;
  const std::byte* bytes = nullptr;    ///< of the first sample; null for texts
  std::size_t stride = 0;              ///< bytes from one sample to the next
  const std::string* texts = nullptr;  ///< times.size() x width texts; else null

  [[nodiscard]] std::size_t size() const { return times.size(); }
  [[nodiscard]] SampleView sample(std::size_t i) const {
    return {type, width, bytes != nullptr ? bytes + i * stride : nullptr,
            texts != nullptr ? texts + i * width : nullptr};
  }
};

/// Samples with storage of their own.
class Series final {
 public:
  std::vector<double> times;
  ElementType type;
  std::size_t width = 1;
  std::vector<std::byte> bytes;    ///< times.size() x width elements; empty for texts
  std::vector<std::string> texts;  ///< the elements of a text signal

  /// Valid until the series changes.
  [[nodiscard]] VTIO_RESULTS_EXPORT SeriesView view() const;
};

/// Reads the samples of a signal in a range of time.
/// @throws what the source throws.
[[nodiscard]] VTIO_RESULTS_EXPORT Series readSeries(const ResultsFile& file, const SignalInfo& signal,
                                                    TimeRange range = {});

/// Reads given rows of a signal; they must be rows of the signal.
[[nodiscard]] VTIO_RESULTS_EXPORT Series readRows(const ResultsFile& file, const SignalInfo& signal, RowRange rows);

}  // namespace vtio::results
