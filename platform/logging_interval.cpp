#include "platform/logging_interval.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <string>

namespace smartlog {

namespace {

void checkBounds(double start, double stop) {
  if (start <= stop) {
    return;
  }
  throw std::invalid_argument(
      "logging interval [" + std::to_string(start) + ", " + std::to_string(stop) +
      "]: " + (std::isnan(start) || std::isnan(stop) ? "a bound is not a number" : "it starts after it stops"));
}

}  // namespace

void IntervalSet::add(double start, double stop) {
  checkBounds(start, stop);
  const auto first = std::lower_bound(intervals_.begin(), intervals_.end(), start,
                                      [](const auto& interval, double time) { return interval.second < time; });
  const auto last = std::upper_bound(first, intervals_.end(), stop,
                                     [](double time, const auto& interval) { return time < interval.first; });
  cursor_ = 0;
  if (first == last) {
    intervals_.insert(first, {start, stop});
    return;
  }
  *first = {std::min(start, first->first), std::max(stop, std::prev(last)->second)};
  intervals_.erase(std::next(first), last);
}

void IntervalSet::seek(double time) const {
  const auto endsBefore = [](const auto& interval, double value) { return interval.second < value; };
  std::size_t low = 0;
  std::size_t high = std::min(cursor_, intervals_.size());
  if (high < intervals_.size() && intervals_[high].second < time) {
    // Later than last time: look in steps of doubling width, so that the next interval is found at once.
    low = high;
    std::size_t step = 1;
    while (low + step < intervals_.size() && intervals_[low + step].second < time) {
      low += step;
      step *= 2;
    }
    high = std::min(low + step, intervals_.size());
  }
  const auto begin = intervals_.begin();
  cursor_ = static_cast<std::size_t>(std::lower_bound(begin + static_cast<std::ptrdiff_t>(low),
                                                      begin + static_cast<std::ptrdiff_t>(high), time, endsBefore) -
                                     begin);
}

LoggingInterval LoggingInterval::within(std::vector<std::pair<double, double>> closed) {
  for (const auto& [start, stop] : closed) {
    checkBounds(start, stop);
  }
  std::sort(closed.begin(), closed.end());
  LoggingInterval result;
  result.restricted_ = true;
  result.limited_ = true;
  for (const auto& [start, stop] : closed) {
    result.enabled_.add(start, stop);
  }
  return result;
}

void LoggingInterval::disable(double start, double stop) {
  disabled_.add(start, stop);
  restricted_ = true;
}

}  // namespace smartlog
