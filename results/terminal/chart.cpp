#include "results/terminal/chart.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace vtio::results {
namespace {

constexpr std::size_t kDotsAcross = 2;
constexpr std::size_t kDotsDown = 4;

std::string braille(std::uint8_t dots) {
  const unsigned code = 0x2800U + dots;
  return {static_cast<char>(0xE0U | (code >> 12U)), static_cast<char>(0x80U | ((code >> 6U) & 0x3FU)),
          static_cast<char>(0x80U | (code & 0x3FU))};
}

std::string axisNumber(double value) {
  char text[32];
  const int length = std::snprintf(text, sizeof text, "%.6g", value);
  if (length > static_cast<int>(kLabelColumns)) std::snprintf(text, sizeof text, "%.5g", value);
  return text;
}

/// Dots on a grid of characters, each with the curve that drew it last.
class Canvas {
 public:
  Canvas(std::size_t columns, std::size_t rows)
      : columns_(columns), rows_(rows), dots_(columns * rows, 0), owner_(columns * rows, 0) {}

  void set(std::ptrdiff_t x, std::ptrdiff_t y, std::size_t curve) {
    if (x < 0 || y < 0) return;
    const auto column = static_cast<std::size_t>(x) / kDotsAcross;
    const auto row = static_cast<std::size_t>(y) / kDotsDown;
    if (column >= columns_ || row >= rows_) return;
    constexpr std::uint8_t kBits[kDotsDown][kDotsAcross] = {{0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}};
    dots_[row * columns_ + column] |=
        kBits[static_cast<std::size_t>(y) % kDotsDown][static_cast<std::size_t>(x) % kDotsAcross];
    owner_[row * columns_ + column] = curve;
  }

  void line(std::ptrdiff_t x0, std::ptrdiff_t y0, std::ptrdiff_t x1, std::ptrdiff_t y1, std::size_t curve) {
    const std::ptrdiff_t steps = std::max<std::ptrdiff_t>({std::abs(x1 - x0), std::abs(y1 - y0), 1});
    for (std::ptrdiff_t i = 0; i <= steps; ++i) {
      const double part = static_cast<double>(i) / static_cast<double>(steps);
      set(x0 + std::lround(part * static_cast<double>(x1 - x0)), y0 + std::lround(part * static_cast<double>(y1 - y0)),
          curve);
    }
  }

  [[nodiscard]] std::string row(std::size_t row, const Style& style) const {
    std::string text;
    for (std::size_t i = row * columns_; i < (row + 1) * columns_; ++i) {
      text += dots_[i] == 0 ? " " : style.series(owner_[i], braille(dots_[i]));
    }
    return text;
  }

 private:
  std::size_t columns_;
  std::size_t rows_;
  std::vector<std::uint8_t> dots_;
  std::vector<std::size_t> owner_;
};

struct Limits {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
};

Limits limitsOf(const std::vector<ChartCurve>& curves) {
  Limits limits;
  for (const ChartCurve& curve : curves) {
    for (const Point& point : curve.points) {
      if (!std::isfinite(point.value)) continue;
      limits.low = std::min(limits.low, point.value);
      limits.high = std::max(limits.high, point.value);
    }
  }
  if (!(limits.low <= limits.high)) return {0, 1};
  if (limits.low == limits.high) {
    const double margin = limits.low == 0 ? 1 : std::fabs(limits.low) * 0.1;
    return {limits.low - margin, limits.high + margin};
  }
  return limits;
}

// The text at the left of each row.
template <class RowOf>
std::vector<std::string> rowLabels(const std::vector<std::pair<double, std::string>>& ticks, const Limits& limits,
                                   std::size_t rows, RowOf rowOf) {
  std::vector<std::string> labels(rows);
  if (ticks.empty()) {
    labels.back() = axisNumber(limits.low);
    labels.front() = axisNumber(limits.high);
    return labels;
  }
  for (const auto& [value, text] : ticks) {
    if (value < limits.low || value > limits.high) continue;
    std::string& label = labels[std::min(rowOf(value), rows - 1)];
    if (label.empty()) label = shortened(printable(text), kLabelColumns);
  }
  return labels;
}

}  // namespace

