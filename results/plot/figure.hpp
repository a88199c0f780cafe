/// @file
/// What a plot shows, apart from how it is drawn.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "results/export.hpp"
#include "results/file/job.hpp"
#include "results/file/results_file.hpp"
#include "results/values/reduction.hpp"
#include "results/values/time_range.hpp"

namespace vtio::results {

struct Curve {
  std::string name;
  std::vector<Point> points;  ///< in the order in which they are joined; NaN leaves a gap
  bool isStairs = false;      ///< holds each value until the next point
  bool isOther = false;       ///< of the file that is compared
};

/// Curves over one vertical axis.
struct Panel {
  enum class Kind { numbers, labels, tracks };

  Kind kind = Kind::numbers;
  std::string unit;                                   ///< of numbers
  std::vector<std::pair<double, std::string>> ticks;  ///< of labels and tracks
  std::vector<Curve> curves;
};

struct Figure {
  std::string title;
  std::string xTitle = "time [s]";
  std::string xUnit = "s";
  bool isXy = false;
  TimeRange range;  ///< of the horizontal axis; finite unless there is nothing to draw
  std::vector<Panel> panels;
};

struct FigureSettings {
  TimeRange range;
  std::size_t pixels = 1200;  ///< across
  bool isXy = false;          ///< the second signal and all after it over the first
};

/// Reads signals and reduces them to the pixels: one panel per unit, one per enumeration, one for all logicals.
/// @param other Its signals of the same names are drawn, too; may be null.
/// @throws ResultsError for texts, which cannot be drawn, and for an XY plot of fewer than two signals; Interrupted
[[nodiscard]] VTIO_RESULTS_EXPORT Figure makeFigure(const ResultsFile& file,
                                                    const std::vector<const SignalInfo*>& signals,
                                                    const ResultsFile* other, const FigureSettings& settings,
                                                    const Job& job = {});

/// Refuses what makeFigure() refuses, without reading a sample.
/// @throws ResultsError
VTIO_RESULTS_EXPORT void checkFigure(const ResultsFile& file, const std::vector<const SignalInfo*>& signals,
                                     const ResultsFile* other, const FigureSettings& settings);

}  // namespace vtio::results
