#include "results/watch/growing_curve.hpp"

#include <algorithm>
#include <bit>
#include <cmath>

#include "results/values/series.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

constexpr std::uint64_t kBytesAtOnce = std::uint64_t{4} << 20U;

bool isLess(const Point& a, const Point& b) {  // NaN is neither least nor greatest unless there is nothing else
  if (std::isnan(a.value)) return false;
  return std::isnan(b.value) || a.value < b.value;
}

bool isGreater(const Point& a, const Point& b) {
  if (std::isnan(a.value)) return false;
  return std::isnan(b.value) || a.value > b.value;
}

// First, least, greatest, last, and the first NaN, in their order.
std::vector<Point> extremesOf(const std::vector<Point>& points) {
  if (points.size() < 3) return points;
  std::size_t least = 0;
  std::size_t greatest = 0;
  std::size_t gap = points.size();
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (isLess(points[i], points[least])) least = i;
    if (isGreater(points[i], points[greatest])) greatest = i;
    if (std::isnan(points[i].value)) gap = std::min(gap, i);
  }
  std::vector<std::size_t> chosen = {0, least, greatest, points.size() - 1};
  if (gap < points.size()) chosen.push_back(gap);
  std::sort(chosen.begin(), chosen.end());
  chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
  std::vector<Point> kept;
  kept.reserve(chosen.size());
  for (const std::size_t i : chosen) kept.push_back(points[i]);
  return kept;
}

bool isSame(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

}  // namespace

std::uint64_t GrowingCurve::update(const ResultsFile& file, const SignalInfo& signal, const Job& job) {
  const SignalPlace& place = signal.place;
  const ShownValues values(signal);
  const std::uint64_t rowBytes = std::max<std::uint64_t>(1, signal.width() * signal.type.bytes()) + sizeof(double);
  const std::uint64_t atOnce = std::max<std::uint64_t>(1, kBytesAtOnce / rowBytes);
  std::uint64_t read = 0;
  if (place.count < known_) forgetFrom(place.count);
  while (known_ < place.count) {
    job.step(static_cast<double>(known_) / static_cast<double>(place.count));
    // The last known row is read again: another one in its place tells a step back that went unseen.
    const std::uint64_t first = known_ == 0 || std::isnan(lastTime_) ? known_ : known_ - 1;
    const std::uint64_t count = std::min(atOnce, place.count - first);
    const Series series = readRows(file, signal, {place.begin + first, place.begin + first + count});
    read += count;
    const SeriesView view = series.view();
    std::size_t i = 0;
    if (first < known_) {
      if (!isSame(view.times[0], lastTime_) || !isSame(values.number(view.sample(0), cell_), lastValue_)) {
        forgetFrom(0);
        continue;
      }
      i = 1;
    }
    for (; i < view.size(); ++i) add({view.times[i], values.number(view.sample(i), cell_)});
  }
  return read;
}

void GrowingCurve::forgetFrom(std::uint64_t sample) {
  while (!spans_.empty() && spans_.back().end > sample) spans_.pop_back();
  known_ = spans_.empty() ? 0 : spans_.back().end;
  if (spans_.empty()) {
    perSpan_ = 1;
    return;
  }
  lastTime_ = spans_.back().points.back().time;
  lastValue_ = spans_.back().points.back().value;
}

void GrowingCurve::add(const Point& point) {
  if (spans_.empty() || spans_.back().end - spans_.back().begin >= perSpan_) {
    if (spans_.size() >= mostSpans_) halve();
    spans_.push_back({known_, known_, {}});
  }
  Span& span = spans_.back();
  span.points.push_back(point);
  if (span.points.size() > 5) span.points = extremesOf(span.points);
  span.end = ++known_;
  lastTime_ = point.time;
  lastValue_ = point.value;
}

void GrowingCurve::halve() {
  std::vector<Span> halved;
  halved.reserve(mostSpans_);
  for (std::size_t i = 0; i < spans_.size(); i += 2) {
    Span span = std::move(spans_[i]);
    if (i + 1 < spans_.size()) {
      span.end = spans_[i + 1].end;
      span.points.insert(span.points.end(), spans_[i + 1].points.begin(), spans_[i + 1].points.end());
      span.points = extremesOf(span.points);
    }
    halved.push_back(std::move(span));
  }
  spans_ = std::move(halved);
  perSpan_ *= 2;
}

std::vector<Point> GrowingCurve::points() const {
  std::vector<Point> all;
  for (const Span& span : spans_) all.insert(all.end(), span.points.begin(), span.points.end());
  return all;
}

}  // namespace vtio::results
