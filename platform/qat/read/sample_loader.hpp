/// @file
/// Turns references to sample tables into arrays.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/read/memory_budget.hpp"
#include "platform/qat/read/open_tables.hpp"
#include "platform/qat/read/table_rows.hpp"

namespace vtu::qat {

/// Makes arrays without values first and fills them all together: each table is read in one pass.
///
/// Arrays of equal references share their storage; so do the times of the same rows of a table. Does not own its
/// arguments.
class SampleLoader final {
 public:
  SampleLoader(const Source& source, MemoryBudget& budget) : tables_(source), path_(source.path), budget_(budget) {}

  /// The array that a reference refers to; it has values after load(). @throws Failure
  [[nodiscard]] qalc::ArrayPtr array(const Reference& reference);

  /// The array that a reference refers to, which reads its values itself, as long as this exists and under the lock of
  /// HDF5 calls. @throws Failure
  [[nodiscard]] qalc::ArrayPtr lazyArray(const Reference& reference);

  /// True if lazyArray() has given strays.
  [[nodiscard]] bool hasStrays() const { return hasStrays_; }

  [[nodiscard]] OpenTables& tables() { return tables_; }

  /// Where the samples of a reference are: see OpenTables.
  [[nodiscard]] Reference resolve(const Reference& reference) { return tables_.resolve(reference); }

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
  std::map<std::uint32_t, std::shared_ptr<const TableRows>> rows_;
  std::string path_;
  bool hasStrays_ = false;
  MemoryBudget& budget_;
  std::map<std::uint32_t, std::unordered_map<std::uint32_t, Wanted>> values_;  // by table and column
  std::map<Times, qalc::ArrayPtr> times_;
};

}  // namespace vtu::qat
