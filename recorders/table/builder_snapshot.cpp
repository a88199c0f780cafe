// Stepping a table builder back.
#include "recorders/table/builder_snapshot.hpp"

#include <algorithm>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "recorders/table/table_builder.hpp"

namespace vtio::recorders {

const TableState& BuilderSnapshot::stateOf(const Table& table) const {
  for (const auto& [known, state] : tables) {
    if (known.get() == &table) return state;
  }
  for (const FinishedTable* known = finished.get(); known != nullptr; known = known->older.get()) {
    if (known->table.get() == &table) return known->state;
  }
  return const_cast<Table&>(table).state();  // an archive: it never changes
}

std::uint64_t BuilderSnapshot::next(std::uint32_t position) const {
  const auto found = behind.find(position);
  return found != behind.end() ? found->second : stateOf(*states[position].table).current + 1;
}

std::vector<std::uint64_t> BuilderSnapshot::inTables() const {
  std::unordered_map<const Table*, std::uint64_t> ends;
  for (const auto& [table, state] : tables) ends.emplace(table.get(), state.current + 1);
  std::vector<std::uint64_t> counts(states.size());
  for (std::uint32_t i = 0; i < counts.size(); ++i) {
    const PositionState& state = states[i];
    counts[i] = state.before;
    if (!state.table) continue;
    const auto known = behind.find(i);
    counts[i] += (known != behind.end() ? known->second : ends.at(state.table.get())) - state.begin;
  }
  return counts;
}

bool BuilderSnapshot::isEmpty(std::uint32_t position) const {
  return position >= states.size() || states[position].isEmpty();
}

std::shared_ptr<const BuilderSnapshot> TableBuilder::capture() {
  settle();
  if (std::shared_ptr<const BuilderSnapshot> same = latest_.lock()) return same;
  auto snapshot = std::make_shared<BuilderSnapshot>();
  const bool isBehind = std::any_of(tables_.begin(), tables_.end(),
                                    [](const Ref<Table>& table) { return table->written < table->state().attached; });
  for (std::uint32_t i = 0; isBehind && i < positions_.size(); ++i) {
    const Position& p = positions_[i];
    if (!isAttached(*p.cursor) || p.cursor->next > p.cursor->table->number) continue;
    if (p.cursor->next < p.cursor->table->number && p.maxPoints == 0) {
      close(i);
    } else {
      snapshot->behind.emplace(i, p.cursor->next);
    }
  }
  snapshot->tables.reserve(tables_.size());
  for (const Ref<Table>& table : tables_) {
    table->show();
    snapshot->tables.emplace_back(table, table->capture());
  }
  snapshot->states = states_;
  snapshot->finished = finished_;
  if (StraySink* strays = straySink()) snapshot->strays = strays->state();
  latest_ = snapshot;
  return snapshot;
}

void TableBuilder::rollBack(std::uint32_t first, std::size_t count,
                            const std::shared_ptr<const BuilderSnapshot>& snapshot) {
  const bool isKnown = !goingBack_.empty() && goingBack_.back().second == snapshot;
  bool hasSamples = false;
  for (std::uint32_t i = first; i < first + count; ++i) hasSamples = hasSamples || hadSamples(*snapshot, i);
  if (!streamed_.empty() && !isKnown && hasSamples) requireHeld(*snapshot);
  if (count != 0 && positions_[first].goesBack) settle();
  latest_.reset();
  goingBack_.reserve(goingBack_.size() + count);
  for (std::uint32_t i = first; i < first + count; ++i) {
    goingBack_.emplace_back(i, snapshot);
    positions_[i].goesBack = true;
    positions_[i].cursor->table = &nowhere_;  // the next update calls append(); the table is in the state
  }
}

// Carries out the pending calls of rollBack().
void TableBuilder::settle() {
  if (goingBack_.empty()) return;
  const auto had = [this](const auto& asked) { return hadSamples(*asked.second, asked.first); };
  const auto found = std::find_if(goingBack_.begin(), goingBack_.end(), had);
  const std::shared_ptr<const BuilderSnapshot> snapshot = (found != goingBack_.end() ? *found : goingBack_[0]).second;
  if (allGoBackTo(*snapshot)) {
    restoreAll(*snapshot);
    for (const auto& asked : goingBack_) positions_[asked.first].goesBack = false;
    goingBack_.clear();
  }
  while (!goingBack_.empty()) {
    restoreOne(goingBack_.back().first, *goingBack_.back().second);
    positions_[goingBack_.back().first].goesBack = false;
    goingBack_.pop_back();
  }
}

// The position's strays count.
bool TableBuilder::hadSamples(const BuilderSnapshot& snapshot, std::uint32_t position) const {
  if (!snapshot.isEmpty(position)) return true;
  const StraySink* strays = straySink();
  if (strays == nullptr || !snapshot.strays) return false;
  return strays->countIn(*snapshot.strays, position).value_or(0) > 0;
}

// A position that had no samples in its own snapshot nor in this one goes back to this one as well: it was added later.
bool TableBuilder::allGoBackTo(const BuilderSnapshot& snapshot) const {
  for (const auto& [position, own] : goingBack_) {
    if (own.get() != &snapshot && (hadSamples(*own, position) || hadSamples(snapshot, position))) return false;
  }
  for (std::uint32_t i = 0; i < positions_.size(); ++i) {
    const bool isEmpty = states_[i].isEmpty() && strayed(i) == nullptr && !hadSamples(snapshot, i);
    const bool matters = positions_[i].layout != nullptr && !isEmpty;
    if (matters && !positions_[i].goesBack) return false;
  }
  return true;
}

void TableBuilder::restoreAll(const BuilderSnapshot& snapshot) {
  const std::vector<std::uint64_t> counts = sink_ != nullptr ? snapshot.inTables() : std::vector<std::uint64_t>();
  const auto left = [&](std::uint32_t i) {
    const std::uint32_t source = positions_[i].source;
    return source < counts.size() ? counts[source] : 0;
  };
  if (sink_ != nullptr) sink_->goesBack(left);
  if (StraySink* strays = straySink()) strays->restore(snapshot.strays.get(), left);
  wentBack_ = true;
  oneWentBack_ = false;
  PositionStates states = snapshot.states;
  while (states.size() < positions_.size()) states.add();
  std::vector<Ref<Table>> tables;
  tables.reserve(snapshot.tables.size());
  growing_.clear();
  for (const auto& [table, state] : snapshot.tables) {
    table->restore(state, sink_, left);
    table->place = tables.size();
    tables.push_back(table);
  }
  finished_ = snapshot.finished;
  for (FinishedTable* f = finished_.get(); f != nullptr; f = f->older.get()) f->table->restore(f->state, sink_, left);
  giveUpOthers(snapshot, left);
  tables_ = std::move(tables);
  states_ = std::move(states);
  for (std::uint32_t i = 0; i < positions_.size(); ++i) restoreCursor(i, snapshot);
}

// Streamed tables that are not in the snapshot were made after it.
void TableBuilder::giveUpOthers(const BuilderSnapshot& snapshot, const RowSink::Left& left) {
  if (streamed_.empty() || sink_ == nullptr) return;
  std::unordered_set<const Table*> restored;
  for (const auto& [table, state] : snapshot.tables) restored.insert(table.get());
  for (FinishedTable* f = snapshot.finished.get(); f != nullptr; f = f->older.get()) restored.insert(f->table.get());
  for (const Ref<Table>& table : streamed_) {
    if (table && restored.count(table.get()) == 0) table->giveUp(*sink_, left);
  }
}

void TableBuilder::requireHeld(const BuilderSnapshot& snapshot) const {
  bool isHeld = true;
  for (const auto& [table, state] : snapshot.tables) isHeld = isHeld && table->holds(state);
  for (FinishedTable* f = snapshot.finished.get(); f != nullptr; f = f->older.get()) {
    isHeld = isHeld && f->table->holds(f->state);
  }
  const StraySink* strays = straySink();
  if (strays != nullptr && snapshot.strays) isHeld = isHeld && strays->holds(*snapshot.strays);
  if (!isHeld)
    throw std::runtime_error("Cannot step back: the snapshot's samples were given up by an earlier step back");
}

void TableBuilder::restoreCursor(std::uint32_t position, const BuilderSnapshot& snapshot) {
  Cursor& cursor = *positions_[position].cursor;
  const PositionState& state = states_[position];
  const StraySink* strays = straySink();
  positions_[position].isStray = strays != nullptr && strays->count(position).has_value();
  const bool isMoved = positions_[position].isStray && strays->isMoved(position);
  cursor.table = &nowhere_;
  cursor.next = 0;
  if (isMoved && !state.table) states_.change(position) = PositionState();
  if (!state.table) return;
  cursor.table = state.table.get();
  cursor.offset = state.offset;
  const auto behind = snapshot.behind.find(position);
  cursor.next = behind != snapshot.behind.end() ? behind->second : state.table->number + 1;
  if (positions_[position].layout != nullptr && !isMoved) return;
  PositionState& removed = states_.change(position);
  detach(position, removed);
  removed = PositionState();
}

// The others keep what they have: so this position's samples are copied to a table of their own.
void TableBuilder::restoreOne(std::uint32_t position, const BuilderSnapshot& snapshot) {
  if (strayed(position) != nullptr ||
      (snapshot.strays && hadSamples(snapshot, position) && snapshot.isEmpty(position))) {
    if (sink_ != nullptr) sink_->lost(std::logic_error("A recorder with strays cannot be stepped back alone"));
    return;
  }
  oneWentBack_ = true;
  Ref<Run> run;
  std::uint64_t recorded = 0;
  if (!snapshot.isEmpty(position)) {
    const PositionState& old = snapshot.states[position];
    const std::uint64_t next = old.table ? snapshot.next(position) : old.begin;
    run = archive(position, pieces(old, next, positions_[position].maxPoints), &snapshot);
    recorded = old.before + (next - old.begin);
  }
  if (sink_ != nullptr) sink_->goesBack([&](std::uint32_t i) { return i == position ? recorded : UINT64_MAX; });
  PositionState& state = states_.change(position);
  if (state.table) detach(position, state);
  state = PositionState();
  state.closed = std::move(run);
  state.before = recorded;
  positions_[position].cursor->next = 0;
}

}  // namespace vtio::recorders
