#include "results/plot/curves.hpp"

#include <algorithm>
#include <cmath>

#include "results/file/results_error.hpp"
#include "results/values/interpolation.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

constexpr std::uint64_t kBytesAtOnce = std::uint64_t{32} << 20U;

std::vector<Curve> emptyCurves(const SignalInfo& signal) {
  std::vector<Curve> curves;
  for (const std::string& name : elementNames(signal)) {
    curves.push_back({signal.type.isComplex ? "|" + name + "|" : name, {}, !signal.interpolates(), false});
  }
  return curves;
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
      for (std::size_t c = 0; c < curves.size(); ++c) reducers[c].add(view.times[i], values.drawn(sample, c));
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
    const double at = valuesX.drawn(sampler.at(seriesY.times[i]), 0);
    const SampleView sample = seriesY.view().sample(i);
    for (std::size_t c = 0; c < curves.size(); ++c) curves[c].points.push_back({at, valuesY.drawn(sample, c)});
  }
  for (Curve& curve : curves) {
    curve.isStairs = false;
    curve.points = withoutRepeats(curve.points, pixels);
  }
  return curves;
}

}  // namespace vtio::results
