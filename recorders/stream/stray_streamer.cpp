#include "recorders/stream/stray_streamer.hpp"

#include <algorithm>
#include <bit>
#include <exception>
#include <stdexcept>

namespace vtio::recorders {
namespace {

constexpr std::size_t kMostBuffered = 1024;  // strays
constexpr std::size_t kMostBytes = std::size_t{64} << 10U;

std::uint64_t mixed(std::uint64_t hash, double time) {
  hash = (hash ^ std::bit_cast<std::uint64_t>(time)) * 0x9E3779B97F4A7C15U;
  return hash ^ (hash >> 29U);
}

}  // namespace

void StrayStreamer::addLeaf(std::uint32_t position, const vtu::StreamLeaf& leaf) {
  if (leaves_.size() <= position) leaves_.resize(position + 1);
  leaves_[position].push_back(leaf);
}

bool StrayStreamer::knows(std::uint32_t position) const {
  return position < leaves_.size() && !leaves_[position].empty();
}

void StrayStreamer::addDescriptions(std::vector<std::uint32_t> positions, std::vector<std::string> json) {
  for (const std::uint32_t position : positions) lateOf_[position] = late_.size();
  late_.push_back({std::move(json), {}});
}

void StrayStreamer::begin(std::uint32_t position, std::uint64_t inTable) {
  if (quick_.size() <= position) quick_.resize(position + 1);
  if (quick_[position] != nullptr) return;
  quick_[position] = &(strays_[position] = {leaves_[position].front().table, inTable, 0, 0, false});
  areGroupsKnown_ = false;
}

std::optional<std::uint64_t> StrayStreamer::take(std::uint32_t position,
                                                 std::optional<std::uint64_t> inTable) noexcept {
  try {
    if (!knows(position)) file_.introduce();
    if (!knows(position)) return {};
    const std::uint64_t rows = inTable ? *inTable : file_.left(leaves_[position].front());
    begin(position, rows);
    return rows;
  } catch (const std::exception& error) {
    file_.stop(error.what());
    return {};
  }
}

std::optional<std::uint64_t> StrayStreamer::inTable(std::uint32_t position) const {
  if (position >= quick_.size() || quick_[position] == nullptr) return {};
  return quick_[position]->isMoved ? 0 : quick_[position]->inTable;
}

void StrayStreamer::add(std::uint32_t position, double time, const std::byte* row) {
  if (!lateOf_.empty()) describe(position);
  const vtu::StrayBuffer::Size before = buffer_.size();
  try {
    for (const vtu::StreamLeaf& leaf : leaves_[position]) {
      buffer_.add(leaf, time, row);
      row += leaf.bytes;
    }
  } catch (...) {
    buffer_.cutTo(before);
    throw;
  }
  Strays& strays = *quick_[position];
  ++strays.logged;
  strays.times = mixed(strays.times, time);
  ++sequence_;
  areGroupsKnown_ = false;
  if (buffer_.size().entries < kMostBuffered && buffer_.size().bytes < kMostBytes) return;
  try {
    write();
  } catch (const std::exception& error) {
    file_.stop(error.what());
  }
}

void StrayStreamer::describe(std::uint32_t position) {
  const auto known = lateOf_.find(position);
  if (known == lateOf_.end() || late_[known->second].describedAt) return;
  Late& late = late_[known->second];
  for (const std::string& json : late.json) buffer_.describe(json);
  late.describedAt = sequence_++;
}

void StrayStreamer::write() {
  if (buffer_.size().entries == 0) return;
  try {
    file_.open().append(buffer_);
  } catch (...) {
    buffer_.clear();
    throw;
  }
  buffer_.clear();
}

std::optional<std::uint64_t> StrayStreamer::count(std::uint32_t position) const noexcept {
  if (position >= quick_.size() || quick_[position] == nullptr) return {};
  return quick_[position]->besidesTables();
}

bool StrayStreamer::isMoved(std::uint32_t position) const noexcept {
  return position < quick_.size() && quick_[position] != nullptr && quick_[position]->isMoved;
}

void StrayStreamer::forget(std::uint32_t position) noexcept {
  if (position >= quick_.size() || quick_[position] == nullptr) return;
  quick_[position] = nullptr;
  strays_.erase(position);
  areGroupsKnown_ = false;
}

void StrayStreamer::findGroups() {
  write();
  file_.endLeaves();
  std::map<Strays, std::vector<std::uint32_t>> members;
  for (const auto& [position, strays] : strays_) members[strays].push_back(position);
  groups_.clear();
  std::vector<vtu::StreamLeaf> leaves;
  for (const auto& [strays, positions] : members) {
    Group& group = groups_[strays];
    leaves.clear();
    std::size_t offset = 0;
    for (const std::uint32_t position : positions) {
      group.offsets.emplace(position, offset);
      for (const vtu::StreamLeaf& leaf : leaves_[position]) {
        leaves.push_back(leaf);
        offset += leaf.bytes;
      }
    }
    group.table = file_.asItIs().rows(leaves, strays.inTable + strays.logged);
  }
  areGroupsKnown_ = true;
}

std::pair<std::shared_ptr<const vtu::SampleTable>, std::size_t> StrayStreamer::samples(std::uint32_t position) {
  if (!areGroupsKnown_) findGroups();
  const Group& group = groups_.at(*quick_[position]);
  return {group.table, group.offsets.at(position)};
}

std::vector<std::uint32_t> StrayStreamer::moved(const vtu::QatStream& stream) {
  std::vector<std::uint32_t> positions;
  for (auto& [position, strays] : strays_) {
    const auto table = stream.tableOf(leaves_[position].front());
    if (!table) continue;
    strays = {*table, strays.inTable + strays.logged, 0, 0, true};
    positions.push_back(position);
  }
  lateOf_.clear();
  late_.clear();
  areGroupsKnown_ = false;
  ++log_;
  return positions;
}

std::shared_ptr<const StraySink::State> StrayStreamer::state() {
  auto known = std::make_shared<Known>();
  known->strays = strays_;
  try {
    write();
    if (file_.isOpen()) known->mark = file_.asItIs().mark().strays;
  } catch (const std::exception& error) {
    file_.stop(error.what());
  }
  known->log = log_;
  known->sequence = sequence_;
  known->cuts = cuts_.size();
  return known;
}

std::optional<std::uint64_t> StrayStreamer::countIn(const StraySink::State& state, std::uint32_t position) const {
  const auto& strays = static_cast<const Known&>(state).strays;
  const auto found = strays.find(position);
  return found == strays.end() ? std::nullopt : std::optional(found->second.besidesTables());
}

bool StrayStreamer::holds(const StraySink::State& state) const noexcept {
  const auto& known = static_cast<const Known&>(state);
  return std::all_of(cuts_.begin() + static_cast<std::ptrdiff_t>(known.cuts), cuts_.end(),
                     [&known](std::uint64_t left) { return left >= known.sequence; });
}

void StrayStreamer::restore(const StraySink::State* state,
                            const std::function<std::uint64_t(std::uint32_t)>& inTables) noexcept {
  try {
    goBackTo(static_cast<const Known*>(state), inTables);
  } catch (const std::exception& error) {
    file_.stop(error.what());
  }
}

void StrayStreamer::goBackTo(const Known* state, const std::function<std::uint64_t(std::uint32_t)>& inTables) {
  write();
  const bool isSameLog = state != nullptr && state->log == log_;
  if (file_.isOpen()) {
    vtu::QatStream::Mark mark = file_.asItIs().mark();
    mark.strays = isSameLog ? state->mark : vtu::QatStream::StrayMark{};
    file_.asItIs().stepBack(mark);
  }
  ByPosition then = state != nullptr ? state->strays : ByPosition();
  for (const auto& [position, now] : strays_) {
    if (!now.isMoved) continue;
    const auto known = then.find(position);
    if (isSameLog && known != then.end()) continue;  // else what was logged then is in the table
    const std::uint64_t before = known != then.end() ? known->second.besidesTables() : 0;
    then[position] = forced(position, now, inTables(position) + before);
  }
  strays_ = std::move(then);
  std::fill(quick_.begin(), quick_.end(), nullptr);
  for (auto& [position, strays] : strays_) quick_[position] = &strays;
  sequence_ = state != nullptr ? state->sequence : 0;
  cuts_.push_back(sequence_);
  for (Late& late : late_) {
    if (!isSameLog || (late.describedAt && *late.describedAt >= sequence_)) late.describedAt.reset();
  }
  areGroupsKnown_ = false;
}

/// A moved position keeps its place, and the first samples of it.
StrayStreamer::Strays StrayStreamer::forced(std::uint32_t position, const Strays& now, std::uint64_t samples) {
  if (samples < now.inTable) {
    for (const vtu::StreamLeaf& leaf : leaves_[position]) file_.open().keep(leaf, samples);
  }
  return {now.table, samples, 0, 0, true};
}

}  // namespace vtio::recorders
