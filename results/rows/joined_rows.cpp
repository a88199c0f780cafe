#include "results/rows/joined_rows.hpp"

#include <algorithm>
#include <utility>

namespace vtio::results {

JoinedRows::JoinedRows(const ResultsFile& file, std::vector<const SignalInfo*> signals, TimeRange range)
    : RowSource(std::move(signals)), places_(this->signals().size()) {
  for (const TableGroup& group : groupByTable(this->signals())) {
    for (std::size_t i = 0; i < group.places.size(); ++i) places_[group.places[i]] = {cursors_.size(), i};
    cursors_.push_back(std::make_unique<TableCursor>(file, group, range));
  }
  takesPart_.assign(cursors_.size(), 0);
}

JoinedRows::~JoinedRows() = default;

bool JoinedRows::findTime() {
  bool found = false;
  for (const auto& cursor : cursors_) {
    if (cursor->atEnd()) continue;
    if (!found || cursor->time() < time_) time_ = cursor->time();
    found = true;
  }
  row_ = 0;
  depth_ = 0;
  for (std::size_t i = 0; i < cursors_.size(); ++i) {
    takesPart_[i] = !cursors_[i]->atEnd() && cursors_[i]->time() == time_ ? 1 : 0;
    if (takesPart_[i] != 0) depth_ = std::max(depth_, cursors_[i]->depth());
  }
  return found;
}

bool JoinedRows::next() {
  if (++row_ < depth_) return true;
  do {
    for (std::size_t i = 0; i < cursors_.size(); ++i) {
      if (takesPart_[i] != 0) cursors_[i]->advance();
    }
    if (!findTime()) return false;
  } while (depth_ == 0);
  return true;
}

SampleView JoinedRows::sample(std::size_t signal) {
  const Place& place = places_[signal];
  if (takesPart_[place.cursor] == 0) {
    const SignalInfo& info = *signals()[signal];
    return {info.type, info.width(), nullptr, nullptr};
  }
  return cursors_[place.cursor]->sample(place.signal, row_);
}

double JoinedRows::done() const {
  double passed = 0;
  double all = 0;
  for (const auto& cursor : cursors_) {
    passed += static_cast<double>(cursor->passed());
    all += static_cast<double>(cursor->rows().count());
  }
  return all == 0 ? 1 : passed / all;
}

}  // namespace vtio::results