std::string sparkline(std::span<const double> values, std::size_t width) {
  constexpr std::array<const char*, 8> kBars = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  if (values.empty() || width == 0) return "";
  const std::size_t bars = std::min(width, values.size());
  std::vector<double> means;
  Limits limits;
  for (std::size_t bar = 0; bar < bars; ++bar) {
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = bar * values.size() / bars; i < (bar + 1) * values.size() / bars; ++i) {
      if (!std::isfinite(values[i])) continue;
      sum += values[i];
      ++count;
    }
    means.push_back(count == 0 ? std::numeric_limits<double>::quiet_NaN() : sum / static_cast<double>(count));
    if (count == 0) continue;
    limits.low = std::min(limits.low, means.back());
    limits.high = std::max(limits.high, means.back());
  }
  std::string line;
  for (const double mean : means) {
    const double height = limits.high > limits.low ? (mean - limits.low) / (limits.high - limits.low) : 0.5;
    line += std::isnan(mean) ? " " : kBars[static_cast<std::size_t>(std::clamp(height * 8, 0.0, 7.0))];
  }
  return line;
}

std::string Chart::draw(const Style& style) const {
  const Limits limits = limitsOf(curves);
  Canvas canvas(columns, rows);
  const auto x = [&](double time) {
    const double part = to > from ? (time - from) / (to - from) : 0.5;
    return std::lround(std::clamp(part, -1.0, 2.0) * static_cast<double>(columns * kDotsAcross - 1));
  };
  const auto y = [&](double value) {
    const double part = (limits.high - value) / (limits.high - limits.low);
    return std::lround(std::clamp(part, -1.0, 2.0) * static_cast<double>(rows * kDotsDown - 1));
  };
  for (std::size_t c = 0; c < curves.size(); ++c) {
    const std::vector<Point>& points = curves[c].points;
    for (std::size_t i = 0; i < points.size(); ++i) {
      if (!std::isfinite(points[i].value)) continue;
      canvas.set(x(points[i].time), y(points[i].value), c);
      if (i == 0 || !std::isfinite(points[i - 1].value)) continue;
      const double before = points[i - 1].value;
      const double reached = curves[c].isStairs ? before : points[i].value;
      canvas.line(x(points[i - 1].time), y(before), x(points[i].time), y(reached), c);
      if (curves[c].isStairs) canvas.line(x(points[i].time), y(before), x(points[i].time), y(points[i].value), c);
    }
  }
  const auto rowOf = [&](double value) { return static_cast<std::size_t>(y(value)) / kDotsDown; };
  const std::vector<std::string> labels = rowLabels(ticks, limits, rows, rowOf);

  std::string text;
  for (std::size_t c = 0; c < curves.size(); ++c) {
    text += std::string(c == 0 ? kLabelColumns + 1 : 2, ' ') + style.series(c, "━ " + printable(curves[c].name));
  }
  text += unit.empty() ? "\n" : "  " + style.dim("[" + printable(unit) + "]") + "\n";
  for (std::size_t row = 0; row < rows; ++row) {
    const std::string& label = labels[row];
    text += std::string(kLabelColumns - displayWidth(label), ' ') + label + (label.empty() ? "│" : "┤") +
            canvas.row(row, style) + "\n";
  }
  const std::string left = axisNumber(from);
  const std::string right = axisNumber(to) + (axisUnit.empty() ? "" : " " + axisUnit);
  text += std::string(kLabelColumns, ' ') + "└";
  for (std::size_t i = 0; i < columns; ++i) text += "─";
  const std::size_t between = columns > left.size() + right.size() ? columns - left.size() - right.size() : 1;
  return text + "\n" + std::string(kLabelColumns + 1, ' ') + left + std::string(between, ' ') + right + "\n";
}

}  // namespace vtio::results
