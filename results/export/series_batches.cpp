#include "results/export/series_batches.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "results/rows/table_cursor.hpp"
#include "results/values/interpolation.hpp"

namespace vtio::results {
namespace {

constexpr std::uint64_t kBatchBytes = std::uint64_t{64} << 20U;

void append(Series& series, double time, const SampleView& sample) {
  series.times.push_back(time);
  if (sample.texts != nullptr) {
    series.texts.insert(series.texts.end(), sample.texts, sample.texts + sample.width);
  } else {
    series.bytes.insert(series.bytes.end(), sample.bytes, sample.bytes + sample.width * sample.type.bytes());
  }
}

}  // namespace

TimeRange closedRange(const std::vector<const SignalInfo*>& signals, TimeRange range) {
  double earliest = std::numeric_limits<double>::infinity();
  double latest = -earliest;
  for (const SignalInfo* signal : signals) {
    if (signal->place.count == 0) continue;
    earliest = std::min(earliest, signal->first);
    latest = std::max(latest, signal->last);
  }
  return {std::isfinite(range.from) ? range.from : earliest, std::isfinite(range.to) ? range.to : latest};
}

SeriesBatches::SeriesBatches(const ResultsFile& file, std::vector<const SignalInfo*> signals, TimeRange range,
                             std::optional<double> step)
    : file_(file), signals_(std::move(signals)), range_(range), step_(step) {}

void SeriesBatches::load(std::size_t i) {
  const std::uint32_t table = signals_[i]->place.table;
  begin_ = end_ = i;
  std::uint64_t bytes = 0;
  std::vector<const SignalInfo*> batch;
  do {
    bytes += signals_[end_]->valueBytes();
    batch.push_back(signals_[end_++]);
  } while (end_ < signals_.size() && signals_[end_]->place.table == table &&
           bytes + signals_[end_]->valueBytes() <= kBatchBytes);
  const RowRange rows = rowsOfAny(file_.source(), batch, step_ ? TimeRange{} : range_);
  block_.emplace(file_.source(), std::move(batch));
  block_->read(rows.begin, rows.count());
}

SeriesView SeriesBatches::series(std::size_t i) {
  if (i < begin_ || i >= end_) load(i);
  const SeriesView series = block_->series(i - begin_);
  return step_ ? resample(*signals_[i], series) : series;
}

SeriesView SeriesBatches::resample(const SignalInfo& signal, const SeriesView& series) {
  resampled_ = Series{};
  resampled_.type = signal.interpolates() ? ElementType{ElementClass::float64, series.type.isComplex} : series.type;
  resampled_.width = series.width;
  if (series.size() == 0) return resampled_.view();
  for (std::size_t i = 1; i < series.size(); ++i) {
    if (series.times[i] < series.times[i - 1]) {
      throwTimeGoesBack(file_, signal, signal.place.begin + i, series.times[i - 1], series.times[i]);
    }
  }
  SeriesSampler sampler(series, signal.interpolates());
  std::vector<double> exact;
  for (std::uint64_t k = 0;; ++k) {
    const double time = range_.from + static_cast<double>(k) * *step_;
    if (!(time <= std::min(range_.to, series.times.back()))) break;
    SampleView sample = sampler.at(time);
    if (!sample.exists()) continue;
    // An exact sample of an interpolated signal becomes doubles like its neighbours.
    if (sample.type != resampled_.type) sample = between(sample, 0, sample, 1, 0, exact);
    append(resampled_, time, sample);
  }
  return resampled_.view();
}

}  // namespace vtio::results
