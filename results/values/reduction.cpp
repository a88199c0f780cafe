#include "results/values/reduction.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

namespace vtio::results {
namespace {

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

}  // namespace

MinMaxReducer::MinMaxReducer(double from, double to, std::size_t pixels)
    : from_(from),
      pixelsPerSecond_(to > from ? static_cast<double>(std::max<std::size_t>(1, pixels)) / (to - from) : 0),
      lastPixel_(static_cast<double>(std::max<std::size_t>(1, pixels)) - 1) {}

void MinMaxReducer::add(double time, double value) {
  const double pixel = std::clamp(std::floor((time - from_) * pixelsPerSecond_), 0.0, lastPixel_);
  if (pixel != pixel_) {
    endPixel();
    pixel_ = pixel;
  }
  if (std::isnan(value)) {
    endPixel();
    if (!inGap_) kept_.push_back({time, value});
    inGap_ = true;
    return;
  }
  inGap_ = false;
  const Point point{time, value};
  if (!now_.any) {
    now_ = {true, point, point, point, point, order_, order_, order_, order_};
  } else {
    if (value < now_.least.value) std::tie(now_.least, now_.leastOrder) = std::pair(point, order_);
    if (value > now_.greatest.value) std::tie(now_.greatest, now_.greatestOrder) = std::pair(point, order_);
    std::tie(now_.last, now_.lastOrder) = std::pair(point, order_);
  }
  ++order_;
}

void MinMaxReducer::endPixel() {
  if (!now_.any) return;
  std::pair<std::size_t, Point> four[] = {{now_.firstOrder, now_.first},
                                          {now_.leastOrder, now_.least},
                                          {now_.greatestOrder, now_.greatest},
                                          {now_.lastOrder, now_.last}};
  std::sort(std::begin(four), std::end(four), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (std::size_t i = 0; i < 4; ++i) {
    if (i == 0 || four[i].first != four[i - 1].first) kept_.push_back(four[i].second);
  }
  now_ = {};
}

std::vector<Point> MinMaxReducer::finish() {
  endPixel();
  return std::exchange(kept_, {});
}

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

}  // namespace vtio::results
