#include "results/compare/reference_comparison.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

constexpr double kNotComparable = std::numeric_limits<double>::infinity();

std::optional<double> numberOf(std::string_view text) {
  double number = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || rest != text.data() + text.size()) return std::nullopt;
  return number;
}

std::string plainText(const ShownValue& value) {
  std::string text;
  appendPlain(text, value);
  return text;
}

std::string_view logicalText(std::string_view text) { return text == "true" ? "1" : text == "false" ? "0" : text; }

}  // namespace

ReferenceComparer::ReferenceComparer(const ResultsFile& file, const SignalInfo& signal, Tolerance tolerance,
                                     double timeTolerance)
    : signal_(signal),
      tolerance_(tolerance),
      timeTolerance_(timeTolerance),
      series_(readSeries(file, signal)),
      values_(signal),
      raw_(signal, true),
      sampler_(series_.view(), signal.interpolates()),
      result_{signal.name, {}, SeriesComparison(), cellNames(signal)},
      outside_(std::numeric_limits<double>::quiet_NaN()) {}

// |a - b|; infinite where there is no such number.
double ReferenceComparer::distance(const SampleView& sample, std::size_t cell, std::string_view expected,
                                   bool& isEqual) const {
  const bool isLogical = sample.type.id == ElementClass::logical;
  isEqual = plainText(values_(sample, cell)) == (isLogical ? logicalText(expected) : expected);
  if (isEqual || isLogical || sample.texts != nullptr) return isEqual ? 0 : kNotComparable;
  if (signal_.labels) {
    isEqual = plainText(raw_(sample, cell)) == expected;
    return isEqual ? 0 : kNotComparable;
  }
  const std::optional<double> wanted = numberOf(expected);
  const double number = values_.number(sample, cell);
  if (!wanted) return kNotComparable;
  isEqual = number == *wanted || (std::isnan(number) && std::isnan(*wanted));
  if (isEqual || !std::isfinite(number) || !std::isfinite(*wanted)) return isEqual ? 0 : kNotComparable;
  const double size = std::fabs(number - *wanted);
  isEqual = size <= tolerance_.atol + tolerance_.rtol * std::fabs(*wanted);
  return size;
}

std::optional<ReferenceComparer::Distance> ReferenceComparer::nearest(double time, std::size_t cell,
                                                                      std::string_view expected) {
  std::optional<Distance> found;
  const auto consider = [&](const SampleView& sample) {
    if (!sample.exists() || (found && found->isEqual)) return;
    Distance one;
    one.size = distance(sample, cell, expected, one.isEqual);
    if (found && !one.isNearerThan(*found)) return;
    if (!one.isEqual) one.text = plainText(values_(sample, cell));
    found = std::move(one);
  };
  consider(sampler_.at(time));
  if (timeTolerance_ == 0) return found;
  for (const double near : {time - timeTolerance_, time + timeTolerance_}) consider(sampler_.at(near));
  const SeriesView series = series_.view();
  const auto begin = std::lower_bound(series.times.begin(), series.times.end(), time - timeTolerance_);
  for (auto at = begin; at != series.times.end() && *at <= time + timeTolerance_; ++at) {
    consider(series.sample(static_cast<std::size_t>(at - series.times.begin())));
  }
  return found;
}

void ReferenceComparer::compare(double time, std::size_t cell, std::string_view expected) {
  const std::optional<Distance> found = nearest(time, cell, expected);
  if (!found) {
    if (std::isnan(outside_)) outside_ = time;
    return;
  }
  SeriesComparison& all = *result_.samples;
  ++all.compared;
  if (found->isEqual) return;
  ++all.deviating;
  if (all.deviating != 1 && !(found->size > all.largest.size)) return;
  all.largest = {time, cell, found->text, std::string(expected), found->size};
  if (all.deviating == 1) all.first = all.largest;
}

ComparedSignal ReferenceComparer::result() const {
  ComparedSignal result = result_;
  if (!std::isnan(outside_)) {
    const bool isEmpty = signal_.place.count == 0;
    const std::string span =
        isEmpty ? "no samples" : numberText(signal_.first) + " to " + numberText(signal_.last) + " s";
    result.changes.push_back({"span", span, "has the time " + numberText(outside_) + " s"});
  }
  return result;
}

FileComparison compareWithReference(const ResultsFile& file, const ResultsFile& reference,
                                    std::span<const std::string> patterns, const Tolerances& tolerances,
                                    double timeTolerance, const Job& job) {
  FileComparison all;
  const auto signals = reference.select(patterns);
  for (std::size_t i = 0; i < signals.size(); ++i) {
    const SignalInfo& expected = *signals[i];
    job.step(static_cast<double>(i) / static_cast<double>(signals.size()));
    const SignalInfo* signal = file.lookUp(expected.name);
    if (signal == nullptr) {
      all.onlyB.push_back(expected.name);
      continue;
    }
    ReferenceComparer comparer(file, *signal, tolerances.of(expected.name), timeTolerance);
    if (signal->dimensions != expected.dimensions || signal->type.isComplex != expected.type.isComplex) {
      ComparedSignal other{expected.name, {}, std::nullopt, cellNames(*signal)};
      other.changes.push_back({"dimensions", dimensionsText(signal->dimensions), dimensionsText(expected.dimensions)});
      all.signals.push_back(std::move(other));
      continue;
    }
    const Series series = readSeries(reference, expected);
    const ShownValues values(expected);
    const std::size_t cells = expected.width() * expected.type.parts();
    for (std::size_t k = 0; k < series.times.size(); ++k) {
      if (k + 1 < series.times.size() && series.times[k + 1] == series.times[k]) continue;  // before an event
      for (std::size_t cell = 0; cell < cells; ++cell) {
        comparer.compare(series.times[k], cell, plainText(values(series.view().sample(k), cell)));
      }
    }
    all.signals.push_back(comparer.result());
  }
  return all;
}

}  // namespace vtio::results
