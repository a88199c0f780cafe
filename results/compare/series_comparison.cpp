#include "results/compare/series_comparison.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "results/values/interpolation.hpp"
#include "results/values/number_text.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

constexpr double kNoNumber = std::numeric_limits<double>::infinity();

// Samples [begin, end) of a series at one time.
struct Instant {
  std::size_t begin = 0;
  std::size_t end = 0;

  bool isEmpty() const { return begin == end; }
  std::size_t kth(std::size_t k) const { return std::min(begin + k, end - 1); }
};

Instant instantFrom(const SeriesView& series, std::size_t begin) {
  Instant instant{begin, begin};
  while (instant.end < series.size() && series.times[instant.end] == series.times[begin]) ++instant.end;
  return instant;
}

// How far apart two values are, and whether that is too far.
struct Distance {
  double size = 0;
  bool tooFar = false;

  // The nearer one: what is allowed comes before what is not.
  bool operator<(const Distance& other) const { return tooFar != other.tooFar ? !tooFar : size < other.size; }
};

}  // namespace

class SeriesComparer::Inside {
 public:
  Inside(const ComparedSeries& a, const ComparedSeries& b, Tolerance tolerance, double timeTolerance)
      : a_(a.series),
        b_(b.series),
        valuesA_(a.signal),
        valuesB_(b.signal),
        samplerA_(a.series, a.signal.interpolates()),
        samplerB_(b.series, b.signal.interpolates()),
        isNumeric_(isNumber(a_.type.id) && isNumber(b_.type.id) && !a.signal.labels && !b.signal.labels),
        isScaled_(a.signal.fixedPoint || b.signal.fixedPoint),
        sameLabels_(a.signal.labels == b.signal.labels && a_.type == b_.type && !isScaled_),
        isWide_(a_.type.bytes() / a_.type.parts() == 8 && b_.type.bytes() / b_.type.parts() == 8 &&
                a_.type.id != ElementClass::float64 && a_.type == b_.type && !isScaled_),
        cells_(a_.width * a_.type.parts()),
        partBytes_(a_.type.bytes() / a_.type.parts()),
        tolerance_(tolerance),
        timeTolerance_(timeTolerance) {}

  bool haveSameTimes() const {
    if (timeTolerance_ != 0 || a_.size() != b_.size()) return false;
    return a_.times.data() == b_.times.data() || std::equal(a_.times.begin(), a_.times.end(), b_.times.begin());
  }

  void compareRows(std::size_t begin, std::size_t end) {
    end = std::min(end, a_.size());
    if (begin >= end) return;
    if (isNumeric_ && !isScaled_ && !isWide_ && a_.type == b_.type) {
      withNumber(a_.type.id, [&]<class T>(T) { compareNumbers<T>(begin, end); });
      return;
    }
    for (std::size_t i = begin; i < end; ++i) compareSamples(a_.times[i], a_.sample(i), b_.sample(i));
  }

  void compareAll() {
    if (a_.size() == 0 || b_.size() == 0 || cells_ == 0) return;
    if (haveSameTimes()) {
      compareRows(0, a_.size());
    } else {
      walk();
    }
  }

  void continueWith(const SeriesView& a, const SeriesView& b) {
    a_ = a;
    b_ = b;
  }

  const SeriesComparison& result() const { return result_; }

