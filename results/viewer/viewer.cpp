#include "results/viewer/viewer.hpp"

#include <cmath>
#include <iterator>
#include <utility>

#include "results/file/results_error.hpp"
#include "results/values/number_text.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 30U;  // of kept traces

bool isNumeric(const SignalInfo& signal) { return isNumber(signal.type.id) && !signal.labels; }

}  // namespace

Viewer::Viewer(ViewedFile::Open first, const ViewedFile::Open& second, Job job)
    : job_(std::move(job)), first_(std::move(first)) {
  job_.progress = nullptr;
  if (second) second_.emplace(second);
}

const ViewedFile& Viewer::fileOf(TraceFile file) const {
  if (file == TraceFile::first) return first_;
  if (second_) return *second_;
  throw ResultsError("there is no second file");
}

Trace Viewer::read(const TraceId& id) {
  if (id.file == TraceFile::difference) return readDifference(id);
  const ViewedFile& file = fileOf(id.file);
  const SignalInfo& signal = file.signal(id.signal);
  auto& times = times_[{id.file, signal.place.table, signal.place.begin, signal.place.count}];
  const auto former = former_.find(id);
  const Trace* known = former != former_.end() ? &former->second.trace : nullptr;
  Trace trace = readTrace(file.file(), signal, id.element, times.lock(), known, job_);
  times = trace.sharedTimes();
  return trace;
}

Trace Viewer::readDifference(const TraceId& id) {
  const ViewedFile& other = fileOf(TraceFile::second);
  const SignalInfo& signal = first_.signal(id.signal);
  const std::size_t number = other.numberOf(signal.name);
  if (number == ViewedFile::npos) throw ResultsError(other.file().path(), "no signal '" + signal.name + "'");
  const Trace& second = trace({TraceFile::second, number, id.element});
  const Trace copy = second;  // reading the first may make room
  const Trace& first = trace({TraceFile::first, id.signal, id.element});
  return differenceOf(first, copy, isNumeric(signal) && isNumeric(other.signal(number)));
}

const Trace& Viewer::trace(const TraceId& id) {
  const auto found = kept_.find(id);
  if (found != kept_.end()) {
    used_.splice(used_.begin(), used_, found->second.use);
    return found->second.trace;
  }
  Trace trace = read(id);
  bytes_ += trace.bytes();
  used_.push_front(id);
  const auto [entry, isNew] = kept_.emplace(id, Kept{std::move(trace), used_.begin()});
  forgetOldest();
  return entry->second.trace;
}

void Viewer::forgetOldest() {
  while (bytes_ > kMostBytes && used_.size() > 1) {
    const auto oldest = kept_.find(used_.back());
    bytes_ -= oldest->second.trace.bytes();
    kept_.erase(oldest);
    used_.pop_back();
  }
}

std::optional<TraceValue> Viewer::valueAt(const TraceId& id, double time) {
  const Trace& samples = trace(id);
  SeriesSampler sampler(samples.view(), samples.isLinear());
  const SampleView sample = sampler.at(time);
  if (!sample.exists()) return std::nullopt;
  const std::size_t row = sampler.lastUpTo(time);
  TraceValue value{samples.times()[row], loadNumber<double>(sample.bytes), ""};
  const bool isSample = !samples.isLinear() || value.time == time;
  if (!isSample) value.time = time;
  if (isSample && id.file != TraceFile::difference) {
    // As it is in the file: not every integer is a double.
    const ViewedFile& file = fileOf(id.file);
    const SignalInfo& signal = file.signal(id.signal);
    if (!signal.type.isComplex) {
      const std::uint64_t at = signal.place.begin + row;
      const Series stored = readRows(file.file(), signal, {at, at + 1});
      appendPlain(value.text, ShownValues(signal)(stored.view().sample(0), id.element));
      return value;
    }
  }
  value.text = numberText(value.value);
  return value;
}

std::vector<Point> Viewer::overTrace(const TraceId& x, const TraceId& y, TimeRange range, std::size_t pixels) {
  const Trace across = trace(x);
  const Trace& up = trace(y);
  SeriesSampler sampler(across.view(), across.isLinear());
  std::vector<Point> points;
  for (std::size_t i = 0; i < up.times().size(); ++i) {
    const double time = up.times()[i];
    if (!range.contains(time)) continue;
    const SampleView at = sampler.at(time);
    if (at.exists()) points.push_back({loadNumber<double>(at.bytes), up.values()[i]});
  }
  return withoutRepeats(points, pixels);
}

void Viewer::release() const {
  first_.file().release();
  if (second_) second_->file().release();
}

std::uint64_t Viewer::refresh() {
  using Change = ViewedFile::Change;
  const Change first = first_.refresh();
  const Change second = second_ ? second_->refresh() : Change::none;
  if (first == Change::none && second == Change::none) return version_;
  ++version_;
  const bool isAnew = first == Change::anew || second == Change::anew;
  former_ = isAnew ? std::map<TraceId, Kept>() : std::exchange(kept_, {});
  kept_.clear();
  times_.clear();
  used_.clear();
  bytes_ = 0;
  return version_;
}

}  // namespace vtio::results
