/// @file
/// Turns references to sample tables into arrays.
#pragma once

#include <cstdint>
#include <map>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/read/memory_budget.hpp"
#include "platform/qat/read/open_tables.hpp"

namespace vtu::qat {

/// Makes arrays without values first and fills them all together: each table is read in one pass.
///
/// Arrays of equal references share their storage; so do the times of the same rows of a table. Does not own its
/// arguments.
class SampleLoader final {
 public:
  SampleLoader(const Source& source, MemoryBudget& budget) : tables_(source), budget_(budget) {}

  /// The array that a reference refers to; it has values after load(). @throws Failure
  [[nodiscard]] qalc::ArrayPtr array(const Reference& reference);

  /// Fills the arrays that are still in use. @throws Failure
  void load();

 private:
  /// A leaf whose values are to be read.
  struct Wanted {
    const StoredColumn* column = nullptr;
    ElementKind kind;
    qalc::ArrayPtr array;
  };
  using Times = std::tuple<std::uint32_t, std::uint64_t, std::uint64_t>;  // table, first row, number of rows

  qalc::ArrayPtr& valuesArray(const Reference& reference);
  qalc::ArrayPtr& timesArray(const Reference& reference);
  void loadTimes();
  void loadTable(OpenTable& table, std::vector<Wanted*>& wanted);
  void loadNumbers(OpenTable& table, ElementKind kind, const std::vector<Wanted*>& leaves);
  void loadBlocks(OpenTable& table, const OpenTable::Values& values, std::uint64_t firstColumn, std::uint64_t endColumn,
                  const std::vector<const Wanted*>& leaves);
  void loadTexts(OpenTable& table, const Wanted& leaf);

  OpenTables tables_;
  MemoryBudget& budget_;
  std::map<std::uint32_t, std::unordered_map<std::uint32_t, Wanted>> values_;  // by table and column
  std::map<Times, qalc::ArrayPtr> times_;
};

}  // namespace vtu::qat