 private:
  // For numbers as they are stored: only what may be outside the tolerance is compared sample by sample.
  template <class T>
  void compareNumbers(std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) {
      const std::byte* inA = a_.bytes + i * a_.stride;
      const std::byte* inB = b_.bytes + i * b_.stride;
      for (std::size_t cell = 0; cell < cells_; ++cell) {
        const auto x = static_cast<double>(loadNumber<T>(inA + cell * sizeof(T)));
        const auto y = static_cast<double>(loadNumber<T>(inB + cell * sizeof(T)));
        const double size = std::fabs(x - y);
        const bool isNear = size <= tolerance_.atol + tolerance_.rtol * std::fabs(y) && size < kNoNumber;
        if (x != y && !isNear) compareCell(a_.times[i], a_.sample(i), b_.sample(i), cell);
      }
    }
    result_.compared += (end - begin) * cells_;
  }

  // Counts a deviation, if it is one.
  void compareCell(double time, const SampleView& a, const SampleView& b, std::size_t cell) {
    note(distance(a, b, cell), time, cell, [&] { return std::pair(text(valuesA_, a, cell), text(valuesB_, b, cell)); });
  }

  // The time of an instant; of an empty one, a time after all others.
  static double timeOf(const SeriesView& series, Instant instant) {
    if (instant.isEmpty()) return kNoNumber;
    return series.times[instant.begin];
  }

  // Goes through the times of both series within the common span.
  void walk() {
    const double from = std::max(a_.times.front(), b_.times.front()) - timeTolerance_;
    const double to = std::min(a_.times.back(), b_.times.back()) + timeTolerance_;
    const auto first = [&](const SeriesView& series) {
      return static_cast<std::size_t>(std::lower_bound(series.times.begin(), series.times.end(), from) -
                                      series.times.begin());
    };
    Instant inA = instantFrom(a_, first(a_));
    Instant inB = instantFrom(b_, first(b_));
    while (!inA.isEmpty() || !inB.isEmpty()) {
      const double timeA = timeOf(a_, inA);
      const double timeB = timeOf(b_, inB);
      if (std::min(timeA, timeB) > to) break;
      compareInstant(timeA <= timeB ? inA : Instant{}, timeB <= timeA ? inB : Instant{}, std::min(timeA, timeB));
      if (timeA <= timeB) inA = instantFrom(a_, inA.end);
      if (timeB <= timeA) inB = instantFrom(b_, inB.end);
    }
  }

  void compareInstant(Instant inA, Instant inB, double time) {
    if (timeTolerance_ > 0) {
      for (std::size_t i = inA.begin; i < inA.end; ++i) compareNearby(time, a_.sample(i), false);
      for (std::size_t i = inB.begin; i < inB.end; ++i) compareNearby(time, b_.sample(i), true);
      return;
    }
    const std::size_t count = std::max(inA.end - inA.begin, inB.end - inB.begin);
    for (std::size_t k = 0; k < count; ++k) {
      compareSamples(time, inA.isEmpty() ? samplerA_.at(time) : a_.sample(inA.kth(k)),
                     inB.isEmpty() ? samplerB_.at(time) : b_.sample(inB.kth(k)));
    }
  }

  // Compares one sample with what the other series is within the time tolerance; value by value the nearest counts.
  void compareNearby(double time, const SampleView& sample, bool sampleIsB) {
    const SeriesView& other = sampleIsB ? a_ : b_;
    SeriesSampler& sampler = sampleIsB ? samplerA_ : samplerB_;
    const auto distances = [&](const SampleView& candidate, std::size_t cell) {
      return sampleIsB ? distance(candidate, sample, cell) : distance(sample, candidate, cell);
    };
    for (std::size_t cell = 0; cell < cells_; ++cell) {
      bool any = false;
      Distance nearest;
      std::string nearestText;
      const auto consider = [&](const SampleView& candidate) {
        if (!candidate.exists()) return;
        const Distance found = distances(candidate, cell);
        if (any && !(found < nearest)) return;
        any = true;
        nearest = found;
        if (found.tooFar) nearestText = text(sampleIsB ? valuesA_ : valuesB_, candidate, cell);
      };
      for (const double near : {time, time - timeTolerance_, time + timeTolerance_}) consider(sampler.at(near));
      const auto begin = std::lower_bound(other.times.begin(), other.times.end(), time - timeTolerance_);
      for (auto i = begin; i != other.times.end() && *i <= time + timeTolerance_; ++i) {
        consider(other.sample(static_cast<std::size_t>(i - other.times.begin())));
      }
      if (!any) continue;
      const std::string own = nearest.tooFar ? text(sampleIsB ? valuesB_ : valuesA_, sample, cell) : "";
      ++result_.compared;
      note(nearest, time, cell, [&] { return sampleIsB ? std::pair(nearestText, own) : std::pair(own, nearestText); });
    }
  }

  void compareSamples(double time, const SampleView& a, const SampleView& b) {
    if (!a.exists() || !b.exists()) return;
    const bool isSameStorage = sameLabels_ && a.type == b.type && a.bytes != nullptr && a.type == a_.type;
    if (isSameStorage && std::memcmp(a.bytes, b.bytes, cells_ * partBytes_) == 0) {
      result_.compared += cells_;
      return;
    }
    for (std::size_t cell = 0; cell < cells_; ++cell) compareCell(time, a, b, cell);
    result_.compared += cells_;
  }

  Distance distance(const SampleView& a, const SampleView& b, std::size_t cell) const {
    if (!isNumeric_) {
      const bool equal = plain(valuesA_, a, cell) == plain(valuesB_, b, cell);
      return {equal ? 0 : kNoNumber, !equal};
    }
    if (isWide_ && a.type == b.type && a.type.id != ElementClass::float64) return wideDistance(a, b, cell);
    const double x = valuesA_.number(a, cell);
    const double y = valuesB_.number(b, cell);
    if (x == y || (std::isnan(x) && std::isnan(y))) return {};
    const double size = std::fabs(x - y);
    if (!std::isfinite(x) || !std::isfinite(y)) return {kNoNumber, true};
    return {size, !(size <= tolerance_.atol + tolerance_.rtol * std::fabs(y))};
  }

  // 64-bit integers, which a double does not hold.
  Distance wideDistance(const SampleView& a, const SampleView& b, std::size_t cell) const {
    const auto wide = [&](const SampleView& sample) {
      const std::byte* bytes = sample.bytes + cell * 8;
      return sample.type.id == ElementClass::int64 ? static_cast<long double>(loadNumber<std::int64_t>(bytes))
                                                   : static_cast<long double>(loadNumber<std::uint64_t>(bytes));
    };
    const long double size = std::fabs(wide(a) - wide(b));
    const long double allowed = tolerance_.atol + static_cast<long double>(tolerance_.rtol) * std::fabs(wide(b));
    return {static_cast<double>(size), !(size <= allowed)};
  }

  static std::string text(const ShownValues& values, const SampleView& sample, std::size_t cell) {
    std::string shown;
    appendPlain(shown, values(sample, cell));
    return shown;
  }

  // What must be equal: labels, texts, logicals. A number where the other has a label is compared as text.
  static std::string plain(const ShownValues& values, const SampleView& sample, std::size_t cell) {
    return text(values, sample, cell);
  }

  template <class Texts>
  void note(Distance found, double time, std::size_t cell, Texts texts) {
    if (!found.tooFar) return;
    ++result_.deviating;
    const bool isLargest = result_.deviating == 1 || found.size > result_.largest.size;
    if (!isLargest) return;
    const auto [a, b] = texts();
    result_.largest = {time, cell, a, b, found.size};
    if (result_.deviating == 1) result_.first = result_.largest;
  }

  SeriesView a_;
  SeriesView b_;
  ShownValues valuesA_;
  ShownValues valuesB_;
  SeriesSampler samplerA_;
  SeriesSampler samplerB_;
  bool isNumeric_;
  bool isScaled_;
  bool sameLabels_;  // equal bytes are equal values
  bool isWide_;      // both of the same 64-bit integers
  std::size_t cells_;
  std::size_t partBytes_;
  Tolerance tolerance_;
  double timeTolerance_;
  SeriesComparison result_;
};

SeriesComparer::SeriesComparer(const ComparedSeries& a, const ComparedSeries& b, Tolerance tolerance,
                               double timeTolerance)
    : inside_(std::make_unique<Inside>(a, b, tolerance, timeTolerance)) {}

SeriesComparer::SeriesComparer(SeriesComparer&&) noexcept = default;

SeriesComparer::~SeriesComparer() = default;

bool SeriesComparer::haveSameTimes() const { return inside_->haveSameTimes(); }

void SeriesComparer::compareSamples(std::size_t begin, std::size_t end) { inside_->compareRows(begin, end); }

void SeriesComparer::continueWith(const SeriesView& a, const SeriesView& b) { inside_->continueWith(a, b); }

void SeriesComparer::compareAll() { inside_->compareAll(); }

const SeriesComparison& SeriesComparer::result() const { return inside_->result(); }

}  // namespace vtio::results
