/// @file
/// The state of a table builder at one moment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "recorders/table/position_states.hpp"
#include "recorders/table/ref.hpp"
#include "recorders/table/stray_sink.hpp"
#include "recorders/table/table.hpp"

namespace vtio::recorders {

/// A table in which nothing is recorded any more, and those before it. Kept because runs refer to it: when a snapshot
/// of an earlier time is restored, the table is recorded in again.
struct FinishedTable {
  std::uint32_t refs = 0;
  Ref<Table> table;
  TableState state;
  Ref<FinishedTable> older;

  static void destroy(FinishedTable* finished) { destroyChain(finished); }
};

/// Its size is proportional to the number of tables, not of positions: the states of the positions are shared.
struct BuilderSnapshot {
  PositionStates states;
  std::vector<std::pair<Ref<Table>, TableState>> tables;
  Ref<FinishedTable> finished;
  std::unordered_map<std::uint32_t, std::uint64_t> behind;  // cursors that are not behind the last row: their `next`
  std::shared_ptr<const StraySink::State> strays;           // null while nothing is streamed

  /// The state of a table. Slow.
  [[nodiscard]] const TableState& stateOf(const Table& table) const;

  /// The row after the newest sample of an attached position. Slow.
  [[nodiscard]] std::uint64_t next(std::uint32_t position) const;

  /// Samples in tables, by position.
  [[nodiscard]] std::vector<std::uint64_t> inTables() const;

  /// True if the position had no samples in tables or was not added yet.
  [[nodiscard]] bool isEmpty(std::uint32_t position) const;
};

}  // namespace vtio::recorders
