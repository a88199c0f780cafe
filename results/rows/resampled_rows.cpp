#include "results/rows/resampled_rows.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "results/file/results_error.hpp"
#include "results/rows/table_cursor.hpp"
#include "results/values/interpolation.hpp"
#include "results/values/number_text.hpp"
#include "results/values/table_block.hpp"

namespace vtio::results {

/// The rows of one table around a time that only rises.
class ResampledRows::Track {
 public:
  Track(const ResultsFile& file, const TableGroup& group)
      : file_(file),
        block_(file.source(), group.signals),
        window_(rowsAtOnce(block_.bytesPerRow())),
        rows_(rowsOfAny(file.source(), group.signals, {})),
        instant_(rows_.begin),
        row_(rows_.begin) {}

  /// Goes to the last row at or before `time`, if there is one.
  void goTo(double time) {
    if (!started_) {
      started_ = true;
      constexpr double kAlways = -std::numeric_limits<double>::infinity();
      const std::uint64_t next = rowsIn(file_.source(), block_.table(), rows_, {kAlways, time}).end;
      row_ = instant_ = next > rows_.begin ? next - 1 : rows_.begin;
      while (instant_ > rows_.begin && timeInFile(instant_ - 1) == timeInFile(row_)) --instant_;
      load();
    }
    while (row_ + 1 < rows_.end) {
      if (row_ + 1 >= block_.rows().end) load();
      const double next = timeOf(row_ + 1);
      const double now = timeOf(row_);
      if (!(now <= next)) throwTimeGoesBack(file_, *block_.signals().front(), row_ + 1, now, next);
      if (next > time) break;
      ++row_;
      if (next != now) instant_ = row_;
    }
  }

  /// The value of a signal at a time between the row and the next.
  SampleView sample(std::size_t index, double time, std::vector<double>& storage) const {
    const SignalInfo& signal = *block_.signals()[index];
    const RowRange own = rowsOf(signal);
    const SampleView none{signal.type, signal.width(), nullptr, nullptr};
    if (own.count() == 0 || time < signal.first || time > signal.last) return none;
    const std::uint64_t row = std::min(row_, own.end - 1);
    const SampleView held = block_.sample(index, row);
    if (timeOf(row) == time || !signal.interpolates() || row + 1 >= own.end) return held;
    return between(held, timeOf(row), block_.sample(index, row + 1), timeOf(row + 1), time, storage);
  }

 private:
  double timeOf(std::uint64_t row) const { return block_.times()[row - block_.rows().begin]; }

  double timeInFile(std::uint64_t row) const {
    double time = 0;
    file_.source().readTimes(block_.table(), row, 1, &time);
    return time;
  }

  // From the first row of the present time on: a signal that ended among its rows has its last value there.
  void load() {
    if (rows_.count() == 0) return;
    const std::uint64_t least = 2 * (row_ - instant_ + 1);
    block_.read(instant_, std::min(std::max(window_, least), rows_.end - instant_));
  }

  const ResultsFile& file_;
  TableBlock block_;
  std::uint64_t window_;
  RowRange rows_;
  std::uint64_t instant_;  // first row of the time of row_
  std::uint64_t row_;
  bool started_ = false;
};

ResampledRows::ResampledRows(const ResultsFile& file, std::vector<const SignalInfo*> signals, TimeRange range,
                             double step)
    : RowSource(std::move(signals)), places_(this->signals().size()), between_(this->signals().size()), step_(step) {
  if (!(step > 0) || std::isinf(step)) throw ResultsError("a step of " + numberText(step) + " s is not positive");
  double earliest = std::numeric_limits<double>::infinity();
  double latest = -earliest;
  for (const TableGroup& group : groupByTable(this->signals())) {
    for (std::size_t i = 0; i < group.places.size(); ++i) places_[group.places[i]] = {tracks_.size(), i};
    tracks_.push_back(std::make_unique<Track>(file, group));
    for (const SignalInfo* signal : group.signals) {
      if (signal->place.count == 0) continue;
      earliest = std::min(earliest, signal->first);
      latest = std::max(latest, signal->last);
    }
  }
  start_ = std::isfinite(range.from) ? range.from : earliest;
  end_ = std::isfinite(range.to) ? range.to : latest;
}

ResampledRows::~ResampledRows() = default;

bool ResampledRows::next() {
  time_ = start_ + static_cast<double>(row_) * step_;
  if (!(time_ <= end_)) return false;
  if (row_ != 0 && time_ == start_ + static_cast<double>(row_ - 1) * step_) {
    throw ResultsError("a step of " + numberText(step_) + " s is lost in the times around " + numberText(time_));
  }
  ++row_;
  for (const auto& track : tracks_) track->goTo(time_);
  return true;
}

SampleView ResampledRows::sample(std::size_t signal) {
  const Place& place = places_[signal];
  return tracks_[place.track]->sample(place.signal, time_, between_[signal]);
}

double ResampledRows::done() const {
  return end_ > start_ ? std::clamp((time_ - start_) / (end_ - start_), 0.0, 1.0) : 1;
}

}  // namespace vtio::results
