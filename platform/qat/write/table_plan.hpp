/// @file
/// Decides which fields of a cell array of like structures become columns, and collects what the columns hold.
///
/// A field that in every cell is a number of one class, a char row, a cell of the same number of char rows or an array
/// of samples is a column. A field that in every cell is a structure of the same fields is a group of such fields. Any
/// other field is a group with one member per row.
#pragma once

#include <string>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/write/sample_store.hpp"

namespace vtu::qat {

class TablePlan;

/// One field of a table: its value per row, and what its form needs. Rows are taken one after another.
struct FieldPlan final {
  enum class Form { members, numbers, texts, textCells, references, columns };

  FieldPlan(TablePlan& ofTable, std::string encodedName) : table(&ofTable), link(std::move(encodedName)) {}

  /// Takes the value of the next row, null where the field was never set. @param owner The row's structure.
  void take(const qxArray* value, const qxArray& owner);

  /// To be called after the last row.
  void finish();

  TablePlan* table;
  std::string link;  // encoded name
  Form form = Form::members;
  std::vector<const qxArray*> values, owners;  // one per row
  ElementKind kind;                            // numbers
  std::vector<std::byte> numbers;              // numbers
  std::vector<std::string> texts;              // texts, textCells
  std::size_t textsPerRow = 1;                 // textCells
  bool cellsAreRows = false;                   // textCells: 1-by-k, not k-by-1
  std::vector<Reference> references;           // references: one per row
  std::vector<FieldPlan> fields;               // columns

 private:
  void choose(const qxArray& first, const qxArray& owner);
  [[nodiscard]] bool fits(const qxArray& value, const qxArray& owner);
  [[nodiscard]] bool takeNumber(const qxArray& value);
  [[nodiscard]] bool takeText(const qxArray& value);
  [[nodiscard]] bool takeTextCells(const qxArray& value);
  void leaveToMembers();
};

/// The plan of one table. Does not own the arrays.
class TablePlan final {
 public:
  /// @param samples Gives the references of arrays of samples.
  explicit TablePlan(const SampleStore& samples) : samples_(samples) {}
  TablePlan(const TablePlan&) = delete;
  TablePlan& operator=(const TablePlan&) = delete;

  /// Plans the cells of a cell array. @return False if they are not all 1-by-1 structures of the same fields, at least
  /// one.
  [[nodiscard]] bool take(const std::vector<qalc::ArrayPtr>& cells);

  [[nodiscard]] const std::vector<FieldPlan>& fields() const { return fields_; }

 private:
  friend struct FieldPlan;

  const SampleStore& samples_;
  std::vector<FieldPlan> fields_;
  std::size_t fieldCount_ = 0;  // of all levels
  int depth_ = 0;               // of the groups of columns that are being planned
};

}  // namespace vtu::qat
