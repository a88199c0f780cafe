#include "results/viewer/trace.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace vtio::results {
namespace {

constexpr std::size_t kBlock = 64;

std::size_t firstAtOrAfter(const std::vector<double>& times, double time) {
  return static_cast<std::size_t>(std::lower_bound(times.begin(), times.end(), time) - times.begin());
}

std::size_t firstAfter(const std::vector<double>& times, double time) {
  return static_cast<std::size_t>(std::upper_bound(times.begin(), times.end(), time) - times.begin());
}

// The same, not before `begin`, for a place that is probably near it: doubles its steps until it is beyond.
std::size_t firstAtOrAfter(const std::vector<double>& times, double time, std::size_t begin) {
  std::size_t before = begin;  // all times before it are less
  std::size_t step = 1;
  while (before + step < times.size() && times[before + step] < time) {
    before += step;
    step *= 2;
  }
  const auto end = std::min(times.size(), before + step);
  const auto from = times.begin() + static_cast<std::ptrdiff_t>(before);
  return static_cast<std::size_t>(std::lower_bound(from, times.begin() + static_cast<std::ptrdiff_t>(end), time) -
                                  times.begin());
}

}  // namespace

/// The places of the least and the greatest of values that are seen in order.
class Trace::Extremes {
 public:
  explicit Extremes(const std::vector<double>& values) : values_(values) {}

  void add(std::size_t i) {
    const double value = values_[i];
    if (std::isnan(value)) {
      hasNan = true;
    } else if (!any_) {
      any_ = true;
      least = greatest = i;
    } else {
      if (value < values_[least]) least = i;
      if (value > values_[greatest]) greatest = i;
    }
  }

  std::size_t least = 0;
  std::size_t greatest = 0;
  bool hasNan = false;

 private:
  const std::vector<double>& values_;
  bool any_ = false;
};

Trace::Trace(Times times, std::vector<double> values, bool isLinear, std::vector<std::string> texts)
    : times_(std::move(times)), values_(std::move(values)), texts_(std::move(texts)), isLinear_(isLinear) {
  indexBlocks();
}

void Trace::indexBlocks() {
  blocks_.resize(values_.size() / kBlock);
  for (std::size_t block = 0; block < blocks_.size(); ++block) {
    const std::size_t begin = block * kBlock;
    Extremes extremes(values_);
    for (std::size_t i = begin; i < begin + kBlock; ++i) extremes.add(i);
    if (extremes.hasNan) {
      blocks_[block].hasNan = true;
    } else {
      blocks_[block] = {static_cast<std::uint8_t>(extremes.least - begin),
                        static_cast<std::uint8_t>(extremes.greatest - begin), false,
                        std::accumulate(values_.begin() + static_cast<std::ptrdiff_t>(begin),
                                        values_.begin() + static_cast<std::ptrdiff_t>(begin + kBlock), 0.0L)};
    }
  }
}

SeriesView Trace::view() const {
  const auto* bytes = reinterpret_cast<const std::byte*>(values_.data());
  static constexpr std::byte kNone{};
  return {*times_, {}, 1, values_.empty() ? &kNone : bytes, sizeof(double), nullptr};
}

void Trace::appendPixel(std::vector<Point>& points, std::size_t begin, std::size_t end) const {
  Extremes extremes(values_);
  for (std::size_t i = begin; i < end && !extremes.hasNan;) {
    const bool isWhole = i % kBlock == 0 && i + kBlock <= end && !blocks_[i / kBlock].hasNan;
    if (!isWhole) {
      extremes.add(i++);
      continue;
    }
    const Block& block = blocks_[i / kBlock];
    extremes.add(i + block.least);
    extremes.add(i + block.greatest);
    i += kBlock;
  }
  if (extremes.hasNan) {
    MinMaxReducer reducer(times()[begin], times()[begin], 1);
    for (std::size_t i = begin; i < end; ++i) reducer.add(times()[i], values_[i]);
    const std::vector<Point> kept = reducer.finish();
    points.insert(points.end(), kept.begin(), kept.end());
    return;
  }
  std::array<std::size_t, 4> places = {begin, extremes.least, extremes.greatest, end - 1};
  std::sort(places.begin(), places.end());
  const auto last = std::unique(places.begin(), places.end());
  for (auto place = places.begin(); place != last; ++place) points.push_back({times()[*place], values_[*place]});
}

std::vector<Point> Trace::reduced(TimeRange range, std::size_t pixels) const {
  pixels = std::max<std::size_t>(1, pixels);
  const std::size_t first = firstAtOrAfter(times(), range.from);
  const std::size_t last = std::max(first, firstAfter(times(), range.to));
  const std::size_t begin = first == 0 ? 0 : first - 1;
  const std::size_t end = std::min(values_.size(), last + 1);
  std::vector<Point> points;
  if (end - begin <= 4 * pixels) {
    for (std::size_t i = begin; i < end; ++i) points.push_back({times()[i], values_[i]});
    return points;
  }
  const double from = std::max(range.from, times().front());
  const double to = std::min(range.to, times().back());
  if (begin < first) points.push_back({times()[begin], values_[begin]});
  std::size_t row = first;
  for (std::size_t pixel = 0; pixel < pixels && row < last; ++pixel) {
    const double right = from + (to - from) * static_cast<double>(pixel + 1) / static_cast<double>(pixels);
    const std::size_t next = pixel + 1 == pixels ? last : std::min(last, firstAtOrAfter(times(), right, row));
    if (next > row) appendPixel(points, row, next);
    row = std::max(row, next);
  }
  if (last < end) points.push_back({times()[last], values_[last]});
  return points;
}

Statistics Trace::statistics(TimeRange range) const {
  const std::size_t begin = firstAtOrAfter(times(), range.from);
  const std::size_t end = std::max(begin, firstAfter(times(), range.to));
  Extremes extremes(values_);
  long double sum = 0;
  Statistics statistics;
  statistics.samples = end - begin;
  for (std::size_t i = begin; i < end;) {
    const bool isWhole = i % kBlock == 0 && i + kBlock <= end && !blocks_[i / kBlock].hasNan;
    if (isWhole) {
      const Block& block = blocks_[i / kBlock];
      extremes.add(i + block.least);
      extremes.add(i + block.greatest);
      sum += block.sum;
      i += kBlock;
    } else {
      extremes.add(i);
      statistics.nans += std::isnan(values_[i]) ? 1 : 0;
      sum += std::isnan(values_[i]) ? 0 : values_[i];
      ++i;
    }
  }
  statistics.numbers = statistics.samples - statistics.nans;
  if (statistics.numbers == 0) return statistics;
  statistics.min = values_[extremes.least];
  statistics.max = values_[extremes.greatest];
  statistics.mean = static_cast<double>(sum / static_cast<long double>(statistics.numbers));
  return statistics;
}

std::size_t Trace::bytes() const {
  std::size_t bytes = values_.size() * sizeof(double) + blocks_.size() * sizeof(Block);
  for (const std::string& text : texts_) bytes += text.size() + sizeof(std::string);
  return bytes;
}

}  // namespace vtio::results
