#include "platform/logging_interval.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <string>
#include <tuple>

namespace smartlog {

namespace {

using Interval = std::pair<double, double>;

constexpr double kForever = std::numeric_limits<double>::infinity();
constexpr Interval kEmpty{kForever, -kForever};

double justBefore(double time) { return std::nextafter(time, -kForever); }
double justAfter(double time) { return std::nextafter(time, kForever); }

bool endsBefore(const Interval& interval, double time) { return interval.second < time; }
bool startsAfter(double time, const Interval& interval) { return time < interval.first; }

void checkBounds(double start, double stop) {
  if (start <= stop) {
    return;
  }
  throw std::invalid_argument(
      "logging interval [" + std::to_string(start) + ", " + std::to_string(stop) +
      "]: " + (std::isnan(start) || std::isnan(stop) ? "a bound is not a number" : "it starts after it stops"));
}

// Sorted intervals with those that touch made one.
std::vector<Interval> merged(const std::vector<Interval>& sorted) {
  std::vector<Interval> result;
  for (const Interval& interval : sorted) {
    if (!result.empty() && interval.first <= result.back().second) {
      result.back().second = std::max(result.back().second, interval.second);
    } else {
      result.push_back(interval);
    }
  }
  return result;
}

// The first interval that ends at or after the time. Searches from `start` on with steps of doubling width, then by
// bisection, so that the next interval is found at once.
std::size_t firstNotBefore(const std::vector<Interval>& intervals, double time, std::size_t start) {
  std::size_t low = 0;
  std::size_t high = std::min(start, intervals.size());
  if (high < intervals.size() && endsBefore(intervals[high], time)) {
    low = high;
    std::size_t step = 1;
    while (low + step < intervals.size() && endsBefore(intervals[low + step], time)) {
      low += step;
      step *= 2;
    }
    high = std::min(low + step, intervals.size());
  }
  const auto begin = intervals.begin();
  return static_cast<std::size_t>(std::lower_bound(begin + static_cast<std::ptrdiff_t>(low),
                                                   begin + static_cast<std::ptrdiff_t>(high), time, endsBefore) -
                                  begin);
}

}  // namespace

LoggingInterval LoggingInterval::within(std::vector<Interval> closed) {
  for (const auto& [start, stop] : closed) {
    checkBounds(start, stop);
  }
  std::sort(closed.begin(), closed.end());
  LoggingInterval result;
  result.logged_ = merged(closed);
  result.isRestricted_ = true;
  result.forget();
  return result;
}

void LoggingInterval::disable(double start, double stop) {
  checkBounds(start, stop);
  std::vector<Interval> left;
  if (!isRestricted_) {
    left.emplace_back(-kForever, kForever);
  } else {
    left = logged_;
  }
  const auto first = std::lower_bound(left.begin(), left.end(), start, endsBefore);
  const auto last = std::upper_bound(first, left.end(), stop, startsAfter);
  if (first != last) {
    const double from = first->first;
    const double to = std::prev(last)->second;
    auto place = left.erase(first, last);
    if (to > stop) place = left.insert(place, {justAfter(stop), to});
    if (from < start) left.insert(place, {from, justBefore(start)});
  }
  logged_ = std::move(left);
  isRestricted_ = true;
  forget();
}

bool LoggingInterval::seek(double time) const {
  if (!isRestricted_) return true;
  if (std::isnan(time)) return false;
  cursor_ = firstNotBefore(logged_, time, cursor_);
  const bool isLogged = cursor_ < logged_.size() && logged_[cursor_].first <= time;
  std::tie(loggedStart_, loggedStop_) = isLogged ? logged_[cursor_] : kEmpty;
  std::tie(gapStart_, gapStop_) = isLogged ? kEmpty : gapBefore(cursor_);
  return isLogged;
}

// The times between the logged interval of this number and the one before.
std::pair<double, double> LoggingInterval::gapBefore(std::size_t number) const {
  return {number > 0 ? justAfter(logged_[number - 1].second) : -kForever,
          number < logged_.size() ? justBefore(logged_[number].first) : kForever};
}

// Clears the cached answer: the next call searches.
void LoggingInterval::forget() {
  std::tie(loggedStart_, loggedStop_) = kEmpty;
  std::tie(gapStart_, gapStop_) = kEmpty;
  cursor_ = 0;
}

}  // namespace smartlog
