#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "results/file/results_error.hpp"
#include "results/values/shown_value.hpp"
#include "results/viewer/trace.hpp"

namespace vtio::results {
namespace {

constexpr std::uint64_t kPartBytes = std::uint64_t{32} << 20U;

// Turns the samples of one element into numbers, part by part.
class Numbers {
 public:
  Numbers(const SignalInfo& signal, std::size_t element) : values_(signal), element_(element) {
    numbers.reserve(signal.place.count);
    isPlain_ = signal.type == ElementType{} && !signal.fixedPoint;
  }

  void add(const SeriesView& part) {
    if (part.texts != nullptr) {
      for (std::size_t i = 0; i < part.size(); ++i) numbers.push_back(placeOf(part.sample(i).texts[element_]));
    } else if (isPlain_) {
      const std::byte* at = part.bytes + element_ * sizeof(double);
      for (std::size_t i = 0; i < part.size(); ++i) numbers.push_back(loadNumber<double>(at + i * part.stride));
    } else {
      for (std::size_t i = 0; i < part.size(); ++i) numbers.push_back(values_.drawn(part.sample(i), element_));
    }
  }

  /// Begins with the first `count` samples of a trace.
  void keep(const Trace& known, std::size_t count) {
    numbers.assign(known.values().begin(), known.values().begin() + static_cast<std::ptrdiff_t>(count));
    texts = known.texts();
    for (std::size_t i = 0; i < texts.size(); ++i) places_.emplace(texts[i], i);
  }

  std::vector<double> numbers;
  std::vector<std::string> texts;

 private:
  double placeOf(const std::string& text) {
    const auto [known, isNew] = places_.emplace(text, texts.size());
    if (isNew) texts.push_back(text);
    return static_cast<double>(known->second);
  }

  ShownValues values_;
  std::size_t element_;
  bool isPlain_ = false;
  std::unordered_map<std::string, std::size_t> places_;
};

void checkReadable(const ResultsFile& file, const SignalInfo& signal, std::size_t element) {
  const std::string name = "signal '" + signal.name + "'";
  if (element >= signal.width()) {
    throw ResultsError(file.path(), name + " has no element " + std::to_string(element));
  }
  if (signal.place.count > kMostTraceSamples) {
    throw ResultsError(file.path(), name + " has " + std::to_string(signal.place.count) + " samples; at most " +
                                        std::to_string(kMostTraceSamples) + " can be shown");
  }
}

// Of a trace that has grown, the samples that need not be read again; 0 if the file's are others.
std::size_t samplesToKeep(const ResultsFile& file, const SignalInfo& signal, const Trace& known) {
  const std::size_t size = known.times().size();
  if (size <= kReadAgain || size > signal.place.count) return 0;
  const std::size_t kept = size - kReadAgain;
  double time = 0;
  file.source().readTimes(signal.place.table, signal.place.begin + kept - 1, 1, &time);
  return time == known.times()[kept - 1] ? kept : 0;
}

// What differs between two values: their difference, or for values that are no numbers whether they do.
class Difference {
 public:
  Difference(const Trace& a, const Trace& b, bool isNumeric)
      : a_(a), b_(b), samplerA_(a.view(), a.isLinear()), samplerB_(b.view(), b.isLinear()), isNumeric_(isNumeric) {}

  double at(double time) {
    const SampleView sampleA = samplerA_.at(time);
    const SampleView sampleB = samplerB_.at(time);
    if (!sampleA.exists() || !sampleB.exists()) return std::numeric_limits<double>::quiet_NaN();
    const auto a = loadNumber<double>(sampleA.bytes);
    const auto b = loadNumber<double>(sampleB.bytes);
    if (a_.texts().empty() != b_.texts().empty()) return 1;
    if (!a_.texts().empty()) {
      return a_.texts()[static_cast<std::size_t>(a)] == b_.texts()[static_cast<std::size_t>(b)] ? 0 : 1;
    }
    if (a == b || (std::isnan(a) && std::isnan(b))) return 0;
    return isNumeric_ ? a - b : 1;
  }

 private:
  const Trace& a_;
  const Trace& b_;
  SeriesSampler samplerA_;
  SeriesSampler samplerB_;
  bool isNumeric_;
};

std::vector<double> commonTimes(const std::vector<double>& a, const std::vector<double>& b) {
  if (a.empty() || b.empty()) return {};
  const double from = std::max(a.front(), b.front());
  const double to = std::min(a.back(), b.back());
  std::vector<double> times;
  times.reserve(std::max(a.size(), b.size()));
  auto inA = std::lower_bound(a.begin(), a.end(), from);
  auto inB = std::lower_bound(b.begin(), b.end(), from);
  while (inA != a.end() || inB != b.end()) {
    const bool takesA = inB == b.end() || (inA != a.end() && *inA <= *inB);
    const double time = takesA ? *inA++ : *inB++;
    if (!(time <= to)) break;
    if (times.empty() || times.back() != time) times.push_back(time);
  }
  return times;
}

}  // namespace

Trace readTrace(const ResultsFile& file, const SignalInfo& signal, std::size_t element, Trace::Times times,
                const Trace* known, const Job& job) {
  checkReadable(file, signal, element);
  const std::uint64_t bytesPerRow = std::max<std::uint64_t>(8, signal.width() * signal.type.bytes());
  const std::uint64_t atOnce = std::max<std::uint64_t>(1, kPartBytes / bytesPerRow);
  const RowRange rows = rowsOf(signal);
  const std::size_t kept = known != nullptr ? samplesToKeep(file, signal, *known) : 0;
  std::vector<double> ownTimes;
  Numbers numbers(signal, element);
  if (kept != 0) {
    numbers.keep(*known, kept);
    ownTimes.assign(known->times().begin(), known->times().begin() + static_cast<std::ptrdiff_t>(kept));
  }
  for (std::uint64_t row = rows.begin + kept; row < rows.end; row += atOnce) {
    job.step(static_cast<double>(row - rows.begin) / static_cast<double>(rows.count()));
    const Series part = readRows(file, signal, {row, std::min(rows.end, row + atOnce)});
    numbers.add(part.view());
    if (!times) ownTimes.insert(ownTimes.end(), part.times.begin(), part.times.end());
  }
  if (!times) times = std::make_shared<const std::vector<double>>(std::move(ownTimes));
  return {std::move(times), std::move(numbers.numbers), signal.interpolates(), std::move(numbers.texts)};
}

Trace differenceOf(const Trace& a, const Trace& b, bool isNumeric) {
  auto times = std::make_shared<const std::vector<double>>(commonTimes(a.times(), b.times()));
  Difference difference(a, b, isNumeric);
  std::vector<double> values;
  values.reserve(times->size());
  for (const double time : *times) values.push_back(difference.at(time));
  return {std::move(times), std::move(values), isNumeric && a.isLinear() && b.isLinear()};
}

}  // namespace vtio::results
