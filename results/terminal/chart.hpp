/// @file
/// Curves drawn with characters.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "results/export.hpp"
#include "results/terminal/style.hpp"
#include "results/values/reduction.hpp"

namespace vtio::results {

/// A line of `width` characters ▁▂▃▄▅▆▇█, each the mean of its share of the values; a blank where all are NaN.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string sparkline(std::span<const double> values, std::size_t width);

/// A curve of a chart.
struct ChartCurve {
  std::string name;
  std::vector<Point> points;  ///< in the order in which they are joined; NaN leaves a gap
  bool isStairs = false;      ///< holds each value until the next point
};

/// Characters at the left of every chart.
constexpr std::size_t kLabelColumns = 12;

/// A frame with values at its left and times below, drawn with braille dots (two by four a character).
struct Chart {
  std::string unit;
  std::vector<ChartCurve> curves;
  std::size_t columns = 72;  ///< of the plot inside the frame
  std::size_t rows = 12;
  std::vector<std::pair<double, std::string>> ticks;  ///< texts at the left; none: the lowest and the highest value
  double from = 0;                                    ///< of the axis below
  double to = 1;
  std::string axisUnit = "s";

  [[nodiscard]] VTIO_RESULTS_EXPORT std::string draw(const Style& style) const;
};

}  // namespace vtio::results
