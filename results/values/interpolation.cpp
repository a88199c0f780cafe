#include "results/values/interpolation.hpp"

#include <algorithm>
#include <cmath>

#include "results/values/shown_value.hpp"

namespace vtio::results {

SampleView between(const SampleView& a, double ta, const SampleView& b, double tb, double time,
                   std::vector<double>& storage) {
  const std::size_t parts = a.type.parts();
  const double weight = (time - ta) / (tb - ta);
  storage.resize(std::max<std::size_t>(1, a.width * parts));  // samples of no elements have an address, too
  for (std::size_t i = 0; i < a.width * parts; ++i) {
    const double from = storedNumber(a, i);
    const double to = storedNumber(b, i);
    storage[i] = from == to ? from : std::lerp(from, to, weight);
  }
  return {
      {ElementClass::float64, a.type.isComplex}, a.width, reinterpret_cast<const std::byte*>(storage.data()), nullptr};
}

std::size_t SeriesSampler::lastUpTo(double time) {
  const auto times = series_.times;
  if (times.empty() || !(times.front() <= time)) return times.size();
  if (!(times[position_] <= time)) position_ = 0;
  constexpr std::size_t kFewSteps = 8;
  for (std::size_t step = 0; step < kFewSteps; ++step) {
    if (position_ + 1 == times.size() || !(times[position_ + 1] <= time)) return position_;
    ++position_;
  }
  const auto next = std::upper_bound(times.begin() + static_cast<std::ptrdiff_t>(position_), times.end(), time);
  position_ = static_cast<std::size_t>(next - times.begin()) - 1;
  return position_;
}

SampleView SeriesSampler::at(double time) {
  const std::size_t i = lastUpTo(time);
  if (i == series_.size() || time > series_.times.back()) return {series_.type, series_.width, nullptr, nullptr};
  const SampleView held = series_.sample(i);
  if (!isLinear_ || series_.times[i] == time) return held;
  return between(held, series_.times[i], series_.sample(i + 1), series_.times[i + 1], time, between_);
}

}  // namespace vtio::results
