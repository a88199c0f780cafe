#include "results/plot/curves.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "results/file/results_error.hpp"
#include "results/values/interpolation.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

constexpr std::uint64_t kBytesAtOnce = std::uint64_t{32} << 20U;

// What is drawn of an element: the number, of a complex one its magnitude.
double drawnValue(const ShownValues& values, const SampleView& sample, std::size_t element) {
  if (!sample.exists()) return std::numeric_limits<double>::quiet_NaN();
  if (!sample.type.isComplex) return values.number(sample, element);
  return std::hypot(values.number(sample, 2 * element), values.number(sample, 2 * element + 1));
}

std::vector<Curve> emptyCurves(const SignalInfo& signal) {
  std::vector<Curve> curves;
  for (const std::string& name : elementNames(signal)) {
    curves.push_back({signal.type.isComplex ? "|" + name + "|" : name, {}, !signal.interpolates(), false});
  }
  return curves;
}

struct Extent {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();

  void add(double value) {
    if (!std::isfinite(value)) return;
    low = std::min(low, value);
    high = std::max(high, value);
  }
  double cell(double value, std::size_t pixels) const {
    return high > low ? std::floor((value - low) / (high - low) * static_cast<double>(pixels)) : 0;
  }
};

// Leaves out a point on the pixel of the one before.
std::vector<Point> withoutRepeats(const std::vector<Point>& points, std::size_t pixels) {
  Extent x;
  Extent y;
  for (const Point& point : points) {
    x.add(point.time);
    y.add(point.value);
  }
  std::vector<Point> kept;
  for (const Point& point : points) {
    const bool isFinite = std::isfinite(point.time) && std::isfinite(point.value);
    if (!kept.empty() && isFinite && x.cell(kept.back().time, pixels) == x.cell(point.time, pixels) &&
        y.cell(kept.back().value, pixels) == y.cell(point.value, pixels)) {
      continue;
    }
    kept.push_back(point);
  }
  return kept;
}

}  // namespace

std::vector<Curve> timeCurves(const ResultsFile& file, const SignalInfo& signal, TimeRange range, std::size_t pixels) {
  std::vector<Curve> curves = emptyCurves(signal);
  std::vector<MinMaxReducer> reducers(curves.size(), MinMaxReducer(range.from, range.to, pixels));
  const ShownValues values(signal);
  const std::uint64_t bytesPerRow = std::max<std::uint64_t>(8, signal.width() * signal.type.bytes());
  const std::uint64_t atOnce = std::max<std::uint64_t>(1, kBytesAtOnce / bytesPerRow);
  const RowRange rows = rowsIn(file.source(), signal.place.table, rowsOf(signal), range);
  for (std::uint64_t row = rows.begin; row < rows.end; row += atOnce) {
    const Series part = readRows(file, signal, {row, std::min(rows.end, row + atOnce)});
    const SeriesView view = part.view();
    for (std::size_t i = 0; i < view.size(); ++i) {
      const SampleView sample = view.sample(i);
      for (std::size_t c = 0; c < curves.size(); ++c) reducers[c].add(view.times[i], drawnValue(values, sample, c));
    }
  }
  for (std::size_t c = 0; c < curves.size(); ++c) curves[c].points = reducers[c].finish();
  return curves;
}

std::vector<Curve> xyCurves(const ResultsFile& file, const SignalInfo& x, const SignalInfo& y, TimeRange range,
                            std::size_t pixels) {
  if (x.width() != 1)
    throw ResultsError(file.path(), "signal '" + x.name + "' is no scalar, as the first of --xy must be");
  const Series seriesX = readSeries(file, x);
  const Series seriesY = readSeries(file, y, range);
  const ShownValues valuesX(x);
  const ShownValues valuesY(y);
  SeriesSampler sampler(seriesX.view(), x.interpolates());
  std::vector<Curve> curves = emptyCurves(y);
  for (std::size_t i = 0; i < seriesY.times.size(); ++i) {
    const double at = drawnValue(valuesX, sampler.at(seriesY.times[i]), 0);
    const SampleView sample = seriesY.view().sample(i);
    for (std::size_t c = 0; c < curves.size(); ++c) curves[c].points.push_back({at, drawnValue(valuesY, sample, c)});
  }
  for (Curve& curve : curves) {
    curve.isStairs = false;
    curve.points = withoutRepeats(curve.points, pixels);
  }
  return curves;
}

}  // namespace vtio::results
