/// @file
/// Comparing two results files, signal by signal.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "results/compare/series_comparison.hpp"
#include "results/compare/tolerances.hpp"
#include "results/export.hpp"
#include "results/file/job.hpp"
#include "results/file/results_file.hpp"

namespace vtio::results {

/// A property of a signal that is another in the other file.
struct PropertyChange {
  std::string what;  ///< type, unit, dimensions, labels, interpolation, span
  std::string a;
  std::string b;
};

/// A signal that both files have.
struct ComparedSignal {
  std::string name;
  std::vector<PropertyChange> changes;
  std::optional<SeriesComparison> samples;  ///< absent where types or dimensions leave nothing to compare
  std::vector<std::string> cells;           ///< what Deviation::cell counts

  [[nodiscard]] bool isEqual() const { return changes.empty() && samples && samples->deviating == 0; }
};

struct FileComparison {
  std::vector<std::string> onlyA;  ///< names
  std::vector<std::string> onlyB;
  std::vector<ComparedSignal> signals;  ///< in the order of A

  [[nodiscard]] VTIO_RESULTS_EXPORT bool isEqual() const;
};

struct ComparisonSettings {
  Tolerances tolerances;
  double timeTolerance = 0;  ///< seconds
};

/// Compares the signals that match a pattern (all without one).
/// @throws ResultsError for a pattern that matches nothing in either file; Interrupted.
[[nodiscard]] VTIO_RESULTS_EXPORT FileComparison compareFiles(const ResultsFile& a, const ResultsFile& b,
                                                              std::span<const std::string> patterns,
                                                              const ComparisonSettings& settings, const Job& job = {});

}  // namespace vtio::results
